#include "extraction.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <numeric>
#include <utility>

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

// Coordinates of the old nodes that stay, if any, then of the new ones. The caller's (ARRfree_f).
float *place(const Field &field, const NewNodes &nodes, int nold = 0, const int *node_map = nullptr) {
    constexpr int kChunk = 4096;  // parameters stay in the cache between the two calls
    float t[kChunk];
    MeshInfo *mesh = field.mesh.get();
    const std::ptrdiff_t nspace = mesh->nspace;
    auto *coords = static_cast<float *>(
        ARRalloc_f(nullptr, 4, mesh->nspace * (nold + nodes.count), nullptr, __FILE__, __LINE__));
    if (nold > 0) UTILget_coord_list(mesh, nold, node_map, coords);
    for (int first = 0; first < nodes.count; first += kChunk) {
        const int count = std::min(kChunk, nodes.count - first);
        const int *min_node = nodes.min_node + first, *max_node = nodes.max_node + first;
        UTILget_param(count, field.dtype(), field.data(), field.level, min_node, max_node, t);
        UTILeval_coord(mesh, count, min_node, max_node, t, coords + nspace * (nold + first));
    }
    return coords;
}

// Triangles, or -1.
long long isosurface(const Field &field, bool placed) {
    NewNodes nodes;
    int nlines, line_size, ntris, tri_size;
    int *lines, *tris;
    if (UTILisosurf(field.mesh.get(), field.data(), field.dtype(), 0, nullptr, field.level, &nodes.count,
                    &nodes.min_node, &nodes.max_node, &nlines, &lines, &line_size, &ntris, &tris, &tri_size,
                    nullptr, nullptr) != 1) {
        return -1;
    }
    if (placed) ARRfree_f(place(field, nodes), __FILE__, __LINE__);
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
    ARRfree_f(place(field, nodes), __FILE__, __LINE__);
    ARRfree_f(lines, __FILE__, __LINE__);
    return nlines;
}

// The part of a mesh that a cut or a band keeps, given back at the end.
struct Part {
    int nold = 0;
    int *node_map = nullptr;
    NewNodes nodes;
    char *level_flag = nullptr;
    int ncells[6] = {}, connect_size[6] = {};
    int *connect[6] = {};
    float *coords = nullptr;
    char *scalars = nullptr;  // of the field's type

    ~Part() {
        std::free(node_map);
        for (int type = 0; type < 6; ++type) {
            if (ncells[type] > 0) ARRfree_f(connect[type], __FILE__, __LINE__);
        }
        ARRfree_f(level_flag, __FILE__, __LINE__);
        ARRfree_f(coords, __FILE__, __LINE__);
        ARRfree_f(scalars, __FILE__, __LINE__);
    }

    long long size() const { return std::accumulate(ncells, ncells + 6, 0LL); }
};

// The scalar on all rows of a part, as peers carry it.
void carry_scalar(const Field &field, double lo, double hi, Part &part) {
    MeshInfo *mesh = field.mesh.get();
    const NewNodes &nodes = part.nodes;
    const int dtype = field.dtype();
    part.scalars =
        static_cast<char *>(ARRalloc_f(nullptr, dtype, part.nold + nodes.count, nullptr, __FILE__, __LINE__));
    UTILget_data_list(mesh, dtype, 1, field.data(), part.nold, part.node_map, part.scalars);
    UTILeval_contour(mesh->nnodes, nodes.count, 0, dtype, field.data(), lo, hi, nodes.min_node,
                     nodes.max_node, part.level_flag, 1, dtype, 0, nullptr, 0, field.data(),
                     part.scalars + DTYPEtype_size[dtype] * std::ptrdiff_t{part.nold});
}

bool make_cut(const Field &field, Part &part) {
    NewNodes &nodes = part.nodes;
    if (UTILcut(field.mesh.get(), field.data(), field.dtype(), 0, nullptr, field.level, 1, &part.nold,
                &part.node_map, &nodes.count, &nodes.min_node, &nodes.max_node, part.ncells, part.connect,
                part.connect_size, nullptr, nullptr) != 1) {
        return false;
    }
    part.coords = place(field, nodes, part.nold, part.node_map);
    part.level_flag = static_cast<char *>(ARRalloc_f(nullptr, 0, nodes.count, nullptr, __FILE__, __LINE__));
    std::fill_n(part.level_flag, nodes.count, char{0});
    carry_scalar(field, field.level, field.level, part);
    return true;
}

bool make_band(const Field &field, double lo, double hi, Part &part) {
    MeshInfo *mesh = field.mesh.get();
    NewNodes &nodes = part.nodes;
    int nlines_lo = 0, nlines_hi = 0;  // not asked for
    int *lines_lo = nullptr, *lines_hi = nullptr;
    if (UTILcontour(mesh, field.data(), field.dtype(), 0, nullptr, lo, hi, &part.nold, &part.node_map,
                    &nodes.count, &nodes.min_node, &nodes.max_node, &part.level_flag, part.ncells,
                    part.connect, part.connect_size, mesh->nspace, &part.coords, &nlines_lo, &lines_lo,
                    &nlines_hi, &lines_hi) != 1) {
        return false;
    }
    carry_scalar(field, lo, hi, part);
    return true;
}

// Cells, or -1.
long long cut(const Field &field) {
    Part part;
    return make_cut(field, part) ? part.size() : -1;
}

// Cells of all bands, which are there at once in the end, or -1.
long long bands(const Field &field, const std::vector<double> &levels) {
    std::vector<Part> parts(levels.size() - 1);
    long long ncells = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!make_band(field, levels[i], levels[i + 1], parts[i])) return -1;
        ncells += parts[i].size();
    }
    return ncells;
}

}  // namespace

Contestant our_isosurface(FieldPtr field) {
    return {"isofield", [field] { return isosurface(*field, true); }, isohost_trim_arrays};
}

Contestant our_bare_isosurface(std::string name, FieldPtr field) {
    return {std::move(name), [field] { return isosurface(*field, false); }, isohost_trim_arrays};
}

Contestant our_isolines(FieldPtr field) {
    return {"isofield", [field] { return isolines(*field); }, isohost_trim_arrays};
}

Contestant our_cut(FieldPtr field) {
    return {"isofield", [field] { return cut(*field); }, isohost_trim_arrays};
}

Contestant our_bands(FieldPtr field, std::vector<double> levels) {
    return {"isofield", [field, levels = std::move(levels)] { return bands(*field, levels); },
            isohost_trim_arrays};
}

}  // namespace bench
