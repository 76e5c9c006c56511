/* isofield.h: the records and every public operation of the library.
 *
 * isofield turns a field (a mesh of nodes and cells, with data arrays on them) into derived geometry, such as
 * isosurfaces, bands, cuts and streamlines, and into derived data, such as gradients, integrals and values at
 * points. This header is the manual. Which header for whom:
 *
 *   isofield.hpp             for C++20: meshes, results that free themselves, exceptions
 *   isofield_default_host.h  for C: meshes from plain arrays, everything checked. Includes this header
 *   isofield_host.h          for those who write a host of their own: what the library imports
 *
 * GETTING STARTED
 *
 * The surface along which voxels (unsigned char) take the value 80, in C, linked with libisofield_host and
 * libisofield:
 *
 *     #include "isofield_default_host.h"
 *
 *     const int dims[] = {181, 217, 181};
 *     const float corners[] = {0, 0, 0, 180, 216, 180};
 *     MeshInfo *mesh;
 *     int nnew, nlines, line_size, ntris, tri_size, *min_node, *max_node, *lines, *tris;
 *     if (!isohost_mesh_uniform(3, dims, 3, corners, &mesh)) return 1;
 *     if (UTILisosurf(mesh, voxels, 1, 0, NULL, 80, &nnew, &min_node, &max_node, &nlines, &lines,
 *                     &line_size, &ntris, &tris, &tri_size, NULL, NULL) == 1) {
 *         float *t = malloc(nnew * sizeof *t), *xyz = malloc(3 * nnew * sizeof *xyz);
 *         UTILget_param(nnew, 1, voxels, 80, min_node, max_node, t);
 *         UTILeval_coord(mesh, nnew, min_node, max_node, t, xyz);
 *         ... the points are xyz (nnew x 3), the triangles tris (ntris x 3 numbers of points) ...
 *         free(xyz); free(t);
 *         ARRfree_f(tris, __FILE__, __LINE__);
 *         ARRfree_f(max_node, __FILE__, __LINE__);
 *         ARRfree_f(min_node, __FILE__, __LINE__);
 *     }
 *     isohost_mesh_free(mesh);
 *
 * A HOST OF ONE'S OWN
 *
 * libisofield links no host: it imports the functions of isofield_host.h by name. A host defines all of them;
 * calls FLD_METHinit once, to be given the table of methods; and fills in a MeshInfo for each mesh, with its
 * counts, its callbacks, the FieldFuncs of its kind and a row of SetFuncs for each cell set, looked up by
 * name in that table (see Registry).
 *
 * CONTENTS
 *
 *   Records                                   MeshInfo and the method vectors; copies, cell sets and cell ids
 *   Registry                                  the table of methods, and their names
 *   Coordinates, connectivity and extents     of grids; bounding boxes of fields and cells
 *   Shape functions and parametric mapping    weights of a cell's nodes; the place of a point in a cell
 *   Jacobians                                 determinants and inverses
 *   Points in cells                           whether a cell holds a point, and the data there
 *   Search                                    which cell holds a point
 *   Integrals                                 lengths, areas, volumes, and integrals over them
 *   Cell data to nodes                        weighted means
 *   Derivatives                               gradient, curl, divergence; derivatives at one point
 *   Data arrays                               gather, extract, clamp, threshold, downsize, resample, filter,
 *                                             blend, generate
 *   Least squares                             polynomials fitted and evaluated; linear systems
 *   Scattered data                            values at points, brought to a grid
 *   Case tables                               corner numbering of cells; how a level cuts one cell
 *   Edge tables                               one new node for each edge
 *   Isosurfaces                               triangles and lines along a level
 *   Isolines                                  lines along a level, on flat cells
 *   Tracing                                   the one sheet or line through a point; lists and sets of cells
 *   Plane slices of grids                     a grid's points on a plane
 *   Bands                                     the part of a mesh between two levels
 *   Cuts                                      the part of a mesh on one side of a level
 *   Meshes without nulls                      the part of a mesh that has data
 *   Quadratic cells                           broken into linear ones
 *   Point lists                               coordinates and data at new nodes, and of listed nodes
 *   Probing                                   data at points anywhere
 *   Streamlines                               paths through a vector field
 *   Glyphs                                    shapes stamped at nodes, turned and sized by data
 *   Triangulations of points                  Delaunay, in the plane and in space
 *   Height grids                              few triangles in place of many heights
 *   Boundaries                                edges, creases and outer faces of meshes
 *   Contours of regions                       strips of triangles between outlines
 *
 * GLOSSARY
 *
 * Arrays      are plain and packed, row after row: coordinates are floats, a row of `nspace` for each node;
 *             data arrays have a row of `veclen` elements for each node, of one of six types. Shapes are
 *             written rows x columns.
 * Type codes  0 char (signed, 8 bits), 1 byte (unsigned, 8 bits), 2 short (16 bits), 3 int (32 bits),
 *             4 float, 5 double.
 * Families    An operation on typed arrays is a dispatcher with a type code, and six members named after the
 *             type (_char _byte _short _int _float _double) that do the work. Documented once, on the
 *             dispatcher. A scalar of the data's type reaches a dispatcher by pointer and a member by value:
 *             as int for the four integer types, as double for float and double. A member narrows it to its
 *             own type on entry.
 * Mesh kinds  cells (coordinates and cell sets), and three kinds of grid, the regular kinds: structured (dims
 *             and coordinates), uniform (dims and two corners), rectilinear (dims and grid lines).
 * Grids       Node (i, j, k) has the number i + dims[0] * (j + dims[1] * k). A cell is named by one of two
 *             numbers: the packed number counts cells, (i + (dims[0]-1) * (j + (dims[1]-1) * k)); the corner
 *             number is the number of the cell's lowest node. Each function says which it takes; they must
 *             never be mixed up.
 * Cell sets   Cells of one type stand in a set. A global cell id counts through the sets in order; a cell's
 *             number within its set counts from 0 in each.
 * Cell types  line_1 line_2 tri_1 tri_2 quad_1 quad_2 hex_1 hex_2 tet_1 tet_2 prism_1 prism_2 pyr_1: a shape
 *             and an order, 1 linear or 2 quadratic, which has nodes in the middle of edges too. Some
 *             functions say pent for prism. Flat cells are tris and quads, volume cells tets, prisms, pyrs
 *             and hexes. Cells that come out of bands and cuts are told by type index: 0 tet, 1 prism,
 *             2 pyr, 3 hex, 4 tri, 5 quad.
 * Winding     See the chapter on case tables for the corner numbering of each cell kind. Cells so numbered
 *             have positive volume.
 * Places      in a cell are told by parametric coordinates u, v, w, which run over fixed ranges in each cell
 *             type. There each node of the cell has a weight, and what lies at the place is the sum of the
 *             weights times the values at the nodes. See the chapter on shape functions.
 * Frames      of a line or a flat cell have their first axes along it. A frame is a 3 x 3 matrix with its
 *             axes as columns.
 * Levels      are doubles whatever the data's type. At or above (>=) is the upper side, without tolerance.
 * Masks       have one byte per node: 0 below the level, 1 at or above it, 2 null.
 * Nulls       mark missing data. A null is exact equality with the null value, in the data's own type; on
 *             vector data the first component alone counts. A null pointer is allowed as null_value while the
 *             null flag is 0. NaN is below every level and never equals a null.
 * New nodes   of an extraction come as edges: new node k lies between the nodes min_node[k] < max_node[k].
 *             Where on the edge is found by UTILget_param, coordinates by UTILeval_coord and data by
 *             UTILeval_param.
 * Old nodes   are the nodes of the mesh that stay in a part of it. They come first in the part, in mesh
 *             order, and a node map tells which they are; new nodes follow.
 * Pieces      of a quadratic cell are linear cells on its nodes. Operations that know linear cells alone
 *             break a quadratic set into pieces, a batch of about a thousand cells at a time, and work on
 *             these. See Quadratic cells.
 * Tables      outlive a call and are the caller's: a block table finds the cells near a point (see Search),
 *             an edge table the new node on an edge (see Edge tables).
 * Methods     An operation on a whole mesh is a dispatcher, which calls the method in its slot of the mesh's
 *             FieldFuncs. Methods of cell sets call kernels, which work on sets of one cell type and stand in
 *             slots of the set's SetFuncs. Programs call dispatchers; methods and kernels are public because
 *             a host binds them.
 * Ownership   A result array (`T **out`) is made by the host's ARRalloc_f and is the caller's, to be freed
 *             with ARRfree_f. It may be longer than what is used. After a failure every result is empty:
 *             counts 0, pointers null. Working memory is freed before a call returns.
 * Results     1 is success and 0 failure unless the function says otherwise.
 * Reports     A failure is reported through the host's ERRerror, or told on standard error where the function
 *             says so; a failed allocation may go unreported. "Not to be had" are a mesh's coordinates,
 *             points or cells whose callback fails, which is reported under "util".
 * Progress    Long loops poll: they report percentages through the host, within status ranges that nest, and
 *             ask whether to stop. A stopped (interrupted) operation frees what it holds and ends with the
 *             result its description tells, without a report.
 * Threads     No function locks. A MeshInfo is written while operations run (its caches), so one mesh, with
 *             its copies, serves one operation at a time; different meshes may be worked on at once.
 * Trust       Pointers, counts and node numbers are trusted. A host checks what people hand it.
 *
 * ARGUMENTS that mean the same everywhere, where a function says nothing else:
 *
 *   mesh                   the mesh. Its caches may be written
 *   data, dtype            an array with a row for each node of the mesh, and its type code
 *   data_type              also a type code
 *   veclen                 components of a row of data: 1 for scalars
 *   null_flag, null_value  whether the data hold nulls (0 or not), and the null: one element of their type
 *   level                  where a surface, line or cut runs
 *   ndim, dims             axes of a grid, 1 to 3, and the nodes along each, the fastest axis first
 *   nspace                 components of coordinates, 1 to 3
 *   nnodes, ncells         counts of nodes and of cells
 *   xyz                    a point: 3 floats, missing components 0
 *   uvw                    a place in a cell: 3 floats
 *   out                    where the result is written: the caller's array, as long as told */
#ifndef ISOFIELD_H
#define ISOFIELD_H

/* The version of the library; the build takes it from here. */
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
typedef struct BlockTable BlockTable; /* see Search */
typedef struct EdgeTable EdgeTable;   /* see Edge tables */
typedef struct EdgeTable2 EdgeTable2;

/* The mesh-level methods of one mesh kind, in the order of FIELD_FUNC_NAME. The host binds them by name; a
 * null slot means that the kind has no such operation. Five are called by programs or by other operations,
 * and their arguments are told with the functions that are bound there:
 *   interp_init_func  by programs, to make a search table: UTILinterp_init
 *   find_cell_func    by programs, probing, streamlines and tracing: UTILfind_cell
 *   interp_cell_func  by UTILfind_cell: UTILinterp_cell_uvw
 *   interp_data_func  by probing, streamlines and tracing: UTILinterp_cell_val
 *   cell_extent_func  by UTILstream_line: UTILcell_extent
 * The others are called by their dispatcher, with its arguments:
 *   coord_list_func, data_list_func, eval_coord_func    UTILget_coord_list, UTILget_data_list, UTILeval_coord
 *   isosurf_func, isoline_func, cut_func, contour_func  UTILisosurf, UTILisoline, UTILcut, UTILcontour
 *   grad_func, curl_func, div_func                      UTILgrad, UTILcurl, UTILdiv
 *   deriv3d_func, deriv2d_func                          UTILderiv_3d, UTILderiv_2d
 *   glyph_func, thresh_null_func                        UTILglyph_func, UTILthresh_null
 *   cell_to_node_func                                   UTILcell_to_node
 *   rslice_func                                         UTILrslice, less the mesh */
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

/* The methods of one cell type, in the order of SET_FUNC_NAME; a null slot means that the type has no such
 * method. The first three and vol_integr_func work on one cell, the others on a whole cell set.
 *   shape_func        weights of nodes: UTILsh_func_hex_1
 *   shape_deriv_func  their derivatives: UTILsh_deriv_hex_1
 *   rev_par_func      the place of a point in a cell: UTILrev_par_hex_1
 *   slice_func        the triangles of an isosurface: UTILslice_hex
 *   cut_func          the part on one side of a level: UTILcut_hex
 *   isoline_func      the lines along a level, on flat cells: UTILisoline_quad
 *   contour_func      the part between two levels: UTILcontour_hex
 *   vol_integr_func   measure and integral: UTILvol_integr_cell_hex
 *   tesselate_func    the pieces of quadratic cells: UTILtesselate_hex_2
 * The *_tesselate slots of a quadratic type take the kernels of its pieces' type. An operation on a mesh
 * takes a set's own kernel; where that is null the *_tesselate one, by way of tesselate_func; and skips a set
 * that has neither. */
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
    SetFuncs funcs;  /* the methods by name */
    void *word[256]; /* all words, null where there is no method */
} CellFuncs;

/* The library's view of a mesh. The host fills it and owns every array behind it, for as long as the record
 * lives. The words told as cache start at null: when an operation first needs one it calls the callback and
 * stores what that hands out, which then serves all later operations. A callback returns 1 or more on
 * success, with its out pointer set; below 1 the operation reports that, fails, and the next one asks
 * again. */
struct MeshInfo {
    void *host_id; /* the host's own word */
    int ndim;      /* dimensions of a grid, 1 to 3 */
    int *dims;     /* ndim node counts, fastest axis first */
    int nspace;    /* coordinate components per node, 1 to 3; may exceed ndim */
    int nnodes;    /* nodes of the mesh */
    /* cache. Uniform: lower and upper corner, 2 x nspace. Rectilinear: dims[0] + ... + dims[ndim-1] rows of
     * nspace; the lines of axis d stand in column d of its own rows, the other columns are unused. */
    float *points;
    float *coords;           /* cache. nnodes x nspace */
    float coord_min[3];      /* lower corner of the coordinates */
    float coord_max[3];      /* upper corner */
    FieldFuncs *field_funcs; /* the methods of its kind */
    /* Hands out coords: of cell sets and structured grids, where they are needed. */
    int (*get_coords)(MeshInfo *mesh, float **out);
    /* Writes the coordinates of a grid's nodes from min up to, not including, max, ndim ints each. */
    int (*get_sub_coords)(MeshInfo *mesh, const int *min, const int *max, float *out);
    /* Hands out points, of uniform and rectilinear grids. */
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
    /* Hands out the node numbers of a set, cell_connect[set]. */
    int (*get_cell_set)(MeshInfo *mesh, int set, int **out);
};

