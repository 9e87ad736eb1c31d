#pragma once

#include "EndToEnd.h"

/** tavo-check, the check of a file without a register. */
class CheckTest : public EndToEndTest {
protected:
    RunResult Check(std::vector<std::string> words) {
        words.insert(words.begin(), TAVO_CHECK_PROGRAM);
        words.push_back("/ConfigFilePath=" + ini);
        return RunProgram(words);
    }
    /** What an output says that a pattern is found in, one after another. */
    static std::string Matches(const std::string& output, const char* pattern) {
        return ListMatches(output, pattern, "$&\n");
    }
    /** The messages of the tool by line, and its exit status. */
    static std::string Verdict(const RunResult& run) {
        return Matches(run.output, "Line \\d+ +- [^\n]*|Return value \\d+") + std::to_string(run.status);
    }
};
