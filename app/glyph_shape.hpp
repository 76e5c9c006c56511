// The shapes that glyphs have.
#ifndef ISOFIELD_APP_GLYPH_SHAPE_HPP
#define ISOFIELD_APP_GLYPH_SHAPE_HPP

#include <string>

#include "console.hpp"
#include "isofield.hpp"

namespace app {

// The names of known shapes and the extensions of files that hold others, for help.
std::string shape_names();
// "arrow|cone|sphere"
std::string shape_choices();

// A known shape, or the polygons of a file, as large as makes their longest side along an axis 1. Throws
// UsageError.
isofield::GlyphShape read_shape(const std::string &name, Console &console);

}  // namespace app
#endif
