// Sampling of uniform and rectilinear grids in blocks of points: what find_cell_func and interp_data_func
// answer point by point, in plain loops that compilers turn into vector code.
#ifndef ISOFIELD_MOD_UTIL_GRID_SAMPLER_HPP
#define ISOFIELD_MOD_UTIL_GRID_SAMPLER_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <optional>

#include "grid_cell.hpp"
#include "grid_places.hpp"
#include "mesh_access.hpp"
#include "progress.hpp"
#include "types.hpp"
#include "working_array.hpp"

namespace isofield::detail {

// The lines of a strictly increasing axis, and a table of where to look: the axis cut into equal steps, many
// to a line, so that most steps leave one interval or two.
class LineFinder {
  public:
    // False when there is no memory, the lines do not increase, or floats would not count the steps.
    bool create(const RectilinearAxis &axis) {
        constexpr int kMostLines = 1 << 20;
        if (axis.lines() > kMostLines) return false;
        const auto nlines = static_cast<std::size_t>(axis.lines());
        const std::size_t nsteps = 8 * nlines;
        lines_ = allocate_working<float>(nlines);
        first_ = allocate_cleared<int>(nsteps + 2);
        if (!lines_ || !first_) return false;
        for (std::size_t i = 0; i < nlines; ++i) {
            lines_[i] = axis.line(static_cast<int>(i));
            if (i > 0 && !(lines_[i] > lines_[i - 1])) return false;
        }
        upper_ = lines_[nlines - 1];
        last_step_ = static_cast<float>(nsteps);
        scale_ = last_step_ / (upper_ - lines_[0]);
        if (!(scale_ > 0 && scale_ < std::numeric_limits<float>::infinity())) return false;
        // Intervals that end before a step begins hold nothing that lies in it.
        for (std::size_t i = 1; i < nlines; ++i) ++first_[static_cast<std::size_t>(step_of(lines_[i])) + 1];
        int most = 0;
        for (std::size_t s = 1; s < nsteps + 2; ++s) {
            most = std::max(most, first_[s]);
            first_[s] += first_[s - 1];
        }
        for (rounds_ = 0; most > 0; most /= 2) ++rounds_;
        return true;
    }

    // The first interval that ends at or above x, which the lines hold. A fixed number of halvings, so that
    // there are no branches to guess.
    int interval_of(float x) const {
        const int *const range = &first_[static_cast<std::size_t>(step_of(x))];
        int first = range[0], end = range[1];
        for (int round = 0; round < rounds_; ++round) {
            const int middle = first + (end - first) / 2;
            const bool above = (first < end) & (line(middle + 1) < x);
            end = above ? end : middle;
            first = above ? middle + 1 : first;
        }
        return first;
    }

    float line(int i) const { return lines_[static_cast<std::size_t>(i)]; }
    bool holds(float x) const { return (x >= line(0)) & (x <= upper_); }

  private:
    int step_of(float x) const {
        return static_cast<int>(std::clamp((x - line(0)) * scale_, 0.0f, last_step_));
    }

    Working<float> lines_;
    Working<int> first_;  // per step the first interval that may hold what lies in it
    float upper_ = 0, last_step_ = 0, scale_ = 0;
    int rounds_ = 0;
};

constexpr int kSampleBlock = kCellPollPeriod + 1;

// A block of points in a grid's cells. Points that no cell holds have some cell.
template <int kNdim>
struct PlacedBlock {
    int count = 0;
    float x[kNdim][kSampleBlock];
    int found[kSampleBlock];
    int corner[kSampleBlock];
    float at[kNdim][kSampleBlock];           // from -1 to 1 along the grid's axes
    float weight[1 << kNdim][kSampleBlock];  // of the cell's nodes
};

// Brings places along the grid's axes to the weights of the nodes.
template <int kNdim>
void weigh(PlacedBlock<kNdim> &block) {
    using Cell = GridCell<kNdim>;
    for (int i = 0; i < block.count; ++i) {
        float uvw[3], weights[Cell::kNodes];
        for (int d = 0; d < kNdim; ++d) uvw[d] = block.at[d][i];
        turn_to_cell_frame(kNdim, uvw);
        Cell::weights(uvw, weights);
        for (int k = 0; k < Cell::kNodes; ++k) block.weight[k][i] = weights[k];
    }
}

// One axis of a grid: finds cells for a block of points. False when one of them needs the plain search.
class UniformFinder {
  public:
    using Axis = UniformAxis;
    bool create(const Axis &axis) {
        axis_ = axis;
        return !axis.flat();
    }
    bool find(int count, const float *x, int *found, int *index, float *at) const {
        const Axis axis = *axis_;
        for (int i = 0; i < count; ++i) found[i] &= axis.holds(x[i]) ? 1 : 0;
        for (int i = 0; i < count; ++i) axis.place(x[i], index[i], at[i]);
        return true;
    }

