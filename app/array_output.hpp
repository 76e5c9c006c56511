// New arrays on the nodes of a file's own mesh: what the operations that make them share.
#ifndef ISOFIELD_APP_ARRAY_OUTPUT_HPP
#define ISOFIELD_APP_ARRAY_OUTPUT_HPP

#include <vtkDataSet.h>

#include <limits>
#include <string>
#include <vector>

#include "extraction.hpp"

namespace app {

// What an operation made, and how long it took.
struct Made {
    std::vector<NamedArray> arrays;
    std::string seconds;
};

// Adds an array under `name`, or under a free name where the dataset or `made` has one of that name.
void add_array(Made &made, const std::string &name, const Dataset &dataset, const ArrayData &data,
               std::optional<double> null_value, Console &console);

// Of what is there and finite, or of the vectors' lengths.
struct Summary {
    double lower = std::numeric_limits<double>::infinity(), upper = -lower;
    std::size_t without = 0;
};
Summary summary_of(const NamedArray &array);
// "magnitude 0 to 2" behind the text `what`, which may end in "magnitude " itself.
std::string range_text(const std::string &what, const Summary &summary);
// "0 to 2" of one array, "t_smooth 0 to 2, p_smooth 1 to 3" of several.
std::string ranges_text(const Made &made);

// Writes the reader's own data with all that was made, and says so: "made   t_gradient at 8 nodes (`details`,
// 1 node without)".
void write_made(const Made &made, const std::string &details, vtkDataSet *original,
                const OutputOptions &output, OutputFiles &files, Console &console);
// Draws the field in the colours of the array, where a picture is asked for.
void draw_made(Field &field, const NamedArray &shown, const OutputOptions &output, OutputFiles &files,
               Console &console);

}  // namespace app
#endif
