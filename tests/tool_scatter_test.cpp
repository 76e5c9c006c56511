// The tool end to end on tables: polynomials fitted to columns, scattered values brought to grids.
#include "tool_support.hpp"

namespace {

class ToolOnTables : public Tool {};

TEST_F(ToolOnTables, FitsColumnsByNameAndNumberWithRowsMissing) {
    write_file("in.csv", "name,b,\"A\"\np,0,-1\nq,2,-1\nr,NA,0\n\ns,4,1\nt,6,1\nu,-9,1\nv,7\n");
    const Arguments line = {"fit",    "in.csv", "--x", "a",       "--y",   "2",
                            "--null", "-9",     "-o",  "out.csv", "--png", "fit.png"};
    expect_told(make(line).out, {"7 rows, y 'b' over x 'A'",
                                 "4 points (3 left out), residuals 1 rms, 1 at most, R squared 0.8",
                                 "\ny = 3 + 2 x\n", "\n  x^1    2\n"});
    EXPECT_EQ(read_file("out.csv"),
              "A,b,fitted,residual\n-1,0,1,-1\n-1,2,1,1\n0,nan,3,nan\n1,4,5,-1\n1,6,5,1\n1,nan,5,nan\n"
              "nan,7,nan,nan\n");
    EXPECT_GT(fs::file_size("fit.png"), 2000u);
    write_file("bare.csv", "0,1,x\n1,-.5,x\n2,-1,x\n3,-.5,x\n4,1,x\n");
    expect_told(run({"fit", "bare.csv", "--degree", "2", "-q"}).out, {"y = 1 - 2 x + 0.5 x^2\n"});
    expect_told(run({"fit", "bare.csv", "--degree", "0", "--x", "2"}).out, {"'column_1' over x", "y = 2\n"});
}

TEST_F(ToolOnTables, BringsColumnsToFlatGridsWithHoles) {
    write_file("in.csv", "\xEF\xBB\xBFt,lat,lon,p\n10,1,1,5\n20,1,3,nan\n99,,2,99\n7,90,180,7\n");
    const Arguments scatter = {"scatter", "in.csv", "--grid", "7",  "3",       "--box", "0,6,0,2", "--radius",
                               "1",       "--null", "7",      "-o", "out.vti", "--png", "map.png"};
    expect_told(make(scatter).out, {"4 points at 'lon' 'lat', values 't' 'p'",
                                    "7 x 3 nodes over 0 to 6, 0 to 2, 1 point outside the box",
                                    "t: 2 points (2 left out), 15 nodes filled, 6 empty; 10 to 20\n",
                                    "p: 1 point (3 left out)"});
    EXPECT_GT(fs::file_size("map.png"), 2000u);
    const double n = NAN;
    expect_values("out.vti", "t",
                  {10, 10, 15, 20, 20, n, n, 10, 10, 15, 20, 20, n, n, 10, 10, 15, 20, 20, n, n});
    expect_values("out.vti", "p", {5, 5, 5, n, n, n, n, 5, 5, 5, n, n, n, n, 5, 5, 5, n, n, n, n});
    expect_told(run({"info", "out.vti"}).out, {"dims     7 x 3 x 1\norigin   0 0 0\nspacing  1 1 1\n"});

    // Far from 0, where floats are whole numbers apart.
    write_file("far.csv", "x,y,z\n20000000,1,0\n20000000.75,1,9\n");
    Arguments row = {"scatter", "far.csv", "--grid", "4", "1", "-o", "out.vti"};
    make(row);
    expect_values("out.vti", "z", {0, 1.8, 7.2, 9});
    row.insert(row.end(), {"--power", "1", "--radius", "4,2", "--x", "1", "--value", "3"});
    make(row);
    expect_values("out.vti", "z", {0, 3, 6, 9});
}

TEST_F(ToolOnTables, BringsNodesOfFilesToVolumes) {
    const std::string points = data_array("Float32", "p", "0 0 0 2 2 2", 3), ends = "1 2";
    write_file("in.vtp",
               "<VTKFile type=\"PolyData\" version=\"0.1\" byte_order=\"LittleEndian\"><PolyData>"
               "<Piece NumberOfPoints=\"2\" NumberOfVerts=\"2\"><PointData>" +
                   data_array("Int32", "s", "1 3") + data_array("Float32", "v", "1 2 3 4", 2) +
                   "</PointData><Points>" + points + "</Points><Verts>" +
                   data_array("Int32", "connectivity", "0 1") + data_array("Int32", "offsets", ends) +
                   "</Verts></Piece></PolyData></VTKFile>");
    const Arguments scatter = {"scatter", "in.vtp",  "--grid", "3",  "3",       "3",     "--radius",
                               "1",       "--value", "s",      "-o", "out.vti", "--png", "planes.png"};
    expect_told(make(scatter).out, {"2 points, 15 nodes filled, 12 empty; 1 to 3"});
    EXPECT_GT(fs::file_size("planes.png"), 2000u);
    const double n = NAN;
    expect_values("out.vti", "s",
                  {1, 1, n, 1, 1, n, n, n, n, 1, 1, n, 1, 2, 3, n, 3, 3, n, n, n, n, 3, 3, n, 3, 3});
    make({"scatter", "in.vtp", "--grid", "3", "3", "3", "-o", "out.vti"});
    EXPECT_EQ(rows_of("out.vti", "v")[13], (std::vector<double>{2, 3}));
}

TEST_F(ToolOnTables, RefusesWhatCannotBeFittedOrBrought) {
    write_file("in.csv", "x,y,t\n1,2,3\n4,5,6\n7,8,far\n");
    write_file("words.csv", "a,b\nc,d\n");
    const auto scatter = [](const Arguments &more) {
        Arguments all = {"scatter", "in.csv", "-o", "o.vti"};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    expect_refused({
        {{"fit", "in.csv", "--y", "u"},
         "--y: there is no column 'u' in 'in.csv': it has 'x', 'y', 't', or 1 to 3"},
        {{"fit", "in.csv", "--y", "t", "-o", "o.csv"}, "row 4 has 'far' in the column 't'"},
        {{"fit", "words.csv"}, "no two columns of numbers"},
        {{"fit", "in.csv", "--degree", "3", "-o", "o.csv"}, "cannot fit degree 3 to 'in.csv'"},
        {{"fit", "in.csv", "-o", "o.txt", "--png", "o.png"}, "ends in one of .csv"},
        {scatter({"--grid", "0", "3"}), "at least one node an axis"},
        {scatter({"--grid", "3", "3", "--box", "0,1,0"}), "--box: '0,1,0' is not X0,X1,Y0,Y1"},
        {scatter({"--grid", "3", "3", "--box", "0,1,2,1"}), "ends below its start along y"},
        {scatter({"--grid", "3", "3", "--box", "1,1,0,2", "--value", "y"}), "no extent along x"},
        {scatter({"--grid", "3", "3", "--radius", "1,2,3"}), "is not R or RX,RY"},
        {scatter({"--grid", "3", "3", "--value", "u"}), "--value: there is no column 'u'"},
        {scatter({"--grid", "3", "3"}), "row 4 has 'far'"},
        {scatter({"--grid", "3", "1", "--png", "o.png"}), "--png draws a --grid of several nodes"},
    });
}

}  // namespace