/* Copies a mesh record for the duration of an operation. *out is from malloc and is released by free alone.
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
 * called once, before a mesh is bound; the default host does so itself. The names from which a host binds:
 *   mesh level  the slot's name on cell sets; with the suffix _struct, _unif or _rect on structured, uniform
 *               and rectilinear grids: isosurf_func, isosurf_func_unif
 *   cell types  shape_func_, shape_deriv_, rev_par_, slice_cell_, cut_cell_, contour_cell_, isoline_,
 *               vol_integr_ or tesselate_, and the type: shape_deriv_prism_2, slice_cell_hex_1
 * The *_tesselate slots have no names of their own: they take the methods of the pieces' type, tri_1 for flat
 * cells and tet_1 for volume cells. */
ISOFIELD_API int FLD_METHinit(void);

/* The table itself, of 158 rows; some names stand twice, with the same function. */
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

/* Bounding box of the nodes that the cell sets reach: min and max, nspace floats each. Apart from the very
 * first cell, the first node of a cell takes no part: a node that is only ever the first of its cells does
 * not widen the box. Without cell sets min and max are left alone. Result 1; 0 when coordinates or cells are
 * not to be had. */
ISOFIELD_API int UTILfield_extent(MeshInfo *mesh, float *min, float *max);

/* Bounding box of one cell, for the cell_extent_func slot.
 *   cell      global cell id on cell sets; on grids corner number, not tested against the grid's last rows
 *   min, max  nspace floats each
 * The cell type of a structured grid is that of its set 0. A rectilinear grid must not have an axis of one
 * node. Result 1; 0 when the mesh's arrays are not to be had and, without a report, for an id outside all
 * sets. */
ISOFIELD_API int UTILcell_extent(MeshInfo *mesh, int cell, float *min, float *max);
ISOFIELD_API int UTILcell_extent_struct(MeshInfo *mesh, int cell, float *min, float *max);
ISOFIELD_API int UTILcell_extent_unif(MeshInfo *mesh, int cell, float *min, float *max);
ISOFIELD_API int UTILcell_extent_rect(MeshInfo *mesh, int cell, float *min, float *max);

/* ====================================================================================================
 * Shape functions and parametric mapping
 * ====================================================================================================
 * The parametric space of a cell type, the weights of its nodes there (shape functions), and the way back
 * from a point in space. Parametric coordinates uvw run from -1 to 1 in lines, quads and hexes; in tris and
 * tets u, v, w >= 0 with u + v + w <= 1, t = 1 - u - v (- w) being the rest; in prisms (pent) u and v are
 * those of a triangle and w runs from -1 to 1; in pyramids all run from -1 to 1, with the apex at w = 1. Node
 * positions:
 *
 *   line        u: -1, 1; then 0
 *   tri         (1,0) (0,1) (0,0); then the middles of 01 12 20
 *   quad        (-1,-1) (1,-1) (1,1) (-1,1); then the middles of 01 12 23 30
 *   tet         (1,0,0) (0,1,0) (0,0,1) (0,0,0); then the middles of 01 02 03 12 23 13
 *   pent        the tri's at w = 1, then at w = -1; then the middles of 01 12 20 34 45 53 14 03 25
 *   pyr         (0,0,1); (1,1,-1) (-1,1,-1) (-1,-1,-1) (1,-1,-1)
 *   hex         (-1,1,1) (-1,-1,1) (1,-1,1) (1,1,1), then the same at w = -1; then the middles of
 *               01 12 23 30 45 56 67 74 04 15 26 37
 *
 * Some of these frames are left-handed for cells numbered as told under case tables: their Jacobian
 * determinant is negative then, which every operation allows. A grid's cell takes its nodes in the order c+1,
 * c, c+d0, c+d0+1 and the same one plane up, c being its corner number, so that its frame is turned against
 * the grid's axes x, y, z: u = -x in one dimension, (u, v) = (-x, y) in two, (u, v, w) = (y, x, -z) in
 * three. */

/* Weights at a place, their derivatives, and the place of a point, for the first three slots of SetFuncs. Of
 * uvw only the coordinates that the type has are read or written.
 *
 * UTILsh_func_<type> writes the weight of each node to out: nnodes floats. UTILsh_deriv_<type> writes their
 * derivatives along u, then along v, then along w: dimensions x nnodes. Those of line_1, tri_1 and tet_1 are
 * constant and never read uvw.
 * Weights sum to 1 and are 1 at their node, with one exception: in pent_2 the weight of node 7, the middle of
 * 1-2, is that of node 6 (2uv(1 + w)); its derivatives are the true ones (of 2vt(1 + w)).
 * The functions: O. Zienkiewicz and R. Taylor, "The finite element method", 1977.
 *
 * UTILrev_par_<type> finds the parametric coordinates of a point in a cell:
 *   node_xyz  nnodes x 3, missing components 0
 *   xyz       3
 *   uvw       as many as the type has, written whatever the result
 * Result 1 when the point is in the cell, 0 when it is outside, -1 when the cell is degenerate; tri_1 and
 * tet_1 call a degenerate cell outside. A margin of 0.05 is allowed on every parametric bound.
 * line_1, tri_1 and tet_1 are solved by lengths, areas and volumes. In line_1 u is the distance to node 0
 * over the cell's length, from 0 to 1, which is not the frame of its weights. tri_1 has no test for the
 * distance from its plane, which only makes its areas larger.
 * The others take at most 20 Newton steps from their middle. They are done when every component of a step is
 * below 0.05, and that last step is not applied. A quad turns a point away whose distance from the plane at
 * the current iterate is above a thousandth of the Jacobian determinant; line_2, tri_2, quad_1 and quad_2
 * also one that is more than 0.05 off in space. */
#define ISOFIELD_DECLARE(type)                                           \
    ISOFIELD_API void UTILsh_func_##type(const float *uvw, float *out);  \
    ISOFIELD_API void UTILsh_deriv_##type(const float *uvw, float *out); \
    ISOFIELD_API int UTILrev_par_##type(const float *node_xyz, const float *xyz, float *uvw);
ISOFIELD_DECLARE(line_1)
ISOFIELD_DECLARE(line_2)
ISOFIELD_DECLARE(tri_1)
ISOFIELD_DECLARE(tri_2)
ISOFIELD_DECLARE(quad_1)
ISOFIELD_DECLARE(quad_2)
ISOFIELD_DECLARE(tet_1)
ISOFIELD_DECLARE(tet_2)
ISOFIELD_DECLARE(pent_1)
ISOFIELD_DECLARE(pent_2)
ISOFIELD_DECLARE(pyr_1)
ISOFIELD_DECLARE(hex_1)
ISOFIELD_DECLARE(hex_2)
#undef ISOFIELD_DECLARE

/* ====================================================================================================
 * Jacobians
 * ====================================================================================================
 * How a cell's parametric space lies in space, at the place where `deriv` was taken. */

/* The determinant: the length, area or volume that a unit of parametric space takes there, signed in three
 * dimensions.
 *   nnodes    nodes of the cell
 *   deriv     1, 2 or 3 x nnodes, as UTILsh_deriv_<type> writes it
 *   node_xyz  nnodes x 3
 * Result: the determinant. */
ISOFIELD_API float UTILjacobian_1d_det(int nnodes, const float *deriv, const float *node_xyz);
ISOFIELD_API float UTILjacobian_2d_det(int nnodes, const float *deriv, const float *node_xyz);
ISOFIELD_API float UTILjacobian_3d_det(int nnodes, const float *deriv, const float *node_xyz);

/* The same, with the inverse of the Jacobian. Lines and surfaces are turned into a frame of their own first:
 * its axes are the columns of `frame`, so that xyz times frame gives components along, then off the cell.
 *   jinv       out: 1, 2 x 2 or 3 x 3. With a determinant of 0 what stands there is no inverse
 *   frame      out: 3 x 3
 *   frame_xyz  out: nnodes x 3, the nodes in the frame
 * Result: the determinant. On a length of exactly 0 the form for lines writes nothing. */
ISOFIELD_API float UTILjacobian_1d_inv(int nnodes, const float *deriv, const float *node_xyz, float *jinv,
                                       float *frame, float *frame_xyz);
ISOFIELD_API float UTILjacobian_2d_inv(int nnodes, const float *deriv, const float *node_xyz, float *jinv,
                                       float *frame, float *frame_xyz);
ISOFIELD_API float UTILjacobian_3d_inv(int nnodes, const float *deriv, const float *node_xyz, float *jinv);

/* ====================================================================================================
 * Points in cells
 * ==================================================================================================== */

/* Where a point lies in one cell, for the interp_cell_func slot.
 *   cell     global cell id on cell sets, corner number on grids
 *   xyz      3 floats whatever nspace, missing components 0
 *   pretest  when set, a point outside the cell's bounding box widened by tol is outside (0)
 *   tol      rounded to float. On uniform and rectilinear grids it widens the parametric range of -1 to 1
 *            instead; on an axis that has one node, or none, the distance in space
 *   uvw      out: the place in the cell
 * Result 1 inside, 0 outside, -1 degenerate; 0 also for a cell that is not there, a type without
 * rev_par_func, more than 20 nodes a cell, and when the mesh's arrays are not to be had. Cell sets and
 * structured grids go through rev_par_func; uniform and rectilinear grids are solved directly, and without
 * pretest every point is inside. */
ISOFIELD_API int UTILinterp_cell_uvw(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol,
                                     float *uvw);
ISOFIELD_API int UTILinterp_cell_uvw_struct(MeshInfo *mesh, int cell, const float *xyz, int pretest,
                                            double tol, float *uvw);
ISOFIELD_API int UTILinterp_cell_uvw_unif(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol,
                                          float *uvw);
ISOFIELD_API int UTILinterp_cell_uvw_rect(MeshInfo *mesh, int cell, const float *xyz, int pretest, double tol,
                                          float *uvw);

/* Node data at points of one cell, for the interp_data_func slot: weights times values, in float. The second
 * form serves all grids.
 *   cell  as above
 *   data  nnodes x veclen
 *   npts  points; with fewer than 1 nothing is written and the result is 1
 *   uvw   npts x 3
 *   out   npts x veclen
 * Result 1; 0 on a failure, and when a node of the cell is null: the first row of `out` is then the null
 * value as float in every component, whatever npts. */
ISOFIELD_API int UTILinterp_cell_val(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype,
                                     int null_flag, const void *null_value, int npts, const float *uvw,
                                     float *out);
ISOFIELD_API int UTILinterp_cell_val_struct(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype,
                                            int null_flag, const void *null_value, int npts, const float *uvw,
                                            float *out);

/* The same for a cell given by its nodes and its shape functions, such as a piece of a quadratic cell.
 *   connect     the numbers of its nodes
 *   nnodes      their count, 20 at most
 *   shape_func  writes their weights, as UTILsh_func_<type> does */
ISOFIELD_API int UTILtesselate_cell_val(const int *connect, int nnodes,
                                        void (*shape_func)(const float *uvw, float *out), int veclen,
                                        const void *data, int dtype, int null_flag, const void *null_value,
                                        int npts, const float *uvw, float *out);

/* ====================================================================================================
 * Search
 * ====================================================================================================
 * The cell that holds a point. Meshes with coordinates of their own take a table, built once by the mesh's
 * interp_init_func and handed to its find_cell_func with each query: a uniform grid of blocks, each with a
 * list of the cells whose bounding boxes touch it. Uniform and rectilinear grids need none. */

/* The search table of a mesh. */
struct BlockTable {
    int *blocks;            /* nblocks: each block's first entry, 0 when it has none */
    int nblocks;            /* nblk to the power nspace; block (i, j, k) is i + nblk * (j + nblk * k) */
    int nblk;               /* blocks per axis */
    int nspace;             /* axes, 1 to 3 */
    float min[3];           /* the mesh's coord_min; 0 from nspace on */
    float max[3];           /* coord_max likewise */
    unsigned int index_key; /* the library's own: a finer index stands behind the record */
    int *cell_list;         /* per entry its cell: the global id, or the corner number on a structured grid */
    int *next_list;         /* per entry the next one of its block, 0 at the end. Entry 0 is not used */
    int list_cap;           /* room in both lists; starts at list_grow */
    int list_grow;          /* entries added when there is no more room */
    int list_free;          /* next free entry */
    int owns_lists;         /* 1: an interrupted build frees the arrays with the record */
};

/* An empty table for `ncells` cells: 7 blocks an axis and a list_grow of 500 below 1000 cells, 10 and 1000
 * below 2000, 16 and 2000 below 20000, 20 and 3000 from there. Result 1, or 0 when there is no memory or
 * nspace is not 1 to 3, with *out null.
 * A table is the caller's: its three arrays are freed with ARRfree_f and the record with free, or all of it
 * with the default host's isohost_block_table_free. */
ISOFIELD_API int UTILinterp_init_alloc(int ncells, int nspace, BlockTable **out);

/* Builds the table of a mesh, for the interp_init_func slot. Later cells stand before earlier ones in a
 * block's list. Axis d of a cell's box takes the blocks (int)((nblk - 1) * (x - min) / (max - min)), so that
 * the last block holds what lies at max, or block 0 where the extent is 1e-30 or less. Boxes beyond
 * coord_max are cut off one block beyond the last, which is the first of the next row; what comes to lie
 * outside the table is dropped. The table holds for as long as the cells and coordinates stay as they are.
 * Reports progress as "building block table". Result 1; 0 with *out null when interrupted, without memory, or
 * when the mesh's arrays are not to be had. The forms for uniform and rectilinear grids make no table and
 * give 1. */
ISOFIELD_API int UTILinterp_init(MeshInfo *mesh, BlockTable **out);
ISOFIELD_API int UTILinterp_init_struct(MeshInfo *mesh, BlockTable **out);
ISOFIELD_API int UTILinterp_init_unif(MeshInfo *mesh, BlockTable **out);
ISOFIELD_API int UTILinterp_init_rect(MeshInfo *mesh, BlockTable **out);

/* Finds the cell of a point, for the find_cell_func slot. UTILfind_cell serves cell sets and structured
 * grids.
 *   table  of this mesh; not read on uniform and rectilinear grids
 *   xyz    3 floats whatever nspace, missing components 0
 *   cell   global id on cell sets, corner number on grids
 *   uvw    3: the place in that cell
 * Result 1 found, 0 in no cell.
 * With a table the cells of the point's block are tried from the last to the first by interp_cell_func, with
 * a pretest and a tolerance of a millionth of the summed extents; the first taker wins, so that on a face
 * shared by two cells the later one does, as it does within the margins of UTILrev_par. Without a taker *cell
 * is the last one tried, -1 in an empty block, and is left as it was for a point outside the table's box. A
 * mesh without interp_cell_func is told on standard error: -1. Long lists have a finer index beside them,
 * which finds the same taker.
 * On uniform and rectilinear grids a point on a grid line belongs to the cell above it on the former, below
 * it on the latter; the grid's upper end to the last cell. Outside the grid *cell is -1. */
