// Part of isofield.hpp: gradients, curls and divergences of node data, and what is made from gradients.
#ifndef ISOFIELD_DERIVATIVE_HPP
#define ISOFIELD_DERIVATIVE_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_default_host.h"

namespace isofield {

// Settings of derivatives. NaN and infinite values always count as missing, but for native.
struct DerivativeOptions {
    std::optional<double> null_value = {};
    Progress progress = {};
    // The mesh kind's own formula on all cells, with zeros where no derivative can be had, as the chapter on
    // derivatives in isofield.h tells; NaN and infinite values are taken for numbers. Gradients are of
    // scalars then.
    bool native = false;
};

namespace front {

using Tensor = std::array<double, 9>;  // du/dx du/dy du/dz dv/dx ... dw/dz

// Per row of gradients `width` floats, which write(tensor, out) gives.
template <class Write>
std::vector<float> from_gradients(std::span<const float> gradients, std::size_t width, Write write) {
    if (gradients.size() % 9 != 0) {
        throw BadInput("gradients has " + std::to_string(gradients.size()) +
                       " values, which are no whole rows of 9");
    }
    std::vector<float> out(gradients.size() / 9 * width);
    for (std::size_t row = 0; row < gradients.size() / 9; ++row) {
        Tensor tensor;
        std::copy_n(&gradients[9 * row], 9, tensor.begin());
        write(tensor, &out[row * width]);
    }
    return out;
}

inline std::array<double, 3> vorticity(const Tensor &g) {
    return {g[7] - g[5], g[2] - g[6], g[3] - g[1]};
}

}  // namespace front

// Of the gradients of a vector (u, v, w), nnodes x 9 as Mesh::gradient gives them. NaN stays NaN. All throw
// BadInput.

// The curl: nnodes x 3.
inline std::vector<float> vorticity(std::span<const float> gradients) {
    return front::from_gradients(gradients, 3, [](const front::Tensor &g, float *out) {
        for (const double component : front::vorticity(g)) *out++ = static_cast<float>(component);
    });
}

inline std::vector<float> vorticity_magnitude(std::span<const float> gradients) {
    return front::from_gradients(gradients, 1, [](const front::Tensor &g, float *out) {
        const std::array<double, 3> v = front::vorticity(g);
        *out = static_cast<float>(std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]));
    });
}

// (|Omega|^2 - |S|^2) / 2 of the antisymmetric and the symmetric half of the gradient: above 0 in vortices.
// J. Hunt, A. Wray, P. Moin, "Eddies, streams, and convergence zones in turbulent flows", 1988.
inline std::vector<float> q_criterion(std::span<const float> gradients) {
    return front::from_gradients(gradients, 1, [](const front::Tensor &g, float *out) {
        // Written out, the difference of the squares is -sum g_ij g_ji.
        const double diagonal = g[0] * g[0] + g[4] * g[4] + g[8] * g[8];
        *out = static_cast<float>(-diagonal / 2 - g[1] * g[3] - g[2] * g[6] - g[5] * g[7]);
    });
}

namespace front {

// What stands for a mesh where its own gradients are not the true ones. For cells their sets of the highest
// dimension; for a surface that is a grid a structured one in the plane of x and y, elsewhere in space its
// cells.
class GradientMesh {
  public:
    GradientMesh(MeshInfo &mesh, const Call &call) : mesh_(mesh), call_(call), record_(&mesh) {
        if (mesh.ndim == 0)
            take_sets();
        else
            take_grid();
    }
    GradientMesh(const GradientMesh &) = delete;
    GradientMesh &operator=(const GradientMesh &) = delete;

    MeshInfo *record() const { return record_; }
    int ndim() const { return ndim_; }
    // Whether the library's curl and divergence are true as well.
    bool has_divergence() const { return ndim_ == 3; }
    bool has_curl() const {
        const auto curl = mesh_.field_funcs->curl_func;
        return ndim_ == 3 && curl != UTILcurl_unif && curl != UTILcurl_rect;
    }

