// BenchSupport.cpp - corpus lookup for the benchmark programs.
#include "BenchSupport.h"

#include <kx/svg/Options.h>
#include <kx/svg/Preflight.h>
#include <kx/system/kxIoDevice.h>

#include "read/LoadDocument.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace kxbench {

std::vector<std::string> largeFiles()
{
    std::vector<std::string> files;
    std::string dir = corpusDir();
    if (dir.empty()) return files;
    std::error_code ec;
    for (fs::directory_iterator it(fs::path(dir) / "large", ec), end; !ec && it != end; it.increment(ec)) {
        if (it->path().extension() == ".svg") files.push_back(it->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool LoadThroughPreflight(const std::string& content, kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root)
{
    std::string rewritten;
    kx::svg::PreflightReport report;
    kx::svg::PreflightOptions preflight;
    preflight.splitCrossingSubpaths = false;
    if (!kx::svg::PreflightSvg(content, preflight, rewritten, report)) return false;
    kxIoDeviceByteContainerReadOnly device(rewritten.data(), rewritten.size());
    kx::svg::LoadOptions options;
    options.ignoreUnsupported = true;
    return kx::svg::impl::LoadSvgDocument(root, device, options, nullptr, nullptr) && root;
}

} // namespace kxbench
