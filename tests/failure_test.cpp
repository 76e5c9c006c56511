// Every allocation may fail, every poll may interrupt: each operation then ends with its result, empty
// outputs, balanced status ranges, and nothing left alive.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "plain_split.hpp"
#include "recording_host.hpp"

namespace {

using Extract = Extracted (*)(MeshInfo *mesh, const int *data, double level, const int *null_value,
                              bool want_cells);

struct Watched {
    Extracted made;
    Recording record;
    std::size_t live_after;  // with the results still held
};

// One extraction at the level 20, to be run again and again.
struct Extraction {
    Extract extract;
    MeshInfo *mesh;
    const std::vector<int> &data;
    const int *null_value;
    bool want_cells;

    Watched run(int fail_at = -1, int interrupt_at = -1) const {
        start_recording(fail_at, interrupt_at);
        Watched run{extract(mesh, data.data(), 20.0, null_value, want_cells), {}, 0};
        run.record = stop_recording();
        run.live_after = live_blocks();
        return run;
    }
};

// `whole` is a run that nothing stopped: it tells which sets have no method.
void expect_empty(const Watched &run, const Watched &whole) {
    const Extracted &s = run.made;
    EXPECT_EQ(run.live_after, 0u);
    EXPECT_EQ(run.record.open_ranges, 0);
    EXPECT_EQ(s.nnew + s.ntris + s.tri_size + s.nlines + s.line_size, 0);
    EXPECT_FALSE(s.min_node || s.max_node || s.tri_connect || s.line_connect);
    for (std::size_t set = 0; set < s.cell_count.size(); ++set) {
        const bool touched = s.cell_count[set] != Extracted::kUntouched;
        EXPECT_FALSE(touched &&
                     (whole.made.cell_count[set] == Extracted::kUntouched || s.cell_count[set] != 0));
        EXPECT_FALSE(s.cell_list[set]) << set;
    }
}

// Fails each allocation in turn, and counts the reports. check() is called after each run.
template <class Check>
std::map<std::string, int> fail_every_allocation(const Extraction &extraction, Check check) {
    std::map<std::string, int> reports;
    const Watched whole = extraction.run();
    for (int n = 0;; ++n) {
        SCOPED_TRACE(n);
        const Watched run = extraction.run(n);
        check();
        for (const std::string &report : run.record.reports) ++reports[report];
        if (run.record.allocations <= n || run.record.out_of_memory) {
            // Nothing failed any more; or it was a mask, which is asked for again.
            const Extracted &s = run.made;
            EXPECT_EQ(s.result, 1);
            std::size_t arrays = 0;
            for (const IntArray *a : {&s.min_node, &s.max_node, &s.line_connect, &s.tri_connect})
                arrays += *a != nullptr;
            for (const IntArray &list : s.cell_list) arrays += list != nullptr;
            EXPECT_EQ(run.live_after, arrays) << "the results alone";
            if (run.record.allocations <= n) return reports;
        } else {
            EXPECT_EQ(run.made.result, 0);
            expect_empty(run, whole);
            ++reports["failures"];
        }
    }
}

const char *const kNoMask = "out of memory: Cannot alloc flags array";

class GridFailures : public testing::TestWithParam<std::tuple<bool, bool>> {
  protected:
    // Enough triangles and lines for every list to grow several times.
    MeshPtr box = unit_grid({16, 15, 20}), plane = unit_grid({60, 70});
    std::vector<int> data = random_values<int>(16 * 15 * 20, 40, 4);
    const int null = 1;
    const int *null_value = std::get<0>(GetParam()) ? &null : nullptr;
    bool want_cells = std::get<1>(GetParam());
    Extraction surface{isosurface<int>, box.get(), data, null_value, want_cells};
    Extraction lines{isolines<int>, plane.get(), data, null_value, want_cells};
};

TEST_P(GridFailures, EveryAllocationMayFail) {
    auto reports = fail_every_allocation(surface, [] {});
    EXPECT_GT(reports["failures"], 20);
    EXPECT_GT(reports["slice_struct: realloc for connect list failed\n"], 3);
    EXPECT_EQ(reports["UTILslice: realloc for cell list failed\n"] > 3, want_cells);
    EXPECT_EQ(reports[kNoMask], 2);

    reports = fail_every_allocation(lines, [] {});
    EXPECT_GT(reports["failures"], 10);
    EXPECT_GT(reports["isoline: realloc for connect list failed"], 1);
    EXPECT_EQ(reports["UTILisoline: realloc for cell list failed\n"] > 1, want_cells);
    EXPECT_EQ(reports[kNoMask], 2);
}

TEST_P(GridFailures, EveryPollMayInterrupt) {
    const Watched whole = surface.run();
    // Every eighth layer of 19, and the end.
    EXPECT_EQ(whole.record.percents, (std::vector<int>{36, 78, 100}));
    for (int n = 0; n < 2; ++n) {
        const Watched run = surface.run(-1, n);
        EXPECT_EQ(run.made.result, -1);
        EXPECT_TRUE(run.record.reports.empty());
        expect_empty(run, whole);
    }
    const Watched last = surface.run(-1, 2);
    EXPECT_EQ(last.made.result, 1) << "the last poll's answer does not count";
    EXPECT_EQ(last.made.triangles(), whole.made.triangles());
}

INSTANTIATE_TEST_SUITE_P(NullsAndCellLists, GridFailures, testing::Combine(testing::Bool(), testing::Bool()));

// ---- Cell sets

class SetFailures : public testing::TestWithParam<bool> {
  protected:
    // A quadratic set that stayed replaced by its pieces is seen here.
    void expect_whole_record() const {
        for (std::size_t set = 0; set < cells.sets.size(); ++set) {
            EXPECT_EQ(mesh->cell_ncells[set], cells.sets[set].ncells()) << set;
            EXPECT_EQ(mesh->cell_nnodes[set], cells.sets[set].nnodes()) << set;
            const int *connect = mesh->cell_connect[set];
            EXPECT_TRUE(!connect || connect == cells.sets[set].connect.data()) << set;
        }
    }

