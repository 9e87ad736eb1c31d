#include "Targets.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>

#include "AppConfig.h"
#include "CheckOptions.h"
#include "DataConverter.h"
#include "Decoder.h"
#include "Defaults.h"
#include "Diagnosis.h"
#include "EcrComm/CommChannels/Linux/LineSettings.h"
#include "FileErrors.h"
#include "Files/CsvFile.h"
#include "Fix.h"
#include "LineOptions.h"
#include "Options.h"
#include "Options/CommandLine.h"
#include "Recording.h"
#include "SettingDiagnosis.h"
#include "Settings.h"
#include "TableDiagnosis.h"
#include "Text/Json.h"
#include "TextFile.h"
#include "Tools.h"

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
    const LineRules rules{(options & 4) != 0, *delimiters[options >> 3U & 3U], newestFrameVersion};
    const std::string codePage = (options & 2) != 0 ? "CP1257" : "";
    const std::string text(content.begin(), content.end());
    const FixedText fixed = FixText(text, rules.delimiter, codePage);
    Require(!fixed.changes.empty() || fixed.text == text, "what is changed is told");
    Require(!codePage.empty() || Kept(fixed.text) == Kept(text), "no record is another one, or one more");
    const FixedText again = FixText(fixed.text, rules.delimiter, codePage);
    Require(again.changes.empty() && again.text == fixed.text, "fixing twice is fixing once");
    const std::vector<std::string> lines = ReadLines(Scratch(content));
    for (const std::string& line : lines) DiagnoseLine(line, rules);
    for (const Finding& finding : DiagnoseTable(lines, rules.delimiter).warnings)
        Require(finding.line <= static_cast<int>(lines.size()), "a finding is of a line that is there");
    DiagnoseFile(lines, rules);
}

void RequireFailure(const std::unique_ptr<Exception>& failure, ReturnCode status) {
    Require(!failure || failure->GetReturnCode() == status, "it fails only as it says it may");
}

void RequirePrintable(const std::string& text) {
    Require(Printable(text) == text, "what is shown has no control character");
}

/** What happens on a line after a pause: something passes, or nothing and the tool hangs up. */
struct LineEvent {
    Time pause;
    bool isFromTool;
    Bytes bytes;
};

/** Takes a byte for pause and direction, one for the count of bytes, and these. */
LineEvent TakeEvent(Bytes& input) {
    const byte head = TakeByte(input);
    const auto end =
        input.begin() + std::min<std::ptrdiff_t>(TakeByte(input), std::distance(input.begin(), input.end()));
    LineEvent event{Time{head / 2} * (head / 2) * 500, head % 2 != 0, {input.begin(), end}};
    input.erase(input.begin(), end);
    return event;
}

/** Any file is a recording or refused as none; a tool that does anything departs from it or is answered. */
void ReplayOf(Bytes& input) {
    constexpr byte endOfFile = 0xFF;  // events on the line are behind it
    const auto end = std::find(input.begin(), input.end(), endOfFile);
    const auto size = static_cast<size_t>(std::distance(input.begin(), end));
    std::optional<Replay> replay;
    RequireFailure(Catch([&] { replay.emplace(Scratch({input.begin(), end})); }), ReturnCode_FileIoError);
    input.erase(input.begin(), end == input.end() ? end : end + 1);
    Time now = 0;
    size_t count = 0;
    for (bool isFollowed = replay.has_value(); isFollowed && !input.empty();) {
        const LineEvent event = TakeEvent(input);
        const auto departure = Catch([&] {
            replay->Tick(now += event.pause);
            Require(replay->GetDeadline() > now, "what is due is done");
            if (event.bytes.empty()) replay->HangUp();
            for (const byte value : event.bytes) replay->Receive(value, now);
        });
        RequireFailure(departure, ReturnCode_CommunicationError);
        isFollowed = !departure;
        count += replay->TakeOutput().size();
    }
    Require(count <= size / 2, "no more is sent than the recording holds");
}

