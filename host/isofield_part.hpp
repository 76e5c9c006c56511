// Part of isofield.hpp: parts of meshes, which bands and cuts make, and the bodies that cut them out.
#ifndef ISOFIELD_PART_HPP
#define ISOFIELD_PART_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_surface.hpp"

namespace isofield {

namespace front {

class PartMaker;

// The cells of parts, by type index (see the case tables in isofield.h).
struct PartKind {
    const char *type;
    int ndim, nnodes;
};
constexpr PartKind kPartKinds[6] = {{"tet_1", 3, 4}, {"prism_1", 3, 6}, {"pyr_1", 3, 5},
                                    {"hex_1", 3, 8}, {"tri_1", 2, 3},   {"quad_1", 2, 4}};
constexpr int kTet = 0, kHex = 3, kTri = 4, kQuad = 5;

// What cells of one dimension are cut into.
constexpr int simplex_of(int kind) {
    return kPartKinds[kind].ndim == 3 ? kTet : kTri;
}

}  // namespace front

// One set of cells of one type: type as in "hex_1", connect: cells x nodes per cell.
struct CellSet {
    std::string type;
    std::span<const int> connect;
};

// The side of a level that a cut keeps.
enum class Side {
    kAbove,  // at or above the level
    kBelow,  // below it
};

// Bodies whose signed distances cut them out of a mesh.
struct Plane {
    std::array<double, 3> point;   // any one of it
    std::array<double, 3> normal;  // of any length but 0; the side that it points to is inside
};
struct Box {
    std::array<double, 3> lower, upper;
};
struct Sphere {
    std::array<double, 3> centre;
    double radius;
};
using Body = std::variant<Plane, Box, Sphere>;

// What Mesh::band and Mesh::cut make: cells that came through whole, and simplices where cells were cut open.
// Owns its arrays; outlives its mesh. Moves, does not copy.
//
// A part is a mesh again: Mesh::of(part).
class Part {
  public:
    // The nodes that the cells have: kept nodes of the mesh, in mesh order, then new nodes.
    std::size_t npoints() const { return points_.size() / 3; }
    std::span<const float> points() const { return points_.view(); }  // npoints x 3, missing components 0
    std::span<const int> kept_nodes() const { return kept_.view(); }  // per kept node its number in the mesh
    std::size_t nnew() const { return npoints() - kept_nodes().size(); }

    // One set for each type of which there are cells, in the order tet_1, prism_1, pyr_1, hex_1, tri_1,
    // quad_1. Rows into points(). Volumes are positive where those of the mesh are (but see the case tables
    // in isofield.h on prisms); on grids, where i, j, k are right-handed.
    std::span<const CellSet> sets() const { return sets_; }
    std::size_t ncells() const { return ncells_; }
    // Per cell, one set after the other, the cell of the mesh that it was or is cut from: the packed number
    // on grids, the global cell id on cell sets; empty unless kept.
    std::span<const int> cells() const { return cells_.view(); }

    // The segments along the lower and the upper level in flat cells, in the order of the cells, the part on
    // their left; rows into points(). A cut has lines_lo() alone, along its level.
    std::vector<Line> lines_lo() const { return lines_along(0); }
    std::vector<Line> lines_hi() const { return lines_along(1); }

    // Carries node data of the mesh over: npoints() x components, of T or, in the second form, of data.type()
    // into `out`. In double between the ends of a new node's edge; truncated for integer types. The data that
    // the part was made by take exactly the level on new nodes. With null_value, a component that is null at
    // either end is null. Throws BadInput.
    template <class T>
    std::vector<T> carry(std::span<const T> values, int components = 1,
                         std::optional<double> null_value = {}) const {
        return front::carried(npoints(), values, components,
                              [&](const DataView &data, T *out) { carry(data, out, null_value); });
    }
    void carry(const DataView &data, void *out, std::optional<double> null_value = {}) const {
        constexpr int kMostComponents = 128;
        front::check_rows(data, nnodes_, "nodes");
        if (data.components() > kMostComponents) {
            throw BadInput("components is " + std::to_string(data.components()) + ", but must be at most " +
                           std::to_string(kMostComponents));
        }
        carry_new(data, null_value, gather_rows(data, kept_nodes(), static_cast<std::byte *>(out)));
    }

