// What the extraction cases share: our runs, and how a peer is run.
#ifndef ISOFIELD_BENCH_EXTRACTION_HPP
#define ISOFIELD_BENCH_EXTRACTION_HPP

#include <vtkDataObject.h>
#include <vtkPolyData.h>

#include <functional>

#include "field.hpp"
#include "harness.hpp"

namespace bench {

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
