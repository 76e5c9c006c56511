#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "support.hpp"
#include "types.hpp"

namespace {

using isofield::detail::truncated;
using isofield::detail::wrapped;

// NaN equals itself, and 0 is not -0.
template <class T>
bool same_values(const std::vector<T> &a, const std::vector<T> &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](double x, double y) {
        return x == y ? std::signbit(x) == std::signbit(y) : x != x && y != y;
    });
}

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

// ---- Downsizing, resampling, filters and blends

TYPED_TEST(ArraysOf, DownsizeKeepsEveryNth) {
    using T = TypeParam;
    std::mt19937 random(1);
    for (int run = 0; run < 300; ++run) {
        std::vector<int> dims(1 + random() % 5), factors;
        int count = 1;
        for (int &n : dims) {
            count *= n = random() % 4 ? static_cast<int>(1 + random() % 7) : 1;
            // The first axes are often kept whole.
            factors.push_back(factors.size() < random() % 5 ? 1 : static_cast<int>(1 + random() % 9));
        }
        const auto in = awkward_values<T>(static_cast<std::size_t>(count), 0, run);
        std::vector<T> kept, out(in.size(), T{42});
        for (int i = 0; i < count; ++i) {
            bool is_kept = true;
            for (std::size_t d = 0, at = i; d < dims.size(); at /= dims[d++])
                is_kept = is_kept && at % dims[d] % factors[d] == 0;
            if (is_kept) kept.push_back(in[i]);
        }
        kept.resize(in.size(), T{42});
        ASSERT_EQ(UTILdownsize(static_cast<int>(dims.size()), dims.data(), factors.data(), type_code<T>,
                               in.data(), out.data()),
                  1);
        ASSERT_EQ(out, kept) << testing::PrintToString(dims) << testing::PrintToString(factors);
    }
}

TEST(Arrays, DownsizeOfFoldedAxesAndRefusals) {
    // 5 x 3 rows of two components: every second one along both axes.
    std::vector<short> in(30), out(13, -1);
    std::iota(in.begin(), in.end(), short{0});
    const int dims[] = {10, 3}, factors[] = {4, 2}, runs[] = {2, 1};
    int pos = 1;
    EXPECT_EQ(UTILdownsize_short(2, dims, factors, runs, in.data(), out.data(), &pos), 1);
    EXPECT_EQ(out, (std::vector<short>{-1, 0, 1, 4, 5, 8, 9, 20, 21, 24, 25, 28, 29}));
    EXPECT_EQ(pos, 13);

    const std::vector<int> ones(17, 1), empty = {3, 0, 3}, bad = {1, 0, 2};
    EXPECT_EQ(UTILdownsize(17, ones.data(), ones.data(), 6, &in[7], out.data()), 0);
    EXPECT_STREQ(isohost_errors(), "") << "not even of the type";
    EXPECT_EQ(UTILdownsize(3, ones.data(), bad.data(), 2, &in[7], out.data()), 0);
    EXPECT_EQ(UTILdownsize(3, empty.data(), ones.data(), 2, &in[7], out.data()), 1);
    EXPECT_EQ(out[0], -1);
    EXPECT_EQ(UTILdownsize(16, ones.data(), ones.data(), 2, &in[7], out.data()), 1);
    EXPECT_EQ(out[0], 7);
}

TYPED_TEST(ArraysOf, ResampleIsThePlainOne) {
    using T = TypeParam;
    std::mt19937 random(2);
    for (int run = 0; run < 400; ++run) {
        const int ndim = 1 + run % 3, veclen = std::array{1, 2, 3, 5}[random() % 4];
        int in_dims[3] = {1, 1, 1}, out_dims[3] = {1, 1, 1};
        std::vector<int> from[3] = {{0}, {0}, {0}};
        for (int d = 0; d < ndim; ++d) {
            for (int *dims : {in_dims, out_dims}) dims[d] = 1 + static_cast<int>(random() % (80 >> 2 * ndim));
            const double ratio = (in_dims[d] - 1.0) / (out_dims[d] - 1.0);
            double sum = 0;
            for (int j = 1; j < out_dims[d]; ++j)
                from[d].push_back(static_cast<int>(ndim > 1 ? sum += ratio : ratio * j));
        }
        const int nrows = in_dims[0] * in_dims[1] * in_dims[2];
        const auto in = random_values<T>(static_cast<std::size_t>(nrows * veclen), 120, run);
        std::vector<T> plain;
        for (const int z : from[2])
            for (const int y : from[1])
                for (const int x : from[0]) {
                    const auto row = in.begin() + (x + in_dims[0] * (y + in_dims[1] * z)) * veclen;
                    plain.insert(plain.end(), row, row + veclen);
                }
        std::vector<T> out(plain.size());
        ASSERT_EQ(UTILresample(ndim, in_dims, out_dims, veclen, type_code<T>, in.data(), out.data()), 1);
        ASSERT_EQ(out, plain) << testing::PrintToString(in_dims) << testing::PrintToString(out_dims);
    }
}

