#include "dataset.hpp"

#include <vtkType.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <type_traits>

#include "errors.hpp"

namespace app {
namespace {

using isofield::ElementType;

// Calls f with a typed span of the array's values.
template <class F>
auto visit_values(const DataArray &array, F f) {
    const std::size_t count = array.rows * static_cast<std::size_t>(array.components);
    const auto as = [&]<class T>(T) {
        return f(std::span(static_cast<const T *>(array.values.get()), count));
    };
    switch (array.source_type) {
        case VTK_CHAR:
            return as(std::conditional_t<std::is_signed_v<char>, signed char, unsigned char>{});
        case VTK_SIGNED_CHAR:
            return as(static_cast<signed char>(0));
        case VTK_UNSIGNED_CHAR:
            return as(static_cast<unsigned char>(0));
        case VTK_SHORT:
            return as(short{});
        case VTK_UNSIGNED_SHORT:
            return as(static_cast<unsigned short>(0));
        case VTK_INT:
            return as(int{});
        case VTK_UNSIGNED_INT:
            return as(0u);
        case VTK_LONG:
            return as(0l);
        case VTK_UNSIGNED_LONG:
            return as(0ul);
        case VTK_LONG_LONG:
            return as(0ll);
        case VTK_UNSIGNED_LONG_LONG:
            return as(0ull);
        case VTK_ID_TYPE:
            return as(vtkIdType{});
        case VTK_FLOAT:
            return as(0.0f);
        case VTK_DOUBLE:
            return as(0.0);
        default:
            throw UsageError("array '" + array.name + "' has the type " + array.type_name +
                             ", which cannot be worked on; convert it to float");
    }
}

std::optional<ElementType> library_type(int source_type) {
    switch (source_type) {
        case VTK_CHAR:
            return std::is_signed_v<char> ? ElementType::kChar : ElementType::kByte;
        case VTK_SIGNED_CHAR:
            return ElementType::kChar;
        case VTK_UNSIGNED_CHAR:
            return ElementType::kByte;
        case VTK_SHORT:
            return ElementType::kShort;
        case VTK_INT:
            return ElementType::kInt;
        case VTK_FLOAT:
            return ElementType::kFloat;
        case VTK_DOUBLE:
            return ElementType::kDouble;
        default:
            return std::nullopt;
    }
}

template <class Target, class Source>
std::shared_ptr<const void> converted(std::span<const Source> values) {
    std::shared_ptr<Target[]> copy(new Target[values.size()]);
    std::transform(values.begin(), values.end(), copy.get(), [](Source v) { return static_cast<Target>(v); });
    return copy;
}

template <class T>
bool fits_int(std::span<const T> values) {
    if constexpr (std::is_floating_point_v<T>) {
        return false;
    } else {
        return std::all_of(values.begin(), values.end(), [](T v) { return std::in_range<int>(v); });
    }
}

template <class T>
ComponentRange range_of(std::span<const T> values, std::size_t first, std::size_t stride,
                        std::optional<double> null_value) {
    ComponentRange range;
    T lower = std::numeric_limits<T>::max(), upper = std::numeric_limits<T>::lowest();
    for (std::size_t i = first; i < values.size(); i += stride) {
        const T value = values[i];
        if (null_value && static_cast<double>(value) == *null_value) {
            ++range.null_count;
            continue;
        }
        if constexpr (std::is_floating_point_v<T>) {
            if (!std::isfinite(value)) {
                ++(std::isnan(value) ? range.nan_count : range.infinite_count);
                continue;
            }
        }
        lower = std::min(lower, value);
        upper = std::max(upper, value);
    }
    range.empty = lower > upper;
    if (!range.empty) {
        range.lower = static_cast<double>(lower);
        range.upper = static_cast<double>(upper);
    }
    return range;
}

std::string shape_of(const DataArray &array) {
    return array.components == 1 ? "" : " (" + std::to_string(array.components) + " components)";
}

// "it has 'a', 'b' (3 components)"
std::string list_arrays(const Dataset &dataset, Association association) {
    std::string list;
    for (const DataArray &array : dataset.arrays) {
        if (array.association != association) continue;
        add_item(list, "'" + array.name + "'" + shape_of(array), ", ");
    }
    return list;
}

const char *word_for(Association association) {
    return association == Association::kNode ? "node" : "cell";
}

Association other(Association association) {
    return association == Association::kNode ? Association::kCell : Association::kNode;
}

std::string arrays_text(const Dataset &dataset, Association association) {
    const std::string wanted = list_arrays(dataset, association);
    if (!wanted.empty()) return std::string("its ") + word_for(association) + " arrays are " + wanted;
    const std::string others = list_arrays(dataset, other(association));
    if (others.empty()) return "the file has no arrays";
    const bool cells = association == Association::kNode;
    return "the file has only " + std::string(word_for(other(association))) + " arrays (" + others + ")" +
           (cells ? "; bring them to the nodes first, by isofield cell2node" : "");
}

const DataArray *find_array(const Dataset &dataset, const std::string &name, Association association) {
    for (const DataArray &array : dataset.arrays) {
        if (array.name == name && array.association == association) return &array;
    }
    return nullptr;
}

const DataArray &array_named(const Dataset &dataset, const std::string &name, Association association) {
    const DataArray *array = find_array(dataset, name, association);
    if (!array && find_array(dataset, name, other(association))) {
        throw UsageError("'" + name + "' is a " + word_for(other(association)) + " array, a " +
                         word_for(association) + " array is needed: " + arrays_text(dataset, association));
    }
    if (!array) {
        throw UsageError("there is no array '" + name + "' in '" + dataset.path +
                         "': " + arrays_text(dataset, association));
    }
    if (!array->numeric) {
        throw UsageError("array '" + name + "' holds no numbers: " + arrays_text(dataset, association));
    }
    return *array;
}

// What an array is wanted for.
struct Shape {
    const char *name;
    int least, most;  // components

