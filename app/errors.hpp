// What ends a run early. main turns each into one line on standard error and an exit code.
#ifndef ISOFIELD_APP_ERRORS_HPP
#define ISOFIELD_APP_ERRORS_HPP

#include <stdexcept>

namespace app {

enum ExitCode { kSuccess = 0, kFailed = 1, kBadInput = 2 };

// The user asked for something that cannot be done; what() says what to do instead. Exit code 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The operation itself, or the writing of its result, failed. Exit code 1.
class OperationError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace app
#endif
