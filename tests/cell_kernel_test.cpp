// What one cell can do: shape functions, parametric mapping, points in cells, integrals, cell data to nodes.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "isofield.hpp"
#include "support.hpp"

namespace {

// pent_2 is the library's prism_2, prism_2 that of the default host.
constexpr const char *kTypes[] = {"line_1", "line_2",  "tri_1",   "tri_2",  "quad_1", "quad_2", "tet_1",
                                  "tet_2",  "prism_1", "prism_2", "pent_2", "pyr_1",  "hex_1",  "hex_2"};
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// One cell of a type. Its nodes stand where they do in parametric space, until they are moved.
struct Cell {
    std::string type;
    int nnodes, ndim, simplex = 0;  // simplex: how many parametric axes are those of one
    CellMesh cells;
    MeshPtr mesh;
    std::vector<Point> positions;
    Point middle = {0, 0, 0};
    std::mt19937 random{11};

    explicit Cell(const std::string &name) : type(name) {
        const std::string host_type = is("pent_2") ? "prism_2" : type;
        nnodes = isohost_cell_type_nodes(host_type.c_str());
        std::vector<int> connect(nnodes);
        std::iota(connect.begin(), connect.end(), 0);
        cells.coords.resize(3 * nnodes);
        cells.add(host_type, connect);
        mesh = cells.make();
        if (is("pent_2")) funcs().shape_func = UTILsh_func_pent_2;
        if (is("pent_2")) funcs().rev_par_func = UTILrev_par_pent_2;
        ndim = mesh->cell_ndim[0];
        if (is("tri") || is("prism") || is("pent")) simplex = 2;
        if (is("tet")) simplex = 3;
        for (int d = 0; d < simplex; ++d) middle[d] = static_cast<float>(1.0 / (simplex + 1));
        for (const float *p = mesh->cell_node_uvw[0]; static_cast<int>(positions.size()) < nnodes; p += 3)
            positions.push_back({p[0], p[1], p[2]});
        std::copy_n(mesh->cell_node_uvw[0], 3 * nnodes, xyz());
    }

    bool is(const char *word) const { return type.find(word) == 0; }
    bool is_direct() const { return is("line_1") || is("tri_1") || is("tet_1"); }
    SetFuncs &funcs() const { return mesh->cell_funcs[0].funcs; }
    float *xyz() { return cells.coords.data(); }
    const float *xyz() const { return cells.coords.data(); }
    float uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(random); }

    std::vector<float> weights(const Point &uvw) const {
        std::vector<float> out(nnodes);
        funcs().shape_func(uvw.data(), out.data());
        return out;
    }
    std::vector<float> derivs(const float *uvw) const {
        std::vector<float> out(ndim * nnodes);
        funcs().shape_deriv_func(uvw, out.data());
        return out;
    }
    Point at(const Point &uvw) const {
        Point point;
        MATvec_by_mat(weights(uvw).data(), xyz(), point.data(), 1, nnodes, 3);
        return point;
    }
    std::pair<int, Point> rev_par(const Point &point) const {
        Point uvw = {7, 7, 7};
        const int result = funcs().rev_par_func(xyz(), point.data(), uvw.data());
        return {result, uvw};
    }

    // Between the middle (0) and the faces (1), or beyond them. Coordinates that the type hasn't are NaN.
    Point random_point(float distance, int mixed = 3) {
        Point p = middle;
        float share[3] = {1, 0, 0};
        for (int i = 1; i < mixed; ++i) share[0] -= share[i] = uniform(0, 0.5f);
        for (int i = 0; i < mixed; ++i) {
            const Point &node = positions[random() % (mixed == 1 ? ndim + 1 : nnodes)];
            for (int d = 0; d < 3; ++d) p[d] += distance * share[i] * (node[d] - middle[d]);
        }
        std::fill(p.begin() + ndim, p.end(), kNan);
        return p;
    }

