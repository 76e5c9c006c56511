// A scalar sampled at random points, against VTK's probe filters and its bare locators. On cell meshes
// everyone builds the search structure in the run; the sizes are points found, or cells where the structure
// is built alone.
#include <vtkCellLocator.h>
#include <vtkCellLocatorStrategy.h>
#include <vtkCellTreeLocator.h>
#include <vtkDataArray.h>
#include <vtkFloatArray.h>
#include <vtkGenericCell.h>
#include <vtkIdTypeArray.h>
#include <vtkImageInterpolator.h>
#include <vtkImageProbeFilter.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkProbeFilter.h>
#include <vtkStaticCellLocator.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "harness.hpp"
#include "lattice.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

struct Probe {
    FieldPtr field;
    vtkSmartPointer<vtkPolyData> points = vtkSmartPointer<vtkPolyData>::New();

    vtkIdType count() const { return points->GetNumberOfPoints(); }
    const float *xyz() const {
        return static_cast<const float *>(points->GetPoints()->GetData()->GetVoidPointer(0));
    }
};

void add_points_in_box(const bench::Field &field, int count, vtkPoints *points) {
    double bounds[6];
    field.dataset->GetBounds(bounds);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> x(bounds[0], bounds[1]), y(bounds[2], bounds[3]),
        z(bounds[4], bounds[5]);
    for (int i = 0; i < count; ++i) points->InsertNextPoint(x(random), y(random), z(random));
}

// Every hexahedron is as likely as any other, whatever its size.
void add_points_in_hexes(const bench::CellMesh &mesh, int count, vtkPoints *points) {
    const std::vector<int> &connect = mesh.cells[bench::kHex];
    std::mt19937 random(2);
    std::uniform_int_distribution<std::size_t> cell(0, connect.size() / 8 - 1);
    std::uniform_real_distribution<float> parameter(-1, 1);
    for (int i = 0; i < count; ++i) {
        const int *nodes = &connect[8 * cell(random)];
        const float uvw[] = {parameter(random), parameter(random), parameter(random)};
        float weights[8], point[3] = {};
        UTILsh_func_hex_1(uvw, weights);
        for (int node = 0; node < 8; ++node) {
            for (int d = 0; d < 3; ++d) point[d] += weights[node] * mesh.coords[nodes[node]][d];
        }
        points->InsertNextPoint(point);
    }
}

Probe probe_in_box(FieldPtr field, int count) {
    vtkNew<vtkPoints> points;
    add_points_in_box(*field, count, points);
    Probe probe{std::move(field)};
    probe.points->SetPoints(points);
    return probe;
}

// Half of the points in the box, where most fall into few large cells, and half in random cells.
Probe probe_graded(const bench::CellMesh &mesh, int count) {
    vtkNew<vtkPoints> points;
    Probe probe{bench::cell_field(mesh)};
    add_points_in_box(*probe.field, count / 2, points);
    add_points_in_hexes(mesh, count / 2, points);
    probe.points->SetPoints(points);
    return probe;
}

// Points found, or -1.
long long our_samples(const Probe &probe) {
    MeshInfo *mesh = probe.field->mesh.get();
    const bench::TablePtr table = bench::search_table(mesh);
    const int count = static_cast<int>(probe.count()), veclen = 1;
    const void *data = probe.field->data();
    constexpr float kHighest = 3;           // of a wave
    double range_high = 0, null_value = 0;  // slots
    std::memcpy(&range_high, &kHighest, sizeof kHighest);
    int null_flag = 0;
    void *out = ARRalloc_f(nullptr, 4, count, nullptr, __FILE__, __LINE__);
    const int result =
        UTILinterpolate_data(count, probe.xyz(), 3, nullptr, mesh, table.get(), 1, probe.field->dtype(),
                             &veclen, &data, nullptr, &range_high, &null_flag, &null_value, &out);
    const auto *values = static_cast<const float *>(out);
    float outside;
    std::memcpy(&outside, &null_value, sizeof outside);
    const auto missing = std::count(values, values + count, outside);
    ARRfree_f(out, __FILE__, __LINE__);
    return result == 1 ? count - missing : -1;
}

Contestant ours(const Probe &probe) {
    return {"isofield", [probe] { return our_samples(probe); }, isohost_trim_arrays};
}

template <class Locator>
vtkSmartPointer<Locator> built(vtkDataSet *dataset) {
    const auto locator = vtkSmartPointer<Locator>::New();
    locator->SetDataSet(dataset);
    locator->CacheCellBoundsOn();
    locator->BuildLocator();
    return locator;
}

// The locator alone, and the weighted mean of the cell's nodes.
template <class Locator>
long long located_samples(const Probe &probe) {
    vtkDataSet *dataset = probe.field->dataset;
    const auto locator = built<Locator>(dataset);
    const auto *data = static_cast<const float *>(probe.field->data());
    const double tolerance = 1e-6 * dataset->GetLength();
    vtkNew<vtkGenericCell> cell;
    vtkNew<vtkFloatArray> out;
    out->SetNumberOfTuples(probe.count());
    long long found = 0;
    const float *xyz = probe.xyz();
    for (vtkIdType i = 0; i < probe.count(); ++i, xyz += 3) {
        double x[] = {xyz[0], xyz[1], xyz[2]}, pcoords[3], weights[8], value = 0;
        if (locator->FindCell(x, tolerance * tolerance, cell, pcoords, weights) >= 0) {
            ++found;
            for (int n = 0; n < cell->GetNumberOfPoints(); ++n)
                value += weights[n] * data[cell->GetPointId(n)];
        }
        out->SetValue(i, static_cast<float>(value));
    }
    return found;
}

