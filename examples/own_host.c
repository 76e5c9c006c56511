/* own_host.c: the library under a program's own host. The first half is the host: every service that
 * isofield_host.h names, on malloc and standard error, for one thread. The second half makes a mesh record,
 * binds methods by their registered names, and takes a surface and its normals. Links isofield alone. */
#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "example.h"
#include "isofield.h"

/* ---- The host: arrays ---- */

void *ARRrealloc_f(void *ptr, int type, int count, void *reserved, const char *file, int line) {
    (void)reserved, (void)file, (void)line;
    const size_t size = (size_t)count * (size_t)DTYPEtype_size[type];
    return realloc(ptr, size > 0 ? size : 1);
}

void *ARRalloc_f(void *reserved, int type, int count, void *reserved2, const char *file, int line) {
    (void)reserved2;
    return ARRrealloc_f(NULL, type, count, reserved, file, line);
}

void ARRfree_f(void *ptr, const char *file, int line) {
    (void)file, (void)line;
    free(ptr);
}

/* ---- Reports ---- */

void ERRerror(const char *module, int level, int severity, const char *text, ...) {
    (void)level, (void)severity;
    va_list arguments;
    va_start(arguments, text);
    fprintf(stderr, "%s: ", module);
    vfprintf(stderr, text, arguments);
    va_end(arguments);
}

void ERRout_of_memory(const char *text) {
    fprintf(stderr, "out of memory: %s\n", text);
    exit(1);
}

/* ---- Progress: the percentages of nested ranges, mapped to one ---- */

static double range_low[32] = {0}, range_high[32] = {100};
static int depth = 0, most_percent = 0;

void OMpush_status_range(int lo, int hi) {
    const double low = range_low[depth], width = range_high[depth] - low;
    if (depth == 31) abort();
    range_low[++depth] = low + width * lo / 100;
    range_high[depth] = low + width * hi / 100;
}

void OMpop_status_range(void) {
    --depth;
}

int OMstatus_check(int percent, const char *text, int *interrupt) {
    (void)text;
    const double whole = range_low[depth] + (range_high[depth] - range_low[depth]) * percent / 100;
    if (whole > most_percent) most_percent = (int)whole;
    *interrupt = 0; /* 1 would stop the operation */
    return 0;
}

/* ---- The registry: the library's table of functions, as FLD_METHinit hands it over ---- */

static const NamedFunc *functions = NULL;
static int nfunctions = 0;

int OMadd_named_funcs(const NamedFunc *table, int count) {
    functions = table;
    nfunctions = count;
    return 1;
}

/* ---- Small matrices, in row-major order ---- */

void MATvec_by_mat(const float *a, const float *b, float *out, int m, int n, int p) {
    const size_t size = sizeof(float) * (size_t)m * (size_t)p;
    float *product = malloc(size); /* `out` may be `a` or `b` */
    if (!product) ERRout_of_memory("matrix");
    for (int i = 0; i < m * p; ++i) {
        product[i] = 0;
        for (int k = 0; k < n; ++k) product[i] += a[i / p * n + k] * b[k * p + i % p];
    }
    memcpy(out, product, size);
    free(product);
}

void MATvec3_mat4_multiply(float *v, const float *m) {
    const float x = v[0], y = v[1], z = v[2];
    for (int i = 0; i < 3; ++i) v[i] = x * m[i] + y * m[4 + i] + z * m[8 + i] + m[12 + i];
}

float MATmat2_inverse(const float *m, float *out) {
    const double a = m[0], b = m[1], c = m[2], d = m[3], determinant = a * d - b * c;
    if ((float)determinant == 0) return 0;
    const double inverse[4] = {d, -b, -c, a};
    for (int i = 0; i < 4; ++i) out[i] = (float)(inverse[i] / determinant);
    return (float)determinant;
}

float MATmat3_inverse(const float *m, float *out) {
    double cofactor[9], determinant = 0;
    for (int i = 0; i < 9; ++i) {
        const int r = (i / 3 + 1) % 3 * 3, s = (i / 3 + 2) % 3 * 3, c = (i + 1) % 3, d = (i + 2) % 3;
        cofactor[i] = (double)m[r + c] * m[s + d] - (double)m[r + d] * m[s + c];
    }
    for (int i = 0; i < 3; ++i) determinant += m[i] * cofactor[i];
    if ((float)determinant == 0) return 0;
    for (int i = 0; i < 9; ++i) out[i] = (float)(cofactor[i % 3 * 3 + i / 3] / determinant);
    return (float)determinant;
}

