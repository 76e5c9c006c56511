#include "vtk_support.hpp"

#include <vtkCallbackCommand.h>
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCharArray.h>
#include <vtkCommand.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkIntArray.h>
#include <vtkLogger.h>
#include <vtkLookupTable.h>
#include <vtkObjectFactory.h>
#include <vtkOutputWindow.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkShortArray.h>
#include <vtkSignedCharArray.h>
#include <vtkTypeInt32Array.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <limits>

namespace app {
namespace {

// "ERROR: In file.cxx, line 12\nvtkReader (0x55...): what is wrong\n\n" -> "what is wrong"
std::string without_place(std::string text) {
    const std::size_t first_line = text.find('\n');
    if (first_line != std::string::npos && text.substr(0, first_line).find(", line ") != std::string::npos) {
        text.erase(0, first_line + 1);
    }
    const std::size_t object = text.find("): ");
    if (text.starts_with("vtk") && object != std::string::npos) text.erase(0, object + 3);
    text.resize(text.find_last_not_of(" .!\n\r\t") + 1);
    return text;
}

}  // namespace

class VtkMessages::Window : public vtkOutputWindow {
  public:
    static Window *New();
    vtkTypeMacro(Window, vtkOutputWindow);

    void DisplayText(const char *) override {}
    void DisplayErrorText(const char *text) override {
        if (first_error.empty()) first_error = text;
    }
    // Files that end too early are told by some readers in a warning.
    void DisplayWarningText(const char *text) override {
        if (without_place(text).starts_with("Error ")) DisplayErrorText(text);
    }
    void DisplayGenericWarningText(const char *text) override { DisplayWarningText(text); }
    void DisplayDebugText(const char *) override {}

