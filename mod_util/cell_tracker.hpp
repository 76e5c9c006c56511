// Search and evaluation along a path: what find_cell_func and interp_data_func answer point by point on
// meshes with an indexed search table. The cells around the path's next points are listed ahead, and the
// nodes of those that were asked are kept.
#ifndef ISOFIELD_MOD_UTIL_CELL_TRACKER_HPP
#define ISOFIELD_MOD_UTIL_CELL_TRACKER_HPP

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

#include "box_lanes.hpp"
#include "cell_geometry.hpp"
#include "cell_search.hpp"
#include "newton.hpp"
#include "shape_functions.hpp"
#include "spread_key.hpp"
#include "tet_places.hpp"
#include "vector_rows.hpp"

namespace isofield::detail {

// Works without memory of its own making: it is some 60 kB large.
class CellTracker {
  public:
    // Whether the mesh searches and evaluates by the library's own methods, with an index.
    static bool serves(const MeshInfo *mesh, const BlockTable *table, const VectorRows &rows) {
        if (mesh->field_funcs->find_cell_func != UTILfind_cell || !table || mesh->nspace > 3) return false;
        const CellIndex *index = usable_index(mesh, table);
        if (!index || !rows.usable()) return false;
        const auto own = index->of_grid() ? UTILinterp_cell_val_struct : UTILinterp_cell_val;
        return mesh->field_funcs->interp_data_func == own;
    }

    CellTracker(MeshInfo *mesh, const BlockTable *table, const VectorRows &rows)
        : mesh_(mesh), table_(table), index_(*usable_index(mesh, table)), blocks_(*table), rows_(rows) {
        const float tol = index_.tolerance();
        for (int d = 0; d < table->nspace; ++d) {
            bounds_.min[d] = table->min[d] - tol;
            bounds_.max[d] = table->max[d] + tol;
        }
    }

    // The cell that holds a point, which is finite, and the place in it.
    bool find(const float *xyz, int *cell, float *uvw) {
        if (!fetch_coords(mesh_)) return false;
        for (int d = 0; d < table_->nspace; ++d) {
            if (xyz[d] < bounds_.min[d] || xyz[d] > bounds_.max[d]) return false;
        }
        if (!holds(region_, xyz) && !look_around(xyz)) {
            current_ = nullptr;
            return UTILfind_cell(mesh_, const_cast<BlockTable *>(table_), xyz, cell, uvw) == 1;
        }
        for (int group = 0; group < ngroups_; ++group) {
            for (unsigned bits = near_[group].holding(xyz); bits != 0; bits &= bits - 1) {
                const int id = id_[group * BoxLanes::kFan + __builtin_ctz(bits)];
                Tracked *tracked = track(id);
                if (!tracked || !stands_in_list(*tracked, xyz) || !place(*tracked, xyz, uvw)) continue;
                current_ = tracked;
                *cell = id;
                return true;
            }
        }
        return false;
    }

    // The vector at the place that was found last: 1, or 0 in a cell with a null node.
    int evaluate(int cell, const float *uvw, float *vector) {
        if (!current_) return rows_.evaluate(mesh_, cell, uvw, vector);
        Tracked &at = *current_;
        if (!at.has_rows) gather_rows(at);
        if (at.null || !at.funcs->shape_func) return 0;
        float weights[kMaxCellNodes];
        switch (at.kind) {
            case Kind::kHex:
                rows_.weigh(hex_.weights, Hex1::kNodes, at.rows, vector);
                break;
            case Kind::kTet:
                Tet1::weights(uvw, weights);
                rows_.weigh(weights, Tet1::kNodes, at.rows, vector);
                break;
            default:
                at.funcs->shape_func(uvw, weights);
                rows_.weigh(weights, at.nnodes, at.rows, vector);
        }
        return 1;
    }

  private:
    static constexpr int kSlotBits = 6, kSlots = 1 << kSlotBits;
    static constexpr int kRoom = 128;                       // cells around a point
    static constexpr float kAround = 0.05f, kAhead = 2.0f;  // in sides of the last cell

    enum class Kind { kHex, kTet, kOther };

    struct Tracked {
        int id = -1;
        int nnodes;
        const SetFuncs *funcs;
        Box box;
        Kind kind;
        bool has_rows, null;
        float node_xyz[3 * kMaxCellNodes];
        float rows[kMaxCellNodes][4];
        // Of the kinds that are solved here: what belongs to the cell alone.
        PaddedNodes<Hex1> node;
        Iterate<Hex1> start;
        TetPlaces tet;
    };

    static Kind kind_of(const CellNodes &nodes) {
        const auto is = [&](int nnodes, auto rev_par, auto shape) {
            return nodes.nnodes == nnodes && nodes.funcs->rev_par_func == rev_par &&
                   nodes.funcs->shape_func == shape;
        };
        if (is(Hex1::kNodes, UTILrev_par_hex_1, UTILsh_func_hex_1)) return Kind::kHex;
        if (is(Tet1::kNodes, UTILrev_par_tet_1, UTILsh_func_tet_1)) return Kind::kTet;
        return Kind::kOther;
    }

