// End-to-end runs over the SVG corpus (../shared/corpus, or $KXSVG_CORPUS):
// every file loads strictly and leniently without crashing; every failure
// comes with a message; every loaded tree survives save -> reload, and saving
// the reloaded tree gives the same text again. The large drawings are left to
// the benchmarks. After preflight, the tight box of each drawing holds its
// whole segmentation. KXSVG_CORPUS_SAMPLE=N runs about N evenly spread files
// (for slow builds such as the sanitizer one).
#include "read/LoadDocument.h"
#include "write/SaveDocument.h"

#include <kx/svg/BoundingBox.h>
#include <kx/svg/Items.h>
#include <kx/svg/Preflight.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/WriterHelpers.h>
#include <kx/system/kxIoDevice.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>

using namespace kx::svg;
using kx::svg::Helpers::floatToSvgNumber;

namespace {

struct Loaded {
    bool ok = false;
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
    ItemInterfacePointer<ItemInterface> root;
};

Loaded loadText(const std::string& text, bool lenient)
{
    Loaded run;
    kxIoDeviceByteContainerReadOnly device(text.data(), text.size());
    LoadOptions options;
    options.ignoreUnsupported = lenient;
    run.ok = impl::LoadSvgDocument(
        run.root, device, options, [&](const std::string& m) { run.errors.push_back(m); },
        [&](const std::string& m) { run.warnings.push_back(m); });
    return run;
}

bool saveText(const ItemInterface& root, std::string& text)
{
    text.clear();
    kxIoDeviceByteContainerWriteOnly device(text);
    return impl::SaveSvgDocument(root, device, SaveOptions());
}

// Removes every piece of `text` that starts with `open` and ends with `close`,
// putting `replacement` in its place.
std::string replaceSpans(const std::string& text, const std::string& open, const std::string& close,
                         const std::string& replacement)
{
    std::string out;
    size_t pos = 0;
    while (true) {
        const size_t start = text.find(open, pos);
        const size_t end = start == std::string::npos ? start : text.find(close, start + open.size());
        if (end == std::string::npos) break;
        out.append(text, pos, start - pos);
        out += replacement;
        pos = end + close.size();
    }
    out.append(text, pos, std::string::npos);
    return out;
}

// The saved text without what legitimately differs between two saves: the
// date comment and the style sheet, which grows by the writer's CDATA comments
// on each round trip.
std::string comparableText(const std::string& text)
{
    return replaceSpans(replaceSpans(text, "<!--Datetime : ", "-->", ""), "<style>", "</style>", "<style/>");
}

// Compares a loaded tree with its reloaded copy; numbers of `a` go through
// the writer's rounding first. Differences are appended to `diffs`.
class TreeComparer {
public:
    std::vector<std::string> diffs;

