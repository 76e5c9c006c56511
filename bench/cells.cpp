// Isosurfaces of cell meshes, against VTK's two extractors of unstructured grids: triangles and points, no
// normals, scalars or other data. Without merging a point is made for each corner of each triangle.
#include <vtkContour3DLinearGrid.h>
#include <vtkContourGrid.h>

#include <cmath>
#include <span>
#include <utility>

#include "cell_mesh.hpp"

namespace {

using bench::CellMesh;
using bench::FieldPtr;

// Parts of a cube, by corners numbered as a hexahedron's; corner 8 is the centre.
constexpr int kWhole[] = {0, 1, 2, 3, 4, 5, 6, 7};
constexpr int kTwoPrisms[] = {0, 1, 2, 4, 5, 6, 0, 2, 3, 4, 6, 7};
constexpr int kSixTets[] = {0, 1, 2, 6, 0, 5, 1, 6, 0, 2, 3, 6, 0, 3, 7, 6, 0, 7, 4, 6, 0, 4, 5, 6};
// All but the one on the cube's face towards x, and all; and two tets in the place of that one, whose faces
// meet those of kSixTets.
constexpr int kSixPyramids[] = {8, 0, 3, 2, 1, 8, 4, 5, 6, 7, 8, 0, 1, 5, 4,
                                8, 3, 7, 6, 2, 8, 0, 4, 7, 3, 8, 1, 2, 6, 5};
constexpr int kPyramidsBeforeTets = 5 * 5;
constexpr int kTwoTets[] = {1, 6, 2, 8, 1, 5, 6, 8};

// A cube of n^3 warped cubes, to be filled with cells, and a wave on its nodes.
class Lattice {
  public:
    Lattice(int n, double waves) : n_(n), scale_(bench::wave_scale(n, waves)) {
        for (int k = 0; k <= n; ++k) {
            for (int j = 0; j <= n; ++j) {
                for (int i = 0; i <= n; ++i) add_node(i, j, k);
            }
        }
    }

    // Adds the parts of the cube (i, j, k) that `corners` lists.
    void add(bench::CellKind kind, std::span<const int> corners, int i, int j, int k, int centre = -1) {
        const int side = n_ + 1, a = i + side * (j + side * k), b = a + side * side;
        const int nodes[] = {a, a + 1, a + side + 1, a + side, b, b + 1, b + side + 1, b + side, centre};
        for (const int corner : corners) mesh.cells[kind].push_back(nodes[corner]);
    }

    // Returns the number of a new node in the middle of the cube (i, j, k).
    int add_centre(int i, int j, int k) {
        add_node(i + 0.5, j + 0.5, k + 0.5);
        return static_cast<int>(mesh.scalars.size()) - 1;
    }

    CellMesh mesh;

  private:
    void add_node(double i, double j, double k) {
        const double x = i + 0.3 * std::sin(0.7 * j), y = j + 0.3 * std::sin(0.7 * k),
                     z = k + 0.3 * std::sin(0.7 * i);
        mesh.add_node(x, y, z, bench::wave(x * scale_, y * scale_, z * scale_));
    }

    int n_;
    double scale_;
};

CellMesh uniform_mesh(int n, double waves, bench::CellKind kind, std::span<const int> corners) {
    Lattice lattice(n, waves);
    for (int k = 0; k < n; ++k) {
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) lattice.add(kind, corners, i, j, k);
        }
    }
    return std::move(lattice.mesh);
}

// Slabs along x of hexahedra, prisms, pyramids and tets, about 726 * unit^3 cells of each. Neighbours share
// whole faces.
CellMesh mixed_mesh(int unit, double waves) {
    const int n = 11 * unit;
    Lattice lattice(n, waves);
    for (int k = 0; k < n; ++k) {
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                if (i < 6 * unit) {
                    lattice.add(bench::kHex, kWhole, i, j, k);
                } else if (i < 9 * unit) {
                    lattice.add(bench::kPrism, kTwoPrisms, i, j, k);
                } else if (i < 10 * unit) {
                    const bool last = i == 10 * unit - 1;
                    const int centre = lattice.add_centre(i, j, k);
                    const std::span<const int> pyramids(kSixPyramids);
                    lattice.add(bench::kPyramid, last ? pyramids.first(kPyramidsBeforeTets) : pyramids, i, j,
                                k, centre);
                    if (last) lattice.add(bench::kTet, kTwoTets, i, j, k, centre);
                } else {
                    lattice.add(bench::kTet, kSixTets, i, j, k);
                }
            }
        }
    }
    return std::move(lattice.mesh);
}

CellMesh shuffled(CellMesh mesh) {
    mesh.shuffle();
    return mesh;
}

std::vector<bench::Contestant> contestants(const CellMesh &mesh) {
    const FieldPtr field = bench::cell_field(mesh);
    const auto merge = [](vtkContour3DLinearGrid &filter) { filter.MergePointsOn(); };
    const auto no_merge = [](vtkContour3DLinearGrid &filter) { filter.MergePointsOff(); };
    return {bench::our_isosurface(field),
            bench::peer<vtkContour3DLinearGrid>("vtkContour3DLinearGrid", field, merge),
            bench::peer<vtkContour3DLinearGrid>("vtkContour3DLinearGrid unmerged", field, no_merge),
            bench::peer<vtkContourGrid>("vtkContourGrid", field)};
}

}  // namespace

std::vector<bench::Case> cell_cases() {
    const auto hexes = [] { return uniform_mesh(96, 3, bench::kHex, kWhole); };
    return {
        {"cells/hex/96^3", [=] { return contestants(hexes()); }},
        {"cells/hex-shuffled/96^3", [=] { return contestants(shuffled(hexes())); }},
        {"cells/tet/64^3", [] { return contestants(uniform_mesh(64, 3, bench::kTet, kSixTets)); }},
        {"cells/mixed", [] { return contestants(mixed_mesh(6, 3)); }},
    };
}
