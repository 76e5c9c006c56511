// Glyphs: a template shape at every node, turned along the node's vector and sized by its data.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include "lanes.hpp"
#include "mesh_access.hpp"
#include "progress.hpp"
#include "reports.hpp"
#include "types.hpp"
#include "vectors.hpp"

namespace {

using namespace isofield::detail;

constexpr float kNoLength = static_cast<float>(1e-24);  // vectors below it are none
constexpr Vec3 kAlongX = {1, 0, 0};

// ---- Where nodes are

class ListedPositions {
  public:
    ListedPositions(const MeshInfo *mesh, const float *coords)
        : nnodes_(mesh->nnodes), nspace_(mesh->nspace), coords_(coords) {}

    static const float *fetch(MeshInfo *mesh) { return fetch_coords(mesh); }
    int nnodes() const { return nnodes_; }
    Vec3 operator()(int node) const {
        const float *row = coords_ + static_cast<std::ptrdiff_t>(node) * nspace_;
        float xyz[3] = {};
        for (int d = 0; d < nspace_; ++d) xyz[d] = row[d];
        return load_vector(xyz);
    }

  private:
    int nnodes_, nspace_;
    const float *coords_;
};

template <class Axes>
class GridPositions {
  public:
    GridPositions(const MeshInfo *mesh, const float *points)
        : nnodes_(1),
          nspace_(mesh->nspace),
          axes_(mesh->ndim, mesh->dims, mesh->nspace, points),
          split_(mesh->ndim, mesh->dims) {
        for (int d = 0; d < mesh->ndim; ++d) nnodes_ *= mesh->dims[d];
    }

    static const float *fetch(MeshInfo *mesh) { return fetch_points(mesh); }
    int nnodes() const { return nnodes_; }
    Vec3 operator()(int node) const {
        const GridIndex index = split_(node);
        float xyz[3] = {};
        for (int d = 0; d < nspace_; ++d) xyz[d] = axes_(d, index);
        return load_vector(xyz);
    }

  private:
    int nnodes_, nspace_;
    Axes axes_;
    NodeSplitter split_;
};

// ---- The template

// A part of a template's vertices, transformed, as rows of x, of y and of z.
class Shape {
  public:
    static constexpr int kRoom = 1024;

    Shape(int nspace, const float *coords, const float *xform)
        : nspace_(nspace), coords_(coords), xform_(xform) {}

    void load(int first, int count) {
        if (first == first_ && count == count_) return;
        first_ = first;
        count_ = count;
        for (int j = 0; j < count; ++j) {
            float vertex[3] = {};
            const float *row = coords_ + static_cast<std::ptrdiff_t>(first + j) * nspace_;
            for (int d = 0; d < nspace_; ++d) vertex[d] = row[d];
            if (xform_) MATvec3_mat4_multiply(vertex, xform_);
            for (int d = 0; d < 3; ++d) at_[d][j] = vertex[d];
        }
    }

    int count() const { return count_; }

    // Vertices from j on, j being a multiple of 4.
    FourRows four(int j) const {
        return {load_lanes(at_[0] + j), load_lanes(at_[1] + j), load_lanes(at_[2] + j)};
    }