  private:
    void take_sets() {
        const int *ndims = mesh_.cell_ndim;
        ndim_ = *std::max_element(ndims, ndims + mesh_.ncell_sets);
        if (ndim_ < 2)
            throw BadInput("the mesh has lines alone, but derivatives need cells of 2 or 3 dimensions");
        own_ = mesh_;
        std::vector<int> sets;
        own_.ncells = 0;
        for (int s = 0; s < mesh_.ncell_sets; ++s) {
            if (ndims[s] != ndim_) continue;
            int *connect = nullptr;
            call_.check(mesh_.get_cell_set(&mesh_, s, &connect), "cells");
            sets.push_back(s);
            connect_.push_back(connect);
            first_.push_back(own_.ncells);
            own_.ncells += mesh_.cell_ncells[s];
        }
        own_.ncell_sets = static_cast<int>(sets.size());
        own_.cell_connect = connect_.data();
        own_.cell_first = first_.data();
        pick(sets, own_.cell_ncells, ncells_);
        pick(sets, own_.cell_nnodes, nnodes_);
        pick(sets, own_.cell_ndim, ndims_);
        pick(sets, own_.cell_order, orders_);
        pick(sets, own_.cell_node_uvw, positions_);
        pick(sets, own_.cell_funcs, funcs_);
        for (std::size_t s = 0; s < sets.size(); ++s) {
            if (ndim_ == 3 && nnodes_[s] == 5) move_apex(positions_[s]);
        }
        record_ = &own_;
    }

    // At a pyramid's apex, to which all of parametric space narrows, there is no derivative. That of the
    // middle, the same all along the axis, stands for it.
    void move_apex(float *&positions) {
        std::copy_n(positions, pyramid_.size(), pyramid_.begin());
        pyramid_[2] = 0;
        positions = pyramid_.data();
    }

    template <class T>
    static void pick(const std::vector<int> &sets, T *&words, std::vector<T> &picked) {
        for (const int s : sets) picked.push_back(words[s]);
        words = picked.data();
    }

    void take_grid() {
        std::vector<int> dims;
        std::copy_if(mesh_.dims, mesh_.dims + mesh_.ndim, std::back_inserter(dims),
                     [](int count) { return count > 1; });
        ndim_ = static_cast<int>(dims.size());
        if (ndim_ < 2) {
            throw BadInput("the grid has more than one node along " + std::to_string(ndim_) +
                           " of its axes, but derivatives need 2 or 3 such axes");
        }
        const bool is_plane = mesh_.ndim == 2 && mesh_.field_funcs->grad_func == UTILgrad_unif;
        if (ndim_ == 2 && !is_plane) take_surface(dims.data());
    }

    void take_surface(const int *dims) {
        const auto nspace = static_cast<std::size_t>(mesh_.nspace);
        const auto nnodes = static_cast<std::size_t>(mesh_.nnodes);
        const int origin[3] = {};
        coords_.resize(nnodes * nspace);
        call_.check(mesh_.get_sub_coords(&mesh_, origin, mesh_.dims, coords_.data()), "coordinates");
        MeshInfo *made = nullptr;
        int result = 0;
        if (nspace == 2 || is_level()) {
            for (std::size_t n = 1; nspace == 3 && n < nnodes; ++n)
                std::copy_n(&coords_[3 * n], 2, &coords_[2 * n]);
            result = isohost_mesh_structured(2, dims, 2, coords_.data(), &made);
        } else {
            const int ncells = (dims[0] - 1) * (dims[1] - 1);
            quads_.resize(4 * static_cast<std::size_t>(ncells));
            UTILget_connect_struct(2, dims, 0, ncells, quads_.data());
            const IsohostCellSet set = {"quad_1", ncells, quads_.data()};
            result = isohost_mesh_cells(mesh_.nnodes, 3, coords_.data(), 1, &set, &made);
        }
        made_.reset(made);
        call_.check(result, "derivatives");
        record_ = made;
    }

    // Whether all nodes have the same z.
    bool is_level() const {
        for (std::size_t i = 2; i < coords_.size(); i += 3) {
            if (coords_[i] != coords_[2]) return false;
        }
        return true;
    }