/** A line on which anything passes is explained in printable lines, and a frame behind it as ever. */
void Tapped(Bytes& input) {
    const std::string path = Scratch({});
    Recording recording(path, true);
    const Trace trace(TraceForm::None, &recording);
    Decoder decoder(trace);
    while (!input.empty()) {
        const LineEvent event = TakeEvent(input);
        if (event.bytes.empty()) decoder.HangUp();
        for (const byte value : event.bytes)
            event.isFromTool ? decoder.ReceiveFromTool(value) : decoder.ReceiveFromRegister(value);
    }
    decoder.HangUp();
    for (const byte value : BuildFrame(3, FromHex("0b 03 00 03 01 02"), 0)) decoder.ReceiveFromTool(value);
    std::istringstream text(ReadText(path));
    std::string last;
    for (std::string line; std::getline(text, line); last = line) RequirePrintable(line);
    Require(last == "    <- frame v3 #0: request: read section 3", "a frame is understood behind any others");
}

/** An INI file, and the words of a command line: what they say is taken, refused or warned of. */
void SettingsOf(Bytes& input) {
    std::istringstream parts({input.begin(), input.end()});
    std::string ini;
    std::getline(parts, ini, '\xFF');
    std::vector<std::string> words{"tavo"};
    for (std::string word; std::getline(parts, word, '\xFF');) words.push_back(word);
    words.push_back("/ConfigFilePath=" + Scratch({ini.begin(), ini.end()}));
    std::vector<char*> argv;
    argv.reserve(words.size());
    for (std::string& word : words) argv.push_back(word.data());
    const auto argc = static_cast<int>(argv.size());
    RequireFailure(Catch([&] { ParseOptions(argc - 1, argv.data()); }), ReturnCode_CmdLineError);
    const std::function<void()> steps[] = {[&] { ParseCheckOptions(argc - 1, argv.data()); },
                                           [&] { ParseLineOptions(argc - 1, argv.data()); },
                                           [&] { CollectParameters(argc, argv.data()); }};
    for (const auto& step : steps) {
        const auto failure = Catch(step);
        RequireFailure(failure, ReturnCode_CmdLineError);
        if (failure) RequirePrintable(failure->GetDisplayMessage());
    }
    LoadSettingsOf(argc, argv.data());
    for (const std::string& warning : DiagnoseSettings()) RequirePrintable(warning);
    for (const std::string& name : AppConfig::GetEcrNames())
        Require(ini.find(name) != std::string::npos, "a register is one of the file");
    const LineSettings line = ParseLineSettings(AppConfig::Get(settings::comSettings));
    RequireFailure(Catch([&] { MakeTermios(line); }), ReturnCode_SystemError);
}

/** Any text is a string that a parser reads back. */
void JsonText(Bytes& input) {
    const std::string text(input.begin(), input.end());
    std::string expected;  // a byte that is no UTF-8 counts as the character of its number
    for (size_t i = 0, length; i < text.size(); i += std::max<size_t>(length, 1)) {
        length = Utf8Length(text, i);
        const auto value = static_cast<byte>(text[i]);
        expected += length > 0 ? text.substr(i, length)
                               : std::string{static_cast<char>(0xC0 | value >> 6),
                                             static_cast<char>(0x80 | (value & 0x3F))};
    }
    const std::string json = JsonObject().AddJson("texts", JsonArrayOfTexts({text})).GetText();
    RequirePrintable(json);
    Require(nlohmann::json::parse(json)["texts"][0] == expected, "a parser reads the text");
}

/** Each has its seeds in the folder of its name below corpus/. */
constexpr struct {
    const char* name;
    void (*run)(Bytes& input);
} targets[] = {{"frames", Frames}, {"records", Records},     {"csv", Csv},
               {"bitmap", Bitmap}, {"sheet", Sheet},         {"replay", ReplayOf},
               {"tapped", Tapped}, {"settings", SettingsOf}, {"json", JsonText}};

/** The code reports to standard output, thousands of times a second here; the fuzzer uses the other one. */
const FILE* const silencedOutput = std::freopen("/dev/null", "w", stdout);

}  // namespace

void RunTarget(const std::string& name, Bytes input) {
    AppConfig::Clear();
    FileErrors::Reset();
    const auto* const found = std::find_if(std::begin(targets), std::end(targets),
                                           [&](const auto& entry) { return name == entry.name; });
    Require(found != std::end(targets), "there is such a target");
    found->run(input);
}

size_t GetTargetCount() { return std::size(targets); }
