// Progress and interruption: a status range that closes with its scope, and polls that answer "stop?".
#ifndef ISOFIELD_MOD_UTIL_PROGRESS_HPP
#define ISOFIELD_MOD_UTIL_PROGRESS_HPP

#include <cstdint>

#include "isofield_host.h"

namespace isofield::detail {

class StatusRange {
  public:
    StatusRange(int lo, int hi) { OMpush_status_range(lo, hi); }
    ~StatusRange() { OMpop_status_range(); }
    StatusRange(const StatusRange &) = delete;
    StatusRange &operator=(const StatusRange &) = delete;
};

// What `done` of `total` comes to in whole percents, as ranges are set.
inline int whole_percent(std::int64_t done, int total) {
    return static_cast<int>(100 * done / total);
}

// Reports a percentage, of a stage that may have a name; true when the host asks to stop.
inline bool poll_status(int percent, const char *stage = nullptr) {
    int stop = 0;
    OMstatus_check(percent, stage, &stop);
    return stop != 0;
}

// What `done` of `total` comes to, in the rounding that all loops share; 100 of a total that is none.
inline int percent_of(int done, double total) {
    const float percent = static_cast<float>(done) * static_cast<float>(100.0 / total);
    return percent < 2147483648.0f ? static_cast<int>(percent) : 100;
}

// How an operation ends that may be interrupted, as its result.
enum class Outcome { kFailed = 0, kDone = 1, kInterrupted = -1 };

// Loops over cells poll every 257th cell, before the cell is worked on.
constexpr int kCellPollPeriod = 256;

// Where such a loop polls next, at `done`: the end of the block of cells that runs without a poll.
inline int next_poll(int done, int ncells) {
    const int block = done == 0 ? kCellPollPeriod : kCellPollPeriod + 1;
    return ncells - done > block ? done + block : ncells;
}

// Polls every period + 1 iterations of a loop.
class Poll {
  public:
    Poll(int total, int period, const char *stage = nullptr)
        : total_(total), period_(period), stage_(stage) {}

    bool stop(int done) {
        if (counter_ != period_) {
            ++counter_;
            return false;
        }
        counter_ = 0;
        return poll_status(percent_of(done, total_), stage_);
    }

  private:
    int total_;
    int period_;
    const char *stage_;
    int counter_ = 0;
};

// Polls a whole-grid loop at every count whose bits in `mask` are all set.
class MaskPoll {
  public:
    explicit MaskPoll(double total, int mask = 7, const char *stage = nullptr)
        : total_(total), mask_(mask), stage_(stage) {}

    bool stop(int done) const {
        return (done & mask_) == mask_ && poll_status(percent_of(done, total_), stage_);
    }

  private:
    double total_;
    int mask_;
    const char *stage_;
};

}  // namespace isofield::detail
#endif
