#include "sheet.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

#include "errors.hpp"
#include "vtk_support.hpp"

namespace app {
namespace {

// Linear cells of a set, rows of `width` nodes.
struct Pieces {
    std::shared_ptr<const int> connect;
    std::size_t count, width;
};

Pieces pieces_of(MeshInfo &mesh, int set) {
    int *connect = nullptr;
    if (!mesh.get_cell_set(&mesh, set, &connect)) throw std::bad_alloc();
    const int ncells = mesh.cell_ncells[set], width = mesh.cell_nnodes[set];
    if (mesh.cell_order[set] == 1) {
        return {{std::shared_ptr<void>(), connect},
                static_cast<std::size_t>(ncells),
                static_cast<std::size_t>(width)};
    }
    const auto tesselate = width == 6 ? UTILtesselate_tri_2 : UTILtesselate_quad_2;
    int count = 0, piece_width = 0;
    int *pieces = nullptr;
    if (!tesselate(ncells, connect, &count, &pieces, &piece_width)) throw std::bad_alloc();
    return {{pieces, isofield::front::FreeArray()},
            static_cast<std::size_t>(count),
            static_cast<std::size_t>(piece_width)};
}

void add_triangles(const Pieces &pieces, Sheet &sheet) {
    for (std::size_t i = 0; i < pieces.count; ++i) {
        const std::span cell(pieces.connect.get() + i * pieces.width, pieces.width);
        const auto missing = [&](int node) {
            return std::isnan(sheet.values[static_cast<std::size_t>(node)]);
        };
        auto &list = std::any_of(cell.begin(), cell.end(), missing) ? sheet.holes : sheet.triangles;
        list.push_back({cell[0], cell[1], cell[2]});
        if (cell.size() == 4) list.push_back({cell[0], cell[2], cell[3]});
    }
}

std::vector<float> node_values(const NamedArray &shown) {
    const ArrayData &data = shown.data;
    const auto *bytes = static_cast<const std::byte *>(data.values.get());
    const std::size_t row = static_cast<std::size_t>(data.components) * isofield::size_of(data.type);
    const OutputArray array{
        shown.name, data.type, data.components, {bytes, bytes + data.rows * row}, shown.null_value};
    const auto colors = color_values(array);
    std::vector<float> values(data.rows);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double value = colors->GetComponent(static_cast<vtkIdType>(i), 0);
        values[i] = std::isfinite(value) ? static_cast<float>(value) : NAN;
    }
    return values;
}

Sheet sheet_of(MeshInfo &mesh, std::vector<float> values) {
    float *coords = nullptr;
    if (!mesh.get_coords(&mesh, &coords)) throw std::bad_alloc();
    Sheet sheet{{coords, 3 * values.size()}, {}, {}, std::move(values)};
    for (int set = 0; set < mesh.ncell_sets; ++set) {
        if (mesh.cell_ndim[set] == 2) add_triangles(pieces_of(mesh, set), sheet);
    }
    return sheet;
}

using Vector = std::array<double, 3>;

// Twice the area of the triangle times its normal, its values taken as heights along `axis` towards `up`.
Vector normal_of(const Sheet &sheet, const std::array<int, 3> &triangle, std::size_t axis, double up) {
    std::array<Vector, 3> corner;
    for (std::size_t c = 0; c < 3; ++c) {
        const auto node = static_cast<std::size_t>(triangle[c]);
        for (std::size_t d = 0; d < 3; ++d) corner[c][d] = sheet.points[3 * node + d];
        corner[c][axis] = up * sheet.values[node];
    }
    Vector normal;
    for (std::size_t d = 0; d < 3; ++d) {
        const std::size_t e = (d + 1) % 3, f = (d + 2) % 3;
        normal[d] = (corner[1][e] - corner[0][e]) * (corner[2][f] - corner[0][f]) -
                    (corner[1][f] - corner[0][f]) * (corner[2][e] - corner[0][e]);
    }
    return normal;
}

// The factor on heights that gives all but the steepest slopes a pleasing one.
double exaggeration(std::vector<double> slopes) {
    constexpr double kSlope = 0.7, kPart = 0.9;
    if (slopes.empty()) return 0;
    const auto place =
        slopes.begin() + static_cast<std::ptrdiff_t>(kPart * static_cast<double>(slopes.size() - 1));
    std::nth_element(slopes.begin(), place, slopes.end());
    return *place > 0 ? kSlope / *place : 0;
}

}  // namespace

Sheet make_sheet(Field &field) {
    return make_sheet(field, field.scalar);
}

Sheet make_sheet(Field &field, const NamedArray &shown) {
    return sheet_of(*field.mesh.info(), node_values(shown));
}

Sheet make_sheet(isofield::Mesh &mesh) {
    MeshInfo &info = *mesh.info();
    return sheet_of(info, std::vector<float>(static_cast<std::size_t>(info.nnodes)));
}

void turn_up(Sheet &sheet, std::size_t axis, double up) {
    for (auto &triangle : sheet.triangles) {
        if (normal_of(sheet, triangle, axis, up)[axis] * up < 0) std::swap(triangle[1], triangle[2]);
    }
}

std::vector<float> relief_normals(const Sheet &sheet, std::size_t axis, double up) {
    std::vector<Vector> sums(sheet.values.size(), Vector{});
    std::vector<double> slopes;
    const std::size_t e = (axis + 1) % 3, f = (axis + 2) % 3;
    for (const auto &triangle : sheet.triangles) {
        const Vector normal = normal_of(sheet, triangle, axis, up);
        if (normal[axis] != 0) slopes.push_back(std::hypot(normal[e], normal[f]) / std::abs(normal[axis]));
        for (const int node : triangle) {
            for (std::size_t d = 0; d < 3; ++d) sums[static_cast<std::size_t>(node)][d] += normal[d];
        }
    }
    const double scale = exaggeration(std::move(slopes));
    std::vector<float> normals;
    for (Vector &normal : sums) {
        normal[e] *= scale;
        normal[f] *= scale;
        const double length = std::hypot(normal[0], normal[1], normal[2]);
        for (std::size_t d = 0; d < 3; ++d) {
            normals.push_back(static_cast<float>(length > 0 ? normal[d] / length : 0));
        }
    }
    return normals;
}

}  // namespace app
