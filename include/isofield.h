/* isofield.h: the records and every public operation of the library.
 *
 * isofield turns a field (a mesh of nodes and cells, with data arrays on them) into derived geometry and
 * derived data. This header is the manual. The services that the library needs from its host are in
 * isofield_host.h; most programs are better served by the default host and its C++ front, isofield.hpp.
 *
 * GLOSSARY
 *
 * Arrays      are plain and packed: coordinates are floats, node-major, `nspace` components per node; data
 *             arrays are node-major, `veclen` components per node, in one of six element types. Shapes are
 *             written rows x columns.
 * Type codes  0 char (signed, 8 bits), 1 byte (unsigned, 8 bits), 2 short (16 bits), 3 int (32 bits),
 *             4 float, 5 double.
 * Families    An operation on typed arrays is a dispatcher with a type code, and six members named after the
 *             type (_char _byte _short _int _float _double) that do the work. Documented once, on the
 *             dispatcher. A scalar of the data's type reaches a dispatcher by pointer and a member by value:
 *             as int for the four integer types, as double for float and double. A member narrows it to its
 *             own type on entry.
 * Mesh kinds  cells (coordinates and cell sets), and three regular kinds: structured (dims and coordinates),
 *             uniform (dims and two corners), rectilinear (dims and grid lines).
 * Grids       Node (i, j, k) has the number i + dims[0] * (j + dims[1] * k). A cell is named by one of two
 *             numbers: the packed number counts cells, (i + (dims[0]-1) * (j + (dims[1]-1) * k)); the corner
 *             number is the number of the cell's lowest node. Each function says which it takes; they must
 *             never be mixed up.
 * Cell sets   Cells of one type stand in a set; a global cell id counts through the sets in order.
 * Winding     See the chapter on case tables for the corner numbering of each cell kind. Cells so numbered
 *             have positive volume.
 * Levels      are doubles whatever the data's type. At or above (>=) is the upper side, without tolerance.
 * Nulls       mark missing data. A null is exact equality with the null value, in the data's own type; on
 *             vector data the first component alone counts. A null pointer is allowed as null_value while the
 *             null flag is 0. NaN is below every level and never equals a null.
 * New nodes   of an extraction come as edges: new node k lies between the nodes min_node[k] < max_node[k].
 *             Where on the edge is found by UTILget_param, coordinates by UTILeval_coord and data by
 *             UTILeval_param.
 * Ownership   A result array (`T **out`) is made by the host's ARRalloc_f and is the caller's, to be freed
 *             with ARRfree_f. It may be longer than what is used. After a failure every result is empty:
 *             counts 0, pointers null. Working memory is freed before a call returns.
 * Results     1 is success and 0 failure unless the function says otherwise. A failure is reported through
 *             the host's ERRerror, or on standard error where the function says so; a failed allocation may
 *             go unreported.
 * Progress    Long loops report percentages through the host and ask whether to stop. A stopped operation
 *             frees what it holds and ends with the result its description tells, without a report.
 * Threads     No function locks. A MeshInfo is written while operations run (its caches), so one mesh, with
 *             its copies, serves one operation at a time; different meshes may be worked on at once.
 * Trust       Pointers, counts and node numbers are trusted. A host checks what people hand it. */
#ifndef ISOFIELD_H
#define ISOFIELD_H

#define ISOFIELD_VERSION_MAJOR 0
#define ISOFIELD_VERSION_MINOR 1
#define ISOFIELD_VERSION_PATCH 0

#include "isofield_host.h"

#if defined(__GNUC__)
#define ISOFIELD_API __attribute__((visibility("default")))
#else
#define ISOFIELD_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* DECLARE(suffix, element type, type of a scalar passed by value) for each of the six element types. */
#define ISOFIELD_FAMILY(DECLARE)      \
    DECLARE(char, signed char, int)   \
    DECLARE(byte, unsigned char, int) \
    DECLARE(short, short, int)        \
    DECLARE(int, int, int)            \
    DECLARE(float, float, double)     \
    DECLARE(double, double, double)

/* ====================================================================================================
 * Records
 * ==================================================================================================== */

typedef struct MeshInfo MeshInfo;
typedef struct FieldFuncs FieldFuncs;
typedef struct SetFuncs SetFuncs;
typedef struct BlockTable BlockTable; /* spatial search table of a mesh */
typedef struct EdgeTable EdgeTable;
typedef struct EdgeTable2 EdgeTable2;

/* The mesh-level methods of one mesh kind, in the order of FIELD_FUNC_NAME. The host binds them by name; a
 * null slot means that the kind has no such operation. The arguments are those of the public operation that
 * calls the slot. */
struct FieldFuncs {
    int (*interp_init_func)(MeshInfo *mesh, BlockTable **out);
    int (*find_cell_func)(MeshInfo *mesh, BlockTable *table, const float *xyz, int *cell, float *uvw);
    int (*interp_cell_func)(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol, float *uvw);
    int (*interp_data_func)(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
                            const void *null_value, int npts, const float *uvw, float *out);
    int (*cell_extent_func)(MeshInfo *mesh, int cell, float *min, float *max);
    int (*coord_list_func)(MeshInfo *mesh, int count, const int *list, float *out);
    int (*data_list_func)(MeshInfo *mesh, int dtype, int veclen, const void *data, int count, const int *list,
                          void *out);
    int (*isosurf_func)(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                        double level, int *nnew, int **min_node, int **max_node, int *nlines,
                        int **line_connect, int *line_size, int *ntris, int **tri_connect, int *tri_size,
                        int *cell_count, int **cell_list);
    int (*isoline_func)(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                        double level, int *nnew, int **min_node, int **max_node, int *nlines, int **connect,
                        int *nconnect, int *cell_count, int **cell_list);
    int (*cut_func)(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                    double level, int side, int *nold, int **node_map, int *nnew, int **min_node,
                    int **max_node, int *ncells, int **connect, int *connect_size, int *cell_count,
                    int **cell_list);
    int (*eval_coord_func)(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b, const float *t,
                           float *out);
    int (*glyph_func)(MeshInfo *mesh, int dtype, int veclen, const void *data, int null_flag,
                      const void *null_value, int scale_veclen, int map_veclen, const void *scale_data,
                      const void *map_data, int orient, int vector_scale, int normalize, double scale,
                      const int *axis_flags, const float *node_xform, int glyph_nnodes, int glyph_nspace,
                      const float *glyph_coords, const float *glyph_xform, int out_nspace, float *out_coords,
                      float *out_data);
    int (*thresh_null_func)(MeshInfo *mesh, const void *data, int dtype, const void *null_value, int *nkept,
                            int **node_list, int nsets, int *ncells, int **connect, int *connect_size);
    int (*rslice_func)(const int *dims, const float *points, const float *normal, double dist, int *out_dims,
                       float **out_points, int n, float *matrix, int **min_node, int **max_node,
                       float **weights, unsigned char **flags);
    int (*grad_func)(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                     const void *null_value, float *out);
    int (*curl_func)(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                     const void *null_value, float *out);
    int (*div_func)(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                    const void *null_value, float *out);
    int (*deriv3d_func)(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
                        const void *null_value, const float *pcoord, float *out);
    int (*deriv2d_func)(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
                        const void *null_value, const float *pcoord, float *out, float *rotate,
                        float *xcoords);
    int (*contour_func)(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                        double lo, double hi, int *nold, int **node_map, int *nnew, int **min_node,
                        int **max_node, char **level_flag, int *ncells, int **connect, int *connect_size,
                        int nspace, float **coords, int *nlines_lo, int **lines_lo, int *nlines_hi,
                        int **lines_hi);
    int (*cell_to_node_func)(MeshInfo *mesh, int set, int dtype, const void *data, int veclen, int null_flag,
                             const void *null_value, int power, void *out, float **weights,
                             char **null_flags);
};

