// Part of isofield.hpp: polynomials fitted to data, and systems of linear equations.
#ifndef ISOFIELD_FIT_HPP
#define ISOFIELD_FIT_HPP

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"

namespace isofield {

// Solves matrix * result = right, by elimination with row pivots. Throws BadInput, and Error when the system
// is singular: when a pivot is below `tolerance` times the matrix's largest element.
//   matrix  n x n, row-major
//   right   n
inline std::vector<double> solve(std::span<const double> matrix, std::span<const double> right,
                                 double tolerance = 1e-12) {
    const std::size_t n = right.size();
    front::int_size("matrix", matrix);
    if (n == 0) throw BadInput("right is empty");
    if (n > matrix.size() || n * n != matrix.size()) {
        throw BadInput("matrix has " + std::to_string(matrix.size()) + " elements, but right has " +
                       std::to_string(n));
    }
    if (!(tolerance >= 0))
        throw BadInput("tolerance is " + front::value_text(tolerance) + ", but must be at least 0");
    front::check_finite("matrix", matrix);
    front::check_finite("right", right);
    double largest = 0;
    std::vector<double> transpose(n * n), rest(right.begin(), right.end()), solution(n), result(n);
    for (std::size_t i = 0; i < n * n; ++i) {
        transpose[i % n * n + i / n] = matrix[i];
        largest = std::max(largest, std::abs(matrix[i]));
    }
    std::vector<int> place(n);
    const front::Call call;
    if (!UTILgauss_solve(transpose.data(), rest.data(), place.data(), solution.data(), static_cast<int>(n),
                         std::max(tolerance * largest, DBL_MIN)))
        throw Error("the system is singular: its equations depend on each other");
    for (std::size_t k = 0; k < n; ++k) result[static_cast<std::size_t>(place[k])] = solution[k];
    return result;
}

namespace front {
class PolynomialFitter;
}

// A polynomial of one variable. Throws BadInput when it has no coefficients.
class Polynomial {
  public:
    explicit Polynomial(std::vector<double> coefficients)  // of the powers of x, the constant first
        : coefficients_(std::move(coefficients)), centred_(coefficients_) {
        if (coefficients_.empty()) throw BadInput("coefficients is empty");
    }

    // Of a fit: about the middle of its abscissas, where powers keep their digits.
    double operator()(double x) const {
        double value = (x - centre_) / half_;
        evaluate({&value, 1}, &value);
        return value;
    }

    // Of the powers of x, the constant first.
    std::span<const double> coefficients() const { return coefficients_; }

  private:
    friend class front::PolynomialFitter;

    // centred: of the powers of (x - centre) / half.
    Polynomial(std::vector<double> centred, double centre, double half)
        : centred_(std::move(centred)), centre_(centre), half_(half) {
        for (std::size_t k = centred_.size(); k-- > 0;) {
            // The polynomial so far times (x - centre) / half, and a constant.
            coefficients_.insert(coefficients_.begin(), 0.0);
            for (std::size_t i = 0; i < coefficients_.size(); ++i) {
                const double higher = i + 1 < coefficients_.size() ? coefficients_[i + 1] : 0.0;
                coefficients_[i] = (coefficients_[i] - centre * higher) / half;
            }
            coefficients_[0] += centred_[k];
        }
    }

    void evaluate(std::span<const double> x, double *out) const {
        UTILeval_polynom_double(static_cast<int>(centred_.size()), centred_.data(),
                                static_cast<int>(x.size()), x.data(), out);
    }

    std::vector<double> coefficients_, centred_;
    double centre_ = 0, half_ = 1;
};

// Settings of a fit. NaN and infinite values always count as missing.
struct FitOptions {
    std::optional<double> null_value = {};  // of y
};

// A fitted polynomial, and how well it fits.
struct Fit {
    Polynomial polynomial;
    std::size_t used = 0, left_out = 0;  // samples; those left out miss x or y
    double rms = 0;                      // of the residuals: the root of their mean square
    double r_squared = 0;                // 1 - mean square / variance of y; NaN where all y are equal
    double largest = 0;                  // residual, without its sign
};

namespace front {

// The normal equations over power sums of abscissas that are brought to [-1, 1].
class PolynomialFitter {
  public:
    PolynomialFitter(std::span<const double> x, std::span<const double> y, int coefficients)
        : n_(static_cast<std::size_t>(coefficients)) {
        std::set<double> distinct;
        for (std::size_t i = 0; i < x.size(); ++i) {
            if (is_missing(x[i]) || is_missing(y[i])) continue;
            x_.push_back(x[i]);
            y_.push_back(y[i]);
            if (distinct.size() < n_) distinct.insert(x[i]);
        }
        int_size("x", x_);
        if (distinct.size() < n_) {
            throw BadInput("x has " + std::to_string(distinct.size()) +
                           " different values where y has one, but " + std::to_string(n_) +
                           " coefficients need as many");
        }
        const auto [least, most] = std::minmax_element(x_.begin(), x_.end());
        if (*least < *most) half_ = *most / 2 - *least / 2;
        centre_ = *least / 2 + *most / 2;
        for (double &value : x_) value = (value - centre_) / half_;
    }

