// Regular arrays of a grid brought to other dimensions: every n-th element, or the nearest row below.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "prefetch.hpp"
#include "types.hpp"
#include "working_array.hpp"

namespace {

using namespace isofield::detail;

// ---- Downsizing

constexpr int kMaxAxes = 16;
constexpr std::int64_t kMostAhead = 512;  // elements of a row that are asked for ahead

bool all_positive(int n, const int *values) {
    return std::all_of(values, values + std::max(n, 0), [](int value) { return value >= 1; });
}

// Runs of so many elements, if kRun and kStep are not 0, from which the loop is made. Returns the end of what
// was written.
template <int kRun, int kStep, class T>
T *copy_runs_of(std::int64_t n, std::int64_t step, std::int64_t run, const T *in, T *out) {
    if (kRun > 0) run = kRun;
    if (kStep > 0) step = kStep;
    const std::int64_t count = (n + step - 1) / step;
    for (std::int64_t i = 0; i < count; ++i, out += run)
        std::memcpy(out, in + i * step, static_cast<std::size_t>(run) * sizeof(T));
    return out;
}

// Copies `run` elements at every `step`-th of `n`.
template <class T>
T *copy_runs(std::int64_t n, std::int64_t step, std::int64_t run, const T *in, T *out) {
    if (n < 1) return out;
    if (run == 1 && step == 2) return copy_runs_of<1, 2>(n, step, run, in, out);
    if (run == 1) return copy_runs_of<1, 0>(n, step, run, in, out);
    if (run == 2) return copy_runs_of<2, 0>(n, step, run, in, out);
    if (run == 3) return copy_runs_of<3, 0>(n, step, run, in, out);
    if (run == step && n % run == 0) {
        std::memcpy(out, in, static_cast<std::size_t>(n) * sizeof(T));
        return out + n;
    }
    return copy_runs_of<0, 0>(n, step, run, in, out);
}

// Lists of axes are of ints where a caller gave them, and wider where axes were folded.
template <class T, class Int>
T *downsize(int ndim, const Int *dims, const Int *factors, Int run, const T *in, T *out) {
    if (ndim < 1) return out;
    const int last = ndim - 1;
    if (last == 0) return copy_runs(dims[0], factors[0], run, in, out);
    std::int64_t block = 1;
    for (int a = 0; a < last; ++a) block *= dims[a];
    for (std::int64_t i = 0; i < dims[last]; i += factors[last]) {
        // Rows in between are passed over, where the machine does not foresee the next.
        if (last == 1 && i + factors[1] < dims[1])
            prefetch(in + (i + factors[1]) * block, std::min(block, kMostAhead));
        out = downsize(last, dims, factors, run, in + i * block, out);
    }
    return out;
}

template <class T>
int downsize_member(int ndim, const int *dims, const int *factors, const int *runs, const T *in, T *out,
                    int *pos) {
    if (!all_positive(ndim, factors)) return 0;
    if (ndim < 1) return 1;
    *pos = static_cast<int>(downsize(ndim, dims, factors, runs[0], in, out + *pos) - out);
    return 1;
}

struct Axes {
    int count;
    std::int64_t dims[kMaxAxes], factors[kMaxAxes];
    std::int64_t run = 1;  // along the lowest axis
};

// Leading axes that are kept whole become a run on the next one, and axes of one element are left out.
Axes folded(int ndim, const int *dims, const int *factors) {
    Axes axes;
    std::copy_n(dims, ndim, axes.dims);
    std::copy_n(factors, ndim, axes.factors);
    int lowest = 0;
    while (lowest < ndim - 1 && axes.factors[lowest] == axes.run) {
        axes.run = axes.dims[lowest];
        axes.dims[lowest + 1] *= axes.run;
        axes.factors[lowest + 1] *= axes.run;
        ++lowest;
    }
    axes.count = 0;
    for (int a = lowest; a < ndim; ++a) {
        if (axes.dims[a] == 1 && (axes.count > 0 || a < ndim - 1)) continue;
        axes.dims[axes.count] = axes.dims[a];
        axes.factors[axes.count++] = axes.factors[a];
    }
    return axes;
}

// ---- Resampling

// Steps of `in` to one of `out`.
double ratio_of(int in, int out) {
    return out > 1 ? (in - 1.0) / (out - 1.0) : 0.0;
}

// The row of `in` for each along an axis of `out`; the ratio is summed up.
Working<int> nearest_below(int in, int out) {
    Working<int> index = allocate_working<int>(static_cast<std::size_t>(out));
    if (!index) return index;
    index[0] = 0;
    const double ratio = ratio_of(in, out);
    double place = ratio;
    for (int j = 1; j < out; ++j, place += ratio)
        index[static_cast<std::size_t>(j)] = static_cast<int>(place);
    return index;
}

// Copies the rows of so many elements that `row_of` names. Returns the end of what was written.
template <int kVeclen, class T, class RowOf>
T *copy_rows_of(int n, RowOf row_of, int veclen, const T *in, T *out) {
    const std::size_t width = static_cast<std::size_t>(kVeclen > 0 ? kVeclen : veclen);
#pragma GCC unroll 8
    for (int j = 0; j < n; ++j)
        std::memcpy(out + static_cast<std::size_t>(j) * width,
                    in + static_cast<std::size_t>(row_of(j)) * width, width * sizeof(T));
    return out + static_cast<std::size_t>(n) * width;
}

template <class T, class RowOf>
T *copy_rows(int n, RowOf row_of, int veclen, const T *in, T *out) {
    switch (veclen) {
        case 1:
            return copy_rows_of<1>(n, row_of, veclen, in, out);
        case 2:
            return copy_rows_of<2>(n, row_of, veclen, in, out);
        case 3:
            return copy_rows_of<3>(n, row_of, veclen, in, out);
        default:
            return copy_rows_of<0>(n, row_of, veclen, in, out);
    }
}

template <class T>
int resample_line(int in_dim, int out_dim, int veclen, const T *in, T *out) {
    const double ratio = ratio_of(in_dim, out_dim);
    copy_rows(
        out_dim, [ratio](int j) { return static_cast<int>(ratio * j); }, veclen, in, out);
    return 1;
}

template <class T>
int resample_grid(const int (&in_dims)[3], const int (&out_dims)[3], int veclen, const T *in, T *out) {
    Working<int> index[3];
    for (int a = 0; a < 3; ++a) {
        index[a] = nearest_below(in_dims[a], out_dims[a]);
        if (!index[a]) return 0;
    }
    const int *const x = index[0].get(), *const y = index[1].get(), *const z = index[2].get();
    const std::size_t in_row = static_cast<std::size_t>(in_dims[0]) * static_cast<std::size_t>(veclen);
    const std::size_t out_row = static_cast<std::size_t>(out_dims[0]) * static_cast<std::size_t>(veclen);
    for (int k = 0; k < out_dims[2]; ++k) {
        for (int j = 0; j < out_dims[1]; ++j) {
            if (j > 0 && y[j] == y[j - 1]) {
                std::memcpy(out, out - out_row, out_row * sizeof(T));
                out += out_row;
                continue;
            }
            const auto row = static_cast<std::size_t>(y[j]) +
                             static_cast<std::size_t>(z[k]) * static_cast<std::size_t>(in_dims[1]);
            out = copy_rows(
                out_dims[0], [x](int i) { return x[i]; }, veclen, in + row * in_row, out);
        }
    }
    return 1;
}

template <class T>
int resample(int ndim, const int *in_dims, const int *out_dims, int veclen, const T *in, T *out) {
    if (ndim < 1 || ndim > 3) return 0;
    if (!all_positive(ndim, in_dims) || !all_positive(ndim, out_dims)) return 0;
    if (veclen < 1) return 1;
    if (ndim == 1) return resample_line(in_dims[0], out_dims[0], veclen, in, out);
    const bool solid = ndim == 3;
    return resample_grid({in_dims[0], in_dims[1], solid ? in_dims[2] : 1},
                         {out_dims[0], out_dims[1], solid ? out_dims[2] : 1}, veclen, in, out);
}

}  // namespace

