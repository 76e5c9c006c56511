// The outside of a set of simplices: the faces that occur an odd number of times.
#ifndef ISOFIELD_MOD_UTIL_CAVITY_FACES_HPP
#define ISOFIELD_MOD_UTIL_CAVITY_FACES_HPP

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "output_array.hpp"
#include "sort_few.hpp"
#include "spread_key.hpp"
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

// The order of what is left is that of a table which takes the simplices by ascending order: by the face's
// lowest vertex, and at one vertex the last that came first. A face that comes a second time goes, and may
// come again.
template <int D>
class CavityFaces {
  public:
    // Starts anew, for so many simplices. False when there is no memory.
    bool start(std::size_t nsimplices) {
        const std::size_t most = nsimplices * kSimplexFaces<D>.size();
        if (most > room_) {
            room_ = 2 * most;
            if (!entries_.reserve(room_) || !left_.reserve(room_ + 1) ||
                !heads_.reserve(std::bit_ceil(2 * room_ + 1)))
                return false;
        }
        entries_.clear();
        if (most == 0) return true;
        const std::size_t nchains = std::bit_ceil(2 * most + 1);
        std::fill_n(heads_.data(), nchains, -1);
        shift_ = 32 - std::countr_zero(nchains);
        return true;
    }
    // In any sequence; `order` is what counts.
    void add(const std::array<int, D + 1> &simplex, std::int64_t order) {
        for (std::size_t f = 0; f < kSimplexFaces<D>.size(); ++f) {
            Face<D> face;
            for (std::size_t k = 0; k < D; ++k)
                face[k] = simplex[static_cast<std::size_t>(kSimplexFaces<D>[f][k])];
            toggle(normalised(face), order * kRows + static_cast<std::int64_t>(f));
        }
    }

    struct Left {
        Face<D> face;
        int lowest;
        std::int64_t order;
    };
    // The faces that are left. Valid until the next start.
    const WorkingList<Left> &take() {
        left_.clear();
        for (const Entry &entry : entries_)
            left_.push_within_if(entry.is_odd, {entry.face, lowest_of(entry.face), entry.order});
        sort_few(left_.data(), left_.size(), [](const Left &a, const Left &b) {
            return (a.lowest < b.lowest) | ((a.lowest == b.lowest) & (a.order > b.order));
        });
        return left_;
    }

  private:
    static constexpr int kRows = 4;  // more than a simplex has faces, or as many

    struct Entry {
        Face<D> face;  // as it came last
        std::int64_t order;
        int next;  // of those with one hash; -1 ends a chain
        bool is_odd;
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
    static int lowest_of(const Face<D> &face) { return D == 2 ? std::min(face[0], face[1]) : face[1]; }
    static bool are_same(const Face<D> &a, const Face<D> &b) {
        // Without branches, which could not be foreseen: 0 where nothing differs.
        const int straight = (a[0] ^ b[0]) | (a[D - 1] ^ b[D - 1]),
                  turned = (a[0] ^ b[D - 1]) | (a[D - 1] ^ b[0]);
        const unsigned ends = std::min(static_cast<unsigned>(straight), static_cast<unsigned>(turned));
        return (ends | static_cast<unsigned>(lowest_of(a) ^ lowest_of(b))) == 0;
    }

    std::size_t hash(const Face<D> &face) const {
        const auto ends = static_cast<std::uint32_t>(face[0]) + static_cast<std::uint32_t>(face[D - 1]);
        constexpr std::uint32_t kOdd = 0x85ebca6bu;  // of random bits, so that the sum keeps both apart
        const std::uint32_t mixed = static_cast<std::uint32_t>(lowest_of(face)) * kOdd + ends;
        return shift_ < 32 ? spread_key(mixed) >> shift_ : 0;
    }

    void toggle(const Face<D> &face, std::int64_t order) {
        int &head = heads_[hash(face)];
        for (int e = head; e >= 0; e = entries_[static_cast<std::size_t>(e)].next) {
            Entry &entry = entries_[static_cast<std::size_t>(e)];
            if (!are_same(entry.face, face)) continue;
            entry.is_odd = !entry.is_odd;
            if (order > entry.order) {
                entry.order = order;
                entry.face = face;
            }
            return;
        }
        entries_.push_within({face, order, head, true});
        head = static_cast<int>(entries_.size()) - 1;
    }

    WorkingList<int> heads_;  // per hash its chain's first entry, or -1
    int shift_ = 0;           // of hashes
    WorkingList<Entry> entries_;
    WorkingList<Left> left_;
    std::size_t room_ = 0;
};

}  // namespace isofield::detail
#endif
