// Measures of cells and integrals over them, by Gauss quadrature on their shape functions.
#include <cmath>
#include <cstddef>
#include <limits>

#include "cell_geometry.hpp"
#include "jacobians.hpp"
#include "shape_functions.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

// ---- The rules: points in the order in which they are summed.

constexpr float kG = 0.5773502588f;  // 1 / sqrt(3)
constexpr float kThird = static_cast<float>(1.0 / 3.0), kTwoThirds = static_cast<float>(2.0 / 3.0);
constexpr float kSixth = 0.1666666716f;

struct LineRule {
    using Cell = Line1;
    static constexpr int kPoints = 2;
    static constexpr float kUvw[][3] = {{0, 0, 0}, {1, 1, std::numeric_limits<float>::denorm_min()}};
    static constexpr float kWeights[] = {1, 1};
};

struct TriRule {
    using Cell = Tri1;
    static constexpr int kPoints = 1;
    static constexpr float kUvw[][3] = {{kThird, kThird, 0}};
    static constexpr float kWeights[] = {0.5f};
};

struct QuadRule {
    using Cell = Quad1;
    static constexpr int kPoints = 4;
    static constexpr float kUvw[][3] = {{-kG, -kG, 0}, {kG, -kG, 0}, {kG, kG, 0}, {-kG, kG, 0}};
    static constexpr float kWeights[] = {1, 1, 1, 1};
};

struct TetRule {
    using Cell = Tet1;
    static constexpr int kPoints = 1;
    static constexpr float kUvw[][3] = {{0.25f, 0.25f, 0.25f}};
    static constexpr float kWeights[] = {kSixth};
};

struct HexRule {
    using Cell = Hex1;
    static constexpr int kPoints = 8;
    static constexpr float kUvw[][3] = {{kG, -kG, -kG}, {kG, kG, -kG}, {-kG, kG, -kG}, {-kG, -kG, -kG},
                                        {kG, -kG, kG},  {kG, kG, kG},  {-kG, kG, kG},  {-kG, -kG, kG}};
    static constexpr float kWeights[] = {1, 1, 1, 1, 1, 1, 1, 1};
};

struct PrismRule {
    using Cell = Pent1;
    static constexpr int kPoints = 6;
    static constexpr float kUvw[][3] = {{kTwoThirds, kSixth, -kG}, {kSixth, kTwoThirds, -kG},
                                        {kSixth, kSixth, -kG},     {kTwoThirds, kSixth, kG},
                                        {kSixth, kTwoThirds, kG},  {kSixth, kSixth, kG}};
    static constexpr float kWeights[] = {kSixth, kSixth, kSixth, kSixth, kSixth, kSixth};
};

// The library's shape functions at a rule's points, the points side by side.
template <class Rule>
struct AtPoints {
    static constexpr int kNodes = Rule::Cell::kNodes, kDim = Rule::Cell::kDim;

    constexpr AtPoints() {
        for (int p = 0; p < Rule::kPoints; ++p) {
            float weights[kNodes] = {}, derivs[kDim * kNodes] = {};
            Rule::Cell::weights(Rule::kUvw[p], weights);
            Rule::Cell::derivs(Rule::kUvw[p], derivs);
            for (int k = 0; k < kNodes; ++k) weight[k][p] = weights[k];
            for (int a = 0; a < kDim; ++a) {
                for (int k = 0; k < kNodes; ++k) deriv[a][k][p] = derivs[a * kNodes + k];
            }
        }
    }

    float weight[kNodes][Rule::kPoints] = {};
    float deriv[kDim][kNodes][Rule::kPoints] = {};
};

struct Sums {
    float measure = 0, integral = 0;

    void add_point(float determinant, float rule_weight, const float *value) {
        const float size = static_cast<float>(std::fabs(static_cast<double>(determinant)));
        measure += size * rule_weight;
        if (value) integral += *value * rule_weight * size;
    }
};

// ---- One cell: with the library's own shape functions all points at once, with others one by one. Both sum
// each quantity from 0 over the nodes in order.

template <class Rule>
Sums sum_known(const float *node_xyz, const float *values) {
    static constexpr AtPoints<Rule> kAt;
    constexpr int kPoints = Rule::kPoints, kNodes = Rule::Cell::kNodes, kDim = Rule::Cell::kDim;
    float axis[kDim][3][kPoints] = {}, value[kPoints] = {};
    for (int k = 0; k < kNodes; ++k) {
        for (int a = 0; a < kDim; ++a) {
            for (int d = 0; d < 3; ++d) {
                for (int p = 0; p < kPoints; ++p) axis[a][d][p] += kAt.deriv[a][k][p] * node_xyz[3 * k + d];
            }
        }
    }
    for (int k = 0; values && k < kNodes; ++k) {
        for (int p = 0; p < kPoints; ++p) value[p] += values[k] * kAt.weight[k][p];
    }
    const auto along = [&axis](int a, int p) { return Vec3{axis[a][0][p], axis[a][1][p], axis[a][2][p]}; };
    float determinants[kPoints];
    for (int p = 0; p < kPoints; ++p) {
        if constexpr (kDim == 3) {
            determinants[p] = determinant(along(0, p), along(1, p), along(2, p));
        } else if constexpr (kDim == 2) {
            determinants[p] = length(cross(along(0, p), along(1, p)));
        } else {
            determinants[p] = length(along(0, p));
        }
    }
    Sums sums;
    for (int p = 0; p < kPoints; ++p)
        sums.add_point(determinants[p], Rule::kWeights[p], values ? &value[p] : nullptr);
    return sums;
}

