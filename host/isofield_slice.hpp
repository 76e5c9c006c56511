// Part of isofield.hpp: plane slices of grids, which Mesh::plane_slice makes.
#ifndef ISOFIELD_SLICE_HPP
#define ISOFIELD_SLICE_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_part.hpp"

namespace isofield {

// The result of Mesh::plane_slice: a regular grid of points on a plane, where the plane meets the grid lines
// along one axis. Owns its arrays; outlives its mesh. Moves, does not copy.
class PlaneSlice {
  public:
    PlaneSlice(PlaneSlice &&) = default;
    PlaneSlice &operator=(PlaneSlice &&) = default;

    std::array<int, 2> dims() const { return dims_; }  // the first runs fastest
    std::size_t npoints() const { return points_.size() / 3; }
    std::span<const float> points() const { return points_; }  // npoints x 3, of those outside too
    std::span<const unsigned char> inside() const { return inside_.view(); }  // 1 in the mesh, else 0
    std::size_t ninside() const { return ninside_; }

    // Carries node data of the mesh over: npoints() x components, linear along the grid lines, in float. NaN
    // outside, and between nodes of which one is missing: the null in the first component, or NaN or
    // infinite. Throws BadInput.
    std::vector<float> carry(const DataView &data, std::optional<double> null_value = {}) const {
        front::check_rows(data, nnodes_, "nodes");
        const front::FloatValues values(data, null_value);
        std::vector<float> out(npoints() * static_cast<std::size_t>(data.components()),
                               std::numeric_limits<float>::quiet_NaN());
        const front::Call call;
        call.check(UTILeval_param(static_cast<int>(npoints()), data.components(),
                                  static_cast<int>(ElementType::kFloat), values.view().data(), 0, nullptr,
                                  min_node_.data(), max_node_.data(), weights_.data(), out.data()),
                   "carry");
        return out;
    }

  private:
    friend class Mesh;

    PlaneSlice(MeshInfo &mesh, const std::array<double, 3> &normal, double distance)
        : nnodes_(static_cast<std::size_t>(mesh.nnodes)) {
        check(mesh, distance);
        const std::array<double, 3> unit = std::get<Plane>(front::checked(Plane{{}, normal})).normal;
        const float direction[] = {static_cast<float>(unit[0]), static_cast<float>(unit[1]),
                                   static_cast<float>(unit[2])};
        const front::Call call;
        float *grid = nullptr, *places = nullptr, *weights = nullptr;
        int *min_node = nullptr, *max_node = nullptr;
        unsigned char *inside = nullptr;
        call.check(mesh.get_points(&mesh, &grid), "plane_slice");
        std::array<float, 16> frame = {};
        const int result = UTILrslice(&mesh, mesh.dims, grid, direction, distance, dims_.data(), &places, 3,
                                      frame.data(), &min_node, &max_node, &weights, &inside);
        const auto nu = static_cast<std::size_t>(dims_[0]), npoints = nu * static_cast<std::size_t>(dims_[1]);
        const bool is_uniform = mesh.field_funcs->rslice_func == UTILrslice_unif;
        const front::Array<float> axes(places,
                                       3 * (is_uniform ? 2 : nu + static_cast<std::size_t>(dims_[1])));
        min_node_ = {min_node, npoints};
        max_node_ = {max_node, npoints};
        weights_ = {weights, npoints};
        inside_ = {inside, npoints};
        const bool is_whole = places && min_node && max_node && weights && inside;
        call.check(is_whole, "plane_slice");
        ninside_ = static_cast<std::size_t>(result);
        place_all(is_uniform, axes.view(), frame);
        call.check(
            UTILeval_coord(&mesh, static_cast<int>(npoints), min_node, max_node, weights, points_.data()),
            "plane_slice");
    }

    static void check(const MeshInfo &mesh, double distance) {
        if (!mesh.field_funcs->rslice_func) {
            throw BadInput(
                "a plane slice needs a uniform or rectilinear grid; for other meshes take the "
                "isosurface at 0 of signed_distances to the plane");
        }
        if (mesh.ndim != 3) {
            throw BadInput("a plane slice needs a grid of 3 dimensions, but this one has " +
                           std::to_string(mesh.ndim));
        }
        if (const int *one = std::find(mesh.dims, mesh.dims + 3, 1); one != mesh.dims + 3) {
            throw BadInput("dims[" + std::to_string(one - mesh.dims) +
                           "] is 1, but a plane slice needs at least 2");
        }
        if (!std::isfinite(static_cast<float>(distance)))
            throw BadInput("distance is " + front::value_text(distance) + ", but must be finite");
    }

    // Where all points stand in the slice's frame, from there in space. Those inside are placed anew by their
    // edges.
    //   axes  as out_points of UTILrslice
    void place_all(bool is_uniform, std::span<const float> axes, const std::array<float, 16> &frame) {
        const auto nu = static_cast<std::size_t>(dims_[0]), nv = static_cast<std::size_t>(dims_[1]);
        points_.reserve(3 * nu * nv);
        for (std::size_t j = 0; j < nv; ++j) {
            const double t = is_uniform ? part(j, nv) : double{axes[3 * (nu + j) + 1]};
            for (std::size_t i = 0; i < nu; ++i) {
                const double s = is_uniform ? part(i, nu) : double{axes[3 * i]};
                for (std::size_t d = 0; d < 3; ++d)
                    points_.push_back(static_cast<float>(s * frame[d] + t * frame[4 + d] + frame[12 + d]));
            }
        }
    }
    static double part(std::size_t i, std::size_t n) {
        return static_cast<double>(i) / static_cast<double>(n - 1);
    }

    std::size_t nnodes_, ninside_ = 0;  // of the mesh; of the slice
    std::array<int, 2> dims_ = {};
    std::vector<float> points_;
    front::Array<int> min_node_, max_node_;
    front::Array<float> weights_;
    front::Array<unsigned char> inside_;
};

}  // namespace isofield
#endif
