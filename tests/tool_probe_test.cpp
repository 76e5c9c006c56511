// The tool end to end on points in cells: probing, integrals, cell arrays brought to nodes.
#include <vtkCellType.h>

#include <map>

#include "tool_support.hpp"

namespace {

// A cube with a pyramid on it, and a prism beside it.
std::vector<Vertex> block_points() {
    return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},     {0, 0, 1}, {1, 0, 1},
            {1, 1, 1}, {0, 1, 1}, {2, 0, 0}, {0.5, 0.5, 2}, {2, 1, 0}, {9, 9, 9}};
}
const Cell kCube = {VTK_HEXAHEDRON, {0, 1, 2, 3, 4, 5, 6, 7}};
const Cell kPyramid = {VTK_PYRAMID, {4, 5, 6, 7, 9}};
const Cell kPrism = {VTK_WEDGE, {1, 8, 5, 2, 10, 6}};
const Cell kLine = {VTK_LINE, {0, 3}};

using Columns = std::map<std::string, std::vector<double>>;

class ToolOnPoints : public Tool {
  protected:
    // What a run writes to a .csv file.
    static Columns table(Arguments arguments, Outcome *told = nullptr) {
        arguments.insert(arguments.end(), {"-o", "out.csv"});
        const Outcome outcome = run(arguments, without_display);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        if (told) *told = outcome;
        Columns columns;
        std::vector<std::string> names;
        std::istringstream lines(read_file("out.csv"));
        for (std::string line; std::getline(lines, line);) {
            const bool header = names.empty();
            std::istringstream cells(line + ",");
            std::size_t c = 0;
            for (std::string cell; std::getline(cells, cell, ',');) {
                if (header) names.push_back(cell);
                if (!header) columns[names.at(c++)].push_back(std::strtod(cell.c_str(), nullptr));
            }
        }
        return columns;
    }
};

void expect_near(const std::vector<double> &values, const std::vector<double> &wanted) {
    ASSERT_EQ(values.size(), wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        EXPECT_TRUE(std::isnan(wanted[i]) ? std::isnan(values[i]) : std::abs(values[i] - wanted[i]) < 1e-6)
            << "row " << i << ": " << values[i];
    }
}

TEST_F(ToolOnPoints, ProbesPointsOfFilesInCellsOfSeveralTypes) {
    write_file("in.vtu", unstructured(block_points(), {kLine, kPrism, kCube, kPyramid}));
    write_file("named.csv", "Name,Z, y,\"X\"\na,.25,.5,.125\nb,1.5,.5,.5\n\nc,.25,.5,1.25\nd,2.5,0,0\n");
    Outcome told;
    Columns made = table({"probe", "in.vtu", "named.csv"}, &told);
    EXPECT_NE(told.out.find("made   4 points, 3 found, "), std::string::npos) << told.out;
    EXPECT_NE(told.err.find("another 'x': the array is written as 'x_data'"), std::string::npos) << told.err;
    expect_near(made["found"], {1, 1, 1, 0});
    expect_near(made["cell_id"], {2, 3, 1, -1});
    expect_near(made["z_data"], {0.25, 1.5, 0.25, NAN});

    made = table({"probe", "in.vtu", "named.csv", "-a", "z", "--null", "2"});
    expect_near(made["found"], {1, 1, 1, 0});  // the second in a cell with a missing node
    expect_near(made["z_data"], {0.25, NAN, 0.25, NAN});
    write_file("bare.csv", "p,0.75,0.5\r\nq,5,5\r\n");
    expect_near(table({"probe", "in.vtu", "bare.csv", "-a", "y", "--fill", "-7"})["y_data"], {0.5, -7});
}

