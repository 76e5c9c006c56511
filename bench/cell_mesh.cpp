#include "cell_mesh.hpp"

#include <vtkCellArray.h>
#include <vtkCellType.h>
#include <vtkFloatArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkStructuredGrid.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <numeric>
#include <random>

namespace bench {
namespace {

struct KindTraits {
    const char *set_type;
    int nnodes;
    int vtk_type;
    int vtk_order[8];  // our corner at each of VTK's
};

constexpr KindTraits kTraits[kCellKinds] = {
    {"hex_1", 8, VTK_HEXAHEDRON, {0, 1, 2, 3, 4, 5, 6, 7}},
    {"prism_1", 6, VTK_WEDGE, {0, 1, 2, 3, 4, 5}},
    {"pyr_1", 5, VTK_PYRAMID, {1, 4, 3, 2, 0}},
    {"tet_1", 4, VTK_TETRA, {0, 1, 2, 3}},
    {"tri_1", 3, VTK_TRIANGLE, {0, 1, 2}},
};

std::vector<std::size_t> random_order(std::size_t n, std::mt19937 &random) {
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), random);
    return order;
}

// Calls insert(VTK's type, node count, nodes) for each cell.
template <class Insert>
void for_each_vtk_cell(const CellMesh &mesh, Insert insert) {
    for (int kind = 0; kind < kCellKinds; ++kind) {
        const KindTraits &traits = kTraits[kind];
        const std::vector<int> &connect = mesh.cells[kind];
        for (auto cell = connect.begin(); cell != connect.end(); cell += traits.nnodes) {
            vtkIdType nodes[8];
            for (int i = 0; i < traits.nnodes; ++i) nodes[i] = cell[traits.vtk_order[i]];
            insert(traits.vtk_type, traits.nnodes, nodes);
        }
    }
}

vtkSmartPointer<vtkPointSet> dataset_of(const CellMesh &mesh) {
    if (!mesh.cells[kTri].empty()) {
        vtkNew<vtkCellArray> triangles;
        for_each_vtk_cell(mesh, [&](int, vtkIdType nnodes, const vtkIdType *nodes) {
            triangles->InsertNextCell(nnodes, nodes);
        });
        const auto polygons = vtkSmartPointer<vtkPolyData>::New();
        polygons->SetPolys(triangles);
        return polygons;
    }
    const auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->Allocate();
    for_each_vtk_cell(mesh, [&](int type, vtkIdType nnodes, const vtkIdType *nodes) {
        grid->InsertNextCell(type, nnodes, nodes);
    });
    return grid;
}

// Gives a dataset the mesh's nodes. Returns their coordinates, which the dataset keeps.
const float *set_nodes(vtkPointSet &dataset, const CellMesh &mesh) {
    vtkNew<vtkFloatArray> coords, scalars;
    coords->SetNumberOfComponents(3);
    coords->SetNumberOfTuples(static_cast<vtkIdType>(mesh.coords.size()));
    std::copy_n(mesh.coords.data()->data(), 3 * mesh.coords.size(), coords->GetPointer(0));
    scalars->SetNumberOfTuples(static_cast<vtkIdType>(mesh.scalars.size()));
    std::copy(mesh.scalars.begin(), mesh.scalars.end(), scalars->GetPointer(0));
    vtkNew<vtkPoints> points;
    points->SetData(coords);
    dataset.SetPoints(points);
    dataset.GetPointData()->SetScalars(scalars);
    return coords->GetPointer(0);
}

}  // namespace

void CellMesh::add_node(double x, double y, double z, double scalar) {
    coords.push_back({static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)});
    scalars.push_back(static_cast<float>(scalar));
}

void CellMesh::shuffle() {
    std::mt19937 random(1);
    const std::vector<std::size_t> new_number = random_order(scalars.size(), random);
    CellMesh old = *this;
    for (std::size_t n = 0; n < new_number.size(); ++n) {
        coords[new_number[n]] = old.coords[n];
        scalars[new_number[n]] = old.scalars[n];
    }
    for (int kind = 0; kind < kCellKinds; ++kind) {
        const auto nnodes = static_cast<std::size_t>(kTraits[kind].nnodes);
        auto out = cells[kind].begin();
        for (const std::size_t cell : random_order(cells[kind].size() / nnodes, random)) {
            const int *in = old.cells[kind].data() + cell * nnodes;
            out =
                std::transform(in, in + nnodes, out, [&](int n) { return static_cast<int>(new_number[n]); });
        }
    }
}

FieldPtr cell_field(const CellMesh &cells) {
    auto field = std::make_shared<Field>();
    const auto dataset = dataset_of(cells);
    const float *coords = set_nodes(*dataset, cells);
    field->dataset = dataset;

    std::vector<IsohostCellSet> sets;
    field->connect.assign(cells.cells.begin(), cells.cells.end());
    for (int kind = 0; kind < kCellKinds; ++kind) {
        const int ncells = static_cast<int>(field->connect[kind].size()) / kTraits[kind].nnodes;
        if (ncells > 0) sets.push_back({kTraits[kind].set_type, ncells, field->connect[kind].data()});
    }
    MeshInfo *mesh = nullptr;
    isohost_mesh_cells(static_cast<int>(cells.scalars.size()), 3, coords, static_cast<int>(sets.size()),
                       sets.data(), &mesh);
    field->mesh.reset(mesh);
    return field;
}

FieldPtr structured_field(const CellMesh &nodes, const std::array<int, 3> &dims) {
    const auto grid = vtkSmartPointer<vtkStructuredGrid>::New();
    grid->SetDimensions(dims.data());
    MeshInfo *mesh = nullptr;
    isohost_mesh_structured(3, dims.data(), 3, set_nodes(*grid, nodes), &mesh);
    auto field = std::make_shared<Field>();
    field->dataset = grid;
    field->mesh.reset(mesh);
    return field;
}

}  // namespace bench
