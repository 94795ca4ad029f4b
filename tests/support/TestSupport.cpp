// TestSupport.cpp - corpus lookup, file reading and log capture for tests.
#include "TestSupport.h"

#include <kx/svg/Simple.h>

#include <kx/system/kxLog.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <stdlib.h>

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
    EXPECT_EQ(p.triangleIndices.size() % 3, 0u);
    for (unsigned int index : p.triangleIndices) {
        EXPECT_LT(index, p.trianglePoints.size());
        if (index >= p.trianglePoints.size()) return -1;
    }
    return kx::svg::FillArea(p);
}

} // namespace kxtest
