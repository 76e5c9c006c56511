// The tool end to end on parts of fields: cuts and bands.
#include "tool_support.hpp"

namespace {

TEST_F(ToolOnParts, EveryTypeOfCellIsCutIntoSoundCellsOfTheSameSize) {
    const std::vector<Vertex> tet = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const std::vector<Vertex> cube = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                      {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    const std::vector<Vertex> wedge = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}};
    const std::vector<Vertex> pyramid = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, 1}};
    std::vector<Vertex> quadratic = tet;
    quadratic.insert(quadratic.end(),
                     {{.5, 0, 0}, {.5, .5, 0}, {0, .5, 0}, {0, 0, .5}, {.5, 0, .5}, {0, .5, .5}});
    const struct {
        int type;
        std::vector<Vertex> points;
        double size;
    } cases[] = {
        {VTK_TETRA, tet, 1.0 / 6},
        {VTK_QUADRATIC_TETRA, quadratic, 1.0 / 6},
        {VTK_HEXAHEDRON, cube, 1},
        {VTK_WEDGE, wedge, 0.5},
        {VTK_PYRAMID, pyramid, 1.0 / 3},
        {VTK_TRIANGLE, {tet[0], tet[1], tet[2]}, 0.5},
        {VTK_QUAD, {cube[0], cube[1], cube[2], cube[3]}, 1},
    };
    for (const auto &[type, points, size] : cases) {
        SCOPED_TRACE(type);
        Cell cell{type, std::vector<int>(points.size())};
        std::iota(cell.nodes.begin(), cell.nodes.end(), 0);
        write_file("in.vtu",
                   unstructured(points, {{VTK_LINE, {0, 1}}, cell}, data_array("Int16", "c", "5 7")));
        const Part whole = part({"cut", "in.vtu", "-a", "x", "--level", "-1"});
        ASSERT_EQ(whole.data->GetNumberOfCells(), type == VTK_QUADRATIC_TETRA ? 8 : 1);
        expect_sound(whole);
        const Part above = part({"cut", "in.vtu", "-a", "x", "--level", "0.3"});
        const Part below = part({"cut", "in.vtu", "-a", "x", "--level", "0.3", "--below"});
        EXPECT_NEAR(above.size() + below.size(), size, 1e-6);
        const Part bands =
            part({"band", "in.vtu", "-a", "x", "-l", "0", "-l", "0.6", "-l", "0.3", "-l", "1"});
        EXPECT_NEAR(bands.size(), size, 1e-6);
        for (const Part *made : {&above, &below, &bands}) {
            expect_sound(*made);
            EXPECT_LT(made->size() - size, made == &bands ? 1e-6 : -0.01);
            for (const double c : made->of_cells("c")) EXPECT_EQ(c, 7);
            for (const double id : made->of_cells("cell_id")) EXPECT_EQ(id, 1);
        }
        const std::vector<double> numbers = bands.of_cells("band"), lo = bands.of_cells("band_lo");
        for (std::size_t i = 0; i < numbers.size(); ++i) EXPECT_NEAR(lo[i], 0.3 * numbers[i], 1e-12);
    }
}

TEST_F(ToolOnParts, GridsAreCutByLevelsAndBodiesWhicheverWayTheyTurn) {
    for (const bool mirrored : {false, true}) {
        SCOPED_TRACE(mirrored);
        const std::string name = mirrored ? "in.vts" : "in.vti";
        write_file(name, cube_of_nodes(mirrored));
        const struct {
            Arguments cut;
            double size;
        } cases[] = {
            {{"--level", "0.75", "-a", "x"}, 5},
            {{"--level", "1", "-a", "x"}, 4},  // through nodes: whole cells alone
            {{"--level", "1", "-a", "x", "--below"}, 4},
            {{"--plane", "0.5,0.5,0.5,0,0,-2"}, 2},
            {{"--plane", "0.5,0.5,0.5,0,0,-2", "--invert"}, 6},
            {{"--box", "0.5,9,9,-9,-9,-9"}, 2},
            {{"--sphere", "0,0,0,1e9"}, 8},
        };
        for (const auto &[cut, size] : cases) {
            SCOPED_TRACE(cut[0] + cut[1]);
            Arguments arguments = {"cut", name};
            arguments.insert(arguments.end(), cut.begin(), cut.end());
            const Part made = part(arguments);
            expect_sound(made);
            EXPECT_NEAR(made.size(), size, 1e-5);
            EXPECT_EQ(made.of_cells("c"), made.of_cells("cell_id"));
        }
        EXPECT_EQ(part({"cut", name, "--level", "1", "-a", "x"}).data->GetNumberOfCells(), 4);
        const Part bands = part({"band", name, "-a", "x", "--levels", "3", "--attach", "y"});
        EXPECT_NEAR(bands.size(), 8, 1e-5);
        EXPECT_EQ(bands.data->GetPointData()->GetNumberOfArrays(), 1);
    }
    Outcome told;
    part({"cut", "in.vti", "--sphere", "0.5,0.5,0.5,0.1"}, &told);
    EXPECT_NE(told.out.find("made   no cells, 0 nodes (0 new), "), std::string::npos) << told.out;
    EXPECT_NE(told.out.find("(empty: no node of a cell is inside)"), std::string::npos) << told.out;
}