/* The methods of one cell type, in the order of SET_FUNC_NAME. A kernel works on one whole cell set; the
 * *_tesselate slots take the linear kernel that works on the pieces of a quadratic set. */
struct SetFuncs {
    void (*shape_func)(const float *uvw, float *out);
    void (*shape_deriv_func)(const float *uvw, float *out);
    int (*rev_par_func)(const float *node_xyz, const float *xyz, float *uvw);
    int (*slice_func)(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, EdgeTable *table,
                      int **connect, int *size, int *capacity, int **cell_list);
    int (*cut_func)(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, int side, int nold,
                    const int *node_map, EdgeTable *table, int *ncells, int **connect, int *connect_size,
                    int *capacity, int *cell_count, int **cell_list);
    int (*isoline_func)(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, EdgeTable *table,
                        int **connect, int *size, int *capacity, int **cell_list);
    int (*vol_integr_func)(MeshInfo *mesh, int set, int cell, const void *data, int dtype, int null_flag,
                           const void *null_value, float *volume, float *integral);
    int (*contour_func)(MeshInfo *mesh, int set, int dtype, const void *data, int null_flag,
                        const void *null_value, double lo, double hi, int nold, const int *node_map,
                        EdgeTable2 *table, int *ncells, int **connect, int *connect_size, int *capacity,
                        int *nlines_lo, int **lines_lo, int *nlines_hi, int **lines_hi);
    int (*tesselate_func)(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode);
    int (*slice_func_tesselate)(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask,
                                EdgeTable *table, int **connect, int *size, int *capacity, int **cell_list);
    int (*cut_func_tesselate)(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, int side,
                              int nold, const int *node_map, EdgeTable *table, int *ncells, int **connect,
                              int *connect_size, int *capacity, int *cell_count, int **cell_list);
    int (*isoline_func_tesselate)(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask,
                                  EdgeTable *table, int **connect, int *size, int *capacity, int **cell_list);
    int (*contour_func_tesselate)(MeshInfo *mesh, int set, int dtype, const void *data, int null_flag,
                                  const void *null_value, double lo, double hi, int nold, const int *node_map,
                                  EdgeTable2 *table, int *ncells, int **connect, int *connect_size,
                                  int *capacity, int *nlines_lo, int **lines_lo, int *nlines_hi,
                                  int **lines_hi);
};

/* A cell set's row of method words: the first 13 are its SetFuncs, the others are unused by the library. */
typedef union CellFuncs {
    SetFuncs funcs;
    void *word[256];
} CellFuncs;

/* The library's view of a mesh. The host fills it and owns every array behind it, for as long as the record
 * lives; the three cache words start at null, and the library stores there what the callbacks hand out, once
 * per record. A callback returns 1 or more on success, with its out pointer set. */
struct MeshInfo {
    void *host_id; /* the host's own word */
    int ndim;      /* dimensions of a grid, 1 to 3 */
    int *dims;     /* ndim node counts, fastest axis first */
    int nspace;    /* coordinate components per node, 1 to 3; may exceed ndim */
    int nnodes;    /* nodes of the mesh */
    /* cache. Uniform: lower and upper corner, 2 x nspace. Rectilinear: dims[0] + ... + dims[ndim-1] rows of
     * nspace; the lines of axis d stand in column d of its own rows, the other columns are unused. */
    float *points;
    float *coords;      /* cache. nnodes x nspace */
    float coord_min[3]; /* lower corner of the coordinates */
    float coord_max[3]; /* upper corner */
    FieldFuncs *field_funcs;
    int (*get_coords)(MeshInfo *mesh, float **out);
    /* Writes the coordinates of a grid's nodes from min up to, not including, max, ndim ints each. */
    int (*get_sub_coords)(MeshInfo *mesh, const int *min, const int *max, float *out);
    int (*get_points)(MeshInfo *mesh, float **out);
    int ncell_sets;        /* cell sets; a grid with cells has one, of its one cell type */
    int ncells;            /* cells of all sets */
    int *cell_first;       /* per set: global id of its first cell */
    int *cell_ncells;      /* per set: cells */
    int *cell_nnodes;      /* per set: nodes per cell */
    int *cell_ndim;        /* per set: 1 line, 2 tri and quad, 3 tet, prism, pyr and hex */
    int *cell_order;       /* per set: 1 linear, 2 quadratic */
    int **cell_connect;    /* cache. Per set: cell_ncells x cell_nnodes node numbers */
    float **cell_node_uvw; /* per set: cell_nnodes x 3, parametric coordinates of a cell's nodes */
    CellFuncs *cell_funcs; /* per set: its methods */
    int (*get_cell_set)(MeshInfo *mesh, int set, int **out);
};

/* Copies a mesh record for the duration of an operation; `*out` is from malloc and is released by free alone.
 * Shallow: dims and the per-set arrays are the source's own. points and coords start at null in the copy;
 * coord_min, coord_max and cell_order are not copied and must not be read there, nor the per-set words of a
 * mesh without cell sets. Result 1; 0 when there is no memory, with *out null. */
