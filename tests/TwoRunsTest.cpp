// Two runs, one behind the other, on one line and with one register that does not see the first one's end:
// what the first one leaves must not pass for something of the second one.

#include "Fault.h"

namespace {

struct Step {
    const char* name;
    Command command;
    int section;
    const char* file;
};
constexpr Step readArticles{"Read", Command_Read, 3, "read.csv"};
constexpr Step sendBefore{"Send", Command_Send, 3, "send.csv"};
constexpr Step sale{"ExecuteFiscal", Command_ExecuteFiscal, 0, "sale.csv"};
constexpr Step ecrStatus{"ReadFiscalStatus", Command_ReadFiscalStatus, 0, "status.csv"};
constexpr Step takeReport{"ReadAndClear", Command_ReadAndClear, 70, "report.csv"};
constexpr Step sendBehind{"Send", Command_Send, 9, "send.csv"};
constexpr Step clearBefore{"Clear", Command_Clear, 10, "none"};
constexpr Step clearBehind{"Clear", Command_Clear, 11, "none"};
constexpr Step eftStatus{"ReadEftStatus", Command_ReadEftStatus, 0, "eft.csv"};

/** What came of pairs of runs. */
struct Judgement {
    int pairs = 0;
    int zeros = 0;   // second runs with status 0
    int broken = 0;  // promises, of either run
    std::string last;
};

/** A register and its line, over several runs. */
class Site {
public:
    explicit Site(int version, int ackTime = Options().ackTime)
        : m_ecr(WithVersion(version)),
          m_link(WithVersion(version, ackTime), m_ecr, m_trace),
          line(m_link, [this](VirtualLine& l, const Bytes& block) { return carry(l, block); }) {
        m_ecr.SetJournal(&m_done);
        line.Last();
    }
    std::vector<Record> Records(byte number) { return m_ecr.GetSections().GetRecords(number); }
    void Put(byte number, const std::vector<Record>& records) {
        for (const Record& record : records) m_ecr.GetSections().Put(number, record, 0);
    }
    /** How often it was done. */
    long Count(const Record& done) const { return std::count(m_done.begin(), m_done.end(), done); }

private:
    static Options WithVersion(int version, int ackTime = Options().ackTime) {
        Options options;
        options.version = version;
        options.ackTime = ackTime;
        options.refusals[99] = 1;
        return options;
    }
    std::vector<Record> m_done;
    Register m_ecr;
    const Trace m_trace{TraceForm::None};
    Link m_link;

public:
    VirtualLine line;
    VirtualLine::Carry carry = [](VirtualLine&, const Bytes& block) {
        return FaultyLine({}, 0).Carry(block);
    };
};

/** A line that is late from a block on, counted over both directions. */
VirtualLine::Carry DelayFrom(int block, Time time) {
    return [=, count = 0](VirtualLine& line, const Bytes& sent) mutable {
        if (count++ >= block) line.Delay(time);
        return FaultyLine({}, 0).Carry(sent);
    };
}

/** A line on which a run is killed once so many bytes have passed in both directions. */
VirtualLine::Carry KillAt(size_t position) {
    return [=, carried = size_t{0}](VirtualLine& line, const Bytes& block) mutable {
        carried += block.size();
        if (carried > position) line.Kill();
        return FaultyLine({}, 0).Carry(block);
    };
}

class TwoRunsTest : public testing::Test {
protected:
    TwoRunsTest() {
        WriteText(folder / "send.csv", "1,\"a\"\n2,5\n");
        WriteText(folder / "sale.csv", "12,\"a\"\n");
        AppConfig::Clear();
        settings["SerialProtocolRetryCount"] = "4";
        Site site(newestFrameVersion);
        EXPECT_EQ(Run(site, eftStatus), 0);
        eftText = ReadText(folder / eftStatus.file);
    }

