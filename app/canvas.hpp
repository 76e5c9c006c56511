// What pictures are drawn on, from a display to the file.
#ifndef ISOFIELD_APP_CANVAS_HPP
#define ISOFIELD_APP_CANVAS_HPP

#include <vtkNew.h>
#include <vtkRenderWindow.h>
#include <vtkRenderer.h>
#include <vtkTextProperty.h>

#include "console.hpp"
#include "display.hpp"
#include "output_file.hpp"
#include "render.hpp"
#include "vtk_support.hpp"

namespace app {

constexpr double kLineColor[3] = {0.25, 0.27, 0.30};

// Sizes follow the height of the picture, so that a large one is not a small one with tiny letters.
int font_size(const PictureStyle &style);
void set_text(vtkTextProperty *text, int size);

// VTK's messages are kept while it lives. Throws UsageError when there is no display to be had.
class Canvas {
  public:
    // Smooth by several samples a pixel, or with `oversize` above 1 by drawing so many times as large, which
    // what is drawn must be made for.
    Canvas(const PictureStyle &style, Console &console, int oversize = 1);

    vtkRenderer *renderer() { return renderer_; }

    // Draws what the renderer has, and commits `file`. Throws OperationError.
    void finish(OutputFile &file);

  private:
    Console &console_;
    int oversize_;
    Display display_;
    VtkMessages messages_;
    vtkNew<vtkRenderWindow> window_;
    vtkNew<vtkRenderer> renderer_;
};

}  // namespace app
#endif
