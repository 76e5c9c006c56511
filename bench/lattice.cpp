#include "lattice.hpp"

#include <cmath>
#include <utility>

namespace bench {
namespace {

// Where the i-th step of an axis ends.
double grown(double i, double growth) {
    return growth > 1 ? (std::pow(growth, i) - 1) / (growth - 1) : i;
}

}  // namespace

Lattice::Lattice(int n, double waves, double growth) : n_(n), scale_(wave_scale(n, waves)), growth_(growth) {
    for (int k = 0; k <= n; ++k) {
        for (int j = 0; j <= n; ++j) {
            for (int i = 0; i <= n; ++i) add_node(i, j, k);
        }
    }
}

void Lattice::add(CellKind kind, std::span<const int> corners, int i, int j, int k, int centre) {
    const int side = n_ + 1, a = i + side * (j + side * k), b = a + side * side;
    const int nodes[] = {a, a + 1, a + side + 1, a + side, b, b + 1, b + side + 1, b + side, centre};
    for (const int corner : corners) mesh.cells[kind].push_back(nodes[corner]);
}

void Lattice::fill(CellKind kind, std::span<const int> corners) {
    for (int k = 0; k < n_; ++k) {
        for (int j = 0; j < n_; ++j) {
            for (int i = 0; i < n_; ++i) add(kind, corners, i, j, k);
        }
    }
}

int Lattice::add_centre(int i, int j, int k) {
    add_node(i + 0.5, j + 0.5, k + 0.5);
    return static_cast<int>(mesh.scalars.size()) - 1;
}

void Lattice::add_node(double i, double j, double k) {
    const double x = i + 0.3 * std::sin(0.7 * j), y = j + 0.3 * std::sin(0.7 * k),
                 z = k + 0.3 * std::sin(0.7 * i);
    mesh.add_node(grown(x, growth_), grown(y, growth_), grown(z, growth_),
                  wave(x * scale_, y * scale_, z * scale_));
}

CellMesh hex_lattice(int n, double waves, double growth) {
    Lattice lattice(n, waves, growth);
    lattice.fill(kHex, kWhole);
    return std::move(lattice.mesh);
}

CellMesh tet_lattice(int n, double waves) {
    Lattice lattice(n, waves);
    lattice.fill(kTet, kSixTets);
    return std::move(lattice.mesh);
}

CellMesh triangle_sheet(int ni, int nj, double waves) {
    CellMesh sheet;
    const double scale = wave_scale(ni, waves);
    for (int j = 0; j <= nj; ++j) {
        for (int i = 0; i <= ni; ++i) {
            const double height = 3 * wave(0, j * scale / 4, i * scale / 4);
            sheet.add_node(i, j, height, wave(i * scale, j * scale, 0));
        }
    }
    std::vector<int> &triangles = sheet.cells[kTri];
    for (int j = 0; j < nj; ++j) {
        for (int i = 0; i < ni; ++i) {
            const int a = i + (ni + 1) * j, b = a + ni + 1;
            triangles.insert(triangles.end(), {a, a + 1, b + 1, a, b + 1, b});
        }
    }
    return sheet;
}

}  // namespace bench
