// The output options that all operations share which make geometry.
#ifndef ISOFIELD_APP_OPTIONS_HPP
#define ISOFIELD_APP_OPTIONS_HPP

#include <CLI/App.hpp>
#include <string>

#include "render.hpp"

namespace app {

struct OutputOptions {
    std::string geometry;  // file to write
    std::string picture;   // empty: none
    PictureStyle style;
    bool quiet = false;
};

// `what` is written, under one of the extensions `formats`.
void add_output_options(CLI::App &command, OutputOptions &options, const std::string &what,
                        const std::string &formats);

}  // namespace app
#endif
