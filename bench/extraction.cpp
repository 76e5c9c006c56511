#include "extraction.hpp"

#include <vtkDataArray.h>
#include <vtkPointData.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <utility>

namespace bench {
namespace {

// The new nodes of an extraction, given back at the end.
struct NewNodes {
    int count = 0;
    int *min_node = nullptr, *max_node = nullptr;

    NewNodes() = default;
    NewNodes(const NewNodes &) = delete;
    NewNodes &operator=(const NewNodes &) = delete;
    ~NewNodes() {
        ARRfree_f(min_node, __FILE__, __LINE__);
        ARRfree_f(max_node, __FILE__, __LINE__);
    }
};

void place(const Field &field, const NewNodes &nodes) {
    constexpr int kChunk = 4096;  // parameters stay in the cache between the two calls
    float t[kChunk];
    MeshInfo *mesh = field.mesh.get();
    const int nspace = mesh->nspace;
    auto *coords =
        static_cast<float *>(ARRalloc_f(nullptr, 4, nspace * nodes.count, nullptr, __FILE__, __LINE__));
    for (int first = 0; first < nodes.count; first += kChunk) {
        const int count = std::min(kChunk, nodes.count - first);
        const int *min_node = nodes.min_node + first, *max_node = nodes.max_node + first;
        UTILget_param(count, field.dtype(), field.data(), field.level, min_node, max_node, t);
        UTILeval_coord(mesh, count, min_node, max_node, t,
                       coords + nspace * static_cast<std::ptrdiff_t>(first));
    }
    ARRfree_f(coords, __FILE__, __LINE__);
}

// Triangles, or -1.
long long isosurface(const Field &field) {
    NewNodes nodes;
    int nlines, line_size, ntris, tri_size;
    int *lines, *tris;
    if (UTILisosurf(field.mesh.get(), field.data(), field.dtype(), 0, nullptr, field.level, &nodes.count,
                    &nodes.min_node, &nodes.max_node, &nlines, &lines, &line_size, &ntris, &tris, &tri_size,
                    nullptr, nullptr) != 1) {
        return -1;
    }
    place(field, nodes);
    ARRfree_f(lines, __FILE__, __LINE__);
    ARRfree_f(tris, __FILE__, __LINE__);
    return ntris;
}

// Segments, or -1.
long long isolines(const Field &field) {
    NewNodes nodes;
    int nlines, line_size;
    int *lines;
    if (UTILisoline(field.mesh.get(), field.data(), field.dtype(), 0, nullptr, field.level, &nodes.count,
                    &nodes.min_node, &nodes.max_node, &nlines, &lines, &line_size, nullptr, nullptr) != 1) {
        return -1;
    }
    place(field, nodes);
    ARRfree_f(lines, __FILE__, __LINE__);
    return nlines;
}

}  // namespace

const void *Field::data() const {
    return dataset->GetPointData()->GetScalars()->GetVoidPointer(0);
}

int Field::dtype() const {
    return dataset->GetPointData()->GetScalars()->GetDataType() == VTK_FLOAT ? 4 : 1;
}

double wave(double x, double y, double z) {
    return std::sin(x) * std::cos(y) + std::sin(y) * std::cos(z) + std::sin(z) * std::cos(x);
}

double wave_scale(int n, double waves) {
    return 2 * std::acos(-1.0) * waves / n;
}

FieldPtr image_field(vtkSmartPointer<vtkImageData> image) {
    int dims[3];
    image->GetDimensions(dims);
    float corners[6] = {0, 0, 0, 0, 0, 0};
    for (int d = 0; d < 3; ++d) corners[3 + d] = static_cast<float>(dims[d] - 1);
    MeshInfo *mesh = nullptr;
    isohost_mesh_uniform(dims[2] > 1 ? 3 : 2, dims, 3, corners, &mesh);
    auto field = std::make_shared<Field>();
    field->mesh.reset(mesh);
    field->dataset = std::move(image);
    return field;
}

FieldPtr wave_image(int ni, int nj, int nk, double waves, float noise) {
    const auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(ni, nj, nk);
    image->AllocateScalars(VTK_FLOAT, 1);
    auto *value = static_cast<float *>(image->GetScalarPointer());
    std::mt19937 random(1);
    std::uniform_real_distribution<float> jitter(-noise, noise);
    const double scale = wave_scale(ni, waves);
    for (int k = 0; k < nk; ++k) {
        for (int j = 0; j < nj; ++j) {
            for (int i = 0; i < ni; ++i) {
                *value++ = static_cast<float>(wave(i * scale, j * scale, k * scale)) +
                           (noise > 0 ? jitter(random) : 0.0f);
            }
        }
    }
    return image_field(image);
}

Contestant our_isosurface(FieldPtr field) {
    return {"isofield", [field] { return isosurface(*field); }, isohost_trim_arrays};
}

Contestant our_isolines(FieldPtr field) {
    return {"isofield", [field] { return isolines(*field); }, isohost_trim_arrays};
}

}  // namespace bench
