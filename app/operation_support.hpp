// What the operations share: options, the arrays that are worked on, output files, progress and interruption.
#ifndef ISOFIELD_APP_OPERATION_SUPPORT_HPP
#define ISOFIELD_APP_OPERATION_SUPPORT_HPP

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <vector>

#include "console.hpp"
#include "dataset.hpp"
#include "interrupt.hpp"
#include "isofield.hpp"
#include "options.hpp"
#include "output_file.hpp"

namespace app {

// The file to work on.
struct InputOptions {
    std::string path;
    std::optional<int> step;
    std::optional<double> null_value;
};

void add_step_option(CLI::App &command, std::optional<int> &step);
// FIELD, --step and --null; options on arrays come before them, to stand before --null.
void add_input_options(CLI::App &command, InputOptions &options);

// The first of the names, or none.
inline std::string first_of(const std::vector<std::string> &names) {
    return names.empty() ? std::string() : names.front();
}

// An array to work on.
struct NamedArray {
    std::string name;
    ArrayData data;
    std::optional<double> null_value;  // as elements of the data hold it
};
NamedArray named_array(const DataArray &array, const InputOptions &options, Console &console);
std::vector<NamedArray> named_arrays(const std::vector<const DataArray *> &arrays,
                                     const InputOptions &options, Console &console);

// `name`, or when it is taken `name` with `suffix` until it is not, which a note tells.
std::string free_name(const std::string &name, const std::string &suffix,
                      const std::vector<std::string> &taken, Console &console);

// "read   room.vtu: unstructured mesh, 8 nodes, 1 hexahedra"
std::string read_text(const Dataset &dataset);
// The same with the arrays that are worked on, and the time.
void say_read(const Dataset &dataset, const std::vector<NamedArray> &arrays, const Stopwatch &reading,
              Console &console);

// The temporary files of the outputs, made before anything is read. Throws UsageError, also unless the
// output's name ends in one of `extensions`.
struct OutputFiles {
    OutputFiles(const OutputOptions &output, const std::string &extensions,
                const std::vector<std::string> &inputs);

    OutputFile geometry;
    std::optional<OutputFile> picture;
};

// The same of operations that may do without each of them.
struct OptionalFiles {
    OptionalFiles(const OutputOptions &output, const std::string &extensions,
                  const std::vector<std::string> &inputs);

    std::optional<OutputFile> geometry, picture;
};

// Shows progress as `stage`, part `index` of `count`, and lets an interrupt stop it; for operations inside a
// PolledStage.
isofield::Progress polled_progress(const char *stage, Console &console, std::size_t index = 0,
                                   std::size_t count = 1);
// An interrupt may come after the last poll.
void check_interrupt();

void say_drawn(const OutputOptions &output, const Stopwatch &drawing, Console &console);

}  // namespace app
#endif
