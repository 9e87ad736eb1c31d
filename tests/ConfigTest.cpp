#include <gtest/gtest.h>

#include <algorithm>

#include "AppConfig.h"
#include "EcrComm/CommChannels/Linux/LineSettings.h"
#include "FileIo.h"
#include "FiscalPrinter.h"
#include "IniFile.h"
#include "Options/CommandLine.h"
#include "Regex.h"
#include "Settings.h"
#include "Support.h"
#include "Tables.h"

namespace {

class ConfigTest : public testing::Test {
protected:
    ConfigTest() { AppConfig::Clear(); }
    void Load(const std::string& ini) {
        WriteText(path, ini);
        AppConfig::SetParameter("ConfigFilePath", path, false);
        AppConfig::Initialize();
    }
    static std::string Values(const char* section, const std::vector<const char*>& keys) {
        std::string values;
        for (const char* key : keys) values += IniFile::GetString(section, key, "-") + "|";
        return values;
    }

    TempFolder folder;
    const std::string path = folder / "TAVO.ini";
};

}  // namespace

TEST_F(ConfigTest, ReadsTheDialect) {
    const std::string text = R"(top = 1
[Common]
  ComNumber = ttyS0
Empty =
Quoted="a=b"
Repeated=1
REPEATED=2
no value here
[ Other ] trailing
)";
    const std::string longValue(300, 'v');
    Load(text + "Key=o\fKey2=p\r\n[COMMON]\nLong=" + longValue + "\nPadded=" + std::string(250, ' ') +
         "123456789\n\x1a\nHidden=1\n");
    EXPECT_EQ(Values("common", {"comnumber", "Empty", "Quoted", "Repeated", "Padded", "Hidden"}),
              "ttyS0||\"a=b\"|2|12345|-|");
    EXPECT_EQ(Values("Common", {"Long"}), longValue.substr(0, 255) + "|");
    EXPECT_EQ(Values("", {"TOP"}) + Values("Other", {"Key", "Key2"}) + Values("None", {"Key"}), "1|o|p|-|");
    Load(std::string("[Common]\nA=1\n\0", 14));  // not readable, as a folder and a file that is not there
    for (const std::string& file : {path, std::string("/tmp"), folder / "none.ini"}) {
        IniFile::SetFile(file, false);
        EXPECT_EQ(Values("Common", {"A"}), "-|");
    }
}

TEST_F(ConfigTest, LooksUpCommandLineThenEcrThenCommonThenDefault) {
    AppConfig::SetParameter("ECR", "Shop1", false);
    AppConfig::SetParameter("A", "line", false);
    Load("A=top\nD=top\n[Common]\nA=common\nB=common\nC=common\nN=12x\n[ECR_Shop1]\nA=ecr\nB=ecr\nC=\n");
    // an empty value hides nothing; keys above the first heading are no settings
    for (const auto& [name, value] : {std::pair("A", "line"), {"B", "ecr"}, {"C", "common"}, {"D", "-"}})
        EXPECT_EQ(AppConfig::GetParameter(name, "-"), value);
    EXPECT_EQ(AppConfig::GetParameter("N", 5), 12);
    EXPECT_EQ(AppConfig::GetParameter("None", 5), 5);
    for (const size_t length : {1023u, 1024u})  // where the buffer of a formatted text is full
        EXPECT_EQ(Format("%s", std::string(length, 'x').c_str()).size(), length);
}

TEST_F(ConfigTest, ChoosesTheEcrSection) {
    const char* cases[][2] = {
        {"[Common]\nA=0\n[ECR_Till]\nA=till\n", "till"},
        {"[Common]\nA=0\n[ECR_Till]\nA=till\n[ECR_Two]\nA=two\n", "0"},
        {"[Common]\nA=0\nDefaultECR=Two\n[ECR_Till]\nA=till\n[ECR_Two]\nA=two\n", "two"},
        {"[Common]\nA=0\n[ecr_Till]\nA=till\n", "0"},
        {"[Common]\nA=0\n[ECR_A]\nDefaultECR=A\nA=a\n[ECR_B]\nA=b\n", "0"},
        {"[Common]\nA=0\nECR=Till\n[ECR_Till]\nA=till\n[ECR_]\nA=bare\n", "bare"}};
    for (const auto& [text, value] : cases) {
        AppConfig::Clear();
        Load(text);
        EXPECT_EQ(AppConfig::GetParameter("A", "-"), value) << text;
    }
}

TEST_F(ConfigTest, ThePagesShowTheTablesOfTheCode) {
    std::string pages;
    for (const char* page : {"/README.md", "/docs/settings.md", "/docs/fiscal.md"})
        pages += ReadText(std::string(SOURCE_FOLDER) + page);
    for (const std::string& table : {GetSettingsMarkdown(), GetExitStatusesMarkdown()})
        EXPECT_NE(pages.find(table), std::string::npos) << "the pages lack\n" << table;
    const auto speeds =
        std::minmax_element(std::begin(lineSpeeds), std::end(lineSpeeds),
                            [](const LineSpeed& a, const LineSpeed& b) { return a.baud < b.baud; });
    std::vector<std::string> told{
        Format("Speeds are %ld to %ld baud", speeds.first->baud, speeds.second->baud)};
    for (const LineParity& parity : lineParities)
        told.emplace_back(Format("`%c` %s", parity.letter, parity.name));
    for (const PrinterCommand& command : printerCommands)
        told.push_back(Format("%d %s", command.code, command.meaning));
    const std::string flat = ReplaceAll(pages, "\n", " ");
    for (const std::string& text : told)
        EXPECT_NE(flat.find(text), std::string::npos) << "the pages lack " << text;
    for (size_t i = 0; i < fileTypeCount; i++)
        EXPECT_NE(std::string(settings::fileType.meaning).find(KindOf(static_cast<FileType>(i)).setting),
                  std::string::npos);
    const std::string manual = ReadText(SOURCE_FOLDER "/packaging/tavo.1.in");
    for (const std::string& command : GetCommandNames()) {
        EXPECT_NE(pages.find("| `" + command + "` |"), std::string::npos) << command;
        EXPECT_NE(manual.find(".BI " + command + " "), std::string::npos) << command;
    }
}

TEST_F(ConfigTest, TheInstalledIniFileChangesFewSettingsAndItsListHasAll) {
    Load(FillTemplate(ReadText(SOURCE_FOLDER "/packaging/TAVO.ini.in")));
    for (const Setting* setting : settings::all) {
        const std::string name = setting->name;
        const std::string set = name == "ConfigFilePath"    ? path
                                : name == "ComStallMaxTime" ? "2000"
                                : name == "LineQuietTime"   ? "2500"
                                : name == "Progress"        ? "2"
                                                            : "";
        EXPECT_EQ(AppConfig::GetParameter(name, ""), set);
    }
    Load(FillTemplate(ReadText(SOURCE_FOLDER "/packaging/settings.ini.in")));
    for (const Setting* setting : settings::all)
        EXPECT_EQ(IniFile::GetString("Settings to copy", setting->name, "not there"), GetDefault(*setting));
}
