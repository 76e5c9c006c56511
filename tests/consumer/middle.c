#include "middle.h"

#include <stddef.h>

int count_triangles(MeshInfo *mesh, const float *values, double level) {
    int nnew, *min_node, *max_node, nlines, *lines, line_size, ntriangles, *triangles, size;
    if (UTILisosurf(mesh, values, 4, 0, NULL, level, &nnew, &min_node, &max_node, &nlines, &lines, &line_size,
                    &ntriangles, &triangles, &size, NULL, NULL) != 1) {
        return 0;
    }
    int *const made[] = {min_node, max_node, triangles};
    for (int i = 0; i < 3; ++i) ARRfree_f(made[i], __FILE__, __LINE__);
    return ntriangles;
}
