// Derivatives at points of cells, and gradient, curl and divergence on cell sets: plain twins to the last
// bit, and the oddities by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "support.hpp"

namespace {

constexpr float kUntouched = -77;
using Floats = std::vector<float>;

template <class T>
class CellDerivativesOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(CellDerivativesOf, AllTypes);

// ---- At a point of a cell

// A cell and the data on its mesh. The kind counts as in FourKinds.
template <class T>
struct PointCase {
    MeshInfo *mesh;
    int kind, ndim, set, cell, veclen;
    const T *null_value;
    const std::vector<int> &nodes;
    const std::vector<T> &data;
    Floats uvw;

    // The result, `out`, and where there is one on a surface its frame and the nodes there.
    Floats made() const {
        Floats all(70 + ndim * veclen, kUntouched);
        float *out = &all[1], *frame = out + ndim * veclen;
        const auto call = [&](auto function, auto... more) {
            return function(mesh, cell, veclen, data.data(), type_code<T>, null_value != nullptr, null_value,
                            uvw.data(), out, more...);
        };
        const int had = ndim == 3 ? call(UTILderiv_3d) : call(UTILderiv_2d, frame, frame + 9);
        all[0] = static_cast<float>(had);
        if (!had) all.resize(1 + ndim * veclen);
        return one_nan(all);
    }

    float coordinate(int node, int c) const {
        const int nspace = mesh->nspace, *dims = mesh->dims;
        if (kind >= 2) return mesh->coords[node * nspace + c];
        const int index[3] = {node % dims[0], node / dims[0] % dims[1], node / dims[0] / dims[1]};
        const float *points = mesh->points;
        const int offset[3] = {0, dims[0] * nspace, (dims[0] + dims[1]) * nspace};
        if (kind == 1) return points[offset[c] + index[c]];
        const float step = c < ndim ? (points[nspace + c] - points[c]) / static_cast<float>(dims[c] - 1) : 0;
        return points[c] + step * static_cast<float>(index[c]);
    }