    /** A run's status; 137 for one that was killed. */
    int Run(Site& site, const Step& step) {
        HeldOutput silent;
        AppConfig::Clear();
        for (const auto& [name, value] : settings) AppConfig::SetParameter(name, value, false);
        FileErrors::Reset();
        PortWithTC port(Lend(&site.line));
        SelectCommChannel(Lend(&port));
        const bool isFiscal = step.section == 0;
        fs::remove(folder / step.file + "~");
        int result = 137;
        try {
            result = Repeat([&] {
                ReturnCode code = ReturnCode_OK;
                const std::unique_ptr<Exception> failure = Catch([&] {
                    port.Open();
                    port.SetReadTimeout(2100);
                    SetProtocol(isFiscal ? Protocol_Fiscal_Set1 : Protocol_Standard_Set1);
                    code = isFiscal ? Execute_Fiscal(step.command, folder / step.file)
                                    : Execute_Standard(step.command, step.section, folder / step.file);
                });
                port.Close();
                return failure ? failure->GetReturnCode() : code;
            });
        } catch (const Killed&) {
        }
        SelectCommChannel(Lend(nullptr));
        silent.Take();
        return result;
    }

    /** The pair of runs, the first one on a line of its own; judged by what the register and the files hold.
     */
    void Judge(int version, const Step& first, const Step& second, const VirtualLine::Carry& spoilt,
               const VirtualLine::Carry& spoiltToo) {
        Site site(version);
        site.Put(3, articles);
        site.Put(70, report);
        site.Put(10, articles);
        site.Put(11, articles);
        WriteText(folder / "report.csv", "");
        const auto clean = site.carry;
        if (spoilt) site.carry = spoilt;
        const int former = Run(site, first);
        site.carry = spoiltToo ? spoiltToo : clean;
        site.line.Pass(pause);
        const int latter = Run(site, second);
        const long executedByThen = site.Count(sold);
        site.carry = clean;
        site.line.Pass(60'000'000);
        judgement.pairs++;
        judgement.zeros += latter == 0 ? 1 : 0;
        const auto sales = [](const Step& step, int result) {
            return step.command == Command_ExecuteFiscal && result == 0 ? 1 : 0;
        };
        const long executed = site.Count(sold);
        const bool isTrue = IsTrue(site, first, former) && IsTrue(site, second, latter) &&
                            executedByThen >= sales(first, former) + sales(second, latter) &&
                            executed <= sales(first, 0) + sales(second, 0);
        if (isTrue && IsConserved(site, first, second)) return;
        judgement.broken++;
        judgement.last = Format("%s %d, %s %d, %ld sales", first.name, former, second.name, latter, executed);
    }
    /** What a status promises. */
    bool IsTrue(Site& site, const Step& step, int result) const {
        if (result != 0) return true;
        switch (step.command) {
            case Command_Read: return ReadText(folder / step.file) == TextOf(articles);
            case Command_ReadAndClear:
                return ReadText(folder / step.file) == TextOf(report) && site.Records(70).empty();
            case Command_Send: return site.Records(static_cast<byte>(step.section)) == sent;
            case Command_Clear: return site.Records(static_cast<byte>(step.section)).empty();
            case Command_ReadFiscalStatus:
            case Command_ReadEftStatus:
                return (ReadText(folder / step.file) == eftText) == (step.command == Command_ReadEftStatus);
            default: return true;
        }
    }
    /** What no run may do, whatever its status: lose the report, touch what it was not asked for, sell twice.
     */
    bool IsConserved(Site& site, const Step& first, const Step& second) const {
        const bool isKept = site.Records(70) == report || (second.command == Command_ReadAndClear &&
                                                           ReadText(folder / "report.csv") == TextOf(report));
        const bool isThird = first.command == Command_Send || site.Records(3) == articles;
        const bool isNinth = second.command == Command_Send || site.Records(9).empty();
        return isKept && isThird && isNinth;
    }
    static std::string TextOf(const std::vector<Record>& records) {
        std::string text;
        for (const Record& record : records) text += *::TextOf(record) + "\r\n";
        return text;
    }

    const Record sold = FromHex("0C 0B 61");
    const std::vector<Record> articles{FromHex("0C 01 01 0C 01 09"), FromHex("0C 01 02 0C 00")};
    const std::vector<Record> report{FromHex("0C 01 07 0B 61"), FromHex("0C 01 08 0C 01 63")};
    const std::vector<Record> sent{FromHex("0C 01 01 0B 61"), FromHex("0C 01 02 0C 01 05")};
    TempFolder folder{"/dev/shm"};
    std::map<std::string, std::string> settings;
    std::string eftText;
    Judgement judgement;
    Time pause = 300'000;
};

}  // namespace

