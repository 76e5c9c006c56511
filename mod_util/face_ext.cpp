// The faces of volume cells that belong to one cell only.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "isofield.h"
#include "node_chains.hpp"
#include "progress.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/face_ext";
constexpr int kMaxFaces = 255;
constexpr int kMaxFaceNodes = 127;
constexpr int kGroupStep = 1000;

// The faces of a cell type, as the caller tells them.
struct FaceTable {
    int nfaces;
    const int *step;
    const int *nverts;
    const int *nodes;

    bool is_valid() const {
        const int count = std::max(nfaces, 0);
        return count <= kMaxFaces && std::all_of(nverts, nverts + count, [](int n) { return n >= 1; }) &&
               std::all_of(step, step + count, [](int n) { return n >= 0 && n <= kMaxFaceNodes; });
    }
};

// The lowest node of a face with its two neighbours, the lower one first; and the highest node.
struct Key {
    int lowest, low, high;
    int highest;
};

Key triangle_key(int a, int b, int c) {
    const int low = std::min(a, b), high = std::max(a, b);
    const int highest = std::max(high, c);
    return {std::min(low, c), std::max(low, std::min(high, c)), highest, highest};
}

// Of opposite corners one pair has the lowest node, and the other are its neighbours. Of equal ones the first
// corner counts.
Key quad_key(int a, int b, int c, int d) {
    const int low_ac = std::min(a, c), high_ac = std::max(a, c);
    const int low_bd = std::min(b, d), high_bd = std::max(b, d);
    const int highest = std::max(high_ac, high_bd);
    const bool is_ac = low_ac < low_bd || (low_ac == low_bd && (a == low_ac || b != low_bd));
    return is_ac ? Key{low_ac, low_bd, high_bd, highest} : Key{low_bd, low_ac, high_ac, highest};
}

Key polygon_key(const int *cell, const int *corners, int n) {
    int lowest = 0, highest = cell[corners[0]];
    for (int k = 1; k < n; ++k) {
        if (cell[corners[k]] < cell[corners[lowest]]) lowest = k;
        highest = std::max(highest, cell[corners[k]]);
    }
    const int before = cell[corners[(lowest + n - 1) % n]], after = cell[corners[(lowest + 1) % n]];
    return {cell[corners[lowest]], std::min(before, after), std::max(before, after), highest};
}

Key face_key(const int *cell, const int *corners, int n) {
    if (n == 4) return quad_key(cell[corners[0]], cell[corners[1]], cell[corners[2]], cell[corners[3]]);
    if (n == 3) return triangle_key(cell[corners[0]], cell[corners[1]], cell[corners[2]]);
    return polygon_key(cell, corners, n);
}

struct Face {
    int low, high;
    int cell;
    unsigned char face;
};

using Faces = NodeChains<Face>;

bool is_known(const Faces &table, const Key &key) {
    return table.holds(key.lowest) && table.holds(key.highest);
}

// Adds a face, or takes it away when it is there. False for a node that there is not, and without memory.
bool toggle(Faces &table, const Key &key, int cell, int face) {
    if (!is_known(table, key)) return false;
    int *const link =
        table.find(key.lowest, [=](const Face &f) { return f.low == key.low && f.high == key.high; });
    if (*link != 0) {
        table.remove(link);
        return true;
    }
    return table.add(key.lowest, {key.low, key.high, cell, static_cast<unsigned char>(face)});
}

// The keys of the cells' faces, found some cells ahead, so that the table's memory is there when it is
// needed.
class KeysAhead {
  public:
    static constexpr int kCells = 4;

    bool create(int nfaces) {
        nfaces_ = nfaces;
        keys_ = allocate_working<Key>(static_cast<std::size_t>(nfaces) * kCells);
        return keys_ != nullptr;
    }
    Key *of_cell(int cell) const { return keys_.get() + cell % kCells * nfaces_; }

    void find(const Faces &table, const FaceTable &faces, int cell, const int *conn) const {
        Key *key = of_cell(cell);
        const int *corners = faces.nodes;
        for (int f = 0; f < faces.nfaces; corners += faces.step[f++], ++key) {
            *key = face_key(conn, corners, faces.nverts[f]);
            if (is_known(table, *key)) table.prefetch_head(key->lowest);
        }
    }
    void prefetch_entries(const Faces &table, int cell) const {
        for (const Key *key = of_cell(cell), *end = key + nfaces_; key != end; ++key) {
            if (is_known(table, *key)) table.prefetch_entry(key->lowest);
        }
    }

  private:
    int nfaces_ = 0;
    Working<Key> keys_;
};

