// Streamlines: steps and lines against their plain form to the last bit, over stand-ins and real meshes.
#include <gtest/gtest.h>

#include <cmath>

#include "cell_index.hpp"
#include "support.hpp"

namespace {

using Floats = std::vector<float>;

struct Flow {
    MeshInfo *mesh;
    BlockTable *table;
    const void *data;
    int dtype, veclen;
    const void *null_value;
    int order, direction, nseg;
    double min_vel;
    Floats start;
    int max_points;

    int find(const float *x, int *cell, float *uvw) const {
        Point p = {0, 0, 0};
        std::copy_n(x, std::min(mesh->nspace, 3), p.begin());
        return mesh->field_funcs->find_cell_func(mesh, table, p.data(), cell, uvw);
    }
    int sample(int cell, const float *uvw, float *out) const {
        return mesh->field_funcs->interp_data_func(mesh, cell, veclen, data, dtype, null_value != nullptr,
                                                   null_value, 1, uvw, out);
    }
};

// All outputs; the arrays of floats stand in one.
struct Line {
    enum { kCoords, kVectors, kUvw, kSpeeds, kSteps, kNext };

    int result = 1, npoints = 0, first[7] = {};
    std::vector<int> cells;
    Floats values;

    explicit Line(const Flow &f) : cells(f.max_points, -77) {
        const int n = f.max_points, nspace = f.mesh->nspace,
                  sizes[] = {n * nspace, n * f.veclen, 3 * n, n, n, nspace};
        for (int i = 0; i < 6; ++i) first[i + 1] = first[i] + sizes[i];
        values.assign(first[6], -77.0f);
    }
    float *operator[](int of) { return &values[first[of]]; }
    bool operator==(const Line &other) const {
        return result == other.result && npoints == other.npoints && cells == other.cells &&
               same_bits(one_nan(values), one_nan(other.values));
    }
};

Line stream(const Flow &f, bool want_trace = true) {
    Line line(f);
    line.npoints = -7;
    const auto traced = [&](int of) { return want_trace ? line[of] : nullptr; };
    line.result = UTILstream_line(f.mesh, f.table, f.data, f.dtype, f.veclen, f.null_value != nullptr,
                                  f.null_value, f.order, f.direction, f.nseg, f.min_vel, f.start.data(),
                                  f.max_points, &line.npoints, line[Line::kCoords], line[Line::kVectors],
                                  want_trace, want_trace ? line.cells.data() : nullptr, traced(Line::kUvw),
                                  traced(Line::kSpeeds), traced(Line::kSteps), line[Line::kNext]);
    return line;
}

int plain_step(const Flow &f, double step, const float *x, float *to, const float *k1, float *blend) {
    float k2[3] = {}, k3[3] = {}, k4[3] = {};
    std::fill_n(blend, f.veclen, 0.0f);
    if (!std::isfinite(step)) return 0;
    const auto go = [&](auto place) {
        for (int d = 0; d < f.mesh->nspace; ++d) to[d] = d < f.veclen ? static_cast<float>(place(d)) : x[d];
        return std::all_of(to, to + f.mesh->nspace, [](float at) { return std::isfinite(at); });
    };
    const auto stage = [&](float *k, auto place) {
        int cell;
        float uvw[3];
        return go(place) && f.find(to, &cell, uvw) == 1 && f.sample(cell, uvw, k) != 0;
    };
    const float a = static_cast<float>(0.25 * 3.0 * step), b = static_cast<float>(step * 0.5),
                c = static_cast<float>(step * 2.0) * 2.0f;
    if (f.order == 2 && !stage(k2, [&](int d) { return x[d] + a * k1[d]; })) return 0;
    if (f.order > 2 && !stage(k2, [&](int d) { return x[d] + b * k1[d]; })) return 0;
    if (f.order == 3 && !stage(k3, [&](int d) { return double{x[d] + c * k2[d]} - step * k1[d]; })) return 0;
    if (f.order == 4 && !stage(k3, [&](int d) { return x[d] + b * k2[d]; })) return 0;
    if (f.order == 4 && !stage(k4, [&](int d) { return x[d] + step * k3[d]; })) return 0;
    for (int i = 0; i < f.veclen; ++i) {
        const double blends[] = {k1[i], 1.0 / 3.0 * k1[i] + 2.0 / 3.0 * k2[i],
                                 (k1[i] + 4.0 * k2[i] + k3[i]) / 6.0,
                                 (k1[i] + 2.0 * (k2[i] + k3[i]) + k4[i]) / 6.0};
        blend[i] = static_cast<float>(blends[f.order - 1]);
    }
    return go([&](int d) { return x[d] + step * blend[d]; });
}

Line plain_line(const Flow &f) {
    Line line(f);
    const int nspace = f.mesh->nspace;
    Floats x = f.start;
    float uvw[3] = {}, last_uvw[3] = {}, vector[3], blend[3];
    int cell, last_cell = -1;
    double step = 0;
    for (int &n = line.npoints; n < f.max_points; std::copy_n(line[Line::kNext], nspace, x.data())) {
        if (f.find(x.data(), &cell, uvw) != 1 || f.sample(cell, uvw, vector) != 1) break;
        float squares = 0, moved = 0;
        for (int i = 0; i < f.veclen; ++i) squares += vector[i] * vector[i];
        const float speed = static_cast<float>(std::sqrt(double{squares}));
        if (speed < f.min_vel) break;
        if (cell != last_cell) {
            float min[3], max[3], side = 1e10f;
            f.mesh->field_funcs->cell_extent_func(f.mesh, cell, min, max);
            for (int d = 0; d < nspace; ++d) {
                if (min[d] != max[d]) side = d == 0 ? max[d] - min[d] : std::min(side, max[d] - min[d]);
            }
            step = f.direction * 0.7 * side / double{speed * static_cast<float>(f.nseg)};
        } else {
            for (int i = 0; i < 3; ++i) moved += (uvw[i] - last_uvw[i]) * (uvw[i] - last_uvw[i]);
            const double p = static_cast<float>(std::sqrt(double{moved}) * f.nseg);
            step = p < 0.01 ? step * 10.0 : p < 0.7 || p > 2.0 ? step / p : step;
        }
        last_cell = line.cells[n] = cell;
        line[Line::kSteps][n] = static_cast<float>(step);
        line[Line::kSpeeds][n] = speed;
        for (int i = 0; i < 3; ++i) line[Line::kUvw][3 * n + i] = last_uvw[i] = uvw[i];
        std::copy_n(vector, f.veclen, line[Line::kVectors] + n * f.veclen);
        std::copy_n(x.data(), nspace, line[Line::kCoords] + n * nspace);
        ++n;
        const int went = plain_step(f, step, x.data(), line[Line::kNext], vector, blend);
        Floats to(line[Line::kNext], line[Line::kNext] + nspace), own_blend(3, 9.0f);
        EXPECT_EQ(UTILintegrate(f.mesh, f.table, -9, f.data, f.dtype, f.veclen, f.null_value != nullptr,
                                f.null_value, step, f.order, x.data(), to.data(), vector, own_blend.data()),
                  went);
        own_blend.resize(f.veclen);
        EXPECT_TRUE(!went || same_bits(own_blend, Floats(blend, blend + f.veclen)));
        if (!went) break;
    }
    return line;
}

// ---- Over stand-ins

// Cells and places by a script, with one vector.
struct StandIn {
    FieldFuncs funcs = {};
    MeshInfo mesh = {};
    std::vector<std::pair<int, float>> script;  // cell and u
    float vector[4] = {2, 0, 0, 0};
    std::size_t found = 0;
    int calls = 0, odd_call = -1, odd_result = 0;

