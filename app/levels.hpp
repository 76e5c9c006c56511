// The levels that a user asks for by their number or by a step.
#ifndef ISOFIELD_APP_LEVELS_HPP
#define ISOFIELD_APP_LEVELS_HPP

#include <cstddef>
#include <optional>
#include <vector>

#include "extraction.hpp"

namespace app {

// What can be told before the file is read: how many are given or asked for, and the step. Throws UsageError.
void check_levels(std::size_t given, const std::optional<int> &count, const std::optional<double> &every);

// The field's range. Throws UsageError where there is none, and with `wide` where it is a single value.
const ComponentRange &range_for_levels(const Field &field, bool wide);

// Evenly spaced, strictly inside the range.
std::vector<double> inner_levels(int count, const ComponentRange &range);

enum class Ends {
    kInside,   // the multiples within the range
    kOutside,  // and where it ends between two, the one beyond; at least two
};
// The multiples of a step. Throws UsageError when there are none or too many.
std::vector<double> multiples(double step, const ComponentRange &range, Ends ends);

}  // namespace app
#endif
