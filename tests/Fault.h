#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "AppConfig.h"
#include "Commands.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "FileErrors.h"
#include "Link.h"
#include "Outcome/Driver.h"
#include "Support.h"
#include "System/Output.h"
#include "Terminal.h"
#include "Text/RecordText.h"

/** Whole runs of the product with the simulated register, on a line in virtual time. */

namespace fs = std::filesystem;
using FilePath = const std::string&;

inline constexpr Time stallMaxTime = 1'500'000;  // as "ComStallMaxTime" of 1500 ms
inline constexpr Time endOfTime = 3600'000'000;  // an hour: no session takes that long unless it hangs

/** The end of a run that closes nothing. */
struct Killed {};

/**
 * A serial line to the simulated register's Link, in virtual time: a wait moves the clock, nothing sleeps.
 * Every block that either side sends passes through `carry`, where a test puts the line's faults.
 */
class VirtualLine final : public TestChannel {
public:
    using Carry = std::function<std::vector<CarriedByte>(VirtualLine& line, const Bytes& block)>;

    VirtualLine(Link& link, Carry carry) : m_link(link), m_carry(std::move(carry)) {}

    bool Write(const byte* data, unsigned int size) override {
        m_lastWrite = m_now;
        Send(m_toEcr, {data, data + size});
        return true;
    }
    /** What was on its way is discarded, and a line that was dead works again. */
    void Open() override {
        input.clear();
        if (!m_isLasting) m_toPc.Clear();
        m_isHungUp = false;
    }
    bool WasUsedWithin(int seconds) const override {
        return m_now - m_lastWrite <= Time{seconds} * 1'000'000;
    }
    /** The line goes dead: nothing arrives any more. */
    void HangUp() { m_isHungUp = true; }
    /** From now on what is under way survives the end of a run, as on a real line. */
    void Last() { m_isLasting = true; }
    /** The run dies behind the block that is carried. */
    void Kill() { m_isToBeKilled = true; }
    /** The block that is carried arrives so much later. */
    void Delay(Time time) { m_delay = time; }
    /** Bytes come from nowhere after a time. */
    void Arrive(const Bytes& bytes, Time after) {
        m_toPc.Push(FaultyLine({}, 0).Carry(bytes), m_now + after);
    }
    Time GetTime() const { return m_now; }
    /** Time goes by, and nobody reads. */
    void Pass(Time time) {
        WaitUntil(m_now + time, false);
        input.clear();
    }

private:
    bool HasInput(bool isFirst) override {
        WaitUntil(m_now + (isFirst ? Time{timeoutMs} * 1000 : stallMaxTime), true);
        return !m_isHungUp && !input.empty();
    }
    void WaitUntil(Time deadline, bool isForInput) {
        while (!m_isHungUp && !(isForInput && !input.empty()) && m_now < deadline) {
            const Time next = std::min({m_toPc.GetDeadline(), m_toEcr.GetDeadline(), m_link.GetDeadline()});
            m_now = std::max(m_now, std::min(next, deadline));
            if (m_now > endOfTime) throw new InternalException("the session hangs", 0);
            for (const byte value : m_toEcr.TakeDue(m_now)) m_link.Receive(value, m_now);
            m_link.Tick(m_now);
            Send(m_toPc, m_link.TakeOutput());
            for (const byte value : m_toPc.TakeDue(m_now)) input.push_back(value);
        }
    }
    void Send(PacedBytes& wire, const Bytes& block) {
        if (block.empty()) return;
        const std::vector<CarriedByte> carried = m_carry(*this, block);
        if (!m_isHungUp) wire.Push(carried, m_now + std::exchange(m_delay, 0));
        if (std::exchange(m_isToBeKilled, false)) throw Killed();
    }

    Link& m_link;
    Carry m_carry;
    PacedBytes m_toEcr{38400};
    PacedBytes m_toPc{38400};
    Time m_now = 0;
    Time m_lastWrite = -endOfTime;
    Time m_delay = 0;
    bool m_isHungUp = false;
    bool m_isLasting = false;
    bool m_isToBeKilled = false;
};

/** The payload of a frame of any version, behind an acknowledgement or not; empty for a bad one. */
inline Bytes PayloadOf(const Bytes& block, int version, byte& seqNo) {
    const bool isBehindAck = !block.empty() && block.front() == ACK;
    return ParseFrame(version, Bytes(block.begin() + (isBehindAck ? 1 : 0), block.end()), seqNo);
}

