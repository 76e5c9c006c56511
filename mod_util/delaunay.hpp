// Delaunay tessellations in two and three dimensions: points are inserted by ascending x, each into the
// cavity that the simplices leave whose circumspheres hold it.
#ifndef ISOFIELD_MOD_UTIL_DELAUNAY_HPP
#define ISOFIELD_MOD_UTIL_DELAUNAY_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numeric>

#include "cavity_faces.hpp"
#include "output_array.hpp"
#include "progress.hpp"
#include "radix_sort.hpp"
#include "simplex_pool.hpp"
#include "sphere_index.hpp"
#include "sphere_table.hpp"
#include "sweep_log.hpp"
#include "working_list.hpp"

namespace isofield::detail {

// The working coordinates: D doubles a vertex, the points first, then the vertices of the first simplex.
template <int D>
class Vertices {
  public:
    explicit Vertices(double *coords) : coords_(coords) {}

    double *operator[](int vertex) const { return coords_ + static_cast<std::ptrdiff_t>(vertex) * D; }

  private:
    double *coords_;
};

// What the two dimensions do each in its own way. circumsphere returns false for vertices in line (in a
// plane), without tolerance; escape is the move that brings a vertex out of line with the face before it.
bool circumsphere(const Vertices<2> &at, const Simplex<2> &simplex, Sphere<2> &sphere);
bool circumsphere(const Vertices<3> &at, const Simplex<3> &simplex, Sphere<3> &sphere);
std::array<double, 2> escape(const Vertices<2> &at, const Simplex<2> &simplex);
std::array<double, 3> escape(const Vertices<3> &at, const Simplex<3> &simplex);

template <int D>
class Tessellation {
  public:
    // `skip_text` has a %d for the place of a point in the working coordinates.
    Tessellation(int npoints, int poll_period, const char *skip_text)
        : npoints_(npoints), poll_period_(poll_period), skip_text_(skip_text) {}

    // Copies the points. False when there is no memory.
    bool create(const float *coords, int stride) {
        const auto nvertices = static_cast<std::size_t>(npoints_) + D + 1;
        coords_ = allocate_working<double>(nvertices * D);
        if (!coords_) return false;
        for (int i = 0; i < npoints_; ++i) {
            const float *const point = coords + static_cast<std::ptrdiff_t>(i) * stride;
            std::copy_n(point, D, vertices()[i]);
        }
        return true;
    }

    // Inserts all points into the simplex of these vertices. False when stopped or without memory.
    bool run(const double (&first)[D + 1][D]) {
        Simplex<D> super;
        for (int v = 0; v <= D; ++v) {
            super[static_cast<std::size_t>(v)] = npoints_ + v;
            std::copy_n(first[v], D, vertices()[npoints_ + v]);
        }
        Built built{super, {}};
        circumsphere(vertices(), super, built.sphere);
        return sort() && activate(built, order_of(0)) && sweep();
    }

    // Calls f(item) for every simplex between points, the active ones first and then those left behind, each
    // from the last to the first. False when there is no memory.
    template <class Function>
    bool each(Function &&f) const {
        const int nsteps = log_.now() + 1;
        // Per step how many it left behind, then where those stand in the list.
        const auto ends = allocate_cleared<int>(static_cast<std::size_t>(nsteps) + 2);
        WorkingList<Place> places, sorted;
        if (!ends || !places.reserve(pool_.size()) || !sorted.reserve(pool_.size())) return false;
        for (const Item &item : pool_.items()) {
            if (item.vertices[0] < 0) continue;
            const int left = log_.left_behind(item.sphere.centre[0], std::sqrt(item.sphere.r2),
                                              static_cast<int>(item.order >> kTurnBits));
            // Active ones come first, then the last that were left.
            const int group = left < 0 ? 0 : nsteps - left;
            places.push({&item, left < 0 ? -item.order : item.order, group});
            ++ends[group + 1];
        }
        std::partial_sum(ends.get(), ends.get() + nsteps + 2, ends.get());
        for (const Place &place : places) sorted[static_cast<std::size_t>(ends[place.group]++)] = place;
        const auto earlier = [](const Place &a, const Place &b) { return a.order < b.order; };
        for (int group = 0, from = 0; group <= nsteps; from = ends[group++])
            std::sort(sorted.data() + from, sorted.data() + ends[group], earlier);
        for (std::size_t i = 0; i < places.size(); ++i) {
            const Item &item = *sorted[i].item;
            if (std::all_of(item.vertices.begin(), item.vertices.end(), [&](int v) { return v < npoints_; }))
                f(item);
        }
        return true;
    }

    std::size_t size() const { return pool_.size(); }  // with those at the first simplex's vertices
    Vertices<D> vertices() const { return Vertices<D>(coords_.get()); }

  private:
    using Item = typename SimplexPool<D>::Item;
    using Name = typename SphereIndex<D>::Name;
    struct Place {
        const Item *item;
        std::int64_t order;
        int group;
    };
    struct Built {
        Simplex<D> vertices;
        Sphere<D> sphere;
    };

    static constexpr int kTurnBits = 28;
    static constexpr int kAttempts = 5;
    static constexpr int kMoves = 6;

    enum class Insertion { kDone, kDegenerate, kNoMemory };

    bool is_finite(int point) const {
        const double *const p = vertices()[point];
        return std::all_of(p, p + D, [](double x) { return std::isfinite(x); });
    }

