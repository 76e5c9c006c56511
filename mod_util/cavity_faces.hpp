// The outside of a set of simplices: the faces that occur an odd number of times.
#ifndef ISOFIELD_MOD_UTIL_CAVITY_FACES_HPP
#define ISOFIELD_MOD_UTIL_CAVITY_FACES_HPP

#include <algorithm>
#include <array>
#include <cstddef>

#include "output_array.hpp"
#include "working_list.hpp"

namespace isofield::detail {

// The faces of a simplex of D + 1 vertices, turned the same way.
template <int D>
constexpr auto kSimplexFaces = [] {
    if constexpr (D == 2) {
        return std::array<std::array<int, 2>, 3>{{{0, 1}, {1, 2}, {2, 0}}};
    } else {
        return std::array<std::array<int, 3>, 4>{{{1, 2, 0}, {2, 3, 0}, {3, 1, 0}, {1, 3, 2}}};
    }
}();

template <int D>
using Face = std::array<int, D>;  // vertices

// Faces stand in chains by their lowest vertex, the newest first. One that comes a second time goes.
template <int D>
class CavityFaces {
  public:
    // False when there is no memory.
    bool create(std::size_t nvertices) {
        heads_ = allocate_working<int>(nvertices);
        if (!heads_) return false;
        std::fill_n(heads_.get(), nvertices, -1);
        return true;
    }

    bool toggle_all(const int *simplex) {
        for (const auto &corners : kSimplexFaces<D>) {
            Face<D> face;
            for (std::size_t k = 0; k < D; ++k) face[k] = simplex[corners[k]];
            if (!toggle(face)) return false;
        }
        return true;
    }

    // The faces that are left, by ascending lowest vertex and along its chain; then starts anew. Valid until
    // the next call. False when there is no memory.
    bool take(const WorkingList<Face<D>> *&faces) {
        faces_.clear();
        std::sort(lowest_.begin(), lowest_.end());
        bool is_whole = true;
        for (const int vertex : lowest_) {
            // A vertex whose chain ran empty and was filled again is here twice.
            for (int e = heads_[vertex]; e >= 0; e = entries_[static_cast<std::size_t>(e)].next)
                is_whole = is_whole && faces_.push(entries_[static_cast<std::size_t>(e)].face);
            heads_[vertex] = -1;
        }
        lowest_.clear();
        entries_.clear();
        faces = &faces_;
        return is_whole;
    }

  private:
    struct Entry {
        Face<D> face;
        int next;  // -1 ends a chain
    };

    // In 3D the lowest vertex goes to the middle, which keeps the face's turn.
    static Face<D> normalised(const Face<D> &face) {
        if constexpr (D == 2) {
            return face;
        } else {
            const auto [a, b, c] = face;
            if (b < a && b < c) return face;
            return a < c ? Face<D>{c, a, b} : Face<D>{b, c, a};
        }
    }
    static bool are_same(const Face<D> &a, const Face<D> &b) {
        const bool has_same_ends = a[0] == b[0] && a[D - 1] == b[D - 1];
        return has_same_ends || (a[0] == b[D - 1] && a[D - 1] == b[0]);
    }

    bool toggle(const Face<D> &given) {
        const Face<D> face = normalised(given);
        const int lowest = D == 2 ? std::min(face[0], face[1]) : face[1];
        int *link = heads_.get() + lowest;
        if (*link < 0 && !lowest_.push(lowest)) return false;
        for (; *link >= 0; link = &entries_[static_cast<std::size_t>(*link)].next) {
            const Entry &entry = entries_[static_cast<std::size_t>(*link)];
            if (!are_same(entry.face, face)) continue;
            *link = entry.next;
            return true;
        }
        // The link to be set may move with the entries.
        const int head = heads_[lowest];
        if (!entries_.push({face, head})) return false;
        heads_[lowest] = static_cast<int>(entries_.size()) - 1;
        return true;
    }

    Working<int> heads_;          // per vertex its chain's first entry, or -1
    WorkingList<int> lowest_;     // the vertices with a chain, some of which may be empty again
    WorkingList<Entry> entries_;  // of all faces that came, those that went too
    WorkingList<Face<D>> faces_;
};

}  // namespace isofield::detail
#endif
