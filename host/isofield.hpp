// isofield.hpp: the C++20 front of isofield. Meshes from plain arrays, results that own themselves, errors as
// exceptions. Stands on isofield.h and on the default host (isofield_default_host.h).
//
//     isofield::Mesh mesh = isofield::Mesh::uniform({181, 217, 181}, {0, 0, 0}, {180, 216, 180});
//     isofield::Surface brain = mesh.isosurface(voxels, 80.0);  // a vector or a span
//     for (const isofield::Triangle &triangle : brain.triangles()) { ... }  // rows into
//     std::span<const float> points = brain.points();                       // npoints x 3
//
// Cell meshes are made from sets of cells of one type; see isofield_default_host.h for the order of nodes:
//
//     const isofield::CellSet sets[] = {{"hex_1", hexahedra}, {"tri_1", skin}};
//     isofield::Mesh part = isofield::Mesh::cells(coords, sets);
//     isofield::Surface sheet = part.isosurface(temperature, 300.0);
//     isofield::Polylines lines = isofield::join_lines(sheet.lines(), sheet.npoints());
//
// Values at points anywhere, and integrals:
//
//     isofield::Locator locator(part);                                     // built once
//     std::vector<float> at = locator.sample(probe_points, temperature);  // npoints x 3 in; NaN outside
//     isofield::Integral heat = part.integrate(3, temperature);           // heat.measure, heat.integral
//
// While a call of this front runs, its reports are not written to standard error: they stand in the
// exception. A program's error handler still gets them.
#ifndef ISOFIELD_HPP
#define ISOFIELD_HPP

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_default_host.h"
#include "isofield_integral.hpp"

namespace isofield {

// Settings of an extraction. NaN and infinite values always count as missing.
struct ExtractionOptions {
    std::optional<double> null_value;  // cells with a node of this value make nothing
    Progress progress;
    bool keep_cells = false;  // fill the result's cells
};

// A place in a mesh: its cell, and where in it. The cell is the packed number on grids, the global cell id on
// cell sets, -1 in no cell.
struct Place {
    int cell = -1;
    std::array<float, 3> uvw = {};  // in the cell's parametric space

    bool found() const { return cell >= 0; }
};

// Settings of sampling. NaN and infinite values always count as missing.
struct SampleOptions {
    std::optional<double> null_value;                      // cells with a node of this value have no values
    float fill = std::numeric_limits<float>::quiet_NaN();  // the value where there is none
    Progress progress;
};

// Settings of cell data brought to nodes. NaN and infinite values always count as missing.
struct CellToNodeOptions {
    std::optional<double> null_value;  // a node with a cell of this value has no value
    int power = 0;                     // 0: cells count alike; above 0: by 1 / distance^power
};

// The nodes that an extraction makes, each on an edge of its mesh. Owns its arrays; outlives its mesh. Moves,
// does not copy.
class NewNodes {
  public:
    std::span<const float> points() const { return points_.view(); }  // npoints x 3, missing components 0
    std::size_t npoints() const { return min_node_.size(); }
    // Per new node the ends of its edge, and its place on it, from 0 at min_node to 1 at max_node.
    std::span<const int> min_node() const { return min_node_.view(); }
    std::span<const int> max_node() const { return max_node_.view(); }
    std::span<const float> parameter() const { return parameter_.view(); }

    // Carries other node data of the same mesh over to the new nodes: npoints() x components, of T or, in the
    // second form, of data.type() into `out`. With null_value, a null at either end makes a null. Throws
    // BadInput.
    template <class T>
    std::vector<T> carry(std::span<const T> values, int components = 1,
                         std::optional<double> null_value = {}) const {
        const DataView data(values, components);
        std::vector<T> result(npoints() * static_cast<std::size_t>(components));
        carry(data, result.data(), null_value);
        return result;
    }
    void carry(const DataView &data, void *out, std::optional<double> null_value = {}) const {
        if (data.rows() != nnodes_) {
            throw BadInput("data has " + std::to_string(data.rows()) + " rows, but the mesh has " +
                           std::to_string(nnodes_) + " nodes");
        }
        const front::Null null(data.type(), null_value);
        front::Call call;
        const int result = UTILeval_param(
            static_cast<int>(npoints()), data.components(), static_cast<int>(data.type()), data.data(),
            null.flag(), null.value(), min_node_.data(), max_node_.data(), parameter_.data(), out);
        call.check(result, "carry");
    }

  protected:
    NewNodes() = default;

  private:
    friend class Mesh;

    std::size_t nnodes_ = 0;  // of the mesh
    front::Array<int> min_node_, max_node_;
    front::Array<float> points_, parameter_;
};

using Line = std::array<int, 2>;
using Triangle = std::array<int, 3>;

// The result of Mesh::isolines: segments on new nodes.
class Isolines : public NewNodes {
  public:
    // Rows into points(). Their direction tells nothing of which side is above.
    std::span<const Line> lines() const {
        return {reinterpret_cast<const Line *>(lines_.data()), lines_.size() / 2};
    }
    // Per line its cell: the packed number on grids, the global cell id on cell sets; empty unless kept.
    std::span<const int> line_cells() const { return line_cells_.view(); }

