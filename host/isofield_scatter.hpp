// Part of isofield.hpp: values at points anywhere, brought to the nodes of a regular grid.
#ifndef ISOFIELD_SCATTER_HPP
#define ISOFIELD_SCATTER_HPP

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"

namespace isofield {

// A grid of 1 to 3 axes with equal steps between two corners. An axis of one node has it at `lower`.
struct ScatterGrid {
    std::vector<int> dims;            // nodes along each axis
    std::vector<float> lower, upper;  // where the first and the last node are
};

// Settings of scattered data. NaN and infinite values always count as missing.
struct ScatterOptions {
    std::optional<double> null_value = {};  // in the first component: the whole row is missing
    Progress progress = {};
    std::vector<int> radius = {3};  // nodes that a point reaches to either side, per axis or for all
    int power = 2;                  // weights are 1 / distance^power
};

// Scattered data on a grid.
struct Scattered {
    std::vector<float> values;           // nodes x components; NaN where no point reaches
    std::size_t used = 0, left_out = 0;  // points; those left out miss a coordinate or a component
    std::size_t empty = 0;               // nodes that no point reaches
};

namespace front {

// Points and a grid as the library takes them.
class Scatterer {
  public:
    Scatterer(std::span<const float> points, const DataView &data, const ScatterGrid &grid,
              const ScatterOptions &options)
        : options_(options),
          components_(data.components()),
          dims_(grid.dims),
          lower_(grid.lower),
          upper_(grid.upper),
          radius_(options.radius) {
        const std::size_t npoints = whole_points("points", points);
        if (data.rows() != npoints) {
            throw BadInput("data has " + std::to_string(data.rows()) + " rows, but points has " +
                           std::to_string(npoints));
        }
        nnodes_ = count_nodes("grid.dims", dims_, components_, 3);
        check_corners();
        check_options();
        const std::size_t naxes = dims_.size();
        // One axis becomes the first of two, so that points reach both sides of it alike.
        if (naxes == 1) {
            dims_.push_back(1);
            lower_.push_back(0);
            upper_.push_back(0);
            radius_.push_back(1);
        }
        const float scale = unit_scale();
        for (std::size_t d = 0; d < dims_.size(); ++d) {
            lower_[d] *= scale;
            upper_[d] *= scale;
        }
        const FloatValues values(data, options.null_value);
        const auto width = static_cast<std::size_t>(components_);
        for (std::size_t i = 0; i < npoints; ++i) {
            const auto point = points.subspan(3 * i, naxes);
            const auto row = values.view().subspan(i * width, width);
            if (any_missing(point) || any_missing(row)) continue;
            for (std::size_t d = 0; d < 3; ++d) points_.push_back(d < naxes ? scale * point[d] : 0.0f);
            rows_.insert(rows_.end(), row.begin(), row.end());
        }
        int_size("data", rows_);
        int_size("points", points_);
        made_.used = points_.size() / 3;
        made_.left_out = npoints - made_.used;
    }

    Scattered make() {
        constexpr float kMissing = std::numeric_limits<float>::quiet_NaN();
        const auto width = static_cast<std::size_t>(components_);
        made_.values.assign(nnodes_ * width, kMissing);
        int any_empty = 0;
        const Call call(&options_.progress);
        call.check(UTILscat_data_interp2_float(static_cast<int>(made_.used), 3, points_.data(), components_,
                                               rows_.data(), lower_.data(), upper_.data(),
                                               static_cast<int>(dims_.size()), dims_.data(), radius_.data(),
                                               options_.power, &any_empty, kMissing, made_.values.data()),
                   "scatter");
        for (std::size_t i = 0; any_empty && i < made_.values.size(); i += width)
            made_.empty += is_missing(made_.values[i]);
        return std::move(made_);
    }

  private:
    void check_corners() const {
        const std::size_t naxes = dims_.size();
        for (const auto &[name, corner] :
             {std::pair("grid.lower", &lower_), std::pair("grid.upper", &upper_)}) {
            if (corner->size() != naxes) {
                throw BadInput(std::string(name) + " has " + std::to_string(corner->size()) +
                               " elements, but grid.dims has " + std::to_string(naxes));
            }
            check_finite<float>(name, *corner);
        }
        for (std::size_t d = 0; d < naxes; ++d) {
            if (dims_[d] == 1 || lower_[d] < upper_[d]) continue;
            const std::string index = "[" + std::to_string(d) + "]";
            throw BadInput("grid.upper" + index + " is " + value_text(upper_[d]) +
                           ", but must be above grid.lower" + index + ", " + value_text(lower_[d]));
        }
    }

    void check_options() {
        if (radius_.size() != 1 && radius_.size() != dims_.size()) {
            throw BadInput("radius has " + std::to_string(radius_.size()) + " elements, but must have 1 or " +
                           std::to_string(dims_.size()));
        }
        for (std::size_t d = 0; d < radius_.size(); ++d) {
            if (radius_[d] < 1) {
                throw BadInput("radius[" + std::to_string(d) + "] is " + std::to_string(radius_[d]) +
                               ", but must be at least 1");
            }
        }
        radius_.resize(dims_.size(), radius_[0]);
        if (options_.power < 1) {
            throw BadInput("power is " + std::to_string(options_.power) + ", but must be at least 1");
        }
    }

    // The power of two that brings the grid's largest step near to 1: it changes no digit of a coordinate,
    // and keeps the powers of distances from vanishing.
    float unit_scale() const {
        double step = 0;
        for (std::size_t d = 0; d < dims_.size(); ++d) {
            if (dims_[d] > 1) step = std::max(step, (double{upper_[d]} - lower_[d]) / (dims_[d] - 1));
        }
        return step > 0 ? std::ldexp(1.0f, -std::clamp(std::ilogb(step), -120, 120)) : 1.0f;
    }

    const ScatterOptions &options_;
    int components_;
    std::vector<int> dims_;
    std::vector<float> lower_, upper_;
    std::vector<int> radius_;
    std::size_t nnodes_ = 0;
    std::vector<float> points_, rows_;  // those that are used
    Scattered made_;
};

}  // namespace front

// Interpolates data at points by inverse distance weighting: each point gives its value to the nodes in a box
// around the node at or below it. A node on a point takes the value of the first such point alone. In float.
// D. Shepard, "A two-dimensional interpolation function for irregularly-spaced data", Proceedings of the 23rd
// ACM National Conference (1968), pages 517-524. Throws BadInput, Interrupted or Error.
//   points  n x 3, of which the first coordinates, as many as the grid has axes, count
//   data    n x components
inline Scattered scatter(std::span<const float> points, const DataView &data, const ScatterGrid &grid,
                         const ScatterOptions &options = {}) {
    return front::Scatterer(points, data, grid, options).make();
}

}  // namespace isofield
#endif