    MeshInfo &mesh_;
    const Call &call_;
    MeshInfo *record_;
    int ndim_ = 0;
    // A record of the sets.
    MeshInfo own_ = {};
    std::vector<int> first_, ncells_, nnodes_, ndims_, orders_;
    std::vector<int *> connect_;
    std::vector<float *> positions_;
    std::array<float, 15> pyramid_ = {};
    std::vector<CellFuncs> funcs_;
    // A mesh in the place of a grid.
    std::vector<float> coords_;
    std::vector<int> quads_;
    std::unique_ptr<MeshInfo, FreeMesh> made_;
};

// The derivatives of one array.
class Differentiator {
  public:
    Differentiator(MeshInfo &mesh, const DataView &data, const DerivativeOptions &options)
        : mesh_(mesh),
          call_(&options.progress),
          data_(data),
          options_(options),
          nnodes_(static_cast<std::size_t>(mesh.nnodes)),
          ncomponents_(static_cast<std::size_t>(data.components())) {
        check_rows(data, nnodes_, "nodes");
        if (mesh.ndim > mesh.nspace) {
            throw BadInput("coords has " + std::to_string(mesh.nspace) +
                           " components, but derivatives on a grid of " + std::to_string(mesh.ndim) +
                           " dimensions need " + std::to_string(mesh.ndim));
        }
    }

    std::vector<float> gradient() {
        if (options_.native) return native(UTILgrad, "gradient", 3, "1 component");
        const GradientMesh mesh(mesh_, call_);
        const std::size_t width = 3 * ncomponents_;
        std::vector<float> out(nnodes_ * width);
        if (ncomponents_ == 1) {
            run(UTILgrad, "gradient", mesh, data_.data(), 1, out.data());
        } else {
            for_each_gradient(mesh, "gradient", [&](std::size_t component, const float *gradient) {
                for (std::size_t n = 0; n < nnodes_; ++n)
                    std::copy_n(gradient + 3 * n, 3, &out[n * width + 3 * component]);
            });
        }
        clear_missing(mesh, width, out);
        return out;
    }

    std::vector<float> curl() {
        if (options_.native) {
            return native(UTILcurl, "curl", 3, "3 components in volume cells and 2 in surface cells");
        }
        const GradientMesh mesh(mesh_, call_);
        check_vector(mesh, "curl");
        std::vector<float> out(3 * nnodes_);
        if (mesh.has_curl()) {
            run(UTILcurl, "curl", mesh, data_.data(), 3, out.data());
        } else if (mesh.ndim() == 3) {
            curl_by_coordinates(out.data());
        } else {
            for_each_gradient(mesh, "curl", [&](std::size_t component, const float *gradient) {
                const std::size_t next = (component + 1) % 3, last = (component + 2) % 3;
                for (std::size_t i = 0; i < out.size(); i += 3) {
                    out[i + last] -= gradient[i + next];
                    out[i + next] += gradient[i + last];
                }
            });
        }
        clear_missing(mesh, 3, out);
        return out;
    }

    std::vector<float> divergence() {
        if (options_.native) {
            return native(UTILdiv, "divergence", 1,
                          "3 components in volume cells and 2 or more in surface cells");
        }
        const GradientMesh mesh(mesh_, call_);
        check_vector(mesh, "divergence");
        std::vector<float> out(nnodes_);
        if (mesh.has_divergence()) {
            run(UTILdiv, "divergence", mesh, data_.data(), 3, out.data());
        } else {
            for_each_gradient(mesh, "divergence", [&](std::size_t component, const float *gradient) {
                for (std::size_t n = 0; n < nnodes_; ++n) out[n] += gradient[3 * n + component];
            });
        }
        clear_missing(mesh, 1, out);
        return out;
    }

  private:
    using Operator = int(MeshInfo *, const void *, int, int, int, const void *, float *);

    // A share of the progress.
    struct Share {
        Share(std::size_t part, std::size_t parts) {
            OMpush_status_range(static_cast<int>(100 * part / parts),
                                static_cast<int>(100 * (part + 1) / parts));
        }
        ~Share() { OMpop_status_range(); }
        Share(const Share &) = delete;
        Share &operator=(const Share &) = delete;
    };

