// The one dictionary of element types: code, C++ type, type of a scalar passed by value; `visit`, which turns
// a code into a type; and the stamps that turn a function template into its exported members. Nothing else
// switches on a type code.
#ifndef ISOFIELD_MOD_UTIL_TYPES_HPP
#define ISOFIELD_MOD_UTIL_TYPES_HPP

#include <cstdint>
#include <limits>
#include <type_traits>

#include "isofield.h"
#include "reports.hpp"

namespace isofield::detail {

template <class T>
struct ElementTag {
    using type = T;
};

// The code of an element type.
template <class T>
constexpr int kTypeCode = std::is_same_v<T, signed char>     ? 0
                          : std::is_same_v<T, unsigned char> ? 1
                          : std::is_same_v<T, short>         ? 2
                          : std::is_same_v<T, int>           ? 3
                          : std::is_same_v<T, float>         ? 4
                                                             : 5;

// How a scalar of element type T travels by value: int for the integer types, double for float and double.
template <class T>
using ByValue = std::conditional_t<std::is_integral_v<T>, int, double>;

// What an element is reckoned in together with floats.
template <class T>
using RealFor = std::conditional_t<std::is_same_v<T, double>, double, float>;

// Calls f(ElementTag<T>{}) for the type of a code, or unknown() for any other code.
template <class Function, class Unknown>
int visit(int dtype, Function &&f, Unknown &&unknown) {
    switch (dtype) {
        case 0:
            return f(ElementTag<signed char>{});
        case 1:
            return f(ElementTag<unsigned char>{});
        case 2:
            return f(ElementTag<short>{});
        case 3:
            return f(ElementTag<int>{});
        case 4:
            return f(ElementTag<float>{});
        case 5:
            return f(ElementTag<double>{});
        default:
            return unknown();
    }
}

inline bool is_type(int dtype) {
    return dtype >= 0 && dtype < 6;
}

// visit for the dispatchers that report an unknown code under a module word.
template <class Function>
int visit_or_report(int dtype, const char *module, Function &&f) {
    return visit(dtype, f, [module] { return refuse(module, "unknown data type"); });
}

// visit for what single cells do, which tells of an unknown code on standard error.
template <class Function>
int visit_or_tell(int dtype, Function &&f) {
    return visit(dtype, f, [] { return tell("interpolate: unknown data type\n"); });
}

// The result of dispatchers that hand an unknown code's caller their first argument back as an int, never 0.
inline int narrowed_to_int(const void *first_argument) {
    const int low = static_cast<int>(reinterpret_cast<std::intptr_t>(first_argument));
    return low != 0 ? low : 1;
}

// Reads a scalar that arrived by pointer; where its flag is 0 the pointer may be null and is not read.
template <class T>
T load_scalar(int flag, const void *value) {
    return flag ? *static_cast<const T *>(value) : T{};
}

// Brings a double to the by-value type of T: truncated towards zero to an int, saturating, NaN to 0; or
// narrowed to float. Without branches, for loops that vectorise.
template <class T>
ByValue<T> limit_of(double value) {
    if constexpr (std::is_integral_v<T>) {
        using Int = std::numeric_limits<int>;
        double held = value < Int::max() ? value : Int::max();
        held = held > Int::min() ? held : Int::min();
        return static_cast<int>(value == value ? held : 0.0);
    } else {
        return static_cast<T>(value);
    }
}

// Stores the result of double arithmetic in an element by way of an int, which wraps around in a type of 8 or
// 16 bits.
template <class T>
T wrapped(double value) {
    return static_cast<T>(limit_of<T>(value));
}

// Stores the result of float arithmetic in an element: integers truncate, saturating where T has no such
// value.
template <class T, class Real>
T truncated(Real value) {
    if constexpr (std::is_integral_v<T>) {
        using Limits = std::numeric_limits<T>;
        if (!(value > static_cast<Real>(Limits::min()))) return value == value ? Limits::min() : T{0};
        return value < static_cast<Real>(Limits::max()) ? static_cast<T>(value) : Limits::max();
    } else {
        return static_cast<T>(value);
    }
}

}  // namespace isofield::detail

