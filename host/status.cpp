// Progress: each thread has a stack of nested percent ranges, of which the handler sees one percentage.
// Interruption: one word for the process.
#include <algorithm>
#include <atomic>
#include <mutex>

#include "isofield_default_host.h"

namespace isofield::host {
namespace {

constexpr int kMaxDepth = 64;

// Bounds of an open range, in percent of the whole.
struct Range {
    double lo = 0;
    double hi = 100;

    double at(int percent) const { return lo + (hi - lo) * std::clamp(percent, 0, 100) / 100; }
};

// Ranges deeper than the stack are counted alone, and progress in them is told in the deepest kept one.
struct RangeStack {
    Range ranges[kMaxDepth];
    int depth = 0;

    const Range &innermost() const { return ranges[std::min(depth, kMaxDepth - 1)]; }
};

struct ProgressHandler {
    IsohostProgressHandler call = nullptr;
    void *user = nullptr;
};

std::mutex handler_mutex;
ProgressHandler handler;
thread_local RangeStack stack;
thread_local IsohostWatch watch = {nullptr, nullptr};

std::atomic<int> interrupt_word{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler sets it");

ProgressHandler current_handler() {
    const std::lock_guard lock(handler_mutex);
    return handler;
}

// False when the thread's watch stops the operation.
bool tell(int percent, const char *stage) {
    if (watch.call) return watch.call(percent, stage, watch.user) != 0;
    const ProgressHandler current = current_handler();
    if (current.call) current.call(percent, stage, current.user);
    return true;
}

}  // namespace
}  // namespace isofield::host

extern "C" {

void OMpush_status_range(int lo, int hi) {
    using namespace isofield::host;
    const Range outer = stack.innermost();
    if (++stack.depth < kMaxDepth) stack.ranges[stack.depth] = {outer.at(lo), outer.at(hi)};
}

void OMpop_status_range(void) {
    using namespace isofield::host;
    if (stack.depth > 0) --stack.depth;
}

int OMstatus_check(int percent, const char *text, int *interrupt) {
    using namespace isofield::host;
    constexpr double kRounding = 1e-6;  // 100 in thirds comes out as 99.999...
    const bool go_on = tell(static_cast<int>(stack.innermost().at(percent) + kRounding), text);
    const int stop = !go_on || isohost_interrupted();
    if (interrupt) *interrupt = stop;
    return stop;
}

void isohost_set_progress_handler(IsohostProgressHandler handler, void *user) {
    const std::lock_guard lock(isofield::host::handler_mutex);
    isofield::host::handler = {handler, user};
}

IsohostWatch isohost_set_thread_watch(IsohostWatch watch) {
    const IsohostWatch old = isofield::host::watch;
    isofield::host::watch = watch;
    return old;
}

void isohost_interrupt(void) {
    isofield::host::interrupt_word.store(1);
}
void isohost_clear_interrupt(void) {
    isofield::host::interrupt_word.store(0);
}
int isohost_interrupted(void) {
    return isofield::host::interrupt_word.load();
}

}  // extern "C"
