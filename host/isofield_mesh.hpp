// Part of isofield.hpp: meshes, and what is made from them.
#ifndef ISOFIELD_MESH_HPP
#define ISOFIELD_MESH_HPP

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <numbers>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "isofield.h"
#include "isofield_boundary.hpp"
#include "isofield_data.hpp"
#include "isofield_default_host.h"
#include "isofield_derivative.hpp"
#include "isofield_glyph.hpp"
#include "isofield_integral.hpp"
#include "isofield_part.hpp"
#include "isofield_slice.hpp"
#include "isofield_submesh.hpp"
#include "isofield_surface.hpp"
#include "isofield_trace.hpp"

namespace isofield {

// Settings of an extraction. NaN and infinite values always count as missing.
struct ExtractionOptions {
    std::optional<double> null_value = {};  // cells with a node of this value make nothing
    Progress progress = {};
    bool keep_cells = false;  // fill the result's cells
};

// Settings of cell data brought to nodes. NaN and infinite values always count as missing.
struct CellToNodeOptions {
    std::optional<double> null_value;  // a node with a cell of this value has no value
    int power = 0;                     // 0: cells count alike; above 0: by 1 / distance^power
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
            return isohost_mesh_uniform(front::int_size("dims", dims), dims.data(),
                                        front::int_size("lower", lower), corners.data(), out);
        });
    }

    // One strictly increasing list of grid lines an axis, copied.
    static Mesh rectilinear(std::vector<std::vector<float>> axes) {
        std::vector<int> dims;
        std::vector<const float *> lines;
        for (const std::vector<float> &axis : axes) {
            dims.push_back(front::int_size("axis", axis));
            lines.push_back(axis.data());
        }
        return build([&](MeshInfo **out) {
            return isohost_mesh_rectilinear(front::int_size("axes", axes), dims.data(), lines.data(), out);
        });
    }

    // coords: nodes x nspace, first axis fastest; kept alive by the caller.
    static Mesh structured(std::vector<int> dims, std::span<const float> coords, int nspace = 3) {
        check_length(dims, nspace, coords.size());
        return build([&](MeshInfo **out) {
            return isohost_mesh_structured(front::int_size("dims", dims), dims.data(), nspace, coords.data(),
                                           out);
        });
    }

    // coords: nodes x nspace. coords and every connect are kept alive by the caller.
    static Mesh cells(std::span<const float> coords, std::span<const CellSet> sets, int nspace = 3) {
        const int nnodes = whole_rows("coords", front::int_size("coords", coords), nspace);
        std::vector<IsohostCellSet> records;
        for (const CellSet &set : sets) {
            const std::string name = "sets[" + std::to_string(records.size()) + "].connect";
            const int rows = whole_rows(name, front::int_size(name, set.connect),
                                        isohost_cell_type_nodes(set.type.c_str()));
            records.push_back({set.type.c_str(), rows, set.connect.data()});
        }
        return build([&](MeshInfo **out) {
            return isohost_mesh_cells(nnodes, nspace, coords.data(), front::int_size("sets", records),
                                      records.data(), out);
        });
    }

    // A part or submesh as a mesh, which views it. Throws BadInput when it has no cells.
    static Mesh of(const Part &part) { return cells(part.points(), part.sets()); }
    static Mesh of(const Submesh &submesh) { return cells(submesh.points(), submesh.sets()); }

    MeshInfo *info() { return mesh_.get(); }  // for the functions of isofield.h
    int nnodes() const { return mesh_->nnodes; }

    // The surface along which one scalar takes `level`: triangles from volumes, lines from two-dimensional
    // cells and grids. Throws BadInput, Interrupted or Error.
    Surface isosurface(const DataView &data, double level, const ExtractionOptions &options = {}) {
        front::Call call(&options.progress);
        check_scalar(data);
        check_level("level", level);
        check_no_lines("an isosurface");
        const front::FiniteRows scalars(data, options.null_value);
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
        check_level("level", level);
        if (mesh_->ndim == 1 || mesh_->ndim == 3) {
            throw BadInput("isolines need a grid of 2 dimensions, but this one has " +
                           std::to_string(mesh_->ndim));
        }
        const front::FiniteRows scalars(data, options.null_value);
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

    // The part of the mesh where lo <= value <= hi. A node at a level belongs to it. Throws BadInput,
    // Interrupted or Error.
    Part band(const DataView &data, double lo, double hi, const ExtractionOptions &options = {}) {
        const front::Call call(&options.progress);
        check_scalar(data);
        check_level("lo", lo);
        check_level("hi", hi);
        if (lo > hi) {
            throw BadInput("lo is " + front::value_text(lo) + ", but must not be above hi, " +
                           front::value_text(hi));
        }
        check_no_lines("a band");
        return front::PartMaker(*mesh_, call, data, options.null_value, options.keep_cells).band(lo, hi);
    }

    // The part of the mesh on one side of a level. Throws BadInput, Interrupted or Error.
    Part cut(const DataView &data, double level, Side side = Side::kAbove,
             const ExtractionOptions &options = {}) {
        const front::Call call(&options.progress);
        check_scalar(data);
        check_level("level", level);
        check_no_lines("a cut");
        return front::PartMaker(*mesh_, call, data, options.null_value, options.keep_cells).cut(level, side);
    }

    // The mesh without the nodes whose data are missing: where the first component is the null, or any is NaN
    // or infinite. keep_cells is not looked at: a submesh always knows its cells. Throws BadInput,
    // Interrupted or Error.
    Submesh without_nulls(const DataView &data, const ExtractionOptions &options = {}) {
        const front::Call call(&options.progress);
        front::check_rows(data, static_cast<std::size_t>(mesh_->nnodes), "nodes");
        return front::SubmeshMaker(*mesh_, call, front::missing_rows(data, options.null_value)).make();
    }

    // The skin of the volume cells: the faces that one cell has, with their nodes alone, as tri_1, quad_1,
    // tri_2 and quad_2; their normals point out of their cells. Cells of different sets share a face when
    // they have its corners. Throws BadInput, Interrupted or Error.
    Submesh external_faces(const Progress &progress = {}) const {
        const front::Call call(&progress);
        return front::SkinMaker(*mesh_, call).make();
    }

    // The edges of all surface and volume cells, each once, the lower node first, ascending. They run from
    // corner to corner: midside nodes have none. Throws Interrupted or Error.
    std::vector<Line> edges(const Progress &progress = {}) const {
        const front::Call call(&progress);
        return front::EdgeMaker(*mesh_, call).make(true);
    }

    // The edges of the surface cells that one of them has, or more than two, and those at which two meet at
    // `angle` (radians between their normals) or more, however they are wound; from pi on there are none of
    // the last kind. Of a volume mesh: Mesh::of(skin).feature_edges(), skin being its external_faces().
    // Throws BadInput, Interrupted or Error.
    FeatureEdges feature_edges(double angle = std::numbers::pi, const Progress &progress = {}) const {
        const front::Call call(&progress);
        return front::FeatureFinder(*mesh_, call, angle).find();
    }

    // Derivatives of node data at the nodes, along x, y and z. On surfaces, which are cells and grids of 2
    // dimensions, they are those along the surface. Cells of the highest dimension alone take part, which
    // must be 2 or 3; grids without an extent along one of 3 axes are surfaces. The results are NaN in all
    // nodes of a cell with missing data (see without_nulls), and where no cell is. So unless options.native
    // says otherwise. Throw BadInput, Interrupted or Error.

    // nnodes x 3 * components: the gradient of component 0, then of 1, and so on.
    std::vector<float> gradient(const DataView &data, const DerivativeOptions &options = {}) {
        return front::Differentiator(*mesh_, data, options).gradient();
    }
    // nnodes x 3. Vectors of 3 components; those of a mesh of 2 dimensions may have 2, w being 0 then.
    std::vector<float> curl(const DataView &vector, const DerivativeOptions &options = {}) {
        return front::Differentiator(*mesh_, vector, options).curl();
    }
    // nnodes values, of the same vectors.
    std::vector<float> divergence(const DataView &vector, const DerivativeOptions &options = {}) {
        return front::Differentiator(*mesh_, vector, options).divergence();
    }

    // Per node its distance from a body's surface, positive inside: cut(signed_distances(body), 0) is the
    // part inside, as exact as the mesh is fine, for edges are cut where the distance, taken linearly, is 0.
    // Outside a box it is the distance from the farthest plane of a face: linear where one face cuts. Throws
    // BadInput.
    std::vector<double> signed_distances(const Body &body) {
        const Body checked = front::checked(body);
        const front::Call call;
        std::vector<double> distances(static_cast<std::size_t>(mesh_->nnodes));
        each_chunk(call, [&](std::size_t first, std::size_t size, const float *points) {
            std::visit(
                [&](const auto &shape) {
                    for (std::size_t i = 0; i < size; ++i)
                        distances[first + i] = front::signed_distance(shape, &points[3 * i]);
                },
                checked);
        });
        return distances;
    }

    // A shape at nodes, turned along their vectors and sized by their data, 1 to 3 components. Missing nodes
    // have no glyph: where the first component is the null, or any is NaN or infinite. A glyph of no size is
    // there, all its vertices in one place. Throws BadInput, Interrupted or Error.
    Glyphs glyphs(const DataView &data, const GlyphShape &shape, const GlyphOptions &options = {}) {
        return front::GlyphMaker(*mesh_, data, shape, options).make();
    }

    // The slice of a uniform or rectilinear grid of 3 dimensions by the plane of the points p with
    // p . normal = distance, normal being brought to length 1 first. It may have no point inside. Throws
    // BadInput or Error. For other meshes: isosurface(signed_distances(Plane), 0).
    PlaneSlice plane_slice(const std::array<double, 3> &normal, double distance) {
        return PlaneSlice(*mesh_, normal, distance);
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
        front::check_rows(data, static_cast<std::size_t>(mesh_->ncells), "cells");
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

    // A polynomial of the nodes' coordinates at the nodes, evaluated in float: a constant from 1 coefficient,
    // one of x from 3, of x and y from 6, of x, y and z from 10, in the order that UTILgen_data in isofield.h
    // tells. Coordinates that the mesh has none of are 0. Throws BadInput.
    std::vector<float> polynomial(std::span<const float> coefficients) {
        const std::size_t count = coefficients.size();
        if (count != 1 && count != 3 && count != 6 && count != 10) {
            throw BadInput("coefficients has " + std::to_string(count) +
                           " elements, but must have 1, 3, 6 or 10");
        }
        front::check_finite("coefficients", coefficients);
        std::vector<float> values(static_cast<std::size_t>(mesh_->nnodes), coefficients[0]);
        if (count == 1) return values;
        const int naxes = count == 10 ? 3 : count == 6 ? 2 : 1;
        const front::Call call;
        each_chunk(call, [&](std::size_t first, std::size_t size, float *points) {
            for (std::size_t i = 1; naxes < 3 && i < size; ++i)
                std::copy_n(&points[3 * i], naxes, &points[naxes * i]);
            call.check(UTILgen_data_float(static_cast<int>(size), 1, 0, &values[first], naxes, points,
                                          coefficients.data(), 0, 0),
                       "polynomial");
        });
        return values;
    }

  private:
    friend class Locator;

    explicit Mesh(MeshInfo *mesh) : mesh_(mesh) {}

    template <class Build>
    static Mesh build(Build build_record) {
        const front::Call call;
        MeshInfo *mesh = nullptr;
        if (!build_record(&mesh)) throw BadInput(front::Call::reports());
        return Mesh(mesh);
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

    // Calls f(first node, count, coordinates), these count x 3 and f's own, for all nodes in chunks.
    template <class F>
    void each_chunk(const front::Call &call, F f) {
        constexpr std::size_t kChunk = 4096;
        front::NodeCoords coords(*mesh_, call);
        const auto nnodes = static_cast<std::size_t>(mesh_->nnodes);
        std::vector<int> nodes(kChunk);
        std::vector<float> points(3 * kChunk);
        for (std::size_t first = 0; first < nnodes; first += kChunk) {
            const std::size_t count = std::min(kChunk, nnodes - first);
            std::iota(nodes.begin(), nodes.end(), static_cast<int>(first));
            coords.gather(std::span(nodes).first(count), points.data());
            f(first, count, points.data());
        }
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
                    call.poll(static_cast<std::size_t>(mesh_->cell_first[s] + cell),
                              static_cast<std::size_t>(mesh_->ncells), "integrate");
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

    static void check_level(const char *name, double level) {
        if (std::isnan(level)) throw BadInput(std::string(name) + " is nan, but must be a number");
    }

    void check_no_lines(const std::string &result) const {
        if (mesh_->ndim == 1) throw BadInput("the grid has 1 dimension, but " + result + " needs 2 or 3");
        const int *ndim = mesh_->cell_ndim;
        if (const int *line = std::find(ndim, ndim + mesh_->ncell_sets, 1); line < ndim + mesh_->ncell_sets) {
            throw BadInput("sets[" + std::to_string(line - ndim) + "] holds lines, of which " + result +
                           " has no part; leave the set out");
        }
    }

    // What the library's extractions hand out, and the lists of cells, which go at the end of the scope.
    class Extraction {
      public:
        Extraction(const MeshInfo &mesh, bool keep_cells)
            : mesh_(mesh), cells_(keep_cells ? static_cast<std::size_t>(std::max(mesh.ncell_sets, 1)) : 0) {}

        int nnew = 0, nlines = 0, line_size = 0;
        int *min_node = nullptr, *max_node = nullptr, *lines = nullptr;

        int *counts() { return cells_.counts(); }
        int **lists() { return cells_.lists(); }

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
                front::Array<int> list(mesh_.ndim == ndim ? std::exchange(lists()[0], nullptr) : nullptr,
                                       size);
                list.fit();
                return list;
            }
            front::Array<int> joined = front::Array<int>::make(size);
            int *end = joined.data();
            for (std::size_t s = 0; s < cells_.size(); ++s) {
                if (mesh_.cell_ndim[s] == ndim) end = cells_.copy(s, mesh_.cell_first[s], end);
            }
            return joined;
        }

      private:
        const MeshInfo &mesh_;
        front::CellLists cells_;
    };

    // The library's own walks over grids from a point. They return its level.
    double walk_sheet(BlockTable *table, const DataView &data, const float *at, const TraceOptions &options,
                      Surface &surface) {
        const front::Call call(&options.progress);
        const front::FiniteRows scalars(data, options.null_value);
        Extraction made(*mesh_, false);
        double level = 0;
        int ntris = 0, tri_size = 0;
        int *triangles = nullptr;
        const int result =
            UTILiso_trace(mesh_.get(), table, scalars.data(), static_cast<int>(data.type()),
                          scalars.null().flag(), scalars.null().value(), at, &level, &made.nnew,
                          &made.min_node, &made.max_node, &ntris, &triangles, &tri_size);
        made.take_nodes_and_lines(surface);
        surface.triangles_ = {triangles, 3 * static_cast<std::size_t>(ntris)};
        call.check(result, "sheet");
        surface.triangles_.fit();
        place(call, "sheet", surface, scalars, data.type(), level);
        return level;
    }
    double walk_line(BlockTable *table, const DataView &data, const float *at, const TraceOptions &options,
                     Isolines &lines) {
        const front::Call call(&options.progress);
        const front::FiniteRows scalars(data, options.null_value);
        Extraction made(*mesh_, false);
        double level = 0;
        const int result =
            UTILisoline_trace(mesh_.get(), table, scalars.data(), static_cast<int>(data.type()),
                              scalars.null().flag(), scalars.null().value(), at, &level, &made.nnew,
                              &made.min_node, &made.max_node, &made.nlines, &made.lines, &made.line_size);
        made.take_nodes_and_lines(lines);
        call.check(result, "level line");
        place(call, "level line", lines, scalars, data.type(), level);
        return level;
    }

    // Finds where on its edge each new node lies, and its coordinates, in chunks that stay in the cache.
    void place(const front::Call &call, const char *operation, NewNodes &nodes,
               const front::FiniteRows &scalars, ElementType type, double level) {
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
            if (nspace < 3) front::widen(coords, nspace, static_cast<std::size_t>(count), points);
        }
    }

    std::unique_ptr<MeshInfo, front::FreeMesh> mesh_;
};

}  // namespace isofield
#endif