ISOFIELD_API int UTILcopy_mesh_info(const MeshInfo *mesh, MeshInfo **out);

/* Makes `connect` (ncells x nnodes) the cells of a set. Copies of a record share these words with their
 * source, so the source sees it too; whoever replaces a set puts the old values back. cell_first stays.
 * Result 1. */
ISOFIELD_API int UTILreplace_cell_set(MeshInfo *mesh, int set, int ncells, int *connect, int nnodes);

/* Finds the set of the global cell id `cell`: *local is its number within the set, *set the set. Result 1, or
 * 0 when *set is negative afterwards. A cell beyond all sets leaves *set as it was, so start it at -1; a
 * negative id gives a negative *local, which is not tested. */
ISOFIELD_API int UTILget_cell_id(const MeshInfo *mesh, int cell, int *local, int *set);

/* ====================================================================================================
 * Registry
 * ==================================================================================================== */

/* Hands the table of named functions to the host (OMadd_named_funcs) and returns the host's result. To be
 * called once, before a mesh is bound. A method's name is its slot's name: with the suffix _struct, _unif or
 * _rect for a mesh-level method of a regular kind (isosurf_func_unif), with the cell type for a cell method
 * (slice_cell_hex_1). */
ISOFIELD_API int FLD_METHinit(void);

/* The table itself; names may stand twice, with the same function. */
ISOFIELD_API extern const NamedFunc dproc_table[];

/* Slot names of FieldFuncs and SetFuncs, in slot order. */
ISOFIELD_API extern const char *const FIELD_FUNC_NAME[21];
ISOFIELD_API extern const char *const SET_FUNC_NAME[13];

/* ====================================================================================================
 * Coordinates, connectivity and extents
 * ==================================================================================================== */

/* Writes the nodes of the packed cells `first` to `end` - 1 of a grid, one row a cell, to `out`: 2, 4 or 8
 * nodes for ndim 1, 2, 3, in the order c, c+1, c+d0+1, c+d0, then the same four one plane up. Never takes
 * corner numbers. Result 1, also for an empty range; another ndim is told on standard error and gives 0. */
ISOFIELD_API int UTILget_connect_struct(int ndim, const int *dims, int first, int end, int *out);

/* Coordinates of the nodes `first` to `end` - 1 of a uniform or rectilinear grid, components comp_first to
 * comp_end - 1. Component d of row r is stored at out[r * (comp_end - comp_first) + d]: with comp_first above
 * 0 the output starts comp_first places into `out`, and `out` must have room for them. Components from ndim
 * on are points[d].
 *   points  as in MeshInfo, of nspace columns
 * An axis of one node takes the lower corner. The rectilinear form splits node numbers along nspace axes, so
 * `dims` must hold nspace counts there. Result 1. */
ISOFIELD_API int UTILget_coords_unif(int ndim, const int *dims, int nspace, const float *points, int first,
                                     int end, int comp_first, int comp_end, float *out);
ISOFIELD_API int UTILget_coords_rect(int ndim, const int *dims, int nspace, const float *points, int first,
                                     int end, int comp_first, int comp_end, float *out);

/* Bounding box of the nodes that the cell sets reach, nspace floats each. Apart from the very first cell, the
 * first node of a cell takes no part: a node that is only ever the first of its cells does not widen the box.
 * Without cell sets min and max are left alone. Result 1; 0 when coordinates or cells are not to be had. */
ISOFIELD_API int UTILfield_extent(MeshInfo *mesh, float *min, float *max);

/* Bounding box of one cell, nspace floats each: on cell sets by global cell id (an id outside all sets: 0,
 * not reported), on grids by corner number, which is not tested against the grid's last rows. The cell type
 * of a structured grid is that of its set 0; a rectilinear axis of one node must not be asked for. Result 1
 * or 0. */
ISOFIELD_API int UTILcell_extent(MeshInfo *mesh, int cell, float *min, float *max);
ISOFIELD_API int UTILcell_extent_struct(MeshInfo *mesh, int cell, float *min, float *max);
ISOFIELD_API int UTILcell_extent_unif(MeshInfo *mesh, int cell, float *min, float *max);
ISOFIELD_API int UTILcell_extent_rect(MeshInfo *mesh, int cell, float *min, float *max);

/* ====================================================================================================
 * Data arrays
 * ====================================================================================================
 * Plain operations on typed arrays. Counts below 1 do nothing and give 1; an unknown type code is reported
 * ("unknown data type") and gives 0. */

/* Gathers rows: row k of `out` is row ids[k] of `in`, for k below `n`.
 *   unused   never read; pass null
 *   in, out  rows of veclen elements of dtype */
