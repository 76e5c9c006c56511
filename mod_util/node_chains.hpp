// Tables of the edges and faces of cells: a chain of entries for each node, which is the lowest of theirs.
#ifndef ISOFIELD_MOD_UTIL_NODE_CHAINS_HPP
#define ISOFIELD_MOD_UTIL_NODE_CHAINS_HPP

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "output_array.hpp"
#include "prefetch.hpp"

namespace isofield::detail {

// Entries given back are taken again before new ones, so that the table stays at the size of what is left.
template <class Payload>
class NodeChains {
  public:
    struct Entry : Payload {
        int next;  // 0 ends a chain
    };

    // False when there is no memory.
    bool create(int nnodes, int ncells) {
        nnodes_ = nnodes;
        capacity_ = ncells > 100000 ? 4000 : ncells > 10000 ? 2000 : 1000;
        heads_ = allocate_cleared<int>(static_cast<std::size_t>(nnodes > 0 ? nnodes : 0) + 1);
        entries_ = allocate_working<Entry>(static_cast<std::size_t>(capacity_));
        return heads_ && entries_;
    }

    bool holds(int node) const { return static_cast<unsigned>(node) < static_cast<unsigned>(nnodes_); }
    int nnodes() const { return nnodes_; }
    int size() const { return live_; }

    void prefetch_chain(int node) const { __builtin_prefetch(heads_.get() + node); }

    // What links the first entry of the node's chain for which `is_same` holds, or the 0 at the chain's end.
    template <class Test>
    int *find(int node, Test &&is_same) {
        int *link = heads_.get() + node;
        while (*link != 0 && !is_same(static_cast<const Payload &>(entries_[*link])))
            link = &entries_[*link].next;
        return link;
    }
    Entry &at(int *link) { return entries_[*link]; }

    // Puts an entry at the head of the node's chain. False when there is no memory.
    bool add(int node, const Payload &payload) {
        int number = free_;
        if (number != 0) {
            free_ = entries_[number].next;
        } else {
            if (used_ == capacity_ && !grow()) return false;
            number = used_++;
        }
        static_cast<Payload &>(entries_[number]) = payload;
        entries_[number].next = heads_[node];
        heads_[node] = number;
        ++live_;
        return true;
    }

    void remove(int *link) {
        const int number = *link;
        *link = entries_[number].next;
        entries_[number].next = free_;
        free_ = number;
        --live_;
    }

    // Calls f(node, payload) by ascending node, along each chain from its head, until it returns false.
    template <class Function>
    bool each(Function &&f) const {
        for (int node = 0; node < nnodes_; ++node) {
            for (int number = heads_[node]; number != 0; number = entries_[number].next) {
                if (!f(node, static_cast<const Payload &>(entries_[number]))) return false;
            }
        }
        return true;
    }

  private:
    bool grow() {
        const std::int64_t capacity = std::int64_t{capacity_} + capacity_ / 2;
        if (capacity > std::numeric_limits<int>::max()) return false;
        void *const grown = std::realloc(entries_.get(), static_cast<std::size_t>(capacity) * sizeof(Entry));
        if (!grown) return false;
        static_cast<void>(entries_.release());
        entries_.reset(static_cast<Entry *>(grown));
        capacity_ = static_cast<int>(capacity);
        return true;
    }

    Working<int> heads_;
    Working<Entry> entries_;
    int nnodes_ = 0;
    int capacity_ = 0;
    int used_ = 1;  // entry 0 stands for none
    int free_ = 0;  // the entries given back, as a chain
    int live_ = 0;
};

// The result of the edge tables, whose payloads have the edge's higher node in `other`. Writes nothing but
// the count when there are none. 0 when there is no memory.
template <class Payload>
int write_edges(const NodeChains<Payload> &table, int *nedges, int **edges, const char *unit) {
    *nedges = table.size();
    if (table.size() == 0) return 1;
    const std::int64_t length = std::int64_t{2} * table.size();
    int *const made = length <= std::numeric_limits<int>::max()
                          ? static_cast<int *>(ARRalloc_f(nullptr, kTypeCode<int>, static_cast<int>(length),
                                                          nullptr, unit, __LINE__))
                          : nullptr;
    *edges = made;
    if (!made) {
        *nedges = 0;
        return 0;
    }
    int *end = made;
    table.each([&](int node, const Payload &payload) {
        *end++ = node;
        *end++ = payload.other;
        return true;
    });
    return 1;
}

// Empties a result that edges were to be written to. 0, for a failure to return.
inline int no_edges(int *nedges, int **edges) {
    *nedges = 0;
    *edges = nullptr;
    return 0;
}

}  // namespace isofield::detail
#endif