ISOFIELD_API int UTILfind_cell(MeshInfo *mesh, BlockTable *table, const float *xyz, int *cell, float *uvw);
ISOFIELD_API int UTILfind_cell_unif(MeshInfo *mesh, BlockTable *table, const float *xyz, int *cell,
                                    float *uvw);
ISOFIELD_API int UTILfind_cell_rect(MeshInfo *mesh, BlockTable *table, const float *xyz, int *cell,
                                    float *uvw);

/* ====================================================================================================
 * Integrals
 * ==================================================================================================== */

/* The length, area or volume of all cells of one dimension, and the integral of a scalar over them, by Gauss
 * quadrature.
 *   cell_dim  1, 2 or 3: the sets whose cell_ndim it is
 *   data      nnodes scalars of dtype, or null: *integral is 0 then
 *   volume    out: the measure
 *   integral  out: the integral
 * A cell with a null node adds nothing, to the measure neither. Sets whose type has no rule (pyramids, and
 * the quadratic types) add nothing. Sums run in float, over the sets and cells in order, so that they lose
 * digits on large meshes; sum vol_integr_func's results in double where that counts. Result 1, also when some
 * cells could not be integrated. */
ISOFIELD_API int UTILvol_integr(MeshInfo *mesh, int cell_dim, const void *data, int dtype, int null_flag,
                                const void *null_value, float *volume, float *integral);

/* One cell, for the vol_integr_func slot.
 *   cell  its number within the set
 * The rules: tri and tet one point in the middle; quad, hex and prism the products of the two points at +-g
 * (g = 1/sqrt(3)), with three in the triangle; measures of absolute value. That of line_1 takes the points
 * u = 0 and u = 1, both with the weight 1: lengths are right, and integrals count node 1 three times as much
 * as node 0. Result 1; 0 for more than 20 nodes, a dtype other than the six (told on standard error), or when
 * the mesh's arrays are not to be had; both outputs are 0 then. */
#define ISOFIELD_DECLARE(name)                                                                           \
    ISOFIELD_API int name(MeshInfo *mesh, int set, int cell, const void *data, int dtype, int null_flag, \
                          const void *null_value, float *volume, float *integral);
ISOFIELD_DECLARE(UTILvol_integr_cell_line)
ISOFIELD_DECLARE(UTILvol_integr_cell_tri)
ISOFIELD_DECLARE(UTILvol_integr_cell_quad)
ISOFIELD_DECLARE(UTILvol_integr_cell_tet)
ISOFIELD_DECLARE(UTILvol_integr_cell_hex)
ISOFIELD_DECLARE(UTILvol_integr_cell_prism)
#undef ISOFIELD_DECLARE

/* ====================================================================================================
 * Cell data to nodes
 * ==================================================================================================== */

/* Node data from cell data: each node gets the weighted mean of the rows of the cells that touch it. Called
 * once per cell set, from 0 to the last; the last call divides by the weights.
 *   data        cell_ncells[set] x veclen, of dtype
 *   power       0: cells count alike; above 0: by 1 / distance^power, the distance running from the node to
 *               the middle of the cell's nodes. At a distance of exactly 0 the weight so far is replaced by
 *               1, and the cell's later nodes get nothing from it
 *   out         nnodes x veclen. The call for set 0 clears its first nnodes elements alone: with a veclen
 *               above 1 the caller clears the rest. A node that no cell touches stays as it was
 *   weights, null_flags  of the caller only two pointers: *weights (nnodes floats) and *null_flags (nnodes
 *               bytes) are made by the call for set 0, carried to the next ones, and freed by the last. After
 *               a failure in a later set they are the caller's, to be freed with free
 * A node touched by a null cell is null in every component. Sums run in the data's own type: integers
 * truncate at every addition and in the final division. Result 1 or 0. An unknown dtype is reported; a mesh
 * kind without the method is told on standard error: 0. The method of grids, whose cells are all in set 0,
 * ignores the last two arguments. */
ISOFIELD_API int UTILcell_to_node(MeshInfo *mesh, int set, int dtype, const void *data, int veclen,
                                  int null_flag, const void *null_value, int power, void *out,
                                  float **weights, char **null_flags);
ISOFIELD_API int UTILcell_to_node_cells(MeshInfo *mesh, int set, int dtype, const void *data, int veclen,
                                        int null_flag, const void *null_value, int power, void *out,
                                        float **weights, char **null_flags);
ISOFIELD_API int UTILcell_to_node_struct(MeshInfo *mesh, int set, int dtype, const void *data, int veclen,
                                         int null_flag, const void *null_value, int power, void *out,
                                         float **weights, char **null_flags);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                    \
    ISOFIELD_API int UTILcell_to_node_cells_##suffix(MeshInfo *mesh, int set, const T *data, int veclen,  \
                                                     int null_flag, V null_value, int power, T *out,      \
                                                     float **weights, char **null_flags);                 \
    ISOFIELD_API int UTILcell_to_node_struct_##suffix(MeshInfo *mesh, int set, const T *data, int veclen, \
                                                      int null_flag, V null_value, int power, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* ====================================================================================================
 * Derivatives
 * ====================================================================================================
 * Gradients of scalars, curls and divergences of vectors, from node data to node data. Cell sets take the
 * derivatives of the cells' shape functions (finite elements); grids take differences between neighbouring
 * nodes: central ones inside, of the outermost two nodes at the edges. Fields that are linear in space come
 * out exactly, but for rounding, where no oddity below stands against it.
 *
 * Not every mesh kind computes what the mathematics say; isofield.hpp does, whatever the kind:
 *   curl        of uniform and rectilinear grids is (dw/dy - dv/dz, dw/dz - dv/dx, dw/dx - dv/dy) of a vector
 *               (u, v, w): component 0 takes no part. That of structured grids and of hexahedra, prisms,
 *               pyramids and tetrahedra is the curl
 *   gradient    of a rectilinear grid of 2 dimensions multiplies by the spacing instead of dividing by it; of
 *               a structured grid of 2 dimensions in space, is along x and y alone
 *   surfaces    triangles and quadrilaterals give the gradient in their own plane; their curl and divergence
 *               are those of no field (see UTILcurl_cell)
 *   zeros       stand where no derivative can be had: where a structured grid's metric is singular, around
 *               nulls, and in degenerate cells, which count in the mean of their nodes all the same. A
 *               pyramid has none at its apex: there its 0 pulls the mean down */

/* The gradient, curl or divergence of node data.
 *   data    nnodes x veclen. Gradient: veclen 1 or less, taken as 1. Curl and divergence: 3 on grids and in
 *           volume cells; in surface cells 2 for the curl, 2 or more for the divergence
 *   out     the caller's: nnodes x 3 for gradient and curl, components along x, y, z whatever the mesh's
 *           dimensions; nnodes for the divergence. Curl and divergence of grids need 3 dimensions, gradients
 *           2 at least (component 2 is 0 then)
 * With null_flag data are used as they stand, and then `out` is cleared around nulls: see UTILderiv_null.
 * Result 1 or 0. A mesh kind without the method is reported: 0. A wrong veclen or ndim is refused with 0,
 * reported on grids and not on cell sets, with `out` untouched. When interrupted, 0 on cell sets and for the
 * gradient of structured grids, with `out` partly written: on grids the planes i before the last poll, on
 * cell sets undivided sums. The other operators of grids give 1 then, and so do they where they can't work:
 * on a uniform grid with an axis of one node, or one of no length; with an unknown dtype, which is reported.
 * What is not computed stays as it was in `out`. On cell sets an unknown dtype gives zeros, and is told on
 * standard error for each node of each cell.
 *
 * Cell sets: each cell evaluates its derivatives at its own nodes, and each node gets the plain mean of its
 * cells. A node without cells is NaN. Sets of lines add zeros to the means of their nodes.
 * Structured grids: the inverse of the metric, the derivatives of x, y, z along i, j, k by the same
 * differences, takes differences along the grid to derivatives in space. Where its determinant is 0 the
 * result is 0. In 3 dimensions nspace is taken to be 3. */
#define ISOFIELD_DECLARE(name)                                                                    \
    ISOFIELD_API int name(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag, \
                          const void *null_value, float *out);
ISOFIELD_DECLARE(UTILgrad)
ISOFIELD_DECLARE(UTILcurl)
ISOFIELD_DECLARE(UTILdiv)
ISOFIELD_DECLARE(UTILgrad_cells)
ISOFIELD_DECLARE(UTILcurl_cells)
ISOFIELD_DECLARE(UTILdiv_cells)
ISOFIELD_DECLARE(UTILgrad_struct)
ISOFIELD_DECLARE(UTILcurl_struct)
ISOFIELD_DECLARE(UTILdiv_struct)
ISOFIELD_DECLARE(UTILgrad_unif)
ISOFIELD_DECLARE(UTILcurl_unif)
ISOFIELD_DECLARE(UTILdiv_unif)
ISOFIELD_DECLARE(UTILgrad_rect)
ISOFIELD_DECLARE(UTILcurl_rect)
ISOFIELD_DECLARE(UTILdiv_rect)
#undef ISOFIELD_DECLARE

/* The gradient, curl or divergence in one cell of a cell set, at all its nodes.
 *   ndim      of the set; with 1 nothing is written
 *   cell      global cell id
 *   nnodes    nodes per cell, 85 at most
 *   node_uvw  nnodes x 3, parametric coordinates of the nodes
 *   out       nnodes x 3; nnodes for the divergence
 * Volumes (ndim 3): at a node where there is no derivative (see UTILderiv_3d) the gradient is 0, and curl and
 * divergence take those of the node before, 0 at the first. Surfaces (ndim 2): the gradient lies in the
 * cell's plane. The curl stands across the plane, and is formed from one row of vectors that the node values
 * and the plane's frame give together (see UTILderiv_2d): it depends on the cell's place in space, and is not
 * the surface's curl. The divergence takes the array as if veclen were 1: it is the derivative, along the
 * first axis of the plane's frame, of the scalar that stands at place n for node n.
 * Result 1, also where derivatives are not to be had; 0 when veclen is not 3 in a volume, or in a surface not
 * 2 for the curl or below 2 for the divergence. */
ISOFIELD_API int UTILgrad_cell(MeshInfo *mesh, int ndim, int cell, const void *data, int dtype, int null_flag,
                               const void *null_value, int nnodes, const float *node_uvw, float *out);
ISOFIELD_API int UTILcurl_cell(MeshInfo *mesh, int ndim, int cell, const void *data, int veclen, int dtype,
                               int null_flag, const void *null_value, int nnodes, const float *node_uvw,
                               float *out);
ISOFIELD_API int UTILdiv_cell(MeshInfo *mesh, int ndim, int cell, const void *data, int veclen, int dtype,
                              int null_flag, const void *null_value, int nnodes, const float *node_uvw,
                              float *out);

/* The grids' kernels: the same operators on all nodes, without a mesh record. An unknown dtype is reported:
 * 0.
 *   dims    3 or 2 node counts
 *   coords  nnodes x 3; nnodes x nspace in two dimensions
 *   points  as in MeshInfo, of 3 columns; of nspace columns in two dimensions
 *   coords_or_points  coords of structured grids, points of the others
 * Result 1, also when dims[0] is below 1, where nothing is done (but for uniform grids). 0 when interrupted,
 * and on uniform grids with an axis of one node or without length, with nothing written. On structured and
 * rectilinear grids an axis of one node has differences of 0. The walk goes along i, and asks to stop before
 * every eighth plane of nodes of the same i; on grids of up to some million nodes it asks for several such
 * blocks before it computes them. */
#define ISOFIELD_DECLARE_3D(name)                                                                        \
    ISOFIELD_API int name##_struct_3d(const int *dims, const float *coords, const void *data, int dtype, \
                                      float *out);                                                       \
    ISOFIELD_API int name##_unif_3d(const int *dims, const float *points, const void *data, int dtype,   \
                                    float *out);                                                         \
    ISOFIELD_API int name##_rect_3d(const int *dims, const float *points, const void *data, int dtype,   \
                                    float *out);
ISOFIELD_DECLARE_3D(UTILgrad)
ISOFIELD_DECLARE_3D(UTILcurl)
ISOFIELD_DECLARE_3D(UTILdiv)
#undef ISOFIELD_DECLARE_3D
ISOFIELD_API int UTILgrad_struct_2d(const int *dims, int nspace, const float *coords, const void *data,
                                    int dtype, float *out);
ISOFIELD_API int UTILgrad_unif_2d(const int *dims, int nspace, const float *points, const void *data,
                                  int dtype, float *out);
ISOFIELD_API int UTILgrad_rect_2d(const int *dims, int nspace, const float *points, const void *data,
                                  int dtype, float *out);
#define ISOFIELD_DECLARE_3D(name, kind, suffix, T)                                               \
    ISOFIELD_API int name##_##kind##_3d_##suffix(const int *dims, const float *coords_or_points, \
                                                 const T *data, float *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                             \
    ISOFIELD_DECLARE_3D(UTILgrad, struct, suffix, T)                                               \
    ISOFIELD_DECLARE_3D(UTILgrad, unif, suffix, T)                                                 \
    ISOFIELD_DECLARE_3D(UTILgrad, rect, suffix, T)                                                 \
    ISOFIELD_DECLARE_3D(UTILcurl, struct, suffix, T)                                               \
    ISOFIELD_DECLARE_3D(UTILcurl, unif, suffix, T)                                                 \
    ISOFIELD_DECLARE_3D(UTILcurl, rect, suffix, T)                                                 \
    ISOFIELD_DECLARE_3D(UTILdiv, struct, suffix, T)                                                \
    ISOFIELD_DECLARE_3D(UTILdiv, unif, suffix, T)                                                  \
    ISOFIELD_DECLARE_3D(UTILdiv, rect, suffix, T)                                                  \
    ISOFIELD_API int UTILgrad_struct_2d_##suffix(const int *dims, int nspace, const float *coords, \
                                                 const T *data, float *out);                       \
    ISOFIELD_API int UTILgrad_unif_2d_##suffix(const int *dims, int nspace, const float *points,   \
                                               const T *data, float *out);                         \
    ISOFIELD_API int UTILgrad_rect_2d_##suffix(const int *dims, int nspace, const float *points,   \
                                               const T *data, float *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE
