#pragma once

#include <csignal>

#include "Exceptions.h"
#include "System/Interrupt.h"

/** What a program that called the tool does next. */
enum StatusClass {
    StatusClass_Ok,
    StatusClass_Retry,     // run it again later
    StatusClass_FixFile,   // first the data file wants correction
    StatusClass_FixSetup,  // first command line, settings, port or folders do
    StatusClass_Register,  // a person is wanted at the register
    StatusClass_Report     // tell the developers
};

/** The names of the classes, in the order of the enumeration. */
inline constexpr const char* statusClassNames[] = {"ok",        "retry",    "fix-file",
                                                   "fix-setup", "register", "report"};

/** What an exit status tells the caller; the manual pages and the README show these. */
struct ExitStatus {
    ReturnCode code;
    const char* name;
    StatusClass statusClass;
    const char* meaning;
    const char* whatToDo;
};

/** Every exit status, in ascending order. */
inline constexpr ExitStatus exitStatuses[] = {
    {ReturnCode_OK, "OK", StatusClass_Ok, "the register acknowledged everything, and the file is written",
     ""},
    {ReturnCode_CmdLineError, "CmdLineError", StatusClass_FixSetup, "bad command line",
     "correct it; tavo /?"},
    {ReturnCode_InputFileSyntaxError, "InputFileSyntaxError", StatusClass_FixFile,
     "the input file has malformed, empty or duplicate lines, and the others were sent; or ExecuteFiscal "
     "found a bad command, and nothing was executed; or ClearAndSend has nothing to send, and nothing was "
     "cleared",
     "correct the lines named; tavo-check tells what is wrong with them"},
    {ReturnCode_EcrBusy, "EcrBusy", StatusClass_Retry,
     "the register is busy, or its key lock is in the wrong position", "try again later"},
    {ReturnCode_CommandFailed, "CommandFailed", StatusClass_Register,
     "the register cannot execute the command now", "finish what it is doing, such as an open receipt"},
    {ReturnCode_CommunicationError, "CommunicationError", StatusClass_Retry, "no or bad answers on the line",
     "check cable, port and register; run again (RetryCount does that by itself); after ExecuteFiscal look "
     "at the register first; what a ReadAndClear has read is in its file"},
    {ReturnCode_TCPCommunicationDropped, "TCPCommunicationDropped", StatusClass_Retry,
     "reserved for network links", ""},
    {ReturnCode_ConfigError, "ConfigError", StatusClass_FixSetup, "a setting is missing or wrong",
     "correct it"},
    {ReturnCode_BadPassword, "BadPassword", StatusClass_FixSetup, "bad or missing password", "set Password"},
    {ReturnCode_NotActivated, "NotActivated", StatusClass_Register,
     "communication is not switched on at the register", "switch it on"},
    {ReturnCode_FileIoError, "FileIoError", StatusClass_FixSetup,
     "a data or log file cannot be opened, read or written, was changed meanwhile, is another run's, or is "
     "no bitmap of the right kind",
     "check path, rights, free space and format; after ExecuteFiscal see how many commands were sent"},
    {ReturnCode_InputFileHasBadRecords, "InputFileHasBadRecords", StatusClass_FixFile,
     "the register refused records, and the others were stored; 2 wins when the file has bad lines, too",
     "correct the lines named"},
    {ReturnCode_UnknownCommand, "UnknownCommand", StatusClass_FixSetup,
     "the register does not know the command or section", "check the number"},
    {ReturnCode_EcrPortLocked, "EcrPortLocked", StatusClass_Retry, "another run is working with the register",
     "try again later"},
    {ReturnCode_SystemError, "SystemError", StatusClass_FixSetup,
     "an operating-system call failed, such as opening the port or making the log folder, or the port has "
     "disappeared",
     "check the port's name and rights, and LogFilePath; the log has the error code"},
    {ReturnCode_InternalError, "InternalError", StatusClass_Report,
     "internal error, or not available on this platform", "see the log, which names the place"},
};

/** Runs that a signal has ended have 128 and its number. */
inline constexpr ExitStatus interruptedStatus = {
    ReturnCode_SystemError, "Interrupted", StatusClass_Retry,
    "the run was ended by a signal, with the port restored and the files closed",
    "run it again; after ExecuteFiscal look at the register first; what a ReadAndClear has read is in its "
    "file"};
inline constexpr ExitStatus killedStatus = {
    ReturnCode_SystemError, "Killed", StatusClass_Retry, "the run was killed, and could put nothing in order",
    "run it again; after ExecuteFiscal look at the register first; what a ReadAndClear has read is in its "
    "file"};
inline constexpr ExitStatus crashedStatus = {
    ReturnCode_SystemError, "Crashed", StatusClass_Report,
    "the run was ended by a signal that it does not expect",
    "tell how it came; after ExecuteFiscal look at the register first"};

/** What the status of a run tells; null for a status that no run ends with. */
inline const ExitStatus* FindExitStatus(int status) {
    constexpr int firstSignalStatus = 129;
    constexpr int lastSignalStatus = 192;
    for (const ExitStatus& entry : exitStatuses)
        if (entry.code == status) return &entry;
    if (status < firstSignalStatus || status > lastSignalStatus) return nullptr;
    for (const int signal : interrupts)
        if (status == 128 + signal) return &interruptedStatus;
    return status == 128 + SIGKILL ? &killedStatus : &crashedStatus;
}
