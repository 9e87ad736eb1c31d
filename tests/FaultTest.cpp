#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <random>

#include "AppConfig.h"
#include "Commands.h"
#include "Driver.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "FileErrors.h"
#include "Link.h"
#include "Logging.h"
#include "Output.h"
#include "RecordText.h"
#include "Support.h"
#include "Terminal.h"

namespace {

namespace fs = std::filesystem;
using Path = const std::string&;

constexpr Time stallMaxTime = 1'500'000;  // as "ComStallMaxTime" of 1500 ms
constexpr Time endOfTime = 3600'000'000;  // an hour: no session takes that long unless it hangs

/**
 * A serial line to the simulated register's Link, in virtual time: a wait moves the clock, nothing sleeps.
 * Every block that either side sends passes through `carry`, where a test puts the line's faults.
 */
class VirtualLine final : public TestChannel {
public:
    using Carry = std::function<std::vector<CarriedByte>(VirtualLine& line, const Bytes& block)>;

    VirtualLine(Link& link, Carry carry) : m_link(link), m_carry(std::move(carry)) {}

    bool Write(const byte* data, unsigned int size) override {
        Send(m_toEcr, {data, data + size});
        return true;
    }
    /** What was on its way is discarded, and a line that was dead works again. */
    void Open() override {
        input.clear();
        m_toPc.Clear();
        m_isHungUp = false;
    }
    /** The line goes dead: nothing arrives any more. */
    void HangUp() { m_isHungUp = true; }

private:
    bool HasInput(bool isFirst) override {
        const Time deadline = m_now + (isFirst ? Time{timeoutMs} * 1000 : stallMaxTime);
        while (!m_isHungUp && input.empty() && m_now < deadline) {
            const Time next = std::min({m_toPc.GetDeadline(), m_toEcr.GetDeadline(), m_link.GetDeadline()});
            m_now = std::max(m_now, std::min(next, deadline));
            if (m_now > endOfTime) throw new InternalException("the session hangs", 0);
            for (const byte value : m_toEcr.TakeDue(m_now)) m_link.Receive(value, m_now);
            m_link.Tick(m_now);
            Send(m_toPc, m_link.TakeOutput());
            for (const byte value : m_toPc.TakeDue(m_now)) input.push_back(value);
        }
        return !m_isHungUp && !input.empty();
    }
    void Send(PacedBytes& wire, const Bytes& block) {
        if (block.empty()) return;
        const std::vector<CarriedByte> carried = m_carry(*this, block);
        if (!m_isHungUp) wire.Push(carried, m_now);
    }

    Link& m_link;
    Carry m_carry;
    PacedBytes m_toEcr{38400};
    PacedBytes m_toPc{38400};
    Time m_now = 0;
    bool m_isHungUp = false;
};

constexpr struct Operation {
    const char* name;
    Command command;
    const char* file;
    int recordsInPacket;
} operations[] = {{"Read", Command_Read, "read.csv", 1},
                  {"Send", Command_Send, "send.csv", 1},
                  {"Send by 5", Command_Send, "send.csv", 5},
                  {"Clear", Command_Clear, "none", 1},
                  {"ReadAndClear", Command_ReadAndClear, "read.csv", 1},
                  {"ClearAndSend", Command_ClearAndSend, "send.csv", 1},
                  {"ExecuteFiscal", Command_ExecuteFiscal, "fiscal.csv", 1}};

constexpr Operation report = operations[4];
constexpr byte section = 3;
constexpr const char* former = "a former report";

/** What came of a run of one or more attempts. */
struct Outcome {
    int status = 0;
    int attempts = 0;
    int blocks = 0;  // carried, on a line without faults
    std::string file;
    std::string kept;             // the file's former content
    std::string message;          // of the last failure
    std::vector<Record> records;  // of the register
    std::vector<Record> done;     // records stored and commands executed, in their order
};

/** Whether one is contained in the other, each as often as it occurs. */
bool Contains(std::vector<Record> all, const std::vector<Record>& some) {
    return std::all_of(some.begin(), some.end(), [&](const Record& record) {
        const auto found = std::find(all.begin(), all.end(), record);
        if (found == all.end()) return false;
        all.erase(found);
        return true;
    });
}

/** Whole runs of the product with the simulated register. */
class FaultTest : public testing::Test {
protected:
    ~FaultTest() override {
        if (sessions == 0) return;
        std::printf("%d sessions, %d with status 0; %d that no check can see through\n", sessions, successes,
                    excused);
    }
    FaultTest() {
        WriteText(folder / "send.csv", "7,\"a\",0x00\n2,0\n3,\"b\",1.50\n4,\"\"\n5,256\n6,\"f\"\n");
        WriteText(folder / "fiscal.csv", "12,\"a\"\n99,0\n12,\"a\"\n50\n");
    }

