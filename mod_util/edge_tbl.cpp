// Edge tables: from an edge, by its two nodes and perhaps a level flag, to the number of its new node. Two
// records, each in a flat form (a bucket per node) and a rolling form (buckets for two rows or planes of a
// grid), from one text.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "edge_table.hpp"

namespace {

using namespace isofield::detail;

constexpr int kFlatStep = 1024;   // EdgeTable's first capacity and growth
constexpr int kFlat2Step = 1000;  // EdgeTable2's

template <class T>
T *cleared(int count) {
    return allocate_cleared<T>(static_cast<std::size_t>(std::max(count, 0))).release();
}

// Frees a table without its lists.
template <class Table>
void free_frame(Table *table) {
    std::free(table->head);
    std::free(table->next);
    if constexpr (kRolling<Table>) std::free(table->slot_entry);
    std::free(table);
}

template <class Table>
int delete_table(Table *table) {
    if (!table) return 1;
    if constexpr (kHasLevel<Table>) {
        if (table->min_node) ARRfree_f(table->min_node, kEdgeTableUnit, __LINE__);
        if (table->max_node) ARRfree_f(table->max_node, kEdgeTableUnit, __LINE__);
        if (table->level_flag) ARRfree_f(table->level_flag, kEdgeTableUnit, __LINE__);
    } else {
        // The host's blocks are such that the standard free takes them.
        std::free(table->min_node);
        std::free(table->max_node);
    }
    free_frame(table);
    return 1;
}

template <class Table>
Table *create_table(int nbucket, int step) {
    auto *table = cleared<Table>(1);
    if (!table) return nullptr;
    table->nbucket = nbucket;
    table->capacity = step;
    table->grow = step;
    table->head = cleared<int>(nbucket);
    table->next = cleared<int>(step);
    bool complete = table->head && table->next;
    if constexpr (kRolling<Table>) {
        table->slot_capacity = step;
        table->next_slot = 1;
        complete = complete && (table->slot_entry = cleared<int>(step));
    }
    complete = complete && (table->min_node = allocate_array<int>(step, kEdgeTableUnit)) &&
               (table->max_node = allocate_array<int>(step, kEdgeTableUnit));
    if constexpr (kHasLevel<Table>)
        complete = complete && (table->level_flag = allocate_array<unsigned char>(step, kEdgeTableUnit));
    if (complete) return table;
    delete_table(table);
    return nullptr;
}

// Adds n edges; bucket_of(lo) is the bucket of an edge. `level` is null for tables without levels.
template <class Table, class BucketOf>
int add_edges(Table *table, const int *a, const int *b, int n, const int *level, int *out,
              BucketOf bucket_of) {
    if (!table) return -1;
    for (int i = 0; i < n; ++i) {
        const auto [lo, hi] = std::minmax(a[i], b[i]);
        out[i] = find_or_add(table, bucket_of(lo), lo, hi, level ? level[i] : 0);
        if (out[i] < 0) return 0;
    }
    return 1;
}

template <class Table>
int clean_table(Table *table, int n) {
    if (!table) return -1;
    for (int bucket = 0; bucket < n; ++bucket) {
        for (int slot = table->head[bucket]; slot != 0;) slot = std::exchange(table->next[slot], 0);
        table->head[bucket] = 0;
    }
    // The upper buckets stay as they are: what they lead to can't match any more.
    std::memmove(table->head, table->head + n, static_cast<std::size_t>(table->nbucket - n) * sizeof(int));
    return 1;
}

template <class Table>
int hand_over(Table *table, int **min_node, int **max_node, int *count) {
    if (!table) return 0;
    *min_node = table->min_node;
    *max_node = table->max_node;
    *count = table->count;
    free_frame(table);
    return 1;
}

template <class Table>
int hand_over(Table *table, int **min_node, int **max_node, int *count, char **level_flag) {
    if (!table) return 0;
    *level_flag = reinterpret_cast<char *>(table->level_flag);
    return hand_over(table, min_node, max_node, count);
}

int same_bucket(int lo) {
    return lo;
}

}  // namespace

EdgeTable *UTILedge_table_create(int nbucket) {
    return create_table<EdgeTable>(nbucket, kFlatStep);
}

EdgeTable2 *UTILedge_table2_create(int nbucket) {
    return create_table<EdgeTable2>(nbucket, kFlat2Step);
}

EdgeTableStr *UTILedge_table_create_str(int nbucket, int chunk) {
    return create_table<EdgeTableStr>(nbucket, chunk);
}

EdgeTable2Str *UTILedge_table2_create_str(int nbucket, int chunk) {
    return create_table<EdgeTable2Str>(nbucket, chunk);
}

int UTILedge_table_add_points(EdgeTable *table, const int *a, const int *b, int n, int *out) {
    return add_edges(table, a, b, n, nullptr, out, same_bucket);
}

int UTILedge_table2_add_points(EdgeTable2 *table, const int *a, const int *b, int n, const int *level,
                               int *out) {
    return add_edges(table, a, b, n, level, out, same_bucket);
}

int UTILedge_table_add_hash_points(EdgeTable *table, const int *a, const int *b, int nnodes, int n,
                                   int *out) {
    const int quotient = table && nnodes > 0 ? table->nbucket / nnodes : 0;
    const float scale = static_cast<float>(quotient);
    return add_edges(table, a, b, n, nullptr, out, [&](int lo) {
        const float bucket = static_cast<float>(lo) * scale;
        // Rounding up may reach the end of the buckets.
        return bucket < static_cast<float>(table->nbucket) ? static_cast<int>(bucket) : table->nbucket - 1;
    });
}

int UTILedge_table_add_str(EdgeTableStr *table, const int *a, const int *b, int base, int n, int *out) {
    return add_edges(table, a, b, n, nullptr, out, [base](int lo) { return lo - base; });
}

int UTILedge_table2_add_str(EdgeTable2Str *table, const int *a, const int *b, int base, int n,
                            const int *level, int *out) {
    return add_edges(table, a, b, n, level, out, [base](int lo) { return lo - base; });
}

int UTILedge_table_clean(EdgeTableStr *table, int n) {
    return clean_table(table, n);
}

int UTILedge_table2_clean(EdgeTable2Str *table, int n) {
    return clean_table(table, n);
}

int UTILedge_table_get_free(EdgeTable *table, int **min_node, int **max_node, int *count) {
    return hand_over(table, min_node, max_node, count);
}

int UTILedge_table2_get_free(EdgeTable2 *table, int **min_node, int **max_node, int *count,
                             char **level_flag) {
    return hand_over(table, min_node, max_node, count, level_flag);
}

int UTILedge_table_free_str(EdgeTableStr *table, int **min_node, int **max_node, int *count) {
    return hand_over(table, min_node, max_node, count);
}

int UTILedge_table2_free_str(EdgeTable2Str *table, int **min_node, int **max_node, int *count,
                             char **level_flag) {
    return hand_over(table, min_node, max_node, count, level_flag);
}

int UTILedge_table_delete(EdgeTable *table) {
    return delete_table(table);
}

int UTILedge_table2_delete(EdgeTable2 *table) {
    return delete_table(table);
}

int UTILedge_table_delete_str(EdgeTableStr *table) {
    return delete_table(table);
}

int UTILedge_table2_delete_str(EdgeTable2Str *table) {
    return delete_table(table);
}
