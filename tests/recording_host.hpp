// A host for tests of failure: it counts what is alive, fails the n-th allocation, interrupts at the n-th
// poll and keeps every report. It stands in for the default host's arrays, reports and progress; the program
// that links it also wraps malloc, calloc, realloc and free (see CMakeLists.txt), so that working memory is
// watched as well.
#ifndef ISOFIELD_TESTS_RECORDING_HOST_HPP
#define ISOFIELD_TESTS_RECORDING_HOST_HPP

#include <string>
#include <utility>
#include <vector>

struct Recording {
    int fail_at = -1;       // this allocation fails, counted from 0
    int interrupt_at = -1;  // this poll asks to stop
    int allocations = 0;
    int polls = 0;
    int open_ranges = 0;
    int out_of_memory = 0;  // reports by ERRout_of_memory
    std::vector<int> percents;
    std::vector<std::string> stages;  // per poll, empty for none
    std::vector<std::pair<int, int>> ranges;
    std::vector<std::string> reports;  // "module: text"
};

// Starts a recording: memory from here on is watched.
void start_recording(int fail_at = -1, int interrupt_at = -1);

// Ends it and hands it over.
Recording stop_recording();

// Blocks made while recording and not freed yet, of the host's arrays and of malloc.
std::size_t live_blocks();

#endif