    static StandIn &of(MeshInfo *mesh) { return *static_cast<StandIn *>(mesh->host_id); }
    int result() { return calls++ == odd_call ? odd_result : 1; }

    StandIn() {
        mesh.host_id = this;
        mesh.nspace = 3;
        mesh.field_funcs = &funcs;
        funcs.find_cell_func = [](MeshInfo *m, BlockTable *, const float *, int *cell, float *uvw) {
            std::fill_n(uvw, 3, 0.0f);
            std::tie(*cell, uvw[0]) = of(m).script[of(m).found++ % of(m).script.size()];
            return of(m).result();
        };
        funcs.interp_data_func = [](MeshInfo *m, int, int veclen, const void *, int, int, const void *, int,
                                    const float *, float *out) {
            std::copy_n(of(m).vector, veclen, out);
            return of(m).result();
        };
        // The least side is 1; cell 7 has no extent along x, and cell 8 none.
        funcs.cell_extent_func = [](MeshInfo *, int cell, float *min, float *max) {
            const float sides[][3] = {{2, 1, 4}, {0, 5, 4}, {0, 0, 0}};
            for (int d = 0; d < 3; ++d) max[d] = (min[d] = 3) + sides[std::max(cell - 6, 0)][d];
            return 1;
        };
    }
    Flow flow(int veclen, int order) {
        return {&mesh, nullptr, nullptr, 4, veclen, nullptr, order, 1, 2, 2, {1, 1, 1, 1}, 2};
    }
};

// A quarter of a circle in fixed steps. Order 3 takes its last stage too far off.
TEST(StreamStep, Convergence) {
    const MeshPtr grid = uniform_mesh({9, 9}, {-4, -4, 4, 4});
    Floats field;
    for (int node = 0; node < 81; ++node) {
        field.push_back(static_cast<float>(4 - node / 9));
        field.push_back(static_cast<float>(node % 9 - 4));
    }
    const auto error = [&](int order, int nsteps) {
        float x[2] = {2, 0}, to[2], blend[2];
        for (int n = 0; n < nsteps; ++n, std::copy_n(to, 2, x)) {
            const float k1[] = {-x[1], x[0]};
            EXPECT_EQ(UTILintegrate(grid.get(), nullptr, 0, field.data(), 4, 2, 0, nullptr,
                                    std::acos(0.0) / nsteps, order, x, to, k1, blend),
                      1);
        }
        return std::hypot(x[0], x[1] - 2);
    };
    const int nsteps[] = {64, 16, 64, 2}, powers[] = {1, 2, 1, 4};
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(std::log2(error(i + 1, nsteps[i]) / error(i + 1, 2 * nsteps[i])), powers[i], 0.2)
            << i + 1;
}

TEST(Streamline, StepsFollowTheCells) {
    for (const int direction : {1, -1}) {
        StandIn s;
        s.script = {{7, 0},       {8, 0},       {5, 0},     {5, 0.0025f}, {5, 0.2525f},
                    {5, 0.7525f}, {5, 1.7525f}, {5, 3.25f}, {6, 0},       {5, 0}};
        Flow f = s.flow(3, 1);
        f.direction = direction;
        f.max_points = 10;
        Line line = stream(f);
        // In cell 5 p is 0.005, 0.5, 1, 2 and 2.995.
        const float steps[] = {0.7f, 0.175e10f, 0.175f,        1.75f,  3.5f,
                               3.5f, 3.5f,      3.5f / 2.995f, 0.175f, 0.175f};
        for (int n = 0; n < 10; ++n) EXPECT_FLOAT_EQ(line[Line::kSteps][n], direction * steps[n]) << n;
    }
}

// A call may answer -1, 0 or 2: a cell is found with 1 alone, a stage's data fail with 0 alone.
TEST(Streamline, Ends) {
    StandIn s;
    s.script = {{1, 0}, {2, 0}, {3, 0}};
    Flow f = s.flow(3, 4);
    const auto expect = [&](int npoints, int calls) {
        s.calls = 0;
        const Line line = stream(f);
        EXPECT_EQ(line.result, 1);
        EXPECT_EQ(line.npoints, npoints);
        EXPECT_EQ(s.calls, calls);
    };
    expect(2, 16);
    for (s.odd_call = 0; s.odd_call < 16; ++s.odd_call) {
        for (const int result : {-1, 0, 2}) {
            s.odd_result = result;
            const bool at_stage = s.odd_call % 8 > 1, ends = !at_stage || s.odd_call % 2 == 0 || result == 0;
            ends ? expect(s.odd_call / 8 + at_stage, s.odd_call + 1) : expect(2, 16);
        }
    }
    f.min_vel = 2.0000001;
    expect(0, 2);
    f.min_vel = 0;
    for (const float odd : {NAN, INFINITY}) {
        s.vector[1] = odd;
        expect(1, 2);
        s.vector[1] = 0;
        f.start[1] = odd;
        expect(0, 0);
        f.start[1] = 1;
    }
    f.max_points = 0;
    expect(0, 0);
}

TEST(Streamline, RefusalsAreTold) {
    StandIn s;
    s.script = {{1, 0}};
    testing::internal::CaptureStderr();
    for (const auto &[nspace, veclen] : {std::pair{4, 4}, {4, 3}, {3, 3}}) {
        s.mesh.nspace = nspace;
        EXPECT_EQ(stream(s.flow(veclen, 5)).npoints, 1);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "INTEGRATE: veclen is greater than 3\nINTEGRATE: nspace is greater than 3\n"
              "INTEGRATE: unknown integration order\n");
    const FieldFuncs funcs = s.funcs;
    const std::string text = "UTILfind_cell: unable to find interp_cell function\n";
    for (int slot = 0; slot < 3; ++slot) {
        s.funcs = funcs;
        if (slot == 0) s.funcs.find_cell_func = nullptr;
        if (slot == 1) s.funcs.interp_data_func = nullptr;
        if (slot == 2) s.funcs.cell_extent_func = nullptr;
        float x[3] = {};
        testing::internal::CaptureStderr();
        const Line line = stream(s.flow(3, 1));
        EXPECT_EQ(line.result, 0);
        EXPECT_EQ(line.npoints, -7);
        EXPECT_EQ(UTILintegrate(&s.mesh, nullptr, 0, nullptr, 4, 3, 0, nullptr, 1, 1, x, x, x, x), slot == 2);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), slot == 2 ? text : text + text);
    }
}

