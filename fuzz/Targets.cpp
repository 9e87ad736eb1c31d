// The targets: each takes any input apart, lets the product have it and ends the process when a property of
// it does not hold. FUZZ_TARGET chooses one for libFuzzer; without it the program runs the seed corpus
// through all.

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "AppConfig.h"
#include "BmpFile.h"
#include "Commands.h"
#include "CsvFile.h"
#include "DataConverter.h"
#include "Defaults.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "FileErrors.h"
#include "IniFile.h"
#include "Support.h"

namespace {

/** The fuzzer then keeps the input. */
void Require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", property);
    std::abort();
}

/** The first bytes of an input, as many as there are, in a buffer of just their size. */
Bytes Take(Bytes& input, size_t count) {
    const auto end = input.begin() + static_cast<std::ptrdiff_t>(std::min(count, input.size()));
    Bytes taken(input.begin(), end);
    input.erase(input.begin(), end);
    return taken;
}

byte TakeByte(Bytes& input) {
    const Bytes taken = Take(input, 1);
    return taken.empty() ? byte{0} : taken[0];
}

/** Path of a file in memory with this content; each call replaces the one before. */
std::string Scratch(const Bytes& content) {
    static const TempFolder folder("/dev/shm");
    WriteText(folder / "input", {content.begin(), content.end()});
    return folder / "input";
}

void Set(const char* name, const std::string& value) { AppConfig::SetParameter(name, value, false); }

/** Any bytes are parsed; what is built of them is parsed to the same again. */
void CheckCodec(int version, const Bytes& bytes) {
    const byte seqNo = bytes.empty() ? byte{0} : bytes[0];
    byte parsedSeqNo = seqNo;
    ParseFrame(version, bytes, parsedSeqNo);
    const Bytes frame = BuildFrame(version, bytes, seqNo, 1024);
    parsedSeqNo = seqNo;
    Require(frame.empty() || (ParseFrame(version, frame, parsedSeqNo) == bytes && parsedSeqNo == seqNo),
            "what was built is parsed");
}

/** Frames of all versions: the codec alone, and the port over a line of bursts that hold anything. */
void Frames(Bytes& input) {
    const byte choice = TakeByte(input);
    const int version = 1 + choice % 3;
    if (choice / 3 % 4 < 2) return CheckCodec(version, input);
    Set("SerialProtocolVersion", std::to_string(version));
    Set("SerialProtocolRetryCount", "3");
    MemoryChannel line;
    Bytes received;  // since the last block sent
    line.onEmpty = [&] {
        const Bytes burst = Take(input, TakeByte(input));
        line.input.assign(burst.begin(), burst.end());
        received.insert(received.end(), burst.begin(), burst.end());
    };
    line.onWrite = [&](const Bytes& block) {
        const auto end = received.end() - static_cast<std::ptrdiff_t>(line.input.size());
        const Bytes frame(std::find(received.begin(), end, STX), end);
        byte seqNo = 0;
        bool isFrame = false;
        for (int v = 1; v <= 3; v++) isFrame = isFrame || !ParseFrame(v, frame, seqNo).empty();
        Require(block != Bytes{ACK} || isFrame, "only frames are acknowledged");
        received.erase(received.begin(), end);
    };
    PortWithTC port(Lend(&line));
    port.Open();
    while (!input.empty()) {
        const byte operation = TakeByte(input);
        Bytes data = operation % 2 == 0 ? Bytes(size_t{1} + operation / 2) : Take(input, 1 + operation / 2);
        const auto size = static_cast<unsigned int>(data.size());
        if (operation % 2 == 0)
            port.Read(data.data(), size);
        else if (size > 0)
            port.Write(data.data(), size);
    }
}

