// Large blocks that were freed and are kept, warm, for the next allocation. All blocks are plain malloc
// blocks; nothing is stored in them, so that the standard free takes any of them at any time.
#ifndef ISOFIELD_HOST_ARRAY_CACHE_H
#define ISOFIELD_HOST_ARRAY_CACHE_H

#include <cstddef>

namespace isofield::host {

#if defined(__SANITIZE_ADDRESS__)
#define ISOFIELD_HOST_EXACT_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ISOFIELD_HOST_EXACT_BLOCKS 1
#endif
#endif

// Under AddressSanitizer every block has the size asked for and none is kept, so that it sees each overrun.
#ifdef ISOFIELD_HOST_EXACT_BLOCKS
inline constexpr bool kExactBlocks = true;
#else
inline constexpr bool kExactBlocks = false;
#endif

inline constexpr std::size_t kMinKept = std::size_t{256} << 10;

// The bytes that may be used at `block`, at least what was asked for.
std::size_t block_size(void *block);

// A kept block of at least `bytes` for an array of known size, not more than twice as large; null when there
// is none.
void *take_kept(std::size_t bytes);

// A kept block of at least `bytes` for an array that grows on; null when there is none.
void *take_kept_for_growth(std::size_t bytes);

// Remembers that `block` holds an array that grows, for when it is freed.
void note_growth(void *block);

// Keeps the block, or frees it when it is small or does not fit the bound.
void keep_or_free(void *block);

// Frees all kept blocks; false when there were none.
bool trim_kept();

}  // namespace isofield::host
#endif
