// bench_path.cpp - path-data parsing and estimated bounding boxes.
#include <kx/svg/BoundingBox.h>
#include <kx/svg/Items.h>
#include <kx/svg/PathParser.h>

#include "BenchSupport.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

// The text of every ` d="..."` attribute of a file (a plain scan, no XML parser).
std::vector<std::string> ExtractPathData(const std::string& content)
{
    std::vector<std::string> out;
    for (size_t at = content.find(" d=\""); at != std::string::npos; at = content.find(" d=\"", at + 4)) {
        const size_t start = at + 4;
        const size_t end = content.find('"', start);
        if (end == std::string::npos) break;
        out.push_back(content.substr(start, end - start));
    }
    return out;
}

bool Parses(const std::string& d)
{
    std::list<kx::svg::Path::Command> commands;
    try {
        return kx::svg::ConvertPathStringToCommands(d, commands, nullptr);
    } catch (...) {
        return false;
    }
}

struct CorpusPaths {
    std::vector<std::string> paths; // every valid "d" text of the large files
    std::string joined;             // all of them in one path, separated by line feeds
    size_t numbers = 0;
};

const CorpusPaths& LargeCorpusPaths()
{
    static const CorpusPaths data = [] {
        CorpusPaths d;
        for (const std::string& file : kxbench::largeFiles()) {
            std::string content;
            if (!kxbench::readFile(file, content)) continue;
            for (std::string& text : ExtractPathData(content)) {
                if (!Parses(text)) continue;
                d.joined += text;
                d.joined += '\n';
                d.paths.push_back(std::move(text));
            }
        }
        std::list<kx::svg::Path::Command> commands;
        kx::svg::ConvertPathStringToCommands(d.joined, commands, nullptr);
        for (const auto& c : commands) d.numbers += c.arguments.size();
        return d;
    }();
    return data;
}

// A long generated path mixing every command, with numbers of typical lengths.
const std::string& GeneratedPath(size_t& numbers)
{
    static size_t count = 0;
    static const std::string text = [] {
        std::mt19937 rng(7);
        std::uniform_real_distribution<float> coordinate(-500.0f, 500.0f);
        std::string s;
        char buf[64];
        auto number = [&](float v) {
            std::snprintf(buf, sizeof buf, "%.3f", static_cast<double>(v));
            s += buf;
            ++count;
        };
        while (s.size() < 8u * 1024u * 1024u) {
            s += "M";
            number(coordinate(rng));
            s += ',';
            number(coordinate(rng));
            for (int i = 0; i < 8; ++i) {
                s += " L";
                number(coordinate(rng));
                s += ' ';
                number(coordinate(rng));
                s += " c";
                for (int k = 0; k < 6; ++k) {
                    s += ' ';
                    number(coordinate(rng));
                }
                s += " A 25 30 15 0 1 ";
                count += 5;
                number(coordinate(rng));
                s += ' ';
                number(coordinate(rng));
                s += " h";
                number(coordinate(rng));
            }
            s += " Z\n";
        }
        return s;
    }();
    numbers = count;
    return text;
}

void ReportRates(benchmark::State& state, size_t bytes, size_t numbers)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
    state.counters["numbers/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(numbers),
                                                     benchmark::Counter::kIsRate);
}

void BM_ParseCorpusPathData(benchmark::State& state)
{
    const CorpusPaths& data = LargeCorpusPaths();
    if (data.joined.empty()) {
        state.SkipWithError("corpus not found");
        return;
    }
    for (auto _ : state) {
        std::list<kx::svg::Path::Command> commands;
        const bool ok = kx::svg::ConvertPathStringToCommands(data.joined, commands, nullptr);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(commands.size());
    }
    ReportRates(state, data.joined.size(), data.numbers);
}
BENCHMARK(BM_ParseCorpusPathData)->Unit(benchmark::kMillisecond);

// The same texts one attribute at a time, as the reader converts them.
void BM_ParseCorpusPathDataPerAttribute(benchmark::State& state)
{
    const CorpusPaths& data = LargeCorpusPaths();
    if (data.paths.empty()) {
        state.SkipWithError("corpus not found");
        return;
    }
    for (auto _ : state) {
        for (const std::string& d : data.paths) {
            std::list<kx::svg::Path::Command> commands;
            benchmark::DoNotOptimize(kx::svg::ConvertPathStringToCommands(d, commands, nullptr));
        }
    }
    ReportRates(state, data.joined.size(), data.numbers);
}
BENCHMARK(BM_ParseCorpusPathDataPerAttribute)->Unit(benchmark::kMillisecond);

