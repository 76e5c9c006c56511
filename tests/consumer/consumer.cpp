#include <isofield.hpp>

// The square in which x is 0.5 halves a cube.
int main() {
    const std::vector<float> x = {0, 1, 0, 1, 0, 1, 0, 1};
    isofield::Mesh cube = isofield::Mesh::uniform({2, 2, 2}, {0, 0, 0}, {1, 1, 1});
    return cube.isosurface(x, 0.5).triangles().size() == 2 ? 0 : 1;
}
