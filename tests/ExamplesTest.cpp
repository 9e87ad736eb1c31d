#include <sys/stat.h>

#include "EndToEnd.h"

/** What examples/ holds, run as a shop would. */
class ExamplesTest : public EndToEndTest {};

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
