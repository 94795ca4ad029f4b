// PreflightPath.cpp - a lenient path-data scanner that writes the strict form.
#include "preflight/PreflightPath.h"

#include "model/Numbers.h"

#include <charconv>
#include <cmath>

namespace kx {
namespace svg {
namespace preflight {

std::string FormatFloat(double value)
{
    const float f = static_cast<float>(value);
    if (!std::isfinite(f) || f == 0.0f) return "0";
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof(buffer), f);
    return std::string(buffer, result.ptr);
}

namespace {


int argumentCount(char letter)
{
    switch (letter) {
    case 'M': case 'm': case 'L': case 'l': case 'T': case 't': return 2;
    case 'H': case 'h': case 'V': case 'v': return 1;
    case 'C': case 'c': return 6;
    case 'S': case 's': case 'Q': case 'q': return 4;
    case 'A': case 'a': return 7;
    case 'Z': case 'z': return 0;
    default: return -1;
    }
}

// A cursor over the text with the lenient SVG rules for numbers and separators.
class Scanner {
public:
    explicit Scanner(std::string_view text) : m_text(text) {}

    bool atEnd() const { return m_pos >= m_text.size(); }
    char peek() const { return m_text[m_pos]; }
    void advance() { ++m_pos; }

    void skipWsp() { impl::SkipWsp(m_text, m_pos); }
    void skipCommaWsp() { impl::SkipCommaWsp(m_text, m_pos); }
    bool startsNumber() const { return impl::StartsNumber(m_text, m_pos); }
    // One number of SVG's grammar; an overflowing one computes as 0 and keeps its text.
    bool number(std::string_view& out, double& value)
    {
        if (!impl::ScanNumber(m_text, m_pos, out, value)) return false;
        if (!std::isfinite(value)) value = 0.0;
        return true;
    }
    bool flag(std::string_view& out, double& value)
    {
        if (atEnd() || (peek() != '0' && peek() != '1')) return false;
        out = m_text.substr(m_pos, 1);
        value = peek() == '1' ? 1.0 : 0.0;
        ++m_pos;
        return true;
    }
    size_t position() const { return m_pos; }
    void reset(size_t pos) { m_pos = pos; }

private:
    std::string_view m_text;
    size_t m_pos = 0;
};

struct Vec {
    double x = 0, y = 0;
};

// Appends the strict form: a letter when it changes, one space between tokens.
class Writer {
public:
    explicit Writer(std::string& out) : m_out(out) {}
    void letter(char c, bool force)
    {
        if (!force && c == m_last) return;
        if (!m_out.empty()) m_out += ' ';
        m_out += c;
        m_last = c;
        m_first = true;
    }
    void value(std::string_view text)
    {
        m_out += ' ';
        m_out.append(text);
        m_first = false;
    }
    void number(double v) { value(FormatFloat(v)); }
    char lastLetter() const { return m_last; }

private:
    std::string& m_out;
    char m_last = 0;
    bool m_first = true;
};

} // namespace

bool RewritePathData(std::string_view in, std::string& out, PathRewriteStats& stats)
{
    out.clear();
    Scanner scan(in);
    Writer write(out);
    char command = 0;     // the command the next group belongs to
    char previous = 0;    // the command of the previous segment (upper case)
    char previousLetter = 0; // the letter written for the previous segment
    bool started = false; // a move-to has been written
    Vec cur, start, lastCubic, lastQuad;

    std::string_view texts[7];
    double values[7];

    while (true) {
        scan.skipWsp();
        if (scan.atEnd()) break;
        bool explicitLetter = false;
        const char c = scan.peek();
        if (argumentCount(c) >= 0) {
            command = c;
            explicitLetter = true;
            scan.advance();
        } else if (command == 0 || command == 'Z' || command == 'z' || !scan.startsNumber()) {
            stats.truncated = true;
            break;
        }
        if (!started && command != 'M' && command != 'm') {
            stats.truncated = true;
            break;
        }
        if (command == 'Z' || command == 'z') {
            write.letter(command, true);
            cur = start;
            previous = 'Z';
            continue;
        }

        // One group of arguments, then further groups while numbers follow.
        bool firstGroup = true;
        bool broken = false;
        do {
            if (!firstGroup) {
                const size_t mark = scan.position();
                scan.skipCommaWsp();
                if (!scan.startsNumber()) {
                    scan.reset(mark);
                    break;
                }
            } else {
                scan.skipWsp();
            }
            const int n = argumentCount(command);
            const bool arc = command == 'A' || command == 'a';
            bool ok = true;
            for (int k = 0; k < n && ok; ++k) {
                if (k > 0) scan.skipCommaWsp();
                if (arc && (k == 3 || k == 4))
                    ok = scan.flag(texts[k], values[k]);
                else
                    ok = scan.number(texts[k], values[k]);
            }
            if (!ok) {
                // Groups read completely before the fault stay in the output.
                broken = true;
                break;
            }
            const bool relative = command >= 'a' && command <= 'z';
            const char upper = static_cast<char>(relative ? command - 32 : command);
            const bool forceLetter = explicitLetter && firstGroup;
            const Vec base = relative ? cur : Vec{};
            auto point = [&](int k) { return Vec{base.x + values[k], base.y + values[k + 1]}; };

            switch (upper) {
            case 'M': {
                // Further pairs of a move-to are line-tos.
                const char letter = firstGroup ? command : (relative ? 'l' : 'L');
                write.letter(letter, forceLetter || firstGroup);
                write.value(texts[0]);
                write.value(texts[1]);
                cur = start = point(0);
                started = true;
                previous = firstGroup ? 'M' : 'L';
                break;
            }
            case 'L':
            case 'H':
            case 'V':
                write.letter(command, forceLetter);
                for (int k = 0; k < n; ++k) write.value(texts[k]);
                if (upper == 'L') cur = point(0);
                if (upper == 'H') cur.x = base.x + values[0];
                if (upper == 'V') cur.y = (relative ? cur.y : 0.0) + values[0];
                previous = upper;
                break;
            case 'C':
                write.letter(command, forceLetter);
                for (int k = 0; k < 6; ++k) write.value(texts[k]);
                lastCubic = point(2);
                cur = point(4);
                previous = 'C';
                break;
            case 'S': {
                if (previous == 'Q') {
                    // After a quadratic the first control point is the current
                    // point; a cubic written in its place would be reflected
                    // instead, so the segment becomes an explicit cubic.
                    const char letter = relative ? 'c' : 'C';
                    write.letter(letter, forceLetter);
                    if (relative) {
                        write.value("0");
                        write.value("0");
                    } else {
                        write.number(cur.x);
                        write.number(cur.y);
                    }
                    ++stats.smoothAfterQuadratic;
                } else if (previous == 'C' && !((previousLetter == 'C' || previousLetter == 'S') && command == 'S')) {
                    // The reader reflects the previous cubic's numbers as stored,
                    // which are offsets for a relative one: only S after an
                    // absolute C/S gets the reflected point, so the others carry it.
                    const Vec p1{2 * cur.x - lastCubic.x, 2 * cur.y - lastCubic.y};
                    write.letter(relative ? 'c' : 'C', forceLetter);
                    write.number(p1.x - base.x);
                    write.number(p1.y - base.y);
                    ++stats.smoothReflections;
                } else {
                    write.letter(command, forceLetter);
                }
                for (int k = 0; k < 4; ++k) write.value(texts[k]);
                lastCubic = point(0);
                cur = point(2);
                previous = 'C';
                break;
            }
            case 'Q':
            case 'T': {
                Vec control, end;
                if (upper == 'Q') {
                    control = point(0);
                    end = point(2);
                } else {
                    control = previous == 'Q' ? Vec{2 * cur.x - lastQuad.x, 2 * cur.y - lastQuad.y} : cur;
                    end = point(0);
                }
                // Degree elevation: C1 = P0 + 2/3 (Q - P0), C2 = P3 + 2/3 (Q - P3).
                const Vec c1{cur.x + 2.0 / 3.0 * (control.x - cur.x), cur.y + 2.0 / 3.0 * (control.y - cur.y)};
                const Vec c2{end.x + 2.0 / 3.0 * (control.x - end.x), end.y + 2.0 / 3.0 * (control.y - end.y)};
                write.letter(relative ? 'c' : 'C', forceLetter);
                write.number(c1.x - base.x);
                write.number(c1.y - base.y);
                write.number(c2.x - base.x);
                write.number(c2.y - base.y);
                if (upper == 'Q') {
                    write.value(texts[2]);
                    write.value(texts[3]);
                } else {
                    write.value(texts[0]);
                    write.value(texts[1]);
                }
                lastQuad = control;
                lastCubic = c2;
                cur = end;
                previous = 'Q';
                ++stats.quadratics;
                break;
            }
            case 'A': {
                write.letter(command, forceLetter);
                const Vec end = point(5);
                const double rx = std::fabs(values[0]), ry = std::fabs(values[1]);
                double scale = 1.0;
                if (rx > 0 && ry > 0 && (end.x != cur.x || end.y != cur.y)) {
                    // SVG scales radii that cannot span the chord up until they just do.
                    const double phi = values[2] * 3.14159265358979323846 / 180.0;
                    const double dx2 = (cur.x - end.x) * 0.5, dy2 = (cur.y - end.y) * 0.5;
                    const double x1 = std::cos(phi) * dx2 + std::sin(phi) * dy2;
                    const double y1 = std::cos(phi) * dy2 - std::sin(phi) * dx2;
                    const double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
                    if (lambda > 1.0 + 1e-5) scale = std::sqrt(lambda);
                }
                if (scale > 1.0) {
                    write.number(rx * scale);
                    write.number(ry * scale);
                    ++stats.arcRadiiEnlarged;
                } else {
                    write.value(texts[0]);
                    write.value(texts[1]);
                }
                for (int k = 2; k < 7; ++k) write.value(texts[k]);
                cur = end;
                previous = 'A';
                break;
            }
            default:
                break;
            }
            previousLetter = write.lastLetter();
            firstGroup = false;
        } while (true);
        if (broken) {
            stats.truncated = true;
            break;
        }
    }
    if (!started) {
        out.clear();
        return false;
    }
    return true;
}

} // namespace preflight
} // namespace svg
} // namespace kx