    std::string first_error;
};
vtkStandardNewMacro(VtkMessages::Window);

namespace {

vtkSmartPointer<vtkDataArray> new_vtk_array(isofield::ElementType type) {
    using isofield::ElementType;
    switch (type) {
        case ElementType::kChar:
            return vtkSmartPointer<vtkSignedCharArray>::New();
        case ElementType::kByte:
            return vtkSmartPointer<vtkUnsignedCharArray>::New();
        case ElementType::kShort:
            return vtkSmartPointer<vtkShortArray>::New();
        case ElementType::kInt:
            return vtkSmartPointer<vtkIntArray>::New();
        case ElementType::kFloat:
            return vtkSmartPointer<vtkFloatArray>::New();
        default:
            return vtkSmartPointer<vtkDoubleArray>::New();
    }
}

// VTK only reads through these arrays; it has no const form of them.
void view_memory(vtkDataArray *array, const void *data, std::size_t values) {
    constexpr int kVtkMustNotFree = 1;
    array->SetVoidArray(const_cast<void *>(data), static_cast<vtkIdType>(values), kVtkMustNotFree);
}

vtkSmartPointer<vtkDataArray> view_array(const OutputArray &array) {
    const std::size_t row = static_cast<std::size_t>(array.components) * isofield::size_of(array.type);
    const std::shared_ptr<const void> values(std::shared_ptr<void>(), array.values.data());
    return app::view_array(array.name, {array.type, array.components, array.values.size() / row, values});
}

vtkSmartPointer<vtkPoints> view_points(std::span<const float> values) {
    vtkNew<vtkFloatArray> coords;
    coords->SetNumberOfComponents(3);
    view_memory(coords, values.data(), values.size());
    auto points = vtkSmartPointer<vtkPoints>::New();
    points->SetData(coords);
    return points;
}

vtkSmartPointer<vtkCellArray> view_cells(std::span<const int> offsets, std::span<const int> nodes) {
    vtkNew<vtkTypeInt32Array> starts, connectivity;
    view_memory(starts, offsets.data(), offsets.size());
    view_memory(connectivity, nodes.data(), nodes.size());
    auto cells = vtkSmartPointer<vtkCellArray>::New();
    cells->SetData(starts, connectivity);
    return cells;
}

// The first scalar on the nodes becomes the active one.
void view_arrays(vtkDataSet *data, const std::vector<OutputArray> &arrays,
                 const std::vector<OutputArray> &cell_arrays) {
    for (const OutputArray &array : arrays) {
        const auto view = view_array(array);
        data->GetPointData()->AddArray(view);
        if (array.components == 1 && !data->GetPointData()->GetScalars()) {
            data->GetPointData()->SetActiveScalars(array.name.c_str());
        }
        declare_null(data, array.name, array.null_value);
    }
    for (const OutputArray &array : cell_arrays) {
        data->GetCellData()->AddArray(view_array(array));
        declare_null(data, array.name, array.null_value);
    }
}

}  // namespace

VtkMessages::VtkMessages() : window_(vtkSmartPointer<Window>::New()), cerr_buffer_(std::cerr.rdbuf()) {
    vtkLogger::SetStderrVerbosity(vtkLogger::VERBOSITY_OFF);
    vtkOutputWindow::SetInstance(window_);
    std::cerr.rdbuf(printed_.rdbuf());
}

VtkMessages::~VtkMessages() {
    std::cerr.rdbuf(cerr_buffer_);
    vtkOutputWindow::SetInstance(nullptr);
}

std::string VtkMessages::error() const {
    return without_place(window_->first_error);
}

std::string VtkMessages::printed() const {
    return printed_.str();
}

vtkSmartPointer<vtkDataArray> view_array(const std::string &name, const ArrayData &data) {
    vtkSmartPointer<vtkDataArray> view = new_vtk_array(data.type);
    view->SetName(name.c_str());
    view->SetNumberOfComponents(data.components);
    view_memory(view, data.values.get(), data.rows * static_cast<std::size_t>(data.components));
    return view;
}

void declare_null(vtkDataSet *data, const std::string &name, std::optional<double> null_value) {
    if (!null_value) return;
    vtkNew<vtkDoubleArray> null;
    null->SetName((name + kNullSuffix).c_str());
    null->InsertNextValue(*null_value);
    data->GetFieldData()->AddArray(null);
}

void show_progress(vtkAlgorithm *algorithm, const char *stage, Console &console) {
    struct Target {
        const char *stage;
        Console *console;
    };
    vtkNew<vtkCallbackCommand> command;
    command->SetClientData(new Target{stage, &console});
    command->SetClientDataDeleteCallback([](void *data) { delete static_cast<Target *>(data); });
    command->SetCallback([](vtkObject *, unsigned long, void *client, void *fraction) {
        const auto *target = static_cast<const Target *>(client);
        target->console->progress(target->stage,
                                  static_cast<int>(100 * *static_cast<const double *>(fraction)));
    });
    algorithm->AddObserver(vtkCommand::ProgressEvent, command);
}

vtkSmartPointer<vtkPolyData> to_polydata(const OutputSurface &surface) {
    vtkNew<vtkTypeInt32Array> connectivity;
    view_memory(connectivity, surface.triangles.data(), 3 * surface.triangles.size());
    vtkNew<vtkCellArray> triangles;
    triangles->SetData(3, connectivity);

    auto data = vtkSmartPointer<vtkPolyData>::New();
    data->SetPoints(view_points(surface.points));
    data->SetPolys(triangles);
    if (surface.nlines() > 0) data->SetLines(view_cells(surface.line_offsets, surface.line_nodes));
    view_arrays(data, surface.arrays, surface.cell_arrays);
    return data;
}

vtkSmartPointer<vtkUnstructuredGrid> to_unstructured(const OutputPart &part) {
    vtkNew<vtkUnsignedCharArray> types;
    view_memory(types, part.types.data(), part.types.size());
    auto data = vtkSmartPointer<vtkUnstructuredGrid>::New();
    data->SetPoints(view_points(part.points));
    data->SetCells(types, view_cells(part.offsets, part.nodes));
    view_arrays(data, part.arrays, part.cell_arrays);
    return data;
}

vtkSmartPointer<vtkDataArray> color_values(const OutputArray &array) {
    const auto source = view_array(array);
    auto values = vtkSmartPointer<vtkFloatArray>::New();
    values->SetName(array.name.c_str());
    values->SetNumberOfTuples(source->GetNumberOfTuples());
    for (vtkIdType row = 0; row < source->GetNumberOfTuples(); ++row) {
        double square = 0;
        for (int c = 0; c < array.components; ++c) square += std::pow(source->GetComponent(row, c), 2);
        const double first = source->GetComponent(row, 0);
        double value = array.components == 1 ? first : std::sqrt(square);
        if (array.null_value && first == *array.null_value) value = std::numeric_limits<double>::quiet_NaN();
        values->SetValue(row, static_cast<float>(value));
    }
    return values;
}

std::string color_title(const OutputArray &array) {
    return array.name + (array.components > 1 ? " (length)" : "");
}

namespace {

// Viridis, by nine of its colours; `place` from 0 to 1.
Color color_at(double place) {
    static constexpr std::array<std::array<double, 3>, 9> kColors = {{{68, 1, 84},
                                                                      {71, 44, 122},
                                                                      {59, 81, 139},
                                                                      {44, 113, 142},
                                                                      {33, 144, 141},
                                                                      {39, 173, 129},
                                                                      {92, 200, 99},
                                                                      {170, 220, 50},
                                                                      {253, 231, 37}}};
    place *= kColors.size() - 1;
    const auto low = std::min(static_cast<std::size_t>(place), kColors.size() - 2);
    const double part = place - static_cast<double>(low);
    Color color;
    for (std::size_t c = 0; c < 3; ++c) {
        color[c] = (kColors[low][c] + part * (kColors[low + 1][c] - kColors[low][c])) / 255;
    }
    return color;
}

}  // namespace

ColorRange whole_range(vtkDataArray *values) {
    ColorRange range;
    values->GetFiniteRange(range.data(), 0);
    return range;
}

ColorRange telling_range(vtkDataArray *values) {
    constexpr double kFew = 0.5;
    const ColorRange whole = whole_range(values);
    std::vector<double> sorted;
    for (vtkIdType row = 0; row < values->GetNumberOfTuples(); ++row) {
        const double value = values->GetComponent(row, 0);
        if (std::isfinite(value)) sorted.push_back(value);
    }
    if (sorted.empty()) return whole;
    const auto at = [&](std::size_t percent) {
        const auto place = sorted.begin() + static_cast<std::ptrdiff_t>((sorted.size() - 1) * percent / 100);
        std::nth_element(sorted.begin(), place, sorted.end());
        return *place;
    };
    const ColorRange inner = {at(1), at(99)};
    const bool few = inner[1] - inner[0] < kFew * (whole[1] - whole[0]);
    return few && inner[0] < inner[1] ? inner : whole;
}

vtkSmartPointer<vtkScalarsToColors> color_table(const ColorRange &given) {
    constexpr int kEntries = 256;
    auto table = vtkSmartPointer<vtkLookupTable>::New();
    table->SetNumberOfTableValues(kEntries);
    for (int entry = 0; entry < kEntries; ++entry) {
        const Color color = color_at(entry / (kEntries - 1.0));
        table->SetTableValue(entry, color[0], color[1], color[2]);
    }
    table->SetNanColor(0.6, 0.6, 0.6, 1);
    ColorRange range = given;
    if (!(range[0] <= range[1])) range[0] = range[1] = 0;
    if (range[0] == range[1]) {  // one colour, in the middle of the table
        const double margin = range[0] == 0 ? 1 : 0.01 * std::abs(range[0]);
        range[0] -= margin;
        range[1] += margin;
    }
    table->SetTableRange(range.data());
    return table;
}

Color band_color(std::size_t band, std::size_t count) {
    return color_at(count > 1 ? static_cast<double>(band) / static_cast<double>(count - 1) : 0.5);
}

vtkSmartPointer<vtkScalarsToColors> band_table(const std::vector<double> &levels) {
    constexpr int kEntries = 1024;
    auto table = vtkSmartPointer<vtkLookupTable>::New();
    table->SetNumberOfTableValues(kEntries);
    table->SetTableRange(levels.front(), levels.back());
    std::size_t band = 0;
    for (int entry = 0; entry < kEntries; ++entry) {
        const double value = levels.front() + (levels.back() - levels.front()) * (entry + 0.5) / kEntries;
        while (band + 2 < levels.size() && value >= levels[band + 1]) ++band;
        const Color color = band_color(band, levels.size() - 1);
        table->SetTableValue(entry, color[0], color[1], color[2]);
    }
    return table;
}

}  // namespace app
