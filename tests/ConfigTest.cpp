#include <gtest/gtest.h>

#include "AppConfig.h"
#include "IniFile.h"
#include "Support.h"

namespace {

class ConfigTest : public testing::Test {
protected:
    ConfigTest() { AppConfig::Clear(); }
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
        "top = 1\r\n[Common]\r\n  ComNumber = ttyS0 \r\nEmpty =\r\nQuoted=\"a=b\"\r\nRepeated=1\nREPEATED=2\n"
        "no value here\nLong=" +
        longValue + "\nPadded=" + std::string(250, ' ') +
        "123456789\n"
        "[ Other ] trailing\nKey=o\fKey2=p\n[COMMON]\nLater=yes\n\x1aHidden=1\n");
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
    Load(std::string("[Common]\nA=1\n\0", 14));  // not readable, as a folder and a file that is not there
    for (const std::string& file : {path, std::string("/tmp"), folder / "none.ini"}) {
        IniFile::SetFile(file, false);
        EXPECT_EQ(IniFile::GetString("Common", "A", "-"), "-");
    }
    EXPECT_EQ(FailureOf([&] { IniFile::SetFile(folder / "none.ini", true); }),
              "10 INI-file '" + folder / "none.ini" + "' not found");
    EXPECT_EQ(FailureOf([] { IniFile::SetSection("Shop", true); }), "10 INI-file section [Shop] not found");
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
