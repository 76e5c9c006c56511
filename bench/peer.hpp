// How a peer's filter is run.
#ifndef ISOFIELD_BENCH_PEER_HPP
#define ISOFIELD_BENCH_PEER_HPP

#include <vtkAlgorithm.h>
#include <vtkDataObject.h>

#include <functional>
#include <vector>

#include "field.hpp"
#include "harness.hpp"

namespace bench {

// The number of points or cells of a filter's output.
template <int elements>
long long output_size(vtkAlgorithm &filter) {
    return filter.GetOutputDataObject(0)->GetNumberOfElements(elements);
}

// A peer keeps its filter, and with it what memory it reuses, from run to run.
template <class Filter>
Contestant filter_peer(const char *name, const FieldPtr &field,
                       const std::function<long long(Filter &)> &size,
                       const std::function<void(Filter &)> &adjust = {},
                       const std::function<std::vector<float>(Filter &)> &values = {}) {
    const auto filter = vtkSmartPointer<Filter>::New();
    filter->SetInputData(field->dataset);
    if (adjust) adjust(*filter);
    Contestant peer{name, [filter, size] {
                        filter->Modified();
                        filter->Update();
                        return size(*filter);
                    }};
    if (values) peer.values = [filter, values] { return values(*filter); };
    return peer;
}

}  // namespace bench

#endif