  private:
    friend class Mesh;
    front::Array<int> lines_, line_cells_;
};

// The result of Mesh::isosurface: triangles from volume cells, and lines from two-dimensional cells, on the
// same new nodes.
class Surface : public Isolines {
  public:
    // Rows into points(). The right-hand normal points to the side at or above the level on cell sets, and in
    // index space to the side below it on grids.
    std::span<const Triangle> triangles() const {
        return {reinterpret_cast<const Triangle *>(triangles_.data()), triangles_.size() / 3};
    }
    std::span<const int> cells() const { return cells_.view(); }  // per triangle, as line_cells()

  private:
    friend class Mesh;
    front::Array<int> triangles_, cells_;
};

// Lines joined end to end. A closed one ends in the node that it starts with.
struct Polylines {
    std::vector<int> offsets = {0};  // per line where its nodes start, and the end of the last one's
    std::vector<int> nodes;

    std::size_t size() const { return offsets.size() - 1; }
    std::span<const int> operator[](std::size_t line) const {
        const auto first = static_cast<std::size_t>(offsets[line]);
        return {nodes.data() + first, static_cast<std::size_t>(offsets[line + 1]) - first};
    }
};

// Joins lines wherever just two meet in a node: each line is in one polyline, in either direction. Open
// polylines come first, by their first node; closed ones follow. npoints: above every node number.
inline Polylines join_lines(std::span<const Line> lines, std::size_t npoints) {
    // Per node the lines that end there.
    std::vector<int> first(npoints + 1, 0);
    for (const Line &line : lines) {
        for (const int node : line) ++first[static_cast<std::size_t>(node) + 1];
    }
    for (std::size_t n = 0; n < npoints; ++n) first[n + 1] += first[n];
    std::vector<int> at_node(2 * lines.size());
    std::vector<int> end(first.begin(), first.end() - 1);
    for (std::size_t l = 0; l < lines.size(); ++l) {
        for (const int node : lines[l]) {
            at_node[static_cast<std::size_t>(end[static_cast<std::size_t>(node)]++)] = static_cast<int>(l);
        }
    }
    std::vector<char> used(lines.size(), 0);
    Polylines joined;
    const auto degree = [&](std::size_t node) { return first[node + 1] - first[node]; };
    const auto follow = [&](std::size_t start, std::size_t line) {
        joined.nodes.push_back(static_cast<int>(start));
        for (std::size_t node = start;;) {
            used[line] = 1;
            const Line &ends = lines[line];
            node = static_cast<std::size_t>(ends[static_cast<std::size_t>(ends[0]) == node ? 1 : 0]);
            joined.nodes.push_back(static_cast<int>(node));
            if (degree(node) != 2) break;
            const auto here = static_cast<std::size_t>(first[node]);
            const auto next = static_cast<std::size_t>(
                at_node[used[static_cast<std::size_t>(at_node[here])] ? here + 1 : here]);
            if (used[next]) break;
            line = next;
        }
        joined.offsets.push_back(static_cast<int>(joined.nodes.size()));
    };
    for (const bool closed : {false, true}) {
        for (std::size_t node = 0; node < npoints; ++node) {
            if ((degree(node) == 2) != closed) continue;
            for (int i = first[node]; i < first[node + 1]; ++i) {
                const auto line = static_cast<std::size_t>(at_node[static_cast<std::size_t>(i)]);
                if (!used[line]) follow(node, line);
            }
        }
    }
    return joined;
}

// One set of cells of one type for Mesh::cells: type as in "hex_1", connect: cells x nodes per cell.
struct CellSet {
    std::string type;
    std::span<const int> connect;
};

// A mesh. Moves, does not copy. Views the coordinate and connectivity arrays that it was made from. The
// makers throw BadInput.
class Mesh {
  public:
    // Corners have as many components as the mesh has space dimensions, at least dims.size(). Both are
    // copied.
    static Mesh uniform(std::vector<int> dims, std::vector<float> lower, std::vector<float> upper) {
        if (lower.size() != upper.size()) {
            throw BadInput("upper has " + std::to_string(upper.size()) + " components, but lower has " +
                           std::to_string(lower.size()));
        }
        std::vector<float> corners = lower;
        corners.insert(corners.end(), upper.begin(), upper.end());
        return build([&](MeshInfo **out) {
            return isohost_mesh_uniform(int_size("dims", dims), dims.data(), int_size("lower", lower),
                                        corners.data(), out);
        });
    }