TEST(Arrays, ResampleMultipliesOrSumsUp) {
    const int dims[] = {2, 1, 1, 1}, to_dims[] = {11, 1, 1, 1}, none[] = {2, 0, 1};
    const float in[] = {1, 2};
    std::vector<float> out(11);
    EXPECT_EQ(UTILresample(1, dims, to_dims, 1, 4, in, out.data()), 1);
    EXPECT_EQ(out[10], 2);
    EXPECT_EQ(UTILresample(2, dims, to_dims, 1, 4, in, out.data()), 1);
    EXPECT_EQ(out[10], 1) << "ten tenths are below 1";
    const std::vector<float> before = out;
    for (const int ndim : {0, 4}) EXPECT_EQ(UTILresample(ndim, to_dims, dims, 1, 4, in, out.data()), 0);
    EXPECT_EQ(UTILresample(2, none, dims, 1, 4, in, out.data()), 0);
    EXPECT_EQ(UTILresample(2, dims, none, 1, 4, in, out.data()), 0);
    EXPECT_EQ(out, before);
}

// Row after row, coefficient after coefficient. Near the ends each of those that lie inside takes the row
// itself.
template <class T>
std::vector<T> filtered(std::vector<double> kernel, double sum, int n, int veclen, const std::vector<T> &in) {
    for (double &k : kernel) k = sum != 1.0 ? k / sum : k;
    const int nk = static_cast<int>(kernel.size()), half = nk / 2;
    std::vector<T> out;
    for (int p = 0; p < n; ++p) {
        const int first = std::max(half - p, 0), end = std::min(nk, n - p + half);
        const double w = std::accumulate(kernel.begin() + first, kernel.begin() + end, 0.0);
        for (int c = 0; c < veclen; ++c) {
            double row = 0;
            for (int j = first; j < end; ++j) {
                if (end - first == nk) {
                    row += kernel[j] * in[(p - half + j) * veclen + c];
                } else if (w != 0) {
                    row += in[p * veclen + c] * kernel[j] / w;
                }
            }
            out.push_back(wrapped<T>(row));
        }
    }
    return out;
}

TYPED_TEST(ArraysOf, FilterIsThePlainOne) {
    using T = TypeParam;
    std::mt19937 random(3);
    for (int nk = 1; nk < 10; ++nk)
        for (const int veclen : {1, 2, 3, 7, 64})
            for (const int n : {nk, nk + 1, nk + 37, veclen < 64 ? 3001 : 300}) {
                std::vector<float> kernel(
                    static_cast<std::size_t>(nk));  // sums are often 0, in part or whole
                for (float &k : kernel) k = (static_cast<int>(random() % 7) - 2) * (n % 2 ? 0.25f : 0.3f);
                auto in = awkward_values<T>(static_cast<std::size_t>(n * veclen), n % 3 ? 0 : 50, n + nk);
                std::replace(in.begin(), in.end(), T{3}, static_cast<T>(-0.0));
                const double sum = std::accumulate(kernel.begin(), kernel.end(), 0.0);
                std::vector<T> out(in.size(), T{42}), plain = out;
                if (sum != 0) plain = filtered({kernel.begin(), kernel.end()}, sum, n, veclen, in);
                ASSERT_EQ(UTILfilter_1d(nk, kernel.data(), n, veclen, type_code<T>, in.data(), out.data()),
                          sum != 0);
                ASSERT_TRUE(same_values(out, plain)) << nk << " over " << n << " x " << veclen;
            }
}