    // Moves each node by up to `amount` along the cell, then the whole cell into space.
    void distort(float amount, bool mirrored) {
        constexpr float kAxes[3][3] = {{1.6f, 1.2f, 0}, {-0.48f, 0.64f, 0.6f}, {0.72f, -0.96f, 1.6f}};
        for (int i = 0; i < nnodes; ++i) {
            float *q = xyz() + 3 * i;
            std::copy_n(std::begin({3.0f, -2.0f, 1.0f}), 3, q);
            for (int a = 0; a < 3; ++a) {
                const float p = positions[i][a] + (a < ndim ? uniform(-amount, amount) : 0);
                for (int d = 0; d < 3; ++d) q[d] += p * kAxes[a][d];
            }
            if (mirrored) q[0] = -q[0];
        }
        if (!is("pent")) return;
        // The weight of node 7 is not its own. There it counts for nothing.
        const Point seventh = {xyz()[21], xyz()[22], xyz()[23]};
        for (int i = 0; i < 45; ++i) xyz()[i] -= seventh[i % 3];
    }
};

// ---- Shape functions

std::vector<float> true_weights(const Cell &cell, const Point &p) {
    std::vector<float> weights = cell.weights(p);
    if (cell.is("pent")) {
        EXPECT_EQ(weights[7], weights[6]);
        weights[7] = 2 * p[1] * (1 - p[0] - p[1]) * (1 + p[2]);
    }
    return weights;
}

// What fixes them: 1 at their node and 0 at the others; linear or quadratic fields come back.
TEST(ShapeFunctions, ReproducePolynomialsAndHaveTheirDerivatives) {
    constexpr float kStep = 1.0f / 64;
    for (const char *type : kTypes) {
        SCOPED_TRACE(type);
        Cell cell(type);
        for (int i = 0; i < cell.nnodes; ++i) {
            std::vector<float> unit(cell.nnodes);
            unit[i] = 1;
            EXPECT_EQ(true_weights(cell, cell.positions[i]), unit);
        }
        for (int n = 0; n < 50; ++n) {
            const Point p = cell.random_point(cell.uniform(0, 1.2f));
            const std::vector<float> weights = true_weights(cell, p), derivs = cell.derivs(p.data());
            // Pyramids narrow towards their apex.
            const float width = cell.is("pyr") ? (1 - p[2]) / 2 : 1;
            const Point expected = {p[0] * width, p[1] * width, p[2]};
            EXPECT_NEAR(std::accumulate(weights.begin(), weights.end(), 0.0f), 1, 4e-6);
            for (int a = 0; a < cell.ndim; ++a) {
                for (int b = cell.mesh->cell_order[0] == 1 ? cell.ndim : 0; b <= cell.ndim; ++b) {
                    float sum = 0;
                    for (int i = 0; i < cell.nnodes; ++i) {
                        const Point &q = cell.positions[i];
                        sum += weights[i] * q[a] * (b < cell.ndim ? q[b] : 1);
                    }
                    EXPECT_NEAR(sum, expected[a] * (b < cell.ndim ? expected[b] : 1), 1e-5) << a << b;
                }
                Point low = p, high = p;
                low[a] -= kStep;
                high[a] += kStep;
                const std::vector<float> from = true_weights(cell, low), to = true_weights(cell, high);
                for (int i = 0; i < cell.nnodes; ++i)
                    EXPECT_NEAR(derivs[a * cell.nnodes + i], (to[i] - from[i]) / (2 * kStep), 1e-4) << a << i;
            }
        }
        if (cell.is_direct()) cell.derivs(nullptr);
    }
}

// ---- Parametric mapping