// ---- Over meshes

template <class T>
class StreamOf : public testing::Test {
  protected:
    // Some lines may meet nulls or a node that is not a number, some have a table without its index. A line
    // without a trace has the same points.
    static void expect_plain_lines(const MeshPtr &mesh, int least) {
        BlockTable *table = nullptr;
        ASSERT_EQ(mesh->field_funcs->interp_init_func(mesh.get(), &table), 1);
        BlockTable copy = table ? *table : BlockTable{};
        EXPECT_TRUE(!table || isofield::detail::CellIndex::of(table)) << mesh->ncells;
        std::vector<T> data = random_values<T>(3 * static_cast<std::size_t>(mesh->nnodes), 40, 5);
        for (T &x : data) x = static_cast<T>(x - 10);
        if constexpr (std::is_floating_point_v<T>) data[data.size() / 2] = NAN;
        const T null = 30;
        std::mt19937 random(6);
        int npoints = 0;
        for (int n = 0; n < 150; ++n) {
            Flow f = {mesh.get(),
                      n % 7 == 6 ? &copy : table,
                      data.data(),
                      type_code<T>,
                      1 + n % 3,
                      n % 5 == 4 ? &null : nullptr,
                      1 + n / 3 % 4,
                      n % 2 ? 1 : -1,
                      1 + n % 4,
                      0.5,
                      {},
                      150};
            for (int d = 0; d < mesh->nspace; ++d) {
                const float x =
                    std::uniform_real_distribution(mesh->coord_min[d], mesh->coord_max[d])(random);
                f.start.push_back(n % 4 ? x : std::round(x));
            }
            const Line plain = plain_line(f);
            ASSERT_EQ(stream(f), plain) << n;
            Line untraced = stream(f, false);
            std::copy_n(&plain.values[plain.first[2]], 5 * f.max_points, untraced[Line::kUvw]);
            untraced.cells = plain.cells;
            ASSERT_EQ(untraced, plain);
            npoints += plain.npoints;
        }
        EXPECT_GT(npoints, least);
        isohost_block_table_free(table);
    }
    // Some cells come to lie flat; blocks near the origin are crowded, so that search tables have an index.
    static void warp(Floats &coords, int nspace) {
        const Floats by = random_values<float>(coords.size(), 100, 7);
        for (std::size_t i = 0; i < coords.size(); ++i) {
            const float x = coords[i] + 0.003f * (by[i] - 50);
            coords[i] = 0.09f * x * x;
        }
        for (std::size_t i = 0; i + 2 * nspace < coords.size(); i += 150 * nspace)
            std::copy_n(&coords[i], nspace, &coords[i + nspace]);
    }
};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(StreamOf, AllTypes);

