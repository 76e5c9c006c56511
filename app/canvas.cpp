#include "canvas.hpp"

#include <vtkImageShrink3D.h>
#include <vtkPNGWriter.h>
#include <vtkWindowToImageFilter.h>

#include <algorithm>
#include <fstream>

#include "errors.hpp"

namespace app {
namespace {

// By way of memory: on a failed write the encoder would print lines of its own.
void save(vtkRenderWindow *window, int oversize, const OutputFile &file) {
    vtkNew<vtkWindowToImageFilter> image;
    image->SetInput(window);
    image->ReadFrontBufferOff();
    image->ShouldRerenderOff();
    image->SetInputBufferTypeToRGB();
    vtkNew<vtkImageShrink3D> shrunk;
    shrunk->SetShrinkFactors(oversize, oversize, 1);
    shrunk->SetInputConnection(image->GetOutputPort());
    vtkNew<vtkPNGWriter> writer;
    writer->WriteToMemoryOn();
    writer->SetInputConnection(shrunk->GetOutputPort());
    writer->Write();
    vtkUnsignedCharArray *encoded = writer->GetResult();
    if (!encoded || encoded->GetNumberOfValues() == 0) {
        throw OperationError("cannot draw '" + file.name() + "': the picture came out empty");
    }
    std::ofstream out(file.temporary(), std::ios::binary);
    out.write(reinterpret_cast<const char *>(encoded->GetPointer(0)), encoded->GetNumberOfValues());
    out.close();
    if (!out) throw OperationError("cannot write '" + file.name() + "': the disk may be full");
}

}  // namespace

int font_size(const PictureStyle &style) {
    return std::max(8, std::min(style.height, style.width) / 55);
}

void set_text(vtkTextProperty *text, int size) {
    text->SetColor(kLineColor[0], kLineColor[1], kLineColor[2]);
    text->SetFontFamilyToArial();
    text->SetFontSize(size);
    text->SetShadow(0);
    text->SetItalic(0);
    text->SetBold(0);
}

Canvas::Canvas(const PictureStyle &style, Console &console, int oversize)
    : console_(console), oversize_(oversize) {
    console_.progress("drawing", 0);
    window_->SetOffScreenRendering(1);
    window_->SetMultiSamples(oversize == 1 ? 8 : 0);
    window_->SetSize(oversize * style.width, oversize * style.height);
    window_->AddRenderer(renderer_);
}

void Canvas::finish(OutputFile &file) {
    console_.progress("drawing", 30);
    window_->Render();
    console_.progress("drawing", 80);
    save(window_, oversize_, file);
    if (const std::string error = messages_.error(); !error.empty()) {
        throw OperationError("cannot draw '" + file.name() + "': " + error);
    }
    file.commit();
    console_.clear_bar();
}

}  // namespace app