// Frames stand on the first axis of the cell; off a line on y, unless it runs along y.
TEST(ParametricMapping, FramesOfLinesAndSurfaces) {
    using Frame = std::vector<float>;
    Frame frame(9), turned(12);
    float jinv[4];
    const auto of_line = [&](const std::vector<float> &nodes) {
        EXPECT_EQ(
            UTILjacobian_1d_inv(2, std::data({-0.5f, 0.5f}), nodes.data(), jinv, frame.data(), turned.data()),
            2);
        EXPECT_EQ(jinv[0], 0.5f);
        return frame;
    };
    EXPECT_EQ(of_line({0, 0, 0, 4, 0, 0}), (Frame{1, 0, 0, 0, 1, 0, 0, 0, 1}));
    EXPECT_EQ(of_line({0, 0, 0, 0, 4, 0}), (Frame{0, -1, 0, 1, 0, 0, 0, 0, 1}));
    const float quad[] = {3, 0, 0, 3, 0, 2, 3, 4, 3, 3, 4, 1};
    const Cell cell("quad_1");
    EXPECT_EQ(UTILjacobian_2d_inv(4, cell.derivs(cell.middle.data()).data(), quad, jinv, frame.data(),
                                  turned.data()),
              2);
    EXPECT_EQ(frame, (Frame{0, 0, -1, 0, 1, 0, 1, 0, 0}));
    EXPECT_EQ(turned, (Frame{0, 0, -3, 2, 0, -3, 3, 4, -3, 1, 4, -3}));
    EXPECT_EQ(Frame(jinv, jinv + 4), (Frame{1, 0, -0.25f, 0.5f}));
}

TEST(ParametricMapping, PointsGoInAndOutOfDistortedCells) {
    for (const char *type : kTypes) {
        SCOPED_TRACE(type);
        Cell cell(type);
        for (int n = 0; n < 400; ++n) {
            cell.distort(0.06f, n % 2);
            const Point p = cell.random_point(cell.uniform(0, 0.95f));
            const auto [result, uvw] = cell.rev_par(cell.at(p));
            EXPECT_EQ(result, 1);
            for (int d = 0; d < cell.ndim; ++d) {
                const float expected = cell.is("line_1") ? (1 + p[0]) / 2 : p[d];
                EXPECT_NEAR(uvw[d], expected, cell.is_direct() ? 1e-4 : 0.06);
            }
            EXPECT_NE(cell.rev_par(cell.at(cell.random_point(1.6f, 1))).first, 1);
        }
    }
}

// Cells that stand where they do in parametric space, so that places are the points themselves.
TEST(ParametricMapping, MarginsAndDegenerateCells) {
    constexpr std::tuple<const char *, Point, int> kCases[] = {
        {"tri_1", {-0.04f, 0.5f, 0}, 1},    {"tri_1", {-0.06f, 0.5f, 0}, 0},
        {"tri_1", {0.5f, -0.06f, 0}, 0},    {"tri_1", {1.06f, -0.04f, 0}, 0},
        {"tri_1", {0.54f, 0.5f, 0}, 1},     {"tri_1", {0.56f, 0.5f, 0}, 0},
        {"tet_1", {0.3f, 0.3f, -0.04f}, 1}, {"tet_1", {0.3f, 0.3f, -0.06f}, 0},
        {"tet_1", {-0.06f, 0.3f, 0.3f}, 0}, {"tet_1", {0.3f, -0.06f, 0.3f}, 0},
        {"tet_1", {0.34f, 0.3f, 0.4f}, 1},  {"tet_1", {0.36f, 0.3f, 0.4f}, 0},
        {"line_1", {-1.04f, 0, 0}, 1},      {"line_1", {-1.06f, 0, 0}, 0},
        {"line_1", {0, 0.3f, 0}, 1},        {"line_1", {0, 0.4f, 0}, 0},
        {"pyr_1", {0, 0, 1}, -1},           {"hex_1", {1.04f, 0, -1.04f}, 1}};
    for (const auto &[type, point, result] : kCases)
        EXPECT_EQ(Cell(type).rev_par(point).first, result) << type << testing::PrintToString(point);
    EXPECT_EQ(Cell("hex_1").rev_par({0, 0, 0}), (std::pair<int, Point>{1, {0, 0, 0}}));
    EXPECT_EQ(Cell("line_1").rev_par({-0.5f, 0, 0}), (std::pair<int, Point>{1, {0.25f, 7, 7}}));
    for (const char *type : kTypes) {
        Cell cell(type);
        std::fill_n(cell.xyz(), 3 * cell.nnodes, 2.0f);
        EXPECT_EQ(cell.rev_par({2, 2, 2}).first, cell.is("tri_1") || cell.is("tet_1") ? 0 : -1) << type;
    }
}

