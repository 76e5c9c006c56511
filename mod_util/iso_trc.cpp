// The sheet of an isosurface through a point, by a walk over a grid's cells; and the list and the table of
// cells that walks may keep.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "brick_map.hpp"
#include "constant_arrays.hpp"
#include "grid_walk.hpp"
#include "progress.hpp"
#include "slice_tables.hpp"

namespace {

using namespace isofield::detail;

constexpr int kPollPeriod = 400;

// Two bits for each bit of a corner number: whether the corners of its lower and its upper side differ.
constexpr int crossed_faces(unsigned index) {
    constexpr unsigned kLower[3] = {0x55, 0x33, 0x0f};  // corners without the bit
    int faces = 0;
    for (unsigned bit = 0; bit < 3; ++bit) {
        for (const unsigned side : {0u, 1u}) {
            const unsigned corners = side == 0 ? kLower[bit] : 0xffu & ~kLower[bit];
            const bool crossed = (index & corners) != 0 && (index & corners) != corners;
            faces |= crossed << (2 * bit + side);
        }
    }
    return faces;
}

constexpr std::array<int, 256> kCrossedFaces = [] {
    std::array<int, 256> faces{};
    for (unsigned index = 0; index < 256; ++index) faces[index] = crossed_faces(index);
    return faces;
}();

// A case of a cell's eight corners: its edges in the order of the polygons' corners, and the triangles
// between these. An edge is its axis and the offset of its lower corner, a bit for each axis.
struct Plan {
    static constexpr int kMostCorners = 12, kMostTriangles = 5;
    std::uint8_t ncorners, ntris;
    std::uint8_t edges[kMostCorners];  // 8 * axis + offset
    std::uint8_t triangles[kMostTriangles][3];
};

constexpr int kAllAbove = 255;

constexpr std::uint8_t edge_between(int a, int b) {
    const int at_a = kHexPlaces[a], at_b = kHexPlaces[b], axis_bit = at_a ^ at_b;
    const int axis = axis_bit == 1 ? 0 : axis_bit == 2 ? 1 : 2;
    return static_cast<std::uint8_t>(8 * axis + (at_a & at_b));
}

constexpr std::array<Plan, kAllAbove + 1> kPlans = [] {
    std::array<Plan, kAllAbove + 1> plans{};
    for (std::size_t index = 1; index < kAllAbove; ++index) {
        Plan &plan = plans[index];
        plan.ncorners = static_cast<std::uint8_t>(ninter_pts_hex[index]);
        for (int c = 0; c < plan.ncorners; ++c)
            plan.edges[c] = edge_between(left_vert_hex[index][c], right_vert_hex[index][c]);
        slice_hex.for_each_triangle(static_cast<int>(index), [&](int a, int b, int c) {
            std::uint8_t *triangle = plan.triangles[plan.ntris++];
            for (const int corner : {a, b, c}) *triangle++ = static_cast<std::uint8_t>(corner);
        });
    }
    return plans;
}();

// Per cell of a brick and edge of a plan: where the lower node is, as an edge of that brick.
constexpr auto kEdgePlaces = [] {
    std::array<std::array<NearPlace, 24>, Brick::kNodes> places{};
    for (int local = 0; local < Brick::kNodes; ++local) {
        for (unsigned edge = 0; edge < 24; ++edge) {
            NearPlace place = offset_place(local, edge % 8);
            place.local = static_cast<std::uint8_t>(place.local + Brick::kNodes * (edge / 8));
            places[static_cast<std::size_t>(local)][edge] = place;
        }
    }
    return places;
}();

// The bits of a case index from those of Brick::corners.
constexpr unsigned case_index(unsigned corners) {
    return (corners & 3) | (corners & 12) << 2 | (corners >> 4 & 3) << 2 | (corners >> 6) << 6;
}

template <class T>
class SheetWalk {
  public:
    static constexpr const char *kUnit = "mod_util/iso_trc";
    static constexpr int kNodes = 3;
    static bool serves(int ndim) { return ndim == 3; }

    SheetWalk(const MeshInfo *mesh, const T *data, bool has_nulls, T null_value, double level,
              WalkOutput &out)
        : out_(out),
          has_nulls_(has_nulls),
          poll_(mesh->ncell_sets > 0 ? mesh->cell_ncells[0] : mesh->nnodes, kPollPeriod),
          dims_{mesh->dims[0], mesh->dims[1], mesh->dims[2]},
          stride_{1, dims_[0], dims_[0] * dims_[1]},
          bricks_(mesh->dims, data, level, has_nulls, null_value) {
        for (int edge = 0; edge < BrickEdges::kEdges; ++edge) {
            int &lower = lower_node_[edge] = 0;
            for (std::size_t d = 0; d < 3; ++d) lower += Brick::along(edge % Brick::kNodes, d) * stride_[d];
        }
    }

