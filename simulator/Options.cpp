#include "Options.h"

#include <climits>
#include <cstdlib>

#include "EcrComm/CommChannels/FrameVersion.h"
#include "Exceptions.h"
#include "Format.h"

namespace {

int ParseNumber(const std::string& value, int least, int most) {
    char* end = nullptr;
    const long number = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || number < least || number > most)
        throw new CommandLineException("'" + value + "' is no number from " + std::to_string(least) + " to " +
                                       std::to_string(most));
    return static_cast<int>(number);
}

void AddReject(Options& options, const std::string& value) {
    const size_t colon = value.find(':');
    const int key = ParseNumber(value.substr(0, colon), 0, INT_MAX);
    options.rejects[key] = colon == std::string::npos ? 0 : ParseNumber(value.substr(colon + 1), 1, 255);
}

void AddRefusal(Options& options, const std::string& value) {
    const size_t separator = value.find('=');
    if (separator == std::string::npos) throw new CommandLineException("'" + value + "' is not CODE=ANSWER");
    const int command = ParseNumber(value.substr(0, separator), 0, 255);
    options.refusals[static_cast<byte>(command)] =
        static_cast<byte>(ParseNumber(value.substr(separator + 1), 1, 255));
}

void SetVersion(Options& options, const std::string& value) {
    options.version = ParseNumber(value, 1, newestFrameVersion);
}

constexpr struct {
    const char* name;
    const char* argument;  // null: a switch
    const char* help;
    void (*apply)(Options& options, const std::string& value);
} optionTable[] = {
    {"--data", "DIR", "keep the sections in this folder as files; without it they end with the program",
     [](Options& o, const std::string& v) { o.dataDirectory = v; }},
    {"--version", "@VERSIONS@", "version of the frames that the register understands (3)", SetVersion},
    {"--protocol-set", "0|1", "set of protocol identifiers (1)",
     [](Options& o, const std::string& v) { o.protocolSet = ParseNumber(v, 0, 1); }},
    {"--password", "P", "ask for this password before the first request",
     [](Options& o, const std::string& v) { o.password = v; }},
    {"--records-in-packet", "N", "answer after N records, as the tool's setting RecordsInPacket (1)",
     [](Options& o, const std::string& v) { o.recordsInPacket = ParseNumber(v, 1, INT_MAX); }},
    {"--wait", "N", "give N wait answers before a clear or an initialisation is done (0)",
     [](Options& o, const std::string& v) { o.waits = ParseNumber(v, 0, 1000000); }},
    {"--baud", "N", "carry no more than a line of N baud would, at 11 bits a byte (no limit)",
     [](Options& o, const std::string& v) { o.baud = ParseNumber(v, 1, 10000000); }},
    {"--reject", "KEY[:FIELD]",
     "refuse record KEY: bad data in field FIELD (from 1), or not to be updated; may be repeated", AddReject},
    {"--busy", nullptr, "answer requests with busy", [](Options& o, const std::string&) { o.isBusy = true; }},
    {"--not-activated", nullptr, "answer requests with not activated",
     [](Options& o, const std::string&) { o.isNotActivated = true; }},
    {"--timeout-after", "N", "give the session up after N records received (never)",
     [](Options& o, const std::string& v) { o.timeoutAfter = ParseNumber(v, 1, INT_MAX); }},
    {"--refuse", "CODE=ANSWER",
     "answer fiscal command CODE with this code (1 unknown, 2 key lock, 4 bad data, ...)", AddRefusal},
    {"--fiscal-wait", "N", "give N wait answers before a fiscal command is done (0)",
     [](Options& o, const std::string& v) { o.fiscalWaits = ParseNumber(v, 0, 1000000); }},
    {"--show-logo", nullptr, "show a picture that was written as block characters",
     [](Options& o, const std::string&) { o.isLogoShown = true; }},
    {"--fault", "NAME=RATE,...",
     "spoil bytes both ways: drop, flip, duplicate, truncate, delay, noise, stx, etx, ack, nak; RATE from 0 "
     "to 1",
     [](Options& o, const std::string& v) { ParseFaultRates(v, o.faultRates); }},
    {"--seed", "N", "begin the random faults with this number (1)",
     [](Options& o, const std::string& v) { o.seed = static_cast<unsigned>(ParseNumber(v, 0, INT_MAX)); }},
    {"--once", nullptr, "end when the other side hangs up",
     [](Options& o, const std::string&) { o.isOnce = true; }},
    {"--trace", nullptr, "print a line for each thing on the wire",
     [](Options& o, const std::string&) { o.isTraced = true; }},
    {"--record", "FILE", "keep the traffic in this file, as text with times and meanings",
     [](Options& o, const std::string& v) { o.recordPath = v; }},
    {"--replay", "FILE",
     "answer as this recording says, in place of a register, to the commands run then; end with status 1 "
     "where the tool departs from it",
     [](Options& o, const std::string& v) { o.replayPath = v; }},
    {"--help", nullptr, "show this text", [](Options& o, const std::string&) { o.isHelpRequested = true; }},
};

}  // namespace

Options ParseOptions(int argc, char* argv[]) {
    Options options;
    bool isRegister = false;
    for (int i = 1; i < argc; i++) {
        const std::string name = argv[i];
        bool isKnown = false;
        for (const auto& option : optionTable) {
            if (name != option.name) continue;
            isKnown = true;
            if (option.argument != nullptr && ++i == argc)
                throw new CommandLineException(name +
                                               " needs an argument: " + WithFrameVersions(option.argument));
            try {
                option.apply(options, option.argument != nullptr ? argv[i] : "");
            } catch (CommandLineException* e) {
                const CommandLineException cause = *e;
                delete e;
                throw new CommandLineException(name + ": " + cause.GetLogMessage());
            }
        }
        if (!isKnown) throw new CommandLineException("unknown option " + name);
        isRegister = isRegister || (name != "--replay" && name != "--once" && name != "--help");
    }
    if (!options.replayPath.empty() && isRegister)
        throw new CommandLineException(
            "--replay is in place of a register: of the other options it takes --once only");
    return options;
}

std::vector<OptionHelp> GetOptionHelp() {
    std::vector<OptionHelp> help;
    for (const auto& option : optionTable)
        help.push_back(
            {option.name, option.argument != nullptr ? WithFrameVersions(option.argument) : "", option.help});
    return help;
}

std::string GetHelp() {
    std::string text =
        "Usage: ecrsim [options]\n"
        "A simulated cash register on a pseudo-terminal, to run tavo on without a register.\n"
        "Its first line, TTY=pts/N, is the setting to give to the tool; it serves until SIGINT or "
        "SIGTERM.\n\n";
    for (const OptionHelp& option : GetOptionHelp())
        text += Format("  %-34s %s\n", (option.name + " " + option.argument).c_str(), option.meaning.c_str());
    return text +
           "\nExample:\n"
           "  ecrsim --data /tmp/register --trace &     prints TTY=pts/3\n"
           "  tavo read 3 plu.csv /TTY=pts/3 /LogFilePath=/tmp\n";
}
