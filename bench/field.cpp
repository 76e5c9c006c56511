#include "field.hpp"

#include <vtkFloatArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPointSet.h>
#include <vtkPoints.h>
#include <vtkRectilinearGrid.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

namespace bench {

const void *Field::data() const {
    return dataset->GetPointData()->GetScalars()->GetVoidPointer(0);
}

const float *Field::coords() const {
    auto *points = vtkPointSet::SafeDownCast(dataset)->GetPoints();
    return static_cast<const float *>(points->GetVoidPointer(0));
}

const float *Field::vectors() const {
    return static_cast<const float *>(dataset->GetPointData()->GetVectors()->GetVoidPointer(0));
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

FieldPtr rectilinear_field(const Field &image, const std::vector<float> &lines) {
    const int n = static_cast<int>(lines.size());
    vtkNew<vtkFloatArray> axis;
    axis->SetNumberOfTuples(n);
    std::copy(lines.begin(), lines.end(), axis->GetPointer(0));
    const auto grid = vtkSmartPointer<vtkRectilinearGrid>::New();
    grid->SetDimensions(n, n, n);
    grid->SetXCoordinates(axis);
    grid->SetYCoordinates(axis);
    grid->SetZCoordinates(axis);
    grid->GetPointData()->SetScalars(image.dataset->GetPointData()->GetScalars());
    const int dims[] = {n, n, n};
    const float *const axes[] = {lines.data(), lines.data(), lines.data()};
    MeshInfo *mesh = nullptr;
    isohost_mesh_rectilinear(3, dims, axes, &mesh);
    auto field = std::make_shared<Field>();
    field->mesh.reset(mesh);
    field->dataset = grid;
    return field;
}

void add_vectors(Field &field, const Flow &flow) {
    const vtkIdType nnodes = field.dataset->GetNumberOfPoints();
    vtkNew<vtkFloatArray> vectors;
    vectors->SetName("vectors");
    vectors->SetNumberOfComponents(3);
    vectors->SetNumberOfTuples(nnodes);
    float *value = vectors->GetPointer(0);
    for (vtkIdType node = 0; node < nnodes; ++node) {
        double xyz[3];
        field.dataset->GetPoint(node, xyz);
        for (const double component : flow(xyz)) *value++ = static_cast<float>(component);
    }
    field.dataset->GetPointData()->SetVectors(vectors);
}

void add_vectors(Field &field) {
    constexpr double kScale = 0.1;  // a period in 63 units of length
    add_vectors(field, [](const double *xyz) {
        std::array<double, 3> waves;
        for (int phase = 0; phase < 3; ++phase) {
            waves[phase] =
                wave(kScale * xyz[0] + phase, kScale * xyz[1] + 2 * phase, kScale * xyz[2] + 3 * phase);
        }
        return waves;
    });
}

TablePtr search_table(MeshInfo *mesh) {
    BlockTable *table = nullptr;
    mesh->field_funcs->interp_init_func(mesh, &table);
    return TablePtr(table);
}

}  // namespace bench