    // One strictly increasing list of grid lines an axis, copied.
    static Mesh rectilinear(std::vector<std::vector<float>> axes) {
        std::vector<int> dims;
        std::vector<const float *> lines;
        for (const std::vector<float> &axis : axes) {
            dims.push_back(int_size("axis", axis));
            lines.push_back(axis.data());
        }
        return build([&](MeshInfo **out) {
            return isohost_mesh_rectilinear(int_size("axes", axes), dims.data(), lines.data(), out);
        });
    }

    // coords: nodes x nspace, first axis fastest; kept alive by the caller.
    static Mesh structured(std::vector<int> dims, std::span<const float> coords, int nspace = 3) {
        check_length(dims, nspace, coords.size());
        return build([&](MeshInfo **out) {
            return isohost_mesh_structured(int_size("dims", dims), dims.data(), nspace, coords.data(), out);
        });
    }

    // coords: nodes x nspace. coords and every connect are kept alive by the caller.
    static Mesh cells(std::span<const float> coords, std::span<const CellSet> sets, int nspace = 3) {
        const int nnodes = whole_rows("coords", int_size("coords", coords), nspace);
        std::vector<IsohostCellSet> records;
        for (const CellSet &set : sets) {
            const std::string name = "sets[" + std::to_string(records.size()) + "].connect";
            const int rows =
                whole_rows(name, int_size(name, set.connect), isohost_cell_type_nodes(set.type.c_str()));
            records.push_back({set.type.c_str(), rows, set.connect.data()});
        }
        return build([&](MeshInfo **out) {
            return isohost_mesh_cells(nnodes, nspace, coords.data(), int_size("sets", records),
                                      records.data(), out);
        });
    }

    MeshInfo *info() { return mesh_.get(); }  // for the functions of isofield.h
    int nnodes() const { return mesh_->nnodes; }

    // The surface along which one scalar takes `level`: triangles from volumes, lines from two-dimensional
    // cells and grids. Throws BadInput, Interrupted or Error.
    Surface isosurface(const DataView &data, double level, const ExtractionOptions &options = {}) {
        front::Call call(&options.progress);
        check_scalar(data);
        check_level(level);
        if (mesh_->ndim == 1) throw BadInput("the grid has 1 dimension, but an isosurface needs 2 or 3");
        const int *ndim = mesh_->cell_ndim;
        if (const int *line = std::find(ndim, ndim + mesh_->ncell_sets, 1); line < ndim + mesh_->ncell_sets) {
            throw BadInput("sets[" + std::to_string(line - ndim) +
                           "] holds lines, of which an isosurface has no part; leave the set out");
        }
        const front::FiniteScalars scalars(data, options.null_value);
        Surface surface;
        {
            Extraction made(*mesh_, options.keep_cells);
            int ntris = 0, tri_size = 0;
            int *triangles = nullptr;
            const int result = UTILisosurf(
                mesh_.get(), scalars.data(), static_cast<int>(data.type()), scalars.null().flag(),
                scalars.null().value(), level, &made.nnew, &made.min_node, &made.max_node, &made.nlines,
                &made.lines, &made.line_size, &ntris, &triangles, &tri_size, made.counts(), made.lists());
            made.take_nodes_and_lines(surface);
            surface.triangles_ = {triangles, 3 * static_cast<std::size_t>(ntris)};
            call.check(result, "isosurface");
            surface.triangles_.fit();
            if (options.keep_cells) {
                surface.cells_ = made.join_cells(3, static_cast<std::size_t>(ntris));
                surface.line_cells_ = made.join_cells(2, static_cast<std::size_t>(made.nlines));
            }
        }
        place(call, "isosurface", surface, scalars, data.type(), level);
        return surface;
    }

    // The lines along which one scalar takes `level` on triangles, quadrilaterals and two-dimensional grids;
    // other cells make none. Throws BadInput, Interrupted or Error.
    Isolines isolines(const DataView &data, double level, const ExtractionOptions &options = {}) {
        front::Call call(&options.progress);
        check_scalar(data);
        check_level(level);
        if (mesh_->ndim == 1 || mesh_->ndim == 3) {
            throw BadInput("isolines need a grid of 2 dimensions, but this one has " +
                           std::to_string(mesh_->ndim));
        }
        const front::FiniteScalars scalars(data, options.null_value);
        Isolines isolines;
        {
            Extraction made(*mesh_, options.keep_cells);
            const int result =
                UTILisoline(mesh_.get(), scalars.data(), static_cast<int>(data.type()), scalars.null().flag(),
                            scalars.null().value(), level, &made.nnew, &made.min_node, &made.max_node,
                            &made.nlines, &made.lines, &made.line_size, made.counts(), made.lists());
            made.take_nodes_and_lines(isolines);
            call.check(result, "isolines");
            if (options.keep_cells) {
                isolines.line_cells_ = made.join_cells(2, static_cast<std::size_t>(made.nlines));
            }
        }
        place(call, "isolines", isolines, scalars, data.type(), level);
        return isolines;
    }

