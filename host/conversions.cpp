// Element types: sizes, gathers and conversions. Integers are reached by truncation towards zero; a value
// outside the type takes its nearest end, and NaN becomes 0.
#include <cmath>
#include <limits>
#include <type_traits>

#include "isofield_host.h"

namespace isofield::host {
namespace {

template <class T, class Source>
T convert(Source value) {
    if constexpr (std::is_floating_point_v<T> || std::is_same_v<T, Source>) {
        return static_cast<T>(value);
    } else {
        const double wide = value;
        if (std::isnan(wide)) return 0;
        if (wide <= std::numeric_limits<T>::min()) return std::numeric_limits<T>::min();
        if (wide >= std::numeric_limits<T>::max()) return std::numeric_limits<T>::max();
        return static_cast<T>(wide);
    }
}

// Calls f with a value of the element type of a code; another code does nothing.
template <class F>
void visit(int type, F f) {
    switch (type) {
        case 0:
            return f(static_cast<signed char>(0));
        case 1:
            return f(static_cast<unsigned char>(0));
        case 2:
            return f(static_cast<short>(0));
        case 3:
            return f(0);
        case 4:
            return f(0.0f);
        case 5:
            return f(0.0);
        default:
            return;
    }
}

template <class T>
void read_value(T *out, const void *value, int type) {
    *out = 0;
    visit(type, [&](auto element) { *out = convert<T>(*static_cast<const decltype(element) *>(value)); });
}

}  // namespace
}  // namespace isofield::host

extern "C" {

const int DTYPEtype_size[6] = {1, 1, 2, 4, 4, 8};

void DTYPEcvt_copy_array_list(int count, int target, int source, const void *from, const int *list,
                              void *to) {
    using namespace isofield::host;
    visit(source, [&](auto in) {
        visit(target, [&](auto out) {
            const auto *values = static_cast<const decltype(in) *>(from);
            auto *converted = static_cast<decltype(out) *>(to);
            for (int k = 0; k < count; ++k) converted[k] = convert<decltype(out)>(values[list[k]]);
        });
    });
}

void UTILtype_to_double(double *out, const void *value, int type) {
    isofield::host::read_value(out, value, type);
}

void UTILtype_to_float(float *out, const void *value, int type) {
    isofield::host::read_value(out, value, type);
}

void UTILdouble_to_type(void *to, double value, int type) {
    using namespace isofield::host;
    visit(type,
          [&](auto element) { *static_cast<decltype(element) *>(to) = convert<decltype(element)>(value); });
}

}  // extern "C"
