// isofield faces and edges: what a mesh shows from outside, and the edges that tell its shape.
#include <vtkCellType.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "cells_io.hpp"
#include "errors.hpp"
#include "extraction.hpp"
#include "operations.hpp"
#include "part_output.hpp"
#include "sheet.hpp"

namespace app {
namespace {

isofield::Submesh skin_of(Field &field, Console &console) {
    const PolledStage polled;
    isofield::Submesh skin = field.mesh.external_faces(polled_progress("faces", console));
    check_interrupt();
    console.clear_bar();
    return skin;
}

// ---- faces ----

struct FacesOptions {
    FieldOptions field;
    bool edges = false;
    OutputOptions output;
};

std::string face_extensions() {
    return surface_extensions() + " .vtu";
}

void check_volume(const Dataset &dataset) {
    if (!dataset.has_volume()) {
        throw UsageError("'" + dataset.path +
                         "' has no cells with volume, which alone have faces: it holds " +
                         counts_text(dataset.cell_counts) + "; isofield edges takes surfaces");
    }
}

void tell_of_flat_cells(const Dataset &dataset, Console &console) {
    std::size_t flat = 0;
    for (const CellBlock &block : dataset.blocks) {
        if (block.type.starts_with("tri_") || block.type.starts_with("quad_")) flat += block.sources.size();
    }
    if (flat > 0) console.note(format_count(flat, "flat cell takes", "flat cells take") + " no part");
}

// The faces in the form that files take, and what is told of them.
struct Faces {
    OutputPart part;
    double area = 0;
    std::size_t ncells = 0;  // that have one
};

Faces make_faces(Field &field, Console &console) {
    Faces faces{start_part(field, {}, console)};
    const isofield::Submesh skin = skin_of(field, console);
    take_submesh(faces.part, field, skin);
    if (!skin.sets().empty()) faces.area = isofield::Mesh::of(skin).integrate(2).measure;
    std::vector<int> cells(skin.cells().begin(), skin.cells().end());
    std::sort(cells.begin(), cells.end());
    faces.ncells = static_cast<std::size_t>(std::unique(cells.begin(), cells.end()) - cells.begin());
    return faces;
}

// Faces cut into triangles, for files that hold no others.
struct Triangles {
    std::vector<isofield::Triangle> nodes;
    std::vector<int> faces;  // per triangle
};

Triangles triangles_of(const OutputPart &part) {
    static const std::vector<isofield::Triangle> kTriangle = {{0, 1, 2}}, kQuad = {{0, 1, 2}, {0, 2, 3}};
    static const std::vector<isofield::Triangle> kTriangle2 = {{0, 3, 5}, {3, 1, 4}, {5, 4, 2}, {3, 4, 5}};
    static const std::vector<isofield::Triangle> kQuad2 = {{0, 4, 7}, {4, 1, 5}, {5, 2, 6},
                                                           {6, 3, 7}, {4, 5, 7}, {5, 6, 7}};
    Triangles made;
    for (std::size_t face = 0; face < part.ncells(); ++face) {
        const int type = part.types[face];
        const auto &pieces = type == VTK_TRIANGLE             ? kTriangle
                             : type == VTK_QUAD               ? kQuad
                             : type == VTK_QUADRATIC_TRIANGLE ? kTriangle2
                                                              : kQuad2;
        const int *nodes = part.nodes.data() + part.offsets[face];
        for (const auto &[a, b, c] : pieces) {
            made.nodes.push_back({nodes[a], nodes[b], nodes[c]});
            made.faces.push_back(static_cast<int>(face));
        }
    }
    return made;
}

// Views the part and the triangles.
OutputSurface surface_of(const OutputPart &part, const Triangles &triangles, bool with_ids) {
    OutputSurface surface;
    surface.points = part.points;
    surface.triangles = triangles.nodes;
    surface.arrays = part.arrays;
    for (const OutputArray &array : part.cell_arrays) {
        if (!with_ids && &array == &part.cell_arrays.back()) break;
        const std::size_t row = array.values.size() / std::max<std::size_t>(part.ncells(), 1);
        OutputArray &spread = surface.cell_arrays.emplace_back(array);
        spread.values.clear();
        for (const int face : triangles.faces) {
            const auto first = array.values.begin() + static_cast<std::ptrdiff_t>(row) * face;
            spread.values.insert(spread.values.end(), first, first + static_cast<std::ptrdiff_t>(row));
        }
    }
    return surface;
}

void write_faces(const OutputPart &part, OutputFile &file, Console &console) {
    if (file.in_memory() || extension_of(file.name()) == ".vtu") return write_part(part, file, console);
    const Triangles triangles = triangles_of(part);
    if (triangles.faces.size() > part.ncells())
        console.note("the faces are written as " + std::to_string(triangles.faces.size()) +
                     " triangles; write .vtu to keep them whole");
    write_surface(surface_of(part, triangles, keeps_cell_arrays(file.name())), file, console);
}

void run_faces(const FacesOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    if (options.edges && output.picture.empty()) throw UsageError("--edges goes with --png");
    OutputFiles files(output, face_extensions(), {options.field.path});
    Field field = read_field_without_scalar(options.field, console);
    check_volume(field.dataset);
    tell_of_flat_cells(field.dataset, console);

    const Stopwatch making;
    const Faces faces = make_faces(field, console);
    const OutputPart &part = faces.part;
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_faces(part, files.geometry, console);
    std::string line = "made   " + counts_text(count_cells(part.types)) + " of " +
                       format_count(faces.ncells, "cell", "cells") + ", " +
                       format_count(part.npoints(), "node", "nodes") + ", area " + format_number(faces.area) +
                       ", " + made_seconds + "; " + output.geometry + ", " + writing.seconds();
    if (part.ncells() == 0) line += " (empty: every face is shared)";
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    draw_part(part, std::nullopt, field.dataset.bounds, output.style, *files.picture, console, options.edges);
    say_drawn(output, drawing, console);
}

// ---- edges ----

const std::vector<std::string> kKinds = {"boundary", "crease", "non-manifold"};
constexpr double kAngle = 30;

struct EdgesOptions {
    FieldOptions field;
    std::optional<double> angle;
    bool all = false;
    OutputOptions output;
};

// In the field's nodes.
struct Edges {
    std::vector<isofield::Line> lines;
    std::vector<int> kinds;  // none of all edges
};

// The skin of volumes, else the field itself: what feature edges are of, and what they are drawn over.
struct EdgedSurface {
    std::optional<isofield::Submesh> skin;
    std::optional<isofield::Mesh> mesh_of_skin;

