// The tool end to end on cell meshes and surfaces: types of cells, isolines, Exodus files.
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkExodusIIWriter.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkTimeSourceExample.h>
#include <vtkUnstructuredGrid.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLUnstructuredGridReader.h>

#include "tool_support.hpp"

namespace {

// One cell whose quadratic nodes are the middles of `edges`, in the order of the file.
std::string one_cell(int type, std::vector<Vertex> corners, const std::vector<std::array<int, 2>> &edges) {
    for (const auto &[a, b] : edges) {
        Vertex middle;
        for (std::size_t d = 0; d < 3; ++d) {
            middle[d] =
                (corners[static_cast<std::size_t>(a)][d] + corners[static_cast<std::size_t>(b)][d]) / 2;
        }
        corners.push_back(middle);
    }
    Cell cell{type, {}};
    for (std::size_t i = 0; i < corners.size(); ++i) cell.nodes.push_back(static_cast<int>(i));
    return unstructured(corners, {cell});
}

vtkSmartPointer<vtkPolyData> read_vtp(const std::string &name) {
    vtkNew<vtkXMLPolyDataReader> reader;
    reader->SetFileName(name.c_str());
    reader->Update();
    return reader->GetOutput();
}

std::vector<double> values_of(vtkDataArray *array) {
    std::vector<double> values;
    for (vtkIdType i = 0; array && i < array->GetNumberOfTuples(); ++i)
        values.push_back(array->GetComponent(i, 0));
    return values;
}

// Where a coordinate is 0.25 on one cell: the exact section along each axis, turned to where the coordinate
// is less. Of cells in the plane z = 0 there are only two sections, which are lines.
TEST_F(Tool, EveryTypeOfCellKeepsItsShape) {
    using Corners = std::vector<Vertex>;
    const Corners square = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    const Corners rows = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
    const Corners triangle = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    const Corners tet = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const Corners cube = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                          {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    const Corners voxel = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0},
                           {0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1}};
    const Corners prism = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}};
    const Corners turned = {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}, {0, 1, 1}, {1, 0, 1}};
    const Corners pyramid = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, 1}};
    const std::vector<std::array<int, 2>> round3 = {{0, 1}, {1, 2}, {2, 0}},
                                          round4 = {{0, 1}, {1, 2}, {2, 3}, {3, 0}},
                                          of_tet = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}},
                                          of_cube = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                                     {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}},
                                          of_prism = {{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5},
                                                      {5, 3}, {0, 3}, {1, 4}, {2, 5}};
    struct Case {
        int type;
        Corners corners;
        std::vector<std::array<int, 2>> edges;
        std::vector<double> sections;  // along x, y and z
    };
    const std::vector<Case> cases = {
        {VTK_TRIANGLE, triangle, {}, {0.75, 0.75}},
        {VTK_QUADRATIC_TRIANGLE, triangle, round3, {0.75, 0.75}},
        {VTK_QUAD, square, {}, {1, 1}},
        {VTK_QUADRATIC_QUAD, square, round4, {1, 1}},
        {VTK_PIXEL, rows, {}, {1, 1}},
        {VTK_TRIANGLE_STRIP, rows, {}, {1, 1}},
        {VTK_POLYGON, square, {}, {1, 1}},
        {VTK_TETRA, tet, {}, {0.28125, 0.28125, 0.28125}},
        {VTK_QUADRATIC_TETRA, tet, of_tet, {0.28125, 0.28125, 0.28125}},
        {VTK_HEXAHEDRON, cube, {}, {1, 1, 1}},
        {VTK_QUADRATIC_HEXAHEDRON, cube, of_cube, {1, 1, 1}},
        {VTK_VOXEL, voxel, {}, {1, 1, 1}},
        {VTK_WEDGE, prism, {}, {0.75, 0.75, 0.5}},
        {VTK_WEDGE, turned, {}, {0.75, 0.75, 0.5}},
        {VTK_QUADRATIC_WEDGE, prism, of_prism, {0.75, 0.75, 0.5}},
        {VTK_QUADRATIC_WEDGE, turned, of_prism, {0.75, 0.75, 0.5}},
        {VTK_PYRAMID, pyramid, {}, {0.375, 0.375, 0.5625}},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto &[type, corners, edges, sections] = cases[i];
        write_file("in.vtu", one_cell(type, corners, edges));
        for (std::size_t axis = 0; axis < sections.size(); ++axis) {
            SCOPED_TRACE("case " + std::to_string(i) + ", axis " + std::to_string(axis));
            const std::string name(1, "xyz"[axis]);
            const Outcome outcome = run({"iso", "in.vtu", "-a", name, "-l", "0.25", "-o", "out.obj"});
            EXPECT_EQ(outcome.code, 0);
            EXPECT_EQ(outcome.err, "");
            const Solid made = read_obj("out.obj");
            Vertex area = {};
            if (sections.size() == 3) area[axis] = -sections[axis];
            for (std::size_t d = 0; d < 3; ++d) EXPECT_NEAR(made.area()[d], area[d], 1e-6);
            EXPECT_NEAR(made.length(), sections.size() == 2 ? sections[axis] : 0, 1e-6);
        }
    }
}

