// Points in single cells: where a point lies in a cell, and what the data are at such a place.
#include <algorithm>
#include <cstddef>

#include "cell_geometry.hpp"
#include "grid_cell.hpp"
#include "grid_places.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

// ---- Places

int place_in_cell(MeshInfo *mesh, int cell, const float *xyz, int pretest, float tol, float *uvw,
                  FindCellNodes find_nodes) {
    const float *coords = fetch_coords(mesh);
    CellNodes nodes;
    if (!coords || !find_nodes(mesh, cell, nodes) || !nodes.funcs->rev_par_func) return 0;
    float node_xyz[3 * kMaxCellNodes];
    gather_coords(coords, mesh->nspace, nodes, node_xyz);
    if (pretest) {
        const Box box = box_of_gathered(node_xyz, nodes.nnodes);
        for (int d = 0; d < 3; ++d) {
            if (xyz[d] < box.min[d] - tol || xyz[d] > box.max[d] + tol) return 0;
        }
    }
    return nodes.funcs->rev_par_func(node_xyz, xyz, uvw);
}

// The place along one axis of the cell between the grid lines index and index + 1, from -1 to 1.
class UniformPlace {
  public:
    static constexpr bool kRectilinear = false;

    UniformPlace(const MeshInfo *mesh, const float *points) : mesh_(mesh), points_(points) {}

    float lower(int d, int) const { return points_[d]; }
    float operator()(int d, int index, float x) const {
        const float lo = points_[d];
        const float ratio = (x - lo) / (points_[mesh_->nspace + d] - lo);
        const float count = static_cast<float>(mesh_->dims[d] - 1);
        return static_cast<float>(static_cast<double>(ratio * count - static_cast<float>(index)) * 2.0 +
                                  -1.0);
    }

  private:
    const MeshInfo *mesh_;
    const float *points_;
};

class RectilinearPlace {
  public:
    static constexpr bool kRectilinear = true;

    RectilinearPlace(const MeshInfo *mesh, const float *points)
        : axes_(mesh->ndim, mesh->dims, mesh->nspace, points) {}

    float lower(int d, int index) const { return axes_.on_axis(d, index); }
    float operator()(int d, int index, float x) const {
        const float lo = axes_.on_axis(d, index), hi = axes_.on_axis(d, index + 1);
        return static_cast<float>(static_cast<double>((x - lo) / (hi - lo)) * 2.0 + -1.0);
    }

  private:
    RectilinearAxes axes_;
};

template <class Place>
int place_in_grid_cell(MeshInfo *mesh, int cell, const float *xyz, int pretest, float tol, float *uvw) {
    const float *points = fetch_points(mesh);
    if (!points || cell < 0 || cell >= mesh->nnodes) return 0;
    const Place place(mesh, points);
    const GridIndex index = NodeSplitter(mesh->ndim, mesh->dims)(cell);
    std::fill_n(uvw, 3, 0.0f);
    const double reach = 1.0 + static_cast<double>(tol);
    for (int d = 0; d < mesh->ndim; ++d) {
        const int i = index[static_cast<std::size_t>(d)];
        if (mesh->dims[d] == 1) {
            const float lo = place.lower(d, i);
            if (pretest && !(xyz[d] >= lo - tol && xyz[d] <= lo + tol)) return 0;
            continue;
        }
        if (Place::kRectilinear && i + 1 >= mesh->dims[d]) return 0;  // the grid's last line begins no cell
        uvw[d] = place(d, i, xyz[d]);
        const double value = uvw[d];
        if (pretest && !(value <= reach && value >= -1.0 - static_cast<double>(tol))) return 0;
    }
    const float *upper = far_corner(mesh, points, Place::kRectilinear);
    for (int d = mesh->ndim; pretest && d < mesh->nspace; ++d) {
        if (!(xyz[d] >= points[d] - tol && xyz[d] <= upper[d] + tol)) return 0;
    }
    turn_to_cell_frame(mesh->ndim, uvw);
    return 1;
}

// ---- Values

using ShapeFunc = void (*)(const float *uvw, float *out);

template <class T>
int form_values(const int *nodes, int nnodes, ShapeFunc shape_func, int veclen, const T *data,
                const void *null_value, int npts, const float *uvw, float *out) {
    const auto row_of = [&](int i) { return data + static_cast<std::ptrdiff_t>(nodes[i]) * veclen; };
    if (null_value) {
        const T null = *static_cast<const T *>(null_value);
        for (int i = 0; i < nnodes; ++i) {
            if (*row_of(i) != null) continue;
            float value;
            UTILtype_to_float(&value, null_value, kTypeCode<T>);
            std::fill_n(out, veclen, value);
            return 0;
        }
    }
    float weights[kMaxCellNodes];
    for (int p = 0; p < npts; ++p, uvw += 3, out += veclen) {
        shape_func(uvw, weights);
        for (int c = 0; c < veclen; ++c) {
            float sum = 0;
            for (int i = 0; i < nnodes; ++i) sum += weights[i] * static_cast<float>(row_of(i)[c]);
            out[c] = sum;
        }
    }
    return 1;
}

int values_in_cell(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
                   const void *null_value, int npts, const float *uvw, float *out, FindCellNodes find_nodes) {
    CellNodes nodes;
    if (!find_nodes(mesh, cell, nodes)) return 0;
    return UTILtesselate_cell_val(nodes.nodes, nodes.nnodes, nodes.funcs->shape_func, veclen, data, dtype,
                                  null_flag, null_value, npts, uvw, out);
}

}  // namespace

int UTILinterp_cell_uvw(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol, float *uvw) {
    return place_in_cell(mesh, cell, xyz, pretest, static_cast<float>(tol), uvw, find_cell_nodes);
}

int UTILinterp_cell_uvw_struct(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol,
                               float *uvw) {
    return place_in_cell(mesh, cell, xyz, pretest, static_cast<float>(tol), uvw, find_grid_cell_nodes);
}

int UTILinterp_cell_uvw_unif(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol,
                             float *uvw) {
    return place_in_grid_cell<UniformPlace>(mesh, cell, xyz, pretest, static_cast<float>(tol), uvw);
}

int UTILinterp_cell_uvw_rect(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol,
                             float *uvw) {
    return place_in_grid_cell<RectilinearPlace>(mesh, cell, xyz, pretest, static_cast<float>(tol), uvw);
}

int UTILinterp_cell_val(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
                        const void *null_value, int npts, const float *uvw, float *out) {
    return values_in_cell(mesh, cell, veclen, data, dtype, null_flag, null_value, npts, uvw, out,
                          find_cell_nodes);
}

int UTILinterp_cell_val_struct(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype,
                               int null_flag, const void *null_value, int npts, const float *uvw,
                               float *out) {
    return values_in_cell(mesh, cell, veclen, data, dtype, null_flag, null_value, npts, uvw, out,
                          find_grid_cell_nodes);
}

int UTILtesselate_cell_val(const int *connect, int nnodes, ShapeFunc shape_func, int veclen, const void *data,
                           int dtype, int null_flag, const void *null_value, int npts, const float *uvw,
                           float *out) {
    if (!shape_func || !data || veclen < 1 || nnodes > kMaxCellNodes) return 0;
    return visit_or_report(dtype, "UTILinterp", [&]<class T>(ElementTag<T>) {
        return form_values(connect, nnodes, shape_func, veclen, static_cast<const T *>(data),
                           null_flag ? null_value : nullptr, npts, uvw, out);
    });
}
