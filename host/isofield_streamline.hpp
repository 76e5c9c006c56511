// Part of isofield.hpp: streamlines, which Locator::streamlines makes.
#ifndef ISOFIELD_STREAMLINE_HPP
#define ISOFIELD_STREAMLINE_HPP

#include <algorithm>
#include <array>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_part.hpp"

namespace isofield {

namespace front {

class StreamlineMaker;

}  // namespace front

// Why a line ended.
enum class LineEnd {
    kLeftMesh,
    kMissingData,  // in a cell with a missing node
    kStagnation,   // slower than min_speed, or turns back within a step, as it does around a sink
    kMaximum,      // of points
    kFailedStep    // a step swings far beyond its cell, or is NaN or infinite
};

enum class FlowDirection { kDownstream, kUpstream, kBoth };

// Settings of streamlines. NaN and infinite values always count as missing.
struct StreamlineOptions {
    std::optional<double> null_value = {};  // vectors of this first component are missing
    Progress progress = {};
    FlowDirection direction = FlowDirection::kDownstream;
    int order = 4;           // 1 to 4, of the Runge-Kutta steps (see UTILintegrate)
    int steps_per_cell = 4;  // aimed for
    int max_points = 2000;   // a line, in each direction
    // A line ends where it is slower; without it, a millionth of the data's largest speed.
    std::optional<double> min_speed = {};
    // Places in cells as the library's search leaves them: a few hundredths of a cell off where cells are
    // curved or warped. Else they are the places of the points themselves. And lines that go on around a sink,
    // in leaps, for the library's steps grow there.
    bool native = false;
};

// The result of Locator::streamlines: one line per seed, in their order. Owns its arrays; outlives its mesh.
// Moves, does not copy.
class Streamlines {
  public:
    Streamlines(Streamlines &&) = default;
    Streamlines &operator=(Streamlines &&) = default;

    std::size_t size() const { return offsets_.size() - 1; }
    // size() + 1; line i is the points offsets()[i] to offsets()[i + 1] - 1, from its upstream end on.
    std::span<const int> offsets() const { return offsets_; }

    std::size_t npoints() const { return speeds_.size(); }
    int components() const { return components_; }
    std::span<const float> points() const { return points_; }    // npoints x 3, missing components 0
    std::span<const float> vectors() const { return vectors_; }  // npoints x components
    std::span<const float> speeds() const { return speeds_; }
    std::span<const float> times() const { return times_; }      // since the seed, negative upstream
    std::span<const float> lengths() const { return lengths_; }  // of the path since the seed, likewise
    std::span<const int> cells() const { return cells_; }        // as Place::cell
    std::span<const float> uvw() const { return uvw_; }          // npoints x 3, as Place::uvw

    // Of the directions that were asked for.
    struct Ends {
        std::optional<LineEnd> upstream, downstream;
    };
    const std::vector<Ends> &ends() const { return ends_; }  // per line

  private:
    friend class front::StreamlineMaker;
    friend class Locator;

    Streamlines() = default;

    int components_ = 0;
    std::vector<int> offsets_ = {0}, cells_;
    std::vector<float> points_, vectors_, speeds_, times_, lengths_, uvw_;
    std::vector<Ends> ends_;
};

namespace front {

// Traces lines through one array, from arguments that were checked.
class StreamlineMaker {
  public:
    // mesh: the record whose methods find places and data; table: its search table, or null.
    StreamlineMaker(MeshInfo &mesh, BlockTable *table, const DataView &data, const StreamlineOptions &options)
        : mesh_(mesh),
          table_(table),
          nspace_(static_cast<std::size_t>(mesh.nspace)),
          data_(data),
          rows_(data, options.null_value),
          options_(options),
          min_speed_(std::max(double{FLT_MIN}, options.min_speed
                                                   ? *options.min_speed
                                                   : kLeastSpeed * largest_speed(data, options))),
          buffers_(static_cast<std::size_t>(options.max_points), nspace_,
                   static_cast<std::size_t>(data.components())) {
        lines_.components_ = data.components();
    }

