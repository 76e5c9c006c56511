// Sampling of uniform and rectilinear grids in blocks of points: what find_cell_func and interp_data_func
// answer point by point, in plain loops that compilers turn into vector code.
#ifndef ISOFIELD_MOD_UTIL_GRID_SAMPLER_HPP
#define ISOFIELD_MOD_UTIL_GRID_SAMPLER_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "grid_places.hpp"
#include "output_array.hpp"
#include "progress.hpp"
#include "shape_functions.hpp"
#include "types.hpp"

namespace isofield::detail {

// The lines of a strictly increasing axis, with a table of where to start looking: the steps of a uniform
// axis of twice as many lines.
class LineFinder {
  public:
    // False when there is no memory or the lines do not increase.
    bool create(const RectilinearAxis &axis) {
        nlines_ = axis.lines();
        lines_ = allocate_working<float>(static_cast<std::size_t>(nlines_));
        start_ = allocate_cleared<int>(static_cast<std::size_t>(2 * std::int64_t{nlines_} + 2));
        if (!lines_ || !start_) return false;
        for (int i = 0; i < nlines_; ++i) {
            line(i) = axis.line(i);
            if (i > 0 && !(line(i) > line(i - 1))) return false;
        }
        scale_ = static_cast<float>(2 * std::int64_t{nlines_}) / (line(nlines_ - 1) - line(0));
        if (!(scale_ > 0 && scale_ < std::numeric_limits<float>::infinity())) return false;
        // Intervals that end before a step begins cannot hold what lies in the step.
        for (int i = 1; i < nlines_; ++i) ++start_[static_cast<std::size_t>(step_of(line(i)) + 1)];
        for (std::int64_t s = 1; s < 2 * std::int64_t{nlines_} + 2; ++s)
            start_[static_cast<std::size_t>(s)] += start_[static_cast<std::size_t>(s - 1)];
        return true;
    }

    // The first interval that ends at or above x, which lies from the first to the last line.
    int interval_of(float x) const {
        const int step = step_of(x);
        int first = start_[static_cast<std::size_t>(step)], end = start_[static_cast<std::size_t>(step + 1)];
        while (first < end) {
            const int middle = first + (end - first) / 2;
            if (line(middle + 1) < x) {
                first = middle + 1;
            } else {
                end = middle;
            }
        }
        return first;
    }

    float line(int i) const { return lines_[static_cast<std::size_t>(i)]; }
    bool holds(float x) const { return x >= line(0) && x <= line(nlines_ - 1); }

  private:
    float &line(int i) { return lines_[static_cast<std::size_t>(i)]; }

    int step_of(float x) const {
        return static_cast<int>(
            std::clamp((x - line(0)) * scale_, 0.0f, static_cast<float>(2 * std::int64_t{nlines_})));
    }

    int nlines_ = 0;
    Working<float> lines_;
    Working<int> start_;  // per step the first interval that may hold what lies in it
    float scale_ = 0;
};

constexpr int kSampleBlock = kCellPollPeriod + 1;

// A block of points in a grid's cells. Points that no cell holds have some cell.
template <int kNdim>
struct PlacedBlock {
    int count = 0;
    float x[kNdim][kSampleBlock];
    unsigned char found[kSampleBlock];
    int corner[kSampleBlock];
    float at[kNdim][kSampleBlock];           // from -1 to 1 along the grid's axes
    float weight[1 << kNdim][kSampleBlock];  // of the cell's nodes
};

// Brings places along the grid's axes to the weights of the nodes.
template <int kNdim>
void weigh(PlacedBlock<kNdim> &block) {
    using Cell = std::conditional_t<kNdim == 3, Hex1, Quad1>;
    for (int i = 0; i < block.count; ++i) {
        float uvw[3], weights[Cell::kNodes];
        for (int d = 0; d < kNdim; ++d) uvw[d] = block.at[d][i];
        turn_to_cell_frame(kNdim, uvw);
        Cell::weights(uvw, weights);
        for (int k = 0; k < Cell::kNodes; ++k) block.weight[k][i] = weights[k];
    }
}

// One axis of a grid: finds cells for a block of points.
class UniformFinder {
  public:
    using Axis = UniformAxis;
    bool create(const Axis &axis) {
        axis_ = axis;
        return !axis.flat();
    }
    void find(int count, const float *x, unsigned char *found, int *index, float *at) const {
        for (int i = 0; i < count; ++i) {
            found[i] &= static_cast<unsigned char>(axis_->holds(x[i]));
            axis_->place(x[i], index[i], at[i]);
        }
    }

