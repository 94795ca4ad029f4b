// CorpusFiles.h - where the SVG corpus is and how a file is read, shared by
// the benchmarks and the tests (header only, so each side builds it its own way).
#ifndef KX_BENCH_CORPUS_FILES_H
#define KX_BENCH_CORPUS_FILES_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace kxcorpus {

/// The SVG corpus folder: $KXSVG_CORPUS when set, else ../shared/corpus beside
/// the sources (KXSVG_SOURCE_DIR); empty when absent.
inline std::string corpusDir()
{
    namespace fs = std::filesystem;
    if (const char* env = std::getenv("KXSVG_CORPUS")) {
        if (*env != '\0' && fs::is_directory(env)) return env;
    }
    std::error_code ec;
    const fs::path beside = fs::path(KXSVG_SOURCE_DIR) / ".." / "shared" / "corpus";
    if (fs::is_directory(beside, ec)) return fs::canonical(beside, ec).string();
    return std::string();
}

/// Reads a whole file; returns false when it cannot be read.
inline bool readFile(const std::string& path, std::string& content)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    content = buffer.str();
    return true;
}

} // namespace kxcorpus

#endif
