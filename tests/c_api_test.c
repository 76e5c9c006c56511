/* The library from C, through the shared libraries: a sphere's surface in a uniform grid, and on two sets of
 * cells a line, a band, a cut, values, gradients and a streamline; a fit to scattered data, and triangles of
 * points. Exits with 0 when the sphere's area and Euler number, the line and its cells, the parts, the
 * values, the streamline, the fit and the triangles come out right. */
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

/* On the cells below: where x lies between 0.25 and 0.75, and where it is at least 0.5. */
static int parts_of_cells(MeshInfo *mesh, const float *x) {
    int nold, nnew, *map, *min_node, *max_node, ncells[6], *connect[6], size[6];
    int nlines[2] = {1, 0}, *lines[2], cell_count[12], *cell_list[12];
    char *level_flag;
    float *coords;
    if (UTILcontour(mesh, x, 4, 0, NULL, 0.25, 0.75, &nold, &map, &nnew, &min_node, &max_node, &level_flag,
                    ncells, connect, size, 2, &coords, &nlines[0], &lines[0], &nlines[1], &lines[1]) != 1) {
        return 0;
    }
    int right = nold == 0 && nnew == 8 && ncells[4] == 6 && size[4] == 18;
    for (int i = 0; i < nnew; ++i) right = right && coords[2 * i] == (level_flag[i] ? 0.75f : 0.25f);
    void *const made[] = {min_node, max_node, level_flag, connect[4], coords, lines[0]};
    for (int i = 0; i < 6; ++i) ARRfree_f(made[i], __FILE__, __LINE__);
    free(map);
    if (UTILcut(mesh, x, 4, 0, NULL, 0.5, 0, &nold, &map, &nnew, &min_node, &max_node, ncells, connect, size,
                cell_count, cell_list) != 1) {
        return 0;
    }
    right = right && nold == 3 && map[5] == 2 && nnew == 4 && ncells[4] == 5 && cell_count[4] == 2 &&
            cell_count[10] == 3 && cell_list[10][0] == 0 && cell_list[10][2] == 1;
    for (int i = 0; i < 12; ++i) ARRfree_f(cell_list[i], __FILE__, __LINE__);
    int *const cut[] = {min_node, max_node, connect[4]};
    for (int i = 0; i < 3; ++i) ARRfree_f(cut[i], __FILE__, __LINE__);
    free(map);
    return right;
}

/* A line along x = 0.75 crosses a quadrilateral and the two triangles above it. */
static int line_on_cells(void) {
    const float coords[] = {0, 0, 1, 0, 1, 1, 0, 1, 0, 2, 1, 2};
    const int quads[] = {0, 1, 2, 3}, triangles[] = {3, 5, 4, 3, 2, 5};
    const IsohostCellSet sets[] = {{"quad_1", 1, quads}, {"tri_1", 2, triangles}};
    const float x[] = {0, 1, 1, 0, 0, 1};
    MeshInfo *mesh = NULL;
    if (!isohost_mesh_cells(6, 2, coords, 2, sets, &mesh)) return 0;

    int nnew, nlines, nconnect, cell_count[2], *cell_list[2];
    int *min_node, *max_node, *connect;
    if (UTILisoline(mesh, x, 4, 0, NULL, 0.75, &nnew, &min_node, &max_node, &nlines, &connect, &nconnect,
                    cell_count, cell_list) != 1) {
        return 0;
    }
    /* New nodes on the edges 0-1, 2-3, 3-5 and 4-5; the triangles share the one on 3-5. */
    int right = nnew == 4 && nlines == 3 && nconnect == 6 && cell_count[0] == 1 && cell_count[1] == 2 &&
                cell_list[1][0] == 0 && cell_list[1][1] == 1 && min_node[1] == 2 && max_node[1] == 3;
    int *const arrays[] = {min_node, max_node, connect, cell_list[0], cell_list[1]};
    for (int i = 0; i < 5; ++i) ARRfree_f(arrays[i], __FILE__, __LINE__);
    right = right && parts_of_cells(mesh, x);
    isohost_mesh_free(mesh);
    return right;
}

/* x + 2y at points in a square and a triangle, and outside both, where a null is made up: 5 + 1; and its
 * gradient at all nodes. */
