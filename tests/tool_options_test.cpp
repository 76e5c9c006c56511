// The tool's options: help and its style, what shells complete of it, and what all operations take.
#include <vtkCellType.h>

#include <regex>

#include "tool_support.hpp"

namespace {

std::vector<std::string> lines_of(const std::string &text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

class ToolOptions : public Tool {
  protected:
    void SetUp() override {
        Tool::SetUp();
        write_file("in.vti", cube_of_nodes(false));
        write_file("points.csv", "x,y,t\n0,0,1\n2,0,-9\n2,2,3\n0,2,west\n");
    }

    static std::vector<std::string> operations() {
        std::vector<std::string> names;
        for (const std::string &line : lines_of(make({"--help"}).out)) {
            std::smatch match;
            if (line == "Options:") break;
            if (std::regex_match(line, match, std::regex("  ([a-z0-9]+) +[A-Z].*")))
                names.push_back(match[1]);
        }
        return names;
    }

    // What bash offers for the last word of a call.
    static std::set<std::string> completed(const std::string &call) {
        write_file("complete.sh", make({"completion", "bash"}).out + "COMP_WORDS=(" + call +
                                      ")\n((COMP_CWORD = ${#COMP_WORDS[@]} - 1))\n_isofield\n"
                                      "printf '%s\\n' \"${COMPREPLY[@]}\" > offered\n");
        EXPECT_EQ(std::system("bash complete.sh"), 0) << call;
        const auto offered = lines_of(read_file("offered"));
        return {offered.begin(), offered.end()};
    }
};

// Heads of options with their descriptions, which may go over several lines.
std::vector<std::pair<std::string, std::string>> items_of(const std::string &help) {
    std::vector<std::pair<std::string, std::string>> items;
    for (const std::string &line : lines_of(help)) {
        EXPECT_LE(line.starts_with("  isofield") ? 0 : line.size(), 100u) << line;
        std::smatch match;
        if (std::regex_match(line, match, std::regex("  (    --|-|[A-Z])(.*?)(  +(.*))?")))
            items.emplace_back(std::string(match[1]) + std::string(match[2]), match[4]);
        else if (line.starts_with("          ") && !items.empty())
            items.back().second += " " + line.substr(line.find_first_not_of(' '));
    }
    return items;
}

TEST_F(ToolOptions, AreTheSameInOneStyleInEveryOperation) {
    const std::set<std::string> before = files();
    const std::regex description(" ?[A-Z0-9(][^]*[^.]");
    const std::regex type(R"(\b(TEXT|U?INT|FLOAT)\b|[:{])");
    for (const std::string &operation : operations()) {
        SCOPED_TRACE(operation);
        const std::string help = make({operation, "--help"}).out;
        if (operation != "completion")
            expect_told(help, {"Input:\n", "Arrays and missing data:\n", "-a, --array", "--null VALUE",
                               "--png PICTURE", "--size WIDTHxHEIGHT", "-q, --quiet", "-h, --help"});
        EXPECT_EQ(help.find("\n\n\n"), std::string::npos);
        for (const auto &[head, text] : items_of(help)) {
            EXPECT_FALSE(std::regex_search(head, type)) << head;
            EXPECT_TRUE(std::regex_match(text, description)) << head << ": " << text;
        }
        std::size_t place = 0;
        for (const std::string heading :
             {"Usage:", "Input:", "Options:", "Arrays and", "Output:", "Examples:"}) {
            const std::size_t next = help.find("\n" + heading);
            if (next == std::string::npos) continue;
            EXPECT_LT(place, next) << heading;
            place = next;
        }
        expect_refused({{{operation, "--frob"}, "see 'isofield " + operation + " --help'"}});
        // The examples are good but for their files, which are not there.
        for (const std::string &line : lines_of(help.substr(help.find("Examples:")))) {
            std::istringstream words(line);
            const Arguments all{std::istream_iterator<std::string>(words), {}};
            if (all.front() != "isofield" || operation == "completion") continue;
            expect_refused({{{all.begin() + 1, all.end()}, "No such file"}});
        }
    }
    EXPECT_EQ(files(), before);
}

TEST_F(ToolOptions, AreCompletedInShells) {
    using Offered = std::set<std::string>;
    write_file("old.vtp", "");
    EXPECT_EQ(completed("isofield in"), (Offered{"in.vti", "info", "integrate"}));
    EXPECT_EQ(completed("isofield iso i"), Offered{"in.vti"});
    EXPECT_EQ(completed("isofield iso in.vti --le"), Offered{"--level"});
    EXPECT_EQ(completed("isofield iso in.vti --level ''"), Offered{""});
    EXPECT_EQ(completed("isofield iso in.vti -o ''"), Offered{"old.vtp"});
    EXPECT_EQ(completed("isofield iso in.vti --view b"), (Offered{"back", "bottom"}));
    EXPECT_EQ(completed("isofield in.vti t"), Offered{"then"});
    EXPECT_EQ(completed("isofield in.vti then smooth al"), Offered{"also"});
    EXPECT_EQ(completed("isofield in.vti then i"), (Offered{"info", "integrate", "iso"}));
    EXPECT_EQ(completed("isofield loft a.csv b.csv --side f"), (Offered{"falling-x", "falling-y"}));
    EXPECT_EQ(completed("isofield scatter p"), Offered{"points.csv"});
    expect_told(make({"completion", "zsh"}).out, {"'*'{-l,--level}'[Level of the surface]:LEVEL:"});
    expect_told(make({"completion", "fish"}).out, {"-s l -l level -x -d 'Level of the surface'"});
}

TEST_F(ToolOptions, OfInfoWorkOnTablesFieldsAndPictures) {
    const Outcome table = make({"info", "points.csv", "in.vti", "--null", "-9", "--quiet"});
    expect_told(table.out, {"kind     table\nrows     4\ncolumn 1 'x': 0 to 2, 0 NaN\n",
                            "column 3 't': text\n", "\n\nfile     in.vti\n"});
    expect_told(make({"info", "in.vti", "--null", "0", "--array", "x"}).out,
                {"'x': float, null 0, 1 to 2, 9 null, 0 NaN\n"});
    write_file("line.vtu", unstructured({{0, 0, 0}, {1, 0, 0}}, {{VTK_LINE, {0, 1}}}));
    std::set<std::string> pictures;
    for (const Arguments &shown : {Arguments{"info", "in.vti"},
                                   {"info", "in.vti", "-a", "x"},
                                   {"info", "in.vti", "-a", "c"},
                                   {"info", "line.vtu", "-a", "x"},
                                   {"cell2node", "in.vti", "-o", "out.vti"}}) {
        Arguments all = shown;
        all.insert(all.end(), {"--png", "p.png", "--size", "200x150"});
        make(all);
        pictures.insert(read_file("p.png"));
    }
    EXPECT_EQ(pictures.size(), 5u);
    make({"integrate", "in.vti", "-a", "x", "--png", "p.png", "--size", "200x150"});
    EXPECT_TRUE(pictures.contains(read_file("p.png")));  // that of info
    expect_refused({{{"info", "points.csv", "--png", "q.png"}, "is a table"},
                    {{"info", "points.csv", "--step", "1"}, "files that hold a field"},
                    {{"info", "in.vti", "-a", "w"}, "no array 'w'"},
                    {{"scatter", "--grid", "3", "3", "points.csv", "-o", "o.vti"},
                     "--grid: 'points.csv' is not a whole number"}});
}

TEST_F(ToolOptions, NameArraysEverywhere) {
    write_file("ring.csv", "x,y,h\n0,0,1\n4,0,2\n-9,1,0\n4,4,3\n0,4,-9\n");
    const Outcome loft =
        make({"loft", "ring.csv", "ring.csv", "--array", "h", "--null", "-9", "-o", "out.vtp"});
    expect_told(loft.err, {"'ring.csv': 1 point without all coordinates left out"});
    expect_values("out.vtp", "h", {1, 2, 3, NAN, 1, 2, 3, NAN}, "float");
    make({"edges", "in.vti", "--array", "x", "-o", "out.vtp"});
    EXPECT_EQ(rows_of("out.vtp", "x").size(), 20u);
    // On the nodes of a field: x + 1 over the coordinate y is flat.
    make({"calc", "in.vti", "--array", "x", "--coefficients", "1,1", "--name", "up", "-o", "up.vti"});
    expect_told(make({"fit", "up.vti", "--x", "x", "--array", "up"}).out, {"27 nodes", "y = 1 + 1 x\n"});
    expect_refused(
        {{{"fit", "up.vti"}, "by --x"}, {{"fit", "up.vti", "--x", "w", "-a", "up"}, "no array 'w'"}});
}

}  // namespace
