// Inputs.cpp - what the tools get: the large drawings, path-data number
// tokens, star-shaped polygons, the mdi icon outlines, rings, and the area of
// a triangulation.
#include "Compare.h"

#include "segment/SegmentationCommon.h"

#include <kx/svg/Segmentation.h>
#include <kx/svg/Triangulate.h>

#include "BenchSupport.h"

#include <dirent.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace kxcompare {

using namespace kx::svg;

std::vector<LargeFile> LoadLargeFiles()
{
    std::vector<LargeFile> files;
    for (const std::string& path : kxbench::largeFiles()) {
        LargeFile f;
        f.path = path;
        f.name = path.substr(path.find_last_of('/') + 1);
        if (kxbench::readFile(path, f.bytes)) files.push_back(std::move(f));
    }
    return files;
}

// Every ` d="..."` text of a file (a plain scan, no XML parser).
std::vector<std::string> ExtractPathData(const std::string& content)
{
    std::vector<std::string> out;
    for (std::size_t at = content.find(" d=\""); at != std::string::npos; at = content.find(" d=\"", at + 4)) {
        const std::size_t start = at + 4;
        const std::size_t end = content.find('"', start);
        if (end == std::string::npos) break;
        out.push_back(content.substr(start, end - start));
    }
    return out;
}

// Length of the number token at `p` (path-data number syntax), 0 when none.
std::size_t NumberToken(const char* p, const char* end)
{
    const char* s = p;
    if (s < end && (*s == '+' || *s == '-')) ++s;
    const char* digits = s;
    while (s < end && *s >= '0' && *s <= '9') ++s;
    bool any = s > digits;
    if (s < end && *s == '.') {
        const char* fraction = ++s;
        while (s < end && *s >= '0' && *s <= '9') ++s;
        any = any || s > fraction;
    }
    if (!any) return 0;
    if (s < end && (*s == 'e' || *s == 'E')) {
        const char* e = s + 1;
        if (e < end && (*e == '+' || *e == '-')) ++e;
        const char* exponentDigits = e;
        while (e < end && *e >= '0' && *e <= '9') ++e;
        if (e > exponentDigits) s = e;
    }
    return std::size_t(s - p);
}

void Polygon::prepare()
{
    // Runs of chained pairs are rings. A run that does not come back to
    // its start is filled as if closed (what the segmenter does), so
    // the other tools get its end vertex and a closing edge too.
    ringCoords.clear();
    ringStarts.clear();
    cgalEdges.clear();
    std::size_t vertices = 0;
    auto addVertex = [&](unsigned int index) {
        const Vec2& p = points[index];
        ringCoords.push_back(double(p.X()));
        ringCoords.push_back(double(p.Y()));
        ringCoords.push_back(0.0);
        ++vertices;
    };
    // A run of three pairs or more whose end is within a thousandth of the
    // extent of its start is closed on its start vertex, as TriangulatePoly
    // closes it (the tolerance of contour clean-up), so all tools fill the
    // same outline.
    float minX = 0, maxX = 0, minY = 0, maxY = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Vec2& p = points[i];
        minX = i ? std::min(minX, p.X()) : p.X();
        maxX = i ? std::max(maxX, p.X()) : p.X();
        minY = i ? std::min(minY, p.Y()) : p.Y();
        maxY = i ? std::max(maxY, p.Y()) : p.Y();
    }
    const double tolX = 1e-3 * (double(maxX) - minX), tolY = 1e-3 * (double(maxY) - minY);
    std::size_t runStart = 0;
    auto closeRun = [&](std::size_t lastPair) {
        const unsigned int start = edges[runStart], end = edges[lastPair + 1];
        if (end == start || points[end] == points[start]) return;
        if (lastPair - runStart >= 4 && std::fabs(double(points[end].X()) - points[start].X()) < tolX &&
            std::fabs(double(points[end].Y()) - points[start].Y()) < tolY) {
            cgalEdges.back().second = start;
            return;
        }
        addVertex(end);
        cgalEdges.emplace_back(end, start);
    };
    for (std::size_t i = 0; i + 1 < edges.size(); i += 2) {
        if (i == 0 || edges[i] != edges[i - 1]) {
            if (i > 0) closeRun(i - 2);
            runStart = i;
            ringStarts.push_back(vertices);
        }
        addVertex(edges[i]);
        cgalEdges.emplace_back(edges[i], edges[i + 1]);
    }
    if (edges.size() >= 2) closeRun(edges.size() - 2);
    ringStarts.push_back(vertices);
    cgalPoints.clear();
    for (const Vec2& p : points) cgalPoints.emplace_back(double(p.X()), double(p.Y()));
}

