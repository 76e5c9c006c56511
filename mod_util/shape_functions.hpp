// Shape functions of the 13 cell types and their derivatives: the one definition of each type's parametric
// space, as types that templates take. Factors are rounded to float, products run in double, results are
// rounded to float. See isofield.h for the positions of the nodes.
#ifndef ISOFIELD_MOD_UTIL_SHAPE_FUNCTIONS_HPP
#define ISOFIELD_MOD_UTIL_SHAPE_FUNCTIONS_HPP

#include <algorithm>
#include <array>

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

struct Line2 {
    static constexpr int kNodes = 3, kDim = 1;

    static constexpr void weights(const float *p, float *n) {
        const float u = p[0];
        n[0] = product(u, -0.5f, 1 - u);
        n[1] = product(u, 0.5f, u + 1);
        n[2] = rounded(1 - double{u} * u);
    }
    static constexpr void derivs(const float *p, float *d) {
        d[0] = p[0] - 0.5f;
        d[1] = p[0] + 0.5f;
        d[2] = p[0] * -2;
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

struct Tri2 {
    static constexpr int kNodes = 6, kDim = 2;

    static constexpr void weights(const float *p, float *n) {
        const float u = p[0], v = p[1], t = rounded(1.0 - u - v);
        n[0] = product(u, 2 * u - 1);
        n[1] = product(v, 2 * v - 1);
        n[2] = product(t, 2 * t - 1);
        n[3] = product(2 * u, 2 * v);
        n[4] = product(2 * v, 2 * t);
        n[5] = product(2 * t, 2 * u);
    }
    static constexpr void derivs(const float *p, float *d) {
        const float u = p[0], v = p[1], t = rounded(1.0 - u - v);
        const float rows[] = {4 * u - 1, 0,         1 - 4 * t, 4 * v, -4 * v,      4 * (t - u),
                              0,         4 * v - 1, 1 - 4 * t, 4 * u, 4 * (t - v), -4 * u};
        std::copy_n(rows, 12, d);
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

struct Quad2 {
    static constexpr int kNodes = 8, kDim = 2;

    static constexpr void weights(const float *p, float *n) {
        const double u = p[0], v = p[1];
        const float um = rounded(1 - u), up = rounded(1 + u), vm = rounded(1 - v), vp = rounded(1 + v);
        const float uu = rounded(1 - u * u), vv = rounded(1 - v * v);
        n[0] = product(um, vm, rounded(1 + u + v), -0.25f);
        n[1] = product(up, vm, rounded(1 - u + v), -0.25f);
        n[2] = product(up, vp, rounded(1 - u - v), -0.25f);
        n[3] = product(um, vp, rounded(1 + u - v), -0.25f);
        n[4] = product(uu, vm, 0.5f);
        n[5] = product(up, vv, 0.5f);
        n[6] = product(uu, vp, 0.5f);
        n[7] = product(um, vv, 0.5f);
    }
    static constexpr void derivs(const float *p, float *d) {
        const double u = p[0], v = p[1];
        const float um = rounded(1 - u), up = rounded(1 + u), vm = rounded(1 - v), vp = rounded(1 + v);
        const float uu = rounded(1 - u * u) / 2, vv = rounded(1 - v * v) / 2;
        const float rows[] = {product(vm, rounded(2 * u + v), 0.25f),
                              product(vm, rounded(2 * u - v), 0.25f),
                              product(vp, rounded(2 * u + v), 0.25f),
                              product(vp, rounded(2 * u - v), 0.25f),
                              product(-p[0], vm),
                              vv,
                              product(-p[0], vp),
                              -vv,
                              product(um, rounded(2 * v + u), 0.25f),
                              product(up, rounded(2 * v - u), 0.25f),
                              product(up, rounded(2 * v + u), 0.25f),
                              product(um, rounded(2 * v - u), 0.25f),
                              -uu,
                              product(-p[1], up),
                              uu,
                              product(-p[1], um)};
        std::copy_n(rows, 16, d);
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

struct Tet2 {
    static constexpr int kNodes = 10, kDim = 3;

    static constexpr void weights(const float *p, float *n) {
        const float u = p[0], v = p[1], w = p[2], t = rounded(1.0 - u - v - w);
        n[0] = product(u, 2 * u - 1);
        n[1] = product(v, 2 * v - 1);
        n[2] = product(w, 2 * w - 1);
        n[3] = product(t, 2 * t - 1);
        n[4] = product(2 * u, 2 * v);
        n[5] = product(2 * w, 2 * u);
        n[6] = product(2 * u, 2 * t);
        n[7] = product(2 * v, 2 * w);
        n[8] = product(2 * w, 2 * t);
        n[9] = product(2 * v, 2 * t);
    }
    static constexpr void derivs(const float *p, float *d) {
        const float u = p[0], v = p[1], w = p[2], t = rounded(1.0 - u - v - w), rest = 1 - 4 * t;
        const float u4 = 4 * u, v4 = 4 * v, w4 = 4 * w;
        const float rows[] = {u4 - 1, 0,      0,      rest, v4, w4, 4 * (t - u), 0,  -w4,         -v4,
                              0,      v4 - 1, 0,      rest, u4, 0,  -u4,         w4, -w4,         4 * (t - v),
                              0,      0,      w4 - 1, rest, 0,  u4, -u4,         v4, 4 * (t - w), -v4};
        std::copy_n(rows, 30, d);
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

// The weight of node 7 is not the one that its derivatives are of: 2uv(1 + w) against 2vt(1 + w).
struct Pent2 {
    static constexpr int kNodes = 15, kDim = 3;

    static constexpr void weights(const float *p, float *n) {
        const double w = p[2];
        const float u = p[0], v = p[1], t = rounded(1.0 - u - v);
        const float wp = rounded(1 + w), wm = rounded(1 - w), ww = rounded(1 - w * w);
        const float part[] = {u, v, t};
        for (int i = 0; i < 3; ++i) {
            n[i] = product(part[i] / 2, wp, rounded(2.0 * part[i] - 2 + w));
            n[3 + i] = product(part[i] / 2, wm, rounded(2.0 * part[i] - 2 - w));
        }
        n[6] = product(2 * u, v, wp);
        n[7] = product(2 * v, u, wp);
        n[8] = product(2 * t, u, wp);
        n[9] = product(2 * u, v, wm);
        n[10] = product(2 * v, t, wm);
        n[11] = product(2 * t, u, wm);
        n[12] = product(v, ww);
        n[13] = product(u, ww);
        n[14] = product(t, ww);
    }
    static constexpr void derivs(const float *p, float *d) {
        const double w = p[2];
        const float u = p[0], v = p[1], t = rounded(1.0 - u - v);
        const float wp = rounded(1 + w), wm = rounded(1 - w), ww = rounded(1 - w * w);
        float *du = d, *dv = d + kNodes, *dw = d + 2 * kNodes;
        std::fill_n(d, 3 * kNodes, 0.0f);
        // Along each of u, v and t, which runs against both.
        const float part[] = {u, v, t};
        for (int i = 0; i < 3; ++i) {
            const float top = product(wp, rounded(4.0 * part[i] - 2 + w), 0.5f);
            const float bottom = product(wm, rounded(4.0 * part[i] - 2 - w), 0.5f);
            if (i != 1) du[i] = i == 2 ? -top : top;
            if (i != 1) du[3 + i] = i == 2 ? -bottom : bottom;
            if (i != 0) dv[i] = i == 2 ? -top : top;
            if (i != 0) dv[3 + i] = i == 2 ? -bottom : bottom;
            dw[i] = product(part[i] / 2, rounded(2.0 * part[i] - 1 + 2 * w));
            dw[3 + i] = product(part[i] / 2, rounded(1 - 2.0 * part[i] + 2 * w));
        }
        for (const int first : {6, 9}) {
            const float side = first == 6 ? wp : wm, sign = first == 6 ? 1.0f : -1.0f;
            du[first] = product(2 * v, side);
            du[first + 1] = -du[first];
            du[first + 2] = product(2 * side, t - u);
            dv[first] = product(2 * u, side);
            dv[first + 1] = product(2 * side, t - v);
            dv[first + 2] = -dv[first];
            dw[first] = product(2 * sign, u, v);
            dw[first + 1] = product(2 * sign, v, t);
            dw[first + 2] = product(2 * sign, t, u);
        }
        dv[12] = du[13] = ww;
        du[14] = dv[14] = -ww;
        dw[12] = product(-2 * v, p[2]);
        dw[13] = product(-2 * u, p[2]);
        dw[14] = product(-2 * t, p[2]);
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

struct Hex2 {
    static constexpr int kNodes = 20, kDim = 3;

    static constexpr void weights(const float *p, float *n) {
        const Factors f(p);
        for (int i = 0; i < kNodes; ++i) {
            const std::array<int, 3> &s = kSigns[i];
            if (i < 8) {
                n[i] = product(f.at(0, s[0]), f.at(1, s[1]), f.at(2, s[2]), 0.125f,
                               rounded(double{p[0]} * s[0] + double{p[1]} * s[1] + double{p[2]} * s[2] - 2));
            } else {
                n[i] = product(f.at(0, s[0]), f.at(1, s[1]), f.at(2, s[2]), 0.25f);
            }
        }
    }
    static constexpr void derivs(const float *p, float *d) {
        const Factors f(p);
        for (int i = 0; i < kNodes; ++i) {
            const std::array<int, 3> &s = kSigns[i];
            const double sum = double{p[0]} * s[0] + double{p[1]} * s[1] + double{p[2]} * s[2] - 1;
            for (int axis = 0; axis < 3; ++axis) {
                const int b = axis == 0 ? 1 : 0, c = axis == 2 ? 1 : 2;
                const float sign = static_cast<float>(s[axis]);
                // Corners have a fourth factor, whose derivative is taken together with the axis's own.
                const float last = i < 8          ? rounded(sum + double{p[axis]} * s[axis]) * 0.5f
                                   : s[axis] == 0 ? -2 * p[axis]
                                                  : 1;
                d[axis * kNodes + i] =
                    product(f.at(b, s[b]), f.at(c, s[c]), s[axis] == 0 ? 0.25f : sign * 0.25f, last);
            }
        }
    }

  private:
    // Position of each node, 0 on the axis along which it is a middle.
    static constexpr std::array<int, 3> kSigns[kNodes] = {
        {-1, 1, 1}, {-1, -1, 1}, {1, -1, 1}, {1, 1, 1},   {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1},
        {1, 1, -1}, {-1, 0, 1},  {0, -1, 1}, {1, 0, 1},   {0, 1, 1},   {-1, 0, -1},  {0, -1, -1},
        {1, 0, -1}, {0, 1, -1},  {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0},  {1, 1, 0}};

    // Per axis 1 - x, 1 - x * x and 1 + x, by the sign -1, 0 and 1.
    struct Factors {
        constexpr explicit Factors(const float *p) {
            for (int d = 0; d < 3; ++d) {
                factor[d][0] = 1 - p[d];
                factor[d][1] = rounded(1 - double{p[d]} * p[d]);
                factor[d][2] = 1 + p[d];
            }
        }
        constexpr float at(int axis, int sign) const { return factor[axis][sign + 1]; }

        float factor[3][3] = {};
    };
};

}  // namespace isofield::detail
#endif