TEST_F(TwoRunsTest, NothingThatARunLeavesPassesForAnAnswerToTheNextOne) {
    // TAVO_FAULT_PAIRS=1 runs more
    std::vector<std::pair<Step, Step>> pairs{
        {readArticles, takeReport}, {readArticles, sendBehind}, {readArticles, sale},
        {sendBefore, takeReport},   {sendBefore, sendBehind},   {sendBefore, sale},
        {sale, takeReport},         {sale, sendBehind},         {sale, sale},
        {ecrStatus, eftStatus},     {sale, ecrStatus}};
    if (std::getenv("TAVO_FAULT_PAIRS") != nullptr) {
        pairs = {{sale, ecrStatus}};
        for (const Step& first : {readArticles, sendBefore, sale, ecrStatus, clearBefore})
            for (const Step& second : {takeReport, sendBehind, sale, eftStatus, clearBehind})
                pairs.emplace_back(first, second);
    }
    for (const auto& [version, quiet] : {std::pair(3, "0"), {1, "2500"}, {2, "2500"}, {3, "2500"}}) {
        settings["LineQuietTime"] = quiet;
        settings["SerialProtocolVersion"] = std::to_string(version);
        judgement = {};
        size_t ignored = 0;
        for (const auto& [first, second] : pairs) {
            size_t bytes = 0;
            Judge(version, first, second, OneFault(0, SIZE_MAX, version, bytes), nullptr);
            for (size_t at = 0; at < bytes; at++) {
                Judge(version, first, second, KillAt(at), nullptr);
                // and the first byte of the second one is lost
                Judge(version, first, second, KillAt(at), OneFault(0, 0, version, ignored));
                for (size_t fault = 0; fault < faultCount; fault++)
                    if (static_cast<Fault>(fault) != Fault::Delay)
                        Judge(version, first, second, OneFault(fault, at, version, ignored), nullptr);
            }
        }
        std::printf(
            "version %d, quiet for %s ms: %d pairs of runs, %d of the second ones with status 0, %d broken\n",
            version, quiet, judgement.pairs, judgement.zeros, judgement.broken);
        EXPECT_GT(judgement.zeros, judgement.pairs / 2) << "the second runs are not to fail";
        // version 1 breaks some by itself, without another run
        EXPECT_TRUE(version == 1 || (judgement.broken == 0) == (settings["LineQuietTime"] != "0"))
            << judgement.last;
    }
}

TEST_F(TwoRunsTest, WaitsForWhatIsLateAsLongAsItIsToldAndForNothingElse) {
    // version 1: the last answer of a run comes again a little later, then a command is refused
    WriteText(folder / "refused.csv", "99,0\n");
    const Step refused{"ExecuteFiscal", Command_ExecuteFiscal, 0, "refused.csv"};
    Site site(1);
    for (const auto& [quiet, expected] : {std::pair("0", 0), {"1000", 15}}) {
        settings = {{"LineQuietTime", quiet}, {"SerialProtocolVersion", "1"}};
        EXPECT_EQ(Run(site, sale), 0);
        site.line.Arrive(BuildFrame(1, FromHex("0D 01 00 00"), 0), 350'000);
        EXPECT_EQ(Run(site, refused), expected);
    }
    // nobody has written for long: the line is not listened to
    site.line.Pass(29'000'000);
    const Time start = site.line.GetTime();
    EXPECT_EQ(Run(site, sale), 0);
    EXPECT_LT(site.line.GetTime() - start, 200'000);
    EXPECT_EQ(Run(site, sale), 0);
    EXPECT_GT(site.line.GetTime() - start, 1'000'000);
}

TEST_F(TwoRunsTest, NoLateAcknowledgementMakesASaleLookExecuted) {
    constexpr int lastOfASale = 2;  // behind the command, and its acknowledgement with the answer
    for (const auto& [lateBy, quiet] :
         {std::pair(1'100'000, "3200"), {2'000'000, "5000"}, {3'000'000, "7000"}})
        for (const char* quietTime : {"0", quiet}) {
            judgement = {};
            settings["LineQuietTime"] = quietTime;
            for (pause = 0; pause < lateBy; pause += 100'000)
                Judge(newestFrameVersion, sale, sale, DelayFrom(lastOfASale, lateBy), DelayFrom(0, lateBy));
            EXPECT_EQ(judgement.broken == 0, quietTime == quiet) << lateBy << judgement.last;
        }
}
