// The tool end to end: small files in, counts and files out, what it says of bad input, and how it stops.
//
// The field is 10 on the middle node of a 3 x 3 x 3 grid and 0 around: at level 5 an octahedron of 8
// triangles on 6 nodes, half a step from the middle.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
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

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;
using Vertex = std::array<double, 3>;

struct Outcome {
    int code = -1;
    std::string out, err;
};

class Process {
  public:
    // `prepare` runs in the child before the tool does.
    Process(const Arguments &arguments, const std::function<void()> &prepare) {
        int out[2], err[2];
        if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) std::abort();
        child_ = fork();
        if (child_ == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
            if (prepare) prepare();
            std::vector<char *> words = {const_cast<char *>("isofield")};
            for (const std::string &argument : arguments)
                words.push_back(const_cast<char *>(argument.c_str()));
            words.push_back(nullptr);
            execv(ISOFIELD_TOOL, words.data());
            _exit(126);
        }
        close(out[1]);
        close(err[1]);
        out_ = out[0];
        err_ = err[0];
    }

    void signal(int number) const { kill(child_, number); }

    std::string read_line() const {
        std::string line;
        for (char c; read(out_, &c, 1) == 1 && c != '\n';) line += c;
        return line;
    }

    Outcome finish() {
        Outcome outcome;
        outcome.out = drain(out_);
        outcome.err = drain(err_);
        int status = 0;
        waitpid(child_, &status, 0);
        outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        return outcome;
    }

  private:
    static std::string drain(int pipe) {
        std::string text;
        char block[4096];
        for (ssize_t got; (got = read(pipe, block, sizeof block)) > 0;)
            text.append(block, static_cast<size_t>(got));
        close(pipe);
        return text;
    }

    pid_t child_;
    int out_, err_;
};

void write_file(const std::string &name, const std::string &content) {
    std::ofstream(name, std::ios::binary) << content;
}