TEST(Arrays, FilterByHand) {
    const float kernel[] = {1, 0, -3}, identity = 1;
    const std::vector<unsigned char> in = {100, 1, 2, 90, 9};
    std::vector<unsigned char> out(5), rows(65, 5);
    ASSERT_EQ(UTILfilter_1d(3, kernel, 5, 1, 1, in.data(), out.data()), 1);
    EXPECT_EQ(out, (std::vector<unsigned char>{100, 256 - 47, 134, 12, 9})) << "not reversed, and wrapping";
    EXPECT_EQ(UTILfilter_1d(3, kernel, 2, 1, 1, in.data(), rows.data()), 0);
    EXPECT_EQ(UTILfilter_1d(1, &identity, 1, 65, 1, in.data(), rows.data()), 0);
    EXPECT_EQ(rows, std::vector<unsigned char>(65, 5));
}

TYPED_TEST(ArraysOf, BlendsOfExtremes) {
    using T = TypeParam;
    using Limits = std::numeric_limits<T>;
    using Wide = std::conditional_t<std::is_integral_v<T>, long long, T>;
    std::vector<T> a, b;
    for (const T x : {Limits::lowest(), Limits::max(), T{0}, T{1}, T{100}})
        for (const T y : {Limits::lowest(), Limits::max(), T{0}, T{7}}) a.push_back(x), b.push_back(y);
    for (const double weight : {-1.5, 0.0, 0.3, 1.0, 2.7, 1e300, static_cast<double>(NAN)}) {
        std::vector<T> plain, onto_a = a, onto_b = b;
        for (std::size_t i = 0; i < a.size(); ++i) {
            Wide difference = static_cast<Wide>(b[i]) - static_cast<Wide>(a[i]);
            if constexpr (std::is_integral_v<T>) difference = static_cast<int>(difference);
            plain.push_back(wrapped<T>(static_cast<double>(a[i]) + weight * static_cast<double>(difference)));
        }
        const int n = static_cast<int>(a.size());
        EXPECT_EQ(UTILinterpolate(n, weight, type_code<T>, onto_a.data(), b.data(), onto_a.data()), 1);
        EXPECT_EQ(UTILinterpolate(n, weight, type_code<T>, a.data(), onto_b.data(), onto_b.data()), 1);
        EXPECT_TRUE(same_values(onto_a, plain) && same_values(onto_b, plain)) << weight;
    }
    EXPECT_EQ(UTILinterpolate(-1, 0.5, type_code<T>, a.data(), b.data(), nullptr), 1);
}

// ---- Generated data, and polynomials

TYPED_TEST(ArraysOf, GeneratedDataFillsOneComponent) {
    using T = TypeParam;
    const int n = 500;
    const auto coords = awkward_values<float>(3 * n, 60, 4), c = awkward_values<float>(10, 0, 5);
    for (const int nspace : {1, 2, 3, 4}) {
        std::vector<T> out(3 * n, T{42}), plain = out, constant = out;
        for (int i = 0; i < n && nspace < 4; ++i) {
            const float *const at = &coords[i * nspace], x = at[0], y = at[1], z = at[2];
            const float sums[] = {
                c[0] + c[1] * x + c[2] * x * x,
                c[0] + c[1] * x + c[2] * y + c[3] * x * y + c[4] * x * x + c[5] * y * y,
                c[0] + c[1] * x + c[2] * y + c[3] * z + c[4] * x * y + c[5] * x * z + c[6] * y * z +
                    c[7] * x * x + c[8] * y * y + c[9] * z * z,
            };
            plain[1 + 3 * i] = truncated<T>(sums[nspace - 1]);
            constant[1 + 3 * i] = truncated<T>(-1e20);
        }
        const auto generate = [&](int count, const float *coef, double value) {
            return UTILgen_data(count, 3, 1, type_code<T>, out.data(), nspace, coords.data(), coef, !coef,
                                value);
        };
        EXPECT_EQ(generate(n, c.data(), 9.0), 1);
        EXPECT_TRUE(same_values(out, plain)) << nspace;
        EXPECT_EQ(generate(n, nullptr, -1e20) + generate(-1, nullptr, 5.0), 2);
        EXPECT_TRUE(same_values(out, constant)) << nspace;
    }
}

