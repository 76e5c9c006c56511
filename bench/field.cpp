#include "field.hpp"

#include <vtkDataArray.h>
#include <vtkPointData.h>

#include <cmath>
#include <random>
#include <utility>

namespace bench {

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

}  // namespace bench
