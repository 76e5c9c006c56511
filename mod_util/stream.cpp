// Streamlines: the path of a point through a steady vector field, by explicit Runge-Kutta steps whose size
// follows the cells that the path goes through.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "cell_tracker.hpp"
#include "grid_tracker.hpp"
#include "reports.hpp"
#include "vector_rows.hpp"

namespace {

using namespace isofield::detail;

// Components of positions and vectors. Steps take three at most; a line stores its start whatever they are.
constexpr int kMostSteppable = 3;
constexpr int kRoom = 16;

// Steps, measured in parts of a cell.
constexpr double kFirstStep = 0.7;                        // in a cell
constexpr double kLeastStep = 0.01, kLengthening = 10.0;  // a shorter one is followed by one so much longer
constexpr double kLowStep = 0.7, kHighStep = 2.0;         // outside of these the next one is fitted
constexpr float kNoExtent = 1.0e10f;                      // stands for a side of no length

// The vector field of a call.
struct Flow {
    MeshInfo *mesh;
    BlockTable *table;
    VectorRows rows;

    int nspace() const { return mesh->nspace; }
    int veclen() const { return rows.veclen; }
    bool has_methods() const {
        return mesh->field_funcs->find_cell_func && mesh->field_funcs->interp_data_func;
    }
};

struct CellPlace {
    int cell = -1;
    float uvw[3] = {0, 0, 0};
};

// Finds and evaluates by the mesh's methods.
class MethodSampler {
  public:
    explicit MethodSampler(const Flow &flow) : flow_(flow) {}

    bool find(const float *position, CellPlace &at) const {
        float xyz[kRoom] = {};
        std::copy_n(position, flow_.nspace(), xyz);
        return flow_.mesh->field_funcs->find_cell_func(flow_.mesh, flow_.table, xyz, &at.cell, at.uvw) == 1;
    }

    // 1 when it succeeds, 0 when not.
    int evaluate(const CellPlace &at, float *vector) const {
        return flow_.rows.evaluate(flow_.mesh, at.cell, at.uvw, vector);
    }

  private:
    const Flow &flow_;
};

// By a tracker, on meshes whose methods are the library's own.
template <class Tracker>
class TrackingSampler {
  public:
    template <class... Arguments>
    TrackingSampler(int nspace, const Arguments &...arguments) : nspace_(nspace), tracker_(arguments...) {}

    bool find(const float *position, CellPlace &at) {
        float xyz[3] = {};
        for (int d = 0; d < nspace_; ++d) xyz[d] = position[d];
        return tracker_.find(xyz, &at.cell, at.uvw);
    }
    int evaluate(const CellPlace &at, float *vector) { return tracker_.evaluate(at.cell, at.uvw, vector); }

  private:
    int nspace_;
    Tracker tracker_;
};

bool all_finite(const float *values, int count) {
    bool finite = true;
    for (int i = 0; i < count; ++i) finite &= std::isfinite(values[i]);
    return finite;
}

// A few values, without a call.
void copy_few(const float *from, int count, float *to) {
    if (count > 0) to[0] = from[0];
    if (count > 1) to[1] = from[1];
    if (count > 2) to[2] = from[2];
    for (int i = 3; i < count; ++i) to[i] = from[i];
}

// ---- One step

// Steps from `x` with k1 known. Places move in the components that position and vector have in common; the
// others stay.
template <class Sampler>
class Step {
  public:
    Step(Sampler &sampler, int nspace, int veclen, double step, const float *x, const float *k1, float *place)
        : sampler_(sampler),
          nspace_(nspace),
          veclen_(veclen),
          common_(std::min(nspace, veclen)),
          step_(step),
          x_(x),
          k1_(k1),
          place_(place) {}