    Floats plain() const {
        Floats none(1 + ndim * veclen, kUntouched), all = none;
        none[0] = 0;
        const int n = static_cast<int>(nodes.size());
        if (*std::max_element(nodes.begin(), nodes.end()) >= mesh->nnodes) return none;
        Floats values, xyz(3 * n), derivs(3 * n), jinv(9), along(3 * n), turned(n * veclen);
        for (int k = 0; k < n; ++k) {
            const T *row = &data[nodes[k] * veclen];
            if (null_value && row[0] == *null_value) return none;
            values.insert(values.end(), row, row + veclen);
            for (int c = 0; c < mesh->nspace; ++c) xyz[3 * k + c] = coordinate(nodes[k], c);
        }
        mesh->cell_funcs[set].funcs.shape_deriv_func(uvw.data(), derivs.data());
        all.resize(70 + ndim * veclen, kUntouched);
        all[0] = 1;
        float *out = &all[1], *frame = out + ndim * veclen;
        const float det =
            ndim == 3 ? UTILjacobian_3d_inv(n, derivs.data(), xyz.data(), jinv.data())
                      : UTILjacobian_2d_inv(n, derivs.data(), xyz.data(), jinv.data(), frame, frame + 9);
        if (det == 0) return none;
        MATvec_by_mat(jinv.data(), derivs.data(), along.data(), ndim, ndim, n);
        if (ndim == 2 && veclen > 1) {
            Floats filled(frame, frame + 9);
            filled.resize(9 + n * veclen);
            MATvec_by_mat(values.data(), filled.data(), turned.data(), 1, n, veclen);
            values = turned;
        }
        MATvec_by_mat(along.data(), values.data(), out, ndim, n, veclen);
        return one_nan(all);
    }
};

// Of every veclen, with and without nulls. Returns how many of the cases had a derivative.
template <class T>
int expect_plain_point(MeshInfo *mesh, int kind, int set, int cell, const std::vector<int> &nodes) {
    const T null = 3;
    const auto data = awkward_values<T>(5 * mesh->nnodes, 200, cell);
    int had = 0;
    for (const int veclen : {1, 2, 3, 5}) {
        for (const T *null_value : {static_cast<const T *>(nullptr), &null}) {
            const PointCase<T> point{mesh,
                                     kind,
                                     mesh->cell_ndim[set],
                                     set,
                                     cell,
                                     veclen,
                                     null_value,
                                     nodes,
                                     data,
                                     awkward_values<float>(3, 0, cell)};
            const Floats made = point.made();
            EXPECT_TRUE(same_bits(made, point.plain())) << kind << " " << set << " " << cell;
            had += made[0] == 1;
        }
    }
    return had;
}

void shake(CellMesh &cells, float from) {
    std::mt19937 random(3);
    for (float &x : cells.coords) x += x > from ? static_cast<float>(random() % 1000) * 3e-4f : 0;
}

TYPED_TEST(CellDerivativesOf, KernelsAreTheirPlainTwins) {
    using T = TypeParam;
    CellMesh cells = all_kinds(2);
    shake(cells, 0);
    const MeshPtr mesh = cells.make();
    for (int set = 0, first = 0; set < mesh->ncell_sets; first += mesh->cell_ncells[set++]) {
        const int n = mesh->cell_nnodes[set];
        for (int cell = 0; cell < mesh->cell_ncells[set]; cell += 3) {
            const auto nodes = cells.sets[set].connect.begin() + n * cell;
            EXPECT_GE(expect_plain_point<T>(mesh.get(), 3, set, first + cell, {nodes, nodes + n}), 4);
        }
    }
    for (const std::vector<int> &dims : {std::vector{5, 4, 6}, {1, 3, 3}, {7, 5}, {3, 1}}) {
        const bool flat = dims.size() == 2;
        const FourKinds grid(dims, flat ? Floats{-1, 0.5f, 1.7f, 2} : Floats{-1, 0.5f, 2, 1.7f, 2, 2.3f});
        for (int n = 0; n < 3 * grid.meshes[0]->nnodes; ++n) {
            const int c = n / 3, d0 = dims[0];
            std::vector<int> nodes = {c + 1, c, c + d0, c + d0 + 1};
            for (int i = 0; i < 4 && !flat; ++i) nodes.push_back(nodes[i] + d0 * dims[1]);
            expect_plain_point<T>(grid.meshes[n % 3].get(), n % 3, 0, c, nodes);
        }
    }
}

// ---- On cell sets

using Operator = int (*)(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                         const void *null_value, float *out);
constexpr Operator kOperators[3] = {UTILgrad, UTILcurl, UTILdiv};
enum { kGrad, kCurl, kDiv };

// A node's row of one cell, `s` being what the last good point of the cell left.
template <class T>
Point plain_row(MeshInfo *mesh, int op, int set, int cell, int k, const T *data, int veclen,
                const T *null_value, float *s) {
    const float *uvw = mesh->cell_node_uvw[set] + 3 * k;
    const int flag = null_value != nullptr, ndim = mesh->cell_ndim[set];
    if (ndim == 1) return {};
    if (ndim == 3) {
        const int had = UTILderiv_cell_3d(mesh, cell, veclen, data, type_code<T>, flag, null_value, uvw, s);
        if (op == kCurl) return {s[5] - s[7], s[6] - s[2], s[1] - s[3]};
        if (op == kDiv) return {s[0] + s[4] + s[8]};
        return had ? Point{s[0], s[1], s[2]} : Point{};
    }
    float frame[9], in_frame[60];
    Point row;
    if (!UTILderiv_cell_2d(mesh, cell, op == kCurl ? 2 : 1, data, type_code<T>, flag, null_value, uvw, s,
                           frame, in_frame)) {
        return {};
    }
    if (op == kDiv) return {s[0] + 0.0f};
    const float flat[3] = {op == kGrad ? s[0] : 0, op == kGrad ? s[1] : 0, op == kGrad ? 0 : s[1] - s[2]};
    MATmat3_transpose(frame, frame);
    MATvec_by_mat(flat, frame, row.data(), 1, 3, 3);
    return row;
}

template <class T>
Floats plain_operator(MeshInfo *mesh, int op, const std::vector<T> &data, int veclen, const T *null_value) {
    const int width = op == kDiv ? 1 : 3;
    Floats out(width * mesh->nnodes), counts(mesh->nnodes);
    std::set<int> hurt;
    for (int set = 0, cell = 0; set < mesh->ncell_sets; ++set) {
        const int n = mesh->cell_nnodes[set], *nodes = mesh->cell_connect[set];
        for (int c = 0; c < mesh->cell_ncells[set]; ++c, ++cell, nodes += n) {
            float scratch[9] = {};
            for (int k = 0; k < n; ++k) {
                const Point row = plain_row(mesh, op, set, cell, k, data.data(), veclen, null_value, scratch);
                for (int d = 0; d < width; ++d) out[width * nodes[k] + d] += row[d];
                counts[nodes[k]] += 1;
                if (null_value && data[nodes[k] * veclen] == *null_value) hurt.insert(nodes, nodes + n);
            }
        }
    }
    for (int i = 0; i < width * mesh->nnodes; ++i) out[i] /= counts[i / width];
    for (const int node : hurt) std::fill_n(&out[width * node], width, 0.0f);
    return out;
}

template <class T>
void expect_plain_operator(MeshInfo *mesh, int op, const std::vector<T> &data, int veclen) {
    const T null = 3;
    for (const T *null_value : {static_cast<const T *>(nullptr), &null}) {
        Floats out((op == kDiv ? 1 : 3) * mesh->nnodes, kUntouched);
        EXPECT_EQ(kOperators[op](mesh, data.data(), veclen, type_code<T>, null_value != nullptr, null_value,
                                 out.data()),
                  1);
        const Floats plain = plain_operator(mesh, op, data, veclen, null_value);
        EXPECT_TRUE(same_bits(one_nan(out), one_nan(plain))) << op << " " << veclen;
    }
}

// A type's own derivatives, made to vary over the cell.
template <auto kDerivs, int kCount>
void stretched(const float *uvw, float *out) {
    kDerivs(uvw, out);
    for (int i = 0; i < kCount; ++i) out[i] *= 1 + uvw[0] / 2;
}

enum { kSmooth, kRough, kOwnFunctions };

// Rough cells are out of shape beyond x, y, z = 2; some have two nodes at one place, or one that is nowhere.
MeshPtr make(CellMesh &cells, int how) {
    if (how != kSmooth) shake(cells, 2);
    MeshPtr mesh = cells.make();
    for (std::size_t s = 0; s < cells.sets.size(); ++s) {
        const CellSetData &set = cells.sets[s];
        auto &own = mesh->cell_funcs[s].funcs.shape_deriv_func;
        if (how == kOwnFunctions && set.type == "tri_1") own = stretched<UTILsh_deriv_tri_1, 6>;
        if (how == kOwnFunctions && set.type == "tet_1") own = stretched<UTILsh_deriv_tet_1, 12>;
        if (how == kOwnFunctions && set.type == "hex_1") own = stretched<UTILsh_deriv_hex_1, 24>;
        for (int cell = 3; how == kRough && cell < set.ncells(); cell += 11) {
            const int *nodes = &set.connect[cell * set.nnodes()];
            std::copy_n(&cells.coords[3 * nodes[0]], 3, &cells.coords[3 * nodes[1]]);
        }
    }
    const Floats nowhere = {INFINITY, NAN};
    for (std::size_t i = 0; how == kRough && i < cells.coords.size(); i += 311)
        cells.coords[i] = nowhere[i % 2];
    return mesh;
}

TYPED_TEST(CellDerivativesOf, OperatorsAreTheirPlainTwins) {
    using T = TypeParam;
    for (int how = kSmooth; how <= kOwnFunctions; ++how) {
        const auto is_surface = [](const CellSetData &s) {
            return s.type.starts_with("quad") || s.type.starts_with("tri");
        };
        CellMesh volumes = all_kinds(4), surfaces = volumes, mixed = mixed_block(4);
        std::erase_if(volumes.sets, is_surface);
        std::erase_if(surfaces.sets, std::not_fn(is_surface));
        mixed.add("quad_1", {0, 1, 7, 6});
        for (CellMesh *cells : {&volumes, &mixed, &surfaces}) {
            cells->coords.insert(cells->coords.end(), 3, 1.0f);  // a node of no cell
            cells->add("line_1", {0, 1});
            const MeshPtr mesh = make(*cells, how);
            const auto data = awkward_values<T>(5 * cells->nnodes(), how == kRough ? 60 : 0, 5);
            expect_plain_operator(mesh.get(), kGrad, data, 1);
            if (cells == &mixed) mesh->cell_ncells[mesh->ncell_sets - 2] = 0;  // its quads don't count now
            for (const int veclen : {cells == &surfaces ? 2 : 3, cells == &surfaces ? 5 : 3}) {
                if (veclen < 5) expect_plain_operator(mesh.get(), kCurl, data, veclen);
                expect_plain_operator(mesh.get(), kDiv, data, veclen);
            }
        }
    }
}

// ---- By hand

// (y, 0, 0) on a cube with nodes 2 and 3, then 0 and 1, at one place, where there is no derivative.
TEST(CellDerivatives, PointsWithoutOneTakeTheLastCurl) {
    for (const int at : {2, 0}) {
        CellMesh cube = block_of(Cube::kHex, 1);
        const int *nodes = cube.sets[0].connect.data();
        Floats field(24), curl(24);
        for (std::size_t i = 0; i < 24; i += 3) field[i] = cube.coords[i + 1];
        std::copy_n(&cube.coords[3 * nodes[at]], 3, &cube.coords[3 * nodes[at + 1]]);
        const MeshPtr mesh = cube.make();
        UTILcurl_cell(mesh.get(), 3, 0, field.data(), 3, 4, 0, nullptr, 8, mesh->cell_node_uvw[0],
                      curl.data());
        for (int k = 0; k < 8; ++k) EXPECT_EQ(curl[3 * k + 2], at == 0 && k < 2 ? 0 : -1) << at << k;
    }
}

// A unit square across the x axis.
TEST(CellDerivatives, OfSurfaces) {
    CellMesh square{{0, 0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1}, {{"quad_1", {0, 1, 2, 3}}}};
    const MeshPtr mesh = square.make();
    Floats out(12);
    const auto run = [&](Operator function, const Floats &data, int veclen) {
        EXPECT_EQ(function(mesh.get(), data.data(), veclen, 4, 0, nullptr, out.data()), 1);
        return out;
    };
    const Floats y_and_2z = {0, 1, 3, 2};
    EXPECT_EQ(run(UTILgrad, y_and_2z, 1), (Floats{0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2}));
    // The first four elements, as if they were scalars.
    out.resize(4);
    EXPECT_EQ(run(UTILdiv, {0, 1, 3, 2, 9, 9, 9, 9}, 2), Floats(4, 1));
    // In the plane z = 0 the frame is the unit matrix, which as 4 x 2 turns the values into (3 + 4, 0).
    out.resize(12);
    square.coords = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    std::copy(square.coords.begin(), square.coords.end(), mesh->coords);
    EXPECT_EQ(run(UTILcurl, {3, 9, 4, 9, 8, 8, 8, 8}, 2), (Floats{0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 0, 7}));
}

TEST(CellDerivatives, Refusals) {
    CellMesh hexes = block_of(Cube::kHex, 1), quads{hexes.coords, {{"quad_1", {0, 1, 3, 2}}}};
    const MeshPtr volume = hexes.make(), surface = quads.make();
    MeshInfo *const mesh = volume.get();
    const Floats data(40, 1.0f), untouched(24, kUntouched);
    Floats out = untouched;
    const float *uvw = mesh->cell_node_uvw[0];
    const auto refuse = [&](const MeshPtr &m, int op, int veclen) {
        EXPECT_EQ(kOperators[op](m.get(), data.data(), veclen, 4, 0, nullptr, out.data()), 0) << op << veclen;
    };
    const auto derive = [&](int veclen, const float *values, int dtype = 4) {
        return UTILderiv_3d(mesh, 0, veclen, values, dtype, 0, nullptr, uvw, out.data());
    };
    isohost_quiet_errors(1);
    isohost_clear_errors();
    testing::internal::CaptureStderr();
    refuse(volume, kGrad, 2);
    for (const int veclen : {1, 2, 4}) refuse(volume, kCurl, veclen);
    for (const int veclen : {1, 2, 4}) refuse(volume, kDiv, veclen);
    for (const int veclen : {1, 3}) refuse(surface, kCurl, veclen);
    refuse(surface, kDiv, 1);
    for (const auto cell : {UTILcurl_cell, UTILdiv_cell})
        EXPECT_EQ(cell(mesh, 3, 0, data.data(), 2, 4, 0, nullptr, 8, uvw, out.data()), 0);
    EXPECT_EQ(derive(0, data.data()) + derive(-1, data.data()) + derive(1, nullptr), 0);
    mesh->cell_nnodes[0] = 86;
    EXPECT_EQ(derive(1, data.data()), 0);
    mesh->cell_nnodes[0] = 8;
    EXPECT_EQ(testing::internal::GetCapturedStderr() + isohost_errors(), "");
    EXPECT_EQ(out, untouched);

    testing::internal::CaptureStderr();
    EXPECT_EQ(derive(1, data.data(), 6), 0);
    *mesh->field_funcs = {};
    EXPECT_EQ(derive(1, data.data()), 0);
    EXPECT_EQ(UTILderiv_2d(mesh, 0, 1, data.data(), 4, 0, nullptr, uvw, &out[0], &out[0], &out[0]), 0);
    for (int op = kGrad; op <= kDiv; ++op) refuse(volume, op, op == kGrad ? 1 : 3);
    EXPECT_EQ(out, untouched);
    EXPECT_EQ(UTILgrad_cells(mesh, data.data(), 1, 6, 0, nullptr, out.data()), 1);
    EXPECT_EQ(out, Floats(24));
    std::string told = "UTILderiv: no deriv3d function found\nUTILderiv: no deriv2d function found\n";
    for (int n = 0; n < 9; ++n) told.insert(n == 0 ? 0 : told.size(), "interpolate: unknown data type\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), told);
    EXPECT_STREQ(isohost_errors(),
                 "UTILgrad: no grad function found\nUTILcurl: no curl function found\n"
                 "UTILdiv: no div function found\n");
    isohost_clear_errors();
    isohost_quiet_errors(0);
}

}  // namespace
