// completions: what a shell needs to complete command lines, from the commands and options themselves.
#include "commands.h"

#include <algorithm>

namespace haldoctl
{

namespace
{

// What the shells are told of a level of commands. Its name is " session show", that of the root is empty.
struct value {
    bool is_file = false;
    std::string words; // those that it can be, if they are known
};
struct option {
    std::vector<std::string> names; // "--period"
    std::string description;
    bool has_value;
    value takes;
};
struct level {
    std::string name;
    std::string description;
    std::vector<option> options;
    value operand;
};

value taken_by(const CLI::Option* one)
{
    const std::string type = one->get_type_name();
    value found;
    found.is_file = (type + one->get_name()).find("FILE") != std::string::npos;
    if (const std::size_t open = type.find('{'); open != std::string::npos) {
        found.words = type.substr(open + 1, type.find('}') - open - 1);
        std::ranges::replace(found.words, ',', ' ');
    }
    return found;
}

void collect_levels(const CLI::App& app, const std::string& name, std::vector<level>& all)
{
    level here{name, app.get_description(), {}, {}};
    for (const CLI::Option* const one : app.get_options()) {
        const value takes = taken_by(one);
        if (one->get_positional()) {
            here.operand.is_file |= takes.is_file;
            here.operand.words += (here.operand.words.empty() ? "" : " ") + takes.words;
            continue;
        }
        option added{{}, one->get_description(), one->get_items_expected_max() != 0, takes};
        for (const std::string& letter : one->get_snames())
            added.names.push_back("-" + letter);
        for (const std::string& word : one->get_lnames())
            added.names.push_back("--" + word);
        here.options.push_back(added);
    }
    all.push_back(here);
    for (const CLI::App* const below : app.get_subcommands(nullptr))
        collect_levels(*below, name + " " + below->get_name(), all);
}

// The words that can stand right behind a level's name.
std::vector<std::string> words_behind(const level& here, const std::vector<level>& all)
{
    std::vector<std::string> words;
    for (const level& other : all)
        if (other.name.size() > here.name.size() && other.name.substr(0, other.name.rfind(' ')) == here.name)
            words.push_back(other.name.substr(other.name.rfind(' ') + 1));
    if (!here.operand.words.empty())
        words.push_back(here.operand.words);
    for (const option& one : here.options)
        words.insert(words.end(), one.names.begin(), one.names.end());
    return words;
}

std::string joined(const std::vector<std::string>& words, const std::string& between)
{
    std::string all;
    for (const std::string& word : words)
        all += (all.empty() ? "" : between) + word;
    return all;
}

// In bash and zsh alike: goes over the words before the one that is completed, and leaves in $words_here what can stand
// there, and in $files whether a file can.
std::string walk(const std::vector<level>& all, const std::string& words_before)
{
    std::string text = "    local level='' value='' files='' words_here='' word\n"
                       "    for word in " +
                       words_before +
                       "; do\n"
                       "        value=''\n"
                       "        case \"$level $word\" in\n";
    std::vector<std::string> names;
    for (const level& here : all)
        if (!here.name.empty())
            names.push_back("'" + here.name + "'");
    text += "        " + joined(names, " | ") + ") level=\"$level $word\" ;;\n";
    for (const level& here : all) {
        for (const option& one : here.options) {
            if (!one.has_value)
                continue;
            std::vector<std::string> patterns;
            for (const std::string& name : one.names)
                patterns.push_back("'" + here.name + " " + name + "'");
            text += "        " + joined(patterns, " | ") + ") value=yes files=" + (one.takes.is_file ? "yes" : "''") +
                    " words_here='" + one.takes.words + "' ;;\n";
        }
    }
    text += "        esac\n"
            "    done\n"
            "    if [[ -z $value ]]; then\n"
            "        files='' words_here=''\n"
            "        case \"$level\" in\n";
    for (const level& here : all)
        text += "        '" + here.name + "') files=" + (here.operand.is_file ? "yes" : "''") + " words_here='" +
                joined(words_behind(here, all), " ") + "' ;;\n";
    return text + "        esac\n"
                  "    fi\n";
}

std::string bash(const std::vector<level>& all)
{
    return "# bash completion for haldoctl\n"
           "_haldoctl() {\n" +
           walk(all, "\"${COMP_WORDS[@]:1:COMP_CWORD-1}\"") +
           "    mapfile -t COMPREPLY < <(compgen -W \"$words_here\" ${files:+-f} -- \"${COMP_WORDS[COMP_CWORD]}\")\n"
           "    if [[ -n $files ]]; then\n"
           "        compopt -o filenames 2>/dev/null\n"
           "    fi\n"
           "}\n"
           "complete -F _haldoctl haldoctl\n";
}

std::string zsh(const std::vector<level>& all)
{
    return "#compdef haldoctl\n"
           "_haldoctl() {\n" +
           walk(all, "\"${(@)words[2,CURRENT-1]}\"") +
           "    compadd -- ${=words_here}\n"
           "    if [[ -n $files ]]; then\n"
           "        _files\n"
           "    fi\n"
           "}\n"
           "# Found by name it is the function's body, and is asked at once.\n"
           "if [[ ${funcstack[1]} == _haldoctl ]]; then\n"
           "    _haldoctl \"$@\"\n"
           "else\n"
           "    compdef _haldoctl haldoctl\n"
           "fi\n";
}

// A word between single quotes of fish.
std::string fish_quoted(const std::string& text)
{
    std::string all = "'";
    for (const char c : text)
        all += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return all + "'";
}

std::string fish(const std::vector<level>& all)
{
    std::string text = "# fish completion for haldoctl\n"
                       "function __haldoctl_is_at\n"
                       "    set -l level ''\n"
                       "    set -l before (commandline -opc)\n"
                       "    set -e before[1]\n"
                       "    for word in $before\n"
                       "        if contains -- \"$level $word\"";
    for (const level& here : all)
        if (!here.name.empty())
            text += " " + fish_quoted(here.name);
    text += "\n"
            "            set level \"$level $word\"\n"
            "        end\n"
            "    end\n"
            "    test \"$level\" = \"$argv[1]\"\n"
            "end\n"
            "complete -c haldoctl -f\n";
    for (const level& here : all) {
        const std::string at = "complete -c haldoctl -n " + fish_quoted("__haldoctl_is_at " + fish_quoted(here.name));
        if (!here.name.empty())
            text += "complete -c haldoctl -n " +
                    fish_quoted("__haldoctl_is_at " + fish_quoted(here.name.substr(0, here.name.rfind(' ')))) + " -a " +
                    here.name.substr(here.name.rfind(' ') + 1) + " -d " + fish_quoted(here.description) + "\n";
        for (const option& one : here.options) {
            text += at;
            for (const std::string& name : one.names)
                text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
            text += !one.has_value ? "" : one.takes.is_file ? " -r" : " -x";
            text += one.takes.is_file ? " -F" : "";
            text += one.takes.words.empty() ? "" : " -a " + fish_quoted(one.takes.words);
            text += " -d " + fish_quoted(one.description) + "\n";
        }
        if (here.operand.is_file)
            text += at + " -F\n";
        if (!here.operand.words.empty())
            text += at + " -a " + fish_quoted(here.operand.words) + "\n";
    }
    return text;
}

json completions(invocation& given, const CLI::App& root, const std::string& shell)
{
    std::vector<level> all;
    collect_levels(root, "", all);
    given.text = shell == "bash" ? bash(all) : shell == "zsh" ? zsh(all) : fish(all);
    return {{"shell", shell}, {"script", *given.text}};
}

} // namespace

void add_completions(command_line& line)
{
    auto shell = std::make_shared<std::string>();
    line.add(line.root(), "completions", "Print what a shell needs to complete command lines",
             [=, &line](invocation& given) { return completions(given, line.root(), *shell); })
        ->add_option("SHELL", *shell, "The shell")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
}

} // namespace haldoctl
