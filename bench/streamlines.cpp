// Lines of a steady rotation with a little flow along its axis, by steps of fourth order, against
// vtkStreamTracer with steps of our mean length. Search structures stand before the runs. The sizes are
// points; what is compared is where the lines are after some time.
#include <vtkCellArray.h>
#include <vtkCellLocatorInterpolatedVelocityField.h>
#include <vtkDataArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkStaticCellLocator.h>
#include <vtkStreamTracer.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "lattice.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr int kSide = 64;  // cells
constexpr int kLines = 200, kMaxPoints = 1002;
constexpr int kStepsPerCell = 2;
constexpr double kMinSpeed = 1e-12;
constexpr double kComparedTime = 10;  // every line takes longer

// Around the middle of the x-y plane.
std::array<double, 3> rotation(const double *xyz) {
    return {kSide / 2.0 - xyz[1], xyz[0] - kSide / 2.0, 0.25};
}

// Places from which no line leaves the cube.
vtkSmartPointer<vtkPoints> seeds() {
    const auto points = vtkSmartPointer<vtkPoints>::New();
    std::mt19937 random(1);
    std::uniform_real_distribution<double> radius(5, 28), turn(0, 2 * std::acos(-1.0)), height(4, 35);
    for (int i = 0; i < kLines; ++i) {
        const double r = radius(random), angle = turn(random);
        points->InsertNextPoint(kSide / 2.0 + r * std::cos(angle), kSide / 2.0 + r * std::sin(angle),
                                height(random));
    }
    return points;
}

// Everything that a trace tells, line after line.
struct Lines {
    static constexpr std::size_t kRoom = std::size_t{kLines} * kMaxPoints;
    std::vector<float> coords = std::vector<float>(3 * kRoom), vectors = coords, uvw = coords;
    std::vector<float> speeds = std::vector<float>(kRoom), steps = speeds;
    std::vector<int> cells = std::vector<int>(kRoom);
    std::vector<int> counts = std::vector<int>(kLines);
};

struct Stream {
    explicit Stream(FieldPtr stream_field)
        : field(std::move(stream_field)), table(bench::search_table(field->mesh.get())) {}

    FieldPtr field;
    bench::TablePtr table;
    vtkSmartPointer<vtkPoints> starts = seeds();
    Lines lines;

    // Points, or -1.
    long long run() {
        const auto *start = static_cast<const float *>(starts->GetVoidPointer(0));
        std::ptrdiff_t first = 0;
        for (int &count : lines.counts) {
            float next_point[3];
            if (UTILstream_line(field->mesh.get(), table.get(), field->vectors(), 4, 3, 0, nullptr, 4, 1,
                                kStepsPerCell, kMinSpeed, start, kMaxPoints, &count,
                                lines.coords.data() + 3 * first, lines.vectors.data() + 3 * first, 1,
                                lines.cells.data() + first, lines.uvw.data() + 3 * first,
                                lines.speeds.data() + first, lines.steps.data() + first, next_point) != 1) {
                return -1;
            }
            first += count;
            start += 3;
        }
        return first;
    }

    double mean_step_length() const {
        const int npoints = std::accumulate(lines.counts.begin(), lines.counts.end(), 0);
        const auto speeds = lines.speeds.begin();
        return std::inner_product(speeds, speeds + npoints, lines.steps.begin(), 0.0) / npoints;
    }
};

// Appends where a line is at the compared time: on the cubic through the two points around it.
void add_place(const std::vector<double> &times, const float *xyz, const float *vectors,
               std::vector<float> &places) {
    const auto after = std::upper_bound(times.begin(), times.end(), kComparedTime) - times.begin();
    if (after == std::ssize(times)) return places.push_back(std::numeric_limits<float>::quiet_NaN());
    const auto before = after - 1;
    const double step = times[after] - times[before], s = (kComparedTime - times[before]) / step, r = 1 - s;
    for (int d = 0; d < 3; ++d) {
        const float *place = xyz + d, *velocity = vectors + d;
        places.push_back(
            static_cast<float>(r * r * ((1 + 2 * s) * place[3 * before] + s * step * velocity[3 * before]) +
                               s * s * ((1 + 2 * r) * place[3 * after] - r * step * velocity[3 * after])));
    }
}

