// LargePageAllocator.cpp - huge-page-backed blocks for the triangulation's large arrays.
#include "LargePageAllocator.h"

#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace kx {
namespace impl {

namespace {
constexpr std::size_t kHugePageBytes = std::size_t(2) << 20;
}

void* AllocateLargeBlock(std::size_t bytes) {
    void* block = nullptr;
    if (posix_memalign(&block, kHugePageBytes, bytes) != 0 || !block) throw std::bad_alloc();
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Advice only: without huge pages (disabled, or none free) the block keeps
    // ordinary pages. The whole 2 MiB pages of the block are advised.
    const std::size_t advised = bytes / kHugePageBytes * kHugePageBytes;
    if (advised > 0) madvise(block, advised, MADV_HUGEPAGE);
#endif
    return block;
}

void FreeLargeBlock(void* block) noexcept {
    std::free(block);
}

} // namespace impl
} // namespace kx
