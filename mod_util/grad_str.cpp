// Gradient, curl and divergence of node data on grids, by differences between neighbouring nodes.
#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "grid_differences.hpp"
#include "mesh_access.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

// ---- Factors of the regular grids

// The reciprocal of the step, and half of it inside.
class UniformFactors {
  public:
    UniformFactors(int ndim, const int *dims, int stride, const float *points) {
        for (int d = 0; d < ndim && usable_; ++d) {
            usable_ = dims[d] >= 2;
            if (usable_) step_[d] = (points[stride + d] - points[d]) / static_cast<float>(dims[d] - 1);
        }
        for (int d = 0; d < ndim && usable_; ++d) {
            usable_ = step_[d] != 0;
            at_edge_[d] = 1.0f / step_[d];
            inside_[d] = static_cast<float>(static_cast<double>(at_edge_[d]) * 0.5);
        }
    }

    bool usable() const { return usable_; }
    float of(int axis, const Stencil &at) const { return at.inside ? inside_[axis] : at_edge_[axis]; }

  private:
    bool usable_ = true;
    float step_[3] = {}, at_edge_[3] = {}, inside_[3] = {};
};

// Made from the distance between the grid lines that a difference reaches over: its reciprocal, or in two
// dimensions the distance itself.
class RectilinearFactors {
  public:
    RectilinearFactors(int ndim, const int *dims, int stride, const float *points)
        : dims_(dims), stride_(stride), points_(points), ndim_(ndim) {}

    static constexpr bool usable() { return true; }
    float of(int axis, const Stencil &at) const {
        if (at.plus == at.minus) return 0;
        const float distance = line(axis, at.plus) - line(axis, at.minus);
        return ndim_ == 2 ? distance : 1.0f / distance;
    }

  private:
    float line(int axis, int p) const {
        const std::ptrdiff_t first = axis == 0   ? 0
                                     : axis == 1 ? dims_[0]
                                                 : std::ptrdiff_t{dims_[0]} + dims_[1];
        return points_[(first + p) * stride_ + axis];
    }

    const int *dims_;
    int stride_;
    const float *points_;
    int ndim_;
};

// ---- What is made of differences along a run: rows of three, or one value. f[axis] holds the scaled
// differences of the components.

constexpr int kAxes = 3;

struct Gradient {
    static constexpr int kComponents = 1, kWidth = 3;
    static constexpr char kModule[] = "UTILgrad";

    // Of regular grids.
    static void of_axes(const RunRow (*f)[1], int count, float *out) {
        store_run(f[0][0], f[1][0], f[2][0], count, out);
    }
    // From the derivatives g[c][d] of component c in direction d.
    static void of_derivatives(const RunRow (*g)[3], int count, float *out) {
        store_run(g[0][0], g[0][1], g[0][2], count, out);
    }
};

void subtract(const RunRow &a, const RunRow &b, int count, RunRow &out) {
    for (int i = 0; i < count; ++i) out[i] = a[i] - b[i];
}

struct Curl {
    static constexpr int kComponents = 3, kWidth = 3;
    static constexpr char kModule[] = "UTILcurl";

    // Component 0 takes no part.
    static void of_axes(const RunRow (*f)[3], int count, float *out) {
        RunRow x, y, z;
        subtract(f[1][2], f[2][1], count, x);
        subtract(f[2][2], f[0][1], count, y);
        subtract(f[0][2], f[1][1], count, z);
        store_run(x, y, z, count, out);
    }
    static void of_derivatives(const RunRow (*g)[3], int count, float *out) {
        RunRow x, y, z;
        subtract(g[2][1], g[1][2], count, x);
        subtract(g[0][2], g[2][0], count, y);
        subtract(g[1][0], g[0][1], count, z);
        store_run(x, y, z, count, out);
    }
};

struct Divergence {
    static constexpr int kComponents = 3, kWidth = 1;
    static constexpr char kModule[] = "UTILdiv";

    // The same for both: f[axis][component] and g[component][direction] are alike on the diagonal.
    static void of_axes(const RunRow (*f)[3], int count, float *out) {
        for (int i = 0; i < count; ++i) out[i] = f[0][0][i] + f[1][1][i] + f[2][2][i];
    }
    static void of_derivatives(const RunRow (*g)[3], int count, float *out) { of_axes(g, count, out); }
};

std::ptrdiff_t node_of(const int *dims, const Run &run) {
    const std::ptrdiff_t rows = run.k == 0 ? run.j : std::ptrdiff_t{run.k} * dims[1] + run.j;
    return rows * dims[0] + run.first;
}