    CellMesh cells = all_kinds(8);
    MeshPtr mesh = cells.make();
    std::vector<int> data = random_values<int>(cells.nnodes(), 40, 4);
    bool is_surface = GetParam();
    Extraction extraction{is_surface ? isosurface<int> : isolines<int>, mesh.get(), data, nullptr, true};
};

TEST_P(SetFailures, EveryAllocationMayFail) {
    const std::string step = is_surface ? "UTILslice: " : "UTILisoline: ";
    auto reports = fail_every_allocation(extraction, [this] { expect_whole_record(); });
    EXPECT_GT(cells.set("tet_2").ncells(), 1024) << "several chunks";
    EXPECT_GT(reports["failures"], 50);
    EXPECT_GT(reports[step + "realloc for cell list failed\n"], 3);
    EXPECT_GT(reports["isoline: realloc for connect list failed"], 3);
    EXPECT_EQ(reports["UTILslice: realloc for connect list failed\n"] > 3, is_surface);
    EXPECT_EQ(reports[kNoMask], 1);
}

// Every 257th cell or piece, and the end of each chunk.
TEST_P(SetFailures, EveryPollMayInterrupt) {
    std::vector<int> percents;
    std::vector<std::pair<int, int>> ranges;
    const int nsets = mesh->ncell_sets, chunk = is_surface ? 1024 : 1000;
    for (int set = 0; set < nsets; ++set) {
        const CellSetData &cell_set = cells.sets[static_cast<std::size_t>(set)];
        const bool quadratic = cell_set.type.back() == '2', volume = mesh->cell_ndim[set] == 3;
        if (volume && !is_surface) continue;
        if (is_surface) ranges.push_back({100 * set / nsets, 100 * (set + 1) / nsets});
        const int ncells = cell_set.ncells(), step = quadratic ? chunk : ncells;
        const std::map<std::string, int> kPieces = {{"tet_2", 8}, {"prism_2", 16}, {"hex_2", 22}};
        for (int first = 0; first < ncells; first += step) {
            const int count = std::min(step, ncells - first);
            if (quadratic) ranges.push_back({100 * first / ncells, 100 * (first + count) / ncells});
            if (!volume) continue;
            const int n = quadratic ? count * kPieces.at(cell_set.type) : count;
            for (int cell = 256; cell < n; cell += 257)
                percents.push_back(
                    static_cast<int>(static_cast<float>(cell) * static_cast<float>(100.0 / n)));
            percents.push_back(100);
        }
    }
    const Watched whole = extraction.run();
    EXPECT_EQ(whole.record.percents, percents);
    EXPECT_EQ(whole.record.ranges, ranges);
    for (int n = 0; n < whole.record.polls; ++n) {
        SCOPED_TRACE(n);
        const Watched run = extraction.run(-1, n);
        EXPECT_EQ(run.made.result, 0);
        EXPECT_TRUE(run.record.reports.empty());
        expect_empty(run, whole);
        expect_whole_record();
    }
}

TEST_P(SetFailures, CellsMayNotBeHad) {
    mesh->cell_funcs[0].funcs.tesselate_func = nullptr;  // skipped
    const Watched whole = extraction.run();
    EXPECT_EQ(whole.made.result, 1);
    EXPECT_EQ(whole.made.cell_count[0], 0);
    mesh->get_cell_set = [](MeshInfo *, int, int **) { return 0; };
    for (std::size_t set = 1; set < cells.sets.size(); ++set) {
        if (whole.made.cell_count[set] == Extracted::kUntouched) continue;
        int *const connect = std::exchange(mesh->cell_connect[set], nullptr);
        const Watched run = extraction.run();
        EXPECT_EQ(run.made.result, 0);
        EXPECT_EQ(run.record.reports, std::vector<std::string>{"util: unable to get cell set\n"});
        expect_empty(run, whole);
        mesh->cell_connect[set] = connect;
    }
}

// A failure in the first set, or before it, leaves nothing unsaid of the others.
TEST_P(SetFailures, CountsAndListsOfAllSetsAreEmpty) {
    const Watched whole = extraction.run();
    for (const int n : {0, 10}) {
        const Watched run = extraction.run(n);
        ASSERT_EQ(run.made.result, 0);
        for (std::size_t set = 0; set < cells.sets.size(); ++set) {
            const bool has_method = whole.made.cell_count[set] != Extracted::kUntouched;
            EXPECT_EQ(run.made.cell_count[set], has_method ? 0 : Extracted::kUntouched) << set;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(SurfacesAndLines, SetFailures, testing::Bool());

TEST(SetFailuresApart, ASetOfLinesIsNoPartOfASurface) {
    CellMesh cells = mixed_block(4);
    const std::vector<int> data = random_values<int>(cells.nnodes(), 40, 4);
    cells.add("line_1", {0, 1});
    const MeshPtr mesh = cells.make();
    const Watched lines = Extraction{isolines<int>, mesh.get(), data, nullptr, true}.run();
    EXPECT_EQ(lines.made.result, 1);
    const Watched refused = Extraction{isosurface<int>, mesh.get(), data, nullptr, true}.run();
    EXPECT_EQ(refused.made.result, 0);
    EXPECT_TRUE(refused.record.reports.empty());
    expect_empty(refused, refused);
}

// A kernel on its own, with a table (five blocks), a mask and a list of cells.
struct KernelRun {
    int made, size = 0, capacity = 0;
    int *connect = nullptr;
    Recording record;
    std::size_t live_after;

    KernelRun(MeshInfo *mesh, const std::vector<int> &data, int fail_at, int interrupt_at) {
        start_recording(fail_at, interrupt_at);
        EdgeTable *table = UTILedge_table_create(mesh->nnodes);
        auto *mask = static_cast<unsigned char *>(std::malloc(data.size()));
        std::copy(data.begin(), data.end(), mask);
        auto *list = static_cast<int *>(ARRalloc_f(nullptr, 3, 1024, nullptr, "", 0));
        made = UTILslice_hex(mesh, 0, 0, mask, table, &connect, &size, &capacity, &list);
        record = stop_recording();
        live_after = live_blocks();
        ARRfree_f(list, "", 0);
        if (live_after < 2) return;
        std::free(mask);
        UTILedge_table_delete(table);
        if (connect) ARRfree_f(connect, "", 0);
    }
};

TEST(SetFailuresApart, AKernelThatStopsFreesWhatItWasGivenButTheList) {
    const CellMesh cells = block_of(Cube::kHex, 10);
    const MeshPtr mesh = cells.make();
    const std::vector<int> data = random_values<int>(cells.nnodes(), 1, 6);
    const KernelRun whole(mesh.get(), data, -1, -1);
    EXPECT_EQ(whole.size, 3 * whole.made);
    EXPECT_GT(whole.made, 3000);
    EXPECT_EQ(whole.live_after, 8u);
    EXPECT_GT(whole.record.allocations, 15);
    EXPECT_EQ(whole.record.polls, 4);
    const auto expect_stopped = [](const KernelRun &run, int result) {
        EXPECT_EQ(run.made, result);
        EXPECT_EQ(run.connect, nullptr);
        EXPECT_EQ(run.capacity, -1);
        EXPECT_EQ(run.live_after, 1u);
    };
    for (int n = 7; n < whole.record.allocations; ++n) expect_stopped({mesh.get(), data, n, -1}, 0);
    for (int n = 0; n < whole.record.polls; ++n) expect_stopped({mesh.get(), data, -1, n}, -1);

    mesh->cell_connect[0] = nullptr;
    mesh->get_cell_set = [](MeshInfo *, int, int **) { return 0; };
    const KernelRun refused(mesh.get(), data, -1, -1);
    EXPECT_EQ(refused.made + refused.capacity, 0);
    EXPECT_EQ(refused.live_after, 7u);
}

TEST(TesselateFailures, WithoutMemory) {
    const std::vector<int> connect(40);
    int npieces, nnodes, *pieces = &npieces;
    start_recording(0);
    EXPECT_EQ(UTILtesselate_hex_2(2, connect.data(), &npieces, &pieces, &nnodes), 0);
    stop_recording();
    EXPECT_EQ(npieces, 44);
    EXPECT_EQ(nnodes, 4);
    EXPECT_EQ(pieces, nullptr);
}

// ---- Search tables, probing, cell data to nodes

// Runs an operation that frees what it hands out.
template <class Call>
std::pair<int, Recording> watch(Call call, int fail_at = -1, int interrupt_at = -1) {
    start_recording(fail_at, interrupt_at);
    const int result = call();
    const Recording record = stop_recording();
    EXPECT_EQ(live_blocks(), 0u) << fail_at << " " << interrupt_at;
    EXPECT_EQ(record.open_ranges, 0);
    return {result, record};
}

// With each allocation failing and each poll interrupting, a run is whole or fails. `spared` allocations can
// be done without; the answer to 100 percent does not count. Returns the whole run, with the reports of those
// that failed.
template <class Call>
Recording expect_all_or_nothing(int spared, Call call) {
    EXPECT_EQ(watch(call).first, 1);
    Recording whole = watch(call).second;
    EXPECT_TRUE(whole.reports.empty());
    for (int n = 0; n < whole.allocations; ++n) {
        const auto [result, record] = watch(call, n);
        spared -= result;
        whole.reports.insert(whole.reports.end(), record.reports.begin(), record.reports.end());
    }
    EXPECT_EQ(spared, 0);
    for (int n = 0; n < whole.polls; ++n) {
        const auto [result, record] = watch(call, -1, n);
        EXPECT_EQ(result, whole.percents[n] == 100);
        EXPECT_TRUE(record.reports.empty());
    }
    return whole;
}

// Without the cells of a set, and without coordinates.
template <class Call>
void expect_refusals(MeshInfo *mesh, Call call, bool needs_coords = true) {
    mesh->get_cell_set = [](MeshInfo *, int, int **) { return 0; };
    mesh->get_coords = [](MeshInfo *, float **) { return 0; };
    const auto expect_refused = [&](auto *&array, const char *text) {
        auto *const kept = std::exchange(array, nullptr);
        const auto [result, record] = watch(call);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(record.reports, std::vector<std::string>{text});
        array = kept;
    };
    for (int set = 0; mesh->ndim == 0 && set < mesh->ncell_sets; ++set)
        expect_refused(mesh->cell_connect[set], "util: unable to get cell set\n");
    if (needs_coords) expect_refused(mesh->coords, "util: unable to get field coordinates\n");
}

// Cells that crowd in one corner, so that lists grow and have an index.
TEST(SearchFailures, TablesAreWholeOrNone) {
    CellMesh cells = block_of(Cube::kTets, 8);
    for (float &x : cells.coords) x = x * x * x * x;
    cells.add("hex_1", {0, 1, 10, 9, 81, 82, 91, 90});
    MeshInfo *grid = nullptr;
    const int dims[] = {9, 9, 9};
    ASSERT_EQ(isohost_mesh_structured(3, dims, 3, cells.coords.data(), &grid), 1);
    const MeshPtr sets = cells.make(), structured(grid);
    for (MeshInfo *mesh : {sets.get(), grid}) {
        const auto build = [mesh] {
            BlockTable dummy, *table = &dummy;
            const int result = mesh->field_funcs->interp_init_func(mesh, &table);
            EXPECT_EQ(table != nullptr, result == 1);
            isohost_block_table_free(table);
            return result;
        };
        const bool indexed = mesh != grid;
        const Recording whole = expect_all_or_nothing(indexed ? 6 : 0, build);
        EXPECT_GT(whole.allocations, indexed ? 4 + 6 + 1 : 4);
        EXPECT_EQ(whole.percents, indexed ? std::vector<int>({13, 26, 39, 52, 65, 78, 91, 100})
                                          : std::vector<int>({12, 37, 62, 87, 100}));
        EXPECT_EQ(whole.stages[3], "building block table");
        EXPECT_EQ(whole.stages.back(), "");
        EXPECT_EQ(whole.ranges.size(), 1u);
        expect_refusals(mesh, build);
    }
}

// Flags are as they were after a failure.
TEST(SearchFailures, Probing) {
    const CellMesh cells = mixed_block(4);
    const MeshPtr sets = cells.make(), grid = unit_grid({5, 5, 5});
    BlockTable *table = nullptr;
    ASSERT_EQ(UTILinterp_init(sets.get(), &table), 1);
    const std::vector<float> data(1000, 1.0f);  // for all nodes, and the cells of a set
    std::vector<float> points = random_values<float>(3 * 600, 50, 1), out(600);
    for (float &x : points) x *= 0.1f;
    const double range = 0;
    const void *const array = data.data();
    void *const to = out.data();
    const int veclen = 1, map[] = {0, 0, 0, 0};
    for (int n = 0; n < 4; ++n) {
        const auto probe = [&, mesh = (n < 2 ? sets : grid).get()] {
            double null = 0;
            int flag = 0;
            const int result =
                n % 2 ? UTILinterpolate_data(600, points.data(), 3, nullptr, mesh, table, 1, 4, &veclen,
                                             &array, nullptr, &range, &flag, &null, &to)
                      : UTILinterpolate_cell_data(600, points.data(), 3, nullptr, mesh, table, map, 4, 1,
                                                  &array, nullptr, &range, &flag, &null, to);
            EXPECT_EQ(flag, result);
            return result;
        };
        EXPECT_EQ(expect_all_or_nothing(0, probe).percents, (std::vector<int>{42, 85, 100}));
    }
    isohost_block_table_free(table);
}

TEST(SearchFailures, CellDataToNodes) {
    CellMesh cells = block_of(Cube::kPrisms, 2);
    cells.add("hex_1", {0, 1, 4, 3, 9, 10, 13, 12});
    const MeshPtr sets = cells.make(), grid = unit_grid({3, 3, 3});
    const std::vector<double> data(100, 1.0);
    for (MeshInfo *mesh : {sets.get(), grid.get()}) {
        const auto run = [&] {
            std::vector<double> out(27);
            float *weights = nullptr;
            char *flags = nullptr;
            int result = 1;
            for (int set = 0; set < mesh->ncell_sets && result; ++set) {
                result = UTILcell_to_node(mesh, set, 5, data.data(), 1, 0, nullptr, 1, out.data(), &weights,
                                          &flags);
                if (result || set == 0) continue;
                std::free(weights);
                std::free(flags);
            }
            return result;
        };
        EXPECT_EQ(expect_all_or_nothing(0, run).allocations, 2);
        expect_refusals(mesh, run);
    }
}

TEST(SearchFailures, UnknownTypesAndMissingMethods) {
    const MeshPtr grid = unit_grid({2, 2, 2});
    float x[8] = {}, sums[2];
    const auto probe = [&](int type) {
        return UTILinterpolate_data(0, x, 3, nullptr, grid.get(), nullptr, 0, type, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr);
    };
    const auto to_node = [&](int type) {
        return UTILcell_to_node(grid.get(), 0, type, x, 1, 0, nullptr, 0, x, nullptr, nullptr);
    };
    start_recording();
    EXPECT_EQ(UTILinterp_cell_val_struct(grid.get(), 0, 1, x, 6, 0, nullptr, 1, x, x), 0);
    EXPECT_EQ(to_node(-1) + probe(6), 0);
    EXPECT_EQ(stop_recording().reports,
              (std::vector<std::string>{"UTILinterp: unknown data type", "UTILcellTo_node: unknown data type",
                                        "UTILinterpolate_data: unknown data type"}));
    testing::internal::CaptureStderr();
    EXPECT_EQ(UTILvol_integr_cell_hex(grid.get(), 0, 0, x, 6, 0, nullptr, &sums[0], &sums[1]), 0);
    EXPECT_EQ(sums[0] + sums[1], 0);
    *grid->field_funcs = {};
    EXPECT_EQ(to_node(4) + probe(4), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "interpolate: unknown data type\nUTILcell_to_node: no function found\n"
              "UTILfind_cell: unable to find interp_cell function\n");
}

// ---- Bands and cuts

TEST(SplitFailures, PartsAreWholeOrNone) {
    const CellMesh cells = all_kinds(8);
    for (const SplitAt &at : {SplitAt{10, 25}, cut_at(20, 0)}) {
        const MeshPtr sets = cells.make(), box = unit_grid({16, 15, 20}), plane = unit_grid({60, 70});
        for (MeshInfo *mesh : {sets.get(), box.get(), plane.get()}) {
            const bool on_sets = mesh->ndim == 0;
            const auto data = random_values<int>(static_cast<std::size_t>(mesh->nnodes), 40, 4);
            const auto run = [&] { return split(mesh, data, at).result; };
            const PlainSplit plain(mesh, data, at);
            const std::ptrdiff_t masks = !at.is_cut ? 0 : on_sets ? 1 : 2;
            const Recording whole = expect_all_or_nothing(static_cast<int>(masks), run);
            EXPECT_EQ(whole.percents, plain.percents);
            EXPECT_EQ(whole.ranges, plain.ranges);
            const auto reports = [&](const std::string &text) {
                return std::count(whole.reports.begin(), whole.reports.end(), text);
            };
            EXPECT_EQ(reports(kNoMask), masks);
            EXPECT_EQ(reports("UTILcut: realloc for cell list failed\n") > 1, at.is_cut);
            EXPECT_EQ(reports("UTILcut: realloc for connect list failed\n") > 1, at.is_cut && on_sets);
            EXPECT_EQ(whole.reports.empty(), !at.is_cut);
            if (on_sets) expect_refusals(mesh, run, !at.is_cut);
        }
    }
}

TEST(SplitFailures, PlanesMayNotBeHad) {
    static int refused;
    const MeshPtr box = unit_grid({3, 3, 5}), plane = unit_grid({9, 5});
    const std::vector<int> data = random_values<int>(45, 9, 4);
    for (MeshInfo *mesh : {box.get(), plane.get()}) {
        mesh->get_sub_coords = [](MeshInfo *m, const int *min, const int *, float *) {
            return min[m->ndim - 1] == refused ? 0 : 1;
        };
        for (refused = 0; refused < 5; ++refused) {
            const auto [result, record] = watch([&] { return split(mesh, data, {2, 5}).result; });
            EXPECT_EQ(result, 0);
            EXPECT_EQ(record.reports,
                      std::vector<std::string>{"util: unable to get field sub-coordinates\n"});
        }
    }
}

// A kernel on its own, with a table, and for a cut a mask and lists of cells.
Recording run_split_kernel(MeshInfo *mesh, const std::vector<int> &data, bool is_cut, int fail_at = -1,
                           int interrupt_at = -1) {
    const std::vector<int> map(data.size());
    int ncells[6] = {}, sizes[6] = {}, capacity[6] = {}, counts[6] = {}, nlines[2] = {1, 1};
    int *arrays[14] = {}, **const connect = arrays, **const lists = arrays + 6, **const lines = arrays + 12;
    start_recording(fail_at, interrupt_at);
    auto *const table = is_cut ? UTILedge_table_create(mesh->nnodes) : nullptr;
    auto *const table2 = is_cut ? nullptr : UTILedge_table2_create(mesh->nnodes);
    auto *const mask = is_cut ? static_cast<unsigned char *>(std::malloc(data.size())) : nullptr;
    if (is_cut) {
        std::copy(data.begin(), data.end(), mask);
        for (int t = 0; t < 6; ++t)
            lists[t] = static_cast<int *>(ARRalloc_f(nullptr, 3, 1024, nullptr, "", 0));
    }
    const int result = is_cut ? UTILcut_quad(mesh, 0, 0, mask, 0, 0, map.data(), table, ncells, connect,
                                             sizes, capacity, counts, lists)
                              : UTILcontour_quad(mesh, 0, 3, data.data(), 0, nullptr, 0.5, 0.7, 0, map.data(),
                                                 table2, ncells, connect, sizes, capacity, &nlines[0],
                                                 &lines[0], &nlines[1], &lines[1]);
    const Recording record = stop_recording();
    EXPECT_EQ(result, fail_at < 0 && interrupt_at < 0);
    for (int t = 0; t < 6; ++t) EXPECT_EQ(capacity[t] == -1, result == 0);
    if (result == 1) {
        std::free(mask);
        UTILedge_table_delete(table);
        UTILedge_table2_delete(table2);
        for (int *array : arrays) ARRfree_f(array, "", 0);
    } else {
        for (const int *array : arrays) EXPECT_EQ(array, nullptr);
    }
    EXPECT_EQ(live_blocks(), 0u);
    return record;
}

TEST(SplitFailures, AKernelThatStopsFreesWhatItWasGiven) {
    const CellMesh cells{std::vector<float>(3 * 41 * 41), {{"quad_1", grid_connect({41, 41})}}};
    const MeshPtr mesh = cells.make();
    const std::vector<int> data = random_values<int>(cells.nnodes(), 1, 6);
    for (const bool is_cut : {false, true}) {
        const Recording whole = run_split_kernel(mesh.get(), data, is_cut);
        const int given = is_cut ? 5 + 1 + 6 : 6;
        EXPECT_GT(whole.allocations, given + 10);
        EXPECT_GT(whole.polls, 3);
        for (int n = given; n < whole.allocations; ++n) run_split_kernel(mesh.get(), data, is_cut, n);
        for (int n = 0; n < whole.polls; ++n) run_split_kernel(mesh.get(), data, is_cut, -1, n);
    }
}

// ---- Derivatives, and meshes without nulls

TEST(DerivativeFailures, OnCellSets) {
    const CellMesh cells = mixed_block(6);
    const MeshPtr mesh = cells.make();
    const std::vector<float> data = random_values<float>(3 * cells.nnodes(), 40, 4);
    std::vector<int> percents;
    for (int set = 0; set < 4; ++set) {
        const int n = mesh->cell_ncells[set];
        for (int cell = 256; cell < n; cell += 257)
            percents.push_back(static_cast<int>(static_cast<float>(cell) * static_cast<float>(100.0 / n)));
    }
    std::vector<float> out(data.size());
    for (const auto of : {UTILgrad, UTILcurl, UTILdiv}) {
        const float null = 1;
        const auto run = [&] {
            return of(mesh.get(), data.data(), of == UTILgrad ? 1 : 3, 4, 1, &null, out.data());
        };
        const Recording whole = expect_all_or_nothing(0, run);
        EXPECT_GT(whole.allocations, 0);
        EXPECT_EQ(whole.percents, percents);
        EXPECT_EQ(whole.ranges, (std::vector<std::pair<int, int>>{{0, 25}, {25, 50}, {50, 75}, {75, 100}}));
        expect_refusals(mesh.get(), run, false);
        float *const coords = std::exchange(mesh->coords, nullptr);
        EXPECT_EQ(watch(run).first, 1) << "cells fail one by one";
        EXPECT_EQ(out, std::vector<float>(out.size()));
        mesh->coords = coords;
    }
    EXPECT_GT(percents.size(), 3u);
}

TEST(DerivativeFailures, OnStructuredGrids) {
    const FourKinds grid({20, 3, 4}, {0, 0, 0, 19, 2, 3});
    MeshInfo *const mesh = grid.meshes[2].get();
    std::vector<float> out(grid.coords.size());
    for (const auto of : {UTILgrad, UTILcurl, UTILdiv}) {
        const auto run = [&] {
            return of(mesh, out.data(), of == UTILgrad ? 1 : 3, 4, 0, nullptr, out.data());
        };
        EXPECT_EQ(run(), 1);
        expect_refusals(mesh, run);
        if (of != UTILgrad) continue;
        EXPECT_EQ(expect_all_or_nothing(0, run).percents, (std::vector<int>{36, 78}));
    }
}

TEST(NullMeshFailures, MeshesAreWholeOrNone) {
    const CellMesh cells = all_kinds(5);
    const MeshPtr sets = cells.make(), grid = unit_grid({12, 13, 10});
    const std::vector<int> data = random_values<int>(5000, 40, 4);
    for (MeshInfo *mesh : {sets.get(), grid.get()}) {
        const auto nsets = static_cast<std::size_t>(mesh->ncell_sets);
        const auto run = [&] {
            const int null = 1;
            int nkept = -1, *nodes;
            std::vector<int> ncells(nsets, -1), sizes = ncells;
            std::vector<int *> connect(nsets, &nkept);
            const int result = UTILthresh_null(mesh, data.data(), 3, &null, &nkept, &nodes, mesh->ncell_sets,
                                               ncells.data(), connect.data(), sizes.data());
            EXPECT_EQ(nodes != nullptr, result == 1);
            std::free(nodes);
            for (std::size_t set = 0; set < nsets; ++set) {
                EXPECT_EQ(connect[set] != nullptr, result == 1);
                EXPECT_TRUE(result == 1 || nkept + ncells[set] + sizes[set] == 0);
                if (connect[set]) ARRfree_f(connect[set], "", 0);
            }
            return result;
        };
        testing::internal::CaptureStderr();
        EXPECT_GT(expect_all_or_nothing(0, run).allocations, 10);
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_NE(told.find(mesh->ndim ? "UTILthresh_null_cells_struct: cannot allocate node -1 array\n"
                                       : "UTILthresh_null_cells: cannot allocate node -1 array\n"),
                  std::string::npos);
        EXPECT_NE(told.find("realloc for connect list failed\n"), std::string::npos);
        expect_refusals(mesh, run, false);
    }
}

// ---- Tracing, plane slices and glyphs

TEST(TraceFailures, SheetsAndLinesAreWholeOrNone) {
    const MeshPtr box = unit_grid({30, 30, 30}), plane = unit_grid({90, 90});
    const auto data = random_values<int>(27000, 3, 4);
    for (MeshInfo *mesh : {box.get(), plane.get()}) {
        const bool sheet = mesh == box.get();
        const auto run = [&] {
            const float p[] = {9.3f, 9.4f, sheet ? 9.5f : 0};
            double level;
            int nnew, count, nconnect, *arrays[3];
            const int result = (sheet ? UTILiso_trace : UTILisoline_trace)(
                mesh, nullptr, data.data(), 3, 0, nullptr, p, &level, &nnew, &arrays[0], &arrays[1], &count,
                &arrays[2], &nconnect);
            EXPECT_EQ(nnew + count + nconnect > 0, result == 1);
            for (int *array : arrays) {
                EXPECT_EQ(array != nullptr, result == 1);
                if (array) ARRfree_f(array, "", 0);
            }
            return result;
        };
        testing::internal::CaptureStderr();
        Recording whole = watch(run).second;
        for (int n = 0; n < whole.allocations; ++n) EXPECT_EQ(watch(run, n).first, 0) << n;
        EXPECT_NE(testing::internal::GetCapturedStderr().find("realloc for connect list failed\n"),
                  std::string::npos);
        EXPECT_GT(whole.allocations, 12);
        EXPECT_EQ(whole.polls > 20, sheet);
        for (int n = 0; n < whole.polls; ++n) EXPECT_EQ(watch(run, -1, n).first, -1);
        EXPECT_TRUE(whole.ranges.empty());
        mesh->get_points = [](MeshInfo *, float **) { return 0; };
        mesh->points = nullptr;
        EXPECT_EQ(watch(run).first, 0);
    }
}

// What could be had stays with the caller.
TEST(PlaneSliceFailures, WithoutMemory) {
    const int dims[] = {9, 8, 7};
    const float corners[] = {0, 0, 0, 8, 7, 6}, normal[] = {1, 2, 3};
    for (int n = 0; n < 6; ++n) {
        float *points, *weights, matrix[16];
        int out_dims[2], *min_node, *max_node;
        unsigned char *flags;
        start_recording(n);
        const int result = UTILrslice_unif(dims, corners, normal, 20, out_dims, &points, 3, matrix, &min_node,
                                           &max_node, &weights, &flags);
        EXPECT_EQ(result > 0, n == 5);
        void *const arrays[] = {points, min_node, max_node, weights, flags};
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(arrays[i] != nullptr, i < n);
            if (arrays[i]) ARRfree_f(arrays[i], "", 0);
        }
        stop_recording();
        EXPECT_EQ(live_blocks(), 0u);
    }
}

// What was written before an interruption stays.
TEST(GlyphFailures, NothingIsAllocated) {
    const FourKinds grid({40, 15}, {0, 0, 39, 14});
    const std::vector<float> data(600, 1.0f), one(3, 1.0f);
    const int flags[] = {1, 1, 1};
    for (const MeshPtr &mesh : grid.meshes) {
        std::vector<float> coords(600), values(600);
        const auto call = [&](int dtype) {
            std::fill(values.begin(), values.end(), -77.0f);
            return UTILglyph_func(mesh.get(), dtype, 1, data.data(), 0, nullptr, 1, 1, data.data(),
                                  data.data(), 0, 0, 0, 1.0, flags, nullptr, 1, 3, one.data(), nullptr, 1,
                                  coords.data(), values.data());
        };
        const auto run = [&] { return call(4); };
        const Recording whole = expect_all_or_nothing(0, run);
        EXPECT_EQ(whole.allocations, 0);
        EXPECT_EQ(whole.percents, (std::vector<int>{42, 85, 100}));
        EXPECT_EQ(whole.ranges, (std::vector<std::pair<int, int>>{{0, 100}}));
        watch(run, -1, 1);
        EXPECT_EQ(std::count(values.begin(), values.end(), 1.0f), 256 + 257);
        const bool regular = mesh == grid.meshes[0] || mesh == grid.meshes[1];
        mesh->get_points = mesh->get_coords = [](MeshInfo *, float **) { return 0; };
        mesh->points = mesh->coords = nullptr;
        EXPECT_EQ(watch(run).first, 0);
        EXPECT_EQ(watch(run).second.reports[0],
                  regular ? "util: unable to get field points\n" : "util: unable to get field coordinates\n");
        const std::string module = mesh == grid.meshes[0]   ? "UTILglyph_unif"
                                   : mesh == grid.meshes[1] ? "UTILglyph_rect"
                                                            : "UTILglyph";
        EXPECT_EQ(watch([&] { return call(6); }).second.reports[0], module + ": unknown data type");
        mesh->field_funcs->glyph_func = nullptr;
        testing::internal::CaptureStderr();
        EXPECT_EQ(call(4), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "UTILglyph_func: no glyph function found\n");
    }
}

// ---- Data arrays and scattered data

TEST(DataArrayFailures, NothingIsWritten) {
    const std::vector<double> in = {1, 2, 3, 4, 5, 6, 7, 8}, blank(8, 42);
    const int in_dims[] = {2, 2, 2}, out_dims[] = {2, 1, 4};
    const float kernel[] = {1, 2, 1}, x[] = {1, 2, 3, 4};
    std::vector<double> out;
    const auto expect_whole_or_blank = [&](auto call) {
        const Recording whole = expect_all_or_nothing(0, [&] {
            out = blank;
            const int result = call();
            EXPECT_EQ(out == blank, result == 0);
            return result;
        });
        EXPECT_GT(whole.allocations, 0);
        EXPECT_TRUE(whole.reports.empty());
    };
    expect_whole_or_blank([&] { return UTILresample(2, in_dims, out_dims, 2, 5, in.data(), out.data()); });
    expect_whole_or_blank([&] { return UTILresample(3, in_dims, out_dims, 1, 5, in.data(), out.data()); });
    expect_whole_or_blank([&] { return UTILfilter_1d(3, kernel, 4, 2, 5, in.data(), out.data()); });
    expect_whole_or_blank([&] { return UTILleast_squares(4, x, 5, in.data(), 2, out.data()); });
}

TEST(ScatterFailures, NothingIsWritten) {
    const int npoints = 400, dims[] = {400, 20, 20, 1};
    const std::vector<float> min(4, 0.0f), max(4, 1.0f), blank(400 * 20 * 20, 42);
    std::vector<float> coords = random_values<float>(4 * npoints, 1024, 3), out;
    for (float &x : coords) x /= 1024;
    coords[4 * 128] = NAN;  // counts all the same
    const float null = 77;
    for (const int ndim : {1, 2, 3, 0, 4}) {
        const auto run = [&] {
            int radius[] = {0, 0, 0, 0}, flag = 0;
            out = blank;
            const int result =
                UTILscat_data_interp2(npoints, 4, coords.data(), 4, 1, coords.data(), min.data(), max.data(),
                                      ndim, dims, radius, 2, &flag, &null, out.data());
            EXPECT_EQ(out == blank, result == 0);
            EXPECT_TRUE(result == 1 || flag == 0);
            return result;
        };
        if (ndim % 4 == 0) {
            EXPECT_EQ(watch(run).first, 0);
            EXPECT_EQ(watch(run).second.reports, std::vector<std::string>{"UTILscat_interp: illegal ndim"});
            continue;
        }
        // The large grid goes by tiles, which can be done without.
        const int spared = ndim == 3 ? 2 : 0;
        const Recording whole = expect_all_or_nothing(spared, run);
        EXPECT_EQ(whole.percents, ndim == 1 ? std::vector<int>() : std::vector<int>({32, 64, 96, 100}));
        EXPECT_EQ(whole.ranges.size(), ndim == 1 ? 0u : 1u);
        EXPECT_TRUE(ndim == 1 || whole.ranges[0] == std::pair(0, 100));
        EXPECT_GT(whole.allocations, 1 + spared);
        EXPECT_EQ(whole.reports, std::vector<std::string>(whole.allocations - spared,
                                                          "UTILscat_interp: cannot allocate arrays"));
    }
    const auto unknown = [] {
        return UTILscat_data_interp2(0, 0, nullptr, 6, 1, nullptr, nullptr, nullptr, 0, nullptr, nullptr, 2,
                                     nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(watch(unknown).second.reports, std::vector<std::string>{"UTILscat_interp: unknown data type"});
}

TEST(ScatterFailures, BinsAreWholeOrNone) {
    const int dims[] = {4, 5};
    const float points[] = {0, 0, 1, 1}, max[] = {1, 1};
    const auto run = [&] {
        ScatBins *bins = nullptr;
        const int result = UTILscat_interp_init(2, 2, points, points, max, 2, dims, &bins);
        EXPECT_EQ(UTILscat_interp_end(bins), result) << "null without a result";
        return result;
    };
    EXPECT_EQ(expect_all_or_nothing(0, run).allocations, 4);
}

// ---- Making meshes

TEST(MakingFailures, TessellationsAreWholeOrNone) {
    const std::vector<float> points = random_values<float>(3 * 150, 1000, 8);
    const float min[] = {0, 0, 0}, max[] = {1000, 1000, 1000};
    for (const bool in_space : {false, true}) {
        const auto run = [&] {
            int count = -7, *conn = &count;
            const int result = in_space
                                   ? UTILdelaun_tess_3D(150, points.data(), min, max, 1, &count, &conn)
                                   : UTILdelaun_tess_2D(150, points.data(), 3, min, max, 1, &count, &conn);
            EXPECT_TRUE(result == 1 ? count > 100 : count == 0 && !conn);
            if (conn) ARRfree_f(conn, "", 0);
            return result;
        };
        testing::internal::CaptureStderr();
        const Recording whole = expect_all_or_nothing(0, run);
        EXPECT_EQ(testing::internal::GetCapturedStderr().find("includes"), std::string::npos);
        EXPECT_EQ(whole.percents, in_space ? std::vector<int>({42, 86, 100}) : std::vector<int>({85, 100}));
        EXPECT_EQ(whole.ranges, (std::vector<std::pair<int, int>>{{0, 100}}));
        EXPECT_GT(whole.allocations, 10);
        EXPECT_TRUE(whole.reports.empty());
    }
}

TEST(MakingFailures, HeightsAreWholeOrNone) {
    const int dims[] = {2, 700};
    const float points[] = {0, 0, 1, 1};
    const std::vector<int> data = random_values<int>(1400, 40, 4);
    int nnodes, ntris, *conn = &nnodes;
    float *coords;
    void *values;
    const auto call = [&](int type) {
        return UTILoptimize_surface(dims, 2, points, type, data.data(), 1, &nnodes, &coords, &ntris, &conn,
                                    &values);
    };
    const auto run = [&] {
        const int result = call(3);
        EXPECT_TRUE(result == 1 ? nnodes > 1100 : nnodes + ntris == 0);
        for (void *array : {static_cast<void *>(coords), static_cast<void *>(conn), values}) {
            EXPECT_EQ(array != nullptr, result == 1);
            if (array) ARRfree_f(array, "", 0);
        }
        return result;
    };
    const Recording whole = expect_all_or_nothing(0, run);
    EXPECT_GT(whole.allocations, 10);
    EXPECT_EQ(whole.polls, 0);
    for (const int type : {-1, 6}) EXPECT_TRUE(call(type) == 0 && nnodes == 0 && !conn && !values);
}

TEST(MakingFailures, BoundariesAreWholeOrNone) {
    const std::vector<int> quads = grid_connect({41, 41}), hexes = grid_connect({13, 13, 13});
    const std::vector<float> coords = random_values<float>(3 * 41 * 41, 40, 4);
    const int steps[] = {4, 4, 4, 4, 4, 4};
    const int faces[] = {0, 3, 2, 1, 4, 5, 6, 7, 0, 1, 5, 4, 1, 2, 6, 5, 2, 3, 7, 6, 3, 0, 4, 7};
    for (int n = 0; n < 4; ++n) {
        const int ncells = n % 2 ? 12 * 12 * 12 : 40 * 40;
        const auto run = [&] {
            int count = -7, sizes[3], untouched, *made = &untouched, *conn = nullptr;
            const int result =
                n == 0   ? UTILedges_2D(41 * 41, ncells, 4, quads.data(), 4, &count, &made)
                : n == 1 ? UTILedges_3D(13 * 13 * 13, ncells, 8, hexes.data(), 6, steps, steps, faces, &count,
                                        &made)
                : n == 2 ? UTILexternal_edges(41 * 41, 3, coords.data(), ncells, 4, 4, quads.data(), &count,
                                              &made, 0.5)
                         : UTILexternal_faces(13 * 13 * 13, ncells, 8, hexes.data(), 6, steps, steps, faces,
                                              1, &count, &sizes[0], &sizes[1], &made, &conn, &sizes[2]);
            EXPECT_EQ(count > 0, result == 1);
            EXPECT_TRUE(result == 1 || n == 3 || made == (count == 0 ? nullptr : &untouched));
            if (result == 1) ARRfree_f(made, "", 0);
            if (conn) ARRfree_f(conn, "", 0);
            return result;
        };
        std::vector<int> percents;
        for (int cell = 256; cell < ncells; cell += 257)
            percents.push_back(
                static_cast<int>(static_cast<float>(cell) * static_cast<float>(100.0 / ncells)));
        percents.push_back(100);
        const Recording whole = expect_all_or_nothing(0, run);
        EXPECT_EQ(whole.percents, percents);
        EXPECT_EQ(whole.ranges, (std::vector<std::pair<int, int>>{{0, 100}}));
        EXPECT_GT(whole.allocations, 3);
    }
}

TEST(MakingFailures, ContoursNeedMemory) {
    const float square[] = {0, 0, 1, 0, 1, 1, 0, 1};
    const int range[] = {0, 3};
    const auto run = [&] {
        int ids[5];
        float params[5];
        return UTILroi_sort_verts(2, square, range, 0, ids, params);
    };
    EXPECT_GT(expect_all_or_nothing(0, run).allocations, 0);
}

// ---- Edge tables and records

// Adds edges until the lists have grown twice, with the n-th allocation failing: whatever was added before is
// right, the add that fails says 0, and the table can be deleted.
template <class Create, class Add, class Delete>
void sweep_table(Create create, Add add, Delete destroy) {
    for (int n = 0;; ++n) {
        SCOPED_TRACE(n);
        start_recording(n);
        auto *table = create();
        int result = 1;
        for (int i = 0; table && result == 1 && i < 3200; ++i) {
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
    const auto told = [](int result, int i, int *out) {
        *out = result == 1 ? i : -1;
        return result;
    };
    sweep_table(
        [] { return UTILinit_cell_list(16); },
        [&](CellList *list, int i, int *out) { return told(UTILadd_cell_to_list(list, 1, &i), i, out); },
        UTILdelete_cell_list);
    sweep_table([] { return UTILcell_table_create(10, 4000); },
                [&](CellTable *t, int i, int *out) { return told(UTILcell_table_add(t, i), i, out); },
                UTILcell_table_delete);
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
