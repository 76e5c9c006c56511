// A cell of a uniform or rectilinear grid: its shape functions and the frame of its coordinates.
#ifndef ISOFIELD_MOD_UTIL_GRID_CELL_HPP
#define ISOFIELD_MOD_UTIL_GRID_CELL_HPP

#include <type_traits>
#include <utility>

#include "isofield.h"
#include "shape_functions.hpp"

namespace isofield::detail {

template <int kNdim>
using GridCell = std::conditional_t<kNdim == 3, Hex1, Quad1>;

// Whether a grid fills a space of kNdim dimensions, and its cells are evaluated by the library's own methods.
template <int kNdim>
bool has_own_cells(const MeshInfo *mesh) {
    const auto shape_func = kNdim == 3 ? UTILsh_func_hex_1 : UTILsh_func_quad_1;
    return mesh->ndim == kNdim && mesh->nspace == kNdim && mesh->ncell_sets > 0 &&
           mesh->cell_nnodes[0] == GridCell<kNdim>::kNodes &&
           mesh->cell_funcs[0].funcs.shape_func == shape_func &&
           mesh->field_funcs->interp_data_func == UTILinterp_cell_val_struct;
}

// From coordinates along a grid's axes to the frame of its cells (see isofield.h, shape functions).
inline void turn_to_cell_frame(int ndim, float *uvw) {
    if (ndim < 3) {
        uvw[0] = -uvw[0];
    } else {
        std::swap(uvw[0], uvw[1]);
        uvw[2] = -uvw[2];
    }
}

}  // namespace isofield::detail
#endif
