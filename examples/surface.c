/* surface.c: from C, on the default host: the surface of a torus, out of a grid of values. It writes
 * surface.obj. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "example.h"
#include "isofield_default_host.h"

enum { kNodes = 81, kFloat = 4 };

/* How far a point is from the circle of radius 0.6 around the z axis. */
static double distance(double x, double y, double z) {
    return hypot(hypot(x, y) - 0.6, z);
}

int main(void) {
    /* A grid of 81 x 81 x 81 nodes from (-1, -1, -1) to (1, 1, 1), and a value at each; x runs fastest. */
    const int dims[3] = {kNodes, kNodes, kNodes};
    const float corners[6] = {-1, -1, -1, 1, 1, 1};
    MeshInfo *mesh = NULL;
    float *values = malloc(sizeof *values * kNodes * kNodes * kNodes);
    /* The builders check what they are given and say what is wrong with it. */
    if (!values || !isohost_mesh_uniform(3, dims, 3, corners, &mesh)) return 1;
    const double step = 2.0 / (kNodes - 1);
    for (int k = 0, node = 0; k < kNodes; ++k) {
        for (int j = 0; j < kNodes; ++j) {
            for (int i = 0; i < kNodes; ++i, ++node)
                values[node] = (float)distance(i * step - 1, j * step - 1, k * step - 1);
        }
    }

    /* Where the value is 0.25: new nodes, each on an edge between two nodes of the grid, and triangles of
     * them. The two last arguments would bring each triangle's cell. */
    const double level = 0.25;
    int nnew, *min_node, *max_node, nlines, *lines, line_size, ntriangles, *triangles, size;
    if (UTILisosurf(mesh, values, kFloat, 0, NULL, level, &nnew, &min_node, &max_node, &nlines, &lines,
                    &line_size, &ntriangles, &triangles, &size, NULL, NULL) != 1) {
        return 1; /* what went wrong stands on standard error */
    }

    /* Where on its edge each new node lies, and so its coordinates. */
    float *t = malloc(sizeof *t * (size_t)nnew);
    float *points = malloc(sizeof *points * 3 * (size_t)nnew);
    if (!t || !points) return 1;
    UTILget_param(nnew, kFloat, values, level, min_node, max_node, t);
    UTILeval_coord(mesh, nnew, min_node, max_node, t, points);

    write_obj("surface.obj", points, (size_t)nnew, triangles, (size_t)ntriangles);
    const double pi = acos(-1.0);
    check("area", area_of(points, triangles, (size_t)ntriangles), 4 * pi * pi * 0.6 * level, 0.01);
    /* A closed surface has 3 edges for 2 triangles; a torus has one hole. */
    check("Euler number", nnew - 3.0 * ntriangles / 2 + ntriangles, 0, 0);

    free(points);
    free(t);
    free(values);
    /* What the library made is freed by the host. */
    int *const made[] = {min_node, max_node, triangles};
    for (int i = 0; i < 3; ++i) ARRfree_f(made[i], __FILE__, __LINE__);
    isohost_mesh_free(mesh);
    return finish("surface");
}
