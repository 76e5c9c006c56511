#include "levels.hpp"

#include <algorithm>
#include <cmath>

#include "errors.hpp"

namespace app {
namespace {

constexpr int kMaxLevels = 10000;

}  // namespace

void check_levels(std::size_t given, const std::optional<int> &count, const std::optional<double> &every) {
    if (given > kMaxLevels || (count && (*count < 1 || *count > kMaxLevels))) {
        throw UsageError("there can be 1 to " + std::to_string(kMaxLevels) + " levels");
    }
    if (every && !(*every > 0)) throw UsageError("--every needs a step above 0");
}

const ComponentRange &range_for_levels(const Field &field, bool wide) {
    const ComponentRange &range = field.range;
    if (range.empty)
        throw UsageError("array '" + field.scalar.name + "' has no finite value to lay levels on");
    if (wide && range.lower == range.upper) {
        throw UsageError("array '" + field.scalar.name + "' is " + format_number(range.lower) +
                         " everywhere; there is no level within");
    }
    return range;
}

std::vector<double> inner_levels(int count, const ComponentRange &range) {
    std::vector<double> levels;
    for (int k = 1; k <= count; ++k) {
        levels.push_back(range.lower + (range.upper - range.lower) * k / (count + 1.0));
    }
    return levels;
}

std::vector<double> multiples(double step, const ComponentRange &range, Ends ends) {
    const bool outside = ends == Ends::kOutside;
    const double lower = range.lower / step, upper = range.upper / step;
    const double first = outside ? std::floor(lower) : std::ceil(lower);
    const double last = outside ? std::max(std::ceil(upper), first + 1) : std::floor(upper);
    if (!(last - first < kMaxLevels)) {
        throw UsageError("--every " + format_number(step) + " makes more than " + std::to_string(kMaxLevels) +
                         " levels from " + format_number(range.lower) + " to " + format_number(range.upper) +
                         "; choose a longer step");
    }
    std::vector<double> levels;
    const int count = static_cast<int>(last - first) + 1;
    for (int k = 0; k < count; ++k) levels.push_back((first + k) * step + 0.0);  // no negative zero
    if (levels.empty()) {
        throw UsageError("no multiple of " + format_number(step) + " lies within the range, " +
                         format_number(range.lower) + " to " + format_number(range.upper));
    }
    return levels;
}

}  // namespace app
