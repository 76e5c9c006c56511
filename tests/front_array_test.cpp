#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "front_support.hpp"

namespace {

using namespace isofield;

template <class T>
std::span<const T> view(const std::vector<T> &values) {
    return values;
}

std::vector<double> random_values(std::size_t n, unsigned seed, double lo = -1, double hi = 1) {
    std::mt19937 engine(seed);
    std::vector<double> values(n);
    for (double &value : values) value = std::uniform_real_distribution(lo, hi)(engine);
    return values;
}

// Equal up to rounding, or both NaN.
void expect_close(std::span<const float> values, const std::vector<double> &expected, double tolerance) {
    ASSERT_EQ(values.size(), expected.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool both_nan = std::isnan(values[i]) && std::isnan(expected[i]);
        ASSERT_TRUE(both_nan || std::abs(values[i] - expected[i]) <= tolerance)
            << i << ": " << values[i] << ", not " << expected[i];
    }
}

TEST(FrontArray, DownsizedAndResampledNodesComeFromTheirPlaces) {
    const std::vector<int> dims = {7, 4, 5}, factors = {3, 2, 1}, finer = {10, 4, 2};
    std::vector<short> values(7 * 4 * 5 * 2);
    std::iota(values.begin(), values.end(), short{0});
    const auto take = [&](std::vector<int> rows, std::vector<int> columns) {
        std::vector<short> taken;
        for (const int row : rows)
            for (const int i : columns) std::copy_n(&values[14 * row + 2 * i], 2, std::back_inserter(taken));
        return taken;
    };
    EXPECT_EQ(downsize(view(values), dims, factors, 2), take({0, 2, 4, 6, 8, 10, 12, 14, 16, 18}, {0, 3, 6}));
    EXPECT_EQ(resample(view(values), dims, finer, 2),
              take({0, 1, 2, 3, 16, 17, 18, 19}, {0, 0, 1, 2, 2, 3, 4, 4, 5, 6}));
    const std::vector<int> two = {2, 1}, seven = {7, 1}, one = {1, 1};  // six steps of a sixth are below 1
    const std::vector<double> ends = {3, 4};
    EXPECT_EQ(resample(view(ends), two, seven), (std::vector<double>{3, 3, 3, 3, 3, 3, 4}));
    EXPECT_EQ(resample(view(ends), two, seven, 1, Resampling::kNative), std::vector<double>(7, 3));
    EXPECT_EQ(resample(view(ends), two, one), std::vector<double>{3});
}

// One axis of smooth, value by value.
std::vector<double> plain_smooth(const std::vector<double> &in, int n, int stride,
                                 std::vector<float> kernel) {
    std::vector<double> out = in;
    const int size = static_cast<int>(kernel.size());
    for (int i = 0; i < static_cast<int>(in.size()); ++i) {
        const int first = i / stride % n - size / 2;
        if (first < 0 || first + size > n) continue;
        double sum = 0, rest = 0;
        for (int j = 0; j < size; ++j) {
            const double value = in[i + (j - size / 2) * stride];
            if (!std::isnan(value)) sum += kernel[j] * value, rest += kernel[j];
        }
        out[i] = std::isnan(in[i]) || rest == 0 ? NAN : sum / rest;
    }
    return out;
}

TEST(FrontArray, SmoothingSeesWhatIsThere) {
    const std::vector<int> dims = {70, 6, 5};
    const std::vector<float> kernel = {1, -1, 2, 3}, gaussian = gaussian_kernel(0.9);
    for (const double holes : {0.0, 0.1}) {
        std::vector<double> values = random_values(2 * 70 * 6 * 5, 1, 1, 2), held = values;
        const std::vector<double> dice = random_values(values.size(), 2, 0, 1);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (dice[i] >= holes) continue;
            values[i] = i % 2 ? INFINITY : -9;
            held[i] = held[i | 1] = NAN;  // a null takes its row with it
        }
        std::vector<double> twice = held;
        for (int pass = 0; pass < 2; ++pass)
            twice = plain_smooth(plain_smooth(twice, 5, 2 * 420, kernel), 70, 2, kernel);
        expect_close(smooth({values, 2}, dims, kernel, {-9, {}, {2, 0}, 2}), twice, 1e-4);
        // Too long for two of the axes.
        expect_close(smooth({values, 2}, dims, gaussian, {-9}), plain_smooth(held, 70, 2, gaussian), 1e-6);
    }
}

