// One closed sheet of a large grid that has eight of its kind, followed from a point: against a slice of the
// cells that it crosses alone, as a cell set on a copy of their nodes, and against slices of the whole. Ours
// are without coordinates. The sizes are triangles.
#include <vtkFlyingEdges3D.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkPolyDataConnectivityFilter.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "cell_mesh.hpp"
#include "extraction.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr int kSide = 512;
constexpr int kPeriod = kSide / 2;
constexpr float kPoint[] = {kPeriod / 2.0f + 75.25f, kPeriod / 2.0f + 30.25f, kPeriod / 2.0f + 0.25f};

// The sum of three cosines, highest in the middle of each of eight boxes, where its sheets are round.
FieldPtr boxes() {
    std::vector<float> wave;
    for (int i = 0; i < kSide; ++i) {
        wave.push_back(static_cast<float>(-std::cos(i * bench::wave_scale(kPeriod, 1))));
    }
    const auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(kSide, kSide, kSide);
    image->AllocateScalars(VTK_FLOAT, 1);
    auto *value = static_cast<float *>(image->GetScalarPointer());
    for (const float z : wave) {
        for (const float y : wave) {
            for (const float x : wave) *value++ = x + y + z;
        }
    }
    return bench::image_field(image);
}

// The sheet through the point; sets the field's level to that at the point. Triangles, or -1.
long long trace(bench::Field &field) {
    int nnew, ntris, nconnect, *min_node, *max_node, *connect;
    if (UTILiso_trace(field.mesh.get(), nullptr, field.data(), 4, 0, nullptr, kPoint, &field.level, &nnew,
                      &min_node, &max_node, &ntris, &connect, &nconnect) != 1) {
        return -1;
    }
    for (int *array : {min_node, max_node, connect}) ARRfree_f(array, __FILE__, __LINE__);
    return ntris;
}

// The cells of the point's box that the level crosses, and their nodes in the order of the grid.
FieldPtr crossed_cells(const bench::Field &field) {
    constexpr std::ptrdiff_t kRow = kSide, kPlane = kRow * kSide;
    constexpr std::ptrdiff_t kCorners[] = {0,      1,          1 + kRow,          kRow,
                                           kPlane, 1 + kPlane, 1 + kRow + kPlane, kRow + kPlane};
    const auto *data = static_cast<const float *>(field.data());
    std::vector<std::ptrdiff_t> crossed;
    std::vector<int> number(static_cast<std::size_t>(kPlane * kSide), -1);
    for (std::ptrdiff_t k = 0; k < kPeriod; ++k) {
        for (std::ptrdiff_t j = 0; j < kPeriod; ++j) {
            for (std::ptrdiff_t i = 0; i < kPeriod; ++i) {
                const std::ptrdiff_t cell = i + kRow * j + kPlane * k;
                int nabove = 0;
                for (const std::ptrdiff_t corner : kCorners) nabove += data[cell + corner] >= field.level;
                if (nabove == 0 || nabove == 8) continue;
                crossed.push_back(cell);
                for (const std::ptrdiff_t corner : kCorners) number[cell + corner] = 0;
            }
        }
    }
    bench::CellMesh mesh;
    for (std::ptrdiff_t node = 0; node < std::ssize(number); ++node) {
        if (number[node] < 0) continue;
        number[node] = static_cast<int>(mesh.scalars.size());
        mesh.add_node(node % kSide, node / kRow % kSide, node / kPlane, data[node]);
    }
    for (const std::ptrdiff_t cell : crossed) {
        for (const std::ptrdiff_t corner : kCorners) {
            mesh.cells[bench::kHex].push_back(number[cell + corner]);
        }
    }
    FieldPtr cells = bench::cell_field(mesh);
    cells->level = field.level;
    return cells;
}

// The whole level, and then the sheet that is nearest to the point.
Contestant peer_sheet(const FieldPtr &volume) {
    vtkNew<vtkFlyingEdges3D> extract;
    extract->SetInputData(volume->dataset);
    extract->SetValue(0, volume->level);
    extract->ComputeNormalsOff();
    extract->ComputeScalarsOff();
    vtkNew<vtkPolyDataConnectivityFilter> sheet;
    sheet->SetInputConnection(extract->GetOutputPort());
    sheet->SetExtractionModeToClosestPointRegion();
    sheet->SetClosestPoint(kPoint[0], kPoint[1], kPoint[2]);
    const auto run = [extract = vtkSmartPointer<vtkFlyingEdges3D>(extract),
                      sheet = vtkSmartPointer<vtkPolyDataConnectivityFilter>(sheet)]() -> long long {
        extract->Modified();
        sheet->Update();
        return sheet->GetOutput()->GetNumberOfPolys();
    };
    return {"vtkFlyingEdges3D, sheet", run};
}

std::vector<Contestant> contestants() {
    const FieldPtr volume = boxes();
    trace(*volume);
    return {{"isofield", [volume] { return trace(*volume); }, isohost_trim_arrays},
            bench::our_bare_isosurface("isofield, those cells alone", crossed_cells(*volume)),
            bench::our_bare_isosurface("isofield, whole grid", volume),
            peer_sheet(volume)};
}

}  // namespace

std::vector<bench::Case> trace_cases() {
    return {{"trace/uniform/512^3", contestants}};
}
