#include "field_picture.hpp"

#include <vtkCellType.h>

#include <algorithm>

#include "part_output.hpp"
#include "render.hpp"

namespace app {
namespace {

// The nodes of a grid whose index along `axis` is the middle one, and the quadrilaterals between them.
void add_middle_plane(const std::array<int, 3> &dims, std::size_t axis, std::vector<int> &nodes,
                      OutputPart &out) {
    const std::array<int, 3> steps = {1, dims[0], dims[0] * dims[1]};
    const std::size_t e = (axis + 1) % 3, f = (axis + 2) % 3;
    const auto first_row = static_cast<int>(nodes.size());
    for (int b = 0; b < dims[f]; ++b) {
        for (int a = 0; a < dims[e]; ++a) {
            nodes.push_back(dims[axis] / 2 * steps[axis] + a * steps[e] + b * steps[f]);
            if (a == 0 || b == 0) continue;
            const int row = first_row + b * dims[e] + a;
            for (const int corner : {row, row - 1, row - 1 - dims[e], row - dims[e]})
                out.nodes.push_back(corner);
            out.offsets.push_back(static_cast<int>(out.nodes.size()));
            out.types.push_back(VTK_QUAD);
        }
    }
}

OutputPart middle_planes(Field &field, const NamedArray &array) {
    OutputPart part;
    std::vector<int> nodes;
    for (const std::size_t axis : {0, 1, 2}) add_middle_plane(field.dataset.dims, axis, nodes, part);
    part.points.resize(3 * nodes.size());
    const isofield::front::Call call;
    isofield::front::NodeCoords(*field.mesh.info(), call).gather(nodes, part.points.data());
    isofield::front::check_rows(array.data.view(), field.dataset.nnodes, "nodes");
    part.arrays = arrays_at({array}, nodes);
    return part;
}

// The part of the box towards the viewer: on the viewer's side of its middle along every axis that the viewer
// does not look across.
isofield::Box near_part(const std::array<double, 6> &bounds, const std::array<double, 3> &viewer) {
    constexpr double kAcross = 0.2;
    constexpr double kFar = 1e3;  // times the size of the field, where nothing is cut
    double size = 0;
    for (std::size_t d = 0; d < 3; ++d) size = std::max(size, bounds[2 * d + 1] - bounds[2 * d]);
    isofield::Box box;
    for (std::size_t d = 0; d < 3; ++d) {
        const double middle = (bounds[2 * d] + bounds[2 * d + 1]) / 2;
        box.lower[d] = viewer[d] > kAcross ? middle : bounds[2 * d] - kFar * size;
        box.upper[d] = viewer[d] < -kAcross ? middle : bounds[2 * d + 1] + kFar * size;
    }
    return box;
}

OutputPart visible_part(Field &field, const PictureStyle &style, Console &console) {
    OutputPart out = start_part(field, {}, console);
    isofield::ExtractionOptions settings;
    settings.keep_cells = true;
    std::vector<double> distances(field.dataset.nnodes, -1);
    if (field.dataset.has_volume()) {
        const std::array<double, 6> &bounds = field.dataset.bounds;
        distances = field.mesh.signed_distances(near_part(bounds, towards_viewer(style, bounds)));
    }
    const isofield::Part part = field.mesh.cut(distances, 0, isofield::Side::kBelow, settings);
    append_part(out, field, part, solid_cells(part));
    return out;
}

isofield::Submesh outside_of(Field &field, Console &console) {
    const PolledStage polled;
    if (field.dataset.has_volume()) return field.mesh.external_faces(polled_progress("faces", console));
    const std::vector<float> all(field.dataset.nnodes);
    return field.mesh.without_nulls(std::span(all), {.progress = polled_progress("faces", console)});
}

void draw_mesh(Field &field, const PictureStyle &style, OutputFile &file, Console &console) {
    OutputPart part = start_part(field, {}, console);
    take_submesh(part, field, outside_of(field, console));
    check_interrupt();
    console.progress("drawing", 0);
    const bool edges = part.arrays.empty() && shows_edges(static_cast<double>(part.ncells()), style);
    draw_part(part, std::nullopt, field.dataset.bounds, style, file, console, edges);
}

bool only_lines(const Dataset &dataset) {
    return !dataset.grid() &&
           std::all_of(dataset.blocks.begin(), dataset.blocks.end(),
                       [](const CellBlock &block) { return block.type.starts_with("line_"); });
}

}  // namespace

void draw_field(Field &field, const NamedArray &array, const PictureStyle &style, OutputFile &file,
                Console &console) {
    console.progress("drawing", 0);
    field.attached = {array};
    field.attached_cells.clear();
    const bool planes = field.dataset.grid() && field.dataset.has_volume();
    const OutputPart part = planes ? middle_planes(field, array) : visible_part(field, style, console);
    draw_part(part, std::nullopt, field.dataset.bounds, style, file, console);
}

void draw_dataset(Dataset dataset, const std::optional<Shown> &shown, const OutputOptions &output,
                  OutputFile &file, Console &console) {
    const Stopwatch drawing;
    const bool on_nodes = shown && shown->association == Association::kNode;
    const bool whole = !on_nodes || only_lines(dataset);
    const LineCells lines = whole ? LineCells::kKeep : LineCells::kLeaveOut;
    isofield::Mesh mesh = make_mesh(dataset, console, lines);
    Field field = field_of(std::move(dataset), std::move(mesh));
    field.lines = lines;
    if (shown) (on_nodes ? field.attached : field.attached_cells) = {shown->array};
    whole ? draw_mesh(field, output.style, file, console)
          : draw_field(field, shown->array, output.style, file, console);
    say_drawn(output, drawing, console);
}

bool shows_edges(double cells, const PictureStyle &style) {
    constexpr double kPixels = 40;  // a cell
    return kPixels * cells <= double{1} * style.width * style.height;
}

}  // namespace app
