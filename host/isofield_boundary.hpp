// Part of isofield.hpp: the edges and the skin of meshes.
#ifndef ISOFIELD_BOUNDARY_HPP
#define ISOFIELD_BOUNDARY_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_part.hpp"
#include "isofield_submesh.hpp"
#include "isofield_surface.hpp"

namespace isofield {

// Why an edge is a feature of a surface.
enum class EdgeKind {
    kBoundary,     // one cell has it
    kCrease,       // two cells have it, and meet at the angle or more
    kNonManifold,  // more than two cells have it
};

// The edges that show a surface's shape.
struct FeatureEdges {
    std::vector<Line> lines;      // the mesh's nodes, the lower one first, ascending
    std::vector<EdgeKind> kinds;  // of each line
};

namespace front {

// The faces of one type of volume cells as the library takes them, counterclockwise seen from outside:
// corners, then midside nodes from that between the first two corners on.
struct CellFaces {
    int nnodes, nfaces;  // of a cell
    std::array<int, 6> sizes, ncorners;
    std::array<int, 48> nodes;
};
constexpr CellFaces kCellFaces[] = {
    {4, 4, {3, 3, 3, 3}, {3, 3, 3, 3}, {0, 1, 3, 1, 2, 3, 2, 0, 3, 0, 2, 1}},
    {5, 5, {4, 3, 3, 3, 3}, {4, 3, 3, 3, 3}, {1, 2, 3, 4, 2, 1, 0, 3, 2, 0, 4, 3, 0, 1, 4, 0}},
    {6, 5, {3, 3, 4, 4, 4}, {3, 3, 4, 4, 4}, {0, 2, 1, 3, 4, 5, 0, 1, 4, 3, 1, 2, 5, 4, 2, 0, 3, 5}},
    {8, 6, {4, 4, 4, 4, 4, 4}, {4, 4, 4, 4, 4, 4}, {0, 3, 2, 1, 4, 5, 6, 7, 0, 1, 5, 4,  //
                                                    1, 2, 6, 5, 2, 3, 7, 6, 3, 0, 4, 7}},
    {10, 4, {6, 6, 6, 6}, {3, 3, 3, 3}, {0, 1, 3, 4, 9, 6, 1, 2, 3, 7, 8, 9,  //
                                         2, 0, 3, 5, 6, 8, 0, 2, 1, 5, 7, 4}},
    {15, 5, {6, 6, 8, 8, 8}, {3, 3, 4, 4, 4}, {0, 2, 1, 8, 7, 6,  3,  4,  5, 9, 10, 11,                 //
                                               0, 1, 4, 3, 6, 12, 9,  13, 1, 2, 5,  4,  7, 14, 10, 12,  //
                                               2, 0, 3, 5, 8, 13, 11, 14}},
    {20, 6, {8, 8, 8, 8, 8, 8}, {4, 4, 4, 4, 4, 4}, {0, 3, 2, 1, 11, 10, 9,  8,  4, 5, 6, 7, 12, 13, 14, 15,
                                                     0, 1, 5, 4, 8,  17, 12, 16, 1, 2, 6, 5, 9,  18, 13, 17,
                                                     2, 3, 7, 6, 10, 19, 14, 18, 3, 0, 4, 7, 11, 16, 15, 19}},
};

inline const CellFaces &faces_of(int nnodes) {
    return *std::find_if(std::begin(kCellFaces), std::end(kCellFaces),
                         [nnodes](const CellFaces &faces) { return faces.nnodes == nnodes; });
}

// The corners of a surface cell, which has as many midside nodes when it is quadratic.
constexpr int corners_of(int nnodes) {
    return nnodes > 4 ? nnodes / 2 : nnodes;
}

// Calls f(nodes per cell, nodes) for the cells of `ndim` dimensions, some at a time.
template <class F>
void each_cells(MeshInfo &mesh, const Call &call, int ndim, F f) {
    if (mesh.ndim == 0) {
        for (int s = 0; s < mesh.ncell_sets; ++s) {
            if (mesh.cell_ndim[s] != ndim) continue;
            int *connect = nullptr;
            call.check(mesh.get_cell_set(&mesh, s, &connect), "cells");
            const auto size =
                static_cast<std::size_t>(mesh.cell_ncells[s]) * static_cast<std::size_t>(mesh.cell_nnodes[s]);
            f(mesh.cell_nnodes[s], std::span<const int>(connect, size));
        }
    } else if (mesh.ndim == ndim) {
        constexpr int kChunk = 4096;
        std::vector<int> connect(static_cast<std::size_t>(kChunk) << ndim);
        for (int first = 0; first < mesh.ncells; first += kChunk) {
            const int ncells = std::min(kChunk, mesh.ncells - first);
            UTILget_connect_struct(ndim, mesh.dims, first, first + ncells, connect.data());
            f(1 << ndim, std::span<const int>(connect).first(static_cast<std::size_t>(ncells) << ndim));
        }
    }
}

inline bool has_cells(const MeshInfo &mesh, int ndim) {
    if (mesh.ndim > 0) return mesh.ndim == ndim && mesh.ncells > 0;
    return std::find(mesh.cell_ndim, mesh.cell_ndim + mesh.ncell_sets, ndim) !=
           mesh.cell_ndim + mesh.ncell_sets;
}

// Twice the vector area of a triangle or quadrilateral.
inline Vector normal_of(std::span<const float> points, std::size_t ncorners) {
    const auto between = [&](std::size_t from, std::size_t to) {
        Vector edge;
        for (std::size_t d = 0; d < 3; ++d) edge[d] = double{points[3 * to + d]} - points[3 * from + d];
        return edge;
    };
    return cross(between(0, 2), between(1, ncorners - 1));
}

// Makes one skin.
class SkinMaker {
  public:
    SkinMaker(MeshInfo &mesh, const Call &call) : mesh_(mesh), call_(call) {
        if (!has_cells(mesh, 3)) {
            throw BadInput(
                "the mesh has no volume cells; the external edges of surface cells are their "
                "feature_edges");
        }
    }