    Outcome Run(const Operation& operation, int version, int retryCount,
                const VirtualLine::Carry& carry) const {
        HeldOutput silent;
        Options options;
        options.version = version;
        options.recordsInPacket = operation.recordsInPacket;
        options.fiscalWaits = 1;
        AppConfig::Clear();
        AppConfig::SetParameter("SerialProtocolVersion", std::to_string(version), false);
        AppConfig::SetParameter("SerialProtocolRetryCount", "4", false);
        AppConfig::SetParameter("RecordsInPacket", std::to_string(operation.recordsInPacket), false);
        AppConfig::SetParameter("RetryCount", std::to_string(retryCount), false);
        FileErrors::Reset();
        const bool isFiscal = operation.command == Command_ExecuteFiscal;
        Register ecr(options);
        Outcome outcome;
        ecr.SetJournal(&outcome.done);
        if (operation.command != Command_Send)
            for (const Record& record : stored) ecr.GetSections().Put(section, record, 0);
        const Trace noTrace(TraceForm::None);
        Link link(options, ecr, noTrace);
        VirtualLine line(link, carry);
        PortWithTC port(Lend(&line));
        SelectCommChannel(Lend(&port));
        const std::string file = folder / operation.file;
        WriteText(folder / "read.csv", former);
        fs::remove(file + "~");
        outcome.status = Repeat([&] {
            outcome.attempts++;
            ReturnCode status = ReturnCode_OK;
            const std::unique_ptr<Exception> failure = Catch([&] {
                port.Open();
                port.SetReadTimeout(2100);
                SetProtocol(isFiscal ? Protocol_Fiscal_Set1 : Protocol_Standard_Set1);
                status = isFiscal ? Execute_Fiscal(operation.command, file)
                                  : Execute_Standard(operation.command, section, file);
            });
            outcome.message = failure ? failure->GetLogMessage() : "";
            return failure ? failure->GetReturnCode() : status;
        });
        SelectCommChannel(Lend(nullptr));
        link.HangUp();
        outcome.file = ReadText(file);
        outcome.kept = ReadText(file + "~");
        outcome.records = ecr.GetSections().GetRecords(section);
        silent.Take();
        return outcome;
    }
    /** A run on a line without faults; `before` sees each block, by its number, before it is carried. */
    Outcome Run(const Operation& operation, int retryCount,
                const std::function<void(VirtualLine& line, int number, const Bytes& block)>& before) const {
        int number = 0;
        Outcome outcome =
            Run(operation, newestFrameVersion, retryCount, [&](VirtualLine& line, const Bytes& block) {
                before(line, number++, block);
                return FaultyLine({}, 0).Carry(block);
            });
        outcome.blocks = number;
        return outcome;
    }
    /** What a run without faults leaves; of the same for all versions there is one. */
    const Outcome& Clean(const Operation& operation) {
        const auto [entry, isNew] = clean.try_emplace(operation.name);
        if (isNew) entry->second = Run(operation, 1, [](VirtualLine&, int, const Bytes&) {});
        return entry->second;
    }

    /** Status 0 promises what a run without faults leaves, but a Send that is repeated stores again. */
    bool IsTrue(const Operation& operation, const Outcome& outcome) {
        const Outcome& good = Clean(operation);
        const bool mayStoreAgain = outcome.attempts > 1 && operation.command != Command_ExecuteFiscal;
        return outcome.status != 0 || (outcome.file == good.file && outcome.records == good.records &&
                                       (mayStoreAgain || outcome.done == good.done));
    }
    /** Any status promises that nothing is lost, nothing executed too often, and nothing stored from nowhere.
     */
    bool IsConserved(const Operation& operation, const Outcome& outcome) {
        const Outcome& good = Clean(operation);
        const bool isReport = operation.command == Command_ReadAndClear;
        for (const Record& record : stored)
            if (isReport && !Contains(outcome.records, {record}) &&
                outcome.file.find(*TextOf(record) + "\r\n") == std::string::npos)
                return false;
        if (isReport && outcome.file != former && outcome.kept != former) return false;
        if (operation.command == Command_ExecuteFiscal) return Contains(good.done, outcome.done);
        return std::all_of(outcome.records.begin(), outcome.records.end(), [&](const Record& record) {
            return Contains(stored, {record}) || Contains(good.done, {record});
        });
    }

