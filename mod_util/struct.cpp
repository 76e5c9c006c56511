// Structured connectivity, and the coordinates of uniform and rectilinear grids.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

#include "mesh_access.hpp"

namespace {

using namespace isofield::detail;

// Writes components comp_first to comp_end - 1 of a run of nodes. Component d stands at d within its row, not
// at d - comp_first, so that the output begins comp_first places into `out`.
template <class Axes>
void write_coords(const Axes &axes, const NodeSplitter &split, int first, int end, int comp_first,
                  int comp_end, float *out) {
    const int width = comp_end - comp_first;
    for (int node = first, row_end; node < end; node = row_end) {
        GridIndex index = split(node);
        row_end = std::min(end, split.row_end(node, index));
        // Along a row only component 0 changes.
        std::array<float, 3> row{};
        for (int d = comp_first; d < comp_end; ++d) row[static_cast<std::size_t>(d)] = axes(d, index);
        for (int n = node; n < row_end; ++n, ++index[0], out += width) {
            if (comp_first < 1) row[0] = axes(0, index);
            for (int d = comp_first; d < comp_end; ++d) out[d] = row[static_cast<std::size_t>(d)];
        }
    }
}

// The lowest nodes of consecutive packed cells.
class CellWalk {
  public:
    CellWalk(int ndim, const int *dims, int cell)
        : row_(ndim > 1 ? dims[0] - 1 : 0), column_(ndim > 2 ? dims[1] - 1 : 0), skip_(dims[0]) {
        if (row_ == 0) {
            node_ = cell;
            return;
        }
        const int k = column_ > 0 ? cell / (row_ * column_) : 0;
        j_ = cell / row_ - k * column_;
        i_ = cell % row_;
        node_ = k * dims[0] * (column_ + 1) + j_ * dims[0] + i_;
    }

    int node() const { return node_; }

    void next() {
        ++node_;
        if (row_ == 0 || ++i_ < row_) return;
        i_ = 0;
        ++node_;  // the last node of a row begins no cell, nor does the last row of a plane
        if (column_ == 0 || ++j_ < column_) return;
        j_ = 0;
        node_ += skip_;
    }

  private:
    int row_, column_;  // cells of a row, and rows of a plane; 0 where there is but one
    int skip_;
    int i_ = 0, j_ = 0, node_ = 0;
};

}  // namespace

int UTILget_connect_struct(int ndim, const int *dims, int first, int end, int *out) {
    if (ndim < 1 || ndim > 3) {
        std::fprintf(stderr, "get_connect_struct: cannot compute connect for ndim %d\n", ndim);
        return 0;
    }
    if (first >= end) return 1;
    const int row = dims[0], plane = ndim == 3 ? dims[0] * dims[1] : 0;
    CellWalk walk(ndim, dims, first);
    for (int cell = first; cell < end; ++cell, walk.next()) {
        const int base = walk.node();
        *out++ = base;
        *out++ = base + 1;
        if (ndim == 1) continue;
        *out++ = base + 1 + row;
        *out++ = base + row;
        if (ndim == 2) continue;
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
