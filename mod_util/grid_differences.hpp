// Differences between neighbouring nodes of a grid: central ones inside, of the outermost two nodes at the
// edges. They are taken for runs of nodes along the first axis.
#ifndef ISOFIELD_MOD_UTIL_GRID_DIFFERENCES_HPP
#define ISOFIELD_MOD_UTIL_GRID_DIFFERENCES_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "lanes.hpp"
#include "progress.hpp"

namespace isofield::detail {

// The most nodes of a run: the rows of a structured grid's metric stay in the nearest cache.
constexpr int kRun = 128;

// A component's values along a run.
using RunRow = float[kRun];

struct Run {
    int first, count;  // along the first axis
    int j, k;
};

// Between which nodes of an axis the difference at one of them is taken.
struct Stencil {
    int plus, minus;
    bool inside;
};

inline Stencil stencil_at(int p, int n) {
    if (p == 0) return {n > 1 ? 1 : 0, 0, false};
    if (p == n - 1) return {p, p - 1, false};
    return {p + 1, p - 1, true};
}

// The difference in the data's own arithmetic, integers as 32 bits, times the factor.
template <class T>
float scaled_difference(T plus, T minus, float factor) {
    if constexpr (std::is_same_v<T, double>) {
        return static_cast<float>(static_cast<double>(factor) * (plus - minus));
    } else if constexpr (std::is_same_v<T, float>) {
        return factor * (plus - minus);
    } else {
        const auto wrapped = static_cast<std::uint32_t>(plus) - static_cast<std::uint32_t>(minus);
        return factor * static_cast<float>(static_cast<std::int32_t>(wrapped));
    }
}

// ---- Factors: of(axis, stencil) is what a difference along an axis is multiplied with.

// Per step of the grid's indices.
struct IndexFactors {
    float of(int, const Stencil &at) const { return at.inside ? 0.5f : 1.0f; }
};

// The differences of `kComponents` components of an array with rows of `stride` elements.
template <class T, int kComponents, class Factors>
class Differences {
  public:
    Differences(const int *dims, const T *data, const Factors &factors, int stride = kComponents)
        : dims_(dims), data_(data), stride_(stride), factors_(factors) {}

    // To be called for runs of another part of the first axis.
    void begin(const Run &run) {
        for (int i = 0; i < run.count; ++i) {
            along_[i] = factors_.of(0, stencil_at(run.first + i, dims_[0]));
        }
    }

    // Writes a run's differences along an axis.
    void take(int axis, const Run &run, RunRow *out) const {
        if (axis == 0) {
            take_along(run, out);
            return;
        }
        const Stencil at = axis == 1 ? stencil_at(run.j, dims_[1]) : stencil_at(run.k, dims_[2]);
        const T *plus = axis == 1 ? row(at.plus, run.k) : row(run.j, at.plus);
        const T *minus = axis == 1 ? row(at.minus, run.k) : row(run.j, at.minus);
        const std::ptrdiff_t first = std::ptrdiff_t{run.first} * stride_;
        form(plus + first, minus + first, 0, run.count, Constant{factors_.of(axis, at)}, out);
    }

  private:
    struct Constant {
        float value;
        float operator()(int) const { return value; }
        Lanes four(int) const { return splat(value); }
    };
    struct Varying {
        const float *values;
        float operator()(int i) const { return values[i]; }
        Lanes four(int i) const { return load_lanes(values + i); }
    };

    const T *row(int j, int k) const {
        const std::ptrdiff_t rows = k == 0 ? j : std::ptrdiff_t{k} * dims_[1] + j;
        return data_ + rows * dims_[0] * stride_;
    }

    void take_along(const Run &run, RunRow *out) const {
        const T *data = row(run.j, run.k);
        const int end = run.first + run.count;
        const int inside = std::max(run.first, 1), inside_end = std::max(inside, std::min(end, dims_[0] - 1));
        const auto at_edge = [&](int i) {
            const Stencil at = stencil_at(i, dims_[0]);
            form(data + std::ptrdiff_t{at.plus} * stride_, data + std::ptrdiff_t{at.minus} * stride_,
                 i - run.first, i - run.first + 1, Varying{along_}, out);
        };
        if (run.first == 0) at_edge(0);
        form(data + std::ptrdiff_t{inside + 1} * stride_, data + std::ptrdiff_t{inside - 1} * stride_,
             inside - run.first, inside_end - run.first, Varying{along_}, out);
        if (end == dims_[0] && dims_[0] > 1) at_edge(end - 1);
    }

    // Fills the places from `begin` up to, not including, `end`, from the rows at `plus` and `minus` on.
    template <class Factor>
    void form(const T *plus, const T *minus, int begin, int end, Factor factor, RunRow *out) const {
        int i = begin;
        if constexpr (std::is_same_v<T, float> && kComponents == 3) {
            for (; stride_ == 3 && i + 4 <= end; i += 4, plus += 12, minus += 12) {
                const auto difference = [&](int m) { return load_lanes(plus + m) - load_lanes(minus + m); };
                const FourRows rows = split_rows(difference(0), difference(4), difference(8));
                store_lanes(factor.four(i) * rows.x, out[0] + i);
                store_lanes(factor.four(i) * rows.y, out[1] + i);
                store_lanes(factor.four(i) * rows.z, out[2] + i);
            }
        }
        const int stride = kComponents == 1 ? 1 : stride_;
        for (int m = 0; i + m < end; ++m) {
            for (int c = 0; c < kComponents; ++c) {
                const std::ptrdiff_t place = std::ptrdiff_t{m} * stride + c;
                out[c][i + m] = scaled_difference(plus[place], minus[place], factor(i + m));
            }
        }
    }

    const int *dims_;
    const T *data_;
    int stride_;
    Factors factors_;
    RunRow along_;
};

// Walks the runs of a grid: the first axis outermost, which is the slow one in memory, with a poll before
// every eighth index on it. So that memory is walked along its rows all the same, the polls of several such
// blocks are asked ahead, and then all the blocks that may be done are done at once; as many as keep an
// answer to an interrupt well under a second. begin(run) tells of a new part of the first axis. Result 1, or
// 0 when interrupted.
template <class Begin, class Row>
int walk_runs(int ndim, const int *dims, Begin begin, Row row) {
    constexpr std::int64_t kNodesAhead = 1 << 24;
    const int n = dims[0], nj = dims[1], nk = ndim > 2 ? dims[2] : 1;
    const std::int64_t plane = std::int64_t{std::max(nj, 1)} * std::max(nk, 1);
    const MaskPoll poll(n - 1.0);
    for (int first = 0, end; first < n; first = end) {
        bool stop = false;
        end = first;
        while (end < n && (end == first || (end - first) * plane < kNodesAhead)) {
            stop = poll.stop(end);
            if (stop) break;
            end = std::min(n, (end + 1) / 8 * 8 + 7);
        }
        for (int i = first; i < end; i += kRun) {
            Run run{i, std::min(kRun, end - i), 0, 0};
            begin(run);
            for (run.k = 0; run.k < nk; ++run.k) {
                for (run.j = 0; run.j < nj; ++run.j) row(run);
            }
        }
        if (stop) return 0;
    }
    return 1;
}

}  // namespace isofield::detail
#endif
