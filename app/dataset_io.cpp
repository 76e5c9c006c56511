#include "dataset_io.hpp"

#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkDataSetReader.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkMatrix3x3.h>
#include <vtkMatrix4x4.h>
#include <vtkMetaImageReader.h>
#include <vtkNIFTIImageReader.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkRectilinearGrid.h>
#include <vtkStringArray.h>
#include <vtkStructuredGrid.h>
#include <vtkXMLImageDataReader.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLRectilinearGridReader.h>
#include <vtkXMLStructuredGridReader.h>
#include <vtkXMLUnstructuredGridReader.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "cells_io.hpp"
#include "errors.hpp"
#include "exodus_io.hpp"
#include "netcdf_io.hpp"
#include "output_file.hpp"
#include "reader_support.hpp"
#include "relay.hpp"

namespace app {
namespace {

// Index space to space: columns are the steps along i, j, k, the last one is node (0, 0, 0).
using Affine = std::array<std::array<double, 4>, 3>;

struct Loaded {
    vtkSmartPointer<vtkDataSet> data;
    Affine placement = {};  // of images
    std::vector<std::string> remarks;
    std::vector<FileBlock> blocks;
    Step step;
};

// ---- Readers ----

// What to read of files that hold more than one mesh.
struct Wanted {
    std::optional<int> step;
    std::string array;
};

Affine placement_of(vtkImageData *image) {
    Affine placement;
    const vtkMatrix3x3 *direction = image->GetDirectionMatrix();
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            placement[row][column] = direction->GetElement(row, column) * image->GetSpacing()[column];
        }
        placement[row][3] = image->GetOrigin()[row];
    }
    return placement;
}

Loaded loaded(vtkDataSet *data) {
    Loaded result;
    result.data = data;
    if (auto *image = vtkImageData::SafeDownCast(data)) result.placement = placement_of(image);
    return result;
}

template <class Reader>
Loaded read_xml(const std::string &path, const Wanted &, Console &console) {
    vtkNew<Reader> reader;
    {
        const VtkMessages messages;
        if (!reader->CanReadFile(path.c_str())) {
            refuse(path, std::string("it is not the XML of a VTK file of this kind") +
                             "; is its name extension right?");
        }
    }
    reader->SetFileName(path.c_str());
    run_reader(reader.Get(), path, console);
    return loaded(reader->GetOutputAsDataSet());
}

Loaded read_legacy(const std::string &path, const Wanted &, Console &console) {
    vtkNew<vtkDataSetReader> reader;
    reader->SetFileName(path.c_str());
    reader->ReadAllScalarsOn();
    reader->ReadAllVectorsOn();
    reader->ReadAllTensorsOn();
    reader->ReadAllNormalsOn();
    reader->ReadAllTCoordsOn();
    reader->ReadAllColorScalarsOn();
    reader->ReadAllFieldsOn();
    run_reader(reader.Get(), path, console);
    if (!reader->GetOutput()) refuse(path, "it holds no mesh");
    return loaded(reader->GetOutput());
}

Loaded read_meta_image(const std::string &path, const Wanted &, Console &console) {
    vtkNew<vtkMetaImageReader> reader;
    {
        const VtkMessages messages;
        if (!reader->CanReadFile(path.c_str())) refuse(path, "it is not a MetaImage file");
    }
    reader->SetFileName(path.c_str());
    run_reader(reader.Get(), path, console);
    return loaded(reader->GetOutput());
}

// The header's slope and intercept, which the reader leaves to its user.
void apply_rescaling(vtkImageData *image, double slope, double intercept, std::vector<std::string> &remarks) {
    const bool identity = slope == 1 && intercept == 0;
    vtkDataArray *stored = image->GetPointData()->GetScalars();
    if (!stored || slope == 0 || !std::isfinite(slope) || !std::isfinite(intercept) || identity) return;
    vtkSmartPointer<vtkDataArray> scaled;
    if (stored->GetDataTypeSize() > 2 && stored->GetDataType() != VTK_FLOAT) {
        scaled = vtkSmartPointer<vtkDoubleArray>::New();
    } else {
        scaled = vtkSmartPointer<vtkFloatArray>::New();
    }
    scaled->SetName(stored->GetName());
    scaled->SetNumberOfComponents(stored->GetNumberOfComponents());
    scaled->SetNumberOfTuples(stored->GetNumberOfTuples());
    for (vtkIdType row = 0; row < stored->GetNumberOfTuples(); ++row) {
        for (int c = 0; c < stored->GetNumberOfComponents(); ++c) {
            scaled->SetComponent(row, c, stored->GetComponent(row, c) * slope + intercept);
        }
    }
    image->GetPointData()->SetScalars(scaled);
    remarks.push_back("values scaled as the header tells: stored value * " + format_number(slope) + " + " +
                      format_number(intercept));
}

