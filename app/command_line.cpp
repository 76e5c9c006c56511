#include "command_line.hpp"

#include <CLI/Config.hpp>
#include <CLI/Option.hpp>

#include <algorithm>
#include <filesystem>

#include "console.hpp"
#include "errors.hpp"
#include "help.hpp"

namespace app {
namespace {

// What an operation leaves for one that follows it by `then`.
enum class Leaves { kResult, kItsInput, kNothing };

struct Operations {
    void (*add)(CLI::App &, Action &);
    const char *group;
    Leaves leaves = Leaves::kResult;
};

constexpr char kLook[] = "Look and measure", kExtract[] = "Extract", kFlow[] = "Follow and place",
               kDerive[] = "Derive", kArrays[] = "Grids and arrays", kMake[] = "Make meshes",
               kMore[] = "More";
constexpr Operations kOperations[] = {
    {add_info, kLook, Leaves::kItsInput},
    {add_integrate, kLook, Leaves::kItsInput},
    {add_probe, kLook},
    {add_iso, kExtract},
    {add_lines, kExtract},
    {add_band, kExtract},
    {add_cut, kExtract},
    {add_slice, kExtract},
    {add_trace, kExtract},
    {add_denull, kExtract},
    {add_faces, kExtract},
    {add_edges, kExtract},
    {add_stream, kFlow},
    {add_glyph, kFlow},
    {add_derivatives, kDerive},
    {add_cell2node, kDerive},
    {add_downsize, kArrays},
    {add_resample, kArrays},
    {add_smooth, kArrays},
    {add_clamp, kArrays},
    {add_threshold, kArrays},
    {add_calc, kArrays},
    {add_fit, kArrays, Leaves::kNothing},
    {add_scatter, kMake},
    {add_delaunay, kMake},
    {add_simplify, kMake},
    {add_loft, kMake},
    {add_completion, kMore, Leaves::kNothing},
};

constexpr char kThen[] = "then", kAlso[] = "also";
constexpr char kMoreThanOne[] =
    "More than one operation, without files between them: 'then' works on what the operation before made,\n"
    "'also' on what that one worked on. A call may start with the field alone:\n"
    "  isofield head.nii.gz then smooth --sigma 1 then iso --level 70 -o skin.vtp also slice --normal 0,0,1 "
    "-o s.vtp\n"
    "An operation that another one follows needs no -o.\n"
    "\n"
    "Options of an operation: isofield OPERATION --help";

// The words of one operation, or the field alone that a call may start with.
struct Stage {
    std::string link;  // what joins it to the one before; empty: it is the first
    std::vector<std::string> words;
};

bool is_link(const std::string &word) {
    return word == kThen || word == kAlso;
}

// Throws UsageError where a link joins nothing.
std::vector<Stage> stages_of(int argc, const char *const *argv) {
    std::vector<Stage> stages(1);
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (!is_link(word)) {
            stages.back().words.push_back(word);
            continue;
        }
        if (stages.back().words.empty())
            throw UsageError("'" + word + "' follows an operation or a field; there is none before it");
        stages.push_back({word, {}});
    }
    if (stages.size() > 1 && stages.back().words.empty())
        throw UsageError("name the operation after '" + stages.back().link + "'");
    return stages;
}

const Operations *operations_with(const std::string &name) {
    for (const Operations &operations : kOperations) {
        Action unused;
        CLI::App tool;
        operations.add(tool, unused);
        for (const CLI::App *command : tool.get_subcommands({})) {
            if (command->get_name() == name) return &operations;
        }
    }
    return nullptr;
}

bool names_output(const std::vector<std::string> &words) {
    return std::any_of(words.begin(), words.end(), [](const std::string &word) {
        return word.starts_with("-o") || word == "--output" || word.starts_with("--output=");
    });
}

std::string first_positional(const CLI::App &command) {
    for (const CLI::Option *option : command.get_options()) {
        if (option->get_positional() && option->count() > 0) return option->results().front();
    }
    return {};
}

// One line, and where to read more.
void tell_of_refused(const CLI::App &tool, const CLI::ParseError &error, const Stage &stage) {
    const auto chosen = tool.get_subcommands();
    const std::string first = stage.words.empty() ? "" : stage.words.front();
    std::error_code unused;
    if (chosen.empty() && std::filesystem::is_regular_file(first, unused))
        return print_error("name what to do with '" + first + "', as in 'isofield info " + first +
                           "'; see 'isofield --help'");
    if (chosen.empty() && !first.starts_with('-')) {
        std::string names;
        for (const CLI::App *command : tool.get_subcommands({})) add_item(names, command->get_name());
        const std::string problem =
            first.empty() ? "name an operation" : "there is no operation '" + first + "'";
        return print_error(problem + "; operations are " + names + ", see 'isofield --help'");
    }
    const std::string command = chosen.empty() ? "isofield" : "isofield " + chosen.front()->get_name();
    std::string problem = error.what();
    if (!stage.link.empty() && dynamic_cast<const CLI::ExtrasError *>(&error))
        problem += " (after '" + stage.link + "' the field is given already)";
    print_error(problem + "; see '" + command + " --help'");
}

// The stages one after the other: what each takes and leaves.
class Planner {
  public:
    explicit Planner(std::vector<Job> &jobs) : jobs_(jobs) {}

