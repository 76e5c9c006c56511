#include "table_io.hpp"

#include <vtkDelimitedTextWriter.h>
#include <vtkStringArray.h>
#include <vtkTable.h>

#include <charconv>

#include "writer_support.hpp"

namespace app {
namespace {

// In quotes where commas, quotes or line ends would break it.
std::string csv_field(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string result = "\"";
    for (const char c : text) result.append(c == '"' ? 2 : 1, c);
    return result + '"';
}

}  // namespace

std::string exact_text(float value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return {text, result.ptr};
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
