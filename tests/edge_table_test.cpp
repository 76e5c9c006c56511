#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "support.hpp"

namespace {

// Adds one edge and returns its number.
int add(EdgeTable *table, int a, int b) {
    int out = -7;
    EXPECT_EQ(UTILedge_table_add_points(table, &a, &b, 1, &out), 1);
    return out;
}

int add(EdgeTable2 *table, int a, int b, int level) {
    int out = -7;
    EXPECT_EQ(UTILedge_table2_add_points(table, &a, &b, 1, &level, &out), 1);
    return out;
}

int add(EdgeTableStr *table, int a, int b, int base) {
    int out = -7;
    EXPECT_EQ(UTILedge_table_add_str(table, &a, &b, base, 1, &out), 1);
    return out;
}

TEST(EdgeTable, SameEdgeInEitherOrderIsOneEntry) {
    EdgeTable *table = UTILedge_table_create(10);
    EXPECT_EQ(add(table, 5, 2), 0);
    EXPECT_EQ(add(table, 2, 7), 1);
    EXPECT_EQ(add(table, 2, 5), 0);
    int *min_node, *max_node, count;
    ASSERT_EQ(UTILedge_table_get_free(table, &min_node, &max_node, &count), 1);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(min_node[0], 2);
    EXPECT_EQ(max_node[0], 5);
    EXPECT_EQ(max_node[1], 7);
    ARRfree_f(min_node, "", 0);
    ARRfree_f(max_node, "", 0);
}

TEST(EdgeTable, LevelsOfOneEdgeAreTwoEntries) {
    EdgeTable2 *table = UTILedge_table2_create(10);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(add(table, 2, 5, 0), 0);
        EXPECT_EQ(add(table, 5, 2, 1), 1);
    }
    EXPECT_EQ(add(table, 2, 5, 256), 0) << "the low byte is the key";
    EXPECT_EQ(add(table, 3, 5, 256), 2);
    EXPECT_EQ(table->nlower, 1);
    EXPECT_EQ(table->nupper, 2) << "any level but 0 counts as upper";
    int *min_node, *max_node, count;
    char *flags;
    ASSERT_EQ(UTILedge_table2_get_free(table, &min_node, &max_node, &count, &flags), 1);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(flags[1], 1);
    EXPECT_EQ(flags[2], 0);
    ARRfree_f(min_node, "", 0);
    ARRfree_f(max_node, "", 0);
    ARRfree_f(flags, "", 0);
}

TEST(EdgeTable, GrowsAtItsLastButOneSlotAndKeepsEverything) {
    EdgeTable *table = UTILedge_table_create(1);
    for (int i = 0; i < 1022; ++i) EXPECT_EQ(add(table, 0, i + 1), i);
    EXPECT_EQ(table->capacity, 1024);
    add(table, 0, 1023);
    EXPECT_EQ(table->capacity, 2048);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(add(table, i + 1, 0), i);
    UTILedge_table_delete(table);

    EdgeTable2 *table2 = UTILedge_table2_create(1);
    for (int i = 0; i < 998; ++i) add(table2, 0, i + 1, i & 1);
    EXPECT_EQ(table2->capacity, 1000);
    add(table2, 0, 999, 0);
    EXPECT_EQ(table2->capacity, 2000);
    for (int i = 0; i < 998; ++i) ASSERT_EQ(add(table2, 0, i + 1, i & 1), i);
    UTILedge_table2_delete(table2);
}

TEST(EdgeTable, HashedBucketsKeepEdgesApart) {
    for (int nbucket : {100, 1000, 3500}) {  // below nnodes: one bucket for all
        EdgeTable *table = UTILedge_table_create(nbucket);
        const std::vector<int> a = random_values<int>(4000, 999, 1);
        const std::vector<int> b = random_values<int>(4000, 999, 2);
        std::vector<int> out(a.size());
        ASSERT_EQ(UTILedge_table_add_hash_points(table, a.data(), b.data(), 1000, 4000, out.data()), 1);
        std::map<std::pair<int, int>, int> numbers;
        for (std::size_t i = 0; i < a.size(); ++i) {
            const auto [entry, fresh] =
                numbers.emplace(std::minmax(a[i], b[i]), static_cast<int>(numbers.size()));
            ASSERT_EQ(out[i], entry->second);
        }
        EXPECT_EQ(std::all_of(table->head + 1, table->head + nbucket, [](int slot) { return slot == 0; }),
                  nbucket < 1000);
        UTILedge_table_delete(table);
    }
}

