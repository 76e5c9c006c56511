#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>
#include <CGAL/Triangulation_vertex_base_with_info_3.h>

#include <memory>
#include <utility>

#include "delaunay_peers.hpp"

namespace bench {
namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;

struct Plane {
    using Vertices = CGAL::Triangulation_vertex_base_with_info_2<int, Kernel>;
    using Triangulation =
        CGAL::Delaunay_triangulation_2<Kernel, CGAL::Triangulation_data_structure_2<Vertices>>;
    static constexpr int kNodes = 3;

    static Kernel::Point_2 point(const float *xyz) { return {xyz[0], xyz[1]}; }
    static auto simplices(const Triangulation &all) { return all.finite_face_handles(); }
};

struct Space {
    using Vertices = CGAL::Triangulation_vertex_base_with_info_3<int, Kernel>;
    using Cells = CGAL::Delaunay_triangulation_cell_base_3<Kernel>;
    using Triangulation =
        CGAL::Delaunay_triangulation_3<Kernel, CGAL::Triangulation_data_structure_3<Vertices, Cells>>;
    static constexpr int kNodes = 4;

    static Kernel::Point_3 point(const float *xyz) { return {xyz[0], xyz[1], xyz[2]}; }
    static auto simplices(const Triangulation &all) { return all.finite_cell_handles(); }
};

template <class Dimension>
Triangulate triangulation(const float *points, int npoints) {
    using Point = decltype(Dimension::point(points));
    const auto numbered = std::make_shared<std::vector<std::pair<Point, int>>>();
    for (int i = 0; i < npoints; ++i, points += 3) numbered->push_back({Dimension::point(points), i});
    return [numbered](std::vector<int> &nodes) {
        nodes.clear();
        typename Dimension::Triangulation all;
        all.insert(numbered->begin(), numbered->end());
        for (const auto simplex : Dimension::simplices(all)) {
            for (int i = 0; i < Dimension::kNodes; ++i) nodes.push_back(simplex->vertex(i)->info());
        }
    };
}

}  // namespace

Triangulate cgal_delaunay(const float *points, int npoints, int ndim) {
    return ndim == 2 ? triangulation<Plane>(points, npoints) : triangulation<Space>(points, npoints);
}

}  // namespace bench
