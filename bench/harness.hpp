// A table of named cases, each done by several contestants in one process on the same arrays. Times are taken
// fresh (the first run, on new pages) and warm (the least of the later ones).
#ifndef ISOFIELD_BENCH_HARNESS_HPP
#define ISOFIELD_BENCH_HARNESS_HPP

#include <functional>
#include <string>
#include <vector>

namespace bench {

// One contestant at one case. `run` does the work once and returns the size of its result (triangles, points
// ...), to be compared between contestants; `refresh` gives kept memory back before a fresh run and may be
// empty. `values`, where there are any, are of the last run; after the runs they are compared with ours.
struct Contestant {
    std::string name;
    std::function<long long()> run;
    std::function<void()> refresh = {};
    std::function<std::vector<float>()> values = {};
};

// A named case. `prepare` makes its arrays and contestants, the first of which is ours; all go when the case
// is done.
struct Case {
    std::string name;
    std::function<std::vector<Contestant>()> prepare;
};

struct Options {
    std::string filter;  // a part of the name of the cases to run
    int repeats = 5;     // warm runs of each contestant
    std::string csv;     // a file for the figures
    bool list = false;
};

// Runs the cases and prints a line per contestant with its times, the ratio to ours, and how far its values
// are from ours. Returns an exit code.
int run(const std::vector<Case> &cases, const Options &options);

}  // namespace bench

// The cases of each family of operations.
std::vector<bench::Case> isosurface_cases();
std::vector<bench::Case> cell_cases();
std::vector<bench::Case> isoline_cases();
std::vector<bench::Case> cut_cases();
std::vector<bench::Case> band_cases();
std::vector<bench::Case> probe_cases();
std::vector<bench::Case> integral_cases();
std::vector<bench::Case> derivative_cases();
std::vector<bench::Case> threshold_cases();
std::vector<bench::Case> streamline_cases();
std::vector<bench::Case> glyph_cases();
std::vector<bench::Case> trace_cases();
std::vector<bench::Case> slice_cases();
std::vector<bench::Case> scatter_cases();
std::vector<bench::Case> array_cases();
std::vector<bench::Case> fit_cases();
std::vector<bench::Case> triangulation_cases();
std::vector<bench::Case> boundary_cases();
std::vector<bench::Case> height_cases();

#endif