    // `next` is what joins the stage that follows, empty when there is none.
    std::optional<int> add(const Stage &stage, const std::string &next) {
        const std::string name = stage.words.empty() ? "" : stage.words.front();
        const Operations *operations = operations_with(name);
        if (stage.link.empty() && next == kThen && stage.words.size() == 1 && !operations) {
            left_ = name;  // the field alone
            return {};
        }
        Job job;
        std::vector<std::string> words = stage.words;
        if (!stage.link.empty()) words.insert(words.begin() + 1, stage.link == kThen ? left_ : taken_);
        const bool goes_on = operations && next == kThen;
        if (goes_on && operations->leaves == Leaves::kNothing)
            throw UsageError("'" + name + "' leaves no field to go on with; let it come last");
        if (goes_on && operations->leaves == Leaves::kResult) {
            job.result = "result " + std::to_string(jobs_.size() + 1) + " (" + name + ")";
            if (!names_output(words)) words.insert(words.end(), {"--output", job.result});
        }
        const auto tool = make_tool(job.action);
        try {
            std::reverse(words.begin(), words.end());  // as the parser takes them
            tool->parse(std::move(words));
        } catch (const CLI::Success &request) {  // --help, --version
            return tool->exit(request);
        } catch (const CLI::ParseError &error) {
            tell_of_refused(*tool, error, stage);
            return kBadInput;
        }
        job.operation = name;
        job.input = taken_ = first_positional(*tool->get_subcommands().front());
        left_ = job.result.empty() ? job.input : job.result;
        jobs_.push_back(std::move(job));
        return {};
    }

  private:
    std::vector<Job> &jobs_;
    std::string taken_, left_;  // by the stage before
};

}  // namespace

std::unique_ptr<CLI::App> make_tool(Action &chosen) {
    auto tool = std::make_unique<CLI::App>(
        "Derived geometry and data from fields: files in, surfaces, lines, parts, values and pictures out.",
        "isofield");
    tool->set_version_flag("--version", "isofield " ISOFIELD_TOOL_VERSION);
    tool->require_subcommand(1);
    tool->formatter(std::make_shared<HelpFormatter>());
    for (const Operations &operations : kOperations) {
        const std::size_t before = tool->get_subcommands({}).size();
        operations.add(*tool, chosen);
        const auto commands = tool->get_subcommands({});
        for (std::size_t i = before; i < commands.size(); ++i) commands[i]->group(operations.group);
    }
    tool->footer(kMoreThanOne);  // of itself alone: operations take over what they find
    return tool;
}

std::optional<int> take_arguments(int argc, const char *const *argv, std::vector<Job> &jobs) {
    try {
        const std::vector<Stage> stages = stages_of(argc, argv);
        Planner planner(jobs);
        for (std::size_t i = 0; i < stages.size(); ++i) {
            const std::string next = i + 1 < stages.size() ? stages[i + 1].link : "";
            if (const auto code = planner.add(stages[i], next)) return code;
        }
    } catch (const UsageError &error) {
        print_error(error.what());
        return kBadInput;
    }
    return {};
}

}  // namespace app