static int values_on_cells(void) {
    const float coords[] = {0, 0, 1, 0, 1, 1, 0, 1, 3, 0}, field[] = {0, 1, 3, 2, 3};
    const int quads[] = {0, 1, 2, 3}, triangles[] = {1, 4, 2};
    const IsohostCellSet sets[] = {{"quad_1", 1, quads}, {"tri_1", 1, triangles}};
    const float points[] = {0.5f, 0.5f, 1.5f, 0.25f, 2.5f, 0.75f};
    MeshInfo *mesh = NULL;
    BlockTable *table = NULL;
    if (!isohost_mesh_cells(5, 2, coords, 2, sets, &mesh)) return 0;
    if (mesh->field_funcs->interp_init_func(mesh, &table) != 1) return 0;

    const int veclen = 1;
    const void *const arrays[] = {field};
    float values[3], high[2] = {5, 0}, null_value[2]; /* slots of 8 bytes */
    void *const outs[] = {values};
    int null_flag = 0;
    const int result = UTILinterpolate_data(3, points, 2, NULL, mesh, table, 1, 4, &veclen, arrays, NULL,
                                            high, &null_flag, null_value, outs);
    float grad[15];
    int right = UTILgrad(mesh, field, 1, 4, 0, NULL, grad);
    for (int i = 0; i < 15; ++i) right = right && fabsf(grad[i] - (float)((i + 1) % 3)) < 1e-6f;

    float velocity[10], line[20], vectors[20], next[2];
    int npoints = 0;
    for (int i = 0; i < 10; ++i) velocity[i] = (float)((i + 1) % 2);
    right = right && UTILstream_line(mesh, table, velocity, 4, 2, 0, NULL, 4, 1, 2, 1e-3, points, 10,
                                     &npoints, line, vectors, 0, NULL, NULL, NULL, NULL, next) == 1;
    right = right && npoints > 3 && line[2 * npoints - 1] == 0.5f && line[2 * npoints - 2] > 1 && next[0] > 2;
    isohost_block_table_free(table);
    isohost_mesh_free(mesh);
    return right && result == 1 && fabsf(values[0] - 1.5f) < 1e-6f && fabsf(values[1] - 2) < 1e-6f &&
           values[2] == 6 && null_flag == 1 && null_value[0] == 6;
}

/* Points on a line, brought to the nodes that they stand on, and fitted. */
static int fit_of_points(void) {
    const float x[] = {2, 0, 1}, y[] = {7, 1, 4}, min = 0, max = 2, null_value = -1, nodes[] = {0, 1, 2};
    const int dims = 3;
    int radius = 0, null_flag = 0;
    float on_nodes[3];
    double line[2];
    return UTILscat_data_interp2(3, 1, x, 4, 1, y, &min, &max, 1, &dims, &radius, 2, &null_flag, &null_value,
                                 on_nodes) == 1 &&
           radius == 1 && null_flag == 0 && UTILleast_squares(3, nodes, 4, on_nodes, 2, line) == 1 &&
           fabs(line[0] - 1) < 1e-9 && fabs(line[1] - 3) < 1e-9;
}

/* Four triangles round a point in a square, their edges, and those of the square. */
static int mesh_of_points(void) {
    const float points[] = {0, 0, 1, 0, 0, 1, 1, 1, 0.4f, 0.5f}, min[] = {0, 0}, max[] = {1, 1};
    int ntri, nedges, nouter, *tris, *edges, *outer;
    if (UTILdelaun_tess_2D(5, points, 2, min, max, 0, &ntri, &tris) != 1 ||
        UTILedges_2D(5, ntri, 3, tris, 3, &nedges, &edges) != 1 ||
        UTILexternal_edges(5, 2, points, ntri, 3, 3, tris, &nouter, &outer, 1) != 1) {
        return 0;
    }
    int *const arrays[] = {tris, edges, outer};
    for (int i = 0; i < 3; ++i) ARRfree_f(arrays[i], __FILE__, __LINE__);
    return ntri == 4 && nedges == 8 && nouter == 4;
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
    const int others = line_on_cells() && values_on_cells() && fit_of_points() && mesh_of_points();
    return fabs(area - sphere) < 0.01 * sphere && euler == 2 && others ? 0 : 1;
}
