// The place of a point in a tetrahedron, solved directly.
#ifndef ISOFIELD_MOD_UTIL_TET_PLACES_HPP
#define ISOFIELD_MOD_UTIL_TET_PLACES_HPP

#include <algorithm>

#include "lanes.hpp"
#include "newton.hpp"
#include "vectors.hpp"

namespace isofield::detail {

// A tetrahedron, made ready for many points. Three of its faces are worked on at once.
class TetPlaces {
  public:
    TetPlaces() = default;
    explicit TetPlaces(const float *node_xyz) {
        constexpr int kFaces[3][3] = {{1, 3, 2}, {3, 0, 2}, {3, 1, 0}};
        Vec3 node[4];
        for (int i = 0; i < 4; ++i) node[i] = load_vector(node_xyz + 3 * i);
        volume_ = determinant(node[0] - node[3], node[1] - node[3], node[2] - node[3]);
        for (int corner = 0; corner < 3; ++corner) {
            const Vec3 &p = node[kFaces[0][corner]], &q = node[kFaces[1][corner]],
                       &r = node[kFaces[2][corner]];
            corner_[corner][0] = Lanes{p.x, q.x, r.x, 0};
            corner_[corner][1] = Lanes{p.y, q.y, r.y, 0};
            corner_[corner][2] = Lanes{p.z, q.z, r.z, 0};
        }
    }

    // Whether the cell holds the point. In a cell without volume all coordinates are 0.
    bool place(const float *xyz, float *uvw) const {
        std::fill_n(uvw, 3, 0.0f);
        if (volume_ == 0) return false;
        Lanes to[3][3];
        for (int corner = 0; corner < 3; ++corner) {
            for (int d = 0; d < 3; ++d) to[corner][d] = corner_[corner][d] - splat(xyz[d]);
        }
        const Lanes place = sarrus(to[0], to[1], to[2]) / splat(volume_);
        for (int i = 0; i < 3; ++i) uvw[i] = place[i];
        bool inside = true;
        for (int i = 0; i < 3; ++i) inside &= !(uvw[i] > kLimit) & !(uvw[i] + kMargin < 0.0);
        return inside & (kLimit - uvw[0] - uvw[1] - uvw[2] >= 0.0);
    }

  private:
    float volume_ = 0;
    Lanes corner_[3][3];  // of the faces: first, second and third; x, y, z
};

}  // namespace isofield::detail
#endif
