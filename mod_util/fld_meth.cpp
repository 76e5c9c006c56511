// The registry: the library's functions under the names by which a host binds them into a mesh's method
// vectors.
#include "isofield.h"

const char *const FIELD_FUNC_NAME[21] = {
    "interp_init_func",  "find_cell_func", "interp_cell_func", "interp_data_func", "cell_extent_func",
    "coord_list_func",   "data_list_func", "isosurf_func",     "isoline_func",     "cut_func",
    "eval_coord_func",   "glyph_func",     "thresh_null_func", "rslice_func",      "grad_func",
    "curl_func",         "div_func",       "deriv3d_func",     "deriv2d_func",     "contour_func",
    "cell_to_node_func",
};

const char *const SET_FUNC_NAME[13] = {
    "shape_func",
    "shape_deriv_func",
    "rev_par_func",
    "slice_func",
    "cut_func",
    "isoline_func",
    "vol_integr_func",
    "contour_func",
    "tesselate_func",
    "slice_func_tesselate",
    "cut_func_tesselate",
    "isoline_func_tesselate",
    "contour_func_tesselate",
};

using AnyFunction = void (*)();

// Rows stand by operation, each with the kinds in the order cells, struct, unif, rect; then by cell type.
const NamedFunc dproc_table[] = {
    {reinterpret_cast<AnyFunction>(UTILcell_extent), "cell_extent_func"},
    {reinterpret_cast<AnyFunction>(UTILcell_extent_struct), "cell_extent_func_struct"},
    {reinterpret_cast<AnyFunction>(UTILcell_extent_unif), "cell_extent_func_unif"},
    {reinterpret_cast<AnyFunction>(UTILcell_extent_rect), "cell_extent_func_rect"},
    {reinterpret_cast<AnyFunction>(UTILcoord_list), "coord_list_func"},
    {reinterpret_cast<AnyFunction>(UTILcoord_list_struct), "coord_list_func_struct"},
    {reinterpret_cast<AnyFunction>(UTILcoord_list_unif), "coord_list_func_unif"},
    {reinterpret_cast<AnyFunction>(UTILcoord_list_rect), "coord_list_func_rect"},
    {reinterpret_cast<AnyFunction>(UTILdata_list), "data_list_func"},
    {reinterpret_cast<AnyFunction>(UTILdata_list_struct), "data_list_func_struct"},
    {reinterpret_cast<AnyFunction>(UTILdata_list_struct), "data_list_func_unif"},
    {reinterpret_cast<AnyFunction>(UTILdata_list_struct), "data_list_func_rect"},
    {reinterpret_cast<AnyFunction>(UTILslice_cells), "isosurf_func"},
    {reinterpret_cast<AnyFunction>(UTILslice_struct), "isosurf_func_struct"},
    {reinterpret_cast<AnyFunction>(UTILslice_struct), "isosurf_func_unif"},
    {reinterpret_cast<AnyFunction>(UTILslice_struct), "isosurf_func_rect"},
    {reinterpret_cast<AnyFunction>(UTILisoline_cells), "isoline_func"},
    {reinterpret_cast<AnyFunction>(UTILisoline_struct), "isoline_func_struct"},
    {reinterpret_cast<AnyFunction>(UTILisoline_struct), "isoline_func_unif"},
    {reinterpret_cast<AnyFunction>(UTILisoline_struct), "isoline_func_rect"},
    {reinterpret_cast<AnyFunction>(UTILeval_param_coord), "eval_coord_func"},
    {reinterpret_cast<AnyFunction>(UTILeval_param_coord), "eval_coord_func_struct"},
    {reinterpret_cast<AnyFunction>(UTILeval_param_coord_unif), "eval_coord_func_unif"},
    {reinterpret_cast<AnyFunction>(UTILeval_param_coord_rect), "eval_coord_func_rect"},
    {reinterpret_cast<AnyFunction>(UTILisoline_tri), "isoline_tri_1"},
    {reinterpret_cast<AnyFunction>(UTILtesselate_tri_2), "tesselate_tri_2"},
    {reinterpret_cast<AnyFunction>(UTILisoline_quad), "isoline_quad_1"},
    {reinterpret_cast<AnyFunction>(UTILtesselate_quad_2), "tesselate_quad_2"},
    {reinterpret_cast<AnyFunction>(UTILslice_hex), "slice_cell_hex_1"},
    {reinterpret_cast<AnyFunction>(UTILtesselate_hex_2), "tesselate_hex_2"},
    {reinterpret_cast<AnyFunction>(UTILslice_tet), "slice_cell_tet_1"},
    {reinterpret_cast<AnyFunction>(UTILtesselate_tet_2), "tesselate_tet_2"},
    {reinterpret_cast<AnyFunction>(UTILslice_prism), "slice_cell_prism_1"},
    {reinterpret_cast<AnyFunction>(UTILtesselate_prism_2), "tesselate_prism_2"},
    {reinterpret_cast<AnyFunction>(UTILslice_pyr), "slice_cell_pyr_1"},
};

int FLD_METHinit(void) {
    return OMadd_named_funcs(dproc_table, static_cast<int>(sizeof(dproc_table) / sizeof(dproc_table[0])));
}
