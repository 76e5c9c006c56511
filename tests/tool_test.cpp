// The tool end to end: small files in, counts and files out, what it says of bad input, and how it stops.
//
// The field is 10 on the middle node of a 3 x 3 x 3 grid and 0 around: at level 5 an octahedron of 8
// triangles on 6 nodes, half a step from the middle.
#include <sys/resource.h>
#include <vtkCellType.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>

#include "tool_support.hpp"

namespace {

// ---- The field in the formats ----

std::string field_text() {
    std::string text;
    for (int node = 0; node < 27; ++node) text += node == 13 ? "10 " : "0 ";
    return text;
}

std::string image(const std::string &attributes, const std::string &type = "Float32") {
    return vtk_xml("ImageData", attributes, "", data_array(type, "f", field_text()));
}

std::string rectilinear(const std::string &x) {
    const std::string axis = "0 1 2";
    return vtk_xml("RectilinearGrid", "",
                   "<Coordinates>" + data_array("Float32", "x", x) + data_array("Float32", "y", axis) +
                       data_array("Float32", "z", axis) + "</Coordinates>",
                   data_array("Float32", "f", field_text()));
}

std::string points_text(int x_step) {
    std::string text;
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < 3; ++j) {
            for (int i = 0; i < 3; ++i) {
                text += std::to_string(1 + x_step * (i - 1)) + " " + std::to_string(j) + " " +
                        std::to_string(k) + " ";
            }
        }
    }
    return text;
}

std::string structured(int x_step) {
    return vtk_xml("StructuredGrid", "",
                   "<Points>" + data_array("Float32", "p", points_text(x_step), 3) + "</Points>",
                   data_array("Float32", "f", field_text()));
}

std::string legacy() {
    return "# vtk DataFile Version 3.0\ntest\nASCII\nDATASET STRUCTURED_POINTS\nDIMENSIONS 3 3 3\nORIGIN 0 0 "
           "0\n"
           "SPACING 1 1 1\nPOINT_DATA 27\nSCALARS f float\nLOOKUP_TABLE default\n" +
           field_text() + "\n";
}

std::string meta_image() {
    std::string voxels(27, '\0');
    voxels[13] = 10;
    return "ObjectType = Image\nNDims = 3\nDimSize = 3 3 3\nElementType = MET_UCHAR\nElementDataFile = "
           "LOCAL\n" +
           voxels;
}

// Two scalars (the second is x), a vector and a cell array.
std::string several_arrays() {
    std::string x, vectors;
    for (int node = 0; node < 27; ++node) {
        x += std::to_string(node % 3) + " ";
        vectors += "0 3 4 ";
    }
    std::string file = vtk_xml("ImageData", "", "",
                               data_array("Float32", "f", field_text()) + data_array("Int32", "x", x) +
                                   data_array("Float64", "v", vectors, 3));
    const std::string cells = data_array("Float32", "c", "1 2 3 4 5 6 7 8");
    file.insert(file.find("</CellData>"), cells);
    return file;
}

void expect_octahedron(const std::string &name) {
    const Solid solid = read_obj(name);
    const std::set<Vertex> vertices(solid.vertices.begin(), solid.vertices.end());
    EXPECT_EQ(vertices, (std::set<Vertex>{
                            {0.5, 1, 1}, {1.5, 1, 1}, {1, 0.5, 1}, {1, 1.5, 1}, {1, 1, 0.5}, {1, 1, 1.5}}));
    EXPECT_EQ(solid.triangles.size(), 8u);
    EXPECT_NEAR(solid.volume(), 1.0 / 6, 1e-6);
}

