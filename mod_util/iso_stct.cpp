// Isosurfaces of grids: a sweep over the layers of cells between two planes of nodes.
//
// A layer is classified first, from byte masks of its two planes; only the cells that the surface crosses are
// visited. A new node is found by the edge's lower node and its axis. Since the cells are visited in order,
// an edge is new in a cell exactly when the cell is the first of those that share it, which the cell's place
// on the grid's border tells; nothing is looked up or cleared for that. Only where null cells are left out is
// each edge's own state kept.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "grid_sweep.hpp"
#include "node_mask.hpp"
#include "progress.hpp"
#include "slice_tables.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr ElementTraits kTraits = {.unit = "mod_util/iso_stct",
                                   .step = 1000,
                                   .corners = 3,
                                   .list_module = "UTILslice",
                                   .connect_module = "slice_struct",
                                   .connect_text = "realloc for connect list failed\n"};
constexpr unsigned char kAllAbove = 255;
constexpr int kEdgeCount = 12;
constexpr int kMostTriangles = 5;  // of a case

// ---- Cell geometry. Local nodes 0 to 3 go round the lower face, 4 to 7 above them.

struct Edge {
    std::uint8_t low;  // the local node from which the edge runs up its axis
    std::uint8_t high;
    std::uint8_t axis;
};

constexpr std::array<Edge, kEdgeCount> kEdges = {{{0, 1, 0},
                                                  {3, 2, 0},
                                                  {4, 5, 0},
                                                  {7, 6, 0},  //
                                                  {0, 3, 1},
                                                  {1, 2, 1},
                                                  {4, 7, 1},
                                                  {5, 6, 1},  //
                                                  {0, 4, 2},
                                                  {1, 5, 2},
                                                  {2, 6, 2},
                                                  {3, 7, 2}}};

constexpr int edge_between(int a, int b) {
    for (int e = 0; e < kEdgeCount; ++e) {
        const Edge edge = kEdges[static_cast<std::size_t>(e)];
        if ((edge.low == a && edge.high == b) || (edge.low == b && edge.high == a)) return e;
    }
    return -1;
}

// The edges that no earlier cell shares, as a bit mask by `behind`: bits 0, 1, 2 tell that there are cells
// behind this one on axis i, j, k. A neighbour behind on either cross axis shares the edges on that side.
constexpr std::array<std::uint16_t, 8> kFirstSeen = [] {
    std::array<std::uint16_t, 8> masks{};
    for (unsigned behind = 0; behind < 8; ++behind) {
        for (unsigned e = 0; e < kEdgeCount; ++e) {
            const unsigned cross_axes = 7u & ~(1u << kEdges[e].axis);
            const unsigned low_sides = cross_axes & ~unsigned{kHexPlaces[kEdges[e].low]};
            if ((low_sides & behind) == 0) masks[behind] |= static_cast<std::uint16_t>(1u << e);
        }
    }
    return masks;
}();

// What one case does: its crossed edges in the order of the table's corners, and its triangles as edge
// triples.
struct GridPlan {
    std::uint8_t nedges = 0;
    std::uint8_t ntris = 0;
    std::array<std::uint8_t, kEdgeCount> edges{};
    std::array<std::uint8_t, 3 * kMostTriangles> corners{};
    // The edges that meet in local node 6, the only ones that can be new in a cell inside the grid: first the
    // crossed ones, ninner of them, in the order of `edges`.
    std::uint8_t ninner = 0;
    std::array<std::uint8_t, 3> inner_edges{};
};

constexpr void list_inner_edges(GridPlan &plan) {
    unsigned left = kFirstSeen[7];
    std::size_t n = 0;
    for (std::size_t p = 0; p < plan.nedges; ++p) {
        if ((left >> plan.edges[p] & 1u) == 0) continue;
        left &= ~(1u << plan.edges[p]);
        plan.inner_edges[n++] = plan.edges[p];
    }
    plan.ninner = static_cast<std::uint8_t>(n);
    for (; left != 0; left &= left - 1)
        plan.inner_edges[n++] = static_cast<std::uint8_t>(std::countr_zero(left));
}