// The iteration step by step. `steps` counts those that were applied.
std::pair<int, Point> newton(const Cell &cell, const Point &point, int &steps) {
    const int n = cell.nnodes, dim = cell.ndim;
    Point uvw = {7, 7, 7}, p = point, x, r, du;
    std::copy_n(cell.middle.begin(), dim, uvw.begin());
    float sign = 1, jinv[9], frame[9], turned[60];
    for (steps = 0; steps < 20; ++steps) {
        const std::vector<float> weights = cell.weights(uvw), derivs = cell.derivs(uvw.data());
        const auto inverse = dim == 1 ? UTILjacobian_1d_inv : UTILjacobian_2d_inv;
        const float det = dim == 3 ? UTILjacobian_3d_inv(n, derivs.data(), cell.xyz(), jinv)
                                   : inverse(n, derivs.data(), cell.xyz(), jinv, frame, turned);
        if (steps == 0 && det < 0) sign = -1;
        if (det * sign <= 0) return {-1, uvw};
        if (dim < 3) MATvec_by_mat(point.data(), frame, p.data(), 1, 3, 3);
        if (cell.is("quad") && std::abs(p[2] - turned[2]) > 0.001 * double{det * sign}) return {0, uvw};
        MATvec_by_mat(weights.data(), dim < 3 ? turned : cell.xyz(), x.data(), 1, n, 3);
        for (int d = 0; d < 3; ++d) r[d] = p[d] - x[d];
        MATvec_by_mat(r.data(), jinv, du.data(), 1, dim, dim);
        if (std::all_of(du.begin(), du.begin() + dim, [](float s) { return std::abs(s) < 0.05; })) break;
        for (int d = 0; d < dim; ++d) uvw[d] += du[d];
    }
    double rest = 1.05;
    for (int d = 0; d < 3; ++d) {
        if (d < dim && std::abs(uvw[d]) > 1.05) return {0, uvw};
        if (d < cell.simplex && uvw[d] + 0.05 < 0) return {0, uvw};
        if (d < cell.simplex) rest -= uvw[d];
        if (d >= dim && std::abs(r[d]) > 0.05) return {0, uvw};
    }
    return {rest >= 0, uvw};
}

TEST(ParametricMapping, IterationIsThePlainOneToTheLastBit) {
    std::map<int, int> results;
    int endless = 0;
    for (const char *type : kTypes) {
        SCOPED_TRACE(type);
        Cell cell(type);
        for (int n = 0; n < 2000 && !cell.is_direct(); ++n) {
            cell.distort(cell.uniform(0, 0.7f), n % 2);
            Point point = cell.at(cell.random_point(cell.uniform(0, 2)));
            const float off[] = {0, 0.003f, 0.1f};
            for (float &x : point) x += off[n % 3] * cell.uniform(-1, 1);
            int steps;
            const auto expected = newton(cell, point, steps), mapped = cell.rev_par(point);
            ASSERT_EQ(mapped.first, expected.first) << n;
            ASSERT_TRUE(same_bits(mapped.second, expected.second)) << n;
            ++results[expected.first];
            endless += steps == 20;
        }
    }
    EXPECT_GT(results[-1], 500) << "folded";
    EXPECT_GT(std::min(results[0], results[1]), 500);
    EXPECT_GT(endless, 20);
}

// ---- Points in cells

// A square and a triangle beside it.
CellMesh flat_pair() {
    CellMesh cells{{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 2, 0, 0, 2, 1, 0}, {}};
    cells.add("quad_1", {0, 1, 2, 3});
    cells.add("tri_1", {1, 4, 5});
    return cells;
}