TEST_F(ToolOnParts, FlatFieldsKeepTheirHolesAndPlateaus) {
    // 5 x 2 nodes: rising from 0 to 2, level there, missing at the end.
    write_file("in.vti", vtk_xml("ImageData", "", "",
                                 data_array("Int16", "f", "0 2 2 3 -9 0 2 2 3 -9") +
                                     data_array("Float32", "g", "7 7 7 -9 7 7 7 7 7 7"),
                                 "0 4 0 1 0 0"));
    const Part bands = part({"band", "in.vti", "-a", "f", "--null", "-9", "--every", "2", "--png", "out.png",
                             "--size", "320x200"});
    EXPECT_GT(fs::file_size("out.png"), 2000u);
    EXPECT_NEAR(bands.size(), 3, 1e-6);  // the plateau is there once, the cell beside the hole is not
    EXPECT_EQ(bands.of_cells("band"), (std::vector<double>{0, 0, 1, 1}));
    EXPECT_EQ(bands.of_cells("cell_id"), (std::vector<double>{0, 0, 1, 2}));
    EXPECT_EQ(bands.of_cells("band_hi"), (std::vector<double>{2, 2, 4, 4}));
    EXPECT_EQ(bands.of_nodes("f"), (std::vector<double>{0, 0, 2, 2, 2, 2, 3, 2, 2, 3}));
    const Part one = part({"band", "in.vti", "-a", "f", "--lo", "2", "--hi", "2.5", "--null", "-9"});
    EXPECT_NEAR(one.size(), 1.5, 1e-6);
    const std::vector<double> g = one.of_nodes("g");
    EXPECT_EQ(std::count(g.begin(), g.end(), -9), 1);  // beside a missing end
    const Part body = part({"cut", "in.vti", "--box", "0.5,0,0,9,1,0", "--null", "-9", "--png", "out.png"});
    EXPECT_NEAR(body.size(), 3.5, 1e-6);  // holes do not matter
}

TEST_F(ToolOnParts, RefusesWhatIsNoCutOrBand) {
    write_file("in.vti", cube_of_nodes(false));
    expect_refused({
        {{"cut", "in.vti", "-o", "o.vtu"}, "by one of --level, --plane, --box and --sphere"},
        {{"cut", "in.vti", "-l", "1", "--sphere", "0,0,0,1", "-o", "o.vtu"}, "by one of --level"},
        {{"cut", "in.vti", "-l", "1", "--invert", "-o", "o.vtu"}, "use --below"},
        {{"cut", "in.vti", "--sphere", "0,0,0,1", "--below", "-o", "o.vtu"}, "use --invert"},
        {{"cut", "in.vti", "--sphere", "0,0,0,-1", "-o", "o.vtu"}, "a radius above 0"},
        {{"cut", "in.vti", "--plane", "0,0,0,1,0", "-o", "o.vtu"}, "'0,0,0,1,0' is not PX,PY,PZ,NX,NY,NZ"},
        {{"cut", "in.vti", "--plane", "0,0,0,0,0,0", "-o", "o.vtu"}, "a normal that is not 0,0,0"},
        {{"cut", "in.vti", "--box", "0,0,1,2,2,1", "-o", "o.vtu"}, "no extent along z"},
        {{"cut", "in.vti", "-l", "1", "-o", "o.vtu"}, "choose with --array"},
        {{"cut", "in.vti", "-l", "1", "-a", "x", "-o", "o.vtp"}, "ends in one of .vtu"},
        {{"cut", "in.vti", "-l", "1", "-a", "x", "--attach", "q", "-o", "o.vtu"}, "there is no array 'q'"},
        {{"band", "in.vti", "-a", "x", "-o", "o.vtu"}, "name the bands by one of"},
        {{"band", "in.vti", "-a", "x", "--lo", "1", "-o", "o.vtu"}, "--lo and --hi go together"},
        {{"band", "in.vti", "-a", "x", "--lo", "2", "--hi", "1", "-o", "o.vtu"}, "--lo is above --hi"},
        {{"band", "in.vti", "-a", "x", "-l", "1", "-l", "1", "-o", "o.vtu"}, "two different levels"},
        {{"band", "in.vti", "-a", "x", "--levels", "0", "-o", "o.vtu"}, "there can be 1 to"},
    });
}

}  // namespace