TEST(EdgeTable, RollingWindowForgetsThePlaneLeftAndKeepsTheNext) {
    constexpr int kPlane = 4;
    EdgeTableStr *table = UTILedge_table_create_str(2 * kPlane, 3);
    EXPECT_EQ(add(table, 0, 1, 0), 0);
    EXPECT_EQ(add(table, 4, 5, 0), 1);  // of the next plane
    UTILedge_table_clean(table, kPlane);
    EXPECT_EQ(add(table, 5, 4, kPlane), 1) << "found again";
    EXPECT_EQ(add(table, 8, 9, kPlane), 2);
    EXPECT_EQ(table->count, 3);
    UTILedge_table_clean(table, kPlane);
    EXPECT_EQ(add(table, 8, 9, 2 * kPlane), 2);
    EXPECT_EQ(add(table, 12, 13, 2 * kPlane), 3) << "a stale chain in the upper buckets never matches";
    UTILedge_table_delete_str(table);

    // The plane that was finished, added again at its own base, is new.
    table = UTILedge_table_create_str(2 * kPlane, 3);
    EXPECT_EQ(add(table, 0, 1, 0), 0);
    UTILedge_table_clean(table, kPlane);
    EXPECT_EQ(add(table, 0, 1, 0), 1);
    UTILedge_table_delete_str(table);
}

TEST(EdgeTable, RollingStaleChainComparesBothEnds) {
    // Bucket 1 of the upper plane keeps its chain after clean. An edge with the same higher end but another
    // lower one must not take the old entry.
    constexpr int kPlane = 2;
    EdgeTable2Str *table = UTILedge_table2_create_str(2 * kPlane, 10);
    const int level = 1;
    int out, lo = 3, hi = 100;
    UTILedge_table2_add_str(table, &lo, &hi, 0, 1, &level, &out);
    EXPECT_EQ(out, 0);
    UTILedge_table2_clean(table, kPlane);
    lo = 5;  // bucket 3 again, one plane on
    UTILedge_table2_add_str(table, &lo, &hi, kPlane, 1, &level, &out);
    EXPECT_EQ(out, 1);
    UTILedge_table2_delete_str(table);
}

TEST(EdgeTable, RollingNumbersAreThoseOfAMap) {
    constexpr int kPlane = 50;
    EdgeTable2Str *table = UTILedge_table2_create_str(2 * kPlane, 16);
    std::map<std::array<int, 3>, int> numbers;
    std::mt19937 random(3);
    for (int base = 0; base < 20 * kPlane; base += kPlane) {
        for (int n = 0; n < 400; ++n) {
            int a = base + static_cast<int>(random() % (2 * kPlane));
            int b = std::min(a + 1 + static_cast<int>(random() % 3), base + 2 * kPlane);
            int level = static_cast<int>(random() % 2), out = -1;
            const auto [entry, fresh] =
                numbers.emplace(std::array{a, b, level}, static_cast<int>(numbers.size()));
            if (n & 1) std::swap(a, b);
            ASSERT_EQ(UTILedge_table2_add_str(table, &a, &b, base, 1, &level, &out), 1);
            ASSERT_EQ(out, entry->second);
        }
        UTILedge_table2_clean(table, kPlane);
    }
    int *min_node, *max_node, count;
    char *flags;
    ASSERT_EQ(UTILedge_table2_free_str(table, &min_node, &max_node, &count, &flags), 1);
    ASSERT_EQ(count, static_cast<int>(numbers.size()));
    for (const auto &[key, number] : numbers) {
        EXPECT_EQ((std::array{min_node[number], max_node[number], int{flags[number]}}), key);
    }
    ARRfree_f(min_node, "", 0);
    ARRfree_f(max_node, "", 0);
    ARRfree_f(flags, "", 0);
}

TEST(EdgeTable, NullTablesAndEmptyAdds) {
    int out = -7, *list, count;
    char *flags;
    EXPECT_EQ(UTILedge_table_add_points(nullptr, &out, &out, 1, &out), -1);
    EXPECT_EQ(UTILedge_table2_add_str(nullptr, &out, &out, 0, 1, &out, &out), -1);
    EXPECT_EQ(UTILedge_table_clean(nullptr, 1), -1);
    EXPECT_EQ(UTILedge_table_get_free(nullptr, &list, &list, &count), 0);
    EXPECT_EQ(UTILedge_table2_free_str(nullptr, &list, &list, &count, &flags), 0);
    EXPECT_EQ(UTILedge_table_delete(nullptr), 1);
    EXPECT_EQ(UTILedge_table2_delete_str(nullptr), 1);
    EdgeTable *table = UTILedge_table_create(4);
    EXPECT_EQ(UTILedge_table_add_points(table, nullptr, nullptr, 0, nullptr), 1);
    EXPECT_EQ(UTILedge_table_add_hash_points(table, nullptr, nullptr, 0, -1, nullptr), 1);
    UTILedge_table_delete(table);
}

}  // namespace
