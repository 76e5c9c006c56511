// Meshes from plain arrays. The library trusts its records, so everything is checked here.
#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <numeric>
#include <string>
#include <vector>

#include "binding.h"
#include "isofield_default_host.h"

namespace isofield::host {
namespace {

enum class Kind { kCells, kStructured, kUniform, kRectilinear };

constexpr const char *kKindSuffix[] = {"", "_struct", "_unif", "_rect"};
constexpr const char *kGridCell[] = {"line_1", "quad_1", "hex_1"};

// A mesh record with all that stands behind it. Copies of the record find it by host_id.
struct HostMesh {
    explicit HostMesh(Kind kind_) : kind(kind_) {}

    Kind kind;
    MeshInfo info = {};
    FieldFuncs field_funcs = {};
    std::vector<int> dims = {1, 1, 1};
    std::vector<float> points;
    const float *given_coords = nullptr;
    std::vector<float> made_coords;
    std::vector<int> cell_first, cell_ncells, cell_nnodes, cell_ndim, cell_order;
    std::vector<const int *> given_connect;  // per set; null on a grid, whose cells are made on demand
    std::vector<int> made_connect;
    std::vector<int *> connect_cache;
    std::vector<std::vector<float>> positions;
    std::vector<float *> cell_node_uvw;
    std::vector<CellFuncs> cell_funcs;
};

HostMesh &host_mesh(const MeshInfo *mesh) {
    return *static_cast<HostMesh *>(mesh->host_id);
}

// ---- Callbacks ----

void grid_coords(const HostMesh &mesh, int first, int end, float *out) {
    const MeshInfo &info = mesh.info;
    if (mesh.kind == Kind::kUniform) {
        UTILget_coords_unif(info.ndim, info.dims, info.nspace, mesh.points.data(), first, end, 0, info.nspace,
                            out);
    } else if (mesh.kind == Kind::kRectilinear) {
        UTILget_coords_rect(info.ndim, info.dims, info.nspace, mesh.points.data(), first, end, 0, info.nspace,
                            out);
    } else {
        const auto width = static_cast<std::size_t>(info.nspace);
        std::copy(mesh.given_coords + first * width, mesh.given_coords + end * width, out);
    }
}

int get_coords(MeshInfo *record, float **out) {
    HostMesh &mesh = host_mesh(record);
    if (mesh.given_coords) {
        *out = const_cast<float *>(mesh.given_coords);
        return 1;
    }
    if (mesh.made_coords.empty()) {
        const std::int64_t size = std::int64_t{mesh.info.nnodes} * mesh.info.nspace;
        if (size > INT_MAX) return 0;
        try {
            mesh.made_coords.resize(static_cast<std::size_t>(size));
        } catch (const std::bad_alloc &) {
            return 0;
        }
        grid_coords(mesh, 0, mesh.info.nnodes, mesh.made_coords.data());
    }
    *out = mesh.made_coords.data();
    return 1;
}

int get_points(MeshInfo *record, float **out) {
    HostMesh &mesh = host_mesh(record);
    if (mesh.points.empty()) return 0;
    *out = mesh.points.data();
    return 1;
}

// The box holds the nodes from `min` up to, not including, `max`.
int get_sub_coords(MeshInfo *record, const int *min, const int *max, float *out) {
    const HostMesh &mesh = host_mesh(record);
    if (mesh.kind == Kind::kCells) return 0;
    int lo[3] = {0, 0, 0}, hi[3] = {1, 1, 1};
    for (int d = 0; d < mesh.info.ndim; ++d) {
        lo[d] = min[d];
        hi[d] = max[d];
        if (lo[d] < 0 || hi[d] > mesh.dims[d] || lo[d] > hi[d]) return 0;
    }
    if (lo[0] == hi[0]) return 1;
    for (int k = lo[2]; k < hi[2]; ++k) {
        for (int j = lo[1]; j < hi[1]; ++j) {
            const int row = mesh.dims[0] * (j + mesh.dims[1] * k);
            grid_coords(mesh, row + lo[0], row + hi[0], out);
            out += static_cast<std::ptrdiff_t>(hi[0] - lo[0]) * mesh.info.nspace;
        }
    }
    return 1;
}

int get_cell_set(MeshInfo *record, int set, int **out) {
    HostMesh &mesh = host_mesh(record);
    if (set < 0 || set >= static_cast<int>(mesh.given_connect.size())) return 0;
    if (const int *given = mesh.given_connect[set]) {
        *out = const_cast<int *>(given);
        return 1;
    }
    if (mesh.made_connect.empty()) {
        const int ndim = mesh.info.ndim;
        const std::int64_t size = std::int64_t{mesh.info.ncells} << ndim;
        if (size > INT_MAX) return 0;
        try {
            mesh.made_connect.resize(static_cast<std::size_t>(std::max<std::int64_t>(size, 1)));
        } catch (const std::bad_alloc &) {
            return 0;
        }
        if (size > 0)
            UTILget_connect_struct(ndim, mesh.info.dims, 0, mesh.info.ncells, mesh.made_connect.data());
    }
    *out = mesh.made_connect.data();
    return 1;
}

// ---- Checks ----

struct Refused {
    std::string text;
};

[[noreturn]] __attribute__((format(printf, 1, 2))) void refuse(const char *format, ...) {
    char text[256];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    throw Refused{text};
}

// The shortest text that reads back the same, NaN without a sign.
std::string value_text(float value) {
    if (std::isnan(value)) return "nan";
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

void check_present(const char *name, const void *array) {
    if (!array) refuse("%s is null", name);
}

void check_between(const char *name, int value, int lo, int hi) {
    if (value < lo || value > hi) refuse("%s is %d, but must be %d to %d", name, value, lo, hi);
}

void check_at_least_one(const std::string &name, int value) {
    if (value < 1) refuse("%s is %d, but must be at least 1", name.c_str(), value);
}

std::string element(const char *array, int index) {
    return std::string(array) + "[" + std::to_string(index) + "]";
}

// Returns the number of nodes.
int check_dims(int ndim, const int *dims) {
    check_between("ndim", ndim, 1, 3);
    check_present("dims", dims);
    std::int64_t nodes = 1;
    for (int d = 0; d < ndim; ++d) {
        check_at_least_one(element("dims", d), dims[d]);
        nodes *= dims[d];
        if (nodes > INT_MAX) {
            refuse("dims[%d] is %d, which makes %lld nodes, but there can be at most %d", d, dims[d],
                   static_cast<long long>(nodes), INT_MAX);
        }
    }
    return static_cast<int>(nodes);
}

void check_finite(const std::string &name, float value) {
    if (!std::isfinite(value))
        refuse("%s is %s, but must be finite", name.c_str(), value_text(value).c_str());
}

// ---- Building ----

using MeshOwner = std::unique_ptr<HostMesh>;

void add_set(HostMesh &mesh, const CellType &type, int ncells, const int *connect) {
    mesh.positions.push_back(node_positions(type));
    mesh.cell_first.push_back(mesh.info.ncells);
    mesh.cell_ncells.push_back(ncells);
    mesh.cell_nnodes.push_back(static_cast<int>(mesh.positions.back().size() / 3));
    mesh.cell_ndim.push_back(type.ndim);
    mesh.cell_order.push_back(type.order);
    mesh.given_connect.push_back(connect);
    mesh.connect_cache.push_back(nullptr);
    mesh.cell_funcs.push_back(bind_cell_methods(type));
    mesh.info.ncells += ncells;
}

// Points the record at what stands behind it; the last step of building.
MeshOwner finish(MeshOwner mesh) {
    for (std::vector<float> &positions : mesh->positions) mesh->cell_node_uvw.push_back(positions.data());
    mesh->field_funcs = bind_mesh_methods(kKindSuffix[static_cast<int>(mesh->kind)]);
    MeshInfo &info = mesh->info;
    info.host_id = mesh.get();
    info.dims = mesh->dims.data();
    info.field_funcs = &mesh->field_funcs;
    info.get_coords = get_coords;
    info.get_sub_coords = get_sub_coords;
    info.get_points = get_points;
    info.get_cell_set = get_cell_set;
    info.ncell_sets = static_cast<int>(mesh->cell_first.size());
    info.cell_first = mesh->cell_first.data();
    info.cell_ncells = mesh->cell_ncells.data();
    info.cell_nnodes = mesh->cell_nnodes.data();
    info.cell_ndim = mesh->cell_ndim.data();
    info.cell_order = mesh->cell_order.data();
    info.cell_connect = mesh->connect_cache.data();
    info.cell_node_uvw = mesh->cell_node_uvw.data();
    info.cell_funcs = mesh->cell_funcs.data();
    return mesh;
}

MeshOwner make_grid(Kind kind, int ndim, const int *dims, int nspace, int nnodes) {
    auto mesh = std::make_unique<HostMesh>(kind);
    std::copy_n(dims, ndim, mesh->dims.begin());
    mesh->info.ndim = ndim;
    mesh->info.nspace = nspace;
    mesh->info.nnodes = nnodes;
    const int ncells =
        std::accumulate(dims, dims + ndim, 1, [](int product, int count) { return product * (count - 1); });
    add_set(*mesh, *find_cell_type(kGridCell[ndim - 1]), ncells, nullptr);
    return mesh;
}

void take_coords(HostMesh &mesh, const float *coords) {
    const int nspace = mesh.info.nspace;
    const std::int64_t size = std::int64_t{mesh.info.nnodes} * nspace;
    if (size > INT_MAX) {
        refuse("%d nodes of %d components are %lld coordinates, but there can be at most %d",
               mesh.info.nnodes, nspace, static_cast<long long>(size), INT_MAX);
    }
    check_present("coords", coords);
    std::copy_n(coords, nspace, mesh.info.coord_min);
    std::copy_n(coords, nspace, mesh.info.coord_max);
    for (std::int64_t i = 0; i < size; i += nspace) {
        for (int d = 0; d < nspace; ++d) {
            const float value = coords[i + d];
            if (!std::isfinite(value)) check_finite(element("coords", static_cast<int>(i + d)), value);
            mesh.info.coord_min[d] = std::min(mesh.info.coord_min[d], value);
            mesh.info.coord_max[d] = std::max(mesh.info.coord_max[d], value);
        }
    }
    mesh.given_coords = coords;
}

MeshOwner make_uniform(int ndim, const int *dims, int nspace, const float *corners) {
    const int nnodes = check_dims(ndim, dims);
    check_between("nspace", nspace, ndim, 3);
    check_present("corners", corners);
    for (int i = 0; i < 2 * nspace; ++i) check_finite(element("corners", i), corners[i]);
    MeshOwner mesh = make_grid(Kind::kUniform, ndim, dims, nspace, nnodes);
    mesh->points.assign(corners, corners + 2 * nspace);
    for (int d = 0; d < nspace; ++d) {
        const float lower = corners[d], upper = corners[nspace + d];
        const bool extended = d < ndim && dims[d] > 1;
        if (extended && !(upper > lower)) {
            refuse("corners[%d] is %s, but must be above corners[%d], %s, on an axis of %d nodes", nspace + d,
                   value_text(upper).c_str(), d, value_text(lower).c_str(), dims[d]);
        }
        if (extended && !std::isfinite(upper - lower)) {
            refuse("corners[%d] is %s, too far from corners[%d], %s, for a float", nspace + d,
                   value_text(upper).c_str(), d, value_text(lower).c_str());
        }
        mesh->info.coord_min[d] = lower;
        mesh->info.coord_max[d] = extended ? upper : lower;
    }
    return finish(std::move(mesh));
}

MeshOwner make_rectilinear(int ndim, const int *dims, const float *const *axes) {
    const int nnodes = check_dims(ndim, dims);
    check_present("axes", axes);
    MeshOwner mesh = make_grid(Kind::kRectilinear, ndim, dims, ndim, nnodes);
    for (int d = 0; d < ndim; ++d) {
        const std::string name = element("axes", d);
        check_present(name.c_str(), axes[d]);
        for (int i = 0; i < dims[d]; ++i) {
            const float value = axes[d][i];
            check_finite(element(name.c_str(), i), value);
            if (i > 0 && !(value > axes[d][i - 1])) {
                refuse("%s[%d] is %s, but must be above the line before it, %s", name.c_str(), i,
                       value_text(value).c_str(), value_text(axes[d][i - 1]).c_str());
            }
            mesh->points.insert(mesh->points.end(), static_cast<std::size_t>(ndim), 0.0f);
            mesh->points[mesh->points.size() - static_cast<std::size_t>(ndim - d)] = value;
        }
        mesh->info.coord_min[d] = axes[d][0];
        mesh->info.coord_max[d] = axes[d][dims[d] - 1];
    }
    return finish(std::move(mesh));
}

MeshOwner make_structured(int ndim, const int *dims, int nspace, const float *coords) {
    const int nnodes = check_dims(ndim, dims);
    check_between("nspace", nspace, 1, 3);
    MeshOwner mesh = make_grid(Kind::kStructured, ndim, dims, nspace, nnodes);
    take_coords(*mesh, coords);
    return finish(std::move(mesh));
}

void take_set(HostMesh &mesh, const IsohostCellSet &set, const std::string &name) {
    check_present((name + ".type").c_str(), set.type);
    const CellType *type = find_cell_type(set.type);
    if (!type) refuse("%s.type is \"%.40s\", but there is no such cell type", name.c_str(), set.type);
    check_at_least_one(name + ".ncells", set.ncells);
    check_present((name + ".connect").c_str(), set.connect);
    const std::int64_t size = std::int64_t{set.ncells} * isohost_cell_type_nodes(set.type);
    if (size > INT_MAX || set.ncells > INT_MAX - mesh.info.ncells) {
        refuse(
            "%s.ncells is %d, too many: the cells of a mesh and the node numbers of a set can be at most %d",
            name.c_str(), set.ncells, INT_MAX);
    }
    const int nnodes = mesh.info.nnodes;
    for (int i = 0; i < size; ++i) {
        if (set.connect[i] < 0 || set.connect[i] >= nnodes) {
            refuse("%s.connect[%d] is %d, but the mesh has %d nodes (0 to %d)", name.c_str(), i,
                   set.connect[i], nnodes, nnodes - 1);
        }
    }
    add_set(mesh, *type, set.ncells, set.connect);
}

MeshOwner make_cells(int nnodes, int nspace, const float *coords, int nsets, const IsohostCellSet *sets) {
    check_at_least_one("nnodes", nnodes);
    check_between("nspace", nspace, 1, 3);
    check_at_least_one("nsets", nsets);
    check_present("sets", sets);
    auto mesh = std::make_unique<HostMesh>(Kind::kCells);
    mesh->info.nspace = nspace;
    mesh->info.nnodes = nnodes;
    take_coords(*mesh, coords);
    for (int s = 0; s < nsets; ++s) take_set(*mesh, sets[s], element("sets", s));
    return finish(std::move(mesh));
}

template <class Make>
int build(const char *builder, MeshInfo **out, Make make) {
    if (out) *out = nullptr;
    try {
        check_present("out", out);
        *out = &make().release()->info;
        return 1;
    } catch (const Refused &refused) {
        ERRerror(builder, 1, 2, "%s", refused.text.c_str());
    } catch (const std::bad_alloc &) {
        ERRerror(builder, 1, 2, "out of memory");
    }
    return 0;
}

}  // namespace
}  // namespace isofield::host

extern "C" {

int isohost_mesh_uniform(int ndim, const int *dims, int nspace, const float *corners, MeshInfo **out) {
    using namespace isofield::host;
    return build(__func__, out, [&] { return make_uniform(ndim, dims, nspace, corners); });
}

int isohost_mesh_rectilinear(int ndim, const int *dims, const float *const *axes, MeshInfo **out) {
    using namespace isofield::host;
    return build(__func__, out, [&] { return make_rectilinear(ndim, dims, axes); });
}

int isohost_mesh_structured(int ndim, const int *dims, int nspace, const float *coords, MeshInfo **out) {
    using namespace isofield::host;
    return build(__func__, out, [&] { return make_structured(ndim, dims, nspace, coords); });
}

int isohost_mesh_cells(int nnodes, int nspace, const float *coords, int nsets, const IsohostCellSet *sets,
                       MeshInfo **out) {
    using namespace isofield::host;
    return build(__func__, out, [&] { return make_cells(nnodes, nspace, coords, nsets, sets); });
}

void isohost_mesh_free(MeshInfo *mesh) {
    if (mesh) delete &isofield::host::host_mesh(mesh);
}

void isohost_block_table_free(BlockTable *table) {
    if (!table) return;
    for (int *array : {table->blocks, table->cell_list, table->next_list}) {
        if (array) ARRfree_f(array, "host/mesh_builders", __LINE__);
    }
    std::free(table);
}

int isohost_check_node_array(const MeshInfo *mesh, const char *name, size_t rows) {
    if (rows == static_cast<std::size_t>(mesh->nnodes)) return 1;
    ERRerror(__func__, 1, 2, "%s has %zu rows, but the mesh has %d nodes", name, rows, mesh->nnodes);
    return 0;
}

}  // extern "C"
