// Cell types, and the binding of methods by registered name.
#ifndef ISOFIELD_HOST_BINDING_H
#define ISOFIELD_HOST_BINDING_H

#include <string_view>
#include <vector>

#include "isofield.h"

namespace isofield::host {

struct CellType {
    const char *name;
    int ndim;
    int order;
    const char *corners;   // name of the linear type of this shape, whose nodes are the corners
    const char *midsides;  // "01 12": the edges whose middles are the other nodes, in order
    const char *pieces;    // name of the linear type that a quadratic cell breaks into, or null
};

// Null when there is no such type.
const CellType *find_cell_type(std::string_view name);

// Positions of a cell's nodes in its parametric space: nodes x 3.
std::vector<float> node_positions(const CellType &type);

// The methods of a mesh kind, "" for cell sets or the suffix "_struct", "_unif", "_rect", and of a cell type.
// A name that is not registered leaves its slot null.
FieldFuncs bind_mesh_methods(const char *suffix);
CellFuncs bind_cell_methods(const CellType &type);

// Puts this host's own methods for prism_2 in the place of the library's that have oddities.
void mend_quadratic_prism(SetFuncs &funcs);

}  // namespace isofield::host
#endif
