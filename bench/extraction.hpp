// What the extraction cases share: fields as both sides see them, our runs, and how a peer is run.
#ifndef ISOFIELD_BENCH_EXTRACTION_HPP
#define ISOFIELD_BENCH_EXTRACTION_HPP

#include <vtkDataObject.h>
#include <vtkDataSet.h>
#include <vtkImageData.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>

#include <functional>
#include <memory>
#include <vector>

#include "harness.hpp"
#include "isofield_default_host.h"

namespace bench {

struct FreeMesh {
    void operator()(MeshInfo *mesh) const { isohost_mesh_free(mesh); }
};

// A scalar on the nodes of a mesh. Both sides read the same coordinates and scalars; node numbers of cells
// stand twice, as each side wants them.
struct Field {
    vtkSmartPointer<vtkDataSet> dataset;  // with scalars
    std::vector<std::vector<int>> connect;
    std::unique_ptr<MeshInfo, FreeMesh> mesh;
    double level = 0.013;

    const void *data() const;
    int dtype() const;
};
using FieldPtr = std::shared_ptr<Field>;

// A gyroid, of period 2 pi.
double wave(double x, double y, double z);

// What scales a side of n steps to the given number of periods.
double wave_scale(int n, double waves);

// An image on a grid of unit steps, in two dimensions when it has one plane.
FieldPtr image_field(vtkSmartPointer<vtkImageData> image);

// A wave with `waves` periods along the first axis and random noise of the given amplitude.
FieldPtr wave_image(int ni, int nj, int nk, double waves, float noise);

// Ours: triangles or segments, then the new nodes' parameters and coordinates.
Contestant our_isosurface(FieldPtr field);
Contestant our_isolines(FieldPtr field);

// A peer keeps its filter, and with it what memory it reuses, from run to run. What it can make beside cells
// and points is turned off.
template <class Filter>
Contestant peer(const char *name, const FieldPtr &field, const std::function<void(Filter &)> &adjust = {}) {
    const auto filter = vtkSmartPointer<Filter>::New();
    filter->SetInputData(field->dataset);
    filter->SetValue(0, field->level);
    if constexpr (requires { filter->ComputeNormalsOff(); }) filter->ComputeNormalsOff();
    if constexpr (requires { filter->ComputeGradientsOff(); }) filter->ComputeGradientsOff();
    if constexpr (requires { filter->ComputeScalarsOff(); }) filter->ComputeScalarsOff();
    if constexpr (requires { filter->InterpolateAttributesOff(); }) filter->InterpolateAttributesOff();
    if constexpr (requires { filter->SequentialProcessingOn(); }) filter->SequentialProcessingOn();
    if (adjust) adjust(*filter);
    return {name,
            [filter] {
                filter->Modified();
                filter->Update();
                auto *made = vtkPolyData::SafeDownCast(filter->GetOutputDataObject(0));
                return static_cast<long long>(made->GetNumberOfCells());
            },
            {}};
}

}  // namespace bench

#endif
