// Bands and cuts: their results, and the plain twin of all of them: every cell in order, straight from the
// tables, its new nodes looked up in a map.
#ifndef ISOFIELD_TESTS_PLAIN_SPLIT_HPP
#define ISOFIELD_TESTS_PLAIN_SPLIT_HPP

#include <cmath>
#include <cstdlib>
#include <limits>
#include <tuple>

#include "plain_extraction.hpp"

// A band from lo to hi, or a cut at lo.
struct SplitAt {
    double lo, hi;
    int wanted = 3;  // the lines of a band: 1 along lo, 2 along hi; the cell lists of a cut
    bool is_cut = false;
    int side = 0;
    bool by_member = false;  // bands of grids: without the dispatcher
};
inline SplitAt cut_at(double level, int side, int wanted = 1) {
    return {level, std::numeric_limits<double>::infinity(), wanted, true, side};
}

struct Split {
    int result = 0, nold = 0;
    std::vector<int> nodes;  // node_map
    std::vector<int> min_node, max_node;
    std::vector<char> level_flag;  // of a cut: all 0
    std::array<std::vector<int>, 6> connect;
    std::vector<float> coords;
    std::array<std::vector<int>, 2> lines;  // along lo, along hi
    std::vector<std::vector<int>> cells;    // by type, on cell sets of each set

    int nnew() const { return static_cast<int>(min_node.size()); }
    int ncells() const { return static_cast<int>(connect[0].size() / 4 + connect[4].size() / 3); }
};

inline void expect_same(const Split &made, const Split &plain) {
    EXPECT_EQ(made.result, plain.result);
    EXPECT_EQ(made.nodes, plain.nodes);
    EXPECT_EQ(made.min_node, plain.min_node);
    EXPECT_EQ(made.max_node, plain.max_node);
    EXPECT_EQ(made.level_flag, plain.level_flag);
    EXPECT_EQ(made.connect, plain.connect);
    EXPECT_TRUE(same_bits(made.coords, plain.coords));
    EXPECT_EQ(made.lines, plain.lines);
    EXPECT_EQ(made.cells, plain.cells);
}

template <class T>
struct Members;
#define ISOFIELD_MEMBERS(suffix, T, V)                                     \
    template <>                                                            \
    struct Members<T> {                                                    \
        static constexpr auto *plane = UTILcontour_struct_2d_##suffix;     \
        static constexpr auto *box = UTILcontour_struct_3d_##suffix;       \
        static constexpr auto *map2 = UTILnode_thresh2_##suffix;           \
        static constexpr auto *count2 = UTILnnode_thresh_struct2_##suffix; \
        static constexpr auto *list2 = UTILnode_thresh_struct2_##suffix;   \
        static constexpr auto *map = UTILnode_thresh_##suffix;             \
        static constexpr auto *count = UTILnnode_thresh_struct_##suffix;   \
        static constexpr auto *list = UTILnode_thresh_struct_##suffix;     \
    };
ISOFIELD_FAMILY(ISOFIELD_MEMBERS)
#undef ISOFIELD_MEMBERS

constexpr int kTypeNodes[6] = {4, 6, 5, 8, 3, 4};

// Copies a result and frees it. Failures must leave it empty.
template <class T, class Free = ArrayFree>
std::vector<T> taken(int result, T *array, int count, Free release = {}) {
    EXPECT_TRUE(result == 1 || (!array && count == 0));
    const std::vector<T> copy(array, array + count);
    if (array) release(array);
    return copy;
}