TEST(PointsInCells, BoxesAndIds) {
    CellMesh cells = flat_pair();
    const MeshPtr mesh = cells.make();
    const auto interp = [&](int cell, Point xyz, int pretest, double tol) {
        Point uvw;
        return UTILinterp_cell_uvw(mesh.get(), cell, xyz.data(), pretest, tol, uvw.data());
    };
    EXPECT_EQ(interp(0, {0.5f, 0.5f, 0}, 1, 0), 1);
    EXPECT_EQ(interp(1, {1.7f, 0.3f, 0.05f}, 1, 0.04), 0);
    EXPECT_EQ(interp(1, {1.7f, 0.3f, 0.05f}, 0, 0.04), 1);
    EXPECT_EQ(interp(1, {2.02f, 0.3f, 0}, 1, 0.01), 0);
    EXPECT_EQ(interp(1, {2.02f, 0.3f, 0}, 1, 0.03), 1);
    for (const int nowhere : {2, -1}) EXPECT_EQ(interp(nowhere, {1.7f, 0.3f, 0}, 0, 0), 0);
    std::fill_n(cells.coords.begin(), 12, 0.0f);
    EXPECT_EQ(interp(0, {0, 0, 0}, 1, 0), -1);
    mesh->cell_funcs[1].funcs.rev_par_func = nullptr;
    EXPECT_EQ(interp(1, {1.7f, 0.3f, 0}, 0, 0), 0);
    mesh->cell_nnodes[0] = 21;
    EXPECT_EQ(interp(0, {0, 0, 0}, 0, 0), 0);
}

// x = 0.5, y = -0.25, z = 0.75 along the axes of the second cell of each.
TEST(PointsInCells, GridCellsTurnTheirFrame) {
    const FourKinds grid({3, 3, 3}, {0, 0, 0, 4, 4, 8});
    for (int m = 0; m < 3; ++m) {
        Point uvw;
        MeshInfo *mesh = grid.meshes[m].get();
        const auto interp = [&](int cell, Point xyz, int pretest, double tol) {
            return mesh->field_funcs->interp_cell_func(mesh, cell, xyz.data(), pretest, tol, uvw.data());
        };
        EXPECT_EQ(interp(13, {3.5f, 2.75f, 7.5f}, 1, 0), 1) << m;
        EXPECT_EQ(uvw, (Point{-0.25f, 0.5f, -0.75f})) << m;
        // Margins of the range, which is 2 for a cell of 2, or of space.
        EXPECT_EQ(interp(13, {1.95f, 2.75f, 7.5f}, 1, 0.04), 0) << m;
        EXPECT_EQ(interp(13, {1.95f, 2.75f, 7.5f}, 1, 0.06), 1) << m;
        EXPECT_EQ(interp(13, {-1, 2.75f, 7.5f}, 0, 0), m < 2) << "not tested in " << m;
        for (const int nowhere : {27, 26, -1}) EXPECT_EQ(interp(nowhere, {3.5f, 2.75f, 7.5f}, 1, 0), 0);
    }
    // A row of cells in space; its other axes count by distance.
    const MeshPtr row = uniform_mesh({3, 1}, {1, 2, 7, 2, 2.5f, 7});
    const auto interp = [&](Point xyz) {
        Point uvw;
        return UTILinterp_cell_uvw_unif(row.get(), 1, xyz.data(), 1, 0.01, uvw.data());
    };
    EXPECT_EQ(interp({1.625f, 2.005f, 6.995f}), 1);
    EXPECT_EQ(interp({1.625f, 2.02f, 7}) + interp({1.625f, 2, 7.02f}), 0);
}

template <class T>
class CellDataOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(CellDataOf, AllTypes);

TYPED_TEST(CellDataOf, WeightsTimesValuesUnlessANodeIsNull) {
    using T = TypeParam;
    const CellMesh cells = flat_pair();
    const MeshPtr mesh = cells.make();
    const std::vector<T> data = {0, 0, 8, 100, 0, 0, 0, 0, 12, 20, 16, 60};
    const float uvw[] = {0.5f, 0.25f, 0, 0, 0, 0};
    T null = 100;
    std::vector<float> out(4, -1), again(4, -1);
    const auto interp = [&](int null_flag, int npts) {
        return UTILinterp_cell_val(mesh.get(), 1, 2, data.data(), type_code<T>, null_flag, &null, npts, uvw,
                                   out.data());
    };
    EXPECT_EQ(interp(0, 0), 1);
    EXPECT_EQ(out, again) << "nothing written";
    EXPECT_EQ(interp(1, 2), 1) << "only first components are looked at";
    EXPECT_EQ(out, (std::vector<float>{11, 70, 16, 60}));
    EXPECT_EQ(UTILtesselate_cell_val(cells.sets[1].connect.data(), 3, UTILsh_func_tri_1, 2, data.data(),
                                     type_code<T>, 1, &null, 2, uvw, again.data()),
              1);
    EXPECT_EQ(again, out);
    null = 12;
    EXPECT_EQ(interp(1, 2), 0);
    EXPECT_EQ(out, (std::vector<float>{12, 12, 16, 60})) << "the first row is null";
    mesh->cell_funcs[1].funcs.shape_func = nullptr;
    EXPECT_EQ(interp(0, 1), 0);
}