// ---- Uniform and rectilinear grids

template <class Operator, int kDim, class Factors, class T>
int derive_regular(const int *dims, int stride, const float *points, const T *data, float *out) {
    const Factors factors(kDim, dims, stride, points);
    if (!factors.usable()) return 0;
    Differences<T, Operator::kComponents, Factors> values(dims, data, factors);
    RunRow f[kAxes][Operator::kComponents] = {};
    return walk_runs(
        kDim, dims, [&](const Run &run) { values.begin(run); },
        [&](const Run &run) {
            for (int axis = 0; axis < kDim; ++axis) values.take(axis, run, f[axis]);
            Operator::of_axes(f, run.count, out + node_of(dims, run) * Operator::kWidth);
        });
}

// ---- Structured grids

// The inverses of the metric along a run: inverse[d][r] takes a difference along axis r to direction d.
// j[r][d] is the difference of coordinate d along axis r.
void invert_metric(const RunRow (*j)[3], int count, RunRow (*inverse)[3]) {
    for (int i = 0; i < count; ++i) {
        const float j00 = j[0][0][i], j01 = j[0][1][i], j02 = j[0][2][i];
        const float j10 = j[1][0][i], j11 = j[1][1][i], j12 = j[1][2][i];
        const float j20 = j[2][0][i], j21 = j[2][1][i], j22 = j[2][2][i];
        const float det = j00 * j11 * j22 + j01 * j12 * j20 + j02 * j10 * j21 - j02 * j11 * j20 -
                          j01 * j10 * j22 - j00 * j12 * j21;
        const float divisor = det == 0 ? 1.0f : det;
        const float r = det == 0 ? det : 1.0f / divisor;
        inverse[0][0][i] = (j11 * j22 - j12 * j21) * r;
        inverse[0][1][i] = (j02 * j21 - j01 * j22) * r;
        inverse[0][2][i] = (j01 * j12 - j02 * j11) * r;
        inverse[1][0][i] = (j12 * j20 - j10 * j22) * r;
        inverse[1][1][i] = (j00 * j22 - j02 * j20) * r;
        inverse[1][2][i] = (j02 * j10 - j00 * j12) * r;
        inverse[2][0][i] = (j10 * j21 - j11 * j20) * r;
        inverse[2][1][i] = (j01 * j20 - j00 * j21) * r;
        inverse[2][2][i] = (j00 * j11 - j01 * j10) * r;
    }
}

void combine(const RunRow (&inverse)[3], const RunRow &x, const RunRow &y, const RunRow &z, int count,
             RunRow &out) {
    for (int i = 0; i < count; ++i)
        out[i] = inverse[0][i] * x[i] + inverse[1][i] * y[i] + inverse[2][i] * z[i];
}

template <class Operator, class T>
int derive_structured(const int *dims, const float *coords, const T *data, float *out) {
    constexpr int kComponents = Operator::kComponents;
    Differences<float, 3, IndexFactors> places(dims, coords, {});
    Differences<T, kComponents, IndexFactors> values(dims, data, {});
    return walk_runs(
        3, dims,
        [&](const Run &run) {
            places.begin(run);
            values.begin(run);
        },
        [&](const Run &run) {
            RunRow metric[kAxes][3], inverse[kAxes][3], f[kAxes][kComponents], g[kComponents][3];
            for (int axis = 0; axis < kAxes; ++axis) {
                places.take(axis, run, metric[axis]);
                values.take(axis, run, f[axis]);
            }
            invert_metric(metric, run.count, inverse);
            for (int c = 0; c < kComponents; ++c) {
                for (int d = 0; d < 3; ++d)
                    combine(inverse[d], f[0][c], f[1][c], f[2][c], run.count, g[c][d]);
            }
            Operator::of_derivatives(g, run.count, out + node_of(dims, run) * Operator::kWidth);
        });
}

// The gradient along x and y.
void combine_plane(const RunRow (*j)[2], const RunRow (*f)[1], int count, RunRow &x, RunRow &y) {
    for (int i = 0; i < count; ++i) {
        const float j00 = j[0][0][i], j01 = j[0][1][i], j10 = j[1][0][i], j11 = j[1][1][i];
        const float det = j00 * j11 - j01 * j10;
        const float divisor = det == 0 ? 1.0f : det;
        const float r = det == 0 ? det : 1.0f / divisor;
        x[i] = r * j11 * f[0][0][i] - r * j01 * f[1][0][i];
        y[i] = -r * j10 * f[0][0][i] + r * j00 * f[1][0][i];
    }
}

