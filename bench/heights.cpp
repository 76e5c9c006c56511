// Few triangles in place of a grid of heights, against vtkGreedyTerrainDecimation, which may make the worst
// error that ours makes (it stands by ours' name, with the count of nodes without a triangle), and once the
// one that ours is to keep to. Where the peer thins the border it does not look at the errors there. The
// sizes are triangles; the worst errors over all grid nodes are compared.
#include <vtkGreedyTerrainDecimation.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkXMLImageDataReader.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "agreement.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;
using Height = std::function<double(int i, int j)>;

constexpr int kSide = 512;
constexpr char kTerrainFile[] = "build/data/jacksboro.vti";  // in metres; made by scripts/setup

FieldPtr height_field(int ni, int nj, const Height &height) {
    const auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(ni, nj, 1);
    image->AllocateScalars(VTK_FLOAT, 1);
    auto *value = static_cast<float *>(image->GetScalarPointer());
    for (int j = 0; j < nj; ++j) {
        for (int i = 0; i < ni; ++i) *value++ = static_cast<float>(height(i, j));
    }
    return bench::image_field(image);
}

FieldPtr smooth_terrain() {
    const double scale = bench::wave_scale(kSide, 1);
    return height_field(kSide, kSide, [=](int i, int j) {
        const double x = i * scale, y = j * scale;
        return 100 * bench::wave(2 * x, 2 * y, 0) + 20 * bench::wave(5 * y, 7 * x, 1);
    });
}

// By displacement of midpoints, of squares and then of their sides, half as much at each halving.
FieldPtr fractal_terrain() {
    constexpr int n = kSide + 1;
    std::vector<double> heights(std::size_t{n} * n);
    const auto at = [&](int i, int j) -> double & {
        return heights[(i + kSide) % kSide + n * ((j + kSide) % kSide)];
    };
    std::mt19937 random(1);
    for (int half = kSide / 2; half > 0; half /= 2) {
        std::uniform_real_distribution<double> push(-half, half);
        const auto displace = [&](int i, int j, int di, int dj, int ei, int ej) {
            const double sum =
                at(i + di, j + dj) + at(i - di, j - dj) + at(i + ei, j + ej) + at(i - ei, j - ej);
            at(i, j) = sum / 4 + push(random);
        };
        const int step = 2 * half;
        for (int j = half; j < kSide; j += step) {
            for (int i = half; i < kSide; i += step) displace(i, j, half, half, half, -half);
        }
        for (int j = 0; j < kSide; j += half) {
            for (int i = (j + half) % step; i < kSide; i += step) displace(i, j, half, 0, 0, half);
        }
    }
    return height_field(kSide, kSide, at);
}

FieldPtr measured_terrain() {
    vtkNew<vtkXMLImageDataReader> reader;
    reader->SetFileName(kTerrainFile);
    reader->Update();
    vtkImageData *image = reader->GetOutput();
    const int *dims = image->GetDimensions();
    return height_field(dims[0], dims[1],
                        [=](int i, int j) { return image->GetScalarComponentAsDouble(i, j, 0, 0); });
}

FieldPtr noise() {
    std::mt19937 random(1);
    return height_field(128, 128, [&](int, int) { return random() * 0x1p-32; });
}

std::array<int, 2> dims_of(const bench::Field &field) {
    const int *dims = vtkImageData::SafeDownCast(field.dataset)->GetDimensions();
    return {dims[0], dims[1]};
}

// Nodes, with places in steps of the grid and heights, and triangles.
struct Surface {
    std::vector<std::array<double, 3>> points;
    std::vector<int> triangles;
};

// The largest vertical distance of grid nodes from the triangles that hold them, and the nodes in none.
struct Fit {
    double worst;
    long long uncovered;
};

Fit fit_of(const bench::Field &field, const Surface &surface) {
    const auto [ni, nj] = dims_of(field);
    const auto *heights = static_cast<const float *>(field.data());
    std::vector<double> errors(std::size_t{1} * ni * nj, -1);
    constexpr double kOnEdge = 1e-6;
    for (std::size_t t = 0; t < surface.triangles.size(); t += 3) {
        const auto &[ax, ay, az] = surface.points[surface.triangles[t]];
        const auto &[bx, by, bz] = surface.points[surface.triangles[t + 1]];
        const auto &[cx, cy, cz] = surface.points[surface.triangles[t + 2]];
        const double area = (bx - ax) * (cy - ay) - (cx - ax) * (by - ay);
        if (area == 0) continue;
        const auto [left, right] = std::minmax({ax, bx, cx});
        const auto [bottom, top] = std::minmax({ay, by, cy});
        for (int j = static_cast<int>(std::ceil(bottom)); j <= top; ++j) {
            for (int i = static_cast<int>(std::ceil(left)); i <= right; ++i) {
                const double b = ((i - ax) * (cy - ay) - (cx - ax) * (j - ay)) / area;
                const double c = ((bx - ax) * (j - ay) - (i - ax) * (by - ay)) / area;
                if (std::min({b, c, 1 - b - c}) < -kOnEdge) continue;
                const std::size_t node = i + std::size_t{1} * ni * j;
                const double height = az + b * (bz - az) + c * (cz - az);
                errors[node] = std::max(errors[node], std::abs(height - heights[node]));
            }
        }
    }
    return {*std::max_element(errors.begin(), errors.end()), std::count(errors.begin(), errors.end(), -1)};
}