    Submesh make() {
        if (mesh_.ndim == 3) {
            for (const int face : {0, 1, 2, 3, 4, 5}) list_side(face);
        } else {
            for (int s = 0; s < mesh_.ncell_sets; ++s)
                if (mesh_.cell_ndim[s] == 3) list_faces(s);
            keep_faces_of_one_cell();
        }
        turn_outwards();
        std::vector<SubmeshMaker::Cells> sets;
        for (Faces &faces : kinds_) {
            const char *type = cell_type(2, faces.nnodes);
            sets.push_back({type, std::move(faces.connect), std::move(faces.cells)});
        }
        return SubmeshMaker::assemble(mesh_, call_, sets);
    }

  private:
    struct Faces {
        int nnodes;
        std::vector<int> connect, cells;

        std::span<int> row(std::size_t i) {
            const auto n = static_cast<std::size_t>(nnodes);
            return std::span(connect).subspan(i * n, n);
        }
    };
    using Key = std::array<int, 4>;  // the different corners, ascending, and -1

    Faces &kind(int nnodes) {
        return *std::find_if(kinds_.begin(), kinds_.end(),
                             [=](auto &faces) { return faces.nnodes == nnodes; });
    }

    // The outer faces of a grid's cells on one of its sides, which is that of a hexahedron.
    void list_side(int face) {
        constexpr int kAxes[] = {2, 2, 1, 0, 1, 0};
        const auto axis = static_cast<std::size_t>(kAxes[face]);
        const bool upper = face == 1 || face == 3 || face == 4;
        std::array<int, 3> lo = {}, hi = {mesh_.dims[0] - 1, mesh_.dims[1] - 1, mesh_.dims[2] - 1};
        const int row = hi[0], plane = hi[0] * hi[1];
        if (upper)
            lo[axis] = hi[axis] - 1;
        else
            hi[axis] = 1;
        Faces &quads = kind(4);
        const int *local = &kCellFaces[3].nodes[4 * static_cast<std::size_t>(face)];
        for (int k = lo[2]; k < hi[2]; ++k) {
            for (int j = lo[1]; j < hi[1]; ++j) {
                for (int i = lo[0]; i < hi[0]; ++i) {
                    quads.cells.push_back(i + row * j + plane * k);
                    const std::span<const int> cell = nodes_of(quads.cells.back());
                    for (int c = 0; c < 4; ++c)
                        quads.connect.push_back(cell[static_cast<std::size_t>(local[c])]);
                }
            }
        }
    }