template <class T>
int derive_plane(const int *dims, int nspace, const float *coords, const T *data, float *out) {
    if (nspace < 2) return 0;
    Differences<float, 2, IndexFactors> places(dims, coords, {}, nspace);
    Differences<T, 1, IndexFactors> values(dims, data, {});
    const RunRow zeros = {};
    return walk_runs(
        2, dims,
        [&](const Run &run) {
            places.begin(run);
            values.begin(run);
        },
        [&](const Run &run) {
            RunRow metric[2][2], f[2][1], x, y;
            for (int axis = 0; axis < 2; ++axis) {
                places.take(axis, run, metric[axis]);
                values.take(axis, run, f[axis]);
            }
            combine_plane(metric, f, run.count, x, y);
            store_run(x, y, zeros, run.count, out + node_of(dims, run) * 3);
        });
}

// ---- The members of the type families

template <class Operator>
struct Members {
    template <class T>
    static int structured(const int *dims, const float *coords, const T *data, float *out) {
        return derive_structured<Operator>(dims, coords, data, out);
    }
    template <class T>
    static int uniform(const int *dims, const float *points, const T *data, float *out) {
        return derive_regular<Operator, 3, UniformFactors>(dims, 3, points, data, out);
    }
    template <class T>
    static int rectilinear(const int *dims, const float *points, const T *data, float *out) {
        return derive_regular<Operator, 3, RectilinearFactors>(dims, 3, points, data, out);
    }
};

template <class T>
int derive_uniform_plane(const int *dims, int nspace, const float *points, const T *data, float *out) {
    return derive_regular<Gradient, 2, UniformFactors>(dims, nspace, points, data, out);
}

template <class T>
int derive_rectilinear_plane(const int *dims, int nspace, const float *points, const T *data, float *out) {
    return derive_regular<Gradient, 2, RectilinearFactors>(dims, nspace, points, data, out);
}

// ---- Front ends

// What a mesh kind has: the fetch of its places, and the dispatcher by dimensions.
struct OfStructured {
    static const float *fetch(MeshInfo *mesh) { return fetch_coords(mesh); }
    static constexpr bool kResultCounts = true;
    static constexpr auto kGradient2d = UTILgrad_struct_2d;
    static constexpr auto kGradient = UTILgrad_struct_3d;
    static constexpr auto kCurl = UTILcurl_struct_3d;
    static constexpr auto kDivergence = UTILdiv_struct_3d;
};

struct OfUniform {
    static const float *fetch(MeshInfo *mesh) { return fetch_points(mesh); }
    static constexpr bool kResultCounts = false;
    static constexpr auto kGradient2d = UTILgrad_unif_2d;
    static constexpr auto kGradient = UTILgrad_unif_3d;
    static constexpr auto kCurl = UTILcurl_unif_3d;
    static constexpr auto kDivergence = UTILdiv_unif_3d;
};

struct OfRectilinear {
    static const float *fetch(MeshInfo *mesh) { return fetch_points(mesh); }
    static constexpr bool kResultCounts = false;
    static constexpr auto kGradient2d = UTILgrad_rect_2d;
    static constexpr auto kGradient = UTILgrad_rect_3d;
    static constexpr auto kCurl = UTILcurl_rect_3d;
    static constexpr auto kDivergence = UTILdiv_rect_3d;
};

int refuse(const char *module, const char *text) {
    ERRerror(module, 1, 2, text);
    return 0;
}

int clear_nulls(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                const void *null_value, int width, float *out) {
    if (!null_flag) return 1;
    return UTILderiv_null_struct(mesh, data, veclen, dtype, null_value, width, out) != 0;
}

// Whether the dispatcher's result counts differs between the kinds.
template <class Kind>
int gradient(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag, const void *null_value,
             float *out) {
    if (veclen > 1) return refuse(Gradient::kModule, "veclen must be 1");
    const float *places = Kind::fetch(mesh);
    if (!places) return 0;
    if (mesh->ndim < 2) return refuse(Gradient::kModule, "no grad function for ndim=1");
    const int done = mesh->ndim == 2 ? Kind::kGradient2d(mesh->dims, mesh->nspace, places, data, dtype, out)
                                     : Kind::kGradient(mesh->dims, places, data, dtype, out);
    if (Kind::kResultCounts && !done) return 0;
    return clear_nulls(mesh, data, veclen, dtype, null_flag, null_value, Gradient::kWidth, out);
}

