// Isosurfaces of cell meshes, against VTK's two extractors of unstructured grids: triangles and points, no
// normals, scalars or other data. Without merging a point is made for each corner of each triangle.
#include <vtkContour3DLinearGrid.h>
#include <vtkContourGrid.h>

#include <span>
#include <utility>

#include "extraction.hpp"
#include "lattice.hpp"

namespace {

using bench::CellMesh;
using bench::FieldPtr;

// Further parts of a cube; corner 8 is the centre.
constexpr int kTwoPrisms[] = {0, 1, 2, 4, 5, 6, 0, 2, 3, 4, 6, 7};
// All but the one on the cube's face towards x, and all; and two tets in the place of that one, whose faces
// meet those of kSixTets.
constexpr int kSixPyramids[] = {8, 0, 3, 2, 1, 8, 4, 5, 6, 7, 8, 0, 1, 5, 4,
                                8, 3, 7, 6, 2, 8, 0, 4, 7, 3, 8, 1, 2, 6, 5};
constexpr int kPyramidsBeforeTets = 5 * 5;
constexpr int kTwoTets[] = {1, 6, 2, 8, 1, 5, 6, 8};

// Slabs along x of hexahedra, prisms, pyramids and tets, about 726 * unit^3 cells of each. Neighbours share
// whole faces.
CellMesh mixed_mesh(int unit, double waves) {
    const int n = 11 * unit;
    bench::Lattice lattice(n, waves);
    for (int k = 0; k < n; ++k) {
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                if (i < 6 * unit) {
                    lattice.add(bench::kHex, bench::kWhole, i, j, k);
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
                    lattice.add(bench::kTet, bench::kSixTets, i, j, k);
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
    const auto hexes = [] { return bench::hex_lattice(96, 3); };
    return {
        {"cells/hex/96^3", [=] { return contestants(hexes()); }},
        {"cells/hex-shuffled/96^3", [=] { return contestants(shuffled(hexes())); }},
        {"cells/tet/64^3", [] { return contestants(bench::tet_lattice(64, 3)); }},
        {"cells/mixed", [] { return contestants(mixed_mesh(6, 3)); }},
    };
}
