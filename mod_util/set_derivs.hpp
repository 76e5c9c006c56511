// The derivatives of node values at the nodes of the cells of one set: what UTILderiv_cell_3d and _2d give,
// with all that is the same for every cell taken once.
#ifndef ISOFIELD_MOD_UTIL_SET_DERIVS_HPP
#define ISOFIELD_MOD_UTIL_SET_DERIVS_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "cell_derivs.hpp"
#include "cell_geometry.hpp"
#include "lanes.hpp"

namespace isofield::detail {

// A cell's nodes, gathered: coordinates in lanes 0 to 2, and up to three components of a value.
struct NodeRows {
    std::array<Lanes, kMaxCellNodes> place, value;
};

// Which derivatives of the shape functions at the nodes are not 0, where these are few: at the corner of a
// linear cell every parametric direction runs along one of the cell's edges. Leaving out the products with 0
// leaves every sum as it is, for sums start from +0, as long as the other factor is finite.
class EdgePlan {
  public:
    static constexpr int kMaxCorners = 8;
    static constexpr int kMaxEdges = 3 * kMaxCorners;
    static constexpr int kTerms = 4;

    // The part of one node's value in the derivatives at a corner.
    struct Term {
        std::size_t node;
        Lanes factors[3];  // the node's derivative along each parametric axis, in all lanes
    };
    struct Corner {
        std::size_t edges[3];  // along the parametric axes
        Term terms[kTerms];    // nodes ascending; those that are not needed have factors of 0
    };

    // False for cells of other kinds: the derivatives, 3 x nnodes at each node, are not of that shape.
    bool make(int nnodes, const float (*shape_derivs)[3 * kMaxCellNodes]) {
        nedges_ = 0;
        for (int k = 0; k < nnodes; ++k) {
            Corner &corner = corners_[static_cast<std::size_t>(k)];
            if (!find_terms(nnodes, shape_derivs[k], corner)) return false;
            for (int d = 0; d < 3; ++d) {
                Edge edge;
                if (!find_edge(nnodes, shape_derivs[k] + d * nnodes, edge)) return false;
                corner.edges[d] = place_of(edge);
            }
        }
        return true;
    }

    const Corner &corner(std::size_t k) const { return corners_[k]; }

    // The cell's directions along its edges.
    void directions(const NodeRows &nodes, Lanes *out) const {
        for (std::size_t e = 0; e < nedges_; ++e) {
            const Edge &edge = edges_[e];
            out[e] =
                Lanes{} + edge.from_factor * nodes.place[edge.from] + edge.to_factor * nodes.place[edge.to];
        }
    }

  private:
    // The factors in all lanes.
    struct Edge {
        std::size_t from = 0, to = 0;
        Lanes from_factor = {}, to_factor = {};

        bool operator==(const Edge &other) const {
            return from == other.from && to == other.to && same_bits(from_factor, other.from_factor) &&
                   same_bits(to_factor, other.to_factor);
        }
    };

    static bool find_terms(int nnodes, const float *derivs, Corner &corner) {
        corner = {};
        int count = 0;
        for (int n = 0; n < nnodes; ++n) {
            const float factors[3] = {derivs[n], derivs[nnodes + n], derivs[2 * nnodes + n]};
            if (factors[0] == 0 && factors[1] == 0 && factors[2] == 0) continue;
            if (count == kTerms) return false;
            Term &term = corner.terms[count++];
            term.node = static_cast<std::size_t>(n);
            for (int d = 0; d < 3; ++d) term.factors[d] = splat(factors[d]);
        }
        return true;
    }

    static bool find_edge(int nnodes, const float *row, Edge &edge) {
        int found = 0;
        for (int n = 0; n < nnodes; ++n) {
            if (row[n] == 0) continue;
            (found == 0 ? edge.from : edge.to) = static_cast<std::size_t>(n);
            (found == 0 ? edge.from_factor : edge.to_factor) = splat(row[n]);
            ++found;
        }
        return found == 2;
    }

    std::size_t place_of(const Edge &edge) {
        const auto end = edges_.begin() + static_cast<std::ptrdiff_t>(nedges_);
        const auto found = std::find(edges_.begin(), end, edge);
        if (found == end) edges_[nedges_++] = edge;
        return static_cast<std::size_t>(found - edges_.begin());
    }

