#include "Fault.h"

#include <climits>
#include <random>

#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "Logging.h"

namespace {

/** What others do to a file while a run works with it. */
constexpr struct {
    const char* name;
    bool isSeen;  // otherwise the run goes on with the file that it has opened
    void (*apply)(FilePath path);
} fileChanges[] = {{"emptied", true, [](FilePath path) { fs::resize_file(path, 0); }},
                   {"shrunk", true, [](FilePath path) { fs::resize_file(path, fs::file_size(path) / 2); }},
                   {"a byte more", true, [](FilePath path) { std::ofstream(path, std::ios::app) << "8"; }},
                   {"a byte less", true, [](FilePath path) { WriteText(path, ReadText(path).erase(0, 1)); }},
                   {"another byte", true, [](FilePath path) { std::fstream(path).seekp(0) << "9"; }},
                   {"removed", false, [](FilePath path) { fs::remove(path); }},
                   {"replaced", false, [](FilePath path) {
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

/** By the version of frames. */
class PairsOfFaultsTest : public FaultTest, public testing::WithParamInterface<int> {};

TEST_P(PairsOfFaultsTest, LeaveTheTruth) {
    // TAVO_FAULT_PAIRS=1 runs all of them, millions; else there are samples
    const size_t pitch = std::getenv("TAVO_FAULT_PAIRS") != nullptr ? 1 : 499;
    WriteText(folder / "two.csv", "7,\"a\"\n2,0\n");
    WriteText(folder / "twice.csv", "12,\"a\"\n50\n");
    stored.resize(2);
    const int version = GetParam();
    size_t number = 0;
    std::map<std::string, int> broken;
    for (const Operation& operation : {Operation{"Clear", Command_Clear, "none", 1},
                                       {"Send of 2", Command_Send, "two.csv", 1},
                                       {"ReadAndClear of 2", Command_ReadAndClear, "read.csv", 1},
                                       {"ExecuteFiscal of 2", Command_ExecuteFiscal, "twice.csv", 1},
                                       {"a status", Command_ReadFiscalStatus, "status.csv", 1}}) {
        // it makes a command that is sent again a new one
        const bool mayBeForged = version == 1 || operation.command == Command_ExecuteFiscal;
        size_t bytes = 0;
        const auto count = [&](const PlacedFault& second, const PlacedFault& first) {
            bool isUnseen = false;
            bool isBlind = false;  // or an acknowledgement was forged
            const auto spoil = [&, carry = Faults({second, first}, version, bytes)](
                                   VirtualLine& line, const Bytes& block) mutable {
                std::vector<CarriedByte> arrived = carry(line, block);
                isUnseen = isUnseen || IsBlind(block, arrived, version);
                isBlind = isBlind || isUnseen || (mayBeForged && IsForged(block, arrived));
                return arrived;
            };
            const std::string where =
                Format("version %d, %s, %s at %zu, %s at %zu", version, operation.name,
                       faultNames[first.fault], first.position, faultNames[second.fault], second.position);
            if (Count(operation, version, 1, where, spoil, isBlind)) return;
            const char* cause = isUnseen  ? "a damaged frame with good check bytes"
                                : isBlind ? "an acknowledgement that nobody sent"
                                          : "a frame without a number";
            broken[Format("version %d, %s: %s", version, operation.name, cause)]++;
        };
        Run(operation, version, 1, Faults({}, version, bytes));
        const size_t length = bytes;
        for (PlacedFault first{0, 0}; first.position < length; first.position++)
            for (first.fault = 0; first.fault < faultCount; first.fault++) {
                count({0, SIZE_MAX}, first);
                for (size_t at = first.position + 1, end = bytes; at < end; at++)
                    for (size_t fault = 0; fault < faultCount; fault++)
                        if (++number % pitch == 0) count({fault, at}, first);
            }
    }
    for (const auto& [what, times] : broken) std::printf("%s: %d\n", what.c_str(), times);
}

INSTANTIATE_TEST_SUITE_P(Version, PairsOfFaultsTest, testing::Range(1, newestFrameVersion + 1));

TEST_F(FaultTest, TellsTheTruthOnALineWithManyFaults) {
    FaultRates named{};
    ParseFaultRates("flip=0.5,nak=1", named);
    EXPECT_EQ(named, (FaultRates{0, 0.5, 0, 0, 0, 0, 0, 0, 0, 1}));
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
                                                                       void (*change)(FilePath path)) {
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
    std::string executed;
    for (int i = 0; i < 4; i++) {
        const std::string count = Format("%d command(s) acknowledged by ECR", i);
        if (i > 0) executed += count + ", no further attempt\n";
        executed += count + ", the next one received but not answered, no further attempt\n";
    }
    for (const auto& [operation, reasons] :
         {std::pair(report,
                    std::string("Report is read and its clearing was requested, no further attempt\n")),
          {operations[6], executed}}) {
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
