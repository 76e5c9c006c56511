// Access to a mesh: the caching fetch of coordinates, points and connectivity; the set of a cell; nodes and
// corners of grids; node coordinates of uniform and rectilinear grids.
#ifndef ISOFIELD_MOD_UTIL_MESH_ACCESS_HPP
#define ISOFIELD_MOD_UTIL_MESH_ACCESS_HPP

#include <array>
#include <cstddef>
#include <limits>

#include "isofield.h"
#include "reports.hpp"

namespace isofield::detail {

// ---- Caching fetch: each returns the array, or null after a report. A word once fetched is never asked for
// again.

inline const float *fetch_coords(MeshInfo *mesh) {
    float *coords = mesh->coords;
    if (!coords && mesh->get_coords(mesh, &coords) < 1) {
        mesh->coords = nullptr;
        refuse("util", "unable to get field coordinates\n");
        return nullptr;
    }
    return mesh->coords = coords;
}

inline const float *fetch_points(MeshInfo *mesh) {
    float *points = mesh->points;
    if (!points && mesh->get_points(mesh, &points) < 1) {
        mesh->points = nullptr;
        refuse("util", "unable to get field points\n");
        return nullptr;
    }
    return mesh->points = points;
}

inline const int *fetch_cell_set(MeshInfo *mesh, int set) {
    int *connect = mesh->cell_connect[set];
    if (!connect && mesh->get_cell_set(mesh, set, &connect) < 1) {
        refuse("util", "unable to get cell set\n");
        return nullptr;
    }
    return mesh->cell_connect[set] = connect;
}

// ---- Cell sets

struct LocalCell {
    int set;   // negative: no set holds the cell
    int cell;  // number within the set
};

inline LocalCell find_local_cell(const MeshInfo *mesh, int cell) {
    LocalCell found{-1, 0};
    if (!UTILget_cell_id(mesh, cell, &found.cell, &found.set) || found.cell < 0) found.set = -1;
    return found;
}

// ---- Grids

// Quotients of node numbers by a fixed divisor, in loops that compilers turn into vector code. (n + 1/2) /
// divisor keeps away from whole numbers by more than the rounding of the product, so that truncating it is
// exact for every int n >= 0.
class Divider {
  public:
    explicit Divider(int divisor) : inverse_(1.0 / divisor) {}

    int operator()(int n) const { return static_cast<int>((n + 0.5) * inverse_); }

  private:
    double inverse_;
};

using GridIndex = std::array<int, 3>;

// Splits node numbers into indices along `naxes` axes; the last axis takes what is left, axes beyond stay 0.
class NodeSplitter {
  public:
    NodeSplitter(int naxes, const int *dims)
        : naxes_(naxes),
          dims_{naxes > 1 ? dims[0] : 1, naxes > 2 ? dims[1] : 1},
          by0_(dims_[0]),
          by1_(dims_[1]) {}

    GridIndex operator()(int node) const {
        if (naxes_ < 2) return {node, 0, 0};
        const int row = by0_(node);
        if (naxes_ == 2) return {node - row * dims_[0], row, 0};
        const int plane = by1_(row);
        return {node - row * dims_[0], row - plane * dims_[1], plane};
    }

    // The node behind the last one of the row that a node with this index stands in.
    int row_end(int node, const GridIndex &index) const {
        return naxes_ < 2 ? std::numeric_limits<int>::max() : node - index[0] + dims_[0];
    }

  private:
    int naxes_;
    std::array<int, 2> dims_;
    Divider by0_, by1_;
};

// The nodes of the grid cell with corner number c, in the order of the point evaluators: c+1, c, c+d0, c+d0+1
// and the same one plane up. The first `nnodes` (2, 4 or 8) are written.
inline void corner_nodes(const int *dims, int c, int nnodes, int *out) {
    out[0] = c + 1;
    out[1] = c;
    if (nnodes > 2) {
        out[2] = c + dims[0];
        out[3] = c + dims[0] + 1;
    }
    if (nnodes > 4) {
        const int plane = dims[0] * dims[1];
        for (int i = 0; i < 4; ++i) out[4 + i] = out[i] + plane;
    }
}

// Node coordinates of a uniform grid: axes(d, index). Axes from ndim on have the constant lower corner.
class UniformAxes {
  public:
    UniformAxes(int ndim, const int *dims, int nspace, const float *points) : ndim_(ndim), points_(points) {
        for (int d = 0; d < ndim; ++d) {
            step_[d] =
                dims[d] == 1 ? 0.0f : (points[nspace + d] - points[d]) / static_cast<float>(dims[d] - 1);
        }
    }

    // The coordinate of index i on axis d, which is below ndim.
    float on_axis(int d, int i) const { return points_[d] + step_[d] * static_cast<float>(i); }

    float operator()(int d, const GridIndex &index) const {
        return d < ndim_ ? on_axis(d, index[d]) : points_[d];
    }

  private:
    int ndim_;
    const float *points_;
    std::array<float, 3> step_{};
};

// The same of a rectilinear grid: axis d has rows of its own in `points`, its value in column d.
class RectilinearAxes {
  public:
    RectilinearAxes(int ndim, const int *dims, int nspace, const float *points)
        : ndim_(ndim), nspace_(nspace), points_(points) {
        for (int d = 1; d < ndim; ++d) first_row_[d] = first_row_[d - 1] + dims[d - 1];
    }

    float on_axis(int d, int i) const {
        return points_[static_cast<std::ptrdiff_t>(first_row_[d] + i) * nspace_ + d];
    }

    float operator()(int d, const GridIndex &index) const {
        return d < ndim_ ? on_axis(d, index[d]) : points_[d];
    }

  private:
    int ndim_;
    int nspace_;
    const float *points_;
    std::array<int, 3> first_row_{};
};

}  // namespace isofield::detail
#endif
