// Bands of grids: a sweep over layers (grid_split.hpp), which places the new nodes of each layer while the
// coordinates of its two planes are at hand.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

#include "grid_split.hpp"
#include "reports.hpp"
#include "thresh.hpp"

namespace {

using namespace isofield::detail;

constexpr CellArrayTraits kTraits = {.unit = "mod_util/contour_str", .step = 1000};

// A scalar on the nodes of a grid, in one of six types.
struct Scalar {
    const void *data;
    int dtype;
    int null_flag;
    const void *null_value;
    double lo, hi;

    // Calls work(values, test) in the data's type.
    template <class Work>
    int with_test(Work work) const {
        return visit(
            dtype,
            [&]<class T>(ElementTag<T>) {
                const InBand<T> test(null_flag, load_scalar<T>(null_flag, null_value), limit_of<T>(lo),
                                     limit_of<T>(hi));
                return work(static_cast<const T *>(data), test);
            },
            [] { return 0; });
    }
};

// The coordinates of a band's rows, made layer by layer.
class BandCoords {
  public:
    BandCoords(MeshInfo *mesh, const Scalar &scalar, int ndim, int nspace, int layer, int nold)
        : mesh_(mesh),
          scalar_(scalar),
          ndim_(ndim),
          nspace_(nspace),
          layer_(layer),
          nold_(nold),
          coords_(kTraits.unit, kTraits.step * nspace) {}

    bool create() {
        window_ = allocate_working<float>(2 * static_cast<std::size_t>(layer_ * nspace_));
        return window_ && load(0) && coords_.create() && reserve(0);
    }

    // Asks for the coordinates of plane k, which follows on the one asked for last.
    bool load(int k) {
        float *plane = window_.get() + (k > 0 ? layer_ * std::ptrdiff_t{nspace_} : 0);
        if (k > 1) std::copy_n(plane, layer_ * nspace_, window_.get());
        const int last = ndim_ - 1;
        std::array<int, 3> min = {0, 0, 0}, max = {1, 1, 1};
        for (int d = 0; d < last; ++d) max[static_cast<std::size_t>(d)] = mesh_->dims[d];
        min[static_cast<std::size_t>(last)] = k;
        max[static_cast<std::size_t>(last)] = k + 1;
        if (mesh_->get_sub_coords(mesh_, min.data(), max.data(), plane) >= 1) return true;
        refuse("util", "unable to get field sub-coordinates\n");
        return false;
    }

    // Places the new nodes that layer k has brought.
    bool place(int k, const EdgeTable2Str *table) {
        const int fresh = table->count - nplaced_;
        if (fresh == 0) return true;
        if (!reserve(table->count)) return false;
        const auto *flags = reinterpret_cast<const char *>(table->level_flag);
        UTILeval_contour(mesh_->nnodes, fresh, nplaced_, scalar_.dtype, scalar_.data, scalar_.lo, scalar_.hi,
                         table->min_node, table->max_node, flags, nspace_, kTypeCode<float>, 0, nullptr,
                         k * layer_ * nspace_, window_.get(),
                         coords_.data() + (std::ptrdiff_t{nold_} + nplaced_) * nspace_);
        nplaced_ = table->count;
        return true;
    }

    // Places the old nodes, and hands the coordinates over; null where there is no row.
    bool finish(const int *list, float **out) {
        if (nold_ > 0 && !UTILget_coord_list(mesh_, nold_, list, coords_.data())) return false;
        *out = nold_ + nplaced_ > 0 ? coords_.release() : nullptr;
        return true;
    }

  private:
    bool reserve(std::int64_t nnew) { return coords_.reserve(nspace_ * (nold_ + nnew)); }

