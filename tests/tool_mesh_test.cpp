// The tool end to end where it makes meshes: triangulations of points, strips between outlines.
#include "tool_support.hpp"

namespace {

class ToolOnPoints : public ToolOnParts {
  protected:
    // The middle of a square among its corners, one of them twice.
    void SetUp() override {
        ToolOnParts::SetUp();
        write_file("in.csv", "x,y,t\n0,0,1\n2,0,2\n2,2,3\n0,2,4\n0,0,9\n,1,5\n1,1,6\n");
        write_file("a.csv", "0,0\n4,0\n4,4\n0,4\n0,-1e-9\n");
    }
};

TEST_F(ToolOnPoints, TriangulatesTablesWithEqualAndMissingRows) {
    const Outcome told = make({"delaunay", "in.csv", "-o", "out.vtp", "--check", "--png", "map.png"});
    expect_told(told.out, {"7 points at 'x' 'y', values 't'", "4 triangles, 5 nodes, area 4,",
                           "5 points used, 1 equal to an earlier one, 1 with a missing coordinate; every "
                           "circumcircle is empty\n"});
    expect_values("out.vtp", "t", {1, 2, 3, 4, 6}, "double");
    expect_values("out.vtp", "point_id", {0, 1, 2, 3, 6}, "int");
    EXPECT_GT(fs::file_size("map.png"), 2000u);

    make({"delaunay", "in.csv", "--z", "t", "-o", "out.obj", "--view", "iso", "--png", "map.png"});
    const Solid lifted = read_obj("out.obj");
    EXPECT_EQ(lifted.triangles.size(), 4u);
    EXPECT_EQ(lifted.area()[2], 4);
    EXPECT_EQ(lifted.vertices[4], (Vertex{1, 1, 6}));

    write_file("line.csv", "0,0\n1,1\n2,2\n");
    expect_told(
        make({"delaunay", "line.csv", "-o", "out.vtp", "--png", "map.png"}).out,
        {"made   0 triangles, 0 nodes, area 0", "(empty: it takes 3 points", "0 points used, 3 left"});
    // Far from 0, where floats are whole numbers apart.
    write_file("far.csv", "20000000,1\n20000000.75,1\n20000000,2\n20000000.75,2.5\n");
    const Outcome far = make({"delaunay", "far.csv", "-o", "out.vtp"});
    expect_told(far.out, {"2 triangles, 4 nodes"});
    expect_told(far.err, {"nodes are written up to 1 off"});
}

TEST_F(ToolOnPoints, TriangulatesNodesOfFiles) {
    std::vector<Vertex> nodes;
    for (int i = 0; i < 8; ++i) nodes.push_back({2.0 * (i & 1), 2.0 * (i >> 1 & 1), 2.0 * (i >> 2)});
    nodes.push_back({1, 1, 1});
    write_file("in.vtu", unstructured(nodes, {{1, {0}}}));
    Outcome told;
    const Part made = part({"delaunay", "in.vtu", "--3d", "--check", "--png", "cells.png"}, &told);
    expect_told(told.out,
                {"12 tetrahedra, 9 nodes, volume 8,", "9 points used; every circumsphere is empty"});
    expect_sound(made);
    EXPECT_NEAR(made.size(), 8, 1e-6);

    expect_told(make({"delaunay", "in.vtu", "--value", "z", "-o", "out.vtp"}).out,
                {"4 triangles, 5 nodes, area 4,", "5 points used, 4 equal to an earlier one"});
    expect_values("out.vtp", "z", {0, 0, 0, 0, 1}, "float");
}

TEST_F(ToolOnPoints, LoftsBetweenOutlinesWoundEitherWay) {
    // The second one clockwise, at a height of its own.
    write_file("b.vtk",
               "# vtk DataFile Version 3.0\nb\nASCII\nDATASET POLYDATA\nPOINTS 6 float\n"
               "1 1 7 1 2 7 1 3 7 3 3 7 3 1 7 2 1 7\nLINES 1 8\n7 0 1 2 3 4 5 0\n");
    expect_told(make({"loft", "a.csv", "b.vtk", "-o", "out.obj", "--png", "strip.png"}).out,
                {"a.csv: 4 points, perimeter 16", "b.vtk: 6 points, perimeter 8", "10 triangles, 10 nodes"});
    const Solid strip = read_obj("out.obj");
    EXPECT_EQ(strip.area(), (Vertex{0, 0, 16 - 4}));  // the lids' with the other sign
    EXPECT_EQ(strip.vertices[3], (Vertex{0, 4, 0}));
    EXPECT_EQ(strip.vertices[9][2], 7);
    make({"loft", "a.csv", "a.csv", "--z0", "2", "--side", "rising-y", "-o", "out.obj"});
    EXPECT_EQ(read_obj("out.obj").vertices[3], (Vertex{0, 4, 2}));
    EXPECT_EQ(read_obj("out.obj").vertices[7], (Vertex{0, 4, 1}));
}

TEST_F(ToolOnPoints, RefusesWhatIsNoPointsOrOutline) {
    write_file("none.csv", "x,y\n1,\n,2\n");
    write_file("two.csv", "0,0\n1,0\n0,0\n");
    write_file("open.vtu", unstructured({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, {{4, {0, 1, 2}}}));
    expect_refused({
        {{"delaunay", "in.csv", "-o", "o.vtu"}, "ends in one of .obj .ply .stl .vtp"},
        {{"delaunay", "none.csv", "-o", "o.vtp"}, "no point in 'none.csv' has all its coordinates"},
        {{"delaunay", "none.csv", "--3d", "-o", "o.vtu"}, "has no column of numbers for z"},
        {{"delaunay", "open.vtu", "--x", "1", "-o", "o.vtp"}, "for columns of .csv files"},
        {{"loft", "a.csv", "two.csv", "-o", "o.vtp"}, "'two.csv': an outline takes at least 3 points"},
        {{"loft", "open.vtu", "a.csv", "-o", "o.vtp"}, "its line is open"},
        {{"loft", "a.csv", "a.csv", "--side", "left", "-o", "o.vtp"}, "--side"},
    });
}

}  // namespace
