// What the reading, writing and drawing parts share of VTK.
#ifndef ISOFIELD_APP_VTK_SUPPORT_HPP
#define ISOFIELD_APP_VTK_SUPPORT_HPP

#include <vtkAlgorithm.h>
#include <vtkDataArray.h>
#include <vtkDataSet.h>
#include <vtkPolyData.h>
#include <vtkScalarsToColors.h>
#include <vtkSmartPointer.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <array>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "console.hpp"
#include "dataset.hpp"
#include "part_output.hpp"
#include "surface_io.hpp"

namespace app {

// A file declares the null of an array by a number in its field data under the array's name and this suffix,
// or that of all arrays under the suffix's word alone.
constexpr char kNullSuffix[] = ":_FillValue";

// While alive, what VTK would print is kept instead. Others must not use std::cerr meanwhile.
class VtkMessages {
  public:
    VtkMessages();
    ~VtkMessages();
    VtkMessages(const VtkMessages &) = delete;
    VtkMessages &operator=(const VtkMessages &) = delete;

    // The first error, without the place in the source it came from; empty when there was none.
    std::string error() const;
    // What was written to std::cerr past VTK's own channels.
    std::string printed() const;

  private:
    class Window;
    vtkSmartPointer<Window> window_;
    std::ostringstream printed_;
    std::streambuf *cerr_buffer_;
};

// Shows the progress of `algorithm` as `stage`, as long as both live.
void show_progress(vtkAlgorithm *algorithm, const char *stage, Console &console);

// An array that views the data.
vtkSmartPointer<vtkDataArray> view_array(const std::string &name, const ArrayData &data);
// Writes into the field data what stands for missing data in the array.
void declare_null(vtkDataSet *data, const std::string &name, std::optional<double> null_value);
// VTK's data, which views the arrays and does not copy them.
vtkSmartPointer<vtkPolyData> to_polydata(const OutputSurface &surface);
vtkSmartPointer<vtkUnstructuredGrid> to_unstructured(const OutputPart &part);

// One value per row for colouring: the array's own, or the length of its vectors; NaN where it is null.
vtkSmartPointer<vtkDataArray> color_values(const OutputArray &array);
std::string color_title(const OutputArray &array);
using ColorRange = std::array<double, 2>;
// That of the finite values; and the same, or without the lowest and the highest percent where those would
// leave the others less than half of the colours.
ColorRange whole_range(vtkDataArray *values);
ColorRange telling_range(vtkDataArray *values);
// The colours that values are drawn in, over a range.
vtkSmartPointer<vtkScalarsToColors> color_table(const ColorRange &range);

using Color = std::array<double, 3>;
// That of one of so many bands, and of all between their levels.
Color band_color(std::size_t band, std::size_t count);
vtkSmartPointer<vtkScalarsToColors> band_table(const std::vector<double> &levels);

}  // namespace app
#endif
