/* isofield_host.h: the services that the library imports from its host.
 *
 * For those who write a host: programs on the default host (isofield_default_host.h) call no more of these
 * than ARRfree_f, for the arrays that operations hand out.
 *
 * The library calls these functions by name and defines none of them. Link any host that defines all of them
 * under these names; libisofield_host is the one that comes with the library. A host may be single threaded:
 * the library starts no threads and calls these only from the thread that called it. What else a host does,
 * the binding of methods and the records of meshes, is told in isofield.h (MeshInfo, FLD_METHinit).
 *
 * Type codes, here and everywhere: 0 char (signed, 8 bits), 1 byte (unsigned, 8 bits), 2 short (16), 3 int
 * (32), 4 float, 5 double. All matrices are row-major floats; vectors are rows, multiplied from the left. */
#ifndef ISOFIELD_HOST_H
#define ISOFIELD_HOST_H

#if defined(__GNUC__)
#define ISOFIELD_HOST_API __attribute__((visibility("default")))
#else
#define ISOFIELD_HOST_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A function of the library under the name by which a host binds it (see FLD_METHinit in isofield.h). */
typedef struct NamedFunc {
    void (*func)(void); /* to be cast back to the type of the slot that takes it */
    const char *name;   /* such as isosurf_func_unif */
} NamedFunc;

/* ---- Arrays ----
 *
 * Result arrays are made here and handed to the library's caller. Two facts bind a host: the library frees
 * some of these arrays by the standard free, so they must be blocks that free accepts; and it grows them
 * in small fixed steps, so a reallocation that copies each time is slow. file and line say where the call
 * stands; reserved and reserved2 are null. */

/* Allocates `count` elements of type code `type`, not cleared. Returns null when out of memory. */
ISOFIELD_HOST_API void *ARRalloc_f(void *reserved, int type, int count, void *reserved2, const char *file,
                                   int line);

/* Resizes `ptr` (from ARRalloc_f; null allocates) to `count` elements and keeps the contents. Returns the
 * block's new place, or null when out of memory, the old block being untouched then. */
ISOFIELD_HOST_API void *ARRrealloc_f(void *ptr, int type, int count, void *reserved, const char *file,
                                     int line);

/* Frees `ptr`, which is from ARRalloc_f or ARRrealloc_f. The library never passes null. */
ISOFIELD_HOST_API void ARRfree_f(void *ptr, const char *file, int line);

/* ---- Reports ------------------------------------------------------------------------------------ */

/* Reports a failure: `module` names the reporting operation, `text` is a printf format, in the library always
 * literal text, which may end in a newline or not. `level` and `severity` are always
 * 1 and 2. Returns to the library, which then returns 0 to its caller. */
ISOFIELD_HOST_API void ERRerror(const char *module, int level, int severity, const char *text, ...);

/* Reports that a working array could not be had. The library retries the allocation after it, without limit,
 * so this must free memory or end the process. */
ISOFIELD_HOST_API void ERRout_of_memory(const char *text);

/* ---- Progress and interruption ------------------------------------------------------------------ */

/* Opens the range `lo` to `hi` (percent, 0 to 100) inside the current one, and closes the last one opened.
 * Ranges nest, and are always closed. */
ISOFIELD_HOST_API void OMpush_status_range(int lo, int hi);
ISOFIELD_HOST_API void OMpop_status_range(void);

/* Reports `percent` (0 to 100) of the innermost range, with the stage's name as `text` or null. Writes to
 * *interrupt a nonzero word when the operation is to stop; the library gives it as 0. The result is not
 * used. */
ISOFIELD_HOST_API int OMstatus_check(int percent, const char *text, int *interrupt);

/* ---- Registry ----------------------------------------------------------------------------------- */

/* Registers `count` named functions; `table` stays valid for the life of the process. Some names stand twice
 * with the same function. The result is handed back by FLD_METHinit. */
ISOFIELD_HOST_API int OMadd_named_funcs(const NamedFunc *table, int count);

/* ---- Small matrices ----------------------------------------------------------------------------- */

/* out (m x p) = a (m x n) times b (n x p). `out` may be `a` or `b`. */
ISOFIELD_HOST_API void MATvec_by_mat(const float *a, const float *b, float *out, int m, int n, int p);

/* Replaces the point v (3 floats) by (v, 1) times the 4 x 4 matrix m, without its fourth component. */
ISOFIELD_HOST_API void MATvec3_mat4_multiply(float *v, const float *m);

/* The inverse of a 2 x 2 or 3 x 3 matrix into `out`, which may be `m`. Returns the determinant of `m`; when
 * that is 0, `out` is left as it was. */
ISOFIELD_HOST_API float MATmat2_inverse(const float *m, float *out);
ISOFIELD_HOST_API float MATmat3_inverse(const float *m, float *out);

/* The transpose of a 3 x 3 matrix into `out`, which may be `m`. */
ISOFIELD_HOST_API void MATmat3_transpose(const float *m, float *out);

/* Makes `m` (4 x 4) the translation by (x, y, z), which stands in its last row. */
ISOFIELD_HOST_API void MATmat4_translate(float *m, float x, float y, float z);

/* Called once before boundary edges are extracted, for hosts that keep a table of square roots. */
ISOFIELD_HOST_API void MATbuild_sqrt_table(void);

/* ---- Element types ------------------------------------------------------------------------------ */

/* Bytes per element, by type code. */
ISOFIELD_HOST_API extern const int DTYPEtype_size[6];

/* Gathers: to[k] = from[list[k]] for k below `count`, from type code `source` to type code `target`. */
ISOFIELD_HOST_API void DTYPEcvt_copy_array_list(int count, int target, int source, const void *from,
                                                const int *list, void *to);

/* One value of type code `type` widened to double or narrowed to float, and a double narrowed to that type.
 */
ISOFIELD_HOST_API void UTILtype_to_double(double *out, const void *value, int type);
ISOFIELD_HOST_API void UTILtype_to_float(float *out, const void *value, int type);
ISOFIELD_HOST_API void UTILdouble_to_type(void *to, double value, int type);

/* ---- Structured connectivity -------------------------------------------------------------------- */

/* The nodes of the packed cells `first` to `end` - 1 of a grid: as UTILget_connect_struct of isofield.h, to
 * which a host may hand the call on. */
ISOFIELD_HOST_API int get_connect_struct(int ndim, const int *dims, int first, int end, int *out);

#ifdef __cplusplus
}
#endif
#endif
