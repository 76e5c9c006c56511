#include "level_output.hpp"

#include <utility>

namespace app {
namespace {

std::vector<std::array<int, 3>> turned_round(std::span<const std::array<int, 3>> triangles) {
    std::vector<std::array<int, 3>> turned(triangles.begin(), triangles.end());
    for (auto &triangle : turned) std::swap(triangle[1], triangle[2]);
    return turned;
}

OutputArray cell_ids(const Dataset &dataset, const isofield::Surface &surface) {
    std::vector<int> ids = file_cells(dataset, surface.line_cells());
    const std::vector<int> of_triangles = file_cells(dataset, surface.cells());
    ids.insert(ids.end(), of_triangles.begin(), of_triangles.end());
    return output_array<int>("cell_id", isofield::ElementType::kInt, ids);
}

}  // namespace

LevelOutput make_output(const Field &field, const isofield::Surface &surface, bool with_cells) {
    LevelOutput made;
    made.output.points = surface.points();
    made.output.triangles = surface.triangles();
    if (!field.dataset.grid() || field.dataset.left_handed) {
        made.turned = turned_round(surface.triangles());
        made.output.triangles = made.turned;
    }
    if (const auto lines = surface.lines(); !lines.empty()) {
        for (std::size_t i = 0; i <= lines.size(); ++i) made.line_offsets.push_back(static_cast<int>(2 * i));
        made.output.line_offsets = made.line_offsets;
        made.output.line_nodes = {lines.front().data(), 2 * lines.size()};
    }
    made.output.arrays = attached_arrays(field.attached);
    carry_arrays(field, surface, made.output.arrays);
    if (with_cells) made.output.cell_arrays.push_back(cell_ids(field.dataset, surface));
    return made;
}

std::string counts_of(const isofield::Surface &surface) {
    const std::size_t triangles = surface.triangles().size(), lines = surface.lines().size();
    std::string text;
    if (triangles > 0 || lines == 0) text = format_count(triangles, "triangle", "triangles");
    if (lines > 0) add_item(text, format_count(lines, "line", "lines"), ", ");
    return text + ", " + format_count(surface.npoints(), "node", "nodes");
}

}  // namespace app
