// Pictures of surfaces, drawn off screen.
#ifndef ISOFIELD_APP_RENDER_HPP
#define ISOFIELD_APP_RENDER_HPP

#include <vtkDataSet.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "console.hpp"
#include "output_file.hpp"
#include "part_output.hpp"
#include "surface_io.hpp"

namespace app {

struct Sheet;

// Where the camera stands, in degrees: around z from -y towards +x, and above the xy plane.
struct View {
    double azimuth = 40;
    double elevation = 25;
};

// iso, front (from -y), back, left (from -x), right, top, bottom.
std::optional<View> named_view(const std::string &name);
std::string view_names();

constexpr int kMinPictureSize = 64;
constexpr int kMaxPictureSize = 16384;

struct PictureStyle {
    int width = 1200;
    int height = 900;
    std::optional<View> view;  // none: on a flat field straight, on others the iso view
};

// The direction in which the viewer of a field stands.
std::array<double, 3> towards_viewer(const PictureStyle &style, const std::array<double, 6> &bounds);

// Throws UsageError unless `path` ends in .png.
void check_picture_name(const std::string &path);

// What a picture of a surface has beside it.
struct SurfaceLook {
    bool shaded = true;
    bool whole_field = false;                       // the box is that of the field
    std::optional<std::array<float, 3>> mark = {};  // a point that is marked
    std::string title = {};                         // of the colours; empty: that of the array
    bool edges = false;                             // the triangles' edges too, on lighter colours
};

// Draws the surface, coloured by its first array if it has one, in a box of axes, and commits `file`. An
// empty surface leaves the box `bounds` of the field (lower and upper per axis). Throws UsageError when there
// is no display to be had, OperationError when drawing or writing fails.
void draw_surface(const OutputSurface &surface, const std::array<double, 6> &bounds,
                  const PictureStyle &style, OutputFile &file, Console &console,
                  const SurfaceLook &look = {});

// Draws the outside of a part and the lines on it, in the same way: coloured by its bands, when there are
// any, else by its first node array, else by the first cell array that it has from the field. A flat one is
// not shaded. `edges`: those of the cells too, on lighter colours.
void draw_part(const OutputPart &part, const std::optional<Bands> &bands, const std::array<double, 6> &bounds,
               const PictureStyle &style, OutputFile &file, Console &console, bool edges = false);

// Draws lines, coloured by their first cell array or without one red, over the sheet that they lie on: a flat
// one is turned to the viewer and shaded as a relief of its values. `title` stands over the colours.
void draw_lines(const OutputSurface &lines, Sheet &sheet, const std::string &title,
                const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
                Console &console, const std::optional<std::array<float, 3>> &mark = {});

// Draws edges over the surface that they are of, in the colours of their kinds: the first cell array, numbers
// into `kinds`. Without kinds they are thin and dark.
void draw_edges(const OutputSurface &edges, Sheet &sheet, const std::vector<std::string> &kinds,
                const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
                Console &console);

// Draws a flat sheet as a relief of its values, coloured by them; `edges` as above.
void draw_relief(Sheet &sheet, const std::string &title, bool edges, const std::array<double, 6> &bounds,
                 const PictureStyle &style, OutputFile &file, Console &console);

// Draws triangles and lines dark over the sheet that they lie on, as on a map: the sheet is light, coloured
// by its values, its holes are grey. A flat one is not shaded. `title` stands over the colours.
void draw_map(const OutputSurface &surface, const Sheet &sheet, const std::string &title,
              const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
              Console &console);

// Draws lines, coloured by their first node array, as tubes when their radius is above 0. `outside`: null, or
// a mesh whose outside is drawn around them, to be seen through.
void draw_flow(const OutputSurface &lines, vtkDataSet *outside, double tube_radius,
               const std::array<double, 6> &bounds, const PictureStyle &style, OutputFile &file,
               Console &console);

}  // namespace app
#endif
