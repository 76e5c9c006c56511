// What the extraction cases share: our runs, and how a peer is run.
#ifndef ISOFIELD_BENCH_EXTRACTION_HPP
#define ISOFIELD_BENCH_EXTRACTION_HPP

#include <functional>
#include <string>
#include <vector>

#include "peer.hpp"

namespace bench {

// Ours: triangles or segments, then the new nodes' parameters and coordinates, or triangles alone.
Contestant our_isosurface(FieldPtr field);
Contestant our_bare_isosurface(std::string name, FieldPtr field);
Contestant our_isolines(FieldPtr field);

// Ours: what lies at or above the level, or each band between neighbours of the ascending `levels`. All end
// with cells, coordinates and the scalar on old and new nodes.
Contestant our_cut(FieldPtr field);
Contestant our_bands(FieldPtr field, std::vector<double> levels);

// A peer at the field's level. What it can make beside cells and points is turned off.
template <class Filter>
Contestant peer(const char *name, const FieldPtr &field, const std::function<void(Filter &)> &adjust = {}) {
    const auto extract = [&](Filter &filter) {
        if constexpr (requires { filter.SetValue(0, 0.0); }) {
            filter.SetValue(0, field->level);
        } else {
            filter.SetValue(field->level);
        }
        if constexpr (requires { filter.ComputeNormalsOff(); }) filter.ComputeNormalsOff();
        if constexpr (requires { filter.ComputeGradientsOff(); }) filter.ComputeGradientsOff();
        if constexpr (requires { filter.ComputeScalarsOff(); }) filter.ComputeScalarsOff();
        if constexpr (requires { filter.InterpolateAttributesOff(); }) filter.InterpolateAttributesOff();
        if constexpr (requires { filter.SequentialProcessingOn(); }) filter.SequentialProcessingOn();
        if (adjust) adjust(filter);
    };
    return filter_peer<Filter>(name, field, output_size<vtkDataObject::CELL>, extract);
}

}  // namespace bench

#endif
