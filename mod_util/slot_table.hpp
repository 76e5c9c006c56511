// Sets of keys that walks and searches keep: open addressing.
#ifndef ISOFIELD_MOD_UTIL_SLOT_TABLE_HPP
#define ISOFIELD_MOD_UTIL_SLOT_TABLE_HPP

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "spread_key.hpp"
#include "working_array.hpp"

namespace isofield::detail {

// The slots of a set of keys: open addressing in a power of two, at most half full. Keys that share all but
// their low three bits stand together, as cells do that a walk visits one after the other.
class SlotHash {
  public:
    explicit SlotHash(std::size_t nslots) : mask_(nslots - 1), shift_(64 - std::countr_zero(nslots)) {}

    std::size_t first(std::uint64_t key) const {
        return static_cast<std::size_t>(spread_key(key >> 3) >> shift_) ^ (key & 7);
    }
    std::size_t next(std::size_t slot) const { return (slot + 1) & mask_; }

  private:
    std::size_t mask_;
    int shift_;
};

// A set of keys with what is stored beside each, Slot::key() being 0 in an empty slot.
template <class Slot>
class SlotTable {
  public:
    bool create() { return allocate(kFirstSlots); }

    // Room for so many more. False when there is no memory.
    bool reserve(std::size_t more) {
        std::size_t nslots = nslots_;
        while (count_ + more > nslots / 2) nslots *= 2;
        if (nslots == nslots_) return true;
        const Working<Slot> old = std::move(slots_);
        const std::size_t nold = nslots_;
        if (!allocate(nslots)) return false;
        for (std::size_t i = 0; i < nold; ++i) {
            if (old[i].key() != 0) find(old[i].key()) = old[i];
        }
        return true;
    }

    // The slot of a key, which may be empty: to be filled, and told by added().
    Slot &find(std::uint64_t key) {
        std::size_t slot = hash_.first(key);
        while (slots_[slot].key() != 0 && slots_[slot].key() != key) slot = hash_.next(slot);
        return slots_[slot];
    }
    void added() { ++count_; }

  private:
    static constexpr std::size_t kFirstSlots = 4096;

    bool allocate(std::size_t nslots) {
        slots_ = allocate_cleared<Slot>(nslots);
        nslots_ = nslots;
        hash_ = SlotHash(nslots);
        return slots_ != nullptr;
    }

    Working<Slot> slots_;
    std::size_t nslots_ = 0, count_ = 0;
    SlotHash hash_{kFirstSlots};
};

}  // namespace isofield::detail
#endif
