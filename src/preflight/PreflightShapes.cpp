// PreflightShapes.cpp - shapes the reader does not take, converted to paths; text flattening.
#include "preflight/PreflightPass.h"

namespace kx {
namespace svg {
namespace preflight {

// ------------------------------------------------ shapes

void appendNumbers(std::string& d, std::initializer_list<std::string> numbers)
{
    for (const std::string& n : numbers) {
        d += ' ';
        d += n;
    }
}

bool Pass::convertShape(El& e, const Context& ctx)
{
    const double diagonal = std::sqrt((ctx.width * ctx.width + ctx.height * ctx.height) / 2.0);
    const auto num = numberOf;
    std::string d;
    std::vector<const char*> geometry;

    if (e.name == "ellipse" || e.name == "circle") {
        const bool circle = e.name == "circle";
        std::string cx = "0", cy = "0", rx, ry;
        if (e.get("cx") && !length(e, "cx", ctx.width, cx)) cx = "0";
        if (e.get("cy") && !length(e, "cy", ctx.height, cy)) cy = "0";
        if (circle) {
            if (!length(e, "r", diagonal, rx)) rx = "0";
            // A circle stays a circle; only its numbers are brought into plain form.
            if (e.get("cx")) e.set("cx", cx);
            if (e.get("cy")) e.set("cy", cy);
            e.set("r", rx);
            if (!(num(rx) > 0)) {
                dropped("circle without a radius");
                return false;
            }
            return true;
        }
        // A negative radius is invalid and so "auto", like a missing one: it
        // takes the other radius. A zero radius disables the ellipse.
        bool hasRx = length(e, "rx", ctx.width, rx);
        bool hasRy = length(e, "ry", ctx.height, ry);
        if ((hasRx && num(rx) < 0) || (hasRy && num(ry) < 0)) rewritten("negative ellipse radius as auto");
        hasRx = hasRx && num(rx) >= 0;
        hasRy = hasRy && num(ry) >= 0;
        if (!hasRx && hasRy) rx = ry;
        if (!hasRy && hasRx) ry = rx;
        if (!(num(rx) > 0) || !(num(ry) > 0)) {
            dropped("ellipse without a radius");
            return false;
        }
        d = "M";
        appendNumbers(d, {FormatFloat(num(cx) - num(rx)), cy});
        d += " A";
        appendNumbers(d, {rx, ry, "0", "1", "0", FormatFloat(num(cx) + num(rx)), cy});
        d += " A";
        appendNumbers(d, {rx, ry, "0", "1", "0", FormatFloat(num(cx) - num(rx)), cy});
        d += " Z";
        geometry = {"cx", "cy", "rx", "ry"};
        rewritten("ellipse as path");
    } else if (e.name == "polyline" || e.name == "polygon") {
        const std::string* points = e.get("points");
        if (points) {
            // The points read like the pairs of one move-to: numbers separated by
            // blanks and commas, or touching ("1-2"), each keeping its text.
            const std::string path = "M " + *points;
            std::string out;
            PathRewriteStats stats;
            if (RewritePathData(path, out, stats)) {
                if (stats.truncated) approximated("point list cut at an error");
                d = out;
            }
        }
        if (d.empty()) {
            dropped(e.name + " without points");
            return false;
        }
        if (e.name == "polygon") d += " Z";
        geometry = {"points"};
        rewritten(e.name + " as path");
    } else if (e.name == "rect") {
        std::string x = "0", y = "0", w = "0", h = "0", rx, ry;
        if (e.get("x") && !length(e, "x", ctx.width, x)) x = "0";
        if (e.get("y") && !length(e, "y", ctx.height, y)) y = "0";
        if (!length(e, "width", ctx.width, w) || !length(e, "height", ctx.height, h) || !(num(w) > 0) ||
            !(num(h) > 0)) {
            dropped("rect without an area");
            return false;
        }
        // A radius that is missing, "auto" or negative takes the other one; a
        // zero radius, given or taken, leaves the corners square.
        bool hasRx = e.get("rx") && length(e, "rx", ctx.width, rx);
        bool hasRy = e.get("ry") && length(e, "ry", ctx.height, ry);
        if ((hasRx && num(rx) < 0) || (hasRy && num(ry) < 0)) rewritten("negative corner radius as auto");
        hasRx = hasRx && num(rx) >= 0;
        hasRy = hasRy && num(ry) >= 0;
        if (!hasRx) rx = ry;
        if (!hasRy) ry = rx;
        if ((!hasRx && !hasRy) || !(num(rx) > 0) || !(num(ry) > 0)) {
            if (e.get("x")) e.set("x", x);
            if (e.get("y")) e.set("y", y);
            e.set("width", w);
            e.set("height", h);
            e.remove("rx");
            e.remove("ry");
            return true;
        }
        const double X = num(x), Y = num(y), W = num(w), H = num(h);
        const double RX = std::min(num(rx), W / 2), RY = std::min(num(ry), H / 2);
        const std::string a = FormatFloat(RX), b = FormatFloat(RY);
        d = "M";
        appendNumbers(d, {FormatFloat(X + RX), y});
        d += " H";
        appendNumbers(d, {FormatFloat(X + W - RX)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", FormatFloat(X + W), FormatFloat(Y + RY)});
        d += " V";
        appendNumbers(d, {FormatFloat(Y + H - RY)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", FormatFloat(X + W - RX), FormatFloat(Y + H)});
        d += " H";
        appendNumbers(d, {FormatFloat(X + RX)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", x, FormatFloat(Y + H - RY)});
        d += " V";
        appendNumbers(d, {FormatFloat(Y + RY)});
        d += " A";
        appendNumbers(d, {a, b, "0", "0", "1", FormatFloat(X + RX), y});
        d += " Z";
        geometry = {"x", "y", "width", "height", "rx", "ry"};
        rewritten("rounded rect as path");
    } else {
        return true;
    }
    for (const char* n : geometry) e.remove(n);
    e.name = "path";
    e.set("d", d);
    return true;
}

void Pass::flattenText(El& e)
{
    std::string content;
    for (const auto& kid : e.kids) {
        if (kid->isText()) {
            content += kid->text;
        } else {
            if (!isNonRendered(kid->name)) content += kid->allText();
            dropped("element " + quoted(kid->name) + " inside text (its characters are kept)");
        }
    }
    buryAll(e.kids);
    if (!content.empty()) {
        auto text = std::make_unique<El>();
        text->text = std::move(content);
        e.kids.push_back(std::move(text));
    }
}


} // namespace preflight
} // namespace svg
} // namespace kx
