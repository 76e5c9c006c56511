// The outside of a set of simplices: the faces that occur an odd number of times.
#ifndef ISOFIELD_MOD_UTIL_CAVITY_FACES_HPP
#define ISOFIELD_MOD_UTIL_CAVITY_FACES_HPP

#include <algorithm>
#include <array>
#include <cstddef>

#include "output_array.hpp"
#include "sort_few.hpp"
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

    // Starts anew, for so many simplices. False when there is no memory.
    bool start(std::size_t nsimplices) {
        const std::size_t most = nsimplices * kSimplexFaces<D>.size();
        if (most > room_) {
            room_ = 2 * most;
            if (!entries_.reserve(room_) || !lowest_.reserve(room_ + 1) || !faces_.reserve(room_))
                return false;
        }
        entries_.clear();
        lowest_.clear();
        return true;
    }
    void add(const std::array<int, D + 1> &simplex) {
        for (const auto &corners : kSimplexFaces<D>) {
            Face<D> face;
            for (std::size_t k = 0; k < D; ++k) face[k] = simplex[static_cast<std::size_t>(corners[k])];
            toggle(face);
        }
    }

    // The faces that are left, by ascending lowest vertex and along its chain. Valid until the next start.
    const WorkingList<Face<D>> &take() {
        faces_.clear();
        sort_few(lowest_.data(), lowest_.size(), [](int a, int b) { return a < b; });
        for (const int vertex : lowest_) {
            // A vertex whose chain ran empty and was filled again is here twice.
            for (int e = heads_[vertex]; e >= 0; e = entries_[static_cast<std::size_t>(e)].next)
                faces_.push_within(entries_[static_cast<std::size_t>(e)].face);
            heads_[vertex] = -1;
        }
        return faces_;
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
        // Without branches, which could not be foreseen.
        const bool has_same_ends = (a[0] == b[0]) & (a[D - 1] == b[D - 1]);
        return has_same_ends | ((a[0] == b[D - 1]) & (a[D - 1] == b[0]));
    }

    void toggle(const Face<D> &given) {
        const Face<D> face = normalised(given);
        const int lowest = D == 2 ? std::min(face[0], face[1]) : face[1];
        int *const head = heads_.get() + lowest;
        lowest_.push_within_if(*head < 0, lowest);
        for (int *link = head; *link >= 0; link = &entries_[static_cast<std::size_t>(*link)].next) {
            const Entry &entry = entries_[static_cast<std::size_t>(*link)];
            if (!are_same(entry.face, face)) continue;
            *link = entry.next;
            return;
        }
        entries_.push_within({face, *head});
        *head = static_cast<int>(entries_.size()) - 1;
    }

    Working<int> heads_;          // per vertex its chain's first entry, or -1
    WorkingList<int> lowest_;     // the vertices with a chain, some of which may be empty again
    WorkingList<Entry> entries_;  // of all faces that came, those that went too
    WorkingList<Face<D>> faces_;
    std::size_t room_ = 0;
};

}  // namespace isofield::detail
#endif
