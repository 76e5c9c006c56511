// The skin of volume cells and the edges of a surface, by node numbers alone, against VTK's filters, which
// bring the points along, and a plain loop. The sizes are faces or edges; differences are the share of these
// that are not in both. vtkGeometryFilter has hexahedra alone: tetrahedra take it ten times as long as
// vtkDataSetSurfaceFilter, and its fast mode leaves most of their skin out.
#include <vtkCellArray.h>
#include <vtkDataSetSurfaceFilter.h>
#include <vtkExtractEdges.h>
#include <vtkFeatureEdges.h>
#include <vtkGeometryFilter.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "agreement.hpp"
#include "lattice.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

// Faces of one cell type, all with the same number of nodes.
struct CellFaces {
    bench::CellKind kind;
    int cell_nodes, width;
    std::vector<int> nodes;

    int count() const { return static_cast<int>(nodes.size()) / width; }
};

const CellFaces kHexFaces{
    bench::kHex, 8, 4, {0, 3, 2, 1, 4, 5, 6, 7, 0, 1, 5, 4, 1, 2, 6, 5, 2, 3, 7, 6, 3, 0, 4, 7}};
const CellFaces kTetFaces{bench::kTet, 4, 3, {0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3}};

// Arrays of ours, given back before the next run. `cells` stays null for edges.
struct Rows {
    int width, size = 0;
    int *nodes = nullptr, *cells = nullptr;

    explicit Rows(int nodes_per_row) : width(nodes_per_row) {}
    Rows(const Rows &) = delete;
    Rows &operator=(const Rows &) = delete;
    ~Rows() { free(); }

    void free() {
        ARRfree_f(std::exchange(nodes, nullptr), __FILE__, __LINE__);
        ARRfree_f(std::exchange(cells, nullptr), __FILE__, __LINE__);
    }

    std::span<const int> all() const { return {nodes, static_cast<std::size_t>(size) * width}; }
};
using RowsPtr = std::shared_ptr<Rows>;

// The mesh without data, which peers would copy.
FieldPtr bare_field(const bench::CellMesh &mesh) {
    FieldPtr field = bench::cell_field(mesh);
    field->dataset->GetPointData()->Initialize();
    return field;
}

int node_count(const bench::Field &field) {
    return static_cast<int>(field.dataset->GetNumberOfPoints());
}

int cell_count(const bench::Field &field) {
    return static_cast<int>(field.dataset->GetNumberOfCells());
}

// `work` fills the rows and returns 1.
Contestant ours(const RowsPtr &rows, const std::function<int(Rows &)> &work) {
    const auto run = [=]() -> long long {
        rows->free();
        return work(*rows) == 1 ? rows->size : -1;
    };
    return {"isofield", run, isohost_trim_arrays, [] { return std::vector<float>{1}; }};
}

// The peer runs once more, with node numbers as data, to be compared.
template <class Filter>
Contestant vtk_peer(const char *name, const FieldPtr &field, const RowsPtr &our_rows,
                    const std::function<void(Filter &)> &adjust = {}) {
    const auto values = [=](Filter &filter) {
        vtkNew<vtkIntArray> numbers;
        numbers->SetNumberOfTuples(node_count(*field));
        std::iota(numbers->Begin(), numbers->End(), 0);
        field->dataset->GetPointData()->SetScalars(numbers);
        filter.Modified();
        filter.Update();
        vtkPolyData *out = filter.GetOutput();
        auto *origin = vtkIntArray::SafeDownCast(out->GetPointData()->GetScalars());
        std::vector<int> nodes = bench::nodes_of(our_rows->width == 2 ? *out->GetLines() : *out->GetPolys());
        for (int &node : nodes) node = origin->GetValue(node);
        return std::vector<float>{bench::common_share(our_rows->all(), nodes, our_rows->width)};
    };
    return bench::filter_peer<Filter>(name, field, bench::output_size<vtkDataObject::CELL>, adjust, values);
}

