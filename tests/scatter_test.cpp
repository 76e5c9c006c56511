// Scattered data brought to a grid, against the plain way; and the index of the points.
#include <gtest/gtest.h>

#include <cmath>

#include "support.hpp"
#include "types.hpp"

namespace {

template <class T>
class ScatterOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(ScatterOf, AllTypes);

template <class T>
struct Scatter {
    std::vector<int> dims, radius;
    std::vector<float> min, max, coords;
    std::vector<T> data;
    int power = 2, flag = 0, veclen = 1;
    T null = static_cast<T>(sizeof(T) < 4 ? 3 : 16777217);  // as a float it would be another
    std::size_t ndim = dims.size(), nspace = ndim;

    int npoints() const { return static_cast<int>(coords.size() / nspace); }

    std::vector<T> run() {
        std::size_t nodes = 1;
        for (const int n : dims) nodes *= n;
        std::vector<T> out(nodes * veclen, T{42});
        EXPECT_EQ(UTILscat_data_interp2(npoints(), static_cast<int>(nspace), coords.data(), type_code<T>,
                                        veclen, data.data(), min.data(), max.data(), static_cast<int>(ndim),
                                        dims.data(), radius.data(), power, &flag, &null, out.data()),
                  1);
        return out;
    }

    // Point after point, node after node, for so many elements of `out`.
    std::vector<T> plain(std::size_t size) {
        std::vector<float> sums(size), weights(size / veclen);
        const auto hit = static_cast<float>(power >= 3 ? std::pow(1e-37, 2.0 / power) : 1e-37);
        for (int &r : radius) r = std::max(r, 1);
        for (int i = 0; i < npoints(); ++i) {
            const float *const x = &coords[i * nspace];
            const T *const value = &data[i * veclen];
            if (std::any_of(x, x + ndim, [](float at) { return at != at; })) continue;
            if (flag && value[0] == null) continue;
            int lo[3] = {}, hi[3] = {};
            float h[3] = {};
            for (std::size_t d = 0; d < ndim; ++d) {
                const float extent = max[d] - min[d], last = static_cast<float>(dims[d] - 1);
                if (dims[d] == 1 || !(static_cast<double>(extent) > 1e-37)) continue;
                h[d] = extent / last;
                int at = static_cast<int>(std::clamp(last * ((x[d] - min[d]) / extent), -1e9f, 1e9f));
                if (ndim == 1) at = std::clamp(at, 0, dims[d] - 1);
                lo[d] = std::max(at - radius[d], 0);
                hi[d] = std::min(at + radius[d] - (ndim == 1), dims[d] - 1);
            }
            int at[3];
            for (at[2] = lo[2]; at[2] <= hi[2]; ++at[2])
                for (at[1] = lo[1]; at[1] <= hi[1]; ++at[1])
                    for (at[0] = lo[0]; at[0] <= hi[0]; ++at[0]) {
                        int node = 0;
                        float d2 = 0;
                        for (std::size_t d = ndim; d-- > 0;) node = at[d] + dims[d] * node;
                        for (std::size_t d = 0; d < ndim; ++d) {
                            const float away = min[d] + static_cast<float>(at[d]) * h[d] - x[d];
                            d2 += away * away;
                        }
                        float &w = weights[node], *const sum = &sums[node * veclen];
                        if (!(w >= 0) || static_cast<double>(w) >= 1e37) continue;
                        const double wide = d2, root = std::sqrt(wide);
                        const auto g = static_cast<float>(1.0 / (power == 2 ? wide : std::pow(root, power)));
                        for (int v = 0; v < veclen; ++v) {
                            const auto narrow = static_cast<float>(value[v]);
                            sum[v] = d2 < hit ? narrow : (w == 0 ? 0.0f : sum[v]) + g * narrow;
                        }
                        w = d2 < hit ? -1.0f : w + g;
                    }
        }
        std::vector<T> out(size, null);
        bool empty = false;
        for (std::size_t i = 0; i < size; ++i) {
            const float w = weights[i / veclen];
            if (w > 0 || w < 0) out[i] = isofield::detail::truncated<T>(w > 0 ? sums[i] / w : sums[i]);
            empty = empty || !(w > 0 || w < 0);
        }
        if (flag == 0) flag = empty;
        return out;
    }
};

// Points in and around a grid: anywhere, on its nodes, so close to the origin that their weights are huge; in
// odd ones also infinite or NaN.
template <class T>
Scatter<T> random_scatter(std::mt19937 &random, const std::vector<int> &dims, int npoints, bool odd) {
    const auto pick = [&](auto... values) { return std::array{values...}[random() % sizeof...(values)]; };
    const float infinity = std::numeric_limits<float>::infinity();
    Scatter<T> s{dims, {}, {}, {}, {}, {}};
    s.power = odd ? pick(-1, 0, 1, 2, 2, 3, 4, 7) : pick(1, 2, 2, 2);
    s.flag = pick(0, 1, 5);
    s.veclen = pick(1, 1, 2, 3);
    s.nspace = s.ndim + random() % 3;
    const std::size_t long_axis = random() % s.ndim;
    s.coords.assign(npoints * s.nspace, NAN);  // beyond ndim they are never looked at
    for (std::size_t d = 0; d < s.ndim; ++d) {
        const bool is_long = !odd && d == long_axis;  // more nodes than are worked on at a time
        s.radius.push_back(is_long ? pick(3, 70, 100) : static_cast<int>(random() % 6));
        s.min.push_back(pick(0.0f, 0.0f, -3.3f, 100.1f));
        s.max.push_back(s.min[d] + pick(1.0f, 7.3f, 30.0f, odd && random() % 4 == 0 ? -1e-3f : 2.0f));
    }
    for (int i = 0; i < npoints; ++i) {
        const unsigned kind = random() % 16, odd_axis = odd ? random() % 40 : 3;
        for (std::size_t d = 0; d < s.ndim; ++d) {
            const float unit = static_cast<float>(random() % 65536) / 65536, extent = s.max[d] - s.min[d];
            float &x = s.coords[i * s.nspace + d] = s.min[d] + (unit * 2 - 0.5f) * extent;
            if (kind < 4 && dims[d] > 1)
                x = s.min[d] + static_cast<float>(random() % dims[d]) * (extent / (dims[d] - 1));
            if (kind == 4)
                x = static_cast<float>(std::pow(1e-37, 1.0 / std::max(s.power, 2))) * (unit * 2 + 0.3f);
            if (d == odd_axis) x = pick(infinity, -infinity, static_cast<float>(NAN));
        }
    }
    s.data = awkward_values<T>(static_cast<std::size_t>(npoints * s.veclen), 0, npoints);
    std::replace(s.data.begin(), s.data.end(), T{3}, s.null);
    if (!std::is_integral_v<T> && odd && random() % 4 == 0) s.data[0] = static_cast<T>(infinity);
    return s;
}

template <class T>
void expect_plain(Scatter<T> s) {
    Scatter<T> twin = s;
    const std::vector<T> out = s.run();
    EXPECT_TRUE(same_bits(out, twin.plain(out.size())))
        << "dims " << testing::PrintToString(s.dims) << " power " << s.power;
    EXPECT_EQ(s.flag, twin.flag);
    EXPECT_EQ(s.radius, twin.radius);
}

TYPED_TEST(ScatterOf, GridsAreThePlainOnes) {
    std::mt19937 random(type_code<TypeParam>);
    for (int run = 0; run < 400 && !testing::Test::HasFailure(); ++run) {
        std::vector<int> dims(1 + random() % 3);
        for (int &n : dims) n = 1 + static_cast<int>(random() % 10);
        expect_plain(random_scatter<TypeParam>(random, dims, run % 70, run % 70 > 0));
    }
    for (const std::vector<int> &dims :
         {std::vector<int>{300}, {20000}, {300, 200}, {7, 900}, {150, 90, 60}, {900, 3, 30}})
        expect_plain(random_scatter<TypeParam>(random, dims, 1000, false));
    expect_plain(random_scatter<TypeParam>(random, {1100, 900}, 300, false));
}

// The nodes of 8 along each axis that a point at (x, x ...) reaches; the others are null.
std::vector<int> reached(std::size_t ndim, float x, int radius) {
    Scatter<int> s{std::vector<int>(ndim, 8),      std::vector<int>(ndim, radius), std::vector<float>(ndim),
                   std::vector<float>(ndim, 7.0f), std::vector<float>(ndim, x),    {5}};
    const std::vector<int> out = s.run();
    std::vector<int> nodes;
    for (int i = 0; i < 8; ++i)
        if (out[i * (ndim == 1 ? 1 : 9)] == 5) nodes.push_back(i);
    EXPECT_EQ(std::count(out.begin(), out.end(), 5), std::pow(nodes.size(), ndim)) << "a box";
    return nodes;
}

TEST(Scatter, ReachOfAPoint) {
    using Nodes = std::vector<int>;
    EXPECT_EQ(reached(1, 3.4f, 1), (Nodes{2, 3}));
    EXPECT_EQ(reached(1, -50.0f, 2), (Nodes{0, 1}));
    EXPECT_EQ(reached(1, 1e10f, 2), (Nodes{5, 6, 7}));
    EXPECT_EQ(reached(2, 3.4f, 1), (Nodes{2, 3, 4}));
    EXPECT_EQ(reached(2, -0.9f, 1), (Nodes{0, 1})) << "truncated towards 0";
    EXPECT_EQ(reached(2, -1.1f, 1), Nodes{0});
    EXPECT_EQ(reached(2, 8.5f, 1), Nodes{7});
    EXPECT_EQ(reached(2, 1e10f, 5), Nodes{});
}

TEST(Scatter, NullByValueIsNarrowedAndGridsMayBeEmpty) {
    const float min = 0, max = 1;
    unsigned char out[] = {1, 2, 3};
    for (const int dims : {2, 0}) {
        int radius = 0, flag = 0;
        EXPECT_EQ(UTILscat_data_interp2_byte(dims == 0, 1, &max, 1, out, &min, &max, 1, &dims, &radius, 2,
                                             &flag, 256 + 9 + dims, out),
                  1);
        EXPECT_EQ(flag, dims > 0);
    }
    EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{11, 11, 3}));
}

