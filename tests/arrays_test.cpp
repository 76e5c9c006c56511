#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support.hpp"

namespace {

template <class T>
class ArraysOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(ArraysOf, AllTypes);

TYPED_TEST(ArraysOf, GatherAndExtract) {
    using T = TypeParam;
    const std::vector<T> rows = {1, 2, 3, 11, 12, 13, 21, 22, 23};
    const int ids[] = {2, 0, 2};
    std::vector<T> out(9);
    EXPECT_EQ(UTILcopy_array_list(nullptr, 3, type_code<T>, rows.data(), 3, ids, out.data()), 1);
    EXPECT_EQ(out, (std::vector<T>{21, 22, 23, 1, 2, 3, 21, 22, 23}));

    std::vector<T> column(3);
    EXPECT_EQ(UTILextract_scalar(3, 3, rows.data(), type_code<T>, 1, column.data()), 1);
    EXPECT_EQ(column, (std::vector<T>{2, 12, 22}));

    const std::vector<T> scalars = {7, 8, 9};
    const void *arrays[] = {rows.data(), scalars.data()};
    const int veclens[] = {3, 1}, comps[] = {2, 0};
    std::vector<T> vectors(6);
    EXPECT_EQ(UTILextract_vector(3, veclens, arrays, type_code<T>, 2, comps, vectors.data()), 1);
    EXPECT_EQ(vectors, (std::vector<T>{3, 7, 13, 8, 23, 9}));
}

TYPED_TEST(ArraysOf, ClampTouchesOneComponentAndLetsNullsPass) {
    using T = TypeParam;
    const std::vector<T> in = {50, 1, 60, 99, 50, 5, 60, 9};
    const T null = 99;
    std::vector<T> out(8, T{42});
    EXPECT_EQ(UTILclamp(4, in.data(), 2, 1, type_code<T>, 1, &null, 1, 3.0, 1, 7.0, out.data()), 1);
    EXPECT_EQ(out, (std::vector<T>{42, 3, 42, 99, 42, 5, 42, 7}));
    EXPECT_EQ(UTILclamp(4, in.data(), 2, 0, type_code<T>, 0, nullptr, 0, 3.0, 0, 7.0, out.data()), 1);
    EXPECT_EQ(out, (std::vector<T>{50, 3, 60, 99, 50, 5, 60, 7}));
}

TYPED_TEST(ArraysOf, MaskTellsLevelsAndNulls) {
    using T = TypeParam;
    const std::vector<T> in = {1, 2, 3, 99};
    const T null = 99;
    std::vector<unsigned char> mask(4);
    EXPECT_EQ(UTILthreshold_scalar(4, in.data(), type_code<T>, 1, &null, 1, 2.0, 0, 1, 2, mask.data()), 1);
    EXPECT_EQ(mask, (std::vector<unsigned char>{0, 1, 1, 2}));
    EXPECT_EQ(
        UTILthreshold_scalar(4, in.data(), type_code<T>, 0, nullptr, 0, 2.0, 10, 256 + 20, 30, mask.data()),
        1);
    EXPECT_EQ(mask, (std::vector<unsigned char>{10, 10, 20, 20}));
}

// The comparison is made in double: the mask of every element against every awkward level is the widened
// comparison's.
TYPED_TEST(ArraysOf, MaskComparesInDouble) {
    using T = TypeParam;
    using Limits = std::numeric_limits<T>;
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    std::vector<T> in = {Limits::lowest(),    Limits::max(),           T{0}, T{1},
                         static_cast<T>(0.1), static_cast<T>(16777217)};
    if constexpr (!std::is_integral_v<T>) {
        for (T v :
             {T(-0.0), Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), Limits::denorm_min()}) {
            in.push_back(v);
        }
    }
    std::vector<double> levels = {0.0,   -0.0,   0.1,       0.5,        -0.5, 1e-300,
                                  1e300, -1e300, kInfinity, -kInfinity, NAN,  16777217.0};
    for (T v : in) {
        const double level = static_cast<double>(v);
        levels.insert(levels.end(), {level, std::nextafter(level, 1e308), std::nextafter(level, -1e308)});
    }
    std::vector<unsigned char> mask(in.size());
    for (double level : levels) {
        for (int inclusive : {0, 1}) {
            UTILthreshold_scalar(static_cast<int>(in.size()), in.data(), type_code<T>, 0, nullptr, inclusive,
                                 level, 0, 1, 2, mask.data());
            for (std::size_t i = 0; i < in.size(); ++i) {
                const double v = static_cast<double>(in[i]);
                ASSERT_EQ(mask[i] != 0, inclusive ? v >= level : v > level) << v << " against " << level;
            }
        }
    }
}

