// Part of isofield.hpp: meshes without the nodes that hold no data, and other meshes of some nodes of one.
#ifndef ISOFIELD_SUBMESH_HPP
#define ISOFIELD_SUBMESH_HPP

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_part.hpp"

namespace isofield {

namespace front {

class SubmeshMaker;

}  // namespace front

// What Mesh::without_nulls makes: the nodes that hold data, and the cells whose nodes all do, whole, of every
// cell type. Nodes stay that no cell has any more. And what Mesh::external_faces makes: faces, with their
// nodes alone. Owns its arrays; outlives its mesh. Moves, does not copy.
//
// A submesh is a mesh again: Mesh::of(submesh).
class Submesh {
  public:
    Submesh(Submesh &&) = default;
    Submesh &operator=(Submesh &&) = default;

    std::size_t nnodes() const { return nodes_.size(); }
    std::span<const int> nodes() const { return nodes_; }  // per row its node of the mesh, in mesh order
    std::span<const float> points() const { return points_.view(); }  // nnodes x 3, missing components 0

    // One set for each cell set of the mesh that keeps cells, or for each type of face; rows into points().
    // Grids have cells of type line_1, quad_1 or hex_1; volumes are positive where i, j, k are right-handed.
    const std::vector<CellSet> &sets() const { return sets_; }
    // Per cell, one set after the other, its number in the mesh, or that of the cell that has the face: the
    // packed number on grids, the global cell id on cell sets.
    std::span<const int> cells() const { return cells_; }

    // The rows at nodes() of node data of the mesh: nnodes() x components, of T or, in the last form, of
    // data.type() into `out`. Throws BadInput.
    template <class T>
    std::vector<T> carry(std::span<const T> values, int components = 1) const {
        return front::carried(nnodes(), values, components,
                              [&](const DataView &data, T *out) { carry(data, out); });
    }
    template <class T>
    std::vector<T> carry(const std::vector<T> &values, int components = 1) const {
        return carry(std::span<const T>(values), components);
    }
    void carry(const DataView &data, void *out) const {
        front::check_rows(data, mesh_nnodes_, "nodes");
        gather(data, nodes_, out);
    }

    // The same for cell data of the mesh, in the order of its cells: a row for each of cells().
    template <class T>
    std::vector<T> carry_cells(std::span<const T> values, int components = 1) const {
        return front::carried(cells_.size(), values, components,
                              [&](const DataView &data, T *out) { carry_cells(data, out); });
    }
    template <class T>
    std::vector<T> carry_cells(const std::vector<T> &values, int components = 1) const {
        return carry_cells(std::span<const T>(values), components);
    }
    void carry_cells(const DataView &data, void *out) const {
        front::check_rows(data, mesh_ncells_, "cells");
        gather(data, cells_, out);
    }

  private:
    friend class front::SubmeshMaker;

    Submesh() = default;

    static void gather(const DataView &data, const std::vector<int> &rows, void *out) {
        UTILcopy_array_list(nullptr, data.components(), static_cast<int>(data.type()), data.data(),
                            static_cast<int>(rows.size()), rows.data(), out);
    }

    std::size_t mesh_nnodes_ = 0, mesh_ncells_ = 0;
    std::vector<int> nodes_;
    front::Array<float> points_;
    std::vector<front::Array<int>> connect_;  // per set
    std::vector<CellSet> sets_;
    std::vector<int> cells_;
};

namespace front {

// The cells that are not among those of parts.
constexpr PartKind kOtherKinds[] = {{"line_1", 1, 2}, {"line_2", 1, 3},   {"tri_2", 2, 6}, {"quad_2", 2, 8},
                                    {"tet_2", 3, 10}, {"prism_2", 3, 15}, {"hex_2", 3, 20}};

inline const char *cell_type(int ndim, int nnodes) {
    const auto fits = [=](const PartKind &kind) { return kind.ndim == ndim && kind.nnodes == nnodes; };
    const PartKind *found = std::find_if(std::begin(kPartKinds), std::end(kPartKinds), fits);
    if (found == std::end(kPartKinds))
        found = std::find_if(std::begin(kOtherKinds), std::end(kOtherKinds), fits);
    return found->type;
}

// Makes one submesh.
class SubmeshMaker {
  public:
    // Cells of one type by the mesh's nodes, and what cells() tells of them.
    struct Cells {
        const char *type;
        std::vector<int> connect, cells;
    };

    // The submesh of these cells and their nodes alone. Types without cells have no set.
    static Submesh assemble(MeshInfo &mesh, const Call &call, std::span<const Cells> types) {
        Submesh made;
        made.mesh_nnodes_ = static_cast<std::size_t>(mesh.nnodes);
        made.mesh_ncells_ = static_cast<std::size_t>(mesh.ncells);
        std::vector<int> rows(made.mesh_nnodes_, -1);
        for (const Cells &type : types)
            for (const int node : type.connect) rows[static_cast<std::size_t>(node)] = 0;
        for (int node = 0; node < mesh.nnodes; ++node) {
            int &row = rows[static_cast<std::size_t>(node)];
            if (row < 0) continue;
            row = static_cast<int>(made.nodes_.size());
            made.nodes_.push_back(node);
        }
        for (const Cells &type : types) {
            if (type.cells.empty()) continue;
            Array<int> &connect = made.connect_.emplace_back(Array<int>::make(type.connect.size()));
            std::ranges::transform(type.connect, connect.data(),
                                   [&](int node) { return rows[static_cast<std::size_t>(node)]; });
            made.sets_.push_back({type.type, connect.view()});
            made.cells_.insert(made.cells_.end(), type.cells.begin(), type.cells.end());
        }
        made.points_ = Array<float>::make(3 * made.nnodes());
        NodeCoords(mesh, call).gather(made.nodes_, made.points_.data());
        return made;
    }

