/* The library from C, through the shared libraries: a sphere's surface in a uniform grid. Exits with 0 when
 * its area and its Euler number come out. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "isofield_default_host.h"

enum { kNodes = 21, kCentre = 10, kRadius = 8 };

static double area_of(const float *a, const float *b, const float *c) {
    const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    return sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]) / 2;
}

int main(void) {
    const int dims[3] = {kNodes, kNodes, kNodes};
    const float corners[6] = {0, 0, 0, kNodes - 1, kNodes - 1, kNodes - 1};
    MeshInfo *mesh = NULL;
    if (!isohost_mesh_uniform(3, dims, 3, corners, &mesh)) return 1;

    static double distance[kNodes * kNodes * kNodes];
    for (int k = 0, n = 0; k < kNodes; ++k) {
        for (int j = 0; j < kNodes; ++j) {
            for (int i = 0; i < kNodes; ++i, ++n) {
                const double x = i - kCentre, y = j - kCentre, z = k - kCentre;
                distance[n] = sqrt(x * x + y * y + z * z);
            }
        }
    }

    int nnew, nlines, line_size, ntris, tri_size;
    int *min_node, *max_node, *lines, *tris;
    if (UTILisosurf(mesh, distance, 5, 0, NULL, kRadius, &nnew, &min_node, &max_node, &nlines, &lines,
                    &line_size, &ntris, &tris, &tri_size, NULL, NULL) != 1) {
        return 1;
    }
    float *t = malloc((size_t)nnew * sizeof(float));
    float *points = malloc((size_t)nnew * 3 * sizeof(float));
    UTILget_param(nnew, 5, distance, kRadius, min_node, max_node, t);
    UTILeval_coord(mesh, nnew, min_node, max_node, t, points);
    double area = 0;
    for (int i = 0; i < tri_size; i += 3) {
        area += area_of(points + 3 * tris[i], points + 3 * tris[i + 1], points + 3 * tris[i + 2]);
    }
    const double sphere = 4 * acos(-1.0) * kRadius * kRadius;
    const int euler = nnew - 3 * ntris / 2 + ntris;
    printf("area %.2f of %.2f, Euler number %d\n", area, sphere, euler);

    free(points);
    free(t);
    ARRfree_f(min_node, __FILE__, __LINE__);
    ARRfree_f(max_node, __FILE__, __LINE__);
    ARRfree_f(tris, __FILE__, __LINE__);
    isohost_mesh_free(mesh);
    return fabs(area - sphere) < 0.01 * sphere && euler == 2 ? 0 : 1;
}
