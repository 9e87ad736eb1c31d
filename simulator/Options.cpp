#include "Options.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "EcrComm/CommChannels/FrameVersion.h"
#include "EcrComm/CommChannels/Linux/LineSettings.h"
#include "Exceptions.h"

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

void SetComSettings(Options& options, const std::string& value) {
    try {
        MakeTermios(ParseLineSettings(value));
    } catch (SystemException* e) {
        delete e;
        throw new CommandLineException("'" + value +
                                       "' has a speed, parity or count of bits that no line has");
    }
    options.comSettings = value;
}

void SetVersion(Options& options, const std::string& value) {
    options.version = ParseNumber(value, 1, newestFrameVersion);
}

constexpr ProgramOption<Options> optionTable[] = {
    {"--data", "DIR", "keep the sections in this folder as files; without it they end with the program",
     [](Options& o, const std::string& v) { o.dataDirectory = v; }},
    {"--frame-version", "@VERSIONS@", "version of the frames that the register understands (3)", SetVersion},
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
    {"--ack-time", "MS", "wait so long for an acknowledgement before a frame is sent again (1000)",
     [](Options& o, const std::string& v) { o.ackTime = ParseNumber(v, 1, 1000000); }},
    {"--reject", "KEY[:FIELD]",
     "refuse record KEY: bad data in field FIELD (from 1), or not to be updated; may be repeated", AddReject},
    {"--busy", nullptr, "answer requests with busy", [](Options& o, const std::string&) { o.isBusy = true; }},
    {"--not-activated", nullptr, "answer requests with not activated",
     [](Options& o, const std::string&) { o.isNotActivated = true; }},
    {"--timeout-after", "N", "give the session up after N records received (never)",
     [](Options& o, const std::string& v) { o.giveUpAfter = ParseNumber(v, 1, INT_MAX); }},
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
    {"--tty", "NAME", "serve on this serial port below /dev/, in place of a pseudo-terminal",
     [](Options& o, const std::string& v) { o.tty = v; }},
    {"--com-settings", "TEXT",
     "line settings as the tool's ComSettings; a pseudo-terminal takes bytes of another speed, stop bits or "
     "odd "
     "parity for noise",
     SetComSettings},
    {"--once", nullptr, "end when the other side hangs up",
     [](Options& o, const std::string&) { o.isOnce = true; }},
    {"--trace", nullptr, "print a line for each thing on the wire",
     [](Options& o, const std::string&) { o.trace = TraceForm::Text; }},
    {"--trace=json", nullptr, "print a JSON object for each thing on the wire, one a line",
     [](Options& o, const std::string&) { o.trace = TraceForm::Json; }},
    {"--record", "FILE", "keep the traffic in this file, as text with times and meanings",
     [](Options& o, const std::string& v) { o.recordPath = v; }},
    {"--show-passwords", nullptr, "keep passwords in the recording, which hides them otherwise",
     [](Options& o, const std::string&) { o.arePasswordsShown = true; }},
    {"--replay", "FILE",
     "answer as this recording says, in place of a register, to the commands run then; end with status 1 "
     "where the tool departs from it",
     [](Options& o, const std::string& v) { o.replayPath = v; }},
    {"--help", nullptr, "show this text", [](Options& o, const std::string&) { o.isHelpRequested = true; }},
    {"--version", nullptr, "show the version",
     [](Options& o, const std::string&) { o.isVersionRequested = true; }},
};

/** Options that a replay takes, too: it is in place of a register. */
bool IsForReplay(const std::string& name) {
    const auto names = {"--replay", "--once", "--tty", "--com-settings"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

Options ParseOptions(int argc, char* argv[]) {
    Options options;
    const CommandWords words = ApplyOptions(optionTable, argc, argv, options);
    if (!words.others.empty()) throw new CommandLineException("unknown option " + words.others[0]);
    const bool isReplay =
        !options.replayPath.empty() && !options.isHelpRequested && !options.isVersionRequested;
    if (isReplay && !std::all_of(words.options.begin(), words.options.end(), IsForReplay))
        throw new CommandLineException(
            "--replay is in place of a register: of the other options it takes --once, --tty and "
            "--com-settings");
    if (options.isLogoShown && options.trace == TraceForm::Json)
        throw new CommandLineException("--show-logo draws a picture, which is no JSON object");
    return options;
}

std::vector<OptionHelp> GetOptionHelp() {
    std::vector<OptionHelp> help = GetOptionHelp(optionTable);
    for (OptionHelp& option : help) option.argument = WithFrameVersions(option.argument);
    return help;
}

std::string GetHelp() {
    return "Usage: ecrsim [options]\n"
           "A simulated cash register on a pseudo-terminal, to run tavo on without a register.\n"
           "Its first line, TTY=pts/N, is the setting to give to the tool; it serves until SIGINT or "
           "SIGTERM.\n\n" +
           FormatOptionHelp(GetOptionHelp(), 34) +
           "\nExample:\n"
           "  ecrsim --data /tmp/register --trace &     prints TTY=pts/3\n"
           "  tavo read 3 plu.csv /TTY=pts/3 /LogFilePath=/tmp\n";
}
