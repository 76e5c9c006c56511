// The tool end to end on derivatives and on data with holes.
#include <vtkCell.h>
#include <vtkExodusIIWriter.h>

#include "tool_support.hpp"

namespace {

// f = 2x + 3y + 5z and v = (x + 2y + 3z, 4x + 5y + 6z, 7x + 8y + 10z) at the points.
std::string linear_fields(const std::vector<Vertex> &points) {
    std::string f, v;
    for (const auto &[x, y, z] : points) {
        f += std::to_string(2 * x + 3 * y + 5 * z) + " ";
        for (const double u : {x + 2 * y + 3 * z, 4 * x + 5 * y + 6 * z, 7 * x + 8 * y + 10 * z})
            v += std::to_string(u) + " ";
    }
    return data_array("Float64", "f", f) + data_array("Float32", "v", v, 3);
}

class ToolOnDerivatives : public ToolOnParts {
  protected:
    // 3 x 3 x 3 nodes, 2 apart along x, in three formats, and cells of all kinds.
    static void write_meshes() {
        std::vector<Vertex> points;
        std::string places;
        for (int n = 0; n < 27; ++n) {
            points.push_back({2.0 * (n % 3), 1.0 * (n / 3 % 3), 1.0 * (n / 9)});
            for (const double x : points.back()) places += std::to_string(x) + " ";
        }
        const std::string fields = linear_fields(points), axis = data_array("Float32", "a", "0 1 2"),
                          lines = data_array("Float32", "a", "0 2 4") + axis + axis;
        places = data_array("Float32", "p", places, 3);
        write_file("in.vti", vtk_xml("ImageData", "Spacing=\"2 1 1\"", "", fields));
        write_file("in.vtr",
                   vtk_xml("RectilinearGrid", "", "<Coordinates>" + lines + "</Coordinates>", fields));
        write_file("in.vts", vtk_xml("StructuredGrid", "", "<Points>" + places + "</Points>", fields));
        points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0},     {0, 1, 0}, {0, 0, 1}, {1, 0, 1},
                  {1, 1, 1}, {0, 1, 1}, {0.5, 0.5, 2}, {2, 0, 0}, {2, 1, 0}, {1, -1, 0}};
        std::string cells = unstructured(points, {{VTK_LINE, {0, 1}},
                                                  {VTK_QUAD, {0, 1, 5, 4}},
                                                  {VTK_HEXAHEDRON, {0, 1, 2, 3, 4, 5, 6, 7}},
                                                  {VTK_WEDGE, {1, 9, 5, 2, 10, 6}},
                                                  {VTK_PYRAMID, {4, 5, 6, 7, 8}},
                                                  {VTK_TETRA, {1, 9, 5, 11}}});
        write_file("in.vtu", cells.insert(cells.find("</PointData>"), linear_fields(points)));
    }
};

void expect_all(const Rows &rows, std::size_t count, const std::vector<double> &wanted) {
    ASSERT_EQ(rows.size(), count);
    for (const auto &row : rows) {
        ASSERT_EQ(row.size(), wanted.size());
        for (std::size_t c = 0; c < row.size(); ++c) EXPECT_NEAR(row[c], wanted[c], 1e-4);
    }
}

TEST_F(ToolOnDerivatives, LinearFieldsAreExactOnEveryKindOfMesh) {
    write_meshes();
    vtkNew<vtkExodusIIWriter> exodus;
    exodus->SetInputData(read_mesh("in.vtu"));
    exodus->SetFileName("in.ex2");
    exodus->Write();
    for (const std::string in : {"in.vti", "in.vtr", "in.vts", "in.vtu", "in.ex2"}) {
        const std::string out = in == "in.ex2" ? "out.vtu" : "out" + in.substr(2);
        const std::size_t count = out == "out.vtu" ? 12 : 27;
        SCOPED_TRACE(in);
        make({"grad", in, "-a", "f", "-o", out, "--png", "out.png", "--size", "320x200"});
        EXPECT_GT(fs::file_size("out.png"), 2000u);
        expect_all(rows_of(out, "f_gradient"), count, {2, 3, 5});
        EXPECT_EQ(rows_of(out, "v").size(), count);
        make({"grad", in, "-a", "v", "-o", out});
        expect_all(rows_of(out, "v_gradient"), count, {1, 2, 3, 4, 5, 6, 7, 8, 10});
        make({"curl", in, "-o", out});
        expect_all(rows_of(out, "v_curl"), count, {2, -4, 2});
        make({"div", in, "-o", out, "--name", "v", "-a", "v"});
        expect_all(rows_of(out, "v_new"), count, {16});
        make({"derive", in, "-o", out});
        expect_all(rows_of(out, "v_vorticity"), count, {2, -4, 2});
        expect_all(rows_of(out, "v_vorticity_magnitude"), count, {std::sqrt(24)});
        expect_all(rows_of(out, "v_q_criterion"), count, {-140});
    }
    make({"curl", "in.vtr", "--native", "-o", "out.vtr"});
    expect_all(rows_of("out.vtr", "v_curl"), 27, {2, 6, 2});
}

