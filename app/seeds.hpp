// Where streamlines start when nothing else is told.
#ifndef ISOFIELD_APP_SEEDS_HPP
#define ISOFIELD_APP_SEEDS_HPP

#include <cstddef>
#include <vector>

#include "extraction.hpp"

namespace app {

// So many points, x, y and z each, spread evenly over what of the field has its vector; fewer where that is
// hard to hit. Surfaces in space have theirs at nodes.
std::vector<float> spread_seeds(Field &field, isofield::Locator &locator, std::size_t wanted);

}  // namespace app
#endif
