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

}  // namespace app
