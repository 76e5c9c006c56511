// Charts of curves, drawn off screen.
#ifndef ISOFIELD_APP_CHART_HPP
#define ISOFIELD_APP_CHART_HPP

#include <string>
#include <vector>

#include "console.hpp"
#include "output_file.hpp"
#include "render.hpp"

namespace app {

struct Curve {
    std::string title;
    std::vector<float> values;  // NaN leaves a gap
};

// Draws each curve in a panel of its own, over common positions, and commits `file`. Beyond what a picture
// holds curves are left out, which a note tells. Throws as draw_surface.
void draw_chart(const std::string &title, const std::vector<float> &positions,
                const std::vector<Curve> &curves, const PictureStyle &style, OutputFile &file,
                Console &console);

// Points, and a curve through them.
struct Plot {
    std::string x_title, y_title;
    std::vector<double> x, y;  // finite
    std::vector<double> curve_x, curve_y;
};

// Draws the plot in one panel, and commits `file`. Throws as draw_surface.
void draw_plot(const Plot &plot, const PictureStyle &style, OutputFile &file, Console &console);

}  // namespace app
#endif
