// Tables of numbers, read from CSV files.
#ifndef ISOFIELD_APP_POINT_TABLE_HPP
#define ISOFIELD_APP_POINT_TABLE_HPP

#include <vtkSmartPointer.h>
#include <vtkStringArray.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "console.hpp"

namespace app {

// Files of points are tables, or hold a field on its nodes.
bool is_table(const std::string &path);
// Tables have no steps. Throws UsageError when one is asked for.
void refuse_step(const std::optional<int> &step);

class PointTable {
  public:
    // A first row without any number is a header. Throws UsageError, also when there are no rows.
    PointTable(const std::string &path, Console &console);

    const std::string &path() const { return path_; }
    std::size_t rows() const { return rows_; }
    std::size_t ncolumns() const { return columns_.size(); }
    bool has_header() const { return header_; }
    std::string name(std::size_t column) const;  // "column_2" without a header
    std::string names() const;                   // of all columns, for messages

    // That of this name, whatever its case, or of this number from 1. Throws UsageError, which names `option`
    // and lists what there is.
    std::size_t column(const std::string &asked, const std::string &option) const;
    // Per axis the column that is called x, y or z, or is the longitude or the latitude.
    std::array<std::optional<std::size_t>, 3> axes() const;
    // The first of the columns that start with a number, but for those `taken`.
    std::optional<std::size_t> next_numeric(const std::vector<std::size_t> &taken) const;

    // NaN where a cell is empty, nan, na or infinite. Throws UsageError that tells the row of other text.
    std::vector<double> numbers(std::size_t column) const;

  private:
    std::optional<std::size_t> find(const std::string &name) const;
    std::string cell(std::size_t column, std::size_t row) const;  // without blanks around it

    std::string path_;
    std::vector<vtkSmartPointer<vtkStringArray>> columns_;
    std::size_t rows_ = 0;  // without the header
    bool header_ = false;
};

}  // namespace app
#endif
