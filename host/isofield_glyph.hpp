// Part of isofield.hpp: glyphs, which are shapes stamped at nodes.
#ifndef ISOFIELD_GLYPH_HPP
#define ISOFIELD_GLYPH_HPP

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_default_host.h"
#include "isofield_part.hpp"
#include "isofield_surface.hpp"

namespace isofield {

// A shape along the x axis. Those below are closed, with normals outward, and have `sides` points around the
// axis. Throw BadInput.
struct GlyphShape {
    std::vector<float> points;  // n x 3
    std::vector<Triangle> triangles;

    static GlyphShape arrow(int sides = 12);   // from 0 to 1
    static GlyphShape cone(int sides = 12);    // of length and diameter 1 around 0, the tip at 1/2
    static GlyphShape sphere(int sides = 12);  // of diameter 1 around 0
};

namespace front {

class GlyphMaker;

// The body of revolution of a profile, rows of x and radius, that leads from one point of the axis to another
// with x growing between them on the whole.
inline GlyphShape revolve(const std::vector<std::array<double, 2>> &profile, int sides) {
    if (sides < 3) throw BadInput("sides is " + std::to_string(sides) + ", but must be at least 3");
    const int nrings = static_cast<int>(profile.size()) - 2, last = 1 + nrings * sides;
    GlyphShape shape;
    const auto add = [&](double x, double y, double z) {
        for (const double d : {x, y, z}) shape.points.push_back(static_cast<float>(d));
    };
    add(profile.front()[0], 0, 0);
    for (int ring = 0; ring < nrings; ++ring) {
        const auto [x, radius] = profile[static_cast<std::size_t>(ring) + 1];
        for (int side = 0; side < sides; ++side) {
            const double angle = 2 * std::numbers::pi * side / sides;
            add(x, radius * std::cos(angle), radius * std::sin(angle));
        }
    }
    add(profile.back()[0], 0, 0);
    for (int side = 0; side < sides; ++side) {
        int a = 1 + side, b = 1 + (side + 1) % sides;
        shape.triangles.push_back({0, b, a});
        for (; a + sides < last; a += sides, b += sides) {
            shape.triangles.push_back({a, b, a + sides});
            shape.triangles.push_back({b, b + sides, a + sides});
        }
        shape.triangles.push_back({a, b, last});
    }
    return shape;
}

}  // namespace front

inline GlyphShape GlyphShape::arrow(int sides) {
    return front::revolve({{0, 0}, {0, 0.04}, {0.7, 0.04}, {0.7, 0.12}, {1, 0}}, sides);
}
inline GlyphShape GlyphShape::cone(int sides) {
    return front::revolve({{-0.5, 0}, {-0.5, 0.5}, {0.5, 0}}, sides);
}
inline GlyphShape GlyphShape::sphere(int sides) {
    const int nsteps = std::max(sides / 2, 2);
    std::vector<std::array<double, 2>> profile;
    for (int i = 0; i <= nsteps; ++i) {
        const double angle = std::numbers::pi * i / nsteps;
        profile.push_back({-0.5 * std::cos(angle), 0.5 * std::sin(angle)});
    }
    return front::revolve(profile, sides);
}

// Settings of glyphs. NaN and infinite values always count as missing.
struct GlyphOptions {
    std::optional<double> null_value = {};  // of the data, and of `values`
    Progress progress = {};
    // Turns the shape's x axis along the vector, where it has a length; not on scalars.
    bool orient = true;
    // Sizes it by the length, or by the scalar, which mirrors the shape where it is negative. Else all have
    // the size `scale`.
    bool scale_by_data = true;
    double scale = 1;
    // Node data that become the vertices' values, NaN where missing; without it, the data. The length of
    // vectors.
    std::optional<DataView> values = {};
    std::optional<std::span<const int>> nodes = {};  // where glyphs stand; without it, at all nodes
};

// The result of Mesh::glyphs. Owns its arrays; outlives its mesh. Moves, does not copy.
class Glyphs {
  public:
    Glyphs(Glyphs &&) = default;
    Glyphs &operator=(Glyphs &&) = default;

    int points_per_glyph() const { return points_per_glyph_; }
    std::span<const int> nodes() const { return nodes_; }               // per glyph its node
    std::span<const float> points() const { return points_; }           // n x 3, glyph after glyph
    std::span<const float> values() const { return values_; }           // n
    std::span<const Triangle> triangles() const { return triangles_; }  // rows into points()

  private:
    friend class front::GlyphMaker;
    Glyphs() = default;

    int points_per_glyph_ = 0;
    std::vector<int> nodes_;
    std::vector<float> points_, values_;
    std::vector<Triangle> triangles_;
};

namespace front {

// Stamps one shape.
class GlyphMaker {
  public:
    GlyphMaker(MeshInfo &mesh, const DataView &data, const GlyphShape &shape, const GlyphOptions &options)
        : mesh_(mesh),
          call_(&options.progress),
          shape_(shape),
          options_(options),
          components_(static_cast<std::size_t>(data.components())),
          rows_(checked(data), options.null_value) {
        check_shape();
        if (options.values) check_vectors("values", *options.values);
        if (!std::isfinite(options.scale))
            throw BadInput("scale is " + value_text(options.scale) + ", but must be finite");
    }