    // Writes the blend of the stages to `blend`, and the end place. False where a stage fails.
    bool take(int order, float *blend) {
        if (!std::isfinite(step_)) return false;
        float k2[kMostSteppable] = {}, k3[kMostSteppable] = {}, k4[kMostSteppable] = {};
        const float *const x = x_, *const k1 = k1_;
        const double step = step_;
        const float half = static_cast<float>(step * 0.5);
        switch (order) {
            case 1:
                std::copy_n(k1, veclen_, blend);
                break;
            case 2: {
                const float inner = static_cast<float>(0.25 * 3.0 * step);
                if (!stage([=](int i) { return x[i] + inner * k1[i]; }, k2)) return false;
                for (int i = 0; i < veclen_; ++i)
                    blend[i] = static_cast<float>(1.0 / 3.0 * double{k1[i]} + 2.0 / 3.0 * double{k2[i]});
                break;
            }
            case 3: {
                const float far = static_cast<float>(step * 2.0) * 2.0f;
                if (!stage([=](int i) { return x[i] + half * k1[i]; }, k2)) return false;
                const auto third = [=, &k2](int i) {
                    return static_cast<float>(double{x[i] + far * k2[i]} - step * double{k1[i]});
                };
                if (!stage(third, k3)) return false;
                for (int i = 0; i < veclen_; ++i)
                    blend[i] =
                        static_cast<float>((double{k1[i]} + 4.0 * double{k2[i]} + double{k3[i]}) / 6.0);
                break;
            }
            default:
                if (!stage([=](int i) { return x[i] + half * k1[i]; }, k2)) return false;
                if (!stage([=, &k2](int i) { return x[i] + half * k2[i]; }, k3)) return false;
                if (!stage([=, &k3](int i) { return moved(x[i], step, k3[i]); }, k4)) return false;
                for (int i = 0; i < veclen_; ++i) {
                    blend[i] = static_cast<float>(
                        (double{k1[i]} + 2.0 * double{k2[i] + k3[i]} + double{k4[i]}) / 6.0);
                }
        }
        return go([=](int i) { return moved(x[i], step, blend[i]); });
    }

  private:
    static float moved(float x, double step, float k) {
        return static_cast<float>(double{x} + step * double{k});
    }

    // Goes to a place. False when it is none.
    template <class Component>
    bool go(Component component) {
        for (int i = 0; i < common_; ++i) place_[i] = component(i);
        for (int i = common_; i < nspace_; ++i) place_[i] = x_[i];
        return all_finite(place_, nspace_);
    }

    template <class Component>
    bool stage(Component component, float *k) {
        if (!go(component)) return false;
        CellPlace at;
        return sampler_.find(place_, at) && sampler_.evaluate(at, k) != 0;
    }

    Sampler &sampler_;
    int nspace_, veclen_, common_;
    double step_;
    const float *x_, *k1_;
    float *place_;
};

template <class Sampler>
int integrate(const Flow &flow, Sampler &sampler, double step, int order, const float *x, float *end,
              const float *k1, float *blend) {
    if (flow.veclen() > kMostSteppable) return tell("INTEGRATE: veclen is greater than 3\n");
    if (flow.nspace() > kMostSteppable) return tell("INTEGRATE: nspace is greater than 3\n");
    std::fill_n(blend, flow.veclen(), 0.0f);
    if (order < 1 || order > 4) return tell("INTEGRATE: unknown integration order\n");
    return Step<Sampler>(sampler, flow.nspace(), flow.veclen(), step, x, k1, end).take(order, blend) ? 1 : 0;
}

// ---- The line

struct LineSettings {
    int order, direction, nseg;
    double min_vel;
    int max_points;
};

struct LineResults {
    int *npoints;
    float *coords, *vectors;
    int want_trace;
    int *cells;
    float *uvw, *speeds, *steps;
};

// The length of a vector of floats: summed as such.
double length_of(const float *values, int count) {
    float sum = 0;
    for (int i = 0; i < count; ++i) sum += values[i] * values[i];
    return std::sqrt(static_cast<double>(sum));
}

// How far to go from one point to the next.
class StepControl {
  public:
    StepControl(const Flow &flow, const LineSettings &settings) : flow_(flow), set_(settings) {}

    double next(const CellPlace &at, float speed) {
        if (at.cell != cell_) {
            cell_ = at.cell;
            const double part = set_.direction * kFirstStep * double{smallest_side()};
            step_ = part / double{speed * static_cast<float>(set_.nseg)};
        } else {
            float way[3];
            for (int d = 0; d < 3; ++d) way[d] = at.uvw[d] - uvw_[d];
            const double parts = static_cast<float>(length_of(way, 3) * set_.nseg);
            if (parts < kLeastStep) {
                step_ *= kLengthening;
            } else if (parts < kLowStep || parts > kHighStep) {
                step_ /= parts;
            }
        }
        std::copy_n(at.uvw, 3, uvw_);
        return step_;
    }

  private:
    // Of the cell's bounding box, without those of no length.
    float smallest_side() const {
        float min[kRoom] = {}, max[kRoom] = {};
        flow_.mesh->field_funcs->cell_extent_func(flow_.mesh, cell_, min, max);
        float smallest = max[0] == min[0] ? kNoExtent : max[0] - min[0];
        for (int d = 1; d < flow_.nspace(); ++d) {
            if (max[d] != min[d]) smallest = std::min(smallest, max[d] - min[d]);
        }
        return smallest;
    }

