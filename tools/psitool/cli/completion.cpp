#include "cli/commandLine.h"

#include <map>

namespace psitool {

namespace {

/** The words of a list, behind and between something. */
std::string joinedWords(const std::vector<std::string> &words, const char *between)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : between) + word;
    return text;
}

/** In single quotes, as all three shells read them. */
std::string quoted(const std::string &text)
{
    std::string result = "'";
    for (const char letter : text)
        result += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    return result + "'";
}

std::vector<std::string> namesOf(const CommandLine &line)
{
    std::vector<std::string> names;
    for (const CommandEntry &command : line)
        if (!command.name.empty())
            names.push_back(command.name);
    return names;
}

/** The shells' scripts begin with a line of their own, and say who made them. */
std::string origin(const char *shell)
{
    return std::string("# Completion of psitool's command lines; \"psitool completion ") + shell + "\" prints it.\n";
}

// bash: one case for the values of options, one for the options.

std::string bashValues(const CommandEntry &command)
{
    std::string cases;
    for (const OptionEntry &option : command.options) {
        if (option.argument || option.value == ValueKind::none)
            continue;
        const char *action = option.value == ValueKind::folder ? "kind=-d" : "kind=-f";
        const std::string words = "words=" + quoted(joinedWords(option.values, " "));
        for (const std::string &name : option.names)
            cases += "        " + command.name + ":" + name + ") " +
                     (!option.values.empty()            ? words
                      : option.value == ValueKind::word ? "return"
                                                        : action) +
                     " ;;\n";
    }
    return cases;
}

std::string bashOptions(const CommandEntry &command, const std::vector<std::string> &more)
{
    std::vector<std::string> words = more;
    bool files = false;
    for (const OptionEntry &option : command.options) {
        files = files || (option.argument && option.value == ValueKind::file);
        if (!option.argument)
            words.insert(words.end(), option.names.begin(), option.names.end());
    }
    return "        " + command.name + ":*) words=" + quoted(joinedWords(words, " ")) + (files ? " kind=-f" : "") +
           " ;;\n";
}

std::string bash(const CommandLine &line)
{
    const std::vector<std::string> commands = namesOf(line);
    std::string cases;
    for (const CommandEntry &command : line)
        cases +=
            bashValues(command) + bashOptions(command, command.name.empty() ? commands : std::vector<std::string>{});
    return origin("bash") +
           "_psitool()\n"
           "{\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command= kind= words= word\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case $word in " +
           joinedWords(commands, "|") +
           ") command=$word; break ;; esac\n"
           "    done\n"
           "    case $command:$before in\n" +
           cases +
           "    esac\n"
           "    if [ -n \"$kind\" ] && [[ $current != -* ]]; then\n"
           "        compopt -o filenames 2>/dev/null\n"
           "        mapfile -t COMPREPLY < <(compgen $kind -- \"$current\")\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    fi\n"
           "} && complete -F _psitool psitool\n";
}

// zsh: one call of _arguments for each subcommand.

/** What zsh reads in a specification stands behind a backslash. */
std::string zshText(const std::string &text)
{
    std::string result;
    for (const char letter : text) {
        if (letter == '[' || letter == ']' || letter == ':' || letter == '\\')
            result += '\\';
        result += letter;
    }
    return result;
}

std::string zshValue(const OptionEntry &option)
{
    const std::string what =
        ":" + zshText(option.argument ? option.names[0] : option.form.substr(0, option.form.find(' '))) + ":";
    if (!option.values.empty())
        return what + "(" + joinedWords(option.values, " ") + ")";
    return what + (option.value == ValueKind::folder ? "_files -/" : option.value == ValueKind::file ? "_files" : " ");
}

std::string zshOption(const OptionEntry &option)
{
    std::string specifications;
    if (option.argument)
        return " \\\n                " + quoted((option.repeats ? "*" : "") + zshValue(option));
    for (const std::string &name : option.names)
        specifications +=
            " \\\n                " + quoted((option.repeats ? "*" : "") + name + "[" + zshText(option.help) + "]" +
                                             (option.value == ValueKind::none ? "" : zshValue(option)));
    return specifications;
}

std::string zsh(const CommandLine &line)
{
    std::string words;
    std::string cases;
    for (const CommandEntry &command : line) {
        std::string options;
        for (const OptionEntry &option : command.options)
            options += zshOption(option);
        if (command.name.empty())
            cases += "        '') _arguments" + options + " ;;\n";
        else {
            words += "        " + quoted(zshText(command.name) + ":" + command.help) + "\n";
            cases += "        " + command.name + ") _arguments" + options + " ;;\n";
        }
    }
    return "#compdef psitool\n" + origin("zsh") +
           "_psitool()\n"
           "{\n"
           "    local command=\n"
           "    local -a commands=(\n" +
           words +
           "    )\n"
           "    if (( CURRENT == 2 )); then\n"
           "        _describe -t commands subcommand commands\n"
           "    else\n"
           "        command=$words[2]\n"
           "        shift words\n"
           "        (( CURRENT-- ))\n"
           "    fi\n"
           "    case $command in\n" +
           cases +
           "    esac\n"
           "}\n"
           "if [ \"$funcstack[1]\" = _psitool ]; then _psitool \"$@\"; else compdef _psitool psitool; fi\n";
}

// fish: a line for each option.

std::string fishOption(const std::string &condition, const OptionEntry &option)
{
    std::string text = "complete -c psitool -n " + quoted(condition);
    for (const std::string &name : option.names)
        text += name.size() == 2 ? " -s " + name.substr(1) : " -l " + name.substr(2);
    if (!option.values.empty())
        text += " -x -a " + quoted(joinedWords(option.values, " "));
    else if (option.value == ValueKind::word)
        text += " -x";
    else if (option.value != ValueKind::none)
        text += " -r -F";
    return text + " -d " + quoted(option.help) + "\n";
}

std::string fish(const CommandLine &line)
{
    std::string text = origin("fish") + "complete -c psitool -f\n";
    for (const CommandEntry &command : line) {
        const std::string condition =
            command.name.empty() ? "__fish_use_subcommand" : "__fish_seen_subcommand_from " + command.name;
        if (!command.name.empty())
            text += "complete -c psitool -n __fish_use_subcommand -a " + command.name + " -d " + quoted(command.help) +
                    "\n";
        for (const OptionEntry &option : command.options)
            if (!option.argument)
                text += fishOption(condition, option);
            else if (option.value == ValueKind::file)
                text += "complete -c psitool -n " + quoted(condition) + " -F\n";
    }
    return text;
}

const std::map<std::string, std::string (*)(const CommandLine &)> &scripts()
{
    static const std::map<std::string, std::string (*)(const CommandLine &)> shells{
        {"bash", bash}, {"fish", fish}, {"zsh", zsh}};
    return shells;
}

} // namespace

const std::vector<std::string> &completionShells()
{
    static const std::vector<std::string> shells = [] {
        std::vector<std::string> names;
        for (const auto &[name, script] : scripts())
            names.push_back(name);
        return names;
    }();
    return shells;
}

std::string completion(const CommandLine &line, const std::string &shell)
{
    const auto script = scripts().find(shell);
    return script == scripts().end() ? "" : script->second(line);
}

} // namespace psitool
