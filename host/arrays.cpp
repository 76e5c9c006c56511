// Arrays. A growing array over-reserves by half, so that growth in small steps is cheap, and moves to a kept
// block where there is one: a copy between warm pages costs less than pages new from the system.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "array_cache.h"
#include "isofield_default_host.h"

namespace isofield::host {
namespace {

constexpr std::size_t kElementSize[6] = {1, 1, 2, 4, 4, 8};

// Bytes of an array, at least 1; 0 when there can be no such array.
std::size_t array_bytes(int type, int count) {
    if (type < 0 || type > 5 || count < 0) return 0;
    const auto elements = static_cast<std::size_t>(count);
    if (elements > static_cast<std::size_t>(PTRDIFF_MAX) / kElementSize[type]) return 0;
    return std::max<std::size_t>(elements * kElementSize[type], 1);
}

void *allocate(std::size_t bytes) {
    if (void *kept = take_kept(bytes)) return kept;
    if (void *block = std::malloc(bytes)) return block;
    return trim_kept() ? std::malloc(bytes) : nullptr;
}

void *resize_exactly(void *block, std::size_t bytes) {
    if (void *moved = std::realloc(block, bytes)) return moved;
    return trim_kept() ? std::realloc(block, bytes) : nullptr;
}

void *move_to(void *target, void *block, std::size_t bytes) {
    std::memcpy(target, block, bytes);
    keep_or_free(block);
    return target;
}

void *grow(void *block, std::size_t size, std::size_t bytes) {
    const std::size_t target = std::max(bytes, size + size / 2);
    if (void *kept = take_kept_for_growth(target)) {
        note_growth(kept);
        return move_to(kept, block, size);
    }
    void *grown = std::realloc(block, target);
    if (!grown) grown = resize_exactly(block, bytes);
    if (grown && target >= kMinKept) note_growth(grown);
    return grown;
}

}  // namespace
}  // namespace isofield::host

extern "C" {

void *ARRalloc_f(void *, int type, int count, void *, const char *, int) {
    const std::size_t bytes = isofield::host::array_bytes(type, count);
    return bytes > 0 ? isofield::host::allocate(bytes) : nullptr;
}

void *ARRrealloc_f(void *ptr, int type, int count, void *, const char *, int) {
    using namespace isofield::host;
    const std::size_t bytes = array_bytes(type, count);
    if (bytes == 0) return nullptr;
    if (!ptr) return allocate(bytes);
    if (kExactBlocks) return resize_exactly(ptr, bytes);
    const std::size_t size = block_size(ptr);
    return size < bytes ? grow(ptr, size, bytes) : ptr;
}

void ARRfree_f(void *ptr, const char *, int) {
    if (ptr) isofield::host::keep_or_free(ptr);
}

void *isohost_fit_array(void *array, int type, int count) {
    using namespace isofield::host;
    const std::size_t bytes = array_bytes(type, count);
    if (!array || bytes == 0) return array;
    const std::size_t size = block_size(array);
    if (size < kMinKept || bytes >= size / 4) return array;
    void *fitting = allocate(bytes);
    return fitting ? move_to(fitting, array, bytes) : array;
}

}  // extern "C"
