// Delaunay triangulations by libraries that a machine may lack; CMakeLists.txt tells which there are.
#ifndef ISOFIELD_BENCH_DELAUNAY_PEERS_HPP
#define ISOFIELD_BENCH_DELAUNAY_PEERS_HPP

#include <functional>
#include <vector>

namespace bench {

// Triangulates once; receives ndim + 1 nodes a simplex.
using Triangulate = std::function<void(std::vector<int> &nodes)>;

// Each takes npoints rows of three floats, of which ndim count, and keeps them in the form that its library
// wants.
Triangulate cgal_delaunay(const float *points, int npoints, int ndim);
Triangulate qhull_delaunay(const float *points, int npoints, int ndim);

}  // namespace bench

#endif
