// Isolines of grids: a sweep over the rows of cells between two rows of nodes, in the manner of the sweep
// over planes that makes isosurfaces (iso_stct.cpp).
//
// The nodes of a cell are 0 to 3 round it from (i, j). A new node is kept in the slot of its edge: along i in
// one of two rows, along j in a row of its own. Cells are visited in order, so that an edge is new in the
// first cell that has it; only where null cells are left out is each edge's own state kept.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "grid_sweep.hpp"
#include "line_cases.hpp"
#include "node_mask.hpp"

namespace {

using namespace isofield::detail;

constexpr unsigned char kAllAbove = 15;
constexpr std::int64_t kMostEdges = 4;  // of a case
constexpr std::int64_t kMostLines = 2;

enum EdgeOf : std::uint8_t { kBottom, kRight, kTop, kLeft };  // 0-1, 1-2, 2-3, 3-0

// The edges of each case, in the order of its lines.
constexpr std::array<std::array<EdgeOf, 4>, 16> kEdges = [] {
    std::array<std::array<EdgeOf, 4>, 16> edges{};
    for (std::size_t index = 1; index < kAllAbove; ++index) {
        for (std::size_t e = 0; e < kQuadLines[index].nedges; ++e)
            edges[index][e] = static_cast<EdgeOf>(kQuadLines[index].ends[e][0]);
    }
    return edges;
}();

// Which of the two edges that no earlier cell has, right and top, a case crosses. It names them in this
// order.
struct InnerEdges {
    std::uint8_t right = 0;
    std::uint8_t top = 0;
};

constexpr std::array<InnerEdges, 16> kInnerEdges = [] {
    std::array<InnerEdges, 16> inner{};
    for (std::size_t index = 1; index < kAllAbove; ++index) {
        for (std::size_t e = 0; e < kQuadLines[index].nedges; ++e) {
            if (kEdges[index][e] == kRight && inner[index].top) throw "top before right";
            if (kEdges[index][e] == kRight) inner[index].right = 1;
            if (kEdges[index][e] == kTop) inner[index].top = 1;
        }
    }
    return inner;
}();

class RowSweep {
  public:
    RowSweep(const int *dims, bool has_nulls, GridResults &results)
        : d0_(dims[0]), d1_(dims[1]), has_nulls_(has_nulls), results_(results) {}

    // classify(j, mask) fills the mask of row j.
    template <class Classify>
    bool run(Classify classify) {
        if (!allocate()) return false;
        unsigned char *lower = masks_[0].get();
        unsigned char *upper = masks_[1].get();
        classify(0, lower);
        if (has_nulls_) forget(along_i_[0]);
        for (int j = 0; j < d1_ - 1; ++j) {
            classify(j + 1, upper);
            place_edges(j);
            if (has_nulls_) {
                forget(along_i_[(j + 1) & 1]);
                forget(along_j_);
            }
            find_cases(lower, upper);
            const int nactive = list_crossed(cases_.get(), d0_ - 1, kAllAbove, active_.get());
            std::swap(lower, upper);
            if (nactive == 0) continue;
            if (!results_.reserve(kMostEdges * nactive, kMostLines * nactive)) return false;
            if (has_nulls_) {
                add_row<true>(j, nactive);
            } else {
                add_row<false>(j, nactive);
            }
        }
        return true;
    }

  private:
    bool allocate() {
        const auto row = static_cast<std::size_t>(d0_);
        for (auto &mask : masks_) mask = allocate_mask(d0_, kLineTraits.unit);
        for (auto &slots : along_i_) slots = allocate_working<int>(row);
        along_j_ = allocate_working<int>(row);
        cases_ = allocate_cleared<unsigned char>(row + kCaseWord);
        active_ = allocate_working<int>(row);
        return along_i_[0] && along_i_[1] && along_j_ && cases_ && active_;
    }

    // With nulls a slot of -1 says that the edge has no new node yet.
    void forget(const Working<int> &slots) { std::fill_n(slots.get(), d0_, -1); }

    // The slots of a cell's edges, by its i.
    void place_edges(int j) {
        slot_ = {along_i_[j & 1].get(), along_j_.get() + 1, along_i_[(j + 1) & 1].get(), along_j_.get()};
    }

    void find_cases(const unsigned char *lower, const unsigned char *upper) {
        unsigned char *cases = cases_.get();
        const int ncells = d0_ - 1;
        if (has_nulls_) {
            for (int i = 0; i < ncells; ++i) {
                const unsigned nulls =
                    (lower[i] | lower[i + 1] | upper[i] | upper[i + 1]) & unsigned{kNullByte};
                const unsigned index = lower[i] | lower[i + 1] << 1 | upper[i + 1] << 2 | upper[i] << 3;
                cases[i] = static_cast<unsigned char>(nulls ? 0u : index);
            }
        } else {
            for (int i = 0; i < ncells; ++i) {
                cases[i] = static_cast<unsigned char>(lower[i] | lower[i + 1] << 1 | upper[i + 1] << 2 |
                                                      upper[i] << 3);
            }
        }
    }

