#include <random>
#include <set>
#include <sstream>

#include "AppConfig.h"
#include "Diagnosis.h"
#include "EndToEnd.h"
#include "FileErrors.h"
#include "InputFile.h"

namespace {

/** tavo-check, the check of a file without a register. */
class CheckTest : public EndToEndTest {
protected:
    RunResult Check(std::vector<std::string> words) {
        words.insert(words.begin(), TAVO_CHECK_PROGRAM);
        words.push_back("/ConfigFilePath=" + ini);
        return RunProgram(words);
    }
    /** The messages of the tool by line, and its exit status. */
    static std::string Verdict(const std::string& output) {
        std::string verdict;
        const std::regex message("Line \\d+ +- [^\n]*|Return value \\d+");
        for (std::sregex_iterator i(output.begin(), output.end(), message), end; i != end; ++i)
            verdict += i->str() + "\n";
        return verdict;
    }
};

/** Lines that the tool refuses. */
std::set<int> RefusedLines(const std::string& path) {
    const std::string output = OutputOf([&] {
        InputFile input;
        input.OpenRecords(3, path);
        byte record[commIoBufferSize];
        for (int i = 0; input.Read(i); i++) input.Convert(record);
    });
    std::set<int> lines;
    const std::regex message("Line (\\d+) +- Record has bad format");
    for (std::sregex_iterator i(output.begin(), output.end(), message), end; i != end; ++i)
        lines.insert(std::stoi((*i)[1]));
    return lines;
}

}  // namespace

TEST_F(CheckTest, JudgesAFileAsTheToolDoes) {
    const struct {
        const char* name;
        const char* text;
        bool isFiscal;
    } files[] = {{"good.csv", "1,\"a\"\r\n2,\"b\",1.5\r\n", false},
                 {"bad.csv", "3,\"c\"\n1,\"a\n\n1,x\nfoo\n2,\"b\"\n1,\"d\"\n-1,2\n", false},
                 {"same.csv", "1,2\n1,3\n", false},
                 {"logo.bmp", "no picture", false},
                 {"empty.csv", "", false},
                 {"receipt.csv", "12,\"a\"\nfoo\n\n", true},
                 {"commands.csv", "12,\"a\"\n\"heading\"\n12,x\n", true}};
    Simulator ecr;
    for (const auto& file : files) {
        const std::string path = File(file.name, file.text);
        const RunResult sent = Tavo(ecr, file.isFiscal ? std::vector<std::string>{"ExecuteFiscal", path}
                                                       : std::vector<std::string>{"Send", "3", path});
        const RunResult checked = Check({file.isFiscal ? "--fiscal" : "3", path});
        EXPECT_EQ(Verdict(checked.output), Verdict(sent.output)) << file.name << "\n" << checked.output;
        EXPECT_EQ(checked.status, sent.status) << file.name;
    }
    EXPECT_EQ(Check({"3", folder / "missing.csv"}).status, 13);
    EXPECT_EQ(Check({"x", "a.csv"}).status, 1);
}

TEST_F(CheckTest, KnowsWhichRecordsAreTooLongForAFrame) {
    Simulator ecr;
    int tooLong = 0;
    for (int count = 334; count <= 342; count++) {
        std::string record = "1";
        for (int i = 0; i < count; i++) record += ",5";
        const std::string path = File("a.csv", record + "\n");
        const bool isWarned =
            Check({"3", path}).output.find("the transfer ends here with status 99") != std::string::npos;
        const int status = Tavo(ecr, {"Send", "3", path}).status;
        EXPECT_EQ(isWarned, status == 99) << count;
        tooLong += isWarned ? 1 : 0;
    }
    EXPECT_GT(tooLong, 0);
    EXPECT_LT(tooLong, 9);
}

TEST_F(CheckTest, TellsColumnAndCauseOfABadField) {
    const std::string path =
        File("a.csv",
             "1,\"x\",,2\n2, \"a\n3,\"b\"c,1\n4,99999999999999999999\n5,0x1\n6,0xzz\n7\n-1,2\n"
             "8,\"\t\"\n9,1.2.3\n10,x\n");
    const std::string output = Check({"3", path, "/Delimeter=;", "/EcrOperationMaxTime=25550"}).output;
    const std::string explained =
        "line 1, field 3, column 7: field is empty\n"
        "warning: line 2, field 2, column 4: text field is not closed\n"
        "warning: line 3, field 2, column 3: text goes on behind its closing quote\n"
        "warning: line 4, field 2, column 3: number has too many digits: it arrives as 7766279631452241919\n"
        "line 5, field 2, column 3: binary field has an odd number of digits\n"
        "warning: line 6, field 2, column 3: binary field has other characters than hexadecimal digits: they "
        "arrive "
        "as 00\n"
        "line 8, field 1, column 1: -1, also with a point in it, is not taken as the first of several "
        "fields\n"
        "line 9, field 2, column 3: text has a control character (09)\n"
        "line 10, field 2, column 3: number has other characters than digits, a '-' before them and one "
        "point\n"
        "line 11, field 2, column 4: field begins with 'x': it is no text in quotes, no number and no binary "
        "data "
        "(0x)\n"
        "warning: line 7: no record number but 0 with fields behind it: nothing is sorted, and duplicates "
        "are not "
        "looked "
        "for\n"
        "Records to send: 5\n";
    EXPECT_NE(output.find(explained), std::string::npos) << output;
    EXPECT_EQ(output.find("warning: there is no setting Delimeter\n"
                          "warning: EcrOperationMaxTime and EcrCommMaxTime together: of 25650 ms only 0 are "
                          "waited, as the port counts up to 25.5 s and begins again at 0\n"),
              0U)
        << output;
}