TEST(Scatter, BinsHoldTheirPointsNewestFirst) {
    using Ints = std::vector<int>;
    const int dims[] = {3, 4, 1};
    const float min[] = {0, 0, 0}, max[] = {2, 3, 0}, below_2 = std::nextafter(2.0f, 0.0f);
    // Of these the second, fifth and sixth are outside.
    const float points[] = {0.5f, 0.5f, 9,    -0.1f, 2,   9,   0.1f, 0.9f,    9, 2, 3,
                            9,    0.5f, 3.1f, 9,     NAN, 1.0, 9,    below_2, 1, 9};
    ScatBins *bins = nullptr;
    ASSERT_EQ(UTILscat_interp_init(7, 3, points, min, max, 2, dims, &bins), 1);
    EXPECT_EQ(bins->ndim, 2);
    EXPECT_EQ(Ints(bins->bins, bins->bins + bins->nbins), (Ints{2, 0, 0, 4, 0, 3}));
    EXPECT_EQ(bins->free_slot, 5);
    EXPECT_EQ(Ints(bins->point_ids + 1, bins->point_ids + 5), (Ints{0, 2, 3, 6}));
    EXPECT_EQ(Ints(bins->next, bins->next + bins->nslots), (Ints{0, 0, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(UTILscat_interp_end(bins) + UTILscat_interp_end(nullptr), 1);

    ASSERT_EQ(UTILscat_interp_init(7, 3, points, min, max, 3, dims, &bins), 1);
    EXPECT_EQ(bins->free_slot, 1) << "an axis of one node has no bins";
    UTILscat_interp_end(bins);
}

TEST(Scatter, BinsThatCannotBe) {
    const int dims[] = {70000, 70000}, small[] = {2, 2, 2, 2};
    const float zeros[4] = {};
    ScatBins untouched, *bins = &untouched;
    const auto expect_refused = [&](int result) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(std::exchange(bins, &untouched), nullptr);
    };
    expect_refused(UTILscat_interp_init(0, 4, zeros, zeros, zeros, 4, small, &bins));
    expect_refused(UTILscat_interp_init(2, 1, zeros, zeros, zeros, 2, small, &bins));
    expect_refused(UTILscat_interp_alloc(2, 0, dims, &bins));
    expect_refused(UTILscat_interp_alloc(2, 2, dims, &bins));
    expect_refused(UTILscat_interp_alloc(std::numeric_limits<int>::max(), 1, dims, &bins));
}

}  // namespace
