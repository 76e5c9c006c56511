// The tool end to end on arrays: grids of other counts of nodes; smoothed, clamped, thresholded and new data.
#include "tool_support.hpp"

namespace {

class ToolOnArrays : public Tool {
  protected:
    // 5 x 4 nodes in three formats: their numbers as short, and (number, -number) as double.
    static void write_grids() {
        std::string numbers, pairs, places;
        for (int n = 0; n < 20; ++n) {
            numbers += std::to_string(n) + " ";
            pairs += std::to_string(n) + " " + std::to_string(-n) + " ";
            places += std::to_string(0.1 * (n % 5)) + " " + std::to_string(n / 5) + " 7 ";
        }
        const std::string arrays = data_array("Int16", "n", numbers) + data_array("Float64", "v", pairs, 2),
                          extent = "0 4 0 3 0 0", x = data_array("Float32", "x", "0 1 3 6 10"),
                          y = data_array("Float32", "y", "0 1 2 3"), z = data_array("Float32", "z", "7"),
                          lines = "<Coordinates>" + x + y + z + "</Coordinates>",
                          points = "<Points>" + data_array("Float64", "p", places, 3) + "</Points>";
        write_file("in.vti", vtk_xml("ImageData", "Origin=\"10 0 7\" Spacing=\"1 2 1\"", "", arrays, extent));
        write_file("in.vtr", vtk_xml("RectilinearGrid", "", lines, arrays, extent));
        write_file("in.vts", vtk_xml("StructuredGrid", "", points, arrays, extent));
    }