constexpr std::array<GridPlan, kAllAbove + 1> kPlans = [] {
    std::array<GridPlan, kAllAbove + 1> plans{};
    for (std::size_t index = 1; index < kAllAbove; ++index) {
        GridPlan &plan = plans[index];
        plan.nedges = static_cast<std::uint8_t>(ninter_pts_hex[index]);
        for (std::size_t p = 0; p < plan.nedges; ++p) {
            plan.edges[p] =
                static_cast<std::uint8_t>(edge_between(left_vert_hex[index][p], right_vert_hex[index][p]));
        }
        std::size_t written = 0;
        slice_hex.for_each_triangle(static_cast<int>(index), [&](int a, int b, int c) {
            for (const int corner : {a, b, c}) {
                plan.corners[written++] = plan.edges[static_cast<std::size_t>(corner)];
            }
        });
        plan.ntris = static_cast<std::uint8_t>(written / 3);
        list_inner_edges(plan);
    }
    return plans;
}();

// ---- The sweep

class Sweep {
  public:
    Sweep(const int *dims, bool has_nulls, GridResults &results)
        : d0_(dims[0]),
          d1_(dims[1]),
          d2_(dims[2]),
          plane_(d0_ * d1_),
          has_nulls_(has_nulls),
          results_(results) {
        const std::array<int, 3> stride = {1, d0_, plane_};
        for (std::size_t e = 0; e < kEdgeCount; ++e) {
            const unsigned place = kHexPlaces[kEdges[e].low];
            low_node_[e] = static_cast<int>(place & 1u) + (place & 2u ? d0_ : 0) + (place & 4u ? plane_ : 0);
            stride_[e] = stride[kEdges[e].axis];
        }
    }

    // classify(k, mask) fills the mask of plane k.
    template <class Classify>
    Outcome run(Classify classify) {
        if (!allocate()) return Outcome::kFailed;
        unsigned char *lower = masks_[0].get();
        unsigned char *upper = masks_[1].get();
        classify(0, lower);
        if (has_nulls_) forget(0);
        const MaskPoll poll(d2_ - 1.0);
        for (int k = 0; k < d2_ - 1; ++k) {
            if (poll.stop(k)) return Outcome::kInterrupted;
            classify(k + 1, upper);
            if (has_nulls_) forget((k + 1) & 1);
            place_edges(k);
            for (int j = 0; j < d1_ - 1; ++j) {
                const int row = j * d0_;
                const int nactive = find_active(lower + row, upper + row);
                if (nactive == 0) continue;
                if (!results_.reserve(most_new_nodes(nactive, j, k),
                                      std::int64_t{nactive} * kMostTriangles)) {
                    return Outcome::kFailed;
                }
                if (has_nulls_) {
                    add_row<true>(j, k, nactive);
                } else {
                    add_row<false>(j, k, nactive);
                }
            }
            std::swap(lower, upper);
        }
        return Outcome::kDone;
    }

  private:
    bool allocate() {
        for (auto &mask : masks_) mask = allocate_mask(plane_, kTraits.unit);
        // Three axes for each node of two planes.
        slots_ = allocate_working<int>(6 * static_cast<std::size_t>(plane_));
        columns_ = allocate_working<unsigned char>(static_cast<std::size_t>(d0_) + kCaseWord);
        // The words behind a row's end stay 0: no cell there.
        cases_ = allocate_cleared<unsigned char>(static_cast<std::size_t>(d0_) + kCaseWord);
        active_ = allocate_working<int>(static_cast<std::size_t>(d0_));
        return slots_ && columns_ && cases_ && active_;
    }

    int *plane_slots(int parity) const {
        return slots_.get() + 3 * static_cast<std::ptrdiff_t>(plane_) * parity;
    }

    // With nulls a slot of -1 says that the edge has no new node yet.
    void forget(int parity) { std::fill_n(plane_slots(parity), 3 * static_cast<std::ptrdiff_t>(plane_), -1); }

    // Where each edge of the layer's cells keeps its new node, relative to three times the cell's node in the
    // plane.
    void place_edges(int k) {
        for (std::size_t e = 0; e < kEdgeCount; ++e) {
            const bool in_upper = kHexPlaces[kEdges[e].low] & 4u;
            int *base = plane_slots((k + (in_upper ? 1 : 0)) & 1);
            slot_[e] = base + 3 * (low_node_[e] - (in_upper ? plane_ : 0)) + kEdges[e].axis;
        }
    }

