// Part of the C++ front, which isofield.hpp includes: integrals over cells, and the quadrature for cell types
// that the library has no exact rule for.
#ifndef ISOFIELD_INTEGRAL_HPP
#define ISOFIELD_INTEGRAL_HPP

#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"

namespace isofield {

// Settings of an integral. NaN and infinite values always count as missing.
struct IntegralOptions {
    std::optional<double> null_value;  // cells with a node of this value are left out
    Progress progress;
};

// Over all cells of one dimension.
struct Integral {
    double measure = 0;          // length, area or volume
    double integral = 0;         // of the data; 0 without data
    std::size_t ncells = 0;      // that count
    std::size_t null_cells = 0;  // left out for missing data

    // Of the data, NaN where nothing is measured.
    double mean() const { return integral / measure; }
};

namespace front {

// Integration over cells of the types for which the library has no exact rule: lines, pyramids, and the
// quadratic ones. Products of four Gauss points an axis; those of triangles and tetrahedra are collapsed
// squares and cubes.
class Quadrature {
  public:
    Quadrature(const SetFuncs &funcs, int ndim, int nnodes) : ndim_(ndim), nnodes_(nnodes) {
        constexpr double kPoints[] = {-0.8611363115940526, -0.3399810435848563, 0.3399810435848563,
                                      0.8611363115940526};
        constexpr double kWeights[] = {0.3478548451374538, 0.6521451548625461, 0.6521451548625461,
                                       0.3478548451374538};
        const bool simplex =
            (ndim == 2 && (nnodes == 3 || nnodes == 6)) || nnodes == 10 || (ndim == 3 && nnodes == 4);
        const bool prism = nnodes == 15 || (ndim == 3 && nnodes == 6);
        for (int i = 0; i < 1 << 2 * ndim; ++i) {
            const int at[3] = {i & 3, i >> 2 & 3, i >> 4};
            double uvw[3] = {kPoints[at[0]], ndim > 1 ? kPoints[at[1]] : 0, ndim > 2 ? kPoints[at[2]] : 0};
            double weight = 1;
            for (int d = 0; d < ndim; ++d) weight *= kWeights[at[d]];
            if (simplex || prism) {
                double rest = 1;  // what the axes before leave
                for (int d = 0; d < (prism ? 2 : ndim); ++d) {
                    weight *= rest / 2;
                    uvw[d] = rest * (1 + uvw[d]) / 2;
                    rest -= uvw[d];
                }
            }
            add_point(funcs, uvw, weight);
        }
    }

    // Adds one cell's measure, and with values (by node number) its integral.
    void add_cell(const float *coords, int nspace, const int *nodes, const float *values,
                  Integral &sum) const {
        const auto n = static_cast<std::size_t>(nnodes_);
        for (std::size_t p = 0; p < weights_.size(); ++p) {
            double axes[3][3] = {};
            double value = 0;
            const float *shape = &shapes_[p * n];
            const float *derivs = &derivs_[p * n * static_cast<std::size_t>(ndim_)];
            for (std::size_t i = 0; i < n; ++i) {
                const float *xyz = coords + static_cast<std::ptrdiff_t>(nodes[i]) * nspace;
                for (int a = 0; a < ndim_; ++a) {
                    for (int d = 0; d < nspace; ++d)
                        axes[a][d] += double{derivs[static_cast<std::size_t>(a) * n + i]} * xyz[d];
                }
                if (values) value += double{shape[i]} * values[nodes[i]];
            }
            const double measure = weights_[p] * size_of_axes(axes);
            sum.measure += measure;
            sum.integral += measure * value;
        }
    }

  private:
    void add_point(const SetFuncs &funcs, const double (&uvw)[3], double weight) {
        const float at[3] = {static_cast<float>(uvw[0]), static_cast<float>(uvw[1]),
                             static_cast<float>(uvw[2])};
        const auto n = static_cast<std::size_t>(nnodes_);
        shapes_.resize(shapes_.size() + n);
        derivs_.resize(derivs_.size() + n * static_cast<std::size_t>(ndim_));
        funcs.shape_func(at, &shapes_[shapes_.size() - n]);
        funcs.shape_deriv_func(at, &derivs_[derivs_.size() - n * static_cast<std::size_t>(ndim_)]);
        weights_.push_back(weight);
    }

    double size_of_axes(const double (&a)[3][3]) const {
        if (ndim_ == 1) return std::hypot(a[0][0], a[0][1], a[0][2]);
        const double normal[3] = {a[0][1] * a[1][2] - a[0][2] * a[1][1],
                                  a[0][2] * a[1][0] - a[0][0] * a[1][2],
                                  a[0][0] * a[1][1] - a[0][1] * a[1][0]};
        if (ndim_ == 2) return std::hypot(normal[0], normal[1], normal[2]);
        return std::abs(normal[0] * a[2][0] + normal[1] * a[2][1] + normal[2] * a[2][2]);
    }

    int ndim_, nnodes_;
    std::vector<double> weights_;
    std::vector<float> shapes_, derivs_;
};

}  // namespace front

}  // namespace isofield
#endif
