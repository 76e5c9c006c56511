extern "C" {
#include <libqhull_r/qhull_ra.h>
}

#include <cstdio>
#include <memory>

#include "delaunay_peers.hpp"

namespace bench {

Triangulate qhull_delaunay(const float *points, int npoints, int ndim) {
    const auto coords = std::make_shared<std::vector<coordT>>();
    for (int i = 0; i < npoints; ++i) coords->insert(coords->end(), points + 3 * i, points + 3 * i + ndim);
    return [=](std::vector<int> &nodes) {
        nodes.clear();
        qhT state;
        qhT *const qh = &state;  // the name that the library's loops want
        qh_zero(qh, stderr);
        char options[] = "qhull d Qt Qbb Qc Qz Q12";
        if (qh_new_qhull(qh, ndim, npoints, coords->data(), False, options, nullptr, stderr) == 0) {
            facetT *facet;
            FORALLfacets {
                if (facet->upperdelaunay) continue;
                vertexT *vertex, **vertexp;
                FOREACHvertex_(facet->vertices) nodes.push_back(qh_pointid(qh, vertex->point));
            }
        }
        qh_freeqhull(qh, qh_ALL);
    };
}

}  // namespace bench
