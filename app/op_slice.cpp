// isofield slice: node arrays on a plane.
#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include <vtkDataSetAttributes.h>
#include <vtkPointData.h>
#include <vtkStructuredGrid.h>
#include <vtkUnsignedCharArray.h>

#include "dataset_io.hpp"
#include "errors.hpp"
#include "level_output.hpp"
#include "operations.hpp"
#include "render.hpp"
#include "writer_support.hpp"

namespace app {
namespace {

constexpr char kGrid[] = ".vts";

struct SliceOptions : InputOptions {
    std::vector<std::string> arrays;
    std::string normal, origin;
    std::optional<double> distance;
    OutputOptions output;
};

using Vector = std::array<double, 3>;
using Bounds = std::array<double, 6>;

// normal . p = distance, the normal 1 long.
struct SlicePlane {
    Vector normal;
    double distance;
};

double dot(const Vector &a, const Vector &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// The plane as far as it is told before the file is read.
struct GivenPlane {
    Vector normal;
    std::optional<double> distance;
};

GivenPlane given_plane(const SliceOptions &options) {
    if (options.distance && !options.origin.empty())
        throw UsageError("name the place of the plane by one of --distance and --origin");
    const auto n = numbers_of(options.normal, "--normal", 3, "NX,NY,NZ, as in 0,0,1");
    const double length = std::hypot(n[0], n[1], n[2]);
    if (!(length > 0)) throw UsageError("--normal must not be 0,0,0");
    GivenPlane plane{{n[0] / length, n[1] / length, n[2] / length}, options.distance};
    if (!options.origin.empty()) {
        const auto p = numbers_of(options.origin, "--origin", 3, "X,Y,Z, as in 0,0.5,-1");
        plane.distance = dot(plane.normal, {p[0], p[1], p[2]});
    }
    return plane;
}

SlicePlane placed(const GivenPlane &given, const Bounds &box) {
    const Vector middle = {(box[0] + box[1]) / 2, (box[2] + box[3]) / 2, (box[4] + box[5]) / 2};
    return {given.normal, given.distance.value_or(dot(given.normal, middle))};
}

std::string text_of(const SlicePlane &plane) {
    const Vector &n = plane.normal;
    return "the plane " + format_number(n[0]) + "," + format_number(n[1]) + "," + format_number(n[2]) +
           " at " + format_number(plane.distance);
}

// How far the box reaches along the normal.
std::array<double, 2> reach(const Vector &normal, const Bounds &box) {
    std::array<double, 2> range = {0, 0};
    for (std::size_t d = 0; d < 3; ++d) {
        const double a = normal[d] * box[2 * d], b = normal[d] * box[2 * d + 1];
        range[0] += std::min(a, b);
        range[1] += std::max(a, b);
    }
    return range;
}

[[noreturn]] void refuse_miss(const SlicePlane &plane, const Dataset &dataset) {
    const auto [lower, upper] = reach(plane.normal, dataset.bounds);
    throw UsageError(text_of(plane) + " misses the mesh, which reaches from " + format_number(lower) +
                     " to " + format_number(upper) + " along its normal; choose another --distance");
}

Field read(const SliceOptions &options, Console &console) {
    const Stopwatch reading;
    Dataset dataset = read_dataset(options.path, options.step, console, nullptr, first_of(options.arrays));
    const auto chosen = choose_arrays(dataset, Association::kNode, options.arrays);
    isofield::Mesh mesh = make_mesh(dataset, console);
    const std::vector<NamedArray> arrays = named_arrays(chosen, options, console);
    say_read(dataset, arrays, reading, console);
    return {std::move(dataset), std::move(mesh), LineCells::kLeaveOut, arrays, {}, {}, {}};
}

// Writes by `write`, and tells what was `made`.
template <class Write>
void finish(const std::string &made, const std::string &made_seconds, const std::string &name,
            Console &console, Write write) {
    const Stopwatch writing;
    write();
    console.say("made   " + made + ", " + made_seconds + "; " + name + ", " + writing.seconds());
}

// Straight on the plane, unless another view is asked for.
void draw(const OutputSurface &surface, const SlicePlane &plane, const Bounds &bounds,
          const OutputOptions &output, OutputFile &file, Console &console) {
    const Stopwatch drawing;
    PictureStyle style = output.style;
    if (!style.view) {
        constexpr double kDegree = std::numbers::pi / 180;
        const Vector &n = plane.normal;
        const bool upright = n[0] == 0 && n[1] == 0;
        style.view = {upright ? 0 : std::atan2(n[0], -n[1]) / kDegree,
                      std::asin(std::clamp(n[2], -1.0, 1.0)) / kDegree};
    }
    draw_surface(surface, bounds, style, file, console, {.shaded = false, .whole_field = true});
    say_drawn(output, drawing, console);
}

// ---- As a grid ----

void check_grid(const Dataset &dataset, const std::string &output) {
    const bool sliced = dataset.kind == MeshKind::kUniform || dataset.kind == MeshKind::kRectilinear;
    if (sliced && dataset.grid_ndim() == 3) return;
    throw UsageError(
        "cannot write '" + output +
        "': only uniform and rectilinear grids of three dimensions, "
        "whose lines rise along x, y and z, have slices that are grids; name a file that ends in .vtp");
}

// "1 x 1.25", the mean distance of points along the slice's two axes.
std::string spacing_of(const isofield::PlaneSlice &slice) {
    const auto [nu, nv] = slice.dims();
    const std::span<const float> points = slice.points();
    std::string text;
    for (const auto &[count, stride] : {std::pair(nu, 1), std::pair(nv, nu)}) {
        const auto last = static_cast<std::size_t>(3 * (count - 1) * stride);
        const double length =
            std::hypot(points[last] - points[0], points[last + 1] - points[1], points[last + 2] - points[2]);
        add_item(text, format_number(length / std::max(count - 1, 1), 4), " x ");
    }
    return text;
}

std::vector<OutputArray> carried(const Field &field, const isofield::PlaneSlice &slice) {
    std::vector<OutputArray> arrays;
    for (const NamedArray &source : field.attached) {
        const std::vector<float> values = slice.carry(source.data.view(), source.null_value);
        arrays.push_back(output_array<float>(source.name, isofield::ElementType::kFloat, values));
        arrays.back().components = source.data.components;
    }
    return arrays;
}

// Viewers leave out the points that are marked as hidden.
vtkSmartPointer<vtkStructuredGrid> to_grid(const isofield::PlaneSlice &slice, const OutputSurface &surface) {
    const vtkSmartPointer<vtkPolyData> data = to_polydata(surface);
    auto grid = vtkSmartPointer<vtkStructuredGrid>::New();
    grid->SetDimensions(slice.dims()[0], slice.dims()[1], 1);
    grid->SetPoints(data->GetPoints());
    grid->GetPointData()->ShallowCopy(data->GetPointData());
    vtkNew<vtkUnsignedCharArray> hidden;
    hidden->SetName(vtkDataSetAttributes::GhostArrayName());
    for (const unsigned char inside : slice.inside())
        hidden->InsertNextValue(inside ? 0 : vtkDataSetAttributes::HIDDENPOINT);
    grid->GetPointData()->AddArray(hidden);
    return grid;
}

void slice_grid(Field &field, const SlicePlane &plane, const OutputOptions &output, OutputFiles &files,
                Console &console) {
    const Stopwatch making;
    check_grid(field.dataset, output.geometry);
    console.progress("slicing", 0);
    const isofield::PlaneSlice slice = field.mesh.plane_slice(plane.normal, plane.distance);
    if (slice.ninside() == 0) refuse_miss(plane, field.dataset);
    const auto triangles = grid_triangles(
        slice.dims(), [&](int point) { return slice.inside()[static_cast<std::size_t>(point)] != 0; });
    OutputSurface surface;
    surface.points = slice.points();
    surface.triangles = triangles;
    surface.arrays = carried(field, slice);
    const std::string made = std::to_string(slice.dims()[0]) + " x " + std::to_string(slice.dims()[1]) +
                             " points on " + text_of(plane) + ", " + std::to_string(slice.ninside()) +
                             " inside, spacing " + spacing_of(slice);
    finish(made, making.seconds(), output.geometry, console, [&] {
        console.progress("writing", 0);
        write_xml(to_grid(slice, surface), files.geometry, console);
        files.geometry.commit();
    });
    if (files.picture) draw(surface, plane, field.dataset.bounds, output, *files.picture, console);
}

// ---- As a surface ----

void slice_cells(Field &field, const SlicePlane &plane, const OutputOptions &output, OutputFiles &files,
                 Console &console) {
    const Stopwatch making;
    Vector point;
    for (std::size_t d = 0; d < 3; ++d) point[d] = plane.distance * plane.normal[d];
    const std::vector<double> distances = field.mesh.signed_distances(isofield::Plane{point, plane.normal});
    const bool with_cells = keeps_cell_arrays(output.geometry);
    isofield::ExtractionOptions settings = extraction_settings(field, "slicing", console);
    settings.keep_cells = with_cells;
    const PolledStage polled;
    const isofield::Surface surface = field.mesh.isosurface(distances, 0, settings);
    check_interrupt();
    console.clear_bar();
    if (surface.npoints() == 0) refuse_miss(plane, field.dataset);
    const LevelOutput made = make_output(field, surface, with_cells);
    finish(counts_of(surface) + " on " + text_of(plane), making.seconds(), output.geometry, console,
           [&] { write_surface(made.output, files.geometry, console); });
    if (files.picture) draw(made.output, plane, field.dataset.bounds, output, *files.picture, console);
}

void run_slice(const SliceOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    const GivenPlane given = given_plane(options);
    OutputFiles files(output, surface_extensions() + " " + kGrid, {options.path});
    Field field = read(options, console);
    const SlicePlane plane = placed(given, field.dataset.bounds);
    const auto [lower, upper] = reach(plane.normal, field.dataset.bounds);
    if (plane.distance < lower || plane.distance > upper) refuse_miss(plane, field.dataset);
    const bool as_grid = extension_of(output.geometry) == kGrid;
    (as_grid ? slice_grid : slice_cells)(field, plane, output, files, console);
}

}  // namespace

void add_slice(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("slice", "Make a plane slice, with node arrays on it");
    const auto options = std::make_shared<SliceOptions>();
    command->add_option("--normal", options->normal, "Normal of the plane")->required()->type_name("X,Y,Z");
    add_number(*command, "--distance", options->distance, "Distance of the plane from 0,0,0 along its normal",
               "DISTANCE")
        ->default_str("through the middle of the field");
    command->add_option("--origin", options->origin, "Point of the plane, in the place of --distance")
        ->type_name("X,Y,Z");
    add_array_option(*command, "-a,--array", options->arrays,
                     "Node arrays to carry to the slice, instead of all; the first colours the picture");
    add_input_options(*command, *options);
    add_output_options(*command, options->output,
                       "Triangles, or of uniform and rectilinear grids a grid on the plane (.vts),",
                       surface_extensions() + " " + kGrid);
    command->footer(examples({"slice brain.nii.gz --normal 1,0.6,0.3 -o slice.vts --png slice.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_slice(*options, console); }; });
}

}  // namespace app
