// Cubes of warped cubes, filled with cells of one kind or several, and a sheet of triangles.
#ifndef ISOFIELD_BENCH_LATTICE_HPP
#define ISOFIELD_BENCH_LATTICE_HPP

#include <span>

#include "cell_mesh.hpp"

namespace bench {

// Parts of a cube, by corners numbered as a hexahedron's.
inline constexpr int kWhole[] = {0, 1, 2, 3, 4, 5, 6, 7};
inline constexpr int kSixTets[] = {0, 1, 2, 6, 0, 5, 1, 6, 0, 2, 3, 6, 0, 3, 7, 6, 0, 7, 4, 6, 0, 4, 5, 6};

// A cube of n^3 warped cubes, to be filled with cells, and a wave on its nodes. Each cube is `growth` times
// as long as the one before it on every axis; the first has the length 1.
class Lattice {
  public:
    Lattice(int n, double waves, double growth = 1);

    // Adds the parts of the cube (i, j, k) that `corners` lists; corner 8 is the node `centre`.
    void add(CellKind kind, std::span<const int> corners, int i, int j, int k, int centre = -1);

    // Adds them in every cube.
    void fill(CellKind kind, std::span<const int> corners);

    // Returns the number of a new node in the middle of the cube (i, j, k).
    int add_centre(int i, int j, int k);

    CellMesh mesh;

  private:
    void add_node(double i, double j, double k);

    int n_;
    double scale_, growth_;
};

CellMesh hex_lattice(int n, double waves, double growth = 1);
CellMesh tet_lattice(int n, double waves);

// A sheet that waves in space, of ni x nj squares in two triangles each.
CellMesh triangle_sheet(int ni, int nj, double waves);

}  // namespace bench

#endif
