// Small matrices: row-major, row vectors times matrix. Determinants and inverses are formed in double.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "isofield_host.h"

namespace isofield::host {
namespace {

void multiply(const float *a, const float *b, float *out, int m, int n, int p) {
    for (int row = 0; row < m; ++row) {
        for (int column = 0; column < p; ++column) {
            float sum = 0;
            for (int k = 0; k < n; ++k) sum += a[row * n + k] * b[k * p + column];
            out[row * p + column] = sum;
        }
    }
}

// Two doubles that are worked on at once: derivatives invert a matrix for every node of every cell.
using Pair = double __attribute__((vector_size(16)));

Pair load_pair(const float *from) {
    using Floats = float __attribute__((vector_size(8)));
    Floats floats;
    std::memcpy(&floats, from, sizeof floats);
    return __builtin_convertvector(floats, Pair);
}

// (b0 - a0, a1 - b1)
Pair subtract_crosswise(Pair a, Pair b) {
    return __builtin_shufflevector(b, a, 0, 3) - __builtin_shufflevector(a, b, 0, 3);
}

Pair swapped(Pair a) {
    return __builtin_shufflevector(a, a, 1, 0);
}

}  // namespace
}  // namespace isofield::host

extern "C" {

void MATvec_by_mat(const float *a, const float *b, float *out, int m, int n, int p) {
    constexpr std::size_t kLocal = 64;
    const std::size_t size = static_cast<std::size_t>(m) * static_cast<std::size_t>(p);
    float local[kLocal];
    std::vector<float> large;
    float *product = local;
    if (size > kLocal) {
        large.resize(size);
        product = large.data();
    }
    isofield::host::multiply(a, b, product, m, n, p);
    std::copy_n(product, size, out);
}

void MATvec3_mat4_multiply(float *v, const float *m) {
    const float x = v[0], y = v[1], z = v[2];
    for (int i = 0; i < 3; ++i) v[i] = x * m[i] + y * m[4 + i] + z * m[8 + i] + m[12 + i];
}

float MATmat2_inverse(const float *m, float *out) {
    const double a = m[0], b = m[1], c = m[2], d = m[3];
    const double determinant = a * d - b * c;
    const float result = static_cast<float>(determinant);
    if (result == 0.0f) return result;
    const double reciprocal = 1.0 / determinant;
    const double adjugate[] = {d, -b, -c, a};
    for (int i = 0; i < 4; ++i) out[i] = static_cast<float>(adjugate[i] * reciprocal);
    return result;
}

// The adjugate of the matrix (a b c, d e f, g h i) over its determinant. Pairs hold its rows 1 and 0, column
// by column.
float MATmat3_inverse(const float *m, float *out) {
    using namespace isofield::host;
    const Pair ab = load_pair(m), de = load_pair(m + 3), gh = load_pair(m + 6);
    const double c = m[2], f = m[5], i = m[8];
    const Pair column0 = subtract_crosswise(de * i, gh * f);  // f g - d i, e i - f h
    const Pair column1 = subtract_crosswise(gh * c, ab * i);  // a i - c g, c h - b i
    const Pair column2 = subtract_crosswise(ab * f, de * c);  // c d - a f, b f - c e
    const Pair de_hg = de * swapped(gh), ab_hg = ab * swapped(gh), ab_ed = ab * swapped(de);
    const double row2[] = {de_hg[0] - de_hg[1], ab_hg[1] - ab_hg[0], ab_ed[0] - ab_ed[1]};
    const double determinant = ab[0] * column0[1] + ab[1] * column0[0] + c * row2[0];
    const float result = static_cast<float>(determinant);
    if (result == 0.0f) return result;
    const double reciprocal = 1.0 / determinant;
    const Pair columns[] = {column0 * reciprocal, column1 * reciprocal, column2 * reciprocal};
    for (int k = 0; k < 3; ++k) {
        out[k] = static_cast<float>(columns[k][1]);
        out[3 + k] = static_cast<float>(columns[k][0]);
        out[6 + k] = static_cast<float>(row2[k] * reciprocal);
    }
    return result;
}

void MATmat3_transpose(const float *m, float *out) {
    if (m != out) std::copy_n(m, 9, out);
    std::swap(out[1], out[3]);
    std::swap(out[2], out[6]);
    std::swap(out[5], out[7]);
}

void MATmat4_translate(float *m, float x, float y, float z) {
    const float translation[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1};
    std::copy_n(translation, 16, m);
}

// Nothing here reads such a table.
void MATbuild_sqrt_table(void) {}

}  // extern "C"
