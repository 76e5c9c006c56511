#include "chart.hpp"

#include <vtkAxis.h>
#include <vtkChartMatrix.h>
#include <vtkChartXY.h>
#include <vtkContextActor.h>
#include <vtkContextScene.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkPen.h>
#include <vtkPlot.h>
#include <vtkStringArray.h>
#include <vtkTable.h>

#include <algorithm>
#include <cmath>

#include "canvas.hpp"

namespace app {
namespace {

constexpr std::size_t kMaxPanels = 6;
constexpr unsigned char kCurveColor[3] = {31, 97, 141};
constexpr unsigned char kGridColor[3] = {222, 225, 230};

vtkSmartPointer<vtkFloatArray> float_array(const char *name, std::span<const float> values) {
    auto array = vtkSmartPointer<vtkFloatArray>::New();
    array->SetName(name);
    array->SetNumberOfTuples(static_cast<vtkIdType>(values.size()));
    std::copy(values.begin(), values.end(), array->GetPointer(0));
    return array;
}

// At most `most` multiples of 1, 2 or 5 times a power of ten. VTK's own are set by pixels, whatever the size
// of the letters.
void set_ticks(vtkAxis *axis, double lower, double upper, double most) {
    const double least = (upper - lower) / most;
    double step = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {2.0, 2.5, 2.0}) {
        if (step < least) step *= factor;
    }
    vtkNew<vtkDoubleArray> places;
    vtkNew<vtkStringArray> labels;
    for (double k = std::ceil(lower / step); k * step <= upper; ++k) {
        places->InsertNextValue(k * step);
        labels->InsertNextValue(format_number(k * step + 0.0));  // no negative zero
    }
    axis->SetCustomTickPositions(places, labels);
}

void set_axis(vtkAxis *axis, const std::string &title, double lower, double upper, double most_ticks,
              const PictureStyle &style) {
    axis->SetTitle(title);
    axis->SetBehavior(vtkAxis::FIXED);
    axis->SetRange(lower, upper);
    set_ticks(axis, lower, upper, most_ticks);
    set_text(axis->GetTitleProperties(), font_size(style));
    set_text(axis->GetLabelProperties(), font_size(style));
    const float width = std::max(1.0f, static_cast<float>(style.height) / 900);
    axis->GetPen()->SetWidth(width);
    axis->GetGridPen()->SetWidth(width);
    axis->GetGridPen()->SetColor(kGridColor[0], kGridColor[1], kGridColor[2]);
}

// Of the finite values, with some room around them.
std::pair<double, double> range_of(const std::vector<float> &values) {
    double lower = INFINITY, upper = -INFINITY;
    for (const float value : values) {
        if (!std::isfinite(value)) continue;
        lower = std::min(lower, double{value});
        upper = std::max(upper, double{value});
    }
    if (lower > upper) lower = upper = 0;
    constexpr double kRoom = 0.06;
    double margin = kRoom * (upper - lower);
    if (margin == 0) margin = lower == 0 ? 1 : kRoom * std::abs(lower);
    return {lower - margin, upper + margin};
}

// The lowest panel alone has labels and a title on its horizontal axis.
void fill_panel(vtkChart *chart, const Curve &curve, const std::string &title,
                std::span<const float> positions, double height, const PictureStyle &style) {
    const double font = font_size(style);
    vtkAxis *below = chart->GetAxis(vtkAxis::BOTTOM);
    set_axis(below, title, positions.front(), positions.back(), style.width / (6 * font), style);
    below->SetLabelsVisible(!title.empty());
    const auto [lower, upper] = range_of(curve.values);
    set_axis(chart->GetAxis(vtkAxis::LEFT), curve.title, lower, upper, height / (3 * font), style);
    vtkNew<vtkTable> table;
    table->AddColumn(float_array("position", positions));
    table->AddColumn(float_array("value", curve.values));
    vtkPlot *plot = chart->AddPlot(vtkChart::LINE);
    plot->SetInputData(table, 0, 1);
    plot->SetColor(kCurveColor[0], kCurveColor[1], kCurveColor[2], 255);
    plot->SetWidth(std::max(1.5f, static_cast<float>(style.height) / 400));
}

}  // namespace

void draw_chart(const std::string &title, std::span<const float> positions, const std::vector<Curve> &curves,
                const PictureStyle &style, OutputFile &file, Console &console) {
    const std::size_t count = std::min(curves.size(), kMaxPanels);
    if (count < curves.size()) {
        console.note("the picture shows the first " + std::to_string(count) + " of " +
                     std::to_string(curves.size()) + " arrays; choose with --array");
    }
    // Several samples a pixel leave marks around the letters of charts.
    const int oversize = std::max(style.width, style.height) <= kMaxPictureSize / 4 ? 2 : 1;
    Canvas canvas(style, console, oversize);
    PictureStyle drawn = style;
    drawn.width *= oversize;
    drawn.height *= oversize;
    canvas.renderer()->SetBackground(1, 1, 1);
    vtkNew<vtkChartMatrix> matrix;
    matrix->SetSize(vtkVector2i(1, static_cast<int>(count)));
    const int font = font_size(drawn), gap = 3 * font / 2;
    const int left = 6 * font, below = 4 * font, beside = 2 * font;
    matrix->SetBorders(left, below, beside, beside);
    matrix->SetGutter(vtkVector2f(0, static_cast<float>(gap)));
    const double height = (drawn.height - below - beside) / static_cast<double>(count) - gap;
    for (std::size_t i = 0; i < count; ++i) {
        const int row = static_cast<int>(count - 1 - i);  // the first on top
        fill_panel(matrix->GetChart(vtkVector2i(0, row)), curves[i], row == 0 ? title : "", positions, height,
                   drawn);
    }
    vtkNew<vtkContextActor> actor;
    actor->GetScene()->AddItem(matrix);
    actor->GetScene()->SetRenderer(canvas.renderer());
    canvas.renderer()->AddActor(actor);
    canvas.finish(file);
}

}  // namespace app