    // The same for cell data of the mesh, in the order of its cells: ncells() x components, as cells() tells.
    template <class T>
    std::vector<T> carry_cells(std::span<const T> values, int components = 1) const {
        return front::carried(ncells(), values, components,
                              [&](const DataView &data, T *out) { carry_cells(data, out); });
    }
    void carry_cells(const DataView &data, void *out) const {
        if (cells().size() != ncells()) {
            throw BadInput("the part does not know its cells; make it with keep_cells");
        }
        front::check_rows(data, mesh_ncells_, "cells");
        gather_rows(data, cells(), static_cast<std::byte *>(out));
    }

  private:
    friend class front::PartMaker;

    static std::size_t row_size(const DataView &data) {
        return size_of(data.type()) * static_cast<std::size_t>(data.components());
    }

    // Returns the end of what it wrote.
    static std::byte *gather_rows(const DataView &data, std::span<const int> list, std::byte *out) {
        const auto *rows = static_cast<const std::byte *>(data.data());
        const std::size_t size = row_size(data);
        for (const int row : list) {
            std::memcpy(out, rows + static_cast<std::size_t>(row) * size, size);
            out += size;
        }
        return out;
    }

    void carry_new(const DataView &data, std::optional<double> null_value, std::byte *out) const {
        if (nnew() == 0) return;
        const std::size_t size = row_size(data);
        const bool own = data.type() == type_ && data.components() == 1 &&
                         !std::memcmp(data.data(), scalars_.get(), nnodes_ * size);
        const void *in = own ? scalars_.get() : data.data();
        const front::Null null(data.type(), null_value);
        const front::Call call;
        call.check(
            UTILeval_contour(static_cast<int>(nnodes_), static_cast<int>(nnew()), 0, static_cast<int>(type_),
                             scalars_.get(), lo_, hi_, min_node_.data(), max_node_.data(),
                             reinterpret_cast<const char *>(level_flag_.data()), data.components(),
                             static_cast<int>(data.type()), null.flag(), null.value(), 0, in, out),
            "carry");
    }

    bool lies_on(int level, int row) const {
        const auto nkept = static_cast<int>(kept_.size());
        return row >= nkept && level_flag_.data()[row - nkept] == level;
    }

    // The edges from new node to new node along a level that bound the pieces of their cell: such an edge
    // crosses its cell, so that no other cell has it. Inside the cell it runs both ways.
    std::vector<Line> lines_along(int level) const {
        constexpr std::ptrdiff_t kMostPieces = 5;  // of a cell; they stand together
        const auto *triangles = reinterpret_cast<const Triangle *>(connect_[front::kTri].data());
        const auto count = static_cast<std::ptrdiff_t>(connect_[front::kTri].size() / 3);
        const auto has_edge = [](const Triangle &t, int a, int b) {
            return (t[0] == a && t[1] == b) || (t[1] == a && t[2] == b) || (t[2] == a && t[0] == b);
        };
        std::vector<Line> lines;
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                const int a = triangles[i][c], b = triangles[i][(c + 1) % 3];
                if (!lies_on(level, a) || !lies_on(level, b)) continue;
                const Triangle *first = triangles + std::max<std::ptrdiff_t>(i - kMostPieces + 1, 0);
                const Triangle *end = triangles + std::min(i + kMostPieces, count);
                if (std::none_of(first, end, [&](const Triangle &t) { return has_edge(t, b, a); }))
                    lines.push_back({a, b});
            }
        }
        return lines;
    }

    std::size_t nnodes_ = 0, mesh_ncells_ = 0;  // of the mesh
    ElementType type_ = ElementType::kFloat;
    std::unique_ptr<std::byte[]> scalars_;  // the data that the part was made by, when there are new nodes
    double lo_ = 0, hi_ = 0;
    front::Array<int> min_node_, max_node_;
    front::Array<signed char> level_flag_;
    front::Array<int> kept_;
    front::Array<float> points_;
    std::array<front::Array<int>, 6> connect_;  // by type index
    std::vector<CellSet> sets_;
    std::size_t ncells_ = 0;
    front::Array<int> cells_;
};

