#include <isofield.h>

int count_triangles(MeshInfo *mesh, const float *values, double level);