    // Takes the library's faces of a set.
    void list_faces(int set) {
        constexpr int kMostGroups = 2;
        const int nnodes = mesh_.cell_nnodes[set], first = mesh_.cell_first[set];
        const CellFaces &faces = faces_of(nnodes);
        int *connect = nullptr;
        call_.check(mesh_.get_cell_set(&mesh_, set, &connect), "cells");
        int ngroups = 0, nfaces[kMostGroups] = {}, sizes[kMostGroups] = {}, lengths[kMostGroups] = {};
        int *cells[kMostGroups] = {}, *nodes[kMostGroups] = {};
        const int result =
            UTILexternal_faces(mesh_.nnodes, mesh_.cell_ncells[set], nnodes, connect, faces.nfaces,
                               faces.sizes.data(), faces.ncorners.data(), faces.nodes.data(), kMostGroups,
                               &ngroups, nfaces, sizes, cells, nodes, lengths);
        for (int g = 0; g < ngroups; ++g) {
            const auto count = static_cast<std::size_t>(nfaces[g]);
            const Array<int> group_cells(cells[g], count),
                group_nodes(nodes[g], count * static_cast<std::size_t>(sizes[g]));
            if (result != 1 || count == 0) continue;
            Faces &list = kind(sizes[g]);
            list.connect.insert(list.connect.end(), group_nodes.view().begin(), group_nodes.view().end());
            for (const int cell : group_cells.view()) list.cells.push_back(first + cell);
        }
        call_.check(result, "external_faces");
    }

    // Sets may share faces, and a third cell may have one. So the cells at the listed faces are looked at.
    void keep_faces_of_one_cell() {
        const auto nnodes = static_cast<std::size_t>(mesh_.nnodes);
        heads_.assign(nnodes, -1);
        std::vector<unsigned char> listed(nnodes);
        for (Faces &faces : kinds_) {
            for (std::size_t i = 0; i < faces.cells.size(); ++i) {
                const auto row = faces.row(i);
                for (const int node : row) listed[static_cast<std::size_t>(node)] = 1;
                int &head = heads_[static_cast<std::size_t>(keys_.emplace_back(key(row))[0])];
                next_.push_back(std::exchange(head, static_cast<int>(next_.size())));
            }
        }
        counts_.assign(keys_.size(), 0);
        each_cells(mesh_, call_, 3, [&](int size, std::span<const int> connect) {
            const CellFaces &faces = faces_of(size);
            for (auto cell = connect.begin(); cell != connect.end(); cell += size) {
                if (std::count_if(cell, cell + size,
                                  [&](int node) { return listed[static_cast<std::size_t>(node)]; }) > 2)
                    count_faces(faces, &*cell);
            }
        });
        drop_faces();
    }

    void count_faces(const CellFaces &faces, const int *cell) {
        const int *local = faces.nodes.data();
        for (std::size_t f = 0; f < static_cast<std::size_t>(faces.nfaces); local += faces.sizes[f++]) {
            std::array<int, 8> face;
            const auto size = static_cast<std::size_t>(faces.sizes[f]);
            for (std::size_t i = 0; i < size; ++i) face[i] = cell[local[i]];
            const Key wanted = key(std::span(face).first(size));
            for (int i = heads_[static_cast<std::size_t>(wanted[0])]; i >= 0;
                 i = next_[static_cast<std::size_t>(i)]) {
                if (keys_[static_cast<std::size_t>(i)] == wanted) ++counts_[static_cast<std::size_t>(i)];
            }
        }
    }