Bytes Convert(uint16_t (*function)(const byte*, uint16_t, byte*, uint16_t), const Bytes& from) {
    Bytes to(commIoBufferSize);
    to.resize(function(from.data(), static_cast<uint16_t>(from.size()), to.data(), commIoBufferSize));
    return to;
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

/** The INI file: any text is read, and settings behind it are found. */
void Ini(Bytes& content) {
    const auto load = [&] {
        AppConfig::Clear();
        Set("ConfigFilePath", Scratch(content));
        Set("ECR", "Fuzz");
        AppConfig::Initialize();
    };
    load();
    AppConfig::GetDefaultEcrName();
    for (const char* section : {"", "Common", "ECR_Till1"})
        for (const char* key : {"TTY", "Password", ""}) {
            const std::string value = IniFile::GetString(section, key, "");
            Require(value.size() <= 255 && value.find_first_of("\r\n\f\x1a") == std::string::npos,
                    "a value is in one line of at most 255 characters");
        }
    for (const byte c : content)
        if (c == 0 || c == 26) return;  // these end the text
    const std::string settings = "\n[Common]\nMark=common\nOther = 7\r\n[ECR_Fuzz]\nMark =  own \n";
    content.insert(content.end(), settings.begin(), settings.end());
    load();
    Require(AppConfig::GetParameter("Other", 0) == 7, "a setting of all registers is found");
    Require(AppConfig::GetParameter("Mark", "") == "own", "a register's own setting wins");
}

/** All rows of a bitmap; nothing when it is refused. */
std::vector<Bytes> ReadRows(const std::string& path) {
    BmpFileReader reader;
    std::vector<Bytes> rows;
    Catch([&] {
        reader.Open(path);
        char row[fileIoBufferSize];
        while (const int length = reader.Read(static_cast<int>(rows.size()), row, sizeof row))
            rows.emplace_back(row, row + length);
    });
    return rows;
}

void Bitmap(Bytes& content) {
    const std::string path = Scratch(content);
    const std::vector<Bytes> rows = ReadRows(path);
    if (rows.empty()) return;
    Require(rows[0].size() <= fileIoBufferSize / 8, "a row has at most 1024 pixels");
    BmpFileWriter writer;
    writer.Open(path);
    for (const Bytes& row : rows)
        writer.Write(reinterpret_cast<const char*>(row.data()), static_cast<int>(row.size()));
    writer.Close();
    Require(ReadRows(path) == rows, "rows written are read again");
}

/**
 * A whole command against a register that sends whatever the input holds.
 *
 * An input is: command; options; section; length of the file and the file; then what the register sends, in
 * pieces with a length byte each. Bits 0 and 1 of the options choose whether a piece is bytes on the line,
 * the payload of a frame or the data of an application frame: most inputs would not get past the check bytes
 * otherwise. 2 and 3: file type; 4 and 5: version; 6: password; 7: packets.
 */
void Session(Bytes& input) {
    constexpr Command commands[] = {Command_Read,         Command_Send,          Command_Delete,
                                    Command_Clear,        Command_ReadAndClear,  Command_ClearAndSend,
                                    Command_Init,         Command_ExecuteFiscal, Command_ReadFiscalStatus,
                                    Command_ReadEftStatus};
    const Command command = commands[TakeByte(input) % std::size(commands)];
    const byte options = TakeByte(input);
    const int section = TakeByte(input);
    const std::string path = Scratch(Take(input, TakeByte(input)));
    const bool isOnTheLine = (options & 3) % 3 == 0;
    const bool isData = (options & 3) % 3 == 2;
    const int version = 1 + (options >> 4 & 3) % 3;
    const char* types[] = {"", "CSV", "BMP", "RAW"};
    Set("FileType", types[options >> 2 & 3]);
    Set("SerialProtocolVersion", std::to_string(version));
    Set("SerialProtocolRetryCount", "2");
    Set("Password", (options & 0x40) != 0 ? "1234" : "");
    Set("RecordsInPacket", (options & 0x80) != 0 ? "3" : "1");

    byte seqNo = 32;
    MemoryChannel line;
    line.onWrite = [&](const Bytes& block) {
        if (block.size() > 1 && !isOnTheLine) line.input.push_back(ACK);
    };
    line.onEmpty = [&] {
        Bytes bytes = Take(input, TakeByte(input));
        const auto length = static_cast<byte>(bytes.size());
        if (isData) bytes.insert(bytes.begin(), {GetProtocol(), length, 0});
        if (!isOnTheLine && !bytes.empty()) {
            bytes = BuildFrame(version, bytes, seqNo);
            seqNo = TcFrameSeqNo::Next(seqNo);
        }
        line.input.assign(bytes.begin(), bytes.end());
    };
    PortWithTC port(Lend(&line));
    SelectCommChannel(Lend(&port));
    const bool isFiscal = command >= Command_ExecuteFiscal;
    const std::unique_ptr<Exception> failure = Catch([&] {
        SetProtocol(GetProtocolIDBySet(isFiscal ? Protocol_Fiscal : Protocol_Standard));
        CommChannel_Open();
        isFiscal ? Execute_Fiscal(command, path) : Execute_Standard(command, section, path);
    });
    SelectCommChannel(Lend(nullptr));
    // the records of such short files fit a frame, so nothing that the register sends is an internal error
    Require(!failure || failure->GetReturnCode() != ReturnCode_InternalError,
            "no answer is an internal error");
}

constexpr struct {
    const char* name;
    void (*run)(Bytes& input);
} targets[] = {{"frames", Frames}, {"records", Records}, {"csv", Csv},
               {"ini", Ini},       {"bitmap", Bitmap},   {"session", Session}};

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
    for (const auto& target : targets)
        for (const auto& entry :
             std::filesystem::directory_iterator(FUZZ_CORPUS "/" + std::string(target.name))) {
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            const std::string content = ReadText(entry.path());
            Run(target.name, Bytes(content.begin(), content.end()));
            count++;
        }
    std::fprintf(stderr, "%zu inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
#endif