TEST_F(Tool, MakesTheSameSurfaceFromEveryKindOfGridAndFile) {
    const std::vector<std::pair<std::string, std::string>> inputs = {
        {"uniform.vti", image("Origin=\"0 0 0\" Spacing=\"1 1 1\"")},
        {"falling.vti", image("Origin=\"2 0 0\" Spacing=\"-1 1 1\"")},
        {"turned.vti", image("Origin=\"2 0 0\" Spacing=\"1 1 1\" Direction=\"0 -1 0 1 0 0 0 0 1\"")},
        {"mirrored.vti", image("Origin=\"0 0 0\" Spacing=\"1 1 1\" Direction=\"0 1 0 1 0 0 0 0 1\"")},
        {"lines.vtr", rectilinear("0 1 2")},
        {"falling.vtr", rectilinear("2 1 0")},
        {"points.vts", structured(1)},
        {"mirrored.vts", structured(-1)},
        {"legacy.vtk", legacy()},
        {"meta.mha", meta_image()},
        {"brain.nii", nifti(1, 0)},
        {"mirrored.nii", nifti(-1, 2)},
    };
    for (const auto &[name, content] : inputs) {
        SCOPED_TRACE(name);
        write_file(name, content);
        const Outcome outcome = run({"iso", name, "--level", "5", "-o", "out.obj"});
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_NE(outcome.out.find("3 x 3 x 3 nodes"), std::string::npos) << outcome.out;
        EXPECT_NE(outcome.out.find("8 triangles, 6 nodes"), std::string::npos) << outcome.out;
        expect_octahedron("out.obj");
        fs::remove("out.obj");
    }
}

TEST_F(Tool, WorksOnEveryElementTypeAndTellsOfChangedOnes) {
    const std::vector<std::pair<std::string, std::string>> types = {
        {"Int8", ""},      {"UInt8", ""},
        {"Int16", ""},     {"UInt16", "unsigned short"},
        {"Int32", ""},     {"UInt32", "unsigned int"},
        {"Int64", "long"}, {"UInt64", "unsigned long"},
        {"Float32", ""},   {"Float64", ""}};
    for (const auto &[type, changed] : types) {
        SCOPED_TRACE(type);
        write_file("in.vti", image("", type));
        const Outcome outcome = run({"iso", "in.vti", "--level", "5", "-o", "out.obj"});
        EXPECT_EQ(outcome.code, 0);
        expect_octahedron("out.obj");
        if (changed.empty()) {
            EXPECT_EQ(outcome.err, "");
        } else {
            EXPECT_EQ(outcome.err.find("isofield: note: array 'f' is " + changed), 0u) << outcome.err;
            EXPECT_NE(outcome.err.find("worked on as int"), std::string::npos) << outcome.err;
            EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
        }
    }
}

TEST_F(Tool, CountsMissingNodesAndTheScaleOfTheHeader) {
    write_file("in.vti", image(""));
    const Outcome nothing = run({"iso", "in.vti", "--level", "5", "--null", "10", "-o", "out.vtp"});
    EXPECT_EQ(nothing.code, 0);
    EXPECT_NE(nothing.out.find("0 triangles, 0 nodes"), std::string::npos) << nothing.out;
    EXPECT_NE(nothing.out.find("0 to 0, 1 null"), std::string::npos) << nothing.out;
    EXPECT_NE(nothing.out.find("outside the range"), std::string::npos) << nothing.out;

    write_file("scaled.nii", nifti(1, 0, 100));
    const Outcome scaled = run({"iso", "scaled.nii", "--level", "500", "-o", "out.obj"});
    EXPECT_EQ(scaled.code, 0) << scaled.err;
    EXPECT_NE(scaled.out.find("0 to 1000"), std::string::npos) << scaled.out;
    expect_octahedron("out.obj");
}

TEST_F(Tool, HonoursTheNullThatAFileDeclares) {
    std::string text = image("");
    text.insert(text.find("<Piece"),
                "<FieldData><DataArray type=\"Float64\" Name=\"f:_FillValue\" NumberOfTuples=\"1\" "
                "format=\"ascii\">10</DataArray></FieldData>\n");
    write_file("in.vti", text);
    const Outcome declared = run({"iso", "in.vti", "--level", "5", "-o", "out.obj"});
    EXPECT_NE(declared.out.find("0 triangles, 0 nodes"), std::string::npos) << declared.out;
    EXPECT_NE(declared.out.find("0 to 0, 1 null"), std::string::npos) << declared.out;
    EXPECT_EQ(run({"iso", "in.vti", "--level", "5", "--null", "7", "-o", "out.obj", "-q"}).code, 0);
    expect_octahedron("out.obj");

    ASSERT_EQ(run({"iso", "in.vti", "--level", "5", "--null", "7", "--attach", "f", "-o", "out.vtp"}).code,
              0);
    const Outcome carried = run({"info", "out.vtp"});
    EXPECT_NE(carried.out.find("'f': float, null 7"), std::string::npos) << carried.out;
}