    /**
     * Runs a session and judges it. Nothing can be promised where a frame arrived as another one (isBlind);
     * in version 1, which has no numbers to tell a repeated frame by, only that no report is lost.
     */
    void Count(const Operation& operation, int version, int retryCount, const std::string& where,
               const VirtualLine::Carry& carry, const bool& isBlind) {
        const Outcome outcome = Run(operation, version, retryCount, carry);
        const bool isTrue = IsTrue(operation, outcome);
        const bool isConserved = IsConserved(operation, outcome);
        sessions++;
        successes += outcome.status == 0 ? 1 : 0;
        excused += isTrue && isConserved ? 0 : 1;
        const bool mayBeUntrue = isBlind || !GetFrameVersion(version).isNumbered;
        const bool mayLose = isBlind || (mayBeUntrue && operation.command != Command_ReadAndClear);
        EXPECT_TRUE((isTrue || mayBeUntrue) && (isConserved || mayLose)) << where;
        EXPECT_NE(outcome.status, ReturnCode_InternalError) << "the session hangs: " << where;
    }
    const TempFolder folder{"/dev/shm"};  // thousands of files are flushed to their device
    std::vector<Record> stored{FromHex("0C 01 02 0C 00"), FromHex("0C 01 03 0B 62 0D 01 01 0F"),
                               FromHex("0C 01 04 0B"),    FromHex("0C 01 05 0C 02 00 01"),
                               FromHex("0C 01 06 0B 66"), FromHex("0C 01 07 0B 61 0E 01 00")};

private:
    int sessions = 0;
    int successes = 0;
    int excused = 0;
    std::map<std::string, Outcome> clean;
};

/** The payload of a frame of any version, behind an acknowledgement or not; empty for a bad one. */
Bytes PayloadOf(const Bytes& block, int version, byte& seqNo) {
    const bool isBehindAck = !block.empty() && block.front() == ACK;
    return ParseFrame(version, Bytes(block.begin() + (isBehindAck ? 1 : 0), block.end()), seqNo);
}

/** Whether what arrived of a block passes for another frame: no receiver can see that. */
bool IsBlind(const Bytes& sent, const std::vector<CarriedByte>& arrived, int version) {
    Bytes block;
    for (const CarriedByte& carried : arrived) block.push_back(carried.value);
    byte seqNo = 0;
    const Bytes payload = PayloadOf(block, version, seqNo);
    return !payload.empty() && payload != PayloadOf(sent, version, seqNo);
}

/** The frame with another sequence number and the check bytes for it. */
Bytes Renumbered(const Bytes& block, int version) {
    byte seqNo = 0;
    const Bytes payload = PayloadOf(block, version, seqNo);
    if (payload.empty() || !GetFrameVersion(version).isNumbered) return block;
    Bytes frame = BuildFrame(version, payload, TcFrameSeqNo::Next(TcFrameSeqNo::Next(seqNo)));
    if (block.front() == ACK) frame.insert(frame.begin(), ACK);
    return frame;
}

/** The faults of the matrix: those of a byte, and these. */
enum { NakTwice = faultCount, WrongNumber, HangUp, matrixFaultCount };
constexpr const char* moreFaultNames[] = {"NAK twice", "wrong number", "hang-up"};

/** A line with one fault, at a byte counted over both directions; `carried` counts the bytes sent. */
VirtualLine::Carry OneFault(size_t fault, size_t position, int version, size_t& carried) {
    carried = 0;
    return [=, &carried, naks = 0](VirtualLine& line, const Bytes& sent) mutable {
        const size_t start = std::exchange(carried, carried + sent.size());
        const bool isHere = position >= start && position < carried;
        if (fault == HangUp && position < carried) line.HangUp();
        Bytes block = fault == WrongNumber && isHere ? Renumbered(sent, version) : sent;
        if (fault == NakTwice && start >= position && block[0] == ACK && naks++ < 2) block[0] = NAK;
        std::vector<CarriedByte> arriving;
        for (const byte value : block) arriving.push_back({value, false});
        if (!isHere || fault >= faultCount) return arriving;
        const auto at = arriving.begin() + static_cast<std::ptrdiff_t>(position - start);
        const std::vector<CarriedByte> instead = ApplyFault(static_cast<Fault>(fault), at->value);
        const bool isCut = static_cast<Fault>(fault) == Fault::Truncate;
        arriving.insert(arriving.erase(at, isCut ? arriving.end() : at + 1), instead.begin(), instead.end());
        return arriving;
    };
}

/** What others do to a file while a run works with it. */
constexpr struct {
    const char* name;
    bool isSeen;  // otherwise the run goes on with the file that it has opened
    void (*apply)(Path path);
} fileChanges[] = {{"emptied", true, [](Path path) { fs::resize_file(path, 0); }},
                   {"shrunk", true, [](Path path) { fs::resize_file(path, fs::file_size(path) / 2); }},
                   {"a byte more", true, [](Path path) { std::ofstream(path, std::ios::app) << "8"; }},
                   {"a byte less", true, [](Path path) { WriteText(path, ReadText(path).erase(0, 1)); }},
                   {"another byte", true, [](Path path) { std::fstream(path).seekp(0) << "9"; }},
                   {"removed", false, [](Path path) { fs::remove(path); }},
                   {"replaced", false, [](Path path) {
                        WriteText(path + ".new", "9,\"z\"\n");
                        fs::rename(path + ".new", path);
                    }}};

}  // namespace

