// Gradient, curl and divergence on grids: the plain triple loop to the last bit, and the oddities by hand.
#include <gtest/gtest.h>

#include "support.hpp"

namespace {

constexpr float kUntouched = -77;
using Floats = std::vector<float>;

enum { kStruct, kUnif, kRect };
enum { kGrad, kCurl, kDiv };

template <class T>
using Box = int (*)(const int *dims, const float *places, const T *data, float *out);
template <class T>
using Plane = int (*)(const int *dims, int nspace, const float *places, const T *data, float *out);
template <class T>
struct Members;
#define ISOFIELD_MEMBERS(suffix, T, V)                                                               \
    template <>                                                                                      \
    struct Members<T> {                                                                              \
        static constexpr Plane<T> plane[] = {UTILgrad_struct_2d_##suffix, UTILgrad_unif_2d_##suffix, \
                                             UTILgrad_rect_2d_##suffix};                             \
        static constexpr Box<T> box[][3] = {                                                         \
            {UTILgrad_struct_3d_##suffix, UTILcurl_struct_3d_##suffix, UTILdiv_struct_3d_##suffix},  \
            {UTILgrad_unif_3d_##suffix, UTILcurl_unif_3d_##suffix, UTILdiv_unif_3d_##suffix},        \
            {UTILgrad_rect_3d_##suffix, UTILcurl_rect_3d_##suffix, UTILdiv_rect_3d_##suffix}};       \
    };
ISOFIELD_FAMILY(ISOFIELD_MEMBERS)
#undef ISOFIELD_MEMBERS

template <class T>
int run(int kind, int op, const std::vector<int> &dims, int nspace, const float *places,
        const std::vector<T> &data, float *out) {
    using M = Members<T>;
    return dims.size() == 2 ? M::plane[kind](dims.data(), nspace, places, data.data(), out)
                            : M::box[kind][op](dims.data(), places, data.data(), out);
}

template <class T>
float scaled(T plus, T minus, float factor) {
    if constexpr (std::is_same_v<T, double>)
        return static_cast<float>(double{factor} * (plus - minus));
    else if constexpr (std::is_same_v<T, float>)
        return factor * (plus - minus);
    else
        return factor * static_cast<float>(
                            static_cast<int>(static_cast<unsigned>(plus) - static_cast<unsigned>(minus)));
}

// A grid's arrays, and the operators on them node by node. `places` are coordinates or points.
template <class T>
struct PlainGrid {
    int kind;
    std::vector<int> dims;
    int nspace;
    Floats places;
    std::vector<T> data;

    int ndim() const { return static_cast<int>(dims.size()); }
    int nnodes() const { return dims[0] * dims[1] * (ndim() == 3 ? dims[2] : 1); }

    bool refused() const {
        bool is = false;
        for (int d = 0; d < ndim(); ++d) is |= dims[d] < 2 || places[nspace + d] == places[d];
        return is && kind == kUnif;
    }

    // Differences of data, and on structured grids of coordinates, along one axis.
    void differences(const int *at, int axis, int veclen, float *of_data, float *of_places) const {
        const int last = dims[axis] - 1, p = at[axis], plus = std::min(p + 1, last),
                  minus = std::max(p - 1, 0);
        const bool inside = p > 0 && p < last;
        int lo = 0, hi = 0, row = 0;
        for (int d = ndim() - 1; d >= 0; --d) {
            lo = lo * dims[d] + (d == axis ? minus : at[d]);
            hi = hi * dims[d] + (d == axis ? plus : at[d]);
            row += d < axis ? dims[d] : 0;
        }
        float factor = inside ? 0.5f : 1;
        if (kind == kUnif) {
            const float step = (places[nspace + axis] - places[axis]) / static_cast<float>(last);
            const auto per_step = static_cast<float>(1.0 / step);
            factor = inside ? static_cast<float>(per_step * 0.5) : per_step;
        } else if (kind == kRect) {
            const float spacing =
                places[nspace * (row + plus) + axis] - places[nspace * (row + minus) + axis];
            factor = ndim() == 2 ? spacing : last == 0 ? 0 : static_cast<float>(1.0 / spacing);
        }
        for (int c = 0; c < veclen; ++c)
            of_data[c] = scaled(data[veclen * hi + c], data[veclen * lo + c], factor);
        for (int c = 0; c < ndim() && kind == kStruct; ++c)
            of_places[c] = scaled(places[nspace * hi + c], places[nspace * lo + c], factor);
    }

    // Derivatives along the axes, g[axis][component], to those along x, y, z.
    void through_metric(const float (&j)[3][3], float (&g)[3][3]) const {
        const int n = ndim();
        const float det = n == 2 ? j[0][0] * j[1][1] - j[0][1] * j[1][0]
                                 : j[0][0] * j[1][1] * j[2][2] + j[0][1] * j[1][2] * j[2][0] +
                                       j[0][2] * j[1][0] * j[2][1] - j[0][2] * j[1][1] * j[2][0] -
                                       j[0][1] * j[1][0] * j[2][2] - j[0][0] * j[1][2] * j[2][1];
        const float r = det == 0 ? det : 1 / det;
        float along[3][3];
        std::copy_n(&g[0][0], 9, &along[0][0]);
        for (int d = 0; d < n; ++d) {
            for (int axis = 0; axis < n; ++axis) {
                const int a = (axis + 1) % 3, b = (axis + 2) % 3, e = (d + 1) % 3, f = (d + 2) % 3;
                const float cofactor = n == 3      ? j[a][e] * j[b][f] - j[a][f] * j[b][e]
                                       : axis == d ? j[1 - axis][1 - d]
                                                   : -j[1 - axis][1 - d];
                for (int c = 0; c < 3; ++c) {
                    const float part = cofactor * r * along[axis][c];
                    g[d][c] = axis == 0 ? part : g[d][c] + part;
                }
            }
        }
    }

    Floats plain(int op) const {
        const int width = op == kDiv ? 1 : 3, veclen = op == kGrad ? 1 : 3;
        Floats out(width * nnodes(), refused() ? kUntouched : 0);
        for (int n = 0; n < nnodes() && !refused(); ++n) {
            const int at[3] = {n % dims[0], n / dims[0] % dims[1], n / dims[0] / dims[1]};
            float g[3][3] = {}, metric[3][3] = {};
            for (int axis = 0; axis < ndim(); ++axis) differences(at, axis, veclen, g[axis], metric[axis]);
            if (kind == kStruct) through_metric(metric, g);
            float *o = &out[width * n];
            if (op == kDiv) {
                o[0] = g[0][0] + g[1][1] + g[2][2];
            } else if (op == kGrad) {
                for (int d = 0; d < 3; ++d) o[d] = g[d][0];
            } else {
                o[0] = g[1][2] - g[2][1];
                o[1] = kind == kStruct ? g[2][0] - g[0][2] : g[2][2] - g[0][1];
                o[2] = kind == kStruct ? g[0][1] - g[1][0] : g[0][2] - g[1][1];
            }
        }
        return out;
    }
};

template <class T>
class GridDerivativesOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(GridDerivativesOf, AllTypes);

TYPED_TEST(GridDerivativesOf, KernelsAreTheirPlainTwins) {
    using T = TypeParam;
    using Dims = std::vector<int>;
    for (const Dims &dims : {Dims{2, 2, 2},
                             {3, 5, 4},
                             {17, 2, 35},
                             {9, 41, 3},
                             {601, 2, 3},
                             {5, 4, 1},
                             {4, 1, 3},
                             {1, 3, 2},
                             {2, 3},
                             {67, 5},
                             {601, 2},
                             {6, 37},
                             {1, 4},
                             {4, 1}}) {
        for (int variant = 0; variant < 12; ++variant) {
            const int kind = variant % 3, nspace = dims.size() == 3 || variant % 2 ? 3 : 2;
            const unsigned odd = variant < 6 ? 0 : 40;
            PlainGrid<T> grid{kind, dims, nspace, {}, {}};
            grid.data = awkward_values<T>(3 * grid.nnodes(), odd, variant);
            grid.places = awkward_values<float>(nspace * (grid.nnodes() + 1000), odd, 5);
            // Runs of nodes at one place.
            for (int n = 0; n < grid.nnodes(); ++n)
                if (kind == kStruct && n / 7 % 4 == 0) std::fill_n(&grid.places[nspace * n], nspace, 1.0f);
            for (int op = kGrad; op <= (dims.size() == 2 ? kGrad : kDiv); ++op) {
                const Floats plain = grid.plain(op);
                Floats out(plain.size(), kUntouched);
                EXPECT_EQ(run(kind, op, dims, nspace, grid.places.data(), grid.data, out.data()),
                          !grid.refused());
                EXPECT_TRUE(same_bits(one_nan(out), one_nan(plain)))
                    << testing::PrintToString(dims) << variant << op;
            }
        }
    }
}

// ---- Front ends

using Operator = decltype(&UTILgrad);
constexpr Operator kOperators[3] = {UTILgrad, UTILcurl, UTILdiv};
constexpr int kKinds[3] = {kUnif, kRect, kStruct};  // of FourKinds' meshes

// What the kernels make, cleared around nulls.
TEST(GridDerivatives, OfMeshes) {
    const int null = 3;
    for (const std::vector<int> &dims : {std::vector{5, 4, 6}, {7, 5}}) {
        const bool flat = dims.size() == 2;
        const FourKinds grid(dims, flat ? Floats{-1, 0.5f, 1.7f, 2} : Floats{-1, 0.5f, 2, 1.7f, 2, 2.3f});
        for (int n = 0; n < (flat ? 3 : 9); ++n) {
            const int m = n % 3, op = n / 3, width = op == kDiv ? 1 : 3, veclen = op == kGrad ? 1 : 3;
            MeshInfo *const mesh = grid.meshes[m].get();
            const auto data = random_values<int>(veclen * mesh->nnodes, 30, 1);
            Floats out(width * mesh->nnodes), expected = out;
            for (const int flag : {0, 1}) {
                EXPECT_EQ(kOperators[op](mesh, data.data(), veclen, 3, flag, &null, out.data()), 1);
                const float *places = m < 2 ? mesh->points : mesh->coords;
                run(kKinds[m], op, dims, mesh->nspace, places, data, expected.data());
                if (flag) UTILderiv_null_struct(mesh, data.data(), veclen, 3, &null, width, expected.data());
                EXPECT_EQ(out, expected) << m << op << flag;
            }
        }
    }
}

// (x + 2y, 3x + 5z, 7x - 4y + 6z), whose curl is (-9, -7, 1); uniform and rectilinear grids make another.
TEST(GridDerivatives, OfLinearFields) {
    const FourKinds grid({5, 4, 6}, {-1, 0.5f, 2, 1.7f, 2, 2.3f});
    Floats u, field;
    for (std::size_t i = 0; i < grid.coords.size(); i += 3) {
        const float x = grid.coords[i], y = grid.coords[i + 1], z = grid.coords[i + 2];
        u.push_back(2 * x + 3 * y - z);
        for (const float each : {x + 2 * y, 3 * x + 5 * z, 7 * x - 4 * y + 6 * z}) field.push_back(each);
    }
    Floats grad(3 * u.size()), curl(3 * u.size()), div(u.size());
    for (int m = 0; m < 4; ++m) {
        MeshInfo *const mesh = grid.meshes[m].get();
        EXPECT_EQ(UTILgrad(mesh, u.data(), 1, 4, 0, nullptr, grad.data()), 1);
        EXPECT_EQ(UTILcurl(mesh, field.data(), 3, 4, 0, nullptr, curl.data()), 1);
        EXPECT_EQ(UTILdiv(mesh, field.data(), 3, 4, 0, nullptr, div.data()), 1);
        const Point of_grad = {2, 3, -1}, of_curl = m < 2 ? Point{-9, 3, 7} : Point{-9, -7, 1};
        for (std::size_t i = 0; i < grad.size(); ++i) {
            ASSERT_NEAR(grad[i], of_grad[i % 3], 1e-3f) << m;
            ASSERT_NEAR(curl[i], of_curl[i % 3], 1e-3f) << m;
            ASSERT_NEAR(div[i / 3], 7, 1e-3f) << m;
        }
    }
}

TEST(GridDerivatives, AtEdgesAndOfSpacings) {
    const auto along_x = [](auto function, int n, const Floats &points, const Floats &data) {
        const int dims[2] = {n, 2};
        Floats out(6 * n, kUntouched), x;
        function(dims, 2, points.data(), data.data(), 4, out.data());
        for (int i = 0; i < n; ++i) x.push_back(out[3 * i]);
        return x;
    };
    const Floats squares = {0, 1, 4, 9, 16, 0, 1, 4, 9, 16};
    EXPECT_EQ(along_x(UTILgrad_unif_2d, 5, {0, 0, 4, 1}, squares), (Floats{1, 2, 4, 6, 7}));
    EXPECT_EQ(along_x(UTILgrad_unif_2d, 5, {0, 0, 0, 1}, squares), Floats(5, kUntouched)) << "no length";
    // x itself, times the square of the spacing.
    EXPECT_EQ(along_x(UTILgrad_rect_2d, 3, {0, 9, 1, 9, 3, 9, 9, 0, 9, 1}, {0, 1, 3, 0, 1, 3}),
              (Floats{1, 9, 4}));
}

// ---- Refusals and interruption

int refuse_array(MeshInfo *, float **) {
    return 0;
}

TEST(GridDerivatives, Refusals) {
    const FourKinds box({3, 3, 1}, {0, 0, 0, 2, 2, 1}), plane({3, 3}, {0, 0, 2, 2}), line({3}, {0, 2});
    const Floats data(27, 1.0f), untouched(27, kUntouched);
    Floats out = untouched;
    const auto told = [&](MeshInfo *mesh, int op, int veclen, int dtype, int result) {
        isohost_clear_errors();
        EXPECT_EQ(kOperators[op](mesh, data.data(), veclen, dtype, 0, nullptr, out.data()), result);
        EXPECT_EQ(out, untouched);
        return std::string(isohost_errors());
    };
    isohost_quiet_errors(1);
    for (int m = 0; m < 3; ++m) {
        SCOPED_TRACE(m);
        MeshInfo *const mesh = box.meshes[m].get(), *const flat = plane.meshes[m].get();
        EXPECT_EQ(told(mesh, kGrad, 2, 4, 0), "UTILgrad: veclen must be 1\n");
        EXPECT_EQ(told(flat, kCurl, 2, 4, 0), "UTILcurl: veclen must be 3\n") << "before its dimensions";
        EXPECT_EQ(told(flat, kCurl, 3, 4, 0), "UTILcurl: no curl function for ndim=2\n");
        EXPECT_EQ(told(flat, kDiv, 1, 4, 0), "UTILdiv: veclen must be 3\n");
        EXPECT_EQ(told(flat, kDiv, 3, 4, 0), "UTILdiv: no div function for ndim=2\n");
        const char *const op[] = {"UTILgrad", "UTILcurl", "UTILdiv"};
        for (int o = kGrad; o <= kDiv; ++o) {
            EXPECT_EQ(told(mesh, o, o == kGrad ? 1 : 3, 6, m < 2 || o != kGrad),
                      op[o] + std::string(": unknown data type\n"));
        }
        for (int o = kGrad; o <= kDiv && m == 0; ++o) EXPECT_EQ(told(mesh, o, o == kGrad ? 1 : 3, 4, 1), "");
        MeshInfo *const thin = line.meshes[m].get();
        EXPECT_EQ(told(thin, kGrad, 0, 4, 0), "UTILgrad: no grad function for ndim=1\n");
        thin->coords = thin->points = nullptr;
        thin->get_coords = thin->get_points = refuse_array;
        const char *const what = m < 2 ? "points" : "coordinates";
        EXPECT_EQ(told(thin, kGrad, 1, 4, 0), std::string("util: unable to get field ") + what + "\n");
    }
    isohost_clear_errors();
    isohost_quiet_errors(0);
}

// Polls before the planes 7, 15, 23, 31 and 39 of 40.
TEST(GridDerivatives, Interruption) {
    static std::size_t stop_at;
    static std::vector<int> percents;
    const auto poll = [](int percent, const char *, void *) {
        percents.push_back(percent);
        return percents.size() <= stop_at ? 1 : 0;
    };
    const IsohostWatch old = isohost_set_thread_watch({poll, nullptr});
    for (const std::vector<int> &dims : {std::vector{40, 3, 4}, {40, 5}}) {
        const bool flat = dims.size() == 2;
        const FourKinds grid(dims, flat ? Floats{0, 0, 3, 2} : Floats{0, 0, 0, 3, 2, 1});
        const auto data = random_values<short>(3 * 40 * 12, 30, 1);
        for (int n = 0; n < (flat ? 3 : 9); ++n) {
            MeshInfo *const mesh = grid.meshes[n % 3].get();
            const int op = n / 3, width = op == kDiv ? 1 : 3;
            Floats whole(width * mesh->nnodes);
            for (stop_at = 6; stop_at-- > 0;) {
                percents.clear();
                Floats out(whole.size(), kUntouched);
                EXPECT_EQ(kOperators[op](mesh, data.data(), op == kGrad ? 1 : 3, 2, 0, nullptr, out.data()),
                          stop_at == 5 || n % 3 < 2 || op != kGrad);
                if (stop_at == 5) whole = out;
                const std::vector<int> all = {17, 38, 58, 79, 100};
                EXPECT_EQ(percents, std::vector(all.begin(), all.begin() + std::min<int>(stop_at + 1, 5)));
                for (int i = 0; i < width * mesh->nnodes; ++i) {
                    const bool written = stop_at == 5 || i / width % 40 < 8 * static_cast<int>(stop_at) + 7;
                    ASSERT_EQ(out[i], written ? whole[i] : kUntouched) << n << " " << stop_at;
                }
            }
        }
    }
    isohost_set_thread_watch(old);
}

}  // namespace