    // The length (ndim 1), area (2) or volume (3) of all cells of that dimension, and the integral of a
    // scalar over them, summed in double. Throws BadInput, Interrupted or Error.
    Integral integrate(int ndim, const IntegralOptions &options = {}) {
        return integrate_values(ndim, nullptr, options);
    }
    Integral integrate(int ndim, const DataView &data, const IntegralOptions &options = {}) {
        check_scalar(data);
        const front::FloatValues values(data, options.null_value);
        return integrate_values(ndim, values.view().data(), options);
    }

    // Node data from cell data, in the order of the cells' ids: the weighted mean of the cells that touch a
    // node, nnodes x components; NaN for a node that has no cell or a null one. Throws BadInput or Error.
    std::vector<double> cell_to_node(const DataView &data, const CellToNodeOptions &options = {}) {
        if (data.rows() != static_cast<std::size_t>(mesh_->ncells)) {
            throw BadInput("data has " + std::to_string(data.rows()) + " rows, but the mesh has " +
                           std::to_string(mesh_->ncells) + " cells");
        }
        if (options.power < 0) {
            throw BadInput("power is " + std::to_string(options.power) + ", but must be at least 0");
        }
        // A missing row is marked by a value in its first component that no other row has.
        constexpr double kNull = std::numeric_limits<double>::lowest();
        constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();
        const std::optional<double> null = null_of(data.type(), options.null_value);
        const auto components = static_cast<std::size_t>(data.components());
        std::vector<double> rows(data.rows() * components);
        const auto *from = static_cast<const std::byte *>(data.data());
        for (std::size_t i = 0; i < rows.size(); ++i, from += size_of(data.type())) {
            UTILtype_to_double(&rows[i], from, static_cast<int>(data.type()));
            if (i % components == 0 && (rows[i] == null || front::is_missing(rows[i]))) rows[i] = kNull;
        }
        std::vector<double> out(static_cast<std::size_t>(mesh_->nnodes) * components);
        const front::Call call;
        float *weights = nullptr;
        char *null_flags = nullptr;
        std::vector<char> touched(static_cast<std::size_t>(mesh_->nnodes), 0);
        for (int s = 0; s < mesh_->ncell_sets; ++s) {
            const double *set_rows = &rows[static_cast<std::size_t>(mesh_->cell_first[s]) * components];
            const int result = UTILcell_to_node(mesh_.get(), s, static_cast<int>(ElementType::kDouble),
                                                set_rows, data.components(), 1, &kNull, options.power,
                                                out.data(), &weights, &null_flags);
            if (result != 1 && s > 0) {
                std::free(weights);
                std::free(null_flags);
            }
            call.check(result, "cell_to_node");
            for (const int node : nodes_of_set(call, s)) touched[static_cast<std::size_t>(node)] = 1;
        }
        for (std::size_t node = 0; node < touched.size(); ++node) {
            double *row = &out[node * components];
            if (!touched[node] || *row == kNull) std::fill_n(row, components, kMissing);
        }
        return out;
    }

  private:
    struct FreeMesh {
        void operator()(MeshInfo *mesh) const { isohost_mesh_free(mesh); }
    };

    explicit Mesh(MeshInfo *mesh) : mesh_(mesh) {}

    template <class Build>
    static Mesh build(Build build_record) {
        const front::Call call;
        MeshInfo *mesh = nullptr;
        if (!build_record(&mesh)) throw BadInput(front::Call::reports());
        return Mesh(mesh);
    }

    template <class Range>
    static int int_size(const std::string &name, const Range &range) {
        if (range.size() > INT_MAX) {
            throw BadInput(name + " has " + std::to_string(range.size()) +
                           " elements, but there can be at most " + std::to_string(INT_MAX));
        }
        return static_cast<int>(range.size());
    }

    // A width that is no width is left to the builder to refuse.
    static int whole_rows(const std::string &name, int size, int width) {
        if (width < 1) return 1;
        if (size % width != 0) {
            throw BadInput(name + " has " + std::to_string(size) + " values, which are no whole rows of " +
                           std::to_string(width));
        }
        return size / width;
    }

    // Sizes that the builder refuses are left to it.
    static void check_length(const std::vector<int> &dims, int nspace, std::size_t size) {
        if (dims.empty() || dims.size() > 3 || nspace < 1 || nspace > 3) return;
        std::int64_t needed = nspace;
        for (const int count : dims) {
            if (count < 1 || needed > INT_MAX) return;
            needed *= count;
        }
        if (needed <= INT_MAX && size != static_cast<std::size_t>(needed)) {
            throw BadInput("coords has " + std::to_string(size) + " values, but the mesh needs " +
                           std::to_string(needed));
        }
    }

    // The node numbers of a set's cells, one cell after the other.
    std::span<const int> nodes_of_set(const front::Call &call, int set) {
        int *connect = nullptr;
        call.check(mesh_->get_cell_set(mesh_.get(), set, &connect), "cells");
        return {connect, static_cast<std::size_t>(mesh_->cell_ncells[set]) *
                             static_cast<std::size_t>(mesh_->cell_nnodes[set])};
    }