TEST(FrontArray, LimitsAreExact) {
    using Bytes = std::vector<unsigned char>;
    const Bytes bytes = {0, 1, 2, 254, 255};
    EXPECT_EQ(clamp(view(bytes), {0.9, 1.9}, 254), (Bytes{1, 1, 1, 254, 1}));
    EXPECT_EQ(clamp(view(bytes), {-0.5, 300}), bytes);
    const Limits between = {0.2, 0.8};
    EXPECT_EQ(refusal([&] { clamp(view(bytes), between); }),
              "limits.min is 0.2 and limits.max is 0.8, but the data's type has no value that lies so");
    EXPECT_THROW(clamp(view(bytes), {.max = -0.5}), BadInput);
    const std::vector<float> floats = {-INFINITY, 0.1f, 5, NAN};
    expect_close(clamp(view(floats), {0.1, 0.5}), {0.1f, 0.1f, 0.5, NAN}, 0);
    const std::vector<short> rows = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const std::vector<double> holes = {1, NAN, 254, -INFINITY, 0};
    EXPECT_EQ(threshold(view(rows), 2, bytes, {0.9, 300}, -1, 254),
              (std::vector<short>{-1, -1, 3, 4, 5, 6, -1, -1, 9, 10}));
    EXPECT_EQ(threshold(view(rows), 2, bytes, {.min = 255.5}, -1), std::vector<short>(10, -1));
    EXPECT_EQ(threshold(view(rows), 2, holes, {}, -1, 254),
              (std::vector<short>{1, 2, -1, -1, -1, -1, -1, -1, 9, 10}));
}

TEST(FrontArray, BlendsAndPolynomials) {
    const std::vector<unsigned char> a = {0, 10, 250, 7, 5}, b = {1, 0, 255, 9, 7};
    EXPECT_EQ(blend(view(a), view(b), 1.5, 7), (std::vector<unsigned char>{2, 0, 255, 7, 7}));
    const std::vector<float> x = {-40, NAN, 100, -9}, constants = evaluate({{32.0}}, view(x), -9);
    expect_close(evaluate(std::vector<double>{32, 1.8}, view(x), -9), {-40, NAN, 212, -9}, 0);
    expect_close(blend(view(x), view(constants), 0.25, -9), {-22, NAN, 83, -9}, 0);
    Kinds grids({40, 11, 10});
    std::vector<double> parabola;  // 1 + 2x + 3xx
    for (int i = 0; i < 4400; ++i) parabola.push_back(1 + i % 40 * (2 + 3 * (i % 40)));
    for (Mesh &mesh : grids.meshes)
        for (const std::vector<float> &c :
             {std::vector<float>{1, 2, 3}, {1, 2, 0, 0, 3, 0}, {1, 2, 0, 0, 0, 0, 0, 3, 0, 0}})
            expect_close(mesh.polynomial(c), parabola, 0);
}

TEST(FrontFit, RecoversPolynomials) {
    for (int n = 1; n <= 8; ++n) {
        const Polynomial truth(random_values(n, n));
        const std::vector<double> x = random_values(300, 9, 1985, 2015);
        std::vector<double> y;
        for (const double at : x) y.push_back(truth((at - 2000) / 15));
        const Fit fit = fit_polynomial(x, y, n);
        EXPECT_TRUE(fit.largest < 1e-13 && fit.rms <= fit.largest) << n << ": " << fit.largest;
        EXPECT_NEAR(fit.polynomial(1990), truth(-10 / 15.0), 1e-12) << n;
    }
    // The pivots' permutation is a cycle of three.
    const std::vector<float> x = {2, 2.25, -0.25, 1.25}, y = {17, 20.6875, 0.6875, 8.1875};
    double native[3];
    ASSERT_EQ(UTILleast_squares_float(4, x.data(), y.data(), 3, native), 1);
    const Fit fit = fit_polynomial(x, y, 3);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(native[k], (k + 1) % 3 + 1, 1e-9);
        EXPECT_NEAR(fit.polynomial.coefficients()[k], k + 1, 1e-12);
    }
    const std::vector<double> known = {0, 1, 2, 3, NAN, 5}, measured = {1, 3, 2, 6, 7, -9};
    const Fit line = fit_polynomial(known, measured, 2, {-9});  // 0.9 + 1.4 x
    EXPECT_NEAR(line.polynomial(0), 0.9, 1e-14);
    EXPECT_NEAR(line.rms, std::sqrt(4.2 / 4), 1e-14);
    EXPECT_NEAR(line.r_squared, 0.7, 1e-14);
    EXPECT_TRUE(line.used == 4 && line.left_out == 2 && std::abs(line.largest - 1.7) < 1e-14);
}