TEST_F(Tool, LevelOutsideTheRangeIsAnEmptyResult) {
    write_file("in.vti", image(""));
    for (const std::string name : {"out.vtp", "out.stl", "out.ply", "out.obj"}) {
        const Outcome outcome = run({"iso", "in.vti", "--level", "-11.5", "-o", name});
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_NE(outcome.out.find("outside the range"), std::string::npos) << outcome.out;
        EXPECT_TRUE(fs::exists(name));
    }
}

TEST_F(Tool, WritesEveryFormatCompletelyUnderItsName) {
    write_file("in.vti", image(""));
    for (const std::string name : {"o.vtp", "o.stl", "o.ply", "o.obj"}) {
        EXPECT_EQ(run({"iso", "in.vti", "--level", "5", "-o", name}).code, 0);
    }
    EXPECT_EQ(files(), (std::set<std::string>{"in.vti", "o.vtp", "o.stl", "o.ply", "o.obj"}));
    EXPECT_EQ(fs::file_size("o.stl"), 84u + 8 * 50);
    const std::string ply = read_file("o.ply");
    EXPECT_NE(ply.find("element vertex 6\n"), std::string::npos);
    EXPECT_NE(ply.find("element face 8\n"), std::string::npos);
    const Outcome vtp = run({"info", "o.vtp"});
    EXPECT_NE(vtp.out.find("nodes    6\ncells    8 triangles\n"), std::string::npos) << vtp.out;
}