    std::array<Corner, kMaxCorners> corners_;
    std::array<Edge, kMaxEdges> edges_;
    std::size_t nedges_ = 0;
};

// Gives the derivatives of kComponents components at the nodes of a cell, of a set of kDim (2 or 3)
// dimensions.
template <int kDim, int kComponents>
class SetDerivs {
  public:
    // False when the set is not one for this: too many nodes, or no shape functions.
    bool make(const MeshInfo *mesh, int set) {
        nnodes_ = mesh->cell_nnodes[set];
        const auto shape_deriv_func = mesh->cell_funcs[set].funcs.shape_deriv_func;
        if (mesh->cell_ndim[set] != kDim || !shape_deriv_func) return false;
        if (nnodes_ < 1 || nnodes_ > kMaxCellNodes) return false;
        for (int k = 0; k < nnodes_; ++k) {
            std::fill_n(shape_derivs_[k], 3 * kMaxCellNodes, 0.0f);
            shape_deriv_func(mesh->cell_node_uvw[set] + 3 * static_cast<std::ptrdiff_t>(k), shape_derivs_[k]);
        }
        constant_ = std::all_of(shape_derivs_ + 1, shape_derivs_ + nnodes_, [this](const float *row) {
            return std::equal(row, row + 3 * nnodes_, shape_derivs_[0]);
        });
        by_edges_ =
            kDim == 3 && (nnodes_ == 4 || nnodes_ == 6 || nnodes_ == 8) && plan_.make(nnodes_, shape_derivs_);
        return true;
    }

    // Whether they are the same at all nodes of a cell.
    bool constant() const { return constant_; }

    // To be called for some cells before their derivatives are taken: inverts what can be inverted for all of
    // them, so that the host's inversions run into one another.
    static constexpr std::size_t kBatch = 8;
    void prepare(const NodeRows *cells, std::size_t ncells) {
        if (!by_edges_) return;
        inverses_[0] = inverses_[last_];
        last_ = 0;
        for (std::size_t cell = 0; cell < ncells; ++cell) {
            ready_[cell] = nnodes_ == 4   ? invert_at<4>(cells[cell], slots_[cell])
                           : nnodes_ == 6 ? invert_at<6>(cells[cell], slots_[cell])
                                          : invert_at<8>(cells[cell], slots_[cell]);
        }
    }

    // Calls row(k, derivs, frame) at each node k of a cell of these, or at node 0 alone where they are
    // constant, with derivs[d * kComponents + c], the derivative of component c in direction d: of space, or
    // of a surface's own frame (3 x 3). Where there is none derivs is null.
    template <class Row>
    void at_nodes(const NodeRows &nodes, std::size_t cell, Row row) const {
        if (by_edges_ && ready_[cell]) {
            derive_by_edges(nodes, slots_[cell], row);
            return;
        }
        PackedRows packed;
        packed.pack(nnodes_, nodes);
        float out[kDim * kComponents], frame[9];
        for (int k = 0; k < npoints(); ++k) row(k, derive(k, packed, out, frame) ? out : nullptr, frame);
    }

  private:
    // Rows as the kernels for any cell take them.
    struct PackedRows {
        float place[3 * kMaxCellNodes], value[kComponents * kMaxCellNodes];

        void pack(int nnodes, const NodeRows &nodes) {
            for (int k = 0; k < nnodes; ++k) {
                const auto n = static_cast<std::size_t>(k);
                for (int d = 0; d < 3; ++d) place[3 * k + d] = nodes.place[n][d];
                for (int c = 0; c < kComponents; ++c) value[kComponents * k + c] = nodes.value[n][c];
            }
        }
    };

    bool derive(int k, const PackedRows &rows, float *out, float *frame) const {
        float derivs[kDim * kMaxCellNodes];
        if constexpr (kDim == 3) {
            if (!volume_derivs(nnodes_, shape_derivs_[k], rows.place, derivs)) return false;
            multiply(derivs, rows.value, out, 3, nnodes_, kComponents);
        } else {
            float frame_xyz[3 * kMaxCellNodes];
            if (!surface_derivs(nnodes_, shape_derivs_[k], rows.place, derivs, frame, frame_xyz))
                return false;
            const auto value = [&rows](int m) { return rows.value[m]; };
            derive_on_surface(nnodes_, derivs, value, kComponents, frame, out);
        }
        return true;
    }