void MATmat3_transpose(const float *m, float *out) {
    const float copy[9] = {m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]};
    memcpy(out, copy, sizeof copy);
}

void MATmat4_translate(float *m, float x, float y, float z) {
    const float translation[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1};
    memcpy(m, translation, sizeof translation);
}

void MATbuild_sqrt_table(void) {}

/* ---- Element types ---- */

const int DTYPEtype_size[6] = {1, 1, 2, 4, 4, 8};

void UTILtype_to_double(double *out, const void *value, int type) {
    switch (type) {
        case 0:
            *out = *(const signed char *)value;
            break;
        case 1:
            *out = *(const unsigned char *)value;
            break;
        case 2:
            *out = *(const short *)value;
            break;
        case 3:
            *out = *(const int *)value;
            break;
        case 4:
            *out = *(const float *)value;
            break;
        case 5:
            *out = *(const double *)value;
            break;
    }
}

void UTILtype_to_float(float *out, const void *value, int type) {
    double wide = 0;
    UTILtype_to_double(&wide, value, type);
    *out = (float)wide;
}

void UTILdouble_to_type(void *to, double value, int type) {
    switch (type) {
        case 0:
            *(signed char *)to = (signed char)value;
            break;
        case 1:
            *(unsigned char *)to = (unsigned char)value;
            break;
        case 2:
            *(short *)to = (short)value;
            break;
        case 3:
            *(int *)to = (int)value;
            break;
        case 4:
            *(float *)to = (float)value;
            break;
        case 5:
            *(double *)to = value;
            break;
    }
}

void DTYPEcvt_copy_array_list(int count, int target, int source, const void *from, const int *list,
                              void *to) {
    for (int k = 0; k < count; ++k) {
        double value = 0; /* holds every value of the other types */
        UTILtype_to_double(&value, (const char *)from + (ptrdiff_t)list[k] * DTYPEtype_size[source], source);
        UTILdouble_to_type((char *)to + (ptrdiff_t)k * DTYPEtype_size[target], value, target);
    }
}

int get_connect_struct(int ndim, const int *dims, int first, int end, int *out) {
    return UTILget_connect_struct(ndim, dims, first, end, out);
}

/* ---- A mesh record: one set of hexahedra ---- */

enum { kCells = 40, kNodes = kCells + 1, kCount = kNodes * kNodes * kNodes, kFloat = 4 };

static float coords[kCount][3], values[kCount], gradients[kCount][3];
static int hexahedra[kCells * kCells * kCells][8];

static int get_coords(MeshInfo *mesh, float **out) {
    (void)mesh;
    *out = coords[0];
    return 1;
}

static int get_cell_set(MeshInfo *mesh, int set, int **out) {
    (void)mesh, (void)set;
    *out = hexahedra[0];
    return 1;
}

/* Puts the function of a name into a slot; names that are not registered leave it null. */
static void bind(void *slots, size_t slot, const char *name) {
    for (int i = 0; i < nfunctions; ++i) {
        if (!strcmp(functions[i].name, name))
            memcpy((char *)slots + slot * sizeof functions[i].func, &functions[i].func,
                   sizeof functions[i].func);
    }
}