std::vector<float> our_places(const Lines &lines) {
    std::vector<float> places;
    std::ptrdiff_t first = 0;
    for (const int count : lines.counts) {
        std::vector<double> times(static_cast<std::size_t>(count));
        const auto steps = lines.steps.begin() + first;
        std::exclusive_scan(steps, steps + count, times.begin(), 0.0);
        add_place(times, lines.coords.data() + 3 * first, lines.vectors.data() + 3 * first, places);
        first += count;
    }
    return places;
}

std::vector<float> peer_places(vtkStreamTracer &tracer) {
    vtkPolyData *output = tracer.GetOutput();
    vtkDataArray *elapsed = output->GetPointData()->GetArray("IntegrationTime");
    const auto *coords = static_cast<const float *>(output->GetPoints()->GetVoidPointer(0));
    const auto *vectors =
        static_cast<const float *>(output->GetPointData()->GetArray("vectors")->GetVoidPointer(0));
    std::vector<float> places;
    vtkIdType first = 0;
    for (vtkIdType line = 0; line < output->GetNumberOfLines(); ++line) {
        std::vector<double> times;
        for (vtkIdType i = 0; i < output->GetLines()->GetCellSize(line); ++i) {
            times.push_back(elapsed->GetComponent(first + i, 0));
        }
        add_place(times, coords + 3 * first, vectors + 3 * first, places);
        first += std::ssize(times);
    }
    return places;
}

// In every run a tracer makes itself a locator like the one that it is given. This one comes back as itself,
// already built.
class BuiltLocator : public vtkStaticCellLocator {
  public:
    static BuiltLocator *New() { VTK_STANDARD_NEW_BODY(BuiltLocator); }

  protected:
    vtkObjectBase *NewInstanceInternal() const override {
        auto *self = const_cast<BuiltLocator *>(this);
        self->Register(nullptr);
        return self;
    }
};

void locate_cells(vtkStreamTracer &tracer) {
    vtkNew<BuiltLocator> locator;
    vtkNew<vtkCellLocatorInterpolatedVelocityField> interpolator;
    interpolator->SetCellLocatorPrototype(locator);
    tracer.SetInterpolatorPrototype(interpolator);
}

void locate_points(vtkStreamTracer &tracer) {
    tracer.SetInterpolatorTypeToDataSetPointLocator();
}

Contestant peer(const char *name, const Stream &stream, void (*locate)(vtkStreamTracer &)) {
    const auto adjust = [&](vtkStreamTracer &tracer) {
        vtkNew<vtkPolyData> source;
        source->SetPoints(stream.starts);
        tracer.SetSourceData(source);
        locate(tracer);
        tracer.SetIntegratorTypeToRungeKutta4();
        tracer.SetIntegrationDirectionToForward();
        tracer.SetIntegrationStepUnit(vtkStreamTracer::LENGTH_UNIT);
        tracer.SetInitialIntegrationStep(stream.mean_step_length());
        tracer.SetMaximumPropagation(1e9);
        tracer.SetMaximumNumberOfSteps(kMaxPoints - 2);  // it has two points more
        tracer.SetTerminalSpeed(kMinSpeed);
        tracer.SetComputeVorticity(false);
    };
    return bench::filter_peer<vtkStreamTracer>(name, stream.field, bench::output_size<vtkDataObject::POINT>,
                                               adjust, peer_places);
}

std::vector<Contestant> contestants(const FieldPtr &field) {
    field->dataset->GetPointData()->SetScalars(nullptr);  // a tracer would sample them too
    bench::add_vectors(*field, rotation);
    const auto stream = std::make_shared<Stream>(field);
    stream->run();
    std::vector<Contestant> all{
        {"isofield", [stream] { return stream->run(); }, {}, [stream] { return our_places(stream->lines); }}};
    if (stream->table) {
        all.push_back(peer("vtkStreamTracer cell locator", *stream, locate_cells));
        all.push_back(peer("vtkStreamTracer point locator", *stream, locate_points));
    } else {
        all.push_back(peer("vtkStreamTracer", *stream, locate_points));
    }
    return all;
}

}  // namespace

std::vector<bench::Case> streamline_cases() {
    constexpr int kNodes = kSide + 1;
    return {
        {"streamlines/hex/64^3", [] { return contestants(bench::cell_field(bench::hex_lattice(kSide, 2))); }},
        {"streamlines/tet/64^3", [] { return contestants(bench::cell_field(bench::tet_lattice(kSide, 2))); }},
        {"streamlines/uniform/64^3",
         [] { return contestants(bench::wave_image(kNodes, kNodes, kNodes, 2, 0.0f)); }},
    };
}
