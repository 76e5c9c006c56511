// Structured connectivity, and the coordinates of uniform and rectilinear grids.
#include <cstdio>

#include "mesh_access.hpp"

namespace {

using isofield::detail::GridIndex;
using isofield::detail::NodeSplitter;
using isofield::detail::RectilinearAxes;
using isofield::detail::UniformAxes;

// Writes components comp_first to comp_end - 1 of a run of nodes. Component d stands at d within its row, not
// at d - comp_first, so that the output begins comp_first places into `out`.
template <class Axes>
void write_coords(const Axes &axes, const NodeSplitter &split, int first, int end, int comp_first,
                  int comp_end, float *out) {
    const int width = comp_end - comp_first;
    for (int node = first; node < end; ++node, out += width) {
        const GridIndex index = split(node);
        for (int d = comp_first; d < comp_end; ++d) out[d] = axes(d, index);
    }
}

// The lowest node of the packed cell `cell`.
int lowest_node(int ndim, const int *dims, int cell) {
    if (ndim == 1) return cell;
    const int per_row = dims[0] - 1;
    const int k = ndim == 3 ? cell / (per_row * (dims[1] - 1)) : 0;
    const int in_plane = ndim == 3 ? cell - k * per_row * (dims[1] - 1) : cell;
    const int j = in_plane / per_row;
    return (ndim == 3 ? k * dims[0] * dims[1] : 0) + j * dims[0] + (in_plane - j * per_row);
}

}  // namespace

int UTILget_connect_struct(int ndim, const int *dims, int first, int end, int *out) {
    if (ndim < 1 || ndim > 3) {
        std::fprintf(stderr, "get_connect_struct: cannot compute connect for ndim %d\n", ndim);
        return 0;
    }
    for (int cell = first; cell < end; ++cell) {
        const int base = lowest_node(ndim, dims, cell);
        *out++ = base;
        *out++ = base + 1;
        if (ndim == 1) continue;
        *out++ = base + 1 + dims[0];
        *out++ = base + dims[0];
        if (ndim == 2) continue;
        const int plane = dims[0] * dims[1];
        for (int i = 0; i < 4; ++i, ++out) *out = out[-4] + plane;
    }
    return 1;
}

int UTILget_coords_unif(int ndim, const int *dims, int nspace, const float *points, int first, int end,
                        int comp_first, int comp_end, float *out) {
    write_coords(UniformAxes(ndim, dims, nspace, points), NodeSplitter(ndim, dims), first, end, comp_first,
                 comp_end, out);
    return 1;
}

int UTILget_coords_rect(int ndim, const int *dims, int nspace, const float *points, int first, int end,
                        int comp_first, int comp_end, float *out) {
    write_coords(RectilinearAxes(ndim, dims, nspace, points), NodeSplitter(nspace, dims), first, end,
                 comp_first, comp_end, out);
    return 1;
}
