// A display to draw on: the one there is, or a private one for the run.
#ifndef ISOFIELD_APP_DISPLAY_HPP
#define ISOFIELD_APP_DISPLAY_HPP

#include <sys/types.h>

namespace app {

class Display {
  public:
    // Leaves DISPLAY as it is when that can be reached; otherwise starts Xvfb and sets it. Throws UsageError
    // when neither can be had.
    Display();
    ~Display();  // ends the private display
    Display(const Display &) = delete;
    Display &operator=(const Display &) = delete;

  private:
    pid_t server_ = 0;
};

}  // namespace app
#endif
