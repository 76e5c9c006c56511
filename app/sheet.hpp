// The surface that isolines lie on, for their picture.
#ifndef ISOFIELD_APP_SHEET_HPP
#define ISOFIELD_APP_SHEET_HPP

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "extraction.hpp"

namespace app {

// Views the nodes of the field's mesh.
struct Sheet {
    std::span<const float> points;  // npoints x 3
    std::vector<std::array<int, 3>> triangles;
    std::vector<std::array<int, 3>> holes;  // those that a missing node keeps out
    std::vector<float> values;              // per node, the length of vectors; NaN where missing
};

// The triangles of all two-dimensional cells, with the field's scalar or another array on its nodes.
Sheet make_sheet(Field &field);
Sheet make_sheet(Field &field, const NamedArray &shown);
// Those of a mesh without data: values are 0.
Sheet make_sheet(isofield::Mesh &mesh);

// For the relief of a flat sheet, whose values are taken as heights along `axis`, towards its end (`up` 1) or
// its start (-1).
//
// Winds the triangles so as to be seen from there.
void turn_up(Sheet &sheet, std::size_t axis, double up);
// Per node the x, y, z of its normal, so exaggerated that most slopes are well seen.
std::vector<float> relief_normals(const Sheet &sheet, std::size_t axis, double up);

}  // namespace app
#endif