    Integral integrate_values(int ndim, const float *values, const IntegralOptions &options) {
        if (ndim < 1 || ndim > 3) {
            throw BadInput("ndim is " + std::to_string(ndim) + ", but must be 1 to 3");
        }
        const front::Call call(&options.progress);
        float *coords = nullptr;
        call.check(mesh_->get_coords(mesh_.get(), &coords), "coordinates");
        Integral sum;
        for (int s = 0; s < mesh_->ncell_sets; ++s) {
            if (mesh_->cell_ndim[s] != ndim) continue;
            const SetFuncs &funcs = mesh_->cell_funcs[s].funcs;
            const int nnodes = mesh_->cell_nnodes[s];
            const bool has_rule = ndim > 1 && funcs.vol_integr_func;
            const front::Quadrature own(funcs, ndim, nnodes);
            const int *nodes = nodes_of_set(call, s).data();
            for (int cell = 0; cell < mesh_->cell_ncells[s]; ++cell, nodes += nnodes) {
                if ((cell & 4095) == 4095) {
                    int stop = 0;
                    OMstatus_check(static_cast<int>(100.0 * (mesh_->cell_first[s] + cell) / mesh_->ncells),
                                   nullptr, &stop);
                    call.check(stop ? -1 : 1, "integrate");
                }
                if (values && std::any_of(nodes, nodes + nnodes,
                                          [values](int node) { return front::is_missing(values[node]); })) {
                    ++sum.null_cells;
                    continue;
                }
                ++sum.ncells;
                if (!has_rule) {
                    own.add_cell(coords, mesh_->nspace, nodes, values, sum);
                    continue;
                }
                float measure = 0, integral = 0;
                call.check(
                    funcs.vol_integr_func(mesh_.get(), s, cell, values, static_cast<int>(ElementType::kFloat),
                                          0, nullptr, &measure, &integral),
                    "integrate");
                sum.measure += double{measure};
                sum.integral += double{integral};
            }
        }
        return sum;
    }

    void check_scalar(const DataView &data) const {
        if (data.components() != 1) {
            throw BadInput("data has " + std::to_string(data.components()) +
                           " components, but must be a scalar");
        }
        if (!isohost_check_node_array(mesh_.get(), "data", data.rows()))
            throw BadInput(front::Call::reports());
    }

    static void check_level(double level) {
        if (std::isnan(level)) throw BadInput("level is nan, but must be a number");
    }

    // What the library's extractions hand out, and the lists of cells, which go at the end of the scope.
    class Extraction {
      public:
        Extraction(const MeshInfo &mesh, bool keep_cells) : mesh_(mesh) {
            if (!keep_cells) return;
            const auto nsets = static_cast<std::size_t>(std::max(mesh.ncell_sets, 1));
            counts_.resize(nsets, 0);
            lists_.resize(nsets, nullptr);
        }
        ~Extraction() {
            for (int *list : lists_) {
                if (list) front::FreeArray()(list);
            }
        }
        Extraction(const Extraction &) = delete;
        Extraction &operator=(const Extraction &) = delete;

        int nnew = 0, nlines = 0, line_size = 0;
        int *min_node = nullptr, *max_node = nullptr, *lines = nullptr;

        int *counts() { return counts_.empty() ? nullptr : counts_.data(); }
        int **lists() { return lists_.empty() ? nullptr : lists_.data(); }

        void take_nodes_and_lines(Isolines &result) {
            result.nnodes_ = static_cast<std::size_t>(mesh_.nnodes);
            result.min_node_ = {min_node, static_cast<std::size_t>(nnew)};
            result.max_node_ = {max_node, static_cast<std::size_t>(nnew)};
            result.lines_ = {lines, 2 * static_cast<std::size_t>(nlines)};
            for (front::Array<int> *array : {&result.min_node_, &result.max_node_, &result.lines_})
                array->fit();
        }

        // The cells of `size` elements: the list of a grid, or those of the sets of `ndim` dimensions one
        // after the other as global cell ids.
        front::Array<int> join_cells(int ndim, std::size_t size) {
            if (mesh_.ndim > 0) {
                front::Array<int> list(mesh_.ndim == ndim ? std::exchange(lists_[0], nullptr) : nullptr,
                                       size);
                list.fit();
                return list;
            }
            front::Array<int> joined = front::Array<int>::make(size);
            int *end = joined.data();
            for (std::size_t s = 0; s < lists_.size(); ++s) {
                if (mesh_.cell_ndim[s] != ndim || !lists_[s]) continue;
                const int first = mesh_.cell_first[s];
                end = std::transform(lists_[s], lists_[s] + counts_[s], end,
                                     [first](int cell) { return first + cell; });
            }
            return joined;
        }

