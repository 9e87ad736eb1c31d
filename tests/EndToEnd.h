#pragma once

#include "Programs.h"
#include "Regex.h"

inline RunResult RunProgram(const std::vector<std::string>& arguments) { return Process(arguments).Finish(); }

/** A program and its words in the line of a shell, with others before and behind them. */
inline RunResult RunInShell(const std::string& before, std::vector<std::string> words,
                            const std::string& behind) {
    words.insert(words.begin(), {"/bin/sh", "-c", before + " \"$@\" " + behind, "sh"});
    return RunProgram(words);
}

/** Runs of the built program against the simulated register. */
class EndToEndTest : public testing::Test {
protected:
    /**
     * The command line of a run, with parameters that keep it off the machine's own files; under the program
     * that TAVO_UNDER names, if it names one.
     */
    std::vector<std::string> Words(std::vector<std::string> words) const {
        const char* under = std::getenv("TAVO_UNDER");
        std::istringstream prefix(under != nullptr ? under : "");
        words.insert(words.begin(), TAVO_PROGRAM);
        words.insert(words.begin(), std::istream_iterator<std::string>(prefix), {});
        words.insert(words.end(), {"/LogFilePath=" + folder / "log", "/ConfigFilePath=" + ini});
        return words;
    }
    RunResult Tavo(const std::vector<std::string>& words) const { return RunProgram(Words(words)); }
    RunResult Tavo(const Simulator& ecr, std::vector<std::string> words) const {
        words.push_back("/TTY=" + ecr.Tty());
        return Tavo(words);
    }
    /** What a run says beside its progress, which is overwritten in place; it tells its exit status, too. */
    static std::string Told(const RunResult& run) {
        const std::string told = "\nReturn value " + std::to_string(run.status) + "\n";
        EXPECT_NE(run.output.find(told), std::string::npos) << run.output << "but ends with " << run.status;
        return ReplaceAll(run.output, "[^\r\n]*\r", "");
    }
    std::string Output(const std::vector<std::string>& words) const { return Told(Tavo(words)); }
    std::string Output(const Simulator& ecr, const std::vector<std::string>& words) const {
        return Told(Tavo(ecr, words));
    }
    std::string File(const std::string& name, const std::string& text) const {
        WriteText(folder / name, text);
        return folder / name;
    }
    /** The log's messages without time stamps and start lines; the log is then removed. */
    std::string TakeLog() const {
        const std::string path = folder / "log/TAVO.log";
        const char* const stamps = R"(\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{3} (TAVO driver version.*\n)?)";
        std::string log = ReplaceAll(ReadText(path), stamps, "");
        std::remove(path.c_str());
        return log;
    }
    /** The records of a section as a run of the tool reads them. */
    std::string Section(const Simulator& ecr, const std::string& section) const {
        const RunResult result = Tavo(ecr, {"read", section, folder / "section.csv"});
        EXPECT_EQ(result.status, 0) << result.output;
        std::remove((folder / "log/TAVO.log").c_str());
        return ReadText(folder / "section.csv");
    }

    const std::string request = "Sending operation request...\r" + std::string(28, ' ') + "\r";
    const std::string preparing = "Preparing data ...\r" + std::string(18, ' ') + "\r";
    const std::string ok = "Completed OK\nReturn value 0\n";
    const std::string notResponding = "\nCommunication error: ECR is not responding\n";

    static std::string Failed(int status) {
        return "Completed with errors\nReturn value " + std::to_string(status) + "\n";
    }

    TempFolder folder;
    std::string ini = "/dev/null";
};