static MeshInfo make_mesh(void) {
    static FieldFuncs methods;
    static CellFuncs cell_methods;
    static int first = 0, ncells = kCells * kCells * kCells, nnodes = 8, ndim = 3, order = 1, *cells;
    /* The nodes of a hexahedron in its parametric space, as the chapter on shape functions has them. */
    static float uvw[8][3] = {{-1, 1, 1},  {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},
                              {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1}, {1, 1, -1}};
    static float *node_uvw = uvw[0];

    /* The methods of the mesh have the names of their slots; grids have a suffix, as in isosurf_func_unif. */
    for (size_t slot = 0; slot < 21; ++slot) bind(&methods, slot, FIELD_FUNC_NAME[slot]);
    /* Those of cells are named after the cell type. */
    for (size_t slot = 0; slot < 13; ++slot) {
        if (!strcmp(SET_FUNC_NAME[slot], "shape_func")) bind(&cell_methods, slot, "shape_func_hex_1");
        if (!strcmp(SET_FUNC_NAME[slot], "shape_deriv_func")) bind(&cell_methods, slot, "shape_deriv_hex_1");
        if (!strcmp(SET_FUNC_NAME[slot], "slice_func")) bind(&cell_methods, slot, "slice_cell_hex_1");
    }

    MeshInfo mesh = {0};
    mesh.nspace = 3;
    mesh.nnodes = kCount;
    mesh.field_funcs = &methods;
    mesh.get_coords = get_coords;
    mesh.get_cell_set = get_cell_set;
    mesh.ncell_sets = 1;
    mesh.ncells = ncells;
    mesh.cell_first = &first;
    mesh.cell_ncells = &ncells;
    mesh.cell_nnodes = &nnodes;
    mesh.cell_ndim = &ndim;
    mesh.cell_order = &order;
    mesh.cell_connect = &cells;
    mesh.cell_node_uvw = &node_uvw;
    mesh.cell_funcs = &cell_methods;
    for (int d = 0; d < 3; ++d) mesh.coord_max[d] = 1;
    return mesh;
}

int main(void) {
    FLD_METHinit();
    MeshInfo mesh = make_mesh();

    /* A cube of hexahedra, and at its nodes the distance from its middle. */
    const int dims[3] = {kNodes, kNodes, kNodes};
    UTILget_connect_struct(3, dims, 0, mesh.ncells, hexahedra[0]);
    for (int n = 0; n < kCount; ++n) {
        const int at[3] = {n % kNodes, n / kNodes % kNodes, n / (kNodes * kNodes)};
        double squares = 0;
        for (int d = 0; d < 3; ++d) {
            coords[n][d] = (float)at[d] / kCells;
            squares += (coords[n][d] - 0.5) * (coords[n][d] - 0.5);
        }
        values[n] = (float)sqrt(squares);
    }

    /* The sphere where the distance is 0.4, and on it the gradient, which is its normal. */
    int nnew, *min_node, *max_node, nlines, *lines, line_size, ntriangles, *triangles, size;
    if (UTILisosurf(&mesh, values, kFloat, 0, NULL, 0.4, &nnew, &min_node, &max_node, &nlines, &lines,
                    &line_size, &ntriangles, &triangles, &size, NULL, NULL) != 1 ||
        UTILgrad(&mesh, values, 1, kFloat, 0, NULL, gradients[0]) != 1) {
        return 1;
    }
    float *t = malloc(sizeof *t * (size_t)nnew);
    float *points = malloc(sizeof *points * 3 * (size_t)nnew);
    float *normals = malloc(sizeof *normals * 3 * (size_t)nnew);
    if (!t || !points || !normals) return 1;
    UTILget_param(nnew, kFloat, values, 0.4, min_node, max_node, t);
    UTILeval_coord(&mesh, nnew, min_node, max_node, t, points);
    UTILeval_param(nnew, 3, kFloat, gradients, 0, NULL, min_node, max_node, t, normals);

    write_obj("own_host.obj", points, (size_t)nnew, triangles, (size_t)ntriangles);
    check("area of the sphere", area_of(points, triangles, (size_t)ntriangles), 4 * acos(-1.0) * 0.16, 0.01);
    double along = 0, least = 1;
    for (int i = 0; i < nnew; ++i) {
        double dot = 0;
        for (int d = 0; d < 3; ++d) dot += normals[3 * i + d] * (points[3 * i + d] - 0.5) / 0.4;
        along += dot / nnew;
        if (dot < least) least = dot;
    }
    check("gradient along the radius, mean", along, 1, 0.002);
    check("gradient along the radius, least", least, 1, 0.005);
    check("progress that was told, percent", most_percent, 100, 20);

    float *const own[] = {t, points, normals};
    int *const made[] = {min_node, max_node, triangles};
    for (int i = 0; i < 3; ++i) {
        free(own[i]);
        ARRfree_f(made[i], __FILE__, __LINE__);
    }
    return finish("own_host");
}
