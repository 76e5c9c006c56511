// What the nodes of a grid gather from scattered points.
#ifndef ISOFIELD_MOD_UTIL_SCATTER_NODES_HPP
#define ISOFIELD_MOD_UTIL_SCATTER_NODES_HPP

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "lanes.hpp"
#include "scatter_grid.hpp"
#include "wide.hpp"

namespace isofield::detail {

constexpr int kScatterChunk = 64;  // nodes of a row that are worked on at a time
constexpr int kMostLanes = 8;

// Squares of the distances of nodes to a point along an axis, in full lanes.
using ScatterRow = float[kScatterChunk];

// Fills such a row, for n nodes from `first` on. Returns whether one may be as near as `limit`.
inline bool square_distances(const ScatterAxis &axis, float at, int first, int n, float limit,
                             ScatterRow &out) {
    LaneWords near = {};
    for (int i = 0; i < n; i += kMostLanes) {
        for (int l = i; l < i + kMostLanes; l += 4) {
            const Lanes nodes = __builtin_convertvector(LaneWords{0, 1, 2, 3} + (first + l), Lanes);
            const Lanes distance = at - (axis.min + nodes * axis.spacing);
            const Lanes square = distance * distance;
            near |= square < limit;
            store_lanes(square, out + l);
        }
    }
    return (near[0] | near[1] | near[2] | near[3]) != 0;
}

// ---- Weights: 1 / distance^power, from the square of the distance

inline float plain_weight(float d2, int power) {
    return static_cast<float>(1.0 / std::pow(std::sqrt(static_cast<double>(d2)), static_cast<double>(power)));
}

// Of kMostLanes nodes. By multiplication, where that cannot come out otherwise: pow's result and the product
// are within some units of the last place of a double of the true power, and nearly all of such spans round
// to one float.
ISOFIELD_INLINE void multiplied_weights(const float *dx2, float dy2, float dz2, int power, float *weights) {
    constexpr double kSpan = 0x1p-47;
    double distance[kMostLanes], product[kMostLanes];
    float low[kMostLanes], high[kMostLanes];
    for (int l = 0; l < kMostLanes; ++l) {
        distance[l] = std::sqrt(static_cast<double>(dx2[l] + dy2 + dz2));
        product[l] = distance[l];
    }
    for (int k = power > 0 ? power : -power; k > 1; --k)
        for (int l = 0; l < kMostLanes; ++l) product[l] *= distance[l];
    if (power > 0)
        for (int l = 0; l < kMostLanes; ++l) product[l] = 1.0 / product[l];
    int differ = 0;
    for (int l = 0; l < kMostLanes; ++l) {
        low[l] = static_cast<float>(product[l] * (1.0 - kSpan));
        high[l] = static_cast<float>(product[l] * (1.0 + kSpan));
        differ |= low[l] != high[l];
        weights[l] = low[l];
    }
    if (!differ) return;
    for (int l = 0; l < kMostLanes; ++l)
        if (low[l] != high[l]) weights[l] = plain_weight(dx2[l] + dy2 + dz2, power);
}

ISOFIELD_WIDE inline void multiplied_weights_wide(const ScatterRow &dx2, float dy2, float dz2, int n,
                                                  int power, ScatterRow &weights) {
    for (int i = 0; i < n; i += kMostLanes) multiplied_weights(dx2 + i, dy2, dz2, power, weights + i);
}

// Of n nodes of a row, dy2 and dz2 away across it; in full lanes.
inline void row_weights(const ScatterRow &dx2, float dy2, float dz2, int n, int power, ScatterRow &weights) {
    constexpr int kMostFactors = 16;
    if (power == 2) {
        // 1 / d2 in float is 1 / d2 in double, narrowed: the double has digits to spare.
        for (int i = 0; i < n; ++i) weights[i] = 1.0f / (dx2[i] + dy2 + dz2);
    } else if (power == 0 || power < -kMostFactors || power > kMostFactors) {
        for (int i = 0; i < n; ++i) weights[i] = plain_weight(dx2[i] + dy2 + dz2, power);
    } else if (has_wide_registers()) {
        multiplied_weights_wide(dx2, dy2, dz2, n, power, weights);
    } else {
        for (int i = 0; i < n; i += kMostLanes) multiplied_weights(dx2 + i, dy2, dz2, power, weights + i);
    }
}

// ---- Nodes

// A node has a sum of weights, which is 0 until a point reaches it and kLocked once one has hit it; and
// values, weighted unless the node is locked, which are not set while the sum is 0.
class ScatterNodes {
  public:
    static constexpr float kLocked = -1.0f;
    // A node with more weight takes no more: the greatest float below 1e37.
    static constexpr float kFull = static_cast<float>(1e37);
    static_assert(static_cast<double>(kFull) < 1e37);

