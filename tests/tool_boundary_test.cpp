// The tool end to end on boundaries and heights: skins, edges, height grids as triangles.
#include "tool_support.hpp"

namespace {

class ToolOnBoundaries : public ToolOnParts {};

// Two hexahedra, a prism on one of them and a tetrahedron on the prism's end; a flat cell and a line. c is 10
// and the cell's number.
std::string house() {
    const std::vector<Vertex> points = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 0},
                                        {2, 1, 0}, {0, 0, 1}, {1, 0, 1}, {2, 0, 1}, {0, 1, 1},
                                        {1, 1, 1}, {2, 1, 1}, {0, 1, 2}, {1, 1, 2}, {2, 1, 2}};
    return unstructured(points,
                        {{VTK_LINE, {0, 1}},
                         {VTK_HEXAHEDRON, {0, 1, 4, 3, 6, 7, 10, 9}},
                         {VTK_TRIANGLE, {0, 1, 4}},
                         {VTK_HEXAHEDRON, {1, 2, 5, 4, 7, 8, 11, 10}},
                         {VTK_WEDGE, {6, 9, 12, 7, 10, 13}},
                         {VTK_TETRA, {7, 10, 13, 14}}},
                        data_array("Int16", "c", "10 11 12 13 14 15"));
}

void expect_cells_told(const Part &skin, double first) {
    const std::vector<double> ids = skin.of_cells("cell_id"), c = skin.of_cells("c");
    ASSERT_EQ(ids.size(), skin.sizes.size());
    for (std::size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(c[i], first + ids[i]);
}

TEST_F(ToolOnBoundaries, FacesOfMixedCellsAreClosedAndKeepTheirArrays) {
    write_file("in.vtu", house());
    Outcome told;
    const Part skin = part({"faces", "in.vtu", "--png", "out.png", "--edges"}, &told);
    EXPECT_NE(told.out.find("made   4 triangles, 11 quadrilaterals of 4 cells, 15 nodes, area 13.8284"),
              std::string::npos)
        << told.out;
    EXPECT_NE(told.err.find("1 flat cell takes no part"), std::string::npos) << told.err;
    EXPECT_GT(fs::file_size("out.png"), 2000u);
    expect_sound(skin);
    expect_cells_told(skin, 10);
    make({"faces", "in.vtu", "-o", "out.obj"});
    EXPECT_NEAR(read_obj("out.obj").volume(), 2 + 1.0 / 2 + 1.0 / 6, 1e-6);
    EXPECT_NE(make({"faces", "in.vtu", "-o", "out.vtp"}).err.find("as 26 triangles"), std::string::npos);
    vtkDataArray *c = read_mesh("out.vtp")->GetCellData()->GetArray("c");
    EXPECT_EQ(c->GetNumberOfTuples(), 26);
    EXPECT_STREQ(c->GetDataTypeAsString(), "short");
}

TEST_F(ToolOnBoundaries, FacesOfGridsTurnOutwards) {
    for (const bool mirrored : {false, true}) {
        SCOPED_TRACE(mirrored);
        const std::string name = mirrored ? "in.vts" : "in.vti";
        write_file(name, cube_of_nodes(mirrored));
        const Part skin = part({"faces", name});
        EXPECT_EQ(skin.points.size(), 26u);
        EXPECT_EQ(skin.sizes, std::vector<double>(24, 1));
        expect_sound(skin);
        expect_cells_told(skin, 0);
        make({"faces", name, "-o", "out.obj"});
        EXPECT_NEAR(read_obj("out.obj").volume(), 8, 1e-6);
    }
}

TEST_F(ToolOnBoundaries, EdgesAreBoundariesCreasesAndOfMoreThanTwoCells) {
    write_file("cube.vti", cube_of_nodes(false));
    write_file("sheet.vti", flat_image());
    write_file(
        "fins.vtu",
        unstructured({{0, 0, 0}, {0, 0, 1}, {1, 0, 0}, {-1, 1, 0}, {-1, -1, 0}, {5, 5, 5}},
                     {{VTK_TRIANGLE, {0, 1, 2}}, {VTK_TRIANGLE, {0, 1, 3}}, {VTK_TRIANGLE, {1, 0, 4}}}));
    const struct {
        Arguments edges;
        std::string told;
        std::vector<double> kinds;
    } cases[] = {
        {{"cube.vti"}, "24 edges (24 crease), 20 nodes, length 24", std::vector<double>(24, 1)},
        {{"cube.vti", "--angle", "91"}, "(empty: the surface is closed, and has no crease of 91", {}},
        {{"cube.vti", "--all"}, "54 edges, 27 nodes, length 54", {}},
        {{"sheet.vti"}, "8 edges (8 boundary), 8 nodes, length 8", std::vector<double>(8, 0)},
        {{"sheet.vti", "--all"}, "12 edges, 9 nodes, length 12", {}},
        {{"fins.vtu", "--attach", "x"},
         "7 edges (6 boundary, 1 non-manifold), 5 nodes",
         {2, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto &[edges, told, kinds] : cases) {
        SCOPED_TRACE(edges[0] + " " + told);
        Arguments line = {"edges", "-o", "out.vtp", "--png", "out.png", "--size", "320x240"};
        line.insert(line.end(), edges.begin(), edges.end());
        const std::string out = make(line).out;
        EXPECT_NE(out.find(told), std::string::npos) << out;
        EXPECT_GT(fs::file_size("out.png"), 2000u);
        vtkDataArray *found = read_mesh("out.vtp")->GetCellData()->GetArray("kind");
        ASSERT_EQ(found != nullptr, !kinds.empty());
        for (std::size_t i = 0; i < kinds.size(); ++i)
            EXPECT_EQ(found->GetComponent(static_cast<vtkIdType>(i), 0), kinds[i]);
    }
    expect_values("out.vtp", "x", {0, 0, 1, -1, -1}, "float");
}

// 5 x 5 nodes, 2 apart, in the plane z = 3.
std::string heights(const std::string &values) {
    return vtk_xml("ImageData", "Origin=\"1 0 3\" Spacing=\"2 2 1\"", "", data_array("Int16", "h", values),
                   "0 4 0 4 0 0");
}

TEST_F(ToolOnBoundaries, HeightsBecomeTrianglesWithinTheTolerance) {
    const std::string bump = "0 0 0 0 0 0 0 0 0 0 0 0 10 0 0 0 0 0 0 0 0 0 0 0 0";
    const std::string plane = "0 1 2 3 4 2 3 4 5 6 4 5 6 7 8 6 7 8 9 10 8 9 10 11 12";
    const struct {
        Arguments options;
        std::string heights, counts, errors;
        double highest;
    } cases[] = {
        {{"-t", "0"},
         plane,
         "4 nodes of 25 (16 %), 2 triangles of 32 (6.25 %)",
         "0 at most, 0 rms; no node",
         12},
        {{"-t", "0.01", "--relative"},
         bump,
         "9 nodes of 25",
         "0 at most, 0 rms; no node above the tolerance 0.1",
         10},
        {{"-t", "20"}, bump, "4 nodes of 25", "10 at most, 2 rms; no node above the tolerance 20", 0},
    };
    for (const auto &[options, values, counts, errors, highest] : cases) {
        SCOPED_TRACE(counts);
        write_file("in.vti", heights(values));
        Arguments line = {"simplify", "in.vti", "-o", "out.vtp", "--png", "out.png", "--edges"};
        line.insert(line.end(), options.begin(), options.end());
        const std::string out = make(line).out;
        EXPECT_NE(out.find("made   " + counts), std::string::npos) << out;
        EXPECT_NE(out.find("error  " + errors), std::string::npos) << out;
        EXPECT_GT(fs::file_size("out.png"), 2000u);
        const auto mesh = read_mesh("out.vtp");
        EXPECT_EQ(mesh->GetBounds()[5], highest);
        const Rows h = rows_of("out.vtp", "h");
        for (vtkIdType i = 0; i < mesh->GetNumberOfPoints(); ++i)
            EXPECT_EQ(mesh->GetPoint(i)[2], h[static_cast<std::size_t>(i)][0]);
    }
    make({"simplify", "in.vti", "-t", "1", "--flat", "-o", "out.obj"});
    const Solid flat = read_obj("out.obj");
    EXPECT_EQ(flat.area(), (Vertex{0, 0, 64}));
    for (const Vertex &node : flat.vertices) EXPECT_EQ(node[2], 3);
}

TEST_F(ToolOnBoundaries, RefusesWhatHasNoSuchBoundaryOrHeights) {
    write_file("cube.vti", cube_of_nodes(false));
    write_file("sheet.vti", flat_image());
    write_file("holes.vti", heights("1 1 1 1 1 1 1 9 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 9 1"));
    expect_refused({
        {{"faces", "sheet.vti", "-o", "o.vtu"}, "'sheet.vti' has no cells with volume"},
        {{"faces", "cube.vti", "-o", "o.csv"}, "ends in one of .obj .ply .stl .vtp .vtu"},
        {{"faces", "cube.vti", "--edges", "-o", "o.vtu"}, "--edges goes with --png"},
        {{"edges", "cube.vti", "-o", "o.stl"}, "ends in one of .obj .vtp"},
        {{"edges", "cube.vti", "--all", "--angle", "30", "-o", "o.vtp"}, "leave --angle out"},
        {{"edges", "cube.vti", "--angle", "181", "-o", "o.vtp"}, "from 0 to 180 degrees"},
        {{"edges", "cube.vti", "--attach", "q", "-o", "o.vtp"}, "there is no array 'q'"},
        {{"simplify", "cube.vti", "-a", "x", "-t", "1", "-o", "o.vtp"},
         "works on uniform grids of constant z"},
        {{"simplify", "holes.vti", "-t", "-1", "-o", "o.vtp"}, "a height of 0 or more"},
        {{"simplify", "holes.vti", "-t", "1", "--null", "9", "-o", "o.vtp"}, "'h' is missing at 2 nodes"},
        {{"simplify", "holes.vti", "-o", "o.vtp"}, "--tolerance is required"},
    });
}

}  // namespace
