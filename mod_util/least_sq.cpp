// Polynomials fitted by least squares, and evaluated.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <numeric>

#include "prefetch.hpp"
#include "types.hpp"
#include "wide.hpp"
#include "working_array.hpp"

namespace {

using namespace isofield::detail;

constexpr std::ptrdiff_t kBlock = 256;  // samples that are worked on at a time
using Block = double[kBlock];

// ---- Sums over samples
//
// A sum takes its terms sample after sample, so that it waits for itself at each. Side by side they wait
// together: the terms of some samples are turned round, so that sums are the lanes of one addition.

using Two = double __attribute__((vector_size(2 * sizeof(double))));
using Four = double __attribute__((vector_size(4 * sizeof(double))));

// Adds the terms of two samples to two sums.
ISOFIELD_INLINE void add_turned(const Two *terms, Two &sum) {
    sum += __builtin_shufflevector(terms[0], terms[1], 0, 2);
    sum += __builtin_shufflevector(terms[0], terms[1], 1, 3);
}

// And those of four samples to four.
ISOFIELD_INLINE void add_turned(const Four *terms, Four &sum) {
    const Four even01 = __builtin_shufflevector(terms[0], terms[1], 0, 4, 2, 6);
    const Four even23 = __builtin_shufflevector(terms[2], terms[3], 0, 4, 2, 6);
    const Four odd01 = __builtin_shufflevector(terms[0], terms[1], 1, 5, 3, 7);
    const Four odd23 = __builtin_shufflevector(terms[2], terms[3], 1, 5, 3, 7);
    sum += __builtin_shufflevector(even01, even23, 0, 1, 4, 5);
    sum += __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5);
    sum += __builtin_shufflevector(even01, even23, 2, 3, 6, 7);
    sum += __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7);
}

// What a fit of kOrder coefficients sums up: y, x y, x x y ..., then x, x x ...
template <int kOrder>
constexpr int kTerms = 3 * kOrder - 1;
template <int kOrder>
constexpr int kSums = (kTerms<kOrder> + 3) / 4 * 4;  // with some that stay 0, for full lanes

template <int kOrder, class Real>
ISOFIELD_INLINE void make_terms(const Real &x, const Real &y, Real *terms) {
    Real power = x;
    terms[0] = y;
#pragma GCC unroll 16
    for (int k = 1; k < 2 * kOrder; ++k) {
        terms[kOrder + k - 1] = power;
        if (k < kOrder) terms[k] = power * y;
        power = power * x;
    }
}

template <int kOrder, class Lanes>
ISOFIELD_INLINE void add_lanes(std::ptrdiff_t n, const Block &x, const Block &y, double *sums) {
    constexpr int kLanes = sizeof(Lanes) / sizeof(double);
    constexpr int kGroups = kSums<kOrder> / kLanes;
    Lanes groups[kGroups];
    std::memcpy(groups, sums, sizeof groups);
    std::ptrdiff_t i = 0;
    for (; i + kLanes <= n; i += kLanes) {
        Lanes at, value, terms[kSums<kOrder>] = {};
        std::memcpy(&at, x + i, sizeof at);
        std::memcpy(&value, y + i, sizeof value);
        make_terms<kOrder>(at, value, terms);
#pragma GCC unroll 16
        for (int g = 0; g < kGroups; ++g) add_turned(terms + g * kLanes, groups[g]);
    }
    std::memcpy(sums, groups, sizeof groups);
    for (; i < n; ++i) {
        double terms[kTerms<kOrder>];
        make_terms<kOrder>(x[i], y[i], terms);
        for (int t = 0; t < kTerms<kOrder>; ++t) sums[t] += terms[t];
    }
}

template <int kOrder>
ISOFIELD_WIDE void add_samples_wide(std::ptrdiff_t n, const Block &x, const Block &y, double *sums) {
    add_lanes<kOrder, Four>(n, x, y, sums);
}

template <int kOrder>
void add_samples(int, std::ptrdiff_t n, const Block &x, const Block &y, double *sums) {
    if (has_wide_registers()) {
        add_samples_wide<kOrder>(n, x, y, sums);
    } else {
        add_lanes<kOrder, Two>(n, x, y, sums);
    }
}

// The same sums one after the other, for any order.
void add_samples_by_sums(int order, std::ptrdiff_t n, const Block &x, const Block &y, double *sums) {
    Block power;
    std::fill_n(power, n, 1.0);
    for (int k = 0; k < 2 * order; ++k) {
        if (k < order) sums[k] = std::inner_product(power, power + n, y, sums[k]);
        if (k > 0) sums[order + k - 1] = std::accumulate(power, power + n, sums[order + k - 1]);
        for (std::ptrdiff_t i = 0; i < n; ++i) power[i] *= x[i];
    }
}

