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

std::string corpusDir()
{
    if (const char* env = std::getenv("KXSVG_CORPUS")) {
        if (*env != '\0' && fs::is_directory(env)) return env;
    }
    std::error_code ec;
    fs::path beside = fs::path(KXSVG_SOURCE_DIR) / ".." / "shared" / "corpus";
    if (fs::is_directory(beside, ec)) return fs::canonical(beside, ec).string();
    return std::string();
}

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

bool readFile(const std::string& path, std::string& content)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    content = buffer.str();
    return true;
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