    // Lists the cells of a row that the surface crosses: active_ holds their i, cases_ every cell's case.
    int find_active(const unsigned char *lower, const unsigned char *upper) {
        unsigned char *columns = columns_.get();
        unsigned char *cases = cases_.get();
        // The masks of four nodes at one i, two bits each, in the bit order of the slice cases.
        for (int i = 0; i < d0_; ++i) {
            columns[i] = static_cast<unsigned char>(lower[i] | upper[i] << 2 | lower[i + d0_] << 4 |
                                                    upper[i + d0_] << 6);
        }
        constexpr unsigned kAboves = 0x55u * kAboveByte, kNulls = 0x55u * kNullByte;
        const int ncells = d0_ - 1;
        if (has_nulls_) {
            for (int i = 0; i < ncells; ++i) {
                const unsigned both = (columns[i] & kAboves) | (columns[i + 1] & kAboves) << 1;
                const unsigned nulls = (columns[i] | columns[i + 1]) & kNulls;
                cases[i] = static_cast<unsigned char>(nulls ? 0u : both);
            }
        } else {
            for (int i = 0; i < ncells; ++i) {
                cases[i] = static_cast<unsigned char>(columns[i] | columns[i + 1] << 1);
            }
        }
        return list_crossed(cases, ncells, kAllAbove, active_.get());
    }

    // A bound on the new nodes of so many cells in row j of layer k; the first cell of a row may make one on
    // every edge.
    std::int64_t most_new_nodes(int nactive, int j, int k) const {
        const bool inner_row = j > 0 && k > 0 && !has_nulls_;
        return kEdgeCount + std::int64_t{nactive} * (inner_row ? 3 : kEdgeCount);
    }

    // Where a row's results go: the ends of the lists, held locally while the row runs.
    struct Ends {
        int *min_node;
        int *max_node;
        int *connect;
        int nnew;
    };

    template <bool kNulls>
    void add_row(int j, int k, int nactive) {
        const int row = j * d0_;
        const int first_node = k * plane_ + row;
        const int first_cell = (k * (d1_ - 1) + j) * (d0_ - 1);
        const unsigned behind_row = (j > 0 ? 2u : 0u) | (k > 0 ? 4u : 0u);
        Ends ends{results_.min_node.data(), results_.max_node.data(),
                  results_.connect.data() + 3 * static_cast<std::ptrdiff_t>(results_.nelements),
                  results_.nnew};
        const unsigned char *cases = cases_.get();
        const int *active = active_.get();
        for (int n = 0; n < nactive; ++n) {
            const int i = active[n];
            const GridPlan &plan = kPlans[cases[i]];
            const std::ptrdiff_t place = 3 * static_cast<std::ptrdiff_t>(row + i);
            const int node = first_node + i;
            if constexpr (kNulls) {
                add_nodes(plan, place, node, ends, [&](unsigned e) { return slot_[e][place] < 0; });
            } else if (i == 0 || behind_row != 6u) {
                const unsigned first_seen = kFirstSeen[behind_row | (i > 0 ? 1u : 0u)];
                add_nodes(plan, place, node, ends, [&](unsigned e) { return (first_seen >> e & 1u) != 0; });
            } else {
                add_inner_nodes(plan, place, node, ends);
            }
            for (unsigned c = 0; c < 3u * plan.ntris; ++c) ends.connect[c] = slot_[plan.corners[c]][place];
            ends.connect += 3 * plan.ntris;
            if (results_.wants_cells) {
                std::fill_n(results_.cell_list.data() + results_.nelements, plan.ntris, first_cell + i);
                results_.nelements += plan.ntris;
            }
        }
        results_.nnew = ends.nnew;
        results_.nelements = static_cast<int>((ends.connect - results_.connect.data()) / 3);
    }

