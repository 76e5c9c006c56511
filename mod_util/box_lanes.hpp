// Bounding boxes that are tested eight at a time.
#ifndef ISOFIELD_MOD_UTIL_BOX_LANES_HPP
#define ISOFIELD_MOD_UTIL_BOX_LANES_HPP

#include <algorithm>
#include <limits>

#include "cell_geometry.hpp"

namespace isofield::detail {

// Eight bounding boxes. Lanes without a box hold nothing.
struct BoxLanes {
    static constexpr int kFan = 8;
    float lo[3][kFan], hi[3][kFan];

    // A bit for each box that holds the point. One plain loop a bound, of which compilers make vector
    // code.
    unsigned holding(const float *xyz) const { return meeting(xyz, xyz); }

    // The same for boxes that meet the box from `min` to `max`.
    [[gnu::noinline]] unsigned meeting(const float *min, const float *max) const {
        static constexpr int kBit[kFan] = {1, 2, 4, 8, 16, 32, 64, 128};
        const Box m = {{min[0], min[1], min[2]}, {max[0], max[1], max[2]}};
        int held[kFan];
        for (int i = 0; i < kFan; ++i) held[i] = lo[0][i] <= m.max[0] ? kBit[i] : 0;
        for (int i = 0; i < kFan; ++i) held[i] = hi[0][i] >= m.min[0] ? held[i] : 0;
        for (int i = 0; i < kFan; ++i) held[i] = lo[1][i] <= m.max[1] ? held[i] : 0;
        for (int i = 0; i < kFan; ++i) held[i] = hi[1][i] >= m.min[1] ? held[i] : 0;
        for (int i = 0; i < kFan; ++i) held[i] = lo[2][i] <= m.max[2] ? held[i] : 0;
        for (int i = 0; i < kFan; ++i) held[i] = hi[2][i] >= m.min[2] ? held[i] : 0;
        int bits = 0;
        for (int i = 0; i < kFan; ++i) bits += held[i];
        return static_cast<unsigned>(bits);
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