namespace front {

// The library's lists of cells, which go at the end of the scope.
class CellLists {
  public:
    explicit CellLists(std::size_t size) : counts_(size, 0), lists_(size, nullptr) {}
    ~CellLists() {
        for (int *list : lists_) {
            if (list) FreeArray()(list);
        }
    }
    CellLists(const CellLists &) = delete;
    CellLists &operator=(const CellLists &) = delete;

    std::size_t size() const { return lists_.size(); }
    int *counts() { return counts_.empty() ? nullptr : counts_.data(); }
    int **lists() { return lists_.empty() ? nullptr : lists_.data(); }

    // Writes a list's cells, counted from `first`; returns the end of what it wrote.
    int *copy(std::size_t list, int first, int *out) const {
        return std::transform(lists_[list], lists_[list] + counts_[list], out,
                              [first](int cell) { return first + cell; });
    }

  private:
    std::vector<int> counts_;
    std::vector<int *> lists_;
};

inline void widen(const float *coords, std::size_t nspace, std::size_t count, float *points) {
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t d = 0; d < 3; ++d) points[3 * i + d] = d < nspace ? coords[i * nspace + d] : 0.0f;
    }
}

// The coordinates of nodes of any mesh, with three components; those of grids are never held all.
class NodeCoords {
  public:
    NodeCoords(MeshInfo &mesh, const Call &call)
        : mesh_(mesh), call_(call), nspace_(static_cast<std::size_t>(mesh.nspace)) {
        if (mesh.ndim == 0) call.check(mesh.get_coords(&mesh, &coords_), "coordinates");
        if (nspace_ < 3) narrow_.resize(kChunk * nspace_);
    }

    void gather(std::span<const int> nodes, float *out) {
        for (std::size_t first = 0; first < nodes.size(); first += kChunk) {
            const std::span<const int> chunk = nodes.subspan(first, std::min(kChunk, nodes.size() - first));
            float *rows = nspace_ < 3 ? narrow_.data() : out;
            if (coords_) {
                for (std::size_t i = 0; i < chunk.size(); ++i) {
                    const float *from = coords_ + static_cast<std::size_t>(chunk[i]) * nspace_;
                    std::copy_n(from, nspace_, rows + i * nspace_);
                }
            } else {
                call_.check(UTILget_coord_list(&mesh_, static_cast<int>(chunk.size()), chunk.data(), rows),
                            "coordinates");
            }
            if (nspace_ < 3) widen(rows, nspace_, chunk.size(), out);
            out += 3 * chunk.size();
        }
    }

  private:
    static constexpr std::size_t kChunk = 4096;

    MeshInfo &mesh_;
    const Call &call_;
    std::size_t nspace_;
    float *coords_ = nullptr;
    std::vector<float> narrow_;
};

// Tells which cells of a mesh the output cells of a band come from: how many of which type a cell makes
// follows from the classes of its nodes and the case tables, and cells come in the order of the library's.
class Census {
  public:
    // out: by type index, where to write the cells.
    Census(const FiniteRows &scalars, const DataView &data, double lo, double hi,
           const std::array<int *, 6> &out)
        : classes_(data.rows()), out_(out) {
        std::vector<unsigned char> above(data.rows());
        const auto classify = [&](int inclusive, double level, int high, unsigned char *classes) {
            UTILthreshold_scalar(static_cast<int>(data.rows()), scalars.data(), static_cast<int>(data.type()),
                                 scalars.null().flag(), scalars.null().value(), inclusive, level, 0, high,
                                 kNull, classes);
        };
        classify(1, lo, kReached, classes_.data());
        classify(0, hi, kAbove, above.data());
        for (std::size_t i = 0; i < above.size(); ++i) classes_[i] |= above[i];
    }

    // Grids name the nodes of the upper plane first.
    void count_grid(const MeshInfo &mesh) {
        constexpr int kChunk = 4096;
        std::vector<int> connect(static_cast<std::size_t>(kChunk) << mesh.ndim);
        const int kind = mesh.ndim == 3 ? kHex : kQuad;
        for (int first = 0; first < mesh.ncells; first += kChunk) {
            const int end = first + std::min(kChunk, mesh.ncells - first);
            UTILget_connect_struct(mesh.ndim, mesh.dims, first, end, connect.data());
            count(kind, mesh.ndim == 3 ? 4 : 0, end - first, connect.data(), first, 1);
        }
    }

