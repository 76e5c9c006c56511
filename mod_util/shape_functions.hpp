// Shape functions of the linear cell types and their derivatives: the one definition of each type's
// parametric space, as types that templates take. Factors are rounded to float, products run in double,
// results are rounded to float. See isofield.h for the positions of the nodes.
#ifndef ISOFIELD_MOD_UTIL_SHAPE_FUNCTIONS_HPP
#define ISOFIELD_MOD_UTIL_SHAPE_FUNCTIONS_HPP

#include <algorithm>

namespace isofield::detail {

constexpr float rounded(double value) {
    return static_cast<float>(value);
}

// The product of float factors, in double.
template <class... Factors>
constexpr float product(float first, Factors... rest) {
    double value = first;
    ((value *= static_cast<double>(rest)), ...);
    return rounded(value);
}

// Each type has weights(uvw, out), kNodes floats, and derivs(uvw, out), kDim rows of kNodes.

struct Line1 {
    static constexpr int kNodes = 2, kDim = 1;

    static constexpr void weights(const float *p, float *n) {
        n[0] = product(1 - p[0], 0.5f);
        n[1] = product(p[0] + 1, 0.5f);
    }
    static constexpr void derivs(const float *, float *d) {
        d[0] = -0.5f;
        d[1] = 0.5f;
    }
};

struct Tri1 {
    static constexpr int kNodes = 3, kDim = 2;

    static constexpr void weights(const float *p, float *n) {
        n[0] = p[0];
        n[1] = p[1];
        n[2] = rounded(1.0 - p[0] - p[1]);
    }
    static constexpr void derivs(const float *, float *d) {
        constexpr float kDerivs[] = {1, 0, -1, 0, 1, -1};
        std::copy_n(kDerivs, 6, d);
    }
};

struct Quad1 {
    static constexpr int kNodes = 4, kDim = 2;

    static constexpr void weights(const float *p, float *n) {
        const float um = 1 - p[0], up = 1 + p[0], vm = 1 - p[1], vp = 1 + p[1];
        n[0] = product(um, vm, 0.25f);
        n[1] = product(up, vm, 0.25f);
        n[2] = product(up, vp, 0.25f);
        n[3] = product(um, vp, 0.25f);
    }
    static constexpr void derivs(const float *p, float *d) {
        const float um = (1 - p[0]) / 4, up = (1 + p[0]) / 4, vm = (1 - p[1]) / 4, vp = (1 + p[1]) / 4;
        const float rows[] = {-vm, vm, vp, -vp, -um, -up, up, um};
        std::copy_n(rows, 8, d);
    }
};

struct Tet1 {
    static constexpr int kNodes = 4, kDim = 3;

    static constexpr void weights(const float *p, float *n) {
        n[0] = p[0];
        n[1] = p[1];
        n[2] = p[2];
        n[3] = rounded(1.0 - p[0] - p[1] - p[2]);
    }
    static constexpr void derivs(const float *, float *d) {
        constexpr float kDerivs[] = {1, 0, 0, -1, 0, 1, 0, -1, 0, 0, 1, -1};
        std::copy_n(kDerivs, 12, d);
    }
};

struct Pent1 {
    static constexpr int kNodes = 6, kDim = 3;

    static constexpr void weights(const float *p, float *n) {
        const float part[] = {p[0] / 2, p[1] / 2, rounded(1.0 - p[0] - p[1]) / 2};
        for (int i = 0; i < 3; ++i) {
            n[i] = product(part[i], 1 + p[2]);
            n[3 + i] = product(part[i], 1 - p[2]);
        }
    }
    static constexpr void derivs(const float *p, float *d) {
        const float u = p[0] / 2, v = p[1] / 2, t = rounded(1.0 - p[0] - p[1]) / 2;
        const float wp = (1 + p[2]) / 2, wm = (1 - p[2]) / 2;
        const float rows[] = {wp, 0, -wp, wm, 0, -wm, 0, wp, -wp, 0, wm, -wm, u, v, t, -u, -v, -t};
        std::copy_n(rows, 18, d);
    }
};

struct Pyr1 {
    static constexpr int kNodes = 5, kDim = 3;

    static constexpr void weights(const float *p, float *n) {
        const float um = 1 - p[0], up = 1 + p[0], vm = 1 - p[1], vp = 1 + p[1], w = (1 - p[2]) / 8;
        n[0] = product(1 + p[2], 0.5f);
        n[1] = product(up, vp, w);
        n[2] = product(um, vp, w);
        n[3] = product(um, vm, w);
        n[4] = product(up, vm, w);
    }
    static constexpr void derivs(const float *p, float *d) {
        const float um = 1 - p[0], up = 1 + p[0], vm = 1 - p[1], vp = 1 + p[1], w = (1 - p[2]) / 8;
        const float rows[] = {0,
                              product(vp, w),
                              product(-vp, w),
                              product(-vm, w),
                              product(vm, w),
                              0,
                              product(up, w),
                              product(um, w),
                              product(-um, w),
                              product(-up, w),
                              0.5f,
                              product(up, vp, -0.125f),
                              product(um, vp, -0.125f),
                              product(um, vm, -0.125f),
                              product(up, vm, -0.125f)};
        std::copy_n(rows, 15, d);
    }
};

struct Hex1 {
    static constexpr int kNodes = 8, kDim = 3;

    static constexpr void weights(const float *p, float *n) {
        const float a = (1 + p[0]) / 8, b = (1 - p[0]) / 8;
        const float vm = 1 - p[1], vp = 1 + p[1], wm = 1 - p[2], wp = 1 + p[2];
        n[0] = product(b, vp, wp);
        n[1] = product(b, vm, wp);
        n[2] = product(a, vm, wp);
        n[3] = product(a, vp, wp);
        n[4] = product(b, vp, wm);
        n[5] = product(b, vm, wm);
        n[6] = product(a, vm, wm);
        n[7] = product(a, vp, wm);
    }
    // A product of two floats and an eighth is the same in float as in double.
    static constexpr void derivs(const float *p, float *d) {
        const float um = (1 - p[0]) / 8, up = (1 + p[0]) / 8, v8m = (1 - p[1]) / 8, v8p = (1 + p[1]) / 8;
        const float vm = 1 - p[1], vp = 1 + p[1], wm = 1 - p[2], wp = 1 + p[2];
        const float along_u[] = {v8p * wp, v8m * wp, v8p * wm, v8m * wm};
        const float along_v[] = {um * wp, up * wp, um * wm, up * wm};
        const float along_w[] = {um * vp, um * vm, up * vm, up * vp};
        const float rows[] = {-along_u[0], -along_u[1], along_u[1],  along_u[0],  -along_u[2], -along_u[3],
                              along_u[3],  along_u[2],  along_v[0],  -along_v[0], -along_v[1], along_v[1],
                              along_v[2],  -along_v[2], -along_v[3], along_v[3],  along_w[0],  along_w[1],
                              along_w[2],  along_w[3],  -along_w[0], -along_w[1], -along_w[2], -along_w[3]};
        std::copy_n(rows, 24, d);
    }
};

}  // namespace isofield::detail
#endif