    EdgedSurface(Field &field, Console &console) {
        if (!field.dataset.has_volume()) return;
        skin = skin_of(field, console);
        if (!skin->sets().empty()) mesh_of_skin = isofield::Mesh::of(*skin);
    }
    isofield::Mesh &mesh(Field &field) { return mesh_of_skin ? *mesh_of_skin : field.mesh; }
    bool empty() const { return skin && !mesh_of_skin; }
};

Edges find_edges(Field &field, EdgedSurface &surface, const EdgesOptions &options, Console &console) {
    Edges edges;
    const PolledStage polled;
    const isofield::Progress progress = polled_progress("edges", console);
    if (options.all) {
        edges.lines = field.mesh.edges(progress);
    } else if (!surface.empty()) {
        const double angle = options.angle.value_or(kAngle) * std::numbers::pi / 180;
        isofield::FeatureEdges found = surface.mesh(field).feature_edges(angle, progress);
        edges.lines = std::move(found.lines);
        for (const isofield::EdgeKind kind : found.kinds) edges.kinds.push_back(static_cast<int>(kind));
        for (isofield::Line &line : edges.lines) {
            for (int &node : line) {
                if (surface.skin) node = surface.skin->nodes()[static_cast<std::size_t>(node)];
            }
        }
    }
    check_interrupt();
    console.clear_bar();
    return edges;
}

// What is written, on the nodes that edges have.
struct EdgeLines {
    std::vector<float> points;
    std::vector<int> offsets = {0}, nodes;
    OutputSurface surface;  // views them
    double length = 0;
};

void make_lines(EdgeLines &made, Field &field, const Edges &edges) {
    std::vector<int> used;
    for (const isofield::Line &line : edges.lines) used.insert(used.end(), line.begin(), line.end());
    std::sort(used.begin(), used.end());
    used.erase(std::unique(used.begin(), used.end()), used.end());
    made.points.resize(3 * used.size());
    const isofield::front::Call call;
    isofield::front::NodeCoords(*field.mesh.info(), call).gather(used, made.points.data());
    for (const isofield::Line &line : edges.lines) {
        double square = 0;
        const float *ends[2];
        for (const std::size_t end : {0, 1}) {
            const auto row = std::lower_bound(used.begin(), used.end(), line[end]) - used.begin();
            made.nodes.push_back(static_cast<int>(row));
            ends[end] = made.points.data() + 3 * row;
        }
        for (const std::size_t d : {0, 1, 2}) square += std::pow(double{ends[1][d]} - ends[0][d], 2);
        made.length += std::sqrt(square);
        made.offsets.push_back(static_cast<int>(made.nodes.size()));
    }
    made.surface.points = made.points;
    made.surface.line_offsets = made.offsets;
    made.surface.line_nodes = made.nodes;
    made.surface.arrays = arrays_at(field.attached, used);
    if (!edges.kinds.empty())
        made.surface.cell_arrays.push_back(
            output_array<int>("kind", isofield::ElementType::kInt, edges.kinds));
}

// "30 edges (6 boundary, 24 crease), 20 nodes, length 12.5"
std::string counts_of(const Edges &edges, const EdgeLines &made) {
    std::string kinds;
    for (std::size_t kind = 0; kind < kKinds.size(); ++kind) {
        const auto count = std::count(edges.kinds.begin(), edges.kinds.end(), static_cast<int>(kind));
        if (count > 0) add_item(kinds, std::to_string(count) + " " + kKinds[kind], ", ");
    }
    return format_count(edges.lines.size(), "edge", "edges") + (kinds.empty() ? "" : " (" + kinds + ")") +
           ", " + format_count(made.points.size() / 3, "node", "nodes") + ", length " +
           format_number(made.length);
}

void check_options(const EdgesOptions &options) {
    if (options.all && options.angle) throw UsageError("--all takes every edge; leave --angle out");
    if (options.angle && !(*options.angle >= 0 && *options.angle <= 180))
        throw UsageError("--angle is from 0 to 180 degrees");
}

void run_edges(const EdgesOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, line_extensions(), {options.field.path});
    FieldOptions wanted = options.field;
    wanted.array = first_of(wanted.attach);  // whose grid is read where there are several
    Field field = read_field_without_scalar(wanted, console, Attach::kNodeArrays);
    if (field.dataset.has_volume() && !options.all)
        console.note("'" + options.field.path + "' has volume: the edges are those of its skin");