    void count_sets(MeshInfo &mesh, const Call &call) {
        for (int s = 0; s < mesh.ncell_sets; ++s) {
            int *connect = nullptr;
            call.check(mesh.get_cell_set(&mesh, s, &connect), "cells");
            if (mesh.cell_order[s] > 1) {
                count_quadratic(mesh, s, connect, call);
                continue;
            }
            const auto *kind = std::find_if(std::begin(kPartKinds), std::end(kPartKinds), [&](auto &k) {
                return k.ndim == mesh.cell_ndim[s] && k.nnodes == mesh.cell_nnodes[s];
            });
            count(static_cast<int>(kind - kPartKinds), 0, mesh.cell_ncells[s], connect, mesh.cell_first[s],
                  1);
        }
    }

  private:
    static constexpr int kReached = 1, kAbove = 2, kNull = 4;  // classes of nodes

    void count_quadratic(const MeshInfo &mesh, int set, const int *connect, const Call &call) {
        constexpr int kChunk = 1024;
        for (int first = 0; first < mesh.cell_ncells[set]; first += kChunk) {
            const int ncells = std::min(kChunk, mesh.cell_ncells[set] - first);
            int npieces = 0, nnodes = 0;
            int *pieces = nullptr;
            const int result =
                mesh.cell_funcs[set].funcs.tesselate_func(ncells, connect, &npieces, &pieces, &nnodes);
            const Array<int> owner(pieces, 0);
            call.check(result, "cells");
            count(nnodes == 4 ? kTet : kTri, 0, npieces, pieces, mesh.cell_first[set] + first,
                  npieces / ncells);
            connect += static_cast<std::ptrdiff_t>(ncells) * mesh.cell_nnodes[set];
        }
    }

    // Cells, or pieces of which `per` make a cell, numbered from `first`. Node i has bit i ^ flip of a mask.
    void count(int kind, int flip, int ncells, const int *connect, int first, int per) {
        const int nnodes = kPartKinds[kind].nnodes;
        int *&whole = out_[static_cast<std::size_t>(kind)];
        int *&cut = out_[static_cast<std::size_t>(simplex_of(kind))];
        for (int i = 0; i < ncells; ++i, connect += nnodes) {
            int any = 0, all = kReached | kAbove;
            for (int n = 0; n < nnodes; ++n) {
                const int node = classes_[static_cast<std::size_t>(connect[n])];
                any |= node;
                all &= node;
            }
            if (any & kNull || !(any & kReached) || all & kAbove) continue;
            const int cell = first + i / per;
            if (all & kReached && !(any & kAbove)) {
                *whole++ = cell;
                continue;
            }
            int lower = 0, upper = 0;
            for (int n = 0; n < nnodes; ++n) {
                const int node = classes_[static_cast<std::size_t>(connect[n])];
                lower |= (node & kReached ? 1 : 0) << (n ^ flip);
                upper |= (node & kAbove ? 1 : 0) << (n ^ flip);
            }
            cut = std::fill_n(cut, npieces(kind, lower, upper), cell);
        }
    }

    static int npieces(int kind, int lower, int upper) {
        const int full = (1 << kPartKinds[kind].nnodes) - 1, inside = full - upper;
        if (lower == full || inside == full) return CUTncell_type[kind][std::min(lower, inside)];
        if (kind == kTri) return CONTncell_tri[CONTtable_index_tri[upper * 8 + lower]];
        if (kind == kQuad) return CONTncell_quad[CONTtable_index_quad[upper * 16 + lower]];
        // The tetrahedra above the lower level are cut at the upper one.
        const unsigned char *node = CUTconnect_list_type[kind] + CUTc_ind_type[kind][lower];
        const unsigned char *is_new = CUTnew_flag_list_type[kind] + CUTc_ind_type[kind][lower];
        int sum = 0;
        for (int tet = 0; tet < CUTncell_type[kind][lower]; ++tet) {
            int mask = 0;
            for (int bit = 1; bit <= 8; bit <<= 1, ++node, ++is_new) {
                if (*is_new || !(upper >> *node & 1)) mask |= bit;
            }
            sum += mask == 15 ? 1 : CUTncell_tet[mask];
        }
        return sum;
    }

