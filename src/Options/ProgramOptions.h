#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Exceptions.h"
#include "Format.h"

/** A row in a program's table of options; Options is the program's own structure of what they set. */
template <class Options>
struct ProgramOption {
    const char* name;      // "--trace"; "-h", "-?", "/?" and the like mean "--help"
    const char* argument;  // null: a switch
    const char* help;
    void (*apply)(Options& options, const std::string& value);
};

/** An option as the help, the manual page and the completion show it. */
struct OptionHelp {
    std::string name;
    std::string argument;  // empty for a switch
    std::string meaning;
};

template <class Table>
std::vector<OptionHelp> GetOptionHelp(const Table& table) {
    std::vector<OptionHelp> help;
    for (const auto& row : table)
        help.push_back({row.name, row.argument != nullptr ? row.argument : "", row.help});
    return help;
}

/** A line for each option. */
inline std::string FormatOptionHelp(const std::vector<OptionHelp>& help, int width) {
    std::string text;
    for (const OptionHelp& option : help)
        text += Format("  %-*s %s\n", width, (option.name + " " + option.argument).c_str(),
                       option.meaning.c_str());
    return text;
}

/** The words of a command line. */
struct CommandWords {
    std::vector<std::string> options;  // that were given, without their arguments
    std::vector<std::string> others;
};

/**
 * Applies the options that stand in the command line, in their order.
 * CommandLineException for an unknown option, one without its argument, and what a row makes of a bad one.
 */
template <class Table, class Options>
CommandWords ApplyOptions(const Table& table, int argc, char* argv[], Options& options) {
    CommandWords words;
    for (int i = 1; i < argc; i++) {
        std::string name = argv[i];
        for (const std::string_view helpSwitch : {"-h", "-?", "-help", "/h", "/?", "/help"})
            if ((i == 1 || helpSwitch == "-h") && name == helpSwitch) name = "--help";
        const auto* found = &*std::begin(table);
        while (found != std::end(table) && name != found->name) found++;
        if (found == std::end(table)) {
            if (name.compare(0, 2, "--") == 0)
                throw new CommandLineException("unknown option " + Printable(name));
            words.others.push_back(name);
            continue;
        }
        words.options.push_back(name);
        if (found->argument != nullptr && ++i == argc)
            throw new CommandLineException(name + " needs an argument: " + found->argument);
        try {
            found->apply(options, found->argument != nullptr ? argv[i] : "");
        } catch (CommandLineException* e) {
            const CommandLineException cause = *e;
            delete e;
            throw new CommandLineException(name + ": " + cause.GetLogMessage());
        }
    }
    return words;
}