    // Makes the new nodes of those crossed edges of a cell that pass `is_new`, in the order of its case.
    template <class IsNew>
    void add_nodes(const GridPlan &plan, std::ptrdiff_t place, int node, Ends &ends, IsNew is_new) {
        for (unsigned p = 0; p < plan.nedges; ++p) {
            const unsigned e = plan.edges[p];
            if (is_new(e)) add_node(e, place, node, ends, ends.nnew++);
        }
    }

    // The same for a cell with neighbours behind on every axis, where only three edges can be new. All three
    // are written; those that are not crossed are never read, and the next cell overwrites their nodes.
    void add_inner_nodes(const GridPlan &plan, std::ptrdiff_t place, int node, Ends &ends) {
        for (int p = 0; p < 3; ++p) add_node(plan.inner_edges[p], place, node, ends, ends.nnew + p);
        ends.nnew += plan.ninner;
    }

    void add_node(unsigned e, std::ptrdiff_t place, int node, Ends &ends, int number) {
        slot_[e][place] = number;
        const int low = node + low_node_[e];
        ends.min_node[number] = low;
        ends.max_node[number] = low + stride_[e];
    }

    int d0_, d1_, d2_, plane_;
    bool has_nulls_;
    GridResults &results_;
    std::array<int, kEdgeCount> low_node_{};  // of each edge, relative to the cell's lowest node
    std::array<int, kEdgeCount> stride_{};    // from there to the edge's other end
    std::array<int *, kEdgeCount> slot_{};
    std::array<Working<unsigned char>, 2> masks_;
    Working<int> slots_;
    Working<unsigned char> columns_, cases_;
    Working<int> active_;
};

template <class T>
int slice_str(MeshInfo *mesh, const T *data, int null_flag, T null_value, double level, int *nnew,
              int **min_node, int **max_node, int *ntris, int **tri_connect, int *tri_size, int *cell_count,
              int **cell_list) {
    *nnew = *ntris = *tri_size = 0;
    *min_node = *max_node = *tri_connect = nullptr;
    if (cell_count) *cell_count = 0;
    if (cell_list) *cell_list = nullptr;
    if (mesh->ndim != 3) return 0;

    GridResults results(kTraits, cell_count && cell_list);
    if (!results.create()) return 0;
    const int plane = mesh->dims[0] * mesh->dims[1];
    Sweep sweep(mesh->dims, null_flag != 0, results);
    const Outcome outcome = sweep.run([&](int k, unsigned char *mask) {
        fill_mask(plane, data + static_cast<std::ptrdiff_t>(k) * plane, kTypeCode<T>, null_flag, &null_value,
                  level, mask);
    });
    if (outcome != Outcome::kDone) return static_cast<int>(outcome);

    poll_status(100);
    results.hand_over(nnew, min_node, max_node, ntris, tri_connect, tri_size, cell_list);
    if (cell_count) *cell_count = *ntris;
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILslice_str, slice_str,
               (MeshInfo * mesh, const T *data, int null_flag, V null_value, double level, int *nnew,
                int **min_node, int **max_node, int *ntris, int **tri_connect, int *tri_size, int *cell_count,
                int **cell_list),
               (mesh, data, null_flag, static_cast<T>(null_value), level, nnew, min_node, max_node, ntris,
                tri_connect, tri_size, cell_count, cell_list))

int UTILslice_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                     double level, int *nnew, int **min_node, int **max_node, int *nlines, int **line_connect,
                     int *line_size, int *ntris, int **tri_connect, int *tri_size, int *cell_count,
                     int **cell_list) {
    *nnew = *nlines = *line_size = *ntris = *tri_size = 0;
    *min_node = *max_node = *line_connect = *tri_connect = nullptr;
    if (cell_count) *cell_count = 0;
    if (cell_list) *cell_list = nullptr;
    if (mesh->ndim == 2) {
        return UTILisoline_struct(mesh, data, dtype, null_flag, null_value, level, nnew, min_node, max_node,
                                  nlines, line_connect, line_size, cell_count, cell_list);
    }
    if (mesh->ndim != 3) return 0;
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return slice_str<T>(mesh, static_cast<const T *>(data), null_flag,
                                load_scalar<T>(null_flag, null_value), level, nnew, min_node, max_node, ntris,
                                tri_connect, tri_size, cell_count, cell_list);
        },
        [] { return 0; });
}