    void drop_faces() {
        std::size_t face = 0;
        for (Faces &faces : kinds_) {
            std::size_t kept = 0;
            for (std::size_t i = 0; i < faces.cells.size(); ++i, ++face) {
                const bool is_line = keys_[face][2] < 0;  // of a collapsed cell
                if (counts_[face] != 1 || is_line) continue;
                std::ranges::copy(faces.row(i), faces.row(kept).begin());
                faces.cells[kept++] = faces.cells[i];
            }
            faces.cells.resize(kept);
            faces.connect.resize(kept * static_cast<std::size_t>(faces.nnodes));
        }
    }

    static Key key(std::span<const int> face) {
        Key corners = {-1, -1, -1, -1};
        const auto end =
            std::copy_n(face.begin(), corners_of(static_cast<int>(face.size())), corners.begin());
        // By insertion: g++ 12 takes a sort of so few for one beyond their end.
        for (auto next = corners.begin(); next != end; ++next)
            std::rotate(std::upper_bound(corners.begin(), next, *next), next, next + 1);
        std::fill(std::unique(corners.begin(), end), corners.end(), -1);
        return corners;
    }

    // Cells may be numbered the other way round, and grids be left-handed.
    void turn_outwards() {
        NodeCoords coords(mesh_, call_);
        std::vector<float> points;
        for (Faces &faces : kinds_) {
            const auto ncorners = static_cast<std::size_t>(corners_of(faces.nnodes));
            for (std::size_t i = 0; i < faces.cells.size(); ++i) {
                const std::span<int> face = faces.row(i);
                std::array<int, 24> nodes;
                std::size_t size = ncorners;
                std::ranges::copy(face.first(size), nodes.begin());
                for (const int node : nodes_of(faces.cells[i])) nodes[size++] = node;
                points.resize(3 * size);
                coords.gather(std::span(nodes).first(size), points.data());
                if (!faces_inwards(points, ncorners)) continue;
                std::reverse(face.begin() + 1, face.begin() + static_cast<std::ptrdiff_t>(ncorners));
                std::reverse(face.begin() + static_cast<std::ptrdiff_t>(ncorners), face.end());
            }
        }
    }

    std::span<const int> nodes_of(int cell) {
        if (mesh_.ndim > 0) {
            UTILget_connect_struct(3, mesh_.dims, cell, cell + 1, grid_cell_.data());
            return grid_cell_;
        }
        int local = 0, set = -1, *connect = nullptr;
        UTILget_cell_id(&mesh_, cell, &local, &set);
        call_.check(mesh_.get_cell_set(&mesh_, set, &connect), "cells");
        const auto size = static_cast<std::size_t>(mesh_.cell_nnodes[set]);
        return {connect + static_cast<std::size_t>(local) * size, size};
    }

    // points: those of a face's corners, then those of its cell.
    static bool faces_inwards(std::span<const float> points, std::size_t ncorners) {
        const Vector normal = normal_of(points, ncorners);
        const std::size_t n = points.size() / 3;
        double face = 0, cell = 0;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double along = (double{points[i]} - points[i % 3]) * normal[i % 3];
            (i < 3 * ncorners ? face : cell) += along;
        }
        return face / static_cast<double>(ncorners) < cell / static_cast<double>(n - ncorners);
    }

