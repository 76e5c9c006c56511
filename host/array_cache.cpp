// The kept blocks. Two kinds of use are told apart, since they want different blocks: arrays that grow step
// by step take the largest block that an earlier growing array left (of several, the one that grows fastest
// asks first and is the one that will need it), arrays of known size take the block that fits best.
#include "array_cache.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>

#include "isofield_default_host.h"

namespace isofield::host {
namespace {

struct KeptBlock {
    void *block;
    std::size_t size;
    bool grew;
};

// Oldest first. Fixed tables: keeping a block never needs memory.
struct Cache {
    std::mutex mutex;
    std::array<KeptBlock, 256> kept{};
    std::size_t count = 0;
    std::size_t bytes = 0;
    std::size_t bound = std::size_t{1} << 30;
    // Blocks handed out to growing arrays, a ring. A hint only: one that went to the standard free stays in
    // it.
    std::array<void *, 64> growing{};
    std::size_t next_growing = 0;
};

constinit Cache cache;

KeptBlock remove(std::size_t at) {
    const KeptBlock entry = cache.kept[at];
    std::copy(cache.kept.begin() + at + 1, cache.kept.begin() + cache.count, cache.kept.begin() + at);
    --cache.count;
    cache.bytes -= entry.size;
    return entry;
}

void shrink_to(std::size_t bytes, std::size_t count) {
    while (cache.count > 0 && (cache.bytes > bytes || cache.count > count)) std::free(remove(0).block);
}

}  // namespace

std::size_t block_size(void *block) {
    return malloc_usable_size(block);
}

void *take_kept(std::size_t bytes) {
    if (kExactBlocks || bytes < kMinKept) return nullptr;
    const std::lock_guard lock(cache.mutex);
    std::size_t best = cache.count;
    for (std::size_t i = 0; i < cache.count; ++i) {
        const std::size_t size = cache.kept[i].size;
        if (size < bytes || size / 2 > bytes) continue;
        if (best == cache.count || size < cache.kept[best].size) best = i;
    }
    return best < cache.count ? remove(best).block : nullptr;
}

void *take_kept_for_growth(std::size_t bytes) {
    if (kExactBlocks || bytes < kMinKept) return nullptr;
    const std::lock_guard lock(cache.mutex);
    std::size_t best = cache.count;
    for (std::size_t i = 0; i < cache.count; ++i) {
        const KeptBlock &entry = cache.kept[i];
        if (entry.size < bytes) continue;
        if (best < cache.count) {
            const KeptBlock &other = cache.kept[best];
            if (entry.grew != other.grew ? other.grew : entry.size <= other.size) continue;
        }
        best = i;
    }
    return best < cache.count ? remove(best).block : nullptr;
}

void note_growth(void *block) {
    const std::lock_guard lock(cache.mutex);
    cache.growing[cache.next_growing] = block;
    cache.next_growing = (cache.next_growing + 1) % cache.growing.size();
}

void keep_or_free(void *block) {
    const std::size_t size = kExactBlocks ? 0 : block_size(block);
    if (size >= kMinKept) {
        const std::lock_guard lock(cache.mutex);
        const auto grew = std::find(cache.growing.begin(), cache.growing.end(), block);
        const bool found = grew != cache.growing.end();
        if (found) *grew = nullptr;
        if (size <= cache.bound) {
            shrink_to(cache.bound - size, cache.kept.size() - 1);
            cache.kept[cache.count++] = {block, size, found};
            cache.bytes += size;
            return;
        }
    }
    std::free(block);
}

bool trim_kept() {
    const std::lock_guard lock(cache.mutex);
    const bool any = cache.count > 0;
    shrink_to(0, 0);
    return any;
}

}  // namespace isofield::host

extern "C" {

size_t isohost_set_array_cache(size_t bytes) {
    using namespace isofield::host;
    const std::lock_guard lock(cache.mutex);
    const std::size_t old = cache.bound;
    cache.bound = bytes;
    shrink_to(bytes, cache.kept.size());
    return old;
}

void isohost_trim_arrays(void) {
    isofield::host::trim_kept();
}

}  // extern "C"
