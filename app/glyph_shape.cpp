#include "glyph_shape.hpp"

#include <vtkOBJReader.h>
#include <vtkPLYReader.h>
#include <vtkPolyData.h>
#include <vtkSTLReader.h>
#include <vtkTriangleFilter.h>
#include <vtkXMLPolyDataReader.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "output_file.hpp"
#include "reader_support.hpp"

namespace app {
namespace {

constexpr std::pair<const char *, isofield::GlyphShape (*)(int)> kKnown[] = {
    {"arrow", isofield::GlyphShape::arrow},
    {"cone", isofield::GlyphShape::cone},
    {"sphere", isofield::GlyphShape::sphere},
};

template <class Reader>
vtkSmartPointer<vtkPolyData> read_polygons(const std::string &path, Console &console) {
    vtkNew<Reader> reader;
    reader->SetFileName(path.c_str());
    run_reader(reader.Get(), path, console);
    vtkNew<vtkTriangleFilter> triangles;
    triangles->PassVertsOff();
    triangles->PassLinesOff();
    triangles->SetInputData(reader->GetOutput());
    triangles->Update();
    return triangles->GetOutput();
}

using ReadFunction = vtkSmartPointer<vtkPolyData> (*)(const std::string &, Console &);
const std::map<std::string, ReadFunction> kReaders = {
    {".obj", read_polygons<vtkOBJReader>},
    {".ply", read_polygons<vtkPLYReader>},
    {".stl", read_polygons<vtkSTLReader>},
    {".vtp", read_polygons<vtkXMLPolyDataReader>},
};

isofield::GlyphShape shape_of(vtkPolyData *polygons, const std::string &path) {
    if (polygons->GetNumberOfPolys() == 0) refuse(path, "it holds no polygons to make glyphs of");
    double bounds[6], longest = 0;
    polygons->GetBounds(bounds);
    for (std::size_t d = 0; d < 3; ++d) longest = std::max(longest, bounds[2 * d + 1] - bounds[2 * d]);
    if (!(longest > 0) || !std::isfinite(longest)) refuse(path, "its polygons have no extent");
    isofield::GlyphShape shape;
    for (vtkIdType i = 0; i < polygons->GetNumberOfPoints(); ++i) {
        double point[3];
        polygons->GetPoint(i, point);
        for (const double x : point) shape.points.push_back(static_cast<float>(x / longest));
    }
    vtkNew<vtkIdList> nodes;
    vtkCellArray *cells = polygons->GetPolys();
    for (cells->InitTraversal(); cells->GetNextCell(nodes);) {
        isofield::Triangle &triangle = shape.triangles.emplace_back();
        for (std::size_t c = 0; c < 3; ++c)
            triangle[c] = static_cast<int>(nodes->GetId(static_cast<vtkIdType>(c)));
    }
    return shape;
}

}  // namespace

std::string shape_names() {
    std::string names;
    for (const auto &[name, make] : kKnown) add_item(names, name, ", ");
    names += " or a file";
    for (const auto &[extension, function] : kReaders) add_item(names, extension);
    return names;
}

std::string shape_choices() {
    std::string names;
    for (const auto &[name, make] : kKnown) add_item(names, name, "|");
    return names;
}

isofield::GlyphShape read_shape(const std::string &name, Console &console) {
    constexpr int kSides = 12;
    for (const auto &[known, make] : kKnown) {
        if (name == known) return make(kSides);
    }
    const auto reader = kReaders.find(extension_of(name));
    if (reader == kReaders.end()) throw UsageError("--shape: '" + name + "' is none of " + shape_names());
    check_readable(name);
    return shape_of(reader->second(name, console), name);
}

}  // namespace app
