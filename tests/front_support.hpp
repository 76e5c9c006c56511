// What the tests of the C++ front share.
#ifndef ISOFIELD_TESTS_FRONT_SUPPORT_HPP
#define ISOFIELD_TESTS_FRONT_SUPPORT_HPP

#include <string>
#include <vector>

#include "isofield.hpp"
#include "support.hpp"

inline isofield::Mesh front_mesh(const CellMesh &cells) {
    std::vector<isofield::CellSet> sets;
    for (const CellSetData &set : cells.sets) sets.push_back({set.type, set.connect});
    return isofield::Mesh::cells(cells.coords, sets);
}

// With what words a call is refused.
template <class F>
std::string refusal(F call) {
    try {
        call();
    } catch (const isofield::BadInput &refused) {
        return refused.what();
    }
    return "accepted";
}

#endif
