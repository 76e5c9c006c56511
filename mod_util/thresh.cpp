// The old nodes of bands and cuts: which nodes stay, as a map over a mesh or as a list that grows run by run.
#include "thresh.hpp"

namespace {

using namespace isofield::detail;

constexpr char kSideModule[] = "UTILnnode_thresh_struct";

}  // namespace

// ---- Between two levels

ISOFIELD_STAMP(UTILnode_thresh2, map_nodes,
               (int nnodes, const T *data, int null_flag, V null_value, V lo, V hi, int *map),
               (nnodes, data, InBand<T>(null_flag, null_value, lo, hi), map))
ISOFIELD_STAMP(UTILnnode_thresh_struct2, count_nodes,
               (int ndim, const int *dims, const T *data, int null_flag, V null_value, V lo, V hi),
               (ndim, dims, data, InBand<T>(null_flag, null_value, lo, hi)))
ISOFIELD_STAMP(UTILnode_thresh_struct2, list_nodes,
               (int n, const T *data, int null_flag, V null_value, V lo, V hi, int start, int *count,
                int *list, int *map),
               (n, data, InBand<T>(null_flag, null_value, lo, hi), start, count, list, map))

int UTILnode_thresh2(int nnodes, int dtype, const void *data, int null_flag, const void *null_value,
                     double lo, double hi, int *map) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            const InBand<T> kept(null_flag, load_scalar<T>(null_flag, null_value), limit_of<T>(lo),
                                 limit_of<T>(hi));
            return map_nodes(nnodes, static_cast<const T *>(data), kept, map);
        },
        [nnodes] { return nnodes; });
}

// ---- On one side of a level

ISOFIELD_STAMP(UTILnode_thresh, map_nodes,
               (int nnodes, const T *data, int null_flag, V null_value, double level, int side, int *map),
               (nnodes, data, OnSide<T>(null_flag, null_value, level, side), map))
ISOFIELD_STAMP(UTILnnode_thresh_struct, count_nodes,
               (int ndim, const int *dims, const T *data, int null_flag, V null_value, double level,
                int side),
               (ndim, dims, data, OnSide<T>(null_flag, null_value, level, side)))
ISOFIELD_STAMP(UTILnode_thresh_struct, list_nodes,
               (int n, const T *data, int null_flag, V null_value, double level, int side, int start,
                int *count, int *list, int *map),
               (n, data, OnSide<T>(null_flag, null_value, level, side), start, count, list, map))

int UTILnode_thresh(int nnodes, int dtype, const void *data, int null_flag, const void *null_value,
                    double level, int side, int *map) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            const OnSide<T> kept(null_flag, load_scalar<T>(null_flag, null_value), level, side);
            return map_nodes(nnodes, static_cast<const T *>(data), kept, map);
        },
        [nnodes] { return nnodes; });
}

int UTILnnode_thresh_struct(int ndim, const int *dims, const void *data, int dtype, int null_flag,
                            const void *null_value, double level, int side) {
    return visit_or_report(dtype, kSideModule, [&]<class T>(ElementTag<T>) {
        const OnSide<T> kept(null_flag, load_scalar<T>(null_flag, null_value), level, side);
        return count_nodes(ndim, dims, static_cast<const T *>(data), kept);
    });
}

int UTILnode_thresh_struct(int n, const void *data, int dtype, int null_flag, const void *null_value,
                           double level, int side, int start, int *count, int *list, int *map) {
    return visit_or_report(dtype, kSideModule, [&]<class T>(ElementTag<T>) {
        const OnSide<T> kept(null_flag, load_scalar<T>(null_flag, null_value), level, side);
        return list_nodes(n, static_cast<const T *>(data), kept, start, count, list, map);
    });
}
