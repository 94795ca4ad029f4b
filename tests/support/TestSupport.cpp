// TestSupport.cpp - corpus lookup, file reading and log capture for tests.
#include "TestSupport.h"

#include <kx/svg/Simple.h>
#include <kx/system/kxIoDevice.h>

#include "read/LoadDocument.h"

#include <kx/system/kxLog.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include <stdlib.h>

namespace fs = std::filesystem;

namespace kxtest {

std::vector<std::string> corpusFiles()
{
    const std::string dir = corpusDir();
    std::vector<std::string> files;
    if (dir.empty()) return files;
    for (const std::string& f : listSvgFiles(dir))
        if (f.find("/large/") == std::string::npos) files.push_back(f);
    if (const char* sample = std::getenv("KXSVG_CORPUS_SAMPLE")) {
        const std::size_t wanted = std::max<std::size_t>(1, std::strtoul(sample, nullptr, 10));
        if (wanted < files.size()) {
            std::vector<std::string> picked;
            for (std::size_t i = 0; i < wanted; ++i) picked.push_back(files[i * files.size() / wanted]);
            files.swap(picked);
        }
    }
    return files;
}

Loaded LoadText(const std::string& text, bool lenient)
{
    Loaded run;
    kxIoDeviceByteContainerReadOnly device(text.data(), text.size());
    kx::svg::LoadOptions options;
    options.ignoreUnsupported = lenient;
    run.ok = kx::svg::impl::LoadSvgDocument(
        run.root, device, options, [&](const std::string& m) { run.messages.push_back("error: " + m); },
        [&](const std::string& m) { run.messages.push_back("warning: " + m); });
    return run;
}

GeneratedDocument::GeneratedDocument(std::string head, std::string element, std::size_t count, std::string tail)
    : m_head(std::move(head)), m_element(std::move(element)), m_tail(std::move(tail)), m_remaining(count)
{
}

int64_t GeneratedDocument::readBytes(void* buffer, int64_t count)
{
    largestRequest = std::max(largestRequest, count);
    char* out = static_cast<char*>(buffer);
    int64_t written = 0;
    while (written < count) {
        if (m_offset == m_pending.size()) {
            m_offset = 0;
            if (m_part == 0) {
                m_pending = m_head;
                m_part = 1;
            } else if (m_part == 1 && m_remaining > 0) {
                --m_remaining;
                m_pending = m_element;
            } else if (m_part == 1) {
                m_pending = m_tail;
                m_part = 2;
            } else {
                m_pending.clear();
                m_part = 3;
                break;
            }
        }
        const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(count - written), m_pending.size() - m_offset);
        std::memcpy(out + written, m_pending.data() + m_offset, n);
        m_offset += n;
        written += static_cast<int64_t>(n);
    }
    produced += written;
    return written;
}

TempDir::TempDir()
{
    std::string pattern = (fs::temp_directory_path() / "kxsvg-test-XXXXXX").string();
    const char* made = ::mkdtemp(&pattern[0]);
    m_path = made ? std::string(made) : std::string();
}

TempDir::~TempDir()
{
    std::error_code ec;
    if (!m_path.empty()) fs::remove_all(m_path, ec);
}

bool writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    return static_cast<bool>(out);
}