// A cube with a pyramid on it and a prism beside it, which has a tetrahedron beside it.
std::vector<Vertex> block_points() {
    return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0},     {0, 1, 0}, {0, 0, 1}, {1, 0, 1},
            {1, 1, 1}, {0, 1, 1}, {0.5, 0.5, 2}, {2, 0, 0}, {2, 1, 0}, {1, -1, 0}};
}
const Cell kCube = {VTK_HEXAHEDRON, {0, 1, 2, 3, 4, 5, 6, 7}};
const Cell kPrism = {VTK_WEDGE, {1, 9, 5, 2, 10, 6}};

TEST_F(Tool, CellsOfSeveralTypesMakeOneSheetThatKnowsItsCells) {
    write_file("in.vtu", unstructured(block_points(), {{VTK_LINE, {0, 1}},
                                                       kCube,
                                                       {VTK_QUAD, {0, 1, 5, 4}},
                                                       {VTK_POLYGON, {0, 1, 2, 3, 4}},
                                                       {VTK_PYRAMID, {4, 5, 6, 7, 8}},
                                                       kPrism,
                                                       {VTK_VERTEX, {0}},
                                                       {VTK_TETRA, {1, 9, 5, 11}}}));
    const Outcome along_z = run({"iso", "in.vtu", "-a", "z", "-l", "0.25", "--attach", "x", "-o", "out.vtp"});
    EXPECT_EQ(along_z.code, 0);
    EXPECT_EQ(along_z.err,
              "isofield: warning: 'in.vtu': 1 vertices, 1 polygons left out: there is no operation for cells "
              "of this kind\nisofield: note: 1 line cell takes no part\n");
    const auto sheet = read_vtp("out.vtp");
    EXPECT_EQ(sheet->GetNumberOfPoints(), 7);  // neighbours share theirs
    EXPECT_EQ(values_of(sheet->GetCellData()->GetArray("cell_id")), (std::vector<double>{2, 1, 1, 5, 5, 7}));
    EXPECT_EQ(values_of(sheet->GetPointData()->GetArray("x")).size(), 7u);

    const Outcome along_x = run({"iso", "in.vtu", "-a", "x", "-l", "0.25", "-o", "out.obj", "-q"});
    EXPECT_EQ(along_x.err, "");
    EXPECT_NEAR(read_obj("out.obj").area()[0], -1.375, 1e-6);
    EXPECT_NEAR(read_obj("out.obj").length(), 1, 1e-6);

    const Outcome info = run({"info", "in.vtu"});
    EXPECT_NE(info.out.find("set      hex_1, 1 cell\n"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("note     1 vertices, 1 polygons are not known\n"), std::string::npos)
        << info.out;

    const Outcome stl = run({"iso", "in.vtu", "-a", "z", "-l", "0.25", "-o", "out.stl"});
    EXPECT_NE(stl.err.find("cannot hold lines, 1 left out"), std::string::npos) << stl.err;
    EXPECT_EQ(fs::file_size("out.stl"), 84u + 5 * 50);
}

TEST_F(Tool, IsolinesAreOrderedAndKnowTheirLevels) {
    write_file("flat.vti", flat_image());
    const Outcome outcome = run({"lines", "flat.vti", "--levels", "3", "--attach", "f", "-o", "out.vtp",
                                 "--png", "out.png", "--size", "320x200"},
                                without_display);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_GT(fs::file_size("out.png"), 2000u);
    const auto lines = read_vtp("out.vtp");
    EXPECT_EQ(values_of(lines->GetCellData()->GetArray("level")), (std::vector<double>{2.5, 5, 7.5}));
    ASSERT_EQ(lines->GetNumberOfLines(), 3);
    for (vtkIdType line = 0; line < 3; ++line) {  // a diamond, closed
        vtkCell *cell = lines->GetCell(line);
        ASSERT_EQ(cell->GetNumberOfPoints(), 5);
        EXPECT_EQ(cell->GetPointId(0), cell->GetPointId(4));
        for (vtkIdType i = 0; i < 4; ++i) {
            double at[3];
            lines->GetPoint(cell->GetPointId(i), at);
            EXPECT_NEAR(std::abs(at[0] - 1) + std::abs(at[2] - 1), 0.75 - 0.25 * static_cast<double>(line),
                        1e-6);
            EXPECT_EQ(at[1], 5);
        }
    }
    EXPECT_EQ(values_of(lines->GetPointData()->GetArray("f"))[4], 5);

    const Outcome every = run({"lines", "flat.vti", "--every", "4", "-o", "out.obj"});
    EXPECT_EQ(every.err.find("isofield: warning: 'out.obj' cannot hold arrays"), 0u) << every.err;
    EXPECT_NE(every.out.find("3 levels, 0 to 8"), std::string::npos) << every.out;
    EXPECT_NEAR(read_obj("out.obj").length(), 4 * std::sqrt(2) * (0.6 + 0.2), 1e-5);  // 4 and 8

    run({"iso", "flat.vti", "-l", "5", "-o", "out.vtp"});
    EXPECT_EQ(values_of(read_vtp("out.vtp")->GetCellData()->GetArray("cell_id")),
              (std::vector<double>{0, 1, 2, 3}));
    const Outcome holes =
        run({"lines", "flat.vti", "-l", "5", "-l", "2", "--null", "0", "-o", "out.obj", "-q"});
    EXPECT_EQ(holes.code, 0) << holes.err;
    EXPECT_EQ(read_obj("out.obj").lines.size(), 0u);  // every cell has a null
}

TEST_F(Tool, ReadsBlocksAndStepsOfExodusFiles) {
    write_file("in.vtu", unstructured(block_points(), {kCube, kPrism}));
    vtkNew<vtkXMLUnstructuredGridReader> reader;
    reader->SetFileName("in.vtu");
    vtkNew<vtkExodusIIWriter> writer;
    writer->SetInputConnection(reader->GetOutputPort());
    writer->SetFileName("in.ex2");
    writer->Write();
    const Outcome iso = run({"iso", "in.ex2", "-a", "z", "-l", "0.25", "-o", "out.vtp"});
    EXPECT_EQ(iso.code, 0) << iso.err;
    EXPECT_NE(run({"info", "in.ex2"}).out.find("': prism_1, 1 cell\n"), std::string::npos);
    const auto sheet = read_vtp("out.vtp");
    EXPECT_EQ(sheet->GetNumberOfPoints(), 6);  // the blocks share two
    EXPECT_EQ(values_of(sheet->GetCellData()->GetArray("cell_id")), (std::vector<double>{0, 0, 1, 1}));

    vtkNew<vtkTimeSourceExample> series;
    vtkNew<vtkExodusIIWriter> all;
    all->SetInputConnection(series->GetOutputPort());
    all->SetFileName("series.e");
    all->WriteAllTimeStepsOn();
    all->Write();
    const Outcome third = run({"info", "series.e", "--step", "3"});
    EXPECT_NE(third.out.find("step     3 of 10, time 0.222222\n"), std::string::npos) << third.out;
    EXPECT_NE(third.out.find("'Point Value': double, 0.984808 to 0.984808"), std::string::npos) << third.out;
    EXPECT_NE(run({"info", "series.e"}).out.find("'Point Value': double, 0 to 0"), std::string::npos);
    EXPECT_NE(run({"info", "series.e", "--step", "11"}).err.find("its steps are 1 to 10"), std::string::npos);
}

}  // namespace
