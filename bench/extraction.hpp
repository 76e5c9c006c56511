// What the extraction cases share: our runs, and how a peer is run.
#ifndef ISOFIELD_BENCH_EXTRACTION_HPP
#define ISOFIELD_BENCH_EXTRACTION_HPP

#include <vtkDataObject.h>

#include <functional>
#include <vector>

#include "field.hpp"
#include "harness.hpp"

namespace bench {

// Ours: triangles or segments, then the new nodes' parameters and coordinates.
Contestant our_isosurface(FieldPtr field);
Contestant our_isolines(FieldPtr field);

// Ours: what lies at or above the level, or each band between neighbours of the ascending `levels`. All end
// with cells, coordinates and the scalar on old and new nodes.
Contestant our_cut(FieldPtr field);
Contestant our_bands(FieldPtr field, std::vector<double> levels);

// A peer keeps its filter, and with it what memory it reuses, from run to run. What it can make beside cells
// and points is turned off.
template <class Filter>
Contestant peer(const char *name, const FieldPtr &field, const std::function<void(Filter &)> &adjust = {}) {
    const auto filter = vtkSmartPointer<Filter>::New();
    filter->SetInputData(field->dataset);
    if constexpr (requires { filter->SetValue(0, 0.0); }) {
        filter->SetValue(0, field->level);
    } else {
        filter->SetValue(field->level);
    }
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
                return static_cast<long long>(
                    filter->GetOutputDataObject(0)->GetNumberOfElements(vtkDataObject::CELL));
            },
            {}};
}

}  // namespace bench

#endif