TYPED_TEST(StreamOf, Cells) {
    CellMesh meshes[] = {block_of(Cube::kHex, 12), block_of(Cube::kTets, 6), block_of(Cube::kPrisms, 9),
                         mixed_block(7), all_kinds(5)};
    for (CellMesh &cells : meshes) {
        this->warp(cells.coords, 3);
        this->expect_plain_lines(cells.make(), 600);
    }
    // Cells upon cells.
    std::vector<int> &tets = meshes[1].sets[0].connect;
    for (int n = 0; n < 3; ++n) tets.insert(tets.end(), tets.begin(), tets.begin() + 4 * 1296);
    this->expect_plain_lines(meshes[1].make(), 600);
}

TYPED_TEST(StreamOf, Grids) {
    FourKinds box({12, 11, 13}, {0, 0, 0, 10, 10, 10}), plane({41, 31}, {0, 0, 10, 10});
    for (FourKinds *grid : {&box, &plane}) {
        this->warp(grid->coords, grid->meshes[0]->nspace);
        for (const MeshPtr &mesh : grid->meshes) this->expect_plain_lines(mesh, 600);
    }
    CellMesh sheet{{}, {{"quad_1", plane.connect}}};
    for (std::size_t i = 0; i < plane.coords.size(); i += 2)
        sheet.coords.insert(sheet.coords.end(), {plane.coords[i], plane.coords[i + 1], 0.0f});
    this->expect_plain_lines(sheet.make(), 100);
    const Floats lines = {0, 1, 3, 6, 10, 15, 21, 28};
    const float *const axes[] = {lines.data(), lines.data(), lines.data()};
    const int dims[] = {8, 6, 7};
    MeshInfo *graded = nullptr;
    isohost_mesh_rectilinear(3, dims, axes, &graded);
    this->expect_plain_lines(MeshPtr(graded), 600);
}

}  // namespace
