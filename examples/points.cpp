// points.cpp: values at scattered points, brought to a grid and joined to triangles; a grid of heights as few
// triangles; and a fit. Writes points.obj and heights.obj.
#include "isofield.hpp"

#include <cmath>
#include <cstdio>
#include <random>
#include <span>
#include <vector>

#include "example.h"

// A hill.
double height(double x, double y) {
    return 0.3 * std::exp(-8 * ((x - 0.5) * (x - 0.5) + (y - 0.5) * (y - 0.5)));
}

int main() try {
    // The corners of a square, and points in it; their heights were measured, but for one.
    std::vector<float> points = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, heights;
    std::mt19937 random(1);
    const auto next = [&] { return static_cast<float>(random()) / 4294967296.0f; };
    while (points.size() < 3 * 5000) {
        const float x = next(), y = next();
        points.insert(points.end(), {x, y, 0});
    }
    for (std::size_t i = 0; i < points.size(); i += 3)
        heights.push_back(static_cast<float>(height(points[i], points[i + 1])));
    heights.back() = NAN;  // missing data, everywhere

    // To the nodes of a grid, each the mean of the points near it, by 1 / distance^2.
    const isofield::Scattered map = isofield::scatter(points, heights, {{51, 51}, {0, 0}, {1, 1}});
    check("points left out, for they have no height", static_cast<double>(map.left_out), 1, 0);
    double squares = 0;
    for (int j = 0, node = 0; j <= 50; ++j) {
        for (int i = 0; i <= 50; ++i, ++node)
            squares += std::pow(map.values[static_cast<std::size_t>(node)] - height(i / 50.0, j / 50.0), 2);
    }
    check("heights on the grid, rms error", std::sqrt(squares / (51 * 51)), 0, 0.01);

    // Joined to triangles: no point lies inside the circumcircle of one.
    const isofield::Triangulation net = isofield::delaunay_2d(points, {.verify = true});
    check("points that are no corner", static_cast<double>(net.unused + net.duplicates), 0, 0);
    check("points inside circumcircles", static_cast<double>(net.violations), 0, 0);
    const std::span<const int> connect(net.triangles.data()->data(), 3 * net.triangles.size());
    const isofield::CellSet sets[] = {{"tri_1", connect}};
    isofield::Mesh mesh = isofield::Mesh::cells(points, sets);
    // The mesh of the points integrates the hill; triangles at the missing height are left out.
    const isofield::Integral hill = mesh.integrate(2, heights);
    check("area of all triangles", mesh.integrate(2).measure, 1, 1e-4);
    check("mean height", hill.mean(), 0.3 * std::acos(-1.0) / 8 * std::pow(std::erf(std::sqrt(2.0)), 2),
          0.001);
    for (std::size_t i = 0; i < heights.size(); ++i)
        points[3 * i + 2] = std::isnan(heights[i]) ? 0 : heights[i];
    write_obj("points.obj", points.data(), heights.size(), connect.data(), net.triangles.size());

    // A grid of heights as triangles of few nodes. The tolerance is a goal; how well it was met is told.
    std::vector<float> grid;
    for (int j = 0; j <= 100; ++j) {
        for (int i = 0; i <= 100; ++i) grid.push_back(static_cast<float>(height(i / 100.0, j / 100.0)));
    }
    const isofield::HeightMesh few = isofield::simplify_heights(grid, {{101, 101}, {0, 0}, {1, 1}}, 0.005);
    write_obj("heights.obj", few.points.data(), few.points.size() / 3, few.triangles.data()->data(),
              few.triangles.size());
    check("their rms error", few.rms, 0, 0.005);
    check("nodes off by more than 0.005, of 10201", static_cast<double>(few.above_tolerance), 0, 100);
    check("part of the grid that they cover", few.coverage, 1, 0.001);

    // A parabola through noisy samples: its coefficients, and how well it fits.
    std::vector<double> x, y;
    std::normal_distribution<double> noise(0, 0.01);
    for (int i = 0; i < 1000; ++i) {
        x.push_back(2000 + 0.01 * i);
        y.push_back(3 + 2 * (x.back() - 2005) - std::pow(x.back() - 2005, 2) + noise(random));
    }
    const isofield::Fit fit = isofield::fit_polynomial(x, y, 3);
    check("parabola at its top", fit.polynomial(2006), 4, 0.005);
    check("its curvature", 2 * fit.polynomial.coefficients()[2], -2, 0.001);
    check("rms of the residuals", fit.rms, 0.01, 0.001);
    return finish("points");
} catch (const isofield::Error &error) {
    std::fprintf(stderr, "points: %s\n", error.what());
    return 1;
}
