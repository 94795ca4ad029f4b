// BenchSupport.h - inputs shared by the benchmark programs.
#ifndef KX_BENCH_SUPPORT_H
#define KX_BENCH_SUPPORT_H

#include <kx/svg/Items.h>

#include "CorpusFiles.h"

#include <string>
#include <vector>

namespace kxbench {

using kxcorpus::corpusDir;
using kxcorpus::readFile;
/// The large drawings of the corpus (corpus/large/*.svg), sorted; empty when absent.
std::vector<std::string> largeFiles();

/// Rewrites a drawing from the wild through the preflight pass (crossing
/// sub-paths left as they are) and loads the result leniently, as stroked
/// icons need (polylines, currentColor); false when either step fails.
bool LoadThroughPreflight(const std::string& content, kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root);

} // namespace kxbench

#endif
