// Probing: node and cell data at points anywhere in a mesh.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <type_traits>

#include "grid_cell.hpp"
#include "grid_sampler.hpp"
#include "mesh_access.hpp"
#include "progress.hpp"
#include "reports.hpp"
#include "spatial_order.hpp"
#include "types.hpp"
#include "working_array.hpp"

namespace {

using namespace isofield::detail;

// The points of a call.
struct Probe {
    int npoints;
    const float *points;
    int nspace;
    const float *xform;
    MeshInfo *mesh;
    BlockTable *table;

    // Where point i lies in the mesh, three components.
    void position(int i, float *xyz) const {
        const float *point = points + static_cast<std::ptrdiff_t>(i) * nspace;
        if (nspace >= 3) {
            std::copy_n(point, 3, xyz);
        } else {
            for (int d = 0; d < 3; ++d) xyz[d] = d < nspace ? point[d] : 0.0f;
        }
        if (xform) MATvec3_mat4_multiply(xyz, xform);
    }
};

// ---- Slots that hold one element each, of whatever type

constexpr std::ptrdiff_t kSlotBytes = 8;

template <class T>
T load_slot(const void *slots, int i) {
    T value;
    std::memcpy(&value, static_cast<const char *>(slots) + kSlotBytes * i, sizeof value);
    return value;
}

template <class T>
void store_slot(void *slots, int i, T value) {
    std::memcpy(static_cast<char *>(slots) + kSlotBytes * i, &value, sizeof value);
}

// What marks points without values in data that have no null value: for scalars a value above all others.
template <class T>
T made_null(int veclen, const void *range_high, int i) {
    if (veclen > 1) return T{};
    const T high = load_slot<T>(range_high, i);
    if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(std::int64_t{high} + 1);
    } else {
        return static_cast<T>(static_cast<double>(high) + 1.0);
    }
}

// ---- The walk over the points

// The order in which to visit points: along a curve through the search table's box, so that one search finds
// in the cache what the last one read. Nothing where it makes no difference or there is no memory for it.
Working<int> visiting_order(const Probe &probe) {
    constexpr int kFew = 2048;
    if (!probe.table || probe.npoints < kFew || probe.mesh->field_funcs->find_cell_func != UTILfind_cell)
        return {};
    const auto count = static_cast<std::size_t>(probe.npoints);
    const auto items = allocate_working<CurveItem>(count), scratch = allocate_working<CurveItem>(count);
    auto order = allocate_working<int>(count);
    if (!items || !scratch || !order) return {};
    const CurveCoder code(probe.table->min, probe.table->max);
    for (int i = 0; i < probe.npoints; ++i) {
        float xyz[3];
        probe.position(i, xyz);
        items[static_cast<std::size_t>(i)] = {code(xyz), i};
    }
    sort_by_code(items.get(), scratch.get(), count);
    for (std::size_t i = 0; i < count; ++i) order[i] = items[i].item;
    return order;
}

// Finds the cell of point i and hands it to the visitor: found(i, cell, uvw), or missed(i).
template <class Visitor>
void visit_point(const Probe &probe, int i, Visitor &visitor) {
    float xyz[3], uvw[3] = {0, 0, 0};
    int cell = -1;
    probe.position(i, xyz);
    if (probe.mesh->field_funcs->find_cell_func(probe.mesh, probe.table, xyz, &cell, uvw) == 1) {
        visitor.found(i, cell, uvw);
    } else {
        visitor.missed(i);
    }
}

// False when interrupted.
template <class Visitor>
bool visit_points(const Probe &probe, Visitor &visitor) {
    constexpr int kAhead = 4;  // points asked for before they are needed
    const Working<int> order = visiting_order(probe);
    const StatusRange range(0, 100);
    Poll poll(probe.npoints, kCellPollPeriod);
    for (int n = 0; n < probe.npoints; ++n) {
        if (poll.stop(n)) return false;
        if (order && n + kAhead < probe.npoints) {
            const int ahead = order[static_cast<std::size_t>(n + kAhead)];
            __builtin_prefetch(probe.points + static_cast<std::ptrdiff_t>(ahead) * probe.nspace);
        }
        visit_point(probe, order ? order[static_cast<std::size_t>(n)] : n, visitor);
    }
    poll_status(100);
    return true;
}

// ---- Node data

template <class T>
struct Arrays {
    int count;
    const int *veclens;
    const T *const *data;
    const int *null_flags;
    void *null_values;  // slots
    int *missing;       // per array: null was written
    T *const *outs;