    void compare(const ItemInterface& a, const ItemInterface& b, const std::string& where)
    {
        if (a.getType() != b.getType()) return diff(where, "type");
        if (a.getId() != b.getId()) diff(where, "id");
        if (a.getTransform().has_value() != b.getTransform().has_value()) {
            diff(where, "transform presence");
        } else if (a.getTransform()) {
            for (int r = 0; r < 2; ++r)
                for (int c = 0; c < 3; ++c) number(where + " transform", (*a.getTransform())(r, c), (*b.getTransform())(r, c));
        }
        properties(where, a.getRenderingProperties(), b.getRenderingProperties());
        switch (a.getType()) {
        case ItemType::Document: {
            const auto& da = static_cast<const Document&>(a);
            const auto& db = static_cast<const Document&>(b);
            if (da.getViewbox().has_value() != db.getViewbox().has_value()) {
                diff(where, "viewBox presence");
            } else if (da.getViewbox()) {
                // Written as x y width height, read back as two corners.
                const Wm4::Vector2<float> min(round(da.getViewbox()->getMinPoint().X()),
                                              round(da.getViewbox()->getMinPoint().Y()));
                const Wm4::Vector2<float> size(round(da.getViewbox()->getWidth()), round(da.getViewbox()->getHeight()));
                point(where + " viewBox min", min, db.getViewbox()->getMinPoint(), false);
                point(where + " viewBox max", min + size, db.getViewbox()->getMaxPoint(), false);
            }
            if (da.getStyle().has_value() != db.getStyle().has_value()) diff(where, "style presence");
            children(static_cast<const Node&>(a), static_cast<const Node&>(b), where);
            break;
        }
        case ItemType::Node:
            children(static_cast<const Node&>(a), static_cast<const Node&>(b), where);
            break;
        case ItemType::Line: {
            const auto& la = static_cast<const Line&>(a);
            const auto& lb = static_cast<const Line&>(b);
            point(where + " start", la.getStart(), lb.getStart());
            point(where + " end", la.getEnd(), lb.getEnd());
            break;
        }
        case ItemType::Rect: {
            const auto& ra = static_cast<const Rect&>(a);
            const auto& rb = static_cast<const Rect&>(b);
            point(where + " position", ra.getPosition(), rb.getPosition());
            point(where + " size", ra.getSize(), rb.getSize());
            number(where + " rx", ra.getRx(), rb.getRx());
            number(where + " ry", ra.getRy(), rb.getRy());
            break;
        }
        case ItemType::Circle: {
            const auto& ca = static_cast<const Circle&>(a);
            const auto& cb = static_cast<const Circle&>(b);
            point(where + " center", ca.getCenter(), cb.getCenter());
            number(where + " r", ca.getRadius(), cb.getRadius());
            break;
        }
        case ItemType::Path: {
            const auto& pa = static_cast<const Path&>(a).getCommands();
            const auto& pb = static_cast<const Path&>(b).getCommands();
            if (pa.size() != pb.size()) return diff(where, "command count");
            auto ib = pb.begin();
            for (auto ia = pa.begin(); ia != pa.end(); ++ia, ++ib) {
                if (ia->type != ib->type || ia->arguments.size() != ib->arguments.size())
                    return diff(where, "command");
                for (size_t i = 0; i < ia->arguments.size(); ++i)
                    number(where + " d", ia->arguments[i], ib->arguments[i]);
            }
            break;
        }
        case ItemType::Text: {
            const auto& ta = static_cast<const Text&>(a);
            const auto& tb = static_cast<const Text&>(b);
            point(where + " position", ta.getPosition(), tb.getPosition());
            if (ta.getContent() != tb.getContent()) diff(where, "content");
            if (ta.getFontFamily() != tb.getFontFamily()) diff(where, "font-family");
            optionalNumber(where + " font-size", ta.getFontSize(), tb.getFontSize());
            if (ta.getTextLength().has_value() != tb.getTextLength().has_value() ||
                (ta.getTextLength() && (ta.getTextLength()->unit != tb.getTextLength()->unit)))
                diff(where, "textLength");
            else if (ta.getTextLength())
                number(where + " textLength", ta.getTextLength()->value, tb.getTextLength()->value);
            if (ta.getXmlSpacePreserve() != tb.getXmlSpacePreserve()) diff(where, "xml:space");
            if (ta.getBold() != tb.getBold() || ta.getItalic() != tb.getItalic() || ta.getUnderline() != tb.getUnderline())
                diff(where, "font flags");
            break;
        }
        case ItemType::Image: {
            const auto& ia = static_cast<const Image&>(a);
            const auto& ib = static_cast<const Image&>(b);
            point(where + " position", ia.getPosition(), ib.getPosition());
            point(where + " size", ia.getSize(), ib.getSize());
            if (ia.getHref() != ib.getHref()) diff(where, "href");
            if (ia.getPreserveAspectRatio() != ib.getPreserveAspectRatio()) diff(where, "preserveAspectRatio");
            break;
        }
        }
    }

private:
    static float round(float v)
    {
        const std::string text = floatToSvgNumber(v, SaveOptions());
        return std::strtof(text.c_str(), nullptr);
    }

    void diff(const std::string& where, const std::string& what) { diffs.push_back(where + ": " + what); }