      private:
        const MeshInfo &mesh_;
        std::vector<int> counts_;
        std::vector<int *> lists_;
    };

    // Finds where on its edge each new node lies, and its coordinates, in chunks that stay in the cache.
    void place(const front::Call &call, const char *operation, NewNodes &nodes,
               const front::FiniteScalars &scalars, ElementType type, double level) {
        constexpr std::size_t kChunk = 4096;
        const std::size_t nnew = nodes.npoints();
        const auto nspace = static_cast<std::size_t>(mesh_->nspace);
        nodes.parameter_ = front::Array<float>::make(nnew);
        nodes.points_ = front::Array<float>::make(3 * nnew);
        std::vector<float> narrow(nspace < 3 ? kChunk * nspace : 0);
        for (std::size_t first = 0; first < nnew; first += kChunk) {
            const int count = static_cast<int>(std::min(kChunk, nnew - first));
            const int *a = nodes.min_node_.data() + first;
            const int *b = nodes.max_node_.data() + first;
            float *t = nodes.parameter_.data() + first;
            float *points = nodes.points_.data() + 3 * first;
            float *coords = nspace < 3 ? narrow.data() : points;
            call.check(UTILget_param(count, static_cast<int>(type), scalars.data(), level, a, b, t),
                       operation);
            call.check(UTILeval_coord(mesh_.get(), count, a, b, t, coords), operation);
            if (nspace < 3) widen(coords, nspace, static_cast<std::size_t>(count), points);
        }
    }

    static void widen(const float *coords, std::size_t nspace, std::size_t count, float *points) {
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t d = 0; d < 3; ++d)
                points[3 * i + d] = d < nspace ? coords[i * nspace + d] : 0.0f;
        }
    }

    std::unique_ptr<MeshInfo, FreeMesh> mesh_;
};

// Finds the cells of points in a mesh, and what node data are there. Made once for a mesh, which outlives it.
// Points are rows of x, y, z; in meshes of fewer dimensions the others are 0. Moves, does not copy.
class Locator {
  public:
    // Builds the search table of a mesh that needs one. Throws Interrupted or Error.
    explicit Locator(Mesh &mesh, const Progress &progress = {}) : mesh_(mesh.info()) {
        const front::Call call(&progress);
        BlockTable *table = nullptr;
        const int result = mesh_->field_funcs->interp_init_func(mesh_, &table);
        table_.reset(result == 1 ? table : nullptr);
        call.check(result, "locator");
        for (int d = 0; d < 3; ++d) near_ += 1e-6f * (mesh_->coord_max[d] - mesh_->coord_min[d]);
        for (int s = 0; s < mesh_->ncell_sets; ++s) {
            has_pyramids_ = has_pyramids_ || (mesh_->cell_ndim[s] == 3 && mesh_->cell_nnodes[s] == 5);
        }
    }

    // The cell that holds a point, or is within a millionth of the mesh's extent from it. Of cells that share
    // a face, one of them.
    std::optional<Place> find(const std::array<float, 3> &point) {
        const front::Call call;
        const Place place = find_place(point.data());
        return place.found() ? std::optional(place) : std::nullopt;
    }

    // The cells of many points, npoints x 3. Throws BadInput or Interrupted.
    std::vector<Place> find(std::span<const float> points, const Progress &progress = {}) {
        const front::Call call(&progress);
        const std::size_t npoints = count_points(points);
        std::vector<Place> places(npoints);
        std::size_t done = 0;
        for (const std::size_t i : visiting_order(points)) {
            poll(call, done++, npoints);
            places[i] = find_place(&points[3 * i]);
        }
        return places;
    }

    // Values of node data at points, npoints x 3: npoints x components. Interpolated by the cell's weights,
    // in float. A point in no cell, and in a cell with a missing node, has the value options.fill. Throws
    // BadInput, Interrupted or Error.
    std::vector<float> sample(std::span<const float> points, const DataView &data,
                              const SampleOptions &options = {}) {
        check_rows(data);
        if (!table_) return sample_grid(points, data, options);
        SampleOptions rest = options;
        Progress searching;
        if (options.progress) {
            searching = [&options](int percent) { return options.progress(percent * 9 / 10); };
            rest.progress = [&options](int percent) { return options.progress(90 + percent / 10); };
        }
        return sample(find(points, searching), data, rest);
    }

    // The same at places that were found before: one search for several arrays.
    std::vector<float> sample(std::span<const Place> places, const DataView &data,
                              const SampleOptions &options = {}) {
        check_rows(data);
        const front::FloatValues values(data, options.null_value);
        const auto components = static_cast<std::size_t>(data.components());
        std::vector<float> out(places.size() * components, options.fill);
        const front::Call call(&options.progress);
        for (std::size_t i = 0; i < places.size(); ++i) {
            poll(call, i, places.size());
            if (!places[i].found()) continue;
            float *row = &out[i * components];
            const int result = mesh_->field_funcs->interp_data_func(
                mesh_, library_cell(places[i].cell), data.components(), values.view().data(),
                static_cast<int>(ElementType::kFloat), 0, nullptr, 1, places[i].uvw.data(), row);
            call.check(result, "sample");
            std::replace_if(row, row + components, is_missing, options.fill);
        }
        return out;
    }

