#include <sys/stat.h>

#include "Children.h"
#include "EndToEnd.h"
#include "Status.h"
#include "Tools.h"

/** The program, with registers of its own. */
class NightTest : public EndToEndTest {
protected:
    void SetUp() override {
        if (*EMULATOR != '\0') GTEST_SKIP() << "the program starts others itself, without the emulator";
    }
    /** The registers of the INI file. */
    void SetRegisters(const std::vector<std::pair<std::string, std::string>>& registers) {
        std::string text =
            "[Common]\nLogFilePath=" + folder / "log" +
            "\nLineQuietTime=0\nSerialProtocolRetryCount=2\nSerialProtocolResponseMaxTime=100\n" +
            "[Night]\nFolder=" + night + "\nPause=0\n" + settings;
        for (const auto& [name, lines] : registers)
            text.append("[ECR_").append(name).append("]\n").append(lines) += '\n';
        ini = File("TAVO.ini", text);
    }
    /** One that answers, however slow the machine is. */
    static std::string At(const Simulator& ecr) {
        return "TTY=" + ecr.Tty() + "\nSerialProtocolResponseMaxTime=5000\nEcrOperationMaxTime=9000";
    }
    RunResult Night(std::vector<std::string> words) const {
        words.insert(words.begin(), TAVO_NIGHT_PROGRAM);
        words.push_back("/ConfigFilePath=" + ini);
        return RunProgram(words);
    }
    std::string Query(const std::string& sql) const {
        return RunProgram({"/usr/bin/sqlite3", night + "/ledger.db", sql}).output;
    }
    /** Of what `reports` shows. */
    std::string Field(const std::string& filter, const char* all = "--json") const {
        return RunInShell("", {TAVO_NIGHT_PROGRAM, "reports", "--json", all, "/ConfigFilePath=" + ini},
                          "| jq -r '[.reports[]" + filter + "]|join(\" \")' | tr -d '\\n'")
            .output;
    }
    void Sell(const Simulator& ecr, const std::string& text) const {
        EXPECT_EQ(Tavo(ecr, {"send", "70", File("sold.csv", text), "/SerialProtocolResponseMaxTime=5000",
                             "/EcrOperationMaxTime=9000"})
                      .status,
                  0);
    }

    const std::string night = folder / "night";
    std::string settings;
};

TEST_F(NightTest, ServesEveryRegisterAndGoesOnWithWhatIsLeft) {
    const Simulator first;
    const Simulator second;
    const auto busy = std::make_unique<Simulator>(std::vector<std::string>{"--busy"});
    const std::vector<std::pair<std::string, std::string>> good = {{"Till 1", At(first)}, {"b", At(second)}};
    SetRegisters(good);
    EXPECT_EQ(Night({"status"}).status, 1) << "there was no night yet";
    EXPECT_EQ(Night({"run", "c"}).status, 1);
    EXPECT_FALSE(std::filesystem::exists(night)) << "an unknown register: nothing is done";
    Sell(first, "1,5\n");
    EXPECT_EQ(Night({"run"}).status, 0);
    EXPECT_EQ(Night({"status"}).status, 0);
    EXPECT_EQ(Field(".file|ltrimstr(\"" + night + "/\")").substr(0, 17), "reports/Till%201-");

    File("night/prices.csv", "1,2\n");
    EXPECT_EQ(Night({"status"}).status, 1) << "prices that nobody has sent yet";
    const PseudoTerminal silent;
    auto registers = good;
    registers.insert(registers.begin(), {"first", "TTY=" + silent.Tty()});
    registers.insert(registers.end(), {{"off", At(*busy)}, {"unset", ""}});
    SetRegisters(registers);
    EXPECT_EQ(Night({"run"}).status, 75);
    EXPECT_EQ(Section(second, "3"), "1,2\r\n");
    EXPECT_EQ(
        Query(
            "SELECT register, name, class, count(*) FROM job JOIN run USING (night, register) WHERE night = 2"
            " AND class <> 'ok' GROUP BY 1, 2"),
        "first|prices|retry|6\nfirst|report 70|retry|6\noff|prices|retry|6\noff|report "
        "70|retry|6\nunset|prices|fix-setup|2\nunset|report 70|fix-setup|2\n");
    EXPECT_EQ(Query("SELECT (SELECT min(begun) FROM run WHERE night = 2 AND register = 'b') <"
                    " (SELECT min(ended) FROM run WHERE register = 'first')"),
              "1\n")
        << "one that is off holds up no other";
    EXPECT_EQ(Night({"status"}).status, 1) << "a person is wanted for one, whatever may be mended";
    registers.erase(registers.begin());
    const std::string runs = "SELECT count(*) FROM run WHERE register IN ('Till 1', 'b')";
    EXPECT_EQ(Query(runs), "6\n");
    registers.pop_back();
    const Simulator back;
    registers[2].second = At(back);
    SetRegisters(registers);
    EXPECT_EQ(Night({"run"}).status, 0) << "the night goes on, without the register that is gone";
    EXPECT_EQ(Query("SELECT max(number), count(*) FROM night"), "2|2\n");
    EXPECT_EQ(Query(runs), "6\n") << "only what was left is done";
    Query("UPDATE night SET status = 75; UPDATE job SET ended = ended - 7 * 3600000 WHERE register = 'b'");
    EXPECT_EQ(Night({"run"}).status, 0);
    EXPECT_EQ(Query(runs), "8\n") << "and what was done by a run at noon";
    EXPECT_EQ(Night({"run"}).status, 0) << "another night";
    const Simulator never;
    registers.emplace_back("late", At(never));
    SetRegisters(registers);
    EXPECT_EQ(Night({"status"}).output.find("late: prices missing: it was never served; good: never"), 0U);
    registers.pop_back();
    SetRegisters(registers);
    for (const auto& [hours, status] : {std::pair(29, 0), {2, 1}, {-40, 1}}) {
        Query(Format("UPDATE job SET ended = ended - %d * 3600000", hours));
        EXPECT_EQ(Night({"status"}).status, status)
            << "a night that did not begin; a clock that was set back";
    }
}

