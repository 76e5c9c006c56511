// Gradient, curl and divergence of node data on grids, by differences between neighbouring nodes.
#include <algorithm>
#include <cstddef>

#include "grid_differences.hpp"
#include "mesh_access.hpp"
#include "reports.hpp"
#include "types.hpp"
#include "vectors.hpp"
#include "wide.hpp"

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

// ---- What is made of the differences at four nodes: rows of three, or one value each. f[axis][c] is the
// scaled difference of component c along an axis, g[c][d] its derivative in direction d.

struct Gradient {
    static constexpr int kComponents = 1, kWidth = 3;
    static constexpr char kModule[] = "UTILgrad";

    static FourRows of_axes(const Lanes (*f)[1]) { return {f[0][0], f[1][0], f[2][0]}; }
    static FourRows of_derivatives(const Lanes (*g)[3]) { return {g[0][0], g[0][1], g[0][2]}; }
};

struct Curl {
    static constexpr int kComponents = 3, kWidth = 3;
    static constexpr char kModule[] = "UTILcurl";

    // Component 0 takes no part.
    static FourRows of_axes(const Lanes (*f)[3]) {
        return {f[1][2] - f[2][1], f[2][2] - f[0][1], f[0][2] - f[1][1]};
    }
    static FourRows of_derivatives(const Lanes (*g)[3]) {
        return {g[2][1] - g[1][2], g[0][2] - g[2][0], g[1][0] - g[0][1]};
    }
};

struct Divergence {
    static constexpr int kComponents = 3, kWidth = 1;
    static constexpr char kModule[] = "UTILdiv";

    // The same for both, which are alike on the diagonal.
    static Lanes of_axes(const Lanes (*f)[3]) { return f[0][0] + f[1][1] + f[2][2]; }
    static Lanes of_derivatives(const Lanes (*g)[3]) { return of_axes(g); }
};

void store(const FourRows &rows, float *out) {
    store_rows(rows, out);
}

void store(Lanes values, float *out) {
    store_lanes(values, out);
}

// Writes four(i), what is made at the nodes i to i + 3 of a run, for the whole run.
template <int kWidth, class Four>
void store_run(int count, float *out, Four four) {
    int i = 0;
    for (; i + 4 <= count; i += 4) store(four(i), out + i * kWidth);
    if (i == count) return;
    float rest[4 * kWidth];
    store(four(i), rest);
    std::copy_n(rest, (count - i) * kWidth, out + i * kWidth);
}

std::ptrdiff_t node_of(const int *dims, const Run &run) {
    const std::ptrdiff_t rows = run.k == 0 ? run.j : std::ptrdiff_t{run.k} * dims[1] + run.j;
    return rows * dims[0] + run.first;
}

// The differences at four nodes of a run. Beyond its end stand those of other runs.
template <std::size_t kAxes, std::size_t kComponents>
void load_differences(const RunRow (&runs)[kAxes][kComponents], int i, Lanes (&out)[kAxes][kComponents]) {
    for (std::size_t axis = 0; axis < kAxes; ++axis) {
        for (std::size_t c = 0; c < kComponents; ++c) out[axis][c] = load_lanes(runs[axis][c] + i);
    }
}

// ---- Uniform and rectilinear grids

template <class Operator, int kDim, class Factors, class T>
int derive_regular(const int *dims, int stride, const float *points, const T *data, float *out) {
    const Factors factors(kDim, dims, stride, points);
    if (!factors.usable()) return 0;
    Differences<T, Operator::kComponents, Factors> values(dims, data, factors);
    RunRow differences[3][Operator::kComponents] = {};
    return walk_runs(
        kDim, dims, [&](const Run &run) { values.begin(run); },
        [&](const Run &run) {
            for (int axis = 0; axis < kDim; ++axis) values.take(axis, run, differences[axis]);
            store_run<Operator::kWidth>(run.count, out + node_of(dims, run) * Operator::kWidth, [&](int i) {
                Lanes f[3][Operator::kComponents];
                load_differences(differences, i, f);
                return Operator::of_axes(f);
            });
        });
}

// ---- Structured grids