TEST_F(CheckTest, WarnsOfFilesThatOtherProgramsMade) {
    const struct {
        const char* text;
        const char* warning;
    } cases[] = {{"\xEF\xBB\xBF"
                  "1,\"a\"\n",
                  "warning: line 1, column 1: the file begins with a UTF-8 byte-order mark"},
                 {"1,\"a\"\n2,\"P\xC3\xA4rnu\"\n", "warning: line 2, column 5: letters look like UTF-8"},
                 {"1;\"a, b\"\n2;\"c\"\n", "warning: every line has a ';', but the delimiter is ','"},
                 {"1;\"a\";1,25\n", "warning: every line has a ';', but the delimiter is ','"},
                 {"1,\"a\"\r2,\"b\"\r", "warning: carriage returns stand inside of lines"},
                 {"\xFF\xFE"
                  "1,",
                  "warning: line 1, column 1: the file is UTF-16"},
                 {"1.5,\"a\"\n", "warning: line 1, field 1, column 1: record number has decimals"}};
    for (const auto& c : cases)
        EXPECT_NE(Check({"3", File("a.csv", c.text)}).output.find(c.warning), std::string::npos) << c.warning;
    const std::string good = Check({"3", File("a.csv", "1,\"P\xE4rnu; Eesti\"\r\n2,\"\xC3\"\r\n")}).output;
    EXPECT_EQ(good.find("warning"), std::string::npos) << good;
}

TEST_F(CheckTest, ShowsWhatWouldBeSent) {
    EXPECT_EQ(Check({"--show", "3", File("a.csv", "2,\"a\"\"b\",0x7A\n1,-1.50\n")}).output,
              preparing +
                  "line 2: number 1, number -1.5\nline 1: number 2, text \"a\"\"b\", binary 0x7a\n"
                  "Records to send: 2\n" +
                  ok);
    EXPECT_EQ(
        Check({"--show", "--fiscal", File("r.csv", "10\n12,\"a\"\n")}).output,
        preparing + "line 1: command 10\nline 2: command 12, text \"a\"\nCommands to execute: 2\n" + ok);
    const std::string logo = Check({"--show", "210", std::string(SAMPLES) + "/logo.bmp"}).output;
    EXPECT_EQ(logo.find("128 x 40 pixels, black ones as blocks:\n  ▄▟███"), 0U) << logo;
}

TEST_F(CheckTest, ExplainsEveryLineThatTheToolRefusesAndNoOther) {
    AppConfig::Clear();
    AppConfig::SetParameter("SortInputFileLines", "0", false);
    std::mt19937 random(1);
    const std::string alphabet("1205\"\",,,-.x a\t\x01\xC3;0\0", 20);
    std::string text = "1";
    for (int i = 0; i < 511; i++) text += ",5";
    text += "x\n";  // the 1024th character is a line of its own
    for (int i = 0; i < 20000; i++) {
        text += "1,";
        for (auto length = random() % 12; length > 0; length--) text += alphabet[random() % alphabet.size()];
        text += "\n";
    }
    const std::string path = File("a.csv", text + "1," + std::string(140, '1') + "\n");
    const std::set<int> refused = RefusedLines(path);
    EXPECT_GT(refused.size(), 5000U);
    const std::vector<std::string> lines = ReadLines(path);
    ASSERT_EQ(lines.size(), 20003U);
    for (size_t i = 0; i < lines.size(); i++) {
        const std::vector<Finding> findings = DiagnoseLine(lines[i], false);
        const bool isBad = !findings.empty() && findings.back().isBad;
        EXPECT_EQ(isBad, refused.count(static_cast<int>(i) + 1) == 1) << lines[i];
        for (const Finding& finding : findings) EXPECT_NE(finding.cause, "") << lines[i];
    }
}