ISOFIELD_API int UTILcopy_array_list(const void *unused, int veclen, int dtype, const void *in, int n,
                                     const int *ids, void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                \
    ISOFIELD_API int UTILcopy_array_list_##suffix(const void *unused, int veclen, const T *in, int n, \
                                                  const int *ids, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Packs component `comp` of `in` (n x veclen) into `out` (n). */
ISOFIELD_API int UTILextract_scalar(int n, int veclen, const void *in, int dtype, int comp, void *out);
#define ISOFIELD_DECLARE(suffix, T, V) \
    ISOFIELD_API int UTILextract_scalar_##suffix(int n, int veclen, const T *in, int comp, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Builds `out` (n x ncomp) from components of separate arrays of one type: component c of row i is component
 * comps[c] of row i of arrays[c] (n x veclens[c]). veclens, arrays and comps have ncomp elements. */
ISOFIELD_API int UTILextract_vector(int n, const int *veclens, const void *const *arrays, int dtype,
                                    int ncomp, const int *comps, void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                              \
    ISOFIELD_API int UTILextract_vector_##suffix(int n, const int *veclens, const T *const *arrays, \
                                                 int ncomp, const int *comps, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Clamps component `comp` of `in` (n x veclen) to [min, max] into the same component of `out`, whose other
 * components are not touched. Nulls pass unclamped. The limits are brought to the element's type before they
 * are compared (truncated towards zero for integers, so that a minimum of 0.9 lets 0 pass); a limit outside
 * an 8 or 16 bit type wraps around. `min` counts when min_flag is set, `max` when max_flag is; min is tested
 * first. */
ISOFIELD_API int UTILclamp(int n, const void *in, int veclen, int comp, int dtype, int null_flag,
                           const void *null_value, int min_flag, double min, int max_flag, double max,
                           void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                           \
    ISOFIELD_API int UTILclamp_##suffix(int n, const T *in, int veclen, int comp, int null_flag, \
                                        V null_value, int min_flag, V min, int max_flag, V max, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Fills a mask, one byte per element of the packed array `in`: null_byte for a null; else high_byte for a
 * value above `level` (at or above when `inclusive` is set), low_byte for the others. Compared in double. */
ISOFIELD_API int UTILthreshold_scalar(int n, const void *in, int dtype, int null_flag, const void *null_value,
                                      int inclusive, double level, int low_byte, int high_byte, int null_byte,
                                      unsigned char *mask);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                       \
    ISOFIELD_API int UTILthreshold_scalar_##suffix(int n, const T *in, int null_flag, V null_value,          \
                                                   int inclusive, double level, int low_byte, int high_byte, \
                                                   int null_byte, unsigned char *mask);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Replaces rows by a test on another array: row i of `out` is `replacement` throughout when component `comp`
 * of row i of `in` is a null, is below `min` (with min_flag) or above `max` (with max_flag), and row i of
 * `src` otherwise. The limits are brought to the test array's type first, as in UTILclamp. Members stand for
 * every pair of types.
 *   in        n x stride, of in_type
 *   src, out  n x out_veclen, of out_type */
ISOFIELD_API int UTILthreshold(int n, const void *in, int stride, int comp, int in_type, int null_flag,
                               const void *null_value, int min_flag, double min, int max_flag, double max,
                               const void *src, int out_veclen, int out_type, double replacement, void *out);
#define ISOFIELD_DECLARE_PAIR(A, TA, VA, B, TB, VB)                                                     \
    ISOFIELD_API int UTILthreshold_##A##_##B(int n, const TA *in, int stride, int comp, int null_flag,  \
                                             VA null_value, int min_flag, VA min, int max_flag, VA max, \
                                             const TB *src, int out_veclen, VB replacement, TB *out);
#define ISOFIELD_DECLARE(A, TA, VA)                            \
    ISOFIELD_DECLARE_PAIR(A, TA, VA, char, signed char, int)   \
    ISOFIELD_DECLARE_PAIR(A, TA, VA, byte, unsigned char, int) \
    ISOFIELD_DECLARE_PAIR(A, TA, VA, short, short, int)        \
    ISOFIELD_DECLARE_PAIR(A, TA, VA, int, int, int)            \
    ISOFIELD_DECLARE_PAIR(A, TA, VA, float, float, double)     \
    ISOFIELD_DECLARE_PAIR(A, TA, VA, double, double, double)
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE
#undef ISOFIELD_DECLARE_PAIR

/* ====================================================================================================
 * Case tables
 * ====================================================================================================
 * The geometry of cutting one cell by a level. Constant data of the library: read only, never freed. Nodes
 * are the cell's local numbers; the tables know nothing of meshes, and the same arrays serve cell sets and
 * grids.
 *
 * Corner numbering of the six kinds, K below, with their type index:
 *
 *   0 tet           1 prism           2 pyr             3 hex              4 tri          5 quad
 *
 *        3              5                  0             7---------6           2          3-------2
 *       /|\            /|\               /| |\          /|        /|          / \         |       |
 *      / | \          3---4             / | | \        4---------5 |         /   \        |       |
 *     /  2  \         | 2 |            /  2-|--3       | 3-------|-2        0-----1       0-------1
 *    / .   . \        |/ \|           / .   |./        |/        |/
 *   0---------1       0---1          1------4          0---------1
 *
 * tri and quad run counterclockwise. In hex 0 1 2 3 runs counterclockwise seen from above, 4 5 6 7 stands
 * above it; in prism 0 1 2 and 3 4 5 likewise. In tet 0 1 2 runs counterclockwise seen from 3. In pyr 0 is
 * the apex, and the base 1 2 3 4 runs clockwise seen from it. The volume of a cell is positive in this
 * numbering: for a tet, the triple product of the edges from node 0 to nodes 1, 2 and 3.
 *
 * Cuts (CUT...): the simplices of the part of a cell that is kept. The case c is a mask, bit i set when node
 * i is kept. Arrays have CUTmax_index_K rows. Row 0 (nothing kept) is zero; the case CUTmax_index_K (all
 * kept) is no row, its cell is kept whole. New nodes lie on the edges with one end kept, each such edge once,
 * in no special order; within a case they count from 0. On a face of a volume cell with two diagonal nodes
 * kept these stay apart; in a quad the middle belongs with nodes 0 and 2, kept or not. Neighbours may split
 * their common face along different diagonals.
 *
 *   CUTmax_index_K            2 to the number of nodes, less 1
 *   CUTnold_nodes_K[c]        nodes kept
 *   CUTnnew_nodes_K[c]        new nodes
 *   CUTm_ind_K[c]             the case's first element in
 *     CUTmin_node_K             smaller node of each new node's edge
 *     CUTmax_node_K             larger node
 *   CUTncell_K[c]             output cells: tets of positive volume, or triangles running counterclockwise
 *   CUTt_ind_K[c]             the case's first element in
 *     CUTcell_type_K            type index of each output cell: 0 for volume kinds, 4 for tri and quad
 *     CUTcell_nnode_K           its nodes: 4 for volume kinds, 3 for tri and quad
 *   CUTc_ind_K[c]             the case's first element in
 *     CUTconnect_list_K         nodes of the output cells, one cell after the other
 *     CUTnew_flag_list_K        1 when that entry is a new node, 0 when it is a node of the input cell
 *   CUTedge_nline_K[c]        tri and quad: line segments along the level
 *   CUTedge_cind_K[c]         first element in CUTedge_connect_list_K: two new nodes a segment, the kept
 *                             side on the segment's left
 *
 * The arrays CUT..._type[6] hold, by type index, the arrays of the same name of all kinds. */

#define ISOFIELD_CUT_TABLES(K)                                     \
    ISOFIELD_API extern const int CUTmax_index_##K;                \
    ISOFIELD_API extern const int CUTnold_nodes_##K[];             \
    ISOFIELD_API extern const int CUTnnew_nodes_##K[];             \
    ISOFIELD_API extern const int CUTm_ind_##K[];                  \
    ISOFIELD_API extern const int CUTt_ind_##K[];                  \
    ISOFIELD_API extern const int CUTncell_##K[];                  \
    ISOFIELD_API extern const int CUTc_ind_##K[];                  \
    ISOFIELD_API extern const unsigned char CUTmin_node_##K[];     \
    ISOFIELD_API extern const unsigned char CUTmax_node_##K[];     \
    ISOFIELD_API extern const unsigned char CUTcell_type_##K[];    \
    ISOFIELD_API extern const unsigned char CUTcell_nnode_##K[];   \
    ISOFIELD_API extern const unsigned char CUTconnect_list_##K[]; \
    ISOFIELD_API extern const unsigned char CUTnew_flag_list_##K[];
ISOFIELD_CUT_TABLES(tet)
ISOFIELD_CUT_TABLES(prism)
ISOFIELD_CUT_TABLES(pyr)
ISOFIELD_CUT_TABLES(hex)
ISOFIELD_CUT_TABLES(tri)
ISOFIELD_CUT_TABLES(quad)
#undef ISOFIELD_CUT_TABLES

#define ISOFIELD_CUT_LINE_TABLES(K)                    \
    ISOFIELD_API extern const int CUTedge_nline_##K[]; \
    ISOFIELD_API extern const int CUTedge_cind_##K[];  \
    ISOFIELD_API extern const unsigned char CUTedge_connect_list_##K[];
ISOFIELD_CUT_LINE_TABLES(tri)
ISOFIELD_CUT_LINE_TABLES(quad)
#undef ISOFIELD_CUT_LINE_TABLES

ISOFIELD_API extern const int *const CUTnold_nodes_type[6];
ISOFIELD_API extern const int *const CUTnnew_nodes_type[6];
ISOFIELD_API extern const int *const CUTm_ind_type[6];
ISOFIELD_API extern const int *const CUTt_ind_type[6];
ISOFIELD_API extern const int *const CUTncell_type[6];
ISOFIELD_API extern const int *const CUTc_ind_type[6];
ISOFIELD_API extern const unsigned char *const CUTmin_node_type[6];
ISOFIELD_API extern const unsigned char *const CUTmax_node_type[6];
ISOFIELD_API extern const unsigned char *const CUTcell_type_type[6];
ISOFIELD_API extern const unsigned char *const CUTcell_nnode_type[6];
ISOFIELD_API extern const unsigned char *const CUTconnect_list_type[6];
ISOFIELD_API extern const unsigned char *const CUTnew_flag_list_type[6];

/* Contours (CONT...): the triangles of the band between two levels in a tri or quad, and the lines along each
 * level. `lower` is the mask of the nodes at or above the lower level, `upper` of those above the upper one.
 * The row of a case is r = CONTtable_index_K[upper * side + lower], with side 8 in tri and 16 in quad. It is
 * -1 where upper is not a subset of lower, where upper is 0 and where lower is full: fewer than two levels
 * cross such a cell. Rows count from 1: row 0 and the first element of every list are unused zeros.
 *
 *   CONTnold_nodes_K[r]       nodes in the band, the old nodes of the output
 *   CONTvalues_K              level of each new node: 0 lower, 1 upper; parallel to CONTmin_node_K
 *   CONTnedge1_K[r]           segments along the lower level
 *   CONTedge_ind1_K[r]        first element in CONTconnect_edge1_K: two new nodes a segment
 *   CONTnedge2_K[r], CONTedge_ind2_K[r], CONTconnect_edge2_K    the same along the upper level; segments
 *                             have no promised direction
 *
 * The others are as for cuts. */

#define ISOFIELD_CONTOUR_TABLES(K)                                   \
    ISOFIELD_API extern const int CONTtable_index_##K[];             \
    ISOFIELD_API extern const int CONTnold_nodes_##K[];              \
    ISOFIELD_API extern const int CONTnnew_nodes_##K[];              \
    ISOFIELD_API extern const int CONTm_ind_##K[];                   \
    ISOFIELD_API extern const int CONTt_ind_##K[];                   \
    ISOFIELD_API extern const int CONTncell_##K[];                   \
    ISOFIELD_API extern const int CONTc_ind_##K[];                   \
    ISOFIELD_API extern const unsigned char CONTmin_node_##K[];      \
    ISOFIELD_API extern const unsigned char CONTmax_node_##K[];      \
    ISOFIELD_API extern const unsigned char CONTvalues_##K[];        \
    ISOFIELD_API extern const unsigned char CONTcell_type_##K[];     \
    ISOFIELD_API extern const unsigned char CONTcell_nnode_##K[];    \
    ISOFIELD_API extern const unsigned char CONTconnect_list_##K[];  \
    ISOFIELD_API extern const unsigned char CONTnew_flag_list_##K[]; \
    ISOFIELD_API extern const int CONTnedge1_##K[];                  \
    ISOFIELD_API extern const int CONTedge_ind1_##K[];               \
    ISOFIELD_API extern const unsigned char CONTconnect_edge1_##K[]; \
    ISOFIELD_API extern const int CONTnedge2_##K[];                  \
    ISOFIELD_API extern const int CONTedge_ind2_##K[];               \
    ISOFIELD_API extern const unsigned char CONTconnect_edge2_##K[];
ISOFIELD_CONTOUR_TABLES(tri)
ISOFIELD_CONTOUR_TABLES(quad)
#undef ISOFIELD_CONTOUR_TABLES

/* ====================================================================================================
 * Edge tables
 * ====================================================================================================
 * The map from an edge (two node numbers, in either order) to the number of its new node. Numbers count up
 * from 0 in the order of first sight. EdgeTable keys on the edge; EdgeTable2 on the edge and a level flag,
 * for bands that cross an edge twice. The flat form has a bucket per node. The rolling form (_str) has
 * buckets for two rows or two planes of a grid and moves with the sweep; see UTILedge_table_clean.
 *
 * Use: create; any number of adds; then one get_free (free_str) to keep the lists, or one delete
 * (delete_str). After an add that gave 0 a table may only be deleted. Adds return 1, 0 when there is no
 * memory, -1 on a null table; `n` below 1 does nothing. */

struct EdgeTable {
    int *head;     /* per bucket: slot of its first entry, 0 when empty */
    int *next;     /* per slot: next slot of the bucket, 0 at the end. A slot is an entry's number plus 1 */
    int *min_node; /* per entry: smaller node of the edge */
    int *max_node; /* per entry: larger node */
    int nbucket;
    int capacity; /* of next, min_node and max_node; starts at 1024 */
    int count;    /* entries */
    int grow;     /* added to capacity when it runs out: 1024 */
};

struct EdgeTable2 {
    int *head;
    int *next;
    int *min_node;
    int *max_node;
    int nlower;                /* entries of level flag 0 */
    int nupper;                /* entries of another */
    unsigned char *level_flag; /* per entry */
    int nbucket;
    int capacity; /* starts at 1000 */
    int count;    /* nlower + nupper */
    int grow;     /* 1000 */
};

/* Rolling forms: slots are counted apart from entries, and slot_entry tells each slot's entry. */
typedef struct EdgeTableStr {
    int *head;
    int *next;
    int *slot_entry;
    int *min_node;
    int *max_node;
    int capacity; /* of the entries; starts at grow */
    int count;
    int nbucket;
    int slot_capacity; /* of next and slot_entry; starts at grow */
    int next_slot;     /* starts at 1 */
    int grow;
} EdgeTableStr;

typedef struct EdgeTable2Str {
    int *head;
    int *next;
    int *slot_entry;
    int *min_node;
    int *max_node;
    unsigned char *level_flag;
    int nlower;
    int nupper;
    int capacity;
    int count;
    int nbucket;
    int slot_capacity;
    int next_slot;
    int grow;
} EdgeTable2Str;

/* A flat table for nodes 0 to nbucket - 1, or null when there is no memory. */
ISOFIELD_API EdgeTable *UTILedge_table_create(int nbucket);
ISOFIELD_API EdgeTable2 *UTILedge_table2_create(int nbucket);

/* Looks up or makes the entries of the edges (a[i], b[i]), i below n, and writes their numbers to out (n).
 *   level  per edge: its level flag, of which the low byte is the key */
ISOFIELD_API int UTILedge_table_add_points(EdgeTable *table, const int *a, const int *b, int n, int *out);
ISOFIELD_API int UTILedge_table2_add_points(EdgeTable2 *table, const int *a, const int *b, int n,
                                            const int *level, int *out);

/* The same on a table that may have fewer buckets than the mesh has nodes: the bucket of an edge is its
 * smaller node times nbucket / nnodes, an integer quotient: with nbucket below nnodes all edges share bucket
 * 0. */
ISOFIELD_API int UTILedge_table_add_hash_points(EdgeTable *table, const int *a, const int *b, int nnodes,
                                                int n, int *out);

/* Ends a table and hands over its lists: `count` edges, min_node and max_node (and level_flag). The lists are
 * the caller's, to be freed with ARRfree_f. Result 1, or 0 on a null table. */
ISOFIELD_API int UTILedge_table_get_free(EdgeTable *table, int **min_node, int **max_node, int *count);
ISOFIELD_API int UTILedge_table2_get_free(EdgeTable2 *table, int **min_node, int **max_node, int *count,
                                          char **level_flag);

/* Ends a table and its lists. Null is allowed. EdgeTable frees its lists by the standard free, EdgeTable2 by
 * ARRfree_f. Result 1. */
ISOFIELD_API int UTILedge_table_delete(EdgeTable *table);
ISOFIELD_API int UTILedge_table2_delete(EdgeTable2 *table);

/* A rolling table. nbucket: twice the nodes of a row (2D grids) or plane (3D). chunk: the step in which lists
 * grow, at least 1. Null when there is no memory. */
ISOFIELD_API EdgeTableStr *UTILedge_table_create_str(int nbucket, int chunk);
ISOFIELD_API EdgeTable2Str *UTILedge_table2_create_str(int nbucket, int chunk);

/* The adds of a rolling table. `base` is the node number of the window's first node; the smaller node of
 * every edge must lie in the window of nbucket nodes from there. */
ISOFIELD_API int UTILedge_table_add_str(EdgeTableStr *table, const int *a, const int *b, int base, int n,
                                        int *out);
ISOFIELD_API int UTILedge_table2_add_str(EdgeTable2Str *table, const int *a, const int *b, int base, int n,
                                         const int *level, int *out);

/* Moves the window on by `n` nodes, the row or plane that the sweep has finished. Its edges are forgotten
 * (adding one again makes a new entry); those of the next row or plane are still found; numbers and lists
 * stay valid. Result 1, or -1 on a null table. */
ISOFIELD_API int UTILedge_table_clean(EdgeTableStr *table, int n);
ISOFIELD_API int UTILedge_table2_clean(EdgeTable2Str *table, int n);

/* As the get_free and delete operations above, for rolling tables. */
ISOFIELD_API int UTILedge_table_free_str(EdgeTableStr *table, int **min_node, int **max_node, int *count);
ISOFIELD_API int UTILedge_table2_free_str(EdgeTable2Str *table, int **min_node, int **max_node, int *count,
                                          char **level_flag);
ISOFIELD_API int UTILedge_table_delete_str(EdgeTableStr *table);
ISOFIELD_API int UTILedge_table2_delete_str(EdgeTable2Str *table);

/* ====================================================================================================
 * Isosurfaces
 * ==================================================================================================== */

/* The surface along which a scalar takes one level: triangles on new nodes. There is no tolerance: a node at
 * the level counts as above it, so triangles may collapse to a line or a point; they are kept, and a closed
 * surface stays closed and manifold in its node numbers. A cell with a null node makes nothing.
 *   data           nnodes scalars of dtype
 *   nnew, min_node, max_node          the new nodes as edges, in the order in which the cells meet them;
 *                                     lines and triangles of all sets share them
 *   nlines, line_connect, line_size   segments from two-dimensional cells: nlines x 2 new nodes; ints used
 *   ntris, tri_connect, tri_size      triangles from volume cells: ntris x 3 new nodes; ints used
 *   cell_count, cell_list             both null; or per set (one for a grid) the count of its elements, and
 *                                     a list with each element's cell: its number within the set, on a grid
 *                                     its packed number. On a two-dimensional grid the count stays 0 (see
 *                                     UTILisoline). Words of a set without a method are left as they
 *                                     were; a quadratic set that can't be broken up has count 0 and no
 *                                     list
 * The right-hand normal of a triangle points to the side at or above the level on cell sets, for cells
 * numbered as told under case tables, and in index space to the side below it on grids.
 * Result 1 or 0; interrupted, 0 on cell sets and -1 on a grid. A mesh kind without the method is reported
 * ("No isosurf function found\n"): 0. A grid of one dimension, or a set of lines: 0, without a report.
 * Two exceptions. Where two pyramids meet base to base, and each has its nodes 0, 1 and 3 above the level and
 * the others below, the sheet lies double on the base and is not manifold in two edges. And quadratic
 * hexahedra and prisms are cut up in one way whatever their neighbours, so that pieces need not match across
 * a quadrilateral face, and the sheet may part there: hexahedra numbered alike do not match across their
 * faces 0 1 5 4 and 3 2 6 7, nor do prisms whose axes cross. Prisms side by side, and tetrahedra, match.
 * The method: W. Lorensen and H. Cline, "Marching cubes: a high resolution 3D surface construction
 * algorithm", 1987, with a fixed rule for ambiguous faces (nodes above stay apart), so that the surface has
 * no holes, also between cells of unlike kinds. */
ISOFIELD_API int UTILisosurf(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                             const void *null_value, double level, int *nnew, int **min_node, int **max_node,
                             int *nlines, int **line_connect, int *line_size, int *ntris, int **tri_connect,
                             int *tri_size, int *cell_count, int **cell_list);

/* The method of cell sets. The sets are walked in order: volume sets by their slice_func, two-dimensional
 * ones by their isoline_func, sets without either are skipped. A quadratic set is broken into linear pieces
 * (see UTILtesselate_tri_2), at most 1024 cells at a time; its elements tell the quadratic cell. */
ISOFIELD_API int UTILslice_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                 const void *null_value, double level, int *nnew, int **min_node,
                                 int **max_node, int *nlines, int **line_connect, int *line_size, int *ntris,
                                 int **tri_connect, int *tri_size, int *cell_count, int **cell_list);