#undef ISOFIELD_DECLARE_3D

/* Derivatives at one point of one cell, for the deriv3d_func and deriv2d_func slots: the shape functions'
 * derivatives at pcoord, taken through the inverse of the Jacobian and multiplied with the node values, all
 * in float. The first form is for volume cells in space, the second for surface cells.
 *   cell     global cell id on cell sets, corner number on grids
 *   data     nnodes x veclen
 *   pcoord   3, parametric coordinates
 *   out      3 (2) x veclen: the derivatives of all components along x, then y, then z; for surfaces along
 *            the first and second axis of the cell's own frame
 *   rotate   3 x 3: the frame, its axes as columns (see UTILjacobian_2d_inv)
 *   xcoords  cell_nnodes x 3: the cell's nodes in the frame
 * Vectors on surfaces (veclen above 1) are not turned into the frame node by node: one row, the first nnodes
 * of the node values in memory order times the frame taken as nnodes x veclen, filled up with zeros, stands
 * for node 0, and zeros for the other nodes.
 * Rectilinear grids: component c of a node's coordinates is read at points[offset of axis c + index], the
 * offsets being 0, dims[0] * nspace and (dims[0] + dims[1]) * nspace, without regard to the rows' width:
 * right for one column alone. Uniform grids: an axis of one node has no finite step; nothing checks for it.
 * Result 1; 0 with `out` untouched when a node is null, the determinant is exactly 0, data is null, veclen
 * below 1, the cell has more than 85 nodes or, on grids, reaches beyond the last node or has no
 * shape_deriv_func; and when the mesh's arrays are not to be had, which is reported, or the dtype is unknown
 * or the mesh kind has no such method, which is told on standard error. */
#define ISOFIELD_DECLARE(kind)                                                                               \
    ISOFIELD_API int UTILderiv##kind##_3d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, \
                                          int null_flag, const void *null_value, const float *pcoord,        \
                                          float *out);                                                       \
    ISOFIELD_API int UTILderiv##kind##_2d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, \
                                          int null_flag, const void *null_value, const float *pcoord,        \
                                          float *out, float *rotate, float *xcoords);
ISOFIELD_DECLARE()
ISOFIELD_DECLARE(_cell)
ISOFIELD_DECLARE(_struct)
ISOFIELD_DECLARE(_unif)
ISOFIELD_DECLARE(_rect)
#undef ISOFIELD_DECLARE

/* Sets a result to 0 wherever a null had a part in it: on cell sets at all nodes of all cells with a null
 * node, on grids (the second form) at every node within one step of a null, diagonally too. The last step of
 * the operators above.
 *   data  nnodes x veclen; the first component tells a null
 *   out   nnodes x out_veclen
 * Result 1; 0 when cells are not to be had or the dtype is unknown, both reported. Without cell sets the
 * first form does nothing: 1. */
ISOFIELD_API int UTILderiv_null(MeshInfo *mesh, const void *data, int veclen, int dtype,
                                const void *null_value, int out_veclen, float *out);
ISOFIELD_API int UTILderiv_null_struct(MeshInfo *mesh, const void *data, int veclen, int dtype,
                                       const void *null_value, int out_veclen, float *out);

/* ====================================================================================================
 * Data arrays
 * ====================================================================================================
 * Plain operations on typed arrays, which need not be data of a mesh. The result is 1 unless said otherwise.
 * Counts below 1 do nothing and give 1; an unknown type code is reported ("unknown data type") and gives
 * 0. */

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
 * every pair of types: UTILthreshold_<in_type>_<out_type>.
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

/* Keeps every factors[a]-th element along each axis a, from the first on, so that an axis of d elements keeps
 * ceil(d / factor) of them; packed into `out`. Counts single elements: give the components of vector data as
 * a first axis of factor 1.
 *   dims, factors  ndim elements each, the first axis fastest; ndim 1 to 16. Not changed
 * Result 1; 0 without a report, and nothing written, when ndim is above 16 or a factor is below 1. An unknown
 * type is reported under "UTILclamp".
 * Members are handed the axes as the dispatcher folds them: leading axes that are kept whole have become runs
 * on the next one, and axes of one element are dropped.
 *   runs  contiguous elements that one step along the lowest axis copies (runs[0]; the others are not read)
 *   pos   elements written so far: where the call starts in `out`, and is left */
ISOFIELD_API int UTILdownsize(int ndim, const int *dims, const int *factors, int dtype, const void *in,
                              void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                     \
    ISOFIELD_API int UTILdownsize_##suffix(int ndim, const int *dims, const int *factors, const int *runs, \
                                           const T *in, T *out, int *pos);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Brings an array to other dimensions: row j along an axis is row (int)(ratio * j) of `in`, with ratio =
 * (in_dims - 1.0) / (out_dims - 1.0), so that the ends of both fall together and the rows between are the
 * nearest below.
 *   in_dims, out_dims  ndim counts of rows of veclen elements, the first axis fastest; ndim 1 to 3
 * With ndim 2 and 3 the ratio is summed up rather than multiplied, so that its rounding may take the row
 * below where a row of `in` is met exactly, at the last row too. An axis of one row in `out` takes row 0.
 * Result 1; 0 without a report, and nothing written, for another ndim, when a dimension is below 1 or memory
 * is short. */
