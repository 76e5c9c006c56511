// Which nodes stay in a band, in a cut, or among those that are not null.
#ifndef ISOFIELD_MOD_UTIL_THRESH_HPP
#define ISOFIELD_MOD_UTIL_THRESH_HPP

#include <type_traits>

#include "types.hpp"

namespace isofield::detail {

// Band levels are compared as ints with integers, and in the element's own type else.
template <class T>
using BandLevel = std::conditional_t<std::is_integral_v<T>, int, T>;

template <class T>
struct InBand {
    InBand(int null_flag, ByValue<T> null_value, ByValue<T> lower, ByValue<T> upper)
        : has_null(null_flag != 0),
          null(static_cast<T>(null_value)),
          lo(static_cast<BandLevel<T>>(lower)),
          hi(static_cast<BandLevel<T>>(upper)) {}
    bool operator()(T v) const { return (v >= lo) & (v <= hi) & !(has_null & (v == null)); }

    bool has_null;
    T null;
    BandLevel<T> lo, hi;
};

template <class T>
struct OnSide {
    OnSide(int null_flag, ByValue<T> null_value, double at, int side)
        : has_null(null_flag != 0), null(static_cast<T>(null_value)), level(at), below(side < 0) {}
    bool operator()(T v) const {
        const double value = static_cast<double>(v);
        return (below ? value <= level : value >= level) & !(has_null & (v == null));
    }

    bool has_null;
    T null;
    double level;
    bool below;
};

template <class T>
struct NotNull {
    explicit NotNull(ByValue<T> null_value) : null(static_cast<T>(null_value)) {}
    bool operator()(T v) const { return v != null; }

    T null;
};

template <class T, class Kept>
int map_nodes(int n, const T *data, Kept kept, int *map) {
    int count = 0;
    for (int i = 0; i < n; ++i) {
        const bool stays = kept(data[i]);
        map[i] = stays ? count : -1;
        count += stays;
    }
    return count;
}

inline int node_count(int ndim, const int *dims) {
    int n = 1;
    for (int d = 0; d < ndim; ++d) n *= dims[d];
    return n;
}

template <class T, class Kept>
int count_nodes(int ndim, const int *dims, const T *data, Kept kept) {
    const int n = node_count(ndim, dims);
    int count = 0;
    for (int i = 0; i < n; ++i) count += kept(data[i]);
    return count;
}

template <class T, class Kept>
int list_nodes(int n, const T *data, Kept kept, int start, int *count, int *list, int *map) {
    int row = *count;
    for (int i = 0; i < n; ++i) {
        if (!kept(data[i])) continue;
        map[i] = row;
        list[row++] = start + i;
    }
    *count = row;
    return 1;
}

}  // namespace isofield::detail
#endif
