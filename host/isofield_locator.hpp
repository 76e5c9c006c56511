// Part of isofield.hpp: the cells of points anywhere, and values there.
#ifndef ISOFIELD_LOCATOR_HPP
#define ISOFIELD_LOCATOR_HPP

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_default_host.h"
#include "isofield_mesh.hpp"
#include "isofield_streamline.hpp"
#include "isofield_trace.hpp"

namespace isofield {

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

// Finds the cells of points in a mesh, what node data are there, and the lines and sheets that start there.
// Made once for a mesh, which outlives it and is not moved. Points are rows of x, y, z; in meshes of fewer
// dimensions the others are 0. Moves, does not copy.
class Locator {
  public:
    // Builds the search table of a mesh that needs one. Throws Interrupted or Error.
    explicit Locator(Mesh &mesh, const Progress &progress = {}) : owner_(mesh), mesh_(mesh.info()) {
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
        const std::size_t npoints = count_points("points", points);
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

    // The paths of particles in a steady flow: one line per seed, seeds x 3. A seed that is outside the mesh,
    // at rest or in missing data has a line without points. The vectors have the components of the mesh's
    // space, or 2, which leave z as it is. Lines end before missing data: where a cell has a node that is the
    // null in its first component, or NaN or infinite in any. See the chapter on streamlines in isofield.h
    // for the steps, and their sources. Throws BadInput, Interrupted or Error.
    Streamlines streamlines(std::span<const float> seeds, const DataView &vector,
                            const StreamlineOptions &options = {}) {
        const std::size_t nseeds = count_points("seeds", seeds);
        front::check_finite("seeds", seeds);
        check_rows(vector);
        check_has_cells("streamlines");
        front::StreamlineMaker::check(*mesh_, vector, options);
        RefinedRecord refined(*this);
        MeshInfo &record = options.native || places_exactly() ? *mesh_ : refined.mesh;
        const front::Call call(&options.progress);
        front::StreamlineMaker maker(record, table_.get(), vector, options);
        for (std::size_t i = 0; i < nseeds; ++i) {
            call.poll(i, nseeds, "locator");
            std::array<float, 3> seed;
            std::copy_n(&seeds[3 * i], 3, seed.begin());
            if (!table_ && !options.native) settle(seed.data());
            maker.add(seed.data());
        }
        call.check(1, "streamlines");
        Streamlines lines = maker.take();
        for (int &cell : lines.cells_) cell = front_cell(cell);
        return lines;
    }

    // The connected sheet through a point of the surface along which a scalar takes its value at that point:
    // of Mesh::isosurface the triangle nearest to the point, and all that shared new nodes connect to it. It
    // is empty where the surface is farther away than a cell is large: at the lowest point of a valley.
    // Volume cells and grids of 3 dimensions. options.native: the library's own walk (see UTILiso_trace in
    // isofield.h), which finds a part of the sheet. Throws BadInput, Interrupted or Error.
    Sheet sheet(const DataView &data, const std::array<float, 3> &at, const TraceOptions &options = {}) {
        Sheet sheet;
        const Place start = start_at(data, at, "a sheet", 3, options, sheet.level);
        if (options.native) {
            sheet.level = owner_.get().walk_sheet(table_.get(), data, at.data(), options, sheet.surface);
        } else {
            sheet.surface = owner_.get().isosurface(data, sheet.level, extraction(options));
            front::NearestPart(at, diagonal(start)).keep_in(sheet.surface);
        }
        return sheet;
    }

    // The same for lines, on triangles, quadrilaterals and grids of 2 dimensions: of Mesh::isolines.
    LevelLine level_line(const DataView &data, const std::array<float, 3> &at,
                         const TraceOptions &options = {}) {
        LevelLine line;
        const Place start = start_at(data, at, "a level line", 2, options, line.level);
        if (options.native) {
            line.level = owner_.get().walk_line(table_.get(), data, at.data(), options, line.lines);
        } else {
            line.lines = owner_.get().isolines(data, line.level, extraction(options));
            front::NearestPart(at, diagonal(start)).keep_in(line.lines);
        }
        return line;
    }

  private:
    struct FreeTable {
        void operator()(BlockTable *table) const { isohost_block_table_free(table); }
    };

    static constexpr float kMissing = std::numeric_limits<float>::quiet_NaN();
    static bool is_missing(float value) { return front::is_missing(value); }

    static std::size_t count_points(const std::string &name, std::span<const float> points) {
        const std::size_t npoints = front::whole_points(name, points);
        if (npoints > INT_MAX) {
            throw BadInput(name + " has " + std::to_string(npoints) + " rows, but there can be at most " +
                           std::to_string(INT_MAX));
        }
        return npoints;
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
        if ((done & 1023) == 1023) call.poll(done, total, "locator");
    }

    // Grids with axes are solved directly, a block of points at a time.
    std::vector<float> sample_grid(std::span<const float> points, const DataView &data,
                                   const SampleOptions &options) {
        const std::size_t npoints = count_points("points", points);
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
        Place place;
        int cell = -1;
        if (locate(point, cell, place.uvw.data())) place.cell = front_cell(cell);
        return place;
    }

    // Finds a place by the library's cell number.
    bool locate(const float *point, int &cell, float *uvw) {
        float at[3] = {point[0], point[1], point[2]};
        if (!table_) settle(at);
        const auto find = [&] {
            return mesh_->field_funcs->find_cell_func(mesh_, table_.get(), at, &cell, uvw) == 1;
        };
        bool found = find();
        // The mapping into a pyramid breaks down in its apex.
        for (const float step : {near_, -2 * near_}) {
            if (found || !has_pyramids_) break;
            for (float &x : at) x += step;
            found = find();
        }
        if (found && table_) refine(point, cell, uvw);
        return found;
    }

    // Whether the library's places are those of the points, by the mesh's kind or by that of its cells.
    bool places_exactly() const {
        bool exact = true;
        for (int s = 0; s < mesh_->ncell_sets; ++s) {
            const int ndim = mesh_->cell_ndim[s];
            exact = exact && ndim > 1 && mesh_->cell_nnodes[s] == ndim + 1;
        }
        return !table_ || exact;
    }

    void check_has_cells(const std::string &result) const {
        if (mesh_->ncells == 0)
            throw BadInput("the grid has one node along an axis, and so no cells, but " + result +
                           " need some");
    }

    static ExtractionOptions extraction(const TraceOptions &options) {
        return {options.null_value, options.progress, options.keep_cells};
    }

    // Where tracing starts, and the level there.
    Place start_at(const DataView &data, const std::array<float, 3> &at, const std::string &result, int ndim,
                   const TraceOptions &options, double &level) {
        owner_.get().check_scalar(data);
        if (mesh_->ndim != ndim && (mesh_->ndim > 0 || options.native)) {
            throw BadInput((options.native ? "the native walk of " : "") + result + " needs a grid of " +
                           std::to_string(ndim) + " dimensions" + (options.native ? "" : " or cells") +
                           ", but the mesh is " +
                           (mesh_->ndim > 0 ? "a grid of " + std::to_string(mesh_->ndim) : "made of cells"));
        }
        const std::string point = "the point (" + front::value_text(at[0]) + ", " + front::value_text(at[1]) +
                                  ", " + front::value_text(at[2]) + ") ";
        const std::optional<Place> start = find(at);
        if (!start) throw BadInput(point + "is in no cell of the mesh");
        SampleOptions sampling;
        sampling.null_value = options.null_value;
        level = sample(std::span(&*start, 1), data, sampling)[0];
        if (std::isnan(level)) throw BadInput(point + "is in a cell with missing data");
        return *start;
    }

    // Of the box round a cell.
    double diagonal(const Place &place) {
        float lower[3] = {}, upper[3] = {};
        const front::Call call;
        call.check(mesh_->field_funcs->cell_extent_func(mesh_, library_cell(place.cell), lower, upper),
                   "extent");
        return std::hypot(double{upper[0]} - lower[0], double{upper[1]} - lower[1],
                          double{upper[2]} - lower[2]);
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

    // A cell whose places are found by steps.
    struct MappedCell {
        int cell = -1, set = -1, n = 0, ndim = 0;
        float node_xyz[3 * kMaxNodes];
    };

    // False for cells that are solved directly.
    bool map(int cell, MappedCell &mapped) const {
        int set = mesh_->ndim > 0 ? 0 : -1, local = cell;
        if (set < 0 && !UTILget_cell_id(mesh_, cell, &local, &set)) return false;
        const int n = mesh_->cell_nnodes[set], ndim = mesh_->cell_ndim[set];
        if (n == ndim + 1 || n > kMaxNodes) return false;
        mapped.cell = cell;
        mapped.set = set;
        mapped.n = n;
        mapped.ndim = ndim;
        gather_nodes(set, cell, n, mapped.node_xyz);
        return true;
    }

    // The library ends its steps towards a point in a cell when one is below a twentieth, without that step,
    // and names places in lines from 0 to 1 (see UTILrev_par_line_1). Values are wanted at the point itself.
    void refine(const float *point, int cell, float *uvw) const {
        MappedCell mapped;
        if (map(cell, mapped)) {
            approach(point, mapped, 0.25f, uvw);
            return;
        }
        int set = -1, local = cell;
        if (mesh_->ndim == 0 && UTILget_cell_id(mesh_, cell, &local, &set) && mesh_->cell_nnodes[set] == 2)
            uvw[0] = 2 * uvw[0] - 1;
    }

    // Newton steps towards a point, up to one that is above `largest_step`. True when the last was small.
    bool approach(const float *point, const MappedCell &mapped, float largest_step, float *uvw) const {
        constexpr int kMaxSteps = 5;
        constexpr float kSmallStep = 1e-3f;
        const auto &[cell, set, n, ndim, node_xyz] = mapped;
        const SetFuncs &funcs = mesh_->cell_funcs[set].funcs;
        for (int step = 0; step < kMaxSteps; ++step) {
            float weights[kMaxNodes], derivs[3 * kMaxNodes], jinv[9], frame[9], frame_xyz[3 * kMaxNodes];
            funcs.shape_func(uvw, weights);
            funcs.shape_deriv_func(uvw, derivs);
            const float size = ndim == 3   ? UTILjacobian_3d_inv(n, derivs, node_xyz, jinv)
                               : ndim == 2 ? UTILjacobian_2d_inv(n, derivs, node_xyz, jinv, frame, frame_xyz)
                                           : UTILjacobian_1d_inv(n, derivs, node_xyz, jinv, frame, frame_xyz);
            if (size == 0) return false;
            float residual[3] = {point[0], point[1], point[2]};
            for (int i = 0; i < n; ++i) {
                for (int d = 0; d < 3; ++d) residual[d] -= weights[i] * node_xyz[3 * i + d];
            }
            if (ndim < 3) MATvec_by_mat(residual, frame, residual, 1, 3, 3);
            float move[3] = {}, largest = 0;
            for (int to = 0; to < ndim; ++to) {
                for (int from = 0; from < ndim; ++from) move[to] += residual[from] * jinv[from * ndim + to];
                largest = std::max(largest, std::abs(move[to]));
            }
            if (!(largest <= largest_step)) return false;
            for (int d = 0; d < ndim; ++d) uvw[d] += move[d];
            if (largest < kSmallStep) return true;
        }
        return false;
    }

    // Places along a path: the last hexahedron is asked first.
    class Follower {
      public:
        explicit Follower(Locator &locator) : locator_(locator) {}

        bool locate(const float *point, int &cell, float *uvw) {
            constexpr float kAcross = 2;  // a cell
            if (last_.cell >= 0) {
                float at[3] = {uvw_[0], uvw_[1], uvw_[2]};
                if (locator_.approach(point, last_, kAcross, at) &&
                    std::all_of(at, at + 3, [](float x) { return std::abs(x) <= 1; })) {
                    return found(last_.cell, at, cell, uvw);
                }
            }
            int new_cell = -1;
            float at[3] = {};
            if (!locator_.locate(point, new_cell, at)) return false;
            if (last_.cell != new_cell && !(locator_.map(new_cell, last_) && last_.n == 8 && last_.ndim == 3))
                last_.cell = -1;
            return found(new_cell, at, cell, uvw);
        }

      private:
        bool found(int at_cell, const float *at, int &cell, float *uvw) {
            cell = at_cell;
            std::copy_n(at, 3, uvw_);
            std::copy_n(at, 3, uvw);
            return true;
        }

        Locator &locator_;
        MappedCell last_;
        float uvw_[3] = {};
    };

    // The mesh's record with a search that refines its places.
    struct RefinedRecord {
        FieldFuncs funcs;  // stands first: methods come back to the record from here
        Follower follower;
        MeshInfo mesh;

        explicit RefinedRecord(Locator &self)
            : funcs(*self.mesh_->field_funcs), follower(self), mesh(*self.mesh_) {
            funcs.find_cell_func = find;
            mesh.field_funcs = &funcs;
        }
        RefinedRecord(const RefinedRecord &) = delete;
        RefinedRecord &operator=(const RefinedRecord &) = delete;

        static int find(MeshInfo *record, BlockTable *, const float *xyz, int *cell, float *uvw) {
            return reinterpret_cast<RefinedRecord *>(record->field_funcs)->follower.locate(xyz, *cell, uvw);
        }
    };

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

    std::reference_wrapper<Mesh> owner_;
    MeshInfo *mesh_;
    std::unique_ptr<BlockTable, FreeTable> table_;  // null where a mesh needs none
    float near_ = 0;
    bool has_pyramids_ = false;
};

}  // namespace isofield
#endif
