// Ctrl-C and its kin. Inside a PolledStage a signal asks the library to stop at its next poll; a second one,
// and any that comes elsewhere (the file readers, writers and the renderer cannot be stopped half way), ends
// the process on the spot. Either way the files registered here are removed and the child is ended.
#ifndef ISOFIELD_APP_INTERRUPT_HPP
#define ISOFIELD_APP_INTERRUPT_HPP

#include <sys/types.h>

#include <string>

namespace app {

void install_signal_handlers();

// 128 + the signal that came, or 128 + SIGINT.
int interrupted_exit_code();

class PolledStage {
  public:
    PolledStage();
    ~PolledStage();
    PolledStage(const PolledStage &) = delete;
    PolledStage &operator=(const PolledStage &) = delete;
};

// The slot of a file to remove; release_file gives it back. Throws UsageError on a path that is too long.
int register_file(const std::string &path);
void release_file(int slot);

void register_child(pid_t child);
void release_child();

// Told by the progress bar, so that a line half drawn is wiped.
void set_bar_shown(bool shown);

}  // namespace app
#endif
