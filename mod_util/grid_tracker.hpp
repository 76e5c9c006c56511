// Search and evaluation along a path on uniform and rectilinear grids: what CellTracker is on other meshes.
#ifndef ISOFIELD_MOD_UTIL_GRID_TRACKER_HPP
#define ISOFIELD_MOD_UTIL_GRID_TRACKER_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "grid_cell.hpp"
#include "grid_places.hpp"
#include "vector_rows.hpp"

namespace isofield::detail {

// An axis that remembers where it looked last.
template <class Axis>
class TrackedAxis;

template <>
class TrackedAxis<UniformAxis> : public UniformAxis {
  public:
    using UniformAxis::UniformAxis;
};

template <>
class TrackedAxis<RectilinearAxis> : public RectilinearAxis {
  public:
    TrackedAxis(const MeshInfo *mesh, const float *points, int d) : RectilinearAxis(mesh, points, d) {
        for (int i = 0; i + 1 < lines(); ++i) increasing_ = increasing_ && line(i) < line(i + 1);
    }

    void place(float x, int &index, float &at) {
        const int last = lines() - 2;
        if (!increasing_ || !(x >= line(0) && x <= line(last + 1)))
            return RectilinearAxis::place(x, index, at);
        index = near_ = interval_near([this](int i) { return line(i); }, last, near_, x);
        at = place_of(x, line(index), line(index + 1));
    }

  private:
    bool increasing_ = true;
    int near_ = 0;
};

template <int kNdim, class Axis>
class GridTracker {
  public:
    // Whether the mesh is such a grid, which searches and evaluates by the library's own methods.
    static bool serves(MeshInfo *mesh, const VectorRows &rows) {
        const auto find = Axis::kRectilinear ? UTILfind_cell_rect : UTILfind_cell_unif;
        if (mesh->field_funcs->find_cell_func != find || !has_own_cells<kNdim>(mesh) || !rows.usable())
            return false;
        const float *points = fetch_points(mesh);
        for (int d = 0; d < kNdim && points; ++d) {
            if (Axis(mesh, points, d).flat()) return false;
        }
        return points != nullptr;
    }

    // Of a mesh that is served.
    GridTracker(const MeshInfo *mesh, const VectorRows &rows)
        : axes_(make_axes(mesh, std::make_index_sequence<kNdim>{})), rows_(rows) {
        for (std::size_t d = 1; d < kNdim; ++d) stride_[d] = stride_[d - 1] * mesh->dims[d - 1];
        corner_nodes(mesh->dims, 0, kNodes, offset_);
    }

    bool find(const float *xyz, int *cell, float *uvw) {
        *cell = -1;
        std::fill_n(uvw, 3, 0.0f);
        int corner = 0;
        for (std::size_t d = 0; d < kNdim; ++d) {
            if (!axes_[d].holds(xyz[d])) return false;
            int index = 0;
            axes_[d].place(xyz[d], index, uvw[d]);
            corner += index * stride_[d];
        }
        turn_to_cell_frame(kNdim, uvw);
        *cell = corner;
        return true;
    }

    // 1, or 0 in a cell with a null node.
    int evaluate(int cell, const float *uvw, float *vector) {
        if (cell != cell_) {
            int nodes[kNodes];
            for (int i = 0; i < kNodes; ++i) nodes[i] = cell + offset_[i];
            null_ = rows_.gather(nodes, kNodes, row_);
            cell_ = cell;
        }
        if (null_) return 0;
        float weights[kNodes];
        Cell::weights(uvw, weights);
        rows_.weigh(weights, kNodes, row_, vector);
        return 1;
    }

  private:
    using Cell = GridCell<kNdim>;
    static constexpr int kNodes = Cell::kNodes;
    using Axes = std::array<TrackedAxis<Axis>, kNdim>;

    template <std::size_t... kAxes>
    static Axes make_axes(const MeshInfo *mesh, std::index_sequence<kAxes...>) {
        return {TrackedAxis<Axis>(mesh, mesh->points, static_cast<int>(kAxes))...};
    }

    Axes axes_;
    const VectorRows &rows_;
    std::array<int, kNdim> stride_ = {1};
    int offset_[kNodes];  // of a cell's nodes

    int cell_ = -1;  // whose nodes' rows are at hand
    bool null_ = false;
    float row_[kNodes][4];
};

}  // namespace isofield::detail
#endif