  private:
    int nspace_;
    const float *coords_, *xform_;
    int first_ = -1, count_ = 0;
    alignas(16) float at_[3][kRoom] = {};
};

// ---- Where one glyph's vertices go

struct Orientation {
    Vec3 u, w, n;  // rows: the template's x axis goes to u
};

struct Placement {
    Vec3 position, scale;
    std::optional<Orientation> orientation;
};

// A row vector times the orientation, four at a time.
FourRows turned(const FourRows &g, const Orientation &r) {
    const auto component = [&g](float u, float w, float n) {
        return splat(0) + g.x * splat(u) + g.y * splat(w) + g.z * splat(n);
    };
    return {component(r.u.x, r.w.x, r.n.x), component(r.u.y, r.w.y, r.n.y), component(r.u.z, r.w.z, r.n.z)};
}

template <bool kTurned>
void place_vertices(const Shape &shape, const Placement &to, int nspace, float *out) {
    const Orientation orientation = kTurned ? *to.orientation : Orientation{};
    const int count = shape.count();
    for (int j = 0; j < count; j += 4, out += 4 * nspace) {
        FourRows g = shape.four(j);
        if constexpr (kTurned) g = turned(g, orientation);
        g.x = g.x * splat(to.scale.x) + splat(to.position.x);
        g.y = g.y * splat(to.scale.y) + splat(to.position.y);
        g.z = g.z * splat(to.scale.z) + splat(to.position.z);
        if (nspace == 3 && count - j >= 4) {
            store_rows(g, out);
            continue;
        }
        const Lanes *const components[3] = {&g.x, &g.y, &g.z};
        for (int v = 0; v < std::min(4, count - j); ++v) {
            for (int d = 0; d < nspace; ++d) out[v * nspace + d] = (*components[d])[v];
        }
    }
}

// ---- The operation

// Data of one array at the nodes.
template <class T>
class NodeValues {
  public:
    NodeValues(const T *data, int veclen) : data_(data), veclen_(veclen) {}

    const T *row(int node) const { return data_ + static_cast<std::ptrdiff_t>(node) * veclen_; }
    float first(int node) const { return static_cast<float>(*row(node)); }
    Vec3 vector(int node) const {
        float components[3] = {};
        for (int d = 0; d < veclen_; ++d) components[d] = static_cast<float>(row(node)[d]);
        return load_vector(components);
    }
    // A scalar with its sign, or a vector's length.
    float size(int node) const { return veclen_ == 1 ? first(node) : length(vector(node)); }

  private:
    const T *data_;
    int veclen_;
};

struct Settings {
    int orient, vector_scale, normalize;
    double scale;
    const int *axis_flags;
    const float *node_xform;
    int glyph_nnodes, glyph_nspace;
    const float *glyph_coords, *glyph_xform;
    int out_nspace;
    float *out_coords, *out_data;
};

template <class T>
struct Data {
    int veclen;
    const T *data;
    int null_flag;
    T null_value;
    int scale_veclen, map_veclen;
    const T *scale_data, *map_data;
};

Orientation orientation_along(Vec3 u) {
    Vec3 w = cross(u, {0, 0, 1});
    if (length(w) < kNoLength) w = cross(u, {0, 1, 0});
    w = w / length(w);
    return {u, w, cross(u, w)};
}

template <class T>
class Glyphs {
  public:
    Glyphs(const Data<T> &data, const Settings &settings)
        : data_(data),
          set_(settings),
          vectors_(data.data, data.veclen),
          sizes_(data.scale_data, data.scale_veclen),
          values_(data.map_data, data.map_veclen),
          shape_(settings.glyph_nspace, settings.glyph_coords, settings.glyph_xform),
          out_(settings.out_coords),
          out_data_(settings.out_data) {}

    void stamp(int node, Vec3 at) {
        if (set_.node_xform) {
            float xyz[3] = {at.x, at.y, at.z};
            MATvec3_mat4_multiply(xyz, set_.node_xform);
            at = load_vector(xyz);
        }
        const bool own_value = data_.map_data == data_.data, is_vector = data_.veclen > 1;
        if (data_.null_flag && *vectors_.row(node) == data_.null_value)
            return collapse(at, own_value ? vectors_.first(node) : values_.first(node));
        Vec3 vector = is_vector ? vectors_.vector(node) : Vec3{vectors_.first(node), 0, 0};
        const float value = is_vector ? length(vector) : vector.x;
        const float magnitude = is_vector ? value : std::fabs(value);
        if (magnitude < kNoLength && !set_.normalize)
            return collapse(at, own_value ? value : length(values_.vector(node)));
        Placement to;
        to.position = at;
        to.scale = scale_of(node, value, magnitude, vector);
        if (set_.orient && is_vector) {
            to.orientation = magnitude < kNoLength ? Orientation{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}
                                                   : orientation_along(vector / magnitude);
        }
        place(to, own_value ? value : values_.size(node));
    }

