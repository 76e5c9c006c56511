// isofield downsize and resample: grids with fewer or more nodes, in a file of the same kind.
#include <algorithm>
#include <array>
#include <climits>
#include <memory>

#include <vtkDoubleArray.h>
#include <vtkImageData.h>
#include <vtkPointData.h>
#include <vtkRectilinearGrid.h>
#include <vtkStructuredGrid.h>

#include "dataset_io.hpp"
#include "errors.hpp"
#include "extraction.hpp"
#include "field_picture.hpp"
#include "mesh_output.hpp"
#include "operations.hpp"
#include "vtk_support.hpp"
#include "writer_support.hpp"

namespace app {
namespace {

struct RegridOptions : InputOptions {
    std::vector<std::string> arrays;
    std::string sizes;  // what --every or --dims says
    bool native = false;
    OutputOptions output;
};

// How a grid is brought to other nodes: node j along an axis stands where j * step / parts counts among the
// old ones.
struct Regridding {
    std::array<int, 3> dims, made_dims;
    std::array<int, 3> steps = {1, 1, 1}, parts = {1, 1, 1};
    std::optional<isofield::Resampling> resampling;  // none: steps are whole

    double ratio(std::size_t axis) const { return static_cast<double>(steps[axis]) / parts[axis]; }
    double place(std::size_t axis, int j) const { return static_cast<double>(steps[axis]) * j / parts[axis]; }
};

// ---- What is asked for ----

constexpr char kEvery[] = "N or NX,NY,NZ, whole numbers from 1 (1 keeps an axis)";
constexpr char kDims[] = "NX,NY,NZ, whole numbers from 1, as in 64,64,32";

std::array<int, 3> sizes_of(const std::string &text, bool every) {
    const char *option = every ? "--every" : "--dims", *form = every ? kEvery : kDims;
    const std::vector<int> sizes = counts_of(text, option, form);
    if (every && sizes.size() == 1) return {sizes[0], sizes[0], sizes[0]};
    if (sizes.size() != 3) refuse_form(text, option, form);
    return {sizes[0], sizes[1], sizes[2]};
}

Regridding downsizing(const Dataset &dataset, const std::array<int, 3> &factors, Console &console) {
    check_is_grid(dataset, "downsize");
    const std::vector<int> made = isofield::downsized_dims(dataset.dims, factors);
    Regridding to{dataset.dims, {made[0], made[1], made[2]}, factors, {1, 1, 1}, {}};
    std::string shorter;
    for (std::size_t d = 0; d < 3; ++d) {
        if ((dataset.dims[d] - 1) % factors[d] != 0) add_item(shorter, std::string(1, "xyz"[d]), ", ");
    }
    if (!shorter.empty())
        console.note("along " + shorter + " the grid ends before the old one, whose last node is not met");
    return to;
}

Regridding resampling(const Dataset &dataset, vtkDataSet *original, const std::array<int, 3> &dims,
                      bool native) {
    check_is_grid(dataset, "resample");
    if (vtkStructuredGrid::SafeDownCast(original)) {
        throw UsageError("'" + dataset.path +
                         "' is a structured grid, whose nodes stand anywhere; take every N-th of them by "
                         "isofield downsize, or interpolate on a straight grid by isofield probe --grid");
    }
    Regridding to{dataset.dims, dims, {}, {}, {}};
    to.resampling = native ? isofield::Resampling::kNative : isofield::Resampling::kExact;
    double nodes = 1;
    for (std::size_t d = 0; d < 3; ++d) {
        if (dims[d] > 1 && dataset.dims[d] == 1) {
            throw UsageError(std::string("the grid has one node along ") + "xyz"[d] +
                             "; give --dims one there too");
        }
        to.steps[d] = dims[d] > 1 ? dataset.dims[d] - 1 : 1;
        to.parts[d] = std::max(dims[d] - 1, 1);
        nodes *= dims[d];
    }
    if (nodes > INT_MAX / 3) throw UsageError("--dims has more nodes than can be numbered");
    return to;
}

// ---- The new grid ----

ArrayData regridded(const ArrayData &data, const Regridding &to) {
    return isofield::front::visit_type(data.type, [&](auto type) {
        const auto values = data.values_as<typename decltype(type)::type>();
        return owned_data(
            to.resampling ? isofield::resample(values, to.dims, to.made_dims, data.components, *to.resampling)
                          : isofield::downsize(values, to.dims, to.steps, data.components),
            data.components);
    });
}

// A grid's lines across an axis, in between those of the old one.
vtkSmartPointer<vtkDataArray> lines_of(vtkDataArray *old, const Regridding &to, std::size_t axis) {
    auto lines = vtkSmartPointer<vtkDoubleArray>::New();
    for (int j = 0; j < to.made_dims[axis]; ++j) {
        const double place = to.place(axis, j);
        const auto low = static_cast<int>(place);
        const double part = place - low, line = old->GetComponent(low, 0);
        lines->InsertNextValue(part > 0 ? line + part * (old->GetComponent(low + 1, 0) - line) : line);
    }
    return lines;
}

vtkSmartPointer<vtkDataSet> image_of(vtkImageData *old, const Regridding &to) {
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(to.made_dims.data());
    image->SetOrigin(old->GetPoint(0));
    image->SetDirectionMatrix(old->GetDirectionMatrix());
    const double *spacing = old->GetSpacing();
    image->SetSpacing(spacing[0] * to.ratio(0), spacing[1] * to.ratio(1), spacing[2] * to.ratio(2));
    return image;
}

ArrayData coordinates_of(vtkStructuredGrid *grid, Console &console) {
    vtkDataArray *coords = grid->GetPoints()->GetData();
    DataArray array;
    array.name = "coordinates";
    array.type_name = coords->GetDataTypeAsString();
    array.components = 3;
    array.rows = static_cast<std::size_t>(coords->GetNumberOfTuples());
    array.source_type = coords->GetDataType();
    array.values = {std::shared_ptr<void>(), coords->GetVoidPointer(0)};
    return array_data(array, console);
}

// A grid with its arrays, which it views.
struct NewGrid {
    vtkSmartPointer<vtkDataSet> data;
    ArrayData coords;  // of structured grids
    std::vector<NamedArray> arrays;
    std::string seconds;
};

void make_mesh_of(NewGrid &grid, vtkDataSet *old, const Regridding &to, Console &console) {
    if (auto *image = vtkImageData::SafeDownCast(old)) {
        grid.data = image_of(image, to);
    } else if (auto *rectilinear = vtkRectilinearGrid::SafeDownCast(old)) {
        auto made = vtkSmartPointer<vtkRectilinearGrid>::New();
        made->SetDimensions(to.made_dims.data());
        made->SetXCoordinates(lines_of(rectilinear->GetXCoordinates(), to, 0));
        made->SetYCoordinates(lines_of(rectilinear->GetYCoordinates(), to, 1));
        made->SetZCoordinates(lines_of(rectilinear->GetZCoordinates(), to, 2));
        grid.data = made;
    } else {
        auto made = vtkSmartPointer<vtkStructuredGrid>::New();
        made->SetDimensions(to.made_dims.data());
        grid.coords = regridded(coordinates_of(vtkStructuredGrid::SafeDownCast(old), console), to);
        vtkNew<vtkPoints> points;
        points->SetData(view_array("coordinates", grid.coords));
        made->SetPoints(points);
        grid.data = made;
    }
    grid.data->GetFieldData()->ShallowCopy(old->GetFieldData());
}

NewGrid make_grid(vtkDataSet *old, const std::vector<NamedArray> &arrays, const Dataset &dataset,
                  const Regridding &to, Console &console) {
    const Stopwatch making;
    NewGrid grid;
    make_mesh_of(grid, old, to, console);
    vtkPointData *of_nodes = grid.data->GetPointData();
    for (const NamedArray &array : arrays) {
        console.progress("taking nodes", static_cast<int>(100 * grid.arrays.size() / arrays.size()));
        grid.arrays.push_back({array.name, regridded(array.data, to), array.null_value});
        of_nodes->AddArray(view_array(array.name, grid.arrays.back().data));
        declare_null(grid.data, array.name, array.null_value);
    }
    of_nodes->SetActiveScalars(dataset.active_scalars.c_str());
    console.clear_bar();
    grid.seconds = making.seconds();
    return grid;
}

// ---- The run ----

void write(const NewGrid &grid, OutputFile &file, Console &console) {
    console.progress("writing", 0);
    write_xml(grid.data, file, console);
    file.commit();
    console.clear_bar();
}

void tell_of_cell_arrays(const Dataset &dataset, Console &console) {
    std::string names;
    for (const DataArray &array : dataset.arrays) {
        if (array.association == Association::kCell) add_item(names, "'" + array.name + "'", ", ");
    }
    if (!names.empty()) {
        console.note("left out: " + names +
                     ", on cells; to keep them bring them to the nodes first, by isofield cell2node");
    }
}

// The array of the picture: the first that was named, else the file's active one.
const NamedArray &shown_array(const NewGrid &grid, const Dataset &dataset, bool named) {
    const auto active = std::find_if(grid.arrays.begin(), grid.arrays.end(), [&](const NamedArray &array) {
        return array.name == dataset.active_scalars;
    });
    return named || active == grid.arrays.end() ? grid.arrays.front() : *active;
}

void run_regrid(const RegridOptions &options, bool every, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    const std::array<int, 3> sizes = sizes_of(options.sizes, every);
    OutputFiles files(output, ".vti .vtr .vts", {options.path});
    const Stopwatch reading;
    vtkSmartPointer<vtkDataSet> original;
    const Dataset dataset =
        read_dataset(options.path, options.step, console, &original, first_of(options.arrays));
    const Regridding to =
        every ? downsizing(dataset, sizes, console) : resampling(dataset, original, sizes, options.native);
    check_mesh_name(output.geometry, dataset, original);
    const auto arrays =
        named_arrays(choose_arrays(dataset, Association::kNode, options.arrays), options, console);
    say_read(dataset, arrays, reading, console);
    tell_of_cell_arrays(dataset, console);

    const NewGrid grid = make_grid(original, arrays, dataset, to, console);
    Dataset made = dataset_of(grid.data, output.geometry);
    const std::string text = "made   " + made.dims_text() + " nodes with " +
                             format_count(arrays.size(), "array", "arrays") + ", " + grid.seconds;
    std::optional<Field> field;
    if (files.picture) {
        isofield::Mesh mesh = make_mesh(made, console);
        field = field_of(std::move(made), std::move(mesh));
    }
    const Stopwatch writing;
    write(grid, files.geometry, console);
    console.say(text + "; " + output.geometry + ", " + writing.seconds());
    if (!field) return;

    const Stopwatch drawing;
    draw_field(*field, shown_array(grid, dataset, !options.arrays.empty()), output.style, *files.picture,
               console);
    say_drawn(output, drawing, console);
}

void add_common(CLI::App &command, RegridOptions &options) {
    add_array_option(command, "-a,--array", options.arrays,
                     "Node arrays to keep, instead of all; the first colours the picture");
    add_input_options(command, options);
    add_output_options(command, options.output, "Grid of FIELD's own kind", ".vti .vtr .vts");
}

}  // namespace

void add_downsize(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("downsize", "Keep every N-th node of a grid along each axis");
    const auto options = std::make_shared<RegridOptions>();
    command
        ->add_option("--every", options->sizes,
                     "Nodes to step, along all axes or along each; 1 keeps an axis")
        ->type_name("N|NX,NY,NZ")
        ->required();
    add_common(*command, *options);
    command->footer(examples({"downsize brain.nii.gz --every 2 -o half.vti"}));
    command->callback([options, &chosen] {
        chosen = [options](Console &console) { run_regrid(*options, true, console); };
    });
}

void add_resample(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "resample", "Bring a uniform or rectilinear grid to other counts of nodes over the same extent");
    command->footer(
        "Each node takes the values of the nearest old one at or below it along each axis; for values in "
        "between use 'isofield probe --grid'.\n\n" +
        examples({"resample brain.nii.gz --dims 64,64,64 -o small.vti"}));
    const auto options = std::make_shared<RegridOptions>();
    command->add_option("--dims", options->sizes, "Nodes along each axis")->type_name("NX,NY,NZ")->required();
    command->add_flag("--native", options->native,
                      "Round as the library's function does: a node that meets an old one may take the one "
                      "below; see isofield.h");
    add_common(*command, *options);
    command->callback([options, &chosen] {
        chosen = [options](Console &console) { run_regrid(*options, false, console); };
    });
}

}  // namespace app