ISOFIELD_STAMP(UTILdownsize, downsize_member,
               (int ndim, const int *dims, const int *factors, const int *runs, const T *in, T *out,
                int *pos),
               (ndim, dims, factors, runs, in, out, pos))

int UTILdownsize(int ndim, const int *dims, const int *factors, int dtype, const void *in, void *out) {
    if (ndim > kMaxAxes) return 0;
    return visit_or_report(dtype, "UTILclamp", [&]<class T>(ElementTag<T>) {
        if (!all_positive(ndim, factors)) return 0;
        if (ndim < 1) return 1;
        const Axes axes = folded(ndim, dims, factors);
        downsize(axes.count, axes.dims, axes.factors, axes.run, static_cast<const T *>(in),
                 static_cast<T *>(out));
        return 1;
    });
}

ISOFIELD_STAMP(UTILresample, resample,
               (int ndim, const int *in_dims, const int *out_dims, int veclen, const T *in, T *out),
               (ndim, in_dims, out_dims, veclen, in, out))

int UTILresample(int ndim, const int *in_dims, const int *out_dims, int veclen, int dtype, const void *in,
                 void *out) {
    return visit_or_report(dtype, "UTILresample", [&]<class T>(ElementTag<T>) {
        return resample(ndim, in_dims, out_dims, veclen, static_cast<const T *>(in), static_cast<T *>(out));
    });
}