    void number(const std::string& where, float a, float b, bool rounding = true)
    {
        const float expected = rounding ? round(a) : a;
        if (!(expected == b || (std::isnan(expected) && std::isnan(b))))
            diff(where, floatToSvgNumber(expected, SaveOptions()) + " != " + floatToSvgNumber(b, SaveOptions()));
    }
    void point(const std::string& where, const Wm4::Vector2<float>& a, const Wm4::Vector2<float>& b,
               bool rounding = true)
    {
        number(where, a.X(), b.X(), rounding);
        number(where, a.Y(), b.Y(), rounding);
    }
    void optionalNumber(const std::string& where, const std::optional<float>& a, const std::optional<float>& b)
    {
        if (a.has_value() != b.has_value()) return diff(where, "presence");
        if (a) number(where, *a, *b);
    }

    void properties(const std::string& where, const RenderingProperties& a, const RenderingProperties& b)
    {
        optionalNumber(where + " opacity", a.opacity, b.opacity);
        optionalNumber(where + " stroke-width", a.strokeWidth, b.strokeWidth);
        optionalNumber(where + " stroke-opacity", a.strokeOpacity, b.strokeOpacity);
        optionalNumber(where + " fill-opacity", a.fillOpacity, b.fillOpacity);
        if (a.stroke != b.stroke) diff(where, "stroke");
        if (a.fill != b.fill) diff(where, "fill");
        if (a.className != b.className) diff(where, "class");
        if (a.strokeLinecap != b.strokeLinecap) diff(where, "stroke-linecap");
        if (a.strokeLinejoin != b.strokeLinejoin) diff(where, "stroke-linejoin");
        if (a.vectorEffect != b.vectorEffect) diff(where, "vector-effect");
        if (a.strokeDasharray.has_value() != b.strokeDasharray.has_value() ||
            (a.strokeDasharray && a.strokeDasharray->size() != b.strokeDasharray->size())) {
            diff(where, "stroke-dasharray");
        } else if (a.strokeDasharray) {
            for (size_t i = 0; i < a.strokeDasharray->size(); ++i) {
                if ((*a.strokeDasharray)[i].unit != (*b.strokeDasharray)[i].unit) diff(where, "dash unit");
                number(where + " dash", (*a.strokeDasharray)[i].value, (*b.strokeDasharray)[i].value);
            }
        }
    }

    void children(const Node& a, const Node& b, const std::string& where)
    {
        if (a.getChildren().size() != b.getChildren().size()) return diff(where, "child count");
        auto ib = b.getChildren().begin();
        size_t index = 0;
        for (auto ia = a.getChildren().begin(); ia != a.getChildren().end(); ++ia, ++ib, ++index) {
            if (!*ia || !*ib) {
                if (bool(*ia) != bool(*ib)) diff(where, "empty child");
                continue;
            }
            compare(**ia, **ib, where + "/" + std::to_string(index));
        }
    }
};

// A failure reason without the values that vary from file to file.
std::string reason(const std::string& message)
{
    std::string r = message;
    auto cutAfter = [&](const std::string& marker, const std::string& tail) {
        const size_t at = r.find(marker);
        if (at != std::string::npos) r = r.substr(0, at + marker.size()) + tail;
    };
    cutAfter(" with value ", "...");
    if (r.rfind("Malformed path attribute, ", 0) == 0) {
        r = r.substr(0, r.find('@'));
        r = r.substr(0, r.find(" at position"));
    }
    if (r.rfind("Failed to parse value \"", 0) == 0 || r.rfind("Failed to parse color \"", 0) == 0) {
        const size_t in = r.rfind("\" in attribute ");
        if (in != std::string::npos) r = r.substr(0, r.find('"')) + "..." + r.substr(in + 1);
    }
    if (r.rfind("Failed to parse transform attribute \"", 0) == 0) {
        const size_t comma = r.rfind("\", ");
        if (comma != std::string::npos) r = "Failed to parse transform attribute ..." + r.substr(comma + 1);
    }
    if (r.size() > 100) r = r.substr(0, 100) + "...";
    return r;
}

std::vector<std::string> corpusFiles(const std::string& dir)
{
    std::vector<std::string> files;
    for (const std::string& f : kxtest::listSvgFiles(dir))
        if (f.find("/large/") == std::string::npos) files.push_back(f);
    if (const char* sample = std::getenv("KXSVG_CORPUS_SAMPLE")) {
        const size_t wanted = std::max<size_t>(1, std::strtoul(sample, nullptr, 10));
        if (wanted < files.size()) {
            std::vector<std::string> picked;
            for (size_t i = 0; i < wanted; ++i) picked.push_back(files[i * files.size() / wanted]);
            files.swap(picked);
        }
    }
    return files;
}

void printTop(const char* title, const std::map<std::string, size_t>& counts, size_t top)
{
    std::vector<std::pair<size_t, std::string>> sorted;
    for (const auto& c : counts) sorted.emplace_back(c.second, c.first);
    std::sort(sorted.begin(), sorted.end(), [](const auto& x, const auto& y) {
        return x.first != y.first ? x.first > y.first : x.second < y.second;
    });
    std::cout << title << "\n";
    for (size_t i = 0; i < std::min(top, sorted.size()); ++i)
        std::cout << "  " << sorted[i].first << "  " << sorted[i].second << "\n";
}

} // namespace

