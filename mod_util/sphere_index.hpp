// The circumspheres that a sweep along x may still meet, by where they are across x.
#ifndef ISOFIELD_MOD_UTIL_SPHERE_INDEX_HPP
#define ISOFIELD_MOD_UTIL_SPHERE_INDEX_HPP

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "output_array.hpp"
#include "wide.hpp"
#include "working_list.hpp"

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
        void *const grown =
            std::realloc(words_, static_cast<std::size_t>(capacity) * kWords * sizeof(double));
        if (!grown) return false;
        words_ = static_cast<double *>(grown);
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

// Spheres in D dimensions in cells across the first axis. There are levels of cells, each twice as wide as
// those below: a sphere is on the lowest on which it covers no more than two of them along an axis. Every
// sphere round a point is thus in one of the cells in which the point is, one a level, and only once.
template <int D>
class SphereIndex {
  public:
    using Name = typename SphereTable<D>::Name;

    SphereIndex() = default;
    SphereIndex(const SphereIndex &) = delete;
    SphereIndex &operator=(const SphereIndex &) = delete;
    ~SphereIndex() {
        for (std::size_t c = 0; c < ncells_; ++c) cells_[c].free();
    }

    // For so many points within bounds, which need not hold them all. False when there is no memory.
    bool create(int npoints, const double *lower, const double *upper) {
        const double per_axis = std::pow(static_cast<double>(npoints), 1.0 / D) / kPointsPerCell;
        while (nlevels_ < kMaxLevels - 1 && (1 << nlevels_) < per_axis) ++nlevels_;
        const int ncells = 1 << nlevels_;
        ++nlevels_;
        last_ = ncells - 1;
        for (int d = 0; d < kAxes; ++d) {
            lower_[d] = lower[d + 1];
            const double scale = ncells / (upper[d + 1] - lower[d + 1]);
            scale_[d] = std::isfinite(scale) ? scale : 0.0;
        }
        std::size_t total = 0;
        for (int level = 0; level < nlevels_; ++level) {
            first_[level] = total;
            total += std::size_t{1} << (kAxes * (nlevels_ - 1 - level));
        }
        cells_ = allocate_cleared<SphereTable<D>>(total);
        ncells_ = cells_ ? total : 0;
        return cells_ && found_.reserve(kFirstFound);
    }

    // is_current(name) tells which of the spheres in a full cell are to be kept. False when there is no memory.
    template <class Test>
    bool add(const Sphere<D> &sphere, Name name, Test &&is_current) {
        int low[2] = {}, high[2] = {};
        int level = 0;
        const double radius = std::sqrt(sphere.r2);
        for (int d = 0; d < kAxes; ++d) {
            // Wider than the sphere by more than all rounding.
            const double at = sphere.centre[d + 1];
            const double reach = radius + kRounding * (radius + std::fabs(at));
            low[d] = cell_along(d, at - reach, 0);
            high[d] = cell_along(d, at + reach, last_);
            level = std::max(level,
                             static_cast<int>(std::bit_width(static_cast<unsigned>(high[d] - low[d]))) - 1);
            if ((high[d] >> level) - (low[d] >> level) > 1) ++level;
        }
        // Where there are only two cells along an axis the one above them serves as well.
        const bool is_wide = level == nlevels_ - 2;
        for (int d = 0; d < kAxes && is_wide && level < nlevels_ - 1; ++d) {
            if (low[d] >> level != high[d] >> level) ++level;
        }
        for (int j = low[1] >> level; j <= high[1] >> level; ++j) {
            for (int i = low[0] >> level; i <= high[0] >> level; ++i) {
                if (!push(cell(level, i, j), sphere, name, is_current)) return false;
            }
        }
        return true;
    }

    // Calls found(name) for the spheres that hold p, and gives them up. So are those that lie behind p along
    // x.
    template <class Found>
    void take_holding(const double *p, Found &&found) {
        const int i = cell_along(0, p[1], 0);
        const int j = kAxes == 2 ? cell_along(kAxes - 1, p[kAxes], 0) : 0;
        for (int level = 0; level < nlevels_; ++level) {
            SphereTable<D> &at = cell(level, i >> level, j >> level);
            for (int k = at.find(p, found_.data()) - 1; k >= 0; --k) {
                const int e = found_[static_cast<std::size_t>(k)];
                if (at.holds(e, p)) found(at.name(e));
                at.remove(e);
            }
        }
    }

  private:
    static constexpr int kAxes = D - 1;
    static constexpr int kMaxLevels = D == 2 ? 16 : 10;
    static constexpr std::size_t kFirstFound = 64;
    static constexpr double kPointsPerCell = 1.5;
    static constexpr double kRounding = 1e-9;

    // What lies outside belongs to the cells at the ends. `unknown` is for NaN.
    int cell_along(int d, double at, int unknown) const {
        const double t = (at - lower_[d]) * scale_[d];
        if (t >= 0.0) return t < last_ ? static_cast<int>(t) : last_;
        return t < 0.0 ? 0 : unknown;
    }
    SphereTable<D> &cell(int level, int i, int j) {
        return cells_[first_[level] + static_cast<std::size_t>(i) +
                      (static_cast<std::size_t>(j) << (nlevels_ - 1 - level))];
    }

    // A full cell grows when most of it has to stay.
    template <class Test>
    bool push(SphereTable<D> &cell, const Sphere<D> &sphere, Name name, Test &&is_current) {
        if (cell.is_full()) {
            for (int e = cell.count() - 1; e >= 0; --e) {
                if (!is_current(cell.name(e))) cell.remove(e);
            }
            if (4 * cell.count() >= 3 * cell.capacity() && !cell.grow()) return false;
            if (!found_.reserve(static_cast<std::size_t>(cell.capacity()) + 1)) return false;
        }
        cell.push(sphere, name);
        return true;
    }

    Working<SphereTable<D>> cells_;  // level after level, from the finest
    std::size_t ncells_ = 0;
    std::size_t first_[kMaxLevels] = {};
    int nlevels_ = 0;
    double lower_[kAxes] = {}, scale_[kAxes] = {};
    int last_ = 0;  // cell along an axis, on the finest level
    WorkingList<int> found_;
};

}  // namespace isofield::detail
#endif