  private:
    struct FreeTable {
        void operator()(BlockTable *table) const { isohost_block_table_free(table); }
    };

    static constexpr float kMissing = std::numeric_limits<float>::quiet_NaN();
    static bool is_missing(float value) { return front::is_missing(value); }

    static std::size_t count_points(std::span<const float> points) {
        if (points.size() % 3 != 0) {
            throw BadInput("points has " + std::to_string(points.size()) +
                           " values, which are no whole rows of 3");
        }
        if (points.size() / 3 > INT_MAX) {
            throw BadInput("points has " + std::to_string(points.size() / 3) +
                           " rows, but there can be at most " + std::to_string(INT_MAX));
        }
        return points.size() / 3;
    }

    void check_rows(const DataView &data) const {
        const front::Call call;
        if (!isohost_check_node_array(mesh_, "data", data.rows())) throw BadInput(front::Call::reports());
    }

    // Points by the blocks of the search table that they lie in: neighbours find in the cache what the last
    // search read.
    std::vector<std::size_t> visiting_order(std::span<const float> points) const {
        const std::size_t npoints = points.size() / 3;
        std::vector<std::size_t> order(npoints);
        std::iota(order.begin(), order.end(), std::size_t{0});
        if (!table_) return order;
        const auto nblk = static_cast<std::size_t>(table_->nblk);
        std::vector<std::size_t> block(npoints), first(nblk * nblk * nblk + 1, 0);
        for (std::size_t i = 0; i < npoints; ++i) {
            for (std::size_t d = 0; d < 3; ++d) {
                const float extent = table_->max[d] - table_->min[d];
                const float part = (points[3 * i + d] - table_->min[d]) / extent;
                // Compared before it becomes a number; false for what is none.
                const float inside = part > 0 ? std::min(part, 0.999f) : 0.0f;
                block[i] = block[i] * nblk + static_cast<std::size_t>(inside * static_cast<float>(nblk));
            }
            ++first[block[i] + 1];
        }
        std::partial_sum(first.begin(), first.end(), first.begin());
        for (std::size_t i = 0; i < npoints; ++i) order[first[block[i]]++] = i;
        return order;
    }

    static void poll(const front::Call &call, std::size_t done, std::size_t total) {
        if ((done & 1023) != 1023) return;
        int stop = 0;
        OMstatus_check(static_cast<int>(100 * done / total), nullptr, &stop);
        call.check(stop ? -1 : 1, "locator");
    }

    // Grids with axes are solved directly, a block of points at a time.
    std::vector<float> sample_grid(std::span<const float> points, const DataView &data,
                                   const SampleOptions &options) {
        const std::size_t npoints = count_points(points);
        std::vector<float> settled(points.begin(), points.end());
        for (std::size_t i = 0; i < npoints; ++i) settle(&settled[3 * i]);
        const front::FloatValues values(data, options.null_value);
        const int components = data.components();
        std::vector<float> out(npoints * static_cast<std::size_t>(components));
        const void *const array = values.view().data();
        void *const result_array = out.data();
        int null_flag = 1;
        double null_slot = 0, range_slot = 0;
        std::memcpy(&null_slot, &kMissing, sizeof kMissing);
        const front::Call call(&options.progress);
        const int result =
            UTILinterpolate_data(static_cast<int>(npoints), settled.data(), 3, nullptr, mesh_, nullptr, 1,
                                 static_cast<int>(ElementType::kFloat), &components, &array, nullptr,
                                 &range_slot, &null_flag, &null_slot, &result_array);
        call.check(result, "sample");
        if (!std::isnan(options.fill)) std::replace_if(out.begin(), out.end(), is_missing, options.fill);
        return out;
    }

    // A point that is off the box of a grid by no more than rounding goes to its side.
    void settle(float *point) const {
        for (int d = 0; d < mesh_->nspace; ++d) {
            const float lo = mesh_->coord_min[d], hi = mesh_->coord_max[d];
            if (point[d] < lo && point[d] >= lo - near_) point[d] = lo;
            if (point[d] > hi && point[d] <= hi + near_) point[d] = hi;
        }
    }

    Place find_place(const float *point) {
        float at[3] = {point[0], point[1], point[2]};
        if (!table_) settle(at);
        Place place;
        int cell = -1;
        const auto find = [&] {
            return mesh_->field_funcs->find_cell_func(mesh_, table_.get(), at, &cell, place.uvw.data()) == 1;
        };
        bool found = find();
        // The mapping into a pyramid breaks down in its apex.
        for (const float step : {near_, -2 * near_}) {
            if (found || !has_pyramids_) break;
            for (float &x : at) x += step;
            found = find();
        }
        if (found && table_) refine(point, cell, place.uvw.data());
        if (found) place.cell = front_cell(cell);
        return place;
    }

