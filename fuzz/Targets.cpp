// The targets: each takes any input apart, lets the product have it and ends the process when a property of
// it does not hold. FUZZ_TARGET chooses one for libFuzzer; without it the program runs the seed corpus
// through all.

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "AppConfig.h"
#include "CsvFile.h"
#include "DataConverter.h"
#include "Defaults.h"
#include "Diagnosis.h"
#include "FileErrors.h"
#include "Fix.h"
#include "Support.h"
#include "TableDiagnosis.h"
#include "TextFile.h"

namespace {

/** The fuzzer then keeps the input. */
void Require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", property);
    std::abort();
}

/** Takes the first byte, which chooses among the options; 0 when there is none. */
byte TakeByte(Bytes& input) {
    if (input.empty()) return 0;
    const byte first = input.front();
    input.erase(input.begin());
    return first;
}

/** Path of a file in memory with this content; each call replaces the one before. */
std::string Scratch(const Bytes& content) {
    static const TempFolder folder("/dev/shm");
    WriteText(folder / "input", {content.begin(), content.end()});
    return folder / "input";
}

void Set(const char* name, const std::string& value) { AppConfig::SetParameter(name, value, false); }

/** Any bytes are parsed; what is built of them is parsed to the same again. */
void Frames(Bytes& input) {
    const int version = 1 + TakeByte(input) % newestFrameVersion;
    const byte seqNo = input.empty() ? byte{0} : input[0];
    byte parsedSeqNo = seqNo;
    ParseFrame(version, input, parsedSeqNo);
    const Bytes frame = BuildFrame(version, input, seqNo, 1024);
    parsedSeqNo = seqNo;
    Require(frame.empty() || (ParseFrame(version, frame, parsedSeqNo) == input && parsedSeqNo == seqNo),
            "what was built is parsed");
}

/** Records in the binary form and as a line of the file, parsed and converted into each other. */
void Records(Bytes& input) {
    const byte choice = TakeByte(input);
    Set("Delimiter", (choice & 4) != 0 ? ";" : ",");
    DataConverter::Initialize((choice & 2) == 0 ? FileType_CSV : FileType_RAW);
    const Bytes line = choice % 4 == 0 || choice % 4 == 3 ? Convert(DataConverter::EcrToPc, input) : input;
    if (choice % 4 == 0) Require(std::count(line.begin(), line.end(), '\n') == 0, "a record is one line");
    const Bytes record = Convert(DataConverter::PcToEcr, line);
    const Bytes convertedLine = Convert(DataConverter::EcrToPc, record);
    Require(convertedLine.empty() || Convert(DataConverter::PcToEcr, convertedLine) == record,
            "a line and the line read back are the same record");
}

/** A CSV file: each line has a number and the same text however it is come by. */
void Csv(Bytes& content) {
    constexpr size_t indexBlockSize = 65536;  // the index reads the file in blocks of this size
    const byte options = TakeByte(content);
    Set("SortInputFileLines", (options & 1) == 0 ? "1" : "0");
    Set("Delimiter", (options & 2) != 0 ? ";" : ",");
    // blanks ahead, which are empty lines, move the first block's end into the input
    if ((options & 4) != 0) {
        content.insert(content.begin(), '\n');
        content.insert(content.begin(), indexBlockSize - content.size() / 2, ' ');
    }
    CsvFileReaderImpl reader;
    reader.Open(Scratch(content));
    const auto lineAt = [&](size_t position) {
        char buffer[fileIoBufferSize];
        const auto record = static_cast<int>(position);
        const int length = reader.Read(record, buffer, sizeof buffer);
        Require((length > 0) == (reader.GetLineNumber(record) > 0), "a line has text and a number");
        return std::string(buffer, static_cast<size_t>(length));
    };
    std::vector<std::string> lines;
    while (!lineAt(lines.size()).empty()) lines.push_back(lineAt(lines.size()));
    for (size_t i = lines.size(); i > 0; i--)  // the index keeps a window of the file
        Require(lineAt(i - 1) == lines[i - 1], "a line is the same read backwards");
}