    // missing: per node whether it is; may be empty when none is.
    SubmeshMaker(MeshInfo &mesh, const Call &call, std::vector<unsigned char> missing)
        : mesh_(mesh), call_(call), missing_(std::move(missing)) {
        missing_.resize(static_cast<std::size_t>(mesh.nnodes));
        made_.mesh_nnodes_ = missing_.size();
        made_.mesh_ncells_ = static_cast<std::size_t>(mesh.ncells);
    }

    Submesh make() {
        take_sets();
        for (std::size_t node = 0; node < missing_.size(); ++node) {
            if (!missing_[node]) made_.nodes_.push_back(static_cast<int>(node));
        }
        for (int s = 0; s < mesh_.ncell_sets; ++s) {
            if (mesh_.ndim > 0)
                list_grid_cells();
            else
                list_cells(nodes_of_set(s), mesh_.cell_nnodes[s], mesh_.cell_first[s], mesh_.cell_ncells[s]);
        }
        if (made_.nodes_.size() != nkept_ || made_.cells_.size() != ncells_) {
            throw Error("without_nulls kept " + std::to_string(nkept_) + " nodes and " +
                        std::to_string(ncells_) + " cells, but the mesh has " +
                        std::to_string(made_.nodes_.size()) + " and " + std::to_string(made_.cells_.size()));
        }
        made_.points_ = Array<float>::make(3 * nkept_);
        NodeCoords(mesh_, call_).gather(made_.nodes_, made_.points_.data());
        return std::move(made_);
    }

  private:
    // Makes the library's connectivity the submesh's.
    void take_sets() {
        constexpr unsigned char kMissing = 1;
        const auto nsets = static_cast<std::size_t>(mesh_.ncell_sets);
        std::vector<int> ncells(nsets), sizes(nsets);
        std::vector<int *> connect(nsets);
        int nkept = 0, *nodes = nullptr;
        const int result =
            UTILthresh_null(&mesh_, missing_.data(), static_cast<int>(ElementType::kByte), &kMissing, &nkept,
                            &nodes, mesh_.ncell_sets, ncells.data(), connect.data(), sizes.data());
        std::free(nodes);
        for (std::size_t s = 0; s < nsets; ++s) {
            const auto size =
                static_cast<std::size_t>(ncells[s]) * static_cast<std::size_t>(mesh_.cell_nnodes[s]);
            made_.connect_.emplace_back(connect[s], size);
        }
        call_.check(result, "without_nulls");
        nkept_ = static_cast<std::size_t>(nkept);
        ncells_ = std::accumulate(ncells.begin(), ncells.end(), std::size_t{0});
        made_.nodes_.reserve(nkept_);
        made_.cells_.reserve(ncells_);
        for (std::size_t s = 0; s < nsets; ++s) {
            if (ncells[s] == 0) continue;
            made_.connect_[s].fit();
            if (mesh_.ndim == 3) turn_cells(made_.connect_[s]);
            made_.sets_.push_back(
                {cell_type(mesh_.cell_ndim[s], mesh_.cell_nnodes[s]), made_.connect_[s].view()});
        }
    }

    // Hexahedra come mirrored from grids.
    static void turn_cells(const Array<int> &connect) {
        for (int *hex = connect.data(); hex != connect.data() + connect.size(); hex += 8) {
            std::swap(hex[1], hex[3]);
            std::swap(hex[5], hex[7]);
        }
    }

    const int *nodes_of_set(int set) {
        int *connect = nullptr;
        call_.check(mesh_.get_cell_set(&mesh_, set, &connect), "cells");
        return connect;
    }

    void list_grid_cells() {
        constexpr int kChunk = 4096;
        std::vector<int> connect(static_cast<std::size_t>(kChunk) << mesh_.ndim);
        for (int first = 0; first < mesh_.ncells; first += kChunk) {
            const int ncells = std::min(kChunk, mesh_.ncells - first);
            UTILget_connect_struct(mesh_.ndim, mesh_.dims, first, first + ncells, connect.data());
            list_cells(connect.data(), 1 << mesh_.ndim, first, ncells);
        }
    }

    // Lists those of some cells that are kept. Cells are numbered from `first`.
    void list_cells(const int *connect, int nnodes, int first, int ncells) {
        for (int cell = first; cell < first + ncells; ++cell, connect += nnodes) {
            if (std::none_of(connect, connect + nnodes,
                             [&](int node) { return missing_[static_cast<std::size_t>(node)] != 0; }))
                made_.cells_.push_back(cell);
        }
    }

    MeshInfo &mesh_;
    const Call &call_;
    std::vector<unsigned char> missing_;
    std::size_t nkept_ = 0, ncells_ = 0;  // as the library counts them
    Submesh made_;
};

}  // namespace front

}  // namespace isofield
#endif
