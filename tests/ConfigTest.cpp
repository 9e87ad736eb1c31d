#include <gtest/gtest.h>

#include "AppConfig.h"
#include "IniFile.h"
#include "Support.h"

namespace {

class ConfigTest : public testing::Test {
protected:
    void SetUp() override { AppConfig::Clear(); }
    void Load(const std::string& ini) {
        WriteText(path, ini);
        AppConfig::SetParameter("ConfigFilePath", path, false);
        AppConfig::Initialize();
    }

    TempFolder folder;
    const std::string path = folder / "TAVO.ini";
};

}  // namespace

TEST_F(ConfigTest, ReadsTheDialect) {
    const std::string longValue(300, 'v');
    Load(
        "top = 1\r\n"
        "[Common]\r\n"
        "  ComNumber = ttyS0 \r\n"
        "Empty =\r\n"
        "Quoted=\"a=b\"\r\n"
        "Repeated=1\nREPEATED=2\n"
        "no value here\n"
        "Long=" +
        longValue +
        "\n"
        "Padded=" +
        std::string(250, ' ') +
        "123456789\n"
        "[ Other ] trailing\nKey=o\fKey2=p\n"
        "[COMMON]\nLater=yes\n\x1a"
        "Hidden=1\n");
    const struct {
        const char* section;
        const char* key;
        std::string value;
    } cases[] = {{"", "TOP", "1"},
                 {"common", "comnumber", "ttyS0"},
                 {"Common", "Empty", ""},
                 {"Common", "Quoted", "\"a=b\""},
                 {"Common", "Repeated", "2"},
                 {"Common", "Long", longValue.substr(0, 255)},
                 {"Common", "Padded", "12345"},
                 {"Other", "Key", "o"},
                 {"Other", "Key2", "p"},
                 {"Common", "Later", "yes"},
                 {"Common", "Hidden", "-"},
                 {"None", "Key", "-"}};
    for (const auto& c : cases) EXPECT_EQ(IniFile::GetString(c.section, c.key, "-"), c.value) << c.key;
    EXPECT_FALSE(IniFile::ContainsKey("Common", "Empty"));
    EXPECT_EQ(IniFile::GetNumber("Common", "Repeated", 7), 2);
    EXPECT_EQ(IniFile::GetNumber("Common", "None", 7), 7);
}

TEST_F(ConfigTest, FindsNothingInAnUnreadableFile) {
    Load(std::string("[Common]\nA=1\n\0", 14));
    EXPECT_EQ(IniFile::GetString("Common", "A", "-"), "-");
    IniFile::SetFile(folder.Path(), false);
    EXPECT_EQ(IniFile::GetString("Common", "A", "-"), "-");
    IniFile::SetFile(folder / "none.ini", false);
    EXPECT_EQ(IniFile::GetString("Common", "A", "-"), "-");
    EXPECT_EQ(DisplayOf([&] { IniFile::SetFile(folder / "none.ini", true); }),
              "Configuration error: INI-file '" + folder / "none.ini" + "' not found");
}

TEST_F(ConfigTest, ChecksASectionOnlyOnRequest) {
    Load("[Common]\nA=1\n");
    EXPECT_EQ(MessageOf([] { IniFile::SetSection("Shop", true); }), "INI-file section [Shop] not found");
    IniFile::SetSection("common", true);
    EXPECT_EQ(IniFile::GetNumber("A", 0), 1);
    EXPECT_TRUE(IniFile::ContainsKey("A"));
    IniFile::SetSection("", false);
}

TEST_F(ConfigTest, LooksUpCommandLineThenEcrThenCommonThenDefault) {
    AppConfig::SetParameter("ECR", "Shop1", false);
    AppConfig::SetParameter("A", "line", false);
    Load(
        "A=top\nD=top\n[Common]\nA=common\nB=common\nC=common\nN=12x\nX=abc\n[ECR_Shop1]\nA=ecr\nB=ecr\nC="
        "\n");
    EXPECT_EQ(AppConfig::GetParameter("A", "-"), "line");
    EXPECT_EQ(AppConfig::GetParameter("B", "-"), "ecr");
    EXPECT_EQ(AppConfig::GetParameter("C", "-"), "common");  // an empty value hides nothing
    EXPECT_EQ(AppConfig::GetParameter("D", "-"), "-");       // keys above the first heading are no settings
    EXPECT_EQ(AppConfig::GetParameter("N", 5), 12);
    EXPECT_EQ(AppConfig::GetParameter("X", 5), 0);
    EXPECT_EQ(AppConfig::GetParameter("None", 5), 5);
    AppConfig::SetParameter("Kept", "1", true);
    EXPECT_EQ(ReadText(path).find("Kept"), std::string::npos);
}

TEST_F(ConfigTest, ChoosesTheEcrSection) {
    const struct {
        const char* ini;
        const char* value;
    } cases[] = {{"[Common]\nA=0\n[ECR_Till]\nA=till\n", "till"},
                 {"[Common]\nA=0\n[ECR_Till]\nA=till\n[ECR_Two]\nA=two\n", "0"},
                 {"[Common]\nA=0\nDefaultECR=Two\n[ECR_Till]\nA=till\n[ECR_Two]\nA=two\n", "two"},
                 {"[Common]\nA=0\n[ecr_Till]\nA=till\n", "0"},
                 {"[Common]\nA=0\n[ECR_A]\nDefaultECR=A\nA=a\n[ECR_B]\nA=b\n", "0"},
                 {"[Common]\nA=0\nECR=Till\n[ECR_Till]\nA=till\n[ECR_]\nA=bare\n", "bare"}};
    for (const auto& c : cases) {
        AppConfig::Clear();
        Load(c.ini);
        EXPECT_EQ(AppConfig::GetParameter("A", "-"), c.value) << c.ini;
    }
}
