// Every allocation may fail, every poll may interrupt: each operation then ends with its result, empty
// outputs, balanced status ranges, and nothing left alive.
#include <gtest/gtest.h>

#include "recording_host.hpp"
#include "support.hpp"

namespace {

struct SliceRun {
    Isosurface surface;
    Recording record;
    std::size_t live_after;  // with the results still held
};

SliceRun slice(MeshInfo *mesh, const std::vector<int> &data, const int *null_value, bool want_cells,
               int fail_at, int interrupt_at) {
    start_recording(fail_at, interrupt_at);
    SliceRun run{isosurface(mesh, data.data(), 20.0, null_value, want_cells), {}, 0};
    run.record = stop_recording();
    run.live_after = live_blocks();
    return run;
}

void expect_empty(const SliceRun &run) {
    const Isosurface &s = run.surface;
    EXPECT_EQ(run.live_after, 0u);
    EXPECT_EQ(run.record.open_ranges, 0);
    EXPECT_EQ(s.nnew + s.ntris + s.tri_size + s.nlines + s.line_size, 0);
    EXPECT_FALSE(s.min_node || s.max_node || s.tri_connect || s.line_connect || s.cell_list);
}

class SliceFailures : public testing::TestWithParam<std::tuple<bool, bool>> {
  protected:
    // Enough triangles for every list to grow several times.
    MeshPtr mesh = unit_grid({16, 15, 20});
    std::vector<int> data = random_values<int>(16 * 15 * 20, 40, 4);
    const int null = 1;
    const int *null_value = std::get<0>(GetParam()) ? &null : nullptr;
    bool want_cells = std::get<1>(GetParam());
};

TEST_P(SliceFailures, EveryAllocationMayFail) {
    int failures = 0, connect_reports = 0, cell_reports = 0;
    for (int n = 0;; ++n) {
        SCOPED_TRACE(n);
        const SliceRun run = slice(mesh.get(), data, null_value, want_cells, n, -1);
        if (run.record.allocations <= n) {  // nothing failed any more
            EXPECT_EQ(run.surface.result, 1);
            EXPECT_EQ(run.live_after, want_cells ? 4u : 3u) << "the results alone";
            break;
        }
        if (run.record.out_of_memory) {
            EXPECT_EQ(run.surface.result, 1) << "the masks are asked for again";
            EXPECT_EQ(run.record.reports.at(0), "out of memory: Cannot alloc flags array");
            continue;
        }
        ++failures;
        EXPECT_EQ(run.surface.result, 0);
        expect_empty(run);
        for (const std::string &report : run.record.reports) {
            connect_reports += report == "slice_struct: realloc for connect list failed\n";
            cell_reports += report == "UTILslice: realloc for cell list failed\n";
        }
    }
    EXPECT_GT(failures, 20);
    EXPECT_GT(connect_reports, 3);
    EXPECT_EQ(cell_reports > 3, want_cells);
}

TEST_P(SliceFailures, EveryPollMayInterrupt) {
    const SliceRun whole = slice(mesh.get(), data, null_value, want_cells, -1, -1);
    // Every eighth layer of 19, and the end.
    EXPECT_EQ(whole.record.percents, (std::vector<int>{36, 78, 100}));
    for (int n = 0; n < 2; ++n) {
        const SliceRun run = slice(mesh.get(), data, null_value, want_cells, -1, n);
        EXPECT_EQ(run.surface.result, -1);
        EXPECT_TRUE(run.record.reports.empty());
        expect_empty(run);
    }
    const SliceRun last = slice(mesh.get(), data, null_value, want_cells, -1, 2);
    EXPECT_EQ(last.surface.result, 1) << "the last poll's answer does not count";
    EXPECT_EQ(last.surface.triangles(), whole.surface.triangles());
}

INSTANTIATE_TEST_SUITE_P(NullsAndCellLists, SliceFailures,
                         testing::Combine(testing::Bool(), testing::Bool()));

// Adds edges until the lists have grown twice, with the n-th allocation failing: whatever was added before is
// right, the add that fails says 0, and the table can be deleted.
template <class Create, class Add, class Delete>
void sweep_table(Create create, Add add, Delete destroy) {
    for (int n = 0;; ++n) {
        SCOPED_TRACE(n);
        start_recording(n);
        auto *table = create();
        int result = 1;
        for (int i = 0; table && result == 1 && i < 2200; ++i) {
            int out = -1;
            result = add(table, i, &out);
            ASSERT_EQ(out, result == 1 ? i : -1);
        }
        const bool whole = table && result == 1;
        EXPECT_EQ(destroy(table), 1);
        const Recording record = stop_recording();
        EXPECT_EQ(live_blocks(), 0u);
        if (record.allocations <= n) {
            EXPECT_TRUE(whole);
            EXPECT_GT(n, 8);
            break;
        }
        EXPECT_FALSE(whole);
        EXPECT_TRUE(result == 0 || !table);
    }
}

TEST(EdgeTableFailures, EveryAllocationMayFail) {
    const int low = 3, level = 1;
    sweep_table(
        [] { return UTILedge_table_create(10); },
        [&](EdgeTable *t, int i, int *out) { return UTILedge_table_add_points(t, &low, &(i += 10), 1, out); },
        UTILedge_table_delete);
    sweep_table([] { return UTILedge_table2_create(10); },
                [&](EdgeTable2 *t, int i, int *out) {
                    return UTILedge_table2_add_points(t, &low, &(i += 10), 1, &level, out);
                },
                UTILedge_table2_delete);
    sweep_table([] { return UTILedge_table_create_str(10, 1000); },
                [&](EdgeTableStr *t, int i, int *out) {
                    return UTILedge_table_add_str(t, &low, &(i += 10), 0, 1, out);
                },
                UTILedge_table_delete_str);
    sweep_table([] { return UTILedge_table2_create_str(10, 1024); },
                [&](EdgeTable2Str *t, int i, int *out) {
                    return UTILedge_table2_add_str(t, &low, &(i += 10), 0, 1, &level, out);
                },
                UTILedge_table2_delete_str);
}

TEST(MeshInfoFailures, CopyWithoutMemory) {
    MeshPtr mesh = unit_grid({2, 2});
    MeshInfo *copy = mesh.get();
    start_recording(0);
    EXPECT_EQ(UTILcopy_mesh_info(mesh.get(), &copy), 0);
    EXPECT_EQ(copy, nullptr);
    stop_recording();
}

}  // namespace
