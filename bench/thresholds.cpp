// The mesh without its null nodes, a tenth of all in smooth regions: cells, points and the scalar, against
// vtkThreshold. The sizes are cells; the points and scalars of their first nodes are compared. vtkThreshold
// drops the points that no cell has any more, ours keeps those that are not null.
#include <vtkDataArray.h>
#include <vtkPointData.h>
#include <vtkThreshold.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "lattice.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr float kNull = 1e6f;

FieldPtr with_nulls(FieldPtr field) {
    vtkDataArray *array = field->dataset->GetPointData()->GetScalars();
    auto *scalars = static_cast<float *>(array->GetVoidPointer(0));
    const auto n = array->GetNumberOfTuples();
    std::vector<float> sorted(scalars, scalars + n);
    const auto level = sorted.begin() + n * 9 / 10;
    std::nth_element(sorted.begin(), level, sorted.end());
    std::replace_if(
        scalars, scalars + n, [&](float value) { return value >= *level; }, kNull);
    return field;
}

// What is left of a mesh of one set of hexahedra, given back at the end.
struct Rest {
    int nnodes = 0, ncells = 0, connect_size = 0;
    int *node_list = nullptr, *connect = nullptr;
    float *coords = nullptr, *scalars = nullptr;

    Rest() = default;
    Rest(const Rest &) = delete;
    Rest &operator=(const Rest &) = delete;
    ~Rest() {
        std::free(node_list);
        ARRfree_f(connect, __FILE__, __LINE__);
        ARRfree_f(coords, __FILE__, __LINE__);
        ARRfree_f(scalars, __FILE__, __LINE__);
    }

    bool make(const bench::Field &field) {
        MeshInfo *mesh = field.mesh.get();
        const int dtype = field.dtype();
        if (UTILthresh_null(mesh, field.data(), dtype, &kNull, &nnodes, &node_list, 1, &ncells, &connect,
                            &connect_size) != 1) {
            return false;
        }
        coords = static_cast<float *>(ARRalloc_f(nullptr, 4, 3 * nnodes, nullptr, __FILE__, __LINE__));
        scalars = static_cast<float *>(ARRalloc_f(nullptr, 4, nnodes, nullptr, __FILE__, __LINE__));
        UTILget_coord_list(mesh, nnodes, node_list, coords);
        UTILget_data_list(mesh, dtype, 1, field.data(), nnodes, node_list, scalars);
        return true;
    }
};

Contestant ours(const FieldPtr &field) {
    const auto run = [field] {
        Rest rest;
        return rest.make(*field) ? rest.ncells : -1;
    };
    const auto values = [field] {
        std::vector<float> sample;
        Rest rest;
        rest.make(*field);
        for (int cell = 0; cell < rest.ncells; ++cell) {
            const std::ptrdiff_t node = rest.connect[8 * std::ptrdiff_t{cell}];
            sample.insert(sample.end(), rest.coords + 3 * node, rest.coords + 3 * node + 3);
            sample.push_back(rest.scalars[node]);
        }
        return sample;
    };
    return {"isofield", run, isohost_trim_arrays, values};
}

Contestant threshold_filter(const FieldPtr &field) {
    const auto adjust = [](vtkThreshold &filter) {
        filter.SetThresholdFunction(vtkThreshold::THRESHOLD_LOWER);
        filter.SetLowerThreshold(kNull / 2);
        filter.AllScalarsOn();
    };
    const auto values = [](vtkThreshold &filter) {
        vtkUnstructuredGrid *rest = filter.GetOutput();
        vtkDataArray *scalars = rest->GetPointData()->GetScalars();
        std::vector<float> sample;
        for (vtkIdType cell = 0; cell < rest->GetNumberOfCells(); ++cell) {
            vtkIdType nnodes;
            const vtkIdType *nodes;
            rest->GetCellPoints(cell, nnodes, nodes);
            double xyz[3];
            rest->GetPoint(nodes[0], xyz);
            for (const double x : xyz) sample.push_back(static_cast<float>(x));
            sample.push_back(static_cast<float>(scalars->GetTuple1(nodes[0])));
        }
        return sample;
    };
    return bench::filter_peer<vtkThreshold>("vtkThreshold", field, bench::output_size<vtkDataObject::CELL>,
                                            adjust, values);
}

std::vector<Contestant> contestants(const FieldPtr &field) {
    return {ours(field), threshold_filter(field)};
}

}  // namespace

std::vector<bench::Case> threshold_cases() {
    return {
        {"denull/hex/96^3",
         [] { return contestants(with_nulls(bench::cell_field(bench::hex_lattice(96, 2)))); }},
        {"denull/grid/128^3",
         [] { return contestants(with_nulls(bench::wave_image(128, 128, 128, 2, 0.0f))); }},
    };
}
