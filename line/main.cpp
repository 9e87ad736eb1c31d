#include <iterator>
#include <memory>
#include <new>

#include "EcrComm/CommChannels/Linux/LineSettings.h"
#include "IniFile.h"
#include "LineOptions.h"
#include "Options/CommandLine.h"
#include "Outcome/Failure.h"
#include "Outcome/Hints.h"
#include "PortList.h"
#include "Recording.h"
#include "SerialLine.h"
#include "Serve.h"
#include "System/Interrupt.h"
#include "System/Output.h"
#include "Tap.h"

namespace {

bool isStopped = false;  // a signal is the usual end of a tap

ReturnCode List(const LineOptions&) {
    const std::vector<std::string> ports = DescribePorts();
    for (const std::string& port : ports) Print(port + "\n");
    if (ports.empty()) Print("This machine has no serial port.\n");
    return ReturnCode_OK;
}

ReturnCode Probe(const LineOptions&) {
    CatchInterrupts();
    SerialLine line;
    const bool isHeldBack = line.IsHeldBack();
    Print("Modem lines: " + line.DescribeModemLines() + "\n");
    if (isHeldBack) {
        Print("CTS is off: the register is off or the cable has no CTS: nothing can be sent.\n");
        return ReturnCode_CommunicationError;
    }
    const LineSettings configured = ParseLineSettings(IniFile::GetString(settings::comSettings.name, ""));
    const std::vector<ProbeResult> results =
        ProbeLine(line, configured, [](const ProbeResult& result) { Print(Describe(result) + "\n"); });
    Print("Modem lines: " + line.DescribeModemLines() + "\n" + Advise(results, IniFile::GetFile()));
    return FindAnswer(results) != nullptr ? ReturnCode_OK : ReturnCode_CommunicationError;
}

ReturnCode RunTap(const LineOptions& options) {
    CatchInterrupts();
    ComPort port;
    port.Open();
    const auto recording = options.recordPath.empty()
                               ? nullptr
                               : std::make_unique<Recording>(options.recordPath, options.arePasswordsShown);
    const Trace trace(options.trace, recording.get());
    Tap tap(port, trace);
    Terminal terminal({});
    terminal.SetRecording(recording.get());
    Print("TTY=" + terminal.GetName() + "\n");
    Serve(terminal, tap, false);
    isStopped = true;
    return ReturnCode_OK;
}

constexpr struct {
    const char* name;
    const char* meaning;
    ReturnCode (*run)(const LineOptions& options);
} actions[] = {
    {"list", "a line for each serial port: the name to write behind TTY =, driver, adapter, rights, holder",
     List},
    {"probe", "find out who answers, and with which line settings; the register is not asked to do anything",
     Probe},
    {"tap", "stand between tool and register: give a TTY to the tool, and show what passes", RunTap}};

std::string GetUsage() {
    std::string text =
        "Usage: tavo-line ACTION [options] [/Name=Value ...]\n"
        "The serial line itself, with the port and the settings that tavo would use.\n\n";
    for (const auto& action : actions) text += Format("  %-17s %s\n", action.name, action.meaning);
    return text + "\n" + FormatOptionHelp(GetLineOptionHelp(), 17);
}

ReturnCode Run(int argc, char* argv[]) {
    const LineOptions options = ParseLineOptions(argc, argv);
    if (options.isHelpRequested || options.isVersionRequested) {
        Print(options.isHelpRequested ? GetUsage() : GetVersionText("tavo-line"));
        return ReturnCode_OK;
    }
    for (const auto& action : actions) {
        if (options.action != action.name) continue;
        LoadSettings(options.words);
        HintAtSettings();
        return action.run(options);
    }
    Print("There is no action " + Printable(options.action) + ".\n\n" + GetUsage());
    return ReturnCode_CmdLineError;
}

ReturnCode RunToEnd(int argc, char* argv[]) {
    try {
        return Run(argc, argv);
    } catch (Exception* e) {
        const ReturnCode status = HandleException(e);
        HintAtStatus(status);
        return status;
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    OpenStandardDescriptors();
    try {
        const ReturnCode status = RunToEnd(argc, argv);
        if (const int interrupt = GetInterrupt(); interrupt != 0 && !isStopped) EndByInterrupt(interrupt);
        return status;
    } catch (const std::bad_alloc&) {
        PrintNoMemory();
        return ReturnCode_SystemError;
    }
}
