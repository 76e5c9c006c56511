// The picture of a field in the colours of an array on its nodes.
#ifndef ISOFIELD_APP_FIELD_PICTURE_HPP
#define ISOFIELD_APP_FIELD_PICTURE_HPP

#include "extraction.hpp"
#include "options.hpp"
#include "output_file.hpp"

namespace app {

// Draws flat fields whole; of grids of three dimensions the planes through the middle, of volumes of cells
// what is left without the part towards the viewer. Commits `file`. What the field has attached gives way to
// the array. Throws as draw_part.
void draw_field(Field &field, const NamedArray &array, const PictureStyle &style, OutputFile &file,
                Console &console);

}  // namespace app
#endif