template <class T>
Split split(MeshInfo *mesh, const std::vector<T> &data, const SplitAt &at, const T *null_value = nullptr,
            int dtype = type_code<T>) {
    Split s;
    const bool on_sets = mesh->ndim == 0, flag = null_value;
    const auto nsets = static_cast<std::size_t>(mesh->ncell_sets);
    const std::vector<int> set_sizes(mesh->cell_ncells, mesh->cell_ncells + nsets);
    int nnew, ncells[6], sizes[6], nlines[2] = {at.wanted & 1, at.wanted & 2};
    int *map, *ends[2], *connect[6], *lines[2] = {};
    char *level_flag = nullptr;
    float *coords = nullptr;
    std::vector<int> counts(!at.is_cut || !at.wanted ? 0 : on_sets ? 6 * nsets : 6, -7);
    std::vector<int *> lists(counts.size(), counts.data());
    const auto band = [&](auto function, auto... arguments) {
        return function(mesh, data.data(), arguments..., at.lo, at.hi, &s.nold, &map, &nnew, &ends[0],
                        &ends[1], &level_flag, ncells, connect, sizes, mesh->nspace, &coords, &nlines[0],
                        &lines[0], &nlines[1], &lines[1]);
    };
    if (at.is_cut) {
        s.result = UTILcut(mesh, data.data(), dtype, flag, null_value, at.lo, at.side, &s.nold, &map, &nnew,
                           &ends[0], &ends[1], ncells, connect, sizes, at.wanted ? counts.data() : nullptr,
                           at.wanted ? lists.data() : nullptr);
    } else if (at.by_member && !on_sets) {
        const T null = flag ? *null_value : T{};
        s.result = band(mesh->ndim == 2 ? Members<T>::plane : Members<T>::box, flag, null);
    } else {
        s.result = band(UTILcontour, dtype, flag, null_value);
    }
    const bool made = s.result == 1;
    s.nodes = taken(s.result, map, made && on_sets ? mesh->nnodes : s.nold, std::free);
    EXPECT_TRUE(on_sets || s.nold > 0 || !map);
    s.min_node = taken(s.result, ends[0], nnew);
    s.max_node = taken(s.result, ends[1], nnew);
    for (std::size_t t = 0; t < 6; ++t) {
        EXPECT_EQ(sizes[t], ncells[t] * kTypeNodes[t]);
        EXPECT_TRUE(ncells[t] > 0 || on_sets || !connect[t]);
        if (made && ncells[t] == 0) connect[t] = nullptr;  // dangling on cell sets
        s.connect[t] = taken(s.result, connect[t], sizes[t]);
    }
    if (at.is_cut) {
        s.level_flag.assign(s.min_node.size(), 0);
    } else {
        EXPECT_EQ(coords == nullptr, s.nold + nnew == 0);
        s.level_flag = taken(s.result, level_flag, nnew);
        s.coords = taken(s.result, coords, (s.nold + nnew) * mesh->nspace);
        for (std::size_t l = 0; l < 2; ++l) {
            EXPECT_TRUE(mesh->ndim != 3 || !lines[l]);
            s.lines[l] = taken(s.result, lines[l], 2 * nlines[l]);
        }
    }
    for (std::size_t l = 0; l < lists.size(); ++l) s.cells.push_back(taken(s.result, lists[l], counts[l]));
    EXPECT_EQ(std::vector<int>(mesh->cell_ncells, mesh->cell_ncells + nsets), set_sizes);
    return s;
}

// The value at new node k of an array, of which in(node) is one component.
template <class T, class In>
double plain_value(const Split &s, const std::vector<T> &data, double lo, double hi, std::size_t k, In in,
                   const double *null = nullptr) {
    const std::size_t nnodes = data.size();
    const std::size_t ends[2] = {static_cast<std::size_t>(s.min_node[k]),
                                 static_cast<std::size_t>(s.max_node[k])};
    const auto level = [&](std::size_t i) { return s.level_flag[i] ? hi : lo; };
    double v[2], x[2];
    bool is_null = false;
    for (int e = 0; e < 2; ++e) {
        const bool is_new = ends[e] >= nnodes;
        v[e] = is_new ? level(ends[e] - nnodes) : static_cast<double>(data[ends[e]]);
        x[e] = is_new ? plain_value(s, data, lo, hi, ends[e] - nnodes, in, null) : in(ends[e]);
        is_null |= null && !is_new && x[e] == *null;
    }
    if (v[0] == v[1] && std::max(ends[0], ends[1]) < nnodes) return x[0];
    if (is_null) return *null;
    const double t = v[0] == v[1] ? 0 : (level(k) - v[0]) / (v[1] - v[0]);
    return x[0] + t * (x[1] - x[0]);
}

template <class T>
class PlainSplit {
  public:
    Split made;
    std::vector<int> percents;
    std::vector<std::pair<int, int>> ranges;

    PlainSplit(MeshInfo *mesh, const std::vector<T> &data, const SplitAt &at, const T *null_value = nullptr)
        : data_(data), at_(at), null_value_(null_value) {
        made.result = 1;
        number_nodes();
        if (mesh->ndim == 0) {
            add_sets(mesh);
        } else {
            add_grid(mesh);
        }
        made.level_flag.resize(made.min_node.size());
        if (!at.is_cut) add_coords(mesh);
    }