int our_faces(const bench::Field &field, const CellFaces &faces, Rows &rows) {
    const std::vector<int> widths(faces.nodes.size(), faces.width);
    int ngroups = 0, nnodes = 0, length = 0;
    return UTILexternal_faces(node_count(field), cell_count(field), faces.cell_nodes,
                              field.connect[faces.kind].data(), faces.count(), widths.data(), widths.data(),
                              faces.nodes.data(), 1, &ngroups, &rows.size, &nnodes, &rows.cells, &rows.nodes,
                              &length);
}

// A face by its nodes in ascending order, and where it is.
struct Face {
    bench::NodeRow key;
    int cell, face;
};

constexpr int kNone = std::numeric_limits<int>::max();

bench::NodeRow in_order(bench::NodeRow nodes) {
    constexpr int kPairs[][2] = {{0, 1}, {2, 3}, {0, 2}, {1, 3}, {1, 2}};
    for (const auto &[a, b] : kPairs) {
        std::tie(nodes[a], nodes[b]) = std::minmax({nodes[a], nodes[b]});
    }
    return nodes;
}

// What a plain loop keeps from run to run.
struct PlainFaces {
    std::vector<int> begin, end, nodes, cells;
    std::vector<Face> open;
};

int face_node(const bench::Field &field, const CellFaces &faces, int cell, int face, int corner) {
    const int *nodes = field.connect[faces.kind].data() + static_cast<std::size_t>(cell) * faces.cell_nodes;
    return nodes[faces.nodes[face * faces.width + corner]];
}

template <class Visit>
void for_each_face(const bench::Field &field, const CellFaces &faces, const Visit &visit) {
    for (int cell = 0; cell < cell_count(field); ++cell) {
        for (int face = 0; face < faces.count(); ++face) {
            bench::NodeRow nodes = {kNone, kNone, kNone, kNone};
            for (int corner = 0; corner < faces.width; ++corner) {
                nodes[corner] = face_node(field, faces, cell, face, corner);
            }
            visit(Face{in_order(nodes), cell, face});
        }
    }
}

// Sorts faces into bins by their lowest nodes and takes pairs out.
void find_single_faces(const bench::Field &field, const CellFaces &faces, PlainFaces &plain) {
    plain.begin.assign(node_count(field) + 1, 0);
    for_each_face(field, faces, [&](const Face &face) { ++plain.begin[face.key[0] + 1]; });
    std::partial_sum(plain.begin.begin(), plain.begin.end(), plain.begin.begin());
    plain.end = plain.begin;
    plain.open.resize(plain.begin.back());
    for_each_face(field, faces, [&](const Face &face) {
        int &end = plain.end[face.key[0]];
        const auto first = plain.open.begin() + plain.begin[face.key[0]], last = plain.open.begin() + end;
        const auto twin = std::find_if(first, last, [&](const Face &other) { return other.key == face.key; });
        if (twin == last) {
            *last = face;
            ++end;
        } else {
            *twin = last[-1];
            --end;
        }
    });
}

long long plain_faces(const bench::Field &field, const CellFaces &faces, PlainFaces &plain) {
    find_single_faces(field, faces, plain);
    plain.nodes.clear();
    plain.cells.clear();
    for (int node = 0; node < node_count(field); ++node) {
        for (int i = plain.begin[node]; i < plain.end[node]; ++i) {
            const Face &face = plain.open[i];
            for (int corner = 0; corner < faces.width; ++corner) {
                plain.nodes.push_back(face_node(field, faces, face.cell, face.face, corner));
            }
            plain.cells.push_back(face.cell);
        }
    }
    return static_cast<long long>(plain.cells.size());
}

Contestant bare_loop(const FieldPtr &field, const CellFaces &faces, const RowsPtr &our_rows) {
    const auto plain = std::make_shared<PlainFaces>();
    const auto values = [=] {
        return std::vector<float>{bench::common_share(our_rows->all(), plain->nodes, our_rows->width)};
    };
    return {"bare loop", [=, &faces] { return plain_faces(*field, faces, *plain); }, {}, values};
}

