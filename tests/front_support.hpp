// What the tests of the C++ front share.
#ifndef ISOFIELD_TESTS_FRONT_SUPPORT_HPP
#define ISOFIELD_TESTS_FRONT_SUPPORT_HPP

#include <string>
#include <vector>

#include "isofield.hpp"
#include "support.hpp"

inline isofield::Mesh front_mesh(const CellMesh &cells) {
    std::vector<isofield::CellSet> sets;
    for (const CellSetData &set : cells.sets) sets.push_back({set.type, set.connect});
    return isofield::Mesh::cells(cells.coords, sets);
}

// The nodes of each cell, by global cell id.
inline std::vector<std::vector<int>> cell_list(const CellMesh &cells) {
    std::vector<std::vector<int>> list;
    for (const CellSetData &set : cells.sets) {
        for (auto cell = set.connect.begin(); cell != set.connect.end(); cell += set.nnodes())
            list.emplace_back(cell, cell + set.nnodes());
    }
    return list;
}

// Turns a point round the diagonal of the axes.
inline Point turned(const Point &p) {
    return {(2 * p[0] - p[1] + 2 * p[2]) / 3, (2 * p[0] + 2 * p[1] - p[2]) / 3,
            (2 * p[1] + 2 * p[2] - p[0]) / 3};
}

// A grid as cells with three components, and as a mesh of each kind: uniform, rectilinear, structured, and
// cells if there are any. Grid lines stand at i + grade * i^2, those of the uniform one at equal steps; with
// `turn` the last two kinds are turned.
struct Kinds {
    CellMesh cells;
    std::vector<isofield::Mesh> meshes;

    explicit Kinds(const std::vector<int> &dims, float grade = 0, bool turn = false) {
        constexpr const char *kTypes[] = {"line_1", "quad_1", "hex_1"};
        cells.sets.push_back({kTypes[dims.size() - 1], grid_connect(dims)});
        std::vector<std::vector<float>> axes;
        std::vector<float> upper;
        for (const int n : dims) {
            axes.emplace_back();
            for (float i = 0; i < static_cast<float>(n); ++i) axes.back().push_back(i + grade * i * i);
            upper.push_back(axes.back().back());
        }
        std::vector<std::vector<float>> lines = axes;
        lines.resize(3, {0});
        for (const float z : lines[2]) {
            for (const float y : lines[1]) {
                for (const float x : lines[0]) {
                    const Point p = turn ? turned({x, y, z}) : Point{x, y, z};
                    cells.coords.insert(cells.coords.end(), p.begin(), p.end());
                }
            }
        }
        meshes.push_back(isofield::Mesh::uniform(dims, std::vector<float>(dims.size(), 0.0f), upper));
        meshes.push_back(isofield::Mesh::rectilinear(axes));
        meshes.push_back(isofield::Mesh::structured(dims, cells.coords));
        if (!cells.sets[0].connect.empty()) meshes.push_back(front_mesh(cells));
    }
};

// With what words a call is refused.
template <class F>
std::string refusal(F call) {
    try {
        call();
    } catch (const isofield::BadInput &refused) {
        return refused.what();
    }
    return "accepted";
}

#endif
