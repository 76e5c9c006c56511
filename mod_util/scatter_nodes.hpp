// What the nodes of a grid gather from scattered points.
#ifndef ISOFIELD_MOD_UTIL_SCATTER_NODES_HPP
#define ISOFIELD_MOD_UTIL_SCATTER_NODES_HPP

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "lanes.hpp"
#include "scatter_grid.hpp"

namespace isofield::detail {

constexpr int kScatterChunk = 64;  // nodes of a row that are worked on at a time
constexpr int kLaneCount = 4;

// Squares of the distances of nodes to a point along an axis, in full lanes.
using ScatterRow = float[kScatterChunk];

// ---- Weights: 1 / distance^power, from the square of the distance

inline float plain_weight(float d2, int power) {
    return static_cast<float>(1.0 / std::pow(std::sqrt(static_cast<double>(d2)), static_cast<double>(power)));
}

// The same by multiplication, where that cannot come out otherwise: pow's result and the product are within
// some units of the last place of a double of the true power, and nearly all of such spans round to one
// float.
inline float power_weight(float d2, int power) {
    constexpr int kMostFactors = 16;
    constexpr double kSpan = 0x1p-47;
    if (power == 0 || power < -kMostFactors || power > kMostFactors) return plain_weight(d2, power);
    const int factors = power > 0 ? power : -power;
    const double distance = std::sqrt(static_cast<double>(d2));
    double product = distance;
    for (int k = 1; k < factors; ++k) product *= distance;
    const double weight = power > 0 ? 1.0 / product : product;
    const float low = static_cast<float>(weight * (1.0 - kSpan));
    const float high = static_cast<float>(weight * (1.0 + kSpan));
    return low == high ? low : plain_weight(d2, power);
}

inline float node_weight(float d2, int power) {
    // 1 / d2 in float is 1 / d2 in double, narrowed: the double has digits to spare.
    return power == 2 ? 1.0f / d2 : power_weight(d2, power);
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
        weights_ = allocate_cleared<float>(count + kLaneCount);
        values_ = allocate_working<float>(count * veclen + kLaneCount);
        return weights_ && values_;
    }

    std::size_t veclen() const { return veclen_; }
    float weight(std::size_t node) const { return weights_[node]; }
    const float *values(std::size_t node) const { return values_.get() + node * veclen_; }

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
        for (int i = 0; i < rows.n; i += kLaneCount) {
            const Words inside = Words{0, 1, 2, 3} < rows.n - i;
            const Lanes x = load_lanes(dx2 + i);
            float *sums = weights_.get() + rows.first + i, *values = values_.get() + rows.first + i;
            for (int j = 0; j < rows.count; ++j, sums += rows.stride, values += rows.stride) {
                const Lanes sum = load_lanes(sums), old = load_lanes(values);
                const Lanes weight = 1.0f / (x + dy2[j] + dz2);
                const Words taking = (sum >= 0.0f) & (sum <= kFull) & inside;
                const Lanes start = masked(old, sum != 0.0f);
                store_lanes(sum + masked(weight, taking), sums);
                store_lanes(taking ? start + weight * value : old, values);
            }
        }
    }

  private:
    using Words = int __attribute__((vector_size(16)));

    static Lanes masked(Lanes a, Words mask) {
        Words words;
        std::memcpy(&words, &a, sizeof words);
        words &= mask;
        std::memcpy(&a, &words, sizeof a);
        return a;
    }

    std::size_t veclen_ = 1;
    Working<float> weights_, values_;
};

}  // namespace isofield::detail
#endif
