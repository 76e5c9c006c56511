// Polynomials fitted by least squares, and evaluated.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "output_array.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr std::ptrdiff_t kBlock = 256;  // samples that are worked on at a time

// ---- Sums over samples
//
// A sum takes its terms sample after sample, so that it waits for itself at each. Many go side by side
// instead: the terms of a block of samples stand in rows, one a sum, and two sums are the lanes of one
// addition.

constexpr int kLanes = 2;
constexpr int kMaxGroups = 6;  // of sums side by side

using Row = double[kBlock];
using Pair = double __attribute__((vector_size(2 * sizeof(double))));

Pair load_pair(const double *from) {
    Pair pair;
    std::memcpy(&pair, from, sizeof pair);
    return pair;
}

// Adds the terms of kGroups * kLanes rows to their sums.
template <int kGroups>
void add_rows(const Row *rows, std::ptrdiff_t n, double *sums) {
    Pair sum[kGroups];
    std::memcpy(sum, sums, sizeof sum);
    std::ptrdiff_t i = 0;
    for (; i + 1 < n; i += 2) {
#pragma GCC unroll 8
        for (int g = 0; g < kGroups; ++g) {
            const Pair a = load_pair(rows[2 * g] + i), b = load_pair(rows[2 * g + 1] + i);
            sum[g] += __builtin_shufflevector(a, b, 0, 2);
            sum[g] += __builtin_shufflevector(a, b, 1, 3);
        }
    }
    if (i < n) {
        for (int g = 0; g < kGroups; ++g) sum[g] += Pair{rows[2 * g][i], rows[2 * g + 1][i]};
    }
    std::memcpy(sums, sum, sizeof sum);
}

void add_rows(int count, const Row *rows, std::ptrdiff_t n, double *sums) {
    for (; count >= kMaxGroups * kLanes; count -= kMaxGroups * kLanes) {
        add_rows<kMaxGroups>(rows, n, sums);
        rows += kMaxGroups * kLanes;
        sums += kMaxGroups * kLanes;
    }
    for (; count >= 2 * kLanes; count -= 2 * kLanes, rows += 2 * kLanes, sums += 2 * kLanes)
        add_rows<2>(rows, n, sums);
    if (count > 0) add_rows<1>(rows, n, sums);
}

// The power sums of x, those of x^k y, and their working rows.
class PowerSums {
  public:
    explicit PowerSums(int order)
        : order_(order),
          count_((3 * order + kLanes - 2) / kLanes * kLanes),
          rows_(allocate_cleared<Row>(static_cast<std::size_t>(count_))),
          sums_(allocate_cleared<double>(static_cast<std::size_t>(count_))) {}

    bool allocated() const { return rows_ && sums_; }

    // Of x^k, k below 2 * order; and of x^k y, k below order.
    double of_power(int k) const {
        return k == 0 ? nsamples_ : sums_[static_cast<std::size_t>(order_ + k - 1)];
    }
    double of_product(int k) const { return sums_[static_cast<std::size_t>(k)]; }

    template <class T>
    void add(std::ptrdiff_t n, const float *x, const T *y) {
        for (std::ptrdiff_t i = 0; i < n; i += kBlock) add_block(std::min(n - i, kBlock), x + i, y + i);
        nsamples_ = static_cast<double>(std::max<std::ptrdiff_t>(n, 0));
    }

  private:
    // Rows: y, x y, x x y ..., then x, x x ...
    template <class T>
    void add_block(std::ptrdiff_t n, const float *x, const T *y) {
        Row *const products = rows_.get(), *const powers = products + order_;
        std::copy_n(y, n, products[0]);
        std::copy_n(x, n, powers[0]);
        for (int k = 1; k < 2 * order_ - 1; ++k) multiply(n, powers[k - 1], powers[0], powers[k]);
        for (int k = 1; k < order_; ++k) multiply(n, powers[k - 1], products[0], products[k]);
        add_rows(count_, rows_.get(), n, sums_.get());
    }

    static void multiply(std::ptrdiff_t n, const double *a, const double *b, double *__restrict out) {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = a[i] * b[i];
    }

    int order_;
    int count_;  // rows
    Working<Row> rows_;
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
    Row at, value;
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
