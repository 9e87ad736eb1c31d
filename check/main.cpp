#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "AppConfig.h"
#include "CheckOptions.h"
#include "Exceptions.h"
#include "FileCheck.h"
#include "Format.h"
#include "Options/CommandLine.h"
#include "Outcome/ExitStatus.h"
#include "Outcome/Failure.h"
#include "Outcome/Hints.h"
#include "Outcome/RunResult.h"
#include "Setup.h"
#include "System/Output.h"
#include "Text/Json.h"

namespace {

constexpr const char* usage =
    "Usage: tavo-check [--show|--json] SECTION FILE [/Name=Value ...]\n"
    "       tavo-check [--show|--json] --fiscal FILE [/Name=Value ...]\n"
    "       tavo-check --strict [--json] SECTION FILE [/Name=Value ...]\n"
    "       tavo-check --fix COPY [--codepage NAME] SECTION FILE [/Name=Value ...]\n"
    "       tavo-check --setup [--json] [/Name=Value ...]\n"
    "       tavo-check --registers [/Name=Value ...]\n"
    "       tavo-check --file-name REGISTER\n"
    "       tavo-check --status N [--class]\n"
    "Checks a file as tavo Send SECTION FILE, or tavo ExecuteFiscal FILE, would: the same messages by line "
    "and the\n"
    "same exit status, as far as these do not depend on the register. Then says what is wrong with each "
    "line.\n"
    "With --setup checks what a run would meet before its first byte: settings, port and log.\n\n";

ReturnCode CheckSetup(const CheckOptions& options) {
    LoadSettings(options.words);
    const Setup setup = InspectSetup();
    Print(options.isJson ? ToJson(setup) + "\n" : ToText(setup));
    return GetStatus(setup);
}

void ShowStatus(int number, bool isClassOnly) {
    const ExitStatus& status = *FindExitStatus(number);
    const char* const className = statusClassNames[status.statusClass];
    if (isClassOnly) return Print(Format("%s\n", className));
    Print(Format("%d %s (%s)\n%s\n", number, status.name, className, status.meaning));
    if (*status.whatToDo != '\0') Print(Format("What to do: %s\n", status.whatToDo));
}

/** One a line, as /ECR= takes them: a name that a line could not show, or /ECR= not take, is left out. */
ReturnCode ShowRegisters(const CheckOptions& options) {
    LoadSettings(options.words);
    if (const std::string hint = GetIniFileHint(); !hint.empty()) {
        std::fprintf(stderr, "tavo-check: %s\n", hint.c_str());
        return ReturnCode_ConfigError;
    }
    ReturnCode status = ReturnCode_OK;
    for (const std::string& name : AppConfig::GetEcrNames()) {
        if (!name.empty() && Printable(name) == name) {
            Print(name + "\n");
            continue;
        }
        std::fprintf(stderr, "tavo-check: left out: [ECR_%s] (tavo-check --setup tells the line)\n",
                     Printable(name).c_str());
        status = ReturnCode_ConfigError;
    }
    return status;
}

/** What needs no run's last lines; nothing for another task. */
std::optional<ReturnCode> Inform(const CheckOptions& options) {
    if (options.isHelpRequested)
        Print(usage + FormatOptionHelp(GetCheckOptionHelp(), 17));
    else if (options.isVersionRequested)
        Print(GetVersionText("tavo-check"));
    else if (options.status)
        ShowStatus(*options.status, options.isClassAsked);
    else if (options.areRegistersListed)
        return ShowRegisters(options);
    else if (options.namedRegister)
        Print(GetRegisterFileName(*options.namedRegister) + "\n");
    else
        return std::nullopt;
    return ReturnCode_OK;
}

/** The last lines, but where the output is one JSON object. */
ReturnCode End(ReturnCode status, bool isJson) {
    if (!isJson)
        Print(Format("Completed %s\nReturn value %i\n", status == ReturnCode_OK ? "OK" : "with errors",
                     status));
    return status;
}

ReturnCode Run(int argc, char* argv[]) {
    bool isJson = false;
    try {
        const CheckOptions options = ParseCheckOptions(argc, argv);
        if (const std::optional<ReturnCode> status = Inform(options)) return *status;
        isJson = options.isJson;
        return End(options.isSetup ? CheckSetup(options) : CheckFile(options), isJson);
    } catch (Exception* e) {
        if (!isJson) return End(HandleException(e), false);
        const std::unique_ptr<Exception> failure(e);
        Print(JsonObject()
                  .Add("status", failure->GetReturnCode())
                  .Add("cause", failure->GetLogMessage())
                  .GetText() +
              "\n");
        return failure->GetReturnCode();
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    try {
        return Run(argc, argv);
    } catch (const std::bad_alloc&) {
        PrintNoMemory();
        Print("Completed with errors\nReturn value 50\n");
        return ReturnCode_SystemError;
    }
}
