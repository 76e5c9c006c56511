#include "surface_io.hpp"

#include <vtkOBJWriter.h>
#include <vtkPLYWriter.h>
#include <vtkPointData.h>
#include <vtkSTLWriter.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>

#include "errors.hpp"
#include "relay.hpp"
#include "vtk_support.hpp"
#include "writer_support.hpp"

namespace app {
namespace {

using WriteFunction = void (*)(vtkPolyData *, const OutputSurface &, OutputFile &, Console &);

std::uintmax_t file_size(const std::string &path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

// The bytes of a PLY file up to the end of its header.
std::uintmax_t ply_header_size(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with("end_header")) return static_cast<std::uintmax_t>(file.tellg());
    }
    return 0;
}

void warn_of_lost(const OutputSurface &surface, const OutputFile &file, const std::string &what,
                  Console &console) {
    if (surface.arrays.empty() && surface.cell_arrays.empty()) return;
    console.warn("'" + file.name() + "' cannot hold arrays, " + what + "; write .vtp to keep all");
}

void warn_of_lost_lines(vtkPolyData *data, const OutputFile &file, Console &console) {
    if (data->GetNumberOfLines() == 0) return;
    console.warn("'" + file.name() + "' cannot hold lines, " + std::to_string(data->GetNumberOfLines()) +
                 " left out; write .vtp or .obj to keep them");
    data->SetLines(nullptr);
}

void write_vtp(vtkPolyData *data, const OutputSurface &, OutputFile &file, Console &console) {
    write_xml_file(data, file, console);
}

void write_stl(vtkPolyData *data, const OutputSurface &surface, OutputFile &file, Console &console) {
    warn_of_lost(surface, file, "they are left out", console);
    warn_of_lost_lines(data, file, console);
    vtkNew<vtkSTLWriter> writer;
    writer->SetFileTypeToBinary();
    writer->SetHeader("isofield surface");
    run_writer(writer.Get(), data, file, console);
    constexpr std::uintmax_t kHeader = 84, kTriangle = 50;
    if (file_size(file.temporary()) != kHeader + kTriangle * surface.triangles.size()) {
        fail_writing(file);
    }
}

void write_ply(vtkPolyData *data, const OutputSurface &surface, OutputFile &file, Console &console) {
    warn_of_lost_lines(data, file, console);
    vtkNew<vtkPLYWriter> writer;
    writer->SetFileTypeToBinary();
    std::size_t point_bytes = 3 * sizeof(float);
    vtkSmartPointer<vtkDataArray> values;
    if (!surface.arrays.empty() && !surface.points.empty()) {
        warn_of_lost(surface, file, "the first attached is stored as colours", console);
        values = color_values(surface.arrays.front());
        data->GetPointData()->Initialize();
        data->GetPointData()->AddArray(values);
        writer->SetArrayName(values->GetName());
        writer->SetLookupTable(color_table(whole_range(values)));
        point_bytes += 3;
    }
    run_writer(writer.Get(), data, file, console);
    const std::uintmax_t header = ply_header_size(file.temporary());
    constexpr std::uintmax_t kTriangle = 1 + 3 * sizeof(int);
    const std::uintmax_t expected =
        header + point_bytes * (surface.points.size() / 3) + kTriangle * surface.triangles.size();
    if (header == 0 || file_size(file.temporary()) != expected) fail_writing(file);
}

void write_obj(vtkPolyData *data, const OutputSurface &surface, OutputFile &file, Console &console) {
    warn_of_lost(surface, file, "they are left out", console);
    vtkNew<vtkOBJWriter> writer;
    data->GetPointData()->Initialize();
    run_writer(writer.Get(), data, file, console);
    if (surface.nlines() > 0) {  // they come last
        std::string last_node = std::to_string(surface.line_nodes.back() + 1);
        last_node.insert(0, 1, ' ').push_back('\n');
        if (!tail_of(file.temporary()).ends_with(last_node)) fail_writing(file);
    } else if (!surface.triangles.empty()) {
        const auto &[a, b, c] = surface.triangles.back();
        const std::string last =
            "f " + std::to_string(a + 1) + " " + std::to_string(b + 1) + " " + std::to_string(c + 1);
        if (!ends_in_line(file.temporary(), last)) fail_writing(file);
    }
}

struct Format {
    WriteFunction write;
    bool lines;  // holds lines too
};
const std::map<std::string, Format> kFormats = {
    {".vtp", {write_vtp, true}},
    {".stl", {write_stl, false}},
    {".ply", {write_ply, false}},
    {".obj", {write_obj, true}},
};

}  // namespace

std::vector<std::array<int, 3>> grid_triangles(const std::array<int, 2> &dims,
                                               const std::function<bool(int)> &present) {
    std::vector<std::array<int, 3>> triangles;
    for (int j = 0; j + 1 < dims[1]; ++j) {
        for (int i = 0; i + 1 < dims[0]; ++i) {
            const int first = j * dims[0] + i;
            std::vector<int> corners = {first, first + 1, first + 1 + dims[0], first + dims[0]};
            std::erase_if(corners, [&](int corner) { return !present(corner); });
            for (std::size_t c = 2; c < corners.size(); ++c)
                triangles.push_back({corners[0], corners[c - 1], corners[c]});
        }
    }
    return triangles;
}

std::string surface_extensions() {
    std::string list;
    for (const auto &[extension, format] : kFormats) add_item(list, extension);
    return list;
}

std::string line_extensions() {
    std::string list;
    for (const auto &[extension, format] : kFormats) {
        if (format.lines) add_item(list, extension);
    }
    return list;
}

void check_output_name(const std::string &path, const std::string &extensions) {
    if (is_result(path)) return;
    const std::string extension = extension_of(path);
    if (!extension.empty() && (extensions + " ").find(extension + " ") != std::string::npos) return;
    throw UsageError("cannot write '" + path + "': name a file that ends in one of " + extensions);
}

bool keeps_cell_arrays(const std::string &path) {
    return result_is_wanted() || extension_of(path) == ".vtp";
}

void write_surface(const OutputSurface &surface, OutputFile &file, Console &console) {
    console.progress("writing", 0);
    const auto data = to_polydata(surface);
    hand_on(data);
    if (!file.in_memory()) kFormats.at(extension_of(file.name())).write(data, surface, file, console);
    file.commit();
    console.clear_bar();
}

}  // namespace app