    const Stopwatch making;
    EdgedSurface surface(field, console);
    const Edges edges = find_edges(field, surface, options, console);
    EdgeLines made;
    make_lines(made, field, edges);
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_surface(made.surface, files.geometry, console);
    std::string line = "made   " + counts_of(edges, made) + ", " + made_seconds + "; " + output.geometry +
                       ", " + writing.seconds();
    if (edges.lines.empty())
        line += " (empty: the surface is closed, and has no crease of " +
                format_number(options.angle.value_or(kAngle)) + " degrees)";
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    Sheet sheet = make_sheet(surface.mesh(field));
    const auto kinds = edges.kinds.empty() ? std::vector<std::string>() : kKinds;
    draw_edges(made.surface, sheet, kinds, field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_faces(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "faces", "Take the skin of a volume: the faces of one cell only, with all arrays");
    const auto options = std::make_shared<FacesOptions>();
    add_field_options(*command, options->field,
                      "Node and cell arrays to keep, instead of all; the first colours the picture");
    command->get_option("--array")->description("Node array that colours the picture");
    command->add_flag("--edges", options->edges, "Draw the faces' edges too");
    add_output_options(*command, options->output,
                       "Faces, with their cells as cell_id, in .vtu whole and else as triangles,",
                       face_extensions());
    command->footer(examples({"faces disk_out_ref.ex2 -o skin.vtu --png skin.png --edges"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_faces(*options, console); }; });
}

void add_edges(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "edges", "Take the edges that tell a surface's shape, or that of a volume's skin");
    const auto options = std::make_shared<EdgesOptions>();
    add_number(*command, "--angle", options->angle,
               "Take the creases where two cells meet at this angle or more, in degrees between their "
               "normals, beside the edges of one cell and of more than two",
               "DEGREES")
        ->default_str(format_number(kAngle));
    command->add_flag("--all", options->all, "Take every edge of every cell once instead");
    add_array_option(*command, "-a,--array,--attach", options->field.attach,
                     "Node arrays to carry to the edges");
    add_input_options(*command, options->field);
    add_output_options(*command, options->output,
                       "Edges, with the array 'kind' (0 boundary, 1 crease, 2 non-manifold),",
                       line_extensions());
    command->footer(examples({"edges disk_out_ref.ex2 --angle 30 -o edges.vtp --png edges.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_edges(*options, console); }; });
}

}  // namespace app