    T null_value(int a) const { return load_slot<T>(null_values, a); }
    T *row(int a, int point) const { return outs[a] + static_cast<std::ptrdiff_t>(point) * veclens[a]; }
    void write_null(int a, int point) const {
        missing[a] = 1;
        std::fill_n(row(a, point), std::max(veclens[a], 0), null_value(a));
    }
};

template <class T>
struct ValueWriter {
    const Probe &probe;
    const Arrays<T> &arrays;
    float *sample;  // room for a row of the widest array

    void missed(int point) const {
        for (int a = 0; a < arrays.count; ++a) arrays.write_null(a, point);
    }

    void found(int point, int cell, const float *uvw) const {
        const auto interp_data = probe.mesh->field_funcs->interp_data_func;
        for (int a = 0; a < arrays.count; ++a) {
            const int veclen = arrays.veclens[a];
            const T null = arrays.null_value(a);
            if (interp_data(probe.mesh, cell, veclen, arrays.data[a], kTypeCode<T>, arrays.null_flags[a],
                            &null, 1, uvw, sample) == 1) {
                std::transform(sample, sample + veclen, arrays.row(a, point), truncated<T, float>);
            } else {
                arrays.write_null(a, point);
            }
        }
    }
};

// The same on grids that a sampler serves, a block of points between two polls.
template <class T, int kNdim, class Finder>
bool sample_blocks(const ValueWriter<T> &writer, const GridSampler<kNdim, Finder> &sampler) {
    const Probe &probe = writer.probe;
    const Arrays<T> &arrays = writer.arrays;
    const StatusRange range(0, 100);
    PlacedBlock<kNdim> block;
    for (int done = 0, end; done < probe.npoints; done = end) {
        if (done > 0 && poll_status(percent_of(done, probe.npoints))) return false;
        end = next_poll(done, probe.npoints);
        block.count = end - done;
        for (int i = 0; i < block.count; ++i) {
            float xyz[3];
            probe.position(done + i, xyz);
            for (int d = 0; d < kNdim; ++d) block.x[d][i] = xyz[d];
        }
        if (!sampler.place(block)) {
            for (int i = done; i < end; ++i) visit_point(probe, i, writer);
            continue;
        }
        for (int a = 0; a < arrays.count; ++a) {
            if (sampler.sample(block, arrays.veclens[a], arrays.data[a], arrays.null_flags[a] != 0,
                               arrays.null_value(a), arrays.row(a, done))) {
                arrays.missing[a] = 1;
            }
        }
    }
    poll_status(100);
    return true;
}

template <class T>
bool all_readable(const Arrays<T> &arrays) {
    for (int a = 0; a < arrays.count; ++a) {
        if (arrays.veclens[a] < 1 || !arrays.data[a]) return false;
    }
    return true;
}

// Tries a sampler. Nothing when the grid is not one for it, or whether the points went through.
template <int kNdim, class Finder, class T>
std::optional<bool> try_blocks(const ValueWriter<T> &writer) {
    MeshInfo *mesh = writer.probe.mesh;
    if (!has_own_cells<kNdim>(mesh) || !all_readable(writer.arrays)) return {};
    float *points = mesh->points;
    if (!points && mesh->get_points(mesh, &points) < 1) return {};  // for the plain search to report
    mesh->points = points;
    GridSampler<kNdim, Finder> sampler;
    if (!sampler.create(mesh, points)) return {};
    return sample_blocks(writer, sampler);
}

template <class T>
bool sample_points(const ValueWriter<T> &writer) {
    const auto find_cell = writer.probe.mesh->field_funcs->find_cell_func;
    std::optional<bool> went;
    if (find_cell == UTILfind_cell_unif) {
        went = try_blocks<3, UniformFinder>(writer);
        if (!went) went = try_blocks<2, UniformFinder>(writer);
    } else if (find_cell == UTILfind_cell_rect) {
        went = try_blocks<3, RectilinearFinder>(writer);
        if (!went) went = try_blocks<2, RectilinearFinder>(writer);
    }
    return went ? *went : visit_points(writer.probe, writer);
}

