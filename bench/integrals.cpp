// Integrals over cells and cell data to nodes, against VTK's filters. The sizes are the volume, rounded, of
// cells of a volume of about 1 (hexahedra) or 1/6 (tets), and nodes.
#include <vtkCellData.h>
#include <vtkCellDataToPointData.h>
#include <vtkDataArray.h>
#include <vtkFloatArray.h>
#include <vtkIntegrateAttributes.h>
#include <vtkNew.h>
#include <vtkUnstructuredGrid.h>

#include <cmath>

#include "lattice.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

std::vector<Contestant> integral_contestants(const bench::CellMesh &cells) {
    const FieldPtr field = bench::cell_field(cells);
    const auto ours = [field] {
        float volume = 0, integral = 0;
        const int result = UTILvol_integr(field->mesh.get(), 3, field->data(), field->dtype(), 0, nullptr,
                                          &volume, &integral);
        return result == 1 ? std::llround(volume) : -1;
    };
    const auto volume = [](vtkIntegrateAttributes &filter) {
        return std::llround(filter.GetOutput()->GetCellData()->GetArray("Volume")->GetTuple1(0));
    };
    return {{"isofield", ours, isohost_trim_arrays},
            bench::filter_peer<vtkIntegrateAttributes>("vtkIntegrateAttributes", field, volume)};
}

// Gives each cell the scalar of its first node.
void add_cell_data(bench::Field &field) {
    const auto *scalars = static_cast<const float *>(field.data());
    const vtkIdType ncells = field.dataset->GetNumberOfCells();
    vtkNew<vtkFloatArray> values;
    values->SetNumberOfTuples(ncells);
    vtkNew<vtkIdList> nodes;
    for (vtkIdType cell = 0; cell < ncells; ++cell) {
        field.dataset->GetCellPoints(cell, nodes);
        values->SetValue(cell, scalars[nodes->GetId(0)]);
    }
    field.dataset->GetCellData()->SetScalars(values);
}

// Nodes, or -1.
long long our_node_data(const bench::Field &field) {
    MeshInfo *mesh = field.mesh.get();
    const void *data = field.dataset->GetCellData()->GetScalars()->GetVoidPointer(0);
    void *out = ARRalloc_f(nullptr, 4, mesh->nnodes, nullptr, __FILE__, __LINE__);
    float *weights = nullptr;
    char *null_flags = nullptr;
    const int result =
        UTILcell_to_node(mesh, 0, field.dtype(), data, 1, 0, nullptr, 0, out, &weights, &null_flags);
    ARRfree_f(out, __FILE__, __LINE__);
    return result == 1 ? mesh->nnodes : -1;
}

std::vector<Contestant> node_data_contestants(const FieldPtr &field) {
    add_cell_data(*field);
    return {{"isofield", [field] { return our_node_data(*field); }, isohost_trim_arrays},
            bench::filter_peer<vtkCellDataToPointData>("vtkCellDataToPointData", field,
                                                       bench::output_size<vtkDataObject::POINT>)};
}

}  // namespace

std::vector<bench::Case> integral_cases() {
    return {
        {"integrate/hex/96^3", [] { return integral_contestants(bench::hex_lattice(96, 3)); }},
        {"integrate/tet/64^3", [] { return integral_contestants(bench::tet_lattice(64, 2)); }},
        {"cell2node/hex/96^3",
         [] { return node_data_contestants(bench::cell_field(bench::hex_lattice(96, 3))); }},
        {"cell2node/grid/96^3", [] { return node_data_contestants(bench::wave_image(97, 97, 97, 3, 0.0f)); }},
    };
}