    MeshInfo &mesh_;
    const Call &call_;
    std::array<Faces, 4> kinds_ = {{{3, {}, {}}, {4, {}, {}}, {6, {}, {}}, {8, {}, {}}}};
    // Per listed face its key and the next with the same first node; per node the first such.
    std::vector<Key> keys_;
    std::vector<int> next_, heads_;
    std::vector<int> counts_;  // per listed face the cells that have it
    std::array<int, 8> grid_cell_ = {};
};

// The edges between the corners of all cells of some dimensions, each once, ascending.
class EdgeMaker {
  public:
    EdgeMaker(MeshInfo &mesh, const Call &call) : mesh_(mesh), call_(call) {}

    std::vector<Line> make(bool volumes) {
        if (mesh_.ndim > 0) {
            if (mesh_.ndim > 1 && mesh_.ncells > 0) list_grid();
            return std::move(edges_);
        }
        for (int s = 0; s < mesh_.ncell_sets; ++s) {
            if (mesh_.cell_ndim[s] == 2 || (volumes && mesh_.cell_ndim[s] == 3)) list_set(s);
        }
        merge();
        return std::move(edges_);
    }

  private:
    void list_grid() {
        const int *dims = mesh_.dims;
        const int nz = mesh_.ndim == 3 ? dims[2] : 1, plane = dims[0] * dims[1];
        edges_.reserve(static_cast<std::size_t>(mesh_.ndim) * static_cast<std::size_t>(mesh_.nnodes));
        int node = 0;
        for (int k = 0; k < nz; ++k) {
            for (int j = 0; j < dims[1]; ++j) {
                for (int i = 0; i < dims[0]; ++i, ++node) {
                    if (i + 1 < dims[0]) edges_.push_back({node, node + 1});
                    if (j + 1 < dims[1]) edges_.push_back({node, node + dims[0]});
                    if (k + 1 < nz) edges_.push_back({node, node + plane});
                }
            }
        }
    }

    void list_set(int set) {
        const int nnodes = mesh_.cell_nnodes[set], ncells = mesh_.cell_ncells[set];
        int nedges = 0, *connect = nullptr, *edges = nullptr;
        call_.check(mesh_.get_cell_set(&mesh_, set, &connect), "cells");
        int result = 0;
        if (mesh_.cell_ndim[set] == 2) {
            result = UTILedges_2D(mesh_.nnodes, ncells, nnodes, connect, corners_of(nnodes), &nedges, &edges);
        } else {
            const CellFaces &faces = faces_of(nnodes);
            result = UTILedges_3D(mesh_.nnodes, ncells, nnodes, connect, faces.nfaces, faces.sizes.data(),
                                  faces.ncorners.data(), faces.nodes.data(), &nedges, &edges);
        }
        sets_.emplace_back(edges, 2 * static_cast<std::size_t>(nedges));
        call_.check(result, "edges");
    }

    // Each set's edges come by ascending lower node.
    void merge() {
        std::vector<std::size_t> next(sets_.size());
        std::size_t total = 0;
        for (const Array<int> &set : sets_) total = std::max(total, set.size() / 2);
        edges_.reserve(total);
        for (int node = 0; node < mesh_.nnodes; ++node) {
            const auto first = edges_.size();
            for (std::size_t s = 0; s < sets_.size(); ++s) {
                const std::span<const int> ends = sets_[s].view();
                for (std::size_t &at = next[s]; at < ends.size() && ends[at] == node; at += 2)
                    if (ends[at + 1] != node) edges_.push_back({node, ends[at + 1]});
            }
            const auto begin = edges_.begin() + static_cast<std::ptrdiff_t>(first);
            std::sort(begin, edges_.end());
            edges_.erase(std::unique(begin, edges_.end()), edges_.end());
        }
    }