    MeshInfo *mesh_;
    const Scalar &scalar_;
    int ndim_, nspace_, layer_, nold_;
    int nplaced_ = 0;
    OutputArray<float> coords_;
    Working<float> window_;
};

void empty_results(int *nold, int **node_map, int *nnew, int **min_node, int **max_node, char **level_flag,
                   float **coords) {
    *nold = *nnew = 0;
    *node_map = *min_node = *max_node = nullptr;
    *level_flag = nullptr;
    *coords = nullptr;
}

template <class Kind>
int contour_grid(MeshInfo *mesh, const Scalar &scalar, int *nold, int **node_map, int *nnew, int **min_node,
                 int **max_node, char **level_flag, int *ncells, int **connect, int *connect_size, int nspace,
                 float **coords, int *nlines_lo, int **lines_lo, int *nlines_hi, int **lines_hi) {
    constexpr int kDim = Kind::kVolume ? 3 : 2;
    empty_results(nold, node_map, nnew, min_node, max_node, level_flag, coords);
    *lines_lo = *lines_hi = nullptr;
    if (Kind::kVolume) *nlines_lo = *nlines_hi = 0;
    OwnedCellArrays cells(kTraits, ncells, connect, connect_size);
    CellLists no_lists(kTraits, nullptr, nullptr);
    LineList lower_lines(nlines_lo, lines_lo, kTraits.unit), upper_lines(nlines_hi, lines_hi, kTraits.unit);
    const auto fail = [&] {
        lower_lines.free();
        upper_lines.free();
        return 0;
    };
    if (!cells.arrays.create() || !lower_lines.create() || !upper_lines.create()) return fail();

    const int nkept = scalar.with_test(
        [mesh](const auto *values, const auto &test) { return count_nodes(kDim, mesh->dims, values, test); });
    const int layer = plane_size<Kind>(mesh);
    Working<int> list = nkept > 0 ? allocate_working<int>(static_cast<std::size_t>(nkept)) : nullptr;
    // Places in the coordinates are counted by ints.
    const bool countable = std::int64_t{mesh->nnodes} * nspace <= std::numeric_limits<int>::max();
    std::unique_ptr<EdgeTable2Str, DeleteTable> table(UTILedge_table2_create_str(2 * layer, kTraits.step));
    if ((nkept > 0 && !list) || !table || !countable) return fail();
    BandCoords band_coords(mesh, scalar, kDim, nspace, layer, nkept);
    if (!band_coords.create()) return fail();

    GridSplit<Kind, EdgeTable2Str> sweep(mesh, scalar.null_flag != 0, nkept, table.get(),
                                         {cells.arrays, no_lists, lower_lines, upper_lines});
    int count = 0;
    const auto load = [&](int k, GridPlane &plane) {
        if (k > 0 && !band_coords.load(k)) return 0;
        return scalar.with_test([&](const auto *values, const auto &test) {
            values += std::ptrdiff_t{k} * layer;
            const auto mask_above = [&](double level, int inclusive, const auto &mask) {
                UTILthreshold_scalar(layer, values, scalar.dtype, 0, nullptr, inclusive, level, 0, kHolds, 0,
                                     mask.get());
            };
            mask_above(scalar.lo, 1, plane.lower);
            mask_above(scalar.hi, 0, plane.above);
            if (scalar.null_flag) {
                mask_nulls(layer, values, scalar.dtype, scalar.null_value, plane.null.get());
            }
            return list_nodes(layer, values, test, k * layer, &count, list.get(), plane.rows.get());
        });
    };
    const auto end_layer = [&](int k) { return band_coords.place(k, table.get()); };
    if (!sweep.run(load, end_layer) || !band_coords.finish(list.get(), coords)) {
        return fail();
    }
    UTILedge_table2_free_str(table.release(), min_node, max_node, nnew, level_flag);
    cells.hand_over(UnusedWords::kNull);
    *nold = nkept;
    *node_map = list.release();
    return 1;
}

template <class T, class... Results>
int contour_2d(MeshInfo *mesh, const T *data, int null_flag, T null_value, double lo, double hi,
               Results... results) {
    return contour_grid<Quad>(mesh, {data, kTypeCode<T>, null_flag, &null_value, lo, hi}, results...);
}

template <class T, class... Results>
int contour_3d(MeshInfo *mesh, const T *data, int null_flag, T null_value, double lo, double hi,
               Results... results) {
    return contour_grid<Hex>(mesh, {data, kTypeCode<T>, null_flag, &null_value, lo, hi}, results...);
}

}  // namespace

#define ISOFIELD_MEMBERS(NAME, FUNCTION)                                                                     \
    ISOFIELD_STAMP(NAME, FUNCTION,                                                                           \
                   (MeshInfo * mesh, const T *data, int null_flag, V null_value, double lo, double hi,       \
                    int *nold, int **node_map, int *nnew, int **min_node, int **max_node, char **level_flag, \
                    int *ncells, int **connect, int *connect_size, int nspace, float **coords,               \
                    int *nlines_lo, int **lines_lo, int *nlines_hi, int **lines_hi),                         \
                   (mesh, data, null_flag, static_cast<T>(null_value), lo, hi, nold, node_map, nnew,         \
                    min_node, max_node, level_flag, ncells, connect, connect_size, nspace, coords,           \
                    nlines_lo, lines_lo, nlines_hi, lines_hi))
ISOFIELD_MEMBERS(UTILcontour_struct_2d, contour_2d)
ISOFIELD_MEMBERS(UTILcontour_struct_3d, contour_3d)
#undef ISOFIELD_MEMBERS

int UTILcontour_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                       double lo, double hi, int *nold, int **node_map, int *nnew, int **min_node,
                       int **max_node, char **level_flag, int *ncells, int **connect, int *connect_size,
                       int nspace, float **coords, int *nlines_lo, int **lines_lo, int *nlines_hi,
                       int **lines_hi) {
    const Scalar scalar{data, dtype, null_flag, null_value, lo, hi};
    const auto contour = mesh->ndim == 3 ? contour_grid<Hex> : contour_grid<Quad>;
    if ((mesh->ndim == 2 || mesh->ndim == 3) && is_type(dtype)) {
        return contour(mesh, scalar, nold, node_map, nnew, min_node, max_node, level_flag, ncells, connect,
                       connect_size, nspace, coords, nlines_lo, lines_lo, nlines_hi, lines_hi);
    }
    empty_results(nold, node_map, nnew, min_node, max_node, level_flag, coords);
    empty_cells(ncells, connect, connect_size);
    *nlines_lo = *nlines_hi = 0;
    *lines_lo = *lines_hi = nullptr;
    return 0;
}
