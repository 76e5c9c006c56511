// One tessellation from its points to its connectivity, in two or three dimensions.
#ifndef ISOFIELD_MOD_UTIL_DELAUNAY_RUN_HPP
#define ISOFIELD_MOD_UTIL_DELAUNAY_RUN_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "delaunay.hpp"
#include "output_array.hpp"
#include "sphere_check.hpp"

namespace isofield::detail {

struct TessellationTexts {
    const char *unit;
    const char *skip;     // with a %d
    const char *simplex;  // what a simplex is called
};

// Tells which points are inside circumspheres, and how often, on standard error.
template <int D>
class Verification {
  public:
    Verification(int npoints, Vertices<D> vertices, const char *name) : name_(name) {
        is_whole_ = points_.create(npoints, vertices[0]);
    }

    // False when there is no memory.
    bool look(const Simplex<D> &simplex, const Sphere<D> &sphere) {
        const WorkingList<int> *inside = nullptr;
        is_whole_ = is_whole_ && points_.find(sphere, inside);
        if (!is_whole_) return false;
        for (const int point : *inside) {
            if (std::find(simplex.begin(), simplex.end(), point) != simplex.end()) continue;
            ++count_;
            std::fprintf(stderr, "%s (", name_);
            for (std::size_t k = 0; k <= D; ++k) std::fprintf(stderr, k < D ? "%d " : "%d", simplex[k]);
            std::fprintf(stderr, ") includes point %d  r=%f d=%f\n", point,
                         static_cast<double>(static_cast<float>(sphere.r2)),
                         static_cast<double>(static_cast<float>(points_.distance2(sphere, point))));
        }
        return true;
    }
    void finish() const { std::fprintf(stderr, "ucd_scat_to_tet: %d bad tetras found\n", count_); }

  private:
    const char *name_;
    SphereCheck<D> points_;
    bool is_whole_ = false;
    int count_ = 0;
};

// Copies the simplices between points to `conn`, and looks at each if told to. False without memory.
template <int D>
bool take_simplices(const Tessellation<D> &tessellation, Verification<D> *verification, int *count,
                    int *conn) {
    bool is_whole = true;
    int *end = conn;
    is_whole = tessellation.each([&](const auto &item) {
        end = std::copy(item.vertices.begin(), item.vertices.end(), end);
        ++*count;
        if (verification) is_whole = is_whole && verification->look(item.vertices, item.sphere);
    }) && is_whole;
    if (is_whole && verification) verification->finish();
    return is_whole;
}

template <int D>
int tessellate(int npoints, const float *coords, int stride, const double (&super)[D + 1][D], int poll_period,
               const TessellationTexts &texts, int check, int *count, int **conn) {
    *count = 0;
    *conn = nullptr;
    npoints = std::max(npoints, 0);
    Tessellation<D> tessellation(npoints, poll_period, texts.skip);
    if (!tessellation.create(coords, stride) || !tessellation.run(super)) return 0;
    if (tessellation.size() == 0) return 1;
    const std::int64_t room = static_cast<std::int64_t>(tessellation.size()) * (D + 1);
    if (room > std::numeric_limits<int>::max()) return 0;
    int *const made = static_cast<int *>(
        ARRalloc_f(nullptr, kTypeCode<int>, static_cast<int>(room), nullptr, texts.unit, __LINE__));
    if (!made) return 0;
    bool is_whole;
    if (check) {
        Verification<D> verification(npoints, tessellation.vertices(), texts.simplex);
        is_whole = take_simplices(tessellation, &verification, count, made);
    } else {
        is_whole = take_simplices<D>(tessellation, nullptr, count, made);
    }
    if (!is_whole) {
        ARRfree_f(made, texts.unit, __LINE__);
        *count = 0;
        return 0;
    }
    *conn = made;
    return 1;
}

}  // namespace isofield::detail
#endif
