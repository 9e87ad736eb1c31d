#pragma once

#include "Exceptions.h"

/** What an exit status tells the caller; the manual pages and the README show these. */
struct ExitStatus {
    ReturnCode code;
    const char* name;
    const char* meaning;
    const char* whatToDo;
};

/** Every exit status, in ascending order. */
inline constexpr ExitStatus exitStatuses[] = {
    {ReturnCode_OK, "OK", "the register acknowledged everything, and the file is written", ""},
    {ReturnCode_CmdLineError, "CmdLineError", "bad command line", "correct it; tavo /?"},
    {ReturnCode_InputFileSyntaxError, "InputFileSyntaxError",
     "the input file has malformed, empty or duplicate lines, and the others were sent; or a command file "
     "has a bad command, and nothing was executed; or ClearAndSend has nothing to send, and nothing was "
     "cleared",
     "correct the lines named; tavo-check tells what is wrong with them"},
    {ReturnCode_EcrBusy, "EcrBusy", "the register is busy, or its key lock is in the wrong position",
     "try again later"},
    {ReturnCode_CommandFailed, "CommandFailed", "the register cannot execute the command now",
     "finish what it is doing, such as an open receipt"},
    {ReturnCode_CommunicationError, "CommunicationError", "no or bad answers on the line",
     "check cable, port and register; run again (RetryCount does that by itself), but after ExecuteFiscal "
     "look at the register first; the report of a ReadAndClear is in the file"},
    {ReturnCode_TCPCommunicationDropped, "TCPCommunicationDropped", "reserved for network links", ""},
    {ReturnCode_ConfigError, "ConfigError", "a setting is missing or wrong", "correct it"},
    {ReturnCode_BadPassword, "BadPassword", "bad or missing password", "set Password"},
    {ReturnCode_NotActivated, "NotActivated", "communication is not switched on at the register",
     "switch it on"},
    {ReturnCode_FileIoError, "FileIoError",
     "a data or log file cannot be opened, read or written, was changed meanwhile, is another run's, or is "
     "no bitmap of the right kind",
     "check path, rights, free space and format"},
    {ReturnCode_InputFileHasBadRecords, "InputFileHasBadRecords",
     "the register refused records, and the others were stored; 2 wins when the file has bad lines, too",
     "correct the lines named"},
    {ReturnCode_UnknownCommand, "UnknownCommand", "the register does not know the command or section",
     "check the number"},
    {ReturnCode_EcrPortLocked, "EcrPortLocked", "another run is working with the register",
     "try again later"},
    {ReturnCode_SystemError, "SystemError",
     "an operating-system call failed, such as opening the port or making the log folder, or the port has "
     "disappeared",
     "check the port's name and rights, and LogFilePath; the log has the error code"},
    {ReturnCode_InternalError, "InternalError", "internal error, or not available on this platform",
     "see the log, which names the place"},
};
