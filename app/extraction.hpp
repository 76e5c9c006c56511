// What the operations on one field share: options, the field that is read, and what is carried over to new
// nodes.
#ifndef ISOFIELD_APP_EXTRACTION_HPP
#define ISOFIELD_APP_EXTRACTION_HPP

#include <vtkDataSet.h>
#include <vtkSmartPointer.h>
#include <CLI/App.hpp>

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "operation_support.hpp"
#include "surface_io.hpp"

namespace app {

struct FieldOptions : InputOptions {
    std::string array;
    std::vector<std::string> attach;
};

constexpr char kArrayHelp[] = "Node array to work on, when the file has several";
constexpr char kVectorHelp[] = "Vector on the nodes, or the scalars to make one of",
               kVectorType[] = "NAME|U,V|U,V,W";

// Adds the file and the options of FieldOptions; `attach` helps with the arrays to carry over.
void add_field_options(CLI::App &command, FieldOptions &options, const std::string &attach);

// The field to work on, as the options name it.
struct Field {
    Dataset dataset;
    isofield::Mesh mesh;  // views the dataset
    LineCells lines;      // in the mesh
    std::vector<NamedArray> attached;
    std::vector<NamedArray> attached_cells;  // cell arrays
    NamedArray scalar;                       // that is worked on; operations that say so take vectors too
    ComponentRange range;                    // of its first component, without nulls
};

// A field whose arrays are yet to be set.
Field field_of(Dataset dataset, isofield::Mesh mesh);

enum class Attach {
    kNodeArrays,      // those that are named
    kEveryNodeArray,  // those that are named, or all
    kArrays,          // node and cell arrays: those that are named, or all, the scalar first
};

// What an operation wants of its field.
struct FieldNeeds {
    void (*check)(const Dataset &) = nullptr;  // may refuse the dataset
    const DataArray &(*choose)(const Dataset &, const std::string &) = choose_scalar;
    Attach attach = Attach::kNodeArrays;
    LineCells lines = LineCells::kLeaveOut;
    vtkSmartPointer<vtkDataSet> *original = nullptr;  // is given the reader's own data
};

// Reads the field and says so. Throws UsageError.
Field read_field(const FieldOptions &options, Console &console, const FieldNeeds &needs = {});
// The same without a scalar of the file, with all arrays unless told otherwise, the one that --array names
// first. The scalar is yet to be set.
Field read_field_without_scalar(const FieldOptions &options, Console &console,
                                Attach attach = Attach::kArrays);

// Tells that quadratic hexahedra leave gaps in `made`, as in "the surface".
void tell_of_gaps(const Dataset &dataset, const std::string &made, Console &console);

// Settings of an extraction that shows its progress as `stage`, part `index` of `count`, and can be
// interrupted; to be run inside a PolledStage.
isofield::ExtractionOptions extraction_settings(const Field &field, const char *stage, Console &console,
                                                std::size_t index = 0, std::size_t count = 1);

// Arrays as those attached, with no rows yet.
std::vector<OutputArray> attached_arrays(const std::vector<NamedArray> &attached);
// Their rows at some of the field's nodes.
std::vector<OutputArray> arrays_at(const std::vector<NamedArray> &attached, std::span<const int> nodes);
// Appends the rows at new nodes of the field's attached arrays.
void carry_arrays(const Field &field, const isofield::NewNodes &nodes, std::vector<OutputArray> &arrays);

}  // namespace app
#endif
