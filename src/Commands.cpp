#include "Commands.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "AppConfig.h"
#include "Byte.h"
#include "DataConverter.h"
#include "Defaults.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/IoStatistics.h"
#include "FileErrors.h"
#include "FileIo.h"
#include "Files/CsvFile.h"
#include "Format.h"
#include "Logging.h"
#include "Records/InputFile.h"
#include "System/Interrupt.h"
#include "System/Output.h"

namespace {

enum UpdateType { UpdateType_Add = 0, UpdateType_Delete = 1 };
enum StatusType { StatusType_ECR = 0, StatusType_EFT = 1 };

char fileIoBuffer[fileIoBufferSize];  // a record as the file holds it
byte commIoBuffer[commIoBufferSize];  // a record as the ECR holds it

CommandCounts counts;
std::string reasonNotToRepeat;
ClearState clearState = ClearState_No;
std::function<void()> onClearing = [] {};
// of all attempts of a run, so that the file stays locked between them
std::unique_ptr<FileWriter> reportWriter;

void SetClearState(ClearState state) {
    clearState = state;
    onClearing();
}

/** A reason not to repeat the command holds from the request on. */
void RequestOperation(int dataType, Action action, const char* whyNotToRepeat = "") {
    AuthorizeSession();
    ShowProgress("Sending operation request...");
    const ClearState former = clearState;
    if (action == Action_Clear) SetClearState(ClearState_Requested);
    reasonNotToRepeat = whyNotToRepeat;
    try {
        SendRequest(static_cast<byte>(dataType), action);
    } catch (ApplicationException*) {
        if (GetInterrupt() == 0) clearState = former;  // the ECR has refused it
        throw;
    }
    EraseProgress(28);
}

/** Requests an operation that needs no data and waits until the ECR has done it. */
void ExecuteAndWait(int dataType, Action action, const std::string& progress,
                    const char* whyNotToRepeat = "") {
    RequestOperation(dataType, action, whyNotToRepeat);
    ShowProgress(progress);
    while (!ReadClearStatus()) continue;
    EraseProgress(progress.size());
}

void Clear(int dataType, const char* whyNotToRepeat = "") {
    ExecuteAndWait(dataType, Action_Clear, "Clearing ...", whyNotToRepeat);
    SetClearState(ClearState_Done);
}

/** Converts the ECR's record of the given length and writes it; false when it cannot be converted. */
bool WriteEcrRecord(FileWriter& writer, uint16_t length) {
    const uint16_t pcLength =
        DataConverter::EcrToPc(commIoBuffer, length, reinterpret_cast<byte*>(fileIoBuffer), fileIoBufferSize);
    if (pcLength == 0) return false;
    writer.Write(fileIoBuffer, pcLength);
    return true;
}

/** The writer of the file that section dataType is to be read into, not yet opened. */
std::unique_ptr<FileWriter> CreateWriter(int dataType, const std::string& filename) {
    const FileType fileType = DetectFileType(filename, dataType);
    DataConverter::Initialize(fileType);
    FileErrors::Reset();
    return CreateFileWriter(fileType);
}

/** Returns the number of records read; the file is then complete and on its device. */
unsigned Read(int dataType, const std::string& filename, FileWriter& writer) {
    writer.Open(filename);
    RequestOperation(dataType, Action_Read);

    unsigned& recordsRead = counts.read;
    while (const uint16_t length = ReadData(commIoBuffer, commIoBufferSize)) {
        recordsRead++;
        if (recordsRead % 10 == 0) ShowProgress(Format("Records read: %u", recordsRead));
        if (!WriteEcrRecord(writer, length)) throw new CommunicationException("Bad record received");
    }
    writer.Close();
    Print(Format("Records read: %u\n", recordsRead));
    return recordsRead;
}

void ReadAndClear(int dataType, const std::string& filename) {
    if (!reportWriter) {
        reportWriter = CreateWriter(dataType, filename);
        reportWriter->KeepFormerContent();
    }
    if (Read(dataType, filename, *reportWriter) == 0) return;
    if (IoStatistics::UnnumberedFaults > 0)
        throw new CommunicationException("Report may be incomplete, not cleared");
    reportWriter->CheckInPlace();
    Clear(dataType, "Report is read and its clearing was requested, no further attempt");
}

/**
 * Sends the records first..end-1 that the file has, without the ECR's answers, and appends the numbers of
 * those sent. Returns how many were taken, those that cannot be converted included.
 */
int SendRecords(InputFile& input, int first, int end, std::vector<int>& sent) {
    int recordNumber = first;
    for (; recordNumber < end; recordNumber++) {
        if (!input.Read(recordNumber)) break;
        const uint16_t length = input.Convert(commIoBuffer);
        if (length == 0) continue;
        BeginSendData(commIoBuffer, length);
        sent.push_back(recordNumber);
    }
    return recordNumber - first;
}

/** Takes the ECR's answers to the records sent, in their order; returns how many it accepted. */
unsigned CollectAnswers(InputFile& input, const std::vector<int>& sent) {
    unsigned accepted = 0;
    for (const int recordNumber : sent) {
        uint16_t fieldNumber = 0;
        switch (EndSendData(fieldNumber)) {
            case SendResult_OK: accepted++; break;
            case SendResult_BadData:
                FileErrors::AddBadDataRecord(input.GetLineNumber(recordNumber), fieldNumber);
                break;
            case SendResult_CanNotUpdate:
                FileErrors::AddCanNotUpdateRecord(input.GetLineNumber(recordNumber));
                break;
        }
    }
    return accepted;
}

/** Sends the file from record recordsSent on; a packet size below 1 sends nothing. */
void SendPackets(InputFile& input, int recordsInPacket, const char* statusMessage, unsigned& recordsSent) {
    auto recordNumber = static_cast<int>(recordsSent);
    while (recordsInPacket > 0) {
        const int packetEnd = recordNumber + std::min(recordsInPacket, INT_MAX - recordNumber);
        std::vector<int> sent;
        if (SendRecords(input, recordNumber, packetEnd, sent) == 0) return;
        recordsSent += CollectAnswers(input, sent);
        if (recordsSent != 0) ShowProgress(statusMessage + (": " + std::to_string(recordsSent)));
        recordNumber = packetEnd;
    }
}

void Send(int dataType, InputFile& input, UpdateType updateType) {
    const char* statusMessage = updateType == UpdateType_Delete ? "Records deleted" : "Records sent";
    const int recordsInPacket = AppConfig::Get(settings::recordsInPacket);
    unsigned& recordsSent = updateType == UpdateType_Delete ? counts.deleted : counts.sent;
    ShowTotal(
        Format("Records to %s: %d", updateType == UpdateType_Delete ? "delete" : "send", input.GetCount()));
    for (bool isDone = false; !isDone;) {
        try {
            RequestOperation(dataType, updateType == UpdateType_Delete ? Action_Delete : Action_Write);
            SendPackets(input, recordsInPacket, statusMessage, recordsSent);
            isDone = true;
        } catch (UnknownCommandException* e) {
            // it answers a record so when it has given the transfer up after a silence
            const std::unique_ptr<Exception> owner(e);
            // the fate of several records in flight would be unknown
            if (recordsInPacket != 1)
                throw new CommunicationException("Unexpected data received, retry not possible");
            // Resumed at the count of accepted records: where records were skipped or rejected before, some
            // are sent twice. That is meant; a record sent twice is stored once, one left out would be lost.
            LogMsg(LogType_Both, "Communication timeout on ECR side, renegotiating...", true);
        }
    }
    input.CheckUnchanged();
    SendEndOfData();
    input.Close();
    FileErrors::Log();
    Print(Format("%s: %u\n", statusMessage, recordsSent));
}

void Send(int dataType, const std::string& filename, UpdateType updateType) {
    InputFile input;
    input.OpenRecords(dataType, filename);
    Send(dataType, input, updateType);
}

/** Whether a Send has a first record; one that no frame holds fails here as it would there. */
bool HasRecordToSend(InputFile& input) {
    for (int i = 0; input.Read(i); i++) {
        const uint16_t length = input.TryToConvert(commIoBuffer);
        if (length == 0) continue;
        if (!FitsFrame(commIoBuffer, length, AppConfig::Get(settings::serialProtocolVersion)))
            throw new InternalException(__FILE__, __LINE__);
        return true;
    }
    return false;
}

void ClearAndSend(int dataType, const std::string& filename) {
    const bool arePacketsSent = AppConfig::Get(settings::recordsInPacket) > 0;
    InputFile input;
    HeldOutput heldMessages;  // shown where a Send shows them, behind the clearing
    input.OpenRecords(dataType, filename);
    if (!arePacketsSent || !HasRecordToSend(input)) {
        for (int i = 0; arePacketsSent && input.Read(i); i++)
            input.Convert(commIoBuffer);  // again, now reporting it
        FileErrors::Log();
        throw new ApplicationException("Nothing to send, not cleared", ReturnCode_InputFileSyntaxError);
    }
    const std::string shownLater = heldMessages.Take();
    input.CheckUnchanged();
    Clear(dataType);
    Print(shownLater);
    Send(dataType, input, UpdateType_Add);
}

/** Executes one after another, and keeps why none of them may be repeated. */
void ExecuteCommands(const std::vector<FiscalCommand>& commands) {
    unsigned& acknowledged = counts.commandsAcknowledged;
    const int patienceTime = AppConfig::Get(settings::ecrPatienceTime);
    CommChannel_SetRepeatTime(patienceTime);
    const auto keepReason = [&](const char* ofTheNext) {
        reasonNotToRepeat =
            Format("%u command(s) acknowledged by ECR%s, no further attempt", acknowledged, ofTheNext);
    };
    for (const FiscalCommand& command : commands) {
        ShowProgress(Format("Commands sent: %u", acknowledged));
        // an attempt is a new session: the ECR cannot tell that it has had the command already
        if (patienceTime > 0) keepReason(", the next one sent");
        Fiscal_BeginCommand(command.code, command.data.data(), static_cast<uint16_t>(command.data.size()));
        keepReason(", the next one received but not answered");
        Fiscal_EndCommand();
        acknowledged++;
        keepReason("");
    }
    ShowProgress(Format("Commands sent: %u", acknowledged));
}

void ExecuteCommandFile(const std::string& filename) {
    AuthorizeSession();
    InputFile input;
    input.OpenCommands(filename);
    input.Close();
    const auto tellCount = [] { Print(Format("Commands sent: %u\n", counts.commandsAcknowledged)); };
    try {
        ExecuteCommands(input.GetCommands());
    } catch (...) {
        // the counter has told it, if it is always shown
        if (AppConfig::Get(settings::progress) != settings::progress.range.byDefault) tellCount();
        throw;
    }
    tellCount();
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

const CommandCounts& GetCommandCounts() { return counts; }

ClearState GetClearState() { return clearState; }

void OnClearing(std::function<void()> action) { onClearing = std::move(action); }

CommandRun::CommandRun() {
    reasonNotToRepeat.clear();
    clearState = ClearState_No;
}

CommandRun::~CommandRun() { reportWriter.reset(); }

std::string WhyNotToRepeat() { return reasonNotToRepeat; }

ReturnCode Execute_Standard(Command command, int dataType, const std::string& filename) {
    counts = {};
    switch (command) {
        case Command_Read: Read(dataType, filename, *CreateWriter(dataType, filename)); break;
        case Command_Send: Send(dataType, filename, UpdateType_Add); break;
        case Command_Delete: Send(dataType, filename, UpdateType_Delete); break;
        case Command_Clear: Clear(dataType); break;
        case Command_ReadAndClear: ReadAndClear(dataType, filename); break;
        case Command_ClearAndSend: ClearAndSend(dataType, filename); break;
        case Command_Init: ExecuteAndWait(dataType, Action_Init, "Initializing ..."); break;
        default: throw new InternalException(__FILE__, __LINE__);
    }
    return StatusOfFileErrors();
}

ReturnCode Execute_Fiscal(Command command, const std::string& filename) {
    counts = {};
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
