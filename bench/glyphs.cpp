// A template of 50 vertices at each of many random nodes, turned along its vector and sized by its length,
// with repeated triangles and the length on every vertex, against vtkGlyph3D and a plain loop. The sizes are
// vertices. Since each turns its own way about the vector, what is compared are the places along it.
#include <vtkCellArray.h>
#include <vtkGlyph3D.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSphereSource.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

#include "cell_mesh.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr std::array kDims{100, 100, 10};
constexpr int kNodes = kDims[0] * kDims[1] * kDims[2];
constexpr double kScale = 0.3;

FieldPtr random_nodes() {
    bench::CellMesh nodes;
    std::mt19937 random(1);
    std::uniform_real_distribution<double> place(0, 64);
    for (int i = 0; i < kNodes; ++i) nodes.add_node(place(random), place(random), place(random), 0);
    FieldPtr field = bench::structured_field(nodes, kDims);
    field->dataset->GetPointData()->SetScalars(nullptr);  // a peer would carry them
    bench::add_vectors(*field);
    return field;
}

struct Template {
    vtkSmartPointer<vtkPolyData> shape = vtkSmartPointer<vtkPolyData>::New();
    std::vector<int> triangles = {};

    int nnodes() const { return static_cast<int>(shape->GetNumberOfPoints()); }
    const float *coords() const { return static_cast<const float *>(shape->GetPoints()->GetVoidPointer(0)); }
};

// A ball of two poles and six rings of eight, ahead of the node; without normals.
Template ball() {
    vtkNew<vtkSphereSource> source;
    source->SetThetaResolution(8);
    source->SetPhiResolution(8);
    source->SetCenter(0.5, 0, 0);
    source->Update();
    Template ball;
    ball.shape->SetPoints(source->GetOutput()->GetPoints());
    ball.shape->SetPolys(source->GetOutput()->GetPolys());
    for (vtkIdType cell = 0; cell < ball.shape->GetNumberOfPolys(); ++cell) {
        vtkIdType count;
        const vtkIdType *nodes;
        ball.shape->GetPolys()->GetCellAtId(cell, count, nodes);
        ball.triangles.insert(ball.triangles.end(), nodes, nodes + count);
    }
    return ball;
}

// The result, kept from run to run.
struct Glyphs {
    std::vector<float> coords, values;
    std::vector<int> triangles;

    void make_room(const Template &glyph) {
        const std::size_t nvertices = std::size_t{kNodes} * glyph.nnodes();
        coords.resize(3 * nvertices);
        values.resize(nvertices);
        triangles.resize(kNodes * glyph.triangles.size());
    }

    void repeat_triangles(const Template &glyph) {
        auto out = triangles.begin();
        for (int node = 0, first = 0; node < kNodes; ++node, first += glyph.nnodes()) {
            for (const int corner : glyph.triangles) *out++ = first + corner;
        }
    }
};

long long our_glyphs(const bench::Field &field, const Template &glyph, Glyphs &out) {
    constexpr int kAllAxes[] = {1, 1, 1};
    const float *vectors = field.vectors();
    if (UTILglyph_func(field.mesh.get(), 4, 3, vectors, 0, nullptr, 3, 3, vectors, vectors, 1, 0, 0, kScale,
                       kAllAxes, nullptr, glyph.nnodes(), 3, glyph.coords(), nullptr, 3, out.coords.data(),
                       out.values.data()) != 1) {
        return -1;
    }
    out.repeat_triangles(glyph);
    return std::ssize(out.values);
}

// Half a turn about the middle between the x axis and the vector.
void plain_glyph(const float *xyz, const float *vector, const Template &glyph, float *coords, float *values) {
    const float length = std::hypot(vector[0], vector[1], vector[2]);
    const float middle[] = {vector[0] + length, vector[1], vector[2]};
    const float square = middle[0] * middle[0] + middle[1] * middle[1] + middle[2] * middle[2];
    const float size = static_cast<float>(kScale) * length, fold = square > 0 ? 2 * size / square : 0;
    const float *from = glyph.coords();
    for (int i = 0; i < glyph.nnodes(); ++i, from += 3, coords += 3) {
        const float along = fold * (from[0] * middle[0] + from[1] * middle[1] + from[2] * middle[2]);
        for (int d = 0; d < 3; ++d) coords[d] = xyz[d] + along * middle[d] - size * from[d];
        values[i] = length;
    }
}

long long plain_glyphs(const bench::Field &field, const Template &glyph, Glyphs &out) {
    const int nnodes = glyph.nnodes();
    const float *xyz = field.coords();
    for (std::ptrdiff_t node = 0; node < kNodes; ++node) {
        plain_glyph(xyz + 3 * node, field.vectors() + 3 * node, glyph, out.coords.data() + 3 * nnodes * node,
                    out.values.data() + nnodes * node);
    }
    out.repeat_triangles(glyph);
    return std::ssize(out.values);
}

// Of every 100th vertex its value, how far it is along the vector and how far from the node.
std::vector<float> measures(const bench::Field &field, int nnodes, const float *coords, const float *values) {
    std::vector<float> result;
    const float *xyz = field.coords();
    for (std::ptrdiff_t vertex = 0; vertex < std::ptrdiff_t{kNodes} * nnodes; vertex += 101) {
        const float *node = xyz + vertex / nnodes * 3;
        const float *vector = field.vectors() + vertex / nnodes * 3;
        const float x = coords[3 * vertex] - node[0], y = coords[3 * vertex + 1] - node[1],
                    z = coords[3 * vertex + 2] - node[2];
        result.insert(result.end(),
                      {values[vertex], x * vector[0] + y * vector[1] + z * vector[2], std::hypot(x, y, z)});
    }
    return result;
}

using Work = long long (*)(const bench::Field &field, const Template &glyph, Glyphs &out);

Contestant array_filler(const char *name, const FieldPtr &field, const Template &glyph, Work work) {
    const auto out = std::make_shared<Glyphs>();
    const auto run = [=] {
        out->make_room(glyph);
        return work(*field, glyph, *out);
    };
    const auto values = [=] {
        return measures(*field, glyph.nnodes(), out->coords.data(), out->values.data());
    };
    return {name, run, [out] { *out = {}; }, values};
}

Contestant peer(const FieldPtr &field, const Template &glyph) {
    const auto adjust = [&](vtkGlyph3D &filter) {
        filter.SetSourceData(glyph.shape);
        filter.OrientOn();
        filter.SetVectorModeToUseVector();
        filter.SetScaleModeToScaleByVector();
        filter.SetColorModeToColorByVector();
        filter.SetScaleFactor(kScale);
    };
    const auto values = [field, nnodes = glyph.nnodes()](vtkGlyph3D &filter) {
        vtkPolyData *output = filter.GetOutput();
        return measures(*field, nnodes, static_cast<const float *>(output->GetPoints()->GetVoidPointer(0)),
                        static_cast<const float *>(output->GetPointData()->GetScalars()->GetVoidPointer(0)));
    };
    return bench::filter_peer<vtkGlyph3D>("vtkGlyph3D", field, bench::output_size<vtkDataObject::POINT>,
                                          adjust, values);
}

std::vector<Contestant> contestants() {
    const FieldPtr field = random_nodes();
    const Template glyph = ball();
    return {array_filler("isofield", field, glyph, our_glyphs), peer(field, glyph),
            array_filler("bare loop", field, glyph, plain_glyphs)};
}

}  // namespace

std::vector<bench::Case> glyph_cases() {
    return {{"glyphs/100k", contestants}};
}
