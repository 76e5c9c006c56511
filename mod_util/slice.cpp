// Slices of uniform and rectilinear grids by a plane: a regular grid on the plane, of one point for each pair
// of grid lines that cross it nearly upright.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "grid_places.hpp"
#include "output_array.hpp"
#include "reports.hpp"
#include "types.hpp"
#include "vectors.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/slice";

using Floats = std::array<float, 3>;

// The grid as rows of 3 components.
struct Grid {
    const int *dims;
    const float *points;
    bool rectilinear;

    RectilinearAxes lines() const { return {3, dims, 3, points}; }
    float lower(std::size_t d) const {
        return rectilinear ? lines().on_axis(static_cast<int>(d), 0) : points[d];
    }
    float upper(std::size_t d) const {
        return rectilinear ? lines().on_axis(static_cast<int>(d), dims[d] - 1) : points[3 + d];
    }
    float spacing(std::size_t d) const {
        if (dims[d] < 2) return 0;
        return static_cast<float>((double{upper(d)} - double{lower(d)}) / (dims[d] - 1));
    }
};

// The axis that the plane's normal is nearest to, and the other two.
struct Axes {
    std::size_t along, u, v;

    explicit Axes(const float *normal) : along(0) {
        for (std::size_t d = 1; d < 3; ++d) {
            if (std::fabs(double{normal[d]}) > std::fabs(double{normal[along]})) along = d;
        }
        u = (along + 1) % 3;
        v = (along + 2) % 3;
    }
};

// The corner of the slice, and its edges along u and v.
struct Frame {
    Vec3 corner, edge_u, edge_v;

    Frame(const Grid &grid, const Axes &axes, const float *normal, float dist) {
        const auto on_plane = [&](float at_u, float at_v) {
            Floats p;
            p[axes.u] = at_u;
            p[axes.v] = at_v;
            p[axes.along] = (dist - normal[axes.u] * at_u - normal[axes.v] * at_v) / normal[axes.along];
            return load_vector(p.data());
        };
        const float u = grid.lower(axes.u), v = grid.lower(axes.v);
        corner = on_plane(u, v);
        edge_u = on_plane(grid.upper(axes.u), v) - corner;
        edge_v = on_plane(u, grid.upper(axes.v)) - corner;
    }

    void write(float *matrix) const {
        constexpr double kNoLength = 1e-32;
        Vec3 normal = cross(edge_u, edge_v);
        const double size = std::sqrt(static_cast<double>(dot(normal, normal)));
        if (size > kNoLength) normal = normal / static_cast<float>(size);
        MATmat4_translate(matrix, corner.x, corner.y, corner.z);
        for (const Vec3 &row : {edge_u, edge_v, normal}) {
            matrix[0] = row.x;
            matrix[1] = row.y;
            matrix[2] = row.z;
            matrix += 4;
        }
    }
};

// Where pairs of grid lines meet the plane: a run along u, as intervals along the third axis and the places
// in them.
constexpr int kRun = 256;
struct Run {
    int interval[kRun];  // -1 outside the grid
    float weight[kRun];
};

// In steps of the grid from its lower side.
class UniformPlaces {
  public:
    UniformPlaces(const Grid &grid, const Axes &axes, const Frame &frame, const float *normal, float)
        : last_(grid.dims[axes.along] - 1) {
        const float spacing = grid.spacing(axes.along), across = normal[axes.along] * spacing;
        const Floats corner = {frame.corner.x, frame.corner.y, frame.corner.z};
        start_ = (corner[axes.along] - grid.lower(axes.along)) / spacing;
        step_u_ = normal[axes.u] * grid.spacing(axes.u) / across;
        step_v_ = normal[axes.v] * grid.spacing(axes.v) / across;
    }

    void start_row(int j) { place_ = start_ - static_cast<float>(j) * step_v_; }

    // Runs come one after the other.
    void find(int, int count, Run &run) {
        float place[kRun];
        for (int i = 0; i < count; ++i, place_ -= step_u_) place[i] = place_;
        const float last = static_cast<float>(last_);
        for (int i = 0; i < count; ++i) {
            const float p = place[i];
            const bool inside = (p >= 0) & (p <= last);
            const int whole = static_cast<int>(inside ? p : 0.0f), base = std::min(whole, last_ - 1);
            run.interval[i] = inside ? base : -1;
            run.weight[i] = whole > base ? 1.0f : p - static_cast<float>(base);
        }
    }

  private:
    int last_;
    float start_, step_u_, step_v_;
    float place_ = 0;
};

// In space.
class RectilinearPlaces {
  public:
    RectilinearPlaces(const Grid &grid, const Axes &axes, const Frame &, const float *normal, float dist)
        : lines_(grid.lines()),
          axes_(axes),
          last_(grid.dims[axes.along] - 2),
          start_(dist / normal[axes.along]),
          factor_u_(normal[axes.u] / normal[axes.along]),
          factor_v_(normal[axes.v] / normal[axes.along]) {
        for (int k = 0; k <= last_; ++k) increasing_ = increasing_ && across(k) < across(k + 1);
    }

    void start_row(int j) { row_ = start_ - factor_v_ * line(axes_.v, j); }

    void find(int first, int count, Run &run) {
        for (int i = 0; i < count; ++i) {
            const float p = row_ - factor_u_ * line(axes_.u, first + i);
            const int k = interval_of(p);
            const bool inside = holds(k, p);
            run.interval[i] = inside ? k : -1;
            run.weight[i] = inside ? (p - across(k)) / (across(k + 1) - across(k)) : 0.0f;
        }
    }