Polygon StarPolygon(std::size_t n)
{
    // Random radii between 100 and 1000 at evenly spaced angles (the same
    // shape as the triangulation benchmark's "Star").
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> radius(100.0, 1000.0);
    Polygon poly;
    poly.points.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double a = 2 * M_PI * double(i) / double(n);
        const double r = radius(rng);
        poly.points.emplace_back(float(r * std::cos(a)), float(r * std::sin(a)));
    }
    for (std::size_t i = 0; i < n; ++i) {
        poly.edges.push_back(unsigned(i));
        poly.edges.push_back(unsigned((i + 1) % n));
    }
    poly.prepare();
    return poly;
}

// The filled outlines of the corpus icons: every filled primitive of every
// icon of one icon set, segmented as the library segments them.
std::vector<Polygon> IconOutlines(const std::string& folder, std::size_t* icons)
{
    std::vector<Polygon> polygons;
    *icons = 0;
    std::vector<std::string> files;
    std::function<void(const std::string&)> walk = [&](const std::string& dir) {
        DIR* d = opendir(dir.c_str());
        if (!d) return;
        while (dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            if (name == "." || name == "..") continue;
            const std::string path = dir + "/" + name;
            if (e->d_type == DT_DIR) walk(path);
            else if (name.size() > 4 && name.compare(name.size() - 4, 4, ".svg") == 0) files.push_back(path);
        }
        closedir(d);
    };
    walk(folder);
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) {
        std::string bytes;
        if (!kxbench::readFile(file, bytes)) continue;
        ItemInterfacePointer<ItemInterface> root;
        if (!OurLoad(bytes, root) || !root) continue;
        const Node* node = dynamic_cast<const Node*>(root.get());
        if (!node) continue;
        SegmenterVisitor visitor(*node);
        bool any = false;
        for (const auto& primitive : visitor.getSegmentedPrimitives()) {
            if (!primitive || !primitive->properties.hasFill() || primitive->lineIndices.size() < 6) continue;
            Polygon poly;
            poly.source = file.substr(folder.size() + 1);
            poly.points = primitive->points;
            poly.edges = primitive->lineIndices;
            kx::CleanupContour(poly.points, poly.edges);
            if (poly.edges.size() < 6) continue;
            if (!kx::svg::impl::CloseOpenChains(poly.points, poly.edges, poly.fillEdges)) poly.fillEdges.clear();
            poly.prepare();
            polygons.push_back(std::move(poly));
            any = true;
        }
        if (any) ++*icons;
    }
    return polygons;
}

double TriangleArea(const double* a, const double* b, const double* c)
{
    return 0.5 * std::fabs((b[0] - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (b[1] - a[1]));
}

// The area of a triangulation's output.
double TrianglesArea(const std::vector<Vec2>& outPoints, const std::vector<unsigned int>& outIndices)
{
    double area = 0.0;
    for (std::size_t i = 0; i + 2 < outIndices.size(); i += 3) {
        const Vec2& a = outPoints[outIndices[i]];
        const Vec2& b = outPoints[outIndices[i + 1]];
        const Vec2& c = outPoints[outIndices[i + 2]];
        const double pa[2] = {a.X(), a.Y()}, pb[2] = {b.X(), b.Y()}, pc[2] = {c.X(), c.Y()};
        area += TriangleArea(pa, pb, pc);
    }
    return area;
}

bool SameArea(double a, double b) { return std::fabs(a - b) <= 1e-5 * std::max(std::fabs(a), std::fabs(b)) + 1e-9; }

Polygon ClosedRings(const std::vector<std::vector<Vec2>>& rings)
{
    Polygon poly;
    for (const std::vector<Vec2>& ring : rings) {
        const unsigned int base = unsigned(poly.points.size());
        poly.points.insert(poly.points.end(), ring.begin(), ring.end());
        for (std::size_t i = 0; i < ring.size(); ++i) {
            poly.edges.push_back(base + unsigned(i));
            poly.edges.push_back(base + unsigned((i + 1) % ring.size()));
        }
    }
    poly.prepare();
    return poly;
}

std::vector<Vec2> Circle(std::size_t n, double cx, double cy, double r)
{
    std::vector<Vec2> ring;
    for (std::size_t i = 0; i < n; ++i) {
        const double a = 2 * M_PI * double(i) / double(n);
        ring.emplace_back(float(cx + r * std::cos(a)), float(cy + r * std::sin(a)));
    }
    return ring;
}

} // namespace kxcompare
