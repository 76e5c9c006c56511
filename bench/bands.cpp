// The part of a field between two levels, and maps of many bands: cells, points and the scalar, no lines and
// no other data. VTK has a filter of its own for polygons, and clips volumes from either side. Sizes differ:
// ours cuts into tetrahedra and triangles, peers into other cells as well.
#include <vtkBandedPolyDataContourFilter.h>
#include <vtkTableBasedClipDataSet.h>

#include "extraction.hpp"
#include "lattice.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr double kLow = -0.5, kHigh = 0.5;  // a third of a wave's volume

Contestant two_clips(const FieldPtr &field) {
    const auto lower = vtkSmartPointer<vtkTableBasedClipDataSet>::New();
    lower->SetInputData(field->dataset);
    lower->SetValue(kLow);
    const auto adjust = [&](vtkTableBasedClipDataSet &upper) {
        upper.SetInputConnection(lower->GetOutputPort());
        upper.SetValue(kHigh);
        upper.InsideOutOn();
    };
    Contestant both = bench::peer<vtkTableBasedClipDataSet>("vtkTableBasedClipDataSet twice", field, adjust);
    both.run = [lower, run = both.run] {
        lower->Modified();
        return run();
    };
    return both;
}

Contestant banded(const FieldPtr &sheet, const std::vector<double> &levels, bool clipping) {
    const auto adjust = [&](vtkBandedPolyDataContourFilter &filter) {
        for (std::size_t i = 0; i < levels.size(); ++i) filter.SetValue(static_cast<int>(i), levels[i]);
        filter.SetClipping(clipping);
        filter.SetScalarModeToIndex();
        filter.GenerateContourEdgesOff();
    };
    return bench::peer<vtkBandedPolyDataContourFilter>("vtkBandedPolyDataContourFilter", sheet, adjust);
}

std::vector<Contestant> volume_contestants(const FieldPtr &field) {
    return {bench::our_bands(field, {kLow, kHigh}), two_clips(field)};
}

FieldPtr million_triangles() {
    return bench::cell_field(bench::triangle_sheet(724, 724, 16));
}

std::vector<Contestant> triangle_contestants() {
    const FieldPtr sheet = million_triangles();
    return {bench::our_bands(sheet, {kLow, kHigh}), banded(sheet, {kLow, kHigh}, true), two_clips(sheet)};
}

// The whole range of the scalar in equal bands.
std::vector<Contestant> map_contestants(int nbands) {
    const FieldPtr sheet = million_triangles();
    double range[2];
    sheet->dataset->GetScalarRange(range);
    std::vector<double> levels;
    for (int i = 0; i < nbands; ++i) levels.push_back(range[0] + (range[1] - range[0]) * i / nbands);
    levels.push_back(range[1]);
    return {bench::our_bands(sheet, levels), banded(sheet, levels, false)};
}

}  // namespace

std::vector<bench::Case> band_cases() {
    return {
        {"band/hex/96^3", [] { return volume_contestants(bench::cell_field(bench::hex_lattice(96, 3))); }},
        {"band/tet/64^3", [] { return volume_contestants(bench::cell_field(bench::tet_lattice(64, 2))); }},
        {"band/grid/128^3", [] { return volume_contestants(bench::wave_image(128, 128, 128, 2, 0.0f)); }},
        {"band/tri/1M", triangle_contestants},
        {"band/tri-map-10/1M", [] { return map_contestants(10); }},
    };
}