void BM_ParseGeneratedPath(benchmark::State& state)
{
    size_t numbers = 0;
    const std::string& text = GeneratedPath(numbers);
    for (auto _ : state) {
        std::list<kx::svg::Path::Command> commands;
        const bool ok = kx::svg::ConvertPathStringToCommands(text, commands, nullptr);
        benchmark::DoNotOptimize(ok);
    }
    ReportRates(state, text.size(), numbers);
}
BENCHMARK(BM_ParseGeneratedPath)->Unit(benchmark::kMillisecond);

// A tree holding one Path item per "d" attribute of the large corpus files,
// parsed once; `commandCount` is the number of commands in it.
const kx::svg::Document& CorpusPathDocument(size_t& commandCount)
{
    static kx::svg::Document document;
    static size_t commands = 0;
    static bool built = false;
    if (!built) {
        for (const std::string& d : LargeCorpusPaths().paths) {
            auto path = std::make_shared<kx::svg::Path>();
            kx::svg::ConvertPathStringToCommands(d, path->editCommands(), nullptr);
            commands += path->getCommands().size();
            document.addChild(path, true);
        }
        built = true;
    }
    commandCount = commands;
    return document;
}

// The estimated box of the corpus paths (only the box is timed).
void BM_BoundingBoxCorpusPaths(benchmark::State& state)
{
    const CorpusPaths& data = LargeCorpusPaths();
    if (data.paths.empty()) {
        state.SkipWithError("corpus not found");
        return;
    }
    size_t commandCount = 0;
    const kx::svg::Document& document = CorpusPathDocument(commandCount);
    kx::svg::BoundingBox box;
    for (auto _ : state) {
        kx::svg::ComputeEstimatedBoundingBox(document, box, nullptr, nullptr);
        benchmark::DoNotOptimize(box);
    }
    state.counters["commands/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(commandCount),
                                                      benchmark::Counter::kIsRate);
    state.counters["paths"] = static_cast<double>(data.paths.size());
}
BENCHMARK(BM_BoundingBoxCorpusPaths)->Unit(benchmark::kMillisecond);

// The tight box of the same paths: cubics and arcs measured exactly.
void BM_TightBoxCorpusPaths(benchmark::State& state)
{
    if (LargeCorpusPaths().paths.empty()) {
        state.SkipWithError("corpus not found");
        return;
    }
    size_t commandCount = 0;
    const kx::svg::Document& document = CorpusPathDocument(commandCount);
    for (auto _ : state) {
        const kx::svg::TightBoxResult tight = kx::svg::ComputeTightBoundingBox(document, nullptr, nullptr);
        benchmark::DoNotOptimize(tight.box);
    }
    state.counters["commands/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(commandCount),
                                                      benchmark::Counter::kIsRate);
}
BENCHMARK(BM_TightBoxCorpusPaths)->Unit(benchmark::kMillisecond);

// One path of n commands: the box must grow linearly with n.
void BM_BoundingBoxOnePath(benchmark::State& state)
{
    const size_t n = static_cast<size_t>(state.range(0));
    kx::svg::Path path;
    auto& commands = path.editCommands();
    commands.emplace_back(kx::svg::Path::CommandType::MoveToAbs, std::vector<float>{0, 0});
    for (size_t i = 0; i < n; ++i) {
        const float f = static_cast<float>(i % 1000);
        switch (i % 4) {
        case 0: commands.emplace_back(kx::svg::Path::CommandType::LineToAbs, std::vector<float>{f, -f}); break;
        case 1: commands.emplace_back(kx::svg::Path::CommandType::HLineToRel, std::vector<float>{1}); break;
        case 2:
            commands.emplace_back(kx::svg::Path::CommandType::EllipticalArcRel,
                                  std::vector<float>{5, 7, 30, 0, 1, 3, 4});
            break;
        default:
            commands.emplace_back(kx::svg::Path::CommandType::CubicBezierRel, std::vector<float>{1, 2, 3, 4, 5, 6});
            break;
        }
    }
    for (auto _ : state) {
        kx::svg::BoundingBox box;
        benchmark::DoNotOptimize(path.computeEstimatedBoundingVolume(box, Wm4::Matrix3<float>::IDENTITY));
        benchmark::DoNotOptimize(box);
    }
    state.SetComplexityN(static_cast<int64_t>(n));
    state.counters["commands/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(n), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_BoundingBoxOnePath)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity()->Unit(benchmark::kMillisecond);

} // namespace
