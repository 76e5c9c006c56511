// The part of a volume at or above a level, against VTK's clip filters: cells, points and the scalar, no
// other data. Sizes differ: cut cells become tetrahedra alone with ours, wedges and pyramids too with VTK's
// tables; vtkClipDataSet breaks whole hexahedra up as well.
#include <vtkClipDataSet.h>
#include <vtkTableBasedClipDataSet.h>

#include "extraction.hpp"
#include "lattice.hpp"

namespace {

using bench::FieldPtr;

std::vector<bench::Contestant> contestants(const FieldPtr &field) {
    return {bench::our_cut(field), bench::peer<vtkTableBasedClipDataSet>("vtkTableBasedClipDataSet", field),
            bench::peer<vtkClipDataSet>("vtkClipDataSet", field)};
}

}  // namespace

std::vector<bench::Case> cut_cases() {
    return {
        {"cut/hex/96^3", [] { return contestants(bench::cell_field(bench::hex_lattice(96, 3))); }},
        {"cut/tet/64^3", [] { return contestants(bench::cell_field(bench::tet_lattice(64, 2))); }},
        {"cut/grid/128^3", [] { return contestants(bench::wave_image(128, 128, 128, 2, 0.0f)); }},
    };
}