TEST_F(NightTest, KeepsBackPricesThatAreNotCertain) {
    const Simulator comma;
    const Simulator other;
    const Simulator semicolon;
    SetRegisters({{"a", At(comma)}, {"b", At(other)}, {"c", At(semicolon) + "\nDelimiter=;"}});
    mkdir(night.c_str(), 0755);
    std::string text;
    for (int i = 1; i < 7; i++) text += Format("%d,\"Item\",%d,5\n", i, i);
    File("night/prices.csv", text + "7,\"Item\",7,25,1\n");
    Sell(comma, "1,5\n");
    const RunResult run = Night({"run"});
    EXPECT_EQ(run.status, 1) << run.output;
    EXPECT_EQ(Section(comma, "3") + Section(semicolon, "3"), "");
    EXPECT_EQ(ListMatches(run.output, "is kept back \\(fix-file\\): [^\n]*; for (.*)\n", "$1;"), "a, b;c;")
        << run.output;
    EXPECT_EQ(Field(".state"), "ready") << "the reports are read all the same";
    File("night/prices.csv", "1,\"Item\",2.5\n");
    SetRegisters({{"a", At(comma)}});
    EXPECT_EQ(Night({"run"}).status, 0);
    EXPECT_EQ(Section(comma, "3"), "1,\"Item\",2.5\r\n");
    std::remove((night + "/prices.csv").c_str());
    mkfifo((night + "/prices.csv").c_str(), 0644);
    EXPECT_NE(Night({"run"}).output.find("it is no regular file"), std::string::npos);
}