long long valid_points(vtkProbeFilter &filter, const Probe &probe) {
    filter.SetInputData(probe.points);
    filter.SetSourceData(probe.field->dataset);
    filter.Update();
    return filter.GetValidPoints()->GetNumberOfTuples();
}

template <class Locator>
long long filtered_samples(const Probe &probe) {
    vtkNew<vtkCellLocatorStrategy> strategy;
    strategy->SetCellLocator(built<Locator>(probe.field->dataset));
    vtkNew<vtkProbeFilter> filter;
    filter->SetFindCellStrategy(strategy);
    return valid_points(*filter, probe);
}

Contestant peer(const char *name, long long (*run)(const Probe &), const Probe &probe) {
    return {name, [probe, run] { return run(probe); }, {}};
}

// Without vtkCellLocator, which is slower than the others and takes half a minute on graded cells.
std::vector<Contestant> contestants(const Probe &probe) {
    return {ours(probe), peer("vtkProbeFilter static locator", filtered_samples<vtkStaticCellLocator>, probe),
            peer("vtkStaticCellLocator", located_samples<vtkStaticCellLocator>, probe),
            peer("vtkCellTreeLocator", located_samples<vtkCellTreeLocator>, probe)};
}

std::vector<Contestant> all_contestants(const Probe &probe) {
    std::vector<Contestant> all = contestants(probe);
    all.push_back(peer("vtkProbeFilter cell locator", filtered_samples<vtkCellLocator>, probe));
    all.push_back(peer("vtkCellLocator", located_samples<vtkCellLocator>, probe));
    return all;
}

template <class Locator>
Contestant builder(const char *name, const FieldPtr &field) {
    return {name, [field] { return built<Locator>(field->dataset)->GetDataSet()->GetNumberOfCells(); }, {}};
}

std::vector<Contestant> build_contestants(const FieldPtr &field) {
    const auto build = [field]() -> long long {
        return bench::search_table(field->mesh.get()) ? field->mesh->ncells : -1;
    };
    return {{"isofield", build, isohost_trim_arrays},
            builder<vtkStaticCellLocator>("vtkStaticCellLocator", field),
            builder<vtkCellLocator>("vtkCellLocator", field),
            builder<vtkCellTreeLocator>("vtkCellTreeLocator", field)};
}

// An image's scalars on lines at uneven steps.
FieldPtr uneven_field(const FieldPtr &image, int n) {
    std::vector<float> lines;
    for (int i = 0; i < n; ++i) lines.push_back(static_cast<float>(i + 0.4 * std::sin(i)));
    return bench::rectilinear_field(*image, lines);
}

long long plain_samples(const Probe &probe) {
    vtkNew<vtkProbeFilter> filter;
    return valid_points(*filter, probe);
}

long long image_samples(const Probe &probe) {
    vtkNew<vtkImageInterpolator> linear;
    vtkNew<vtkImageProbeFilter> filter;
    filter->SetInterpolator(linear);
    filter->SetInputData(probe.points);
    filter->SetSourceData(probe.field->dataset);
    filter->Update();
    vtkDataArray *mask = filter->GetOutput()->GetPointData()->GetArray("MaskScalars");
    const auto *valid = static_cast<const unsigned char *>(mask->GetVoidPointer(0));
    return probe.count() - std::count(valid, valid + probe.count(), 0);
}

FieldPtr volume() {
    return bench::wave_image(128, 128, 128, 2, 0.0f);
}

std::vector<Contestant> uniform_contestants() {
    const Probe probe = probe_in_box(volume(), 2'000'000);
    return {ours(probe), peer("vtkProbeFilter", plain_samples, probe),
            peer("vtkImageProbeFilter", image_samples, probe)};
}

std::vector<Contestant> rectilinear_contestants() {
    const Probe probe = probe_in_box(uneven_field(volume(), 128), 2'000'000);
    return {ours(probe), peer("vtkProbeFilter", plain_samples, probe)};
}

}  // namespace

std::vector<bench::Case> probe_cases() {
    const auto hexes = [] { return bench::cell_field(bench::hex_lattice(64, 2)); };
    const auto tets = [] { return bench::cell_field(bench::tet_lattice(64, 2)); };
    // On each axis the last cell is about 1000 times as long as the first.
    const auto graded = [] { return bench::hex_lattice(64, 2, std::pow(1000, 1 / 63.0)); };
    return {
        {"probe/hex/200k", [=] { return all_contestants(probe_in_box(hexes(), 200'000)); }},
        {"probe/hex/1M", [=] { return contestants(probe_in_box(hexes(), 1'000'000)); }},
        {"probe/hex-build", [=] { return build_contestants(hexes()); }},
        {"probe/tet/200k", [=] { return all_contestants(probe_in_box(tets(), 200'000)); }},
        {"probe/tet/1M", [=] { return contestants(probe_in_box(tets(), 1'000'000)); }},
        {"probe/tet-build", [=] { return build_contestants(tets()); }},
        {"probe/graded/200k", [=] { return contestants(probe_graded(graded(), 200'000)); }},
        {"probe/graded-build", [=] { return build_contestants(bench::cell_field(graded())); }},
        {"probe/uniform/2M", uniform_contestants},
        {"probe/rectilinear/2M", rectilinear_contestants},
    };
}
