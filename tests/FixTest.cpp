#include <array>
#include <filesystem>
#include <tuple>

#include "Check.h"
#include "SpreadsheetForm.h"

/** What becomes of a file when tavo-check, or a person by its advice, has corrected it. */
using FixTest = CheckTest;

/** What tavo-check tells a person to do is done here by a program. */
TEST_F(FixTest, EveryAdviceLeadsToTheRecordThatWasMeant) {
    std::string given;
    for (const auto& [text, advice, from, to, shown] : std::initializer_list<std::array<std::string, 5>>{
             {R"(1,"a","2,07")", "write a point, and no quotes", R"re("2,07")re", "2.07",
              "text \"a\", number 2.07"},
             {R"(1,"a","1,234")", "write a point, and no separators", R"re("1,234")re", "1.234",
              "number 1.234"},
             {R"(1,"a","1,234.50")", "separators: format the column without them", "[\",](?=[\\d.,]*\"$)|\"$",
              "", "text \"a\", number 1234.5"},
             {R"(1,"a","5 EUR")", "a currency sign: format the column without it", R"re("5 EUR")re", "5",
              "number 5"},
             {R"(1,"a",12%)", "a percent sign: format the column without it", "12%", "0.12", "number 0.12"},
             {R"(1,"a",12:30)", "format the column as text", "12:30", "\"$&\"", "text \"12:30\""},
             {R"(1,"a",1.5.2026)", "format the column as text", "1.5.2026", "\"$&\"", "text \"1.5.2026\""},
             {R"(1,"a",4.74E+12)", "format the column as text", "4.74E.12", "\"4740001000017\"",
              "text \"4740001000017\""},
             {R"(1,"a",#N/A)", "a formula of the spreadsheet has failed", "#N/A", "7", "number 7"},
             {R"(1,"a","0x7a")", "leave the quotes out", R"re("(0x7a)")re", "$1", "binary 0x7a"},
             {R"(1,"a","1.25")", "leave the quotes out", R"re("(1.25)")re", "$1", "number 1.25"},
             {R"("5","a",1)", "leave the quotes out", R"re("(5)")re", "$1", "line 1: number 5, text"},
             {"1,Bread,2", "write quotes around it", "Bread", "\"$&\"", "text \"Bread\", number 2"},
             {"1,\"a\nb\",2", "is there a line break in it", "\n", " ",
              "line 1: number 1, text \"a b\", number 2"},
             {"1,\"P\xC3\xA4rnu\"", "save the file in the register's code page", "\xC3\xA4", "\xE4", "rnu\""},
             {"\xEF\xBB\277\x31,2", "save it without one", "\xEF\xBB\xBF", "", "line 1: number 1, number 2"},
             {"1,2\r2,3\r3,4", "a line ends with a line feed", "\r", "\n", "line 3: number 3, number 4"},
             {"\"No\",\"Name\"\n1,\"a\"", "delete the line", "^\"No.*\n", "",
              "line 1: number 1, text \"a\"\nR"},
             {"1,\"a\",1.25\n2,\"b\",0,89", "decimal comma in field 3. Write a point", "0,89", "0.89",
              "number 0.89"},
             {"1;\"a\";5", "set Delimiter", "$", "/Delimiter=;", "line 1: number 1, text \"a\", number 5"},
             {"1,4740001000017\n2,4740001000024\n3,4740001000032", "1 would be right", "32$", "31",
              "4740001000031"},
             {"1,\"4740001000017\"\n2,\"0012345678905\"\n3,\"12345678912\"", "Format the column as text",
              "\"12345678912", "\"0012345678912", "\"0012345678912\""},
             {"1,\"a\",1,05\n2,\"b\",1,09", "is the comma before it a decimal comma", "1,0", "1.0",
              "number 1.05"},
             {"\"1\",\"a\",\"2\"", "field 3, column 9: a number in quotes", "\"(\\d)\"", "$1",
              "number 1, text \"a\", number 2"},
             {"1,24\n2,350\n3,1.050", "format the column without thousands separators", "1.050", "1050",
              "number 1050"}}) {
        const std::string told = Check({"3", File("a.csv", text)}).output;
        given += told;
        EXPECT_NE(ListMatches(told, "(?:line [^\n]*|warning: [^\n]*)" + advice, "$&"), "") << text;
        const bool isSetting = to[0] == '/';
        if (!isSetting) WriteText(folder / "a.csv", ReplaceAll(text, from, to));
        const std::string then =
            Check({"--strict", "--show", "3", folder / "a.csv", isSetting ? to : "/Delimiter=,"}).output;
        EXPECT_NE(then.find(shown), std::string::npos) << advice << "\n" << then;
        EXPECT_NE(then.find("Return value 0"), std::string::npos) << advice << "\n" << then;
    }
    for (const SpreadsheetForm* form : GetSpreadsheetForms())
        EXPECT_NE(given.find(form->advice), std::string::npos) << "nobody has followed: " << form->advice;
}