  private:
    using Cell = std::vector<std::pair<int, double>>;  // nodes, the new ones from nnodes on, and their values

    void number_nodes() {
        const auto narrowed = [](double level) {
            return std::is_integral_v<T> ? std::trunc(level) : static_cast<double>(static_cast<T>(level));
        };
        for (const T value : data_) {
            const auto v = static_cast<double>(value);
            const bool inside = !at_.is_cut    ? v >= narrowed(at_.lo) && v <= narrowed(at_.hi)
                                : at_.side < 0 ? v <= at_.lo
                                               : v >= at_.lo;
            const bool kept = inside && !(null_value_ && value == *null_value_);
            rows_.push_back(kept ? made.nold++ : -1);
        }
    }

    void add_sets(MeshInfo *mesh) {
        made.nodes = rows_;
        const int nsets = mesh->ncell_sets;
        if (at_.is_cut && at_.wanted) made.cells.resize(6 * static_cast<std::size_t>(nsets));
        int nlines[2] = {at_.wanted & 1, at_.wanted & 2};
        for (int set = 0; set < nsets; ++set) {
            const SetFuncs &f = mesh->cell_funcs[set].funcs;
            const bool has_method =
                at_.is_cut ? f.cut_func || f.cut_func_tesselate : f.contour_func || f.contour_func_tesselate;
            if (!has_method) continue;
            ranges.push_back({100 * set / nsets, 100 * (set + 1) / nsets});
            const bool quadratic = mesh->cell_order[set] > 1;
            if (quadratic && !f.tesselate_func) continue;
            int *connect, nnodes = mesh->cell_nnodes[set];
            ASSERT_EQ(mesh->get_cell_set(mesh, set, &connect), 1);
            const int ncells = mesh->cell_ncells[set], most = at_.is_cut ? 1024 : 1000;
            for (int first = 0, count; first < ncells; first += count) {
                count = quadratic ? std::min(most, ncells - first) : ncells;
                std::vector<int> cells(connect + first * nnodes, connect + (first + count) * nnodes);
                int corners = nnodes;
                if (quadratic) {
                    const CellSetData pieces = pieces_of(f.tesselate_func, count, cells);
                    cells = pieces.connect;
                    corners = pieces.nnodes();
                    ranges.push_back({100 * first / ncells, 100 * (first + count) / ncells});
                }
                // The lines start anew, where there were any.
                for (std::size_t l = 0; l < 2; ++l) {
                    wants_lines_[l] = !at_.is_cut && mesh->cell_ndim[set] == 2 && nlines[l] > 0;
                    made.lines[l].clear();
                }
                const int *const kinds = kTypeNodes + (mesh->cell_ndim[set] == 2 ? 4 : 0);
                const auto type = static_cast<int>(std::find(kinds, kTypeNodes + 6, corners) - kTypeNodes);
                poll_ = 0;
                add_cells(type, cells, 6 * set, first, static_cast<int>(cells.size()) / corners / count);
                for (std::size_t l = 0; l < 2; ++l) nlines[l] = static_cast<int>(made.lines[l].size()) / 2;
            }
        }
    }

    void add_grid(const MeshInfo *mesh) {
        for (std::size_t n = 0; n < rows_.size(); ++n) {
            if (rows_[n] >= 0) made.nodes.push_back(static_cast<int>(n));
        }
        if (at_.is_cut && at_.wanted) made.cells.resize(6);
        const bool plane = mesh->ndim == 2 && !at_.is_cut;
        wants_lines_ = {plane && at_.wanted & 1, plane && at_.wanted & 2};
        std::vector<int> connect = grid_connect({mesh->dims, mesh->dims + mesh->ndim});
        // Upper planes come first.
        for (auto c = connect.begin(); mesh->ndim == 3 && c != connect.end(); c += 8)
            std::rotate(c, c + 4, c + 8);
        add_cells(mesh->ndim == 3 ? 3 : 5, connect, 0, 0, 1);
        percents.clear();
        const int last = mesh->dims[mesh->ndim - 1] - 1;
        for (int k = 7; k < last; k += 8) percents.push_back(percent(k, last));
    }