// The inverse of the metric: inverse[d][r] takes a difference along axis r to direction d. j[r][d] is the
// difference of coordinate d along axis r.
void invert_metric(const Lanes (*j)[3], Lanes (*inverse)[3]) {
    const Lanes r = reciprocal_or_zero(sarrus(j[0], j[1], j[2]));
    inverse[0][0] = (j[1][1] * j[2][2] - j[1][2] * j[2][1]) * r;
    inverse[0][1] = (j[0][2] * j[2][1] - j[0][1] * j[2][2]) * r;
    inverse[0][2] = (j[0][1] * j[1][2] - j[0][2] * j[1][1]) * r;
    inverse[1][0] = (j[1][2] * j[2][0] - j[1][0] * j[2][2]) * r;
    inverse[1][1] = (j[0][0] * j[2][2] - j[0][2] * j[2][0]) * r;
    inverse[1][2] = (j[0][2] * j[1][0] - j[0][0] * j[1][2]) * r;
    inverse[2][0] = (j[1][0] * j[2][1] - j[1][1] * j[2][0]) * r;
    inverse[2][1] = (j[0][1] * j[2][0] - j[0][0] * j[2][1]) * r;
    inverse[2][2] = (j[0][0] * j[1][1] - j[0][1] * j[1][0]) * r;
}

// At four nodes whose metric is j and whose differences are f: the gradient along x and y ...
ISOFIELD_INLINE FourRows derive_in_plane(const Lanes (*j)[2], const Lanes (*f)[1]) {
    const Lanes r = reciprocal_or_zero(j[0][0] * j[1][1] - j[0][1] * j[1][0]);
    return {r * j[1][1] * f[0][0] - r * j[0][1] * f[1][0], -r * j[1][0] * f[0][0] + r * j[0][0] * f[1][0],
            Lanes{}};
}

// ... and what an operator makes in space.
template <class Operator>
ISOFIELD_INLINE auto derive_in_space(const Lanes (*j)[3], const Lanes (*f)[Operator::kComponents]) {
    Lanes inverse[3][3], g[Operator::kComponents][3];
    invert_metric(j, inverse);
    for (int c = 0; c < Operator::kComponents; ++c) {
        for (int d = 0; d < 3; ++d) {
            g[c][d] = inverse[d][0] * f[0][c] + inverse[d][1] * f[1][c] + inverse[d][2] * f[2][c];
        }
    }
    return Operator::of_derivatives(g);
}

template <class Operator, int kDim, auto kDerive, class T>
int derive_structured(const int *dims, int nspace, const float *coords, const T *data, float *out) {
    constexpr int kComponents = Operator::kComponents;
    Differences<float, kDim, IndexFactors> places(dims, coords, {}, nspace);
    Differences<T, kComponents, IndexFactors> values(dims, data, {});
    RunRow metric[kDim][kDim] = {}, differences[kDim][kComponents] = {};
    return walk_runs(
        kDim, dims,
        [&](const Run &run) {
            places.begin(run);
            values.begin(run);
        },
        [&](const Run &run) {
            for (int axis = 0; axis < kDim; ++axis) {
                places.take(axis, run, metric[axis]);
                values.take(axis, run, differences[axis]);
            }
            store_run<Operator::kWidth>(run.count, out + node_of(dims, run) * Operator::kWidth, [&](int i) {
                Lanes j[kDim][kDim], f[kDim][kComponents];
                load_differences(metric, i, j);
                load_differences(differences, i, f);
                return kDerive(j, f);
            });
        });
}

// ---- The members of the type families

template <class Operator>
struct Members {
    template <class T>
    static int structured(const int *dims, const float *coords, const T *data, float *out) {
        return derive_structured<Operator, 3, derive_in_space<Operator>>(dims, 3, coords, data, out);
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
int derive_structured_plane(const int *dims, int nspace, const float *coords, const T *data, float *out) {
    if (nspace < 2) return 0;
    return derive_structured<Gradient, 2, derive_in_plane>(dims, nspace, coords, data, out);
}

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

int clear_nulls(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                const void *null_value, int width, float *out) {
    if (!null_flag) return 1;
    return UTILderiv_null_struct(mesh, data, veclen, dtype, null_value, width, out) != 0;
}

// A 0 of the dispatcher ends the call on structured grids only: kResultCounts.
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
ISOFIELD_DERIVE_PLANE(UTILgrad_struct_2d, derive_structured_plane)
ISOFIELD_DERIVE_PLANE(UTILgrad_unif_2d, derive_uniform_plane)
ISOFIELD_DERIVE_PLANE(UTILgrad_rect_2d, derive_rectilinear_plane)
