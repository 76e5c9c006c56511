// The tool end to end on glyphs, traced levels and plane slices.
#include "tool_support.hpp"

namespace {

class ToolOnGlyphs : public Tool {
  protected:
    // Draws too.
    static std::string make(Arguments arguments) {
        arguments.insert(arguments.end(), {"--png", "out.png", "--size", "320x200"});
        const Outcome outcome = run(arguments, without_display);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_GT(fs::file_size("out.png"), 2000u);
        return outcome.out;
    }

    // The distance from the nearer of (0, 0, 0) and (4, 0, 0), on nodes 0.25 apart.
    static void write_distances(const std::string &name, int nz) {
        std::string f;
        for (int n = 0; n < 33 * 17 * nz; ++n) {
            const double x = n % 33 / 4.0 - 2, y = n / 33 % 17 / 4.0 - 2, z = (n / 561 - nz / 2) / 4.0;
            f += std::to_string(std::min(std::hypot(x, y, z), std::hypot(x - 4, y, z))) + " ";
        }
        const std::string origin = "Origin=\"-2 -2 " + std::to_string(-(nz / 2) / 4) + "\"";
        write_file(name, vtk_xml("ImageData", origin + " Spacing=\"0.25 0.25 0.25\"", "",
                                 data_array("Float32", "f", f), "0 32 0 16 0 " + std::to_string(nz - 1)));
    }
};

TEST_F(ToolOnGlyphs, StandAtEveryFewNodesThatHaveData) {
    std::string v = "-9 -9 ";
    for (int n = 1; n < 20; ++n) v += "3 4 ";
    write_file("in.vti", vtk_xml("ImageData", "", "", data_array("Int16", "v", v, 2), "0 4 0 3 0 0"));
    write_file("shape.obj", "v 0 0 0\nv 2 0 0\nv 0 1 0\nf 1 2 3\n");
    const Arguments glyphs = {"glyph", "in.vti", "--null", "-9", "--shape", "shape.obj", "-o", "out.vtp"};
    Arguments few = glyphs, fixed = glyphs;
    few.insert(few.end(), {"--every", "2", "--scale", "0.1"});
    fixed.insert(fixed.end(), {"--fixed", "--no-orient"});
    const std::string told = make(few);
    EXPECT_NE(told.find("5 glyphs, one every 2 nodes along each axis (left out: 1 without data)"),
              std::string::npos)
        << told;
    EXPECT_EQ(rows_of("out.vtp", "v"), Rows(15, {5}));
    const Rows nodes = rows_of("out.vtp", "node");
    const auto mesh = read_mesh("out.vtp");
    ASSERT_EQ(nodes.size(), 15u);
    for (const std::size_t i : {0, 1, 2, 3, 4}) {
        const int node = std::array{2, 4, 10, 12, 14}[i];
        EXPECT_EQ(nodes[3 * i][0], node);
        const double *tip = mesh->GetPoint(static_cast<vtkIdType>(3 * i + 1));
        EXPECT_NEAR(tip[0], node % 5 + 0.3, 1e-6);
        EXPECT_NEAR(tip[1], node / 5 + 0.4, 1e-6);
    }
    make(fixed);
    EXPECT_NEAR(read_mesh("out.vtp")->GetPoint(1)[0], 1 + std::sqrt(12 / 20.0), 1e-6);  // as nodes are apart
}

TEST_F(ToolOnGlyphs, ScalarsMakeSpheresOfTheirSizeInOtherColours) {
    write_file("in.vtu",
               unstructured({{0, 0, 0}, {1, 0, 0}, {2, 3, 0}, {0, 0, 4}}, {{VTK_TETRA, {0, 1, 2, 3}}}));
    const std::string told =
        make({"glyph", "in.vtu", "-a", "x", "--by", "y", "--scale", ".5", "-o", "out.vtp"});
    EXPECT_NE(told.find("2 glyphs, at all nodes (left out: 2 of no length)"), std::string::npos) << told;
    const auto mesh = read_mesh("out.vtp");
    const Rows nodes = rows_of("out.vtp", "node"), y = rows_of("out.vtp", "y");
    for (std::size_t i = 0; i < y.size(); ++i) {
        const double x = nodes[i][0], *point = mesh->GetPoint(static_cast<vtkIdType>(i));
        EXPECT_EQ(y[i][0], x == 2 ? 3 : 0);
        EXPECT_NEAR(std::hypot(point[0] - x, point[1] - y[i][0], point[2]), x / 4, 1e-6);
    }
}

TEST_F(ToolOnGlyphs, TracesFollowOneOfTwoSheets) {
    constexpr double kPi = 3.14159265358979;
    write_distances("in.vti", 17);
    make({"denull", "in.vti", "--null", "99", "-o", "in.vtu"});
    for (const std::string in : {"in.vti", "in.vtu"}) {
        const std::string told = make({"trace", in, "--at", "1.1,.1,.1", "-o", "out.obj"});
        EXPECT_NE(told.find(", that of 'f' at 1.1,.1,.1, "), std::string::npos) << told;
        EXPECT_NEAR(read_obj("out.obj").volume(), -4 * kPi / 3 * std::pow(1.11, 3), 0.3) << in;
    }
    const std::size_t whole = read_obj("out.obj").triangles.size();
    make({"trace", "in.vti", "--at", "1.1,.1,.1", "--native", "-o", "out.obj"});
    const std::size_t native = read_obj("out.obj").triangles.size();
    EXPECT_TRUE(native > 0 && native <= whole) << native;
    write_distances("flat.vti", 1);
    make({"trace", "flat.vti", "--at", "0,-1,0", "-o", "out.obj"});
    EXPECT_EQ(read_obj("out.obj").lines.size(), 1u);
    EXPECT_NEAR(read_obj("out.obj").length(), 2 * kPi, 0.1);
}

TEST_F(ToolOnGlyphs, SlicesOfLinearFieldsAreExact) {
    write_file("in.vti", cube_of_nodes(false));
    write_file("in.vts", cube_of_nodes(true));
    const std::string files[][2] = {{"in.vti", "out.vts"}, {"in.vti", "out.vtp"}, {"in.vts", "out.vtp"}};
    for (const auto &[in, out] : files) {
        SCOPED_TRACE(in + out);
        const std::string told = make({"slice", in, "--normal", "1,1,2", "--origin", "1,1,1.25", "-o", out});
        const Rows x = rows_of(out, "x"), y = rows_of(out, "y"), z = rows_of(out, "z");
        const Rows hidden = rows_of(out, "vtkGhostType");
        EXPECT_EQ(hidden.size(), out == "out.vts" ? 9u : 0u);
        const bool grid = told.find(
                              "3 x 3 points on the plane 0.408248,0.408248,0.816497 at 1.83712, 8 "
                              "inside, spacing 1.118 x 1.118, ") != std::string::npos;
        EXPECT_EQ(grid, !hidden.empty()) << told;
        const auto mesh = read_mesh(out);
        ASSERT_EQ(x.size(), static_cast<std::size_t>(mesh->GetNumberOfPoints()));
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double *at = mesh->GetPoint(static_cast<vtkIdType>(i));
            EXPECT_NEAR(at[0] + at[1] + 2 * at[2], 4.5, 1e-5);
            const bool missing = std::isnan(x[i][0]);
            EXPECT_EQ(missing, grid && hidden[i][0] != 0);
            if (missing) continue;
            EXPECT_NEAR(std::hypot(x[i][0] - at[0], y[i][0] - at[1], z[i][0] - at[2]), 0, 1e-5);
        }
    }
}