std::vector<Contestant> face_contestants(const bench::CellMesh &mesh, const CellFaces &faces) {
    const FieldPtr field = bare_field(mesh);
    const auto rows = std::make_shared<Rows>(faces.width);
    std::vector<Contestant> all = {
        ours(rows, [=, &faces](Rows &out) { return our_faces(*field, faces, out); }),
        vtk_peer<vtkDataSetSurfaceFilter>("vtkDataSetSurfaceFilter", field, rows,
                                          [](vtkDataSetSurfaceFilter &filter) { filter.DelegationOff(); }),
        bare_loop(field, faces, rows)};
    if (faces.kind == bench::kHex) {
        all.push_back(vtk_peer<vtkGeometryFilter>("vtkGeometryFilter", field, rows));
        all.push_back(vtk_peer<vtkGeometryFilter>("vtkGeometryFilter, fast mode", field, rows,
                                                  [](vtkGeometryFilter &filter) { filter.FastModeOn(); }));
    }
    return all;
}

bench::CellMesh shuffled(bench::CellMesh mesh) {
    mesh.shuffle();
    return mesh;
}

// A million triangles, with a crease at 30 degrees or more along a tenth of their edges.
FieldPtr wavy_sheet() {
    return bare_field(bench::triangle_sheet(708, 708, 200));
}

std::vector<Contestant> external_edges() {
    const FieldPtr field = wavy_sheet();
    constexpr int kDegrees = 30;
    const auto rows = std::make_shared<Rows>(2);
    const auto work = [=](Rows &out) {
        return UTILexternal_edges(node_count(*field), 3, field->coords(), cell_count(*field), 3, 3,
                                  field->connect[bench::kTri].data(), &out.size, &out.nodes,
                                  kDegrees * std::acos(-1.0) / 180);
    };
    const auto adjust = [](vtkFeatureEdges &filter) {
        filter.BoundaryEdgesOn();
        filter.FeatureEdgesOn();
        filter.SetFeatureAngle(kDegrees);
        filter.NonManifoldEdgesOff();
        filter.ManifoldEdgesOff();
        filter.ColoringOff();
    };
    return {ours(rows, work), vtk_peer<vtkFeatureEdges>("vtkFeatureEdges", field, rows, adjust)};
}

std::vector<Contestant> all_edges(const FieldPtr &field, const std::function<int(Rows &)> &work) {
    const auto rows = std::make_shared<Rows>(2);
    return {ours(rows, work),
            vtk_peer<vtkExtractEdges>("vtkExtractEdges", field, rows,
                                      [](vtkExtractEdges &filter) { filter.UseAllPointsOn(); })};
}

std::vector<Contestant> surface_edges() {
    const FieldPtr field = wavy_sheet();
    return all_edges(field, [=](Rows &out) {
        return UTILedges_2D(node_count(*field), cell_count(*field), 3, field->connect[bench::kTri].data(), 3,
                            &out.size, &out.nodes);
    });
}

std::vector<Contestant> volume_edges() {
    const FieldPtr field = bare_field(bench::hex_lattice(96, 2));
    return all_edges(field, [=](Rows &out) {
        const std::vector<int> widths(kHexFaces.nodes.size(), kHexFaces.width);
        return UTILedges_3D(node_count(*field), cell_count(*field), kHexFaces.cell_nodes,
                            field->connect[bench::kHex].data(), kHexFaces.count(), widths.data(),
                            widths.data(), kHexFaces.nodes.data(), &out.size, &out.nodes);
    });
}

}  // namespace

std::vector<bench::Case> boundary_cases() {
    return {
        {"faces/hex/96^3", [] { return face_contestants(bench::hex_lattice(96, 2), kHexFaces); }},
        {"faces/hex shuffled/96^3",
         [] { return face_contestants(shuffled(bench::hex_lattice(96, 2)), kHexFaces); }},
        {"faces/tet/96^3", [] { return face_contestants(bench::tet_lattice(96, 2), kTetFaces); }},
        {"edges/external/708^2", external_edges},
        {"edges/tri/708^2", surface_edges},
        {"edges/hex/96^3", volume_edges},
    };
}
