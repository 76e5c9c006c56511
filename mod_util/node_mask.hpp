// The node mask of a level: a byte for each node, which tells its side.
#ifndef ISOFIELD_MOD_UTIL_NODE_MASK_HPP
#define ISOFIELD_MOD_UTIL_NODE_MASK_HPP

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "isofield.h"
#include "working_array.hpp"

namespace isofield::detail {

constexpr unsigned char kBelowByte = 0, kAboveByte = 1, kNullByte = 2;  // above: or at the level

// A cleared mask. A size below 1 is told and one byte taken; without memory the host is told and asked again,
// for as long as it takes. `unit` is the calling unit's source name.
inline Working<unsigned char> allocate_mask(int bytes, const char *unit, int line = __builtin_LINE()) {
    if (bytes < 1) {
        std::fprintf(stderr, "Invalid memory allocation: %s line %d, %d bytes < 1\n", unit, line, bytes);
        bytes = 1;
    }
    for (;;) {
        if (void *mask = std::calloc(static_cast<std::size_t>(bytes), 1)) {
            return Working<unsigned char>(static_cast<unsigned char *>(mask));
        }
        ERRout_of_memory("Cannot alloc flags array");
    }
}

// Fills the mask of the nodes whose data begin at `data`. False for an unknown type.
inline bool fill_mask(int nnodes, const void *data, int dtype, int null_flag, const void *null_value,
                      double level, unsigned char *mask) {
    constexpr int kInclusive = 1;
    return UTILthreshold_scalar(nnodes, data, dtype, null_flag, null_value, kInclusive, level, kBelowByte,
                                kAboveByte, kNullByte, mask) != 0;
}

}  // namespace isofield::detail
#endif
