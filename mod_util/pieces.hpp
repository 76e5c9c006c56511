// Quadratic sets by their linear pieces: chunks of cells are broken up by the set's tesselate_func and put in
// the set's place in a copy of the mesh record.
#ifndef ISOFIELD_MOD_UTIL_PIECES_HPP
#define ISOFIELD_MOD_UTIL_PIECES_HPP

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "mesh_access.hpp"

namespace isofield::detail {

// The pieces of `count` cells of a set. The record shares its set with the mesh, which is put right again at
// the end of the scope.
class Pieces {
  public:
    Pieces(MeshInfo *mesh, int set, int *connect, int count)
        : mesh_(mesh),
          set_(set),
          old_ncells_(mesh->cell_ncells[set]),
          old_nnodes_(mesh->cell_nnodes[set]),
          old_connect_(mesh->cell_connect[set]) {
        int nnodes = 0;
        const auto tesselate = mesh->cell_funcs[set].funcs.tesselate_func;
        if (tesselate(count, connect, &ncells_, &connect_, &nnodes) < 1 || !connect_) return;
        per_cell_ = std::max(1, ncells_ / count);
        if (!UTILcopy_mesh_info(mesh, &record_)) return;
        UTILreplace_cell_set(record_, set, ncells_, connect_, nnodes);
    }
    ~Pieces() {
        UTILreplace_cell_set(mesh_, set_, old_ncells_, old_connect_, old_nnodes_);
        std::free(record_);
        if (connect_) ARRfree_f(connect_, "mod_util/pieces", 0);
    }
    Pieces(const Pieces &) = delete;
    Pieces &operator=(const Pieces &) = delete;

    // Null when they are not to be had.
    MeshInfo *record() const { return record_; }
    // The cell, counted within the chunk, that a piece belongs to.
    int cell_of(int piece) const { return piece / per_cell_; }

  private:
    MeshInfo *mesh_;
    int set_;
    int old_ncells_, old_nnodes_;
    int *old_connect_;
    int ncells_ = 0;
    int *connect_ = nullptr;
    int per_cell_ = 1;
    MeshInfo *record_ = nullptr;
};

// Calls work(pieces, first, count) for each chunk of a set's cells until it gives false. False then, and when
// cells or pieces are not to be had.
template <class Work>
bool for_each_chunk_of_pieces(MeshInfo *mesh, int set, int chunk, Work work) {
    // fetch_cell_set hands out const; the tesselation only reads.
    if (!fetch_cell_set(mesh, set)) return false;
    int *connect = mesh->cell_connect[set];
    const int ncells = mesh->cell_ncells[set];
    const std::ptrdiff_t nnodes = mesh->cell_nnodes[set];
    for (int first = 0; first < ncells; first += chunk) {
        const int count = std::min(chunk, ncells - first);
        const Pieces pieces(mesh, set, connect + first * nnodes, count);
        if (!pieces.record() || !work(pieces, first, count)) return false;
    }
    return true;
}

}  // namespace isofield::detail
#endif
