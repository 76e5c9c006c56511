// Delaunay triangulations of random points and of lattices, against CGAL and Qhull, where they are there, and
// on few points VTK. Ours gets a box a thousand extents larger than the points', as the front gives it, and
// once their own. The sizes are simplices; differences are the share of simplices that are not in both. Those
// of an exact lattice may be cut along either diagonal.
#include <vtkCellArray.h>
#include <vtkDelaunay2D.h>
#include <vtkDelaunay3D.h>
#include <vtkFloatArray.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "agreement.hpp"
#include "delaunay_peers.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

using Place = std::array<double, 3>;
using Random = std::mt19937;

struct Task {
    const char *name;
    int ndim, npoints;
    Place (*place)(int i, Random &random);
};

// More points take these too long.
constexpr int kMostForVtk = 20'000;
[[maybe_unused]] constexpr int kMostForQhull = 100'000;

double unit(Random &random) {
    return std::uniform_real_distribution<double>()(random);
}

Place in_square(int, Random &random) {
    return {unit(random), unit(random), 0};
}

Place in_cube(int, Random &random) {
    return {unit(random), unit(random), unit(random)};
}

Place in_clusters(int i, Random &random) {
    Random centres(static_cast<unsigned>(i % 50));
    std::normal_distribution<double> spread(0, 0.01);
    return {unit(centres) + spread(random), unit(centres) + spread(random), 0};
}

constexpr int kSide = 300;

Place on_lattice(int i, Random &) {
    return {1.0 * (i % kSide), 1.0 * (i / kSide), 0};
}

Place near_lattice(int i, Random &random) {
    return {i % kSide + 0.5 * unit(random), i / kSide + 0.5 * unit(random), 0};
}

constexpr Task kTasks[] = {{"square/10k", 2, 10'000, in_square},
                           {"square/100k", 2, 100'000, in_square},
                           {"square/1M", 2, 1'000'000, in_square},
                           {"clusters/100k", 2, 100'000, in_clusters},
                           {"jittered lattice/300^2", 2, kSide *kSide, near_lattice},
                           {"lattice/300^2", 2, kSide *kSide, on_lattice},
                           {"cube/20k", 3, 20'000, in_cube},
                           {"cube/100k", 3, 100'000, in_cube}};

FieldPtr points_of(const Task &task) {
    vtkNew<vtkPoints> places;
    Random random(1);
    for (int i = 0; i < task.npoints; ++i) places->InsertNextPoint(task.place(i, random).data());
    const auto points = vtkSmartPointer<vtkPolyData>::New();
    points->SetPoints(places);
    auto field = std::make_shared<bench::Field>();
    field->dataset = points;
    return field;
}

// Our last result, given back before the next.
struct Simplices {
    int count = 0;
    int *nodes = nullptr;

    Simplices() = default;
    Simplices(const Simplices &) = delete;
    Simplices &operator=(const Simplices &) = delete;
    ~Simplices() { free(); }

    void free() { ARRfree_f(std::exchange(nodes, nullptr), __FILE__, __LINE__); }

    long long make(const Task &task, const float *points, const double *bounds, double margin) {
        free();
        float min[3], max[3];
        for (int d = 0; d < 3; ++d) {
            const double low = bounds[2 * d], high = bounds[2 * d + 1], more = margin * (high - low);
            min[d] = static_cast<float>(low - more);
            max[d] = static_cast<float>(high + more);
        }
        const int result = task.ndim == 2
                               ? UTILdelaun_tess_2D(task.npoints, points, 3, min, max, 0, &count, &nodes)
                               : UTILdelaun_tess_3D(task.npoints, points, min, max, 0, &count, &nodes);
        return result == 1 ? count : -1;
    }

    float share(std::span<const int> theirs, int width) const {
        return bench::common_share({nodes, static_cast<std::size_t>(count) * width}, theirs, width);
    }
};
using SimplicesPtr = std::shared_ptr<Simplices>;

// To be compared with the share of a peer's simplices that ours has.
std::vector<float> whole() {
    return {1};
}

Contestant ours(const char *name, const Task &task, const FieldPtr &points, double margin,
                const SimplicesPtr &simplices) {
    const auto run = [=] {
        return simplices->make(task, points->coords(), points->dataset->GetBounds(), margin);
    };
    return {name, run, isohost_trim_arrays, whole};
}

#if defined ISOFIELD_BENCH_CGAL || defined ISOFIELD_BENCH_QHULL
Contestant library_peer(const char *name, const Task &task, const SimplicesPtr &our_simplices,
                        const bench::Triangulate &triangulate) {
    const auto nodes = std::make_shared<std::vector<int>>();
    const int width = task.ndim + 1;
    const auto run = [=] {
        triangulate(*nodes);
        return static_cast<long long>(nodes->size()) / width;
    };
    return {name, run, {}, [=] { return std::vector<float>{our_simplices->share(*nodes, width)}; }};
}
#endif

template <class Filter>
Contestant vtk_peer(const char *name, const Task &task, const FieldPtr &points, const SimplicesPtr &simplices,
                    vtkCellArray *(*cells)(Filter &)) {
    const auto values = [=](Filter &filter) {
        return std::vector<float>{simplices->share(bench::nodes_of(*cells(filter)), task.ndim + 1)};
    };
    return bench::filter_peer<Filter>(
        name, points, bench::output_size<vtkDataObject::CELL>, [](Filter &filter) { filter.SetTolerance(0); },
        values);
}

vtkCellArray *triangles(vtkDelaunay2D &filter) {
    return filter.GetOutput()->GetPolys();
}

vtkCellArray *tetrahedra(vtkDelaunay3D &filter) {
    return filter.GetOutput()->GetCells();
}

std::vector<Contestant> contestants(const Task &task) {
    const FieldPtr points = points_of(task);
    const auto simplices = std::make_shared<Simplices>(), notched = std::make_shared<Simplices>();
    std::vector<Contestant> all = {ours("isofield", task, points, 1000, simplices),
                                   ours("isofield, the points' box", task, points, 0, notched)};
    all[1].values = [=, width = task.ndim + 1] {
        const std::size_t size = static_cast<std::size_t>(notched->count) * width;
        return std::vector<float>{simplices->share({notched->nodes, size}, width)};
    };
#ifdef ISOFIELD_BENCH_CGAL
    all.push_back(library_peer("CGAL", task, simplices,
                               bench::cgal_delaunay(points->coords(), task.npoints, task.ndim)));
#endif
#ifdef ISOFIELD_BENCH_QHULL
    if (task.npoints <= kMostForQhull) {
        all.push_back(library_peer("Qhull", task, simplices,
                                   bench::qhull_delaunay(points->coords(), task.npoints, task.ndim)));
    }
#endif
    if (task.npoints <= kMostForVtk) {
        all.push_back(task.ndim == 2
                          ? vtk_peer<vtkDelaunay2D>("vtkDelaunay2D", task, points, simplices, triangles)
                          : vtk_peer<vtkDelaunay3D>("vtkDelaunay3D", task, points, simplices, tetrahedra));
    }
    return all;
}

}  // namespace

std::vector<bench::Case> triangulation_cases() {
    std::vector<bench::Case> cases;
    for (const Task &task : kTasks) {
        cases.push_back({std::string("delaunay/") + task.name, [=] { return contestants(task); }});
    }
    return cases;
}