    static void check(const MeshInfo &mesh, const DataView &data, const StreamlineOptions &options) {
        const int n = data.components();
        if (n > 3 || (n < 2 && mesh.nspace > 1)) {
            throw BadInput("data has " + std::to_string(n) + (n == 1 ? " component" : " components") +
                           ", but streamlines need 2 or 3");
        }
        if (n > mesh.nspace) {
            throw BadInput("data has " + std::to_string(n) + " components, but the mesh has " +
                           std::to_string(mesh.nspace) + " space dimensions");
        }
        if (options.order < 1 || options.order > 4) {
            throw BadInput("order is " + std::to_string(options.order) + ", but must be 1 to 4");
        }
        check_positive("steps_per_cell", options.steps_per_cell);
        check_positive("max_points", options.max_points);
        if (options.min_speed && !(std::isfinite(*options.min_speed) && *options.min_speed >= 0)) {
            throw BadInput("min_speed is " + value_text(*options.min_speed) +
                           ", but must be finite and at least 0");
        }
    }

    // Adds the line of a seed, 3 floats.
    void add(const float *seed) {
        Streamlines::Ends ends;
        if (options_.direction != FlowDirection::kDownstream) {
            const std::size_t count = trace(seed, -1, ends.upstream);
            for (std::size_t i = count; i-- > 1;) append(i, -1);
            if (options_.direction == FlowDirection::kUpstream && count > 0) append(0, 1);
        }
        if (options_.direction != FlowDirection::kUpstream) {
            const std::size_t count = trace(seed, 1, ends.downstream);
            for (std::size_t i = 0; i < count; ++i) append(i, 1);
        }
        if (lines_.npoints() > INT_MAX)
            throw Error("the streamlines have more than " + std::to_string(INT_MAX) + " points");
        lines_.offsets_.push_back(static_cast<int>(lines_.npoints()));
        lines_.ends_.push_back(ends);
    }

    // The lines, with the library's cells.
    Streamlines take() { return std::move(lines_); }

  private:
    static constexpr double kLeastSpeed = 1e-6;  // of the largest

    // One line as the library writes it. Pages that no line reaches are never touched.
    struct Buffers {
        Buffers(std::size_t n, std::size_t nspace, std::size_t veclen)
            : coords(make<float>(n * nspace)),
              vectors(make<float>(n * veclen)),
              uvw(make<float>(3 * n)),
              speeds(make<float>(n)),
              steps(make<float>(n)),
              cells(make<int>(n)),
              times(make<double>(n)),
              lengths(make<double>(n)) {}

        template <class T>
        static std::unique_ptr<T[]> make(std::size_t size) {
            return std::make_unique_for_overwrite<T[]>(size);
        }

        std::unique_ptr<float[]> coords, vectors, uvw, speeds, steps;
        std::unique_ptr<int[]> cells;
        std::unique_ptr<double[]> times, lengths;  // from the seed
        std::array<float, 3> next_point = {};
    };

    static void check_positive(const char *name, int value) {
        if (value < 1)
            throw BadInput(std::string(name) + " is " + std::to_string(value) + ", but must be at least 1");
    }

    static double largest_speed(const DataView &data, const StreamlineOptions &options) {
        const std::vector<unsigned char> missing = missing_rows(data, options.null_value);
        return visit_type(data.type(), [&](auto type) {
            const auto *row = static_cast<const typename decltype(type)::type *>(data.data());
            const int width = data.components();
            double largest = 0;
            for (std::size_t i = 0; i < data.rows(); ++i, row += width) {
                if (!missing.empty() && missing[i]) continue;
                double squares = 0;
                for (int c = 0; c < width; ++c)
                    squares += static_cast<double>(row[c]) * static_cast<double>(row[c]);
                largest = std::max(largest, squares);
            }
            return std::sqrt(largest);
        });
    }

    int type() const { return static_cast<int>(data_.type()); }