TEST(Arrays, LimitsAreRoundedBeforeTheyAreCompared) {
    const int in[] = {-1, 0, 1};
    int out[3];
    UTILclamp(3, in, 1, 0, 3, 0, nullptr, 1, 0.9, 0, 0.0, out);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 0) << "0.9 is truncated to 0 first, so 0 passes";
    UTILclamp(3, in, 1, 0, 3, 0, nullptr, 1, -1e20, 1, NAN, out);
    EXPECT_EQ(out[0], -1);
    EXPECT_EQ(out[2], 0) << "NaN is limit 0";
    const float low = 0.1f;
    float clamped;
    UTILclamp(1, &low, 1, 0, 4, 0, nullptr, 1, 0.1, 0, 0.0, &clamped);
    EXPECT_EQ(clamped, low);
}

TEST(Arrays, ThresholdReplacesRowsOfAnotherArray) {
    const float test[] = {0, 5, 0, 1, 0, 9, 0, -3};
    const short src[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const float null = 5;
    short out[8];
    ASSERT_EQ(UTILthreshold(4, test, 2, 1, 4, 1, &null, 1, 0.0, 1, 8.5, src, 2, 2, -7.9, out), 1);
    EXPECT_EQ(std::vector<short>(out, out + 8), (std::vector<short>{-7, -7, 3, 4, -7, -7, -7, -7}));
    ASSERT_EQ(UTILthreshold(4, test, 2, 1, 4, 1, &null, 0, 0.0, 0, 8.5, src, 2, 2, -7.9, out), 1);
    EXPECT_EQ(std::vector<short>(out, out + 8), (std::vector<short>{-7, -7, 3, 4, 5, 6, 7, 8}));
    // A member narrows what it gets by value to its own types.
    const float tenth = 0.1f;
    unsigned char byte_out;
    const unsigned char byte_src = 3;
    UTILthreshold_float_byte(1, &tenth, 1, 0, 1, 0.1, 0, 0, 0, 0, &byte_src, 1, 256 + 9, &byte_out);
    EXPECT_EQ(byte_out, 9);
}

std::string reported_module;

TEST(Arrays, UnknownTypeIsReportedUnderTheGivenModule) {
    isohost_set_error_handler([](const char *module, const char *text,
                                 void *) { reported_module = std::string(module) + ": " + text; },
                              nullptr);
    double d = 0;
    const int one = 1;
    const void *arrays[] = {&d};
    unsigned char mask;
    EXPECT_EQ(UTILcopy_array_list(nullptr, 1, 6, &d, 1, &one, &d), 0);
    EXPECT_EQ(reported_module, "UTILcopy_array: unknown data type");
    EXPECT_EQ(UTILextract_vector(1, &one, arrays, -1, 1, &one, &d), 0);
    EXPECT_EQ(reported_module, "UTILextract_vector: unknown data type");
    EXPECT_EQ(UTILthreshold_scalar(1, &d, 6, 0, nullptr, 1, 0, 0, 1, 2, &mask), 0);
    EXPECT_EQ(reported_module, "UTILthreshold: unknown data type");
    EXPECT_EQ(UTILclamp(1, &d, 1, 0, 6, 0, nullptr, 0, 0, 0, 0, &d), 0);
    EXPECT_EQ(reported_module, "UTILclamp: unknown data type");
    reported_module.clear();
    EXPECT_EQ(UTILthreshold(1, &d, 1, 0, 5, 0, nullptr, 0, 0, 0, 0, &d, 1, 6, 0, &d), 0);
    EXPECT_EQ(reported_module, "UTILthreshold: unknown data type");
    EXPECT_EQ(UTILeval_param(1, 1, 6, &d, 0, nullptr, &one, &one, nullptr, &d), 0);
    EXPECT_EQ(reported_module, "UTILget_param: unknown data type");
    isohost_set_error_handler(nullptr, nullptr);
    isohost_clear_errors();
}

}  // namespace
