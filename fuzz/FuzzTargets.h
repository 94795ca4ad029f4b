// FuzzTargets.h - the bodies of the fuzz targets, shared by the libFuzzer
// programs in fuzz/ and by the regression test that replays the saved inputs
// with an ordinary compiler. Each function takes arbitrary bytes; any crash,
// sanitizer report or abort() inside is a bug.
#ifndef KXSVG_FUZZ_FUZZTARGETS_H
#define KXSVG_FUZZ_FUZZTARGETS_H

#include <kx/svg/BoundingBox.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/svg/Options.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/PathPrimitives.h>
#include <kx/svg/Preflight.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/svg/Simple.h>
#include <kx/svg/Triangulate.h>
#include <kx/svg/Units.h>
#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>

#include "read/LoadDocument.h"
#include "read/ReadNumbers.h"
#include "write/SaveDocument.h"

#include <utf8.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace kxfuzz {

/// Inputs above this size are ignored so that one input cannot take long.
constexpr size_t kMaxInputSize = 30000;

inline void fail(const char* what)
{
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

/// Indices come in whole groups (pairs, triples) and each lies below `points`.
inline void checkIndices(const std::vector<unsigned int>& indices, size_t group, size_t points, const char* what)
{
    if (indices.size() % group != 0) fail(what);
    for (unsigned int index : indices)
        if (index >= points) fail(what);
}

/// Every index of a primitive's outline, fill and stroke lies in range and
/// comes in whole pairs or triples.
inline void checkPrimitive(const kx::svg::SegmentedPrimitive& primitive)
{
    checkIndices(primitive.lineIndices, 2, primitive.points.size(), "outline indices not whole pairs in range");
    checkIndices(primitive.triangleIndices, 3, primitive.trianglePoints.size(), "triangles not whole triples in range");
    checkIndices(primitive.strokeIndices, 3, primitive.strokePoints.size(), "stroke not whole triples in range");
}

/// Segments a loaded tree with `options` and checks every primitive.
inline void checkSegmentation(const kx::svg::ItemInterface& root, const kx::svg::SegmentationOptions& options)
{
    const auto* node = dynamic_cast<const kx::svg::Node*>(&root);
    if (!node) return;
    kx::svg::SegmenterVisitor segmenter(*node, options);
    for (const auto& primitive : segmenter.getSegmentedPrimitives())
        if (primitive) checkPrimitive(*primitive);
}

/// Drops log entries: warnings about unfillable shapes would flood the
/// fuzzer's output and slow it down. The entries are still formatted.
inline void quietLog()
{
    kxLog::setSink([](int, const std::string&, const std::string&) {});
}

inline void ensureLibrary()
{
    // Initialised once and never terminated: the fuzzer process runs many inputs.
    static const bool ready = [] {
        kx::svg::initializeKxSvg();
        return true;
    }();
    (void)ready;
}

/// Path data: text to commands, commands to primitives (with their box),
/// then the whole path segmented and filled.
inline int fuzzPathData(const uint8_t* data, size_t size)
{
    if (size > kMaxInputSize) return 0;
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::list<kx::svg::Path::Command> commands;
    std::string error;
    try {
        kx::svg::ConvertPathStringToCommands(text, commands, &error);
    } catch (const utf8::exception&) {
        // Malformed UTF-8 is reported by an exception; the commands read so far stay.
    }

    const Wm4::Matrix3<float> identity = Wm4::Matrix3<float>::IDENTITY;
    size_t primitives = 0;
    kx::svg::PathVisitorCommandsToPrimitives visitor(
        commands, [&](std::unique_ptr<kx::svg::PathPrimitive>& primitive, bool) {
            if (!primitive) fail("null primitive");
            kx::svg::BoundingBox box;
            primitive->estimateBoundingBox(box, identity);
            ++primitives;
        });
    visitor.visit();

    kx::svg::Path path;
    path.editCommands() = std::move(commands);
    bool fillFailed = false;
    std::shared_ptr<kx::svg::SegmentedPrimitive> segmented =
        kx::svg::SegmentPath(path, 32, -0.999f, nullptr, nullptr, nullptr, &fillFailed);
    if (segmented) checkPrimitive(*segmented);
    return 0;
}

/// Whole documents: loaded strictly and leniently; every result is saved to
/// a null device, measured (estimated box; tight box, with strokes in the
/// lenient run) and segmented.
inline int fuzzLoad(const uint8_t* data, size_t size)
{
    if (size > kMaxInputSize) return 0;
    ensureLibrary();
    for (int lenient = 0; lenient < 2; ++lenient) {
        kx::svg::LoadOptions options;
        options.ignoreUnsupported = lenient != 0;
        kxIoDeviceByteContainerReadOnly device(data, size);
        kx::svg::ItemInterfacePointer<kx::svg::ItemInterface> result;
        size_t messages = 0;
        const kx::svg::impl::MessageSink sink = [&messages](const std::string&) { ++messages; };
        const bool loaded = kx::svg::impl::LoadSvgDocument(result, device, options, sink, sink);
        if (!loaded && messages == 0) fail("load failed without a message");
        if (!result) continue;

        kxIoDeviceNullWriteOnly sink2;
        kx::svg::SaveOptions saveOptions;
        saveOptions.writeFlag = false;
        saveOptions.formatOutput = lenient != 0;
        kx::svg::impl::SaveSvgDocument(*result, sink2, saveOptions);

        kx::svg::BoundingBox box;
        kx::svg::ComputeEstimatedBoundingBox(*result, box, nullptr, nullptr);
        kx::svg::TightBoxOptions ink;
        ink.includeStroke = lenient != 0;
        kx::svg::ComputeTightBoundingBox(*result, nullptr, nullptr, ink);

        // The strict pass flattens with the defaults, the lenient one as real
        // drawings are flattened (crossings resolved, going on past failures)
        // with non-overlapping stroke meshes.
        kx::svg::SegmentationOptions segmentation =
            lenient ? kx::svg::SegmentationOptions::realSvg() : kx::svg::SegmentationOptions();
        segmentation.strokeMeshes = lenient != 0;
        segmentation.strokeNonOverlapping = lenient != 0;
        checkSegmentation(*result, segmentation);
    }
    return 0;
}

/// The one-call layer: bytes as a file's content (plain or gzip-compressed),
/// loaded, saved with shortest numbers, read back, segmented and preflighted;
/// and the same bytes as path data.
inline int fuzzSimple(const uint8_t* data, size_t size)
{
    if (size > kMaxInputSize) return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const kx::svg::LoadResult loaded = kx::svg::LoadBytes(bytes);
    if (!loaded && loaded.messages.empty()) fail("load failed without a message");
    if (loaded) {
        kx::svg::SaveTextOptions options;
        options.save.writeFlag = false;
        options.shortestNumbers = true;
        const kx::svg::SaveResult saved = kx::svg::SaveString(*loaded.document, options);
        if (saved) kx::svg::LoadBytes(saved.text);
        for (const kx::svg::SegmentedItem& item : kx::svg::Segment(*loaded.document).items) {
            if (!item.item) fail("segmented item without its item");
            checkPrimitive(item.primitive);
        }
    }
    const kx::svg::PreflightResult preflighted = kx::svg::PreflightBytes(bytes);
    if (!preflighted && preflighted.messages.empty()) fail("preflight failed without a message");
    const kx::svg::PathDataResult path = kx::svg::ParsePathData(bytes);
    if (!path && (path.errorMessage.empty() || path.errorPosition > size)) fail("path data fault without a place");
    return 0;
}

/// Preflight, with the default options and with the fill rule honoured: any
/// bytes either fail with a reason or come out as a document that loads
/// strictly and segments as real drawings are segmented.
inline int fuzzPreflight(const uint8_t* data, size_t size)
{
    if (size > kMaxInputSize) return 0;
    ensureLibrary();
    const std::string input(reinterpret_cast<const char*>(data), size);
    for (bool honorFillRule : {false, true}) {
        std::string output;
        kx::svg::PreflightReport report;
        kx::svg::PreflightOptions preflightOptions;
        preflightOptions.honorFillRule = honorFillRule;
        if (!kx::svg::PreflightSvg(input, preflightOptions, output, report)) {
            if (report.total(kx::svg::PreflightChange::Failed) == 0) fail("preflight failed without a reason");
            if (!output.empty()) fail("failed preflight left output");
            return 0;
        }
        kxIoDeviceByteContainerReadOnly device(output.data(), output.size());
        kx::svg::LoadOptions options;
        options.ignoreUnsupported = false;
        kx::svg::ItemInterfacePointer<kx::svg::ItemInterface> result;
        const kx::svg::impl::MessageSink sink = [](const std::string&) {};
        if (!kx::svg::impl::LoadSvgDocument(result, device, options, sink, sink) || !result)
            fail("preflight output does not load strictly");
        checkSegmentation(*result, kx::svg::SegmentationOptions::realSvg());
    }
    return 0;
}

/// Attribute values: colours, lengths, numbers, number lists and transforms.
inline int fuzzValues(const uint8_t* data, size_t size)
{
    if (size > kMaxInputSize) return 0;
    const std::string text(reinterpret_cast<const char*>(data), size);

    Wm4::Vector4<unsigned char> rgba;
    kx::svg::ParseSvgColor(text, rgba);

    kx::svg::UnitValue unit(1.0f, kx::svg::Unit::Px);
    const kx::svg::UnitValue before = unit;
    if (!kx::svg::UnitValue::parseVal(text, unit) && unit != before) fail("failed unit parse changed its output");

    Wm4::Matrix3<float> matrix = Wm4::Matrix3<float>::IDENTITY;
    const Wm4::Matrix3<float> identity = Wm4::Matrix3<float>::IDENTITY;
    std::string error;
    if (!kx::svg::impl::ParseTransformList(text, matrix, error)) {
        if (!(matrix == identity)) fail("failed transform parse changed its output");
    }

    float number = 0.0f;
    kx::svg::impl::ParseSvgFloat(text, number);
    float values[8];
    size_t count = 0;
    std::string_view bad;
    kx::svg::impl::ParseNumberList(text, values, 8, count, bad);
    return 0;
}

// ---------------------------------------------------------------- triangulation

/// Area covered by the outline `points`/`edges` under `rule`, computed
/// independently of the triangulator: the plane is cut into horizontal slabs
/// at every vertex and every crossing of two edges, so that inside a slab the
/// edges do not cross; the edges crossing a slab are sorted by their x at the
/// slab's middle and the covered stretches between them are summed as
/// trapezoids. Sound for any set of segments, crossing or not.
inline double coveredArea(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edges,
                          kx::TriangulationFillRule rule)
{
    struct Edge {
        double x0, y0, x1, y1;
        int dir;
    };
    std::vector<Edge> list;
    for (size_t i = 0; i + 1 < edges.size(); i += 2) {
        const Wm4::Vector2<float>& a = points[edges[i]];
        const Wm4::Vector2<float>& b = points[edges[i + 1]];
        if (a.Y() == b.Y()) continue; // horizontal edges do not change the inside
        if (a.Y() < b.Y())
            list.push_back(Edge{a.X(), a.Y(), b.X(), b.Y(), 1});
        else
            list.push_back(Edge{b.X(), b.Y(), a.X(), a.Y(), -1});
    }
    std::vector<double> ys;
    for (const Edge& e : list) {
        ys.push_back(e.y0);
        ys.push_back(e.y1);
    }
    for (size_t i = 0; i < list.size(); ++i) {
        for (size_t j = i + 1; j < list.size(); ++j) {
            const Edge& p = list[i];
            const Edge& q = list[j];
            const double rx = p.x1 - p.x0, ry = p.y1 - p.y0;
            const double sx = q.x1 - q.x0, sy = q.y1 - q.y0;
            const double den = rx * sy - ry * sx;
            if (den == 0.0) continue;
            const double t = ((q.x0 - p.x0) * sy - (q.y0 - p.y0) * sx) / den;
            const double u = ((q.x0 - p.x0) * ry - (q.y0 - p.y0) * rx) / den;
            if (t > 0.0 && t < 1.0 && u > 0.0 && u < 1.0) ys.push_back(p.y0 + t * ry);
        }
    }
    std::sort(ys.begin(), ys.end());
    ys.erase(std::unique(ys.begin(), ys.end()), ys.end());

    struct Cut {
        double xLow, xHigh, xMid;
        int dir;
    };
    std::vector<Cut> cuts;
    double area = 0.0;
    for (size_t s = 0; s + 1 < ys.size(); ++s) {
        const double low = ys[s], high = ys[s + 1], mid = 0.5 * (low + high);
        if (!(high > low)) continue;
        cuts.clear();
        for (const Edge& e : list) {
            if (e.y0 > mid || e.y1 < mid) continue;
            auto xAt = [&e](double y) { return e.x0 + (e.x1 - e.x0) * ((y - e.y0) / (e.y1 - e.y0)); };
            cuts.push_back(Cut{xAt(low), xAt(high), xAt(mid), e.dir});
        }
        std::sort(cuts.begin(), cuts.end(), [](const Cut& a, const Cut& b) { return a.xMid < b.xMid; });
        int winding = 0;
        for (size_t k = 0; k + 1 < cuts.size(); ++k) {
            winding += cuts[k].dir;
            const bool inside = rule == kx::TriangulationFillRule::EvenOdd ? (k % 2 == 0) : winding != 0;
            if (!inside) continue;
            const double width = 0.5 * ((cuts[k + 1].xLow - cuts[k].xLow) + (cuts[k + 1].xHigh - cuts[k].xHigh));
            area += std::fabs(width) * (high - low);
        }
    }
    return area;
}

/// Reads a little-endian value of `n` bytes, advancing the cursor; zero past the end.
inline uint32_t takeBytes(const uint8_t*& p, const uint8_t* end, int n)
{
    uint32_t value = 0;
    for (int i = 0; i < n; ++i) {
        const uint32_t byte = p < end ? *p++ : 0;
        value |= byte << (8 * i);
    }
    return value;
}

/// Triangulation of arbitrary points and index pairs; a successful fill of a
/// closed outline must cover exactly the outline's area. Layout: one byte of
/// options (bit 0 fill rule, bit 1 the zero-length flag, bit 2 raw float
/// coordinates instead of small grid ones, bit 3 closed chains built from
/// the points in order instead of explicit index pairs, bit 4 crossings
/// resolved through TriangulateFill, whose fill boundary must then enclose
/// the same area), one byte giving the number of points, the coordinates,
/// then the index pairs.
inline int fuzzTriangulate(const uint8_t* data, size_t size)
{
    if (size > kMaxInputSize || size < 2) return 0;
    const uint8_t* p = data;
    const uint8_t* end = data + size;
    const uint8_t optionBits = *p++;
    const kx::TriangulationFillRule rule =
        (optionBits & 1) ? kx::TriangulationFillRule::NonZero : kx::TriangulationFillRule::EvenOdd;
    const bool flag = (optionBits & 2) != 0;
    const bool rawFloats = (optionBits & 4) != 0;
    const bool chains = (optionBits & 8) != 0;
    const bool resolve = (optionBits & 16) != 0;
    const size_t pointCount = *p++;

    std::vector<Wm4::Vector2<float>> points;
    points.reserve(pointCount);
    for (size_t i = 0; i < pointCount; ++i) {
        float xy[2];
        for (float& v : xy) {
            if (rawFloats) {
                const uint32_t bits = takeBytes(p, end, 4);
                std::memcpy(&v, &bits, sizeof v);
            } else {
                v = static_cast<float>(static_cast<int8_t>(takeBytes(p, end, 1)));
            }
        }
        points.emplace_back(xy[0], xy[1]);
    }

    std::vector<unsigned int> edges;
    bool closed = true; // every vertex is met an even number of times
    if (chains) {
        // Chain lengths follow as bytes; each chain is closed back to its start.
        size_t next = 0;
        while (next < points.size()) {
            size_t length = p < end ? *p++ : points.size();
            length = std::max<size_t>(1, std::min(length, points.size() - next));
            for (size_t i = 0; i < length; ++i) {
                edges.push_back(static_cast<unsigned int>(next + i));
                edges.push_back(static_cast<unsigned int>(next + (i + 1) % length));
            }
            next += length;
        }
    } else {
        // Indices may point outside the point list: the triangulator must refuse them.
        while (end - p >= 2) {
            edges.push_back(*p++);
            edges.push_back(*p++);
        }
        std::vector<unsigned int> degree(256, 0);
        for (unsigned int index : edges) ++degree[index];
        for (unsigned int d : degree)
            if (d % 2 != 0) closed = false;
    }

    std::vector<Wm4::Vector2<float>> outPoints;
    std::vector<unsigned int> outIndices;
    double ringArea = 0.0;
    if (resolve) {
        kx::FillOptions options;
        options.rule = rule;
        options.skipZeroLengthSegments = flag;
        std::string reason;
        if (!kx::TriangulateFill(points, edges, outPoints, outIndices, options, &reason)) {
            if (reason.empty()) fail("a refused fill gave no reason");
            return 0;
        }
        std::vector<kx::FillRing> rings;
        if (!kx::ComputeFillBoundary(points, edges, rings, options, &reason)) fail("a fill without its boundary");
        for (const kx::FillRing& ring : rings)
            for (size_t i = 0; i < ring.size(); ++i) {
                const Wm4::Vector2<float>& a = ring[i];
                const Wm4::Vector2<float>& b = ring[(i + 1) % ring.size()];
                ringArea += 0.5 * (double(a.X()) * b.Y() - double(a.Y()) * b.X());
            }
    } else if (!kx::TriangulatePoly(points, edges, outPoints, outIndices, rule, flag)) {
        return 0;
    }

    checkIndices(edges, 1, points.size(), "accepted an index pair outside the points");
    checkIndices(outIndices, 3, outPoints.size(), "triangles not whole triples in range");

    // The area check needs finite, moderate coordinates (grid mode) and a
    // closed outline, whose inside does not depend on the ray chosen.
    if (rawFloats || !closed) return 0;
    double triangles = 0.0;
    for (size_t i = 0; i + 2 < outIndices.size(); i += 3) {
        const Wm4::Vector2<float>& a = outPoints[outIndices[i]];
        const Wm4::Vector2<float>& b = outPoints[outIndices[i + 1]];
        const Wm4::Vector2<float>& c = outPoints[outIndices[i + 2]];
        const double cross = (double(b.X()) - a.X()) * (double(c.Y()) - a.Y()) -
                             (double(b.Y()) - a.Y()) * (double(c.X()) - a.X());
        triangles += 0.5 * std::fabs(cross);
    }
    const double covered = coveredArea(points, edges, rule);
    auto failArea = [](const char* what, double a, double b) {
        std::fprintf(stderr, "%.9g against %.9g\n", a, b);
        fail(what);
    };
    if (resolve && std::fabs(ringArea - triangles) > 1e-6 * triangles + 1e-6)
        failArea("the fill boundary encloses another area than the triangles", ringArea, triangles);
    // Crossing points are rounded to floats by the triangulator: allow a
    // small relative slack plus an absolute one for slivers. A successful
    // fill covers all of the outline and nothing more.
    if (triangles > covered * (1.0 + 1e-3) + 1e-2) failArea("triangles cover more than the outline", triangles, covered);
    if (triangles < covered * (1.0 - 1e-3) - 1e-2) failArea("triangles cover less than the outline", triangles, covered);
    return 0;
}

} // namespace kxfuzz

#endif
