#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "Programs.h"
#include "Support.h"

/** Runs of the built program against the simulated register. */
class EndToEndTest : public testing::Test {
protected:
    /** Runs tavo with the words of the command line and parameters that keep it off the machine's own files.
     */
    RunResult Tavo(const std::vector<std::string>& words) {
        std::vector<std::string> arguments{TAVO_PROGRAM};
        arguments.insert(arguments.end(), words.begin(), words.end());
        arguments.push_back("/LogFilePath=" + folder / "log");
        arguments.push_back("/ConfigFilePath=" + ini);
        return RunProgram(arguments);
    }
    RunResult Tavo(Simulator& ecr, std::vector<std::string> words) {
        words.push_back("/TTY=" + ecr.Tty());
        return Tavo(words);
    }
    std::string File(const std::string& name, const std::string& text) {
        WriteText(folder / name, text);
        return folder / name;
    }
    /** The log's messages without time stamps and start lines; the log is then removed. */
    std::string TakeLog() {
        const std::string path = folder / "log/TAVO.log";
        std::string log =
            std::regex_replace(ReadText(path), std::regex(R"(\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{3} )"), "");
        log = std::regex_replace(log, std::regex("TAVO driver version.*\n"), "");
        std::remove(path.c_str());
        return log;
    }
    /** The records of a section as the tool reads them. */
    std::string Section(Simulator& ecr, const std::string& section) {
        const RunResult result = Tavo(ecr, {"read", section, folder / "section.csv"});
        EXPECT_EQ(result.status, 0) << result.output;
        std::remove((folder / "log/TAVO.log").c_str());
        return ReadText(folder / "section.csv");
    }

    const std::string request = "Sending operation request...\r" + std::string(28, ' ') + "\r";
    const std::string preparing = "Preparing data ...\r" + std::string(18, ' ') + "\r";
    const std::string ok = "Completed OK\nReturn value 0\n";
    const std::string notResponding =
        "Sending operation request...\r\nCommunication error: ECR is not responding\n";

    static std::string Failed(int status) {
        return "Completed with errors\nReturn value " + std::to_string(status) + "\n";
    }

    TempFolder folder;
    std::string ini = "/nonexistent";
};
