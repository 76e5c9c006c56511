// Kernels that run along arrays.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <utility>

#include "prefetch.hpp"
#include "types.hpp"
#include "wide.hpp"
#include "working_array.hpp"

namespace {

using namespace isofield::detail;

constexpr int kMaxVeclen = 64;
constexpr std::ptrdiff_t kBlock = 256;  // elements that are summed up at a time

struct Kernel {
    int size;
    const double *weights;

    int before() const { return size / 2; }            // rows that it reaches back
    int after() const { return size - 1 - before(); }  // and ahead
};

// Adds so many taps, `stride` elements apart, to the sums of n elements, which `start` begins.
template <int... kTap, class Start>
ISOFIELD_INLINE void add_taps(std::integer_sequence<int, kTap...>, const double *__restrict in,
                              std::ptrdiff_t stride, const double *kernel, Start start, std::ptrdiff_t n,
                              double *__restrict sums) {
    const double weights[] = {kernel[kTap]...};
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        double sum = start(i);
        ((sum += weights[kTap] * in[i + kTap * stride]), ...);
        sums[i] = sum;
    }
}

template <int kTaps>
ISOFIELD_INLINE void add_taps(const double *in, std::ptrdiff_t stride, const double *kernel, bool first,
                              std::ptrdiff_t n, double *sums) {
    constexpr auto kAll = std::make_integer_sequence<int, kTaps>();
    if (first) {
        add_taps(
            kAll, in, stride, kernel, [](std::ptrdiff_t) { return 0.0; }, n, sums);
    } else {
        add_taps(
            kAll, in, stride, kernel, [sums](std::ptrdiff_t i) { return sums[i]; }, n, sums);
    }
}

// The kernel's sums for n elements, some taps at a time. `in` starts with the first row that they reach.
ISOFIELD_INLINE void sum_taps(const Kernel &kernel, std::ptrdiff_t stride, const double *in, std::ptrdiff_t n,
                              double *sums) {
    const double *weight = kernel.weights;
    int taps = kernel.size;
    for (bool first = true; taps > 0; first = false) {
        const int count = taps > 5 ? 4 : taps;
        switch (count) {
            case 1:
                add_taps<1>(in, stride, weight, first, n, sums);
                break;
            case 2:
                add_taps<2>(in, stride, weight, first, n, sums);
                break;
            case 3:
                add_taps<3>(in, stride, weight, first, n, sums);
                break;
            case 4:
                add_taps<4>(in, stride, weight, first, n, sums);
                break;
            default:
                add_taps<5>(in, stride, weight, first, n, sums);
                break;
        }
        taps -= count;
        weight += count;
        in += count * stride;
    }
}

// n elements whose rows the kernel covers, in blocks of doubles. `in` starts with the first row that they
// reach; `window` has room for a block and the rows that it shares with the next.
template <class T>
ISOFIELD_INLINE void filter_blocks(const Kernel &kernel, int veclen, std::ptrdiff_t n, const T *in, T *out,
                                   double *window) {
    constexpr bool kConvert = !std::is_same_v<T, double>;
    const std::ptrdiff_t shared = static_cast<std::ptrdiff_t>(kernel.size - 1) * veclen;
    double sums[kBlock];
    if (kConvert) std::copy_n(in, shared, window);
    for (std::ptrdiff_t first = 0; first < n; first += kBlock) {
        const std::ptrdiff_t count = std::min(n - first, kBlock);
        if (n - first > 3 * kBlock) {
            prefetch(in + first + shared + 2 * kBlock, kBlock);
            prefetch<true>(out + first + 2 * kBlock, kBlock);
        }
        if constexpr (kConvert) {
            std::copy_n(in + first + shared, count, window + shared);
            sum_taps(kernel, veclen, window, count, sums);
            std::memmove(window, window + count, static_cast<std::size_t>(shared) * sizeof *window);
        } else {
            sum_taps(kernel, veclen, in + first, count, sums);
        }
        for (std::ptrdiff_t i = 0; i < count; ++i) out[first + i] = wrapped<T>(sums[i]);
    }
}

template <class T>
ISOFIELD_WIDE void filter_wide(const Kernel &kernel, int veclen, std::ptrdiff_t n, const T *in, T *out,
                               double *window) {
    filter_blocks(kernel, veclen, n, in, out, window);
}

template <class T>
void filter_inner(const Kernel &kernel, int veclen, std::ptrdiff_t n, const T *in, T *out, double *window) {
    if (has_wide_registers()) {
        filter_wide(kernel, veclen, n, in, out, window);
    } else {
        filter_blocks(kernel, veclen, n, in, out, window);
    }
}

// A row near an end: what lies inside of the kernel weighs the row itself throughout.
template <class T>
void filter_end(const double *weights, int count, int veclen, const T *in, T *out) {
    const double sum = std::accumulate(weights, weights + count, 0.0);
    for (int c = 0; c < veclen; ++c) {
        double value = 0;
        if (sum != 0)
            for (int j = 0; j < count; ++j) value += in[c] * weights[j] / sum;
        out[c] = wrapped<T>(value);
    }
}

template <class T>
int filter(int nk, const float *coefficients, int n, int veclen, const T *in, T *out) {
    if (nk < 1 || n < nk || veclen > kMaxVeclen) return 0;
    if (veclen < 1) return 1;
    const std::ptrdiff_t width = veclen;
    const Working<double> weights = allocate_working<double>(static_cast<std::size_t>(nk));
    if (!weights) return 0;
    std::copy_n(coefficients, nk, weights.get());
    const double sum = std::accumulate(weights.get(), weights.get() + nk, 0.0);
    if (sum == 0) return 0;
    if (sum != 1) std::for_each_n(weights.get(), nk, [sum](double &weight) { weight /= sum; });
    const Working<double> window = allocate_working<double>(static_cast<std::size_t>(nk * width + kBlock));
    if (!window) return 0;

    const Kernel kernel{nk, weights.get()};
    const std::ptrdiff_t before = kernel.before(), after = kernel.after();
    for (std::ptrdiff_t p = 0; p < before; ++p) {
        const int missing = static_cast<int>(before - p);
        filter_end(kernel.weights + missing, nk - missing, veclen, in + p * width, out + p * width);
    }
    filter_inner(kernel, veclen, (n - before - after) * width, in, out + before * width, window.get());
    for (std::ptrdiff_t p = n - after; p < n; ++p) {
        const int missing = static_cast<int>(p - (n - after) + 1);
        filter_end(kernel.weights, nk - missing, veclen, in + p * width, out + p * width);
    }
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILfilter_1d, filter, (int nk, const float *kernel, int n, int veclen, const T *in, T *out),
               (nk, kernel, n, veclen, in, out))

int UTILfilter_1d(int nk, const float *kernel, int n, int veclen, int dtype, const void *in, void *out) {
    return visit_or_report(dtype, "UTILfilter", [&]<class T>(ElementTag<T>) {
        return filter(nk, kernel, n, veclen, static_cast<const T *>(in), static_cast<T *>(out));
    });
}
