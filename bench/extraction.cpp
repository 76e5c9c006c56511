#include "extraction.hpp"

#include <algorithm>
#include <cstddef>

namespace bench {
namespace {

// The new nodes of an extraction, given back at the end.
struct NewNodes {
    int count = 0;
    int *min_node = nullptr, *max_node = nullptr;

    NewNodes() = default;
    NewNodes(const NewNodes &) = delete;
    NewNodes &operator=(const NewNodes &) = delete;
    ~NewNodes() {
        ARRfree_f(min_node, __FILE__, __LINE__);
        ARRfree_f(max_node, __FILE__, __LINE__);
    }
};

void place(const Field &field, const NewNodes &nodes) {
    constexpr int kChunk = 4096;  // parameters stay in the cache between the two calls
    float t[kChunk];
    MeshInfo *mesh = field.mesh.get();
    const int nspace = mesh->nspace;
    auto *coords =
        static_cast<float *>(ARRalloc_f(nullptr, 4, nspace * nodes.count, nullptr, __FILE__, __LINE__));
    for (int first = 0; first < nodes.count; first += kChunk) {
        const int count = std::min(kChunk, nodes.count - first);
        const int *min_node = nodes.min_node + first, *max_node = nodes.max_node + first;
        UTILget_param(count, field.dtype(), field.data(), field.level, min_node, max_node, t);
        UTILeval_coord(mesh, count, min_node, max_node, t,
                       coords + nspace * static_cast<std::ptrdiff_t>(first));
    }
    ARRfree_f(coords, __FILE__, __LINE__);
}

// Triangles, or -1.
long long isosurface(const Field &field) {
    NewNodes nodes;
    int nlines, line_size, ntris, tri_size;
    int *lines, *tris;
    if (UTILisosurf(field.mesh.get(), field.data(), field.dtype(), 0, nullptr, field.level, &nodes.count,
                    &nodes.min_node, &nodes.max_node, &nlines, &lines, &line_size, &ntris, &tris, &tri_size,
                    nullptr, nullptr) != 1) {
        return -1;
    }
    place(field, nodes);
    ARRfree_f(lines, __FILE__, __LINE__);
    ARRfree_f(tris, __FILE__, __LINE__);
    return ntris;
}

// Segments, or -1.
long long isolines(const Field &field) {
    NewNodes nodes;
    int nlines, line_size;
    int *lines;
    if (UTILisoline(field.mesh.get(), field.data(), field.dtype(), 0, nullptr, field.level, &nodes.count,
                    &nodes.min_node, &nodes.max_node, &nlines, &lines, &line_size, nullptr, nullptr) != 1) {
        return -1;
    }
    place(field, nodes);
    ARRfree_f(lines, __FILE__, __LINE__);
    return nlines;
}

}  // namespace

Contestant our_isosurface(FieldPtr field) {
    return {"isofield", [field] { return isosurface(*field); }, isohost_trim_arrays};
}

Contestant our_isolines(FieldPtr field) {
    return {"isofield", [field] { return isolines(*field); }, isohost_trim_arrays};
}

}  // namespace bench
