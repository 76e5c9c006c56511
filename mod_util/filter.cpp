// Kernels that run along arrays.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <utility>

#include "output_array.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr int kMaxVeclen = 64;
constexpr std::ptrdiff_t kBlock = 1024;  // elements that are summed up at a time
constexpr int kMaxTaps = 8;

struct Kernel {
    int size;
    const double *weights;

    int before() const { return size / 2; }            // rows that it reaches back
    int after() const { return size - 1 - before(); }  // and ahead
};

// Adds so many taps, `stride` elements apart, to the sums of n elements, which start at 0 with the first.
template <int kTaps>
void add_taps(const double *__restrict in, std::ptrdiff_t stride, const double *kernel, bool first,
              std::ptrdiff_t n, double *__restrict sums) {
    const auto add = [&]<int... kTap>(std::integer_sequence<int, kTap...>, auto start) {
        const double weights[] = {kernel[kTap]...};
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            double sum = start(i);
            ((sum += weights[kTap] * in[i + kTap * stride]), ...);
            sums[i] = sum;
        }
    };
    constexpr auto kAll = std::make_integer_sequence<int, kTaps>();
    if (first) {
        add(kAll, [](std::ptrdiff_t) { return 0.0; });
    } else {
        add(kAll, [sums](std::ptrdiff_t i) { return sums[i]; });
    }
}

// The kernel's sums for n elements. `in` starts with the first row that they reach.
void sum_up(const Kernel &kernel, int veclen, const double *in, std::ptrdiff_t n, double *sums) {
    constexpr auto kAddTaps = []<int... kTap>(std::integer_sequence<int, kTap...>) {
        return std::array{add_taps<kTap + 1>...};
    }
    (std::make_integer_sequence<int, kMaxTaps>());
    for (int tap = 0; tap < kernel.size; tap += kMaxTaps) {
        const int taps = std::min(kernel.size - tap, kMaxTaps);
        kAddTaps[static_cast<std::size_t>(taps - 1)](in + static_cast<std::ptrdiff_t>(tap) * veclen, veclen,
                                                     kernel.weights + tap, tap == 0, n, sums);
    }
}

// n elements whose rows the kernel covers, in blocks of doubles. `in` starts with the first row that they
// reach; `window` has room for a block and the rows that it shares with the next.
template <class T>
void filter_inner(const Kernel &kernel, int veclen, std::ptrdiff_t n, const T *in, T *out, double *window) {
    constexpr bool kConvert = !std::is_same_v<T, double>;
    const std::ptrdiff_t shared = static_cast<std::ptrdiff_t>(kernel.size - 1) * veclen;
    double sums[kBlock];
    if (kConvert) std::copy_n(in, shared, window);
    for (std::ptrdiff_t first = 0; first < n; first += kBlock) {
        const std::ptrdiff_t count = std::min(n - first, kBlock);
        if constexpr (kConvert) {
            std::copy_n(in + first + shared, count, window + shared);
            sum_up(kernel, veclen, window, count, sums);
            std::memmove(window, window + count, static_cast<std::size_t>(shared) * sizeof *window);
        } else {
            sum_up(kernel, veclen, in + first, count, sums);
        }
        for (std::ptrdiff_t i = 0; i < count; ++i) out[first + i] = wrapped<T>(sums[i]);
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