// ---- Integrals

TEST(Integrals, RulesAreExactOnDistortedCells) {
    static SetFuncs own;
    for (const char *type : {"tri_1", "quad_1", "tet_1", "prism_1", "hex_1"}) {
        SCOPED_TRACE(type);
        Cell cell(type);
        own = cell.funcs();
        for (int n = 0; n < 50; ++n) {
            cell.distort(0.2f, n % 2);
            std::vector<float> data(cell.nnodes), sums(2), plain(2);
            for (float &value : data) value = cell.uniform(0, 10);
            const auto integrate = [&](const float *values, std::vector<float> &out) {
                return UTILvol_integr(cell.mesh.get(), cell.ndim, values, 4, 0, nullptr, &out[0], &out[1]);
            };
            isofield::Integral exact;
            isofield::front::Quadrature(own, cell.ndim, cell.nnodes)
                .add_cell(cell.xyz(), 3, cell.cells.sets[0].connect.data(), data.data(), exact);
            EXPECT_EQ(integrate(data.data(), sums), 1);
            EXPECT_NEAR(sums[0], exact.measure, 1e-5 * exact.measure);
            EXPECT_NEAR(sums[1], exact.integral, 1e-5 * exact.integral);
            // Point by point, where the shape functions could be anyone's.
            cell.funcs().shape_func = [](const float *uvw, float *out) { own.shape_func(uvw, out); };
            EXPECT_EQ(integrate(data.data(), plain), 1);
            cell.funcs() = own;
            EXPECT_TRUE(same_bits(sums, plain));
            EXPECT_EQ(integrate(nullptr, plain), 1);
            EXPECT_EQ(plain, (std::vector<float>{sums[0], 0}));
        }
    }
}

TYPED_TEST(CellDataOf, IntegralsOfLinesAndNullCells) {
    CellMesh cells{{0, 0, 0, 3, 4, 0, 3, 4, 1}, {}};
    cells.add("line_1", {0, 1});
    cells.add("line_1", {2, 1});
    cells.add("line_2", {0, 1, 2});  // of no rule
    const MeshPtr mesh = cells.make();
    const std::vector<TypeParam> data = {1, 5, 9};
    const TypeParam null = 9;
    using Sums = std::pair<float, float>;
    const auto integrate = [&](int dim, int null_flag) {
        Sums sums;
        EXPECT_EQ(UTILvol_integr(mesh.get(), dim, data.data(), type_code<TypeParam>, null_flag, &null,
                                 &sums.first, &sums.second),
                  1);
        return sums;
    };
    // The second node counts three times.
    EXPECT_EQ(integrate(1, 0), Sums(5 + 1, 5 * (1 + 3 * 5) / 4 + (9 + 3 * 5) / 4));
    EXPECT_EQ(integrate(1, 1), Sums(5, 20));
    EXPECT_EQ(integrate(2, 0), Sums(0, 0));
    mesh->cell_nnodes[0] = 21;
    EXPECT_EQ(integrate(1, 0), Sums(0, 0));
}

// ---- Cell data to nodes

