#include <gtest/gtest.h>

#include "AppConfig.h"
#include "CommandLine.h"
#include "IniFile.h"
#include "Settings.h"
#include "Support.h"
#include "Tables.h"

TEST(DocsTest, TheReadmeShowsTheTablesOfTheCode) {
    const std::string readme = ReadText(SOURCE_FOLDER "/README.md");
    for (const std::string& table : {GetSettingsMarkdown(), GetExitStatusesMarkdown()})
        EXPECT_NE(readme.find(table), std::string::npos) << "README.md lacks\n" << table;
    const std::string manual = ReadText(SOURCE_FOLDER "/packaging/tavo.1.in");
    for (const std::string& command : GetCommandNames()) {
        EXPECT_NE(readme.find("| `" + command + "` |"), std::string::npos) << command;
        EXPECT_NE(manual.find(".BI " + command + " "), std::string::npos) << command;
    }
}

TEST(DocsTest, TheInstalledIniFileShowsEverySettingAndBoundsAStallOnly) {
    TempFolder folder;
    WriteText(folder / "TAVO.ini", FillTemplate(ReadText(SOURCE_FOLDER "/packaging/TAVO.ini.in")));
    AppConfig::Clear();
    AppConfig::SetParameter("ConfigFilePath", folder / "TAVO.ini", false);
    AppConfig::Initialize();
    EXPECT_EQ(AppConfig::GetDefaultEcrName(), "");
    for (const Setting& setting : settings) {
        if (setting.name != std::string("ConfigFilePath")) {
            const bool isSet = setting.name == std::string("ComStallMaxTime");
            EXPECT_EQ(AppConfig::GetParameter(setting.name, ""), isSet ? "2000" : "") << setting.name;
        }
        EXPECT_EQ(IniFile::GetString("", setting.name, "none"), "none") << setting.name;
        const std::string value = IniFile::GetString("Settings to copy", setting.name, "not there");
        EXPECT_EQ(value, setting.kind == SettingKind_Number ? std::to_string(setting.defaultNumber)
                                                            : setting.defaultText);
    }
    // what is appended, as the file says, has an effect
    WriteText(folder / "TAVO.ini",
              ReadText(folder / "TAVO.ini") + "RetryCount = 7\n[ECR_Till1]\nTTY = ttyS5\n");
    AppConfig::Initialize();
    EXPECT_EQ(AppConfig::GetParameter("RetryCount", 1), 7);
    EXPECT_EQ(AppConfig::GetParameter("TTY", ""), "ttyS5");
    AppConfig::Clear();
}