    template <bool kNulls>
    void add_row(int j, int nactive) {
        const int first_node = j * d0_;
        const int first_cell = j * (d0_ - 1);
        int *connect = results_.connect.data() + 2 * static_cast<std::ptrdiff_t>(results_.nelements);
        int nnew = results_.nnew;
        for (int n = 0; n < nactive; ++n) {
            const int i = active_[static_cast<std::size_t>(n)];
            const unsigned index = cases_[static_cast<std::size_t>(i)];
            const LinePlan &plan = kQuadLines[index];
            if constexpr (kNulls) {
                nnew = add_nodes(plan, index, first_node, i, nnew, [&](EdgeOf e) { return slot_[e][i] < 0; });
            } else if (i == 0 || j == 0) {
                nnew = add_nodes(plan, index, first_node, i, nnew, [&](EdgeOf e) {
                    return e == kRight || e == kTop || (e == kLeft ? i == 0 : j == 0);
                });
            } else {
                nnew = add_inner_nodes(kInnerEdges[index], first_node, i, nnew);
            }
            for (std::size_t e = 0; e < plan.nedges; ++e) *connect++ = slot_[kEdges[index][e]][i];
            if (results_.wants_cells) {
                std::fill_n(results_.cell_list.data() + results_.nelements, plan.nelements, first_cell + i);
            }
            results_.nelements += plan.nelements;
        }
        results_.nnew = nnew;
    }

    // Makes the new nodes of those crossed edges of a cell that pass `is_new`. Returns the count of nodes.
    template <class IsNew>
    int add_nodes(const LinePlan &plan, unsigned index, int first_node, int i, int nnew, IsNew is_new) {
        for (std::size_t p = 0; p < plan.nedges; ++p) {
            const EdgeOf e = kEdges[index][p];
            if (is_new(e)) add_node(e, first_node, i, nnew++);
        }
        return nnew;
    }

    // The same for a cell behind which there are others on both axes. Both edges that can be new are written;
    // one that is not crossed is never read, and the next cell overwrites its node.
    int add_inner_nodes(InnerEdges inner, int first_node, int i, int nnew) {
        add_node(kRight, first_node, i, nnew);
        nnew += inner.right;
        add_node(kTop, first_node, i, nnew);
        return nnew + inner.top;
    }

    void add_node(EdgeOf e, int first_node, int i, int number) {
        slot_[e][i] = number;
        const int low = first_node + i + (e == kRight ? 1 : e == kTop ? d0_ : 0);
        results_.min_node.data()[number] = low;
        results_.max_node.data()[number] = low + (e == kBottom || e == kTop ? 1 : d0_);
    }

    int d0_, d1_;
    bool has_nulls_;
    GridResults &results_;
    std::array<Working<unsigned char>, 2> masks_;
    std::array<Working<int>, 2> along_i_;
    Working<int> along_j_;
    std::array<int *, 4> slot_{};
    Working<unsigned char> cases_;
    Working<int> active_;
};

template <class T>
int isoline_struct(const MeshInfo *mesh, const T *data, int null_flag, T null_value, double level, int *nnew,
                   int **min_node, int **max_node, int *nlines, int **connect, int *nconnect, int *cell_count,
                   int **cell_list) {
    *nnew = *nlines = *nconnect = 0;
    *min_node = *max_node = *connect = nullptr;
    if (cell_count) *cell_count = 0;  // and stays so: nlines counts the list
    if (cell_list) *cell_list = nullptr;

    GridResults results(kLineTraits, cell_count && cell_list);
    if (!results.create()) return 0;
    const int row = mesh->dims[0];
    RowSweep sweep(mesh->dims, null_flag != 0, results);
    const bool done = sweep.run([&](int j, unsigned char *mask) {
        fill_mask(row, data + static_cast<std::ptrdiff_t>(j) * row, kTypeCode<T>, null_flag, &null_value,
                  level, mask);
    });
    if (!done) return 0;

    results.hand_over(nnew, min_node, max_node, nlines, connect, nconnect, cell_list);
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILisoline_struct, isoline_struct,
               (MeshInfo * mesh, const T *data, int null_flag, V null_value, double level, int *nnew,
                int **min_node, int **max_node, int *nlines, int **connect, int *nconnect, int *cell_count,
                int **cell_list),
               (mesh, data, null_flag, static_cast<T>(null_value), level, nnew, min_node, max_node, nlines,
                connect, nconnect, cell_count, cell_list))

int UTILisoline_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                       double level, int *nnew, int **min_node, int **max_node, int *nlines, int **connect,
                       int *nconnect, int *cell_count, int **cell_list) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return isoline_struct<T>(mesh, static_cast<const T *>(data), null_flag,
                                     load_scalar<T>(null_flag, null_value), level, nnew, min_node, max_node,
                                     nlines, connect, nconnect, cell_count, cell_list);
        },
        [mesh] { return narrowed_to_int(mesh); });
}