TEST(FrontFit, SolvesSystemsThatNeedPivots) {
    for (const std::size_t n : {1, 3, 4, 9}) {
        std::vector<double> matrix = random_values(n * n, 3), truth = random_values(n, 4), right(n);
        for (std::size_t i = 0; n > 1 && i < n; ++i) matrix[i * n + i] = 0;
        for (std::size_t i = 0; i < n * n; ++i) right[i / n] += matrix[i] * truth[i % n];
        const std::vector<double> found = solve(matrix, right);
        for (std::size_t i = 0; i < n; ++i) EXPECT_NEAR(found[i], truth[i], 1e-12) << n;
    }
    for (const std::vector<double> &singular : {std::vector<double>{1, 2, 2, 4}, {0, 0, 0, 0}})
        EXPECT_THROW(solve(singular, std::vector<double>{1, 2}, 0), Error);
}

TEST(FrontScatter, IsTheLibrarysOfWhatIsThereAtAnyScale) {
    const ScatterGrid grid = {{9, 7, 5}, {0, 0, 0}, {8, 6, 4}};
    for (const int power : {1, 2, 5}) {
        const std::vector<double> random = random_values(126, power, -1, 9);
        std::vector<float> points(random.begin(), random.end()), data(42), native(9 * 7 * 5);
        std::fill_n(points.begin(), 6, 3.0f);  // on a node, of which the first counts
        std::iota(data.begin(), data.end(), 3.0f);
        int radius[] = {2, 1, 1}, flag = 0;
        UTILscat_data_interp2_float(42, 3, points.data(), 1, data.data(), grid.lower.data(),
                                    grid.upper.data(), 3, grid.dims.data(), radius, power, &flag, NAN,
                                    native.data());
        const auto empty = std::ranges::count_if(native, [](float value) { return std::isnan(value); });
        points.insert(points.begin(), {4, 3, 2, NAN, 1, 1});
        data.insert(data.begin(), {-99, 5});
        for (const float scale : {1.0f, 0x1p-40f, 0x1p40f}) {  // at which plain weights leave float's range
            std::vector<float> scaled = points, upper = grid.upper;
            for (float &x : scaled) x *= scale;
            for (float &x : upper) x *= scale;
            const Scattered made =
                scatter(scaled, data, {grid.dims, grid.lower, upper}, {-99, {}, {2, 1, 1}, power});
            expect_close(made.values, {native.begin(), native.end()}, 1e-4);
            EXPECT_TRUE(made.used == 42 && made.left_out == 2 && empty > 0 &&
                        made.empty == std::size_t(empty));
        }
    }
    const std::vector<float> line = {5, NAN, 99, 2, 0, 0};  // x alone counts
    const std::vector<double> rows = {7, 500, 3, NAN};
    const Scattered made = scatter(line, {rows, 2}, {{5}, {2}, {6}}, {.radius = {1}});
    expect_close(made.values, {NAN, NAN, NAN, NAN, 7, 500, 7, 500, 7, 500}, 1e-4);
}

TEST(FrontArray, RefusesAndStops) {
    const std::vector<int> dims = {3, 2}, huge = {70000, 70000};
    const std::vector<float> six(6), kernel = {1, -1}, longer(4, 1), points(3000);
    const std::vector<double> x = {1, 1, 2}, few = {1, 2};
    EXPECT_EQ(refusal([&] { resample(view(six), dims, huge); }),
              "new_dims makes more than 2147483647 values, which is the most that there can be");
    EXPECT_EQ(refusal([&] { smooth(six, dims, kernel); }), "kernel sums up to 0");
    EXPECT_EQ(refusal([&] { smooth(six, dims, longer); }),
              "kernel has 4 elements, but no axis has so many nodes");
    EXPECT_THROW(threshold(view(dims), 1, dims, {}, NAN), BadInput);
    EXPECT_EQ(refusal([&] { fit_polynomial(x, x, 3); }),
              "x has 2 different values where y has one, but 3 coefficients need as many");
    EXPECT_EQ(refusal([&] {
                  scatter(six, few, {{3, 2}, {0, 0}, {1, 0}});
              }),
              "grid.upper[1] is 0, but must be above grid.lower[1], 0");
    const Progress stop = [](int) { return false; };
    EXPECT_THROW(scatter(points, view(points).first(1000), {{3}, {0}, {1}}, {{}, stop}), Interrupted);
    const std::vector<int> large = {300000};
    EXPECT_THROW(smooth(std::vector<float>(300000), large, longer, {{}, stop}), Interrupted);
}

}  // namespace