ISOFIELD_API int UTILresample(int ndim, const int *in_dims, const int *out_dims, int veclen, int dtype,
                              const void *in, void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                    \
    ISOFIELD_API int UTILresample_##suffix(int ndim, const int *in_dims, const int *out_dims, int veclen, \
                                           const T *in, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Runs a kernel along an array of n rows: out[p] is the sum over j of kernel[j] * in[p - nk / 2 + j]. The
 * kernel is not reversed, and is divided by its sum unless that is 1. Sums are made in double; the integer
 * members truncate them to int, which wraps around in an 8 or 16 bit type.
 *   kernel   nk floats, whatever the type
 *   in, out  n x veclen, apart from each other; veclen at most 64
 * The nk / 2 rows at the start and the nk - nk / 2 - 1 at the end, which the kernel does not cover, are not
 * smoothed: they come as they are, up to rounding, or 0 where the part of the kernel that would lie inside
 * sums to 0.
 * Result 1; 0 without a report, and nothing written, when the kernel sums to exactly 0, n is below nk, veclen
 * is above 64 or memory is short. An unknown type is reported under "UTILfilter". */
ISOFIELD_API int UTILfilter_1d(int nk, const float *kernel, int n, int veclen, int dtype, const void *in,
                               void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                   \
    ISOFIELD_API int UTILfilter_1d_##suffix(int nk, const float *kernel, int n, int veclen, const T *in, \
                                            T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Blends two arrays of n elements: out = a + weight * (b - a). The difference is taken in the element's type
 * (in int for the integer ones), the rest in double; the integer members truncate to int, which wraps around
 * in an 8 or 16 bit type. `out` may be `a` or `b`. */
ISOFIELD_API int UTILinterpolate(int n, double weight, int dtype, const void *a, const void *b, void *out);
#define ISOFIELD_DECLARE(suffix, T, V) \
    ISOFIELD_API int UTILinterpolate_##suffix(int n, double weight, const T *a, const T *b, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Fills component `comp` of `out` (n x stride) with a polynomial of the nodes' coordinates, summed up in
 * float in this order, or with a constant. Integer types truncate.
 *   nspace       1: c0 + c1 x + c2 x x
 *                2: c0 + c1 x + c2 y + c3 x y + c4 x x + c5 y y
 *                3: c0 + c1 x + c2 y + c3 z + c4 x y + c5 x z + c6 y z + c7 x x + c8 y y + c9 z z
 *                any other: nothing is written, result 1
 *   coords       n x nspace
 *   coef         3, 6 or 10 coefficients; not read when const_flag is set
 *   const_flag   set: every element is const_value */
ISOFIELD_API int UTILgen_data(int n, int stride, int comp, int dtype, void *out, int nspace,
                              const float *coords, const float *coef, int const_flag, double const_value);
#define ISOFIELD_DECLARE(suffix, T, V)                                                             \
    ISOFIELD_API int UTILgen_data_##suffix(int n, int stride, int comp, T *out, int nspace,        \
                                           const float *coords, const float *coef, int const_flag, \
                                           double const_value);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* ====================================================================================================
 * Least squares
 * ====================================================================================================
 * Polynomials by the normal equations over power sums, as in P. R. Bevington, "Data Reduction and Error
 * Analysis for the Physical Sciences", McGraw-Hill 1969, chapter 8. The equations lose digits with every
 * order and with abscissas far from 0: shift and scale these to [-1, 1] for orders above 4, and where x * x
 * would lose them. */

/* Fits the polynomial of `order` coefficients to y over x. Power sums are made in double, sample after
 * sample.
 *   x       n floats
 *   y       n elements of dtype
 *   coeffs  receives `order` doubles, the constant first
 * The solver's permutation is taken the wrong way round: coeffs[k] = solution[perm[k]] (see UTILgauss_solve).
 * That gives each coefficient its place unless the pivots' permutation holds a cycle of three or more, as may
 * be from order 3 on; then the coefficients come permuted. Solve through UTILgauss_solve, or with
 * isofield.hpp, where that must not be.
 * Result 1; 0 without a report, and nothing written, for a singular system (fewer distinct abscissas than
 * coefficients), an order below 1 or when memory is short. */
ISOFIELD_API int UTILleast_squares(int n, const float *x, int dtype, const void *y, int order,
                                   double *coeffs);
#define ISOFIELD_DECLARE(suffix, T, V) \
    ISOFIELD_API int UTILleast_squares_##suffix(int n, const float *x, const T *y, int order, double *coeffs);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Evaluates a polynomial of `ncoef` coefficients, the constant first, by Horner's rule in double.
 *   x, out  n elements of dtype; `out` may be `x`. Integer types truncate
 * Nothing is written when ncoef is below 1. Result 1. */
ISOFIELD_API int UTILeval_polynom(int ncoef, const double *coeffs, int n, const void *x, void *out,
                                  int dtype);
#define ISOFIELD_DECLARE(suffix, T, V) \
    ISOFIELD_API int UTILeval_polynom_##suffix(int ncoef, const double *coeffs, int n, const T *x, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Solves a dense system by Gaussian elimination with row pivots. The elimination goes by columns: the system
 * is the transpose of `a`, sum over r of a[r][c] * v[r] = b[c], and the variables come in the order of the
 * pivots: v[perm[k]] = x[k].
 *   a     n x n, row-major; destroyed
 *   b     n; destroyed
 *   perm  receives n ints
 *   x     receives the n solutions
 *   tol   a pivot below it in absolute value fails, as does a last one that is not above it
 * Result 1; 0 without a report, and x not written, for a singular system or an n below 1. */
ISOFIELD_API int UTILgauss_solve(double *a, double *b, int *perm, double *x, int n, double tol);

/* ====================================================================================================
 * Scattered data
 * ====================================================================================================
 * Values at points anywhere, brought to the nodes of a regular grid by inverse distance weighting: D.
 * Shepard, "A two-dimensional interpolation function for irregularly-spaced data", Proceedings of the 23rd
 * ACM National Conference (1968), pages 517-524. Each point gives its value to the nodes in a box around it,
 * so that the time goes with points x nodes of a box, whatever the size of the grid. */

/* Interpolates scattered data onto a grid of one to three dimensions.
 *   coords      npoints x nspace, nspace at least ndim. A point with a NaN among its first ndim coordinates
 *               gives nothing
 *   data        npoints x veclen, of dtype
 *   min, max    the grid's corners, ndim each
 *   dims        ndim node counts; node (i, j, k) is i + dims[0] * (j + dims[1] * k)
 *   radius      ndim ints: how many nodes along an axis a point reaches, to either side of the node at or
 *               below it. A 0 is overwritten with 1
 *   power       weights are 1 / distance^power
 *   null_flag   in: set when `data` holds nulls; points whose first component is the null give nothing. When
 *               it came in as 0 it goes out 1 if a node had no point, else 0; otherwise it stays
 *   null_value  one element of dtype, read whatever the flag: what nodes that no point reaches receive
 *   out         (product of dims) x veclen, of dtype
 * A node closer than 1e-37 in square (power 3 and above: whose distance^power is below 1e-37) to a point
 * takes the value of the first such point alone. A node whose weights have summed up to 1e37 takes no more.
 * Weights and sums are floats in every type, added up in the order of the points; integer types truncate.
 * With ndim 1 the point's node is brought into the grid first, so that far points give to the end nodes, and
 * one node fewer is reached on the high side: a radius of r reaches r nodes below and r - 1 above. With ndim
 * 2 and 3 points outside give to those nodes of their box that are inside; their node is truncated towards 0.
 * An axis of one node, or whose corners are closer than 1e-37, has all nodes at `min`.
 * Polls every 129th point, with ndim 2 and 3. Result 1; 0, with `out` and the flag untouched, when stopped
 * and, with a report under "UTILscat_interp", when memory is short, for another ndim or an unknown type. */
ISOFIELD_API int UTILscat_data_interp2(int npoints, int nspace, const float *coords, int data_type,
                                       int veclen, const void *data, const float *min, const float *max,
                                       int ndim, const int *dims, int *radius, int power, int *null_flag,
                                       const void *null_value, void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                     \
    ISOFIELD_API int UTILscat_data_interp2_##suffix(                                                       \
        int npoints, int nspace, const float *coords, int veclen, const T *data, const float *min,         \
        const float *max, int ndim, const int *dims, int *radius, int power, int *null_flag, V null_value, \
        T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* The points by the cells of a grid. bins, point_ids and next are from ARRalloc_f, the record from malloc. */
typedef struct ScatBins {
    int *bins;                          /* nbins: head of each bin's chain, a slot; 0 for none */
    int nbins;                          /* product of dims - 1 */
    int reserved;                       /* never set */
    int ndim;                           /* axes */
    float unused_min[3], unused_max[3]; /* 0 */
    int *point_ids;                     /* nslots: the point in a slot; slots from free_slot on are not set */
    int *next;                          /* nslots: the next slot of the chain; 0 ends it */
    int nslots;                         /* npoints + 1 */
    int reserved2;                      /* never set */
    int free_slot;                      /* the next to be taken; from 1 */
} ScatBins;

/* Makes the index of the points, for the host's own use. Points outside the corners are left out; on an axis
 * without extent all fall into its first bin. New points stand at the head of their bin's chain.
 *   coords    npoints x nspace
 *   min, max  ndim corners
 *   dims      ndim node counts, ndim 1 to 3: a bin is a cell. With an axis of one node there is none, and no
 *             point is kept
 * Result 1; 0 with *bins null when nspace is below ndim, or where UTILscat_interp_alloc fails. */
ISOFIELD_API int UTILscat_interp_init(int npoints, int nspace, const float *coords, const float *min,
                                      const float *max, int ndim, const int *dims, ScatBins **bins);

/* Makes an index without points, over any number of axes. Result 1; 0 with *bins null when ndim is below 1,
 * there are more bins or slots than an int counts, or memory is short. */
ISOFIELD_API int UTILscat_interp_alloc(int npoints, int ndim, const int *dims, ScatBins **bins);

/* Releases an index. Result 1; 0 for a null one. */
ISOFIELD_API int UTILscat_interp_end(ScatBins *bins);

/* ====================================================================================================
 * Case tables
 * ====================================================================================================
 * The geometry of cutting one cell by a level. Constant data of the library: read only, never freed. Nodes
 * are the cell's local numbers; the tables know nothing of meshes, and the same arrays serve cell sets and
 * grids.
 *
 * Corner numbering of the six kinds, with their type index. In the names below K stands for a kind:
 * CUTmin_node_K for CUTmin_node_tet, CUTmin_node_prism and so on.
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
 * their common face along different diagonals. With new nodes in the middle of their edges no output cell is
 * inverted; elsewhere one tetrahedron of the prism's cases 29 and 43 may be, where the cut is far from plane.
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

/* Of each kind. */
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

/* Lines, of tri and quad. */
#define ISOFIELD_CUT_LINE_TABLES(K)                    \
    ISOFIELD_API extern const int CUTedge_nline_##K[]; \
    ISOFIELD_API extern const int CUTedge_cind_##K[];  \
    ISOFIELD_API extern const unsigned char CUTedge_connect_list_##K[];
ISOFIELD_CUT_LINE_TABLES(tri)
ISOFIELD_CUT_LINE_TABLES(quad)
#undef ISOFIELD_CUT_LINE_TABLES

/* Of all kinds. */
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
 * level. A case has two masks: lower, of the nodes at or above the lower level, and upper, of those above the
 * upper one. The row of a case is r = CONTtable_index_K[upper * side + lower], with side 8 in tri and 16 in
 * quad. It is -1 where upper is not a subset of lower, where upper is 0 and where lower is full: fewer than
 * two levels cross such a cell. Rows count from 1: row 0 and the first element of every list are unused
 * zeros.
 *
 *   CONTnold_nodes_K[r]       nodes in the band, the old nodes of the output
 *   CONTvalues_K              level of each new node: 0 lower, 1 upper; parallel to CONTmin_node_K
 *   CONTnedge1_K[r]           segments along the lower level
 *   CONTedge_ind1_K[r]        first element in CONTconnect_edge1_K: two new nodes a segment
 *   CONTnedge2_K[r], CONTedge_ind2_K[r], CONTconnect_edge2_K    the same along the upper level; segments
 *                             have no promised direction
 *
 * The others are as for cuts. */

/* Of tri and quad. */
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

/* Edges and their new nodes: an entry for each. */
struct EdgeTable {
    int *head;     /* per bucket: slot of its first entry, 0 when empty */
    int *next;     /* per slot: next slot of the bucket, 0 at the end. A slot is an entry's number plus 1 */
    int *min_node; /* per entry: smaller node of the edge */
    int *max_node; /* per entry: larger node */
    int nbucket;   /* buckets */
    int capacity;  /* of next, min_node and max_node; starts at 1024 */
    int count;     /* entries */
    int grow;      /* capacity grows in steps of it: 1024 */
};

/* Edges with a level flag. */
struct EdgeTable2 {
    int *head;                 /* these four as in EdgeTable */
    int *next;                 /* per slot */
    int *min_node;             /* per entry */
    int *max_node;             /* per entry */
    int nlower;                /* entries of level flag 0 */
    int nupper;                /* entries of another */
    unsigned char *level_flag; /* per entry */
    int nbucket;               /* buckets */
    int capacity;              /* of next, min_node, max_node and level_flag; starts at 1000 */
    int count;                 /* entries: nlower + nupper */
    int grow;                  /* capacity grows in steps of it: 1000 */
};

/* The rolling form of EdgeTable: slots are counted apart from entries. */
typedef struct EdgeTableStr {
    int *head;         /* per bucket: slot of its first edge, 0 when empty */
    int *next;         /* per slot: next slot of the bucket, 0 at the end */
    int *slot_entry;   /* per slot: its entry */
    int *min_node;     /* per entry: smaller node of the edge */
    int *max_node;     /* per entry: larger node */
    int capacity;      /* of the entries; starts at grow */
    int count;         /* entries */
    int nbucket;       /* buckets */
    int slot_capacity; /* of next and slot_entry; starts at grow */
    int next_slot;     /* the next to be taken; starts at 1 */
    int grow;          /* either capacity grows in steps of it */
} EdgeTableStr;

/* The rolling form of EdgeTable2. */
typedef struct EdgeTable2Str {
    int *head;                 /* these five as in EdgeTableStr */
    int *next;                 /* per slot */
    int *slot_entry;           /* per slot */
    int *min_node;             /* per entry */
    int *max_node;             /* per entry */
    unsigned char *level_flag; /* per entry */
    int nlower;                /* entries of level flag 0 */
    int nupper;                /* entries of another */
    int capacity;              /* these six as in EdgeTableStr */
    int count;                 /* entries: nlower + nupper */
    int nbucket;               /* buckets */
    int slot_capacity;         /* of next and slot_entry */
    int next_slot;             /* the next to be taken */
    int grow;                  /* either capacity grows in steps of it */
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
 * ("No isosurf function found\n"): 0, and so is another dtype than the six on cell sets. A grid of one
 * dimension, or a set of lines: 0, without a report.
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
 * found"): 0, and so is another dtype than the six on cell sets.
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

/* The kernels of triangles and quadrilaterals, for the isoline_func slot: the lines of one set. Cells of more
 * nodes are taken by their first three or four; a null at any of their nodes counts.
 *   mask, table, connect, size, capacity  as for the kernels of UTILslice_cells, and left as they leave them
 *   cell_list  *cell_list is null, or a list of 1000 ints, which is grown: per segment its cell in the set
 * Result: the segments made; 0 on a failure. There is no interruption. */
ISOFIELD_API int UTILisoline_tri(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask,
                                 EdgeTable *table, int **connect, int *size, int *capacity, int **cell_list);
ISOFIELD_API int UTILisoline_quad(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask,
                                  EdgeTable *table, int **connect, int *size, int *capacity, int **cell_list);

/* ====================================================================================================
 * Tracing
 * ====================================================================================================
 * One sheet or line of a structured, uniform or rectilinear grid, grown from a point: a walk that goes from
 * cell to cell through the faces or edges that it crosses, so that its cost follows what it touches and
 * distant sheets of the same level stay out. Cells are corner numbers here.
 * The walk is that of B. Wyvill, C. McPheeters, G. Wyvill, "Data structure for soft objects", 1986. */

/* The triangles of the sheet through a point, in a grid of three dimensions.
 *   table                     as the mesh's find_cell_func takes it; null on uniform and rectilinear grids
 *   data                      nnodes scalars of dtype
 *   xyz                       the point: 3 floats
 *   level                     out: the data at the point, interpolated in float, which is the level
 *   nnew, min_node, max_node  the new nodes as edges, in the order in which the walk meets them
 *   ntris                     triangles
 *   connect, nconnect         ntris x 3 new nodes; ints used
 * A cell's polygons are those of UTILisosurf. The walk leaves a cell through the faces that ISOtrace_hex
 * tells, but takes the mask's bits along the second axis as steps along the third and the other way round.
 * So it does not follow the surface where that leaves a cell through faces of one of these axes alone, and
 * may step over to another sheet in the next cell: the result can be less than the sheet, or more. The sheet
 * itself is the connected part of UTILisosurf's surface (isofield.hpp: Locator::sheet). Cells with a null
 * node are left out. Neighbours are taken depth first. Where the level equals the data in all of the point's
 * cell nothing is made, and the result is 1. The percentages of progress count the cells that are looked at
 * against those of set 0, and may pass 100.
 * Result 1; 0 when the point is in no cell, its cell has a null node, there is no memory (a failed growth of
 * connect is told on standard error), the grid has not three dimensions, or the mesh has no find_cell_func or
 * interp_data_func, which is told on standard error; -1 when interrupted. Another dtype than the six makes
 * nothing and gives some nonzero number, without a report. */
ISOFIELD_API int UTILiso_trace(MeshInfo *mesh, BlockTable *table, const void *data, int dtype, int null_flag,
                               const void *null_value, const float *xyz, double *level, int *nnew,
                               int **min_node, int **max_node, int *ntris, int **connect, int *nconnect);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                   \
    ISOFIELD_API int UTILiso_trace_##suffix(                                                             \
        MeshInfo *mesh, BlockTable *table, const T *data, int null_flag, V null_value, const float *xyz, \
        double *level, int *nnew, int **min_node, int **max_node, int *ntris, int **connect, int *nconnect);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Per case of a cell's corners the faces that the surface crosses. Bits 0 to 7 of a case tell of the nodes
 * 0 1 4 5 3 2 7 6 whether they are at or above the level. A face is crossed when its nodes are not alike. The
 * bits of faces: 1 and 2, the lower and upper side along bit 0 of the case's bit numbers; 4 and 8 along their
 * bit 1; 16 and 32 along their bit 2. */
ISOFIELD_API extern const int ISOtrace_hex[256];

/* The segments of the line through a point, in the first two dimensions of a grid. Arguments as above, with
 *   nlines             segments
 *   connect, nconnect  nlines x 2 new nodes; ints used
 * An edge of a cell with the values a and b is crossed when a <= level < b or a >= level > b, and when both
 * equal the level: a node that equals the level makes its edges crossed, each with a new node of its own. Of
 * a cell's crossed edges one makes a segment of no length, two a segment, three a segment of the first two,
 * and four, by edges 01 12 23 30, the segments 01-12 and 23-30 when node 0 is below node 1, else 01-30 and
 * 23-12. So a plateau is walked all over, with two segments a cell. In a grid of three dimensions rows are
 * counted through all planes: a line that starts in an upper plane may go down into the one below. There is
 * no interruption. Results as above; 0 when the grid has less than two dimensions. */
ISOFIELD_API int UTILisoline_trace(MeshInfo *mesh, BlockTable *table, const void *data, int dtype,
                                   int null_flag, const void *null_value, const float *xyz, double *level,
                                   int *nnew, int **min_node, int **max_node, int *nlines, int **connect,
                                   int *nconnect);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                    \
    ISOFIELD_API int UTILisoline_trace_##suffix(MeshInfo *mesh, BlockTable *table, const T *data,         \
                                                int null_flag, V null_value, const float *xyz,            \
                                                double *level, int *nnew, int **min_node, int **max_node, \
                                                int *nlines, int **connect, int *nconnect);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* A stack of cells on pooled nodes, for walks. */
typedef struct CellNode CellNode;
struct CellNode {
    int cell;       /* its cell */
    CellNode *next; /* below it, or the next free one */
};
typedef struct CellList {
    CellNode *top;     /* null when the list is empty; the caller reads top->cell */
    CellNode *free;    /* chain of free nodes */
    int nblocks;       /* blocks of nodes */
    CellNode **blocks; /* nblocks blocks of nodes */
} CellList;

/* A list with room for `count` cells, or null when there is no memory. It grows by 1024 nodes. */
ISOFIELD_API CellList *UTILinit_cell_list(int count);

/* Result 1. Null is allowed. */
ISOFIELD_API int UTILdelete_cell_list(CellList *list);

/* Pushes cells in their order, so that the last one ends on top. Result 1; 0 when there is no memory, and on
 * a null list: some of the cells may have been pushed. */
ISOFIELD_API int UTILadd_cell_to_list(CellList *list, int count, const int *cells);

/* Pops the top. Result 1, or 0 on an empty or null list. */
ISOFIELD_API int UTILrm_cell_from_list(CellList *list);

/* A set of cells. Cell numbers, 0 to total - 1, are spread over the buckets by linear scaling: runs of cells
 * share a bucket when there are fewer buckets than cells. */
typedef struct CellTable {
    int *head;    /* per bucket: its first entry, from 1; 0 when empty */
    int *next;    /* per entry: the next of its bucket, 0 at the end */
    int *value;   /* per entry: its cell */
    int size;     /* buckets */
    int capacity; /* of next and value; starts at 1024 and grows by 1024 */
    int count;    /* entries */
    float scale;  /* size / total: a cell's bucket is cell * scale, truncated */
} CellTable;

/* A table of `size` buckets for `total` cells, or null when there is no memory. */
ISOFIELD_API CellTable *UTILcell_table_create(int size, int total);

/* Result 1. Null is allowed. */
ISOFIELD_API int UTILcell_table_delete(CellTable *table);

/* Puts a cell at the head of its bucket, whether it is there already or not. Result 1; 0 when there is no
 * memory, and on a null table. */
ISOFIELD_API int UTILcell_table_add(CellTable *table, int cell);

/* Whether a cell is in the table: 1 or 0. 0 on a null table. */
ISOFIELD_API int UTILcell_in_table(const CellTable *table, int cell);

/* ====================================================================================================
 * Plane slices of grids
 * ==================================================================================================== */

/* Cuts a uniform or rectilinear grid of three dimensions by the plane normal . p = dist into a regular grid
 * on the plane. Its points are where grid lines along one axis a, that of the normal's largest component (the
 * first of equal ones), meet the plane: one for each pair of grid lines of the next two axes in cyclic order,
 * u and v. Each comes as an edge along a, as new nodes do: UTILeval_coord and UTILeval_param take it from
 * there (pairs with -1 are skipped).
 *   dims, points        the grid's, with a stride of 3 floats a row, as in MeshInfo
 *   normal              3 floats, of any length
 *   dist                narrowed to float
 *   out_dims            out: 2 ints, dims[u] and dims[v]
 *   out_points          out: places in the slice's own frame, rows of n floats. Uniform: 2 rows, 0 and 1.
 *                       Rectilinear: dims[u] rows with the place of each line of u, from 0 to 1, in element 0
 *                       and 0 in the others; then dims[v] rows with those of v in element 1
 *   n                   2 or 3
 *   matrix              out: 4 x 4, takes the slice's frame (s, t, 0, 1) to space, as row vectors. Rows: the
 *                       plane's edge along u, that along v, their unit normal, and the corner
 *   min_node, max_node  out: per point, u fastest, the nodes below and above it along a; -1 outside the grid
 *   weights             out: per point its place between them, from 0 to 1; unwritten outside
 *   flags               out: per point 1 inside the grid, 0 outside
 * Places on a uniform grid run along a row by repeated subtraction in float: far along it they are off the
 * plane by some rounding. A point on the grid's last node has that as max_node, with the weight 1.
 * Result: the points inside. 0 when there is none, the normal's largest component is not above 0, dims[a] is
 * below 2 (all with nothing allocated but in the first case), or an array could not be had: the others stay
 * with the caller then. Arrays are the caller's in every case (ARRfree_f), null where not allocated.
 * UTILrslice takes the mesh for its method only; a mesh kind without one is told on standard error: 0. */
ISOFIELD_API int UTILrslice(MeshInfo *mesh, const int *dims, const float *points, const float *normal,
                            double dist, int *out_dims, float **out_points, int n, float *matrix,
                            int **min_node, int **max_node, float **weights, unsigned char **flags);
ISOFIELD_API int UTILrslice_unif(const int *dims, const float *points, const float *normal, double dist,
                                 int *out_dims, float **out_points, int n, float *matrix, int **min_node,
                                 int **max_node, float **weights, unsigned char **flags);
ISOFIELD_API int UTILrslice_rect(const int *dims, const float *points, const float *normal, double dist,
                                 int *out_dims, float **out_points, int n, float *matrix, int **min_node,
                                 int **max_node, float **weights, unsigned char **flags);

/* ====================================================================================================
 * Bands
 * ====================================================================================================
 * The part of a field where lo <= value <= hi, as a mesh. Cells inside the band come through whole; cells
 * that the band crosses are replaced by tetrahedra (volume cells) or triangles (flat cells), cut at new nodes
 * on their edges; the others vanish. lo must not exceed hi. There is no tolerance: a node at a level belongs
 * to the band, and where the band ends on it an edge may still have a new node on top of it. A cell with a
 * null node vanishes. NaN is below lo and is not above hi, so that cells with NaN nodes are cut at lo as if
 * NaN were a low value, with coordinates that are NaN: mark such nodes as null.
 *
 * Results, the same for every mesh kind but for node_map:
 *   nold, node_map      old nodes that stay, in mesh order; they have the rows 0 to nold - 1 of the result.
 *                       On cell sets node_map is a map: per mesh node its row, or -1. On grids it is a list:
 *                       per row its mesh node, null where there is none. From malloc, to be freed with free.
 *                       Integer data take the levels truncated towards zero here, float data rounded to
 *                       float, so that with levels such as 2.5 an old node may stay that no cell has
 *   nnew                new nodes; new node k has the row nold + k
 *   min_node, max_node  the ends of its edge, the smaller first. In a volume cell that both levels cross an
 *                       end may be a new node m of the lower level, named nnodes + m; only as max_node, and
 *                       m < k
 *   level_flag          per new node 0 when it lies at lo, 1 at hi
 *   ncells, connect, connect_size    six words each, by type index (see case tables): cells; ncells x nodes
 *                       rows of the result; ints used. Per type the cells stand in the order of the sets,
 *                       then of the cells, then of the tables. Where ncells is 0 there is no array: the word
 *                       of connect is dangling on cell sets and null on grids; test ncells
 *   nspace              of the mesh
 *   coords              (nold + nnew) x nspace; null where there are no nodes
 *   nlines_lo, lines_lo, nlines_hi, lines_hi    in: a count that is not 0 asks for the lines along that level
 *                       in flat cells. Out: the segments, and two rows each. They are complete for a grid of
 *                       two dimensions and for a mesh of one linear set of flat cells. Each further set, or
 *                       chunk of a quadratic set, starts anew: it replaces the lines found so far, or, where
 *                       none were found, makes none; a volume set leaves none. An array may be there with a
 *                       count of 0
 * On grids whole cells have the nodes of the upper plane first and the lower plane after them, each in the
 * order p, p+1, p+1+d0, p+d0: hexahedra, and the tetrahedra made of them, are mirrored in index space, their
 * volume negative where i, j, k are right-handed. Quadrilaterals run counterclockwise. Faces of volume cells
 * with two diagonal nodes kept keep these apart, so that a band and its neighbours leave gaps there (see case
 * tables); flat cells and tetrahedra tile exactly.
 * Result 1; 0 on a failure or when interrupted. A mesh kind without the method is reported ("no contour
 * function found\n"): 0, and the results are left as they were. */
ISOFIELD_API int UTILcontour(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                             const void *null_value, double lo, double hi, int *nold, int **node_map,
                             int *nnew, int **min_node, int **max_node, char **level_flag, int *ncells,
                             int **connect, int *connect_size, int nspace, float **coords, int *nlines_lo,
                             int **lines_lo, int *nlines_hi, int **lines_hi);

/* The method of cell sets: every set that has a contour_func is walked in order, a quadratic one through its
 * linear pieces, at most 1000 cells at a time. Sets without the method vanish. Another dtype than the six: 0.
 */
ISOFIELD_API int UTILcontour_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                   const void *null_value, double lo, double hi, int *nold, int **node_map,
                                   int *nnew, int **min_node, int **max_node, char **level_flag, int *ncells,
                                   int **connect, int *connect_size, int nspace, float **coords,
                                   int *nlines_lo, int **lines_lo, int *nlines_hi, int **lines_hi);