TEST_F(FaultTest, TellsTheTruthAfterAnySingleFaultAtAnyByte) {
    const auto run = [&](int version, const Operation& operation, size_t fault) {
        const char* name = fault < faultCount ? faultNames[fault] : moreFaultNames[fault - faultCount];
        size_t length = 0;
        Run(operation, version, 1, OneFault(fault, SIZE_MAX, version, length));
        for (size_t position = 0, bytes = 0; position < length; position++)
            Count(operation, version, 1 + static_cast<int>(position % 3),
                  Format("version %d, %s, %s, byte %zu", version, operation.name, name, position),
                  OneFault(fault, position, version, bytes), false);
    };
    for (int version = 1; version <= newestFrameVersion; version++)
        for (const Operation& operation : operations)
            for (size_t fault = 0; fault < matrixFaultCount; fault++) run(version, operation, fault);
}

TEST_F(FaultTest, TellsTheTruthOnALineWithManyFaults) {
    // TAVO_FAULT_SEEDS=100000 runs more; TAVO_FAULT_SEED=7 replays one
    const char* count = std::getenv("TAVO_FAULT_SEEDS");
    const char* only = std::getenv("TAVO_FAULT_SEED");
    const int first = only != nullptr ? std::atoi(only) : 0;
    const int end = only != nullptr ? first + 1 : count != nullptr ? std::atoi(count) : 2000;
    const auto run = [&](int seed) {
        std::mt19937 random(static_cast<unsigned>(seed));
        const int version = 1 + static_cast<int>(random() % newestFrameVersion);
        const Operation& operation = operations[random() % std::size(operations)];
        const int retryCount = 1 + static_cast<int>(random() % 3);
        FaultRates rates{};
        for (double& rate : rates)
            rate = random() % 3 == 0 ? 0.01 * static_cast<double>(random() % 100) / 100 : 0;
        FaultyLine spoiling(rates, static_cast<unsigned>(seed));
        bool isBlind = false;
        const auto carry = [&](VirtualLine&, const Bytes& block) {
            std::vector<CarriedByte> arriving = spoiling.Carry(block);
            isBlind = isBlind || IsBlind(block, arriving, version);
            return arriving;
        };
        Count(operation, version, retryCount,
              Format("seed %d, version %d, %s", seed, version, operation.name), carry, isBlind);
    };
    for (int seed = first; seed < end; seed++) run(seed);
}