    bool allocate(std::size_t count, std::size_t veclen) {
        veclen_ = veclen;
        weights_ = allocate_cleared<float>(count + kMostLanes);
        values_ = allocate_working<float>(count * veclen + kMostLanes);
        return weights_ && values_;
    }

    std::size_t veclen() const { return veclen_; }
    const float *weights() const { return weights_.get(); }
    const float *values() const { return values_.get(); }

    bool takes(std::size_t node) const { return weights_[node] >= 0.0f && weights_[node] <= kFull; }

    template <class T>
    void lock(std::size_t node, const T *value) {
        float *const to = &values_[node * veclen_];
        for (std::size_t c = 0; c < veclen_; ++c) to[c] = static_cast<float>(value[c]);
        weights_[node] = kLocked;
    }

    // To nodes that take it.
    template <class T>
    void add(std::size_t node, float weight, const T *value) {
        float *const to = &values_[node * veclen_];
        if (weights_[node] == 0.0f) std::fill_n(to, veclen_, 0.0f);
        weights_[node] += weight;
        for (std::size_t c = 0; c < veclen_; ++c) to[c] += weight * static_cast<float>(value[c]);
    }

    // A block of rows of nodes, `stride` apart.
    struct Rows {
        std::size_t first;
        int n;  // nodes of a row, at most kScatterChunk
        std::size_t stride;
        int count;
    };

    // Adds scalars by 1 / distance^2 to the nodes that take them. dx2 goes along the rows, dy2 across them.
    void add_rows(const Rows &rows, const ScatterRow &dx2, const ScatterRow &dy2, float dz2, float value) {
        const auto weigh = [&](int i, int j, auto &weight) {
            std::memcpy(&weight, dx2 + i, sizeof weight);
            weight = 1.0f / (weight + dy2[j] + dz2);
        };
        add(rows, value, weigh);
    }

    // Adds a scalar to those nodes of a row that take it.
    void add_row(std::size_t first, int n, const ScatterRow &weights, float value) {
        add({first, n, 0, 1}, value,
            [&](int i, int, auto &weight) { std::memcpy(&weight, weights + i, sizeof weight); });
    }

  private:
    using WideLanes = float __attribute__((vector_size(32)));
    using WideWords = int __attribute__((vector_size(32)));

    // weigh(i, j, weight): the weights of the lanes from node i of row j on.
    template <class Weigh>
    void add(const Rows &rows, float value, const Weigh &weigh) {
        float *const sums = weights_.get() + rows.first, *const values = values_.get() + rows.first;
        if (wide_) {
            add_wide(rows, value, weigh, sums, values);
        } else {
            add_lanes<Lanes, LaneWords>(rows, value, weigh, sums, values);
        }
    }

    template <class Weigh>
    ISOFIELD_WIDE static void add_wide(const Rows &rows, float value, const Weigh &weigh, float *sums,
                                       float *values) {
        add_lanes<WideLanes, WideWords>(rows, value, weigh, sums, values);
    }

    template <class L, class W, class Weigh>
    ISOFIELD_INLINE static void add_lanes(const Rows &rows, float value, const Weigh &weigh, float *sums,
                                          float *values) {
        constexpr int kCount = sizeof(L) / sizeof(float);
        W lane;
        for (int l = 0; l < kCount; ++l) lane[l] = l;
        for (int i = 0; i < rows.n; i += kCount, sums += kCount, values += kCount) {
            const W inside = lane < rows.n - i;
            float *sum_at = sums, *value_at = values;
            for (int j = 0; j < rows.count; ++j, sum_at += rows.stride, value_at += rows.stride) {
                L weight, sum, old;
                weigh(i, j, weight);
                std::memcpy(&sum, sum_at, sizeof sum);
                std::memcpy(&old, value_at, sizeof old);
                const W taking = (sum >= 0.0f) & (sum <= kFull) & inside;
                L start = old;
                keep(sum != 0.0f, start);
                const L new_value = taking ? start + weight * value : old;
                keep(taking, weight);
                const L new_sum = sum + weight;
                std::memcpy(sum_at, &new_sum, sizeof new_sum);
                std::memcpy(value_at, &new_value, sizeof new_value);
            }
        }
    }

    bool wide_ = has_wide_registers();
    std::size_t veclen_ = 1;
    Working<float> weights_, values_;
};

}  // namespace isofield::detail
#endif
