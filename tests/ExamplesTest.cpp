#include <sys/stat.h>

#include <map>

#include "EndToEnd.h"

/** What examples/ holds, run as a shop would. */
class ExamplesTest : public EndToEndTest {};

TEST_F(ExamplesTest, ANightActsByClassAndLosesNoReport) {
    if (*EMULATOR != '\0') GTEST_SKIP() << "the example starts the programs itself, without the emulator";
    const Simulator good;
    const Simulator busy({"--busy"});
    for (const char* program : {TAVO_PROGRAM, TAVO_CHECK_PROGRAM}) {
        std::filesystem::create_directory(folder / "bin");
        std::filesystem::copy(program, folder / "bin");
    }
    const std::string sections =
        "[Common]\nLogFilePath=" + folder / "log" + "\n[ECR_Till 1]\nTTY=" + good.Tty() + "\n";
    std::string limit = "true";
    const auto night = [&](const std::string& others) {
        File("bin/TAVO.ini", sections + others);
        const RunResult run = RunProgram({"/usr/bin/env", "PATH=" + folder / "bin:/usr/bin:/bin",
                                          "TAVO_FOLDER=" + folder / "night", "TAVO_PAUSE=0",
                                          "TAVO_PRICES=" + folder / "prices.csv", "/bin/sh", "-c",
                                          limit + "; exec " SOURCE_FOLDER "/examples/nightly"});
        if (run.output.find("registers\n") != 2) return std::to_string(run.status) + " " + run.output;
        return std::to_string(run.status) +
               ReplaceAll(ReadText(folder / "night/status"), "\n?[-0-9T:]{19} ", "; ");
    };
    const auto reports = [&] {  // in the order of their names
        std::map<std::string, std::string> texts;
        for (const auto& entry : std::filesystem::directory_iterator(folder / "night/reports"))
            texts[entry.path().filename()] = entry.path().extension().string() + " " + ReadText(entry.path());
        std::string all;
        for (const auto& entry : texts) all += entry.second;
        return all;
    };
    Tavo(good, {"send", "70", File("a.csv", "1,5\n")});
    EXPECT_EQ(night(""), "0; ok Till 1: no " + folder / "prices.csv" + ", ReadAndClear 0 OK (ok)\n");
    EXPECT_EQ(reports(), ".csv 1,5\r\n");
    File("prices.csv", "1,2\n");
    Tavo(good, {"send", "70", File("a.csv", "1,6\n")});
    EXPECT_EQ(night("[ECR_B]\nTTY=" + busy.Tty() + "\n"),
              "75; ok Till 1: Send 0 OK (ok), ReadAndClear 0 OK (ok); retry B: Send 3 EcrBusy (retry), "
              "ReadAndClear 3 EcrBusy (retry)\n");
    EXPECT_EQ(reports(), ".csv 1,5\r\n.csv 1,6\r\n");
    EXPECT_EQ(Section(good, "3"), "1,2\r\n");
    EXPECT_EQ(night("[ECR_B]\n").substr(0, 2), "1;");
    EXPECT_EQ(reports(), ".csv 1,5\r\n.csv 1,6\r\n");  // the register's one is empty now
    // one class for a person, one for a later run; a name that a shell would take for more than a name
    EXPECT_EQ(night("[ECR_.B*\\c]\nTTY=" + busy.Tty() + "\n[ECR_C]\n").substr(0, 2), "75");
    EXPECT_NE(ReadText(folder / "night/status").find("retry .B*\\c: "), std::string::npos);
    EXPECT_EQ(night("[ECR_B\x1b]\n").substr(0, 23), "1 tavo-check: left out:");
    // what a run that breaks off has read may be the only copy, but is not booked as a report
    Tavo(good, {"send", "70", File("a.csv", "1,7\n")});
    std::filesystem::rename(folder / "bin/tavo", folder / "bin/whole");
    File("bin/tavo", "#!/bin/sh\nwhole \"$@\"; test $1 != ReadAndClear || exit 5\n");
    chmod((folder / "bin/tavo").c_str(), 0700);
    EXPECT_EQ(night("").find("75; retry Till 1: Send 0 OK (ok), ReadAndClear 5 CommunicationError (retry)"),
              0U);
    EXPECT_EQ(reports(), ".csv 1,5\r\n.csv 1,6\r\n.unfinished 1,7\r\n");
    std::filesystem::rename(folder / "bin/whole", folder / "bin/tavo");
    EXPECT_EQ(night("").find("1; ok Till 1: Send 0 OK (ok), ReadAndClear 0 OK (ok); unfinished /"), 0U);
    // nobody is told that all is well where it was not seen
    EXPECT_EQ(std::filesystem::status(folder / "night/lock").permissions(), std::filesystem::perms(0600));
    limit = "exec 7>" + folder / "night/lock" + "; flock 7";
    EXPECT_EQ(night("").substr(0, 30), "75 another night is at work in");
    limit = "mkdir " + folder / "night/status.new";
    EXPECT_EQ(night("").substr(0, 2), "1 ");
}

TEST_F(ExamplesTest, AMorningShowsWhatFailedAndWhatToDo) {
    if (*EMULATOR != '\0') GTEST_SKIP() << "the example starts the program itself, without the emulator";
    const Simulator ecr;
    Tavo(ecr, {"send", "3", File("a.csv", "x\n\n"), "/ResultFile=" + folder / "a.json"});
    const PseudoTerminal silent;
    Process killed(Words({"clear", "3", "/TTY=" + silent.Tty(), "/ResultFile=" + folder / "b.json"}));
    silent.TakeFrame();
    killed.Signal(SIGKILL);
    killed.Finish();
    // each of these costs its own line, not the page
    File("half.json", "{");
    std::filesystem::resize_file(File("large.json", ""), uintmax_t{3} << 30);
    std::filesystem::create_symlink(folder / "a.json", folder / "link.json");
    mkfifo((folder / "pipe.json").c_str(), 0600);
    File("Till<1>.unfinished", "1,2\n");
    const std::string script =
        "cd \"$2\" && mkdir -p $(printf 'd/%.0s' $(seq 2100)); PATH=${0%/*}:$PATH \"$1\" \"$2\"; rm -r d";
    const std::string page = RunProgram({"/bin/sh", "-c", script, TAVO_CHECK_PROGRAM,
                                         std::string(SOURCE_FOLDER) + "/examples/morning", folder / ""})
                                 .output;
    for (const char* text :
         {"2 InputFileSyntaxError: Send 3 ",
          "a.csv:<br>line 1: Record has bad format<br>line 2: Record is empty<p>",
          "<p>What to do: correct the lines named", "137 Unended: Clear 3 at",
          "The run has not ended, or was killed", "half.json: Expecting", "/d: File name too long",
          "large.json: larger than 8 MiB", "link.json: a link", "pipe.json: no regular file",
          "Files left out: 5<", "Till&lt;1&gt;.unfinished</ul>"})
        EXPECT_NE(page.find(text), std::string::npos) << text << page;
    EXPECT_EQ(page.find("ClearAndSend"), std::string::npos) << page;
}
