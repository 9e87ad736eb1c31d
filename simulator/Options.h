#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Byte.h"
#include "Faults.h"
#include "Options/ProgramOptions.h"
#include "Trace.h"

/** What the register is told to be and to do; the texts of `ecrsim --help` explain each. */
struct Options {
    std::string dataDirectory;  // empty: sections live as long as the program
    int version = 3;            // of the transport-control frames
    int protocolSet = 1;
    std::string password;
    int recordsInPacket = 1;
    int waits = 0;                   // wait answers before a clear or an initialisation is done
    int baud = 0;                    // 0: as fast as the pseudo-terminal
    int ackTime = 1000;              // ms to wait for an acknowledgement
    std::map<int64_t, int> rejects;  // record number -> field to blame, 0: cannot be updated
    std::map<byte, byte> refusals;   // fiscal command -> answer
    int fiscalWaits = 0;             // wait answers before each fiscal command is done
    bool isLogoShown = false;
    bool isBusy = false;
    bool isNotActivated = false;
    int giveUpAfter = 0;  // records, 0: never
    FaultRates faultRates{};
    unsigned seed = 1;
    TraceForm trace = TraceForm::None;
    std::string recordPath;  // empty: none
    std::string replayPath;  // empty: the register itself answers
    bool arePasswordsShown = false;
    std::string tty;          // of a real port; empty: a pseudo-terminal
    std::string comSettings;  // empty: those of the tool; a pseudo-terminal then takes any speed
    bool isOnce = false;
    bool isHelpRequested = false;
    bool isVersionRequested = false;
};

/** Reads the command line; CommandLineException with a message for a bad one. */
Options ParseOptions(int argc, char* argv[]);

std::vector<OptionHelp> GetOptionHelp();

/** All options with their meaning, and an example. */
std::string GetHelp();
