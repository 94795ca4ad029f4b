// BenchSupport.h - inputs shared by the benchmark programs.
#ifndef KX_BENCH_SUPPORT_H
#define KX_BENCH_SUPPORT_H

#include <string>
#include <vector>

namespace kxbench {

/// The SVG corpus folder ($KXSVG_CORPUS, else ../shared/corpus beside the sources); empty when absent.
std::string corpusDir();
/// The large drawings of the corpus (corpus/large/*.svg), sorted; empty when absent.
std::vector<std::string> largeFiles();
/// Reads a whole file; returns false when it cannot be read.
bool readFile(const std::string& path, std::string& content);

} // namespace kxbench

#endif
