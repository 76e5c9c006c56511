// Triangles and lines on new nodes: what a case makes of them, and what the lists that hold them are like.
#ifndef ISOFIELD_MOD_UTIL_ELEMENT_LISTS_HPP
#define ISOFIELD_MOD_UTIL_ELEMENT_LISTS_HPP

#include <array>
#include <cstddef>
#include <cstdint>

#include "reports.hpp"

namespace isofield::detail {

// What one case of a cell kind does: its crossed edges in the order of the tables, by the local nodes at
// their ends, and its elements as places in that list.
template <std::size_t kMostEdges, std::size_t kMostCorners>
struct CasePlan {
    static constexpr std::size_t kEdgeRoom = kMostEdges;
    static constexpr std::size_t kCornerRoom = kMostCorners;

    std::uint8_t nedges = 0;
    std::uint8_t nelements = 0;
    std::array<std::array<std::uint8_t, 2>, kMostEdges> ends{};
    std::array<std::uint8_t, kMostCorners> corners{};
};

// The lists of one kind of element in one operation.
struct ElementTraits {
    const char *unit;
    int step;                 // growth, and on cell sets the first size of a list of cells
    int corners;              // of an element
    const char *list_module;  // of the report of a list of cells that can't grow
    const char *connect_module;
    const char *connect_text;

    void report_list() const { refuse(list_module, "realloc for cell list failed\n"); }
    void report_connect() const { refuse(connect_module, connect_text); }
};

}  // namespace isofield::detail
#endif