/** Whether what arrived of a block passes for another frame: no receiver can see that. */
inline bool IsBlind(const Bytes& sent, const std::vector<CarriedByte>& arrived, int version) {
    Bytes block;
    for (const CarriedByte& carried : arrived) block.push_back(carried.value);
    byte seqNo = 0;
    const Bytes payload = PayloadOf(block, version, seqNo);
    return !payload.empty() && payload != PayloadOf(sent, version, seqNo);
}

/** The frame with another sequence number and the check bytes for it. */
inline Bytes Renumbered(const Bytes& block, int version) {
    byte seqNo = 0;
    const Bytes payload = PayloadOf(block, version, seqNo);
    if (payload.empty() || !GetFrameVersion(version).isNumbered) return block;
    Bytes frame = BuildFrame(version, payload, TcFrameSeqNo::Next(TcFrameSeqNo::Next(seqNo)));
    if (block.front() == ACK) frame.insert(frame.begin(), ACK);
    return frame;
}

/** The faults of the matrix: those of a byte, and these. */
enum { NakTwice = faultCount, WrongNumber, HangUp, matrixFaultCount };
inline constexpr const char* moreFaultNames[] = {"NAK twice", "wrong number", "hang-up"};

/** A fault at a byte counted over both directions. */
struct PlacedFault {
    size_t fault;
    size_t position;
};

/** A line with faults, the later ones first; `carried` counts the bytes sent. */
inline VirtualLine::Carry Faults(const std::vector<PlacedFault>& faults, int version, size_t& carried) {
    carried = 0;
    return [=, &carried, naks = 0](VirtualLine& line, const Bytes& sent) mutable {
        const size_t start = std::exchange(carried, carried + sent.size());
        const auto isHere = [&](const PlacedFault& f) { return f.position >= start && f.position < carried; };
        Bytes block = sent;
        for (const PlacedFault& f : faults) {
            if (f.fault == HangUp && f.position < carried) line.HangUp();
            if (f.fault == WrongNumber && isHere(f)) block = Renumbered(sent, version);
            if (f.fault == NakTwice && start >= f.position && block[0] == ACK && naks++ < 2) block[0] = NAK;
        }
        std::vector<CarriedByte> arriving;
        for (const byte value : block) arriving.push_back({value, false});
        for (const PlacedFault& f : faults) {
            if (!isHere(f) || f.fault >= faultCount) continue;
            const auto at = arriving.begin() + static_cast<std::ptrdiff_t>(f.position - start);
            const std::vector<CarriedByte> instead = ApplyFault(static_cast<Fault>(f.fault), at->value);
            const bool isCut = static_cast<Fault>(f.fault) == Fault::Truncate;
            arriving.insert(arriving.erase(at, isCut ? arriving.end() : at + 1), instead.begin(),
                            instead.end());
        }
        return arriving;
    };
}

inline VirtualLine::Carry OneFault(size_t fault, size_t position, int version, size_t& carried) {
    return Faults({{fault, position}}, version, carried);
}

/** Whether an acknowledgement arrives that nobody has sent: in a frame that byte is escaped. */
inline bool IsForged(const Bytes& sent, const std::vector<CarriedByte>& arrived) {
    return std::count_if(arrived.begin(), arrived.end(), [](CarriedByte b) { return b.value == ACK; }) >
           std::count(sent.begin(), sent.end(), ACK);
}

struct Operation {
    const char* name;
    Command command;
    const char* file;
    int recordsInPacket;
};
inline constexpr Operation operations[] = {{"Read", Command_Read, "read.csv", 1},
                                           {"Send", Command_Send, "send.csv", 1},
                                           {"Send by 5", Command_Send, "send.csv", 5},
                                           {"Clear", Command_Clear, "none", 1},
                                           {"ReadAndClear", Command_ReadAndClear, "read.csv", 1},
                                           {"ClearAndSend", Command_ClearAndSend, "send.csv", 1},
                                           {"ExecuteFiscal", Command_ExecuteFiscal, "fiscal.csv", 1}};

inline constexpr Operation report = operations[4];
inline constexpr byte section = 3;
inline constexpr const char* former = "a former report";

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
inline bool Contains(std::vector<Record> all, const std::vector<Record>& some) {
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
        const bool isFiscal = operation.command >= Command_ExecuteFiscal;
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
     * in version 1, which has no numbers to tell a repeated frame by, only that no report is lost. Returns
     * whether all was true and conserved.
     */
    bool Count(const Operation& operation, int version, int retryCount, const std::string& where,
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
        return isTrue && isConserved;
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