// Our last result, given back before the next.
struct Thinned {
    int nnodes = 0, ntriangles = 0;
    float *coords = nullptr;
    int *triangles = nullptr;
    void *heights = nullptr;

    Thinned() = default;
    Thinned(const Thinned &) = delete;
    Thinned &operator=(const Thinned &) = delete;
    ~Thinned() { free(); }

    void free() {
        ARRfree_f(std::exchange(coords, nullptr), __FILE__, __LINE__);
        ARRfree_f(std::exchange(triangles, nullptr), __FILE__, __LINE__);
        ARRfree_f(std::exchange(heights, nullptr), __FILE__, __LINE__);
    }

    long long make(const bench::Field &field, double tolerance) {
        free();
        const auto dims = dims_of(field);
        const float corners[] = {0, 0, static_cast<float>(dims[0] - 1), static_cast<float>(dims[1] - 1)};
        return UTILoptimize_surface(dims.data(), 2, corners, field.dtype(), field.data(), tolerance, &nnodes,
                                    &coords, &ntriangles, &triangles, &heights) == 1
                   ? ntriangles
                   : -1;
    }

    Surface surface() const {
        Surface out;
        const auto *height = static_cast<const float *>(heights);
        for (std::ptrdiff_t n = 0; n < nnodes; ++n) {
            out.points.push_back({coords[2 * n], coords[2 * n + 1], height[n]});
        }
        out.triangles.assign(triangles, triangles + 3 * std::ptrdiff_t{ntriangles});
        return out;
    }
};

Surface surface_of(vtkPolyData &triangles) {
    Surface out;
    out.points.resize(static_cast<std::size_t>(triangles.GetNumberOfPoints()));
    for (vtkIdType n = 0; n < triangles.GetNumberOfPoints(); ++n) {
        triangles.GetPoint(n, out.points[static_cast<std::size_t>(n)].data());
    }
    out.triangles = bench::nodes_of(*triangles.GetPolys());
    return out;
}

std::vector<float> worst_of(const FieldPtr &field, const Surface &surface) {
    return {static_cast<float>(fit_of(*field, surface).worst)};
}

Contestant decimation(const char *name, const FieldPtr &field, double error, bool thin_border) {
    const auto adjust = [=](vtkGreedyTerrainDecimation &filter) {
        filter.SetErrorMeasureToAbsoluteError();
        filter.SetAbsoluteError(error);
        filter.SetBoundaryVertexDeletion(thin_border);
    };
    const auto values = [=](vtkGreedyTerrainDecimation &filter) {
        return worst_of(field, surface_of(*filter.GetOutput()));
    };
    return bench::filter_peer<vtkGreedyTerrainDecimation>(
        name, field, bench::output_size<vtkDataObject::CELL>, adjust, values);
}

std::vector<Contestant> contestants(const FieldPtr &field, double tolerance) {
    const auto thinned = std::make_shared<Thinned>();
    thinned->make(*field, tolerance);
    const auto [worst, uncovered] = fit_of(*field, thinned->surface());
    char name[64];
    std::snprintf(name, sizeof name, "isofield, worst %.3g, %lld bare", worst, uncovered);
    return {{name, [=] { return thinned->make(*field, tolerance); }, isohost_trim_arrays,
             [=] { return worst_of(field, thinned->surface()); }},
            decimation("vtkGreedyTerrainDecimation", field, worst, true),
            decimation("the same, whole border kept", field, worst, false),
            decimation("that at our tolerance", field, tolerance, false)};
}

}  // namespace

std::vector<bench::Case> height_cases() {
    return {
        {"heights/smooth/512^2", [] { return contestants(smooth_terrain(), 1); }},
        {"heights/fractal/512^2", [] { return contestants(fractal_terrain(), 8); }},
        {"heights/measured/403x344", [] { return contestants(measured_terrain(), 10); }},
        {"heights/noise/128^2", [] { return contestants(noise(), 0.1); }},
    };
}