    std::vector<unsigned char> classes_;
    std::array<int *, 6> out_;
};

// Makes one part, from arguments that were checked.
class PartMaker {
  public:
    PartMaker(MeshInfo &mesh, const Call &call, const DataView &data, std::optional<double> null_value,
              bool keep_cells)
        : mesh_(mesh), call_(call), data_(data), scalars_(data, null_value), keep_cells_(keep_cells) {}

    Part band(double lo, double hi) {
        char *level_flag = nullptr;
        float *coords = nullptr;
        int nlines[2] = {};
        int *lines[2] = {};
        const int result =
            UTILcontour(&mesh_, scalars_.data(), static_cast<int>(data_.type()), scalars_.null().flag(),
                        scalars_.null().value(), lo, hi, &nold_, &node_map_, &nnew_, &min_node_, &max_node_,
                        &level_flag, ncells_, connect_, connect_size_, mesh_.nspace, &coords, &nlines[0],
                        &lines[0], &nlines[1], &lines[1]);
        const auto nrows = static_cast<std::size_t>(nold_) + static_cast<std::size_t>(nnew_);
        Array<float> rows(coords, nrows * static_cast<std::size_t>(mesh_.nspace));
        part_.level_flag_ = {reinterpret_cast<signed char *>(level_flag), static_cast<std::size_t>(nnew_)};
        take(result, "band", lo, hi);
        part_.level_flag_.fit();
        take_points(std::move(rows));
        if (keep_cells_) {
            const std::array<int *, 6> out = make_cells();
            Census census(scalars_, data_, lo, hi, out);
            if (mesh_.ndim > 0)
                census.count_grid(mesh_);
            else
                census.count_sets(mesh_, call_);
        }
        return std::move(part_);
    }

    Part cut(double level, Side side) {
        const auto nsets = static_cast<std::size_t>(mesh_.ndim > 0 ? 1 : mesh_.ncell_sets);
        CellLists lists(keep_cells_ ? 6 * nsets : 0);
        const int result =
            UTILcut(&mesh_, scalars_.data(), static_cast<int>(data_.type()), scalars_.null().flag(),
                    scalars_.null().value(), level, side == Side::kBelow ? -1 : 1, &nold_, &node_map_, &nnew_,
                    &min_node_, &max_node_, ncells_, connect_, connect_size_, lists.counts(), lists.lists());
        take(result, "cut", level, level);
        part_.level_flag_ = Array<signed char>::make(part_.min_node_.size());
        std::fill_n(part_.level_flag_.data(), part_.level_flag_.size(), static_cast<signed char>(0));
        place_points(level);
        if (keep_cells_) {
            const std::array<int *, 6> out = make_cells();
            for (std::size_t t = 0; t < 6; ++t) {
                int *end = out[t];
                for (std::size_t s = 0; s < nsets; ++s)
                    end = lists.copy(6 * s + t, mesh_.ndim > 0 ? 0 : mesh_.cell_first[s], end);
            }
        }
        return std::move(part_);
    }

  private:
    // Makes the library's arrays the part's, all but coordinates, without the rows that no cell has.
    void take(int result, const char *operation, double lo, double hi) {
        struct Free {
            void operator()(int *map) const { std::free(map); }
        };
        const std::unique_ptr<int[], Free> node_map(node_map_);
        part_.min_node_ = {min_node_, static_cast<std::size_t>(nnew_)};
        part_.max_node_ = {max_node_, static_cast<std::size_t>(nnew_)};
        for (std::size_t t = 0; t < 6; ++t) {
            const auto ncells = static_cast<std::size_t>(ncells_[t]);
            if (ncells > 0)
                part_.connect_[t] = {connect_[t], ncells * static_cast<std::size_t>(kPartKinds[t].nnodes)};
        }
        call_.check(result, operation);
        part_.min_node_.fit();
        part_.max_node_.fit();
        part_.nnodes_ = data_.rows();
        part_.mesh_ncells_ = static_cast<std::size_t>(mesh_.ncells);
        part_.type_ = data_.type();
        part_.lo_ = lo;
        part_.hi_ = hi;
        take_cells();
        number_rows();
        take_kept(node_map.get());
        if (nnew_ > 0) {
            const std::size_t size = data_.rows() * size_of(data_.type());
            part_.scalars_ = std::make_unique_for_overwrite<std::byte[]>(size);
            std::memcpy(part_.scalars_.get(), data_.data(), size);
        }
    }

