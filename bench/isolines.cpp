// Isolines of grids and of triangles, against VTK's extractors: segments and points, no scalars.
#include <vtkContourFilter.h>
#include <vtkFlyingEdges2D.h>
#include <vtkMarchingSquares.h>
#include <vtkSynchronizedTemplates2D.h>

#include "cell_mesh.hpp"
#include "extraction.hpp"

namespace {

using bench::FieldPtr;

std::vector<bench::Contestant> grid_contestants(const FieldPtr &plane) {
    return {bench::our_isolines(plane), bench::peer<vtkFlyingEdges2D>("vtkFlyingEdges2D", plane),
            bench::peer<vtkSynchronizedTemplates2D>("vtkSynchronizedTemplates2D", plane),
            bench::peer<vtkMarchingSquares>("vtkMarchingSquares", plane)};
}

// A sheet that waves in space, of ni x nj squares in two triangles each.
FieldPtr triangle_sheet(int ni, int nj, double waves) {
    bench::CellMesh sheet;
    const double scale = bench::wave_scale(ni, waves);
    for (int j = 0; j <= nj; ++j) {
        for (int i = 0; i <= ni; ++i) {
            const double height = 3 * bench::wave(0, j * scale / 4, i * scale / 4);
            sheet.add_node(i, j, height, bench::wave(i * scale, j * scale, 0));
        }
    }
    std::vector<int> &triangles = sheet.cells[bench::kTri];
    for (int j = 0; j < nj; ++j) {
        for (int i = 0; i < ni; ++i) {
            const int a = i + (ni + 1) * j, b = a + ni + 1;
            triangles.insert(triangles.end(), {a, a + 1, b + 1, a, b + 1, b});
        }
    }
    return bench::cell_field(sheet);
}

std::vector<bench::Contestant> triangle_contestants(const FieldPtr &sheet) {
    return {bench::our_isolines(sheet), bench::peer<vtkContourFilter>("vtkContourFilter", sheet)};
}

}  // namespace

std::vector<bench::Case> isoline_cases() {
    return {
        {"lines/grid/2048^2", [] { return grid_contestants(bench::wave_image(2048, 2048, 1, 16, 0.0f)); }},
        {"lines/grid-noisy/2048^2",
         [] { return grid_contestants(bench::wave_image(2048, 2048, 1, 16, 0.5f)); }},
        {"lines/tri/1M", [] { return triangle_contestants(triangle_sheet(1000, 500, 16)); }},
        {"lines/tri/2M", [] { return triangle_contestants(triangle_sheet(1000, 1000, 16)); }},
    };
}
