// The tool with several operations in one call: what goes from one to the next, and what is refused.
#include "tool_support.hpp"

namespace {

class ToolInPipelines : public ToolOnParts {
  protected:
    void SetUp() override {
        ToolOnParts::SetUp();
        write_file("in.vti", cube_of_nodes(false));
        write_file("flat.vti", flat_image());
        write_file("points.csv", "x,y,z\n0.5,0.5,0.5\n1.25,1,1\n0.5,1,0.25\n");
    }

    // Through memory and through a file between them the last operation makes the same.
    static void expect_same(const Arguments &first, const std::string &between, const Arguments &second,
                            const std::string &out) {
        SCOPED_TRACE(first.front() + " then " + second.front());
        Arguments chain = first;
        chain.push_back("then");
        chain.insert(chain.end(), second.begin(), second.end());
        chain.insert(chain.end(), {"-o", out});
        const std::set<std::string> before = files();
        make(chain);
        const std::string in_memory = read_file(out);
        fs::remove(out);
        EXPECT_EQ(files(), before);

        Arguments alone = first;
        alone.insert(alone.end(), {"-o", between});
        make(alone);
        alone = second;
        alone.insert(alone.begin() + 1, between);
        alone.insert(alone.end(), {"-o", out});
        make(alone);
        EXPECT_FALSE(in_memory.empty());
        EXPECT_EQ(in_memory, read_file(out));
        fs::remove(between);
        fs::remove(out);
    }
};

TEST_F(ToolInPipelines, MakeWhatFilesBetweenWouldMake) {
    const Arguments x = {"--array", "x"};
    expect_same({"smooth", "in.vti", "--sigma", "0.3"}, "a.vti",
                {"iso", "--array", "x_smooth", "--level", "1"}, "b.vtp");
    expect_same({"downsize", "in.vti", "--every", "2"}, "a.vti", {"grad", "--array", "x"}, "b.vti");
    expect_same({"clamp", "flat.vti", "--array", "f", "--max", "8"}, "a.vti",
                {"lines", "--array", "f_clamped", "--level", "4"}, "b.obj");
    expect_same({"band", "in.vti", "--array", "x", "--lo", "0.5", "--hi", "1.5"}, "a.vtu", {"faces"},
                "b.vtu");
    expect_same({"cut", "in.vti", "--array", "x", "--level", "0.25"}, "a.vtu",
                {"probe", "points.csv", "--array", "y"}, "b.csv");
    expect_same({"faces", "in.vti"}, "a.vtu", {"edges", "--angle", "30"}, "b.obj");
    expect_same({"iso", "in.vti", "--array", "x", "--level", "0.5", "--attach", "y"}, "a.vtp",
                {"lines", "--array", "y", "--level", "0.75"}, "b.vtp");
    expect_same({"slice", "in.vti", "--normal", "0,1,0"}, "a.vtp", {"band", "--array", "x", "--levels", "2"},
                "b.vtu");
    expect_same({"probe", "in.vti", "--grid", "4", "4", "4"}, "a.vti",
                {"iso", "--array", "y", "--level", "1"}, "b.vtp");
    expect_same({"probe", "in.vti", "points.csv"}, "a.vtp", {"scatter", "--grid", "3", "3", "--value", "z"},
                "b.vti");
    expect_same({"scatter", "in.vti", "--value", "x", "--grid", "4", "4"}, "a.vti",
                {"simplify", "--tolerance", "0.1"}, "b.vtp");
    expect_same({"denull", "in.vti", "--array", "x", "--null", "0"}, "a.vtu", {"cell2node", "--array", "c"},
                "b.vtu");
    expect_same({"delaunay", "points.csv", "--z", "z"}, "a.vtp", {"probe", "points.csv"}, "b.csv");
}

TEST_F(ToolInPipelines, GiveOneFieldToSeveralOperations) {
    const Outcome told =
        make({"in.vti", "then", "info",    "then",      "clamp",   "--array", "x",         "--max", "1",
              "then",   "iso",  "--array", "x_clamped", "--level", "0.5",     "-o",        "a.obj", "--png",
              "a.png",  "then", "edges",   "-o",        "b.obj",   "also",    "integrate", "-o",    "c.csv"});
    expect_told(told.out, {"read   in.vti", "read   result 2 (clamp)", "read   result 3 (iso)"});
    EXPECT_EQ(files(), (std::set<std::string>{"in.vti", "flat.vti", "points.csv", "a.obj", "a.png", "b.obj",
                                              "c.csv"}));
    EXPECT_EQ(read_obj("a.obj").area(), (Vertex{-4, 0, 0}));
    EXPECT_EQ(read_obj("b.obj").length(), 8);
    expect_told(read_file("c.csv"), {",4"});
}

TEST_F(ToolInPipelines, HandOnMoreThanTheirFileHolds) {
    // Files of points alone, and of rows; what goes on has the cell arrays.
    const Outcome told = make({"iso", "in.vti", "--array", "x", "--level", "0.5", "--attach", "y", "-o",
                               "a.stl", "then", "lines", "--array", "y", "--level", "0.75", "-o", "b.obj"});
    expect_told(told.out, {"; a.stl, ", "read   result 1 (iso): ", "; b.obj, "});
    EXPECT_EQ(read_obj("b.obj").length(), 2);
    expect_told(make({"probe", "in.vti", "points.csv", "--array", "x", "-o", "a.csv", "then", "delaunay",
                      "-o", "b.vtp"})
                    .out,
                {"; a.csv, ", "read   result 1 (probe): ", "1 triangle, 3 nodes"});
}

TEST_F(ToolInPipelines, AreRefusedBeforeAnythingRuns) {
    const Arguments smooth = {"smooth", "in.vti", "--sigma", "0.3", "then"};
    const auto after = [&](Arguments words) {
        words.insert(words.begin(), smooth.begin(), smooth.end());
        return words;
    };
    expect_refused({
        {after({}), "name the operation after 'then'"},
        {after({"then", "info"}), "'then' follows an operation or a field; there is none before it"},
        {{"then", "info"}, "'then' follows an operation or a field"},
        {{"in.vti", "also", "info"}, "name what to do with 'in.vti'"},
        {after({"isoo"}), "there is no operation 'isoo'"},
        {after({"iso", "--level", "1"}), "--output is required; see 'isofield iso --help'"},
        {after({"iso", "in.vti", "--level", "1", "-o", "b.vtp"}),
         "(after 'then' the field is given already)"},
        {{"fit", "points.csv", "then", "info"}, "'fit' leaves no field to go on with; let it come last"},
        {after({"iso", "--level", "1", "--array", "nothing", "-o", "b.vtp"}), "operation 2, iso: "},
        {after({"iso", "--level", "1", "-o", "b.xyz"}), "operation 2, iso: cannot write 'b.xyz'"},
        {after({"clamp", "--max", "1", "-o", "in.vti"}), "operation 2, clamp: 'in.vti' is the input file"},
        {after({"info", "--step", "2"}),
         "operation 2, info: cannot read 'result 1 (smooth)': it has no steps"},
        {{"cut", "in.vti", "--array", "x", "--level", "9", "then", "faces", "-o", "b.vtu"},
         "operation 2, faces: cannot read 'result 1 (cut)': it holds no nodes"},
    });
}

TEST_F(ToolInPipelines, InterruptInALaterOperationLeavesNothing) {
    write_noise("noise.mha");
    const std::set<std::string> before = files();
    Process process({"clamp", "noise.mha", "--max", "200", "then", "iso", "--array", "MetaImage_clamped",
                     "-l", "128", "-o", "o.vtp"},
                    {});
    while (process.read_line().find("read   result 1 (clamp)") != 0) {
    }
    process.signal(SIGINT);
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.code, 130);
    EXPECT_TRUE(outcome.err.ends_with("interrupted\n")) << outcome.err;
    EXPECT_EQ(files(), before);
}

}  // namespace
