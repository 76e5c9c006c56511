// Charts of curves, drawn off screen.
#ifndef ISOFIELD_APP_CHART_HPP
#define ISOFIELD_APP_CHART_HPP

#include <span>
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
void draw_chart(const std::string &title, std::span<const float> positions, const std::vector<Curve> &curves,
                const PictureStyle &style, OutputFile &file, Console &console);

}  // namespace app
#endif