bool usable(const vtkMatrix4x4 *matrix) {
    if (!matrix) return false;
    const double determinant = const_cast<vtkMatrix4x4 *>(matrix)->Determinant();
    return std::isfinite(determinant) && determinant != 0;
}

Loaded read_nifti(const std::string &path, const Wanted &, Console &console) {
    vtkNew<vtkNIFTIImageReader> reader;
    {
        const VtkMessages messages;
        if (!reader->CanReadFile(path.c_str())) refuse(path, "it is not a NIfTI file");
    }
    reader->SetFileName(path.c_str());
    run_reader(reader.Get(), path, console);
    vtkImageData *image = reader->GetOutput();
    Loaded result = loaded(image);
    const bool by_sform = usable(reader->GetSFormMatrix());
    vtkMatrix4x4 *matrix = by_sform ? reader->GetSFormMatrix() : reader->GetQFormMatrix();
    if (usable(matrix)) {
        vtkNew<vtkMatrix3x3> direction;
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 3; ++column) {
                direction->SetElement(row, column, matrix->GetElement(row, column));
            }
        }
        image->SetDirectionMatrix(direction);
        image->SetOrigin(matrix->GetElement(0, 3), matrix->GetElement(1, 3), matrix->GetElement(2, 3));
        result.placement = placement_of(image);
        result.remarks.push_back(by_sform ? "placed by its sform matrix" : "placed by its qform matrix");
    }
    if (reader->GetTimeDimension() > 1) {
        result.remarks.push_back("first of " + std::to_string(reader->GetTimeDimension()) + " volumes");
    }
    apply_rescaling(image, reader->GetRescaleSlope(), reader->GetRescaleIntercept(), result.remarks);
    return result;
}

Loaded read_exodus(const std::string &path, const Wanted &wanted, Console &console) {
    const ExodusMesh mesh = read_exodus_mesh(path, wanted.step, console);
    Loaded result = loaded(mesh.data);
    result.blocks = mesh.blocks;
    result.step = mesh.step;
    return result;
}

Loaded read_netcdf(const std::string &path, const Wanted &wanted, Console &console) {
    const NetcdfGrid grid = read_netcdf_grid(path, wanted.step, wanted.array, console);
    Loaded result = loaded(grid.data);
    result.remarks = grid.remarks;
    result.step = grid.step;
    return result;
}

using ReadFunction = Loaded (*)(const std::string &, const Wanted &, Console &);
const std::map<std::string, ReadFunction> kReaders = {
    {".cdf", read_netcdf},
    {".e", read_exodus},
    {".ex2", read_exodus},
    {".exo", read_exodus},
    {".g", read_exodus},
    {".nc", read_netcdf},
    {".vti", read_xml<vtkXMLImageDataReader>},
    {".vtr", read_xml<vtkXMLRectilinearGridReader>},
    {".vts", read_xml<vtkXMLStructuredGridReader>},
    {".vtu", read_xml<vtkXMLUnstructuredGridReader>},
    {".vtp", read_xml<vtkXMLPolyDataReader>},
    {".vtk", read_legacy},
    {".nii", read_nifti},
    {".nii.gz", read_nifti},
    {".mha", read_meta_image},
    {".mhd", read_meta_image},
};

// ---- Meshes ----

std::shared_ptr<const void> keep(vtkDataArray *array) {
    vtkSmartPointer<vtkDataArray> owner = array;
    return {array->GetVoidPointer(0), [owner](const void *) {}};
}

