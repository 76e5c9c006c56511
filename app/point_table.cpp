#include "point_table.hpp"

#include <vtkDelimitedTextReader.h>
#include <vtkNew.h>
#include <vtkTable.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

#include "options.hpp"
#include "reader_support.hpp"

namespace app {
namespace {

const std::vector<std::string> kAxisNames[3] = {{"x", "lon", "longitude"}, {"y", "lat", "latitude"}, {"z"}};

std::string lower_case(std::string text) {
    for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// None for text that is no number; NaN for what is missing.
std::optional<double> number_of(const std::string &text) {
    static constexpr const char *kMissing[] = {"", "nan", "-nan", "na", "inf", "-inf"};
    if (const auto number = finite_number_of(text)) return number;
    const auto is_text = [word = lower_case(text)](const char *missing) { return word == missing; };
    if (std::none_of(std::begin(kMissing), std::end(kMissing), is_text)) return {};
    return std::numeric_limits<double>::quiet_NaN();
}

}  // namespace

bool is_table(const std::string &path) {
    return extension_of(path) == ".csv";
}

void refuse_step(const std::optional<int> &step) {
    if (step) throw UsageError("--step is for files that hold a field");
}

PointTable::PointTable(const std::string &path, Console &console) : path_(path) {
    check_readable(path);
    if (!is_table(path)) refuse(path, "it is no table; name a file that ends in .csv");
    vtkNew<vtkDelimitedTextReader> reader;
    reader->SetFileName(path.c_str());
    run_reader(reader.Get(), path, console);
    vtkTable *table = reader->GetOutput();
    for (vtkIdType c = 0; c < table->GetNumberOfColumns(); ++c) {
        if (auto *column = vtkStringArray::SafeDownCast(table->GetColumn(c))) columns_.emplace_back(column);
    }
    rows_ = columns_.empty() ? 0 : static_cast<std::size_t>(table->GetNumberOfRows());
    header_ = rows_ > 0;
    for (std::size_t c = 0; header_ && c < ncolumns(); ++c) header_ = !finite_number_of(cell(c, 0));
    if (header_) --rows_;
    if (rows_ == 0) refuse(path, "it holds no rows of numbers");
}

std::string PointTable::cell(std::size_t column, std::size_t row) const {
    static constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";  // that spreadsheets start files with
    std::string text = columns_[column]->GetValue(static_cast<vtkIdType>(row));
    if (row == 0 && column == 0 && text.starts_with(kByteOrderMark)) text.erase(0, 3);
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

std::string PointTable::name(std::size_t column) const {
    return header_ ? cell(column, 0) : "column_" + std::to_string(column + 1);
}

std::string PointTable::names() const {
    std::string names;
    for (std::size_t c = 0; c < ncolumns(); ++c) {
        const std::string column_name = name(c);
        add_item(names, "'" + column_name + "'", ", ");
    }
    return names;
}

std::optional<std::size_t> PointTable::find(const std::string &name) const {
    for (std::size_t c = 0; header_ && c < ncolumns(); ++c) {
        if (lower_case(cell(c, 0)) == lower_case(name)) return c;
    }
    return {};
}

std::size_t PointTable::column(const std::string &asked, const std::string &option) const {
    if (const auto named = find(asked)) return *named;
    const auto number = finite_number_of(asked);
    if (number && *number >= 1 && *number <= static_cast<double>(ncolumns()) &&
        *number == std::floor(*number)) {
        return static_cast<std::size_t>(*number) - 1;
    }
    throw UsageError(option + ": there is no column '" + asked + "' in '" + path_ + "': it has " + names() +
                     ", or 1 to " + std::to_string(ncolumns()));
}

std::array<std::optional<std::size_t>, 3> PointTable::axes() const {
    std::array<std::optional<std::size_t>, 3> axes;
    for (std::size_t d = 0; d < 3; ++d) {
        for (const std::string &name : kAxisNames[d]) {
            if (!axes[d]) axes[d] = find(name);
        }
    }
    return axes;
}

std::optional<std::size_t> PointTable::next_numeric(const std::vector<std::size_t> &taken) const {
    for (std::size_t c = 0; c < ncolumns(); ++c) {
        if (std::find(taken.begin(), taken.end(), c) != taken.end()) continue;
        // A later row of text is then told by its number, and not left out in silence.
        for (std::size_t row = 0; row < rows_; ++row) {
            const auto number = number_of(cell(c, row + header_));
            if (number && std::isfinite(*number)) return c;
            if (!number) break;
        }
    }
    return {};
}

std::vector<double> PointTable::numbers(std::size_t column) const {
    std::vector<double> numbers;
    numbers.reserve(rows_);
    for (std::size_t row = header_; row < rows_ + header_; ++row) {
        const std::string text = cell(column, row);
        const auto number = number_of(text);
        if (!number) {
            refuse(path_, "row " + std::to_string(row + 1) + " has '" + text + "' in the column '" +
                              name(column) + "', where a number should be");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

}  // namespace app
