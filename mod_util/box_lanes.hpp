// Bounding boxes that are tested eight at a time.
#ifndef ISOFIELD_MOD_UTIL_BOX_LANES_HPP
#define ISOFIELD_MOD_UTIL_BOX_LANES_HPP

#include <algorithm>
#include <limits>

#include "cell_geometry.hpp"
#include "lanes.hpp"

namespace isofield::detail {

// Eight bounding boxes. Lanes without a box hold nothing.
struct BoxLanes {
    static constexpr int kFan = 8;

    float lo[3][kFan], hi[3][kFan];

    // A bit for each box that holds the point.
    unsigned holding(const float *xyz) const { return meeting(xyz, xyz); }

    // The same for boxes that meet the box from `min` to `max`.
    unsigned meeting(const float *min, const float *max) const {
        constexpr LaneWords kLowBits = {1, 2, 4, 8}, kHighBits = {16, 32, 64, 128};
        LaneWords low = kLowBits, high = kHighBits;
        for (int d = 0; d < 3; ++d) {
            const Lanes from = splat(min[d]), to = splat(max[d]);
            low &= (load_lanes(lo[d]) <= to) & (load_lanes(hi[d]) >= from);
            high &= (load_lanes(lo[d] + 4) <= to) & (load_lanes(hi[d] + 4) >= from);
        }
        LaneWords bits = low | high;
        bits |= __builtin_shufflevector(bits, bits, 2, 3, 0, 1);
        bits |= __builtin_shufflevector(bits, bits, 1, 0, 3, 2);
        return static_cast<unsigned>(bits[0]);
    }
    Box hull() const {
        Box box;
        for (int d = 0; d < 3; ++d) {
            box.min[d] = *std::min_element(lo[d], lo[d] + kFan);
            box.max[d] = *std::max_element(hi[d], hi[d] + kFan);
        }
        return box;
    }
    Box box(int lane) const {
        return {{lo[0][lane], lo[1][lane], lo[2][lane]}, {hi[0][lane], hi[1][lane], hi[2][lane]}};
    }
    void set(int lane, const Box &box) {
        for (int d = 0; d < 3; ++d) {
            lo[d][lane] = box.min[d];
            hi[d][lane] = box.max[d];
        }
    }
};

// Where no box is.
constexpr float kFarAway = std::numeric_limits<float>::infinity();
constexpr Box kNowhere = {{kFarAway, kFarAway, kFarAway}, {-kFarAway, -kFarAway, -kFarAway}};

}  // namespace isofield::detail
#endif
