#include "render.hpp"

#include <vtkActor.h>
#include <vtkCamera.h>
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCubeAxesActor.h>
#include <vtkDataSetSurfaceFilter.h>
#include <vtkDoubleArray.h>
#include <vtkFeatureEdges.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkLight.h>
#include <vtkLightKit.h>
#include <vtkLookupTable.h>
#include <vtkOutlineSource.h>
#include <vtkPointData.h>
#include <vtkPolyDataMapper.h>
#include <vtkPolyDataNormals.h>
#include <vtkProperty.h>
#include <vtkScalarBarActor.h>
#include <vtkSphereSource.h>
#include <vtkTextProperty.h>
#include <vtkTrivialProducer.h>
#include <vtkTubeFilter.h>
#include <vtkTypeInt32Array.h>
#include <vtkUnsignedCharArray.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

#include "canvas.hpp"
#include "errors.hpp"
#include "sheet.hpp"
#include "vtk_support.hpp"

namespace app {
namespace {

using Bounds = std::array<double, 6>;
using Vector = std::array<double, 3>;

// Towards the camera.
Vector direction_of(const View &view) {
    constexpr double kDegree = std::numbers::pi / 180;
    const double a = view.azimuth * kDegree, e = view.elevation * kDegree;
    return {std::sin(a) * std::cos(e), -std::cos(a) * std::cos(e), std::sin(e)};
}

double dot(const Vector &a, const Vector &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

constexpr std::pair<const char *, View> kViews[] = {
    {"iso", {40, 25}},  {"front", {0, 0}}, {"back", {180, 0}},   {"left", {-90, 0}},
    {"right", {90, 0}}, {"top", {0, 90}},  {"bottom", {0, -90}},
};

constexpr double kSharpAngle = 40;  // at which edges are not smoothed over
constexpr double kSurfaceColor[3] = {0.96, 0.90, 0.82};
constexpr double kSheetColor[3] = {0.85, 0.85, 0.85};
constexpr double kHoleColor[3] = {0.80, 0.80, 0.78};
constexpr double kInkColor[3] = {0.08, 0.09, 0.12};
constexpr double kMarkColor[3] = {0.86, 0.15, 0.12};
constexpr double kEdgeColor[3] = {0.10, 0.38, 0.72};
constexpr double kGlassColor[3] = {0.55, 0.60, 0.66};
constexpr double kBoxColor[3] = {0.55, 0.58, 0.62};
constexpr double kBackgroundLow[3] = {0.97, 0.97, 0.98};
constexpr double kBackgroundHigh[3] = {0.78, 0.82, 0.88};

Bounds bounds_of(std::span<const float> points) {
    Bounds bounds;
    for (std::size_t d = 0; d < 3; ++d) {
        float lower = points[d], upper = lower;
        for (std::size_t i = d; i < points.size(); i += 3) {
            lower = std::min(lower, points[i]);
            upper = std::max(upper, points[i]);
        }
        bounds[2 * d] = lower;
        bounds[2 * d + 1] = upper;
    }
    return bounds;
}

// The one axis, if any, along which a field has no extent.
std::optional<std::size_t> flat_axis(const Bounds &bounds) {
    constexpr double kThin = 1e-6;
    std::optional<std::size_t> flat;
    const auto size = [&](std::size_t d) { return bounds[2 * d + 1] - bounds[2 * d]; };
    for (std::size_t d = 0; d < 3; ++d) {
        if (size(d) > kThin * std::max(size((d + 1) % 3), size((d + 2) % 3))) continue;
        if (flat) return std::nullopt;
        flat = d;
    }
    return flat;
}

View view_of(const PictureStyle &style, const Bounds &field) {
    static constexpr View kAlong[] = {{90, 0}, {0, 0}, {0, 90}};
    if (style.view) return *style.view;
    const auto flat = flat_axis(field);
    return flat ? kAlong[*flat] : View{};
}

// A flat surface still gets a box that can be drawn.
Bounds with_thickness(Bounds bounds) {
    double longest = 0;
    for (std::size_t d = 0; d < 3; ++d) longest = std::max(longest, bounds[2 * d + 1] - bounds[2 * d]);
    const double least = longest > 0 ? 1e-3 * longest : 1;
    for (std::size_t d = 0; d < 3; ++d) {
        if (bounds[2 * d + 1] - bounds[2 * d] >= least) continue;
        bounds[2 * d] -= least / 2;
        bounds[2 * d + 1] += least / 2;
    }
    return bounds;
}

vtkSmartPointer<vtkActor> new_actor(vtkAlgorithmOutput *data, vtkScalarsToColors *table) {
    vtkNew<vtkPolyDataMapper> mapper;
    mapper->SetInputConnection(data);
    mapper->SetScalarVisibility(table != nullptr);
    if (table) {
        mapper->SetLookupTable(table);
        mapper->UseLookupTableScalarRangeOn();
    }
    auto actor = vtkSmartPointer<vtkActor>::New();
    actor->SetMapper(mapper);
    return actor;
}

// The triangles, or the lines, alone; coloured by `colors` on the nodes, if any.
vtkSmartPointer<vtkPolyData> bare_part(const OutputSurface &surface, bool lines, vtkDataArray *colors) {
    vtkSmartPointer<vtkPolyData> data = to_polydata(surface);
    lines ? data->SetPolys(nullptr) : data->SetLines(nullptr);
    data->GetCellData()->Initialize();
    data->GetPointData()->Initialize();
    if (colors) data->GetPointData()->SetScalars(colors);
    return data;
}

void make_solid(vtkProperty *look) {
    look->SetColor(kSurfaceColor[0], kSurfaceColor[1], kSurfaceColor[2]);
    look->SetInterpolationToPhong();
    look->SetAmbient(0.08);
    look->SetDiffuse(0.9);
    look->SetSpecular(0.18);
    look->SetSpecularPower(25);
}

// Those of the cells that are drawn.
void show_edges(vtkActor *actor, const PictureStyle &style) {
    vtkProperty *look = actor->GetProperty();
    look->EdgeVisibilityOn();
    look->SetEdgeColor(kLineColor[0], kLineColor[1], kLineColor[2]);
    look->SetLineWidth(std::max(1.0f, static_cast<float>(style.height) / 1200));
}

// `sharp`: creases are seen.
vtkSmartPointer<vtkActor> surface_actor(const OutputSurface &surface, vtkDataArray *colors,
                                        vtkScalarsToColors *table, bool sharp = false) {
    vtkNew<vtkPolyDataNormals> normals;
    normals->SetInputData(bare_part(surface, false, colors));
    normals->SetSplitting(sharp);
    normals->SetFeatureAngle(kSharpAngle);
    normals->ConsistencyOff();
    const auto actor = new_actor(normals->GetOutputPort(), table);
    actor->GetMapper()->SetInterpolateScalarsBeforeMapping(table != nullptr);
    make_solid(actor->GetProperty());
    return actor;
}

// Tells when the colours' range leaves values out.
std::string title_over(const std::string &title, const ColorRange &range, vtkDataArray *values) {
    return title + (range == whole_range(values) ? "" : "\n1 to 99 %");
}

// What colours a part; nothing without a table.
struct PartColors {
    vtkSmartPointer<vtkDataArray> values;
    vtkSmartPointer<vtkScalarsToColors> table;
    std::string title;
    std::vector<double> labels;  // on the colour bar; none: evenly spaced ones
    bool on_nodes = false;
};

PartColors colors_of(const Bands &bands) {
    auto colors = vtkSmartPointer<vtkUnsignedCharArray>::New();
    colors->SetNumberOfComponents(3);
    for (const int band : bands.of_cells) {
        const Color color = band_color(static_cast<std::size_t>(band), bands.levels.size() - 1);
        colors->InsertNextTuple3(255 * color[0], 255 * color[1], 255 * color[2]);
    }
    return {colors, band_table(bands.levels), bands.title, bands.levels, false};
}

PartColors colors_of(const OutputPart &part) {
    if (part.ncells() == 0) return {};
    const bool on_nodes = !part.arrays.empty();
    if (!on_nodes && part.cell_arrays.size() < 2) return {};  // cell_id alone
    const OutputArray &array = on_nodes ? part.arrays.front() : part.cell_arrays.front();
    const auto values = color_values(array);
    const ColorRange range = telling_range(values);
    return {values, color_table(range), title_over(color_title(array), range, values), {}, on_nodes};
}

// Edges where the part was cut open stay sharp.
vtkSmartPointer<vtkActor> part_actor(const OutputPart &part, const PartColors &colors, bool shaded) {
    const auto data = to_unstructured(part);
    data->GetPointData()->Initialize();
    data->GetCellData()->Initialize();
    vtkDataSetAttributes *attributes = data->GetCellData();
    if (colors.on_nodes) attributes = data->GetPointData();
    attributes->SetScalars(colors.values);
    vtkNew<vtkDataSetSurfaceFilter> outside;
    outside->SetInputData(data);
    vtkNew<vtkPolyDataNormals> normals;
    normals->SetInputConnection(outside->GetOutputPort());
    normals->ConsistencyOff();
    normals->SetFeatureAngle(kSharpAngle);
    const auto actor = new_actor(normals->GetOutputPort(), colors.table);
    actor->GetMapper()->SetInterpolateScalarsBeforeMapping(colors.on_nodes);
    vtkProperty *look = actor->GetProperty();
    make_solid(look);
    look->SetLighting(shaded);
    if (colors.table) {  // the sides that face away from the light are still told by their colours
        look->SetAmbient(0.4);
        look->SetDiffuse(0.65);
        look->SetSpecular(0.05);
    }
    return actor;
}

vtkSmartPointer<vtkActor> lines_actor(vtkPolyData *data, vtkScalarsToColors *table,
                                      const PictureStyle &style) {
    vtkNew<vtkTrivialProducer> source;
    source->SetOutput(data);
    auto actor = new_actor(source->GetOutputPort(), table);
    // In front of the surface that they lie on, by depth alone: offsets by slope leave gaps and ragged
    // outlines.
    vtkMapper::SetResolveCoincidentTopologyToPolygonOffset();
    vtkMapper::SetResolveCoincidentTopologyLineOffsetParameters(0, -150);
    vtkMapper::SetResolveCoincidentTopologyPolygonOffsetParameters(0, 0);
    vtkProperty *look = actor->GetProperty();
    look->SetColor(kLineColor[0], kLineColor[1], kLineColor[2]);
    look->LightingOff();
    look->SetLineWidth(std::max(1.0f, static_cast<float>(style.height) / 600));
    return actor;
}

vtkSmartPointer<vtkActor> tubes_actor(vtkPolyData *lines, vtkScalarsToColors *table, double radius) {
    constexpr int kSides = 12;
    vtkNew<vtkTubeFilter> tubes;
    tubes->SetInputData(lines);
    tubes->SetRadius(radius);
    tubes->SetNumberOfSides(kSides);
    tubes->CappingOn();
    return new_actor(tubes->GetOutputPort(), table);
}

// A small ball.
vtkSmartPointer<vtkActor> mark_actor(const std::array<float, 3> &point, const Bounds &box) {
    constexpr double kSize = 0.012;  // of the box
    vtkNew<vtkSphereSource> ball;
    ball->SetCenter(point[0], point[1], point[2]);
    ball->SetRadius(kSize * std::hypot(box[1] - box[0], box[3] - box[2], box[5] - box[4]));
    ball->SetThetaResolution(24);
    ball->SetPhiResolution(24);
    auto actor = new_actor(ball->GetOutputPort(), nullptr);
    actor->GetProperty()->SetColor(kMarkColor[0], kMarkColor[1], kMarkColor[2]);
    actor->GetProperty()->SetAmbient(0.4);
    return actor;
}

vtkSmartPointer<vtkPolyData> lines_of(const OutputPart &part) {
    const auto count = static_cast<vtkIdType>(part.lines.size() / 3);
    vtkNew<vtkFloatArray> coords;
    coords->SetNumberOfComponents(3);
    coords->SetNumberOfTuples(count);
    std::copy(part.lines.begin(), part.lines.end(), coords->GetPointer(0));
    vtkNew<vtkPoints> points;
    points->SetData(coords);
    vtkNew<vtkTypeInt32Array> ends;
    ends->SetNumberOfValues(count);
    std::iota(ends->GetPointer(0), ends->GetPointer(0) + count, 0);
    vtkNew<vtkCellArray> lines;
    lines->SetData(2, ends);
    auto data = vtkSmartPointer<vtkPolyData>::New();
    data->SetPoints(points);
    data->SetLines(lines);
    return data;
}

void add_axes_box(vtkRenderer *renderer, Bounds bounds, const View &view, const PictureStyle &style) {
    vtkNew<vtkCubeAxesActor> axes;
    axes->SetBounds(bounds.data());
    axes->SetCamera(renderer->GetActiveCamera());
    axes->SetFlyModeToOuterEdges();
    axes->SetTickLocationToOutside();
    axes->SetScreenSize(font_size(style));
    // In pixels; small pictures would lose their titles otherwise.
    const double offset = 1.1 * font_size(style);
    axes->SetLabelOffset(offset);
    axes->SetTitleOffset(offset);
    // An axis that the camera looks along has its labels on one spot.
    const Vector back = direction_of(view);
    constexpr double kAlong = 0.97;
    const bool seen[3] = {std::abs(back[0]) < kAlong, std::abs(back[1]) < kAlong, std::abs(back[2]) < kAlong};
    axes->SetXAxisLabelVisibility(seen[0]);
    axes->SetYAxisLabelVisibility(seen[1]);
    axes->SetZAxisLabelVisibility(seen[2]);
    axes->SetXAxisTickVisibility(seen[0]);
    axes->SetYAxisTickVisibility(seen[1]);
    axes->SetZAxisTickVisibility(seen[2]);
    axes->SetXTitle(seen[0] ? "x" : "");
    axes->SetYTitle(seen[1] ? "y" : "");
    axes->SetZTitle(seen[2] ? "z" : "");
    axes->XAxisMinorTickVisibilityOff();
    axes->YAxisMinorTickVisibilityOff();
    axes->ZAxisMinorTickVisibilityOff();
    for (int axis = 0; axis < 3; ++axis) {
        set_text(axes->GetTitleTextProperty(axis), font_size(style));
        set_text(axes->GetLabelTextProperty(axis), font_size(style));
    }
    for (vtkProperty *lines :
         {axes->GetXAxesLinesProperty(), axes->GetYAxesLinesProperty(), axes->GetZAxesLinesProperty()}) {
        lines->SetColor(kLineColor[0], kLineColor[1], kLineColor[2]);
        lines->SetLineWidth(1.2f);
    }
    renderer->AddActor(axes);

    vtkNew<vtkOutlineSource> outline;
    outline->SetBounds(bounds.data());
    vtkNew<vtkPolyDataMapper> mapper;
    mapper->SetInputConnection(outline->GetOutputPort());
    vtkNew<vtkActor> actor;
    actor->SetMapper(mapper);
    actor->GetProperty()->SetColor(kBoxColor[0], kBoxColor[1], kBoxColor[2]);
    actor->GetProperty()->LightingOff();
    renderer->AddActor(actor);
}

// Those that do not stand too close to each other.
vtkSmartPointer<vtkDoubleArray> spaced_out(const std::vector<double> &labels) {
    constexpr double kMost = 20;
    auto spaced = vtkSmartPointer<vtkDoubleArray>::New();
    double next = labels.front();
    for (const double label : labels) {
        if (label < next) continue;
        spaced->InsertNextValue(label);
        next = label + (labels.back() - labels.front()) / kMost;
    }
    return spaced;
}

// A title in lines, as small as it takes for the longest to fit above the colour bar.
void set_bar_title(vtkScalarBarActor *bar, std::string title, const PictureStyle &style) {
    constexpr double kRoom = 0.15;         // of the width of the picture
    constexpr double kLetterWidth = 0.57;  // over the font's size, on average
    if (const std::size_t part = title.find(" ("); part != std::string::npos) title[part] = '\n';
    std::size_t longest = 1, length = 0;
    for (const char c : title) longest = std::max(longest, c == '\n' ? length = 0 : ++length);
    const int fitting = static_cast<int>(kRoom * style.width / (kLetterWidth * static_cast<double>(longest)));
    bar->SetTitle(title.c_str());
    set_text(bar->GetTitleTextProperty(), std::min(font_size(style), fitting));
}

void add_color_bar(vtkRenderer *renderer, vtkScalarsToColors *table, const std::string &title,
                   const std::vector<double> &labels, const PictureStyle &style) {
    vtkNew<vtkScalarBarActor> bar;
    bar->SetLookupTable(table);
    set_bar_title(bar, title, style);
    bar->SetNumberOfLabels(5);
    if (!labels.empty()) {
        bar->UseCustomLabelsOn();
        bar->SetCustomLabels(spaced_out(labels));
    }
    bar->SetLabelFormat("%-.4g");
    bar->SetUnconstrainedFontSize(true);
    bar->SetVerticalTitleSeparation(font_size(style) / 2);
    bar->SetPosition(0.88, 0.2);
    bar->SetWidth(0.09);
    bar->SetHeight(0.6);
    for (vtkTextProperty *text : {bar->GetLabelTextProperty(), bar->GetAnnotationTextProperty()})
        set_text(text, font_size(style));
    renderer->AddActor2D(bar);
}

// The nearest place on the side that the view names from which the whole box is seen, with room for its
// labels.
void place_camera(vtkRenderer *renderer, const Bounds &box, const View &view, const PictureStyle &style,
                  bool color_bar) {
    constexpr double kDegree = std::numbers::pi / 180;
    const double a = view.azimuth * kDegree, e = view.elevation * kDegree;
    const Vector back = direction_of(view);
    const Vector up = {-std::sin(a) * std::sin(e), std::cos(a) * std::sin(e), std::cos(e)};
    const Vector right = {std::cos(a), std::sin(a), 0};

    vtkCamera *camera = renderer->GetActiveCamera();
    const double half_angle = std::tan(camera->GetViewAngle() * kDegree / 2);
    const double height = 0.82 * half_angle;
    const double width = (color_bar ? 0.68 : 0.8) * half_angle * style.width / style.height;
    const Vector center = {(box[0] + box[1]) / 2, (box[2] + box[3]) / 2, (box[4] + box[5]) / 2};
    double distance = 0;
    for (std::size_t corner = 0; corner < 8; ++corner) {
        const Vector arm = {box[corner & 1] - center[0], box[2 + (corner >> 1 & 1)] - center[1],
                            box[4 + (corner >> 2)] - center[2]};
        const double side = std::max(std::abs(dot(arm, right)) / width, std::abs(dot(arm, up)) / height);
        distance = std::max(distance, side + dot(arm, back));
    }
    camera->SetFocalPoint(center.data());
    camera->SetPosition(center[0] + distance * back[0], center[1] + distance * back[1],
                        center[2] + distance * back[2]);
    camera->SetViewUp(up.data());
    camera->SetWindowCenter(color_bar ? 0.1 : -0.02,
                            -0.06);  // labels are left and below, the colour bar right
}

// A picture of things in space.
class Scene {
  public:
    Scene(const View &view, const PictureStyle &style, Console &console)
        : view_(view), style_(style), canvas_(style, console), renderer_(canvas_.renderer()) {
        renderer_->SetBackground(kBackgroundLow[0], kBackgroundLow[1], kBackgroundLow[2]);
        renderer_->SetBackground2(kBackgroundHigh[0], kBackgroundHigh[1], kBackgroundHigh[2]);
        renderer_->GradientBackgroundOn();
    }

    void add(vtkActor *actor) { renderer_->AddActor(actor); }

    void light_solid() {
        vtkNew<vtkLightKit> lights;
        lights->SetKeyLightIntensity(0.95);
        lights->AddLightsToRenderer(renderer_);
    }

    // From the upper left, as maps are lit.
    void light_relief() {
        vtkNew<vtkLight> light;
        light->SetLightTypeToCameraLight();
        light->SetPosition(-1, 1, 1.5);
        renderer_->AddLight(light);
    }

    // `table`: null without a colour bar.
    void finish(const Bounds &bounds, vtkScalarsToColors *table, const std::string &title, OutputFile &file,
                const std::vector<double> &labels = {}) {
        const Bounds box = with_thickness(bounds);
        add_axes_box(renderer_, box, view_, style_);
        if (table) add_color_bar(renderer_, table, title, labels, style_);
        place_camera(renderer_, box, view_, style_, table != nullptr);
        renderer_->ResetCameraClippingRange();
        canvas_.finish(file);
    }

  private:
    View view_;
    const PictureStyle &style_;
    Canvas canvas_;
    vtkRenderer *renderer_;
};

vtkSmartPointer<vtkFloatArray> values_of(const Sheet &sheet) {
    auto values = vtkSmartPointer<vtkFloatArray>::New();
    values->SetNumberOfTuples(static_cast<vtkIdType>(sheet.values.size()));
    std::copy(sheet.values.begin(), sheet.values.end(), values->GetPointer(0));
    return values;
}

// Lit so that lines of all colours stand out; grey without colours.
vtkSmartPointer<vtkActor> sheet_actor(Sheet &sheet, std::optional<std::size_t> flat, const View &view,
                                      vtkDataArray *colors = nullptr, vtkScalarsToColors *table = nullptr,
                                      bool sharp = false) {
    OutputSurface surface;
    surface.points = sheet.points;
    surface.triangles = sheet.triangles;
    vtkSmartPointer<vtkActor> actor;
    if (flat) {
        const double up = direction_of(view)[*flat] < 0 ? -1 : 1;
        turn_up(sheet, *flat, up);
        const std::vector<float> relief = relief_normals(sheet, *flat, up);
        vtkNew<vtkFloatArray> normals;
        normals->SetNumberOfComponents(3);
        normals->SetNumberOfTuples(static_cast<vtkIdType>(relief.size() / 3));
        std::copy(relief.begin(), relief.end(), normals->GetPointer(0));
        const auto data = bare_part(surface, false, colors);
        data->GetPointData()->SetNormals(normals);
        vtkNew<vtkTrivialProducer> source;
        source->SetOutput(data);
        actor = new_actor(source->GetOutputPort(), table);
        actor->GetMapper()->SetInterpolateScalarsBeforeMapping(table != nullptr);
    } else {
        actor = surface_actor(surface, colors, table, sharp);
    }
    vtkProperty *look = actor->GetProperty();
    look->SetColor(kSheetColor[0], kSheetColor[1], kSheetColor[2]);
    look->SetInterpolationToPhong();
    look->SetAmbient(0.25);
    look->SetDiffuse(0.85);
    look->SetSpecular(0);
    return actor;
}

// A colour for each of the names, numbered from 0, that there is.
vtkSmartPointer<vtkScalarsToColors> kind_table(const std::vector<std::string> &names, vtkDataArray *kinds) {
    static constexpr const double *kColors[] = {kEdgeColor, kInkColor, kMarkColor};
    auto table = vtkSmartPointer<vtkLookupTable>::New();
    table->IndexedLookupOn();
    vtkIdType count = 0;
    for (std::size_t kind = 0; kind < names.size(); ++kind) {
        const auto value = static_cast<double>(kind);
        vtkIdType row = 0;
        while (row < kinds->GetNumberOfTuples() && kinds->GetComponent(row, 0) != value) ++row;
        if (row == kinds->GetNumberOfTuples()) continue;
        table->SetNumberOfTableValues(count + 1);
        table->SetAnnotation(value, names[kind]);
        const double *color = kColors[kind];
        table->SetTableValue(count++, color[0], color[1], color[2]);
    }
    return table;
}

// To be seen through, with its edges.
void add_glass(Scene &scene, vtkDataSet *mesh, const PictureStyle &style) {
    constexpr double kOpacity = 0.12, kEdgeOpacity = 0.35, kEdgeAngle = 35;
    vtkNew<vtkDataSetSurfaceFilter> outside;
    outside->SetInputData(mesh);
    const auto glass = new_actor(outside->GetOutputPort(), nullptr);
    glass->GetProperty()->SetColor(kGlassColor[0], kGlassColor[1], kGlassColor[2]);
    glass->GetProperty()->SetOpacity(kOpacity);
    scene.add(glass);
    vtkNew<vtkFeatureEdges> edges;
    edges->SetInputConnection(outside->GetOutputPort());
    edges->SetFeatureAngle(kEdgeAngle);
    edges->NonManifoldEdgesOff();
    edges->ColoringOff();
    edges->Update();
    const auto actor = lines_actor(edges->GetOutput(), nullptr, style);
    actor->GetProperty()->SetOpacity(kEdgeOpacity);
    scene.add(actor);
}

// Mixes the colours with white: dark things stand out on all of them.
void lighten(vtkScalarsToColors *table) {
    constexpr double kWhite = 0.45;
    auto *entries = vtkLookupTable::SafeDownCast(table);
    for (vtkIdType entry = 0; entry < entries->GetNumberOfTableValues(); ++entry) {
        double color[4];
        entries->GetTableValue(entry, color);
        for (double &part : std::span(color).first(3)) part += kWhite * (1 - part);
        entries->SetTableValue(entry, color);
    }
}

vtkSmartPointer<vtkScalarsToColors> light_table(const ColorRange &range) {
    const auto table = color_table(range);
    lighten(table);
    return table;
}

}  // namespace

std::optional<View> named_view(const std::string &name) {
    for (const auto &[known, view] : kViews) {
        if (name == known) return view;
    }
    return std::nullopt;
}

std::string view_names() {
    std::string names;
    for (const auto &[name, view] : kViews) add_item(names, name);
    return names;
}

std::array<double, 3> towards_viewer(const PictureStyle &style, const std::array<double, 6> &bounds) {
    return direction_of(view_of(style, bounds));
}

void check_picture_name(const std::string &path) {
    if (extension_of(path) != ".png")
        throw UsageError("cannot draw '" + path + "': name a file that ends in .png");
}

void draw_surface(const OutputSurface &surface, const std::array<double, 6> &bounds,
                  const PictureStyle &style, OutputFile &file, Console &console, const SurfaceLook &look) {
    Scene scene(view_of(style, bounds), style, console);
    scene.light_solid();
    vtkSmartPointer<vtkDataArray> colors;
    vtkSmartPointer<vtkScalarsToColors> table;
    std::string title;
    if (!surface.arrays.empty() && !surface.points.empty()) {
        const OutputArray &colored = surface.arrays.front();
        colors = color_values(colored);
        const ColorRange range = whole_range(colors);
        table = look.edges ? light_table(range) : color_table(range);  // edges are dark
        title = look.title.empty() ? color_title(colored) : look.title;
    }
    if (!surface.triangles.empty()) {
        const auto actor = surface_actor(surface, colors, table);
        actor->GetProperty()->SetLighting(look.shaded);
        if (look.edges) show_edges(actor, style);
        scene.add(actor);
    }
    if (surface.nlines() > 0) scene.add(lines_actor(bare_part(surface, true, colors), table, style));
    const Bounds box = look.whole_field || surface.triangles.empty() ? bounds : bounds_of(surface.points);
    if (look.mark) scene.add(mark_actor(*look.mark, with_thickness(box)));
    scene.finish(box, table, title, file);
}

void draw_part(const OutputPart &part, const std::optional<Bands> &bands, const Bounds &bounds,
               const PictureStyle &style, OutputFile &file, Console &console, bool edges) {
    Scene scene(view_of(style, bounds), style, console);
    scene.light_solid();
    const PartColors colors = bands && part.ncells() > 0 ? colors_of(*bands) : colors_of(part);
    if (edges && colors.table) lighten(colors.table);
    if (part.ncells() > 0) {
        const auto actor = part_actor(part, colors, !flat_axis(bounds));
        if (edges) show_edges(actor, style);
        scene.add(actor);
    }
    if (!part.lines.empty()) scene.add(lines_actor(lines_of(part), nullptr, style));
    const Bounds box = part.points.empty() ? bounds : bounds_of(part.points);
    scene.finish(box, colors.table, colors.title, file, colors.labels);
}

void draw_lines(const OutputSurface &lines, Sheet &sheet, const std::string &title,
                const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
                Console &console, const std::optional<std::array<float, 3>> &mark) {
    const View view = view_of(style, bounds);
    Scene scene(view, style, console);
    const auto flat = flat_axis(bounds);
    flat ? scene.light_relief() : scene.light_solid();
    if (!sheet.triangles.empty()) scene.add(sheet_actor(sheet, flat, view));
    vtkSmartPointer<vtkScalarsToColors> table;
    if (lines.nlines() > 0) {
        const auto data = bare_part(lines, true, nullptr);
        if (!lines.cell_arrays.empty()) {
            const auto levels = color_values(lines.cell_arrays.front());
            table = color_table(whole_range(levels));
            data->GetCellData()->SetScalars(levels);
        }
        const auto actor = lines_actor(data, table, style);
        if (!table) {
            actor->GetProperty()->SetColor(kMarkColor[0], kMarkColor[1], kMarkColor[2]);
            actor->GetProperty()->SetLineWidth(2 * actor->GetProperty()->GetLineWidth());
        }
        scene.add(actor);
    }
    if (mark) scene.add(mark_actor(*mark, bounds));
    scene.finish(bounds, table, title, file);
}

void draw_edges(const OutputSurface &edges, Sheet &sheet, const std::vector<std::string> &kinds,
                const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
                Console &console) {
    const View view = view_of(style, bounds);
    Scene scene(view, style, console);
    const auto flat = flat_axis(bounds);
    flat ? scene.light_relief() : scene.light_solid();
    if (!sheet.triangles.empty()) scene.add(sheet_actor(sheet, flat, view, nullptr, nullptr, true));
    vtkSmartPointer<vtkScalarsToColors> table;
    if (edges.nlines() > 0) {
        const auto data = bare_part(edges, true, nullptr);
        if (!kinds.empty()) {
            const auto values = color_values(edges.cell_arrays.front());
            table = kind_table(kinds, values);
            data->GetCellData()->SetScalars(values);
        }
        const auto actor = lines_actor(data, table, style);
        const double width = actor->GetProperty()->GetLineWidth();
        if (table) actor->GetProperty()->SetLineWidth(static_cast<float>(2 * width));
        scene.add(actor);
    }
    const bool several = table && table->GetNumberOfAnnotatedValues() > 1;
    scene.finish(bounds, several ? table.Get() : nullptr, "", file);
}

void draw_relief(Sheet &sheet, const std::string &title, bool edges, const std::array<double, 6> &bounds,
                 const PictureStyle &style, OutputFile &file, Console &console) {
    constexpr std::size_t kUpwards = 2;
    const View view = view_of(style, bounds);
    Scene scene(view, style, console);
    scene.light_relief();
    vtkSmartPointer<vtkScalarsToColors> table;
    if (!sheet.triangles.empty()) {
        const auto values = values_of(sheet);
        const ColorRange range = whole_range(values);
        table = edges ? light_table(range) : color_table(range);
        const auto actor = sheet_actor(sheet, kUpwards, view, values, table);
        if (edges) show_edges(actor, style);
        scene.add(actor);
    }
    scene.finish(bounds, table, title, file);
}

void draw_map(const OutputSurface &surface, const Sheet &sheet, const std::string &title,
              const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
              Console &console) {
    constexpr double kPen = 6e-4;  // of the diagonal: lines of short steps have gaps when drawn as such
    Scene scene(view_of(style, bounds), style, console);
    scene.light_solid();
    const bool shaded = !flat_axis(bounds);
    OutputSurface part;
    part.points = sheet.points;
    const auto values = values_of(sheet);
    const ColorRange range = telling_range(values);
    const auto table = light_table(range);
    for (const bool hole : {false, true}) {
        part.triangles = hole ? sheet.holes : sheet.triangles;
        if (part.triangles.empty()) continue;
        const auto actor = hole ? surface_actor(part, nullptr, nullptr) : surface_actor(part, values, table);
        actor->GetProperty()->SetColor(kHoleColor[0], kHoleColor[1], kHoleColor[2]);
        actor->GetProperty()->SetLighting(shaded);
        scene.add(actor);
    }
    if (!surface.triangles.empty()) {
        const auto actor = surface_actor(surface, nullptr, nullptr);
        actor->GetProperty()->SetColor(kInkColor[0], kInkColor[1], kInkColor[2]);
        actor->GetProperty()->SetLighting(shaded);
        scene.add(actor);
    }
    if (surface.nlines() > 0) {
        const double diagonal =
            std::hypot(bounds[1] - bounds[0], bounds[3] - bounds[2], bounds[5] - bounds[4]);
        const auto actor = tubes_actor(bare_part(surface, true, nullptr), nullptr, kPen * diagonal);
        actor->GetProperty()->SetColor(kInkColor[0], kInkColor[1], kInkColor[2]);
        actor->GetProperty()->LightingOff();
        scene.add(actor);
    }
    scene.finish(bounds, table, title_over(title, range, values), file);
}

void draw_flow(const OutputSurface &lines, vtkDataSet *outside, double tube_radius,
               const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
               Console &console) {
    Scene scene(view_of(style, bounds), style, console);
    scene.light_solid();
    const auto colors = color_values(lines.arrays.front());
    const ColorRange range = telling_range(colors);
    const auto table = color_table(range);
    const auto bare = bare_part(lines, true, colors);
    if (lines.nlines() > 0 && tube_radius > 0) {
        const auto actor = tubes_actor(bare, table, tube_radius);
        make_solid(actor->GetProperty());
        scene.add(actor);
    } else if (lines.nlines() > 0) {
        scene.add(lines_actor(bare, table, style));
    }
    if (outside) add_glass(scene, outside, style);
    scene.finish(bounds, lines.nlines() > 0 ? table.Get() : nullptr,
                 title_over(color_title(lines.arrays.front()), range, colors), file);
}

}  // namespace app