TEST_F(FaultTest, SendsNothingButWhatItChecked) {
    const std::string text = ManyRecords(400, "\n");  // more than is read at once
    for (const auto& [operation, content] :
         {std::pair(operations[2], text),
          {operations[5], text},
          {operations[6], text},
          {Operation{"raw", Command_Send, "send.bin", 1}, std::string(3000, 'x')},
          {Operation{"picture", Command_Send, "send.bmp", 1}, ReadText(SAMPLES "/logo.bmp")}}) {
        const std::string path = folder / operation.file;
        const bool isFiscal = operation.command == Command_ExecuteFiscal;
        /** Runs with the change made before a block. */
        const auto run = [&, operation = operation, content = content](int changed,
                                                                       void (*change)(Path path)) {
            WriteText(path, content);
            fs::last_write_time(path, {});  // long before the run: the clock of files ticks slowly
            return Run(operation, 1, [&](VirtualLine&, int number, const Bytes&) {
                if (number == changed) change(path);
            });
        };
        const Outcome good = run(-1, nullptr);
        for (const auto& change : fileChanges)
            for (int at = 0, end = good.blocks; at < end; at += end / 9) {
                const Outcome outcome = run(at, change.apply);
                SCOPED_TRACE(Format("%s %s at block %d", operation.name, change.name, at));
                const bool isStopped = change.isSeen && !isFiscal && at < end - 2;
                EXPECT_EQ(outcome.status, isStopped ? 13 : good.status);
                EXPECT_TRUE(isStopped || outcome.done == good.done);
                EXPECT_TRUE(Contains(good.done, outcome.done));
            }
    }
}

TEST_F(FaultTest, ClearsNothingThatIsNoLongerInTheFile) {
    int refused = 0;
    for (int i = 8; i < 88; i++) {  // more than is written at once
        stored.push_back(FromHex(Format("0C 01 %02X 0B", i)));
        stored.back().resize(80, 'x');
    }
    for (const auto& change : fileChanges)
        for (int at = 0, end = INT_MAX; at<end; at += end - at> 20 ? 7 : 1) {
            bool isCleared = false;
            const Outcome outcome = Run(report, 1, [&](VirtualLine&, int number, const Bytes& block) {
                byte seqNo = 0;
                const bool isClear =
                    PayloadOf(block, newestFrameVersion, seqNo) == FromHex("0B 03 00 03 03 02");
                isCleared = isCleared || isClear;
                if (isClear) end = number;
                if (number == at && !isCleared) change.apply(folder / report.file);
            });
            SCOPED_TRACE(Format("%s at block %d", change.name, at));
            // what is not yet written cannot be cut
            EXPECT_TRUE(outcome.status == 0 || (outcome.status == 13 && !isCleared)) << outcome.status;
            EXPECT_TRUE(at >= end || IsConserved(report, outcome));
            if (outcome.status == 13) refused++;
        }
    EXPECT_GE(refused, static_cast<int>(std::size(fileChanges)));
}

TEST_F(FaultTest, RepeatsNothingThatTheRegisterMayHaveDone) {
    AppConfig::SetParameter("LogFilePath", folder / "", false);
    StartLogging();
    const char* executed = " command(s) acknowledged by ECR, no further attempt\n";
    for (const auto& [operation, reasons] :
         {std::pair(report,
                    std::string("Report is read and its clearing was requested, no further attempt\n")),
          {operations[6], Format("0%s1%s2%s3%s", executed, executed, executed, executed)}}) {
        std::string seen;
        // the line goes dead at a block, until the next attempt; without the last one a run is done
        for (int at = 0; at < Clean(operation).blocks - 1; at++) {
            const Outcome outcome = Run(operation, 3, [at](VirtualLine& line, int number, const Bytes&) {
                if (number == at) line.HangUp();
            });
            const std::string reason = outcome.status == 5 ? WhyNotToRepeat() + "\n" : "";
            EXPECT_EQ(outcome.attempts * 10 + outcome.status, reason.empty() ? 20 : 15);
            if (seen.find(reason) == std::string::npos) seen += reason;
            EXPECT_NE(ReadText(folder / "TAVO.log").find(reason), std::string::npos);
        }
        EXPECT_EQ(seen, reasons);
    }
    StopLogging(true);
}

TEST_F(FaultTest, ClearsNoReportThatVersionOneMayHaveReadInPart) {
    for (const auto& [fault, least] : {std::pair(Fault::Flip, 85), {Fault::Noise, 84}, {Fault::Drop, 75}}) {
        int refused = 0;
        for (size_t position = 0, bytes = 0; position < 90; position++) {
            const Outcome outcome =
                Run(report, 1, 1, OneFault(static_cast<size_t>(fault), position, 1, bytes));
            if (outcome.message != "Report may be incomplete, not cleared") continue;
            refused++;
            EXPECT_TRUE(outcome.status == 5 && outcome.records == stored);
        }
        EXPECT_GE(refused, least) << "fault " << static_cast<int>(fault);
    }
}