TEST_F(ToolOnGlyphs, RefusesWhatCannotBe) {
    write_file("in.vti", cube_of_nodes(false));
    write_file("in.vts", cube_of_nodes(true));
    write_file("shape.obj", "v 0 0 0\nv 2 0 0\n");
    const auto with = [](Arguments arguments, const Arguments &more) {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    };
    const Arguments glyph = {"glyph", "in.vti", "-a", "x", "-o", "o.vtp"};
    const Arguments trace = {"trace", "in.vti", "-a", "x", "-o", "o.vtp", "--at"};
    const Arguments slice = {"slice", "in.vti", "-o", "o.vts", "--normal"};
    expect_refused({
        {with(glyph, {"--every", "0"}), "--every needs a number of at least 1"},
        {with(glyph, {"--scale", "-1"}), "'-1' is neither auto nor above 0"},
        {with(glyph, {"--shape", "cube"}), "'cube' is none of arrow, cone"},
        {with(glyph, {"--shape", "shape.obj"}), "it holds no polygons"},
        {with(trace, {"1,1"}), "'1,1' is not X,Y,Z"},
        {with(trace, {"1,1,9"}), "the point (1, 1, 9) is in no cell of the mesh"},
        {with(slice, {"0,0,0"}), "--normal must not be 0,0,0"},
        {with(slice, {"0,0,1", "--distance", "1", "--origin", "0,0,0"}), "by one of --distance and --origin"},
        {with(slice, {"0,0,2", "--distance", "3"}), "misses the mesh, which reaches from 0 to 2 along"},
        {{"slice", "in.vts", "--normal", "0,0,1", "-o", "o.vts"}, "only uniform and rectilinear grids"},
    });
}

}  // namespace
