// Gradients of a wave, and vorticity and divergence of a vector of waves, in float, at the nodes: against
// VTK's filters, and on a uniform grid against a plain loop. The sizes are nodes; values are compared inside
// the mesh. vtkImageGradient gives doubles, and half the slope at the edges.
#include <vtkDataArray.h>
#include <vtkGradientFilter.h>
#include <vtkImageGradient.h>
#include <vtkPointData.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "filler.hpp"
#include "lattice.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

// One of the three, with components of the data and of the result.
struct Operator {
    const char *name;
    decltype(&UTILgrad) ours;
    int nin, nout;
    const char *result;  // the peer's
};

constexpr Operator kGradient{"gradient", UTILgrad, 1, 3, "Gradients"};
constexpr Operator kVorticity{"vorticity", UTILcurl, 3, 3, "Vorticity"};
constexpr Operator kDivergence{"divergence", UTILdiv, 3, 1, "Divergence"};

// A mesh of n^3 nodes. Curls of uniform and rectilinear grids are the vorticity in the first component alone.
struct Kind {
    const char *name;
    int n;
    FieldPtr (*make)(int n);
    bool cells, whole_curl;
};

FieldPtr uniform(int n) {
    return bench::wave_image(n, n, n, 2, 0.0f);
}

// Steps of 0.2 to 1.8.
FieldPtr rectilinear(int n) {
    std::vector<float> lines;
    for (int i = 0; i < n; ++i) lines.push_back(static_cast<float>(i + 8 * std::sin(0.1 * i)));
    return bench::rectilinear_field(*uniform(n), lines);
}

FieldPtr structured(int n) {
    return bench::structured_field(bench::Lattice(n - 1, 2).mesh, {n, n, n});
}

FieldPtr hexahedra(int n) {
    return bench::cell_field(bench::hex_lattice(n - 1, 2));
}

FieldPtr tetrahedra(int n) {
    return bench::cell_field(bench::tet_lattice(n - 1, 2));
}

constexpr Kind kKinds[] = {
    {"uniform/128^3", 128, uniform, false, false},      {"rectilinear/128^3", 128, rectilinear, false, false},
    {"structured/128^3", 128, structured, false, true}, {"hex/96^3", 97, hexahedra, true, true},
    {"tet/64^3", 65, tetrahedra, true, true},
};

// What is compared: the first `ncompared` of `row` components at the nodes inside a cube of n^3.
struct Inside {
    int n, row, ncompared;

    template <class T>
    std::vector<float> operator()(const T *values) const {
        std::vector<float> inside;
        for (int k = 1; k < n - 1; ++k) {
            for (int j = 1; j < n - 1; ++j) {
                for (int i = 1; i < n - 1; ++i) {
                    const T *at = values + std::ptrdiff_t{row} * (i + n * (j + n * k));
                    for (int c = 0; c < ncompared; ++c) inside.push_back(static_cast<float>(at[c]));
                }
            }
        }
        return inside;
    }
};

template <class Work>
Contestant array_filler(const char *name, const Inside &inside, const Work &work) {
    const std::size_t n = static_cast<std::size_t>(inside.n);
    return bench::array_filler(name, n * n * n * inside.row, work, inside);
}

Contestant ours(const FieldPtr &field, const Operator &op, const Inside &inside) {
    return array_filler("isofield", inside, [field, op](float *out) {
        MeshInfo *mesh = field->mesh.get();
        const void *data = op.nin == 1 ? field->data() : field->vectors();
        return op.ours(mesh, data, op.nin, 4, 0, nullptr, out) == 1 ? mesh->nnodes : -1;
    });
}

