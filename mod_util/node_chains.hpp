// Tables of the edges and faces of cells: a chain of entries for each node, which is the lowest of theirs.
#ifndef ISOFIELD_MOD_UTIL_NODE_CHAINS_HPP
#define ISOFIELD_MOD_UTIL_NODE_CHAINS_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "output_array.hpp"
#include "prefetch.hpp"
#include "working_list.hpp"

namespace isofield::detail {

// Entries given back are taken again before new ones, so that the table stays at the size of what is left.
template <class Payload>
class NodeChains {
  public:
    struct Entry : Payload {
        int next;  // 0 ends a chain
    };

    // False when there is no memory.
    bool create(int nnodes) {
        nnodes_ = std::max(nnodes, 0);
        heads_ = allocate_cleared<int>(static_cast<std::size_t>(nnodes_) + 1);
        return heads_ && entries_.reserve(kFirstEntries) &&
               entries_.push(Entry{});  // entry 0 stands for none
    }

    bool holds(int node) const { return static_cast<unsigned>(node) < static_cast<unsigned>(nnodes_); }
    int size() const { return live_; }

    // Memory that a find of the node will need: first its chain's head, and when that is there its first
    // entry.
    void prefetch_head(int node) const { prefetch<true>(heads_.get() + node, 1); }
    void prefetch_entry(int node) const { prefetch<true>(entries_.data() + heads_[node], 1); }

    // What links the first entry of the node's chain for which `is_same` holds, or the 0 at the chain's end.
    template <class Test>
    int *find(int node, Test &&is_same) {
        int *link = heads_.get() + node;
        while (*link != 0 && !is_same(static_cast<const Payload &>(entry(*link)))) link = &entry(*link).next;
        return link;
    }
    Entry &at(int *link) { return entry(*link); }

    // Puts an entry at the head of the node's chain. False when there is no memory.
    bool add(int node, const Payload &payload) {
        int number = free_;
        if (number != 0) {
            free_ = entry(number).next;
        } else {
            if (entries_.size() > kMostEntries || !entries_.push(Entry{})) return false;
            number = static_cast<int>(entries_.size()) - 1;
        }
        static_cast<Payload &>(entry(number)) = payload;
        entry(number).next = heads_[node];
        heads_[node] = number;
        ++live_;
        return true;
    }

    void remove(int *link) {
        const int number = *link;
        *link = entry(number).next;
        entry(number).next = free_;
        free_ = number;
        --live_;
    }

    // Calls f(node, payload) by ascending node, along each chain from its head.
    template <class Function>
    void each(Function &&f) const {
        for (int node = 0; node < nnodes_; ++node) {
            for (int number = heads_[node]; number != 0; number = entry(number).next) {
                f(node, static_cast<const Payload &>(entry(number)));
            }
        }
    }

  private:
    static constexpr std::size_t kFirstEntries = 1000;
    static constexpr std::size_t kMostEntries = std::numeric_limits<int>::max();

    Entry &entry(int number) const { return entries_[static_cast<std::size_t>(number)]; }

    Working<int> heads_;
    WorkingList<Entry> entries_;
    int nnodes_ = 0;
    int free_ = 0;  // the entries given back, as a chain
    int live_ = 0;
};

// Empties a result that edges were to be written to. 0, for a failure to return.
inline int no_edges(int *nedges, int **edges) {
    *nedges = 0;
    *edges = nullptr;
    return 0;
}

// The result of the edge tables, whose payloads have the edge's higher node in `other`. Writes nothing but
// the count when there are none. 0 when there is no memory.
template <class Payload>
int write_edges(const NodeChains<Payload> &table, int *nedges, int **edges, const char *unit) {
    *nedges = table.size();
    if (table.size() == 0) return 1;
    *edges = allocate_array<int>(std::int64_t{2} * table.size(), unit);
    if (!*edges) return no_edges(nedges, edges);
    int *end = *edges;
    table.each([&](int node, const Payload &payload) {
        *end++ = node;
        *end++ = payload.other;
    });
    return 1;
}

}  // namespace isofield::detail
#endif