    int type() const { return static_cast<int>(data_.type()); }

    void check_vector(const GradientMesh &mesh, const std::string &operation) const {
        const int n = data_.components();
        if (n == 3 || (n == 2 && mesh.ndim() == 2)) return;
        throw BadInput("data has " + std::to_string(n) + (n == 1 ? " component" : " components") +
                       ", but the " + operation + " needs " + (mesh.ndim() == 2 ? "2 or 3" : "3"));
    }

    // Operators of grids succeed when they are interrupted.
    void check_not_stopped() const {
        call_.check(1, "derivatives");
        if (isohost_interrupted()) throw Interrupted();
    }

    // Missing values are taken for numbers: what comes of them is cleared in the end.
    void run(Operator *op, const char *operation, const GradientMesh &mesh, const void *values, int veclen,
             float *out) const {
        const int result = op(mesh.record(), values, veclen, type(), 0, nullptr, out);
        check_not_stopped();
        call_.check(result, operation);
    }

    // That of the structured grid with the same coordinates.
    void curl_by_coordinates(float *out) const {
        std::vector<float> coords(3 * nnodes_);
        const int origin[3] = {};
        call_.check(mesh_.get_sub_coords(&mesh_, origin, mesh_.dims, coords.data()), "coordinates");
        const int result = UTILcurl_struct_3d(mesh_.dims, coords.data(), data_.data(), type(), out);
        check_not_stopped();
        call_.check(result, "curl");
    }

    // wanted: what is told where the library refuses the data without a report.
    std::vector<float> native(Operator *op, const std::string &operation, std::size_t width,
                              const char *wanted) const {
        const Null null(data_.type(), options_.null_value);
        std::vector<float> out(nnodes_ * width);
        const int result =
            op(&mesh_, data_.data(), data_.components(), type(), null.flag(), null.value(), out.data());
        check_not_stopped();
        if (result != 1 && Call::reports().empty()) {
            throw Error("data has " + std::to_string(data_.components()) + " components, but the native " +
                        operation + " takes " + wanted);
        }
        call_.check(result, operation.c_str());
        return out;
    }

    // Calls take(component, gradient), gradient being nnodes x 3, which holds until the next.
    template <class Take>
    void for_each_gradient(const GradientMesh &mesh, const char *operation, Take take) const {
        const auto values = std::make_unique_for_overwrite<std::byte[]>(nnodes_ * size_of(data_.type()));
        std::vector<float> gradient(3 * nnodes_);
        for (std::size_t c = 0; c < ncomponents_; ++c) {
            const Share share(c, ncomponents_);
            UTILextract_scalar(mesh_.nnodes, data_.components(), data_.data(), type(), static_cast<int>(c),
                               values.get());
            run(UTILgrad, operation, mesh, values.get(), 1, gradient.data());
            take(c, gradient.data());
        }
    }

    // Makes NaN of the results that the library would clear around missing data.
    void clear_missing(const GradientMesh &mesh, std::size_t width, std::vector<float> &out) const {
        constexpr unsigned char kMissing = 1;
        constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
        const std::vector<unsigned char> missing = missing_rows(data_, options_.null_value);
        if (missing.empty()) return;
        std::vector<float> marks(nnodes_, 1.0f);
        const auto clear = mesh_.ndim > 0 ? UTILderiv_null_struct : UTILderiv_null;
        MeshInfo *record = mesh_.ndim > 0 ? &mesh_ : mesh.record();
        call_.check(clear(record, missing.data(), 1, static_cast<int>(ElementType::kByte), &kMissing, 1,
                          marks.data()),
                    "derivatives");
        for (std::size_t n = 0; n < nnodes_; ++n) {
            if (marks[n] == 0) std::fill_n(&out[n * width], width, kNone);
        }
    }

    MeshInfo &mesh_;
    const Call call_;
    const DataView &data_;
    const DerivativeOptions &options_;
    const std::size_t nnodes_, ncomponents_;
};

}  // namespace front

}  // namespace isofield
#endif