template <class Operator, class Kind, class Dispatcher>
int derive_vectors(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                   const void *null_value, float *out, Dispatcher dispatcher, const char *no_function) {
    if (veclen != 3) return refuse(Operator::kModule, "veclen must be 3");
    if (mesh->ndim < 3) return refuse(Operator::kModule, no_function);
    const float *places = Kind::fetch(mesh);
    if (!places) return 0;
    dispatcher(mesh->dims, places, data, dtype, out);
    return clear_nulls(mesh, data, veclen, dtype, null_flag, null_value, Operator::kWidth, out);
}

}  // namespace

#define ISOFIELD_FRONT_ENDS(SUFFIX, KIND)                                                              \
    int UTILgrad_##SUFFIX(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,      \
                          const void *null_value, float *out) {                                        \
        return gradient<KIND>(mesh, data, veclen, dtype, null_flag, null_value, out);                  \
    }                                                                                                  \
    int UTILcurl_##SUFFIX(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,      \
                          const void *null_value, float *out) {                                        \
        return derive_vectors<Curl, KIND>(mesh, data, veclen, dtype, null_flag, null_value, out,       \
                                          KIND::kCurl, "no curl function for ndim=2");                 \
    }                                                                                                  \
    int UTILdiv_##SUFFIX(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,       \
                         const void *null_value, float *out) {                                         \
        return derive_vectors<Divergence, KIND>(mesh, data, veclen, dtype, null_flag, null_value, out, \
                                                KIND::kDivergence, "no div function for ndim=2");      \
    }

ISOFIELD_FRONT_ENDS(struct, OfStructured)
ISOFIELD_FRONT_ENDS(unif, OfUniform)
ISOFIELD_FRONT_ENDS(rect, OfRectilinear)

// ---- Dispatchers and their members

#define ISOFIELD_DERIVE(NAME, OPERATOR, FUNCTION)                                                   \
    int NAME(const int *dims, const float *places, const void *data, int dtype, float *out) {       \
        return visit_or_report(dtype, OPERATOR::kModule, [&]<class T>(ElementTag<T>) {              \
            return Members<OPERATOR>::FUNCTION<T>(dims, places, static_cast<const T *>(data), out); \
        });                                                                                         \
    }                                                                                               \
    ISOFIELD_STAMP(NAME, Members<OPERATOR>::FUNCTION,                                               \
                   (const int *dims, const float *places, const T *data, float *out),               \
                   (dims, places, data, out))

#define ISOFIELD_DERIVE_PLANE(NAME, FUNCTION)                                                             \
    int NAME(const int *dims, int nspace, const float *places, const void *data, int dtype, float *out) { \
        return visit_or_report(dtype, Gradient::kModule, [&]<class T>(ElementTag<T>) {                    \
            return FUNCTION<T>(dims, nspace, places, static_cast<const T *>(data), out);                  \
        });                                                                                               \
    }                                                                                                     \
    ISOFIELD_STAMP(NAME, FUNCTION,                                                                        \
                   (const int *dims, int nspace, const float *places, const T *data, float *out),         \
                   (dims, nspace, places, data, out))

ISOFIELD_DERIVE(UTILgrad_struct_3d, Gradient, structured)
ISOFIELD_DERIVE(UTILgrad_unif_3d, Gradient, uniform)
ISOFIELD_DERIVE(UTILgrad_rect_3d, Gradient, rectilinear)
ISOFIELD_DERIVE(UTILcurl_struct_3d, Curl, structured)
ISOFIELD_DERIVE(UTILcurl_unif_3d, Curl, uniform)
ISOFIELD_DERIVE(UTILcurl_rect_3d, Curl, rectilinear)
ISOFIELD_DERIVE(UTILdiv_struct_3d, Divergence, structured)
ISOFIELD_DERIVE(UTILdiv_unif_3d, Divergence, uniform)
ISOFIELD_DERIVE(UTILdiv_rect_3d, Divergence, rectilinear)
ISOFIELD_DERIVE_PLANE(UTILgrad_struct_2d, derive_plane)
ISOFIELD_DERIVE_PLANE(UTILgrad_unif_2d, derive_uniform_plane)
ISOFIELD_DERIVE_PLANE(UTILgrad_rect_2d, derive_rectilinear_plane)
