// Segmentation speed: whole large drawings (loading excluded) and pure
// cubic flattening.
#include <kx/svg/Preflight.h>
#include <kx/svg/Segmentation.h>

#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>

#include "BenchSupport.h"
#include "read/LoadDocument.h"
#include "segment/StrokeMesh.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace kx::svg;
using Vec2 = Wm4::Vector2<float>;

// Large corpus drawings, loaded once and kept for every run.
const Node* LoadedLargeFile(std::size_t index, std::string* name)
{
    static std::map<std::size_t, ItemInterfacePointer<ItemInterface>> cache;
    const std::vector<std::string> files = kxbench::largeFiles();
    if (index >= files.size()) return nullptr;
    *name = files[index].substr(files[index].find_last_of('/') + 1);
    auto it = cache.find(index);
    if (it == cache.end()) {
        std::string content;
        ItemInterfacePointer<ItemInterface> root;
        if (kxbench::readFile(files[index], content)) {
            kxIoDeviceByteContainerReadOnly device(content.data(), content.size());
            LoadOptions options;
            options.ignoreUnsupported = true;
            if (!impl::LoadSvgDocument(root, device, options, nullptr, nullptr)) root.reset();
        }
        it = cache.emplace(index, root).first;
    }
    return dynamic_cast<const Node*>(it->second.get());
}

void BM_SegmentLargeFile(benchmark::State& state)
{
    std::string name;
    const Node* root = LoadedLargeFile(static_cast<std::size_t>(state.range(0)), &name);
    if (!root) {
        state.SkipWithError("large corpus file absent or not loadable");
        return;
    }
    state.SetLabel(name);
    // Fill failures are expected in real drawings; keep their messages quiet.
    kxLog::setSink([](int, const std::string&, const std::string&) {});
    double primitives = 0, points = 0, triangles = 0;
    bool error = false;
    for (auto _ : state) {
        SegmenterVisitor visitor(*root);
        error = visitor.hasError();
        for (const auto& p : visitor.getSegmentedPrimitives()) {
            points += static_cast<double>(p->points.size());
            triangles += static_cast<double>(p->triangleIndices.size() / 3);
        }
        primitives += static_cast<double>(visitor.getSegmentedPrimitives().size());
    }
    kxLog::setSink(nullptr);
    state.counters["primitives/s"] = benchmark::Counter(primitives, benchmark::Counter::kIsRate);
    state.counters["points/s"] = benchmark::Counter(points, benchmark::Counter::kIsRate);
    state.counters["triangles/s"] = benchmark::Counter(triangles, benchmark::Counter::kIsRate);
    state.counters["primitives"] = benchmark::Counter(primitives, benchmark::Counter::kAvgIterations);
    state.counters["fillError"] = error ? 1 : 0;
}
BENCHMARK(BM_SegmentLargeFile)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

// Sets the fill of every item of a tree to "none".
struct FillRemover : VisitorBase<ItemInterface> {
    static void run(Node& root)
    {
        root.editRenderingProperties().fill = "none";
        walkChildren(
            root,
            [](ItemInterface& item, Node*) {
                item.editRenderingProperties().fill = "none";
                return true;
            },
            [](Node&) {});
    }
};