class PowerSums {
  public:
    // With room for full lanes.
    explicit PowerSums(int order)
        : order_(order), sums_(allocate_cleared<double>(3 * static_cast<std::size_t>(order) + 3)) {}

    bool allocated() const { return sums_ != nullptr; }

    // Of x^k, k below 2 * order; and of x^k y, k below order.
    double of_power(int k) const {
        return k == 0 ? nsamples_ : sums_[static_cast<std::size_t>(order_ + k - 1)];
    }
    double of_product(int k) const { return sums_[static_cast<std::size_t>(k)]; }

    template <class T>
    void add(std::ptrdiff_t n, const float *x, const T *y) {
        for (std::ptrdiff_t first = 0; first < n; first += kBlock) {
            const std::ptrdiff_t size = std::min(n - first, kBlock);
            if (n - first > 3 * kBlock) {
                prefetch(x + first + 2 * kBlock, kBlock);
                prefetch(y + first + 2 * kBlock, kBlock);
            }
            Block block_x, block_y;
            std::copy_n(x + first, size, block_x);
            std::copy_n(y + first, size, block_y);
            adder()(order_, size, block_x, block_y, sums_.get());
        }
        nsamples_ = static_cast<double>(std::max<std::ptrdiff_t>(n, 0));
    }

  private:
    using Adder = void (*)(int, std::ptrdiff_t, const Block &, const Block &, double *);

    Adder adder() const {
        constexpr Adder kAdders[] = {add_samples<1>, add_samples<2>, add_samples<3>, add_samples<4>,
                                     add_samples<5>, add_samples<6>, add_samples<7>, add_samples<8>};
        constexpr int kCount = static_cast<int>(std::size(kAdders));
        return order_ <= kCount ? kAdders[order_ - 1] : add_samples_by_sums;
    }

    int order_;
    Working<double> sums_;
    double nsamples_ = 0;
};

template <class T>
int least_squares(int n, const float *x, const T *y, int order, double *coeffs) {
    if (order < 1) return 0;
    const std::size_t size = static_cast<std::size_t>(order);
    PowerSums sums(order);
    const Working<double> matrix = allocate_working<double>(size * size);
    const Working<double> right = allocate_working<double>(2 * size);
    const Working<int> perm = allocate_working<int>(size);
    if (!sums.allocated() || !matrix || !right || !perm) return 0;
    double *const solution = right.get() + size;

    sums.add(n, x, y);
    for (int row = 0; row < order; ++row) {
        right[static_cast<std::size_t>(row)] = sums.of_product(row);
        for (int column = 0; column < order; ++column)
            matrix[static_cast<std::size_t>(row) * size + static_cast<std::size_t>(column)] =
                sums.of_power(row + column);
    }
    constexpr double kTolerance = 1.0e-9;
    if (!UTILgauss_solve(matrix.get(), right.get(), perm.get(), solution, order, kTolerance)) return 0;
    for (std::size_t k = 0; k < size; ++k) coeffs[k] = solution[perm[k]];
    return 1;
}

// ---- Evaluation

template <class T>
int evaluate(int count, const double *coeffs, int n, const T *x, T *out) {
    if (count < 1) return 1;
    Block at, value;
    for (std::ptrdiff_t first = 0; first < n; first += kBlock) {
        const std::ptrdiff_t size = std::min(n - first, kBlock);
        std::copy_n(x + first, size, at);
        std::fill_n(value, size, coeffs[count - 1]);
        for (int k = count - 2; k >= 0; --k)
            for (std::ptrdiff_t i = 0; i < size; ++i) value[i] = value[i] * at[i] + coeffs[k];
        std::transform(value, value + size, out + first, truncated<T, double>);
    }
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILleast_squares, least_squares,
               (int n, const float *x, const T *y, int order, double *coeffs), (n, x, y, order, coeffs))

int UTILleast_squares(int n, const float *x, int dtype, const void *y, int order, double *coeffs) {
    return visit_or_report(dtype, "UTILleast_squares", [&]<class T>(ElementTag<T>) {
        return least_squares(n, x, static_cast<const T *>(y), order, coeffs);
    });
}

ISOFIELD_STAMP(UTILeval_polynom, evaluate, (int ncoef, const double *coeffs, int n, const T *x, T *out),
               (ncoef, coeffs, n, x, out))

int UTILeval_polynom(int ncoef, const double *coeffs, int n, const void *x, void *out, int dtype) {
    return visit_or_report(dtype, "UTILeval_polynom", [&]<class T>(ElementTag<T>) {
        return evaluate(ncoef, coeffs, n, static_cast<const T *>(x), static_cast<T *>(out));
    });
}