std::vector<std::string> listSvgFiles(const std::string& dir)
{
    std::vector<std::string> files;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec) && it->path().extension() == ".svg") files.push_back(it->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool regenerateGolden()
{
    const char* value = std::getenv("KXSVG_REGENERATE");
    return value && std::string(value) == "1";
}

void ExpectGolden(const std::string& actual, const std::string& path)
{
    if (regenerateGolden()) {
        EXPECT_TRUE(writeFile(path, actual)) << "cannot write " << path;
        return;
    }
    std::string expected;
    ASSERT_TRUE(readFile(path, expected)) << "missing " << path << " (run with KXSVG_REGENERATE=1)";
    EXPECT_EQ(actual, expected) << path;
}

LogCapture::LogCapture()
{
    kxLog::setSink([this](int level, const std::string& tag, const std::string& message) {
        m_entries.push_back(Entry{level, tag, message});
    });
}

LogCapture::~LogCapture() { kxLog::setSink(nullptr); }

std::vector<std::string> LogCapture::messages() const
{
    std::vector<std::string> out;
    for (const Entry& e : m_entries) out.push_back(e.message);
    return out;
}

int WindingAt(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edges, double px,
              double py, double tolerance, bool& near)
{
    int winding = 0;
    for (std::size_t i = 0; i + 1 < edges.size(); i += 2) {
        const Wm4::Vector2<float>& a = points[edges[i]];
        const Wm4::Vector2<float>& b = points[edges[i + 1]];
        const double ax = a.X(), ay = a.Y(), bx = b.X(), by = b.Y();
        const double dx = bx - ax, dy = by - ay, len2 = dx * dx + dy * dy;
        if (len2 > 0) {
            double t = ((px - ax) * dx + (py - ay) * dy) / len2;
            t = t < 0 ? 0 : (t > 1 ? 1 : t);
            if (std::hypot(ax + t * dx - px, ay + t * dy - py) < tolerance) near = true;
        }
        if ((ay > py) != (by > py) && ax + (py - ay) * dx / dy > px) winding += (by > ay) ? 1 : -1;
    }
    return winding;
}

std::vector<Wm4::Vector2<float>> RegularPolygon(int n, double cx, double cy, double radius, double phase)
{
    std::vector<Wm4::Vector2<float>> points;
    for (int i = 0; i < n; ++i) {
        const double a = phase + 2 * M_PI * i / n;
        points.emplace_back(static_cast<float>(cx + radius * std::cos(a)), static_cast<float>(cy + radius * std::sin(a)));
    }
    return points;
}

double CheckTriangleCover(const Outline& outline, kx::TriangulationFillRule rule,
                          const std::vector<Wm4::Vector2<float>>& triangles, const std::vector<unsigned int>& indices,
                          int samples)
{
    using Point = Wm4::Vector2<float>;
    EXPECT_EQ(indices.size() % 3, 0u);
    for (unsigned int index : indices) {
        EXPECT_LT(index, triangles.size());
        if (index >= triangles.size()) return -1;
    }
    double minX = HUGE_VAL, minY = HUGE_VAL, maxX = -HUGE_VAL, maxY = -HUGE_VAL;
    for (const Point& p : outline.points) {
        minX = std::min(minX, double(p.X()));
        maxX = std::max(maxX, double(p.X()));
        minY = std::min(minY, double(p.Y()));
        maxY = std::max(maxY, double(p.Y()));
    }
    const double tolerance = 1e-4 * std::max({maxX - minX, maxY - minY, 1.0});
    auto filled = [&](double x, double y, bool& near) {
        const int winding = WindingAt(outline.points, outline.edges, x, y, tolerance, near);
        return rule == kx::TriangulationFillRule::EvenOdd ? (winding & 1) != 0 : winding != 0;
    };
    double area = 0.0;
    for (std::size_t t = 0; t + 2 < indices.size(); t += 3) {
        const Point& a = triangles[indices[t]];
        const Point& b = triangles[indices[t + 1]];
        const Point& c = triangles[indices[t + 2]];
        const double twice = Cross(a, b, c);
        EXPECT_GT(twice, 0.0) << "triangle " << t / 3 << " is not counter-clockwise";
        area += 0.5 * twice;
        const double cx = (double(a.X()) + b.X() + c.X()) / 3, cy = (double(a.Y()) + b.Y() + c.Y()) / 3;
        bool near = false;
        const bool in = filled(cx, cy, near);
        EXPECT_TRUE(in || near) << "centroid of triangle " << t / 3 << " outside: " << cx << "," << cy;
        if (::testing::Test::HasFailure()) return area;
    }
    std::mt19937 rng(12345);
    std::uniform_real_distribution<double> ux(minX, maxX), uy(minY, maxY);
    for (int i = 0; i < samples; ++i) {
        const double px = ux(rng), py = uy(rng);
        bool near = false;
        const bool in = filled(px, py, near);
        const Point p(static_cast<float>(px), static_cast<float>(py));
        int covered = 0;
        for (std::size_t t = 0; t + 2 < indices.size() && !near; t += 3) {
            const Point& a = triangles[indices[t]];
            const Point& b = triangles[indices[t + 1]];
            const Point& c = triangles[indices[t + 2]];
            const double d1 = Cross(a, b, p), d2 = Cross(b, c, p), d3 = Cross(c, a, p);
            const double scale = std::max({std::fabs(a.X()), std::fabs(a.Y()), std::fabs(b.X()), std::fabs(b.Y()),
                                           std::fabs(c.X()), std::fabs(c.Y()), 1.0f});
            const double eps = 1e-9 * scale * scale;
            if (std::fabs(d1) < eps || std::fabs(d2) < eps || std::fabs(d3) < eps) near = true;
            else if (d1 > 0 && d2 > 0 && d3 > 0) ++covered;
        }
        if (near) continue;
        EXPECT_EQ(covered, in ? 1 : 0) << "sample " << px << "," << py;
        if (::testing::Test::HasFailure()) return area;
    }
    return area;
}

double FillArea(const kx::svg::SegmentedPrimitive& p)
{
    EXPECT_EQ(p.triangleIndices.size() % 3, 0u);
    for (unsigned int index : p.triangleIndices) {
        EXPECT_LT(index, p.trianglePoints.size());
        if (index >= p.trianglePoints.size()) return -1;
    }
    return kx::svg::FillArea(p);
}

bool InsideOutline(const kx::svg::SegmentedPrimitive& p, double px, double py, bool* nearEdge)
{
    bool inside = false;
    auto edge = [&](const Wm4::Vector2<float>& a, const Wm4::Vector2<float>& b) {
        const double ax = a.X(), ay = a.Y(), bx = b.X(), by = b.Y();
        const double dx = bx - ax, dy = by - ay, len2 = dx * dx + dy * dy;
        if (len2 > 0) {
            double t = ((px - ax) * dx + (py - ay) * dy) / len2;
            t = t < 0 ? 0 : (t > 1 ? 1 : t);
            const double ex = ax + t * dx - px, ey = ay + t * dy - py;
            if (ex * ex + ey * ey < 1e-6 * len2 + 1e-10) *nearEdge = true;
        }
        if ((ay > py) != (by > py) && ax + (py - ay) * dx / dy > px) inside = !inside;
    };
    const std::vector<unsigned int>& idx = p.lineIndices;
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < idx.size(); i += 2) {
        edge(p.points[idx[i]], p.points[idx[i + 1]]);
        const bool chainEnds = i + 2 >= idx.size() || idx[i + 2] != idx[i + 1];
        if (chainEnds) {
            if (idx[i + 1] != idx[start]) edge(p.points[idx[i + 1]], p.points[idx[start]]);
            start = i + 2;
        }
    }
    return inside;
}

