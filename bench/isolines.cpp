// Isolines of grids and of triangles, against VTK's extractors: segments and points, no scalars.
#include <vtkContourFilter.h>
#include <vtkFlyingEdges2D.h>
#include <vtkMarchingSquares.h>
#include <vtkSynchronizedTemplates2D.h>

#include "extraction.hpp"
#include "lattice.hpp"

namespace {

using bench::FieldPtr;

std::vector<bench::Contestant> grid_contestants(const FieldPtr &plane) {
    return {bench::our_isolines(plane), bench::peer<vtkFlyingEdges2D>("vtkFlyingEdges2D", plane),
            bench::peer<vtkSynchronizedTemplates2D>("vtkSynchronizedTemplates2D", plane),
            bench::peer<vtkMarchingSquares>("vtkMarchingSquares", plane)};
}

std::vector<bench::Contestant> triangle_contestants(const bench::CellMesh &mesh) {
    const FieldPtr sheet = bench::cell_field(mesh);
    return {bench::our_isolines(sheet), bench::peer<vtkContourFilter>("vtkContourFilter", sheet)};
}

}  // namespace

std::vector<bench::Case> isoline_cases() {
    return {
        {"lines/grid/2048^2", [] { return grid_contestants(bench::wave_image(2048, 2048, 1, 16, 0.0f)); }},
        {"lines/grid-noisy/2048^2",
         [] { return grid_contestants(bench::wave_image(2048, 2048, 1, 16, 0.5f)); }},
        {"lines/tri/1M", [] { return triangle_contestants(bench::triangle_sheet(1000, 500, 16)); }},
        {"lines/tri/2M", [] { return triangle_contestants(bench::triangle_sheet(1000, 1000, 16)); }},
    };
}
