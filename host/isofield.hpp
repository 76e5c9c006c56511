// isofield.hpp: the C++20 front of isofield. Meshes from plain arrays, results that own themselves, errors as
// exceptions. Stands on isofield.h and on the default host (isofield_default_host.h).
//
//     isofield::Mesh mesh = isofield::Mesh::uniform({181, 217, 181}, {0, 0, 0}, {180, 216, 180});
//     isofield::Surface brain = mesh.isosurface(voxels, 80.0);  // a vector or a span
//     for (const isofield::Triangle &triangle : brain.triangles()) { ... }  // rows into
//     std::span<const float> points = brain.points();                       // npoints x 3
//
// Cell meshes are made from sets of cells of one type; see isofield_default_host.h for the order of nodes:
//
//     const isofield::CellSet sets[] = {{"hex_1", hexahedra}, {"tri_1", skin}};
//     isofield::Mesh part = isofield::Mesh::cells(coords, sets);
//     isofield::Surface sheet = part.isosurface(temperature, 300.0);
//     isofield::Polylines lines = isofield::join_lines(sheet.lines(), sheet.npoints());
//
// Parts of a mesh, which are meshes again:
//
//     isofield::Part warm = part.band(temperature, 290.0, 310.0);  // warm.points(), warm.sets()
//     isofield::Part half = part.cut(part.signed_distances(isofield::Plane{{0, 0, 0}, {0, 0, 1}}), 0.0);
//     std::vector<float> inside = half.carry(std::span<const float>(temperature));
//     double volume = isofield::Mesh::of(half).integrate(3).measure;
//
// Values at points anywhere, and integrals:
//
//     isofield::Locator locator(part);                                     // built once
//     std::vector<float> at = locator.sample(probe_points, temperature);  // npoints x 3 in; NaN outside
//     isofield::Integral heat = part.integrate(3, temperature);           // heat.measure, heat.integral
//
// Derivatives on any mesh, and meshes without the nodes that hold no data:
//
//     std::vector<float> slopes = part.gradient(temperature);  // nnodes x 3; NaN around missing data
//     std::vector<float> spin = part.curl({velocity, 3});
//     std::vector<float> q = isofield::q_criterion(part.gradient({velocity, 3}));
//     isofield::Submesh sea = mesh.without_nulls(depths, {.null_value = -9999});  // sea.nodes(), sea.sets()
//     std::vector<float> steepness = isofield::Mesh::of(sea).gradient(sea.carry(depths));
//
// Moving through a field: streamlines, glyphs, one sheet of a surface and plane slices of grids:
//
//     isofield::Streamlines lines = locator.streamlines(seeds, {velocity, 3});  // lines.offsets(), .points()
//     isofield::Glyphs arrows = part.glyphs({velocity, 3}, isofield::GlyphShape::arrow());
//     isofield::Sheet sheet = locator.sheet(temperature, {1, 2, 3});  // sheet.level, sheet.surface
//     isofield::PlaneSlice slice = mesh.plane_slice({1, 1, 0}, 100);
//     std::vector<float> on_slice = slice.carry(voxels);  // NaN outside
//
// Arrays on grids and alone, fits, and scattered data; none needs a mesh:
//
//     std::vector<float> calm = isofield::smooth(voxels, dims, isofield::gaussian_kernel(1.5));
//     std::span<const short> all(shorts);
//     std::vector<short> eighth = isofield::downsize(all, dims, {{2, 2, 2}});
//     std::vector<short> held = isofield::clamp(all, {.min = 0, .max = 255}, -9999);
//     isofield::Fit trend = isofield::fit_polynomial(years, levels, 2);  // trend.polynomial(2030)
//     isofield::Scattered map = isofield::scatter(stations, warmth, {{120, 60}, {-130, 20}, {-60, 55}});
//
// Making meshes: triangulations of points, the skin and the edges of meshes, few triangles in place of many
// heights, and strips between outlines:
//
//     isofield::Triangulation map = isofield::delaunay_2d(stations);        // n x 3; map.triangles
//     isofield::Tetrahedralization body = isofield::delaunay_3d(stations);  // body.tetrahedra
//     isofield::Submesh skin = part.external_faces();                       // skin.sets(), skin.cells()
//     std::vector<float> on_skin = skin.carry(temperature);
//     isofield::FeatureEdges creases = isofield::Mesh::of(skin).feature_edges(0.5);  // creases.lines
//     isofield::HeightMesh hills = isofield::simplify_heights(elevation, {{601, 401}, {0, 0}, {6, 4}}, 0.5);
//     std::vector<isofield::Triangle> strip = isofield::loft(lower_outline, upper_outline);
//
// While a call of this front runs, its reports are not written to standard error: they stand in the
// exception. A program's error handler still gets them.
#ifndef ISOFIELD_HPP
#define ISOFIELD_HPP

#include "isofield.h"
#include "isofield_array.hpp"
#include "isofield_boundary.hpp"
#include "isofield_data.hpp"
#include "isofield_default_host.h"
#include "isofield_delaunay.hpp"
#include "isofield_derivative.hpp"
#include "isofield_fit.hpp"
#include "isofield_glyph.hpp"
#include "isofield_heights.hpp"
#include "isofield_integral.hpp"
#include "isofield_locator.hpp"
#include "isofield_loft.hpp"
#include "isofield_mesh.hpp"
#include "isofield_part.hpp"
#include "isofield_scatter.hpp"
#include "isofield_slice.hpp"
#include "isofield_streamline.hpp"
#include "isofield_submesh.hpp"
#include "isofield_surface.hpp"
#include "isofield_trace.hpp"

#endif