std::string read_file(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// ---- The field in the formats ----

std::string field_text() {
    std::string text;
    for (int node = 0; node < 27; ++node) text += node == 13 ? "10 " : "0 ";
    return text;
}

std::string data_array(const std::string &type, const std::string &name, const std::string &values,
                       int components = 1) {
    return "<DataArray type=\"" + type + "\" Name=\"" + name + "\" NumberOfComponents=\"" +
           std::to_string(components) + "\" format=\"ascii\">" + values + "</DataArray>";
}

// kind: ImageData, RectilinearGrid, StructuredGrid
std::string vtk_xml(const std::string &kind, const std::string &attributes, const std::string &geometry,
                    const std::string &point_data, const std::string &extent = "0 2 0 2 0 2") {
    return "<VTKFile type=\"" + kind + "\" version=\"0.1\" byte_order=\"LittleEndian\"><" + kind +
           " WholeExtent=\"" + extent + "\" " + attributes + "><Piece Extent=\"" + extent + "\"><PointData>" +
           point_data + "</PointData><CellData></CellData>" + geometry + "</Piece></" + kind + "></VTKFile>";
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

// Bytes, whose first axis steps by x_step from x_origin by the sform matrix.
std::string nifti(float x_step, float x_origin, float slope = 1) {
    std::string file(352, '\0');
    const auto put = [&file](std::size_t place, auto value) {
        std::memcpy(&file[place], &value, sizeof value);
    };
    put(0, 348);
    for (const std::size_t axis : {0, 1, 2, 3}) put(40 + 2 * axis, static_cast<short>(3));
    for (const std::size_t axis : {4, 5, 6, 7}) put(40 + 2 * axis, static_cast<short>(1));
    put(70, static_cast<short>(2));  // unsigned bytes
    put(72, static_cast<short>(8));
    for (const std::size_t axis : {0, 1, 2, 3}) put(76 + 4 * axis, 1.0f);
    put(108, 352.0f);
    put(112, slope);
    put(254, static_cast<short>(1));  // sform
    put(280, x_step);
    put(292, x_origin);
    put(300, 1.0f);
    put(320, 1.0f);
    std::memcpy(&file[344], "n+1", 4);
    file.resize(352 + 27, '\0');
    file[352 + 13] = 10;
    return file;
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

// The middle of 3 x 3 nodes in the plane y = 5.
std::string flat_image() {
    return vtk_xml("ImageData", "Origin=\"0 5 0\"", "", data_array("Int32", "f", "0 0 0 0 10 0 0 0 0"),
                   "0 2 0 0 0 2");
}

struct Cell {
    int type;
    std::vector<int> nodes;
};

// With the node arrays x, y and z.
std::string unstructured(const std::vector<Vertex> &points, const std::vector<Cell> &cells) {
    std::string places, axes[3], nodes, offsets, types;
    for (const Vertex &point : points) {
        for (std::size_t d = 0; d < 3; ++d) {
            axes[d] += std::to_string(point[d]) + " ";
            places += std::to_string(point[d]) + " ";
        }
    }
    std::size_t end = 0;
    for (const Cell &cell : cells) {
        for (const int node : cell.nodes) nodes += std::to_string(node) + " ";
        offsets += std::to_string(end += cell.nodes.size()) + " ";
        types += std::to_string(cell.type) + " ";
    }
    return "<VTKFile type=\"UnstructuredGrid\" version=\"0.1\" byte_order=\"LittleEndian\"><UnstructuredGrid>"
           "<Piece NumberOfPoints=\"" +
           std::to_string(points.size()) + "\" NumberOfCells=\"" + std::to_string(cells.size()) +
           "\"><PointData>" + data_array("Float32", "x", axes[0]) + data_array("Float32", "y", axes[1]) +
           data_array("Float32", "z", axes[2]) + "</PointData><Points>" +
           data_array("Float32", "p", places, 3) + "</Points><Cells>" +
           data_array("Int32", "connectivity", nodes) + data_array("Int32", "offsets", offsets) +
           data_array("UInt8", "types", types) + "</Cells></Piece></UnstructuredGrid></VTKFile>";
}

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

// ---- Looking at what came out ----

struct Solid {
    std::vector<Vertex> vertices;
    std::vector<std::array<std::size_t, 3>> triangles;
    std::vector<std::vector<std::size_t>> lines;

    // The sum of the triangles' normals, each as long as its area.
    Vertex area() const {
        Vertex sum = {};
        for (const auto &[i, j, k] : triangles) {
            const Vertex &a = vertices[i], &b = vertices[j], &c = vertices[k];
            for (std::size_t d = 0; d < 3; ++d) {
                const std::size_t e = (d + 1) % 3, f = (d + 2) % 3;
                sum[d] += ((b[e] - a[e]) * (c[f] - a[f]) - (b[f] - a[f]) * (c[e] - a[e])) / 2;
            }
        }
        return sum;
    }

    double length() const {
        double sum = 0;
        for (const auto &line : lines) {
            for (std::size_t i = 1; i < line.size(); ++i) {
                const Vertex &a = vertices[line[i - 1]], &b = vertices[line[i]];
                sum += std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
            }
        }
        return sum;
    }

    double volume() const {  // positive when the triangles turn outwards
        double sum = 0;
        for (const auto &[i, j, k] : triangles) {
            const Vertex &a = vertices[i], &b = vertices[j], &c = vertices[k];
            sum += a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) +
                   a[2] * (b[0] * c[1] - b[1] * c[0]);
        }
        return sum / 6;
    }
};

Solid read_obj(const std::string &name) {
    Solid solid;
    std::istringstream lines(read_file(name));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind;
        words >> kind;
        if (kind == "v") {
            Vertex v;
            words >> v[0] >> v[1] >> v[2];
            solid.vertices.push_back(v);
        } else if (kind == "f") {
            std::array<std::size_t, 3> corners;
            for (std::size_t &corner : corners) {
                words >> corner;
                --corner;
            }
            solid.triangles.push_back(corners);
        } else if (kind == "l") {
            solid.lines.emplace_back();
            for (std::size_t node; words >> node;) solid.lines.back().push_back(node - 1);
        }
    }
    return solid;
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

class Tool : public ::testing::Test {
  protected:
    void SetUp() override {
        home_ = fs::current_path();
        std::string pattern = (fs::temp_directory_path() / "isofield_tool_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        place_ = pattern;
        fs::current_path(place_);
    }
    void TearDown() override {
        fs::current_path(home_);
        fs::remove_all(place_);
    }

    static Outcome run(const Arguments &arguments, const std::function<void()> &prepare = {}) {
        return Process(arguments, prepare).finish();
    }

    // The names of all files, hidden ones too.
    static std::set<std::string> files() {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(".")) names.insert(entry.path().filename().string());
        return names;
    }

  private:
    fs::path home_, place_;
};

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
    const std::set<std::string> before = files();

    const std::vector<std::pair<Arguments, std::string>> cases = {
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
        {{"iso", "photo.jpg", "-l", "5", "-o", "o.vtp"}, "known are .e .ex2 .exo .g .mha"},
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
    };
    for (const auto &[arguments, told] : cases) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, 2) << outcome.err;
        EXPECT_NE(outcome.err.find(told), std::string::npos)
            << "wanted: " << told << "\ngot: " << outcome.err;
        EXPECT_EQ(outcome.err.find("isofield: "), 0u) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(files(), before) << told;
    }
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

void without_display() {
    unsetenv("DISPLAY");
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

// ---- Cells and lines ----

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
    constexpr int kSide = 256;
    std::string voxels(kSide * kSide * kSide, '\0');
    std::minstd_rand random(7);
    for (char &voxel : voxels) voxel = static_cast<char>(random());
    write_file("noise.mha",
               "ObjectType = Image\nNDims = 3\nDimSize = 256 256 256\nElementType = MET_UCHAR\n"
               "ElementDataFile = LOCAL\n" +
                   voxels);
    Process process({"iso", "noise.mha", "-l", "128", "-o", "o.vtp"}, {});
    EXPECT_EQ(process.read_line().find("read   noise.mha"), 0u);
    process.signal(SIGINT);
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.code, 130);
    EXPECT_EQ(outcome.err, "isofield: interrupted\n");
    EXPECT_EQ(files(), (std::set<std::string>{"noise.mha"}));
}

}  // namespace
