// The boundary edges and the creases of a polygonal surface.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "isofield.h"
#include "node_chains.hpp"
#include "progress.hpp"
#include "vectors.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/edge_ext";

struct Edge {
    int other;
    Vec3 normal;  // of the polygon that came first
};

// Whether two normals are closer than an angle.
class Smoothness {
  public:
    explicit Smoothness(float angle) : angle_(angle), surely_(2.0), surely_not_(-2.0) {
        // Where a cosine is clear of the angle's, by more than all rounding, no arc cosine is asked for.
        constexpr double kRounding = 1e-5, kNearlyPi = 3.1415;
        if (angle > kRounding && angle < kNearlyPi) {
            surely_ = std::cos(angle - kRounding);
            surely_not_ = std::cos(angle + kRounding);
        }
    }

    bool operator()(const Vec3 &a, const Vec3 &b) const {
        const float x = a.x * b.x, y = a.y * b.y, z = a.z * b.z;
        double cosine = static_cast<double>(x) + static_cast<double>(y) + static_cast<double>(z);
        if (cosine > surely_) return true;
        if (cosine < surely_not_) return false;
        if (cosine > 1.0) cosine = 1.0;
        if (cosine < -1.0) cosine = -1.0;
        return std::fabs(static_cast<float>(std::acos(cosine))) < angle_;
    }

  private:
    float angle_;
    double surely_, surely_not_;
};

Vec3 normal_of(int nspace, const float *coords, const int *cell, int nverts) {
    const float *const at = coords + static_cast<std::ptrdiff_t>(cell[0]) * nspace;
    const float *const next = coords + static_cast<std::ptrdiff_t>(cell[1]) * nspace;
    const float *const last = coords + static_cast<std::ptrdiff_t>(cell[nverts - 1]) * nspace;
    float e1[3] = {}, e2[3] = {};
    for (int d = 0; d < nspace; ++d) {
        e1[d] = next[d] - at[d];
        e2[d] = last[d] - at[d];
    }
    constexpr double kNoLength = 1e-29;
    const Vec3 normal = cross(load_vector(e1), load_vector(e2));
    const float size = length(normal);
    return static_cast<double>(size) > kNoLength ? normal / size : normal;
}

// Adds the cell's edges, or takes away those along which it goes on smoothly. False without memory.
bool add_cell(NodeChains<Edge> &table, const int *cell, int nverts, const Vec3 &normal,
              const Smoothness &is_smooth) {
    for (int j = 0; j < nverts; ++j) {
        const int a = cell[j], b = cell[j + 1 < nverts ? j + 1 : 0];
        const int low = std::min(a, b), high = std::max(a, b);
        int *const link = table.find(low, [=](const Edge &edge) { return edge.other == high; });
        if (*link == 0) {
            if (!table.add(low, {high, normal})) return false;
        } else if (is_smooth(table.at(link).normal, normal)) {
            table.remove(link);
        }
    }
    return true;
}

}  // namespace

int UTILexternal_edges(int nnodes, int nspace, const float *coords, int ncells, int stride, int nverts,
                       const int *conn, int *nedges, int **edges, double angle) {
    NodeChains<Edge> table;
    if (!table.create(nnodes)) return 0;
    MATbuild_sqrt_table();
    const StatusRange range(0, 100);
    const Smoothness is_smooth(static_cast<float>(angle));
    const auto is_known = [&](int node) { return table.holds(node); };
    Poll poll(ncells, kCellPollPeriod);
    for (int c = 0; c < ncells; ++c, conn += stride) {
        if (poll.stop(c)) return no_edges(nedges, edges);
        if (nverts < 1) continue;
        if (!std::all_of(conn, conn + nverts, is_known)) return no_edges(nedges, edges);
        const Vec3 normal = nverts < 2 ? Vec3{} : normal_of(nspace, coords, conn, nverts);
        if (!add_cell(table, conn, nverts, normal, is_smooth)) return no_edges(nedges, edges);
    }
    poll_status(100);
    return write_edges(table, nedges, edges, kUnit);
}
