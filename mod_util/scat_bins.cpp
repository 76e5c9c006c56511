// The index of points by the cells of a grid.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

#include "output_array.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/sctintrp";

struct EndBins {
    void operator()(ScatBins *bins) const { UTILscat_interp_end(bins); }
};
using OwnedBins = std::unique_ptr<ScatBins, EndBins>;

int *allocate_ints(int count, int line = __builtin_LINE()) {
    return allocate_array<int>(std::max(count, 1), kUnit, line);
}

// The cells of a grid; -1 for more than an int counts.
int count_cells(int ndim, const int *dims) {
    std::int64_t cells = 1;
    for (int d = 0; d < ndim; ++d) {
        cells *= std::max(dims[d] - 1, 0);
        if (cells > std::numeric_limits<int>::max()) return -1;
    }
    return static_cast<int>(cells);
}

// The bin of a coordinate along an axis of so many nodes; -1 outside.
int bin_along(float at, float min, float max, int nodes) {
    constexpr double kFlat = 1e-38;
    constexpr float kLast = 0.9999f;  // where the upper end is put
    const float extent = max - min;
    if (!(static_cast<double>(extent) > kFlat)) return 0;
    float t = (at - min) / extent;
    if (!(t >= 0.0f && t <= 1.0f)) return -1;
    if (t == 1.0f) t = kLast;
    return std::min(static_cast<int>(static_cast<float>(nodes - 1) * t), nodes - 2);
}

}  // namespace

int UTILscat_interp_alloc(int npoints, int ndim, const int *dims, ScatBins **bins) {
    *bins = nullptr;
    if (ndim < 1) return 0;
    const int ncells = count_cells(ndim, dims);
    if (ncells < 0 || npoints == std::numeric_limits<int>::max()) return 0;
    // Cleared, so that what is yet to come is null when something is not to be had.
    OwnedBins made(static_cast<ScatBins *>(std::calloc(1, sizeof(ScatBins))));
    if (!made) return 0;
    made->nbins = ncells;
    made->ndim = ndim;
    made->nslots = std::max(npoints, 0) + 1;
    made->free_slot = 1;
    made->bins = allocate_ints(made->nbins);
    if (!made->bins) return 0;
    made->point_ids = allocate_ints(made->nslots);
    if (!made->point_ids) return 0;
    made->next = allocate_ints(made->nslots);
    if (!made->next) return 0;
    std::fill_n(made->bins, made->nbins, 0);
    std::fill_n(made->next, made->nslots, 0);
    *bins = made.release();
    return 1;
}

int UTILscat_interp_init(int npoints, int nspace, const float *coords, const float *min, const float *max,
                         int ndim, const int *dims, ScatBins **bins) {
    *bins = nullptr;
    if (nspace < ndim || ndim > 3) return 0;
    if (!UTILscat_interp_alloc(npoints, ndim, dims, bins)) return 0;
    ScatBins &made = **bins;
    for (int i = 0; i < npoints && made.nbins > 0; ++i) {
        const float *const at = coords + static_cast<std::ptrdiff_t>(i) * nspace;
        int bin = 0, stride = 1;
        for (int d = 0; d < ndim && bin >= 0; ++d) {
            const int along = bin_along(at[d], min[d], max[d], dims[d]);
            bin = along < 0 ? -1 : bin + stride * along;
            stride *= dims[d] - 1;
        }
        if (bin < 0) continue;
        const int slot = made.free_slot++;
        made.point_ids[slot] = i;
        made.next[slot] = made.bins[bin];
        made.bins[bin] = slot;
    }
    return 1;
}

int UTILscat_interp_end(ScatBins *bins) {
    if (!bins) return 0;
    for (int *array : {bins->bins, bins->point_ids, bins->next})
        if (array) ARRfree_f(array, kUnit, __LINE__);
    std::free(bins);
    return 1;
}