  private:
    std::optional<Axis> axis_;
};

class RectilinearFinder {
  public:
    using Axis = RectilinearAxis;
    bool create(const Axis &axis) {
        axis_ = axis;
        return !axis.flat() && lines_.create(axis);
    }
    bool find(int count, const float *x, int *found, int *index, float *at) const {
        // Points that the axis' range holds, which is a little wider, but none of its intervals.
        int between = 0;
        for (int i = 0; i < count; ++i) {
            const bool holds = lines_.holds(x[i]);
            between += axis_->holds(x[i]) != holds ? 1 : 0;
            found[i] &= holds ? 1 : 0;
            const float inside = holds ? x[i] : lines_.line(0);
            index[i] = lines_.interval_of(inside);
            at[i] = RectilinearAxis::place_of(inside, lines_.line(index[i]), lines_.line(index[i] + 1));
        }
        return between == 0;
    }

  private:
    std::optional<Axis> axis_;
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
        for (std::size_t d = 1; d < kNdim; ++d) stride_[d] = stride_[d - 1] * mesh->dims[d - 1];
        corner_nodes(mesh->dims, 0, kNodes, offset_.data());
        return true;
    }

    // Fills the rest of a block that has its points. False when they need the plain search.
    bool place(Block &block) const {
        std::fill_n(block.found, block.count, 1);
        std::fill_n(block.corner, block.count, 0);
        for (std::size_t d = 0; d < kNdim; ++d) {
            int index[kSampleBlock];
            if (!finders_[d].find(block.count, block.x[d], block.found, index, block.at[d])) return false;
            for (int i = 0; i < block.count; ++i) block.corner[i] += index[i] * stride_[d];
        }
        weigh(block);
        return true;
    }

    // Values of one array at the block's points: out is count x veclen. Returns whether a null was written.
    template <class T>
    bool sample(const Block &block, int veclen, const T *data, bool has_null, T null_value, T *out) const {
        if (null_value != null_value) has_null = false;  // no element equals it
        if (veclen == 1) {
            return has_null ? sample_rows<true>(block, 1, data, null_value, out)
                            : sample_rows<false>(block, 1, data, null_value, out);
        }
        return has_null ? sample_rows<true>(block, veclen, data, null_value, out)
                        : sample_rows<false>(block, veclen, data, null_value, out);
    }

  private:
    // Inline, so that a veclen of 1 makes a loop of its own.
    template <bool kHasNull, class T>
    [[gnu::always_inline]] bool sample_rows(const Block &block, int veclen, const T *data, T null_value,
                                            T *out) const {
        std::ptrdiff_t offset[kNodes];
        for (std::size_t k = 0; k < kNodes; ++k) offset[k] = std::ptrdiff_t{offset_[k]} * veclen;
        const auto corner_of = [&](int i) { return data + std::ptrdiff_t{block.corner[i]} * veclen; };
        bool wrote_null = false;
        for (int i = 0; i < block.count; ++i, out += veclen) {
            prefetch_rows(corner_of(std::min(i + kAhead, block.count - 1)), offset);
            const T *const corner = corner_of(i);
            bool is_null = !block.found[i];
            for (int k = 0; kHasNull && k < kNodes; ++k) is_null |= corner[offset[k]] == null_value;
            for (int c = 0; c < veclen; ++c) {
                float sum = 0;
                for (int k = 0; k < kNodes; ++k)
                    sum += block.weight[k][i] * static_cast<float>(corner[offset[k] + c]);
                out[c] = is_null ? null_value : truncated<T>(sum);
            }
            wrote_null |= is_null;
        }
        return wrote_null;
    }

    // Asks for the rows of a cell's nodes, which lie in pairs, before they are needed.
    template <class T>
    static void prefetch_rows(const T *corner, const std::ptrdiff_t *offset) {
        for (int k = 1; k < kNodes; k += k % 4 == 1 ? 1 : 3) __builtin_prefetch(corner + offset[k]);
    }

    static constexpr int kAhead = 32;

    std::array<Finder, kNdim> finders_;
    std::array<int, kNdim> stride_ = {1};
    std::array<int, 8> offset_{};  // of a cell's nodes from its corner
};

}  // namespace isofield::detail
#endif