    MeshInfo &mesh_;
    const Call &call_;
    std::vector<Array<int>> sets_;
    std::vector<Line> edges_;
};

// Finds the features among the edges of surface cells. All edges are looked at, for the library's external
// edges miss two folds: cells that are wound against each other meet there at 180 degrees less their angle,
// and four cells on an edge count as two pairs.
class FeatureFinder {
  public:
    FeatureFinder(MeshInfo &mesh, const Call &call, double angle)
        : mesh_(mesh), call_(call), angle_(angle), creases_(angle < std::numbers::pi) {
        if (!(angle >= 0)) throw BadInput("angle is " + value_text(angle) + ", but must be at least 0");
        if (!has_cells(mesh, 2)) {
            throw BadInput(has_cells(mesh, 3)
                               ? "the mesh has volume cells alone; its external_faces have edges"
                               : "the mesh has no surface cells");
        }
        edges_ = EdgeMaker(mesh, call).make(false);
        uses_.resize(edges_.size());
        first_edge_.resize(static_cast<std::size_t>(mesh.nnodes) + 1);
        for (const Line &edge : edges_) ++first_edge_[static_cast<std::size_t>(edge[0]) + 1];
        std::partial_sum(first_edge_.begin(), first_edge_.end(), first_edge_.begin());
    }

    FeatureEdges find() {
        each_cells(mesh_, call_, 2, [&](int size, std::span<const int> connect) {
            for (std::size_t i = 0; i < connect.size(); i += static_cast<std::size_t>(size))
                add_cell(connect.subspan(i, static_cast<std::size_t>(corners_of(size))));
        });
        FeatureEdges made;
        for (std::size_t e = 0; e < edges_.size(); ++e) {
            const Uses &uses = uses_[e];
            const bool is_crease = creases_ && uses.count == 2 && meet_at(uses) >= angle_;
            if (uses.count == 2 && !is_crease) continue;
            made.lines.push_back(edges_[e]);
            made.kinds.push_back(is_crease         ? EdgeKind::kCrease
                                 : uses.count == 1 ? EdgeKind::kBoundary
                                                   : EdgeKind::kNonManifold);
        }
        return made;
    }

  private:
    // The cells of an edge: how many, the first two, and whether these run along it in the same direction.
    struct Uses {
        int count = 0;
        std::array<int, 2> cells = {};
        bool upwards = false, same = false;
    };

    void add_cell(std::span<const int> corners) {
        const std::size_t n = corners.size();
        for (std::size_t i = 0; i < n; ++i) {
            const int a = corners[i], b = corners[i + 1 < n ? i + 1 : 0];
            if (a != b) add_use(uses_[edge(std::min(a, b), std::max(a, b))], a < b);
        }
        ++ncells_;
        if (!creases_) return;
        points_.resize(3 * n);
        coords_.gather(corners, points_.data());
        normals_.push_back(normal_of(points_, n));
    }

    void add_use(Uses &uses, bool upwards) const {
        if (uses.count == 0) uses.upwards = upwards;
        if (uses.count == 1) uses.same = uses.upwards == upwards;
        if (uses.count < 2) uses.cells[static_cast<std::size_t>(uses.count)] = ncells_;
        ++uses.count;
    }

    std::size_t edge(int lower, int upper) const {
        std::size_t e = first_edge_[static_cast<std::size_t>(lower)];
        while (edges_[e][1] != upper) ++e;
        return e;
    }

    // Cells without area make no crease.
    double meet_at(const Uses &uses) const {
        const Vector &a = normals_[static_cast<std::size_t>(uses.cells[0])];
        const Vector &b = normals_[static_cast<std::size_t>(uses.cells[1])];
        const Vector sine = cross(a, b);
        const double cosine = uses.same ? -dot(a, b) : dot(a, b);
        return std::atan2(std::hypot(sine[0], sine[1], sine[2]), cosine);
    }

    MeshInfo &mesh_;
    const Call &call_;
    double angle_;
    bool creases_;
    NodeCoords coords_{mesh_, call_};
    std::vector<Line> edges_;
    std::vector<std::size_t> first_edge_;  // per node that of which it is the lower
    std::vector<Uses> uses_;
    int ncells_ = 0;
    std::vector<Vector> normals_;
    std::vector<float> points_;
};

}  // namespace front

}  // namespace isofield
#endif
