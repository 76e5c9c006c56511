// A file's contents in the library's terms: what kind of mesh it is, and its arrays.
#ifndef ISOFIELD_APP_DATASET_HPP
#define ISOFIELD_APP_DATASET_HPP

#include <array>
#include <cstddef>
#include <memory>
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
};

struct ComponentRange {
    double lower = 0, upper = 0;  // of the finite values
    std::size_t nan_count = 0;
    std::size_t infinite_count = 0;
    bool empty = true;  // no finite value
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
    std::vector<std::pair<std::string, std::size_t>> cell_counts;  // by type
    std::array<double, 6> bounds = {};                             // lower and upper per axis

    std::vector<DataArray> arrays;
    std::string active_scalars;  // a node array; empty when the file names none

    // What the mesh is made from.
    std::array<double, 3> lower = {}, upper = {};  // kUniform
    std::vector<std::vector<float>> axes;          // kRectilinear
    std::shared_ptr<const float> coords;           // kStructured

    bool grid() const { return kind != MeshKind::kCells; }
    std::string dims_text() const;  // "181 x 217 x 181"
};

// One range a component. Looks at every value once.
std::vector<ComponentRange> component_ranges(const DataArray &array);

// The node array `name`, or with an empty name the one scalar array to work on. Throws UsageError that lists
// what there is.
const DataArray &choose_scalar(const Dataset &dataset, const std::string &name);
const DataArray &choose_node_array(const Dataset &dataset, const std::string &name);

// An array in one of the library's six types. Views the dataset's, or owns a converted copy.
struct NodeData {
    isofield::ElementType type;
    int components;
    std::size_t rows;
    std::shared_ptr<const void> values;

    isofield::DataView view() const { return {type, values.get(), rows, components}; }
};
// Tells a note when the type had to be changed.
NodeData node_data(const DataArray &array, Console &console);

// The grid as the library's mesh, which views the dataset. Throws UsageError unless it has three dimensions.
isofield::Mesh grid_mesh_3d(const Dataset &dataset);

}  // namespace app
#endif
