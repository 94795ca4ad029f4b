// LargePageAllocator.h - an allocator for the triangulation's large arrays (internal).
#ifndef KX_TRIANGULATE_LARGEPAGEALLOCATOR_H
#define KX_TRIANGULATE_LARGEPAGEALLOCATOR_H

#include <cstddef>
#include <new>
#include <vector>

namespace kx {
namespace impl {

/// Blocks from this size up are aligned to 2 MiB and offered to the kernel
/// for transparent huge pages.
constexpr std::size_t kLargeBlockBytes = std::size_t(4) << 20;

/// A block of `bytes` (at least kLargeBlockBytes) aligned to 2 MiB and advised
/// for huge pages where the system has them; throws std::bad_alloc.
void* AllocateLargeBlock(std::size_t bytes);
/// Returns a block of AllocateLargeBlock, with the size it was asked for.
void FreeLargeBlock(void* block, std::size_t bytes) noexcept;

/// The trapezoidal map of a large outline reads its arrays at random: with
/// 4 KiB pages nearly every read of a million-segment map misses the TLB and
/// every first touch is a page fault. Large blocks therefore come in huge
/// pages (on Linux, where transparent huge pages are enabled for advised
/// memory: a mapping per block, returned when the block is freed); small
/// ones come from operator new as usual.
template <class T>
struct LargePageAllocator {
    using value_type = T;

    LargePageAllocator() noexcept = default;
    template <class U>
    LargePageAllocator(const LargePageAllocator<U>&) noexcept {}

    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
        const std::size_t bytes = n * sizeof(T);
        if (bytes < kLargeBlockBytes) return static_cast<T*>(::operator new(bytes));
        return static_cast<T*>(AllocateLargeBlock(bytes));
    }
    void deallocate(T* p, std::size_t n) noexcept {
        if (n * sizeof(T) < kLargeBlockBytes) ::operator delete(p);
        else FreeLargeBlock(p, n * sizeof(T));
    }

    friend bool operator==(const LargePageAllocator&, const LargePageAllocator&) { return true; }
    friend bool operator!=(const LargePageAllocator&, const LargePageAllocator&) { return false; }
};

/// A vector whose large buffers come in huge pages.
template <class T>
using LargeArray = std::vector<T, LargePageAllocator<T>>;

} // namespace impl
} // namespace kx

#endif
