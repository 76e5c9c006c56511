// Pictures of a field: in the colours of an array on its nodes, or of its mesh.
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

// What colours the picture of a dataset.
struct Shown {
    NamedArray array;
    Association association;
};
// Draws a dataset as draw_field does, lines where it has no other cells; without an array on nodes the skin of
// volumes and others whole, with the edges of the cells where these are large enough. Says so.
void draw_dataset(Dataset dataset, const std::optional<Shown> &shown, const OutputOptions &output,
                  OutputFile &file, Console &console);

// Whether the edges of so many cells, seen together, leave their colours to be seen.
bool shows_edges(double cells, const PictureStyle &style);

}  // namespace app
#endif
