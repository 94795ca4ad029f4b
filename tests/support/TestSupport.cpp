// TestSupport.cpp - corpus lookup, file reading and log capture for tests.
#include "TestSupport.h"

#include <kx/system/kxLog.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace kxtest {

std::string corpusDir()
{
    if (const char* env = std::getenv("KXSVG_CORPUS")) {
        if (*env != '\0' && fs::is_directory(env)) return env;
    }
    fs::path beside = fs::path(KXSVG_SOURCE_DIR) / ".." / "shared" / "corpus";
    std::error_code ec;
    if (fs::is_directory(beside, ec)) return fs::canonical(beside, ec).string();
    return std::string();
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

bool readFile(const std::string& path, std::string& content)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    content = buffer.str();
    return true;
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

double FillArea(const kx::svg::SegmentedPrimitive& p)
{
    double area = 0;
    EXPECT_EQ(p.triangleIndices.size() % 3, 0u);
    for (std::size_t i = 0; i + 2 < p.triangleIndices.size(); i += 3) {
        const unsigned int a = p.triangleIndices[i], b = p.triangleIndices[i + 1], c = p.triangleIndices[i + 2];
        EXPECT_LT(std::max({a, b, c}), p.trianglePoints.size());
        if (std::max({a, b, c}) >= p.trianglePoints.size()) return -1;
        const auto &pa = p.trianglePoints[a], &pb = p.trianglePoints[b], &pc = p.trianglePoints[c];
        area += 0.5 * std::fabs((double(pb.X()) - pa.X()) * (double(pc.Y()) - pa.Y()) -
                                (double(pb.Y()) - pa.Y()) * (double(pc.X()) - pa.X()));
    }
    return area;
}

} // namespace kxtest
