// isofield completion: scripts that complete the tool's command line, made from its operations and options.
#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <sstream>

#include "command_line.hpp"
#include "help.hpp"
#include "operations.hpp"
#include "options.hpp"

namespace app {
namespace {

// ---- What can be completed ----

struct Choice {
    std::vector<std::string> names;
    std::string description;
    std::string type;   // empty: a flag
    std::string takes;  // words to choose from and extensions of files, between blanks
};

struct Operation {
    std::string name, description;
    std::vector<Choice> options;
    std::string inputs;  // as an option takes them
};

// The words of a description that are extensions.
std::string extensions_in(const std::string &text) {
    std::istringstream words(text);
    std::string list;
    for (std::string word; words >> word;) {
        const auto other = [](unsigned char c) { return !std::isalnum(c) && c != '.'; };
        word.erase(std::find_if(word.begin(), word.end(), other), word.end());
        if (word.size() > 1 && word.front() == '.') add_item(list, word);
    }
    return list;
}

// The words in small letters of a type.
std::string choices_in(const std::string &type) {
    std::istringstream words(type);
    std::string list;
    for (std::string word; std::getline(words, word, '|');) {
        if (std::none_of(word.begin(), word.end(), [](unsigned char c) { return std::isupper(c); }))
            add_item(list, word);
    }
    return list;
}

Choice choice_of(const CLI::Option &option) {
    Choice choice{names_of(option), option.get_description(), type_of(option), ""};
    choice.takes = choices_in(choice.type);
    const std::string extensions = extensions_in(choice.description);
    if (!extensions.empty()) add_item(choice.takes, extensions);
    return choice;
}

std::vector<Operation> operations_of(const CLI::App &tool) {
    std::vector<Operation> operations;
    for (const CLI::App *command : tool.get_subcommands({})) {
        Operation &operation = operations.emplace_back();
        operation.name = command->get_name();
        operation.description = command->get_description();
        for (const CLI::Option *option : command->get_options()) {
            const Choice choice = choice_of(*option);
            if (!option->get_positional()) operation.options.push_back(choice);
            if (option->get_positional()) add_item(operation.inputs, choice.takes);
        }
    }
    return operations;
}

// Of the files that a call may start with.
std::string all_inputs(const std::vector<Operation> &operations) {
    return operations.front().inputs;  // info takes them all
}

std::string joined(const std::vector<std::string> &names, const char *separator) {
    std::string text;
    for (const std::string &name : names) add_item(text, name, separator);
    return text;
}

// Text to stand between single quotes: `quote` in the place of its own, a backslash before each of `special`.
std::string quoted(const std::string &text, const std::string &special, const std::string &quote) {
    std::string out;
    for (const char c : text) {
        if (special.find(c) != std::string::npos) out += '\\';
        c == '\'' ? out += quote : out += c;
    }
    return out;
}

// ---- Scripts ----
//
// `then` and `also` part a call into stages, of which the last one is completed: an operation, after it the
// text of an option, options, or inputs.

constexpr char kBash[] = R"script(
_isofield_offer() {  # words and .extensions
    local word=$1 item files=
    shift
    for item; do
        case $item in
        .*) files=1; mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -X "!*$item" -- "$word") ;;
        *) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$item" -- "$word") ;;
        esac
    done
    [[ $files ]] || return
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -- "$word")
    compopt -o filenames 2>/dev/null
}

_isofield() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local link= operation= given=0 takes i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        then | also) link=1 operation= given=0 ;;
        *) if [[ $operation ]]; then ((++given)); else operation=${COMP_WORDS[i]}; fi ;;
        esac
    done
    if [[ ! $operation ]]; then
        takes=$(_isofield_takes '' operations)
        [[ $link ]] || takes+=" $(_isofield_takes '' inputs)"
    elif [[ $previous == -* ]] && takes=$(_isofield_takes "$operation" "$previous"); then
        :
    elif [[ $word == -* ]]; then
        takes=$(_isofield_takes "$operation" options)
    elif takes=$(_isofield_takes "$operation" inputs); then
        if ((given)) || [[ $link ]]; then takes+=' then also'; fi
    else
        takes='then also'  # after the input alone
    fi
    _isofield_offer "$word" $takes
}

complete -F _isofield isofield
)script";

void print_bash(const std::vector<Operation> &operations, std::ostream &out) {
    out << "# bash completion of isofield\n\n_isofield_takes() {\n    case $1:$2 in\n";
    const auto add = [&out](const std::string &pattern, const std::string &takes) {
        out << "    " << pattern << ") echo '" << takes << "' ;;\n";
    };
    std::string all;
    for (const Operation &operation : operations) {
        add_item(all, operation.name);
        std::string options;
        for (const Choice &option : operation.options) {
            add_item(options, joined(option.names, " "));
            if (option.type.empty()) continue;
            std::string patterns;
            for (const std::string &name : option.names)
                add_item(patterns, operation.name + ':' + name, " | ");
            add(patterns, option.takes);
        }
        add(operation.name + ":options", options);
        add(operation.name + ":inputs", operation.inputs);
    }
    add(":operations", all);
    add(":inputs", all_inputs(operations));
    out << "    *) return 1 ;;\n    esac\n}\n" << kBash;
}

constexpr char kZshStart[] = R"script(#compdef isofield