    Outcome run(int seed) {
        if (!bricks_.create() || !waiting_.create()) return Outcome::kFailed;
        const int row = seed / dims_[0], plane = row / dims_[1];
        const Index3 start = {seed - row * dims_[0], row - plane * dims_[1], plane};
        for (std::size_t d = 0; d < 3; ++d) {
            if (start[d] < 0 || start[d] > dims_[d] - 2) return Outcome::kDone;
        }
        Brick *const first = bricks_.at(start);
        if (!first) return Outcome::kFailed;
        waiting_.push({});  // below all others
        waiting_.push({first, Brick::local(start), 0});
        for (int taken = 0;;) {
            const auto [brick, local, skipped] = waiting_.pop();
            if (!brick) return Outcome::kDone;
            taken += 1 + skipped;
            const std::uint64_t bit = std::uint64_t{1} << local;
            if ((brick->done & bit) != 0) continue;
            if (poll_.stop(taken)) return Outcome::kInterrupted;
            if (has_nulls_ && Brick::corners(brick->null, local) != 0) continue;
            const unsigned index = case_index(Brick::corners(brick->above, local));
            if (index == 0 || index == kAllAbove) continue;
            if (!make_room() || !add_triangles(brick, local, kPlans[index])) return Outcome::kFailed;
            brick->done |= bit;
            if (!push_neighbours(brick, local, static_cast<unsigned>(kCrossedFaces[index])))
                return Outcome::kFailed;
        }
    }

  private:
    struct Cell {
        Brick *brick;
        int local;
        int skipped;  // cells that stood above this one, but were done when their turn to wait came
    };

    // Room for a cell and its neighbours, for many cells at a time.
    bool make_room() {
        constexpr int kCells = 64;
        if (cells_with_room_ == 0) {
            if (!out_.nodes.reserve(kCells * Plan::kMostCorners) ||
                !out_.reserve_connect(kCells * 3 * Plan::kMostTriangles) || !waiting_.reserve(kCells * 6))
                return false;
            cells_with_room_ = kCells;
        }
        --cells_with_room_;
        return true;
    }

    // The new nodes of the cell's edges, and the triangles between them. There is room for both.
    bool add_triangles(Brick *brick, int local, const Plan &plan) {
        const NearPlace *const places = kEdgePlaces[static_cast<std::size_t>(local)].data();
        int nodes[Plan::kMostCorners];
        const int ncorners = plan.ncorners;
        for (int c = 0; c < ncorners; ++c) {
            const std::uint8_t edge = plan.edges[c];
            const NearPlace place = places[edge];
            Brick *const holder = bricks_.near(brick, place.brick);
            int *const number = holder ? holder->edges.find(place.local) : nullptr;
            if (!number) return false;
            if (*number == 0) {
                const int lower = holder->first_node + lower_node_[place.local];
                *number = out_.nodes.add(lower, lower + stride_[edge / 8u]) + 1;
            }
            nodes[c] = *number - 1;
        }
        int *connect = out_.append(3 * plan.ntris);
        for (int t = 0; t < plan.ntris; ++t, connect += 3) {
            for (int i = 0; i < 3; ++i) connect[i] = nodes[plan.triangles[t][i]];
        }
        return true;
    }

    bool push_neighbours(Brick *brick, int local, unsigned faces) {
        const NearPlace *const steps = kSteps[static_cast<std::size_t>(local)].data();
        unsigned open = 0;  // faces behind which there is a cell
        for (std::size_t d = 0; d < 3; ++d) {
            const int at = brick->origin[d] + Brick::along(local, d);
            open |= (at > 0 ? 1u : 0u) << (2 * d) | (at < dims_[d] - 2 ? 2u : 0u) << (2 * d);
        }
        auto stack = waiting_.begin_push();
        for (faces &= open; faces != 0; faces &= faces - 1) {
            const NearPlace place = steps[std::countr_zero(faces)];
            Brick *const holder = bricks_.near(brick, place.brick);
            if (!holder) return false;
            const int done = static_cast<int>(holder->done >> place.local & 1);
            stack[-1].skipped += done;
            *stack = {holder, place.local, 0};
            stack += 1 - done;
        }
        waiting_.end_push(stack);
        return true;
    }

