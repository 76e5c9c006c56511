// Part of isofield.hpp: surfaces and lines on new nodes, and lines joined end to end.
#ifndef ISOFIELD_SURFACE_HPP
#define ISOFIELD_SURFACE_HPP

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"

namespace isofield {

namespace front {

class NearestPart;

}  // namespace front

// The nodes that an extraction makes, each on an edge of its mesh. Owns its arrays; outlives its mesh. Moves,
// does not copy.
class NewNodes {
  public:
    std::span<const float> points() const { return points_.view(); }  // npoints x 3, missing components 0
    std::size_t npoints() const { return min_node_.size(); }
    // Per new node the ends of its edge, and its place on it, from 0 at min_node to 1 at max_node.
    std::span<const int> min_node() const { return min_node_.view(); }
    std::span<const int> max_node() const { return max_node_.view(); }
    std::span<const float> parameter() const { return parameter_.view(); }

    // Carries other node data of the same mesh over to the new nodes: npoints() x components, of T or, in the
    // second form, of data.type() into `out`. With null_value, a null at either end makes a null. Throws
    // BadInput.
    template <class T>
    std::vector<T> carry(std::span<const T> values, int components = 1,
                         std::optional<double> null_value = {}) const {
        return front::carried(npoints(), values, components,
                              [&](const DataView &data, T *out) { carry(data, out, null_value); });
    }
    void carry(const DataView &data, void *out, std::optional<double> null_value = {}) const {
        front::check_rows(data, nnodes_, "nodes");
        const front::Null null(data.type(), null_value);
        front::Call call;
        const int result = UTILeval_param(
            static_cast<int>(npoints()), data.components(), static_cast<int>(data.type()), data.data(),
            null.flag(), null.value(), min_node_.data(), max_node_.data(), parameter_.data(), out);
        call.check(result, "carry");
    }

  protected:
    NewNodes() = default;

  private:
    friend class Mesh;
    friend class front::NearestPart;

    std::size_t nnodes_ = 0;  // of the mesh
    front::Array<int> min_node_, max_node_;
    front::Array<float> points_, parameter_;
};

using Line = std::array<int, 2>;
using Triangle = std::array<int, 3>;

// The result of Mesh::isolines: segments on new nodes.
class Isolines : public NewNodes {
  public:
    // Rows into points(). Their direction tells nothing of which side is above.
    std::span<const Line> lines() const {
        return {reinterpret_cast<const Line *>(lines_.data()), lines_.size() / 2};
    }
    // Per line its cell: the packed number on grids, the global cell id on cell sets; empty unless kept.
    std::span<const int> line_cells() const { return line_cells_.view(); }

  private:
    friend class Mesh;
    friend class front::NearestPart;

    front::Array<int> lines_, line_cells_;
};

// The result of Mesh::isosurface: triangles from volume cells, and lines from two-dimensional cells, on the
// same new nodes.
class Surface : public Isolines {
  public:
    // Rows into points(). The right-hand normal points to the side at or above the level on cell sets, and in
    // index space to the side below it on grids.
    std::span<const Triangle> triangles() const {
        return {reinterpret_cast<const Triangle *>(triangles_.data()), triangles_.size() / 3};
    }
    std::span<const int> cells() const { return cells_.view(); }  // per triangle, as line_cells()

  private:
    friend class Mesh;
    friend class front::NearestPart;

    front::Array<int> triangles_, cells_;
};

// Lines joined end to end. A closed one ends in the node that it starts with.
struct Polylines {
    std::vector<int> offsets = {0};  // per line where its nodes start, and the end of the last one's
    std::vector<int> nodes;

    std::size_t size() const { return offsets.size() - 1; }
    std::span<const int> operator[](std::size_t line) const {
        const auto first = static_cast<std::size_t>(offsets[line]);
        return {nodes.data() + first, static_cast<std::size_t>(offsets[line + 1]) - first};
    }
};

// Joins lines wherever just two meet in a node: each line is in one polyline, in either direction. Open
// polylines come first, by their first node; closed ones follow. npoints: above every node number.
inline Polylines join_lines(std::span<const Line> lines, std::size_t npoints) {
    // Per node the lines that end there.
    std::vector<int> first(npoints + 1, 0);
    for (const Line &line : lines) {
        for (const int node : line) ++first[static_cast<std::size_t>(node) + 1];
    }
    for (std::size_t n = 0; n < npoints; ++n) first[n + 1] += first[n];
    std::vector<int> at_node(2 * lines.size());
    std::vector<int> end(first.begin(), first.end() - 1);
    for (std::size_t l = 0; l < lines.size(); ++l) {
        for (const int node : lines[l]) {
            at_node[static_cast<std::size_t>(end[static_cast<std::size_t>(node)]++)] = static_cast<int>(l);
        }
    }
    std::vector<char> used(lines.size(), 0);
    Polylines joined;
    const auto degree = [&](std::size_t node) { return first[node + 1] - first[node]; };
    const auto follow = [&](std::size_t start, std::size_t line) {
        joined.nodes.push_back(static_cast<int>(start));
        for (std::size_t node = start;;) {
            used[line] = 1;
            const Line &ends = lines[line];
            node = static_cast<std::size_t>(ends[static_cast<std::size_t>(ends[0]) == node ? 1 : 0]);
            joined.nodes.push_back(static_cast<int>(node));
            if (degree(node) != 2) break;
            const auto here = static_cast<std::size_t>(first[node]);
            const auto next = static_cast<std::size_t>(
                at_node[used[static_cast<std::size_t>(at_node[here])] ? here + 1 : here]);
            if (used[next]) break;
            line = next;
        }
        joined.offsets.push_back(static_cast<int>(joined.nodes.size()));
    };
    for (const bool closed : {false, true}) {
        for (std::size_t node = 0; node < npoints; ++node) {
            if ((degree(node) == 2) != closed) continue;
            for (int i = first[node]; i < first[node + 1]; ++i) {
                const auto line = static_cast<std::size_t>(at_node[static_cast<std::size_t>(i)]);
                if (!used[line]) follow(node, line);
            }
        }
    }
    return joined;
}

}  // namespace isofield
#endif
