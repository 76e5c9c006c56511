#include "chart.hpp"

#include <vtkAOSDataArrayTemplate.h>
#include <vtkAxis.h>
#include <vtkChartMatrix.h>
#include <vtkChartXY.h>
#include <vtkContextActor.h>
#include <vtkContextScene.h>
#include <vtkDoubleArray.h>
#include <vtkPen.h>
#include <vtkPlotPoints.h>
#include <vtkStringArray.h>
#include <vtkTable.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "canvas.hpp"

namespace app {
namespace {

constexpr std::size_t kMaxPanels = 6;
constexpr unsigned char kCurveColor[3] = {31, 97, 141};
constexpr unsigned char kFitColor[3] = {214, 64, 48};
constexpr unsigned char kGridColor[3] = {222, 225, 230};

template <class T>
vtkSmartPointer<vtkAOSDataArrayTemplate<T>> column_of(const char *name, const std::vector<T> &values) {
    auto array = vtkSmartPointer<vtkAOSDataArrayTemplate<T>>::New();
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
template <class T>
std::pair<double, double> range_of(const std::vector<T> &values) {
    double lower = INFINITY, upper = -INFINITY;
    for (const T value : values) {
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

using Range = std::pair<double, double>;

// The horizontal axis has labels where it has a title.
void set_axes(vtkChart *chart, const std::string &x_title, const Range &x_range, const std::string &y_title,
              const Range &y_range, double height, const PictureStyle &style) {
    const double font = font_size(style);
    vtkAxis *below = chart->GetAxis(vtkAxis::BOTTOM);
    set_axis(below, x_title, x_range.first, x_range.second, style.width / (6 * font), style);
    below->SetLabelsVisible(!x_title.empty());
    set_axis(chart->GetAxis(vtkAxis::LEFT), y_title, y_range.first, y_range.second, height / (3 * font),
             style);
}

// A line, or points.
template <class T>
vtkPlot *add_plot(vtkChart *chart, int kind, const std::vector<T> &x, const std::vector<T> &y,
                  const unsigned char (&color)[3], float width) {
    vtkNew<vtkTable> table;
    table->AddColumn(column_of("position", x));
    table->AddColumn(column_of("value", y));
    vtkPlot *plot = chart->AddPlot(kind);
    plot->SetInputData(table, 0, 1);
    plot->SetColor(color[0], color[1], color[2], 255);
    plot->SetWidth(width);
    return plot;
}

float line_width(const PictureStyle &style) {
    return std::max(1.5f, static_cast<float>(style.height) / 400);
}

// Fills a chart, panel `index` of several, of some height.
using FillPanel =
    std::function<void(vtkChart *chart, std::size_t index, double height, const PictureStyle &style)>;

void draw_panels(std::size_t count, const FillPanel &fill, const PictureStyle &style, OutputFile &file,
                 Console &console) {
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
        fill(matrix->GetChart(vtkVector2i(0, row)), i, height, drawn);
    }
    vtkNew<vtkContextActor> actor;
    actor->GetScene()->AddItem(matrix);
    actor->GetScene()->SetRenderer(canvas.renderer());
    canvas.renderer()->AddActor(actor);
    canvas.finish(file);
}

}  // namespace

void draw_chart(const std::string &title, const std::vector<float> &positions,
                const std::vector<Curve> &curves, const PictureStyle &style, OutputFile &file,
                Console &console) {
    const std::size_t count = std::min(curves.size(), kMaxPanels);
    if (count < curves.size()) {
        console.note("the picture shows the first " + std::to_string(count) + " of " +
                     std::to_string(curves.size()) + " arrays; choose with --array");
    }
    const auto fill = [&](vtkChart *chart, std::size_t i, double height, const PictureStyle &drawn) {
        set_axes(chart, i + 1 == count ? title : "", {positions.front(), positions.back()}, curves[i].title,
                 range_of(curves[i].values), height, drawn);
        add_plot(chart, vtkChart::LINE, positions, curves[i].values, kCurveColor, line_width(drawn));
    };
    draw_panels(count, fill, style, file, console);
}

void draw_plot(const Plot &plot, const PictureStyle &style, OutputFile &file, Console &console) {
    std::vector<double> heights = plot.y;
    heights.insert(heights.end(), plot.curve_y.begin(), plot.curve_y.end());
    const auto fill = [&](vtkChart *chart, std::size_t, double height, const PictureStyle &drawn) {
        set_axes(chart, plot.x_title, range_of(plot.x), plot.y_title, range_of(heights), height, drawn);
        const float width = line_width(drawn);
        auto *points = vtkPlotPoints::SafeDownCast(
            add_plot(chart, vtkChart::POINTS, plot.x, plot.y, kCurveColor, width));
        points->SetMarkerStyle(vtkPlotPoints::CIRCLE);
        points->SetMarkerSize(3 * width);
        add_plot(chart, vtkChart::LINE, plot.curve_x, plot.curve_y, kFitColor, 1.5f * width);
    };
    draw_panels(1, fill, style, file, console);
}

}  // namespace app