    WalkOutput &out_;
    bool has_nulls_;
    Poll poll_;
    Index3 dims_, stride_;
    int lower_node_[BrickEdges::kEdges];  // of a brick's edges, from its first node
    BrickMap<T> bricks_;
    CellStack<Cell> waiting_;
    int cells_with_room_ = 0;
};

template <class T>
int trace_sheet(MeshInfo *mesh, BlockTable *table, const T *data, int null_flag, ByValue<T> null_value,
                const float *xyz, double *level, const WalkResults &out) {
    return trace<SheetWalk, T>(mesh, table, data, null_flag, null_value, xyz, level, out);
}

// ---- The list and the table of cells

constexpr int kBlockCells = 1024;  // also the table's step

// Adds a block of free nodes to a list.
bool add_block(CellList *list, int ncells) {
    const auto count = static_cast<std::size_t>(std::max(ncells, 1));
    Working<CellNode> block = allocate_working<CellNode>(count);
    if (!block || !grow_working(list->blocks, static_cast<std::size_t>(list->nblocks) + 1)) return false;
    for (std::size_t i = 0; i < count; ++i) block[i] = {0, i + 1 < count ? &block[i + 1] : list->free};
    list->free = block.get();
    list->blocks[list->nblocks++] = block.release();
    return true;
}

int bucket_of(const CellTable *table, int cell) {
    const float bucket = static_cast<float>(cell) * table->scale;
    // Rounding may reach the end; what is no bucket goes into the first.
    if (!(bucket >= 1.0f)) return 0;
    return bucket < static_cast<float>(table->size) ? static_cast<int>(bucket) : table->size - 1;
}

}  // namespace

ISOFIELD_ARRAY(int, ISOtrace_hex, kCrossedFaces, (0, 2, 5, 6));

ISOFIELD_STAMP(UTILiso_trace, trace_sheet,
               (MeshInfo * mesh, BlockTable *table, const T *data, int null_flag, V null_value,
                const float *xyz, double *level, int *nnew, int **min_node, int **max_node, int *ntris,
                int **connect, int *nconnect),
               (mesh, table, data, null_flag, null_value, xyz, level,
                {nnew, min_node, max_node, ntris, connect, nconnect}))

int UTILiso_trace(MeshInfo *mesh, BlockTable *table, const void *data, int dtype, int null_flag,
                  const void *null_value, const float *xyz, double *level, int *nnew, int **min_node,
                  int **max_node, int *ntris, int **connect, int *nconnect) {
    return trace_type<SheetWalk>(mesh, table, data, dtype, null_flag, null_value, xyz, level,
                                 {nnew, min_node, max_node, ntris, connect, nconnect});
}

CellList *UTILinit_cell_list(int count) {
    auto *list = static_cast<CellList *>(std::calloc(1, sizeof(CellList)));
    if (list && !add_block(list, count)) {
        UTILdelete_cell_list(list);
        return nullptr;
    }
    return list;
}

int UTILdelete_cell_list(CellList *list) {
    if (!list) return 1;
    for (int i = 0; i < list->nblocks; ++i) std::free(list->blocks[i]);
    std::free(list->blocks);
    std::free(list);
    return 1;
}

int UTILadd_cell_to_list(CellList *list, int count, const int *cells) {
    if (!list) return 0;
    for (int i = 0; i < count; ++i) {
        // The chain never runs empty: it is lengthened at its last node.
        if (!list->free->next && !add_block(list, kBlockCells)) return 0;
        CellNode *node = list->free;
        list->free = node->next;
        *node = {cells[i], list->top};
        list->top = node;
    }
    return 1;
}

int UTILrm_cell_from_list(CellList *list) {
    if (!list || !list->top) return 0;
    CellNode *node = list->top;
    list->top = node->next;
    node->next = list->free;
    list->free = node;
    return 1;
}

CellTable *UTILcell_table_create(int size, int total) {
    auto *table = static_cast<CellTable *>(std::calloc(1, sizeof(CellTable)));
    if (!table) return nullptr;
    table->size = std::max(size, 1);
    table->capacity = kBlockCells;
    table->scale = static_cast<float>(size) / static_cast<float>(total);
    table->head = allocate_cleared<int>(static_cast<std::size_t>(table->size)).release();
    table->next = allocate_working<int>(kBlockCells).release();
    table->value = allocate_working<int>(kBlockCells).release();
    if (table->head && table->next && table->value) return table;
    UTILcell_table_delete(table);
    return nullptr;
}

int UTILcell_table_delete(CellTable *table) {
    if (!table) return 1;
    std::free(table->head);
    std::free(table->next);
    std::free(table->value);
    std::free(table);
    return 1;
}

int UTILcell_table_add(CellTable *table, int cell) {
    if (!table) return 0;
    if (table->count == table->capacity) {
        if (table->capacity > std::numeric_limits<int>::max() - kBlockCells) return 0;
        const auto grown = static_cast<std::size_t>(table->capacity + kBlockCells);
        if (!grow_working(table->next, grown) || !grow_working(table->value, grown)) return 0;
        table->capacity += kBlockCells;
    }
    int &head = table->head[bucket_of(table, cell)];
    table->value[table->count] = cell;
    table->next[table->count] = head;
    head = ++table->count;
    return 1;
}

int UTILcell_in_table(const CellTable *table, int cell) {
    if (!table) return 0;
    for (int entry = table->head[bucket_of(table, cell)]; entry != 0; entry = table->next[entry - 1]) {
        if (table->value[entry - 1] == cell) return 1;
    }
    return 0;
}
