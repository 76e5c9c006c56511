// The options that all operations which make a surface share.
#ifndef ISOFIELD_APP_OPTIONS_HPP
#define ISOFIELD_APP_OPTIONS_HPP

#include <CLI/App.hpp>
#include <string>

#include "render.hpp"

namespace app {

struct OutputOptions {
    std::string surface;  // file to write
    std::string picture;  // empty: none
    PictureStyle style;
    bool quiet = false;
};

void add_output_options(CLI::App &command, OutputOptions &options);

}  // namespace app
#endif
