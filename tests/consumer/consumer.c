#include <isofield_default_host.h>

#include "middle.h"

int main(void) {
    const int dims[] = {2, 2, 2};
    const float corners[] = {0, 0, 0, 1, 1, 1}, x[] = {0, 1, 0, 1, 0, 1, 0, 1};
    MeshInfo *cube;
    if (!isohost_mesh_uniform(3, dims, 3, corners, &cube)) return 1;
    const int ntriangles = count_triangles(cube, x, 0.5);
    isohost_mesh_free(cube);
    return ntriangles == 2 ? 0 : 1;
}