    static constexpr int kMaxNodes = 20;

    // Coordinates of the nodes of one of the library's cells, n x 3.
    void gather_nodes(int set, int cell, int n, float *node_xyz) const {
        const int *nodes = mesh_->cell_connect[set];
        int corners[8];
        if (mesh_->ndim > 0) {
            const int row = mesh_->dims[0], plane = mesh_->ndim == 3 ? row * mesh_->dims[1] : 0;
            const int first[] = {cell + 1, cell, cell + row, cell + row + 1};
            for (int i = 0; i < 8; ++i) corners[i] = first[i % 4] + i / 4 * plane;
            nodes = corners;
        } else {
            nodes += std::ptrdiff_t{cell - mesh_->cell_first[set]} * n;
        }
        for (int i = 0; i < n; ++i) {
            const float *xyz = mesh_->coords + std::ptrdiff_t{nodes[i]} * mesh_->nspace;
            for (int d = 0; d < 3; ++d) node_xyz[3 * i + d] = d < mesh_->nspace ? xyz[d] : 0.0f;
        }
    }

    // The library ends its steps towards a point in a cell when one is below a twentieth, without that step,
    // and names places in lines from 0 to 1 (see UTILrev_par_line_1). Values are wanted at the point itself.
    void refine(const float *point, int cell, float *uvw) const {
        constexpr int kMaxSteps = 5;
        constexpr float kSmallStep = 1e-3f, kLargeStep = 0.25f;
        int set = mesh_->ndim > 0 ? 0 : -1, local = cell;
        if (set < 0 && !UTILget_cell_id(mesh_, cell, &local, &set)) return;
        const int n = mesh_->cell_nnodes[set], ndim = mesh_->cell_ndim[set];
        if (ndim == 1 && n == 2) uvw[0] = 2 * uvw[0] - 1;
        if (n == ndim + 1 || n > kMaxNodes) return;  // solved directly
        float node_xyz[3 * kMaxNodes];
        gather_nodes(set, cell, n, node_xyz);
        const SetFuncs &funcs = mesh_->cell_funcs[set].funcs;
        for (int step = 0; step < kMaxSteps; ++step) {
            float weights[kMaxNodes], derivs[3 * kMaxNodes], jinv[9], frame[9], frame_xyz[3 * kMaxNodes];
            float residual[3], move[3];
            funcs.shape_func(uvw, weights);
            funcs.shape_deriv_func(uvw, derivs);
            const float size = ndim == 3   ? UTILjacobian_3d_inv(n, derivs, node_xyz, jinv)
                               : ndim == 2 ? UTILjacobian_2d_inv(n, derivs, node_xyz, jinv, frame, frame_xyz)
                                           : UTILjacobian_1d_inv(n, derivs, node_xyz, jinv, frame, frame_xyz);
            if (size == 0) return;
            MATvec_by_mat(weights, node_xyz, residual, 1, n, 3);
            for (int d = 0; d < 3; ++d) residual[d] = point[d] - residual[d];
            if (ndim < 3) MATvec_by_mat(residual, frame, residual, 1, 3, 3);
            MATvec_by_mat(residual, jinv, move, 1, ndim, ndim);
            float largest = 0;
            for (int d = 0; d < ndim; ++d) largest = std::max(largest, std::abs(move[d]));
            if (!(largest <= kLargeStep)) return;
            for (int d = 0; d < ndim; ++d) uvw[d] += move[d];
            if (largest < kSmallStep) return;
        }
    }

    // The library names a grid's cells by their lowest nodes; the front counts them.
    int front_cell(int cell) const {
        int packed = 0, stride = 1;
        for (int d = 0; d < mesh_->ndim; ++d, cell /= mesh_->dims[d - 1]) {
            const int last = d == mesh_->ndim - 1;
            const int index = last ? cell : cell % mesh_->dims[d];
            const int ncells = mesh_->dims[d] - 1;
            if (index >= ncells) return -1;
            packed += index * stride;
            stride *= ncells;
        }
        return mesh_->ndim > 0 ? packed : cell;
    }
    int library_cell(int cell) const {
        int corner = 0, stride = 1;
        for (int d = 0; d < mesh_->ndim; ++d) {
            const int ncells = mesh_->dims[d] - 1;
            corner += cell % ncells * stride;
            cell /= ncells;
            stride *= mesh_->dims[d];
        }
        return mesh_->ndim > 0 ? corner : cell;
    }

    MeshInfo *mesh_;
    std::unique_ptr<BlockTable, FreeTable> table_;  // null where a mesh needs none
    float near_ = 0;
    bool has_pyramids_ = false;
};

}  // namespace isofield
#endif