template <class Rule>
Sums sum_any(const SetFuncs &funcs, int ndim, int nnodes, const float *node_xyz, const float *values) {
    Sums sums;
    for (int p = 0; p < Rule::kPoints; ++p) {
        float weights[kMaxCellNodes], derivs[3 * kMaxCellNodes], value = 0;
        funcs.shape_func(Rule::kUvw[p], weights);
        funcs.shape_deriv_func(Rule::kUvw[p], derivs);
        const float determinant = ndim == 3   ? volume_jacobian(nnodes, derivs, node_xyz)
                                  : ndim == 2 ? surface_jacobian(nnodes, derivs, node_xyz)
                                  : ndim == 1 ? line_jacobian(nnodes, derivs, node_xyz)
                                              : 0.0f;
        for (int k = 0; values && k < nnodes; ++k) value += values[k] * weights[k];
        sums.add_point(determinant, Rule::kWeights[p], values ? &value : nullptr);
    }
    return sums;
}

// Gathers a cell's values as floats. False at the first null.
template <class T>
bool gather_values(const CellNodes &cell, const T *data, const void *null_value, float *values) {
    for (int i = 0; i < cell.nnodes; ++i) {
        const T value = data[cell.nodes[i]];
        if (null_value && value == *static_cast<const T *>(null_value)) return false;
        values[i] = static_cast<float>(value);
    }
    return true;
}

template <class Rule>
int integrate_cell(MeshInfo *mesh, int set, int number, const void *data, int dtype, int null_flag,
                   const void *null_value, void (*shape_func)(const float *, float *),
                   void (*shape_deriv_func)(const float *, float *), float *volume, float *integral) {
    *volume = *integral = 0;
    const float *coords = fetch_coords(mesh);
    const int *connect = coords ? fetch_cell_set(mesh, set) : nullptr;
    CellNodes cell;
    cell.nnodes = mesh->cell_nnodes[set];
    cell.funcs = &mesh->cell_funcs[set].funcs;
    if (!connect || cell.nnodes > kMaxCellNodes) return 0;
    cell.nodes = connect + static_cast<std::ptrdiff_t>(number) * cell.nnodes;

    float node_xyz[3 * kMaxCellNodes], values[kMaxCellNodes];
    gather_coords(coords, mesh->nspace, cell, node_xyz);
    if (data) {
        bool has_null = false;
        const int gathered = visit_or_tell(dtype, [&]<class T>(ElementTag<T>) {
            has_null =
                !gather_values(cell, static_cast<const T *>(data), null_flag ? null_value : nullptr, values);
            return 1;
        });
        if (!gathered || has_null) return gathered;
    }

    const float *const with_values = data ? values : nullptr;
    const bool known = cell.funcs->shape_func == shape_func &&
                       cell.funcs->shape_deriv_func == shape_deriv_func &&
                       cell.nnodes == Rule::Cell::kNodes && mesh->cell_ndim[set] == Rule::Cell::kDim;
    const Sums sums =
        known ? sum_known<Rule>(node_xyz, with_values)
              : sum_any<Rule>(*cell.funcs, mesh->cell_ndim[set], cell.nnodes, node_xyz, with_values);
    *volume = sums.measure;
    *integral = sums.integral;
    return 1;
}

}  // namespace

#define ISOFIELD_VOL_INTEGR(NAME, RULE, TYPE)                                                                \
    int UTILvol_integr_cell_##NAME(MeshInfo *mesh, int set, int cell, const void *data, int dtype,           \
                                   int null_flag, const void *null_value, float *volume, float *integral) {  \
        return integrate_cell<RULE>(mesh, set, cell, data, dtype, null_flag, null_value, UTILsh_func_##TYPE, \
                                    UTILsh_deriv_##TYPE, volume, integral);                                  \
    }

ISOFIELD_VOL_INTEGR(line, LineRule, line_1)
ISOFIELD_VOL_INTEGR(tri, TriRule, tri_1)
ISOFIELD_VOL_INTEGR(quad, QuadRule, quad_1)
ISOFIELD_VOL_INTEGR(tet, TetRule, tet_1)
ISOFIELD_VOL_INTEGR(hex, HexRule, hex_1)
ISOFIELD_VOL_INTEGR(prism, PrismRule, pent_1)

int UTILvol_integr(MeshInfo *mesh, int cell_dim, const void *data, int dtype, int null_flag,
                   const void *null_value, float *volume, float *integral) {
    *volume = *integral = 0;
    for (int s = 0; s < mesh->ncell_sets; ++s) {
        const auto integrate = mesh->cell_funcs[s].funcs.vol_integr_func;
        if (mesh->cell_ndim[s] != cell_dim || !integrate) continue;
        for (int cell = 0; cell < mesh->cell_ncells[s]; ++cell) {
            float cell_volume = 0, cell_integral = 0;
            integrate(mesh, s, cell, data, dtype, null_flag, null_value, &cell_volume, &cell_integral);
            *volume += cell_volume;
            *integral += cell_integral;
        }
    }
    return 1;
}
