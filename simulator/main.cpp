#include <cstdio>
#include <memory>

#include "Exceptions.h"
#include "Format.h"
#include "Link.h"
#include "Options.h"
#include "Options/CommandLine.h"
#include "Recording.h"
#include "Register.h"
#include "Serve.h"
#include "System/Interrupt.h"
#include "System/Output.h"
#include "Terminal.h"
#include "Trace.h"

namespace {

Terminal::Settings SettingsOf(const Options& options) {
    return {options.tty, options.comSettings, options.baud, options.faultRates, options.seed};
}

/** The first line: the setting to give to the tool, unless it has a port of its own. */
std::string Announce(const Options& options, const Terminal& terminal) {
    return (options.tty.empty() ? "TTY=" : "Serving on ") + Printable(terminal.GetName()) + "\n";
}

void ServeReplay(const Options& options) {
    Replay replay(options.replayPath);
    Terminal terminal(SettingsOf(options));
    Print(Announce(options, terminal));
    Serve(terminal, replay, options.isOnce);
}

void ServeRegister(const Options& options) {
    Terminal terminal(SettingsOf(options));
    const auto recording = options.recordPath.empty()
                               ? nullptr
                               : std::make_unique<Recording>(options.recordPath, options.arePasswordsShown);
    terminal.SetRecording(recording.get());
    const Trace trace(options.trace, recording.get());
    Register ecr(options);
    Link link(options, ecr, trace);
    Print(Announce(options, terminal));
    Serve(terminal, link, options.isOnce);
    ecr.EndSession();
}

}  // namespace

int main(int argc, char* argv[]) {
    OpenStandardDescriptors();
    constexpr int badOption = 2;
    constexpr int failure = 1;
    try {
        const Options options = ParseOptions(argc, argv);
        CatchInterrupts();
        if (options.isHelpRequested)
            Print(GetHelp());
        else if (options.isVersionRequested)
            Print(GetVersionText("ecrsim"));
        else if (!options.replayPath.empty())
            ServeReplay(options);
        else
            ServeRegister(options);
        return 0;
    } catch (Exception* e) {
        const std::unique_ptr<Exception> cause(e);
        const bool isBadOption = e->GetReturnCode() == ReturnCode_CmdLineError;
        // names and options in it come from outside
        std::fprintf(stderr, "ecrsim: %s%s\n", Printable(e->GetLogMessage()).c_str(),
                     isBadOption ? " (use --help)" : "");
        return isBadOption ? badOption : failure;
    }
}
