// progress.cpp: long operations: how far they are, how they are stopped, what they throw, what they do about
// missing data, and several at once.
#include "isofield.hpp"

#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "example.h"

constexpr int kNodes = 121;
constexpr double kPi = std::numbers::pi;

isofield::Mesh make_mesh() {
    return isofield::Mesh::uniform({kNodes, kNodes, kNodes}, {-1, -1, -1}, {1, 1, 1});
}

// At each node its distance from the middle.
std::vector<float> make_distances() {
    std::vector<float> distances;
    const auto at = [](int i) { return 2.0 * i / (kNodes - 1) - 1; };
    for (int k = 0; k < kNodes; ++k) {
        for (int j = 0; j < kNodes; ++j) {
            for (int i = 0; i < kNodes; ++i)
                distances.push_back(static_cast<float>(std::hypot(at(i), at(j), at(k))));
        }
    }
    return distances;
}

double area(const isofield::Surface &surface) {
    return area_of(surface.points().data(), surface.triangles().data()->data(), surface.triangles().size());
}

int main() try {
    isofield::Mesh mesh = make_mesh();
    std::vector<float> distances = make_distances();

    // A callable is told the percentage, from the thread that called.
    int told = 0, last = 0;
    const auto watch = [&](int percent) {
        ++told;
        last = percent;
        return true;  // go on
    };
    const isofield::Surface sphere = mesh.isosurface(distances, 0.8, {.progress = watch});
    std::printf("told %d times how far it is, the last time %d %%\n", told, last);
    check("told more than once", told > 1, 1, 0);
    check("area of a sphere", area(sphere), 4 * kPi * 0.64, 0.01);

    // One that returns false stops the operation, here half way. Nothing is left behind.
    bool stopped = false;
    try {
        mesh.isosurface(distances, 0.8, {.progress = [](int percent) { return percent < 50; }});
    } catch (const isofield::Interrupted &) {
        stopped = true;
    }
    check("stopped half way", stopped, 1, 0);

    // What an operation is given is checked; the text says what is wrong with it.
    std::string text;
    try {
        mesh.isosurface(std::vector<float>(1000), 0.8);
    } catch (const isofield::BadInput &error) {
        text = error.what();
    }
    std::printf("refused: %s\n", text.c_str());
    check("refused, with the number of rows", text.find("1000 rows") != std::string::npos, 1, 0);

    // NaN, infinite values and a null value are missing data: cells that have one make nothing. Here half of
    // the grid has none, so that half of the sphere is left.
    for (std::size_t node = distances.size() / 2 + kNodes * kNodes / 2; node < distances.size(); ++node)
        distances[node] = std::numeric_limits<float>::quiet_NaN();
    const double half = area(mesh.isosurface(distances, 0.8));
    check("area beside missing data", half, 2 * kPi * 0.64, 0.1);

    // A mesh serves one operation at a time; different meshes may be worked on at once.
    const std::vector<float> shared = make_distances();  // data may be shared
    std::vector<double> areas(4);
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < areas.size(); ++i) {
            threads.emplace_back([&, i] {
                isofield::Mesh own = make_mesh();
                areas[i] = area(own.isosurface(shared, 0.8));
            });
        }
    }
    for (const double each : areas) check("area in a thread", each, area(sphere), 0);
    return finish("progress");
} catch (const isofield::Error &error) {
    std::fprintf(stderr, "progress: %s\n", error.what());
    return 1;
}
