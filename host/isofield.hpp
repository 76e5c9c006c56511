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
// While a call of this front runs, its reports are not written to standard error: they stand in the
// exception. A program's error handler still gets them.
#ifndef ISOFIELD_HPP
#define ISOFIELD_HPP

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_default_host.h"

namespace isofield {

// An operation failed; what() is what was reported.
class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// An argument was refused before anything was done; what() names the array, the index and the value.
class BadInput : public Error {
  public:
    using Error::Error;
};

// The progress callable, or an interrupt, asked to stop.
class Interrupted : public Error {
  public:
    Interrupted() : Error("interrupted") {}
};

// The six element types, by their codes.
enum class ElementType { kChar = 0, kByte = 1, kShort = 2, kInt = 3, kFloat = 4, kDouble = 5 };
inline std::size_t size_of(ElementType type) {
    return static_cast<std::size_t>(DTYPEtype_size[static_cast<int>(type)]);
}

// A null value as elements of a type hold it: rounded to float, or none where the type has no such value, so
// that no element equals it. NaN and infinite values are none; they count as missing in any case.
inline std::optional<double> null_of(ElementType type, std::optional<double> value) {
    if (!value || !std::isfinite(*value)) return {};
    double element = 0;  // room for any type
    double held = 0;
    UTILdouble_to_type(&element, *value, static_cast<int>(type));
    UTILtype_to_double(&held, &element, static_cast<int>(type));
    const bool rounded = type == ElementType::kFloat && std::isfinite(held);
    return held == *value || rounded ? std::optional(held) : std::nullopt;
}

namespace front {

template <class T>
constexpr ElementType element_type() {
    if constexpr (std::is_same_v<T, signed char>)
        return ElementType::kChar;
    else if constexpr (std::is_same_v<T, unsigned char>)
        return ElementType::kByte;
    else if constexpr (std::is_same_v<T, short>)
        return ElementType::kShort;
    else if constexpr (std::is_same_v<T, int>)
        return ElementType::kInt;
    else if constexpr (std::is_same_v<T, float>)
        return ElementType::kFloat;
    else {
        static_assert(std::is_same_v<T, double>,
                      "elements are signed or unsigned char, short, int, float or double");
        return ElementType::kDouble;
    }
}

}  // namespace front

// Read-only data on nodes: `count` rows of `components` values of one type. Made from a span or a vector, or
// from parts where the type is known only at run time. Views its array; the caller keeps it alive. Throws
// BadInput.
class DataView {
  public:
    template <class T>  // signed char, unsigned char, short, int, float, double
    DataView(std::span<T> values, int components = 1)
        : DataView(front::element_type<std::remove_const_t<T>>(), values.data(),
                   whole_rows(values.size(), components), components) {}
    template <class T>
    DataView(const std::vector<T> &values, int components = 1)
        : DataView(std::span<const T>(values), components) {}
    DataView(ElementType type, const void *values, std::size_t rows, int components = 1)
        : type_(type), data_(values), rows_(rows), components_(components) {
        if (components < 1) {
            throw BadInput("components is " + std::to_string(components) + ", but must be at least 1");
        }
        if (static_cast<int>(type) < 0 || static_cast<int>(type) > 5) {
            throw BadInput("type is " + std::to_string(static_cast<int>(type)) + ", but must be 0 to 5");
        }
        if (!values && rows > 0)
            throw BadInput("data is null, but should have " + std::to_string(rows) + " rows");
    }

    ElementType type() const { return type_; }
    const void *data() const { return data_; }
    std::size_t rows() const { return rows_; }
    int components() const { return components_; }

  private:
    static std::size_t whole_rows(std::size_t size, int components) {
        if (components < 1) return 0;
        const std::size_t rows = size / static_cast<std::size_t>(components);
        if (rows * static_cast<std::size_t>(components) != size) {
            throw BadInput("data has " + std::to_string(size) + " values, which are no whole rows of " +
                           std::to_string(components) + " components");
        }
        return rows;
    }

    ElementType type_;
    const void *data_;
    std::size_t rows_;
    int components_;
};

// Called with a percentage from 0 to 100; returns false to stop the operation.
using Progress = std::function<bool(int percent)>;

// Settings of an extraction. NaN and infinite values always count as missing.
struct ExtractionOptions {
    std::optional<double> null_value;  // cells with a node of this value make nothing
    Progress progress;
    bool keep_cells = false;  // fill the result's cells
};

namespace front {

struct FreeArray {
    void operator()(void *array) const { ARRfree_f(array, "isofield.hpp", 0); }
};

// An array of the library's.
template <class T>
class Array {
  public:
    Array() = default;
    Array(T *array, std::size_t size) : array_(array), size_(size) {}
    Array(Array &&other) noexcept : array_(std::move(other.array_)), size_(std::exchange(other.size_, 0)) {}
    Array &operator=(Array &&other) noexcept {
        array_ = std::move(other.array_);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }

    static Array make(std::size_t size) {
        void *array = size <= INT_MAX
                          ? ARRalloc_f(nullptr, code(), static_cast<int>(size), nullptr, "isofield.hpp", 0)
                          : nullptr;
        if (!array) throw Error("no memory for an array of " + std::to_string(size) + " values");
        return Array(static_cast<T *>(array), size);
    }

    // Returns the memory beyond what is used.
    void fit() {
        array_.reset(static_cast<T *>(isohost_fit_array(array_.release(), code(), static_cast<int>(size_))));
    }