  private:
    // The factors of x, y and z. With normalize and vector_scale `vector` is brought to length 1.
    Vec3 scale_of(int node, float value, float magnitude, Vec3 &vector) const {
        const auto times = [this](float x) {
            return static_cast<float>(static_cast<double>(x) * set_.scale);
        };
        Vec3 factors;
        if (set_.vector_scale) {
            if (set_.normalize) vector = magnitude < kNoLength ? kAlongX : vector / magnitude;
            factors = {times(vector.x), times(vector.y), times(vector.z)};
        } else {
            const float factor = set_.normalize                   ? static_cast<float>(set_.scale)
                                 : data_.scale_data == data_.data ? times(value)
                                                                  : times(sizes_.size(node));
            factors = {factor, factor, factor};
        }
        // Axes without a flag keep the vertex as it is.
        if (!set_.axis_flags[0]) factors.x = 1;
        if (!set_.axis_flags[1]) factors.y = 1;
        if (!set_.axis_flags[2]) factors.z = 1;
        return factors;
    }

    void collapse(Vec3 at, float value) {
        const float xyz[] = {at.x, at.y, at.z};
        for (int j = 0; j < set_.glyph_nnodes; ++j, out_ += set_.out_nspace)
            std::copy_n(xyz, set_.out_nspace, out_);
        write_values(value);
    }

    void place(const Placement &to, float value) {
        for (int first = 0; first < set_.glyph_nnodes; first += Shape::kRoom) {
            shape_.load(first, std::min(set_.glyph_nnodes - first, Shape::kRoom));
            if (to.orientation) {
                place_vertices<true>(shape_, to, set_.out_nspace, out_);
            } else {
                place_vertices<false>(shape_, to, set_.out_nspace, out_);
            }
            out_ += static_cast<std::ptrdiff_t>(shape_.count()) * set_.out_nspace;
        }
        write_values(value);
    }

    void write_values(float value) {
        std::fill_n(out_data_, set_.glyph_nnodes, value);
        out_data_ += set_.glyph_nnodes;
    }

    const Data<T> &data_;
    const Settings &set_;
    NodeValues<T> vectors_, sizes_, values_;
    Shape shape_;
    float *out_, *out_data_;
};

template <class Positions, class T>
int stamp_nodes(MeshInfo *mesh, const Data<T> &data, const Settings &settings) {
    const float *array = Positions::fetch(mesh);
    if (!array) return 0;
    const Positions position(mesh, array);
    Glyphs<T> glyphs(data, settings);
    const StatusRange range(0, 100);
    Poll poll(position.nnodes(), kCellPollPeriod);
    for (int node = 0; node < position.nnodes(); ++node) {
        if (poll.stop(node)) return 0;
        glyphs.stamp(node, position(node));
    }
    poll_status(100);
    return 1;
}

template <class Positions>
int glyph(const char *name, MeshInfo *mesh, int dtype, int veclen, const void *data, int null_flag,
          const void *null_value, int scale_veclen, int map_veclen, const void *scale_data,
          const void *map_data, const Settings &settings) {
    return visit_or_report(dtype, name, [&]<class T>(ElementTag<T>) {
        const auto array = [](const void *values) { return static_cast<const T *>(values); };
        return stamp_nodes<Positions, T>(
            mesh,
            {veclen, array(data), null_flag, load_scalar<T>(null_flag, null_value), scale_veclen, map_veclen,
             array(scale_data), array(map_data)},
            settings);
    });
}

template <class T>
int glyph_listed(MeshInfo *mesh, const Data<T> &data, const Settings &settings) {
    return stamp_nodes<ListedPositions, T>(mesh, data, settings);
}
template <class T>
int glyph_uniform(MeshInfo *mesh, const Data<T> &data, const Settings &settings) {
    return stamp_nodes<GridPositions<UniformAxes>, T>(mesh, data, settings);
}
template <class T>
int glyph_rectilinear(MeshInfo *mesh, const Data<T> &data, const Settings &settings) {
    return stamp_nodes<GridPositions<RectilinearAxes>, T>(mesh, data, settings);
}

}  // namespace