    void take_cells() {
        if (mesh_.ndim == 3) turn_cells();
        for (std::size_t t = 0; t < 6; ++t) {
            Array<int> &connect = part_.connect_[t];
            if (connect.size() == 0) continue;
            connect.fit();
            part_.sets_.push_back({kPartKinds[t].type, connect.view()});
            part_.ncells_ += static_cast<std::size_t>(ncells_[t]);
        }
    }

    // Volume cells come mirrored from grids.
    void turn_cells() {
        const Array<int> &hexes = part_.connect_[kHex], &tets = part_.connect_[kTet];
        for (std::size_t i = 0; i < hexes.size(); i += 8) {
            int *hex = hexes.data() + i;
            std::swap_ranges(hex, hex + 4, hex + 4);
        }
        for (std::size_t i = 0; i < tets.size(); i += 4) std::swap(tets.data()[i], tets.data()[i + 1]);
    }

    // Numbers the rows that cells have. Those of new nodes are had, for every case of the tables uses them.
    void number_rows() {
        constexpr int kUnused = -1;
        number_.assign(static_cast<std::size_t>(nold_), kUnused);
        for (const Array<int> &connect : part_.connect_) {
            for (const int row : connect.view()) {
                if (row < nold_) number_[static_cast<std::size_t>(row)] = 0;
            }
        }
        for (int &number : number_) {
            if (number != kUnused) number = nkept_++;
        }
        if (nkept_ == nold_) return;
        for (const Array<int> &connect : part_.connect_) {
            for (std::size_t i = 0; i < connect.size(); ++i) connect.data()[i] = number(connect.data()[i]);
        }
    }

    // The row in the part, or -1, of a row of the library's.
    int number(int row) const {
        return row < nold_ ? number_[static_cast<std::size_t>(row)] : row - nold_ + nkept_;
    }

    void take_kept(const int *node_map) {
        part_.kept_ = Array<int>::make(static_cast<std::size_t>(nkept_));
        int *end = part_.kept_.data();
        if (mesh_.ndim > 0) {
            for (int row = 0; row < nold_; ++row) {
                if (number(row) >= 0) *end++ = node_map[row];
            }
        } else {
            for (int node = 0; node < mesh_.nnodes; ++node) {
                if (node_map[node] >= 0 && number(node_map[node]) >= 0) *end++ = node;
            }
        }
    }

    std::size_t npoints() const { return static_cast<std::size_t>(nkept_) + static_cast<std::size_t>(nnew_); }

    void take_points(Array<float> rows) {
        const auto nspace = static_cast<std::size_t>(mesh_.nspace);
        if (nkept_ == nold_ && nspace == 3) {
            part_.points_ = std::move(rows);
            part_.points_.fit();
            return;
        }
        part_.points_ = Array<float>::make(3 * npoints());
        for (int row = 0; row < nold_ + nnew_; ++row) {
            if (number(row) >= 0) {
                widen(rows.data() + static_cast<std::size_t>(row) * nspace, nspace, 1,
                      part_.points_.data() + 3 * static_cast<std::size_t>(number(row)));
            }
        }
    }

