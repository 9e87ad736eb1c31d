#include "Commands.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <vector>

#include "AppConfig.h"
#include "Byte.h"
#include "CsvFile.h"
#include "DataConverter.h"
#include "Defaults.h"
#include "EcrComm/EcrComm.h"
#include "FileErrors.h"
#include "FileIo.h"
#include "Format.h"
#include "Formatting/TextDataParser.h"
#include "Logging.h"

namespace {

enum UpdateType { UpdateType_Add = 0, UpdateType_Delete = 1 };
enum StatusType { StatusType_ECR = 0, StatusType_EFT = 1 };

char fileIoBuffer[fileIoBufferSize];  // a record as the file holds it
byte commIoBuffer[commIoBufferSize];  // a record as the ECR holds it

byte* FileBytes() { return reinterpret_cast<byte*>(fileIoBuffer); }

/** Shows a text that the next one on the line overwrites. */
void ShowProgress(const std::string& text) { Print(text + "\r"); }

void EraseProgress(size_t length) { ShowProgress(std::string(length, ' ')); }

void RequestOperation(int dataType, Action action) {
    AuthorizeSession();
    ShowProgress("Sending operation request...");
    SendRequest(static_cast<byte>(dataType), action);
    EraseProgress(28);
}

/** Requests an operation that needs no data and waits until the ECR has done it. */
void ExecuteAndWait(int dataType, Action action, const std::string& progress) {
    RequestOperation(dataType, action);
    ShowProgress(progress);
    while (!ReadClearStatus()) continue;
    EraseProgress(progress.size());
}

void Clear(int dataType) { ExecuteAndWait(dataType, Action_Clear, "Clearing ..."); }

/** Converts the ECR's record of the given length and writes it; false when it cannot be converted. */
bool WriteEcrRecord(FileWriter& writer, uint16_t length) {
    const uint16_t pcLength = DataConverter::EcrToPc(commIoBuffer, length, FileBytes(), fileIoBufferSize);
    if (pcLength == 0) return false;
    writer.Write(fileIoBuffer, pcLength);
    return true;
}

/** Returns the number of records read; the file is then complete and on its device. */
unsigned Read(int dataType, const std::string& filename) {
    const FileType fileType = DetectFileType(filename, dataType);
    DataConverter::Initialize(fileType);
    FileErrors::Reset();
    const std::unique_ptr<FileWriter> writer = CreateFileWriter(fileType);
    writer->Open(filename);
    RequestOperation(dataType, Action_Read);

    unsigned recordsRead = 0;
    while (const uint16_t length = ReadData(commIoBuffer, commIoBufferSize)) {
        recordsRead++;
        if (recordsRead % 10 == 0) ShowProgress(Format("Records read: %u", recordsRead));
        if (!WriteEcrRecord(*writer, length)) throw new CommunicationException("Bad record received");
    }
    writer->Close();
    Print(Format("Records read: %u\n", recordsRead));
    return recordsRead;
}

/** Line of the file that a record came from, 0 for files without lines. */
int LineOf(FileReader& reader, int recordNumber) {
    return reader.GetType() == FileType_CSV ? static_cast<CsvFileReader&>(reader).GetLineNumber(recordNumber)
                                            : 0;
}

/**
 * Sends the records first..end-1 that the file has, without the ECR's answers, and appends the numbers of
 * those sent. Returns how many were taken, those that cannot be converted included.
 */
int SendRecords(FileReader& reader, int first, int end, std::vector<int>& sent) {
    int recordNumber = first;
    for (; recordNumber < end; recordNumber++) {
        const int length = reader.Read(recordNumber, fileIoBuffer, fileIoBufferSize);
        if (length == 0) break;
        const uint16_t ecrLength = DataConverter::PcToEcr(FileBytes(), static_cast<uint16_t>(length),
                                                          commIoBuffer, commIoBufferSize);
        if (ecrLength == 0) {
            FileErrors::AddBadFormatRecord(LineOf(reader, recordNumber));
            continue;
        }
        BeginSendData(commIoBuffer, ecrLength);
        sent.push_back(recordNumber);
    }
    return recordNumber - first;
}

/** Takes the ECR's answers to the records sent, in their order; returns how many it accepted. */
unsigned CollectAnswers(FileReader& reader, const std::vector<int>& sent) {
    unsigned accepted = 0;
    for (const int recordNumber : sent) {
        uint16_t fieldNumber = 0;
        switch (EndSendData(fieldNumber)) {
            case SendResult_OK: accepted++; break;
            case SendResult_BadData:
                FileErrors::AddBadDataRecord(LineOf(reader, recordNumber), fieldNumber);
                break;
            case SendResult_CanNotUpdate:
                FileErrors::AddCanNotUpdateRecord(LineOf(reader, recordNumber));
                break;
        }
    }
    return accepted;
}

/** Sends the file from record recordsSent on; a packet size below 1 sends nothing. */
void SendPackets(FileReader& reader, int recordsInPacket, const char* statusMessage, unsigned& recordsSent) {
    auto recordNumber = static_cast<int>(recordsSent);
    while (recordsInPacket > 0) {
        const int packetEnd = recordNumber + std::min(recordsInPacket, INT_MAX - recordNumber);
        std::vector<int> sent;
        if (SendRecords(reader, recordNumber, packetEnd, sent) == 0) return;
        recordsSent += CollectAnswers(reader, sent);
        if (recordsSent != 0) ShowProgress(Format("%s: %u", statusMessage, recordsSent));
        recordNumber = packetEnd;
    }
}

void Send(int dataType, const std::string& filename, UpdateType updateType) {
    const char* statusMessage = updateType == UpdateType_Delete ? "Records deleted" : "Records sent";
    const FileType fileType = DetectFileType(filename, dataType);
    DataConverter::Initialize(fileType);
    FileErrors::Reset();
    std::unique_ptr<FileReader> reader = CreateFileReader(fileType);
    reader->Open(filename);

    const int recordsInPacket = AppConfig::GetParameter("RecordsInPacket", defaultRecordsInPacket);
    unsigned recordsSent = 0;
    for (bool isDone = false; !isDone;) {
        try {
            RequestOperation(dataType, updateType == UpdateType_Delete ? Action_Delete : Action_Write);
            SendPackets(*reader, recordsInPacket, statusMessage, recordsSent);
            isDone = true;
        } catch (UnknownCommandException* e) {
            const std::unique_ptr<Exception> owner(e);
            // the fate of several records in flight would be unknown
            if (recordsInPacket != 1)
                throw new CommunicationException("Unexpected data received, retry not possible");
            // Resumed at the count of accepted records: where records were skipped or rejected before, some
            // are sent twice. That is meant; a record sent twice is stored once, one left out would be lost.
            LogMsg(LogType_Both, "Communication timeout on ECR side, renegotiating...", true);
        }
    }
    SendEndOfData();
    reader.reset();
    FileErrors::Log();
    Print(Format("%s: %u\n", statusMessage, recordsSent));
}

ReturnCode StatusOfFileErrors() {
    const bool hasDuplicates = FileErrors::GetDuplicateRecordCount() > 0 &&
                               AppConfig::GetParameter("IgnoreDuplicates", defaultIgnoreDuplicates) == 0;
    if (hasDuplicates || FileErrors::GetBadFormatRecordCount() > 0 || FileErrors::GetEmptyRecordCount() > 0)
        return ReturnCode_InputFileSyntaxError;
    return FileErrors::GetRejectedByEcrRecordCount() > 0 ? ReturnCode_InputFileHasBadRecords : ReturnCode_OK;
}

/** Reports every line that is no fiscal command; ApplicationException when there is one. */
void ValidateCommands(CsvFileReader& reader) {
    for (int i = 0; const int length = reader.Read(i, fileIoBuffer, fileIoBufferSize); i++) {
        const auto size = static_cast<uint16_t>(length);
        TextDataParser parser(FileBytes(), size);
        if (parser.GetFieldType() != FieldType_Number ||
            DataConverter::PcToEcr(FileBytes(), size, commIoBuffer, commIoBufferSize) == 0)
            FileErrors::AddBadFormatRecord(reader.GetLineNumber(i));
    }
    FileErrors::Log();
    if (FileErrors::GetBadFormatRecordCount() > 0)
        throw new ApplicationException("Input file contains bad data", ReturnCode_InputFileSyntaxError);
}

void SendFiscalCommand(uint16_t length) {
    TextDataParser parser(FileBytes(), length);
    Decimal code;
    parser.GetNumber(code);
    const uint16_t dataLength = DataConverter::PcToEcr(parser, commIoBuffer, commIoBufferSize);
    Fiscal_SendCommand(static_cast<byte>(code.ToInt64()), commIoBuffer, dataLength);
}

void ExecuteCommandFile(const std::string& filename) {
    AuthorizeSession();
    DataConverter::Initialize(FileType_CSV);
    CsvFileReaderImpl reader;
    // commands run in the order of the file, and one that repeats is no duplicate
    AppConfig::SetParameter("SortInputFileLines", "0", false);
    reader.Open(filename);
    FileErrors::Reset();  // lines refused so far are reported, but do not stop the run: they are never
                          // executed
    ValidateCommands(reader);

    unsigned commandsSent = 0;
    for (;;) {
        ShowProgress(Format("Commands sent: %u", commandsSent));
        const int length = reader.Read(static_cast<int>(commandsSent), fileIoBuffer, fileIoBufferSize);
        if (length == 0) break;
        SendFiscalCommand(static_cast<uint16_t>(length));
        commandsSent++;
    }
    reader.Close();
    Print(Format("Commands sent: %u\n", commandsSent));
}

/** Reads a status into a CSV file, whatever its name; the file is made before the ECR is asked. */
void ReadStatus(const std::string& filename, StatusType statusType) {
    AuthorizeSession();
    DataConverter::Initialize(FileType_CSV);
    CsvFileWriter writer;
    writer.Open(filename);
    ShowProgress(statusType == StatusType_ECR ? "Reading ECR status..." : "Reading EFT status...");
    const uint16_t length = statusType == StatusType_ECR
                                ? Fiscal_ReadStatus(commIoBuffer, commIoBufferSize)
                                : Fiscal_ReadEftStatus(commIoBuffer, commIoBufferSize);
    if (!WriteEcrRecord(writer, length)) throw new CommunicationException("Bad status data received");
    writer.Close();
    EraseProgress(24);
}

}  // namespace