    // ---- By the edges at each corner.

    // The inverse of a Jacobian, as columns. That of a singular one is cleared.
    struct Inverse {
        Lanes columns[3];
        float determinant;
    };
    using Slots = std::array<std::uint8_t, EdgePlan::kMaxCorners>;

    // Finds where the inverses at a cell's corners stand. False when something is not finite, so that the
    // products with 0 count.
    template <std::size_t kNodes>
    bool invert_at(const NodeRows &nodes, Slots &slots) {
        Lanes sum = {};
        for (std::size_t k = 0; k < kNodes; ++k) sum += nodes.place[k] + nodes.value[k];
        if (!all_finite(sum)) return false;
        Lanes directions[EdgePlan::kMaxEdges];
        plan_.directions(nodes, directions);
        sum = Lanes{};
        for (std::size_t k = 0; k < static_cast<std::size_t>(npoints()); ++k) {
            const std::size_t *edges = plan_.corner(k).edges;
            invert(directions[edges[0]], directions[edges[1]], directions[edges[2]]);
            slots[k] = static_cast<std::uint8_t>(last_);
            const Inverse &inverse = inverses_[last_];
            sum += inverse.columns[0] + inverse.columns[1] + inverse.columns[2];
        }
        return all_finite(sum);
    }

    // Makes last_ the inverse of the Jacobian with these rows; in regular cells it is so already.
    void invert(const Lanes &a, const Lanes &b, const Lanes &c) {
        if (same_bits(a, jacobian_[0]) && same_bits(b, jacobian_[1]) && same_bits(c, jacobian_[2])) return;
        jacobian_ = {a, b, c};
        Inverse &inverse = inverses_[++last_];
        float matrix[12];  // the fourth lane of a row is overwritten by the next
        store_lanes(a, matrix);
        store_lanes(b, matrix + 3);
        store_lanes(c, matrix + 6);
        inverse.determinant = MATmat3_inverse(matrix, matrix);
        for (int d = 0; d < 3; ++d) inverse.columns[d] = Lanes{matrix[d], matrix[3 + d], matrix[6 + d], 0};
        if (inverse.determinant == 0) std::fill_n(inverse.columns, 3, Lanes{});
    }

    template <class Row>
    void derive_by_edges(const NodeRows &nodes, const Slots &slots, Row row) const {
        for (std::size_t k = 0; k < static_cast<std::size_t>(npoints()); ++k) {
            const Inverse &inverse = inverses_[slots[k]];
            Lanes derivs[kComponents] = {};
            for (const EdgePlan::Term &term : plan_.corner(k).terms) {
                const Lanes global = inverse.columns[0] * term.factors[0] +
                                     inverse.columns[1] * term.factors[1] +
                                     inverse.columns[2] * term.factors[2];
                const Lanes &value = nodes.value[term.node];
                for (int c = 0; c < kComponents; ++c) derivs[c] += global * splat(value[c]);
            }
            float out[3 * kComponents];
            for (int d = 0; d < 3; ++d) {
                for (int c = 0; c < kComponents; ++c) out[d * kComponents + c] = derivs[c][d];
            }
            row(static_cast<int>(k), inverse.determinant != 0 ? out : nullptr, nullptr);
        }
    }

    int npoints() const { return constant_ ? 1 : nnodes_; }

    int nnodes_ = 0;
    float shape_derivs_[kMaxCellNodes][3 * kMaxCellNodes];  // 3 x nnodes at each node
    bool constant_ = false;                                 // the same at all nodes
    bool by_edges_ = false;
    EdgePlan plan_;
    // Of a batch of cells, behind the last one of the batch before.
    std::array<Inverse, kBatch *EdgePlan::kMaxCorners + 1> inverses_ = {};
    std::array<Slots, kBatch> slots_;
    std::array<bool, kBatch> ready_;
    std::size_t last_ = 0;
    std::array<Lanes, 3> jacobian_ = {};  // of the last
};

}  // namespace isofield::detail
#endif
