// Structured connectivity is the library's own.
#include "isofield.h"

extern "C" int get_connect_struct(int ndim, const int *dims, int first, int end, int *out) {
    return UTILget_connect_struct(ndim, dims, first, end, out);
}