    Fit make(std::size_t nsamples) const {
        std::vector<double> residuals;
        const Polynomial polynomial = fit(residuals);
        Fit made{polynomial, x_.size(), nsamples - x_.size()};
        for (const double residual : residuals) made.largest = std::max(made.largest, std::abs(residual));
        const double mean = means(x_, y_, 1)[0], square = mean_square(residuals, 0);
        made.rms = std::sqrt(square);
        const bool varies = std::any_of(y_.begin(), y_.end(), [this](double y) { return y != y_[0]; });
        made.r_squared =
            varies ? 1 - square / mean_square(y_, mean) : std::numeric_limits<double>::quiet_NaN();
        return made;
    }

  private:
    // Fits the residuals of a first fit too: they give back the digits that the equations lose.
    Polynomial fit(std::vector<double> &residuals) const {
        const std::vector<double> powers = means(x_, std::vector<double>(x_.size(), 1.0), 2 * n_ - 1);
        std::vector<double> matrix, centred(n_);
        for (std::size_t row = 0; row < n_; ++row)
            matrix.insert(matrix.end(), &powers[row], &powers[row] + n_);
        residuals = y_;
        for (int round = 0; round < 2; ++round) {
            const double tolerance = static_cast<double>(n_) * DBL_EPSILON;
            const std::vector<double> change = solve(matrix, means(x_, residuals, n_), tolerance);
            for (std::size_t k = 0; k < n_; ++k) centred[k] += change[k];
            Polynomial(centred, 0, 1).evaluate(x_, residuals.data());
            for (std::size_t i = 0; i < y_.size(); ++i) residuals[i] = y_[i] - residuals[i];
        }
        return {centred, centre_, half_};
    }

    // The means of weight * x^k for each k below `count`.
    static std::vector<double> means(std::span<const double> x, std::span<const double> weights,
                                     std::size_t count) {
        std::vector<double> sums = pairwise_sums(x, weights, count);
        for (double &sum : sums) sum /= static_cast<double>(x.size());
        return sums;
    }

    static std::vector<double> pairwise_sums(std::span<const double> x, std::span<const double> weights,
                                             std::size_t count) {
        constexpr std::size_t kFew = 128;
        std::vector<double> sums(count);
        if (x.size() > kFew) {
            const std::size_t half = x.size() / 2;
            sums = pairwise_sums(x.first(half), weights.first(half), count);
            const std::vector<double> others = pairwise_sums(x.subspan(half), weights.subspan(half), count);
            for (std::size_t k = 0; k < count; ++k) sums[k] += others[k];
            return sums;
        }
        for (std::size_t i = 0; i < x.size(); ++i) {
            double term = weights[i];
            for (double &sum : sums) {
                sum += term;
                term *= x[i];
            }
        }
        return sums;
    }

    double mean_square(std::span<const double> values, double origin) const {
        std::vector<double> squares;
        for (const double value : values) squares.push_back((value - origin) * (value - origin));
        return means(x_, squares, 1)[0];
    }

    std::size_t n_;
    std::vector<double> x_, y_;  // x_ from -1 to 1
    double centre_ = 0, half_ = 1;
};

}  // namespace front

// The polynomial of so many coefficients (1: the mean) that comes nearest to y over x, in the sum of squares.
// By the normal equations, as in P. R. Bevington, "Data Reduction and Error Analysis for the Physical
// Sciences", McGraw-Hill 1969, chapter 8, over abscissas brought to [-1, 1], and once more for the residuals.
// Throws BadInput, and Error when abscissas lie too close together to tell the coefficients apart.
//   x, y          scalars, as many of each
//   coefficients  1 to 20
inline Fit fit_polynomial(const DataView &x, const DataView &y, int coefficients,
                          const FitOptions &options = {}) {
    for (const auto &[name, data] : {std::pair("x", &x), std::pair("y", &y)}) {
        if (data->components() != 1) {
            throw BadInput(std::string(name) + " has " + std::to_string(data->components()) +
                           " components, but must be a scalar");
        }
    }
    if (x.rows() != y.rows()) {
        throw BadInput("y has " + std::to_string(y.rows()) + " rows, but x has " + std::to_string(x.rows()));
    }
    if (coefficients < 1 || coefficients > 20) {
        throw BadInput("coefficients is " + std::to_string(coefficients) + ", but must be 1 to 20");
    }
    const front::DoubleValues abscissas(x, {}), values(y, options.null_value);
    return front::PolynomialFitter(abscissas.view(), values.view(), coefficients).make(x.rows());
}

}  // namespace isofield
#endif
