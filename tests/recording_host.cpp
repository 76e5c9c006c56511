#include "recording_host.hpp"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "isofield_host.h"

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void __real_free(void *block);
}

namespace {

bool recording = false;
Recording record;
// A plain table: a container would call back into the memory that is being watched.
std::array<void *, 4096> live = {};

bool fails() {
    return recording && record.allocations++ == record.fail_at;
}

void *watch(void *block) {
    if (recording && block) *std::find(live.begin(), live.end(), nullptr) = block;
    return block;
}

void forget(void *block) {
    const auto found = block ? std::find(live.begin(), live.end(), block) : live.end();
    if (found != live.end()) *found = nullptr;
}

void *reallocate(void *block, std::size_t size) {
    if (fails()) return nullptr;
    forget(block);
    return watch(__real_realloc(block, size));
}

}  // namespace

void start_recording(int fail_at, int interrupt_at) {
    record = Recording{};
    record.fail_at = fail_at;
    record.interrupt_at = interrupt_at;
    live = {};
    recording = true;
}

Recording stop_recording() {
    recording = false;
    return record;
}

std::size_t live_blocks() {
    return live.size() - static_cast<std::size_t>(std::count(live.begin(), live.end(), nullptr));
}

extern "C" {

void *__wrap_malloc(std::size_t size) {
    return fails() ? nullptr : watch(__real_malloc(size));
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : watch(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, std::size_t size) {
    return reallocate(block, size);
}

void __wrap_free(void *block) {
    forget(block);
    __real_free(block);
}

// Exact sizes, so that the sanitizers see every overrun.
void *ARRalloc_f(void *, int type, int count, void *, const char *, int) {
    return fails() ? nullptr
                   : watch(__real_malloc(static_cast<std::size_t>(count) *
                                         static_cast<std::size_t>(DTYPEtype_size[type])));
}

void *ARRrealloc_f(void *block, int type, int count, void *, const char *, int) {
    return reallocate(block,
                      static_cast<std::size_t>(count) * static_cast<std::size_t>(DTYPEtype_size[type]));
}

void ARRfree_f(void *block, const char *, int) {
    __wrap_free(block);
}

void ERRerror(const char *module, int, int, const char *text, ...) {
    const bool was_recording = std::exchange(recording, false);
    char line[256];
    va_list words;
    va_start(words, text);
    std::vsnprintf(line, sizeof line, text, words);
    va_end(words);
    record.reports.push_back(std::string(module) + ": " + line);
    recording = was_recording;
}

void ERRout_of_memory(const char *text) {
    ++record.out_of_memory;
    ERRerror("out of memory", 1, 2, text);
}

void OMpush_status_range(int lo, int hi) {
    const bool was_recording = std::exchange(recording, false);
    record.ranges.push_back({lo, hi});
    recording = was_recording;
    ++record.open_ranges;
}

void OMpop_status_range() {
    --record.open_ranges;
}

int OMstatus_check(int percent, const char *stage, int *interrupt) {
    const bool was_recording = std::exchange(recording, false);
    record.percents.push_back(percent);
    record.stages.push_back(stage ? stage : "");
    recording = was_recording;
    *interrupt = record.polls++ == record.interrupt_at;
    return 1;
}

}  // extern "C"