    // The order of the points, and where they are.
    bool sort() {
        const Vertices<D> at = vertices();
        sorted_ = sort_by_float(npoints_, [=](int i) { return static_cast<float>(at[i][0]); });
        if (!sorted_) return false;
        double lower[D], upper[D];
        std::fill_n(lower, D, std::numeric_limits<double>::infinity());
        std::fill_n(upper, D, -std::numeric_limits<double>::infinity());
        for (int i = 0; i < npoints_; ++i) {
            if (!is_finite(i)) continue;
            for (int d = 0; d < D; ++d) {
                lower[d] = std::min(lower[d], at[i][d]);
                upper[d] = std::max(upper[d], at[i][d]);
            }
        }
        return index_.create(npoints_, lower, upper);
    }

    bool sweep() {
        const StatusRange range(0, 100);
        Poll poll(npoints_, poll_period_);
        for (int k = 0; k < npoints_; ++k) {
            if (poll.stop(k)) return false;
            const int point = sorted_[k];
            if (!is_finite(point)) continue;
            const double *const p = vertices()[point];
            if (k > 0 && std::equal(p, p + D, vertices()[sorted_[k - 1]])) continue;
            Insertion done = Insertion::kDegenerate;
            for (int attempt = 0; attempt < kAttempts && done == Insertion::kDegenerate; ++attempt)
                done = insert(point);
            if (done == Insertion::kNoMemory) return false;
            if (done == Insertion::kDegenerate) std::fprintf(stderr, skip_text_, D * point);
        }
        poll_status(100);
        return true;
    }

    std::int64_t order_of(std::size_t turn) const {
        return (std::int64_t{log_.now()} << kTurnBits) + static_cast<std::int64_t>(turn);
    }

    bool activate(const Built &built, std::int64_t order) {
        const int id = pool_.take();
        if (id < 0) return false;
        Item &item = pool_[id];
        item.sphere = built.sphere;
        item.order = order;
        item.vertices = built.vertices;
        return add_to_index(id);
    }

    bool is_current(Name name) const { return pool_[name.id].stamp == name.stamp; }
    bool add_to_index(int id) {
        const Item &item = pool_[id];
        return index_.add(item.sphere, {id, item.stamp}, [this](Name name) { return is_current(name); });
    }

    Insertion insert(int point) {
        if (!log_.step(vertices()[point][0]) || !find_bad(point)) return Insertion::kNoMemory;
        if (!faces_.start(bad_.size())) return Insertion::kNoMemory;
        for (const Bad &bad : bad_) faces_.add(pool_[bad.id].vertices, bad.order);

        built_.clear();
        for (const auto &left : faces_.take()) {
            Built built;
            std::copy(left.face.begin(), left.face.end(), built.vertices.begin());
            built.vertices[D] = point;
            if (!build(built)) return put_back_bad();
            if (!built_.push(built)) return Insertion::kNoMemory;
        }
        for (const Bad &bad : bad_) {
            if (!pool_.give_back(bad.id)) return Insertion::kNoMemory;
        }
        // The list of the new ones is turned round when it is put on that of the active ones.
        for (std::size_t i = 0; i < built_.size(); ++i) {
            if (!activate(built_[i], order_of(built_.size() - 1 - i))) return Insertion::kNoMemory;
        }
        return Insertion::kDone;
    }

    // The active simplices whose sphere holds the point. They leave the index.
    bool find_bad(int point) {
        bad_.clear();
        bool is_whole = true;
        index_.take_holding(vertices()[point], [&](Name name) {
            if (!is_current(name)) return;
            const Item &item = pool_[name.id];
            const int made = static_cast<int>(item.order >> kTurnBits);
            if (!log_.is_behind(item.sphere.centre[0], std::sqrt(item.sphere.r2), made))
                is_whole = is_whole && bad_.push({item.order, name.id});
        });
        return is_whole;
    }

    Insertion put_back_bad() {
        std::sort(bad_.begin(), bad_.end(), [](const Bad &a, const Bad &b) { return a.order < b.order; });
        for (std::size_t i = 0; i < bad_.size(); ++i) {
            Item &item = pool_[bad_[i].id];
            item.order = order_of(i);
            ++item.stamp;  // of what the index still has of it elsewhere
            if (!add_to_index(bad_[i].id)) return Insertion::kNoMemory;
        }
        return Insertion::kDegenerate;
    }

    // The circumsphere. Without one the last vertex is moved until there is one, and the whole cavity has to
    // be made anew: false.
    bool build(Built &built) const {
        if (circumsphere(vertices(), built.vertices, built.sphere)) return true;
        const std::array<double, D> move = escape(vertices(), built.vertices);
        double *const last = vertices()[built.vertices[D]];
        for (int moves = 0; moves < kMoves; ++moves) {
            for (std::size_t d = 0; d < D; ++d) last[d] += move[d];
            if (circumsphere(vertices(), built.vertices, built.sphere)) break;
        }
        return false;
    }

    struct Bad {
        std::int64_t order;
        int id;
    };

    int npoints_;
    int poll_period_;
    const char *skip_text_;
    Working<double> coords_;
    Working<int> sorted_;
    SimplexPool<D> pool_;
    SphereIndex<D> index_;
    SweepLog log_;
    CavityFaces<D> faces_;
    WorkingList<Bad> bad_;
    WorkingList<Built> built_;
};

}  // namespace isofield::detail
#endif
