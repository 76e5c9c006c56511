// The kernel of surfaces and lines on cell sets: one text for all cell kinds, whose cases are told by a plan.
//
// Cells are taken in blocks. A block's cases are made from the byte mask alone, and only the cells that are
// crossed are looked at again.
#ifndef ISOFIELD_MOD_UTIL_SET_KERNEL_HPP
#define ISOFIELD_MOD_UTIL_SET_KERNEL_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "edge_table.hpp"
#include "element_lists.hpp"
#include "mesh_access.hpp"
#include "node_mask.hpp"
#include "output_array.hpp"
#include "progress.hpp"

namespace isofield::detail {

// The arrays that a kernel fills through its caller's words, and what is freed when it has to stop.
class KernelOutput {
  public:
    KernelOutput(const ElementTraits &traits, const unsigned char *mask, EdgeTable *table, int **connect,
                 int *size, int *capacity, int **cell_list)
        : traits_(traits),
          mask_(mask),
          table_(table),
          connect_(connect),
          size_(size),
          capacity_(capacity),
          cell_list_(cell_list),
          list_capacity_(traits.step) {}

    // A new connectivity where there is none.
    bool create(int line = __builtin_LINE()) {
        if (*capacity_ != 0 && *connect_) return true;
        if (*connect_) ARRfree_f(*connect_, traits_.unit, line);
        *size_ = 0;
        *connect_ = allocate_array<int>(traits_.step, traits_.unit, line);
        *capacity_ = *connect_ ? traits_.step : 0;
        return *connect_ != nullptr;
    }

    // Room for so many more elements, `made` of which there are from this call.
    bool reserve(int made, std::int64_t more) {
        if (*cell_list_ &&
            !grow_in_steps(*cell_list_, list_capacity_, made + more, traits_.step, traits_.unit)) {
            traits_.report_list();
            return false;
        }
        if (!grow_in_steps(*connect_, *capacity_, *size_ + more * traits_.corners, traits_.step,
                           traits_.unit)) {
            traits_.report_connect();
            return false;
        }
        return true;
    }

    // The kernel's result when it stops: the mask, the table and the connectivity go, and the capacity tells.
    int stop(int result) {
        UTILedge_table_delete(table_);
        std::free(const_cast<unsigned char *>(mask_));
        if (*connect_) ARRfree_f(*connect_, traits_.unit, __LINE__);
        *connect_ = nullptr;
        *size_ = 0;
        *capacity_ = kStopped;
        return result;
    }

    static constexpr int kStopped = -1;

  private:
    const ElementTraits &traits_;
    const unsigned char *mask_;
    EdgeTable *table_;
    int **connect_;
    int *size_;
    int *capacity_;
    int **cell_list_;
    int list_capacity_;
};

// The cells of a block that are crossed.
struct ActiveCells {
    static constexpr int kBlock = kCellPollPeriod + 1;

    int count = 0;
    std::array<int, kBlock> cells;
    std::array<std::uint8_t, kBlock> cases;
};

// Lists the crossed ones of the cells from `first` up to, not including, `end`.
template <class Cases, bool kNulls>
void find_active(const int *connect, int nnodes, const unsigned char *mask, int first, int end,
                 ActiveCells &active) {
    int count = 0;
    const int *nodes = connect + static_cast<std::ptrdiff_t>(first) * nnodes;
    for (int cell = first; cell < end; ++cell, nodes += nnodes) {
        unsigned index = 0, all = 0;
        for (std::size_t bit = 0; bit < Cases::kBitNodes.size(); ++bit) {
            const unsigned byte = mask[nodes[Cases::kBitNodes[bit]]];
            index |= byte << bit;
            if constexpr (kNulls) all |= byte;
        }
        bool crossed = index - 1 < Cases::kAllAbove - 1u;
        if constexpr (kNulls) {
            for (int n = Cases::kBitNodes.size(); n < nnodes; ++n) all |= mask[nodes[n]];
            crossed = crossed && (all & kNullByte) == 0;
        }
        active.cells[static_cast<std::size_t>(count)] = cell;
        active.cases[static_cast<std::size_t>(count)] = static_cast<std::uint8_t>(index);
        count += crossed;
    }
    active.count = count;
}

// Runs a kernel. Cases has kBitNodes, the node of each bit of a case; kAllAbove, the case of no crossing at
// the other end of the range; kPlans; kPolls; and kTraits.
template <class Cases>
int extract_set(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, EdgeTable *table,
                int **connect, int *size, int *capacity, int **cell_list) {
    const int *cells = fetch_cell_set(mesh, set);
    if (!cells) return 0;
    const int ncells = mesh->cell_ncells[set];
    const int nnodes = mesh->cell_nnodes[set];
    KernelOutput output(Cases::kTraits, mask, table, connect, size, capacity, cell_list);
    if (!table || !output.create()) return output.stop(0);

    EdgeLookup<EdgeTable> edges(table);
    ActiveCells active;
    int made = 0;
    for (int first = 0, end; first < ncells; first = end) {
        end = next_poll(first, ncells);
        if (Cases::kPolls && first > 0 && poll_status(percent_of(first, ncells))) {
            return output.stop(-1);
        }
        // Which of the block's cells are crossed.
        if (null_flag) {
            find_active<Cases, true>(cells, nnodes, mask, first, end, active);
        } else {
            find_active<Cases, false>(cells, nnodes, mask, first, end, active);
        }
        if (active.count == 0) continue;
        // Room for the most that they can make.
        using Plan = std::remove_cvref_t<decltype(Cases::kPlans[0])>;
        constexpr std::int64_t kMostElements = Plan::kCornerRoom / Cases::kTraits.corners;
        if (!edges.reserve(active.count * static_cast<std::int64_t>(Plan::kEdgeRoom)) ||
            !output.reserve(made, active.count * kMostElements)) {
            return output.stop(0);
        }
        // Their new nodes and elements.
        int *out = *connect + *size;
        for (std::size_t n = 0; n < static_cast<std::size_t>(active.count); ++n) {
            const Plan &plan = Cases::kPlans[active.cases[n]];
            const int cell = active.cells[n];
            const int *nodes = cells + static_cast<std::ptrdiff_t>(cell) * nnodes;
            std::array<int, Plan::kEdgeRoom> new_nodes;
            for (std::size_t e = 0; e < plan.nedges; ++e) {
                new_nodes[e] = edges(nodes[plan.ends[e][0]], nodes[plan.ends[e][1]]);
            }
            const std::size_t ncorners = plan.nelements * std::size_t{Cases::kTraits.corners};
            for (std::size_t c = 0; c < ncorners; ++c) *out++ = new_nodes[plan.corners[c]];
            if (*cell_list) std::fill_n(*cell_list + made, plan.nelements, cell);
            made += plan.nelements;
        }
        *size = static_cast<int>(out - *connect);
    }
    if (Cases::kPolls && poll_status(100)) return output.stop(-1);
    return made;
}

}  // namespace isofield::detail
#endif