  private:
    std::optional<Axis> axis_;
};

class RectilinearFinder {
  public:
    using Axis = RectilinearAxis;
    bool create(const Axis &axis) { return !axis.flat() && lines_.create(axis); }
    // A point that the axis' range holds, but none of its intervals, has no values either.
    void find(int count, const float *x, unsigned char *found, int *index, float *at) const {
        for (int i = 0; i < count; ++i) {
            const bool holds = lines_.holds(x[i]);
            found[i] &= static_cast<unsigned char>(holds);
            const float inside = holds ? x[i] : lines_.line(0);
            index[i] = lines_.interval_of(inside);
            const float lo = lines_.line(index[i]), hi = lines_.line(index[i] + 1);
            at[i] = ((inside - lo) / (hi - lo)) * 2.0f - 1.0f;
        }
    }

  private:
    LineFinder lines_;
};

template <int kNdim, class Finder>
class GridSampler {
  public:
    static constexpr int kNodes = 1 << kNdim;
    using Block = PlacedBlock<kNdim>;

    // False when the grid is not one that this serves.
    bool create(const MeshInfo *mesh, const float *points) {
        for (int d = 0; d < kNdim; ++d) {
            if (!finders_[static_cast<std::size_t>(d)].create(typename Finder::Axis(mesh, points, d)))
                return false;
        }
        int stride = 1;
        for (int d = 0; d < kNdim; ++d, stride *= mesh->dims[d - 1])
            stride_[static_cast<std::size_t>(d)] = stride;
        corner_nodes(mesh->dims, 0, kNodes, offset_.data());
        return true;
    }

    // Fills the rest of a block that has its points.
    void place(Block &block) const {
        std::fill_n(block.found, block.count, static_cast<unsigned char>(1));
        std::fill_n(block.corner, block.count, 0);
        for (std::size_t d = 0; d < kNdim; ++d) {
            int index[kSampleBlock];
            finders_[d].find(block.count, block.x[d], block.found, index, block.at[d]);
            for (int i = 0; i < block.count; ++i) block.corner[i] += index[i] * stride_[d];
        }
        weigh(block);
    }

    // Values of one array at the block's points: out is count x veclen. Returns whether a null was written.
    template <class T>
    bool sample(const Block &block, int veclen, const T *data, bool has_null, T null_value, T *out) const {
        if (veclen == 1 && !has_null) return sample_scalars(block, data, null_value, out);
        bool wrote_null = false;
        for (int i = 0; i < block.count; ++i, out += veclen) {
            const T *row[kNodes];
            bool is_null = !block.found[i];
            for (int k = 0; k < kNodes; ++k) {
                row[k] = data + (static_cast<std::ptrdiff_t>(block.corner[i]) +
                                 offset_[static_cast<std::size_t>(k)]) *
                                    veclen;
                is_null |= has_null && *row[k] == null_value;
            }
            wrote_null |= is_null;
            for (int c = 0; c < veclen; ++c) {
                float sum = 0;
                for (int k = 0; k < kNodes; ++k) sum += block.weight[k][i] * static_cast<float>(row[k][c]);
                out[c] = is_null ? null_value : truncated<T>(sum);
            }
        }
        return wrote_null;
    }

  private:
    template <class T>
    bool sample_scalars(const Block &block, const T *data, T null_value, T *out) const {
        unsigned char all_found = 1;
        for (int i = 0; i < block.count; ++i) {
            const T *const corner = data + block.corner[i];
            float sum = 0;
            for (int k = 0; k < kNodes; ++k)
                sum += block.weight[k][i] * static_cast<float>(corner[offset_[static_cast<std::size_t>(k)]]);
            out[i] = block.found[i] ? truncated<T>(sum) : null_value;
            all_found &= block.found[i];
        }
        return !all_found;
    }

    std::array<Finder, kNdim> finders_;
    std::array<int, kNdim> stride_{};
    std::array<int, 8> offset_{};  // of a cell's nodes from its corner
};

}  // namespace isofield::detail
#endif