/* The kernels of volume sets, for the slice_func slot: the triangles of one set.
 *   mask       per node: 1 at or above the level, 0 below, 2 null (looked at with null_flag)
 *   table      a flat table with a bucket per node
 *   connect    the array that grows over the sets of a mesh; null, or *capacity 0, makes a new one
 *   size       ints used in it
 *   capacity   ints of room in it
 *   cell_list  *cell_list is null, or a list of 1024 ints, which is grown: per triangle its cell in the set
 * Result: the triangles made; 0 on a failure; -1 when interrupted. A kernel that has no memory or is
 * interrupted frees the table (UTILedge_table_delete), the mask (free) and *connect, and leaves *connect null
 * and *capacity -1; when the cells are not to be had it frees nothing. */
#define ISOFIELD_DECLARE(name)                                                               \
    ISOFIELD_API int name(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, \
                          EdgeTable *table, int **connect, int *size, int *capacity, int **cell_list);
ISOFIELD_DECLARE(UTILslice_hex)
ISOFIELD_DECLARE(UTILslice_prism)
ISOFIELD_DECLARE(UTILslice_pyr)
ISOFIELD_DECLARE(UTILslice_tet)
#undef ISOFIELD_DECLARE

/* The method of the three grid kinds: lines in two dimensions, by UTILisoline_struct, triangles in three, by
 * the family. Working memory is two planes of the grid. Another dtype than the six gives 0 in three
 * dimensions. */
