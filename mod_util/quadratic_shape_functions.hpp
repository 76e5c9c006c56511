// Shape functions of the quadratic cell types, in the way of shape_functions.hpp.
#ifndef ISOFIELD_MOD_UTIL_QUADRATIC_SHAPE_FUNCTIONS_HPP
#define ISOFIELD_MOD_UTIL_QUADRATIC_SHAPE_FUNCTIONS_HPP

#include <algorithm>
#include <array>

#include "shape_functions.hpp"

namespace isofield::detail {

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