double determinant(const Affine &m) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// Positive steps along the axes of space, but for what rounding leaves of a rotation.
bool along_axes(const Affine &placement) {
    constexpr double kTolerance = 1e-6;
    for (int column = 0; column < 3; ++column) {
        const double step = placement[column][column];
        for (int row = 0; row < 3; ++row) {
            if (row == column ? step <= 0 : std::abs(placement[row][column]) > kTolerance * std::abs(step))
                return false;
        }
    }
    return true;
}

std::array<double, 3> place(const Affine &placement, double i, double j, double k) {
    std::array<double, 3> point;
    for (int d = 0; d < 3; ++d) {
        point[d] = placement[d][0] * i + placement[d][1] * j + placement[d][2] * k + placement[d][3];
    }
    return point;
}

// Coordinates of all nodes, first axis fastest; at(i, j, k) gives one.
template <class At>
std::shared_ptr<const float> make_coords(const std::array<int, 3> &dims, std::size_t nnodes, At at) {
    std::shared_ptr<float[]> coords(new float[3 * nnodes]);
    float *out = coords.get();
    for (int k = 0; k < dims[2]; ++k) {
        for (int j = 0; j < dims[1]; ++j) {
            for (int i = 0; i < dims[0]; ++i) {
                for (const double x : at(i, j, k)) *out++ = static_cast<float>(x);
            }
        }
    }
    return {coords, coords.get()};
}

void take_bounds_of_corners(Dataset &dataset, const Affine &placement, const int *extent) {
    std::fill(dataset.bounds.begin(), dataset.bounds.end(), 0);
    for (int corner = 0; corner < 8; ++corner) {
        const auto point =
            place(placement, extent[corner & 1], extent[2 + (corner >> 1 & 1)], extent[4 + (corner >> 2)]);
        for (int d = 0; d < 3; ++d) {
            double *range = &dataset.bounds[2 * d];
            range[0] = corner == 0 ? point[d] : std::min(range[0], point[d]);
            range[1] = corner == 0 ? point[d] : std::max(range[1], point[d]);
        }
    }
}

// A plane that is not of constant z.
bool stands_upright(const Dataset &dataset) {
    return dataset.grid_ndim() == 2 && dataset.dims[2] > 1;
}

void take_image(Dataset &dataset, vtkImageData *image, const Affine &placement) {
    const int *extent = image->GetExtent();
    dataset.image = true;
    dataset.origin = place(placement, extent[0], extent[2], extent[4]);
    for (int d = 0; d < 3; ++d) {
        dataset.spacing[d] = std::hypot(placement[0][d], placement[1][d], placement[2][d]);
    }
    dataset.left_handed = determinant(placement) < 0;
    take_bounds_of_corners(dataset, placement, extent);
    dataset.description = "uniform grid";
    const bool turned = !along_axes(placement);
    if (!turned && !stands_upright(dataset)) {
        dataset.kind = MeshKind::kUniform;
        dataset.lower = dataset.origin;
        dataset.upper = place(placement, extent[1], extent[3], extent[5]);
        return;
    }
    dataset.kind = MeshKind::kStructured;
    if (turned) dataset.description += ", turned or mirrored";
    dataset.coords = make_coords(dataset.dims, dataset.nnodes, [&](int i, int j, int k) {
        return place(placement, extent[0] + i, extent[2] + j, extent[4] + k);
    });
}

std::vector<double> axis_values(vtkDataArray *axis, int count) {
    std::vector<double> values(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) values[static_cast<std::size_t>(i)] = axis->GetComponent(i, 0);
    return values;
}

// The library's grid lines rise, and leave a plane no height. Grids of falling lines and planes become
// structured ones.
void take_rectilinear(Dataset &dataset, vtkRectilinearGrid *grid) {
    vtkDataArray *sources[3] = {grid->GetXCoordinates(), grid->GetYCoordinates(), grid->GetZCoordinates()};
    std::array<std::vector<double>, 3> axes;
    bool falling = false;
    for (std::size_t d = 0; d < 3; ++d) {
        if (!sources[d] || sources[d]->GetNumberOfTuples() < dataset.dims[d]) {
            refuse(dataset.path, "it has not enough coordinates for its dimensions");
        }
        axes[d] = axis_values(sources[d], dataset.dims[d]);
        if (axes[d].front() > axes[d].back()) {
            falling = true;
            dataset.left_handed = !dataset.left_handed;
        }
    }
    dataset.description = "rectilinear grid";
    if (falling || dataset.grid_ndim() == 2) {
        dataset.kind = MeshKind::kStructured;
        dataset.coords = make_coords(dataset.dims, dataset.nnodes, [&](int i, int j, int k) {
            return std::array{axes[0][static_cast<std::size_t>(i)], axes[1][static_cast<std::size_t>(j)],
                              axes[2][static_cast<std::size_t>(k)]};
        });
        return;
    }
    dataset.kind = MeshKind::kRectilinear;
    for (const auto &axis : axes) dataset.axes.emplace_back(axis.begin(), axis.end());
}

