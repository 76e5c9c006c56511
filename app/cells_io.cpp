#include "cells_io.hpp"

#include <vtkCellType.h>
#include <vtkCellTypes.h>
#include <vtkIdList.h>
#include <vtkNew.h>

#include <algorithm>
#include <array>
#include <climits>
#include <map>
#include <string_view>

#include "reader_support.hpp"

namespace app {
namespace {

using Nodes = std::vector<int>;

// A type of the file. Entry i of `order` is the place in the file's cell of the library's node i.
struct Kind {
    const char *plural;
    const char *type = nullptr;   // the library's; null: converted by cases, or unknown
    std::vector<int> order = {};  // empty: the file's own
};

const std::map<int, Kind> kKinds = {
    {VTK_VERTEX, {"vertices"}},
    {VTK_POLY_VERTEX, {"poly-vertices"}},
    {VTK_LINE, {"lines", "line_1"}},
    {VTK_POLY_LINE, {"polylines"}},
    {VTK_TRIANGLE, {"triangles", "tri_1"}},
    {VTK_TRIANGLE_STRIP, {"triangle strips"}},
    {VTK_POLYGON, {"polygons"}},
    {VTK_PIXEL, {"pixels", "quad_1", {0, 1, 3, 2}}},
    {VTK_QUAD, {"quadrilaterals", "quad_1"}},
    {VTK_TETRA, {"tetrahedra", "tet_1"}},
    {VTK_VOXEL, {"voxels", "hex_1", {0, 1, 3, 2, 4, 5, 7, 6}}},
    {VTK_HEXAHEDRON, {"hexahedra", "hex_1"}},
    {VTK_WEDGE, {"prisms", "prism_1"}},
    {VTK_PYRAMID, {"pyramids", "pyr_1", {4, 0, 3, 2, 1}}},
    {VTK_QUADRATIC_EDGE, {"quadratic lines", "line_2"}},
    {VTK_QUADRATIC_TRIANGLE, {"quadratic triangles", "tri_2"}},
    {VTK_QUADRATIC_QUAD, {"quadratic quadrilaterals", "quad_2"}},
    {VTK_QUADRATIC_TETRA, {"quadratic tetrahedra", "tet_2", {0, 1, 2, 3, 4, 6, 7, 5, 9, 8}}},
    {VTK_QUADRATIC_HEXAHEDRON, {"quadratic hexahedra", "hex_2"}},
    {VTK_QUADRATIC_WEDGE,
     {"quadratic prisms", "prism_2", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 12, 14}}},
    {VTK_QUADRATIC_PYRAMID, {"quadratic pyramids"}},
    {VTK_POLYHEDRON, {"polyhedra"}},
};

std::string plural_of(int type) {
    if (const auto kind = kKinds.find(type); kind != kKinds.end()) return kind->second.plural;
    const char *name = vtkCellTypes::GetClassNameFromTypeId(type);
    return name ? std::string(name) + " cells" : "cells of type " + std::to_string(type);
}

// True when nodes 3 4 5 lie below 0 1 2.
bool upside_down(const Nodes &prism, const float *coords) {
    std::array<double, 3> u, v, up;
    for (std::size_t d = 0; d < 3; ++d) {
        const auto at = [&](std::size_t node) {
            return coords[3 * static_cast<std::size_t>(prism[node]) + d];
        };
        u[d] = static_cast<double>(at(1)) - at(0);
        v[d] = static_cast<double>(at(2)) - at(0);
        up[d] = static_cast<double>(at(3)) - at(0) + at(4) - at(1) + at(5) - at(2);
    }
    return (u[1] * v[2] - u[2] * v[1]) * up[0] + (u[2] * v[0] - u[0] * v[2]) * up[1] +
               (u[0] * v[1] - u[1] * v[0]) * up[2] <
           0;
}

// Exchanges the triangles, with the middles of their edges; those of 03 14 25 stay.
void turn_over(Nodes &prism) {
    const auto exchange = [&](auto triangle) { std::swap_ranges(triangle, triangle + 3, triangle + 3); };
    exchange(prism.begin());
    if (prism.size() > 6) exchange(prism.begin() + 6);
}

// Puts the cells of one block of the file into sets by type.
class Sorter {
  public:
    Sorter(Dataset &dataset, const std::string &block) : dataset_(dataset), block_(block) {}

    // May reorder `nodes`. False when the library has no such cell.
    bool add(int type, Nodes &nodes, int source) {
        const auto known = kKinds.find(type);
        if (known != kKinds.end() && known->second.type) {
            add_kind(known->second, nodes, source);
            return true;
        }
        const std::size_t count = nodes.size();
        switch (type) {
            case VTK_POLY_LINE:
                for (std::size_t i = 1; i < count; ++i) append("line_1", {{nodes[i - 1], nodes[i]}}, source);
                return true;
            case VTK_TRIANGLE_STRIP:
                for (std::size_t i = 2; i < count; ++i) {  // every other one is turned
                    append("tri_1", {{nodes[i - 2 + i % 2], nodes[i - 1 - i % 2], nodes[i]}}, source);
                }
                return true;
            case VTK_POLYGON:
                if (count == 3 || count == 4) append(count == 3 ? "tri_1" : "quad_1", nodes, source);
                return count == 3 || count == 4;
            default:
                return false;
        }
    }

