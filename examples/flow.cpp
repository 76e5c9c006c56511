// flow.cpp: a flow that turns around the z axis and rises; values at points, derivatives, streamlines and
// arrows. Writes flow.csv, a row a point of a streamline, and arrows.obj.
#include "isofield.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numbers>
#include <optional>
#include <span>
#include <vector>

#include "example.h"

// The largest of |value - expected| over the rows of an array; NaN when a value is NaN.
double worst(std::span<const float> values, std::span<const double> expected) {
    double most = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (std::isnan(values[i])) return NAN;
        most = std::max(most, std::abs(values[i] - expected[i % expected.size()]));
    }
    return most;
}

int main() try {
    // A grid whose lines are denser around the axis, and the flow (-y, x, 0.1) at its nodes; x runs fastest.
    std::vector<float> lines, heights, velocity;
    for (int i = -20; i <= 20; ++i)
        lines.push_back(static_cast<float>(i * std::abs(i)) / 400 + 0.01f * static_cast<float>(i));
    for (int k = 0; k <= 30; ++k) heights.push_back(0.1f * static_cast<float>(k));
    for ([[maybe_unused]] const float z : heights) {
        for (const float y : lines) {
            for (const float x : lines) velocity.insert(velocity.end(), {-y, x, 0.1f});
        }
    }
    isofield::Mesh mesh = isofield::Mesh::rectilinear({lines, lines, heights});
    const isofield::DataView flow(velocity, 3);  // 3 components a node

    // A locator finds the cells of points; it is built once.
    isofield::Locator locator(mesh);
    const std::vector<float> points = {0.5f, 0.25f, 1, -0.1f, 0.7f, 2.95f, 9, 9, 9};
    const std::vector<float> here = locator.sample(points, flow);
    check("velocity at a point, x", here[0], -0.25, 1e-6);
    check("velocity at another, y", here[4], -0.1, 1e-6);
    check("outside there is none (NaN)", std::isnan(here[6]), 1, 0);
    const std::optional<isofield::Place> place = locator.find({0.5f, 0.25f, 1});
    check("the cell of the point, found", place.has_value(), 1, 0);

    // Derivatives at the nodes.
    check("curl, worst error", worst(mesh.curl(flow), std::array{0.0, 0.0, 2.0}), 0, 1e-4);
    check("divergence, worst error", worst(mesh.divergence(flow), std::array{0.0}), 0, 1e-4);
    const std::vector<float> q = isofield::q_criterion(mesh.gradient(flow));  // above 0 in vortices
    check("q criterion, worst error", worst(q, std::array{1.0}), 0, 1e-4);

    // Streamlines from seeds: helices, until they leave the mesh at its top.
    const std::vector<float> seeds = {0.2f, 0, 0.05f, 0.5f, 0, 0.05f, 0.8f, 0, 0.05f};
    const isofield::Streamlines helices =
        locator.streamlines(seeds, flow, {.steps_per_cell = 6, .max_points = 20000});
    std::FILE *file = std::fopen("flow.csv", "w");
    if (!file) throw isofield::Error("cannot write flow.csv");
    std::fputs("line,x,y,z,time,speed\n", file);
    double off_radius = 0, off_height = 0, turns = 0;
    for (std::size_t line = 0; line < helices.size(); ++line) {
        const auto first = static_cast<std::size_t>(helices.offsets()[line]);
        const auto end = static_cast<std::size_t>(helices.offsets()[line + 1]);
        for (std::size_t i = first; i < end; ++i) {
            const float *p = &helices.points()[3 * i], time = helices.times()[i];
            std::fprintf(file, "%zu,%g,%g,%g,%g,%g\n", line, p[0], p[1], p[2], time, helices.speeds()[i]);
            off_radius = std::max(off_radius, std::abs(std::hypot(p[0], p[1]) - double{seeds[3 * line]}));
            off_height = std::max(off_height, std::abs(p[2] - (0.05 + 0.1 * time)));
            turns = time / (2 * std::numbers::pi);
        }
        check("line left the mesh", helices.ends()[line].downstream == isofield::LineEnd::kLeftMesh, 1, 0);
    }
    std::fclose(file);
    std::printf("flow.csv: %zu lines, %zu points\n", helices.size(), helices.npoints());
    check("worst drift from the seeds' radius", off_radius, 0, 1e-3);
    check("height for time, worst error", off_height, 0, 1e-4);
    check("turns", turns, 29.5 / (2 * std::numbers::pi), 0.05);

    // Arrows at some nodes of the middle plane, along the flow and as long as half its speed.
    std::vector<int> nodes;
    for (int j = 0; j < 41; j += 5) {
        for (int i = 0; i < 41; i += 5) nodes.push_back(i + 41 * (j + 41 * 15));
    }
    isofield::GlyphOptions options;
    options.scale = 0.5;
    options.nodes = nodes;
    const isofield::Glyphs arrows = mesh.glyphs(flow, isofield::GlyphShape::arrow(8), options);
    write_obj("arrows.obj", arrows.points().data(), arrows.points().size() / 3,
              arrows.triangles().data()->data(), arrows.triangles().size());
    check("arrows", static_cast<double>(arrows.nodes().size()), 81, 0);
    // The last point of an arrow is its tip.
    const auto corner = static_cast<std::size_t>(arrows.points_per_glyph() - 1) * 3;
    const double tip[] = {arrows.points()[corner] - lines[0], arrows.points()[corner + 1] - lines[0],
                          arrows.points()[corner + 2] - heights[15]};
    check("length of the first one", std::hypot(tip[0], tip[1], tip[2]),
          0.5 * std::hypot(lines[0], lines[0], 0.1), 1e-4);
    return finish("flow");
} catch (const isofield::Error &error) {
    std::fprintf(stderr, "flow: %s\n", error.what());
    return 1;
}
