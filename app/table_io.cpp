#include "table_io.hpp"

#include <vtkDelimitedTextWriter.h>
#include <vtkStringArray.h>
#include <vtkTable.h>

#include <charconv>

#include "operation_support.hpp"
#include "writer_support.hpp"

namespace app {
namespace {

template <class T>
std::string shortest_text(T value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return {text, result.ptr};
}

// In quotes where commas, quotes or line ends would break it.
std::string csv_field(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string result = "\"";
    for (const char c : text) result.append(c == '"' ? 2 : 1, c);
    return result + '"';
}

Column column_of(const OutputArray &array, const std::string &name, std::size_t component) {
    const auto as = [&]<class T>(T) {
        const std::span values(reinterpret_cast<const T *>(array.values.data()),
                               array.values.size() / sizeof(T));
        return number_column<T>(name, values, static_cast<std::size_t>(array.components), component);
    };
    switch (array.type) {
        case isofield::ElementType::kByte:
            return as(static_cast<unsigned char>(0));
        case isofield::ElementType::kInt:
            return as(0);
        default:
            return as(0.0f);
    }
}

}  // namespace

std::string exact_text(float value) {
    return shortest_text(value);
}

std::string exact_text(double value) {
    return shortest_text(value);
}

void add_columns(std::vector<Column> &columns, const OutputArray &array, Console &console) {
    std::vector<std::string> taken;
    for (const Column &column : columns) taken.push_back(column.name);
    for (int c = 0; c < array.components; ++c) {
        const std::string name = array.components == 1 ? array.name : array.name + "_" + std::to_string(c);
        taken.push_back(free_name(name, "_data", taken, console));
        columns.push_back(column_of(array, taken.back(), static_cast<std::size_t>(c)));
    }
}

void write_csv(std::vector<Column> columns, OutputFile &file, Console &console) {
    console.progress("writing", 0);
    // As text: of numbers the writer keeps six digits.
    vtkNew<vtkTable> table;
    std::string last_line;
    for (Column &column : columns) {
        vtkNew<vtkStringArray> cells;
        cells->SetName(csv_field(column.name).c_str());
        cells->SetNumberOfValues(static_cast<vtkIdType>(column.cells.size()));
        for (std::size_t i = 0; i < column.cells.size(); ++i) {
            cells->SetValue(static_cast<vtkIdType>(i), csv_field(column.cells[i]));
        }
        table->AddColumn(cells);
        if (&column != &columns.front()) last_line += ',';
        last_line += column.cells.empty() ? csv_field(column.name) : csv_field(column.cells.back());
        column = {};
    }
    vtkNew<vtkDelimitedTextWriter> writer;
    writer->SetUseStringDelimiter(false);
    run_writer(writer.Get(), table, file, console);
    last_line += '\n';
    if (tail_of(file.temporary(), last_line.size()) != last_line) fail_writing(file);
    file.commit();
    console.clear_bar();
}

}  // namespace app
