// How failures are told: through the host, or on standard error. Each function returns 0, the result of what
// failed.
#ifndef ISOFIELD_MOD_UTIL_REPORTS_HPP
#define ISOFIELD_MOD_UTIL_REPORTS_HPP

#include <cstdio>

#include "isofield_host.h"

namespace isofield::detail {

// `text` has no conversions.
inline int refuse(const char *module, const char *text) {
    constexpr int kLevel = 1, kSeverity = 2;
    ERRerror(module, kLevel, kSeverity, text);
    return 0;
}

inline int tell(const char *line) {
    std::fputs(line, stderr);
    return 0;
}

// Of operations that search, whichever method it is that they miss.
inline int tell_no_search() {
    return tell("UTILfind_cell: unable to find interp_cell function\n");
}

}  // namespace isofield::detail
#endif