namespace {

// Counts gathered over a run of files.
struct Tally {
    size_t files = 0;
    size_t loaded[2] = {0, 0}; // strict, lenient
    size_t roundTrips = 0;
    size_t reported = 0;
    std::map<std::string, size_t> reasons[2];
    std::map<std::string, size_t> warnings;
};

// Loads `input` strictly and leniently; each tree that loads goes through
// save -> reload -> save. Returns false once too many failures were reported.
bool checkFile(const std::string& file, const std::string& input, Tally& tally)
{
    ++tally.files;
    for (int lenient = 0; lenient < 2; ++lenient) {
        Loaded first;
        EXPECT_NO_THROW(first = loadText(input, lenient == 1)) << file;
        if (!first.ok || !first.root) {
            // Every failure says why.
            EXPECT_FALSE(first.errors.empty()) << file;
            if (!first.errors.empty()) ++tally.reasons[lenient][reason(first.errors.front())];
            continue;
        }
        ++tally.loaded[lenient];
        if (lenient == 1)
            for (const std::string& w : first.warnings) ++tally.warnings[reason(w)];

        std::string saved;
        EXPECT_TRUE(saveText(*first.root, saved)) << file;
        const Loaded second = loadText(saved, false);
        if (!second.ok || !second.root) {
            ADD_FAILURE() << file << (lenient ? " (lenient)" : " (strict)") << ": the saved text does not load: "
                          << (second.errors.empty() ? "" : second.errors.front());
            if (++tally.reported > 20) return false;
            continue;
        }
        TreeComparer comparer;
        comparer.compare(*first.root, *second.root, "");
        if (!comparer.diffs.empty()) {
            ADD_FAILURE() << file << ": the reloaded tree differs: " << comparer.diffs.front();
            if (++tally.reported > 20) return false;
        }
        std::string savedAgain;
        EXPECT_TRUE(saveText(*second.root, savedAgain)) << file;
        if (comparableText(saved) != comparableText(savedAgain)) {
            ADD_FAILURE() << file << ": saving the reloaded tree gives another text";
            if (++tally.reported > 20) return false;
        } else {
            ++tally.roundTrips;
        }
    }
    return true;
}

} // namespace

TEST(Corpus, LoadsStrictlyAndLenientlyAndRoundTrips)
{
    KXTEST_REQUIRE_CORPUS(dir);
    const std::vector<std::string> files = corpusFiles(dir);
    ASSERT_FALSE(files.empty());

    Tally tally;
    for (const std::string& file : files) {
        std::string input;
        ASSERT_TRUE(kxtest::readFile(file, input)) << file;
        if (!checkFile(file, input, tally)) return;
    }

    const double n = double(files.size());
    std::cout << "Corpus: " << files.size() << " files; loaded strictly " << tally.loaded[0] << " ("
              << 100.0 * static_cast<double>(tally.loaded[0]) / n << "%), leniently " << tally.loaded[1] << " ("
              << 100.0 * static_cast<double>(tally.loaded[1]) / n << "%); round trips " << tally.roundTrips << "\n";
    printTop("Most common reasons for a strict failure:", tally.reasons[0], 12);
    printTop("Most common reasons for a lenient failure:", tally.reasons[1], 12);
    printTop("Most common lenient warnings:", tally.warnings, 12);
}

