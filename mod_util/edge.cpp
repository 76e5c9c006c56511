// The edges of cells, each once.
#include <algorithm>

#include "isofield.h"
#include "node_chains.hpp"
#include "progress.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/edge";

struct Edge {
    int other;
};

// Adds an edge that is not there yet. False for a node that there is not, and without memory.
bool add_edge(NodeChains<Edge> &table, int a, int b) {
    const int low = std::min(a, b), high = std::max(a, b);
    if (!table.holds(low) || !table.holds(high)) return false;
    if (*table.find(low, [=](const Edge &edge) { return edge.other == high; }) != 0) return true;
    return table.add(low, {high});
}

// The edges that add_cell(table, cell) adds for each cell.
template <class AddCell>
int collect_edges(int nnodes, int ncells, int stride, const int *conn, int *nedges, int **edges,
                  AddCell &&add_cell) {
    NodeChains<Edge> table;
    if (!table.create(nnodes)) return 0;
    const StatusRange range(0, 100);
    Poll poll(ncells, kCellPollPeriod);
    for (int c = 0; c < ncells; ++c, conn += stride) {
        if (poll.stop(c) || !add_cell(table, conn)) return no_edges(nedges, edges);
    }
    poll_status(100);
    return write_edges(table, nedges, edges, kUnit);
}

}  // namespace

int UTILedges_2D(int nnodes, int ncells, int stride, const int *conn, int nverts, int *nedges, int **edges) {
    return collect_edges(nnodes, ncells, stride, conn, nedges, edges,
                         [=](NodeChains<Edge> &table, const int *cell) {
                             for (int j = 0; j < nverts; ++j) {
                                 if (!add_edge(table, cell[j], cell[j + 1 < nverts ? j + 1 : 0]))
                                     return false;
                             }
                             return true;
                         });
}

int UTILedges_3D(int nnodes, int ncells, int stride, const int *conn, int nfaces, const int *face_step,
                 const int *face_nverts, const int *face_nodes, int *nedges, int **edges) {
    return collect_edges(nnodes, ncells, stride, conn, nedges, edges,
                         [=](NodeChains<Edge> &table, const int *cell) {
                             const int *face = face_nodes;
                             for (int f = 0; f < nfaces; face += face_step[f++]) {
                                 const int n = face_nverts[f];
                                 for (int j = 0; j < n; ++j) {
                                     const int next = face[j + 1 < n ? j + 1 : 0];
                                     if (!add_edge(table, cell[face[j]], cell[next])) return false;
                                 }
                             }
                             return true;
                         });
}
