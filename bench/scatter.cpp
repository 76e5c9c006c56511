// Values at random points in the unit square or cube, brought to the nodes of a grid within three steps by
// inverse distance weighting, against vtkShepardMethod and a plain loop without locks and nulls. The sizes
// are nodes. The peer takes volumes alone: of a square it fills a second plane, out of all points' reach.
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkShepardMethod.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "filler.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr int kReach = 3;
constexpr float kNull = -1;

struct Task {
    const char *name;
    int npoints, ndim, side;
    int power = 2;

    int planes() const { return ndim == 3 ? side : 1; }
    int nnodes() const { return side * side * planes(); }
};

constexpr Task kTasks[] = {{"10k/128^3", 10'000, 3, 128},
                           {"10k/128^3/power 3", 10'000, 3, 128, 3},
                           {"10k/1024^2", 10'000, 2, 1024},
                           {"1M/128^3", 1'000'000, 3, 128},
                           {"1M/1024^2", 1'000'000, 2, 1024}};

// Points well inside the grid's cells, so that rounding has no part in which nodes they reach.
FieldPtr random_points(const Task &task) {
    vtkNew<vtkPoints> places;
    vtkNew<vtkFloatArray> values;
    std::mt19937 random(1);
    std::uniform_int_distribution<int> cell(0, task.side - 2);
    std::uniform_real_distribution<double> inside(0.01, 0.99);
    const auto place = [&] { return (cell(random) + inside(random)) / (task.side - 1); };
    for (int i = 0; i < task.npoints; ++i) {
        const double x = place(), y = place(), z = task.ndim == 3 ? place() : 0;
        places->InsertNextPoint(x, y, z);
        values->InsertNextValue(static_cast<float>(bench::wave(6 * x, 6 * y, 6 * z)));
    }
    const auto points = vtkSmartPointer<vtkPolyData>::New();
    points->SetPoints(places);
    points->GetPointData()->SetScalars(values);
    auto field = std::make_shared<bench::Field>();
    field->dataset = points;
    return field;
}

long long our_nodes(const bench::Field &points, const Task &task, float *out) {
    constexpr float kMin[] = {0, 0, 0}, kMax[] = {1, 1, 1};
    const int dims[] = {task.side, task.side, task.planes()};
    int radius[] = {kReach, kReach, kReach}, null_flag = 0;
    return UTILscat_data_interp2(task.npoints, 3, points.coords(), 4, 1, points.data(), kMin, kMax, task.ndim,
                                 dims, radius, task.power, &null_flag, &kNull, out) == 1
               ? task.nnodes()
               : -1;
}

// The nodes of a point's box along one axis of the grid.
struct Span {
    int first, last;
    float at, step;

    Span(float x, int side) : at(x), step(side > 1 ? 1 / static_cast<float>(side - 1) : 0) {
        const int node = static_cast<int>(static_cast<float>(side - 1) * x);
        first = std::max(node - kReach, 0);
        last = std::min(node + kReach, side - 1);
    }

    float square(int node) const {
        const float apart = at - static_cast<float>(node) * step;
        return apart * apart;
    }
};

template <int power>
long long plain_nodes(const bench::Field &points, const Task &task, std::vector<float> &weights, float *out) {
    const auto nnodes = static_cast<std::size_t>(task.nnodes());
    weights.assign(nnodes, 0);
    std::fill_n(out, nnodes, 0.0f);
    const float *xyz = points.coords();
    const auto *data = static_cast<const float *>(points.data());
    for (int p = 0; p < task.npoints; ++p, xyz += 3) {
        const Span x(xyz[0], task.side), y(xyz[1], task.side), z(xyz[2], task.planes());
        for (int k = z.first; k <= z.last; ++k) {
            for (int j = y.first; j <= y.last; ++j) {
                const float yz = y.square(j) + z.square(k);
                const std::ptrdiff_t row = task.side * (j + std::ptrdiff_t{task.side} * k);
                for (int i = x.first; i <= x.last; ++i) {
                    const float square = x.square(i) + yz;
                    const float weight = 1 / (power == 3 ? square * std::sqrt(square) : square);
                    weights[row + i] += weight;
                    out[row + i] += weight * data[p];
                }
            }
        }
    }
    for (std::size_t node = 0; node < nnodes; ++node) {
        out[node] = weights[node] > 0 ? out[node] / weights[node] : kNull;
    }
    return task.nnodes();
}

Contestant shepard(const FieldPtr &points, const Task &task) {
    const auto adjust = [&](vtkShepardMethod &filter) {
        const double reach = static_cast<double>(kReach) / (task.side - 1);
        filter.SetSampleDimensions(task.side, task.side, task.ndim == 3 ? task.side : 2);
        filter.SetModelBounds(0, 1, 0, 1, 0, task.ndim == 3 ? 1 : 2 * reach);
        filter.SetMaximumDistance(reach);
        filter.SetPowerParameter(task.power);
        filter.SetNullValue(kNull);
    };
    const auto size = [nnodes = task.nnodes()](vtkShepardMethod &) { return nnodes; };
    const auto values = [nnodes = task.nnodes()](vtkShepardMethod &filter) {
        const auto *first = static_cast<const float *>(filter.GetOutput()->GetScalarPointer());
        return std::vector<float>(first, first + nnodes);
    };
    return bench::filter_peer<vtkShepardMethod>("vtkShepardMethod", points, size, adjust, values);
}

std::vector<Contestant> contestants(const Task &task) {
    const FieldPtr points = random_points(task);
    const auto nnodes = static_cast<std::size_t>(task.nnodes());
    const auto values = [=](const float *out) { return std::vector<float>(out, out + nnodes); };
    const auto weights = std::make_shared<std::vector<float>>();
    const auto plain = task.power == 3 ? plain_nodes<3> : plain_nodes<2>;
    const auto ours = [=](float *out) { return our_nodes(*points, task, out); };
    const auto bare = [=](float *out) { return plain(*points, task, *weights, out); };
    return {bench::array_filler("isofield", nnodes, ours, values), shepard(points, task),
            bench::array_filler("bare loop", nnodes, bare, values)};
}

}  // namespace

std::vector<bench::Case> scatter_cases() {
    std::vector<bench::Case> cases;
    for (const Task &task : kTasks) {
        cases.push_back({std::string("scatter/") + task.name, [=] { return contestants(task); }});
    }
    return cases;
}
