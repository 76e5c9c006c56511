// Operations on typed arrays without a mesh: gather, extraction of components, clamping, masks, replacement
// and blends.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

#include "types.hpp"

namespace {

using namespace isofield::detail;

template <class T>
int copy_array_list(int veclen, const T *in, int n, const int *ids, T *out) {
    const std::size_t row = static_cast<std::size_t>(veclen);
    for (int k = 0; k < n; ++k) {
        std::memcpy(out + static_cast<std::size_t>(k) * row,
                    in + static_cast<std::ptrdiff_t>(ids[k]) * veclen, row * sizeof(T));
    }
    return 1;
}

template <class T>
int extract_scalar(int n, int veclen, const T *in, int comp, T *out) {
    in += comp;
    for (int i = 0; i < n; ++i, in += veclen) out[i] = *in;
    return 1;
}

template <class T>
int extract_vector(int n, const int *veclens, const T *const *arrays, int ncomp, const int *comps, T *out) {
    for (int c = 0; c < ncomp; ++c) {
        const T *in = arrays[c] + comps[c];
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i * ncomp + c] = in[i * veclens[c]];
    }
    return 1;
}

// Both limits, in the element's own type; a flag that is 0 switches its limit off.
template <class T>
struct Limits {
    bool has_min;
    T min;
    bool has_max;
    T max;
};

template <class T>
int clamp(int n, const T *in, int veclen, int comp, bool has_null, T null_value, const Limits<T> &limits,
          T *out) {
    in += comp;
    out += comp;
    for (int i = 0; i < n; ++i, in += veclen, out += veclen) {
        const T v = *in;
        if (has_null && v == null_value) {
            *out = null_value;
        } else if (limits.has_min && v < limits.min) {
            *out = limits.min;
        } else if (limits.has_max && v > limits.max) {
            *out = limits.max;
        } else {
            *out = v;
        }
    }
    return 1;
}

// The least value of T that passes `v >= level` (or `v > level`), compared in double. Comparing elements with
// it in their own type gives the same answer for every element, NaN included, without widening them.
template <class T>
struct LeastAbove {
    T value;
    bool exists;
};

template <class T>
LeastAbove<T> least_above(double level, bool inclusive) {
    using Range = std::numeric_limits<T>;
    if (level != level) return {T{}, false};
    if constexpr (std::is_integral_v<T>) {
        const double least = inclusive ? std::ceil(level) : std::floor(level) + 1.0;
        if (least > static_cast<double>(Range::max())) return {T{}, false};
        return {least < static_cast<double>(Range::min()) ? Range::min() : static_cast<T>(least), true};
    } else {
        constexpr T kInfinity = Range::infinity();
        if (!inclusive && level == static_cast<double>(kInfinity)) return {T{}, false};
        T least = static_cast<T>(level);  // rounded to a neighbour of the level
        const double widened = static_cast<double>(least);
        if (inclusive ? widened < level : widened <= level) {
            least = std::nextafter(least, kInfinity);
        } else if (widened > level) {
            const T below = std::nextafter(least, -kInfinity);
            if (inclusive ? static_cast<double>(below) >= level : static_cast<double>(below) > level)
                least = below;
        }
        return {least, true};
    }
}

template <class T>
int threshold_scalar(int n, const T *in, bool has_null, T null_value, bool inclusive, double level,
                     int low_byte, int high_byte, int null_byte, unsigned char *mask) {
    const auto low = static_cast<unsigned char>(low_byte);
    const auto high = static_cast<unsigned char>(high_byte);
    const auto null = static_cast<unsigned char>(null_byte);
    const LeastAbove<T> least = least_above<T>(level, inclusive);
    if (!least.exists) {
        std::fill_n(mask, std::max(n, 0), low);
    } else {
        for (int i = 0; i < n; ++i) mask[i] = in[i] >= least.value ? high : low;
    }
    if (has_null) {
        for (int i = 0; i < n; ++i) mask[i] = in[i] == null_value ? null : mask[i];
    }
    return 1;
}

template <class A, class B>
int threshold(int n, const A *in, int stride, int comp, bool has_null, A null_value, const Limits<A> &limits,
              const B *src, int out_veclen, B replacement, B *out) {
    in += comp;
    for (int i = 0; i < n; ++i, in += stride, src += out_veclen, out += out_veclen) {
        const A v = *in;
        if ((has_null && v == null_value) || (limits.has_min && v < limits.min) ||
            (limits.has_max && v > limits.max)) {
            std::fill_n(out, out_veclen, replacement);
        } else {
            std::copy_n(src, out_veclen, out);
        }
    }
    return 1;
}

// Integers are subtracted as ints, which wrap around.
template <class T>
double difference(T b, T a) {
    if constexpr (std::is_integral_v<T>) {
        return static_cast<int>(static_cast<unsigned>(b) - static_cast<unsigned>(a));
    } else {
        return b - a;
    }
}

template <class T>
int interpolate(int n, double weight, const T *a, const T *b, T *out) {
    for (int i = 0; i < n; ++i) out[i] = wrapped<T>(a[i] + weight * difference(b[i], a[i]));
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILcopy_array_list, copy_array_list,
               (const void *, int veclen, const T *in, int n, const int *ids, T *out),
               (veclen, in, n, ids, out))

