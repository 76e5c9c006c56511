// The tool end to end on streamlines, and on the NetCDF files that winds and currents come in.
#include <vtkCellType.h>
#include <vtk_netcdf.h>

#include "tool_support.hpp"

namespace {

// 3 x 3 x 3 nodes from -1 to 1 that turn around the z axis, with the node arrays x, y and z.
void write_rotation() {
    std::string vectors, axes[3];
    std::vector<Vertex> points;
    for (int node = 0; node < 27; ++node) {
        const int at[3] = {node % 3 - 1, node / 3 % 3 - 1, node / 9 - 1};
        points.push_back({double(at[0]), double(at[1]), double(at[2])});
        vectors += std::to_string(-at[1]) + " " + std::to_string(at[0]) + " 0 ";
        for (std::size_t d = 0; d < 3; ++d) axes[d] += std::to_string(at[d]) + " ";
    }
    const std::string turning = data_array("Float32", "V", vectors, 3);
    std::vector<Cell> cells;
    for (const int n : {0, 1, 3, 4, 9, 10, 12, 13}) {
        cells.push_back({VTK_HEXAHEDRON, {n, n + 1, n + 4, n + 3, n + 9, n + 10, n + 13, n + 12}});
    }
    std::string text = unstructured(points, cells);
    write_file("in.vtu", text.insert(text.find("</PointData>"), turning));
    write_file("in.vti", vtk_xml("ImageData", "Origin=\"-1 -1 -1\" Spacing=\"1 1 1\"", "",
                                 data_array("Float32", "x", axes[0]) + data_array("Int16", "y", axes[1]) +
                                     data_array("Float32", "z", axes[2]) + turning));
}

Rows of_lines(const std::string &file, const char *name) {
    const auto lines = read_mesh(file);
    vtkDataArray *array = lines->GetCellData()->GetArray(name);
    Rows rows;
    for (vtkIdType i = 0; array && i < array->GetNumberOfTuples(); ++i)
        rows.push_back({array->GetComponent(i, 0)});
    return rows;
}

TEST_F(Tool, StreamlinesOfARotationKeepTheirRadiusAndTellWhatTheyMeet) {
    write_rotation();
    write_file("seeds.csv", "0.5,0,0.25\n0,0,0\n0.9,0.9,0.5\n5,0,0\n");
    for (const std::string in : {"in.vti", "in.vtu"}) {
        const Outcome made = run({"stream", in, "-a", "V", "--points", "seeds.csv", "--both", "--max", "60",
                                  "--steps-per-cell", "8", "-o", "o.vtp"});
        ASSERT_EQ(made.code, 0) << made.err;
        EXPECT_NE(made.out.find(" from 4 seeds (2 lead nowhere: outside, missing data, no flow)"),
                  std::string::npos);
        EXPECT_NE(made.out.find("left the mesh (0)           1           1"), std::string::npos) << made.out;
        EXPECT_NE(made.out.find("most points (3)             1           1"), std::string::npos) << made.out;
        EXPECT_EQ(of_lines("o.vtp", "seed"), (Rows{{0}, {2}}));
        EXPECT_EQ(of_lines("o.vtp", "upstream_end"), (Rows{{3}, {0}}));
        EXPECT_EQ(of_lines("o.vtp", "downstream_end"), (Rows{{3}, {0}}));
        const auto lines = read_mesh("o.vtp");
        ASSERT_EQ(lines->GetCell(0)->GetNumberOfPoints(), 119);  // the seed once
        const Rows speed = rows_of("o.vtp", "speed"), time = rows_of("o.vtp", "time"),
                   z = rows_of("o.vtp", "z"), V = rows_of("o.vtp", "V"), cell = rows_of("o.vtp", "cell_id");
        for (std::size_t i = 0; i < 119; ++i) {
            const double *p = lines->GetPoint(static_cast<vtkIdType>(i));
            EXPECT_NEAR(std::hypot(p[0], p[1]), 0.5, 1e-4);
            EXPECT_NEAR(p[1], 0.5 * std::sin(time[i][0]), 1e-3);
            EXPECT_NEAR(speed[i][0], 0.5, 1e-4);
            EXPECT_NEAR(V[i][0], -p[1], 1e-5);
            EXPECT_NEAR(z[i][0], 0.25, 1e-5);
            const bool between = std::abs(p[0] * p[1]) < 1e-3;  // two cells
            EXPECT_TRUE(between || cell[i][0] == 4 + (p[0] > 0) + 2 * (p[1] > 0)) << cell[i][0];
        }
        EXPECT_EQ(run({"stream", in, "-a", "x,y,z", "--line", "0.9,0.5,0", "0.5,0.9,0", "2", "--upstream",
                       "--min-speed", "0.3", "-o", "o.vtp"})
                      .code,
                  0);
        EXPECT_EQ(of_lines("o.vtp", "upstream_end"), (Rows{{2}, {2}}));
        for (const auto &row : rows_of("o.vtp", "speed")) EXPECT_GE(row[0], 0.3);
    }
}

TEST_F(Tool, StreamlinesOnAMapEndAtMissingData) {
    write_file("in.vti", vtk_xml("ImageData", "Origin=\"-1 -1 0\"", "",
                                 data_array("Float64", "U", "1 1 1 1 1 1 1 1 1") +
                                     data_array("Int16", "V", "0 0 -9 0 0 -9 0 0 -9"),
                                 "0 2 0 2 0 0"));
    const Outcome made = run({"stream", "in.vti", "-a", "U,V", "--null", "-9", "--seeds", "20", "--both",
                              "-o", "o.csv", "--png", "o.png", "--size", "320x200"},
                             without_display);
    EXPECT_NE(made.out.find("made   20 lines, "), std::string::npos) << made.out << made.err;
    EXPECT_NE(made.out.find("missing data (1)            0          20\n"), std::string::npos) << made.out;
    EXPECT_GT(fs::file_size("o.png"), 2000u);
    EXPECT_EQ(
        read_file("o.csv").find("seed,x,y,z,speed,time,length,cell_id,uvw_0,uvw_1,uvw_2,U_V_0,U_V_1,U,V\n"),
        0u);
}

// Two steps of winds on 2 x 3 nodes, the first of the second step missing, and depths on other nodes.
void write_winds() {
    int file = 0, dims[5], arrays[4];
    nc_create("in.nc", NC_CLOBBER, &file);
    for (const int d : {0, 1, 2, 3, 4}) {
        nc_def_dim(file, std::array{"time", "lat", "lon", "y", "x"}[d], d == 2 ? 3 : 2, &dims[d]);
    }
    nc_def_var(file, "time", NC_FLOAT, 1, dims, &arrays[0]);
    nc_put_att_text(file, arrays[0], "units", 21, "days since 2000-01-01");
    nc_def_var(file, "U", NC_FLOAT, 3, dims, &arrays[1]);
    nc_def_var(file, "V", NC_FLOAT, 3, dims, &arrays[2]);
    nc_def_var(file, "depth", NC_FLOAT, 2, dims + 3, &arrays[3]);
    const float fill = -99, numbers[] = {1, 2, 3, 4, 5, 6, fill, 8, 9, 10, 11, 12};
    nc_put_att_float(file, arrays[1], "_FillValue", NC_FLOAT, 1, &fill);
    nc_enddef(file);
    for (const int array : arrays) nc_put_var_float(file, array, numbers);
    nc_close(file);
}

TEST_F(Tool, ReadsOneGridAndOneStepOfANetcdfFile) {
    write_winds();
    const std::string told = run({"info", "in.nc", "--step", "2"}).out;
    for (const std::string text :
         {"dims     3 x 2 x 1\n", "step     2 of 2, time 2 days since", "not read: 'depth' on (y, x)",
          "'U': float, 8 to 12, 1 NaN\n", "'V': float, -99 to 12, 0 NaN\n"}) {
        EXPECT_NE(told.find(text), std::string::npos) << text << "\n" << told;
    }
    EXPECT_NE(run({"info", "in.nc", "-a", "depth"}).out.find("'depth': float, 1 to 4"), std::string::npos);
    EXPECT_EQ(run({"stream", "in.nc", "-a", "U,V", "--grid", "1", "2", "1", "-o", "o.vtp"}).code, 0);
    EXPECT_EQ(of_lines("o.vtp", "downstream_end"), (Rows{{0}}));  // the second leaves at its seed
}

TEST_F(Tool, RefusesWhatHasNoStreamlines) {
    write_rotation();
    write_winds();
    write_file("text.nc", "no NetCDF");
    expect_refused({
        {{"stream", "in.vti", "--seeds", "5", "--grid", "2", "2", "2", "-o", "o.vtp"},
         "name the seeds by one of"},
        {{"stream", "in.vti", "--both", "--upstream", "-o", "o.vtp"}, "one of --both and --upstream"},
        {{"stream", "in.vti", "--tube", "auto", "-o", "o.vtp"}, "--tube goes with --png"},
        {{"stream", "in.vti", "--tube", "-1", "-o", "o.vtp", "--png", "o.png"}, "'-1' is neither a radius"},
        {{"stream", "in.vti", "-a", "x", "-o", "o.vtp"}, "a vector is needed"},
        {{"stream", "in.vti", "-a", "x,W", "-o", "o.vtp"}, "there is no array 'W'"},
        {{"stream", "in.vti", "-a", "x,y,z,x", "-o", "o.vtp"}, "names 4 arrays"},
        {{"stream", "in.vti", "-o", "o.stl"}, "ends in one of .obj .vtp .csv"},
        {{"info", "in.nc", "--step", "3"}, "its steps are 1 to 2"},
        {{"info", "in.nc", "-a", "Q"}, "it has 'U', 'V' on (lat, lon); 'depth' on (y, x)"},
        {{"info", "text.nc"}, "it is not a NetCDF file"},
    });
}

}  // namespace
