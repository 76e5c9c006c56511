// Quadratic cells broken into linear ones that use the cell's own nodes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "output_array.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/cell2ord";

// Pieces of one cell, as positions in its list of kCellNodes nodes.
template <std::size_t kCellNodes, std::size_t kPieces, std::size_t kPieceNodes>
struct Decomposition {
    std::uint8_t pieces[kPieces][kPieceNodes];

    int operator()(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) const {
        *out_connect = nullptr;
        *out_nnode = static_cast<int>(kPieceNodes);
        const std::int64_t npieces = std::int64_t{ncells} * static_cast<int>(kPieces);
        const std::int64_t size = npieces * static_cast<int>(kPieceNodes);
        const bool countable = size <= std::numeric_limits<int>::max();
        *nout = countable ? static_cast<int>(npieces) : 0;
        int *out = allocate_array<int>(std::max<std::int64_t>(size, 1), kUnit);
        if (!out) return 0;
        *out_connect = out;
        for (int cell = 0; cell < ncells; ++cell, connect += kCellNodes) {
            for (const auto &piece : pieces) {
                for (const std::uint8_t node : piece) *out++ = connect[node];
            }
        }
        return 1;
    }
};

// clang-format off
constexpr Decomposition<6, 4, 3> kTri = {{{0, 3, 5}, {1, 4, 3}, {2, 5, 4}, {3, 4, 5}}};

// The inner square of edge middles is split along 5-7.
constexpr Decomposition<8, 6, 3> kQuad = {{
    {0, 4, 7}, {1, 5, 4}, {2, 6, 5}, {3, 7, 6}, {4, 5, 7}, {6, 7, 5},
}};

constexpr Decomposition<10, 8, 4> kTet = {{
    {0, 4, 5, 6}, {1, 7, 4, 9}, {2, 8, 5, 7}, {3, 6, 8, 9}, {4, 5, 6, 7}, {4, 6, 9, 7}, {8, 7, 6, 5},
    {8, 9, 6, 7},
}};

constexpr Decomposition<13, 13, 4> kPyr = {{
    {11, 8, 12, 4}, {10, 6, 9, 7}, {7, 6, 9, 5},   {7, 0, 6, 5},  {10, 7, 9, 12}, {7, 5, 9, 12},
    {5, 1, 9, 12},  {10, 7, 12, 11}, {10, 3, 7, 11}, {11, 7, 12, 8}, {7, 5, 12, 8}, {7, 0, 5, 8},
    {9, 2, 6, 10},
}};

constexpr Decomposition<15, 16, 4> kPrism = {{
    {7, 2, 8, 14},   {11, 5, 10, 14}, {11, 7, 8, 14}, {10, 7, 11, 14}, {9, 6, 12, 10}, {10, 6, 12, 7},
    {7, 6, 12, 0},   {12, 9, 10, 3},  {10, 7, 12, 11}, {12, 3, 10, 11}, {11, 7, 12, 8}, {7, 0, 12, 8},
    {13, 6, 9, 10},  {9, 4, 13, 10},  {13, 6, 10, 7}, {13, 1, 6, 7},
}};

constexpr Decomposition<20, 22, 4> kHex = {{
    {13, 6, 18, 14},  {19, 7, 15, 14},  {19, 13, 18, 14}, {15, 13, 19, 14}, {19, 10, 11, 3},
    {18, 9, 10, 2},   {18, 9, 19, 10},  {19, 9, 11, 10},  {13, 9, 19, 18},  {13, 9, 11, 19},
    {13, 11, 15, 19}, {13, 11, 16, 15}, {16, 12, 13, 15}, {13, 8, 11, 9},   {17, 8, 13, 9},
    {13, 8, 16, 11},  {12, 8, 16, 13},  {17, 8, 12, 13},  {12, 5, 17, 13},  {8, 0, 16, 11},
    {17, 1, 8, 9},    {16, 4, 12, 15},
}};
// clang-format on

}  // namespace

int UTILtesselate_tri_2(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) {
    return kTri(ncells, connect, nout, out_connect, out_nnode);
}

int UTILtesselate_quad_2(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) {
    return kQuad(ncells, connect, nout, out_connect, out_nnode);
}

int UTILtesselate_tet_2(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) {
    return kTet(ncells, connect, nout, out_connect, out_nnode);
}

int UTILtesselate_pyr_2(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) {
    return kPyr(ncells, connect, nout, out_connect, out_nnode);
}

int UTILtesselate_prism_2(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) {
    return kPrism(ncells, connect, nout, out_connect, out_nnode);
}

int UTILtesselate_hex_2(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode) {
    return kHex(ncells, connect, nout, out_connect, out_nnode);
}
