#include "Tools.h"

#include <gtest/gtest.h>

#include <chrono>

#include "Decimal.h"
#include "EcrComm/CommChannels/DataLogger.h"
#include "Format.h"
#include "IniFile.h"
#include "Path.h"
#include "Support.h"
#include "Wrapper/LinuxFunctionWrapper.h"

TEST(ToolsTest, HandlesTextsAtTheirEdges) {
    for (const size_t length : {1023u, 1024u, 4000u})
        EXPECT_EQ(Format("%s%-3d", std::string(length, 'x').c_str(), 7), std::string(length, 'x') + "7  ");
    EXPECT_EQ(FailureOf([] { Align("a", -1, ' '); }).find("99 Internal error in file 'src/Tools.cpp' line "),
              0u);
    EXPECT_EQ(Path::GetExtension("a.b/c"), "b/c");
    EXPECT_EQ(Path::Combine("\\etc", "/b"), "/etc//b");
    const Bytes data = FromHex("01 41");
    EXPECT_EQ(DataLogger::FormatBlock(data.data(), 2, 0, 3'310'000, Direction_PcToEcr, ""),
              "PC->ECR  2 bytes in    3.3 ms : 01 41");
}

TEST(ToolsTest, SleepsOnlyForLessThanASecond) {
    const auto start = std::chrono::steady_clock::now();
    Sleep(1000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    Sleep(3);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

/** Operations that the modules offer and no command of this platform calls. */
TEST(ToolsTest, KeepsTheContractsThatNoCommandUses) {
    const std::string items[] = {"a", "b"};
    EXPECT_EQ(Join(items, 2, ", ") + Join(items, 0, ""), "a, b");
    EXPECT_THROW(Join(items, 0, ","), std::out_of_range);
    EXPECT_EQ(Align("12345", 3, ' ') + Align("7", 3, '0') + ToLower("A\xC4Z"), "345007a\xC4z");
    EXPECT_EQ(Path::GetFileName("a\\b/c.d") + Path::GetFileName("e"), "c.de");
    char copy[4] = "xyz";
    EXPECT_EQ(strncpy_s(copy, sizeof copy, "ab", 3), 0);
    EXPECT_STREQ(copy, "ab");
    EXPECT_EQ(strcpy_s(copy, 0, "c"), nullptr);

    Decimal sum(105, 2);
    sum += Decimal(95, 2);
    EXPECT_EQ(sum.ToString(), "2");
    sum -= Decimal(1, 3);
    EXPECT_EQ(sum.ToString(), "1.999");
    EXPECT_EQ(Decimal(-1, 0).GetDigitCount(), 20);

    TempFolder folder;
    WriteText(folder / "a.ini", "[Shop]\nport = 7x\nempty =\n");
    IniFile::SetFile(folder / "a.ini", true);
    EXPECT_EQ(FailureOf([&] { IniFile::SetFile(folder / "b.ini", true); }),
              "10 INI-file '" + folder / "b.ini' not found");
    EXPECT_EQ(FailureOf([] { IniFile::SetSection("Other", true); }), "10 INI-file section [Other] not found");
    IniFile::SetSection("SHOP", true);
    EXPECT_EQ(IniFile::GetSection() + IniFile::GetString("port", ""), "SHOP7x");
    EXPECT_EQ(IniFile::GetNumber("port", 1) + IniFile::GetNumber("none", 1), 8);
    EXPECT_TRUE(IniFile::ContainsKey("port") && !IniFile::ContainsKey("empty"));
    IniFile::SetSection("", false);

    EXPECT_EQ(FailureOf([] { throw new NetworkCommException("gone"); }), "5 gone (error code : 0)");
    EXPECT_EQ(FailureOf([] { throw new NetworkSystemException("gone", 7); }), "50 gone (error code : 7)");
    EXPECT_EQ(DataLogger::FormatBlock(nullptr, 0, 0, 20'000'000'000, Direction_ServerToClient, " x"),
              "SRV->CL  0 bytes in  20000 ms : x");
}
