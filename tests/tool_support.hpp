// The tool as a program that the tests run in a directory of their own: small files in, what it says, and
// what came out.
#ifndef ISOFIELD_TESTS_TOOL_SUPPORT_HPP
#define ISOFIELD_TESTS_TOOL_SUPPORT_HPP

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vtkCellData.h>
#include <vtkCellSizeFilter.h>
#include <vtkDataArray.h>
#include <vtkDataSet.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkUnstructuredGrid.h>
#include <vtkXMLGenericDataObjectReader.h>
#include <vtkXMLUnstructuredGridReader.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

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

inline void write_file(const std::string &name, const std::string &content) {
    std::ofstream(name, std::ios::binary) << content;
}

inline std::string read_file(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// 256 x 256 x 256 bytes, which take a while to work on.
inline void write_noise(const std::string &name) {
    std::string voxels(1 << 24, '\0');
    std::minstd_rand random(7);
    for (char &voxel : voxels) voxel = static_cast<char>(random());
    write_file(name,
               "ObjectType = Image\nNDims = 3\nDimSize = 256 256 256\nElementType = MET_UCHAR\n"
               "ElementDataFile = LOCAL\n" +
                   voxels);
}

// ---- Files in the text form of VTK ----

inline std::string data_array(const std::string &type, const std::string &name, const std::string &values,
                              int components = 1) {
    return "<DataArray type=\"" + type + "\" Name=\"" + name + "\" NumberOfComponents=\"" +
           std::to_string(components) + "\" format=\"ascii\">" + values + "</DataArray>";
}

// kind: ImageData, RectilinearGrid, StructuredGrid
inline std::string vtk_xml(const std::string &kind, const std::string &attributes,
                           const std::string &geometry, const std::string &point_data,
                           const std::string &extent = "0 2 0 2 0 2") {
    return "<VTKFile type=\"" + kind + "\" version=\"0.1\" byte_order=\"LittleEndian\"><" + kind +
           " WholeExtent=\"" + extent + "\" " + attributes + "><Piece Extent=\"" + extent + "\"><PointData>" +
           point_data + "</PointData><CellData></CellData>" + geometry + "</Piece></" + kind + "></VTKFile>";
}

// The middle of 3 x 3 nodes in the plane y = 5.
inline std::string flat_image() {
    return vtk_xml("ImageData", "Origin=\"0 5 0\"", "", data_array("Int32", "f", "0 0 0 0 10 0 0 0 0"),
                   "0 2 0 0 0 2");
}

// 3 x 3 x 3 bytes, the middle one 10, whose first axis steps by x_step from x_origin by the sform matrix.
inline std::string nifti(float x_step, float x_origin, float slope = 1) {
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

struct Cell {
    int type;
    std::vector<int> nodes;
};

// With the node arrays x, y and z.
inline std::string unstructured(const std::vector<Vertex> &points, const std::vector<Cell> &cells,
                                const std::string &cell_data = "") {
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
           data_array("Float32", "z", axes[2]) + "</PointData><CellData>" + cell_data +
           "</CellData><Points>" + data_array("Float32", "p", places, 3) + "</Points><Cells>" +
           data_array("Int32", "connectivity", nodes) + data_array("Int32", "offsets", offsets) +
           data_array("UInt8", "types", types) + "</Cells></Piece></UnstructuredGrid></VTKFile>";
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

inline Solid read_obj(const std::string &name) {
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

using Rows = std::vector<std::vector<double>>;

inline vtkSmartPointer<vtkDataSet> read_mesh(const std::string &name) {
    vtkNew<vtkXMLGenericDataObjectReader> reader;
    reader->SetFileName(name.c_str());
    reader->Update();
    return vtkDataSet::SafeDownCast(reader->GetOutput());
}

// Of a node array of the file.
inline Rows rows_of(const std::string &file, const char *name) {
    const auto mesh = read_mesh(file);
    vtkDataArray *array = mesh->GetPointData()->GetArray(name);
    Rows rows;
    for (vtkIdType i = 0; array && i < array->GetNumberOfTuples(); ++i) {
        rows.emplace_back();
        for (int c = 0; c < array->GetNumberOfComponents(); ++c)
            rows.back().push_back(array->GetComponent(i, c));
    }
    return rows;
}

// The first components of a node array, which may have to be of a type.
inline void expect_values(const std::string &file, const char *name, const std::vector<double> &wanted,
                          const std::string &type = "") {
    SCOPED_TRACE(file + " " + name);
    const Rows rows = rows_of(file, name);
    ASSERT_EQ(rows.size(), wanted.size());
    if (!type.empty()) {
        EXPECT_EQ(read_mesh(file)->GetPointData()->GetArray(name)->GetDataTypeAsString(), type);
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const bool missing = std::isnan(rows[i][0]) && std::isnan(wanted[i]);
        if (!missing) {
            EXPECT_NEAR(rows[i][0], wanted[i], 1e-5) << "row " << i;
        }
    }
}

// Each of the texts is in what was told.
inline void expect_told(const std::string &told, const std::vector<std::string> &parts) {
    for (const std::string &part : parts)
        EXPECT_NE(told.find(part), std::string::npos) << part << "\n" << told;
}

// To run in the child.
inline void without_display() {
    unsetenv("DISPLAY");
}

class Tool : public ::testing::Test {
  protected:
    void SetUp() override {
        home_ = fs::current_path();
        const std::string letters(6, 'X');  // for mkdtemp to replace
        std::string pattern = (fs::temp_directory_path() / ("isofield_tool_" + letters)).string();
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

    // The same of one that succeeds.
    static Outcome make(const Arguments &arguments) {
        const Outcome outcome = run(arguments, without_display);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        return outcome;
    }

    // The names of all files, hidden ones too.
    static std::set<std::string> files() {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(".")) names.insert(entry.path().filename().string());
        return names;
    }

    // Each is refused in one line that holds the text beside it, and leaves no file.
    static void expect_refused(const std::vector<std::pair<Arguments, std::string>> &cases) {
        const std::set<std::string> before = files();
        for (const auto &[arguments, told] : cases) {
            const Outcome outcome = run(arguments);
            EXPECT_EQ(outcome.code, 2) << told << "\n" << outcome.err;
            EXPECT_NE(outcome.err.find(told), std::string::npos)
                << "wanted: " << told << "\ngot: " << outcome.err;
            EXPECT_EQ(outcome.err.find("isofield: "), 0u) << outcome.err;
            EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
            EXPECT_EQ(files(), before) << told;
        }
    }

  private:
    fs::path home_, place_;
};

// ---- Parts of fields ----

struct Part {
    std::vector<Vertex> points;
    std::vector<double> sizes;  // per cell, the area of flat ones
    vtkSmartPointer<vtkDataSet> data;

    double size() const { return std::accumulate(sizes.begin(), sizes.end(), 0.0); }
    double least() const {
        return sizes.empty() ? std::numeric_limits<double>::infinity()
                             : *std::min_element(sizes.begin(), sizes.end());
    }
    std::vector<double> of_nodes(const char *name) const { return values(data->GetPointData(), name); }
    std::vector<double> of_cells(const char *name) const { return values(data->GetCellData(), name); }

  private:
    static std::vector<double> values(vtkDataSetAttributes *attributes, const char *name) {
        std::vector<double> list;
        vtkDataArray *array = attributes->GetArray(name);
        for (vtkIdType i = 0; array && i < array->GetNumberOfTuples(); ++i)
            list.push_back(array->GetComponent(i, 0));
        return list;
    }
};

class ToolOnParts : public Tool {
  protected:
    // What a run writes.
    static Part part(Arguments arguments, Outcome *told = nullptr) {
        arguments.insert(arguments.end(), {"-o", "out.vtu"});
        const Outcome outcome = make(arguments);
        if (told) *told = outcome;
        vtkNew<vtkXMLUnstructuredGridReader> reader;
        reader->SetFileName("out.vtu");
        vtkNew<vtkCellSizeFilter> sizes;
        sizes->SetInputConnection(reader->GetOutputPort());
        sizes->Update();
        Part made;
        made.data = vtkDataSet::SafeDownCast(sizes->GetOutput());
        const std::vector<double> areas = made.of_cells("Area");
        made.sizes = made.of_cells("Volume");
        for (std::size_t i = 0; i < made.sizes.size(); ++i) made.sizes[i] += areas[i];
        for (vtkIdType i = 0; i < made.data->GetNumberOfPoints(); ++i) {
            Vertex &point = made.points.emplace_back();
            made.data->GetPoint(i, point.data());
        }
        return made;
    }
};

// The cells are sound: sizes are positive, and the node arrays x, y and z tell where the nodes are.
inline void expect_sound(const Part &part) {
    EXPECT_GT(part.least(), 0);
    for (std::size_t d = 0; d < 3; ++d) {
        const char name[] = {"xyz"[d], 0};
        const std::vector<double> values = part.of_nodes(name);
        ASSERT_EQ(values.size(), part.points.size());
        for (std::size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(values[i], part.points[i][d], 1e-6);
    }
}

// 3 x 3 x 3 nodes, 1 apart, numbered along x and, unless `mirrored`, along y and z.
inline std::string cube_of_nodes(bool mirrored) {
    std::string axes[3], places, ids;
    for (int node = 0; node < 27; ++node) {
        const int at[3] = {node % 3, mirrored ? 2 - node / 3 % 3 : node / 3 % 3, node / 9};
        for (std::size_t d = 0; d < 3; ++d) {
            axes[d] += std::to_string(at[d]) + " ";
            places += std::to_string(at[d]) + " ";
        }
    }
    const std::string arrays = data_array("Float32", "x", axes[0]) + data_array("Float64", "y", axes[1]) +
                               data_array("Float32", "z", axes[2]);
    std::string text = mirrored
                           ? vtk_xml("StructuredGrid", "",
                                     "<Points>" + data_array("Float32", "p", places, 3) + "</Points>", arrays)
                           : vtk_xml("ImageData", "Origin=\"0 0 0\" Spacing=\"1 1 1\"", "", arrays);
    text.insert(text.find("</CellData>"), data_array("Int32", "c", "0 1 2 3 4 5 6 7"));
    return text;
}

#endif
