#include "Settlement.h"

#include <sys/stat.h>

#include "EndToEnd.h"
#include "Machine.h"
#include "Tools.h"

/** What becomes of a reading, by what its run has left. */
class SettlementTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"reports", "results", "checks"}) mkdir((folder / name).c_str(), 0700);
    }
    /** A reading with this file and result; "" for none. */
    Report Read(const std::string& text, const std::string& result) {
        Report report = ledger->AddReport(1, "Till 1", 70);
        if (!text.empty()) WriteText(folder / report.file, text);
        const std::string bytes = Format("{\"bytes\":%zu,", text.size());
        if (!result.empty())
            WriteText(folder / report.result, ReplaceAll(result, "^\\{(?!.*bytes)(?=.)", bytes));
        NoteReading(*ledger, report, ReadOutcome(ledger->Get(), folder / report.result), false);
        return *ledger->FindReport(report.id);
    }
    std::string StateOf(const Report& report) {
        return reportStateNames[ledger->FindReport(report.id)->state];
    }

    TempFolder folder;
    std::optional<Ledger> ledger{std::in_place, TrimRight(folder / "", "/"), Database::Access::Write};
};

TEST_F(SettlementTest, AReportIsReadyOnlyWhereTheRegisterHasClearedIt) {
    const std::string requested =
        R"({"state":"running","clear":"requested","clearAfter":5,"port":"/dev/ttyS0","records":{"read":2},"frameVersion":3})";
    const Report former = Read("1,5\r\n", R"({"clear":"no","status":5,"records":{"read":1}})");
    EXPECT_EQ(StateOf(former), "reading");
    EXPECT_EQ(StateOf(Read("", R"({"clear":"no","status":0,"records":{"read":0}})")), "dropped");
    EXPECT_EQ(StateOf(former), "waiting") << "somebody else has cleared the register";
    EXPECT_EQ(StateOf(Read("", "")), "dropped");
    Report removed = ledger->AddReport(1, "Till 1", 70);
    EXPECT_EQ(NoteReading(*ledger, removed, {}, true), ReportState_Waiting) << "its run was good";
    EXPECT_EQ(StateOf(Read("1,5\r\n", "")), "waiting");
    EXPECT_EQ(StateOf(Read("1,5\r\n", "{")), "waiting");
    EXPECT_EQ(StateOf(Read("", R"({"clear":"done","status":0,"records":{"read":1}})")), "waiting");
    const Report partial = Read("1,5\r\n2,", R"({"state":"running","clear":"no","records":{"read":0}})");
    EXPECT_EQ(StateOf(Read("1,5\r\n2,6\r\n", R"({"clear":"done","status":143,"records":{"read":2}})")),
              "ready");
    EXPECT_EQ(StateOf(partial), "superseded");
    const std::string text = "1,\"a,b\",5\r\n2,\"c\",0.5\r\n";
    for (const auto& [later, records, afterMs, state] :
         {std::tuple("", 0, 99'999'999, "ready"),
          {"1,\"a,b\",5\r\n2,\"c\",0.5\r\n", 2, 64'000, "superseded"},
          {"2,\"c\",0.50\r\n3,\"d\",1\r\n1,\"a,b\",5.1\r\n", 3, 64'000, "superseded"},
          {"1,\"a,b\",4\r\n2,\"c\",0.5\r\n", 2, 64'000, "waiting"},
          {"1,\"a,b\",5\r\n2,\"x\",0.5\r\n", 2, 64'000, "waiting"},
          {"2,\"c\",0.5\r\n", 1, 64'000, "waiting"},
          {"1,\"a,b\",5\r\n2,\"c\",0.5\r\n", 2, 66'000, "waiting"},
          {"1,\"a,b\",5\r\n2,\"c\",0.5\r\n", 2, -1, "waiting"}}) {
        const Report report = Read(text, requested);
        ASSERT_EQ(StateOf(report), "whole");
        WriteText(folder / "checks/1.csv", later);
        BootTime end = report.requested;
        end.ms += afterMs - 5'000;
        if (afterMs < 0) end = {"another boot", end.ms + 1};
        RunOutcome outcome;
        outcome.port = "/dev/ttyS0";
        outcome.records = records;
        Settle(*ledger, report, "checks/1.csv", outcome, end, ',');
        EXPECT_EQ(StateOf(report), state) << later;
    }
    const Report moved = Read(text, requested);
    Settle(*ledger, moved, "checks/1.csv", {}, moved.requested, ',');
    EXPECT_EQ(StateOf(moved), "waiting") << "what is empty is at another port";
    EXPECT_EQ(StateOf(Read("1,5\r\n", R"({"clear":"done","bytes":4,"records":{"read":1}})")), "waiting");
    EXPECT_TRUE(HasAllOf("AB", "AB", ',') && !HasAllOf("ABC", "AB", ',')) << "a report without lines";
    // lines without a key of their own may stand there twice
    EXPECT_TRUE(HasAllOf("1;5\n1;5\n1;5\n", "1;5\n1;5\n", ';'));
    EXPECT_FALSE(HasAllOf("1;5\n2;5\n", "1;5\n1;5\n", ';'));
    for (const char* data : {"1;0x7b\n", "1;inf\n"})
        EXPECT_FALSE(HasAllOf(data, "1;5\n", ';')) << "binary data that C takes for a number";
}

TEST_F(SettlementTest, AnIdNeverComesAgain) {
    const Report first = Read("", "");
    ledger->SkipNumbers(first.number + 1'000'000'000);  // the clock was set back
    const Report second = Read("", "");
    EXPECT_EQ(second.number, first.number + 1'000'000'001);
    ledger.emplace(TrimRight(folder / "", "/"), Database::Access::Write);
    EXPECT_GT(Read("", "").number, second.number);
    EXPECT_NE(second.id.find("+Till%201+" + std::to_string(second.number)), std::string::npos) << second.id;
}

TEST(LineTrendTest, ALineGetsWorseSlowlyOrAtOnceButNotByChance) {
    for (const auto& [disturbed, isWorse] :
         {std::pair<std::vector<long long>, bool>{{0, 0, 0, 0, 0, 0, 0}, false},
          {{0, 1, 0, 2, 0, 1, 3, 0, 2}, false},
          {{30, 28, 33, 29, 31, 30, 34, 28, 30}, false},
          {{0, 0, 0, 0, 0, 0, 60}, false},
          {{0, 0, 50, 0, 0, 0, 8, 0, 9}, true},
          {{0, 0, 0, 0, 0, 0, 2, 3, 2}, false},
          {{10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}, true},
          {{20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10}, false},
          {{9, 9, 9}, false}}) {
        RegisterNights nights;
        for (size_t i = 0; i < disturbed.size(); i++) {
            nights[static_cast<int>(i)].frames = 1000;
            nights[static_cast<int>(i)].disturbed = disturbed[i];
        }
        EXPECT_EQ(GetLineTrend(nights).isWorse, isWorse) << testing::PrintToString(disturbed);
    }
}
