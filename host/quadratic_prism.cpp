// Prisms of 15 nodes. The library's methods for them have two deliberate oddities, which meshes of this host
// shall not show: the weight of node 7 is not its own, so that weights do not sum to 1, and the list of
// pieces has two nodes in each other's place.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "binding.h"

namespace isofield::host {
namespace {

constexpr int kNodes = 15;

void weights(const float *uvw, float *out) {
    UTILsh_func_pent_2(uvw, out);
    const float t = static_cast<float>(1.0 - uvw[0] - uvw[1]);
    out[7] = 2 * uvw[1] * t * (1 + uvw[2]);
}

// UTILrev_par_pent_2 with these weights: the same steps, limits and results.
int place_in_cell(const float *node_xyz, const float *xyz, float *uvw) {
    constexpr double kMargin = 0.05, kLimit = kMargin + 1.0, kStep = 0.05;
    constexpr int kMaxSteps = 20;
    uvw[0] = uvw[1] = static_cast<float>(1.0 / 3.0);
    uvw[2] = 0;
    float sign = 0;
    for (int step = 0; step < kMaxSteps; ++step) {
        float shape[kNodes], derivs[3 * kNodes], jinv[9], residual[3], move[3];
        weights(uvw, shape);
        UTILsh_deriv_pent_2(uvw, derivs);
        const float determinant = UTILjacobian_3d_inv(kNodes, derivs, node_xyz, jinv);
        if (step == 0) sign = determinant < 0 ? -1.0f : 1.0f;
        if (determinant * sign <= 0) return -1;
        MATvec_by_mat(shape, node_xyz, residual, 1, kNodes, 3);
        for (int d = 0; d < 3; ++d) residual[d] = xyz[d] - residual[d];
        MATvec_by_mat(residual, jinv, move, 1, 3, 3);
        if (std::all_of(move, move + 3, [](float m) { return std::fabs(double{m}) < kStep; })) break;
        for (int d = 0; d < 3; ++d) uvw[d] += move[d];
    }
    const bool bounded = std::all_of(uvw, uvw + 3, [](float x) { return std::fabs(double{x}) <= kLimit; });
    return bounded && uvw[0] + kMargin >= 0 && uvw[1] + kMargin >= 0 && kLimit - uvw[0] - uvw[1] >= 0;
}

int tesselate(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) {
    std::vector<int> swapped;
    try {
        swapped.assign(connect, connect + std::ptrdiff_t{kNodes} * std::max(ncells, 0));
    } catch (const std::bad_alloc &) {
        *nout = *out_nnode = 0;
        *out_connect = nullptr;
        return 0;
    }
    for (std::size_t row = 0; row < swapped.size(); row += kNodes)
        std::swap(swapped[row + 12], swapped[row + 13]);
    return UTILtesselate_prism_2(ncells, swapped.data(), nout, out_connect, out_nnode);
}

}  // namespace

void mend_quadratic_prism(SetFuncs &funcs) {
    if (funcs.shape_func == UTILsh_func_pent_2) funcs.shape_func = weights;
    if (funcs.rev_par_func == UTILrev_par_pent_2) funcs.rev_par_func = place_in_cell;
    if (funcs.tesselate_func == UTILtesselate_prism_2) funcs.tesselate_func = tesselate;
}

}  // namespace isofield::host