TEST_F(FixTest, FixesWhatIsCertainInACopyThatPasses) {
    const std::string path = File("a.csv",
                                  "\xEF\xBB\2771;\"P\xC3\xA4rnu; \"\"Eesti\"\"\";1,25;24\r2;\"b, "
                                  "\xC3\xA4\";-0,5;7\r\n3;Milk;1.234,50;8\n");
    const RunResult fixed = Check({"--fix", folder / "b.csv", "--codepage", "CP1257", "3", path});
    EXPECT_EQ(ReadText(folder / "b.csv"),
              "1,\"P\344rnu; \"\"Eesti\"\"\",1.25,24\n2,\"b, \344\",-0.5,7\r\n3,\"Milk\",1234.50,8\n");
    EXPECT_EQ(Matches(fixed.output, "(fixed: )?line [^\n]*|Return.*"),
              "fixed: line 1: byte-order mark removed\nfixed: line 1: decimal comma in field 3 is a point "
              "now\nfixed: line 1: delimiter\nfixed: line 1: letters converted\nfixed: line 1: line "
              "end\nfixed: line 2: decimal comma in field 3 is a point now\nfixed: line 2: delimiter\nfixed: "
              "line 2: letters converted\nfixed: "
              "line 3: quotes around the text in field 2\nfixed: line 3: separators in field 3 are a point "
              "now\nfixed: line 3: delimiter\nReturn value 0\n");
    for (const auto& [text, delimiter, copy] :
         {std::tuple(std::string("1;\"a\";1,25\n2;\"b\";2,5\n"), ";",
                     std::string("1;\"a\";1.25\n2;\"b\";2.5\n")),
          {"1\t\"a\"\t1,25\n", ",", "1,\"a\",1.25\n"},
          {"1,Milk,2\n2,Rice, long,3\n", ",", "1,\"Milk\",2\n2,Rice, long,3\n"},
          {"1,Bread\",2\n2,20\" TV,3\n3,Tea \"x\",4\n", ",", "1,Bread\",2\n2,20\" TV,3\n3,Tea \"x\",4\n"},
          {"1;\"a\";1.234\n2;\"b\";0,5\n", ",", "1;\"a\";1.234\n2,\"b\",0.5\n"},
          {"1\t\"a\"\t1,25\n", ";", "1;\"a\";1.25\n"},
          {"1,\"a\rb\",2\n2,,\n", ",", "1,\"a\rb\",2\n2,,\n"},
          {"1;" + std::string(60000, '1') + ";1,5\n", ",", "1," + std::string(60000, '1') + ",1.5\n"},
          {"1;\"a\";1,250\n", ";", "1;\"a\";1,250\n"},
          {"1;\"a\";1,250\n2;\"b\";0,5\n", ";", "1;\"a\";1.250\n2;\"b\";0.5\n"},
          // a line that has the delimiter already; letters that would look like UTF-8
          {"\xEF\xBB\xBF\xEF\xBB\277\t2,5\n3,x;2,5;\t1\n", ";", "\t2;5\n3,x;2.5;\t1\n"},
          {"\xC3\xAF\xC2\xBB\xC2\277,1\n2,\"\xC3\xA9\"\n", ",",
           "\xC3\xAF\xC2\xBB\xC2\277,1\n2,\"\xC3\xA9\"\n"},
          {"1;\"\xC3\x84\xC2\xA6\"\n", ";", "1;\"\xC3\x84\xC2\xA6\"\n"}}) {
        const auto fix = [&, set = std::string("/Delimiter=") + delimiter](const char* from, const char* to) {
            return Check({"--fix", folder / to, "--codepage", "CP1252", "3", folder / from, set}).output;
        };
        WriteText(folder / "c.csv", text);
        fix("c.csv", "b.csv");
        EXPECT_EQ(ReadText(folder / "b.csv"), copy);
        EXPECT_EQ(fix("b.csv", "d.csv").find("fixed: "), std::string::npos) << "the copy is not fixed";
    }
    // not in the code page; a change before the obstacle
    const std::string odd =
        "1;\"\xE4\xB8\255\";7\n\"2\";2,5;1,5 EUR\n3;\"Rice,\nlong\";1,25\n4;x, y;1,25\nNumber;x, y\n";
    EXPECT_EQ(
        Matches(Check({"--fix", folder / "b.csv", "--codepage", "CP1257", "3", File("c.csv", odd)}).output,
                "fixed: line [^\n]*|line [^\n]*left as[^\n]*"),
        R"(fixed: line 1: delimiter
fixed: line 5: quotes around the text in field 2
fixed: line 5: decimal comma in field 3 is a point now
fixed: line 5: delimiter
line 1: left as it is: the letter '中' is not in the code page
line 2, field 3: left as it is: the delimiter stands in it, and it has no quotes: a currency sign: format the column without it
line 3, field 2: left as it is: the text is not closed: take a line break out of the cell
line 6, field 2: left as it is: the delimiter stands in it, and it has no quotes
)");
    const std::string mixed = "1;\"P\xC3\xA4rnu\"\n2;\"P\xE4rnu\"\n";
    EXPECT_NE(
        Check({"--json", "--fix", folder / "b.csv", "--codepage", "CP1257", "3", File("c.csv", mixed)})
            .output.find(
                "{\"severity\":\"fixed\",\"line\":2,\"cause\":\"delimiter\"}\n"
                "{\"severity\":\"warning\",\"line\":2,\"cause\":\"left as they are: letters that are no"),
        std::string::npos);
    EXPECT_EQ(ReadText(folder / "b.csv"), "1,\"P\xC3\xA4rnu\"\n2,\"P\xE4rnu\"\n");
    EXPECT_EQ(Check({"--json", "3", "/none/c.csv"}).output,
              "{\"status\":13,\"cause\":\"Unable to open file '/none/c.csv'\"}\n");
    for (const auto& [words, status] : {std::pair(std::vector<std::string>{"--fix", path, "3", path}, 1),
                                        {{"--fix", folder / "b.csv", "--codepage", "CP", "3", path}, 1},
                                        {{"--fix", "/none/b.csv", "3", path}, 13}})
        EXPECT_EQ(Check(words).status, status);
    EXPECT_EQ(ReadText(path).substr(0, 3), "\xEF\xBB\xBF");  // it is left as it was
}
