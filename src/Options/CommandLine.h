#pragma once

#include <string>
#include <vector>

#include "Options/Command.h"

struct BaseCommandParameters {
    Command command = Command_Read;
    std::string filePath;  // empty for commands without one
    int data = 0;          // PRG section or report number
    bool isFiscalCommand = false;
    bool parametersChanged = false;  // carried along for a server mode, not used
};

/** True without arguments and for "/?", "-?", "/h", "-h", "/help" and "-help" as the first one. */
bool IsUsageRequested(int argc, char* argv[]);
void ShowUsage();

/** "3.3.3" */
const char* GetVersion();
/** "tavo-check 3.3.3", the line that --version shows. */
std::string GetVersionText(const char* program);

/** The command line as the log shows it: the program in quotes, the arguments as they are. */
std::string GetCommandLine(int argc, char* argv[]);

/** Takes words of the form /Name=Value and loads the configuration with them. */
void LoadSettings(const std::vector<std::string>& words);

/** Loads the configuration with those words of a command line that are settings: of one that is malformed
 * otherwise. */
void LoadSettingsOf(int argc, char* argv[]);

/** Parses the whole command line and loads the configuration; CommandLineException for anything malformed. */
BaseCommandParameters CollectParameters(int argc, char* argv[]);

/** The commands that the usage text names, as it writes them. */
std::vector<std::string> GetCommandNames();
/** The command as the usage text writes it. */
const char* GetCommandName(Command command);
Command ParseCommand(const std::string& data);
/** Only digits, or nothing. */
bool IsNumber(const std::string& str);
/** A number without sign; nothing is 0, too large a number the largest one. */
int ParseData(const std::string& data);
/** Splits "/Name=Value"; "-" and ":" serve as well. */
void ParseConfigParam(const std::string& param, std::string& name, std::string& value);

/** The line that every run begins its log with. */
std::string GetStartMessage(int argc, char* argv[]);