TEST_F(Tool, CarriesOtherArraysToTheSurface) {
    write_file("in.vti", several_arrays());
    const Outcome iso =
        run({"iso", "in.vti", "--array", "x", "-l", "0.75", "--attach", "v", "f", "-o", "out.vtp"});
    EXPECT_EQ(iso.code, 0) << iso.err;
    EXPECT_EQ(iso.err, "");
    const Outcome info = run({"info", "out.vtp"});
    // The plane x = 0.75 meets the lines between x = 0 and x = 1; f reaches 0.75 of 10 on the one to the
    // middle.
    EXPECT_NE(info.out.find("bounds   0.75 to 0.75, 0 to 2, 0 to 2\n"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("node array 'f': float, 0 to 7.5, 0 NaN\n"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("node array 'v': double x 3\n         [0] 0 to 0, 0 NaN\n"
                            "         [1] 3 to 3, 0 NaN\n         [2] 4 to 4, 0 NaN\n"),
              std::string::npos)
        << info.out;

    const Outcome stl = run({"iso", "in.vti", "--array", "f", "-l", "5", "--attach", "v", "-o", "out.stl"});
    EXPECT_EQ(stl.code, 0);
    EXPECT_EQ(stl.err.find("isofield: warning: 'out.stl' cannot hold arrays"), 0u) << stl.err;
    EXPECT_EQ(std::count(stl.err.begin(), stl.err.end(), '\n'), 1);
    EXPECT_EQ(run({"iso", "in.vti", "--array", "f", "-l", "5", "--attach", "x", "-o", "out.ply", "-q"}).err,
              "");
    EXPECT_NE(read_file("out.ply").find("property uchar red\n"), std::string::npos);
}

TEST_F(Tool, InfoTellsMeshAndArrays) {
    write_file("in.vti", several_arrays());
    EXPECT_EQ(run({"info", "in.vti"}).out,
              "file     in.vti\n"
              "kind     uniform grid\n"
              "dims     3 x 3 x 3\n"
              "origin   0 0 0\n"
              "spacing  1 1 1\n"
              "bounds   0 to 2, 0 to 2, 0 to 2\n"
              "nodes    27\n"
              "cells    8 hexahedra\n"
              "node array 'f': float, 0 to 10, 0 NaN\n"
              "node array 'x': int, 0 to 2, 0 NaN\n"
              "node array 'v': double x 3\n"
              "         [0] 0 to 0, 0 NaN\n"
              "         [1] 3 to 3, 0 NaN\n"
              "         [2] 4 to 4, 0 NaN\n"
              "cell array 'c': float, 1 to 8, 0 NaN\n");
    std::array<float, 27> values = {};
    values[0] = values[26] = std::numeric_limits<float>::quiet_NaN();
    values[1] = std::numeric_limits<float>::infinity();
    values[13] = 10;
    write_file("holes.mha",
               "ObjectType = Image\nNDims = 3\nDimSize = 3 3 3\nElementType = MET_FLOAT\n"
               "ElementDataFile = LOCAL\n" +
                   std::string(reinterpret_cast<const char *>(values.data()), sizeof values));
    const Outcome with_nan = run({"info", "holes.mha"});
    EXPECT_NE(with_nan.out.find(": float, 0 to 10, 1 infinite, 2 NaN\n"), std::string::npos)
        << with_nan.out << with_nan.err;
}

TEST_F(Tool, RefusesBadInputInOneLineThatSaysWhatToDo) {
    write_file("in.vti", image(""));
    write_file("several.vti", several_arrays());
    write_file("empty.vti", "");
    write_file("junk.vti", "hello\n");
    write_file("junk.vtk", "hello\n");
    write_file("junk.nii", "hello\n");
    write_file("wrong.vti", rectilinear("0 1 2"));
    write_file("short.vtk", legacy().substr(0, 180));
    write_file("short.nii", nifti(1, 0).substr(0, 360));
    write_file("short.mha", meta_image().substr(0, 100));
    write_file("twice.vtr", rectilinear("0 1 1"));
    write_file("row.vti", vtk_xml("ImageData", "", "", data_array("Float32", "f", "1 2"), "0 1 0 0 0 0"));
    write_file("net.g", "CDF\1");
    write_file("point.vtu", unstructured({{0, 0, 0}}, {{VTK_VERTEX, {0}}}));
    write_file("wild.vtu", unstructured({{0, 0, 0}, {1, 0, 0}}, {{VTK_TRIANGLE, {0, 1, 2}}}));
    write_file("flat.vti", flat_image());
    write_file("bare.vti", vtk_xml("ImageData", "", "", ""));
    write_file("photo.jpg", "x");
    fs::create_directory("folder.vti");

    expect_refused({
        {{}, "name an operation"},
        {{"melt"}, "no operation 'melt'"},
        {{"info"}, "FILE is required"},
        {{"iso", "in.vti", "-o", "o.vtp"}, "--level is required"},
        {{"iso", "in.vti", "-l", "5"}, "--output is required"},
        {{"iso", "in.vti", "-l", "five", "-o", "o.vtp"}, "'five' is not a number"},
        {{"iso", "in.vti", "-l", "nan", "-o", "o.vtp"}, "'nan' is not a number"},
        {{"iso", "in.vti", "-l", "5", "--null", "x", "-o", "o.vtp"}, "'x' is not a number"},
        {{"iso", "in.vti", "-l", "5", "-o", "o.vtp", "--frob"}, "--frob"},
        {{"iso", "in.vti", "-l", "5", "-o", "o.vtp", "--size", "big"}, "as in 1200x900"},
        {{"iso", "in.vti", "-l", "5", "-o", "o.vtp", "--view", "up"}, "iso front back"},
        {{"iso", "in.vti", "-l", "5", "-o", "o.foo"}, "ends in one of .obj .ply .stl .vtp"},
        {{"iso", "in.vti", "-l", "5", "-o", "o.vtp", "--png", "o.jpg"}, "ends in .png"},
        {{"iso", "in.vti", "-l", "5", "-o", "nowhere/o.vtp"}, "no directory"},
        {{"iso", "none.vti", "-l", "5", "-o", "o.vtp"}, "No such file"},
        {{"iso", "folder.vti", "-l", "5", "-o", "o.vtp"}, "is a directory"},
        {{"iso", "photo.jpg", "-l", "5", "-o", "o.vtp"}, "known are .cdf .e .ex2 .exo .g .mha"},
        {{"iso", "empty.vti", "-l", "5", "-o", "o.vtp"}, "is empty"},
        {{"iso", "junk.vti", "-l", "5", "-o", "o.vtp"}, "not the XML"},
        {{"iso", "junk.vtk", "-l", "5", "-o", "o.vtp"}, "cannot read 'junk.vtk'"},
        {{"iso", "junk.nii", "-l", "5", "-o", "o.vtp"}, "not a NIfTI"},
        {{"iso", "wrong.vti", "-l", "5", "-o", "o.vtp"}, "of this kind"},
        {{"iso", "short.vtk", "-l", "5", "-o", "o.vtp"}, "is the file complete?"},
        {{"iso", "short.nii", "-l", "5", "-o", "o.vtp"}, "is the file complete?"},
        {{"iso", "short.mha", "-l", "5", "-o", "o.vtp"}, "is the file complete?"},
        {{"iso", "twice.vtr", "-l", "5", "-o", "o.vtp"}, "axes[0][2]"},
        {{"iso", "row.vti", "-l", "5", "-o", "o.vtp"}, "two or three dimensions is needed"},
        {{"iso", "net.g", "-l", "5", "-o", "o.vtp"}, "not an Exodus file"},
        {{"iso", "wild.vtu", "-l", "5", "-o", "o.vtp"}, "cell 0 has the node 2"},
        {{"iso", "point.vtu", "-a", "x", "-l", "5", "-o", "o.vtp"}, "it holds 1 vertices"},
        {{"iso", "in.vti", "--step", "1", "-l", "5", "-o", "o.vtp"}, "leave --step out"},
        {{"lines", "in.vti", "-o", "o.vtp"}, "one of --level, --levels and --every"},
        {{"lines", "in.vti", "--levels", "3", "--every", "1", "-o", "o.vtp"}, "one of --level"},
        {{"lines", "in.vti", "--levels", "0", "-o", "o.vtp"}, "1 to 10000 levels"},
        {{"lines", "in.vti", "--every", "-1", "-o", "o.vtp"}, "a step above 0"},
        {{"lines", "in.vti", "--levels", "3", "-o", "o.stl"}, "ends in one of .obj .vtp"},
        {{"lines", "in.vti", "--levels", "3", "-o", "o.vtp"}, "a grid of two dimensions, triangles"},
        {{"lines", "point.vtu", "-a", "x", "--levels", "3", "-o", "o.vtp"}, "it holds 1 vertices"},
        {{"lines", "flat.vti", "--every", "1e-4", "-o", "o.vtp"}, "choose a longer step"},
        {{"lines", "flat.vti", "--every", "20", "-o", "o.vtp", "--null", "0"}, "no multiple of 20 lies"},
        {{"lines", "flat.vti", "--levels", "2", "-o", "o.vtp", "--null", "10"}, "0 everywhere"},
        {{"iso", "bare.vti", "-l", "5", "-o", "o.vtp"}, "no arrays"},
        {{"iso", "several.vti", "-l", "5", "-o", "o.vtp"},
         "choose with --array: its node arrays are 'f', 'x'"},
        {{"iso", "several.vti", "-l", "5", "-o", "o.vtp", "-a", "g"}, "no array 'g'"},
        {{"iso", "several.vti", "-l", "5", "-o", "o.vtp", "-a", "v"}, "a scalar is needed"},
        {{"iso", "several.vti", "-l", "5", "-o", "o.vtp", "-a", "c"}, "a node array is needed"},
        {{"iso", "several.vti", "-l", "5", "-o", "o.vtp", "-a", "f", "--attach", "g"}, "no array 'g'"},
    });
}

TEST_F(Tool, NeverWritesOverItsInput) {
    write_file("in.vti", image(""));
    ASSERT_EQ(run({"iso", "in.vti", "-l", "5", "-o", "o.vtp"}).code, 0);
    const std::string before = read_file("o.vtp");
    fs::create_symlink("o.vtp", "alias.vtp");
    for (const std::string name : {"o.vtp", "./o.vtp", "alias.vtp"}) {
        const Outcome outcome = run({"iso", "o.vtp", "-l", "5", "-o", name});
        EXPECT_EQ(outcome.code, 2);
        EXPECT_NE(outcome.err.find("is the input file"), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(read_file("o.vtp"), before);
}

TEST_F(Tool, FailedWriteIsOneLineAndLeavesWhatWasThere) {
    write_file("in.vti", image(""));
    for (const std::string name : {"o.vtp", "o.stl", "o.ply", "o.obj"}) {
        write_file(name, "old");
        const Outcome outcome = run({"iso", "in.vti", "-l", "5", "-o", name, "-q"}, [] {
            const rlimit nothing = {0, 0};
            setrlimit(RLIMIT_FSIZE, &nothing);
        });
        EXPECT_EQ(outcome.code, 1) << name;
        EXPECT_EQ(outcome.err, "isofield: cannot write '" + name + "': the disk may be full\n");
        EXPECT_EQ(read_file(name), "old");
    }
    EXPECT_EQ(files(), (std::set<std::string>{"in.vti", "o.vtp", "o.stl", "o.ply", "o.obj"}));

    const Outcome full = run({"info", "in.vti"}, [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); });
    EXPECT_EQ(full.code, 1);
    EXPECT_EQ(full.err, "isofield: cannot write to standard output\n");
}

// ---- Pictures ----

std::uint32_t big_endian(const std::string &bytes, std::size_t place) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[place + i]);
    return value;
}

TEST_F(Tool, DrawsThePictureWithoutADisplay) {
    write_file("in.vti", several_arrays());
    const auto draw = [](const std::string &picture, Arguments more) {
        Arguments arguments = {"iso",   "in.vti", "-a",    "f",      "-o",
                               "o.vtp", "--png",  picture, "--size", "320x200"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = run(arguments, without_display);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.err, "");
        return read_file(picture);
    };
    const std::string plain = draw("plain.png", {"-l", "5"});
    ASSERT_GT(plain.size(), 24u);
    EXPECT_EQ(plain.substr(1, 3), "PNG");
    EXPECT_EQ(big_endian(plain, 16), 320u);
    EXPECT_EQ(big_endian(plain, 20), 200u);
    // Each of these changes what is seen.
    const std::set<std::string> pictures = {
        plain, draw("empty.png", {"-l", "50"}), draw("coloured.png", {"-l", "5", "--attach", "x"}),
        draw("top.png", {"-l", "5", "--view", "top"}), draw("turned.png", {"-l", "5", "--view", "-30,10"})};
    EXPECT_EQ(pictures.size(), 5u);
}

TEST_F(Tool, KeepsTheSurfaceWhenThereIsNoPictureToBeHad) {
    write_file("in.vti", image(""));
    const Outcome outcome = run({"iso", "in.vti", "-l", "5", "-o", "o.vtp", "--png", "o.png"}, [] {
        without_display();
        setenv("PATH", "/nonexistent", 1);
    });
    EXPECT_EQ(outcome.code, 2);
    EXPECT_NE(outcome.err.find("install the package xvfb or set DISPLAY"), std::string::npos) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(files(), (std::set<std::string>{"in.vti", "o.vtp"}));
}

// ---- Ctrl-C ----

TEST_F(Tool, InterruptWhileReadingLeavesNothing) {
    ASSERT_EQ(mkfifo("never.vti", 0600), 0);  // opening it waits for a writer that does not come
    Process process({"iso", "never.vti", "-l", "5", "-o", "o.vtp", "--png", "o.png"}, {});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (files().size() < 3 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(files().size(), 3u);  // both outputs have their temporary files
    process.signal(SIGINT);
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.code, 130);
    EXPECT_EQ(outcome.err, "isofield: interrupted\n");
    EXPECT_EQ(files(), (std::set<std::string>{"never.vti"}));
}

TEST_F(Tool, InterruptWhileWorkingLeavesNothing) {
    write_noise("noise.mha");
    Process process({"iso", "noise.mha", "-l", "128", "-o", "o.vtp"}, {});
    EXPECT_EQ(process.read_line().find("read   noise.mha"), 0u);
    process.signal(SIGINT);
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.code, 130);
    EXPECT_EQ(outcome.err, "isofield: interrupted\n");
    EXPECT_EQ(files(), (std::set<std::string>{"noise.mha"}));
}

}  // namespace