    T *data() const { return array_.get(); }
    std::size_t size() const { return size_; }
    std::span<const T> view() const { return {array_.get(), size_}; }

  private:
    static int code() { return static_cast<int>(element_type<T>()); }

    std::unique_ptr<T[], FreeArray> array_;
    std::size_t size_ = 0;
};

// One call into the library: collects the thread's reports, and lets a progress callable watch and stop it.
// What the program had set is back in place at the end of the scope.
class Call {
  public:
    explicit Call(const Progress *progress = nullptr) : old_quiet_(isohost_quiet_errors(1)) {
        isohost_clear_errors();
        if (progress && *progress) {
            progress_ = progress;
            old_watch_ = isohost_set_thread_watch({&Call::watch, this});
        }
    }
    ~Call() {
        if (progress_) isohost_set_thread_watch(old_watch_);
        isohost_quiet_errors(old_quiet_);
    }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    // Throws what befits an operation's result.
    void check(int result, const char *operation) const {
        if (thrown_) std::rethrow_exception(thrown_);
        if (stopped_) throw Interrupted();
        if (result > 0) return;
        const std::string text = reports();
        if (result < 0 || (text.empty() && isohost_interrupted())) throw Interrupted();
        throw Error(text.empty() ? std::string(operation) + " failed" : text);
    }

    static std::string reports() {
        std::string text = isohost_errors();
        while (!text.empty() && text.back() == '\n') text.pop_back();
        return text;
    }

  private:
    // Exceptions of the callable cross the library as a stop.
    static int watch(int percent, const char *, void *user) {
        Call &call = *static_cast<Call *>(user);
        if (call.stopped_ || call.thrown_) return 0;
        try {
            call.stopped_ = !(*call.progress_)(percent);
        } catch (...) {
            call.thrown_ = std::current_exception();
        }
        return !call.stopped_ && !call.thrown_;
    }

    int old_quiet_;
    const Progress *progress_ = nullptr;
    IsohostWatch old_watch_ = {nullptr, nullptr};
    bool stopped_ = false;
    std::exception_ptr thrown_;
};

// A null value in the data's own type, as the library takes it.
class Null {
  public:
    Null(ElementType type, std::optional<double> value) {
        const std::optional<double> held = null_of(type, value);
        if (held) UTILdouble_to_type(&storage_, *held, static_cast<int>(type));
        set_ = held.has_value();
    }

    template <class T>
    void set(T value) {
        std::memcpy(&storage_, &value, sizeof value);
        set_ = true;
    }
    template <class T>
    T get() const {
        T value;
        std::memcpy(&value, &storage_, sizeof value);
        return value;
    }
    int flag() const { return set_; }
    const void *value() const { return &storage_; }

  private:
    double storage_ = 0;
    bool set_ = false;
};

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;

// NaN and infinite values have all bits of the exponent set. Tested on the bits: such loops vectorise, and
// hold under -ffast-math too.
template <class T>
bool is_missing(T value) {
    constexpr auto kExponent = std::bit_cast<BitsOf<T>>(std::numeric_limits<T>::infinity());
    return (std::bit_cast<BitsOf<T>>(value) & kExponent) == kExponent;
}

template <class T>
bool any_missing(std::span<const T> values) {
    constexpr std::size_t kBlock = 1024;
    std::size_t i = 0;
    for (; i + kBlock <= values.size(); i += kBlock) {
        const T *block = values.data() + i;
        BitsOf<T> found = 0;
        for (std::size_t k = 0; k < kBlock; ++k) found |= static_cast<BitsOf<T>>(is_missing(block[k]));
        if (found) return true;
    }
    return std::any_of(values.begin() + static_cast<std::ptrdiff_t>(i), values.end(), is_missing<T>);
}

// Scalars in which nothing is NaN or infinite: the given ones, or a copy with such values replaced by the
// null value. Where no null was given, the null becomes a finite value that the data does not hold: the
// lowest number of the type, or the first above it that no element equals.
class FiniteScalars {
  public:
    FiniteScalars(const DataView &data, std::optional<double> null_value)
        : null_(data.type(), null_value), data_(data.data()) {
        if (data.type() == ElementType::kFloat) replace_missing<float>(data);
        if (data.type() == ElementType::kDouble) replace_missing<double>(data);
    }
    FiniteScalars(const FiniteScalars &) = delete;
    FiniteScalars &operator=(const FiniteScalars &) = delete;

    const void *data() const { return data_; }
    const Null &null() const { return null_; }

  private:
    template <class T>
    void replace_missing(const DataView &data) {
        const std::span<const T> values(static_cast<const T *>(data.data()), data.rows());
        if (!any_missing(values)) return;
        if (!null_.flag()) {
            T unused = std::numeric_limits<T>::lowest();
            while (std::find(values.begin(), values.end(), unused) != values.end()) {
                unused = std::nextafter(unused, T{0});
            }
            null_.set(unused);
        }
        const T null = null_.get<T>();
        copy_ = std::make_unique_for_overwrite<std::byte[]>(values.size() * sizeof(T));
        T *copy = reinterpret_cast<T *>(copy_.get());
        std::transform(values.begin(), values.end(), copy,
                       [&](T value) { return is_missing(value) ? null : value; });
        data_ = copy;
    }

    Null null_;
    const void *data_;
    std::unique_ptr<std::byte[]> copy_;
};

}  // namespace front

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

}  // namespace isofield
#endif
