// The operations of the tool. Each adds its subcommand to the command line, and hands over what to do when it
// is the one that was asked for.
#ifndef ISOFIELD_APP_OPERATIONS_HPP
#define ISOFIELD_APP_OPERATIONS_HPP

#include <CLI/App.hpp>
#include <functional>

#include "console.hpp"

namespace app {

using Action = std::function<void(Console &)>;

void add_band(CLI::App &tool, Action &chosen);
void add_calc(CLI::App &tool, Action &chosen);
void add_cell2node(CLI::App &tool, Action &chosen);
void add_clamp(CLI::App &tool, Action &chosen);
void add_completion(CLI::App &tool, Action &chosen);
void add_cut(CLI::App &tool, Action &chosen);
void add_delaunay(CLI::App &tool, Action &chosen);
void add_denull(CLI::App &tool, Action &chosen);
void add_derivatives(CLI::App &tool, Action &chosen);
void add_downsize(CLI::App &tool, Action &chosen);
void add_edges(CLI::App &tool, Action &chosen);
void add_faces(CLI::App &tool, Action &chosen);
void add_fit(CLI::App &tool, Action &chosen);
void add_glyph(CLI::App &tool, Action &chosen);
void add_info(CLI::App &tool, Action &chosen);
void add_integrate(CLI::App &tool, Action &chosen);
void add_iso(CLI::App &tool, Action &chosen);
void add_lines(CLI::App &tool, Action &chosen);
void add_loft(CLI::App &tool, Action &chosen);
void add_probe(CLI::App &tool, Action &chosen);
void add_resample(CLI::App &tool, Action &chosen);
void add_scatter(CLI::App &tool, Action &chosen);
void add_simplify(CLI::App &tool, Action &chosen);
void add_slice(CLI::App &tool, Action &chosen);
void add_smooth(CLI::App &tool, Action &chosen);
void add_stream(CLI::App &tool, Action &chosen);
void add_threshold(CLI::App &tool, Action &chosen);
void add_trace(CLI::App &tool, Action &chosen);

}  // namespace app
#endif
