/* isofield_default_host.h: the default host, in C. It implements every service of isofield_host.h, binds the
 * library's methods into meshes, and builds meshes from plain arrays with everything checked. The operations
 * on them, and a first program, stand in isofield.h, which this header includes. C++ users: see
 * isofield.hpp. */
#ifndef ISOFIELD_DEFAULT_HOST_H
#define ISOFIELD_DEFAULT_HOST_H

#include <stddef.h>

#include "isofield.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Meshes ----
 *
 * Builders check their arguments: counts at least 1 and products that fit an int, finite coordinates,
 * increasing axes, node numbers in range. A refusal is reported with a message that names the array, the
 * index and the value, and gives 0 with *out null; success gives 1. A mesh is freed with isohost_mesh_free.
 * Meshes come with all their methods bound; registering the library is the host's affair.
 *
 * A grid has one cell set, of line_1, quad_1 or hex_1 cells by its ndim. An axis of one node is allowed; such
 * a grid has no cells. Grids of every kind hand out explicit coordinates and connectivity on request, made at
 * the first call. */

/* dims: ndim (1 to 3) node counts; corners: 2 x nspace, lower then upper, copied. nspace: ndim to 3. On an
 * axis of more than one node the upper corner lies above the lower. */
ISOFIELD_HOST_API int isohost_mesh_uniform(int ndim, const int *dims, int nspace, const float *corners,
                                           MeshInfo **out);

/* axes: ndim arrays, of dims[d] strictly increasing grid lines each, copied. The mesh has ndim space
 * components. */
ISOFIELD_HOST_API int isohost_mesh_rectilinear(int ndim, const int *dims, const float *const *axes,
                                               MeshInfo **out);

/* coords: nodes x nspace, first axis fastest; not copied, kept alive by the caller. nspace: 1 to 3. */
ISOFIELD_HOST_API int isohost_mesh_structured(int ndim, const int *dims, int nspace, const float *coords,
                                              MeshInfo **out);

/* One set of cells: `type` is one of line_1 line_2 tri_1 tri_2 quad_1 quad_2 hex_1 hex_2 tet_1 tet_2 prism_1
 * prism_2 pyr_1; connect is ncells x nodes of the type.
 *
 * Corners. Cells numbered so have positive volume:
 *   line          0, 1
 *   tri, quad     counterclockwise
 *   tet           0 1 2 counterclockwise seen from node 3
 *   pyr           0 the apex, 1 2 3 4 the base, clockwise seen from the apex
 *   prism         0 1 2 counterclockwise round the lower triangle seen from above, 3 4 5 above them
 *   hex           0 1 2 3 counterclockwise round the lower face seen from above, 4 5 6 7 above them
 * Midside nodes of the quadratic types follow the corners, in the order of these edges:
 *   line_2        01
 *   tri_2         01 12 20
 *   quad_2        01 12 23 30
 *   tet_2         01 02 03 12 23 13
 *   prism_2       01 12 20 34 45 53 14 03 25
 *   hex_2         01 12 23 30 45 56 67 74 04 15 26 37
 * prism_2 is bound to methods of this host's own for its weights, its mapping and its pieces, without the
 * oddities of the library's (see UTILsh_func_pent_2 and UTILtesselate_prism_2). */
typedef struct IsohostCellSet {
    const char *type;   /* one of these names */
    int ncells;         /* at least 1 */
    const int *connect; /* ncells rows of node numbers */
} IsohostCellSet;

/* sets: nsets sets of cells; coords: nnodes x nspace. coords and every connect are not copied: kept alive by
 * the caller. nspace: 1 to 3. */
ISOFIELD_HOST_API int isohost_mesh_cells(int nnodes, int nspace, const float *coords, int nsets,
                                         const IsohostCellSet *sets, MeshInfo **out);

/* Nodes per cell of a type, or 0 when there is no such type. */
ISOFIELD_HOST_API int isohost_cell_type_nodes(const char *type);

/* Frees a mesh of these builders; null is allowed. */
ISOFIELD_HOST_API void isohost_mesh_free(MeshInfo *mesh);

/* Checks that an array of `rows` rows has one for each node of the mesh: 1, or 0 with a report that gives the
 * array's `name`. */
ISOFIELD_HOST_API int isohost_check_node_array(const MeshInfo *mesh, const char *name, size_t rows);

/* Frees a search table with its arrays; null is allowed. */
ISOFIELD_HOST_API void isohost_block_table_free(BlockTable *table);

/* The function registered under `name`, or null. */
ISOFIELD_HOST_API void (*isohost_find_function(const char *name))(void);

/* ---- Reports ----
 *
 * Reports are kept per thread, and go to the handler, or to standard error while there is none. */

/* The handler serves all threads. It is given the reporting operation's name, a text without a newline at its
 * end, and the word `user` that was set with it. A null handler is none.
 *   module  the name as the operation reports it
 *   text    of the report */
typedef void (*IsohostErrorHandler)(const char *module, const char *text, void *user);
ISOFIELD_HOST_API void isohost_set_error_handler(IsohostErrorHandler handler, void *user);

/* This thread's reports since the last clear, one a line as "module: text", each ended by a newline; empty
 * when there are none. Valid until the thread's next report or clear. Beyond 64 KiB the later ones are
 * dropped. */
ISOFIELD_HOST_API const char *isohost_errors(void);
ISOFIELD_HOST_API void isohost_clear_errors(void);

/* With a nonzero `quiet` this thread's reports no longer go to standard error; they are kept, and a handler
 * still gets them. Returns the old word. */
ISOFIELD_HOST_API int isohost_quiet_errors(int quiet);

/* ---- Progress and interruption ----
 *
 * The nested ranges of the library are mapped to one percentage, 0 to 100. */

/* The handler serves all threads. It is given the percentage, the stage's name or null, and the word `user`
 * that was set with it. A null handler is none.
 *   percent  0 to 100
 *   stage    may be null */
typedef void (*IsohostProgressHandler)(int percent, const char *stage, void *user);
ISOFIELD_HOST_API void isohost_set_progress_handler(IsohostProgressHandler handler, void *user);

/* A thread may put a watch in the place of that handler, for the operations that it runs itself. Set returns
 * the thread's old watch, to be put back. */
typedef struct IsohostWatch {
    int (*call)(int percent, const char *stage, void *user); /* 0 stops the operation. Null: no watch */
    void *user;                                              /* is handed to it */
} IsohostWatch;
ISOFIELD_HOST_API IsohostWatch isohost_set_thread_watch(IsohostWatch watch);

/* Interrupt asks the running operation to stop at its next poll, and every later one until cleared; it is
 * safe in a signal handler. Interrupted tells whether that stands: 1 or 0. */
ISOFIELD_HOST_API void isohost_interrupt(void);
ISOFIELD_HOST_API void isohost_clear_interrupt(void);
ISOFIELD_HOST_API int isohost_interrupted(void);

/* ---- Arrays ---- */

/* Large freed arrays are kept for the next call, up to a bound (`bytes`; default 1 GiB): a page new from the
 * system costs many times a warm one. 0 keeps none. Returns the old bound. isohost_trim_arrays gives all kept
 * arrays back. */
ISOFIELD_HOST_API size_t isohost_set_array_cache(size_t bytes);
ISOFIELD_HOST_API void isohost_trim_arrays(void);

/* An array that grew may hold far more memory than its `count` elements of type code `type` need: worth
 * calling on results that are kept for long. Moves such an array to a block of its size and returns its
 * place, old or new. */
ISOFIELD_HOST_API void *isohost_fit_array(void *array, int type, int count);

#ifdef __cplusplus
}
#endif
#endif