int TrianglesCovering(const kx::svg::SegmentedPrimitive& p, double px, double py, bool* nearEdge)
{
    double minX = HUGE_VAL, minY = HUGE_VAL, maxX = -HUGE_VAL, maxY = -HUGE_VAL;
    for (const auto& q : p.trianglePoints) {
        minX = std::min(minX, double(q.X()));
        maxX = std::max(maxX, double(q.X()));
        minY = std::min(minY, double(q.Y()));
        maxY = std::max(maxY, double(q.Y()));
    }
    const double eps = 1e-7 * (maxX - minX) * (maxY - minY);
    int covered = 0;
    for (std::size_t t = 0; t + 2 < p.triangleIndices.size(); t += 3) {
        const auto& a = p.trianglePoints[p.triangleIndices[t]];
        const auto& b = p.trianglePoints[p.triangleIndices[t + 1]];
        const auto& c = p.trianglePoints[p.triangleIndices[t + 2]];
        auto side = [&](const Wm4::Vector2<float>& u, const Wm4::Vector2<float>& v) {
            return (double(v.X()) - u.X()) * (py - u.Y()) - (double(v.Y()) - u.Y()) * (px - u.X());
        };
        const double d1 = side(a, b), d2 = side(b, c), d3 = side(c, a);
        if (std::fabs(d1) < eps || std::fabs(d2) < eps || std::fabs(d3) < eps) {
            *nearEdge = true;
            return 0;
        }
        if ((d1 > 0 && d2 > 0 && d3 > 0) || (d1 < 0 && d2 < 0 && d3 < 0)) ++covered;
    }
    return covered;
}

} // namespace kxtest
