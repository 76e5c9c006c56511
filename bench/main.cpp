// isofield_bench [--list] [--filter PART] [--repeats N] [--csv FILE]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "harness.hpp"

int main(int argc, char **argv) {
    // One thread for everyone.
    setenv("VTK_SMP_BACKEND_IN_USE", "Sequential", 1);
    setenv("VTK_SMP_MAX_THREADS", "1", 1);
    bench::Options options;
    for (int i = 1; i < argc; ++i) {
        const bool has_value = i + 1 < argc;
        if (std::strcmp(argv[i], "--list") == 0) {
            options.list = true;
        } else if (std::strcmp(argv[i], "--filter") == 0 && has_value) {
            options.filter = argv[++i];
        } else if (std::strcmp(argv[i], "--repeats") == 0 && has_value) {
            options.repeats = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--csv") == 0 && has_value) {
            options.csv = argv[++i];
        } else {
            std::fprintf(stderr,
                         "usage: isofield_bench [--list] [--filter PART] [--repeats N] [--csv FILE]\n");
            return 2;
        }
    }
    std::vector<bench::Case> cases;
    for (const auto family :
         {isosurface_cases, cell_cases, isoline_cases, cut_cases, band_cases, probe_cases, integral_cases,
          derivative_cases, threshold_cases, streamline_cases, glyph_cases, trace_cases, slice_cases,
          scatter_cases, array_cases, fit_cases, triangulation_cases, boundary_cases, height_cases}) {
        for (bench::Case &each : family()) cases.push_back(std::move(each));
    }
    return bench::run(cases, options);
}