ISOFIELD_API int UTILslice_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                  const void *null_value, double level, int *nnew, int **min_node,
                                  int **max_node, int *nlines, int **line_connect, int *line_size, int *ntris,
                                  int **tri_connect, int *tri_size, int *cell_count, int **cell_list);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                       \
    ISOFIELD_API int UTILslice_str_##suffix(                                                                 \
        MeshInfo *mesh, const T *data, int null_flag, V null_value, double level, int *nnew, int **min_node, \
        int **max_node, int *ntris, int **tri_connect, int *tri_size, int *cell_count, int **cell_list);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* ====================================================================================================
 * Isolines
 * ==================================================================================================== */

/* The lines along which a scalar takes one level on triangles, quadrilaterals and two-dimensional grids:
 * segments between new nodes. Each crossed edge of the mesh has one new node, shared by all its cells. A
 * segment's direction tells nothing of which side is above. A quadrilateral whose opposite nodes are above
 * the level makes two segments, which cut off its nodes 0 and 2 whichever pair is above: where 0 and 2 are
 * above they are separated, where 1 and 3 are above these are joined.
 *   data                      nnodes scalars of dtype
 *   nnew, min_node, max_node  the new nodes as edges, in the order in which the cells meet them
 *   nlines                    segments
 *   connect, nconnect         nlines x 2 new nodes; ints used. With no set that makes lines connect is null
 *                             and nconnect is left as it was
 *   cell_count, cell_list     both null; or per set the count of its segments and a list with each segment's
 *                             cell within the set. On a grid one list of nlines packed cell numbers, beside a
 *                             count that stays 0. Words of a set without a method are left as they were
 * Null cells make nothing. Result 1 or 0. A mesh kind without the method is reported ("no isoline function
 * found"): 0.
 * UTILisoline_cells is the method of cell sets: every set that has an isoline_func is walked in order, a
 * quadratic one through its linear pieces, at most 1000 cells at a time. UTILisoline_struct is the method of
 * the grids, and its family: ndim is not looked at, so that a grid of three dimensions gives the lines of its
 * first plane; two words of dims are read. There another dtype than the six makes nothing and gives some
 * nonzero number, without a report. Working memory on a grid is two of its rows. */