TEST_F(NightTest, ABackOfficeBooksEachReportOnceByTheExamplesOfThePage) {
    const Simulator ecr;
    SetRegisters({{"Till 1", At(ecr)}});
    const std::string page = ReadText(SOURCE_FOLDER "/docs/night.md");
    File("tavo-night", "#!/bin/sh\n[ ! -e killed ] || [ $1 = reports ] || exit 1\nexec " TAVO_NIGHT_PROGRAM
                       " \"$@\" /ConfigFilePath=" +
                           ini + "\n");
    chmod((folder / "tavo-night").c_str(), 0700);
    for (const auto& [program, count] :
         {std::pair("python3", "sqlite3 books.db 'SELECT line FROM sale'"), {"sh", "cat booked/*"}}) {
        const std::string interpreter = program;
        const size_t start =
            page.find(std::string("    #!/") + (interpreter[0] == 's' ? "bin/sh" : "usr/bin/env"));
        const std::string script = page.substr(start, page.find("\n\n", start) - start);
        File("book", ReplaceAll(script, "(^|\n)    ", "$1") + "\n");
        const std::string line = Format("%s,1\r\n", interpreter[0] == 's' ? "2" : "1");
        Sell(ecr, line);
        EXPECT_EQ(Night({"run"}).status, 0);
        const std::string id = Field("|select(.state == \"ready\").id");
        const auto book = [&] {
            return RunInShell("cd " + folder / "" + "; PATH=.:$PATH", {interpreter, "./book"}, "2>/dev/null")
                .status;
        };
        File("killed", "");  // between the booking and telling it
        EXPECT_NE(book(), 0);
        std::remove((folder / "killed").c_str());
        EXPECT_EQ(book(), 0);
        EXPECT_EQ(book(), 0);
        const std::string booked = RunInShell("cd " + folder / "" + ";" + count, {}, "").output;
        EXPECT_EQ(Trim(ReplaceAll(booked, "[\r\n]+", "\n"), "\n"), Trim(line, "\r\n"));
        EXPECT_EQ(Field(".id"), "");
        EXPECT_EQ(Night({"book", id}).status, 0) << "twice changes nothing";
        EXPECT_EQ(Night({"book", id + "0"}).status, 1);
        EXPECT_EQ(Night({"settle", id, "--drop"}).status, 1);
    }
    // the files of what was booked go, and nothing else
    Sell(ecr, "3,1\n");
    EXPECT_EQ(Night({"run"}).status, 0);
    for (const char* name : {"notes.json", "70.csv", "Till-70-1234567890123456789.csv"})
        File(std::string("night/reports/") + name, "1,1\n");
    Query("UPDATE change SET time = time - 61 * 86400000; UPDATE run SET ended = ended - 61 * 86400000");
    EXPECT_EQ(Night({"prune"}).status, 0);
    EXPECT_EQ(Field(".is", "--all"), "gone gone there");
    EXPECT_EQ(Night({"book", Field("|select(.state == \"booked\").id", "--all").substr(0, 1)}).status, 1);
    EXPECT_EQ(Night({"status"}).status, 0);
    File("night/" + Field(".file|ltrimstr(\"" + night + "/\")"), "3,2\r\n");
    EXPECT_EQ(Night({"reports"}).output.substr(0, 8), "changed\t");
    EXPECT_EQ(Night({"status"}).status, 1);
}

TEST_F(NightTest, AnOlderLedgerPutBackBooksNothingTwice) {
    const Simulator ecr;
    SetRegisters({{"Till 1", At(ecr)}});
    Sell(ecr, "1,5\n");
    EXPECT_EQ(Night({"run"}).status, 0);
    RunProgram({"/usr/bin/sqlite3", night + "/ledger.db", ".backup " + folder / "copy.db"});
    Sell(ecr, "1,6\n");
    EXPECT_EQ(Night({"run"}).status, 0);
    const std::string ids = Field(".id");
    for (const char* file : {"/ledger.db", "/ledger.db-wal", "/ledger.db-shm"})
        std::remove((night + file).c_str());
    std::filesystem::copy(folder / "copy.db", night + "/ledger.db");
    EXPECT_EQ(Night({"status"}).status, 1) << "files that the ledger does not know";
    EXPECT_EQ(Night({"run"}).status, 1);
    EXPECT_EQ(Field(".id"), ids);
    EXPECT_EQ(Field(".state"), "ready waiting");
    const std::string id = ids.substr(ids.find(' ') + 1);
    EXPECT_EQ(Night({"book", id}).status, 1) << "it waits";
    for (const auto& [decision, state] :
         {std::pair("--keep", "ready"), {"--drop", "dropped"}, {"--keep", "ready"}}) {
        EXPECT_EQ(Night({"settle", id, decision}).status, 0);
        EXPECT_EQ(Field("|select(.id == \"" + id + "\").state", "--all"), state);
    }
    EXPECT_EQ(Night({"book", id}).status, 0);
    EXPECT_EQ(Night({"settle", id, "--drop"}).status, 1);
    EXPECT_EQ(Night({"status"}).status, 0) << "once a person has decided nothing is left";
    WriteText(night + "/ledger.db", std::string(9000, 'x'));
    for (const char* command : {"run", "status", "reports", "prune"})
        EXPECT_EQ(Night({command}).status, 1) << command;
    EXPECT_TRUE(ReadText(night + "/ledger.db") == std::string(9000, 'x'));
    for (const char* file : {"/ledger.db", "/ledger.db-wal", "/ledger.db-shm"})
        std::remove((night + file).c_str());
    EXPECT_EQ(Night({"run"}).status, 1);
    EXPECT_EQ(Field(".state"), "waiting waiting");
}

