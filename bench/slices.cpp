// A scalar on an oblique plane through a uniform grid, linear, against vtkImageReslice with our matrix as its
// axes: at the same places, up to rounding. The sizes are samples.
#include <vtkImageReslice.h>
#include <vtkMatrix4x4.h>
#include <vtkNew.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <vector>

#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr int kSide = 256;
// Through the middle of the grid, so that all samples are inside.
constexpr float kNormal[] = {0.4f, 0.5f, 1};
constexpr double kDist = (0.4 + 0.5 + 1) * (kSide - 1) / 2;

// The arrays of a slice, given back at the end.
struct Slice {
    int dims[2] = {};
    float matrix[16] = {};
    float *points = nullptr, *weights = nullptr;
    int *min_node = nullptr, *max_node = nullptr;
    unsigned char *flags = nullptr;

    ~Slice() {
        for (void *array : std::initializer_list<void *>{points, weights, min_node, max_node, flags}) {
            ARRfree_f(array, __FILE__, __LINE__);
        }
    }

    int make(MeshInfo *mesh) {
        float *corners = nullptr;
        mesh->get_points(mesh, &corners);
        return UTILrslice(mesh, mesh->dims, corners, kNormal, kDist, dims, &points, 3, matrix, &min_node,
                          &max_node, &weights, &flags);
    }
};

// Samples, or -1.
long long our_samples(const bench::Field &field, std::vector<float> &values) {
    MeshInfo *mesh = field.mesh.get();
    Slice slice;
    const int inside = slice.make(mesh);
    const int npoints = slice.dims[0] * slice.dims[1];
    values.resize(static_cast<std::size_t>(npoints));
    return UTILeval_param(npoints, 1, 4, field.data(), 0, nullptr, slice.min_node, slice.max_node,
                          slice.weights, values.data()) == 1
               ? inside
               : -1;
}

void cut_along(const Slice &slice, vtkImageReslice &reslice) {
    vtkNew<vtkMatrix4x4> axes;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            axes->SetElement(column, row, slice.matrix[4 * row + column]);
        }
    }
    const int *dims = slice.dims;
    reslice.SetResliceAxes(axes);
    reslice.SetOutputDimensionality(2);
    reslice.SetOutputOrigin(0, 0, 0);
    reslice.SetOutputSpacing(1.0 / (dims[0] - 1), 1.0 / (dims[1] - 1), 1);
    reslice.SetOutputExtent(0, dims[0] - 1, 0, dims[1] - 1, 0, 0);
    reslice.SetInterpolationModeToLinear();
    reslice.SetNumberOfThreads(1);
}

std::vector<float> image_values(vtkImageReslice &reslice) {
    const auto *values = static_cast<const float *>(reslice.GetOutput()->GetScalarPointer());
    return {values, values + reslice.GetOutput()->GetNumberOfPoints()};
}

std::vector<Contestant> contestants(const FieldPtr &volume) {
    const auto values = std::make_shared<std::vector<float>>();
    Slice slice;
    slice.make(volume->mesh.get());
    return {{"isofield", [=] { return our_samples(*volume, *values); }, isohost_trim_arrays,
             [=] { return *values; }},
            bench::filter_peer<vtkImageReslice>(
                "vtkImageReslice", volume, bench::output_size<vtkDataObject::POINT>,
                [&](vtkImageReslice &reslice) { cut_along(slice, reslice); }, image_values)};
}

}  // namespace

std::vector<bench::Case> slice_cases() {
    return {
        {"slice/uniform/256^3", [] { return contestants(bench::wave_image(kSide, kSide, kSide, 4, 0.0f)); }}};
}