// ISOFIELD_STAMP(UTILname, function, (parameters), (arguments)) exports UTILname_char ... UTILname_double,
// each of which returns function<T>(arguments). The parameters are written with T, the element type, and V,
// its by-value type. The namespaces only carry T and V: a C function is the same one in whatever namespace it
// is defined.
#define ISOFIELD_STAMP(NAME, FUNCTION, PARAMETERS, ARGUMENTS)                          \
    ISOFIELD_STAMP_MEMBER(NAME##_char, FUNCTION, PARAMETERS, ARGUMENTS, signed char)   \
    ISOFIELD_STAMP_MEMBER(NAME##_byte, FUNCTION, PARAMETERS, ARGUMENTS, unsigned char) \
    ISOFIELD_STAMP_MEMBER(NAME##_short, FUNCTION, PARAMETERS, ARGUMENTS, short)        \
    ISOFIELD_STAMP_MEMBER(NAME##_int, FUNCTION, PARAMETERS, ARGUMENTS, int)            \
    ISOFIELD_STAMP_MEMBER(NAME##_float, FUNCTION, PARAMETERS, ARGUMENTS, float)        \
    ISOFIELD_STAMP_MEMBER(NAME##_double, FUNCTION, PARAMETERS, ARGUMENTS, double)

#define ISOFIELD_STAMP_MEMBER(MEMBER, FUNCTION, PARAMETERS, ARGUMENTS, TYPE) \
    namespace stamp_##MEMBER {                                               \
        using T = TYPE;                                                      \
        using V [[maybe_unused]] = isofield::detail::ByValue<T>;             \
        extern "C" ISOFIELD_API int MEMBER PARAMETERS {                      \
            return FUNCTION<T> ARGUMENTS;                                    \
        }                                                                    \
    }

// The same over pairs of types: parameters are written with A, VA and B, VB; members are UTILname_A_B.
#define ISOFIELD_STAMP_PAIRS(NAME, FUNCTION, PARAMETERS, ARGUMENTS)                      \
    ISOFIELD_STAMP_PAIRS_OF(NAME##_char, FUNCTION, PARAMETERS, ARGUMENTS, signed char)   \
    ISOFIELD_STAMP_PAIRS_OF(NAME##_byte, FUNCTION, PARAMETERS, ARGUMENTS, unsigned char) \
    ISOFIELD_STAMP_PAIRS_OF(NAME##_short, FUNCTION, PARAMETERS, ARGUMENTS, short)        \
    ISOFIELD_STAMP_PAIRS_OF(NAME##_int, FUNCTION, PARAMETERS, ARGUMENTS, int)            \
    ISOFIELD_STAMP_PAIRS_OF(NAME##_float, FUNCTION, PARAMETERS, ARGUMENTS, float)        \
    ISOFIELD_STAMP_PAIRS_OF(NAME##_double, FUNCTION, PARAMETERS, ARGUMENTS, double)

#define ISOFIELD_STAMP_PAIRS_OF(NAME, FUNCTION, PARAMETERS, ARGUMENTS, TYPE)               \
    ISOFIELD_STAMP_PAIR(NAME##_char, FUNCTION, PARAMETERS, ARGUMENTS, TYPE, signed char)   \
    ISOFIELD_STAMP_PAIR(NAME##_byte, FUNCTION, PARAMETERS, ARGUMENTS, TYPE, unsigned char) \
    ISOFIELD_STAMP_PAIR(NAME##_short, FUNCTION, PARAMETERS, ARGUMENTS, TYPE, short)        \
    ISOFIELD_STAMP_PAIR(NAME##_int, FUNCTION, PARAMETERS, ARGUMENTS, TYPE, int)            \
    ISOFIELD_STAMP_PAIR(NAME##_float, FUNCTION, PARAMETERS, ARGUMENTS, TYPE, float)        \
    ISOFIELD_STAMP_PAIR(NAME##_double, FUNCTION, PARAMETERS, ARGUMENTS, TYPE, double)

#define ISOFIELD_STAMP_PAIR(MEMBER, FUNCTION, PARAMETERS, ARGUMENTS, TYPE_A, TYPE_B) \
    namespace stamp_##MEMBER {                                                       \
        using A = TYPE_A;                                                            \
        using VA = isofield::detail::ByValue<A>;                                     \
        using B = TYPE_B;                                                            \
        using VB = isofield::detail::ByValue<B>;                                     \
        extern "C" ISOFIELD_API int MEMBER PARAMETERS {                              \
            return FUNCTION<A, B> ARGUMENTS;                                         \
        }                                                                            \
    }

#endif