ISOFIELD_API int UTILisoline(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                             const void *null_value, double level, int *nnew, int **min_node, int **max_node,
                             int *nlines, int **connect, int *nconnect, int *cell_count, int **cell_list);
ISOFIELD_API int UTILisoline_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                   const void *null_value, double level, int *nnew, int **min_node,
                                   int **max_node, int *nlines, int **connect, int *nconnect, int *cell_count,
                                   int **cell_list);
ISOFIELD_API int UTILisoline_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                    const void *null_value, double level, int *nnew, int **min_node,
                                    int **max_node, int *nlines, int **connect, int *nconnect,
                                    int *cell_count, int **cell_list);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                       \
    ISOFIELD_API int UTILisoline_struct_##suffix(                                                            \
        MeshInfo *mesh, const T *data, int null_flag, V null_value, double level, int *nnew, int **min_node, \
        int **max_node, int *nlines, int **connect, int *nconnect, int *cell_count, int **cell_list);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* The kernels of triangles and quadrilaterals, for the isoline_func slot. As the kernels of UTILslice_cells,
 * with these differences: *cell_list has 1000 ints, one per segment; there is no interruption. Cells of more
 * nodes are taken by their first three or four; a null at any of their nodes counts. */
ISOFIELD_API int UTILisoline_tri(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask,
                                 EdgeTable *table, int **connect, int *size, int *capacity, int **cell_list);
