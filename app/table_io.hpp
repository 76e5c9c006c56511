// Tables, and the CSV files that they are written to.
#ifndef ISOFIELD_APP_TABLE_IO_HPP
#define ISOFIELD_APP_TABLE_IO_HPP

#include <span>
#include <string>
#include <vector>

#include "console.hpp"
#include "output_file.hpp"
#include "surface_io.hpp"

namespace app {

struct Column {
    std::string name;
    std::vector<std::string> cells;
};

// The text of a number from which the same number is read.
std::string exact_text(float value);
std::string exact_text(double value);

// Component `component` of rows of `components` values.
template <class T>
Column number_column(const std::string &name, std::span<const T> values, std::size_t components = 1,
                     std::size_t component = 0) {
    Column column{name, {}};
    for (std::size_t i = component; i < values.size(); i += components) {
        if constexpr (std::is_integral_v<T>) {
            column.cells.push_back(std::to_string(values[i]));
        } else {
            column.cells.push_back(exact_text(values[i]));
        }
    }
    return column;
}

// Adds a column per component of an array of float, int or byte, under names that keep clear of the others'.
void add_columns(std::vector<Column> &columns, const OutputArray &array, Console &console);

// Columns of equal length, which are used up. Writes and commits `file`. Throws OperationError.
void write_csv(std::vector<Column> columns, OutputFile &file, Console &console);

}  // namespace app
#endif