    const Flow &flow_;
    const LineSettings &set_;
    int cell_ = -1;
    float uvw_[3] = {0, 0, 0};
    double step_ = 0;
};

// The box of a grid's cell is taken without a look at the grid.
bool box_can_be_had(const MeshInfo *mesh, int cell) {
    const auto extent = mesh->field_funcs->cell_extent_func;
    const bool grid =
        extent == UTILcell_extent_struct || extent == UTILcell_extent_unif || extent == UTILcell_extent_rect;
    return !grid || (cell >= 0 && cell < mesh->nnodes);
}

template <class Sampler>
void trace(const Flow &flow, Sampler sampler, const LineSettings &settings, const float *start,
           const LineResults &out, float *next_point) {
    const int nspace = flow.nspace(), veclen = flow.veclen();
    float position[kRoom] = {}, components[kRoom] = {}, blend[kRoom];
    // A vector that is too long for a step has the one row that its line gets.
    float *const vector = veclen <= kRoom ? components : out.vectors;
    std::copy_n(start, nspace, position);
    StepControl control(flow, settings);
    CellPlace at;
    for (int &n = *out.npoints = 0; n < settings.max_points;) {
        if (!all_finite(position, nspace) || !sampler.find(position, at) || sampler.evaluate(at, vector) != 1)
            return;
        const float speed = static_cast<float>(length_of(vector, veclen));
        if (static_cast<double>(speed) < settings.min_vel || !box_can_be_had(flow.mesh, at.cell)) return;
        const double step = control.next(at, speed);
        const auto row = static_cast<std::ptrdiff_t>(n);
        if (out.want_trace) {
            out.cells[row] = at.cell;
            out.steps[row] = static_cast<float>(step);
            out.speeds[row] = speed;
            std::copy_n(at.uvw, 3, out.uvw + row * 3);
        }
        copy_few(vector, veclen, out.vectors + row * veclen);
        copy_few(position, nspace, out.coords + row * nspace);
        ++n;
        if (!std::isfinite(speed) ||
            !integrate(flow, sampler, step, settings.order, position, next_point, vector, blend))
            return;
        copy_few(next_point, nspace, position);
    }
}

// Traces by a grid's tracker. False when the mesh is not one for it.
template <int kNdim, class Axis>
bool trace_in_grid(const Flow &flow, const LineSettings &settings, const float *start, const LineResults &out,
                   float *next_point) {
    using Tracker = GridTracker<kNdim, Axis>;
    if (!Tracker::serves(flow.mesh, flow.rows)) return false;
    trace(flow, TrackingSampler<Tracker>(kNdim, flow.mesh, flow.rows), settings, start, out, next_point);
    return true;
}

}  // namespace

int UTILintegrate(MeshInfo *mesh, BlockTable *table, int, const void *data, int dtype, int veclen,
                  int null_flag, const void *null_value, double step, int order, const float *point_in,
                  float *point_out, const float *vector_in, float *vector_out) {
    const Flow flow = {mesh, table, {data, dtype, veclen, null_flag, null_value}};
    if (!flow.has_methods()) return tell_no_search();
    MethodSampler sampler(flow);
    return integrate(flow, sampler, step, order, point_in, point_out, vector_in, vector_out);
}

int UTILstream_line(MeshInfo *mesh, BlockTable *table, const void *data, int dtype, int veclen, int null_flag,
                    const void *null_value, int order, int direction, int nseg, double min_vel,
                    const float *start, int max_points, int *npoints, float *coords, float *vectors,
                    int want_trace, int *cells, float *uvw, float *speeds, float *steps, float *next_point) {
    const Flow flow = {mesh, table, {data, dtype, veclen, null_flag, null_value}};
    if (!flow.has_methods() || !mesh->field_funcs->cell_extent_func) return tell_no_search();
    const LineSettings settings = {order, direction, nseg, min_vel, max_points};
    const LineResults out = {npoints, coords, vectors, want_trace, cells, uvw, speeds, steps};
    if (CellTracker::serves(mesh, table, flow.rows)) {
        trace(flow, TrackingSampler<CellTracker>(flow.nspace(), mesh, table, flow.rows), settings, start, out,
              next_point);
    } else if (!trace_in_grid<3, UniformAxis>(flow, settings, start, out, next_point) &&
               !trace_in_grid<2, UniformAxis>(flow, settings, start, out, next_point) &&
               !trace_in_grid<3, RectilinearAxis>(flow, settings, start, out, next_point) &&
               !trace_in_grid<2, RectilinearAxis>(flow, settings, start, out, next_point)) {
        trace(flow, MethodSampler(flow), settings, start, out, next_point);
    }
    return 1;
}