TEST_F(ToolOnPoints, ProbesAlongALineAndOnGridsIntoFilesAndPictures) {
    write_file("in.vtu", unstructured(block_points(), {kCube, kPyramid, kPrism}));
    Arguments line = {"probe", "in.vtu", "--line", "-1,0.5,0.25", "3,0.5,0.25", "9", "-a", "x"};
    Columns made = table(line);
    expect_near(made["distance"], {0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4});
    expect_near(made["x_data"], {NAN, NAN, 0, 0.5, 1, 1.5, NAN, NAN, NAN});
    line.insert(line.end(), {"--png", "line.png", "--size", "320x200", "-o", ""});
    for (const std::string name : {"out.vtp", "out.vtu"}) {
        line.back() = name;
        EXPECT_EQ(run(line, without_display).code, 0);
        const std::string told = run({"info", name}).out;
        EXPECT_NE(told.find("cells    1 polylines\n"), std::string::npos) << told;
        EXPECT_NE(told.find("'x': float, 0 to 1.5, 5 NaN\n"), std::string::npos) << told;
    }
    EXPECT_GT(fs::file_size("line.png"), 2000u);

    write_file("flat.vti", flat_image());
    Arguments grid = {"probe", "flat.vti", "--grid", "5", "1", "3", "--png", "plane.png"};
    made = table(grid);
    EXPECT_GT(fs::file_size("plane.png"), 2000u);
    EXPECT_EQ(made["x"][1], 0.5);
    expect_near(made["f"], {0, 0, 0, 0, 0, 0, 5, 10, 5, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(made["cell_id"][13], 3);
    grid.insert(grid.end(), {"--null", "10", "--fill", "-1", "-o", "out.vti"});
    EXPECT_EQ(run(grid, without_display).code, 0);
    const std::string told = run({"info", "out.vti"}).out;
    EXPECT_NE(told.find("dims     5 x 1 x 3\norigin   0 5 0\nspacing  0.5 1 1\n"), std::string::npos) << told;
    EXPECT_NE(told.find("'f': float, null -1, no finite value, 15 null"), std::string::npos) << told;
}

TEST_F(ToolOnPoints, IntegratesOverEachDimension) {
    const Cell side = {VTK_QUAD, {0, 1, 5, 4}};
    write_file("in.vtu", unstructured(block_points(), {kLine, kPrism, side, kCube, kPyramid}));
    Outcome told;
    Columns made = table({"integrate", "in.vtu", "-a", "z", "y", "--null", "2", "-q"}, &told);
    EXPECT_NE(told.out.find(", without 1 cell of 0.3333333"), std::string::npos) << told.out;
    EXPECT_NE(told.out.find("length   1, 1 cell\n"), std::string::npos) << told.out;
    expect_near(made["integral"], {0.5 + 1.0 / 6, 0.5 + 0.25 + 1.0 / 6, 0.5, 0, 0, 0.5});
    expect_near(made["size"], {1.5, 11.0 / 6, 1, 1, 1, 1});
    expect_near(made["null_cells"], {1, 0, 0, 0, 0, 0});
}

TEST_F(ToolOnPoints, BringsCellArraysToTheNodesOfTheSameKindOfFile) {
    const Cell above = {VTK_HEXAHEDRON, {4, 5, 6, 7, 9, 9, 9, 9}};  // its set also holds the cell 0
    write_file("in.vtu",
               unstructured(block_points(), {kCube, kPrism, above},
                            data_array("Float32", "c", "10 20 30") + data_array("Int32", "z", "1 -9 4") +
                                data_array("Float64", "w", "1 2 3 4 5 6", 2)));
    const Outcome outcome = run({"cell2node", "in.vtu", "-o", "out.vtu", "--null", "-9"});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("'z': the array is written as 'z_node'"), std::string::npos) << outcome.err;
    const std::string told = run({"info", "out.vtu"}).out;
    for (const std::string array :
         {"node array 'x': float, 0 to 9", "node array 'c': float, 10 to 30, 1 NaN\n",
          "'z_node': float, 1 to 4, 7 NaN\n", "node array 'w': double x 2\n", "cell array 'c': float"}) {
        EXPECT_NE(told.find(array), std::string::npos) << told;
    }
    Columns made = table({"probe", "out.vtu", "--line", "0,0,0", "2,0,0", "3", "-a", "c", "w"});
    expect_near(made["c"], {10, 15, 20});
    expect_near(made["w_1"], {2, 3, 4});

    std::string flat = flat_image();
    flat.insert(flat.find("</CellData>"), data_array("UInt8", "c", "1 2 3 4"));
    write_file("in.vti", flat);
    EXPECT_EQ(run({"cell2node", "in.vti", "-o", "out.vti"}).code, 0);
    expect_near(table({"probe", "out.vti", "--grid", "3", "1", "3", "-a", "c"})["c"],
                {1, 1.5, 2, 2, 2.5, 3, 3, 3.5, 4});
}

TEST_F(ToolOnPoints, RefusesWhatCannotBeProbedIntegratedOrBrought) {
    write_file("in.vtu", unstructured(block_points(), {kCube}, data_array("Float32", "c", "1")));
    write_file("flat.vti", flat_image());
    write_file("empty.csv", "");
    write_file("other.csv", "u,v\n1,2\n");
    write_file("words.csv", "x,y\n1,2\n3,far\n");
    expect_refused({
        {{"probe", "in.vtu", "-o", "o.csv"}, "by one of POINTS, --line and --grid"},
        {{"probe", "in.vtu", "p.csv", "--grid", "2", "2", "2", "-o", "o.csv"}, "by one of POINTS"},
        {{"probe", "in.vtu", "empty.csv", "-o", "o.csv"}, "'empty.csv': the file is empty"},
        {{"probe", "in.vtu", "other.csv", "-o", "o.csv"}, "its columns are 'u', 'v'; name those"},
        {{"probe", "in.vtu", "words.csv", "-o", "o.csv"}, "row 3 has 'far'"},
        {{"probe", "in.vtu", "words.csv", "-o", "words.csv"}, "is the input file"},
        {{"probe", "in.vtu", "in.vtu", "-o", "o.vti"}, "ends in one of .csv .vtp .vtu"},
        {{"probe", "in.vtu", "in.vtu", "-o", "o.csv", "--png", "o.png"}, "--png draws a --line"},
        {{"probe", "in.vtu", "--line", "0,0", "1,1,1", "5", "-o", "o.csv"}, "'0,0' is not X,Y,Z"},
        {{"probe", "flat.vti", "--grid", "2", "2", "2", "-o", "o.csv"}, "no extent along y"},
        {{"integrate", "in.vtu", "-a", "c"}, "a node array is needed"},
        {{"cell2node", "in.vtu", "-o", "o.vtp"}, "is kept as .vtu"},
        {{"cell2node", "flat.vti", "-o", "o.vti"}, "has no cell array of numbers"},
    });
}

}  // namespace