int UTILcopy_array_list(const void *, int veclen, int dtype, const void *in, int n, const int *ids,
                        void *out) {
    return visit_or_report(dtype, "UTILcopy_array", [&]<class T>(ElementTag<T>) {
        return copy_array_list(veclen, static_cast<const T *>(in), n, ids, static_cast<T *>(out));
    });
}

ISOFIELD_STAMP(UTILextract_scalar, extract_scalar, (int n, int veclen, const T *in, int comp, T *out),
               (n, veclen, in, comp, out))

int UTILextract_scalar(int n, int veclen, const void *in, int dtype, int comp, void *out) {
    return visit_or_report(dtype, "UTILextract_scalar", [&]<class T>(ElementTag<T>) {
        return extract_scalar(n, veclen, static_cast<const T *>(in), comp, static_cast<T *>(out));
    });
}

ISOFIELD_STAMP(UTILextract_vector, extract_vector,
               (int n, const int *veclens, const T *const *arrays, int ncomp, const int *comps, T *out),
               (n, veclens, arrays, ncomp, comps, out))

int UTILextract_vector(int n, const int *veclens, const void *const *arrays, int dtype, int ncomp,
                       const int *comps, void *out) {
    return visit_or_report(dtype, "UTILextract_vector", [&]<class T>(ElementTag<T>) {
        return extract_vector(n, veclens, reinterpret_cast<const T *const *>(arrays), ncomp, comps,
                              static_cast<T *>(out));
    });
}

ISOFIELD_STAMP(UTILclamp, clamp,
               (int n, const T *in, int veclen, int comp, int null_flag, V null_value, int min_flag, V min,
                int max_flag, V max, T *out),
               (n, in, veclen, comp, null_flag != 0, static_cast<T>(null_value),
                {min_flag != 0, static_cast<T>(min), max_flag != 0, static_cast<T>(max)}, out))

int UTILclamp(int n, const void *in, int veclen, int comp, int dtype, int null_flag, const void *null_value,
              int min_flag, double min, int max_flag, double max, void *out) {
    return visit_or_report(dtype, "UTILclamp", [&]<class T>(ElementTag<T>) {
        return clamp<T>(n, static_cast<const T *>(in), veclen, comp, null_flag != 0,
                        load_scalar<T>(null_flag, null_value),
                        {min_flag != 0, wrapped<T>(min), max_flag != 0, wrapped<T>(max)},
                        static_cast<T *>(out));
    });
}

ISOFIELD_STAMP(UTILthreshold_scalar, threshold_scalar,
               (int n, const T *in, int null_flag, V null_value, int inclusive, double level, int low_byte,
                int high_byte, int null_byte, unsigned char *mask),
               (n, in, null_flag != 0, static_cast<T>(null_value), inclusive != 0, level, low_byte, high_byte,
                null_byte, mask))

int UTILthreshold_scalar(int n, const void *in, int dtype, int null_flag, const void *null_value,
                         int inclusive, double level, int low_byte, int high_byte, int null_byte,
                         unsigned char *mask) {
    return visit_or_report(dtype, "UTILthreshold", [&]<class T>(ElementTag<T>) {
        return threshold_scalar<T>(n, static_cast<const T *>(in), null_flag != 0,
                                   load_scalar<T>(null_flag, null_value), inclusive != 0, level, low_byte,
                                   high_byte, null_byte, mask);
    });
}

ISOFIELD_STAMP_PAIRS(UTILthreshold, threshold,
                     (int n, const A *in, int stride, int comp, int null_flag, VA null_value, int min_flag,
                      VA min, int max_flag, VA max, const B *src, int out_veclen, VB replacement, B *out),
                     (n, in, stride, comp, null_flag != 0, static_cast<A>(null_value),
                      {min_flag != 0, static_cast<A>(min), max_flag != 0, static_cast<A>(max)}, src,
                      out_veclen, static_cast<B>(replacement), out))

int UTILthreshold(int n, const void *in, int stride, int comp, int in_type, int null_flag,
                  const void *null_value, int min_flag, double min, int max_flag, double max, const void *src,
                  int out_veclen, int out_type, double replacement, void *out) {
    const char *const module = "UTILthreshold";
    return visit_or_report(in_type, module, [&]<class A>(ElementTag<A>) {
        return visit_or_report(out_type, module, [&]<class B>(ElementTag<B>) {
            return threshold<A, B>(n, static_cast<const A *>(in), stride, comp, null_flag != 0,
                                   load_scalar<A>(null_flag, null_value),
                                   {min_flag != 0, wrapped<A>(min), max_flag != 0, wrapped<A>(max)},
                                   static_cast<const B *>(src), out_veclen, wrapped<B>(replacement),
                                   static_cast<B *>(out));
        });
    });
}

ISOFIELD_STAMP(UTILinterpolate, interpolate, (int n, double weight, const T *a, const T *b, T *out),
               (n, weight, a, b, out))

int UTILinterpolate(int n, double weight, int dtype, const void *a, const void *b, void *out) {
    return visit_or_report(dtype, "UTILinterpolate", [&]<class T>(ElementTag<T>) {
        return interpolate(n, weight, static_cast<const T *>(a), static_cast<const T *>(b),
                           static_cast<T *>(out));
    });
}
