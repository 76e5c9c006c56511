// Newton steps from a point in space to its place in a cell.
#ifndef ISOFIELD_MOD_UTIL_NEWTON_HPP
#define ISOFIELD_MOD_UTIL_NEWTON_HPP

#include <algorithm>
#include <cmath>

#include "jacobians.hpp"
#include "lanes.hpp"

namespace isofield::detail {

constexpr double kNewtonStep = 0.05;  // steps below this end the iteration
constexpr int kNewtonMaxSteps = 20;

// The margin that is allowed beyond a parametric bound.
constexpr double kMargin = 0.05;
constexpr double kLimit = kMargin + 1.0;

inline bool small(float value, double bound) {
    return std::fabs(static_cast<double>(value)) <= bound;
}

// Whether a place is in a cell whose coordinates run from -1 to 1.
inline bool within_cube(const float *uvw) {
    return small(uvw[0], kLimit) && small(uvw[1], kLimit) && small(uvw[2], kLimit);
}

inline bool converged(const float *step, int ndim) {
    return std::all_of(step, step + ndim,
                       [](float s) { return std::fabs(static_cast<double>(s)) < kNewtonStep; });
}

// The determinant's sign at the first iterate is the cell's orientation, and must stay.
class Orientation {
  public:
    // The determinant's size, 0 or less when it has changed its sign or vanished.
    double size(float determinant) {
        if (sign_ == 0) sign_ = determinant < 0 ? -1.0f : 1.0f;
        return static_cast<double>(determinant * sign_);
    }

  private:
    float sign_ = 0;
};

// ---- Volumes. Nodes are padded to four components, which fit the processor's vectors.

template <class Cell>
using PaddedNodes = float[Cell::kNodes][4];

template <class Cell>
void pad_nodes(const float *node_xyz, PaddedNodes<Cell> &node) {
    for (int i = 0; i < Cell::kNodes; ++i) {
        std::copy_n(node_xyz + 3 * i, 3, node[i]);
        node[i][3] = 0;
    }
}

// A place in a volume, and what belongs to it: the weights of the nodes, the point in space, and the inverse
// of the Jacobian where that is regular.
template <class Cell>
struct Iterate {
    float at[3];
    float weights[Cell::kNodes], x[3], jinv[9];
    Orientation orientation;
    bool regular;

    void form(const PaddedNodes<Cell> &node) {
        float derivs[3 * Cell::kNodes];
        Cell::weights(at, weights);
        Cell::derivs(at, derivs);
        Lanes sum = splat(0), along[3] = {sum, sum, sum};
        for (int k = 0; k < Cell::kNodes; ++k) {
            const Lanes xyz = load_lanes(node[k]);
            sum += splat(weights[k]) * xyz;
            for (int axis = 0; axis < 3; ++axis) along[axis] += splat(derivs[axis * Cell::kNodes + k]) * xyz;
        }
        for (int d = 0; d < 3; ++d) {
            x[d] = sum[d];
            for (int axis = 0; axis < 3; ++axis) jinv[3 * axis + d] = along[axis][d];
        }
        regular = !(orientation.size(MATmat3_inverse(jinv, jinv)) <= 0.0);
    }

    // The iterate that the steps towards all points of a cell start from.
    static Iterate start(const PaddedNodes<Cell> &node, const float *at) {
        Iterate first{};
        std::copy_n(at, 3, first.at);
        first.form(node);
        return first;
    }

    // Goes from a first iterate on to the last one before a step below kNewtonStep: its place and weights.
    // False when a Jacobian is degenerate.
    bool approach(const Iterate &first, const PaddedNodes<Cell> &node, const float *xyz) {
        std::copy_n(first.at, 3, at);
        orientation = first.orientation;
        const Iterate *here = &first;
        for (int step = 1;; ++step) {
            if (!here->regular) return false;
            float residual[3], move[3];
            for (int d = 0; d < 3; ++d) residual[d] = xyz[d] - here->x[d];
            multiply(residual, here->jinv, move, 1, 3, 3);
            if (converged(move, 3)) {
                if (here == &first) std::copy_n(first.weights, Cell::kNodes, weights);
                return true;
            }
            for (int d = 0; d < 3; ++d) at[d] += move[d];
            if (step == kNewtonMaxSteps) {
                Cell::weights(at, weights);
                return true;
            }
            form(node);
            here = this;
        }
    }
};

}  // namespace isofield::detail
#endif
