// Dense linear systems.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>

#include "isofield.h"

namespace {

// A row-major matrix.
struct Matrix {
    double *elements;
    std::ptrdiff_t n;

    double *operator[](std::ptrdiff_t row) const { return elements + row * n; }
};

// The row of the largest element in column k from row k on.
std::ptrdiff_t pivot_row(const Matrix &a, std::ptrdiff_t k) {
    std::ptrdiff_t best = k;
    for (std::ptrdiff_t r = k + 1; r < a.n; ++r)
        if (std::fabs(a[r][k]) > std::fabs(a[best][k])) best = r;
    return best;
}

// Eliminates by columns: variable k's multiples are taken from the equations after it. False when singular.
bool eliminate(const Matrix &a, double *b, int *perm, double tol) {
    std::iota(perm, perm + a.n, 0);
    for (std::ptrdiff_t k = 0; k < a.n; ++k) {
        const std::ptrdiff_t pivot = pivot_row(a, k);
        if (std::fabs(a[pivot][k]) < tol) return false;
        if (pivot != k) {
            std::swap_ranges(a[k], a[k] + a.n, a[pivot]);
            std::swap(perm[k], perm[pivot]);
        }
        // Row k holds the factors from here on: it is not read again.
        double *const factors = a[k];
        for (std::ptrdiff_t c = k + 1; c < a.n; ++c) {
            factors[c] /= factors[k];
            b[c] -= factors[c] * b[k];
        }
        for (std::ptrdiff_t r = k + 1; r < a.n; ++r)
            for (std::ptrdiff_t c = k + 1; c < a.n; ++c) a[r][c] -= factors[c] * a[r][k];
    }
    return std::fabs(a[a.n - 1][a.n - 1]) > tol;
}

}  // namespace

int UTILgauss_solve(double *a, double *b, int *perm, double *x, int n, double tol) {
    if (n < 1) return 0;
    const Matrix matrix{a, n};
    if (!eliminate(matrix, b, perm, tol)) return 0;
    for (std::ptrdiff_t i = n - 1; i >= 0; --i) {
        double sum = 0;
        for (std::ptrdiff_t j = i + 1; j < n; ++j) sum += x[j] * matrix[j][i];
        x[i] = (b[i] - sum) / matrix[i][i];
    }
    return 1;
}