/* The kernels, for the contour_func slot: the band in one set.
 *   nold, node_map  as UTILnode_thresh2 gives them
 *   table           a flat table with a bucket per node
 *   ncells, connect, connect_size, capacity    six words each, which grow over the sets of a mesh: cells,
 *                   rows, ints used and ints of room. A null connect, or capacity 0, makes a new array
 *   nlines_lo to lines_hi    as in UTILcontour; *lines is not read and is overwritten where lines are wanted
 * Result 1, or 0. A kernel that has no memory or is interrupted frees the table (UTILedge_table2_delete), all
 * connect arrays and the lines it made, and leaves connect null and capacity -1; when the cells are not to be
 * had it frees nothing. */
#define ISOFIELD_DECLARE(name)                                                                             \
    ISOFIELD_API int name(MeshInfo *mesh, int set, int dtype, const void *data, int null_flag,             \
                          const void *null_value, double lo, double hi, int nold, const int *node_map,     \
                          EdgeTable2 *table, int *ncells, int **connect, int *connect_size, int *capacity, \
                          int *nlines_lo, int **lines_lo, int *nlines_hi, int **lines_hi);
ISOFIELD_DECLARE(UTILcontour_hex)
ISOFIELD_DECLARE(UTILcontour_prism)
ISOFIELD_DECLARE(UTILcontour_pyr)
ISOFIELD_DECLARE(UTILcontour_tet)
ISOFIELD_DECLARE(UTILcontour_quad)
ISOFIELD_DECLARE(UTILcontour_tri)
#undef ISOFIELD_DECLARE

/* The method of the three grid kinds, by the member of the dimension and type; another ndim than 2 and 3, or
 * another dtype than the six: 0, and so for a grid whose nnodes x nspace coordinates an int can't count.
 * Coordinates are asked for a plane (a row) at a time through get_sub_coords; working memory is two planes
 * (rows). In three dimensions there are no lines. */
ISOFIELD_API int UTILcontour_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                    const void *null_value, double lo, double hi, int *nold, int **node_map,
                                    int *nnew, int **min_node, int **max_node, char **level_flag, int *ncells,
                                    int **connect, int *connect_size, int nspace, float **coords,
                                    int *nlines_lo, int **lines_lo, int *nlines_hi, int **lines_hi);
#define ISOFIELD_DECLARE_DIMENSION(dimension, suffix, T, V)                                           \
    ISOFIELD_API int UTILcontour_struct_##dimension##_##suffix(                                       \
        MeshInfo *mesh, const T *data, int null_flag, V null_value, double lo, double hi, int *nold,  \
        int **node_map, int *nnew, int **min_node, int **max_node, char **level_flag, int *ncells,    \
        int **connect, int *connect_size, int nspace, float **coords, int *nlines_lo, int **lines_lo, \
        int *nlines_hi, int **lines_hi);
#define ISOFIELD_DECLARE(suffix, T, V)           \
    ISOFIELD_DECLARE_DIMENSION(2d, suffix, T, V) \
    ISOFIELD_DECLARE_DIMENSION(3d, suffix, T, V)
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE
#undef ISOFIELD_DECLARE_DIMENSION

/* The nodes of a band, lo <= value <= hi and not null, in mesh order: map[i] becomes the row of node i, or
 * -1. Result: their number; another dtype than the six writes nothing and gives nnodes. Members compare with
 * the levels as they get them: of integer types as ints, truncated towards zero by the dispatcher; _float
 * narrows them to float. */
ISOFIELD_API int UTILnode_thresh2(int nnodes, int dtype, const void *data, int null_flag,
                                  const void *null_value, double lo, double hi, int *map);

/* The same for grids: UTILnnode_thresh_struct2_<type> counts over the dims[0] x ... x dims[ndim-1] nodes of a
 * grid. UTILnode_thresh_struct2_<type> lists them, a run of n nodes at a time, the first of which has the
 * number `start`: a node in the band gets map[i] = *count and list[*count] = start + i, and *count goes up;
 * map is left alone elsewhere. Result 1. */
#define ISOFIELD_DECLARE(suffix, T, V)                                                                       \
    ISOFIELD_API int UTILnode_thresh2_##suffix(int nnodes, const T *data, int null_flag, V null_value, V lo, \
                                               V hi, int *map);                                              \
    ISOFIELD_API int UTILnnode_thresh_struct2_##suffix(int ndim, const int *dims, const T *data,             \
                                                       int null_flag, V null_value, V lo, V hi);             \
    ISOFIELD_API int UTILnode_thresh_struct2_##suffix(int n, const T *data, int null_flag, V null_value,     \
                                                      V lo, V hi, int start, int *count, int *list,          \
                                                      int *map);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Node data on the new nodes of a band: at new node i, which lies at a level (lo or hi by its flag) between a
 * and b, in[a] + t * (in[b] - in[a]) with t = (level - data[a]) / (data[b] - data[a]), all in double; integer
 * results are truncated. Ends that are new nodes themselves are worked out first. Where data are equal at
 * both ends the result is in[a]. Where an end is negative the row is left alone.
 *   nnew, start    rows to make, and the first element of min_node, max_node and level_flag to use
 *   data_type, data    the scalar of the band, by node number
 *   veclen         at most 128; above that nothing is written and the result is 0
 *   array_type, in, out    data with veclen components, and nnew rows of them, of one type
 *   null_flag, null_value  a null of `in`: a component that is null at either end is null. The null has the
 *                  array's type
 *   offset         taken off the place node * veclen in `in`, for arrays that start at a later node
 * Where data and in are the same array, out gets nnew levels, one a row, whatever veclen is.
 * Members, for each pair of types, are named UTILeval_contour_<data type>_<array type>; their arguments are
 * those below less the two type codes, with the null by value. Result 1; an unknown type is reported
 * ("unknown data type") and gives 0. */
ISOFIELD_API int UTILeval_contour(int nnodes, int nnew, int start, int data_type, const void *data, double lo,
                                  double hi, const int *min_node, const int *max_node, const char *level_flag,
                                  int veclen, int array_type, int null_flag, const void *null_value,
                                  int offset, const void *in, void *out);
#define ISOFIELD_DECLARE_PAIR(a, A, b, B, V)                                                               \
    ISOFIELD_API int UTILeval_contour_##a##_##b(int nnodes, int nnew, int start, const A *data, double lo, \
                                                double hi, const int *min_node, const int *max_node,       \
                                                const char *level_flag, int veclen, int null_flag,         \
                                                V null_value, int offset, const B *in, B *out);
#define ISOFIELD_DECLARE(suffix, T, V)                       \
    ISOFIELD_DECLARE_PAIR(char, signed char, suffix, T, V)   \
    ISOFIELD_DECLARE_PAIR(byte, unsigned char, suffix, T, V) \
    ISOFIELD_DECLARE_PAIR(short, short, suffix, T, V)        \
    ISOFIELD_DECLARE_PAIR(int, int, suffix, T, V)            \
    ISOFIELD_DECLARE_PAIR(float, float, suffix, T, V)        \
    ISOFIELD_DECLARE_PAIR(double, double, suffix, T, V)
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE
#undef ISOFIELD_DECLARE_PAIR

/* ====================================================================================================
 * Cuts
 * ====================================================================================================
 * The part of a field on one side of a level, as a mesh: as a band, with one level, and with the cell that
 * each output cell comes from. Coordinates and data are left to the caller: rows of old nodes are gathered by
 * node_map, new nodes are evaluated by UTILeval_contour with lo = level and flags of 0, or by UTILget_param.
 *   side         below 0: keep what is below the level; otherwise what is at or above it
 *   nold, node_map, nnew, min_node, max_node, ncells, connect, connect_size  as told under bands. With side
 *                below 0 a node at the level has a row, but the cut runs through new nodes on top of it, and
 *                no cell has its row. NaN is below the level, but is never an old node: with side below 0 the
 *                cells of a NaN node are kept with rows of -1. Mark such nodes as null
 *   cell_count, cell_list   both null; or, by type index, the count of the output cells and a list with the
 *                cell that each comes from. On cell sets there are six words for each set: word set * 6 + t
 *                tells of the cells of type t made from the set, in the order of connect[t], by their cell
 *                within the set; the words of a set without the method are 0. On grids there are six words in
 *                all, and cells have packed numbers. The lists are the caller's, also those with a count of 0
 * Result 1; 0 on a failure or when interrupted. A mesh kind without the method is reported ("no cut function
 * found\n"): 0, and the results are left as they were. An unknown dtype gives 0. */
ISOFIELD_API int UTILcut(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                         double level, int side, int *nold, int **node_map, int *nnew, int **min_node,
                         int **max_node, int *ncells, int **connect, int *connect_size, int *cell_count,
                         int **cell_list);

/* The method of cell sets: every set that has a cut_func is walked in order, a quadratic one through its
 * linear pieces, at most 1024 cells at a time; its output cells tell the quadratic cell. */
ISOFIELD_API int UTILcut_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                               const void *null_value, double level, int side, int *nold, int **node_map,
                               int *nnew, int **min_node, int **max_node, int *ncells, int **connect,
                               int *connect_size, int *cell_count, int **cell_list);

