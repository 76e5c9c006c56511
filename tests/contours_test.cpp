#include <cmath>

#include "support.hpp"

namespace {

using Connect = std::vector<int>;

struct Sorted {
    int result;
    Connect ids;
    std::vector<float> params;
};

// A polygon of x and y, with a float more in each row; numbers from 10 on.
Sorted sorted(int side, const std::vector<std::array<float, 3>> &rows) {
    const int n = static_cast<int>(rows.size()), range[] = {10, 9 + n};
    Sorted s{0, Connect(rows.size() + 1, -7), std::vector<float>(rows.size() + 1, -7.0f)};
    s.result = UTILroi_sort_verts(3, rows.data()->data(), range, side, s.ids.data(), s.params.data());
    return s;
}

TEST(Contours, StartOnASideOfTheCentroid) {
    const auto starts = [&](const std::vector<std::array<float, 3>> &rows) {
        Connect first;
        for (int side = 0; side < 4; ++side) {
            const Sorted s = sorted(side, rows);
            EXPECT_EQ(s.result, 1);
            const auto n = static_cast<int>(rows.size());
            for (int i = 0; i <= n; ++i) {
                EXPECT_EQ(s.ids[i], 10 + (s.ids[0] - 10 + i) % n);
                EXPECT_EQ(s.params[i] * n, i);
            }
            first.push_back(s.ids[0]);
        }
        return first;
    };
    EXPECT_EQ(starts({{0, 0}, {2, 0}, {2, 2}, {0, 2}}), (Connect{11, 10, 13, 12}));
    // Vertices that lie at the centroid's x or y.
    EXPECT_EQ(starts({{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}}),
              (Connect{11, 10, 15, 13}));
}

// The centroid is the outline's, at (2, 1.5): that of the area is at (2, 4/3), below the fourth vertex.
TEST(Contours, TellTheShareOfThePerimeter) {
    const Sorted s = sorted(3, {{0, 0}, {3, 0}, {3, 1.375f}, {3, 4}});
    EXPECT_EQ(s.ids, (Connect{13, 10, 11, 12, 13}));
    const double lengths[] = {5, 3, 1.375, 2.625};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(s.params[i + 1], static_cast<float>(s.params[i] + lengths[i] / 12)) << i;
}

TEST(Contours, ThatHaveNoStart) {
    EXPECT_EQ(sorted(0, {{3, 4}}).result, 0);
    EXPECT_EQ(sorted(0, {{3, 4}, {3, 4}}).result, 0);
    EXPECT_EQ(sorted(0, {{0, 0}, {NAN, 0}, {0, 2}}).result, 0);
    EXPECT_EQ(sorted(4, {{0, 0}, {2, 0}, {0, 2}}).result, 0);
    EXPECT_EQ(sorted(-1, {{0, 0}, {2, 0}, {0, 2}}).result, 0);
    const int range[] = {4, 3};
    EXPECT_EQ(UTILroi_sort_verts(2, nullptr, range, 0, nullptr, nullptr), 0);
}

struct Strip {
    int result, ntri;
    Connect tris;
};

Strip strip(int count1, int count2, const std::vector<float> &params1, const std::vector<float> &params2,
            int ntri) {
    const int ids1[] = {0, 1, 2, 3, 4}, ids2[] = {5, 6, 7, 8, 9};
    Strip s{0, ntri, Connect(3 * std::max(ntri, 0) + 2, -7)};
    s.result = UTILroi_connect_verts(count1, count2, ids1, ids2, params1.data(), params2.data(), &s.ntri,
                                     s.tris.data());
    return s;
}

// Ties take the first contour.
TEST(Contours, AreStitchedInTurn) {
    const std::vector<float> halves = {0, 0.5f, 1, 2}, late = {0, 0.75f, 1, 2};
    const Connect whole = {0, 5, 1, 1, 5, 6, 1, 6, 2, 2, 6, 7, 2, 7};
    Strip s = strip(3, 3, halves, halves, 4);
    EXPECT_EQ(s.result, 1);
    EXPECT_EQ(s.tris, whole);
    s = strip(3, 3, late, halves, 4);
    EXPECT_EQ(s.tris, (Connect{0, 5, 6, 0, 6, 1, 1, 6, 2, 2, 6, 7, 2, 7}));
    s = strip(3, 3, halves, halves, 3);
    EXPECT_EQ(s.result, 1) << "as many as expected";
    EXPECT_EQ(s.tris, Connect(whole.begin(), whole.end() - 3));
    s = strip(3, 3, halves, halves, 5);
    EXPECT_EQ(s.result, 0);
    EXPECT_EQ(s.ntri, 5);
    EXPECT_TRUE(std::equal(whole.begin(), whole.end(), s.tris.begin()));
}

TEST(Contours, WithoutTriangles) {
    const std::vector<float> params = {0, 1, 2};
    for (const int ntri : {-1, 0, 2}) {
        for (const auto &[count1, count2] : {std::pair(0, 2), std::pair(2, 0), std::pair(2, 2)}) {
            const Strip s = strip(count1, count2, params, params, ntri);
            EXPECT_EQ(s.result, ntri == 0 || (ntri == 2 && count1 == count2));
            EXPECT_EQ(s.ntri, ntri);
            EXPECT_EQ(s.tris[0], 0);
            EXPECT_EQ(s.tris[1], 5);
        }
    }
}

// Round a square and a triangle that start at the same share.
TEST(Contours, ClosedStripsMeetTheirStart) {
    const int ids1[] = {0, 1, 2, 3, 0, -1}, ids2[] = {4, 5, 6, 4, -1};
    const float params1[] = {0, 0.25f, 0.5f, 0.75f, 1, 2}, params2[] = {0, 0.3f, 0.6f, 1, 2};
    int ntri = 7;
    Connect tris(3 * 7 + 2);
    EXPECT_EQ(UTILroi_connect_verts(5, 4, ids1, ids2, params1, params2, &ntri, tris.data()), 1);
    EXPECT_EQ(tris, (Connect{0, 4, 1, 1, 4, 5, 1, 5, 2, 2, 5, 6, 2, 6, 3, 3, 6, 0, 0, 6, 4, 0, 4}));
}

}  // namespace
