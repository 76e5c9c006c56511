// What the operations that extract new nodes along a level share: options, the field that is read, and what
// is carried over to the nodes.
#ifndef ISOFIELD_APP_EXTRACTION_HPP
#define ISOFIELD_APP_EXTRACTION_HPP

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <vector>

#include "operation_support.hpp"
#include "surface_io.hpp"

namespace app {

struct FieldOptions : InputOptions {
    std::string array;
    std::vector<std::string> attach;
};

// Adds the file and the options of FieldOptions; `attach` helps with the arrays to carry over.
void add_field_options(CLI::App &command, FieldOptions &options, const std::string &attach);

// The field to work on, as the options name it.
struct Field {
    Dataset dataset;
    isofield::Mesh mesh;  // views the dataset
    NamedArray scalar;
    ComponentRange range;  // without nulls
    std::vector<NamedArray> attached;
};

// Reads the field and says so. `check`, when there is one, may refuse the dataset first. Throws UsageError.
Field read_field(const FieldOptions &options, void (*check)(const Dataset &), Console &console);

// Settings of an extraction that shows its progress as `stage`, part `index` of `count`, and can be
// interrupted; to be run inside a PolledStage.
isofield::ExtractionOptions extraction_settings(const Field &field, const char *stage, Console &console,
                                                std::size_t index = 0, std::size_t count = 1);

// The attached arrays of the field, with no rows yet.
std::vector<OutputArray> attached_arrays(const Field &field);
// Appends their rows at new nodes.
void carry_arrays(const Field &field, const isofield::NewNodes &nodes, std::vector<OutputArray> &arrays);

}  // namespace app
#endif
