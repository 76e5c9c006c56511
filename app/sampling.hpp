// Node arrays at places in the cells of a mesh.
#ifndef ISOFIELD_APP_SAMPLING_HPP
#define ISOFIELD_APP_SAMPLING_HPP

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "operation_support.hpp"
#include "surface_io.hpp"

namespace app {

// Rows of float for each place; `fill`, or NaN, where there is no value. Names keep clear of those `taken`.
// To be run inside a PolledStage.
std::vector<OutputArray> sample_arrays(isofield::Locator &locator, std::span<const isofield::Place> places,
                                       const std::vector<NamedArray> &arrays, std::optional<double> fill,
                                       std::vector<std::string> taken, Console &console);

}  // namespace app
#endif