template <class T>
int interpolate_data(const Probe &probe, int narrays, const int *veclens, const T *const *data,
                     const void *range_high, int *null_flags, void *null_values, T *const *outs) {
    const FieldFuncs &funcs = *probe.mesh->field_funcs;
    if (!funcs.find_cell_func || !funcs.interp_data_func) return tell_no_search();
    const auto count = static_cast<std::size_t>(std::max(narrays, 0));
    const int widest = narrays > 0 ? *std::max_element(veclens, veclens + narrays) : 0;
    const auto missing = allocate_working<int>(count);
    const auto sample = allocate_working<float>(static_cast<std::size_t>(std::max(widest, 0)));
    if (!missing || !sample) return 0;
    std::copy_n(null_flags, count, missing.get());
    for (int a = 0; a < narrays; ++a) {
        if (null_flags[a] == 0) store_slot(null_values, a, made_null<T>(veclens[a], range_high, a));
    }
    const Arrays<T> arrays = {narrays, veclens, data, null_flags, null_values, missing.get(), outs};
    if (!sample_points(ValueWriter<T>{probe, arrays, sample.get()})) return 0;
    std::copy_n(missing.get(), count, null_flags);
    return 1;
}

// ---- Cell data

template <class T>
struct RowCopier {
    const Probe &probe;
    const int *set_map;
    int veclen;
    const T *const *cell_arrays;
    T null;
    T *out;
    int missing;  // null was written

    T *row(int point) const { return out + static_cast<std::ptrdiff_t>(point) * veclen; }

    void missed(int point) {
        missing = 1;
        std::fill_n(row(point), veclen, null);
    }

    void found(int point, int cell, const float *) {
        const LocalCell local = find_local_cell(probe.mesh, cell);
        if (local.set < 0 || set_map[local.set] < 0) return missed(point);
        const T *rows = cell_arrays[set_map[local.set]];
        std::copy_n(rows + static_cast<std::ptrdiff_t>(local.cell) * veclen, veclen, row(point));
    }
};

template <class T>
int interpolate_cell_data(const Probe &probe, const int *set_map, int veclen, const T *const *cell_arrays,
                          const void *range_high, int *null_flag, void *null_value, T *out) {
    if (!probe.mesh->field_funcs->find_cell_func) return tell_no_search();
    if (*null_flag == 0) store_slot(null_value, 0, made_null<T>(veclen, range_high, 0));
    RowCopier<T> copier = {probe, set_map, veclen, cell_arrays, load_slot<T>(null_value, 0), out, *null_flag};
    if (!visit_points(probe, copier)) return 0;
    *null_flag = copier.missing;
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILinterpolate_data, interpolate_data,
               (int npoints, const float *points, int nspace, const float *xform, MeshInfo *mesh,
                BlockTable *table, int narrays, const int *veclens, const T *const *arrays, const void *,
                const void *range_high, int *null_flags, void *null_values, T *const *outs),
               ({npoints, points, nspace, xform, mesh, table}, narrays, veclens, arrays, range_high,
                null_flags, null_values, outs))

int UTILinterpolate_data(int npoints, const float *points, int nspace, const float *xform, MeshInfo *mesh,
                         BlockTable *table, int narrays, int dtype, const int *veclens,
                         const void *const *arrays, const void *, const void *range_high, int *null_flags,
                         void *null_values, void *const *outs) {
    return visit_or_report(dtype, "UTILinterpolate_data", [&]<class T>(ElementTag<T>) {
        return interpolate_data({npoints, points, nspace, xform, mesh, table}, narrays, veclens,
                                reinterpret_cast<const T *const *>(arrays), range_high, null_flags,
                                null_values, reinterpret_cast<T *const *>(outs));
    });
}

ISOFIELD_STAMP(UTILinterpolate_cell_data, interpolate_cell_data,
               (int npoints, const float *points, int nspace, const float *xform, MeshInfo *mesh,
                BlockTable *table, const int *set_map, int veclen, const T *const *cell_arrays, const void *,
                const void *range_high, int *null_flag, void *null_value, T *out),
               ({npoints, points, nspace, xform, mesh, table}, set_map, veclen, cell_arrays, range_high,
                null_flag, null_value, out))

int UTILinterpolate_cell_data(int npoints, const float *points, int nspace, const float *xform,
                              MeshInfo *mesh, BlockTable *table, const int *set_map, int dtype, int veclen,
                              const void *const *cell_arrays, const void *, const void *range_high,
                              int *null_flag, void *null_value, void *out) {
    return visit_or_report(dtype, "UTILinterpolate_cell_data", [&]<class T>(ElementTag<T>) {
        return interpolate_cell_data({npoints, points, nspace, xform, mesh, table}, set_map, veclen,
                                     reinterpret_cast<const T *const *>(cell_arrays), range_high, null_flag,
                                     null_value, static_cast<T *>(out));
    });
}
