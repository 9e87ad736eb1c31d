#include <map>
#include <random>
#include <set>

#include "AppConfig.h"
#include "Check.h"
#include "Diagnosis.h"
#include "Records/InputFile.h"
#include "SpreadsheetForm.h"
#include "System/Output.h"
#include "TextFile.h"
#include "Tools.h"

TEST_F(CheckTest, JudgesAFileAsTheToolDoes) {
    Simulator ecr;
    for (const auto& [name, text, isFiscal] :
         {std::tuple("good.csv", "1,\"a\"\r\n2,\"b\",1.5\r\n", false),
          {"bad.csv", "3,\"c\"\n1,\"a\n\n1,x\nfoo\n2,\"b\"\n1,\"d\"\n-1,2\n", false},
          {"same.csv", "1,2\n1,3\n", false},
          {"logo.bmp", "no picture", false},
          {"empty.csv", "", false},
          {"receipt.csv", "12,\"a\"\nfoo\n\n", true},
          {"commands.csv", "12,\"a\"\n\"heading\"\n12,x\n", true}}) {
        const std::string path = File(name, text);
        const RunResult sent = Tavo(ecr, isFiscal ? std::vector<std::string>{"ExecuteFiscal", path}
                                                  : std::vector<std::string>{"Send", "3", path});
        const RunResult checked = Check({isFiscal ? "--fiscal" : "3", path});
        EXPECT_EQ(Verdict(checked), Verdict(sent)) << name << "\n" << checked.output;
    }
    std::string fields;
    for (int i = 0; i < 335; i++) fields += ",5";
    std::map<int, int> held;  // records that fit a frame, by its version: without a number it holds more
    for (const int version : {1, 3}) {
        const std::string setting = Format("/SerialProtocolVersion=%d", version);
        for (size_t size = 0; size < 12; size++) {
            // of its own: one may be in the middle of a transfer yet that has ended with status 99
            const Simulator speaking({"--frame-version", Format("%d", version)});
            const std::string path = File("a.csv", "1" + fields + ",\"" + std::string(size, 'x') + "\"\n");
            const bool isHeld =
                Check({"3", path, setting}).output.find("ends here with status 99") == std::string::npos;
            EXPECT_EQ(isHeld ? 0 : 99, Tavo(speaking, {"Send", "3", path, setting}).status)
                << setting << ": " << size;
            held[version] += isHeld ? 1 : 0;
        }
    }
    EXPECT_TRUE(held[3] > 0 && held[3] < held[1] && held[1] < 12) << held[3] << " and " << held[1];
    EXPECT_EQ(Check({"3", folder / "missing.csv"}).status, 13);
    EXPECT_EQ(Check({"x", "a.csv"}).status, 1);
}

TEST(Utf8Test, TakesTheShortestFormOfEveryLetterAndNoOther) {
    for (const auto& [bytes, length] : {std::pair("\x7F", 1u),
                                        {"\x80", 0},
                                        {"\xC1\xBF", 0},
                                        {"\xC2\x80", 2},
                                        {"\xDF\xBF", 2},
                                        {"\xE0\x9F\xBF", 0},
                                        {"\xE0\xA0\x80", 3},
                                        {"\xED\xA0\x80", 0},
                                        {"\xEF\xBF\xBF", 3},
                                        {"\xF0\x8F\xBF\xBF", 0},
                                        {"\xF0\x90\x80\x80", 4},
                                        {"\xF4\x8F\xBF\xBF", 4},
                                        {"\xF4\x90\x80\x80", 0},
                                        {"\xF5\x80\x80\x80", 0}})
        EXPECT_EQ(Utf8Length(bytes, 0), length) << Printable(bytes);
}

TEST_F(CheckTest, EveryFormOfASpreadsheetIsFound) {
    for (const SpreadsheetForm* form : GetSpreadsheetForms())
        EXPECT_EQ(FindSpreadsheetForm(form->example), form) << form->example << " has an earlier form";
}