bool collect(Faces &table, const FaceTable &faces, int ncells, int stride, const int *conn) {
    KeysAhead ahead;
    if (!ahead.create(std::max(faces.nfaces, 0))) return false;
    const StatusRange range(0, 100);
    Poll poll(ncells, kCellPollPeriod);
    constexpr int kLead = KeysAhead::kCells - 1;
    const auto find = [&](int c) {
        if (c < ncells) ahead.find(table, faces, c, conn + static_cast<std::ptrdiff_t>(c) * stride);
    };
    for (int c = 0; c < std::min(kLead, ncells); ++c) find(c);
    for (int c = 0; c < ncells; ++c) {
        find(c + kLead);
        if (c + 1 < ncells) ahead.prefetch_entries(table, c + 1);
        if (poll.stop(c)) return false;
        const Key *const keys = ahead.of_cell(c);
        for (int f = 0; f < faces.nfaces; ++f) {
            if (!toggle(table, keys[f], c, f)) return false;
        }
    }
    poll_status(100);
    return true;
}

// The groups of faces with equal numbers of nodes.
struct Grouping {
    std::array<int, kMaxFaces> group = {};  // per face
    std::array<int, kMaxFaces> start = {};  // per face its place in face_nodes
    std::array<int, kMaxFaceNodes + 1> nnodes = {};
    int ngroups = 0;

    explicit Grouping(const FaceTable &faces) {
        std::array<int, kMaxFaceNodes + 1> group_of;
        group_of.fill(-1);
        int offset = 0;
        for (int f = 0; f < faces.nfaces; ++f) {
            int &of_step = group_of[static_cast<std::size_t>(faces.step[f])];
            if (of_step < 0) {
                of_step = ngroups;
                nnodes[static_cast<std::size_t>(ngroups++)] = faces.step[f];
            }
            group[static_cast<std::size_t>(f)] = of_step;
            start[static_cast<std::size_t>(f)] = offset;
            offset += faces.step[f];
        }
    }
};

// The arrays of the groups while they are made: released again unless they are kept.
class GroupArrays {
  public:
    GroupArrays(int ngroups, int **cells, int **conn) : ngroups_(ngroups), cells_(cells), conn_(conn) {
        std::fill_n(cells_, ngroups_, nullptr);
        std::fill_n(conn_, ngroups_, nullptr);
    }
    ~GroupArrays() {
        for (int g = 0; g < ngroups_; ++g) release(g);
    }
    GroupArrays(const GroupArrays &) = delete;
    GroupArrays &operator=(const GroupArrays &) = delete;

    // Rounded up to whole steps. False without memory, or when an int can't count them.
    bool allocate(int g, std::int64_t nfaces, std::int64_t nnodes) {
        cells_[g] = allocate_ints(nfaces);
        conn_[g] = allocate_ints(nfaces * nnodes);
        return cells_[g] && conn_[g];
    }
    void release(int g) {
        for (int **array : {cells_ + g, conn_ + g}) {
            if (*array) ARRfree_f(std::exchange(*array, nullptr), kUnit, __LINE__);
        }
    }
    void keep() { ngroups_ = 0; }

  private:
    static int *allocate_ints(std::int64_t count) {
        const std::int64_t steps = std::max<std::int64_t>((count + kGroupStep - 1) / kGroupStep, 1);
        return allocate_array<int>(steps * kGroupStep, kUnit);
    }

    int ngroups_;
    int **cells_, **conn_;
};

}  // namespace

int UTILexternal_faces(int nnodes, int ncells, int stride, const int *conn, int nfaces, const int *face_step,
                       const int *face_nverts, const int *face_nodes, int max_groups, int *ngroups,
                       int *group_nfaces, int *group_nnodes, int **group_cells, int **group_conn,
                       int *group_conn_len) {
    const FaceTable faces{nfaces, face_step, face_nverts, face_nodes};
    Faces table;
    const bool is_valid = faces.is_valid();
    if (is_valid && !table.create(nnodes)) return 0;
    *ngroups = 0;
    if (!is_valid || !collect(table, faces, ncells, stride, conn)) return 0;
    if (table.size() == 0) return 1;

    const Grouping grouping(faces);
    if (grouping.ngroups > max_groups) return 0;
    std::array<int, kMaxFaceNodes + 1> counts = {};
    const auto group_of = [&](const Face &face) { return grouping.group[face.face]; };
    table.each([&](int, const Face &face) { ++counts[static_cast<std::size_t>(group_of(face))]; });
    GroupArrays arrays(grouping.ngroups, group_cells, group_conn);
    for (int g = 0; g < grouping.ngroups; ++g) {
        const auto n = static_cast<std::size_t>(g);
        group_nnodes[g] = grouping.nnodes[n];
        group_nfaces[g] = group_conn_len[g] = 0;
        if (!arrays.allocate(g, counts[n], grouping.nnodes[n])) return 0;
    }
    table.each([&](int, const Face &face) {
        const int g = group_of(face);
        group_cells[g][group_nfaces[g]++] = face.cell;
        const int *const cell = conn + static_cast<std::ptrdiff_t>(face.cell) * stride;
        const int *const nodes = faces.nodes + grouping.start[face.face];
        for (int k = 0; k < group_nnodes[g]; ++k) group_conn[g][group_conn_len[g]++] = cell[nodes[k]];
    });
    for (int g = 0; g < grouping.ngroups; ++g) {
        if (group_nfaces[g] == 0) arrays.release(g);
    }
    arrays.keep();
    *ngroups = grouping.ngroups;
    return 1;
}
