// The tool end to end on boundaries and heights: skins, edges, height grids as triangles.
#include "tool_support.hpp"

namespace {

class ToolOnBoundaries : public ToolOnParts {};

void expect_told(const std::string &told, const std::string &part) {
    EXPECT_NE(told.find(part), std::string::npos) << part << "\n" << told;
}

TEST_F(ToolOnBoundaries, FacesOfMixedCellsAreClosedAndKeepTheirArrays) {
    // A prism on one of two hexahedra, and a tetrahedron at the prism's end.
    std::vector<Vertex> points;
    for (const auto &[y, z] : {std::pair(0, 0), {1, 0}, {0, 1}, {1, 1}, {1, 2}})
        for (const double x : {0, 1, 2}) points.push_back({x, 1.0 * y, 1.0 * z});
    write_file("in.vtu", unstructured(points,
                                      {{VTK_LINE, {0, 1}},
                                       {VTK_HEXAHEDRON, {0, 1, 4, 3, 6, 7, 10, 9}},
                                       {VTK_TRIANGLE, {0, 1, 4}},
                                       {VTK_HEXAHEDRON, {1, 2, 5, 4, 7, 8, 11, 10}},
                                       {VTK_WEDGE, {6, 9, 12, 7, 10, 13}},
                                       {VTK_TETRA, {7, 10, 13, 14}}},
                                      data_array("Int16", "c", "0 1 2 3 4 5")));
    Outcome told;
    const Part skin = part({"faces", "in.vtu", "--png", "out.png", "--edges"}, &told);
    expect_told(told.out, "made   4 triangles, 11 quadrilaterals of 4 cells, 15 nodes, area 13.8284");
    expect_told(told.err, "1 flat cell takes no part");
    EXPECT_GT(fs::file_size("out.png"), 2000u);
    expect_sound(skin);
    EXPECT_EQ(skin.of_cells("c"), skin.of_cells("cell_id"));
    make({"faces", "in.vtu", "-o", "out.obj"});
    EXPECT_NEAR(read_obj("out.obj").volume(), 2 + 1.0 / 2 + 1.0 / 6, 1e-6);
    expect_told(make({"faces", "in.vtu", "-o", "out.vtp"}).err, "as 26 triangles");
    const auto mesh = read_mesh("out.vtp");
    vtkDataArray *c = mesh->GetCellData()->GetArray("c"), *ids = mesh->GetCellData()->GetArray("cell_id");
    EXPECT_STREQ(c->GetDataTypeAsString(), "short");
    for (vtkIdType i = 0; i < 26; ++i) EXPECT_EQ(c->GetComponent(i, 0), ids->GetComponent(i, 0));
}

TEST_F(ToolOnBoundaries, FacesOfGridsTurnOutwards) {
    for (const std::string name : {"in.vti", "mirrored.vts"}) {
        SCOPED_TRACE(name);
        write_file(name, cube_of_nodes(name != "in.vti"));
        const Part skin = part({"faces", name});
        EXPECT_EQ(skin.sizes, std::vector<double>(24, 1));
        EXPECT_EQ(skin.of_cells("c"), skin.of_cells("cell_id"));
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
    const std::pair<Arguments, std::string> cases[] = {
        {{"cube.vti"}, "24 edges (24 crease), 20 nodes, length 24"},
        {{"cube.vti", "--angle", "91"}, "(empty: the surface is closed, and has no crease of 91"},
        {{"cube.vti", "--all", "--png", "all.png"}, "54 edges, 27 nodes, length 54"},
        {{"sheet.vti"}, "8 edges (8 boundary), 8 nodes, length 8"},
        {{"fins.vtu", "--attach", "x", "--png", "kinds.png"},
         "7 edges (6 boundary, 1 non-manifold), 5 nodes"},
    };
    for (const auto &[edges, told] : cases) {
        Arguments line = {"edges", "-o", "out.vtp"};
        line.insert(line.end(), edges.begin(), edges.end());
        expect_told(make(line).out, told);
    }
    const auto fins = read_mesh("out.vtp");
    for (const vtkIdType i : {0, 1})
        EXPECT_EQ(fins->GetCellData()->GetArray("kind")->GetComponent(i, 0), i == 0 ? 2 : 0);
    expect_values("out.vtp", "x", {0, 0, 1, -1, -1}, "float");
    EXPECT_GT(std::min(fs::file_size("all.png"), fs::file_size("kinds.png")), 2000u);
}

// 3 x 3 nodes, 2 apart, in the plane z = 3.
std::string heights(const std::string &values) {
    return vtk_xml("ImageData", "Origin=\"1 0 3\" Spacing=\"2 2 1\"", "", data_array("Int16", "h", values),
                   "0 2 0 2 0 0");
}

TEST_F(ToolOnBoundaries, HeightsBecomeTriangles) {
    write_file("in.vti", heights("0 1 2 2 3 4 4 5 8"));
    const std::string told =
        make({"simplify", "in.vti", "-t", "0.5", "--relative", "-o", "out.vtp", "--png", "out.png"}).out;
    for (const char *part : {"4 nodes of 9 (44.4 %), 2 triangles of 8 (25 %)", "error  1 at most, ",
                             "no node above the tolerance 4"})
        expect_told(told, part);
    expect_values("out.vtp", "h", {0, 2, 8, 4});
    EXPECT_EQ(read_mesh("out.vtp")->GetBounds()[5], 8);
    EXPECT_GT(fs::file_size("out.png"), 2000u);
    make({"simplify", "in.vti", "-t", "9", "--flat", "-o", "out.obj"});
    EXPECT_EQ(read_obj("out.obj").area(), (Vertex{0, 0, 16}));
    EXPECT_EQ(read_obj("out.obj").vertices[0], (Vertex{1, 0, 3}));
}

TEST_F(ToolOnBoundaries, RefusesWhatHasNoSuchBoundaryOrHeights) {
    write_file("cube.vti", cube_of_nodes(false));
    write_file("holes.vti", heights("1 1 1 9 1 1 1 9 1"));
    expect_refused({
        {{"faces", "holes.vti", "-o", "o.vtu"}, "'holes.vti' has no cells with volume"},
        {{"faces", "cube.vti", "-o", "o.csv"}, "ends in one of .obj .ply .stl .vtp .vtu"},
        {{"faces", "cube.vti", "--edges", "-o", "o.vtu"}, "--edges goes with --png"},
        {{"edges", "cube.vti", "--all", "--angle", "30", "-o", "o.vtp"}, "leave --angle out"},
        {{"edges", "cube.vti", "--angle", "181", "-o", "o.vtp"}, "from 0 to 180 degrees"},
        {{"simplify", "cube.vti", "-a", "x", "-t", "1", "-o", "o.vtp"}, "uniform grids of constant z"},
        {{"simplify", "holes.vti", "-t", "-1", "-o", "o.vtp"}, "a height of 0 or more"},
        {{"simplify", "holes.vti", "-t", "1", "--null", "9", "-o", "o.vtp"}, "'h' is missing at 2 nodes"},
    });
}

}  // namespace