  private:
    void add_kind(const Kind &kind, Nodes &nodes, int source) {
        const auto needed = static_cast<std::size_t>(isohost_cell_type_nodes(kind.type));
        if (nodes.size() != needed) {
            refuse(dataset_.path, "cell " + std::to_string(source) + " has " + std::to_string(nodes.size()) +
                                      " nodes, but " + kind.plural + " have " + std::to_string(needed));
        }
        if (!kind.order.empty()) {
            const Nodes given = nodes;
            std::transform(kind.order.begin(), kind.order.end(), nodes.begin(),
                           [&](int place) { return given[static_cast<std::size_t>(place)]; });
        }
        const bool prism = std::string_view(kind.type).starts_with("prism");
        if (prism && upside_down(nodes, dataset_.coords.get())) turn_over(nodes);
        append(kind.type, nodes, source);
    }

    void append(std::string_view type, const Nodes &nodes, int source) {
        auto place = sets_.find(type);
        if (place == sets_.end()) {
            place = sets_.emplace(type, dataset_.blocks.size()).first;
            dataset_.blocks.push_back({block_, std::string(type), {}, {}});
        }
        CellBlock &set = dataset_.blocks[place->second];
        set.connect.insert(set.connect.end(), nodes.begin(), nodes.end());
        set.sources.push_back(source);
    }

    Dataset &dataset_;
    std::string block_;
    std::map<std::string_view, std::size_t> sets_;  // type -> place in dataset_.blocks
};

void take_nodes(const Dataset &dataset, vtkIdType cell, vtkIdList *ids, Nodes &nodes) {
    nodes.clear();
    for (vtkIdType i = 0; i < ids->GetNumberOfIds(); ++i) {
        const vtkIdType node = ids->GetId(i);
        if (node < 0 || static_cast<std::size_t>(node) >= dataset.nnodes || node > INT_MAX) {
            refuse(dataset.path, "cell " + std::to_string(cell) + " has the node " + std::to_string(node) +
                                     ", but the nodes are 0 to " + std::to_string(dataset.nnodes - 1) +
                                     "; is the file complete?");
        }
        nodes.push_back(static_cast<int>(node));
    }
}

// The way back from Kind::order.
FileCell make_file_cell(int type) {
    const Kind &kind = kKinds.at(type);
    FileCell cell{type, Nodes(static_cast<std::size_t>(isohost_cell_type_nodes(kind.type)))};
    for (std::size_t i = 0; i < cell.nodes.size(); ++i) {
        const int place = kind.order.empty() ? static_cast<int>(i) : kind.order[i];
        cell.nodes[static_cast<std::size_t>(place)] = static_cast<int>(i);
    }
    if (type == VTK_WEDGE || type == VTK_QUADRATIC_WEDGE) turn_over(cell.nodes);
    return cell;
}

CellCounts named(const std::map<int, std::size_t> &counts) {
    CellCounts result;
    for (const auto &[type, count] : counts) result.emplace_back(plural_of(type), count);
    return result;
}

}  // namespace

void take_cells(Dataset &dataset, vtkDataSet *data, std::span<const FileBlock> blocks) {
    if (dataset.ncells > INT_MAX) refuse(dataset.path, "it has more cells than can be numbered");
    const FileBlock whole{"", data->GetNumberOfCells()};
    if (blocks.empty()) blocks = {&whole, 1};
    std::map<int, std::size_t> counts, unknown;
    vtkNew<vtkIdList> ids;
    Nodes nodes;
    vtkIdType cell = 0;
    for (const FileBlock &block : blocks) {
        Sorter sorter(dataset, block.name);
        for (const vtkIdType end = cell + block.ncells; cell < end; ++cell) {
            const int type = data->GetCellType(cell);
            ++counts[type];
            data->GetCellPoints(cell, ids);
            take_nodes(dataset, cell, ids, nodes);
            if (!sorter.add(type, nodes, static_cast<int>(cell))) ++unknown[type];
        }
    }
    dataset.cell_counts = named(counts);
    dataset.unknown_cells = named(unknown);
    if (!unknown.empty()) dataset.remarks.push_back(counts_text(dataset.unknown_cells) + " are not known");
}

const FileCell &file_cell(const std::string &type) {
    static const std::map<std::string, FileCell> cells = [] {
        std::map<std::string, FileCell> made;
        for (const int written :
             {VTK_LINE, VTK_TRIANGLE, VTK_QUAD, VTK_TETRA, VTK_WEDGE, VTK_PYRAMID, VTK_HEXAHEDRON,
              VTK_QUADRATIC_EDGE, VTK_QUADRATIC_TRIANGLE, VTK_QUADRATIC_QUAD, VTK_QUADRATIC_TETRA,
              VTK_QUADRATIC_WEDGE, VTK_QUADRATIC_HEXAHEDRON}) {
            made.emplace(kKinds.at(written).type, make_file_cell(written));
        }
        return made;
    }();
    return cells.at(type);
}

CellCounts count_cells(std::span<const unsigned char> types) {
    std::map<int, std::size_t> counts;
    for (const unsigned char type : types) ++counts[type];
    return named(counts);
}

}  // namespace app