TEST_F(ToolOnDerivatives, VolumesStandWhereTheirHeaderPutsThem) {
    write_file("in.nii", nifti(-2, 4));
    make({"grad", "in.nii", "-o", "out.vti"});
    const auto mesh = read_mesh("out.vti");
    EXPECT_EQ(mesh->GetPoint(12)[0], 4);
    EXPECT_EQ(mesh->GetPoint(14)[0], 0);
    EXPECT_EQ(rows_of("out.vti", "NIFTI_gradient")[12], (std::vector<double>{-5, 0, 0}));
}

TEST_F(ToolOnDerivatives, AroundMissingDataThereIsNoDerivative) {
    std::string f, v;  // x on 5 x 5 nodes, -9 in the middle; a rotation
    for (int n = 0; n < 25; ++n) {
        f += n == 12 ? "-9 " : std::to_string(n % 5) + " ";
        v += std::to_string(-(n / 5)) + " " + std::to_string(n % 5) + " ";
    }
    write_file("in.vti",
               vtk_xml("ImageData", "", "", data_array("Int16", "f", f) + data_array("Float32", "v", v, 2),
                       "0 4 0 4 0 0"));
    const Outcome told = make({"grad", "in.vti", "--null", "-9", "-o", "out.vti"});
    EXPECT_NE(told.out.find("made   f_gradient at 25 nodes (magnitude 1 to 1, 9 nodes without), "),
              std::string::npos)
        << told.out;
    const Rows rows = rows_of("out.vti", "f_gradient");
    make({"grad", "in.vti", "--null", "-9", "--native", "-o", "out.vti"});
    const Rows native = rows_of("out.vti", "f_gradient");
    for (std::size_t n = 0; n < 25; ++n) {
        const bool near = n % 5 >= 1 && n % 5 <= 3 && n / 5 >= 1 && n / 5 <= 3;
        EXPECT_EQ(std::isnan(rows[n][0]), near) << n;
        EXPECT_EQ(native[n][0], near ? 0 : 1) << n;
    }
    make({"derive", "in.vti", "-o", "out.vti", "--png", "out.png", "--show", "q"});
    expect_all(rows_of("out.vti", "v_vorticity"), 25, {0, 0, 2});
    expect_all(rows_of("out.vti", "v_q_criterion"), 25, {1});
}

