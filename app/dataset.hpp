// A file's contents in the library's terms: what kind of mesh it is, and its arrays.
#ifndef ISOFIELD_APP_DATASET_HPP
#define ISOFIELD_APP_DATASET_HPP

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "console.hpp"
#include "isofield.hpp"

namespace app {

enum class MeshKind { kUniform, kRectilinear, kStructured, kCells };
enum class Association { kNode, kCell };

// Values stay where the reader put them, in the type of the file.
struct DataArray {
    std::string name;
    Association association = Association::kNode;
    std::string type_name;  // "unsigned short"
    int components = 1;
    std::size_t rows = 0;
    bool numeric = true;
    int source_type = 0;                 // the reader's code for it
    std::shared_ptr<const void> values;  // null when not numeric
    std::optional<double> null_value;    // that the file declares
};

struct ComponentRange {
    double lower = 0, upper = 0;  // of the finite values
    std::size_t nan_count = 0;
    std::size_t infinite_count = 0;
    std::size_t null_count = 0;
    bool empty = true;  // no finite value
};

// Cells of one type, in the library's order of nodes.
struct CellBlock {
    std::string name;  // of the file's block; empty where there are none
    std::string type;  // "hex_1"
    std::vector<int> connect;
    std::vector<int> sources;  // per cell its number in the file, from 0
};

using CellCounts = std::vector<std::pair<std::string, std::size_t>>;  // "hexahedra", 8
std::string counts_text(const CellCounts &counts);                    // "8 hexahedra, 2 prisms"

// The step that was read of a file that has some.
struct Step {
    int index = 0;              // from 0
    std::string text;           // "step 1 of 20, time 0.5"; empty where there are no steps
    std::vector<double> times;  // of all steps, where the file tells them
};

struct Dataset {
    std::string path;
    MeshKind kind = MeshKind::kUniform;
    std::string description;           // "uniform grid", "polygonal mesh"
    std::vector<std::string> remarks;  // what the reader had to decide, for `info`

    // Grids: nodes per axis. Image data also tell spacing and origin, as in the file.
    std::array<int, 3> dims = {0, 0, 0};
    bool image = false;
    std::array<double, 3> origin = {}, spacing = {};
    // True when (i, j, k) make a left-handed system in space.
    bool left_handed = false;

    std::size_t nnodes = 0;
    std::size_t ncells = 0;
    CellCounts cell_counts;             // by type
    CellCounts unknown_cells;           // those of them that the library does not know
    std::array<double, 6> bounds = {};  // lower and upper per axis
    Step step;

    std::vector<DataArray> arrays;
    std::string active_scalars;  // a node array; empty when the file names none

    // What the mesh is made from.
    std::array<double, 3> lower = {}, upper = {};  // kUniform
    std::vector<std::vector<float>> axes;          // kRectilinear
    std::shared_ptr<const float> coords;           // kStructured and kCells, nnodes x 3
    std::vector<CellBlock> blocks;                 // kCells

    bool grid() const { return kind != MeshKind::kCells; }
    int grid_ndim() const;          // axes of more than one node
    bool has_volume() const;        // three dimensions, or cells of three
    std::string dims_text() const;  // "181 x 217 x 181"
};

// One range a component, of the values that are not null. Looks at every value once.
std::vector<ComponentRange> component_ranges(const DataArray &array, std::optional<double> null_value = {});

// The node array `name`, or with an empty name the one scalar array to work on. Throws UsageError that lists
// what there is.
const DataArray &choose_scalar(const Dataset &dataset, const std::string &name);
// The same of vectors, which have 2 or 3 components; and of any array, with an empty name of scalars if there
// are some, else of vectors.
const DataArray &choose_vector(const Dataset &dataset, const std::string &name);
const DataArray &choose_array(const Dataset &dataset, const std::string &name);
// The name of the array that `name` asks for. "U,V" or "U,V,W" asks for the vector of these scalars on the
// nodes, which is added to the dataset as "U_V" or "U_V_W", NaN where one of them is missing. Throws
// UsageError.
std::string join_components(Dataset &dataset, const std::string &name, std::optional<double> null_value);
// The arrays of these names, each once, or with no names all that hold numbers. Throws UsageError that lists
// what there is.
std::vector<const DataArray *> choose_arrays(const Dataset &dataset, Association association,
                                             const std::vector<std::string> &names);

// An array in one of the library's six types. Views the dataset's, or owns a converted copy.
struct ArrayData {
    isofield::ElementType type;
    int components;
    std::size_t rows;
    std::shared_ptr<const void> values;

    isofield::DataView view() const { return {type, values.get(), rows, components}; }
    template <class T>  // that of `type`
    std::span<const T> values_as() const {
        return {static_cast<const T *>(values.get()), rows * static_cast<std::size_t>(components)};
    }
};
template <class T>
ArrayData owned_data(std::vector<T> given, int components) {
    const auto values = std::make_shared<const std::vector<T>>(std::move(given));
    const std::size_t rows = values->size() / static_cast<std::size_t>(components);
    return {isofield::front::element_type<T>(), components, rows, {values, values->data()}};
}
// Tells a note when the type had to be changed.
ArrayData array_data(const DataArray &array, Console &console);

enum class LineCells { kLeaveOut, kKeep };

// The dataset as the library's mesh, which views it. Grids of one flat axis become two-dimensional, with
// their nodes where they are. A note tells of line cells that are left out; cells that are not known are
// named in a warning. Throws UsageError where no cell is left, or the grid has less than two dimensions.
isofield::Mesh make_mesh(const Dataset &dataset, Console &console, LineCells lines = LineCells::kLeaveOut);
// Per cell of a cell mesh its number in the file.
std::vector<int> cell_sources(const Dataset &dataset, LineCells lines);
// Cells of the mesh as the file counts them; -1 stays.
std::vector<int> file_cells(const Dataset &dataset, std::span<const int> cells,
                            LineCells lines = LineCells::kLeaveOut);

}  // namespace app
#endif
