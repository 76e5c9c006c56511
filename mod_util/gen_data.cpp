// Node data generated from the nodes' coordinates.
#include <cstddef>

#include "types.hpp"

namespace {

using namespace isofield::detail;

float polynomial(const float (&c)[3], const float *at) {
    const float x = at[0];
    return c[0] + c[1] * x + c[2] * x * x;
}

float polynomial(const float (&c)[6], const float *at) {
    const float x = at[0], y = at[1];
    return c[0] + c[1] * x + c[2] * y + c[3] * x * y + c[4] * x * x + c[5] * y * y;
}

float polynomial(const float (&c)[10], const float *at) {
    const float x = at[0], y = at[1], z = at[2];
    return c[0] + c[1] * x + c[2] * y + c[3] * z + c[4] * x * y + c[5] * x * z + c[6] * y * z + c[7] * x * x +
           c[8] * y * y + c[9] * z * z;
}

// The elements that are filled.
template <class T>
struct Target {
    int n;
    std::ptrdiff_t stride;
    T *out;
};

template <class T>
void fill(const Target<T> &target, T value) {
    for (std::ptrdiff_t i = 0; i < target.n; ++i) target.out[i * target.stride] = value;
}

template <int kCount, class T>
void fill(const Target<T> &target, int nspace, const float *coords, const float *coef) {
    float c[kCount];
    for (int k = 0; k < kCount; ++k) c[k] = coef[k];
    for (std::ptrdiff_t i = 0; i < target.n; ++i)
        target.out[i * target.stride] = truncated<T>(polynomial(c, coords + i * nspace));
}

template <class T>
int generate(int n, int stride, int comp, T *out, int nspace, const float *coords, const float *coef,
             bool constant, double value) {
    if (nspace < 1 || nspace > 3) return 1;
    const Target<T> target{n, stride, out + comp};
    if (constant) {
        fill(target, truncated<T>(value));
    } else if (nspace == 1) {
        fill<3>(target, nspace, coords, coef);
    } else if (nspace == 2) {
        fill<6>(target, nspace, coords, coef);
    } else {
        fill<10>(target, nspace, coords, coef);
    }
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILgen_data, generate,
               (int n, int stride, int comp, T *out, int nspace, const float *coords, const float *coef,
                int const_flag, double const_value),
               (n, stride, comp, out, nspace, coords, coef, const_flag != 0, const_value))

int UTILgen_data(int n, int stride, int comp, int dtype, void *out, int nspace, const float *coords,
                 const float *coef, int const_flag, double const_value) {
    return visit_or_report(dtype, "UTILgen_data", [&]<class T>(ElementTag<T>) {
        return generate(n, stride, comp, static_cast<T *>(out), nspace, coords, coef, const_flag != 0,
                        const_value);
    });
}
