// Fields as both sides see them.
#ifndef ISOFIELD_BENCH_FIELD_HPP
#define ISOFIELD_BENCH_FIELD_HPP

#include <vtkDataSet.h>
#include <vtkImageData.h>
#include <vtkSmartPointer.h>

#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "isofield_default_host.h"

namespace bench {

struct FreeMesh {
    void operator()(MeshInfo *mesh) const { isohost_mesh_free(mesh); }
};

struct FreeTable {
    void operator()(BlockTable *table) const { isohost_block_table_free(table); }
};
using TablePtr = std::unique_ptr<BlockTable, FreeTable>;

// A scalar on the nodes of a mesh, and vectors if they are added. Both sides read the same coordinates and
// data; node numbers of cells stand twice, as each side wants them.
struct Field {
    vtkSmartPointer<vtkDataSet> dataset;  // with scalars
    std::vector<std::vector<int>> connect;
    std::unique_ptr<MeshInfo, FreeMesh> mesh;
    double level = 0.013;

    const void *data() const;
    const float *coords() const;  // of structured grids, cells and points
    const float *vectors() const;
    int dtype() const;
};
using FieldPtr = std::shared_ptr<Field>;

// A gyroid, of period 2 pi.
double wave(double x, double y, double z);

// What scales a side of n steps to the given number of periods.
double wave_scale(int n, double waves);

// An image on a grid of unit steps, in two dimensions when it has one plane.
FieldPtr image_field(vtkSmartPointer<vtkImageData> image);

// A wave with `waves` periods along the first axis and random noise of the given amplitude.
FieldPtr wave_image(int ni, int nj, int nk, double waves, float noise);

// The scalars of an image of as many nodes a side as there are lines, on these grid lines on every axis.
FieldPtr rectilinear_field(const Field &image, const std::vector<float> &lines);

// Adds vectors, told by their place.
using Flow = std::function<std::array<double, 3>(const double *xyz)>;
void add_vectors(Field &field, const Flow &flow);

// Adds a vector of three waves, each of another phase, to every node.
void add_vectors(Field &field);

// Builds the search table; null on grids that take none.
TablePtr search_table(MeshInfo *mesh);

}  // namespace bench

#endif