TYPED_TEST(ArraysOf, PolynomialsByHornersRule) {
    using T = TypeParam;
    const std::vector<T> x = awkward_values<T>(1000, 50, 6);
    const std::vector<double> coeffs = {3.7, -2.5, 0.25, 0.1, -1.3};
    for (int ncoef = 0; ncoef < 6; ++ncoef) {
        std::vector<T> plain = x, out = x;
        for (T &value : plain) {
            double sum = ncoef > 0 ? coeffs[ncoef - 1] : static_cast<double>(value);
            for (int k = ncoef - 2; k >= 0; --k) sum = sum * static_cast<double>(value) + coeffs[k];
            value = truncated<T>(sum);
        }
        EXPECT_EQ(UTILeval_polynom(ncoef, coeffs.data(), 1000, out.data(), out.data(), type_code<T>), 1);
        EXPECT_TRUE(same_values(out, plain)) << ncoef;
    }
}

// ---- Least squares

int plain_solve(std::vector<double> a, std::vector<double> b, std::vector<int> &perm, std::vector<double> &x,
                double tol) {
    const int n = static_cast<int>(b.size());
    const auto at = [&](int r, int c) -> double & { return a[r * n + c]; };
    std::iota(perm.begin(), perm.end(), 0);
    for (int k = 0; k < n; ++k) {
        int pivot = k;
        for (int r = k; r < n; ++r) pivot = std::abs(at(r, k)) > std::abs(at(pivot, k)) ? r : pivot;
        if (std::abs(at(pivot, k)) < tol) return 0;
        std::swap(perm[k], perm[pivot]);
        for (int c = 0; c < n && pivot != k; ++c) std::swap(at(k, c), at(pivot, c));
        for (int c = k + 1; c < n; ++c) {
            const double f = at(k, c) / at(k, k);
            for (int r = k; r < n; ++r) at(r, c) -= f * at(r, k);
            b[c] -= f * b[k];
        }
    }
    if (!(std::abs(at(n - 1, n - 1)) > tol)) return 0;
    for (int i = n - 1; i >= 0; --i) {
        double sum = 0;
        for (int j = i + 1; j < n; ++j) sum += x[j] * at(j, i);
        x[i] = (b[i] - sum) / at(i, i);
    }
    return 1;
}

TEST(Arrays, SolveIsThePlainOneAndSolvesTheTranspose) {
    std::mt19937 random(7);
    for (int run = 0; run < 600; ++run) {
        const auto n = static_cast<std::size_t>(1 + run % 12);
        std::vector<double> a(n * n), b(n), x(n, 42), plain = x;
        for (double &v : a) v = static_cast<int>(random() % 7) - 3;  // pivots tie, some systems are singular
        for (double &v : b) v = static_cast<int>(random() % 100) * 0.1;
        std::vector<int> perm(n), plain_perm(n);
        const int expected = plain_solve(a, b, plain_perm, plain, 1e-9);
        auto a_used = a, b_used = b;
        ASSERT_EQ(
            UTILgauss_solve(a_used.data(), b_used.data(), perm.data(), x.data(), static_cast<int>(n), 1e-9),
            expected);
        ASSERT_TRUE(same_bits(x, plain));
        for (std::size_t c = 0; c < n && expected; ++c) {
            double sum = 0;
            for (std::size_t k = 0; k < n; ++k) sum += a[perm[k] * n + c] * x[k];
            ASSERT_NEAR(sum, b[c], 1e-8);
        }
    }
}

TEST(Arrays, SolveAtTheTolerance) {
    const auto solve = [](double first, double last) {
        double a[] = {first, 0, 0, last}, b[] = {1, 1}, x[2];
        int perm[2];
        return UTILgauss_solve(a, b, perm, x, 2, 0.5);
    };
    EXPECT_EQ(solve(0.5, 1), 1);
    EXPECT_EQ(solve(std::nextafter(0.5, 0.0), 1), 0);
    EXPECT_EQ(solve(1, 0.5), 0);
    EXPECT_EQ(solve(1, std::nextafter(0.5, 1.0)), 1);
    EXPECT_EQ(UTILgauss_solve(nullptr, nullptr, nullptr, nullptr, 0, 0.5), 0);
}