  private:
    float line(std::size_t d, int i) const { return lines_.on_axis(static_cast<int>(d), i); }
    float across(int k) const { return line(axes_.along, k); }
    // The first interval that holds p, where one does; sought from the last point's where lines increase.
    int interval_of(float p) {
        int k = 0;
        if (increasing_) {
            k = near_ = interval_near([this](int line) { return across(line); }, last_, near_, p);
        } else {
            while (k < last_ && !holds(k, p)) ++k;
        }
        return k;
    }
    bool holds(int k, float p) const { return across(k) <= p && p <= across(k + 1); }

    RectilinearAxes lines_;
    Axes axes_;
    int last_;  // interval
    bool increasing_ = true;
    int near_ = 0;
    float start_, factor_u_, factor_v_;
    float row_ = 0;
};

struct Results {
    float **out_points;
    int **min_node, **max_node;
    float **weights;
    unsigned char **flags;
};

// The slice's own coordinates: the corners of a unit square, or the grid lines within it.
void write_points(const Grid &grid, const Axes &axes, int n, float *out) {
    const auto columns = static_cast<std::size_t>(n);
    if (!grid.rectilinear) {
        std::fill_n(out, columns, 0.0f);
        std::fill_n(out + columns, columns, 1.0f);
        return;
    }
    const RectilinearAxes lines = grid.lines();
    for (const std::size_t group : {0, 1}) {
        const std::size_t d = group == 0 ? axes.u : axes.v;
        const float lo = grid.lower(d), hi = grid.upper(d);
        for (int i = 0; i < grid.dims[d]; ++i, out += n) {
            std::fill_n(out, columns, 0.0f);
            out[group] = grid.dims[d] < 2 ? 0.0f : (lines.on_axis(static_cast<int>(d), i) - lo) / (hi - lo);
        }
    }
}

template <class Places>
int find_pairs(const Grid &grid, const Axes &axes, Places places, const Results &out) {
    const int *dims = grid.dims;
    const std::array<int, 3> stride = {1, dims[0], dims[0] * dims[1]};
    const int nu = dims[axes.u], nv = dims[axes.v], along = stride[axes.along], across = stride[axes.u];
    int *min_node = *out.min_node, *max_node = *out.max_node;
    float *weight = *out.weights;
    unsigned char *flag = *out.flags;
    int inside = 0;
    for (int j = 0; j < nv; ++j) {
        places.start_row(j);
        for (int first = 0; first < nu; first += kRun) {
            const int count = std::min(kRun, nu - first), foot = j * stride[axes.v] + first * across;
            Run run;
            places.find(first, count, run);
            int held = 0;
            for (int i = 0; i < count; ++i) {
                const int interval = run.interval[i], lower = foot + i * across + interval * along;
                min_node[i] = interval >= 0 ? lower : -1;
                max_node[i] = interval >= 0 ? lower + along : -1;
                flag[i] = interval >= 0 ? 1 : 0;
                held += interval >= 0 ? 1 : 0;
            }
            for (int i = 0; i < count; ++i) {
                if (held == count || run.interval[i] >= 0) weight[i] = run.weight[i];
            }
            inside += held;
            min_node += count;
            max_node += count;
            weight += count;
            flag += count;
        }
    }
    return inside;
}

template <class Places>
int slice(const Grid &grid, const float *normal, double distance, int *out_dims, int n, float *matrix,
          const Results &out) {
    *out.out_points = *out.weights = nullptr;
    *out.min_node = *out.max_node = nullptr;
    *out.flags = nullptr;
    const Axes axes(normal);
    const float dist = static_cast<float>(distance);
    if (!(std::fabs(normal[axes.along]) > 0) || grid.dims[axes.along] < 2) return 0;
    const int nu = out_dims[0] = grid.dims[axes.u], nv = out_dims[1] = grid.dims[axes.v];
    const Frame frame(grid, axes, normal, dist);
    frame.write(matrix);
    const std::int64_t rows = grid.rectilinear ? std::int64_t{nu} + nv : 2, npoints = std::int64_t{nu} * nv;
    const auto allocate = []<class T>(T **array, std::int64_t count) {
        return (*array = allocate_array<T>(count, kUnit)) != nullptr;
    };
    if (!allocate(out.out_points, rows * n) || !allocate(out.min_node, npoints) ||
        !allocate(out.max_node, npoints) || !allocate(out.weights, npoints) || !allocate(out.flags, npoints))
        return 0;
    write_points(grid, axes, n, *out.out_points);
    return find_pairs(grid, axes, Places(grid, axes, frame, normal, dist), out);
}

}  // namespace

int UTILrslice(MeshInfo *mesh, const int *dims, const float *points, const float *normal, double dist,
               int *out_dims, float **out_points, int n, float *matrix, int **min_node, int **max_node,
               float **weights, unsigned char **flags) {
    if (auto method = mesh->field_funcs->rslice_func) {
        return method(dims, points, normal, static_cast<double>(static_cast<float>(dist)), out_dims,
                      out_points, n, matrix, min_node, max_node, weights, flags);
    }
    return tell("UTILrslice_func: no rslice function found\n");
}

int UTILrslice_unif(const int *dims, const float *points, const float *normal, double dist, int *out_dims,
                    float **out_points, int n, float *matrix, int **min_node, int **max_node, float **weights,
                    unsigned char **flags) {
    return slice<UniformPlaces>({dims, points, false}, normal, dist, out_dims, n, matrix,
                                {out_points, min_node, max_node, weights, flags});
}

int UTILrslice_rect(const int *dims, const float *points, const float *normal, double dist, int *out_dims,
                    float **out_points, int n, float *matrix, int **min_node, int **max_node, float **weights,
                    unsigned char **flags) {
    return slice<RectilinearPlaces>({dims, points, true}, normal, dist, out_dims, n, matrix,
                                    {out_points, min_node, max_node, weights, flags});
}
