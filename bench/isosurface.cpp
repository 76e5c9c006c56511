// Isosurfaces of volumes, against VTK's three extractors: triangles and points, no normals, gradients or
// scalars.
#include <vtkFlyingEdges3D.h>
#include <vtkMarchingCubes.h>
#include <vtkNIFTIImageReader.h>
#include <vtkNew.h>
#include <vtkSynchronizedTemplates3D.h>

#include "extraction.hpp"

namespace {

using bench::FieldPtr;

constexpr char kBrainFile[] = ISOFIELD_SAMPLE_DATA "/brain.nii.gz";  // scripts/fetch-data

FieldPtr brain_volume() {
    vtkNew<vtkNIFTIImageReader> reader;
    reader->SetFileName(kBrainFile);
    reader->Update();
    FieldPtr volume = bench::image_field(reader->GetOutput());
    volume->level = 80;
    return volume;
}

std::vector<bench::Contestant> contestants(const FieldPtr &volume) {
    return {bench::our_isosurface(volume), bench::peer<vtkFlyingEdges3D>("vtkFlyingEdges3D", volume),
            bench::peer<vtkSynchronizedTemplates3D>("vtkSynchronizedTemplates3D", volume),
            bench::peer<vtkMarchingCubes>("vtkMarchingCubes", volume)};
}

}  // namespace

std::vector<bench::Case> isosurface_cases() {
    std::vector<bench::Case> cases;
    for (int n : {128, 256}) {
        const std::string size = std::to_string(n) + "^3";
        const double waves = n * 4.0 / 256;
        cases.push_back(
            {"iso/smooth/" + size, [=] { return contestants(bench::wave_image(n, n, n, waves, 0.0f)); }});
        cases.push_back(
            {"iso/noisy/" + size, [=] { return contestants(bench::wave_image(n, n, n, waves, 0.5f)); }});
    }
    cases.push_back({"iso/brain", [] { return contestants(brain_volume()); }});
    return cases;
}