/* The kernels, for the cut_func slot.
 *   mask            per node: 1 at or above the level, 0 below, 2 null (looked at with null_flag)
 *   nold, node_map  as UTILnode_thresh gives them
 *   table           a flat table with a bucket per node
 *   ncells, connect, connect_size, capacity    as for the kernels of bands
 *   cell_count, cell_list   both null; or as in UTILcut, six words for each set. The six lists of the set
 *                   have 1024 ints and are grown
 * Result 1, or 0. A kernel that has no memory or is interrupted frees the mask (free), the table
 * (UTILedge_table_delete), all connect arrays and the set's lists, and leaves these null and capacity -1;
 * when the cells are not to be had it frees nothing. */
#define ISOFIELD_DECLARE(name)                                                                         \
    ISOFIELD_API int name(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, int side, \
                          int nold, const int *node_map, EdgeTable *table, int *ncells, int **connect, \
                          int *connect_size, int *capacity, int *cell_count, int **cell_list);
ISOFIELD_DECLARE(UTILcut_hex)
ISOFIELD_DECLARE(UTILcut_prism)
ISOFIELD_DECLARE(UTILcut_pyr)
ISOFIELD_DECLARE(UTILcut_tet)
ISOFIELD_DECLARE(UTILcut_quad)
ISOFIELD_DECLARE(UTILcut_tri)
#undef ISOFIELD_DECLARE

/* The method of the three grid kinds: by ndim 3 or 2 one of the two below; another ndim gives 0, and so does
 * another dtype than the six. Working memory is two planes (rows). */
ISOFIELD_API int UTILcut_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                const void *null_value, double level, int side, int *nold, int **node_map,
                                int *nnew, int **min_node, int **max_node, int *ncells, int **connect,
                                int *connect_size, int *cell_count, int **cell_list);
ISOFIELD_API int UTILcut_struct_2d(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                   const void *null_value, double level, int side, int *nold, int **node_map,
                                   int *nnew, int **min_node, int **max_node, int *ncells, int **connect,
                                   int *connect_size, int *cell_count, int **cell_list);
ISOFIELD_API int UTILcut_struct_3d(MeshInfo *mesh, const void *data, int dtype, int null_flag,
                                   const void *null_value, double level, int side, int *nold, int **node_map,
                                   int *nnew, int **min_node, int **max_node, int *ncells, int **connect,
                                   int *connect_size, int *cell_count, int **cell_list);

/* The nodes that a cut keeps: value <= level with side below 0, else value >= level, and not null. The level
 * is compared in double by all members. UTILnode_thresh makes a map as UTILnode_thresh2 does, and gives their
 * number (nnodes for an unknown dtype). UTILnnode_thresh_struct counts them on a grid. UTILnode_thresh_struct
 * lists them run by run as UTILnode_thresh_struct2 does, with its n, start, count, list and map, and
 * gives 1. These two report an unknown dtype ("unknown data type"): 0. */
ISOFIELD_API int UTILnode_thresh(int nnodes, int dtype, const void *data, int null_flag,
                                 const void *null_value, double level, int side, int *map);
ISOFIELD_API int UTILnnode_thresh_struct(int ndim, const int *dims, const void *data, int dtype,
                                         int null_flag, const void *null_value, double level, int side);
ISOFIELD_API int UTILnode_thresh_struct(int n, const void *data, int dtype, int null_flag,
                                        const void *null_value, double level, int side, int start, int *count,
                                        int *list, int *map);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                      \
    ISOFIELD_API int UTILnode_thresh_##suffix(int nnodes, const T *data, int null_flag, V null_value,       \
                                              double level, int side, int *map);                            \
    ISOFIELD_API int UTILnnode_thresh_struct_##suffix(int ndim, const int *dims, const T *data,             \
                                                      int null_flag, V null_value, double level, int side); \
    ISOFIELD_API int UTILnode_thresh_struct_##suffix(int n, const T *data, int null_flag, V null_value,     \
                                                     double level, int side, int start, int *count,         \
                                                     int *list, int *map);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* ====================================================================================================
 * Meshes without nulls
 * ==================================================================================================== */

/* The mesh without its null nodes: the other nodes, numbered from 0 in mesh order, and the cells that have no
 * null node, whole. Nodes stay that no cell has any more.
 *   data         nnodes scalars
 *   nkept        nodes kept
 *   node_list    from malloc, to be freed with free. On cell sets a map: per mesh node its new number, or -1.
 *                On grids a list: per new number its mesh node
 *   nsets        the sets to take, from set 0 on: ncell_sets, or fewer; not read on grids
 *   ncells, connect, connect_size    nsets words each (one on grids): cells kept; ncells x nodes, in new
 *                numbers; ints used. connect is null where ncells is 0
 * Cells of grids: two nodes c, c+1; four nodes counterclockwise, c, c+1, c+1+d0, c+d0; eight nodes the other
 * way round, c, c+d0, c+d0+1, c+1 and the same one plane up, so that hexahedra are mirrored in index space.
 * NaN is no null, and a null value of NaN finds none. Result 1 or 0. An unknown dtype gives 0 on cell sets,
 * and on grids does nothing and gives some nonzero number. A mesh kind without the method is told on standard
 * error: 0. */
#define ISOFIELD_DECLARE(name)                                                                             \
    ISOFIELD_API int name(MeshInfo *mesh, const void *data, int dtype, const void *null_value, int *nkept, \
                          int **node_list, int nsets, int *ncells, int **connect, int *connect_size);
ISOFIELD_DECLARE(UTILthresh_null)
ISOFIELD_DECLARE(UTILthresh_null_cells)
ISOFIELD_DECLARE(UTILthresh_null_struct)
#undef ISOFIELD_DECLARE
#define ISOFIELD_DECLARE(suffix, T, V)                                                                    \
    ISOFIELD_API int UTILthresh_null_struct_##suffix(MeshInfo *mesh, const T *data, V null_value,         \
                                                     int *nkept, int **node_list, int nsets, int *ncells, \
                                                     int **connect, int *connect_size);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* Numbers the nodes that are not null: map[n] is the new number of node n, or -1. Result: nodes kept. An
 * unknown dtype gives nnodes and writes nothing. */
ISOFIELD_API int UTILnode_thresh_null(int nnodes, int dtype, const void *data, const void *null_value,
                                      int *map);

/* The cells of one set whose nodes all have a number in `map`. connect as above; it is null when no cell is
 * kept. nkept is not read. Result 1 or 0. */
ISOFIELD_API int UTILcells_from_nlist(MeshInfo *mesh, int set, int nkept, const int *map, int *ncells,
                                      int **connect, int *connect_size);

/* The same for the nodes of a grid of dims[0] x ... x dims[ndim-1] nodes: their number; and the map, with the
 * list that gives the nodes back. Result of the second: 1. */
#define ISOFIELD_DECLARE(suffix, T, V)                                                                       \
    ISOFIELD_API int UTILnode_thresh_null_##suffix(int nnodes, const T *data, V null_value, int *map);       \
    ISOFIELD_API int UTILnnode_null_struct_##suffix(int ndim, const int *dims, const T *data, V null_value); \
    ISOFIELD_API int UTILnode_thresh_null_struct_##suffix(int ndim, const int *dims, const T *data,          \
                                                          V null_value, int *map, int *list);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

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
 * number in list_a or list_b means that the pair is skipped: its output stays as it was. The result is 1
 * unless said otherwise; UTILget_param and UTILeval_param report an unknown dtype: 0.
 *   npairs          pairs
 *   list_a, list_b  npairs nodes each: the two of a pair
 *   t               npairs floats: a place between them, 0 at the first and 1 at the second */

/* Per pair, where `value` lies between two nodes: t = (value - a) / (b - a), a and b being the data (nnodes
 * scalars) at list_a and list_b; 0 where they are equal. */
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
 * grids. 0 also when the mesh's arrays are not to be had. */
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
 * number. A mesh kind without the method is told on standard error: 0.
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

/* ====================================================================================================
 * Probing
 * ==================================================================================================== */

/* Samples node data of one type at points anywhere.
 *   points      npoints x nspace
 *   xform       a 4 x 4 matrix that takes points into the mesh, or null
 *   table       as the mesh's find_cell_func takes it; null on uniform and rectilinear grids
 *   veclens     narrays: components
 *   arrays      narrays: nnodes x veclen each, of dtype
 *   range_low   not read; may be null
 *   range_high  per array a slot of 8 bytes that holds its largest value, in dtype; read where a null value
 *               is made up
 *   null_flags  narrays, in and out: whether the array has a null; comes back 1 when null was written to its
 *               output
 *   null_values per array a slot of 8 bytes, in and out: the null value, in dtype. Where the flag comes in as
 *               0 one is made up: 0 for a veclen above 1, else range_high + 1, which wraps around in the
 *               integer types
 *   outs        narrays: npoints x veclen each, of dtype. Values are interpolated in float, and truncated for
 *               the integer types
 * A point outside the mesh, or in a cell with a null node, gives the null value in all components. Result 1;
 * 0 when interrupted (what stands in outs then is not told; flags are as they were), without memory, on an
 * unknown dtype, or when the mesh has no find_cell_func or interp_data_func, which is told on standard
 * error. */
ISOFIELD_API int UTILinterpolate_data(int npoints, const float *points, int nspace, const float *xform,
                                      MeshInfo *mesh, BlockTable *table, int narrays, int dtype,
                                      const int *veclens, const void *const *arrays, const void *range_low,
                                      const void *range_high, int *null_flags, void *null_values,
                                      void *const *outs);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                       \
    ISOFIELD_API int UTILinterpolate_data_##suffix(                                                          \
        int npoints, const float *points, int nspace, const float *xform, MeshInfo *mesh, BlockTable *table, \
        int narrays, const int *veclens, const T *const *arrays, const void *range_low,                      \
        const void *range_high, int *null_flags, void *null_values, T *const *outs);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* The same for one array of cell data: each point gets the row of its cell as it stands. As above but for
 *   set_map      per cell set the number of its array in cell_arrays, or negative where it has none
 *   cell_arrays  per array: cell_ncells x veclen of its set. On a grid rows are taken by corner number, and
 *                corner numbers from cell_ncells[0] on give null
 *   range_high, null_value  one slot
 *   null_flag    one */
ISOFIELD_API int UTILinterpolate_cell_data(int npoints, const float *points, int nspace, const float *xform,
                                           MeshInfo *mesh, BlockTable *table, const int *set_map, int dtype,
                                           int veclen, const void *const *cell_arrays, const void *range_low,
                                           const void *range_high, int *null_flag, void *null_value,
                                           void *out);
#define ISOFIELD_DECLARE(suffix, T, V)                                                                       \
    ISOFIELD_API int UTILinterpolate_cell_data_##suffix(                                                     \
        int npoints, const float *points, int nspace, const float *xform, MeshInfo *mesh, BlockTable *table, \
        const int *set_map, int veclen, const T *const *cell_arrays, const void *range_low,                  \
        const void *range_high, int *null_flag, void *null_value, T *out);
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE

/* ====================================================================================================
 * Streamlines
 * ====================================================================================================
 * The path of a particle in a steady vector field, by explicit Runge-Kutta steps. Works on every mesh kind
 * that has find_cell_func, interp_data_func and cell_extent_func. Nothing is allocated, and there is neither
 * progress nor interruption: one call is one line. */

/* Traces the line that starts at a point.
 *   table                  as the mesh's find_cell_func takes it; null on uniform and rectilinear grids
 *   data                   nnodes x veclen, of dtype; veclen 1 to 3. Where veclen is below nspace, the other
 *                          coordinates stay those of the start
 *   order                  1 to 4, see UTILintegrate
 *   direction              multiplies the first step in every cell: 1 downstream, -1 upstream
 *   nseg                   steps aimed for in a cell
 *   min_vel                a line ends where the speed is below
 *   start                  nspace floats
 *   max_points             the most points that the line may have: rows of the arrays below
 *   npoints                out: points written
 *   coords                 out: rows of nspace
 *   vectors                out: rows of veclen
 *   want_trace             whether the next four are written; they may be null otherwise
 *   cells                  out: per point its cell
 *   uvw                    out: rows of 3, the point's place in its cell
 *   speeds, steps          out: per point the length of its vector, and the step in time taken from it
 *   next_point             working memory, nspace floats: the place after the last step. Where the line ends
 *                          within a step, the stage that failed
 * The first step in a cell is 0.7 of the smallest side of its bounding box, divided by speed x nseg. While
 * the line stays in the cell, the step just taken is measured in the cell's parametric space, as p: its
 * length there times nseg. Below 0.01 the next step is ten times as long; else below 0.7 and above 2.0 the
 * step is divided by p.
 * A line ends where it leaves the mesh, meets a cell with a null node, becomes slower than min_vel (such a
 * point is not written), has max_points, or a step fails. A step, speed or position that is NaN or infinite
 * is a failed step. Result 1 however it ended; 0 when the mesh lacks one of the methods, which is told on
 * standard error with *npoints left alone. */
ISOFIELD_API int UTILstream_line(MeshInfo *mesh, BlockTable *table, const void *data, int dtype, int veclen,
                                 int null_flag, const void *null_value, int order, int direction, int nseg,
                                 double min_vel, const float *start, int max_points, int *npoints,
                                 float *coords, float *vectors, int want_trace, int *cells, float *uvw,
                                 float *speeds, float *steps, float *next_point);

/* One step of a streamline. The stages and the blend of order 1 (Euler), 2 (Ralston), 3 and 4 (Runge and
 * Kutta):
 *   order 2  k2 at 3/4 of the step; k1/3 + 2 k2/3
 *   order 3  k2 at 1/2, k3 at x + 4 step k2 - step k1: twice as far along k2 as in Kutta's scheme, so that
 *            its results are of first order; (k1 + 4 k2 + k3) / 6
 *   order 4  k2 and k3 at 1/2, k4 at 1; (k1 + 2 (k2 + k3) + k4) / 6
 *   cell        not read
 *   point_in    nspace floats
 *   point_out   out: nspace floats, the place after the step. Holds the stages' places on the way
 *   vector_in   k1, the data at point_in: veclen floats
 *   vector_out  out: the blend, veclen floats
 * Sources: A. Ralston, "Runge-Kutta methods with minimum error bounds", 1962; W. Kutta, "Beitrag zur
 * naeherungsweisen Integration totaler Differentialgleichungen", 1901.
 * Result 1; 0 where a stage is in no cell or in one with a null node, a place or the step is NaN or infinite;
 * and, told on standard error, on a missing method, a veclen or nspace above 3, or another order. */
