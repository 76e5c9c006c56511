#include "binding.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "isofield_default_host.h"

namespace isofield::host {
namespace {

constexpr CellType kCellTypes[] = {
    {"line_1", 1, 1, "line_1", "", nullptr},
    {"line_2", 1, 2, "line_1", "01", nullptr},
    {"tri_1", 2, 1, "tri_1", "", nullptr},
    {"tri_2", 2, 2, "tri_1", "01 12 20", "tri_1"},
    {"quad_1", 2, 1, "quad_1", "", nullptr},
    {"quad_2", 2, 2, "quad_1", "01 12 23 30", "tri_1"},
    {"hex_1", 3, 1, "hex_1", "", nullptr},
    {"hex_2", 3, 2, "hex_1", "01 12 23 30 45 56 67 74 04 15 26 37", "tet_1"},
    {"tet_1", 3, 1, "tet_1", "", nullptr},
    {"tet_2", 3, 2, "tet_1", "01 02 03 12 23 13", "tet_1"},
    {"prism_1", 3, 1, "prism_1", "", nullptr},
    {"prism_2", 3, 2, "prism_1", "01 12 20 34 45 53 14 03 25", "tet_1"},
    {"pyr_1", 3, 1, "pyr_1", "", nullptr},
};

// Corner positions in parametric space, u v w each.
struct Corners {
    const char *type;
    int count;
    float uvw[8][3];
};

constexpr Corners kCorners[] = {
    {"line_1", 2, {{-1, 0, 0}, {1, 0, 0}}},
    {"tri_1", 3, {{1, 0, 0}, {0, 1, 0}, {0, 0, 0}}},
    {"quad_1", 4, {{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}}},
    {"hex_1",
     8,
     {{-1, 1, 1}, {-1, -1, 1}, {1, -1, 1}, {1, 1, 1}, {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1}, {1, 1, -1}}},
    {"tet_1", 4, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}}},
    {"prism_1", 6, {{1, 0, 1}, {0, 1, 1}, {0, 0, 1}, {1, 0, -1}, {0, 1, -1}, {0, 0, -1}}},
    {"pyr_1", 5, {{0, 0, 1}, {1, 1, -1}, {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1}}},
};

// What stands before the cell type in the registered name of a slot's method.
struct MethodWord {
    const char *slot;
    const char *word;
};

constexpr MethodWord kMethodWords[] = {
    {"shape_func", "shape_func_"},      {"shape_deriv_func", "shape_deriv_"},
    {"rev_par_func", "rev_par_"},       {"slice_func", "slice_cell_"},
    {"cut_func", "cut_cell_"},          {"isoline_func", "isoline_"},
    {"vol_integr_func", "vol_integr_"}, {"contour_func", "contour_cell_"},
    {"tesselate_func", "tesselate_"},
};

constexpr std::string_view kPiecesSuffix = "_tesselate";

// The method of `slot` for a cell type; the slots of pieces take the linear method of the type's pieces.
std::string method_name(std::string_view slot, const CellType &type) {
    const char *cell = type.name;
    if (slot.ends_with(kPiecesSuffix)) {
        if (!type.pieces) return {};
        cell = type.pieces;
        slot.remove_suffix(kPiecesSuffix.size());
    }
    for (const MethodWord &method : kMethodWords) {
        if (slot == method.slot) return std::string(method.word) + cell;
    }
    return {};
}

// Sets word `slot` of a row of method pointers.
void set_slot(void *funcs, std::size_t slot, const std::string &name) {
    void (*const func)(void) = isohost_find_function(name.c_str());
    std::memcpy(static_cast<char *>(funcs) + slot * sizeof func, &func, sizeof func);
}

static_assert(sizeof(FieldFuncs) == std::size(FIELD_FUNC_NAME) * sizeof(void (*)(void)));
static_assert(sizeof(SetFuncs) == std::size(SET_FUNC_NAME) * sizeof(void (*)(void)));

}  // namespace

const CellType *find_cell_type(std::string_view name) {
    const auto *found = std::find_if(std::begin(kCellTypes), std::end(kCellTypes),
                                     [&](const CellType &type) { return name == type.name; });
    return found == std::end(kCellTypes) ? nullptr : found;
}

std::vector<float> node_positions(const CellType &type) {
    const auto *corners = std::find_if(std::begin(kCorners), std::end(kCorners), [&](const Corners &row) {
        return !std::strcmp(type.corners, row.type);
    });
    std::vector<float> positions;
    for (int i = 0; i < corners->count; ++i) {
        positions.insert(positions.end(), std::begin(corners->uvw[i]), std::end(corners->uvw[i]));
    }
    for (const char *edge = type.midsides; *edge; edge += edge[2] ? 3 : 2) {
        const float *a = corners->uvw[edge[0] - '0'];
        const float *b = corners->uvw[edge[1] - '0'];
        for (int d = 0; d < 3; ++d) positions.push_back((a[d] + b[d]) / 2);
    }
    return positions;
}

FieldFuncs bind_mesh_methods(const char *suffix) {
    FieldFuncs funcs = {};
    for (std::size_t slot = 0; slot < std::size(FIELD_FUNC_NAME); ++slot) {
        set_slot(&funcs, slot, FIELD_FUNC_NAME[slot] + std::string(suffix));
    }
    return funcs;
}

CellFuncs bind_cell_methods(const CellType &type) {
    CellFuncs row = {};
    std::fill(std::begin(row.word), std::end(row.word), nullptr);
    for (std::size_t slot = 0; slot < std::size(SET_FUNC_NAME); ++slot) {
        const std::string name = method_name(SET_FUNC_NAME[slot], type);
        if (!name.empty()) set_slot(&row.funcs, slot, name);
    }
    if (type.name == std::string_view("prism_2")) mend_quadratic_prism(row.funcs);
    return row;
}

}  // namespace isofield::host

extern "C" int isohost_cell_type_nodes(const char *type) {
    const isofield::host::CellType *found = type ? isofield::host::find_cell_type(type) : nullptr;
    return found ? static_cast<int>(isofield::host::node_positions(*found).size() / 3) : 0;
}