ReturnCode Execute_Standard(Command command, int dataType, const std::string& filename) {
    switch (command) {
        case Command_Read: Read(dataType, filename); break;
        case Command_Send: Send(dataType, filename, UpdateType_Add); break;
        case Command_Delete: Send(dataType, filename, UpdateType_Delete); break;
        case Command_Clear: Clear(dataType); break;
        case Command_ReadAndClear:
            if (Read(dataType, filename) > 0) Clear(dataType);
            break;
        case Command_ClearAndSend:
            Clear(dataType);
            Send(dataType, filename, UpdateType_Add);
            break;
        case Command_Init: ExecuteAndWait(dataType, Action_Init, "Initializing ..."); break;
        default: throw new InternalException(__FILE__, __LINE__);
    }
    return StatusOfFileErrors();
}

ReturnCode Execute_Fiscal(Command command, const std::string& filename) {
    switch (command) {
        case Command_ExecuteFiscal: ExecuteCommandFile(filename); break;
        case Command_ReadFiscalStatus: ReadStatus(filename, StatusType_ECR); break;
        case Command_ReadEftStatus: ReadStatus(filename, StatusType_EFT); break;
        default: throw new InternalException(__FILE__, __LINE__);
    }
    return ReturnCode_OK;
}

ReturnCode Execute_Server(int data) {
    constexpr int disconnectFromServer = 1;
    if (data != disconnectFromServer) return ReturnCode_UnknownCommand;
    return Server_DisconnectFromServer() ? ReturnCode_OK : ReturnCode_CommunicationError;
}

ReturnCode RunServer() { return ReturnCode_InternalError; }