ISOFIELD_API int UTILintegrate(MeshInfo *mesh, BlockTable *table, int cell, const void *data, int dtype,
                               int veclen, int null_flag, const void *null_value, double step, int order,
                               const float *point_in, float *point_out, const float *vector_in,
                               float *vector_out);

/* ====================================================================================================
 * Glyphs
 * ==================================================================================================== */

/* Stamps a template shape at every node, turned along the node's vector and sized by its data. Every node
 * writes glyph_nnodes vertices, so that the template's cells are repeated with that stride. Nothing is
 * allocated.
 *   data          nnodes x veclen, of dtype; veclen at most 3. What turns and sizes the glyph
 *   null_value    a null node's vertices stand all at the node, with its first map component as value
 *   scale_data    nnodes x scale_veclen (at most 3), of dtype: what sizes the glyph. The same pointer as
 *                 `data` means the data's own length (or scalar), whatever scale_veclen is
 *   map_data      nnodes x map_veclen (at most 3), of dtype: what becomes the vertices' value. The same
 *                 pointer as `data` means likewise
 *   orient        turns the template's x axis along the vector (veclen above 1)
 *   vector_scale  factors x, y, z are the vector's components, not one factor
 *   normalize     the size is `scale` alone; with vector_scale, times the components of the unit vector
 *   scale         factor of all sizes
 *   axis_flags    3 ints: axes of space along which vertices are scaled; the others keep the turned
 *                 template's coordinate
 *   node_xform    4 x 4, applied to the nodes' positions, or null
 *   glyph_coords  glyph_nnodes x glyph_nspace (at most 3): the template
 *   glyph_xform   4 x 4, applied to the template, or null
 *   out_coords    nnodes * glyph_nnodes rows of out_nspace (at most 3), node after node
 *   out_data      nnodes * glyph_nnodes values
 * Lengths are taken of vectors; scalars (veclen 1) keep their sign, so that a negative one mirrors the
 * template. A template vertex is transformed, turned, then scaled along the axes of space, then moved to the
 * node. A vector shorter than 1e-24 is none: without `normalize` the glyph collapses onto its node, its value
 * being then the length of the map data also where these are scalars, so without their sign; with it the
 * template is not turned. With orient, vector_scale and normalize all set the vector is divided by its length
 * twice, so that the template's x and z axes come 1 / length long.
 * Result 1; 0 when interrupted (what was written stays), when the mesh's arrays are not to be had, or on an
 * unknown dtype. A mesh kind without the method is told on standard error: 0. UTILglyph serves cell sets and
 * structured grids. */
ISOFIELD_API int UTILglyph_func(MeshInfo *mesh, int dtype, int veclen, const void *data, int null_flag,
                                const void *null_value, int scale_veclen, int map_veclen,
                                const void *scale_data, const void *map_data, int orient, int vector_scale,
                                int normalize, double scale, const int *axis_flags, const float *node_xform,
                                int glyph_nnodes, int glyph_nspace, const float *glyph_coords,
                                const float *glyph_xform, int out_nspace, float *out_coords, float *out_data);
#define ISOFIELD_DECLARE_GLYPH(name)                                                                        \
    ISOFIELD_API int name(MeshInfo *mesh, int dtype, int veclen, const void *data, int null_flag,           \
                          const void *null_value, int scale_veclen, int map_veclen, const void *scale_data, \
                          const void *map_data, int orient, int vector_scale, int normalize, double scale,  \
                          const int *axis_flags, const float *node_xform, int glyph_nnodes,                 \
                          int glyph_nspace, const float *glyph_coords, const float *glyph_xform,            \
                          int out_nspace, float *out_coords, float *out_data);
ISOFIELD_DECLARE_GLYPH(UTILglyph)
ISOFIELD_DECLARE_GLYPH(UTILglyph_unif)
ISOFIELD_DECLARE_GLYPH(UTILglyph_rect)
#undef ISOFIELD_DECLARE_GLYPH
#define ISOFIELD_DECLARE_GLYPH(name, T, V)                                                                  \
    ISOFIELD_API int name(MeshInfo *mesh, int veclen, const T *data, int null_flag, V null_value,           \
                          int scale_veclen, int map_veclen, const T *scale_data, const T *map_data,         \
                          int orient, int vector_scale, int normalize, double scale, const int *axis_flags, \
                          const float *node_xform, int glyph_nnodes, int glyph_nspace,                      \
                          const float *glyph_coords, const float *glyph_xform, int out_nspace,              \
                          float *out_coords, float *out_data);
#define ISOFIELD_DECLARE(suffix, T, V)                    \
    ISOFIELD_DECLARE_GLYPH(UTILglyph_##suffix, T, V)      \
    ISOFIELD_DECLARE_GLYPH(UTILglyph_unif_##suffix, T, V) \
    ISOFIELD_DECLARE_GLYPH(UTILglyph_rect_##suffix, T, V)
ISOFIELD_FAMILY(ISOFIELD_DECLARE)
#undef ISOFIELD_DECLARE
#undef ISOFIELD_DECLARE_GLYPH

/* ====================================================================================================
 * Triangulations of points
 * ====================================================================================================
 * Delaunay triangulations and tetrahedralisations by insertion, A. Bowyer, "Computing Dirichlet
 * tessellations", and D. F. Watson, "Computing the n-dimensional Delaunay tessellation with application to
 * Voronoi polytopes", The Computer Journal 24 (1981), pages 162-166 and 167-172, in the order of ascending
 * x (equal x by index), in double.
 *
 * A point that would make a simplex without area or volume is moved a little, square to the edge or face that
 * it is in line with, and inserted again, five times at most; then it is left out with "scat_to_tri: skip
 * point %d" ("scat_to_tet: ...") on standard error, the number being its index times 2 (3). The caller's
 * coordinates stay as they are; only the connectivity knows of the move. A point equal to the one before it
 * in the order is left out without a word, as are points that have a NaN or infinite coordinate.
 *
 * All starts with one simplex round the box `min`, `max`, whose vertices are about two of the box's extents
 * away, and simplices that hold one of these are not part of the result. So the result has notches where the
 * hull of the points is flat or nearly so. A box much larger than the points leaves fewer of them. Points
 * outside the box may be left out. */

/* Triangles of points in the plane, counterclockwise.
 *   coords    npoints rows of `stride` floats, x and y first
 *   min, max  2 floats each: a box round the points
 *   check     nonzero: each triangle is looked at, and told on standard error for each point inside its
 *             circumcircle (by more than 1e-5 of the squared radius), and at the end the count of these
 *   ntri      receives the count of triangles
 *   conn      receives 3 * ntri point numbers, from the last triangles made to the first. May be longer, or
 *             null when there is nothing
 * Polls every 129th point. Result 1, also when nothing could be built; 0 when stopped or when memory is
 * short. With a box without extent along x or y the result is 1 and both outputs stay as they were. */
ISOFIELD_API int UTILdelaun_tess_2D(int npoints, const float *coords, int stride, const float *min,
                                    const float *max, int check, int *ntri, int **conn);

/* Tetrahedra of points in space: as UTILdelaun_tess_2D but for these.
 *   coords    npoints x 3
 *   min, max  3 floats each
 *   ntet      receives the count of tetrahedra
 *   conn      receives 4 * ntet point numbers. All tetrahedra have the negative of the volume that a tet_1
 *             cell would have: swap two nodes of each to make cells of them
 * A box without extent along an axis gives the result 1 with nothing in the outputs. Polls every 65th
 * point. */
ISOFIELD_API int UTILdelaun_tess_3D(int npoints, const float *coords, const float *min, const float *max,
                                    int check, int *ntet, int **conn);

/* ====================================================================================================
 * Height grids
 * ==================================================================================================== */

/* Triangles of few nodes in place of a grid of heights (or of other values), such that the heights of the
 * nodes left out are within `tolerance` of the triangles. The outline is thinned first; then triangles are
 * taken off the polygon that is left: ears, triangles to a node further inside, and edges cut at a node.
 *   dims       2 node counts, each at least 2
 *   nspace     2 or 3: floats in a row of `points` and of `coords`
 *   points     2 x nspace: the grid's lower and upper corner, of which x and y count
 *   data       dims[0] * dims[1] values of data_type
 *   nnodes, coords, node_data  receive the nodes: nnodes x nspace coordinates, z 0 where there is one, and
 *              nnodes values of data_type, mostly those of the grid; those of nodes that are put on an edge
 *              between two triangles are the edge's own
 *   ntris, conn  receive the triangles: ntris x 3 nodes
 * The tolerance is a goal. Where no move keeps it triangles are made without it, and a row in which a
 * triangle has a single node inside is not looked at. The heights that a row is compared with are not quite
 * those of the triangle, the less so the farther they are from 0: take the heights' mean off first, or the
 * plane that fits them best, and more nodes go. Triangles may be missing of a polygon that none of the moves
 * could take apart, and in narrow places a few may lie over each other or be clockwise; otherwise they are
 * counterclockwise and cover the grid. Does not poll: a noisy grid takes long. Result 1; 0 with nothing in
 * the outputs when memory is short, for a dims below 2 or an unknown type. */
ISOFIELD_API int UTILoptimize_surface(const int *dims, int nspace, const float *points, int data_type,
                                      const void *data, double tolerance, int *nnodes, float **coords,
                                      int *ntris, int **conn, void **node_data);

/* ====================================================================================================
 * Boundaries
 * ====================================================================================================
 * Edges and faces of the cells of one set, told apart by their nodes. Each function takes
 *   nnodes      above every node number
 *   conn        ncells rows of `stride` ints, of which the first are the cell's nodes
 * and for volume cells the faces of their type:
 *   nfaces      faces of a cell, at most 255
 *   face_nodes  local node numbers of all faces, one face after the other
 *   face_step   per face the entries that it has in face_nodes, at most 127
 *   face_nverts per face how many of these, from the first on, are its corners in cyclic order; the others
 *               are midside nodes
 * Polls every 257th cell. Result 1; 0 when stopped, when memory is short or when a corner is not below
 * nnodes. Without memory for the first tables the outputs stay as they were; in other failures they are
 * empty. */

/* The edges of polygons, and of volume cells, each once: by ascending lower node, and those of one lower node
 * from the last found to the first.
 *   nverts  corners of a polygon
 *   nedges  receives the count
 *   edges   receives 2 * nedges nodes, lower first. Stays as it was when there are none */
ISOFIELD_API int UTILedges_2D(int nnodes, int ncells, int stride, const int *conn, int nverts, int *nedges,
                              int **edges);
ISOFIELD_API int UTILedges_3D(int nnodes, int ncells, int stride, const int *conn, int nfaces,
                              const int *face_step, const int *face_nverts, const int *face_nodes,
                              int *nedges, int **edges);

/* The edges of a polygonal surface that belong to one polygon only, and those along which two polygons meet
 * at an angle of `angle` (radians, between their normals) or more: as UTILedges_2D otherwise. A polygon's
 * normal is that of its first corner; polygons that are wound against their neighbours meet them at 180
 * degrees. Polygons on one edge count in pairs: a third one at a smooth edge makes it a boundary again, and a
 * crease keeps the normal of its first polygon for the next.
 *   coords  nnodes x nspace, nspace 2 or 3 */
ISOFIELD_API int UTILexternal_edges(int nnodes, int nspace, const float *coords, int ncells, int stride,
                                    int nverts, const int *conn, int *nedges, int **edges, double angle);

/* The faces of volume cells that belong to one cell only, in groups of equal numbers of nodes. Faces are the
 * same when they have the same lowest node with the same two neighbours; a third cell on a face makes it
 * external again.
 *   max_groups   room in the arrays below
 *   ngroups      receives the number of groups, in the order of their first face
 *   group_nfaces     per group its faces
 *   group_nnodes     per group the nodes of a face
 *   group_cells      per group an array: per face its cell, a row of `conn`
 *   group_conn       per group an array: per face its nodes, midside nodes too, in the order of face_nodes
 *   group_conn_len   per group the length of that
 * Faces come by ascending lowest node, those of one lowest node from the last found to the first. Groups
 * without an external face have null arrays; without any external face there are no groups. Result 0 also
 * when there are more groups than max_groups, or more nodes or faces than told above. */
ISOFIELD_API int UTILexternal_faces(int nnodes, int ncells, int stride, const int *conn, int nfaces,
                                    const int *face_step, const int *face_nverts, const int *face_nodes,
                                    int max_groups, int *ngroups, int *group_nfaces, int *group_nnodes,
                                    int **group_cells, int **group_conn, int *group_conn_len);

/* ====================================================================================================
 * Contours of regions
 * ====================================================================================================
 * Closed polygons, such as a region's outlines on two slices of a volume, stitched by walking along both. */

/* The vertices of a closed polygon from a start on, which depends on its shape alone, and how far round the
 * polygon each is.
 *   verts   rows of `stride` floats, x and y first, from the polygon's first vertex on
 *   range   numbers of the first and the last vertex; n = range[1] - range[0] + 1
 *   side    where the start lies, seen from the centroid of the outline: it ends the first segment that
 *           passes the centroid 0 in x upwards, 1 in y downwards, 2 in x downwards, 3 in y upwards
 *   ids     receives n + 1 vertex numbers; the last is the first again
 *   params  receives n + 1 shares of the perimeter, from 0 to 1
 * Result 1; 0 without a report for n below 1, a perimeter of 0, another side, a polygon that no segment of
 * which passes (a NaN) or when memory is short. */
ISOFIELD_API int UTILroi_sort_verts(int stride, const float *verts, const int *range, int side, int *ids,
                                    float *params);

/* The strip of triangles between two sorted contours.
 *   ids1, ids2, params1, params2  of each, as UTILroi_sort_verts gives them
 *   count1, count2  the last index that may be read in each: its vertices are taken up to the one before
 *   ntri            in: the count of triangles expected; out: the count made, when that is as expected
 *   tris            room for 3 * ntri + 2 ints: receives the triangles, each with an edge of the one before
 * Result 1 when just the expected count was made, else 0. To close a strip round two contours of n1 and n2
 * vertices, give counts of n1 + 1 and n2 + 1, a value above 1 in params1[n1 + 1] and params2[n2 + 1], and
 * expect n1 + n2. */
ISOFIELD_API int UTILroi_connect_verts(int count1, int count2, const int *ids1, const int *ids2,
                                       const float *params1, const float *params2, int *ntri, int *tris);

#ifdef __cplusplus
}
#endif
#endif