    // The points of a cut: kept nodes, then, in chunks that stay in the cache, where the level crosses the
    // edges of the new ones.
    void place_points(double level) {
        constexpr std::size_t kChunk = 2048;
        NodeCoords coords(mesh_, call_);
        part_.points_ = Array<float>::make(3 * npoints());
        float *points = part_.points_.data();
        coords.gather(part_.kept_.view(), points);
        points += 3 * part_.kept_.size();
        std::vector<int> ends(2 * kChunk), first_ends(kChunk), second_ends(kChunk);
        for (std::size_t i = 0; i < kChunk; ++i) {
            first_ends[i] = static_cast<int>(2 * i);
            second_ends[i] = static_cast<int>(2 * i + 1);
        }
        const std::vector<char> flags(kChunk, 0);
        std::vector<float> xyz(6 * kChunk);
        std::vector<double> values(2 * kChunk);
        for (std::size_t first = 0; first < part_.nnew(); first += kChunk) {
            const std::size_t count = std::min(kChunk, part_.nnew() - first);
            for (std::size_t i = 0; i < count; ++i) {
                ends[2 * i] = part_.min_node_.data()[first + i];
                ends[2 * i + 1] = part_.max_node_.data()[first + i];
            }
            const auto nends = static_cast<int>(2 * count);
            coords.gather(std::span(ends).first(2 * count), xyz.data());
            DTYPEcvt_copy_array_list(nends, static_cast<int>(ElementType::kDouble),
                                     static_cast<int>(data_.type()), scalars_.data(), ends.data(),
                                     values.data());
            call_.check(UTILeval_contour(nends, nends / 2, 0, static_cast<int>(ElementType::kDouble),
                                         values.data(), level, level, first_ends.data(), second_ends.data(),
                                         flags.data(), 3, static_cast<int>(ElementType::kFloat), 0, nullptr,
                                         0, xyz.data(), points + 3 * first),
                        "cut");
        }
    }

    // Returns by type index where the cells of its cells stand.
    std::array<int *, 6> make_cells() {
        part_.cells_ = Array<int>::make(part_.ncells_);
        std::array<int *, 6> begin;
        int *end = part_.cells_.data();
        for (std::size_t t = 0; t < 6; ++t) {
            begin[t] = end;
            end += ncells_[t];
        }
        return begin;
    }

    MeshInfo &mesh_;
    const Call &call_;
    const DataView &data_;
    const FiniteRows scalars_;
    const bool keep_cells_;

    // What the library hands out.
    int nold_ = 0, nnew_ = 0;
    int *node_map_ = nullptr, *min_node_ = nullptr, *max_node_ = nullptr;
    int ncells_[6] = {}, connect_size_[6] = {};
    int *connect_[6] = {};

    std::vector<int> number_;  // per old row its row in the part, or -1
    int nkept_ = 0;
    Part part_;
};

// ---- Bodies

inline void check_finite(const char *name, const std::array<double, 3> &vector) {
    for (const double component : vector) {
        if (!std::isfinite(component)) throw BadInput(std::string(name) + " is not finite");
    }
}

// Checks a body; the normal of a plane comes back with length 1.
inline Body checked(Body body) {
    if (auto *plane = std::get_if<Plane>(&body)) {
        check_finite("point", plane->point);
        check_finite("normal", plane->normal);
        std::array<double, 3> &normal = plane->normal;
        const double length = std::hypot(normal[0], normal[1], normal[2]);
        if (length == 0) throw BadInput("normal is 0, which has no direction");
        for (double &component : normal) component /= length;
    } else if (const auto *box = std::get_if<Box>(&body)) {
        for (std::size_t d = 0; d < 3; ++d) {
            if (!(box->lower[d] < box->upper[d]))
                throw BadInput("lower[" + std::to_string(d) + "] is not below upper[" + std::to_string(d) +
                               "]");
        }
    } else {
        const Sphere &sphere = std::get<Sphere>(body);
        check_finite("centre", sphere.centre);
        if (!(sphere.radius > 0)) throw BadInput("radius is not above 0");
    }
    return body;
}

inline double signed_distance(const Plane &plane, const float *p) {
    double distance = 0;
    for (std::size_t d = 0; d < 3; ++d) distance += (double{p[d]} - plane.point[d]) * plane.normal[d];
    return distance;
}
// The least distance beyond a face's plane: outside edges and corners too, so that it is linear where one
// face cuts.
inline double signed_distance(const Box &box, const float *p) {
    double distance = std::numeric_limits<double>::infinity();
    for (std::size_t d = 0; d < 3; ++d)
        distance = std::min({distance, double{p[d]} - box.lower[d], box.upper[d] - double{p[d]}});
    return distance;
}
inline double signed_distance(const Sphere &sphere, const float *p) {
    double squares = 0;
    for (std::size_t d = 0; d < 3; ++d)
        squares += (double{p[d]} - sphere.centre[d]) * (double{p[d]} - sphere.centre[d]);
    return sphere.radius - std::sqrt(squares);
}

}  // namespace front

}  // namespace isofield
#endif