TEST_F(ToolOnDerivatives, CellsWithDataComeThroughWhole) {
    std::vector<Vertex> points;  // n % 3, n / 3 % 3, n / 9, then one without data and a lone one
    for (int n = 0; n < 27; ++n) points.push_back({1.0 * (n % 3), 1.0 * (n / 3 % 3), 1.0 * (n / 9)});
    points.insert(points.end(), {{-9, 0, 0}, {9, 9, 9}});
    std::string numbers;
    for (int cell = 0; cell < 15; ++cell) numbers += std::to_string(cell) + " ";
    const std::vector<int> hex = {0, 2, 8, 6, 18, 20, 26, 24, 1, 5, 7, 3, 19, 23, 25, 21, 9, 11, 17, 15};
    const std::vector<int> wedge = {0, 6, 2, 18, 24, 20, 3, 4, 1, 21, 22, 19, 9, 15, 11};
    const std::vector<int> tet = {0, 2, 6, 18, 1, 4, 3, 9, 10, 12};
    const auto first = [](const std::vector<int> &nodes, int count) {
        return std::vector<int>(nodes.begin(), nodes.begin() + count);
    };
    const std::vector<Cell> cells = {{VTK_TETRA, {0, 1, 3, 27}},
                                     {VTK_LINE, {0, 1}},
                                     {VTK_QUADRATIC_EDGE, {0, 2, 1}},
                                     {VTK_TRIANGLE, {0, 2, 6}},
                                     {VTK_QUADRATIC_TRIANGLE, {0, 2, 6, 1, 4, 3}},
                                     {VTK_QUAD, {0, 2, 8, 6}},
                                     {VTK_QUADRATIC_QUAD, {0, 2, 8, 6, 1, 5, 7, 3}},
                                     {VTK_TETRA, first(tet, 4)},
                                     {VTK_QUADRATIC_TETRA, tet},
                                     {VTK_WEDGE, first(wedge, 6)},
                                     {VTK_QUADRATIC_WEDGE, wedge},
                                     {VTK_PYRAMID, {0, 2, 8, 6, 22}},
                                     {VTK_HEXAHEDRON, first(hex, 8)},
                                     {VTK_QUADRATIC_HEXAHEDRON, hex},
                                     {VTK_LINE, {27, 1}}};
    write_file("in.vtu", unstructured(points, cells, data_array("Int16", "c", numbers)));
    Outcome told;
    const Part made = part({"denull", "in.vtu", "-a", "x", "--null", "-9"}, &told);
    EXPECT_NE(told.out.find("made   13 cells (1 lines, "), std::string::npos) << told.out;
    EXPECT_NE(told.out.find("), 28 nodes of 29 (4 in no cell), "), std::string::npos) << told.out;
    const std::vector<double> ids = made.of_cells("cell_id");
    ASSERT_EQ(std::set<double>(ids.begin(), ids.end()).size(), 13u);
    EXPECT_EQ(made.of_cells("c"), ids);
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const Cell &cell = cells.at(static_cast<std::size_t>(ids[i]));
        SCOPED_TRACE(cell.type);
        vtkCell *found = made.data->GetCell(static_cast<vtkIdType>(i));
        EXPECT_EQ(found->GetCellType(), cell.type);
        for (std::size_t n = 0; n < cell.nodes.size(); ++n) EXPECT_EQ(found->GetPointId(n), cell.nodes[n]);
        EXPECT_GE(made.sizes[i], found->GetCellDimension() > 1 ? 1 : 0);
    }
}

TEST_F(ToolOnDerivatives, GridsLoseTheirNullsWhicheverWayTheyTurn) {
    for (const bool mirrored : {false, true}) {
        const std::string name = mirrored ? "in.vts" : "in.vti";
        write_file(name, cube_of_nodes(mirrored));
        const Part made = part({"denull", name, "-a", "x", "--null", "0", "--png", "out.png"});
        expect_sound(made);
        EXPECT_NEAR(made.size(), 4, 1e-6);
        EXPECT_EQ(made.of_cells("c"), (std::vector<double>{1, 3, 5, 7}));
        EXPECT_EQ(made.of_cells("cell_id"), made.of_cells("c"));
    }
    write_file("in.vti", vtk_xml("ImageData", "", "", data_array("Int16", "v", "9 1 0 1 0 9 0 9 0 0 0 0", 2),
                                 "0 2 0 1 0 0"));
    const struct {
        const char *null, *told;
        int ncells;
    } cases[] = {{"9", "made   1 cell (1 quadrilaterals), 5 nodes of 6 (1 in no cell), ", 1},
                 {"0", "made   0 cells, 1 node of 6 (1 in no cell), ", 0},
                 {"7", " (nothing is missing: all cells stay)", 2}};
    for (const auto &[null, line, ncells] : cases) {
        Outcome told;
        EXPECT_EQ(part({"denull", "in.vti", "--null", null}, &told).data->GetNumberOfCells(), ncells);
        EXPECT_NE(told.out.find(line), std::string::npos) << told.out;
    }
}

TEST_F(ToolOnDerivatives, RefusesWhatHasNoDerivative) {
    write_meshes();
    write_file("flat.vti", flat_image());
    expect_refused({
        {{"curl", "in.vti", "-a", "f", "-o", "o.vti"}, "'f' has 1 component, a vector is needed"},
        {{"curl", "flat.vti", "-o", "o.vti"}, "'flat.vti' has no vector on its nodes"},
        {{"div", "in.vti", "-a", "q", "-o", "o.vti"}, "there is no array 'q'"},
        {{"grad", "in.vti", "-o", "o.vtu"}, "'in.vti' is kept as .vti"},
        {{"grad", "in.vti", "-a", "v", "--native", "-o", "o.vti"}, "--native differentiates scalars"},
        {{"grad", "in.vti", "-o", "o.stl"}, "ends in one of .vti"},
        {{"grad", "in.vti", "-o", "in.vti"}, "is the input file"},
        {{"derive", "in.vti", "--show", "q", "-o", "o.vti"}, "--show goes with --png"},
        {{"denull", "in.vti", "-o", "o.vti"}, "ends in one of .vtu"},
    });
}

}  // namespace
