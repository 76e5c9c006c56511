// What the operations that extract new nodes along a level share: options, the field that is read, and what
// is carried over, written and drawn.
#ifndef ISOFIELD_APP_EXTRACTION_HPP
#define ISOFIELD_APP_EXTRACTION_HPP

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console.hpp"
#include "dataset.hpp"
#include "interrupt.hpp"
#include "isofield.hpp"
#include "options.hpp"
#include "output_file.hpp"
#include "surface_io.hpp"

namespace app {

struct FieldOptions {
    std::string path;
    std::optional<int> step;
    std::string array;
    std::vector<std::string> attach;
    std::optional<double> null_value;
};

CLI::Validator finite_number();

// Adds the file and the options of FieldOptions; `attach` helps with the arrays to carry over.
void add_field_options(CLI::App &command, FieldOptions &options, const std::string &attach);
void add_step_option(CLI::App &command, std::optional<int> &step);

// An array that is carried to the new nodes.
struct AttachedArray {
    std::string name;
    NodeData data;
    std::optional<double> null_value;  // as elements of the data hold it
};

// The field to work on, as the options name it.
struct Field {
    Dataset dataset;
    isofield::Mesh mesh;  // views the dataset
    std::string name;     // of the scalar
    NodeData data;
    std::optional<double> null_value;  // as elements of the data hold it
    ComponentRange range;              // without nulls
    std::vector<AttachedArray> attached;
};

// Reads the field and says so. `check`, when there is one, may refuse the dataset first. Throws UsageError.
Field read_field(const FieldOptions &options, void (*check)(const Dataset &), Console &console);

// The temporary files of the outputs, made before anything is read. Throws UsageError, also unless the
// geometry's name ends in one of `extensions`.
struct OutputFiles {
    OutputFiles(const OutputOptions &output, const std::string &extensions, const std::string &input);

    OutputFile geometry;
    std::optional<OutputFile> picture;
};

// Settings of an extraction that shows its progress as `stage`, part `index` of `count`, and can be
// interrupted; to be run inside a PolledStage.
isofield::ExtractionOptions extraction_settings(const Field &field, const char *stage, Console &console,
                                                std::size_t index = 0, std::size_t count = 1);
// An interrupt may come after the last poll.
void check_interrupt();

// The attached arrays of the field, with no rows yet.
std::vector<OutputArray> attached_arrays(const Field &field);
// Appends their rows at new nodes.
void carry_arrays(const Field &field, const isofield::NewNodes &nodes, std::vector<OutputArray> &arrays);

void say_drawn(const OutputOptions &output, const Stopwatch &drawing, Console &console);

}  // namespace app
#endif