    // The cells of a linear set, `per` to a cell of the mesh.
    void add_cells(int type, const std::vector<int> &connect, int first_list, int first, int per) {
        const int n = kTypeNodes[type], all = (1 << n) - 1, ncells = static_cast<int>(connect.size()) / n;
        for (int cell = 0; cell < ncells; ++cell) {
            Cell nodes;
            bool has_null = false;
            for (int i = 0; i < n; ++i) {
                const int node = connect[static_cast<std::size_t>(cell * n + i)];
                const T value = data_[static_cast<std::size_t>(node)];
                has_null |= null_value_ && value == *null_value_;
                nodes.push_back({node, static_cast<double>(value)});
            }
            int lower = 0, out_type = type;
            for (int i = 0; i < n; ++i) lower |= (nodes[static_cast<std::size_t>(i)].second >= at_.lo) << i;
            if (at_.is_cut && at_.side < 0) lower = all - lower;
            const int upper = above(nodes);
            const bool whole = lower == all && upper == 0, empty = has_null || lower == 0 || upper == all;
            if (at_.is_cut || !(whole || empty)) poll(cell, ncells);
            if (empty) continue;
            std::vector<Cell> pieces = {nodes};
            if (!whole) {
                pieces = pieces_in_band(type, nodes, lower, upper);
                out_type = type < 4 ? 0 : 4;
            }
            for (const Cell &piece : pieces) {
                for (const auto &[node, value] : piece) {
                    const int fresh = node - static_cast<int>(rows_.size());
                    made.connect[static_cast<std::size_t>(out_type)].push_back(
                        fresh < 0 ? rows_[static_cast<std::size_t>(node)] : made.nold + fresh);
                }
                if (!made.cells.empty())
                    made.cells[static_cast<std::size_t>(first_list + out_type)].push_back(first + cell / per);
            }
        }
    }

    int above(const Cell &cell) const {
        int mask = 0;
        for (std::size_t i = 0; i < cell.size(); ++i) mask |= (cell[i].second > at_.hi) << i;
        return mask;
    }

    std::vector<Cell> pieces_in_band(int type, const Cell &cell, int lower, int upper) {
        using namespace isofield::detail;
        static constexpr CutTables kCut[6] = {Tet::kCut, Prism::kCut, Pyr::kCut,
                                              Hex::kCut, Tri::kCut,   Quad::kCut};
        const int all = (1 << cell.size()) - 1, inside = all - upper;
        const bool is_tri = cell.size() == 3;
        if (lower == all || upper == 0) {
            const int row = std::min(lower, inside), level = lower > inside;
            const std::vector<Cell> pieces = expand(kCut[type], row, cell, level);
            const CutLineTables &t = is_tri ? Tri::kCutLines : Quad::kCutLines;
            if (type >= 4) add_lines(level, t.nline[row], t.connect_list + t.cind[row]);
            return pieces;
        }
        if (type >= 4) {
            const ContourTables &t = is_tri ? Tri::kContour : Quad::kContour;
            const int row = t.table_index[upper * (all + 1) + lower];
            const std::vector<Cell> pieces = expand(t, row, cell, 0, t.values);
            add_lines(0, t.nedge1[row], t.connect_edge1 + t.edge_ind1[row]);
            add_lines(1, t.nedge2[row], t.connect_edge2 + t.edge_ind2[row]);
            return pieces;
        }
        std::vector<Cell> pieces;
        for (const Cell &tet : expand(kCut[type], lower, cell, 0)) {
            if (above(tet) == 0) {
                pieces.push_back(tet);
            } else if (above(tet) < 15) {
                for (const Cell &piece : expand(kCut[0], 15 - above(tet), tet, 1)) pieces.push_back(piece);
            }
        }
        return pieces;
    }

    // The cells of a table's row; its new nodes are at `level`, or at the levels in `values`.
    std::vector<Cell> expand(const isofield::detail::CutTables &t, int row, const Cell &cell, int level,
                             const unsigned char *values = nullptr) {
        fresh_.clear();
        for (int i = t.m_ind[row]; i < t.m_ind[row] + t.nnew_nodes[row]; ++i) {
            const auto [a, b] = std::minmax(cell[t.min_node[i]].first, cell[t.max_node[i]].first);
            const int flag = values ? values[i] : level;
            const auto [known, is_new] = numbers_.insert({{a, b, flag}, made.nnew()});
            fresh_.push_back({known->second + static_cast<int>(rows_.size()), flag ? at_.hi : at_.lo});
            if (!is_new) continue;
            made.min_node.push_back(a);
            made.max_node.push_back(b);
            made.level_flag.push_back(static_cast<char>(flag));
        }
        std::vector<Cell> cells(static_cast<std::size_t>(t.ncell[row]));
        int at = t.c_ind[row];
        for (Cell &piece : cells) {
            for (int i = 0; i < t.cell_nnode[t.t_ind[row]]; ++i, ++at)
                piece.push_back((t.new_flag_list[at] ? fresh_ : cell)[t.connect_list[at]]);
        }
        return cells;
    }