    // The cell with its nodes; null when they are not to be had.
    Tracked *track(int id) {
        Tracked &slot = slots_[spread_key(static_cast<std::uint32_t>(id)) >> (32 - kSlotBits)];
        if (slot.id == id) return &slot;
        CellNodes nodes;
        if (!find_indexed_nodes(mesh_, index_, id, nodes) || !nodes.funcs->rev_par_func) return nullptr;
        slot.id = id;
        slot.nnodes = nodes.nnodes;
        slot.funcs = nodes.funcs;
        gather_coords(mesh_->coords, mesh_->nspace, nodes, slot.node_xyz);
        slot.box = box_of_gathered(slot.node_xyz, nodes.nnodes);
        slot.has_rows = false;
        slot.kind = kind_of(nodes);
        if (slot.kind == Kind::kHex) {
            constexpr float kMiddle[] = {0, 0, 0};
            pad_nodes<Hex1>(slot.node_xyz, slot.node);
            slot.start = Iterate<Hex1>::start(slot.node, kMiddle);
        } else if (slot.kind == Kind::kTet) {
            slot.tet = TetPlaces(slot.node_xyz);
        }
        return &slot;
    }

    void gather_rows(Tracked &tracked) {
        CellNodes nodes;
        find_indexed_nodes(mesh_, index_, tracked.id, nodes);
        tracked.null = rows_.gather(nodes.nodes, nodes.nnodes, tracked.rows);
        tracked.has_rows = true;
    }

    // Whether the list of the point's block has the cell. A box that holds the point makes sure of it.
    bool stands_in_list(const Tracked &tracked, const float *xyz) const {
        if (holds(tracked.box, xyz)) return true;
        const std::optional<int> block = blocks_.block_of(xyz);
        return block && stands_in_block(blocks_, tracked.box, xyz, *block);
    }

    bool place(const Tracked &tracked, const float *xyz, float *uvw) {
        if (tracked.kind == Kind::kTet) return tracked.tet.place(xyz, uvw);
        if (tracked.kind == Kind::kOther) return tracked.funcs->rev_par_func(tracked.node_xyz, xyz, uvw) > 0;
        const bool regular = hex_.approach(tracked.start, tracked.node, xyz);
        std::copy_n(hex_.at, 3, uvw);
        return regular && within_cube(uvw);
    }

    // Lists the cells around a point, and ahead of it in the direction from the point of the last list. False
    // when they are too many.
    bool look_around(const float *xyz) {
        Box region;
        std::copy_n(xyz, 3, region.min);
        std::copy_n(xyz, 3, region.max);
        const Box point = region;
        float sides = 0;  // from the last point to this one
        for (int d = 0; d < 3; ++d) {
            const float side = current_ ? current_->box.max[d] - current_->box.min[d] : 0;
            if (side > 0) sides = std::max(sides, std::fabs(xyz[d] - listed_at_[d]) / side);
            region.min[d] -= kAround * side;
            region.max[d] += kAround * side;
        }
        for (int d = 0; d < 3 && sides > 0; ++d) {
            const float ahead = (xyz[d] - listed_at_[d]) / sides * kAhead;
            (ahead < 0 ? region.min : region.max)[d] += ahead;
        }
        std::copy_n(xyz, 3, listed_at_);
        region_ = list(region) ? region : list(point) ? point : kNowhere;
        return holds(region_, xyz);
    }

    // Lists the cells whose widened boxes meet a region, the highest id first.
    bool list(const Box &region) {
        int ids[kRoom];
        Box boxes[kRoom];
        int count = 0;
        const auto enter = [&](int id, const BoxLanes &lanes, int lane) {
            if (count == kRoom) return false;
            boxes[count] = lanes.box(lane);
            ids[count++] = id;
            return true;
        };
        if (!index_.visit_near(region.min, region.max, enter)) return false;
        ngroups_ = (count + BoxLanes::kFan - 1) / BoxLanes::kFan;
        for (int i = count; i < ngroups_ * BoxLanes::kFan; ++i)
            near_[i / BoxLanes::kFan].set(i % BoxLanes::kFan, kNowhere);
        // Every cell's rank by counting: more steps than sorting, but no branches to guess.
        for (int i = 0; i < count; ++i) {
            int rank = 0;
            for (int j = 0; j < count; ++j) rank += ids[j] > ids[i] ? 1 : 0;
            near_[rank / BoxLanes::kFan].set(rank % BoxLanes::kFan, boxes[i]);
            id_[rank] = ids[i];
        }
        return true;
    }

    MeshInfo *mesh_;
    const BlockTable *table_;
    const CellIndex &index_;
    BlockGrid blocks_;
    const VectorRows &rows_;
    Box bounds_ = {};

    Box region_ = kNowhere;  // every cell that holds one of its points is listed
    int ngroups_ = 0;
    float listed_at_[3] = {};
    int id_[kRoom];
    BoxLanes near_[kRoom / BoxLanes::kFan];

    Tracked *current_ = nullptr;  // the cell that was found last
    Iterate<Hex1> hex_;           // the place in it, when it is a hexahedron
    Tracked slots_[kSlots];
};

}  // namespace isofield::detail
#endif
