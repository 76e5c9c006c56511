// Three-component float arithmetic. Each operation is written in one fixed order: results are defined to the
// last bit.
#ifndef ISOFIELD_MOD_UTIL_VECTORS_HPP
#define ISOFIELD_MOD_UTIL_VECTORS_HPP

#include <cmath>

namespace isofield::detail {

struct Vec3 {
    float x = 0, y = 0, z = 0;

    friend constexpr Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
    friend constexpr Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
    friend constexpr Vec3 operator*(Vec3 a, float s) { return {a.x * s, a.y * s, a.z * s}; }
    friend constexpr Vec3 operator/(Vec3 a, float s) { return {a.x / s, a.y / s, a.z / s}; }
    friend constexpr bool operator==(Vec3 a, Vec3 b) = default;
};

constexpr Vec3 load_vector(const float *xyz) {
    return {xyz[0], xyz[1], xyz[2]};
}

constexpr float dot(Vec3 a, Vec3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

constexpr Vec3 cross(Vec3 a, Vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// The determinant of the matrix with rows a, b and c, by the rule of Sarrus; of numbers or of lanes.
template <class Number>
constexpr Number sarrus(const Number (&a)[3], const Number (&b)[3], const Number (&c)[3]) {
    return a[0] * b[1] * c[2] + a[1] * b[2] * c[0] + a[2] * b[0] * c[1] - a[2] * b[1] * c[0] -
           a[1] * b[0] * c[2] - a[0] * b[2] * c[1];
}

constexpr float determinant(Vec3 a, Vec3 b, Vec3 c) {
    return sarrus<float>({a.x, a.y, a.z}, {b.x, b.y, b.z}, {c.x, c.y, c.z});
}

// The place t of the way from a to b.
constexpr Vec3 lerp(Vec3 a, Vec3 b, float t) {
    return a + (b - a) * t;
}

inline float length(Vec3 a) {
    return static_cast<float>(std::sqrt(static_cast<double>(dot(a, a))));
}

}  // namespace isofield::detail
#endif