// The same drawings without fills, to separate flattening from triangulation.
void BM_SegmentLargeFileOutlineOnly(benchmark::State& state)
{
    std::string name;
    const Node* loaded = LoadedLargeFile(static_cast<std::size_t>(state.range(0)), &name);
    if (!loaded) {
        state.SkipWithError("large corpus file absent or not loadable");
        return;
    }
    state.SetLabel(name);
    Node outlines(*loaded);
    FillRemover::run(outlines);
    double points = 0;
    for (auto _ : state) {
        SegmenterVisitor visitor(outlines);
        for (const auto& p : visitor.getSegmentedPrimitives()) points += static_cast<double>(p->points.size());
    }
    state.counters["points/s"] = benchmark::Counter(points, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SegmentLargeFileOutlineOnly)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

// Every shape of the drawings, each on its own: a failed fill does not stop
// the run, so this measures the whole pipeline including triangulation.
// Shapes use their own properties and transforms only.
struct LeafCollector : VisitorBase<const ItemInterface> {
    static std::vector<const ItemInterface*> run(const Node& root)
    {
        std::vector<const ItemInterface*> leaves;
        walkChildren(
            root,
            [&](const ItemInterface& item, const Node* group) {
                if (!group) leaves.push_back(&item);
                return true;
            },
            [](const Node&) {});
        return leaves;
    }
};

void BM_SegmentLargeFileEveryShape(benchmark::State& state)
{
    std::string name;
    const Node* root = LoadedLargeFile(static_cast<std::size_t>(state.range(0)), &name);
    if (!root) {
        state.SkipWithError("large corpus file absent or not loadable");
        return;
    }
    state.SetLabel(name);
    const std::vector<const ItemInterface*> leaves = LeafCollector::run(*root);
    kxLog::setSink([](int, const std::string&, const std::string&) {});
    double primitives = 0, points = 0, triangles = 0, failures = 0;
    for (auto _ : state) {
        const Document empty;
        SegmenterVisitor visitor(empty);
        failures = 0;
        for (const ItemInterface* leaf : leaves) {
            const Wm4::Matrix3<float> transform =
                leaf->getTransform() ? *leaf->getTransform() : Wm4::Matrix3<float>::IDENTITY;
            if (!visitor.segmentObject(*leaf, transform, leaf->getRenderingProperties())) ++failures;
        }
        for (const auto& p : visitor.getSegmentedPrimitives()) {
            points += static_cast<double>(p->points.size());
            triangles += static_cast<double>(p->triangleIndices.size() / 3);
        }
        primitives += static_cast<double>(visitor.getSegmentedPrimitives().size());
    }
    kxLog::setSink(nullptr);
    state.counters["primitives/s"] = benchmark::Counter(primitives, benchmark::Counter::kIsRate);
    state.counters["points/s"] = benchmark::Counter(points, benchmark::Counter::kIsRate);
    state.counters["triangles/s"] = benchmark::Counter(triangles, benchmark::Counter::kIsRate);
    state.counters["primitives"] = benchmark::Counter(primitives, benchmark::Counter::kAvgIterations);
    state.counters["fillFailures"] = failures;
}
BENCHMARK(BM_SegmentLargeFileEveryShape)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

// Flattening alone: a fixed set of random cubics into one growing outline.
void BM_FlattenCubics(benchmark::State& state)
{
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> coordinate(-100.0f, 100.0f);
    std::vector<std::unique_ptr<Wm4::BezierCurve2<float>>> curves;
    for (int i = 0; i < 1000; ++i) {
        Vec2* control = new Vec2[4];
        for (int k = 0; k < 4; ++k) control[k] = Vec2(coordinate(random), coordinate(random));
        curves.emplace_back(new Wm4::BezierCurve2<float>(3, control));
    }
    SegmentationUtils::BezierSegmentationWorkspace workspace;
    SegmentedPrimitive out;
    double points = 0;
    for (auto _ : state) {
        out.points.clear();
        out.lineIndices.clear();
        for (const auto& curve : curves)
            SegmentationUtils::DeCasteljauSegmentBezier(workspace, *curve, out, true, static_cast<unsigned int>(state.range(0)),
                                                        -0.999f);
        points += static_cast<double>(out.points.size());
        benchmark::DoNotOptimize(out.points.data());
    }
    state.counters["points/s"] = benchmark::Counter(points, benchmark::Counter::kIsRate);
    state.counters["curves/s"] =
        benchmark::Counter(static_cast<double>(state.iterations() * curves.size()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_FlattenCubics)->Arg(8)->Arg(32)->Unit(benchmark::kMicrosecond);

// Circles and arcs: fixed piece counts, no triangulation.
void BM_SegmentArcs(benchmark::State& state)
{
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    double total = 0;
    for (auto _ : state) {
        points.clear();
        indices.clear();
        for (int i = 0; i < 1000; ++i)
            SegmentationUtils::SegmentEllipticalArc(Vec2(float(i), 0), Vec2(5, 3), 0.3f, 0.1f * float(i % 7), 2.0f,
                                                    points, indices, true, 32, 0.0f);
        total += static_cast<double>(points.size());
        benchmark::DoNotOptimize(points.data());
    }
    state.counters["points/s"] = benchmark::Counter(total, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SegmentArcs)->Unit(benchmark::kMicrosecond);

} // namespace

namespace {

// The stroked outlines of a spread of corpus files (every 8th file in path
// order, about 2,000 drawings, after the preflight pass), in document
// coordinates with their styles. Sub-paths count as closed only where the
// outline's indices close them, so some closed paths are capped here.
struct StrokedOutline {
    std::vector<Vec2> points;
    std::vector<unsigned int> lineIndices;
    impl::StrokeStyle style;
};

const std::vector<StrokedOutline>& CorpusStrokes()
{
    static std::vector<StrokedOutline> outlines;
    static bool loaded = false;
    if (loaded) return outlines;
    loaded = true;
    const std::string dir = kxbench::corpusDir();
    if (dir.empty()) return outlines;
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir))
        if (entry.is_regular_file() && entry.path().extension() == ".svg") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    kxLog::setSink([](int, const std::string&, const std::string&) {});
    for (std::size_t i = 0; i < files.size(); i += 8) {
        std::string content;
        ItemInterfacePointer<ItemInterface> root;
        if (!kxbench::readFile(files[i], content)) continue;
        if (!kxbench::LoadThroughPreflight(content, root)) continue;
        const Node* node = dynamic_cast<const Node*>(root.get());
        if (!node) continue;
        SegmenterVisitor visitor(*node, SegmentationOptions::realSvg());
        for (const auto& p : visitor.getSegmentedPrimitives()) {
            if (!p->properties.hasStroke() || p->lineIndices.empty()) continue;
            outlines.push_back({p->points, p->lineIndices, impl::StrokeStyleFromProperties(p->properties, 24, 0.05f)});
        }
    }
    kxLog::setSink(nullptr);
    return outlines;
}

// Stroke meshes of the corpus's strokes, flattening excluded.
void BM_StrokeCorpus(benchmark::State& state)
{
    const std::vector<StrokedOutline>& outlines = CorpusStrokes();
    if (outlines.empty()) {
        state.SkipWithError("corpus absent: set KXSVG_CORPUS");
        return;
    }
    double segments = 0, triangles = 0;
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    for (auto _ : state) {
        for (const StrokedOutline& o : outlines) {
            points.clear();
            indices.clear();
            impl::AppendStrokeMesh(o.points, o.lineIndices, nullptr, o.style, points, indices);
            segments += static_cast<double>(o.lineIndices.size() / 2);
            triangles += static_cast<double>(indices.size() / 3);
        }
        benchmark::DoNotOptimize(indices.data());
    }
    state.counters["segments/s"] = benchmark::Counter(segments, benchmark::Counter::kIsRate);
    state.counters["triangles/s"] = benchmark::Counter(triangles, benchmark::Counter::kIsRate);
    state.counters["outlines"] = static_cast<double>(outlines.size());
}
BENCHMARK(BM_StrokeCorpus)->Unit(benchmark::kMillisecond);

// A zigzag of N segments with round joins and caps and dashes: the time per
// segment stays flat as N grows.
void BM_StrokeZigzag(benchmark::State& state)
{
    const unsigned int n = static_cast<unsigned int>(state.range(0));
    std::vector<Vec2> outline;
    std::vector<unsigned int> pairs;
    for (unsigned int i = 0; i <= n; ++i) outline.push_back(Vec2(static_cast<float>(i), (i % 2) ? 1.0f : 0.0f));
    for (unsigned int i = 0; i < n; ++i) pairs.insert(pairs.end(), {i, i + 1});
    impl::StrokeStyle style;
    style.width = 0.5f;
    style.cap = LineCap::Round;
    style.join = LineJoin::Round;
    style.dashes = {3.0f, 1.0f};
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    // Once untimed, so that the runs reuse the output's memory instead of faulting it in.
    impl::AppendStrokeMesh(outline, pairs, nullptr, style, points, indices);
    for (auto _ : state) {
        points.clear();
        indices.clear();
        impl::AppendStrokeMesh(outline, pairs, nullptr, style, points, indices);
        benchmark::DoNotOptimize(indices.data());
    }
    state.SetComplexityN(static_cast<int64_t>(n));
    const double segments = static_cast<double>(n) * static_cast<double>(state.iterations());
    state.counters["segments/s"] = benchmark::Counter(segments, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_StrokeZigzag)->RangeMultiplier(4)->Range(1 << 10, 1 << 18)->Complexity(benchmark::oN);

} // namespace