TEST_F(NightTest, TellsTroubleAndKeepsOthersOut) {
    const PassingFile input("told");
    const PassingFile output("");
    EXPECT_EQ(RunCommand({"/bin/sh", "-c", "cat; sleep 60 & wait"}, {input.Get(), output.Get(), -1}, 200),
              124);
    EXPECT_EQ(output.Read(), "told");
    const Simulator ecr;
    const std::string told = folder / "told.json";
    settings = "OnTrouble=cat >>" + told + "; exit 3\n";
    SetRegisters({{"Till \"1\"", At(ecr)}});
    EXPECT_EQ(Night({"run"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(told));
    const RunResult trouble = Night({"run", "/TTY=none"});
    EXPECT_EQ(trouble.status, 1);
    EXPECT_NE(trouble.output.find("OnTrouble ended with 3"), std::string::npos);
    EXPECT_EQ(RunProgram({"/usr/bin/jq", "-c", "[.status,.jobs[0].class,.jobs[0].register]", told}).output,
              "[1,\"fix-setup\",\"Till \\\"1\\\"\"]\n");
    const std::string words =
        ListMatches(ReadText(SOURCE_FOLDER "/docs/night.md"), "    (jq -c '.*') [|] curl", "$1");
    EXPECT_EQ(
        RunInShell(words + " " + told, {}, "").output.find("{\"text\":\"Till \\\"1\\\": 50 SystemError"), 0U);
    settings = "OnTrouble=cat >>" + told + "\n";
    SetRegisters({{"Till \"1\"", At(ecr)}});
    for (int i = 0; i < 2; i++) EXPECT_EQ(Night({"run"}).status, 0);
    EXPECT_EQ(RunProgram({"/usr/bin/jq", "-c", ".status", told}).output, "1\n0\n")
        << "once when all is well again";
    EXPECT_NE(
        Night({"status", "--metrics"})
            .output.find(
                "tavo_night_job_good_timestamp_seconds{register=\"Till \\\"1\\\"\",task=\"report 70\"} 1"),
        std::string::npos);
    // what cannot be written down leaves no former "well"
    const RunResult full =
        RunInShell("ulimit -f 1;", {TAVO_NIGHT_PROGRAM, "run", "/ConfigFilePath=" + ini}, "");
    EXPECT_NE(full.status, 0);
    EXPECT_NE(full.output.find(": File too large\n"), std::string::npos) << full.output;
    EXPECT_NE(Night({"status"}).status, 0);
    EXPECT_EQ(Night({"run"}).status, 0);
    Process other({"/usr/bin/flock", "-o", night + "/lock", "/bin/sleep", "60"});
    while (system(("flock -n " + night + "/lock true").c_str()) == 0) std::this_thread::yield();
    EXPECT_EQ(Night({"run"}).status, 75);
    EXPECT_EQ(Night({"status"}).status, 0) << "the other one tells";
    other.Signal(SIGTERM);
    while (system(("flock -n " + night + "/lock true").c_str()) != 0) std::this_thread::yield();
    chmod(night.c_str(), 0777);
    for (const char* command : {"run", "prune"}) EXPECT_EQ(Night({command}).status, 1) << command;
    EXPECT_EQ(Night({"reports", "/Jobs=0"}).status, 1);
    EXPECT_EQ(Night({"reports", "/ECR=a"}).status, 1);
    EXPECT_EQ(Night({"reports", "/Reprot=7"}).status, 1);
    chmod(night.c_str(), 0755);
    EXPECT_EQ(Night({"status"}).status, 75) << "a night that was refused its folder";
    for (const char* lines : {"Report=70;71", "Report=70,70", "Report=256", "Prices=none.csv"}) {
        SetRegisters({{"Till \"1\"", At(ecr)}, {"b", std::string("TTY=x\n") + lines}, {"c", At(ecr)}});
        EXPECT_EQ(Night({"run"}).status, 1) << "but the others are served";
        const std::string found =
            ListMatches(Night({"status"}).output, "ECR_(.)\\] is left out: ([^ ]*)", "$1$2");
        EXPECT_EQ(found, "b" + ini + ",cTill") << lines;
    }
}

TEST_F(NightTest, APageTellsWhatIsToBeDoneAtEachMachine) {
    const Simulator ecr;
    SetRegisters({{"Till <1>", At(ecr)}});
    EXPECT_NE(Night({"page"}).output.find("there was no night yet"), std::string::npos);
    Sell(ecr, "1,5\n");
    const auto full = [&](const char* command) {
        return RunInShell("", {TAVO_NIGHT_PROGRAM, command, "/ConfigFilePath=" + ini}, ">/dev/full").status;
    };
    EXPECT_EQ(full("run"), 0);
    EXPECT_NE(Night({"page"}).output.find("All is well"), std::string::npos);
    EXPECT_EQ(full("page"), 1) << "what is cut off would pass for whole";
    EXPECT_EQ(full("reports"), 1);
    const std::string copies = folder / "shop 1";
    mkdir(copies.c_str(), 0755);
    const auto copy = [&] {
        std::filesystem::copy(night + "/ledger.db", copies + "/ledger.db",
                              std::filesystem::copy_options::overwrite_existing);
        WriteText(copies + "/status.json", Night({"status", "--json"}).output);
        return RunProgram({TAVO_NIGHT_PROGRAM, "page", copies, folder / "none"}).output;
    };
    std::string page = copy();
    EXPECT_EQ(ListMatches(page, "<li><h3>([^<]*)</h3><p>([^\n]*)", "$1: $2;"),
              "none: it has no status.json as tavo-night status --json writes it;")
        << page;
    EXPECT_NE(page.find("shop 1: Till &lt;1&gt;</a><td><span aria-hidden=true>-"), std::string::npos);
    std::remove((copies + "/ledger.db").c_str());
    page = RunProgram({TAVO_NIGHT_PROGRAM, "page", copies}).output;
    EXPECT_NE(page.find("<h3>shop 1: Till &lt;1&gt;</h3><p>report 70 "), std::string::npos)
        << "by its status";
    // what no tavo-night has written
    Query(
        "UPDATE report SET state = 'waiting', id = '$(reboot)'; UPDATE job SET class = '<u>', told = '5 "
        "CommunicationError: x';"
        " UPDATE run SET status = 5, lost = 7;"
        " INSERT INTO change SELECT number, 0, 'waiting', '' FROM report");
    page = copy();
    EXPECT_NE(page.find("frames: last <b>0.0</b>"), std::string::npos)
        << "of runs that failed nothing counts";
    for (const char* text : {"$(reboot) --keep", "<u>"})
        EXPECT_EQ(page.find(text), std::string::npos) << text;
    EXPECT_NE(page.find("Waiting for a decision"), std::string::npos);
    EXPECT_NE(page.find("What to do: see whether the register is on"), std::string::npos) << page;
}

TEST_F(NightTest, OnlyWhatNoRegisterHasAnyMoreIsLeftToAPerson) {
    const Simulator ecr;
    SetRegisters({{"Till", At(ecr)}});
    Sell(ecr, "1,5\n");
    EXPECT_EQ(Night({"run"}).status, 0);
    for (const auto& [name, lines, state] : {std::tuple("TILL", "", "ready"),
                                             {"Till", "\nReport=x", "whole"},
                                             {"Till", "\nReport=71", "waiting"},
                                             {"Bar", "", "waiting"}}) {
        Query("UPDATE report SET state = 'whole' WHERE bytes > 0");
        SetRegisters({{name, At(ecr) + lines}, {"other", "TTY=none"}});
        Night({"run"});
        EXPECT_EQ(Field(".state"), state) << name << lines;
    }
}

TEST_F(NightTest, TriesAgainWhereThereIsNoProcessToBeHad) {
    const Simulator ecr;
    SetRegisters({{"Till", At(ecr)}});
    Sell(ecr, "1,5\n");
    for (const auto& [which, status] : {std::pair("", 75), {":when=1", 0}})
        // a caller that ignores the end of its children leaves that to this one
        EXPECT_EQ(RunInShell("trap '' CHLD; export ASAN_OPTIONS=detect_leaks=0; exec",
                             {"/usr/bin/strace", "-qqo/dev/null", "-e", "trace=clone", "-e",
                              std::string("inject=clone:error=EAGAIN") + which, TAVO_NIGHT_PROGRAM, "run",
                              "/ConfigFilePath=" + ini},
                             "")
                      .status,
                  status);
    EXPECT_EQ(Field(".state"), "ready");
}
