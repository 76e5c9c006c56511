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
    vtkSmartPointer<vtkDataArray> view = new_vtk_array(array.type);
    view->SetName(array.name.c_str());
    view->SetNumberOfComponents(array.components);
    view_memory(view, array.values.data(), array.values.size() / isofield::size_of(array.type));
    return view;
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
    vtkNew<vtkFloatArray> coords;
    coords->SetNumberOfComponents(3);
    view_memory(coords, surface.points.data(), surface.points.size());
    vtkNew<vtkPoints> points;
    points->SetData(coords);

    vtkNew<vtkTypeInt32Array> connectivity;
    view_memory(connectivity, surface.triangles.data(), 3 * surface.triangles.size());
    vtkNew<vtkCellArray> triangles;
    triangles->SetData(3, connectivity);

    auto data = vtkSmartPointer<vtkPolyData>::New();
    data->SetPoints(points);
    data->SetPolys(triangles);
    if (surface.nlines() > 0) {
        vtkNew<vtkTypeInt32Array> offsets, nodes;
        view_memory(offsets, surface.line_offsets.data(), surface.line_offsets.size());
        view_memory(nodes, surface.line_nodes.data(), surface.line_nodes.size());
        vtkNew<vtkCellArray> lines;
        lines->SetData(offsets, nodes);
        data->SetLines(lines);
    }
    for (const OutputArray &array : surface.arrays) {
        const auto view = view_array(array);
        data->GetPointData()->AddArray(view);
        if (array.components == 1 && !data->GetPointData()->GetScalars()) {
            data->GetPointData()->SetActiveScalars(array.name.c_str());
        }
        if (array.null_value) {
            vtkNew<vtkDoubleArray> null;
            null->SetName((array.name + kNullSuffix).c_str());
            null->InsertNextValue(*array.null_value);
            data->GetFieldData()->AddArray(null);
        }
    }
    for (const OutputArray &array : surface.cell_arrays) data->GetCellData()->AddArray(view_array(array));
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

// Viridis, by nine of its colours.
vtkSmartPointer<vtkScalarsToColors> color_table(vtkDataArray *values) {
    static constexpr std::array<std::array<double, 3>, 9> kColors = {{{68, 1, 84},
                                                                      {71, 44, 122},
                                                                      {59, 81, 139},
                                                                      {44, 113, 142},
                                                                      {33, 144, 141},
                                                                      {39, 173, 129},
                                                                      {92, 200, 99},
                                                                      {170, 220, 50},
                                                                      {253, 231, 37}}};
    constexpr int kEntries = 256;
    auto table = vtkSmartPointer<vtkLookupTable>::New();
    table->SetNumberOfTableValues(kEntries);
    for (int entry = 0; entry < kEntries; ++entry) {
        const double place = (kColors.size() - 1) * entry / (kEntries - 1.0);
        const auto low = std::min(static_cast<std::size_t>(place), kColors.size() - 2);
        const double part = place - static_cast<double>(low);
        std::array<double, 3> color;
        for (std::size_t c = 0; c < 3; ++c) {
            color[c] = (kColors[low][c] + part * (kColors[low + 1][c] - kColors[low][c])) / 255;
        }
        table->SetTableValue(entry, color[0], color[1], color[2]);
    }
    table->SetNanColor(0.6, 0.6, 0.6, 1);
    double range[2];
    values->GetFiniteRange(range, 0);
    if (!(range[0] <= range[1])) range[0] = range[1] = 0;
    if (range[0] == range[1]) {  // one colour, in the middle of the table
        const double margin = range[0] == 0 ? 1 : 0.01 * std::abs(range[0]);
        range[0] -= margin;
        range[1] += margin;
    }
    table->SetTableRange(range);
    return table;
}

}  // namespace app
