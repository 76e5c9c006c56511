// The lines in which one level crosses a triangle or a quadrilateral, written as one row a case: the edges
// that each line joins.
//
//     quadrilateral  3---2     Bit i of a case is set when node i is at or above the level. A case above the
//                    |   |     last row has the lines of its complement. So the nodes 0 and 2 are cut off
//                    0---1     in case 5 and in case 10, its complement, alike.
#ifndef ISOFIELD_MOD_UTIL_LINE_CASES_HPP
#define ISOFIELD_MOD_UTIL_LINE_CASES_HPP

#include <array>
#include <cstddef>
#include <cstdint>

#include "case_rows.hpp"
#include "element_lists.hpp"

namespace isofield::detail {

// Of lines on cell sets and grids alike.
inline constexpr ElementTraits kLineTraits = {.unit = "mod_util/isoline",
                                              .step = 1000,
                                              .corners = 2,
                                              .list_module = "UTILisoline",
                                              .connect_module = "isoline",
                                              .connect_text = "realloc for connect list failed"};

using LinePlan = CasePlan<4, 4>;

// Edges stand as node pairs, as "01 30", the two of each line one after the other.
template <std::size_t kAllAbove>
constexpr std::array<LinePlan, kAllAbove + 1> line_plans(const char *const (&rows)[kAllAbove / 2]) {
    std::array<LinePlan, kAllAbove + 1> plans{};
    for (std::size_t index = 1; index < kAllAbove; ++index) {
        LinePlan &plan = plans[index];
        const std::size_t row = index <= kAllAbove / 2 ? index : kAllAbove - index;
        for (const char *text = rows[row - 1]; *text; text += text[2] ? 3 : 2) {
            plan.corners[plan.nedges] = plan.nedges;
            plan.ends[plan.nedges++] = {static_cast<std::uint8_t>(digit(text[0])),
                                        static_cast<std::uint8_t>(digit(text[1]))};
        }
        plan.nelements = plan.nedges / 2;
    }
    return plans;
}

inline constexpr auto kTriLines = line_plans<7>({"01 20", "01 12", "12 20"});
inline constexpr auto kQuadLines =
    line_plans<15>({"01 30", "01 12", "12 30", "12 23", "01 30 12 23", "01 23", "23 30"});

}  // namespace isofield::detail
#endif