TEST_F(CheckTest, TellsColumnAndCauseOfABadField) {
    const std::string path =
        File("a.csv", "1,\"x\",,2\n3,\"b\"c,1\n4,99999999999999999999\n6,0xzz\n7\n-1,2\n9,1.2.3\n10,x\n");
    const std::string output = Check({"3", path, "/Delimeter=;", "/EcrOperationMaxTime=25550"}).output;
    EXPECT_EQ(Matches(output, "(warning: )?line [^\n]{1,92}"), R"(line 1, field 3, column 7: field is empty
warning: line 2, field 2, column 3: text goes on behind its closing quote
warning: line 3, field 2, column 3: number has too many digits: it arrives as 7766279631452241919
warning: line 4, field 2, column 3: binary field has other characters than hexadecimal digits: they arrive
line 6, field 1, column 1: -1, also with a point in it, is not taken as the first of several fiel
line 7, field 2, column 3: number has other characters than digits, a '-' before them and one poi
line 8, field 2, column 4: field begins with 'x': it is no text in quotes, no number and no binar
warning: line 1: 4 fields, 5 of 8 lines have 2
warning: line 2: 3 fields, 5 of 8 lines have 2
warning: line 4, field 2, column 3: a binary field, where 3 of 5 lines have a number
warning: line 5: 1 fields, 5 of 8 lines have 2
warning: line 5: no record number but 0 with fields behind it: nothing is sorted, and duplicates are not l
)");
    EXPECT_EQ(
        output.find("warning: /Delimeter: no such setting, /Delimiter?\nwarning: EcrOperationMaxTime and"),
        0U);
}

TEST_F(CheckTest, WarnsOfFilesThatOtherProgramsMadeAndShowsWhatWouldBeSent) {
    for (const auto& [text, warning] :
         {std::pair("\xEF\xBB\2771,2\n", "line 1, column 1: the file begins with a UTF-8 byte-order mark"),
          {"1,\"a\"\n2,\"P\xC3\xA4rnu\"\n", "line 2, column 5: letters look like UTF-8"},
          {"1;\"a, b\"\n2;\"c\"\n", "the fields have a ';' between them, but the delimiter is ','"},
          {"1,\"a\"\r2,\"b\"\r", "carriage returns stand inside of lines"},
          {"1,\"a\"\n2,\"P\xC3\xA4rnu\"\n3,\"P\xE4rnu\"\n",
           "line 3: letters that are no UTF-8, while those of line 2"},
          {"1.5,\"a\"\n", "line 1, field 1, column 1: record number has decimals"}}) {
        const std::string output = Check({"3", File("a.csv", text)}).output;
        EXPECT_NE(output.find(std::string("warning: ") + warning), std::string::npos) << warning;
    }
    EXPECT_NE(
        Check({"--fiscal", File("a.csv", "10\nfoo\n19\n")}).output.find("the other 2 commands would be"),
        std::string::npos);
    const std::string good = Check({"3", File("a.csv", "1,\"P\xE4rnu; Eesti\"\r\n2,\"\xC3\"\r\n")}).output;
    EXPECT_EQ(good.find("warning"), std::string::npos) << good;
    EXPECT_EQ(Check({"--show", "3", File("a.csv", "2,\"a\"\"b\",0x7A\n1,-1.50\n")}).output,
              preparing + "line 2: number 1, number -1.5\n" +
                  "line 1: number 2, text \"a\"\"b\", binary 0x7a\nRecords to send: 2\n" + ok);
    for (const auto& [rows, drawn] :
         {std::pair(40, "128 x 40 pixels, black ones as blocks:\n  ▄▟███"), {1, "128 x 1 pixels, "}}) {
        std::string logo = ReadText(SAMPLES "/logo.bmp");
        logo[22] = static_cast<char>(rows);
        EXPECT_EQ(Check({"--show", "210", File("logo.bmp", logo)}).output.find(drawn), 0U) << rows;
    }
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
    HeldOutput held;
    InputFile input;
    input.OpenRecords(3, path);
    byte buffer[commIoBufferSize];
    for (int i = 0; input.Read(i); i++) input.Convert(buffer);
    std::istringstream output(held.Take());
    std::set<std::string> refused;
    for (std::string told; std::getline(output, told);)
        if (told.find("bad format") != std::string::npos) refused.insert(told.substr(told.find("Line"), 10));
    EXPECT_GT(refused.size(), 5000U);
    const std::vector<std::string> lines = ReadLines(path);
    ASSERT_EQ(lines.size(), 20003U);
    for (size_t i = 0; i < lines.size(); i++) {
        const std::vector<Finding> findings = DiagnoseLine(lines[i], {false, ',', 3});
        const bool isBad = !findings.empty() && findings.back().isBad;
        EXPECT_EQ(isBad, refused.count(Format("Line %-5zu", i + 1)) == 1) << lines[i];
        for (const Finding& finding : findings) EXPECT_NE(finding.cause, "") << lines[i];
    }
}

