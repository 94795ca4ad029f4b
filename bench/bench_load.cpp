// Load and load+save throughput over the large drawings of the corpus.
#include "read/LoadDocument.h"
#include "write/SaveDocument.h"

#include <kx/svg/Items.h>
#include <kx/svg/Simple.h>
#include <kx/system/kxIoDevice.h>

#include "BenchSupport.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

struct Input {
    std::string name;
    std::string bytes;
};

const std::vector<Input>& inputs()
{
    static const std::vector<Input> all = [] {
        std::vector<Input> result;
        for (const std::string& path : kxbench::largeFiles()) {
            Input input;
            input.name = path.substr(path.find_last_of('/') + 1);
            if (kxbench::readFile(path, input.bytes)) result.push_back(std::move(input));
        }
        return result;
    }();
    return all;
}

bool loadBytes(const std::string& bytes, kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root)
{
    kxIoDeviceByteContainerReadOnly device(bytes.data(), bytes.size());
    kx::svg::LoadOptions options;
    options.ignoreUnsupported = true; // the large drawings use elements outside the subset
    return kx::svg::impl::LoadSvgDocument(root, device, options, nullptr, nullptr);
}

void BM_Load(benchmark::State& state)
{
    const Input& input = inputs()[size_t(state.range(0))];
    state.SetLabel(input.name);
    for (auto _ : state) {
        kx::svg::ItemInterfacePointer<kx::svg::ItemInterface> root;
        if (!loadBytes(input.bytes, root)) {
            state.SkipWithError("load failed");
            break;
        }
        benchmark::DoNotOptimize(root.get());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.bytes.size()));
}

// The one-call layer the Python module binds: the reference for its overhead
// (python/bench/time_load.py times kxsvg.load on the same bytes).
void BM_LoadBytes(benchmark::State& state)
{
    const Input& input = inputs()[size_t(state.range(0))];
    state.SetLabel(input.name);
    kx::svg::LoadOptions options;
    options.ignoreUnsupported = true;
    for (auto _ : state) {
        const kx::svg::LoadResult loaded = kx::svg::LoadBytes(input.bytes, options);
        if (!loaded) {
            state.SkipWithError("load failed");
            break;
        }
        benchmark::DoNotOptimize(loaded.document.get());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.bytes.size()));
}

void BM_LoadSave(benchmark::State& state)
{
    const Input& input = inputs()[size_t(state.range(0))];
    state.SetLabel(input.name);
    std::string saved;
    for (auto _ : state) {
        kx::svg::ItemInterfacePointer<kx::svg::ItemInterface> root;
        if (!loadBytes(input.bytes, root) || !root) {
            state.SkipWithError("load failed");
            break;
        }
        saved.clear();
        kxIoDeviceByteContainerWriteOnly device(saved);
        if (!kx::svg::impl::SaveSvgDocument(*root, device, kx::svg::SaveOptions())) {
            state.SkipWithError("save failed");
            break;
        }
        benchmark::DoNotOptimize(saved.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.bytes.size()));
}

void largeFileArguments(benchmark::internal::Benchmark* b)
{
    for (size_t i = 0; i < inputs().size(); ++i) b->Arg(int64_t(i));
}

} // namespace

BENCHMARK(BM_Load)->Apply(largeFileArguments)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadBytes)->Apply(largeFileArguments)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadSave)->Apply(largeFileArguments)->Unit(benchmark::kMillisecond);