// The sign of the volume that most cells have; a sample of them tells.
bool mostly_left_handed(const Dataset &dataset) {
    const auto [ni, nj, nk] = dataset.dims;
    if (ni < 2 || nj < 2 || nk < 2) return false;
    const float *coords = dataset.coords.get();
    constexpr int kSamples = 5;
    int balance = 0;
    for (int sample = 0; sample < kSamples * kSamples * kSamples; ++sample) {
        const auto at = [&](int n, int which) {
            return static_cast<std::size_t>((n - 2) * which / (kSamples - 1));
        };
        const std::size_t steps[3] = {1, static_cast<std::size_t>(ni), static_cast<std::size_t>(ni) * nj};
        const std::size_t node = at(ni, sample % kSamples) + at(nj, sample / kSamples % kSamples) * steps[1] +
                                 at(nk, sample / (kSamples * kSamples)) * steps[2];
        Affine jacobian = {};
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 3; ++column) {
                jacobian[row][column] = coords[3 * (node + steps[column]) + row] - coords[3 * node + row];
            }
        }
        const double volume = determinant(jacobian);
        balance += (volume > 0) - (volume < 0);
    }
    return balance < 0;
}

std::shared_ptr<const float> coords_of(vtkPoints *points) {
    if (vtkFloatArray::SafeDownCast(points->GetData())) {
        return std::static_pointer_cast<const float>(keep(points->GetData()));
    }
    vtkNew<vtkFloatArray> narrowed;
    narrowed->DeepCopy(points->GetData());
    return std::static_pointer_cast<const float>(keep(narrowed));
}

void take_structured(Dataset &dataset, vtkStructuredGrid *grid) {
    dataset.kind = MeshKind::kStructured;
    dataset.description = "structured grid";
    vtkDataArray *points = grid->GetPoints() ? grid->GetPoints()->GetData() : nullptr;
    if (!points || static_cast<std::size_t>(points->GetNumberOfTuples()) != dataset.nnodes) {
        refuse(dataset.path, "it has not one point for each of its " + dataset.dims_text() + " nodes");
    }
    dataset.coords = coords_of(grid->GetPoints());
    dataset.left_handed = mostly_left_handed(dataset);
    if (grid->HasAnyBlankPoints() || grid->HasAnyBlankCells()) {
        dataset.remarks.push_back("blanked parts are taken as present");
    }
}

void count_grid_cells(Dataset &dataset) {
    static const char *const kNames[] = {"vertices", "lines", "quadrilaterals", "hexahedra"};
    dataset.cell_counts.emplace_back(kNames[dataset.grid_ndim()], dataset.ncells);
}

void take_mesh(Dataset &dataset, const Loaded &source) {
    vtkDataSet *data = source.data;
    if (auto *image = vtkImageData::SafeDownCast(data)) {
        image->GetDimensions(dataset.dims.data());
        take_image(dataset, image, source.placement);
    } else if (auto *rectilinear = vtkRectilinearGrid::SafeDownCast(data)) {
        rectilinear->GetDimensions(dataset.dims.data());
        take_rectilinear(dataset, rectilinear);
    } else if (auto *structured = vtkStructuredGrid::SafeDownCast(data)) {
        structured->GetDimensions(dataset.dims.data());
        take_structured(dataset, structured);
    } else {
        dataset.kind = MeshKind::kCells;
        dataset.description = vtkPolyData::SafeDownCast(data) ? "polygonal mesh" : "unstructured mesh";
        dataset.coords = coords_of(vtkPointSet::SafeDownCast(data)->GetPoints());
        take_cells(dataset, data, source.blocks);
    }
    if (!dataset.image) data->GetBounds(dataset.bounds.data());
    if (dataset.grid()) count_grid_cells(dataset);
}

