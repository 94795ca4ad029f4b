// LargePageAllocator.cpp - huge-page-backed blocks for the triangulation's large arrays.
#include "LargePageAllocator.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace kx {
namespace impl {

#if defined(__linux__) && defined(MADV_HUGEPAGE)

namespace {

constexpr std::size_t kHugePageBytes = std::size_t(2) << 20;

std::uintptr_t RoundUp(std::uintptr_t value, std::size_t step) {
    return (value + step - 1) / step * step;
}

} // namespace

// A mapping of its own, not heap memory: memory the heap has already touched
// keeps its 4 KiB pages whatever the advice, so a program that has been
// running a while would not get huge pages from it. The mapping is cut down to
// whole 2 MiB pages on a 2 MiB boundary.
void* AllocateLargeBlock(std::size_t bytes) {
    const std::size_t length = RoundUp(bytes, kHugePageBytes);
    if (length < bytes || length + kHugePageBytes < length) throw std::bad_alloc();
    void* raw = mmap(nullptr, length + kHugePageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (raw == MAP_FAILED) throw std::bad_alloc();
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t aligned = RoundUp(start, kHugePageBytes);
    const std::uintptr_t end = start + length + kHugePageBytes;
    if (aligned > start) munmap(raw, aligned - start);
    if (end > aligned + length) munmap(reinterpret_cast<void*>(aligned + length), end - (aligned + length));
    // Advice only: where huge pages are disabled or none is free, the block
    // keeps ordinary pages.
    madvise(reinterpret_cast<void*>(aligned), length, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(aligned);
}

void FreeLargeBlock(void* block, std::size_t bytes) noexcept {
    munmap(block, RoundUp(bytes, kHugePageBytes));
}

#else

void* AllocateLargeBlock(std::size_t bytes) {
    return ::operator new(bytes);
}

void FreeLargeBlock(void* block, std::size_t) noexcept {
    ::operator delete(block);
}

#endif

} // namespace impl
} // namespace kx