// The operation step by step, over all sets.
template <class T>
std::vector<T> plain_cell_to_node(const CellMesh &cells, const std::vector<std::vector<T>> &data, int veclen,
                                  const T *null, int power, std::vector<T> out) {
    std::vector<float> weights(cells.nnodes());
    std::vector<char> is_null(cells.nnodes());
    std::fill_n(out.begin(), cells.nnodes(), T{0});
    for (std::size_t set = 0; set < data.size(); ++set) {
        const int nnodes = cells.sets[set].nnodes();
        for (int cell = 0; cell < cells.sets[set].ncells(); ++cell) {
            const int *nodes = &cells.sets[set].connect[cell * nnodes];
            const T *row = &data[set][cell * veclen];
            Point middle = {0, 0, 0};
            for (int i = 0; i < 3 * nnodes; ++i) middle[i % 3] += cells.coords[3 * nodes[i / 3] + i % 3];
            for (float &m : middle) m /= static_cast<float>(nnodes);
            for (bool done = false; nodes < &cells.sets[set].connect[cell * nnodes] + nnodes && !done;
                 ++nodes) {
                if (null && *row == *null) {
                    is_null[*nodes] = 1;
                    continue;
                }
                float squares = 0;
                for (int d = 0; d < 3; ++d) {
                    const float difference = cells.coords[3 * *nodes + d] - middle[d];
                    squares += difference * difference;
                }
                const double distance = std::sqrt(double{squares});
                done = power > 0 && distance == 0;
                const bool whole = power == 0 || done;
                const float w = whole ? 1 : static_cast<float>(1 / std::pow(distance, power));
                weights[*nodes] = done ? 1 : weights[*nodes] + w;
                for (int c = 0; c < veclen; ++c) {
                    T &value = out[*nodes * veclen + c];
                    value = static_cast<T>(whole ? value + row[c] : value + row[c] * w);
                }
            }
        }
    }
    for (std::size_t i = 0; i < out.size(); ++i) {
        const float weight = weights[i / veclen];
        if (weight != 0) out[i] = static_cast<T>(out[i] / weight);
        if (is_null[i / veclen]) out[i] = *null;
    }
    return out;
}

TYPED_TEST(CellDataOf, NodesTakeTheMeanOfTheirCells) {
    using T = TypeParam;
    const MeshPtr grid = unit_grid({4, 3, 5});
    CellMesh mixed = mixed_block(4), of_grid;
    for (float &x : mixed.coords) x *= 2;
    mixed.coords.insert(mixed.coords.end(), {9, 9, 9});  // of no cell
    // A cell with a node in its middle, which takes it all.
    mixed.add("tri_1", {0, 1, 2});
    std::copy_n(std::begin({2.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 3.0f, 0.0f, 0.0f}), 9, mixed.coords.data());
    for (int n = 0; n < grid->nnodes; ++n) {
        for (const int at : {n % 4, n / 4 % 3, n / 12}) of_grid.coords.push_back(static_cast<float>(at));
    }
    of_grid.add("hex_1", grid_connect({4, 3, 5}));
    const MeshPtr cells = mixed.make();
    const T null = 7;
    for (int n = 0; n < 24; ++n) {
        SCOPED_TRACE(n);
        const int veclen = 1 + n % 2, power = n / 2 % 3;
        const T *null_value = n / 6 % 2 ? &null : nullptr;
        const CellMesh &of = n < 12 ? mixed : of_grid;
        std::vector<std::vector<T>> data;
        for (const CellSetData &set : of.sets)
            data.push_back(random_values<T>(set.ncells() * veclen, 10, static_cast<unsigned>(n)));
        // The first node values alone are cleared.
        std::vector<T> out(of.nnodes() * veclen, T{3});
        const std::vector<T> expected = plain_cell_to_node(of, data, veclen, null_value, power, out);
        float *weights = nullptr;
        char *flags = nullptr;
        for (std::size_t set = 0; set < data.size(); ++set) {
            EXPECT_EQ(UTILcell_to_node((n < 12 ? cells : grid).get(), static_cast<int>(set), type_code<T>,
                                       data[set].data(), veclen, null_value ? 1 : 0, null_value, power,
                                       out.data(), &weights, &flags),
                      1);
        }
        EXPECT_TRUE(same_bits(out, expected));
    }
}

}  // namespace