void Bitmap(Bytes& content) {
    const std::string path = Scratch(content);
    std::vector<Bytes> rows;
    std::vector<Bytes> again;
    ReadRows(path, rows);
    if (rows.empty()) return;
    Require(rows[0].size() <= fileIoBufferSize / 8, "a row has at most 1024 pixels");
    BmpFileWriter writer;
    writer.Open(path);
    for (const Bytes& row : rows)
        writer.Write(reinterpret_cast<const char*>(row.data()), static_cast<int>(row.size()));
    writer.Close();
    ReadRows(path, again);
    Require(again == rows, "rows written are read again");
}

/** What of a file every correction keeps: line ends are one kind, delimiters and decimal signs one letter,
 * but in quotes. */
std::string Kept(const std::string& text) {
    std::string kept;
    bool isQuoted = false;
    size_t start = 0;
    while (text.compare(start, 3, byteOrderMark) == 0) start += 3;
    const bool hasLineFeeds = text.find('\n') != std::string::npos;
    for (size_t i = start; i < text.size(); i++) {
        if (text.compare(i, 2, "\r\n") == 0) continue;
        const char c = text[i] == '\r' && !(isQuoted && hasLineFeeds) ? '\n' : text[i];
        isQuoted = c != '\n' && isQuoted != (c == '"');
        kept += !isQuoted && std::string_view(",;\t|.").find(c) != std::string_view::npos ? ',' : c;
    }
    return kept;
}

/** What a spreadsheet may have written: every line is explained, and nothing is changed without a word. */
void Sheet(Bytes& content) {
    const byte options = TakeByte(content);
    const char* const delimiters[] = {",", ";", "\t", "|"};
    Set("Delimiter", delimiters[options >> 3U & 3U]);
    const std::string codePage = (options & 2) != 0 ? "CP1257" : "";
    const std::string text(content.begin(), content.end());
    const FixedText fixed = FixText(text, codePage);
    Require(!fixed.changes.empty() || fixed.text == text, "what is changed is told");
    Require(!codePage.empty() || Kept(fixed.text) == Kept(text), "no record is another one, or one more");
    const FixedText again = FixText(fixed.text, codePage);
    Require(again.changes.empty() && again.text == fixed.text, "fixing twice is fixing once");
    const std::vector<std::string> lines = ReadLines(Scratch(content));
    for (const std::string& line : lines) DiagnoseLine(line, (options & 4) != 0);
    for (const Finding& finding : DiagnoseTable(lines))
        Require(finding.line <= static_cast<int>(lines.size()), "a finding is of a line that is there");
    DiagnoseFile(lines, (options & 4) != 0);
}

constexpr struct {
    const char* name;
    void (*run)(Bytes& input);
} targets[] = {{"frames", Frames}, {"records", Records}, {"csv", Csv}, {"bitmap", Bitmap}, {"sheet", Sheet}};

void Run(const std::string& target, Bytes input) {
    AppConfig::Clear();
    FileErrors::Reset();
    for (const auto& entry : targets)
        if (target == entry.name) entry.run(input);
}

/** The code reports to standard output, thousands of times a second here; the fuzzer uses the other one. */
const FILE* const silencedOutput = std::freopen("/dev/null", "w", stdout);

}  // namespace

#ifdef FUZZ_TARGET
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Run(FUZZ_TARGET, Bytes(data, data + size));
    return 0;
}
#else
int main() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(FUZZ_CORPUS)) {
        if (!entry.is_regular_file()) continue;
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        const std::string content = ReadText(entry.path());
        Run(entry.path().parent_path().filename(), Bytes(content.begin(), content.end()));
        count++;
    }
    std::fprintf(stderr, "%zu inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
#endif