TEST_F(CheckTest, TellsAProgramTheSameFindings) {
    const std::string file = File("a.csv", "1,\"P\xC3\xA4rnu\"\nbad\n\n1,1.2.3\n");
    const std::string objects = Check({"--json", "3", file}).output;
    WriteText(folder / "a.json", objects);
    EXPECT_EQ(RunProgram({"/usr/bin/jq", "-c", "[.severity,.line,.field,.column,.status]", folder / "a.json"})
                  .output,
              "[\"error\",2,null,null,null]\n[\"error\",3,null,null,null]\n[\"error\",4,null,null,null]\n"
              "[\"error\",4,null,null,null]\n[\"error\",2,1,1,null]\n[\"error\",4,2,3,null]\n"
              "[\"warning\",1,null,5,null]\n[null,null,null,null,2]\n");
    EXPECT_NE(objects.find("\"cause\":\"field begins with 'b': "), std::string::npos) << objects;
}

TEST_F(CheckTest, NamesEveryTrapOfASpreadsheetAndNothingInACleanFile) {
    EXPECT_EQ(Matches(Check({"3", SAMPLES "/articles.csv"}).output, "warning: [^\n]*"), "");
    std::string clean;
    int article = 0;
    for (const char* code :
         {"40170725", "4740001000017", "4740001000024", "4740001000031", "4740001000048"}) {
        article++;
        clean += Format("%d,\"Bread\",%d.25,\"x\",%s,0x7a\n", article, article, code);
    }
    const std::string most = ", where 5 of 6 lines have a ";
    for (const auto& [line, warning] :
         {std::pair("6,\"Milk\",1.5,\"y\",4740001000482,0x7b", ""),
          {"6,\"Milk\",1,25,\"y\",4740001000482,0x7b",
           "line 6, field 3, column 10: 7 fields, 5 of 6 lines have 6: decimal comma in field 3? Write a "
           "point"},
          {"6,\"Milk\"", "line 6: 2 fields, 5 of 6 lines have 6"},
          {"6,7,1.5,\"y\",4740001000482,0x7b", "line 6, field 2, column 3: a number%text"},
          {"6,\"Milk\",\"1.5\",\"y\",4740001000482,0x7b",
           "line 6, field 3, column 10: a text%number: a number in quotes arrives as a text: leave the "
           "quotes out"},
          {"6,\"Milk\",1.5,\"4.74E+12\",4740001000482,0x7b",
           "line 6, field 4, column 14: a spreadsheet has rounded it: the digits are lost; format the column "
           "as text"},
          {"6,\"Milk\",1.5,\"y\",4740001000483,0x7b",
           "line 6, field 5, column 18: barcode 4740001000483 has a wrong check digit: 2 would be right"},
          {"6,\"Milk\",1.5,\"y\",40170726,0x7b",
           "line 6, field 5, column 18: barcode 40170726 has a wrong check digit: 5 would be right"},
          {"6,\"Milk\",1.5,\"y\",123456789013,0x7b",
           "line 6, field 5, column 18: barcode 123456789013 has a wrong check digit: 2 would be right"}}) {
        const std::string expected =
            *warning == '\0' ? "" : "warning: " + ReplaceAll(warning, "%", most) + "\n";
        EXPECT_EQ(Matches(Check({"3", File("a.csv", clean + line + "\n")}).output, "warning: [^\n]*"),
                  expected);
    }
    EXPECT_EQ(
        Matches(
            Check({"3", File("a.csv", "\"Number\",\"Name\",\"Price\",\"Text\",\"Code\",\"Flags\"\n" + clean)})
                .output,
            "warning: [^\n]*"),
        "warning: line 1, field 1, column 1: a heading is sent as a record: delete the line\n");
    // what the tool refuses is explained in the same words
    for (const char* number : {"4.74E+12", "1.23456789012346E+019", "12.05.2026", "12-May", "12:05", "20%",
                               "1 234.5", "1?234.50", "1 234.50\xA0\x80"})
        EXPECT_NE(ListMatches(Check({"3", File("a.csv", clean + "6,\"Milk\"," + number + "\n")}).output,
                              "one point: [^\n]*(column|without)", "$&"),
                  "")
            << number;
}