// ---- Arrays ----

void take_arrays(Dataset &dataset, vtkDataSetAttributes *attributes, Association association,
                 std::size_t rows) {
    for (int i = 0; i < attributes->GetNumberOfArrays(); ++i) {
        vtkAbstractArray *source = attributes->GetAbstractArray(i);
        const std::string name = source->GetName() ? source->GetName() : "";
        if (name == vtkDataSetAttributes::GhostArrayName()) continue;
        DataArray array;
        array.name = name.empty() ? "array" + std::to_string(i) : name;
        array.association = association;
        array.type_name = source->GetDataTypeAsString();
        array.components = source->GetNumberOfComponents();
        array.rows = static_cast<std::size_t>(source->GetNumberOfTuples());
        array.source_type = source->GetDataType();
        if (array.rows != rows) {
            refuse(dataset.path, "array '" + array.name + "' has " + std::to_string(array.rows) +
                                     " rows for " + std::to_string(rows) +
                                     (association == Association::kNode ? " nodes" : " cells"));
        }
        auto *numbers = vtkDataArray::SafeDownCast(source);
        array.numeric = numbers && array.source_type != VTK_BIT;
        if (array.numeric) array.values = keep(numbers);
        if (association == Association::kNode && source == attributes->GetScalars()) {
            dataset.active_scalars = array.name;
        }
        dataset.arrays.push_back(std::move(array));
    }
}

// The one number under the first of these names that the field data have.
std::optional<double> field_number(vtkFieldData *field, std::initializer_list<std::string> names) {
    for (const std::string &name : names) {
        auto *array = vtkDataArray::SafeDownCast(field->GetAbstractArray(name.c_str()));
        if (array && array->GetNumberOfValues() == 1) return array->GetComponent(0, 0);
    }
    return std::nullopt;
}

void take_nulls(Dataset &dataset, vtkFieldData *field) {
    for (DataArray &array : dataset.arrays) {
        array.null_value = field_number(
            field, {array.name + kNullSuffix, array.name + ":missing_value", "_FillValue", "missing_value"});
        // Declared as a double, and held as a float.
        if (array.null_value && array.source_type == VTK_FLOAT) {
            array.null_value = static_cast<float>(*array.null_value);
        }
    }
}

Dataset make_dataset(const Loaded &source, const std::string &path) {
    Dataset dataset;
    dataset.path = path;
    dataset.remarks = source.remarks;
    dataset.step = source.step;
    dataset.nnodes = static_cast<std::size_t>(source.data->GetNumberOfPoints());
    dataset.ncells = static_cast<std::size_t>(source.data->GetNumberOfCells());
    take_mesh(dataset, source);
    take_arrays(dataset, source.data->GetPointData(), Association::kNode, dataset.nnodes);
    take_arrays(dataset, source.data->GetCellData(), Association::kCell, dataset.ncells);
    take_nulls(dataset, source.data->GetFieldData());
    return dataset;
}

}  // namespace

std::string readable_extensions() {
    std::string list;
    for (const auto &[extension, function] : kReaders) add_item(list, extension);
    return list;
}

Dataset read_dataset(const std::string &path, std::optional<int> step, Console &console,
                     vtkSmartPointer<vtkDataSet> *original, const std::string &array) {
    if (is_result(path)) {
        if (step) refuse(path, "it has no steps; leave --step out");
        const auto data = result_named(path);
        if (data->GetNumberOfPoints() == 0) refuse(path, "it holds no nodes");
        if (original) *original = data;
        return dataset_of(data, path);
    }
    const auto reader = kReaders.find(extension_of(path));
    if (reader == kReaders.end()) {
        refuse(path, "unknown kind of file; known are " + readable_extensions());
    }
    check_readable(path);
    if (step && reader->second != read_exodus && reader->second != read_netcdf)
        refuse(path, "this kind of file has no steps; leave --step out");
    const Loaded source = reader->second(path, {step, array}, console);
    if (!source.data || source.data->GetNumberOfPoints() == 0) refuse(path, "it holds no nodes");
    if (original) *original = source.data;
    return make_dataset(source, path);
}

Dataset dataset_of(vtkDataSet *data, const std::string &path) {
    return make_dataset(loaded(data), path);
}

}  // namespace app
