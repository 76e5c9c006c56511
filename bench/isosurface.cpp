// Isosurfaces of volumes, against VTK's three extractors: triangles and points, no normals, gradients or
// scalars.
#include <vtkFlyingEdges3D.h>
#include <vtkImageData.h>
#include <vtkMarchingCubes.h>
#include <vtkNIFTIImageReader.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkSynchronizedTemplates3D.h>
#include <vtkUnsignedCharArray.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <random>

#include "harness.hpp"
#include "isofield_default_host.h"

namespace {

constexpr char kBrainFile[] = "/usr/share/mricron/templates/ch2bet.nii.gz";

// A volume on a grid of unit steps, and what both sides see of it.
struct Volume {
    int dims[3];
    vtkNew<vtkImageData> image;
    MeshInfo *mesh = nullptr;
    double level = 0;

    Volume() = default;
    Volume(const Volume &) = delete;
    Volume &operator=(const Volume &) = delete;
    ~Volume() { isohost_mesh_free(mesh); }

    const void *data() const { return image->GetScalarPointer(); }

    int dtype() const { return image->GetScalarType() == VTK_FLOAT ? 4 : 1; }

    void make_mesh() {
        image->GetDimensions(dims);
        const float corners[6] = {0,
                                  0,
                                  0,
                                  static_cast<float>(dims[0] - 1),
                                  static_cast<float>(dims[1] - 1),
                                  static_cast<float>(dims[2] - 1)};
        isohost_mesh_uniform(3, dims, 3, corners, &mesh);
    }
};

// A gyroid-like wave with `waves` periods a side and random noise of the given amplitude.
std::shared_ptr<Volume> wave_volume(int n, double waves, float noise) {
    auto volume = std::make_shared<Volume>();
    volume->image->SetDimensions(n, n, n);
    volume->image->AllocateScalars(VTK_FLOAT, 1);
    auto *value = static_cast<float *>(volume->image->GetScalarPointer());
    std::mt19937 random(1);
    std::uniform_real_distribution<float> jitter(-noise, noise);
    const double scale = 2 * std::acos(-1.0) * waves / n;
    for (int k = 0; k < n; ++k) {
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                const double x = i * scale, y = j * scale, z = k * scale;
                const double wave =
                    std::sin(x) * std::cos(y) + std::sin(y) * std::cos(z) + std::sin(z) * std::cos(x);
                *value++ = static_cast<float>(wave) + (noise > 0 ? jitter(random) : 0.0f);
            }
        }
    }
    volume->level = 0.013;
    volume->make_mesh();
    return volume;
}

std::shared_ptr<Volume> brain_volume() {
    auto volume = std::make_shared<Volume>();
    vtkNew<vtkNIFTIImageReader> reader;
    reader->SetFileName(kBrainFile);
    reader->Update();
    volume->image->ShallowCopy(reader->GetOutput());
    volume->level = 80;
    volume->make_mesh();
    return volume;
}

// Ours: triangles, then the new nodes' parameters and coordinates.
long long extract(const Volume &volume) {
    int nnew, nlines, line_size, ntris, tri_size;
    int *min_node, *max_node, *lines, *tris;
    if (UTILisosurf(volume.mesh, volume.data(), volume.dtype(), 0, nullptr, volume.level, &nnew, &min_node,
                    &max_node, &nlines, &lines, &line_size, &ntris, &tris, &tri_size, nullptr,
                    nullptr) != 1) {
        return -1;
    }
    constexpr int kChunk = 4096;  // parameters stay in the cache between the two calls
    float t[kChunk];
    auto *coords = static_cast<float *>(ARRalloc_f(nullptr, 4, 3 * nnew, nullptr, __FILE__, __LINE__));
    for (int first = 0; first < nnew; first += kChunk) {
        const int count = std::min(kChunk, nnew - first);
        UTILget_param(count, volume.dtype(), volume.data(), volume.level, min_node + first, max_node + first,
                      t);
        UTILeval_coord(volume.mesh, count, min_node + first, max_node + first, t,
                       coords + 3 * static_cast<std::ptrdiff_t>(first));
    }
    for (void *array : {static_cast<void *>(coords), static_cast<void *>(min_node),
                        static_cast<void *>(max_node), static_cast<void *>(tris)}) {
        ARRfree_f(array, __FILE__, __LINE__);
    }
    return ntris;
}

// A peer keeps its filter, and with it what memory it reuses, from run to run.
template <class Filter>
bench::Contestant peer(const char *name, std::shared_ptr<Volume> volume) {
    const auto filter = vtkSmartPointer<Filter>::New();
    filter->SetInputData(volume->image);
    filter->SetValue(0, volume->level);
    filter->ComputeNormalsOff();
    filter->ComputeGradientsOff();
    filter->ComputeScalarsOff();
    return {name,
            [filter] {
                filter->Modified();
                filter->Update();
                return static_cast<long long>(filter->GetOutput()->GetNumberOfPolys());
            },
            {}};
}

std::vector<bench::Contestant> contestants(std::shared_ptr<Volume> volume) {
    return {{"isofield", [volume] { return extract(*volume); }, isohost_trim_arrays},
            peer<vtkFlyingEdges3D>("vtkFlyingEdges3D", volume),
            peer<vtkSynchronizedTemplates3D>("vtkSynchronizedTemplates3D", volume),
            peer<vtkMarchingCubes>("vtkMarchingCubes", volume)};
}

}  // namespace

std::vector<bench::Case> isosurface_cases() {
    std::vector<bench::Case> cases;
    for (int n : {128, 256}) {
        const std::string size = std::to_string(n) + "^3";
        const double waves = n * 4.0 / 256;
        cases.push_back({"iso/smooth/" + size, [=] { return contestants(wave_volume(n, waves, 0.0f)); }});
        cases.push_back({"iso/noisy/" + size, [=] { return contestants(wave_volume(n, waves, 0.5f)); }});
    }
    cases.push_back({"iso/brain", [] { return contestants(brain_volume()); }});
    return cases;
}