    bool fits(const DataArray &array) const { return array.components >= least && array.components <= most; }
};
constexpr Shape kScalar = {"scalar", 1, 1}, kVector = {"vector", 2, 3};

std::vector<const DataArray *> node_arrays_of(const Dataset &dataset, const Shape &shape) {
    std::vector<const DataArray *> arrays;
    for (const DataArray &array : dataset.arrays) {
        if (array.association == Association::kNode && array.numeric && shape.fits(array))
            arrays.push_back(&array);
    }
    return arrays;
}

const DataArray &choose_shaped(const Dataset &dataset, const std::string &name, const Shape &shape) {
    if (!name.empty()) {
        const DataArray &array = array_named(dataset, name, Association::kNode);
        if (shape.fits(array)) return array;
        throw UsageError("array '" + name + "' has " +
                         format_count(static_cast<std::size_t>(array.components), "component", "components") +
                         ", a " + shape.name + " is needed: " + arrays_text(dataset, Association::kNode));
    }
    const DataArray *active = find_array(dataset, dataset.active_scalars, Association::kNode);
    if (active && active->numeric && shape.fits(*active)) return *active;
    const std::vector<const DataArray *> arrays = node_arrays_of(dataset, shape);
    if (arrays.size() == 1) return *arrays.front();
    const std::string reason = arrays.empty() ? std::string(" has no ") + shape.name + " on its nodes: "
                                              : " has several arrays, choose with --array: ";
    throw UsageError("'" + dataset.path + "'" + reason + arrays_text(dataset, Association::kNode));
}

// Rows as float if all that is joined is, else as double.
template <class T>
std::shared_ptr<const void> joined(const std::vector<const DataArray *> &arrays,
                                   std::optional<double> null_value) {
    const std::size_t width = arrays.size(), rows = arrays.front()->rows;
    constexpr T kMissing = std::numeric_limits<T>::quiet_NaN();
    std::shared_ptr<T[]> vectors(new T[width * rows]);
    for (std::size_t c = 0; c < width; ++c) {
        const auto null = null_value ? null_value : arrays[c]->null_value;
        visit_values(*arrays[c], [&](auto values) {
            for (std::size_t row = 0; row < rows; ++row) {
                const bool missing = null && static_cast<double>(values[row]) == *null;
                vectors[width * row + c] = missing ? kMissing : static_cast<T>(values[row]);
            }
        });
    }
    for (T *row = vectors.get(); row != vectors.get() + width * rows; row += width) {
        if (std::any_of(row, row + width, [](T x) { return std::isnan(x); }))
            std::fill_n(row, width, kMissing);
    }
    return vectors;
}

// A flat axis goes; the readers leave no rectilinear grid with one, and of the uniform ones those in xy.
isofield::Mesh make_grid(const Dataset &dataset) {
    std::vector<int> dims(dataset.dims.begin(), dataset.dims.end());
    if (dataset.grid_ndim() == 2) std::erase(dims, 1);
    if (dataset.kind == MeshKind::kRectilinear) return isofield::Mesh::rectilinear(dataset.axes);
    if (dataset.kind == MeshKind::kStructured) {
        return isofield::Mesh::structured(dims, std::span(dataset.coords.get(), 3 * dataset.nnodes));
    }
    return isofield::Mesh::uniform(dims, {dataset.lower.begin(), dataset.lower.end()},
                                   {dataset.upper.begin(), dataset.upper.end()});
}

bool takes_part(const CellBlock &block, LineCells lines) {
    return lines == LineCells::kKeep || !block.type.starts_with("line_");
}

isofield::Mesh make_cells(const Dataset &dataset, Console &console, LineCells lines) {
    std::vector<isofield::CellSet> sets;
    std::size_t left_out = 0;
    for (const CellBlock &block : dataset.blocks) {
        if (takes_part(block, lines)) {
            sets.push_back({block.type, block.connect});
        } else {
            left_out += block.sources.size();
        }
    }
    if (sets.empty()) {
        throw UsageError("'" + dataset.path + "' has no cells to work on: it holds " +
                         counts_text(dataset.cell_counts));
    }
    isofield::Mesh mesh = isofield::Mesh::cells(std::span(dataset.coords.get(), 3 * dataset.nnodes), sets);
    if (!dataset.unknown_cells.empty()) {
        console.warn("'" + dataset.path + "': " + counts_text(dataset.unknown_cells) +
                     " left out: there is no operation for cells of this kind");
    }
    if (left_out > 0) console.note(format_count(left_out, "line cell takes", "line cells take") + " no part");
    return mesh;
}

// "isohost_mesh_uniform: dims[0] is ..." without the function's name.
std::string without_reporter(const std::string &report) {
    const std::size_t name = report.find(": ");
    return report.starts_with("isohost_") && name != std::string::npos ? report.substr(name + 2) : report;
}

}  // namespace

std::string counts_text(const CellCounts &counts) {
    std::string text;
    for (const auto &[type, count] : counts) add_item(text, std::to_string(count) + " " + type, ", ");
    return text.empty() ? "no cells" : text;
}

int Dataset::grid_ndim() const {
    return static_cast<int>(std::count_if(dims.begin(), dims.end(), [](int n) { return n > 1; }));
}

bool Dataset::has_volume() const {
    if (grid()) return grid_ndim() == 3;
    return std::any_of(blocks.begin(), blocks.end(), [](const CellBlock &block) {
        const std::string_view type = block.type;
        return !type.starts_with("line_") && !type.starts_with("tri_") && !type.starts_with("quad_");
    });
}

std::string Dataset::dims_text() const {
    return std::to_string(dims[0]) + " x " + std::to_string(dims[1]) + " x " + std::to_string(dims[2]);
}

std::vector<ComponentRange> component_ranges(const DataArray &array, std::optional<double> null_value) {
    if (!array.numeric) return {};
    return visit_values(array, [&](auto values) {
        std::vector<ComponentRange> ranges;
        const auto stride = static_cast<std::size_t>(array.components);
        for (std::size_t c = 0; c < stride; ++c) ranges.push_back(range_of(values, c, stride, null_value));
        return ranges;
    });
}

const DataArray &choose_scalar(const Dataset &dataset, const std::string &name) {
    return choose_shaped(dataset, name, kScalar);
}

const DataArray &choose_vector(const Dataset &dataset, const std::string &name) {
    return choose_shaped(dataset, name, kVector);
}

const DataArray &choose_array(const Dataset &dataset, const std::string &name) {
    if (!name.empty()) return array_named(dataset, name, Association::kNode);
    const bool vectors =
        node_arrays_of(dataset, kScalar).empty() && !node_arrays_of(dataset, kVector).empty();
    return choose_shaped(dataset, name, vectors ? kVector : kScalar);
}

std::string join_components(Dataset &dataset, const std::string &name, std::optional<double> null_value) {
    if (name.find(',') == std::string::npos || find_array(dataset, name, Association::kNode)) return name;
    std::vector<const DataArray *> arrays;
    DataArray vector;
    std::istringstream names(name);
    for (std::string part; std::getline(names, part, ',');) {
        arrays.push_back(&choose_scalar(dataset, part));
        add_item(vector.name, arrays.back()->name, "_");
    }
    if (arrays.size() < 2 || arrays.size() > 3) {
        throw UsageError("'" + name + "' names " + format_count(arrays.size(), "array", "arrays") +
                         ", a vector is made of 2 or 3");
    }
    const bool narrow = std::all_of(arrays.begin(), arrays.end(),
                                    [](const DataArray *array) { return array->source_type == VTK_FLOAT; });
    vector.type_name = narrow ? "float" : "double";
    vector.source_type = narrow ? VTK_FLOAT : VTK_DOUBLE;
    vector.components = static_cast<int>(arrays.size());
    vector.rows = arrays.front()->rows;
    vector.values = narrow ? joined<float>(arrays, null_value) : joined<double>(arrays, null_value);
    dataset.arrays.push_back(std::move(vector));
    return dataset.arrays.back().name;
}

std::vector<const DataArray *> choose_arrays(const Dataset &dataset, Association association,
                                             const std::vector<std::string> &names) {
    std::vector<const DataArray *> chosen;
    for (const std::string &name : names) {
        const DataArray *array = &array_named(dataset, name, association);
        if (std::find(chosen.begin(), chosen.end(), array) == chosen.end()) chosen.push_back(array);
    }
    if (!names.empty()) return chosen;
    for (const DataArray &array : dataset.arrays) {
        if (array.association == association && array.numeric) chosen.push_back(&array);
    }
    if (chosen.empty()) {
        throw UsageError("'" + dataset.path + "' has no " + word_for(association) +
                         " array of numbers: " + arrays_text(dataset, association));
    }
    return chosen;
}

ArrayData array_data(const DataArray &array, Console &console) {
    if (const auto type = library_type(array.source_type)) {
        return {*type, array.components, array.rows, array.values};
    }
    return visit_values(array, [&](auto values) -> ArrayData {
        const bool as_int = fits_int(values);
        console.note("array '" + array.name + "' is " + array.type_name + ", worked on as " +
                     (as_int ? "int" : "double"));
        if (as_int) return {ElementType::kInt, array.components, array.rows, converted<int>(values)};
        return {ElementType::kDouble, array.components, array.rows, converted<double>(values)};
    });
}

isofield::Mesh make_mesh(const Dataset &dataset, Console &console, LineCells lines) {
    if (dataset.grid() && dataset.grid_ndim() < 2) {
        throw UsageError("'" + dataset.path + "' has " + dataset.dims_text() +
                         " nodes; a grid of two or three dimensions is needed");
    }
    try {
        return dataset.grid() ? make_grid(dataset) : make_cells(dataset, console, lines);
    } catch (const isofield::BadInput &refusal) {
        throw UsageError("cannot work on '" + dataset.path + "': " + without_reporter(refusal.what()));
    }
}

std::vector<int> cell_sources(const Dataset &dataset, LineCells lines) {
    std::vector<int> sources;
    for (const CellBlock &block : dataset.blocks) {
        if (!takes_part(block, lines)) continue;
        sources.insert(sources.end(), block.sources.begin(), block.sources.end());
    }
    return sources;
}

std::vector<int> file_cells(const Dataset &dataset, std::span<const int> cells, LineCells lines) {
    std::vector<int> numbers(cells.begin(), cells.end());
    if (dataset.grid()) return numbers;
    const std::vector<int> sources = cell_sources(dataset, lines);
    for (int &number : numbers) {
        if (number >= 0) number = sources[static_cast<std::size_t>(number)];
    }
    return numbers;
}

}  // namespace app