    Glyphs make() {
        pick_nodes();
        const std::size_t count = made_.nodes_.size(), nvertices = shape_.points.size() / 3;
        if (nvertices > 0 && count > INT_MAX / nvertices) {
            throw BadInput("the glyphs have " + std::to_string(count) + " x " + std::to_string(nvertices) +
                           " points, but there can be at most " + std::to_string(INT_MAX));
        }
        made_.points_per_glyph_ = static_cast<int>(nvertices);
        made_.points_.resize(3 * count * nvertices);
        made_.values_.resize(count * nvertices);
        if (made_.values_.empty()) return std::move(made_);
        stamp(gathered(rows_.view(), components_));
        add_triangles();
        return std::move(made_);
    }

  private:
    const DataView &checked(const DataView &data) const {
        check_vectors("data", data);
        return data;
    }

    void check_vectors(const char *name, const DataView &data) const {
        if (!isohost_check_node_array(&mesh_, name, data.rows())) throw BadInput(Call::reports());
        if (data.components() > 3) {
            throw BadInput(std::string(name) + " has " + std::to_string(data.components()) +
                           " components, but glyphs take 1 to 3");
        }
    }

    void check_shape() const {
        const std::size_t npoints = whole_points("shape.points", shape_.points);
        check_finite<float>("shape.points", shape_.points);
        for (const Triangle &triangle : shape_.triangles) {
            for (const int point : triangle) {
                if (point >= 0 && static_cast<std::size_t>(point) < npoints) continue;
                throw BadInput("shape.triangles[" + std::to_string(&triangle - shape_.triangles.data()) +
                               "] has the point " + std::to_string(point) + ", but there are " +
                               std::to_string(npoints));
            }
        }
    }

    void pick_nodes() {
        const auto add = [&](int node) {
            const auto row = rows_.view().subspan(static_cast<std::size_t>(node) * components_, components_);
            if (std::none_of(row.begin(), row.end(), is_missing<float>)) made_.nodes_.push_back(node);
        };
        if (!options_.nodes) {
            for (int node = 0; node < mesh_.nnodes; ++node) add(node);
            return;
        }
        for (const int &node : *options_.nodes) {
            if (node < 0 || node >= mesh_.nnodes) {
                throw BadInput("nodes[" + std::to_string(&node - options_.nodes->data()) + "] is " +
                               std::to_string(node) + ", but must be 0 to " +
                               std::to_string(mesh_.nnodes - 1));
            }
            add(node);
        }
    }

    // The rows at the glyphs' nodes.
    std::vector<float> gathered(std::span<const float> values, std::size_t width) const {
        std::vector<float> rows;
        rows.reserve(made_.nodes_.size() * width);
        for (const int node : made_.nodes_) {
            const auto row = values.subspan(static_cast<std::size_t>(node) * width, width);
            rows.insert(rows.end(), row.begin(), row.end());
        }
        return rows;
    }

    // Stamps the shape at a grid of the nodes alone.
    void stamp(const std::vector<float> &data) {
        const int count = static_cast<int>(made_.nodes_.size());
        std::vector<float> coords(3 * made_.nodes_.size());
        NodeCoords(mesh_, call_).gather(made_.nodes_, coords.data());
        MeshInfo *grid = nullptr;
        const int built = isohost_mesh_structured(1, &count, 3, coords.data(), &grid);
        const std::unique_ptr<MeshInfo, FreeMesh> owned(grid);
        call_.check(built, "glyphs");
        const int components = static_cast<int>(components_);
        const std::vector<float> values = gathered_values();
        const bool own_values = !options_.values;
        constexpr int kAllAxes[] = {1, 1, 1};
        const int result =
            UTILglyph(grid, static_cast<int>(ElementType::kFloat), components, data.data(), 0, nullptr,
                      components, own_values ? components : options_.values->components(), data.data(),
                      own_values ? data.data() : values.data(), options_.orient && components > 1, 0,
                      !options_.scale_by_data, options_.scale, kAllAxes, nullptr, made_.points_per_glyph_, 3,
                      shape_.points.data(), nullptr, 3, made_.points_.data(), made_.values_.data());
        call_.check(result, "glyphs");
        // A glyph of no size has the length of its value, even where that is a scalar.
        if (!own_values && options_.values->components() == 1) {
            for (std::size_t i = 0; i < made_.values_.size(); ++i)
                made_.values_[i] = values[i / static_cast<std::size_t>(made_.points_per_glyph_)];
        }
        mirrored_.resize(made_.nodes_.size());
        for (std::size_t i = 0; i < mirrored_.size(); ++i) {
            const bool is_negative = options_.scale_by_data && components_ == 1 && data[i] < 0;
            mirrored_[i] = is_negative != (options_.scale < 0);
        }
    }

    std::vector<float> gathered_values() const {
        if (!options_.values) return {};
        const FloatValues values(*options_.values, options_.null_value);
        return gathered(values.view(), static_cast<std::size_t>(options_.values->components()));
    }

    // Mirrored glyphs are turned, so that their normals are those of the shape.
    void add_triangles() {
        made_.triangles_.reserve(mirrored_.size() * shape_.triangles.size());
        int first = 0;
        for (const bool is_mirrored : mirrored_) {
            for (Triangle triangle : shape_.triangles) {
                for (int &point : triangle) point += first;
                if (is_mirrored) std::swap(triangle[1], triangle[2]);
                made_.triangles_.push_back(triangle);
            }
            first += made_.points_per_glyph_;
        }
    }

    MeshInfo &mesh_;
    const Call call_;
    const GlyphShape &shape_;
    const GlyphOptions &options_;
    const std::size_t components_;
    const FloatValues rows_;
    std::vector<bool> mirrored_;  // per glyph
    Glyphs made_;
};

}  // namespace front

}  // namespace isofield
#endif