int UTILglyph_func(MeshInfo *mesh, int dtype, int veclen, const void *data, int null_flag,
                   const void *null_value, int scale_veclen, int map_veclen, const void *scale_data,
                   const void *map_data, int orient, int vector_scale, int normalize, double scale,
                   const int *axis_flags, const float *node_xform, int glyph_nnodes, int glyph_nspace,
                   const float *glyph_coords, const float *glyph_xform, int out_nspace, float *out_coords,
                   float *out_data) {
    if (auto method = mesh->field_funcs->glyph_func) {
        return method(mesh, dtype, veclen, data, null_flag, null_value, scale_veclen, map_veclen, scale_data,
                      map_data, orient, vector_scale, normalize, scale, axis_flags, node_xform, glyph_nnodes,
                      glyph_nspace, glyph_coords, glyph_xform, out_nspace, out_coords, out_data);
    }
    return tell("UTILglyph_func: no glyph function found\n");
}

#define ISOFIELD_GLYPH(NAME, POSITIONS)                                                                      \
    int NAME(MeshInfo *mesh, int dtype, int veclen, const void *data, int null_flag, const void *null_value, \
             int scale_veclen, int map_veclen, const void *scale_data, const void *map_data, int orient,     \
             int vector_scale, int normalize, double scale, const int *axis_flags, const float *node_xform,  \
             int glyph_nnodes, int glyph_nspace, const float *glyph_coords, const float *glyph_xform,        \
             int out_nspace, float *out_coords, float *out_data) {                                           \
        return glyph<POSITIONS>(                                                                             \
            #NAME, mesh, dtype, veclen, data, null_flag, null_value, scale_veclen, map_veclen, scale_data,   \
            map_data,                                                                                        \
            {orient, vector_scale, normalize, scale, axis_flags, node_xform, glyph_nnodes, glyph_nspace,     \
             glyph_coords, glyph_xform, out_nspace, out_coords, out_data});                                  \
    }
ISOFIELD_GLYPH(UTILglyph, ListedPositions)
ISOFIELD_GLYPH(UTILglyph_unif, GridPositions<UniformAxes>)
ISOFIELD_GLYPH(UTILglyph_rect, GridPositions<RectilinearAxes>)

#define ISOFIELD_GLYPH_MEMBERS(NAME, FUNCTION)                                                              \
    ISOFIELD_STAMP(NAME, FUNCTION,                                                                          \
                   (MeshInfo * mesh, int veclen, const T *data, int null_flag, V null_value,                \
                    int scale_veclen, int map_veclen, const T *scale_data, const T *map_data, int orient,   \
                    int vector_scale, int normalize, double scale, const int *axis_flags,                   \
                    const float *node_xform, int glyph_nnodes, int glyph_nspace, const float *glyph_coords, \
                    const float *glyph_xform, int out_nspace, float *out_coords, float *out_data),          \
                   (mesh,                                                                                   \
                    {veclen, data, null_flag, static_cast<T>(null_value), scale_veclen, map_veclen,         \
                     scale_data, map_data},                                                                 \
                    {orient, vector_scale, normalize, scale, axis_flags, node_xform, glyph_nnodes,          \
                     glyph_nspace, glyph_coords, glyph_xform, out_nspace, out_coords, out_data}))
ISOFIELD_GLYPH_MEMBERS(UTILglyph, glyph_listed)
ISOFIELD_GLYPH_MEMBERS(UTILglyph_unif, glyph_uniform)
ISOFIELD_GLYPH_MEMBERS(UTILglyph_rect, glyph_rectilinear)
