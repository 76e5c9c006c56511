// Spheres, and tables of them in which those that hold a point are found by looking at all.
#ifndef ISOFIELD_MOD_UTIL_SPHERE_TABLE_HPP
#define ISOFIELD_MOD_UTIL_SPHERE_TABLE_HPP

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "wide.hpp"
#include "working_array.hpp"

namespace isofield::detail {

template <int D>
struct Sphere {
    double centre[D];
    double r2;

    double distance2(const double *p) const {
        const double dx = p[0] - centre[0], dy = p[1] - centre[1];
        double sum = dx * dx + dy * dy;
        if constexpr (D == 3) {
            const double dz = p[2] - centre[2];
            sum += dz * dz;
        }
        return sum;
    }
};

// Spheres with a name each. Four at a time stand together: the components of their centres, their squared
// radii, their names.
template <int D>
class SphereTable {
  public:
    struct Name {
        int id;
        unsigned stamp;
    };

    int count() const { return count_; }
    int capacity() const { return capacity_; }
    bool is_full() const { return count_ == capacity_; }

    // False when there is no memory.
    bool grow() {
        const int capacity = std::max(kStep, 2 * capacity_);
        if (!grow_working(words_, static_cast<std::size_t>(capacity) * kWords)) return false;
        // Blocks are looked at whole: NaN stands where there is no sphere.
        std::fill_n(words_ + std::ptrdiff_t{capacity_} * kWords, (capacity - capacity_) * kWords, kNone);
        capacity_ = capacity;
        return true;
    }
    void free() { std::free(words_); }

    void push(const Sphere<D> &sphere, Name name) {
        for (int d = 0; d < D; ++d) word(d, count_) = sphere.centre[d];
        word(D, count_) = sphere.r2;
        std::memcpy(&word(D + 1, count_), &name, sizeof name);
        ++count_;
    }
    Name name(int e) const {
        Name name;
        std::memcpy(&name, &word(D + 1, e), sizeof name);
        return name;
    }
    void remove(int e) {
        --count_;
        for (int k = 0; k < kWords; ++k) word(k, e) = word(k, count_);
        word(D, count_) = kNone;
    }

    // Strictly inside, by rounded sums: the one test on which all depends.
    bool holds(int e, const double *p) const { return distance2(e, p) < word(D, e); }

    // Those that hold p, and those that are surely behind it along x, in ascending order. Returns how many.
    int find(const double *p, int *found) const {
        return has_wide_registers() ? find_wide(p, found) : find_in_blocks(p, found);
    }

  private:
    static_assert(sizeof(Name) == sizeof(double));
    static constexpr double kBehind = 1.0 + 1e-9;
    static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    static constexpr int kBlock = 4;
    static constexpr int kStep = 2 * kBlock;  // of the capacity
    static constexpr int kWords = D + 2;      // of a sphere
    using Lanes = double __attribute__((vector_size(32)));
    using Masks = long long __attribute__((vector_size(32)));

    double &word(int k, int e) const {
        return words_[std::ptrdiff_t{e / kBlock} * (kBlock * kWords) + k * kBlock + e % kBlock];
    }

    double distance2(int e, const double *p) const {
        const double dx = p[0] - word(0, e), dy = p[1] - word(1, e);
        double sum = dx * dx + dy * dy;
        if constexpr (D == 3) {
            const double dz = p[2] - word(2, e);
            sum += dz * dz;
        }
        return sum;
    }
    int is_wanted(int e, const double *p) const {
        const double dx = p[0] - word(0, e);
        const double r2 = word(D, e);
        return (distance2(e, p) < r2) | ((dx > 0.0) & (dx * dx > kBehind * r2));
    }

    // The same of a block at a time: whether any of two blocks is wanted.
    ISOFIELD_INLINE bool is_any_wanted(int e, const double *p) const {
        Masks any = {};
        for (const double *block = &word(0, e); block != &word(0, e) + kStep * kWords;
             block += kBlock * kWords) {
            Lanes x, y, r2;
            std::memcpy(&x, block, sizeof x);
            std::memcpy(&y, block + kBlock, sizeof y);
            std::memcpy(&r2, block + D * kBlock, sizeof r2);
            const Lanes dx = p[0] - x, dy = p[1] - y, dx2 = dx * dx;
            Lanes sum = dx2 + dy * dy;
            if constexpr (D == 3) {
                Lanes z;
                std::memcpy(&z, block + 2 * kBlock, sizeof z);
                const Lanes dz = p[2] - z;
                sum += dz * dz;
            }
            any |= (sum < r2) | ((dx > 0.0) & (dx2 > kBehind * r2));
        }
        return (any[0] | any[1] | any[2] | any[3]) != 0;
    }
    ISOFIELD_INLINE int find_in_blocks(const double *p, int *found) const {
        int nfound = 0;
        for (int e = 0; e < count_; e += kStep) {
            if (!is_any_wanted(e, p)) continue;
            for (int k = e; k < e + kStep; ++k) {
                found[nfound] = k;
                nfound += is_wanted(k, p);
            }
        }
        return nfound;
    }
    ISOFIELD_WIDE int find_wide(const double *p, int *found) const { return find_in_blocks(p, found); }

    double *words_;
    int count_, capacity_;
};

}  // namespace isofield::detail
#endif
