// The shape functions of the 13 cell types, for the shape_func and shape_deriv_func slots.
#include "shape_functions.hpp"

#include "isofield.h"
#include "quadratic_shape_functions.hpp"

#define ISOFIELD_SHAPE(TYPE, CELL)                           \
    void UTILsh_func_##TYPE(const float *uvw, float *out) {  \
        isofield::detail::CELL::weights(uvw, out);           \
    }                                                        \
    void UTILsh_deriv_##TYPE(const float *uvw, float *out) { \
        isofield::detail::CELL::derivs(uvw, out);            \
    }

ISOFIELD_SHAPE(line_1, Line1)
ISOFIELD_SHAPE(line_2, Line2)
ISOFIELD_SHAPE(tri_1, Tri1)
ISOFIELD_SHAPE(tri_2, Tri2)
ISOFIELD_SHAPE(quad_1, Quad1)
ISOFIELD_SHAPE(quad_2, Quad2)
ISOFIELD_SHAPE(tet_1, Tet1)
ISOFIELD_SHAPE(tet_2, Tet2)
ISOFIELD_SHAPE(pent_1, Pent1)
ISOFIELD_SHAPE(pent_2, Pent2)
ISOFIELD_SHAPE(pyr_1, Pyr1)
ISOFIELD_SHAPE(hex_1, Hex1)
ISOFIELD_SHAPE(hex_2, Hex2)