    // Traces one direction into the buffers; returns the number of points.
    std::size_t trace(const float *seed, int direction, std::optional<LineEnd> &end) {
        Buffers &b = buffers_;
        b.next_point = {};
        std::copy_n(seed, nspace_, b.next_point.begin());
        int npoints = 0;
        const int result = UTILstream_line(
            &mesh_, table_, rows_.data(), type(), data_.components(), rows_.null().flag(),
            rows_.null().value(), options_.order, direction, options_.steps_per_cell, min_speed_, seed,
            options_.max_points, &npoints, b.coords.get(), b.vectors.get(), 1, b.cells.get(), b.uvw.get(),
            b.speeds.get(), b.steps.get(), b.next_point.data());
        if (result != 1) throw Error("the mesh has no method for streamlines");
        const std::size_t count = smooth_points(static_cast<std::size_t>(npoints));
        double time = 0, length = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (i > 0) {
                const float *here = &b.coords[i * nspace_], *last = here - nspace_;
                double squares = 0;
                for (std::size_t d = 0; d < nspace_; ++d)
                    squares += (double{here[d]} - last[d]) * (double{here[d]} - last[d]);
                time += std::abs(double{b.steps[i - 1]});
                length += std::sqrt(squares);
            }
            b.times[i] = time;
            b.lengths[i] = length;
        }
        if (count < static_cast<std::size_t>(npoints))
            end = LineEnd::kStagnation;
        else if (npoints == options_.max_points)
            end = LineEnd::kMaximum;
        else if (count > 0 && failed_step(count - 1))
            end = LineEnd::kFailedStep;
        else
            end = end_at(b.next_point);
        return count;
    }

    // The points before the line turns back within a step: goes against its vector, or meets an opposite one.
    std::size_t smooth_points(std::size_t npoints) const {
        const auto width = static_cast<std::size_t>(data_.components());
        for (std::size_t i = 1; i < npoints && !options_.native; ++i) {
            const float *place = &buffers_.coords[i * nspace_], *vector = &buffers_.vectors[i * width];
            double way = 0, turn = 0;
            for (std::size_t c = 0; c < width; ++c) {
                way += (double{place[c]} - (place - nspace_)[c]) * (vector - width)[c];
                turn += double{vector[c]} * (vector - width)[c];
            }
            if (way * double{buffers_.steps[i - 1]} < 0 || turn < 0) return i;
        }
        return npoints;
    }

    // Whether the step from point i is none, or went too far, it or its stage that failed: steps grow as a
    // line slows down towards a sink, until their stages swing beyond it.
    bool failed_step(std::size_t i) const {
        constexpr double kTooFar = 4;  // times the way along the vector; stages of order 3 go three times
        double squares = 0;
        for (std::size_t d = 0; d < nspace_; ++d) {
            const double way = double{buffers_.next_point[d]} - buffers_.coords[i * nspace_ + d];
            squares += way * way;
        }
        return !(std::sqrt(squares) <= kTooFar * std::abs(double{buffers_.steps[i]} * buffers_.speeds[i]));
    }

    // Why a line goes no further than a place.
    LineEnd end_at(const std::array<float, 3> &place) {
        int cell = -1;
        float uvw[3] = {}, vector[3] = {};
        if (mesh_.field_funcs->find_cell_func(&mesh_, table_, place.data(), &cell, uvw) != 1)
            return LineEnd::kLeftMesh;
        const int result =
            mesh_.field_funcs->interp_data_func(&mesh_, cell, data_.components(), rows_.data(), type(),
                                                rows_.null().flag(), rows_.null().value(), 1, uvw, vector);
        return result == 1 ? LineEnd::kStagnation : LineEnd::kMissingData;
    }

    // Appends point i of the buffers.
    void append(std::size_t i, int sign) {
        const auto rows = [i](const std::unique_ptr<float[]> &from, std::size_t width,
                              std::vector<float> &to) {
            to.insert(to.end(), &from[i * width], &from[i * width] + width);
        };
        const std::size_t before = lines_.points_.size();
        lines_.points_.resize(before + 3);
        widen(&buffers_.coords[i * nspace_], nspace_, 1, &lines_.points_[before]);
        rows(buffers_.vectors, static_cast<std::size_t>(lines_.components_), lines_.vectors_);
        rows(buffers_.uvw, 3, lines_.uvw_);
        lines_.speeds_.push_back(buffers_.speeds[i]);
        lines_.cells_.push_back(buffers_.cells[i]);
        lines_.times_.push_back(static_cast<float>(sign * buffers_.times[i]));
        lines_.lengths_.push_back(static_cast<float>(sign * buffers_.lengths[i]));
    }

    MeshInfo &mesh_;
    BlockTable *table_;
    const std::size_t nspace_;
    const DataView &data_;
    const FiniteRows rows_;
    const StreamlineOptions &options_;
    const double min_speed_;
    Buffers buffers_;
    Streamlines lines_;
};

}  // namespace front

}  // namespace isofield
#endif
