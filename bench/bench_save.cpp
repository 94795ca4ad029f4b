// bench_save.cpp - saving a large generated tree, and number formatting alone.
#include <kx/svg/Items.h>
#include <kx/svg/WriterHelpers.h>

#include "write/SaveDocument.h"

#include <kx/system/kxIoDevice.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <random>

using namespace kx::svg;

namespace {

// A document of `groups` groups, each with a path of 200 curve segments, a
// rectangle, a circle, a line and a text, all with presentation attributes.
std::shared_ptr<Document> BuildTree(int groups)
{
    std::mt19937 random(42);
    std::uniform_real_distribution<float> coordinate(-1000.0f, 1000.0f);
    auto doc = std::make_shared<Document>();
    doc->editViewbox() = BoundingBox(Wm4::Vector2<float>(-1000, -1000), Wm4::Vector2<float>(1000, 1000));
    for (int g = 0; g < groups; ++g) {
        auto group = std::make_shared<Node>();
        group->editTransform() = Wm4::Matrix3<float>(1, 0, coordinate(random), 0, 1, coordinate(random), 0, 0, 1);
        group->editRenderingProperties().fill = "#336699";
        group->editRenderingProperties().strokeWidth = 0.5f;

        auto path = std::make_shared<Path>();
        path->editCommands().emplace_back(Path::CommandType::MoveToAbs,
                                          std::vector<float>{coordinate(random), coordinate(random)});
        for (int i = 0; i < 200; ++i) {
            std::vector<float> args(6);
            for (float& a : args) a = coordinate(random);
            path->editCommands().emplace_back(i % 2 ? Path::CommandType::CubicBezierAbs : Path::CommandType::LineToRel,
                                              std::vector<float>(args.begin(), args.begin() + (i % 2 ? 6 : 2)));
        }
        path->editCommands().emplace_back(Path::CommandType::ClosePath, std::vector<float>{});
        group->addChild(path, true);
        auto rect = std::make_shared<Rect>(Wm4::Vector2<float>(coordinate(random), coordinate(random)),
                                           Wm4::Vector2<float>(10.5f, 20.25f));
        rect->editId() = "r" + std::to_string(g);
        group->addChild(rect, true);
        group->addChild(std::make_shared<Circle>(Wm4::Vector2<float>(coordinate(random), 3), 7.125f), true);
        group->addChild(std::make_shared<Line>(Wm4::Vector2<float>(coordinate(random), coordinate(random)),
                                               Wm4::Vector2<float>(coordinate(random), coordinate(random))),
                        true);
        auto text = std::make_shared<Text>(Wm4::Vector2<float>(1, 2), "label & <text>");
        text->editFontSize() = 12;
        group->addChild(text, true);
        doc->addChild(group, true);
    }
    return doc;
}

void BM_SaveGeneratedTree(benchmark::State& state)
{
    const auto doc = BuildTree(static_cast<int>(state.range(0)));
    SaveOptions options;
    options.writeFlag = false;
    options.formatOutput = state.range(1) != 0;
    int64_t bytes = 0;
    for (auto _ : state) {
        kxIoDeviceNullWriteOnly device;
        const bool ok = impl::SaveSvgDocument(*doc, device, options);
        benchmark::DoNotOptimize(ok);
        bytes = device.size();
    }
    state.SetBytesProcessed(bytes * static_cast<int64_t>(state.iterations()));
    state.counters["output_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_SaveGeneratedTree)->Args({2000, 0})->Args({2000, 1})->Unit(benchmark::kMillisecond);

void BM_FloatToSvgNumber(benchmark::State& state)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-10000.0f, 10000.0f);
    std::vector<float> values(4096);
    for (float& v : values) v = value(random);
    SaveOptions options;
    std::string out;
    out.reserve(1 << 16);
    for (auto _ : state) {
        out.clear();
        for (float v : values) {
            Helpers::appendSvgNumber(out, v, options);
            out += ' ';
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(values.size()));
}
BENCHMARK(BM_FloatToSvgNumber);

} // namespace
