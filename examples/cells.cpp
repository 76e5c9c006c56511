// cells.cpp: a mesh of hexahedra, pyramids and prisms; a surface through all of them, data carried to it, a
// plane section, parts of the mesh, and integrals. Writes cells.obj and section.obj.
#include "isofield.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numbers>
#include <span>
#include <vector>

#include "example.h"

// A box of 3 x 1 x 1 out of cubes: along x first hexahedra, then cut into pyramids, then into prisms.
constexpr int kBlocks = 16;  // along y and z
constexpr int kLength = 3 * kBlocks;
constexpr float kStep = 1.0f / kBlocks;

// The nodes of a cube: 0 1 2 3 round its lower face, 4 5 6 7 above them.
using Cube = std::array<int, 8>;

struct Arrays {
    std::vector<float> coords;  // a row of x, y, z a node
    std::vector<int> hexahedra, pyramids, prisms;
};

// The order of corners is told in isofield_default_host.h.
void add_hexahedron(Arrays &arrays, const Cube &c) {
    arrays.hexahedra.insert(arrays.hexahedra.end(), c.begin(), c.end());
}

// One for each face, with a new node in the middle of the cube for their apex.
void add_pyramids(Arrays &arrays, const Cube &c) {
    const int apex = static_cast<int>(arrays.coords.size() / 3);
    for (std::size_t d = 0; d < 3; ++d) {
        const auto at = [&](int node) { return arrays.coords[3 * static_cast<std::size_t>(node) + d]; };
        arrays.coords.push_back((at(c[0]) + at(c[6])) / 2);
    }
    constexpr int kFaces[6][4] = {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                  {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
    for (const auto &face : kFaces) {
        arrays.pyramids.push_back(apex);
        for (const int corner : face) arrays.pyramids.push_back(c[static_cast<std::size_t>(corner)]);
    }
}

void add_prisms(Arrays &arrays, const Cube &c) {
    arrays.prisms.insert(arrays.prisms.end(), {c[0], c[1], c[2], c[4], c[5], c[6]});
    arrays.prisms.insert(arrays.prisms.end(), {c[0], c[2], c[3], c[4], c[6], c[7]});
}

Arrays make_arrays() {
    Arrays arrays;
    for (int k = 0; k <= kBlocks; ++k) {
        for (int j = 0; j <= kBlocks; ++j) {
            for (int i = 0; i <= kLength; ++i) {
                for (const int at : {i, j, k}) arrays.coords.push_back(static_cast<float>(at) * kStep);
            }
        }
    }
    for (int k = 0; k < kBlocks; ++k) {
        for (int j = 0; j < kBlocks; ++j) {
            for (int i = 0; i < kLength; ++i) {
                const int row = kLength + 1, plane = row * (kBlocks + 1);
                const int n = i + row * j + plane * k, up = n + plane;
                const Cube cube = {n, n + 1, n + row + 1, n + row, up, up + 1, up + row + 1, up + row};
                if (i < kBlocks)
                    add_hexahedron(arrays, cube);
                else if (i < 2 * kBlocks)
                    add_pyramids(arrays, cube);
                else
                    add_prisms(arrays, cube);
            }
        }
    }
    return arrays;
}

// The area of a surface, which is a mesh of triangles itself.
double area(const isofield::Surface &surface) {
    const auto triangles = surface.triangles();
    const std::span<const int> connect(triangles.data()->data(), 3 * triangles.size());
    const isofield::CellSet sets[] = {{"tri_1", connect}};
    return isofield::Mesh::cells(surface.points(), sets).integrate(2).measure;
}

void write(const char *file, const isofield::Surface &surface) {
    const auto triangles = surface.triangles();
    write_obj(file, surface.points().data(), surface.npoints(), triangles.data()->data(), triangles.size());
}

int main() try {
    // The mesh looks at these arrays, and does not copy them.
    const Arrays arrays = make_arrays();
    const isofield::CellSet sets[] = {
        {"hex_1", arrays.hexahedra}, {"pyr_1", arrays.pyramids}, {"prism_1", arrays.prisms}};
    isofield::Mesh mesh = isofield::Mesh::cells(arrays.coords, sets);

    // Data are plain arrays, a row a node: the distance from the box's long axis, and x.
    std::vector<float> radius, x;
    for (std::size_t i = 0; i < arrays.coords.size(); i += 3) {
        radius.push_back(std::hypot(arrays.coords[i + 1] - 0.5f, arrays.coords[i + 2] - 0.5f));
        x.push_back(arrays.coords[i]);
    }

    // A tube through all three kinds of cells. On its new nodes: x, carried along.
    constexpr double kRadius = 0.4, kPi = std::numbers::pi;
    const isofield::Surface tube = mesh.isosurface(radius, kRadius, {.keep_cells = true});
    write("cells.obj", tube);
    check("area of the tube", area(tube), 2 * kPi * kRadius * 3, 0.02);
    const std::vector<float> along = tube.carry(std::span<const float>(x));
    double worst = 0;
    for (std::size_t i = 0; i < along.size(); ++i)
        worst = std::max(worst, std::abs(double{along[i]} - tube.points()[3 * i]));
    check("x carried to it, worst error", worst, 0, 1e-6);
    std::size_t in_hexahedra = 0;  // cells are numbered through the sets
    for (const int cell : tube.cells()) in_hexahedra += cell < static_cast<int>(arrays.hexahedra.size() / 8);
    check("its triangles in hexahedra, any", in_hexahedra > 0, 1, 0);

    // A plane section is the surface where the distance from the plane is 0.
    const isofield::Plane plane{{1.5, 0.5, 0.5}, {1, 0, 0.5}};
    const isofield::Surface section = mesh.isosurface(mesh.signed_distances(plane), 0);
    write("section.obj", section);
    check("area of a slanted section", area(section), std::sqrt(1.25), 1e-5);

    // Parts have real cells: what is inside the tube, and what is between two tubes. A part is a mesh again.
    const isofield::Part inside = mesh.cut(radius, kRadius, isofield::Side::kBelow);
    check("volume inside", isofield::Mesh::of(inside).integrate(3).measure, kPi * kRadius * kRadius * 3,
          0.01);
    const isofield::Part shell = mesh.band(radius, 0.3, 0.4);
    check("volume of a shell", isofield::Mesh::of(shell).integrate(3).measure, kPi * 0.07 * 3, 0.01);
    const isofield::Part half = mesh.cut(mesh.signed_distances(plane), 0);
    check("volume behind the section", isofield::Mesh::of(half).integrate(3).measure, 1.5, 1e-5);

    // Integrals over cells, and the skin.
    const isofield::Integral all = mesh.integrate(3, x);
    check("volume of the mesh", all.measure, 3, 1e-5);
    check("mean of x", all.mean(), 1.5, 1e-5);
    const isofield::Submesh skin = mesh.external_faces();
    check("area of its skin", isofield::Mesh::of(skin).integrate(2).measure, 14, 1e-4);
    return finish("cells");
} catch (const isofield::Error &error) {
    std::fprintf(stderr, "cells: %s\n", error.what());
    return 1;
}