ISOFIELD_API int UTILisoline_quad(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask,
                                  EdgeTable *table, int **connect, int *size, int *capacity, int **cell_list);

/* ====================================================================================================
 * Quadratic cells
 * ====================================================================================================
 * The operations that know linear cells alone break a quadratic set into linear cells on the same nodes, by
 * the set's tesselate_func. */

/* Breaks quadratic cells into triangles (tri_2: 4 a cell, quad_2: 6) or tetrahedra (tet_2: 8, pyr_2: 13,
 * prism_2: 16, hex_2: 22). Pieces of a cell stay together, so that the cell of a piece is its number divided
 * by the pieces per cell. pyr_2 has apex, base, then the middles of 01 02 03 04 12 23 34 41; no cell type
 * uses it. prism_2 takes its node 12 as the middle of 0-3 and node 13 as that of 1-4, the other way round
 * from prism_2 cells: a host swaps the two (the default host does).
 *   connect      ncells x nodes of a cell
 *   nout         pieces: ncells times those per cell
 *   out_connect  nout x out_nnode, the caller's (ARRfree_f)
 *   out_nnode    3 or 4
 * Result 1; 0 when there is no memory, with *out_connect null. ncells below 1 writes no piece. */
ISOFIELD_API int UTILtesselate_tri_2(int ncells, const int *connect, int *nout, int **out_connect,
                                     int *out_nnode);
ISOFIELD_API int UTILtesselate_quad_2(int ncells, const int *connect, int *nout, int **out_connect,
                                      int *out_nnode);
ISOFIELD_API int UTILtesselate_tet_2(int ncells, const int *connect, int *nout, int **out_connect,
                                     int *out_nnode);
ISOFIELD_API int UTILtesselate_pyr_2(int ncells, const int *connect, int *nout, int **out_connect,
                                     int *out_nnode);
ISOFIELD_API int UTILtesselate_prism_2(int ncells, const int *connect, int *nout, int **out_connect,
                                       int *out_nnode);
ISOFIELD_API int UTILtesselate_hex_2(int ncells, const int *connect, int *nout, int **out_connect,
                                     int *out_nnode);

/* ====================================================================================================
 * Point lists
 * ====================================================================================================
 * Evaluation between pairs of nodes, which is what new nodes are, and gathering by node list. A negative node
 * number in list_a or list_b means that the pair is skipped: its output stays as it was. */

/* Per pair, where `value` lies between two nodes: t = (value - a) / (b - a), a and b being the data (nnodes
 * scalars) at list_a and list_b; 0 where they are equal. t: npairs floats. Result 1. */
ISOFIELD_API int UTILget_param(int npairs, int dtype, const void *data, double value, const int *list_a,
                               const int *list_b, float *t);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                  \
    ISOFIELD_API int UTILget_param_##suffix(int npairs, const T *data, double value, const int *list_a, \
                                            const int *list_b, float *t);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Per pair, data at its parameter: a + t * (b - a) for each component; float arithmetic, truncated, for the
 * integer types. With null_flag a component that is null at either end is null.
 *   data  nnodes x veclen
 *   t     npairs
 *   out   npairs x veclen, of dtype */
ISOFIELD_API int UTILeval_param(int npairs, int veclen, int dtype, const void *data, int null_flag,
                                const void *null_value, const int *list_a, const int *list_b, const float *t,
                                void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                             \
    ISOFIELD_API int UTILeval_param_##suffix(int npairs, int veclen, const T *data, int null_flag, \
                                             V null_value, const int *list_a, const int *list_b,   \
                                             const float *t, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Per pair, coordinates at its parameter: a + t * (b - a), in float. out: npairs x nspace. A mesh kind
 * without the method is told on standard error: 0. UTILeval_param_coord serves cell sets and structured
 * grids. */
ISOFIELD_API int UTILeval_coord(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b,
                                const float *t, float *out);
ISOFIELD_API int UTILeval_param_coord(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b,
                                      const float *t, float *out);
ISOFIELD_API int UTILeval_param_coord_unif(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b,
                                           const float *t, float *out);
ISOFIELD_API int UTILeval_param_coord_rect(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b,
                                           const float *t, float *out);

/* Coordinates of listed nodes. The meaning of `list` depends on the mesh kind:
 *   cell sets  scatters: list has nnodes entries, and node n goes to row list[n] of `out`, or nowhere when
 *              that is negative; count is not read
 *   grids      gathers: row k of `out` is node list[k], k below count; negative entries are not allowed
 * out: rows of nspace floats. A mesh kind without the method is told on standard error: 0. Result 1 or 0. */
ISOFIELD_API int UTILget_coord_list(MeshInfo *mesh, int count, const int *list, float *out);
ISOFIELD_API int UTILcoord_list(MeshInfo *mesh, int count, const int *list, float *out);
ISOFIELD_API int UTILcoord_list_struct(MeshInfo *mesh, int count, const int *list, float *out);
ISOFIELD_API int UTILcoord_list_unif(MeshInfo *mesh, int count, const int *list, float *out);
ISOFIELD_API int UTILcoord_list_rect(MeshInfo *mesh, int count, const int *list, float *out);

/* Data rows of listed nodes, scattered or gathered as in UTILget_coord_list. The result is a size, not a
 * status: the bytes written, 0 when there were none. An unknown dtype writes nothing and gives some nonzero
 * number.
 *   data, out  rows of veclen elements of dtype */
ISOFIELD_API int UTILget_data_list(MeshInfo *mesh, int dtype, int veclen, const void *data, int count,
                                   const int *list, void *out);
ISOFIELD_API int UTILdata_list(MeshInfo *mesh, int dtype, int veclen, const void *data, int count,
                               const int *list, void *out);
ISOFIELD_API int UTILdata_list_struct(MeshInfo *mesh, int dtype, int veclen, const void *data, int count,
                                      const int *list, void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                  \
    ISOFIELD_API int UTILdata_list_##suffix(const MeshInfo *mesh, int veclen, const T *data, int count, \
                                            const int *list, T *out);                                   \
    ISOFIELD_API int UTILdata_list_struct_##suffix(const MeshInfo *mesh, int veclen, const T *data,     \
                                                   int count, const int *list, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

#ifdef __cplusplus
}
#endif
#endif