TEST_F(CheckTest, JudgesAColumnByWhatMostOfItIsMeantToBe) {
    const std::string barcodes(R"(4740001000482 4740001000017 4740001000024 4740001000031 4740001000048 )");
    const std::string texts = ReplaceAll(barcodes, R"(\d+)", "\"$&\"");
    for (const auto& [column, lines, cause] :
         {std::tuple(std::string(R"("1,25" "2,5" "3,75" 4 5)"), "1 2 3 ", "a decimal comma"),
          {R"("1.25" "2" "3" "4" "5.5")", "1 2 3 4 5 ", "a number in quotes"},
          {R"("1.234,50" "1.050,00" "2.000,50" "3.000,00" "10.000,00")", "1 2 3 4 5 ",
           "thousands separators"},
          {R"("0x7a" "0x01" "0x02" "0x03" "0x04")", "1 2 3 4 5 ", "binary data in quotes"},
          {"24 350 1.050 999 2.125", "3 5 ", "a point for thousands"},
          {"24 0.350 1.050 999 2.125", "", ""},
          {"0 1.459 1.389 1.250 0", "", ""},
          {R"("38" "40" "XL" "1,5" "42")", "", ""},
          {R"("1,5" 1.234)", "1 2 ", ""},
          {R"("ABC1" "ABC2" "10XYZ" "100.200.300" "100.200.301")", "", ""},
          {R"("5E-10" "5E-11" "5E-12" "5E-13" "5E-14")", "", ""},
          {texts + R"("12345678905")", "6 ", "barcode 12345678905: has a spreadsheet taken the zeros"},
          {barcodes + "12345678905 0 211 \"4740001000055\"", "9 ", "a text, where 8 of 9"},
          {barcodes + "2000011000000", "", ""},
          {barcodes +
               "4740001000055 4740001000062 4740001000079 4740001000086 4740001000093 20261101 20261102 "
               "20261103 20261104 20261105",
           "", ""},
          {barcodes + "4740001000024", "6 ",
           "barcode 4740001000024 is that of another article, too, in line 3"},
          {texts + R"("#N/A" "Err:502" "#SALE")", "6 7 ", "a formula of the spreadsheet has failed"},
          {R"(1,"x" 2,"y" 3,"z" 4 5)", "", ""}}) {
        std::istringstream fields(column);
        std::string text;
        int line = 0;
        for (std::string field; fields >> field;) text += Format("%d,\"Bread\",", ++line) + field + "\n";
        const std::string warnings = Matches(Check({"3", File("a.csv", text)}).output, "warning: [^\n]*");
        std::string named;
        std::istringstream told(warnings);
        for (std::string warning; std::getline(told, warning);)
            named += warning.find(Format(", field 3, column 11: %s", cause)) != std::string::npos
                         ? warning.substr(14, warning.find(',') - 14) + " "
                         : warning;
        EXPECT_EQ(named, lines) << warnings;
    }
    // a script takes warnings of the file, and no others, for errors
    for (const auto& [text, setting, status] : {std::tuple("1,\"a\"\n", "/Note=1", 0),
                                                {"1,\"a\n", "/Note=1", 2},
                                                {"7,\"a\"\n7,\"b\"\n", "/IgnoreDuplicates=1", 0}})
        EXPECT_EQ(Check({"--strict", "3", File("a.csv", text), setting}).status, status) << text;
    const std::string odd = "1,\"1,5\"\n2,\"2,5\"\n3,\"3,5\"\n4,\"4,5\"\n5,\"n/a\"\n";
    EXPECT_NE(Check({"3", File("a.csv", odd)}).output.find(": a text, where 4 of 5 lines have a number\n"),
              std::string::npos);
    // of the file as a whole
    std::string quoted;
    for (int i = 1; i <= 5; i++) quoted += Format("\"%d\",\"Bread\",1.5\n", i);
    for (const auto& [text, warnings] :
         {std::pair(quoted, 6),
          {"7\n14\n21\n", 0},
          {"\"Bread\",1\n5,2\n\"Milk\",3\n", 2},
          // of a few lines, too
          {"1,\"a\",1.25\n2,\"b\",0,89\n", 1},
          {"1,\"a\",1.25\n2,\"b\",\"0,89\"\n", 1},
          {"1,\"a\",4740001000017\n2,\"b\",4740001000024\n3,\"c\",4740001000032\n", 1},
          {"1,\"a\",1\n2,\"b\"\n", 0},
          {"\"Prices\",\"\"\n\"Number\",\"Name\"\n1,\"a\"\n2,\"b\"\n3,\"c\"\n", 3}}) {
        const std::string output = Check({"3", File("a.csv", text)}).output;
        EXPECT_EQ(ReplaceAll(Matches(output, "warning: line"), "[^\n]", "").size(),
                  static_cast<size_t>(warnings))
            << output;
    }
}

TEST_F(CheckTest, TellsFirstWhatIsNoFileOfItsKind) {
    std::string colours = ReadText(SAMPLES "/logo.bmp");
    colours[28] = 24;
    std::string wide = ReadText(SAMPLES "/logo.bmp");
    wide[19] = 8;
    for (const auto& [name, content, warning] :
         {std::tuple("a.csv", std::string("PK\3\4"), "the file is a ZIP archive"),
          {"a.csv", "%PDF-1.7", "the file is a PDF document: export it as CSV"},
          {"a.bin", "\x89PNG", "the file is a PNG picture"},
          {"a.csv", "\x1F\x8B", "the file is compressed by gzip"},
          {"a.csv", "\xFF\xD8\xFF", "the file is a JPEG picture: a logo is a bitmap, convert IN"},
          {"a.csv", "\xFF\376", "the file is UTF-16, of two bytes a letter: export it as CSV"},
          {"a.csv", "", "the file is empty"},
          {"a.bmp", "\x89PNG", "the file is a PNG picture: a logo is a bitmap, convert IN"},
          {"a.bmp", colours, "the picture has 24 bits a pixel, not 1: convert IN"},
          {"a.bmp", wide, "the picture is 2176 pixels wide and is cut at 1024: convert IN"}}) {
        EXPECT_EQ(Check({"210", File(name, content)}).output.find(std::string("warning: ") + warning), 0U)
            << warning;
        EXPECT_EQ(Check({"--fix", folder / "copy", "210", folder / name}).status, 13);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "copy"));
}