// The reader's own cases use every attribute kind, so their round trips run
// even without the corpus.
TEST(Corpus, ReaderCasesRoundTrip)
{
    const std::vector<std::string> files = kxtest::listSvgFiles(std::string(KXSVG_TEST_DATA_DIR) + "/read");
    ASSERT_FALSE(files.empty());
    Tally tally;
    for (const std::string& file : files) {
        std::string input;
        ASSERT_TRUE(kxtest::readFile(file, input)) << file;
        if (!checkFile(file, input, tally)) return;
    }
    EXPECT_GT(tally.roundTrips, 30u);
}

// The tight box of each drawing, preflighted and loaded strictly, against the
// segmentation at the default flattening: it holds every point (up to the
// single-precision rounding of the segmenter) and, where the whole drawing was
// segmented, no side is further than 0.5% of the drawing's size from the
// segmentation's box (circles are cut into 32 pieces, which stay within
// 0.5% of the radius).
TEST(Corpus, TightBoxHoldsTheSegmentationAfterPreflight)
{
    KXTEST_REQUIRE_CORPUS(dir);
    const std::vector<std::string> files = corpusFiles(dir);
    size_t measured = 0, compared = 0, pointsOutside = 0, reported = 0;
    double worstShare = 0.0;
    kxtest::LogCapture quiet; // fills that fail are counted by the segmenter's own test
    for (const std::string& file : files) {
        std::string input, output;
        ASSERT_TRUE(kxtest::readFile(file, input)) << file;
        PreflightReport report;
        if (!PreflightSvg(input, PreflightOptions(), output, report)) continue;
        const Loaded drawing = loadText(output, false);
        const Node* root = dynamic_cast<const Node*>(drawing.root.get());
        if (!drawing.ok || !root) continue;
        const BoundingBox tight = ComputeTightBoundingBox(*root, nullptr, nullptr).box;
        SegmenterVisitor segmenter(*root);
        BoundingBox segmented;
        size_t outside = 0;
        // Measured on the corpus: the segmenter's points stray at most 2.2
        // float steps of the drawing's magnitude outside the exact shape.
        const float slack = 4 * FLT_EPSILON *
                            std::max({1.0f, std::fabs(tight.getMinPoint().X()), std::fabs(tight.getMinPoint().Y()),
                                      std::fabs(tight.getMaxPoint().X()), std::fabs(tight.getMaxPoint().Y())});
        auto check = [&](const Wm4::Vector2<float>& p) {
            segmented.expandToContain(p);
            if (!(p.X() >= tight.getMinPoint().X() - slack && p.X() <= tight.getMaxPoint().X() + slack &&
                  p.Y() >= tight.getMinPoint().Y() - slack && p.Y() <= tight.getMaxPoint().Y() + slack))
                ++outside;
        };
        for (const auto& primitive : segmenter.getSegmentedPrimitives()) {
            for (const auto& p : primitive->points) check(p);
            for (const auto& p : primitive->trianglePoints) check(p);
        }
        if (!segmented.isValid()) continue;
        ++measured;
        pointsOutside += outside;
        if (outside > 0 && ++reported <= 10)
            ADD_FAILURE() << file << ": " << outside << " points outside the tight box";
        if (segmenter.hasError()) continue; // segmentation stopped at a fill it could not make
        ++compared;
        const float size = std::max(segmented.getWidth(), segmented.getHeight());
        const float gaps[4] = {segmented.getMinPoint().X() - tight.getMinPoint().X(),
                               segmented.getMinPoint().Y() - tight.getMinPoint().Y(),
                               tight.getMaxPoint().X() - segmented.getMaxPoint().X(),
                               tight.getMaxPoint().Y() - segmented.getMaxPoint().Y()};
        for (float gap : gaps) {
            const double share = size > 0 ? double(gap) / size : 0.0;
            worstShare = std::max(worstShare, share);
            if (share > 0.005 && ++reported <= 10)
                ADD_FAILURE() << file << ": the tight box is " << share * 100 << "% larger than the segmentation";
        }
    }
    std::cout << "Tight box: " << measured << " drawings measured, " << compared
              << " compared with a complete segmentation; largest gap " << worstShare * 100 << "% of the size; "
              << pointsOutside << " points outside\n";
    EXPECT_EQ(pointsOutside, 0u);
    EXPECT_GT(measured, files.size() / 2);
}
