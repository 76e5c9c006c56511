// Isosurfaces: the mesh-level entry.
#include "isofield.h"

int UTILisosurf(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                double level, int *nnew, int **min_node, int **max_node, int *nlines, int **line_connect,
                int *line_size, int *ntris, int **tri_connect, int *tri_size, int *cell_count,
                int **cell_list) {
    if (auto method = mesh->field_funcs->isosurf_func) {
        return method(mesh, data, dtype, null_flag, null_value, level, nnew, min_node, max_node, nlines,
                      line_connect, line_size, ntris, tri_connect, tri_size, cell_count, cell_list);
    }
    ERRerror("UTILisosurf_func", 1, 2, "No isosurf function found\n");
    return 0;
}