    // Four nodes with more arrays.
    static void write_cells(const std::string &arrays) {
        std::string mesh =
            unstructured({{0, 0, 0}, {2, 0, 0}, {2, 3, 1}, {0, 3, 5}}, {{VTK_TETRA, {0, 1, 2, 3}}});
        write_file("in.vtu", mesh.insert(mesh.find("</PointData>"), arrays));
    }
};

TEST_F(ToolOnArrays, GridsOfEveryKindAreDownsizedAndResampled) {
    write_grids();
    const std::pair<std::string, Vertex> ends[] = {
        {".vti", {14, 6, 7}}, {".vtr", {10, 3, 7}}, {".vts", {0.4, 3, 7}}};
    for (const auto &[kind, end] : ends) {
        const std::string in = "in" + kind, out = "out" + kind;
        make({"downsize", in, "--every", "2,3,1", "-o", out, "--png", "o.png"});
        expect_values(out, "n", {0, 2, 4, 15, 17, 19}, "short");
        EXPECT_EQ(rows_of(out, "v")[4], (std::vector<double>{17, -17}));
        for (int d = 0; d < 3; ++d) EXPECT_EQ(read_mesh(out)->GetPoint(5)[d], end[d]) << kind << d;
        if (kind == ".vts") continue;
        make({"resample", in, "-a", "n", "--dims", "9,2,1", "-o", out});
        expect_values(out, "n", {0, 0, 1, 1, 2, 2, 3, 3, 4, 15, 15, 16, 16, 17, 17, 18, 18, 19}, "short");
        for (int d = 0; d < 3; ++d) EXPECT_EQ(read_mesh(out)->GetPoint(17)[d], end[d]);
        EXPECT_EQ(read_mesh(out)->GetPoint(3)[0], kind == ".vti" ? 11.5 : 2);
    }
    const Outcome told = make({"downsize", "in.vti", "--every", "3", "-o", "out.vti"});
    EXPECT_NE(told.err.find("along x the grid ends before"), std::string::npos) << told.err;
    EXPECT_EQ(read_mesh("out.vti")->GetPoint(3)[0], 13);
}

TEST_F(ToolOnArrays, SmoothingLeavesOutWhatIsMissing) {
    write_file("in.vti", vtk_xml("ImageData", "", "",
                                 data_array("Int32", "f", "0 0 6 0 0 0 8 4 -9 8 4 4 4 4"), "0 6 0 1 0 0"));
    make({"smooth", "in.vti", "--kernel", "1,2,1", "--axes", "x", "--null", "-9", "-o", "out.vti"});
    expect_values("out.vti", "f_smooth", {0, 1.5, 3, 1.5, 0, 2, 8, 4, NAN, 20 / 3.0, 5, 4, 4, 4}, "float");
    const Outcome told = make({"smooth", "in.vti", "--box", "7", "-o", "out.vti", "--png", "o.png"});
    EXPECT_NE(told.err.find("7 x 2 x 1: not smoothed along y"), std::string::npos) << told.err;
    expect_values("out.vti", "f_smooth", {0, 0, 6, 2, 0, 0, 8, 4, -9, 8, 19 / 7.0, 4, 4, 4}, "float");
}

TEST_F(ToolOnArrays, LimitsAreExactAndNullsPass) {
    write_cells(data_array("UInt8", "b", "0 1 200 9") + data_array("Float32", "f", "1 -9 3 4"));
    const Outcome told =
        make({"clamp", "in.vtu", "-a", "b", "--min", "0.9", "--max", "8.5", "--null", "9", "-o", "out.vtu"});
    expect_values("out.vtu", "b_clamped", {1, 1, 8, 9}, "unsigned char");
    EXPECT_NE(told.out.find("(1 to 8, 1 value raised, 1 lowered, 1 node without)"), std::string::npos)
        << told.out;
    make({"clamp", "out.vtu", "-a", "b_clamped", "--max", "5", "--name", "c", "-o", "c.vtu"});
    expect_values("c.vtu", "c", {1, 1, 5, 9}, "unsigned char");  // the file declares the null
    make({"threshold", "in.vtu", "-a", "b", "--test", "f", "--max", "2", "--replace", "7", "-o", "out.vtu"});
    expect_values("out.vtu", "b_thresholded", {0, 1, 7, 7}, "unsigned char");
    make({"threshold", "in.vtu", "-a", "f", "--min", "2", "-o", "out.vtu", "--png", "o.png"});
    expect_values("out.vtu", "f_thresholded", {NAN, NAN, 3, 4}, "float");
}

TEST_F(ToolOnArrays, ArraysAreMadeFromCoordinatesAndFromArrays) {
    write_cells(data_array("Int16", "a", "0 10 100 -9") + data_array("Int16", "b", "5 13 0 8") +
                data_array("Float64", "d", "1 -9 2 8"));
    const std::pair<Arguments, std::pair<std::string, std::vector<double>>> cases[] = {
        {{"--polynomial", "1,0,0,1,10,0,0,2,0,0"}, {"float", {1, 9, 70, 6}}},  // 1 + z + 10 x y + 2 x x
        {{"--of", "a", "--coefficients", "32,1.8"}, {"float", {32, 50, 212, NAN}}},
        {{"--blend", "a,b", "--weight", "0.5"}, {"short", {3, 12, 50, -9}}},
        {{"--blend", "d,b", "--weight", "-1"}, {"double", {-3, NAN, 4, 8}}},
    };
    for (const auto &[how, wanted] : cases) {
        Arguments arguments = {"calc", "in.vtu", "--null", "-9", "--name", "x", "-o", "out.vtu"};
        arguments.insert(arguments.end(), how.begin(), how.end());
        make(arguments);
        expect_values("out.vtu", "x_new", wanted.second, wanted.first);  // x is taken
    }
}

TEST_F(ToolOnArrays, RefusesWhatCannotBeDone) {
    write_grids();
    write_cells("");
    expect_refused({
        {{"resample", "in.vts", "--dims", "3,3,1", "-o", "o.vts"}, "or interpolate on a straight grid by"},
        {{"resample", "in.vti", "--dims", "3,3,2", "-o", "o.vti"}, "one node along z"},
        {{"downsize", "in.vti", "--every", "0", "-o", "o.vti"}, "--every: '0' is not N or NX,NY,NZ"},
        {{"smooth", "in.vtu", "-o", "o.vti"}, "is an unstructured mesh, but smooth works on grids"},
        {{"smooth", "in.vti", "--axes", "x,x", "-o", "o.vti"}, "--axes: 'x,x' is not"},
        {{"smooth", "in.vti", "--box", "9", "-o", "o.vti"}, "takes 9 nodes, the grid has 5 x 4 x 1"},
        {{"threshold", "in.vti", "-a", "n", "--max", "3", "-o", "o.vti"}, "say by --replace"},
        {{"calc", "in.vti", "--name", "q", "-o", "o.vti"}, "one of --polynomial, --blend and --of"},
    });
}

}  // namespace
