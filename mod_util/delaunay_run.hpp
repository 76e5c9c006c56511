// One tessellation from its points to its connectivity, in two or three dimensions.
#ifndef ISOFIELD_MOD_UTIL_DELAUNAY_RUN_HPP
#define ISOFIELD_MOD_UTIL_DELAUNAY_RUN_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "delaunay.hpp"
#include "output_array.hpp"
#include "sphere_check.hpp"

namespace isofield::detail {

struct TessellationTraits {
    const char *unit;
    const char *skip_text;     // with a %d
    const char *simplex_text;  // what a simplex is called
    int poll_period;
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

// Copies the simplices between points to `conn`, and verifies each if there is a verification. False without
// memory.
template <int D>
bool take_simplices(const Tessellation<D> &tessellation, std::optional<Verification<D>> &verification,
                    int *count, int *conn) {
    bool is_verified = true;
    int *end = conn;
    const bool is_copied = tessellation.each([&](const auto &item) {
        end = std::copy(item.vertices.begin(), item.vertices.end(), end);
        ++*count;
        if (verification) is_verified = is_verified && verification->look(item.vertices, item.sphere);
    });
    if (!is_copied || !is_verified) return false;
    if (verification) verification->finish();
    return true;
}

template <int D>
int tessellate(int npoints, const float *coords, int stride, const double (&super)[D + 1][D],
               const TessellationTraits &traits, int check, int *count, int **conn) {
    *count = 0;
    *conn = nullptr;
    npoints = std::max(npoints, 0);
    Tessellation<D> tessellation(npoints, traits.poll_period, traits.skip_text);
    if (!tessellation.create(coords, stride) || !tessellation.run(super)) return 0;
    if (tessellation.size() == 0) return 1;
    int *const made =
        allocate_array<int>(static_cast<std::int64_t>(tessellation.size()) * (D + 1), traits.unit);
    if (!made) return 0;
    std::optional<Verification<D>> verification;
    if (check) verification.emplace(npoints, tessellation.vertices(), traits.simplex_text);
    if (!take_simplices(tessellation, verification, count, made)) {
        ARRfree_f(made, traits.unit, __LINE__);
        *count = 0;
        return 0;
    }
    *conn = made;
    return 1;
}

}  // namespace isofield::detail
#endif