TYPED_TEST(ArraysOf, FitIsThePlainOne) {
    using T = TypeParam;
    for (int order = 1; order < 7; ++order)
        for (const int n : {0, 1, 2, 5, 6, 63, 64, 65, 255, 1000, 4099}) {
            std::vector<float> x = awkward_values<float>(static_cast<std::size_t>(n), 0, n);
            for (float &at : x) at *= 0.3f;
            const std::vector<T> y = awkward_values<T>(x.size(), 0, n + 1);
            const auto size = static_cast<std::size_t>(order);
            std::vector<double> powers(x.size(), 1.0), sums(2 * size), b(2 * size), a;
            for (std::size_t k = 0; k < 2 * size; ++k)
                for (std::size_t i = 0; i < x.size(); powers[i] *= x[i], ++i) {
                    sums[k] += powers[i];
                    b[k] += powers[i] * y[i];
                }
            b.resize(size);
            for (std::size_t r = 0; r < size; ++r) a.insert(a.end(), &sums[r], &sums[r] + size);
            std::vector<double> coeffs(size, 42), plain = coeffs, solution = b;
            std::vector<int> perm(size);
            const int result = plain_solve(a, b, perm, solution, 1e-9);
            for (std::size_t k = 0; k < size && result; ++k) plain[k] = solution[perm[k]];
            ASSERT_EQ(UTILleast_squares(n, x.data(), type_code<T>, y.data(), order, coeffs.data()), result);
            ASSERT_TRUE(same_bits(coeffs, plain)) << order << " to " << n;
        }
}

TEST(Arrays, FitsWhosePivotsGoRound) {
    const float x[] = {1, 2, 3, 4};
    const short y[] = {6, 17, 34, 57};  // 1 + 2x + 3x^2
    std::vector<double> c(3, 42);
    EXPECT_EQ(UTILleast_squares(4, x, 2, y, 0, c.data()), 0);
    for (const auto &[n, expected] : {std::pair{4, std::array{1, 2, 3}}, {3, std::array{2, 3, 1}}}) {
        EXPECT_EQ(UTILleast_squares(n, x, 2, y, 3, c.data()), 1);
        for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(c[k], expected[k], 1e-6) << n;
    }
}

// ---- Unknown types

std::string reported_module;

TEST(Arrays, UnknownTypeIsReportedUnderTheGivenModule) {
    isohost_set_error_handler([](const char *module, const char *text,
                                 void *) { reported_module = std::string(module) + ": " + text; },
                              nullptr);
    const auto expect_told = [](const char *module, int result) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(std::exchange(reported_module, ""), module + std::string(": unknown data type"));
    };
    double d = 0;
    const int one = 1;
    const void *arrays[] = {&d};
    unsigned char mask;
    expect_told("UTILcopy_array", UTILcopy_array_list(nullptr, 1, 6, &d, 1, &one, &d));
    expect_told("UTILextract_vector", UTILextract_vector(1, &one, arrays, -1, 1, &one, &d));
    expect_told("UTILthreshold", UTILthreshold_scalar(1, &d, 6, 0, nullptr, 1, 0, 0, 1, 2, &mask));
    expect_told("UTILclamp", UTILclamp(1, &d, 1, 0, 6, 0, nullptr, 0, 0, 0, 0, &d));
    expect_told("UTILthreshold", UTILthreshold(1, &d, 1, 0, 5, 0, nullptr, 0, 0, 0, 0, &d, 1, 6, 0, &d));
    expect_told("UTILget_param", UTILeval_param(1, 1, 6, &d, 0, nullptr, &one, &one, nullptr, &d));
    // Before anything else is looked at.
    const int zero = 0;
    const float null_sum = 0;
    expect_told("UTILclamp", UTILdownsize(1, &one, &zero, 6, &d, &d));
    expect_told("UTILresample", UTILresample(0, &zero, &zero, 1, -1, &d, &d));
    expect_told("UTILfilter", UTILfilter_1d(1, &null_sum, 0, 65, 6, &d, &d));
    expect_told("UTILinterpolate", UTILinterpolate(0, 0.5, 6, &d, &d, &d));
    expect_told("UTILgen_data", UTILgen_data(0, 1, 0, 6, &d, 0, nullptr, nullptr, 0, 0.0));
    expect_told("UTILleast_squares", UTILleast_squares(0, nullptr, 6, &d, 0, &d));
    expect_told("UTILeval_polynom", UTILeval_polynom(0, &d, 0, &d, &d, -1));
    isohost_set_error_handler(nullptr, nullptr);
    isohost_clear_errors();
}

}  // namespace
