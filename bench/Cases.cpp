// The work on one record, and the index of a file, without the line.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "DataConverter.h"
#include "Defaults.h"
#include "EcrComm/CommChannels/TcFrame.h"
#include "Files/TextFileLineIndex.h"
#include "Lines.h"

namespace {

constexpr byte firstSeqNo = 32;
constexpr int iterations = 100'000;  // bench/run divides by it

/** A record in the three forms that it has on its way. */
struct Sample {
    std::string line = MakeLine(123456);
    byte record[commIoBufferSize] = {};
    byte frame[commIoBufferSize] = {};
    uint16_t recordLength = LineToRecord();
    uint16_t frameLength = BuildFrame();

    uint16_t LineToRecord() {
        return DataConverter::PcToEcr(reinterpret_cast<const byte*>(line.data()),
                                      static_cast<uint16_t>(line.size()), record, sizeof record);
    }
    uint16_t BuildFrame() { return TcFrame::Build(record, recordLength, firstSeqNo, frame, sizeof frame); }
};

void BuildFrame(benchmark::State& state) {
    Sample sample;
    while (state.KeepRunning()) benchmark::DoNotOptimize(sample.BuildFrame());
    if (sample.frameLength == 0) state.SkipWithError("the frame cannot be built");
}
BENCHMARK(BuildFrame)->Iterations(iterations);

void ParseFrame(benchmark::State& state) {
    Sample sample;
    byte payload[commIoBufferSize];
    byte seqNo = 0;
    uint16_t length = 0;
    while (state.KeepRunning())
        benchmark::DoNotOptimize(
            length = TcFrame::Parse(sample.frame, sample.frameLength, seqNo, payload, sizeof payload));
    if (length != sample.recordLength) state.SkipWithError("the frame cannot be parsed");
}
BENCHMARK(ParseFrame)->Iterations(iterations);

void LineToRecord(benchmark::State& state) {
    Sample sample;
    while (state.KeepRunning()) benchmark::DoNotOptimize(sample.LineToRecord());
    if (sample.recordLength == 0) state.SkipWithError("the line cannot be converted");
}
BENCHMARK(LineToRecord)->Iterations(iterations);

void RecordToLine(benchmark::State& state) {
    Sample sample;
    byte line[fileIoBufferSize];
    uint16_t length = 0;
    while (state.KeepRunning())
        benchmark::DoNotOptimize(
            length = DataConverter::EcrToPc(sample.record, sample.recordLength, line, sizeof line));
    if (length < 70) state.SkipWithError("the record cannot be converted");
}
BENCHMARK(RecordToLine)->Iterations(iterations);

/** Reads a file of shuffled lines, indexes and sorts it and removes the duplicates. */
void Index(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    const std::string path = "/tmp/tavo-bench-" + std::to_string(getpid());
    std::ofstream file(path);
    for (const int key : MakeKeys(count, true)) file << MakeLine(key) << '\n';
    file.close();
    TextFileLineIndex index;
    while (state.KeepRunning()) {
        index.Build(path, nullptr, nullptr);
        index.SortRange(0, index.GetCount() - 1);
        index.RemoveDuplicates([](int) {});
    }
    unlink(path.c_str());
    if (index.GetCount() != count - count / 100) state.SkipWithError("the index is wrong");
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(Index)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

}  // namespace