_isofield_offer() {  # words and .extensions
    local -a endings=(${(M)@:#.*}) choices=(${@:#.*})
    (( $#choices )) && compadd -- $choices
    (( $#endings )) && _files -g "*(${(j:|:)endings})"
}

_isofield() {
    local -i i start=1
    for (( i = 2; i < CURRENT; ++i )); do
        [[ $words[i] == (then|also) ]] && start=i
    done
    words=(isofield "${(@)words[start+1,-1]}")
    (( CURRENT -= start - 1 ))
    local -a go_on operations
    (( CURRENT > 3 || start > 1 )) && go_on=(then also)
)script";

constexpr char kZshMiddle[] = R"script(
    if (( CURRENT == 2 )); then
        _describe operation operations
        (( start > 1 )) || _isofield_offer $inputs
        return
    fi
    shift words
    (( --CURRENT ))
    case $words[1] in
)script";

void print_zsh(const std::vector<Operation> &operations, std::ostream &out) {
    const auto quote = [](const std::string &text, const char *special) {
        return quoted(text, special, "'\\''");
    };
    out << kZshStart << "    local -a inputs=(" << all_inputs(operations) << ")\n    operations=(\n";
    for (const Operation &operation : operations)
        out << "        '" << operation.name << ':' << quote(operation.description, "") << "'\n";
    out << "    )" << kZshMiddle;
    for (const Operation &operation : operations) {
        out << "    " << operation.name << ")\n        _arguments \\\n";
        for (const Choice &option : operation.options) {
            const std::string names = joined(option.names, ",");
            out << "            '*'" << (option.names.size() > 1 ? '{' + names + '}' : names) << "'["
                << quote(option.description, "[]:") << ']';
            if (!option.type.empty())
                out << ':' << quote(option.type, ":") << ": _isofield_offer " << option.takes;
            out << "' \\\n";
        }
        out << "            \"*:input: _isofield_offer " << operation.inputs << " $go_on\" ;;\n";
    }
    out << "    *) compadd then also ;;\n    esac\n}\n\n_isofield \"$@\"\n";
}

constexpr char kFish[] = R"script(# fish completion of isofield

function __isofield_stage  # its link, or first, its operation and the other words
    set -l words (commandline -opc)
    set -l stage first $words[2..]
    for i in (seq (count $words))
        contains -- $words[$i] then also; and set stage $words[$i..]
    end
    printf '%s\n' $stage
end
function __isofield_starts
    set -l stage (__isofield_stage)
    test (count $stage) -eq 1; and string match -q -- "$argv" $stage
end
function __isofield_at
    set -l stage (__isofield_stage)
    test "$stage[2]" = $argv[1]
end
function __isofield_goes_on
    set -l stage (__isofield_stage)
    test (count $stage) -gt 1; or return 1
    test (count $stage) -gt 2 -o $stage[1] != first; or not contains -- $stage[2] $argv
end
function __isofield_offer  # words and .extensions
    for item in $argv
        switch $item
            case '.*'
                set -l found (commandline -ct)*$item
                printf '%s\n' $found
            case '*'
                echo $item
        end
    end
    string match -q '.*' -- $argv; and __fish_complete_directories (commandline -ct) ''
end

complete -c isofield -f
)script";

void print_fish(const std::vector<Operation> &operations, std::ostream &out) {
    const auto quote = [](const std::string &text) { return quoted(text, "\\", "\\'"); };
    out << kFish << "complete -c isofield -n '__isofield_starts first' -a '(__isofield_offer "
        << all_inputs(operations) << ")'\n";
    std::string all;
    for (const Operation &operation : operations) {
        add_item(all, operation.name);
        const std::string at = "complete -c isofield -n '__isofield_at " + operation.name + "'";
        out << "complete -c isofield -n '__isofield_starts \"*\"' -a " << operation.name << " -d '"
            << quote(operation.description) << "'\n"
            << at << " -a '(__isofield_offer " << operation.inputs << ")'\n";
        for (const Choice &option : operation.options) {
            out << at;
            for (const std::string &name : option.names)
                out << (name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1));
            if (!option.type.empty()) out << " -x";
            if (!option.takes.empty()) out << " -a '(__isofield_offer " << option.takes << ")'";
            out << " -d '" << quote(option.description) << "'\n";
        }
    }
    out << "complete -c isofield -n '__isofield_goes_on " << all << "' -a 'then also'\n";
}

struct CompletionOptions {
    std::string shell;
};

void run_completion(const CompletionOptions &options) {
    Action unused;
    const auto tool = make_tool(unused);
    const std::vector<Operation> operations = operations_of(*tool);
    const auto print = options.shell == "bash" ? print_bash : options.shell == "zsh" ? print_zsh : print_fish;
    print(operations, std::cout);
}

}  // namespace

void add_completion(CLI::App &tool, Action &chosen) {
    CLI::App *command =
        tool.add_subcommand("completion", "Write a script that completes the command line in a shell");
    const auto options = std::make_shared<CompletionOptions>();
    command->add_option("SHELL", options->shell, "Shell to complete for: bash, zsh or fish")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}))
        ->type_name("bash|zsh|fish")
        ->required();
    command->footer(examples({"completion bash > isofield.bash"}));
    command->callback([options, &chosen] { chosen = [options](Console &) { run_completion(*options); }; });
}

}  // namespace app