Contestant gradient_filter(const FieldPtr &field, const Operator &op, bool fast, const Inside &inside) {
    const auto adjust = [&](vtkGradientFilter &filter) {
        const auto attribute = op.nin == 1 ? vtkDataSetAttributes::SCALARS : vtkDataSetAttributes::VECTORS;
        filter.SetInputScalars(vtkDataObject::POINT, attribute);
        filter.SetComputeGradient(op.ours == UTILgrad);
        filter.SetComputeVorticity(op.ours == UTILcurl);
        filter.SetComputeDivergence(op.ours == UTILdiv);
        filter.SetFasterApproximation(fast);
    };
    const auto values = [inside, result = op.result](vtkGradientFilter &filter) {
        vtkDataArray *array = filter.GetOutput()->GetPointData()->GetArray(result);
        return inside(static_cast<const float *>(array->GetVoidPointer(0)));
    };
    return bench::filter_peer<vtkGradientFilter>(fast ? "vtkGradientFilter faster" : "vtkGradientFilter",
                                                 field, bench::output_size<vtkDataObject::POINT>, adjust,
                                                 values);
}

Contestant image_gradient(const FieldPtr &field, const Inside &inside) {
    const auto adjust = [](vtkImageGradient &filter) {
        filter.SetDimensionality(3);
        filter.HandleBoundariesOn();
        filter.SetNumberOfThreads(1);
    };
    const auto values = [inside](vtkImageGradient &filter) {
        return inside(static_cast<const double *>(filter.GetOutput()->GetScalarPointer()));
    };
    return bench::filter_peer<vtkImageGradient>("vtkImageGradient", field,
                                                bench::output_size<vtkDataObject::POINT>, adjust, values);
}

// The neighbours of place `at` on an axis of n nodes: offsets from the node, and what scales the difference.
struct Neighbours {
    std::ptrdiff_t before, after;
    float scale;

    Neighbours(int at, int n, std::ptrdiff_t stride)
        : before(at > 0 ? -stride : 0),
          after(at < n - 1 ? stride : 0),
          scale(before && after ? 0.5f : 1.0f) {}

    float slope(const float *value) const { return scale * (value[after] - value[before]); }
};

// What memory and arithmetic allow.
long long plain_gradient(const float *value, int n, float *out) {
    for (int k = 0; k < n; ++k) {
        const Neighbours z(k, n, std::ptrdiff_t{n} * n);
        for (int j = 0; j < n; ++j) {
            const Neighbours y(j, n, n);
            const auto row = [&](int first, int last) {
                const Neighbours x(first, n, 1);
                for (int i = first; i < last; ++i, ++value, out += 3) {
                    out[0] = x.slope(value);
                    out[1] = y.slope(value);
                    out[2] = z.slope(value);
                }
            };
            row(0, 1);
            row(1, n - 1);
            row(n - 1, n);
        }
    }
    return static_cast<long long>(n) * n * n;
}

Contestant bare_loop(const FieldPtr &field, const Inside &inside) {
    return array_filler("bare loop", inside, [field, n = inside.n](float *out) {
        return plain_gradient(static_cast<const float *>(field->data()), n, out);
    });
}

std::vector<Contestant> contestants(const Kind &kind, const Operator &op) {
    const FieldPtr field = kind.make(kind.n);
    if (op.nin == 3) bench::add_vectors(*field);
    const bool whole = kind.whole_curl || op.ours != UTILcurl;
    const Inside inside{kind.n, op.nout, whole ? op.nout : 1};
    std::vector<Contestant> all{ours(field, op, inside), gradient_filter(field, op, false, inside)};
    if (kind.cells) all.push_back(gradient_filter(field, op, true, inside));
    if (kind.make == uniform && op.ours == UTILgrad) {
        all.push_back(image_gradient(field, inside));
        all.push_back(bare_loop(field, inside));
    }
    return all;
}

}  // namespace

std::vector<bench::Case> derivative_cases() {
    std::vector<bench::Case> cases;
    for (const Operator &op : {kGradient, kVorticity, kDivergence}) {
        for (const Kind &kind : kKinds) {
            cases.push_back({std::string(op.name) + "/" + kind.name, [=] { return contestants(kind, op); }});
        }
    }
    return cases;
}