    void add_lines(int level, int nlines, const unsigned char *ends) {
        const auto l = static_cast<std::size_t>(level);
        for (int i = 0; wants_lines_[l] && i < 2 * nlines; ++i)
            made.lines[l].push_back(made.nold + fresh_[ends[i]].first - static_cast<int>(rows_.size()));
    }

    void poll(int cell, int ncells) {
        if (++poll_ % 257 == 0) percents.push_back(percent(cell, ncells));
    }

    static int percent(int done, int total) {
        return static_cast<int>(static_cast<float>(done) * static_cast<float>(100.0 / total));
    }

    void add_coords(MeshInfo *mesh) {
        float *coords;
        ASSERT_EQ(mesh->get_coords(mesh, &coords), 1);
        const auto nspace = static_cast<std::size_t>(mesh->nspace);
        for (std::size_t n = 0; n < rows_.size(); ++n) {
            if (rows_[n] >= 0)
                made.coords.insert(made.coords.end(), coords + n * nspace, coords + (n + 1) * nspace);
        }
        for (std::size_t k = 0; k < made.min_node.size(); ++k) {
            for (std::size_t d = 0; d < nspace; ++d) {
                const auto in = [&](std::size_t n) { return static_cast<double>(coords[n * nspace + d]); };
                made.coords.push_back(static_cast<float>(plain_value(made, data_, at_.lo, at_.hi, k, in)));
            }
        }
    }

    const std::vector<T> &data_;
    SplitAt at_;
    const T *null_value_;
    std::vector<int> rows_;  // per node, or -1
    std::map<std::tuple<int, int, int>, int> numbers_;
    Cell fresh_;  // new nodes of the row that was expanded last
    std::array<bool, 2> wants_lines_;
    int poll_ = 0;
};

template <class T>
void expect_plain(MeshInfo *mesh, const std::vector<T> &data, const SplitAt &at,
                  const T *null_value = nullptr) {
    expect_same(split(mesh, data, at, null_value), PlainSplit(mesh, data, at, null_value).made);
}

// Random data with ties, nulls and NaN: on sets of all kinds, large ones in several chunks, and on grids of
// awkward sizes, of the three kinds.
template <class T, std::size_t n>
void expect_plain_twins(const SplitAt (&splits)[n]) {
    const T null = 1;
    const auto compare = [&](const MeshPtr &mesh) {
        auto data = random_values<T>(static_cast<std::size_t>(mesh->nnodes), 6, 5);
        if constexpr (!std::is_integral_v<T>) {
            for (std::size_t i = 20; i < data.size(); i += 50) data[i] = std::numeric_limits<T>::quiet_NaN();
        }
        for (const SplitAt &at : splits) {
            expect_plain(mesh.get(), data, at);
            expect_plain(mesh.get(), data, at, &null);
        }
    };
    const CellMesh cells = all_kinds(std::is_same_v<T, float> ? 10 : 4);
    compare(cells.make());
    compare(uniform_mesh({5, 4}, {0, 0, 1, 2, 3, 1}));  // nspace is 3
    const std::vector<std::vector<int>> sizes = {{2, 2},    {2, 9},     {1, 9},      {9, 1},
                                                 {61, 41},  {2, 2, 2},  {3, 2, 9},   {9, 8, 1},
                                                 {1, 4, 5}, {7, 6, 18}, {14, 13, 12}};
    for (const std::vector<int> &dims : sizes) {
        std::vector<float> corners(dims.size(), -0.3f);
        corners.resize(2 * dims.size(), 1.9f);
        const FourKinds kinds(dims, corners);
        for (std::size_t m = 0; m < 3; ++m) compare(kinds.meshes[m]);
    }
}

#endif
