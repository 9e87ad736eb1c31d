#include "EcrComm/EcrComm.h"

#include <cstring>
#include <string>
#include <vector>

#include "AppConfig.h"
#include "Decimal.h"
#include "Defaults.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/DataLogger.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "Formatting/BinaryDataParser.h"
#include "Logging.h"
#include "Tools.h"

namespace {

constexpr byte endOfTransmission = 4;
constexpr byte serverDisconnect = 1;

bool ecrConnected = false;
CommChannelType ecrCommChannel = CommChannel_SerialPort;
int ecrCommMaxTime = 0;  // ms
// Read before the link is opened: a setting that cannot be read must not keep the link from being closed.
int ecrDisconnectTime = defaultEcrDisconnectTime;  // 10 ms units, as the next one
int ecrRecoveryTime = defaultEcrRecoveryTime;

/** An answer that ends the command: its message and exit status. */
struct Refusal {
    byte code;
    const char* message;
    ReturnCode status;
};

constexpr Refusal requestRefusals[] = {
    {ResponseCode_UnknownCommand, "Unknown command", ReturnCode_UnknownCommand},
    {ResponseCode_Busy, "ECR is busy", ReturnCode_EcrBusy},
    {ResponseCode_CommandFailed, "Command can not be executed in current context", ReturnCode_CommandFailed},
    {ResponseCode_NotActivated, "ECR communications are not activated", ReturnCode_NotActivated},
    {ResponseCode_AuthFailed, "Bad or missing password", ReturnCode_BadPassword},
};

constexpr Refusal fiscalRefusals[] = {
    {ResponseCode_UnknownCommand, "Unknown command", ReturnCode_UnknownCommand},
    // in fiscal mode "busy" is the key lock
    {ResponseCode_Busy, "Incorrect keylock position", ReturnCode_EcrBusy},
    {ResponseCode_BadData, "Command has bad data", ReturnCode_InputFileHasBadRecords},
    {ResponseCode_CommandFailed, "Command failed or can not be executed in current context",
     ReturnCode_CommandFailed},
    {ResponseCode_NotActivated, "ECR fiscal protocol is not activated", ReturnCode_NotActivated},
    {ResponseCode_AuthFailed, "Bad or missing password", ReturnCode_BadPassword},
};

constexpr Refusal passwordRefusals[] = {
    {ResponseCode_AuthFailed, "Bad or missing password", ReturnCode_BadPassword},
};

[[noreturn]] void ThrowUnexpectedData() { throw new CommunicationException("Unexpected data received"); }

/** Returns for code 0, throws the refusal that the table has for another code. */
template <size_t count>
void CheckResponse(byte code, const Refusal (&refusals)[count]) {
    if (code == ResponseCode_OK) return;
    for (const Refusal& refusal : refusals)
        if (refusal.code == code) throw new ApplicationException(refusal.message, refusal.status);
    ThrowUnexpectedData();
}

void ProcessCommResult(CommResult result) {
    switch (result) {
        case CommResult_OK: return;
        case CommResult_ResponseLost: throw new CommunicationException("ECR is not responding");
        case CommResult_Garbage: throw new CommunicationException("Garbage received");
        case CommResult_Error: throw new CommunicationException("Comm layer error");
    }
}

/** Reads an answer, which has at least one byte; responseLen is the expected length (0 = any), then the
 * length. */
void ReadResponse(byte* responseBuf, uint16_t responseBufLen, uint16_t& responseLen) {
    const CommResult result = ReadFrame(responseBuf, responseBufLen, responseLen);
    ProcessCommResult(result == CommResult_OK && responseLen == 0 ? CommResult_ResponseLost : result);
}

void SendWithResponse(const byte* data, uint16_t dataLen, byte* responseBuf, uint16_t responseBufLen,
                      uint16_t& responseLen) {
    ProcessCommResult(SendFrame(data, dataLen));
    ReadResponse(responseBuf, responseBufLen, responseLen);
}

void SendAuthRequest(const std::string& password) {
    std::vector<byte> request{AuthType_Password};
    request.insert(request.end(), password.begin(), password.end());
    if (request.size() > commIoBufferSize) throw new InternalException(__FILE__, __LINE__);
    byte response = 0;
    uint16_t responseLen = 1;
    SendWithResponse(request.data(), static_cast<uint16_t>(request.size()), &response, 1, responseLen);
    CheckResponse(response, passwordRefusals);
}

bool IsSerial(CommChannelType type) {
    return type == CommChannel_SerialPort || type == CommChannel_SerialPortWithTC;
}

uint16_t ReadFiscalStatusRecord(byte command, byte* status) {
    byte response[commIoBufferSize] = {};
    uint16_t responseLen = 0;
    SendWithResponse(&command, 1, response, sizeof response, responseLen);
    CheckResponse(response[0], passwordRefusals);
    std::memcpy(status, response + 1, responseLen - 1U);
    return static_cast<uint16_t>(responseLen - 1);
}

}  // namespace

CommChannelType GetChannelTypeBySettings() {
    const bool hasEthernetSettings = AppConfig::HasParameter(settings::ipAddress.name);
    const bool hasSerialPortSettings = AppConfig::HasParameter(settings::comNumber.name);
    // a serial port always has transport control: "WithTC" is not asked, and "ComNumber" need not be there
    if (!hasEthernetSettings) return CommChannel_SerialPortWithTC;
    if (hasSerialPortSettings)
        throw new ConfigurationException("Both serial port and ethernet settings are specified");
    return AppConfig::Get(settings::withTC) == 1 ? CommChannel_EthernetWithTC : CommChannel_Ethernet;
}

void ConnectToEcr(ProtocolID protocol) {
    if (!ecrConnected) {
        ecrDisconnectTime = AppConfig::Get(settings::ecrDisconnectTime);
        ecrRecoveryTime = AppConfig::Get(settings::ecrRecoveryTime);
        ecrCommChannel = GetChannelTypeBySettings();
        ecrCommMaxTime = AppConfig::GetParameter(
            settings::ecrCommMaxTime.name,
            IsSerial(ecrCommChannel) ? defaultLocalEcrCommMaxTime : defaultNetworkEcrCommMaxTime);
        SelectCommChannel(ecrCommChannel);
        CommChannel_Open();
        const int64_t timeoutMs = int64_t{AppConfig::Get(settings::ecrOperationMaxTime)} + ecrCommMaxTime;
        CommChannel_SetReadTimeout(static_cast<int>(timeoutMs));
        ecrConnected = true;
    }
    SetProtocol(protocol);
}

bool IsEcrConnected() { return ecrConnected; }

bool DefaultKeepConnection() { return ecrCommChannel != CommChannel_Ethernet; }

void DisconnectFromEcr() {
    CommChannel_Close();
    ecrConnected = false;
    LogIoStatistics();
    // the setting goes to Sleep as it is: only 1..99 pause, by 10 ms each; the default does not
    Sleep(ecrDisconnectTime);
}

void DisconnectFromEcr(const Exception* ex) {
    if (ex->GetReturnCode() == ReturnCode_CommunicationError) Sleep(ecrRecoveryTime);
    DisconnectFromEcr();
}

void AuthorizeSession() {
    const std::string password = AppConfig::Get(settings::password);
    if (password.empty()) return;
    const ProtocolID sessionProtocol = GetProtocol();
    SetProtocol(GetProtocolIDBySet(Protocol_SessionAuth));
    LogMsg(LogType_Debug, "-------------- Authorizing session --------------", true);
    SendAuthRequest(password);
    LogMsg(LogType_Debug, "-------------------------------------------------", true);
    SetProtocol(sessionProtocol);
}

void SendRequest(byte data, byte action) {
    const byte request[] = {data, action, standardRequestVersion};
    byte response[commIoBufferSize] = {};
    uint16_t responseLen = 0;
    SendWithResponse(request, sizeof request, response, sizeof response, responseLen);
    if (response[0] == ResponseCode_BadFrame) {
        // The ECR wants a password first. It takes the repetition only in its short form, without the
        // version.
        AuthorizeSession();
        responseLen = 1;
        SendWithResponse(request, 2, response, 1, responseLen);
    }
    CheckResponse(response[0], requestRefusals);
}

void BeginSendData(const byte* data, uint16_t dataLen) { ProcessCommResult(SendFrame(data, dataLen)); }

SendResult EndSendData(uint16_t& badFieldNumber) {
    byte response[commIoBufferSize] = {};
    uint16_t responseLen = 0;
    ReadResponse(response, sizeof response, responseLen);
    badFieldNumber = 0;
    switch (response[0]) {
        case ResponseCode_OK: return SendResult_OK;
        case ResponseCode_UnknownCommand:
            throw new UnknownCommandException("ECR does not waiting transmitted command");
        case ResponseCode_Busy: return SendResult_CanNotUpdate;
        case ResponseCode_BadData: {
            BinaryDataParser parser(response + 1, sizeof response - 1);
            Decimal fieldIndex;
            if (parser.GetNumber(fieldIndex))
                badFieldNumber = static_cast<uint16_t>(static_cast<uint64_t>(fieldIndex.ToInt64()) + 1);
            return SendResult_BadData;
        }
        default: ThrowUnexpectedData();
    }
}

SendResult SendData(const byte* data, uint16_t dataLen, uint16_t& badFieldNumber) {
    BeginSendData(data, dataLen);
    return EndSendData(badFieldNumber);
}

void SendEndOfData() {
    // It has no answer: a late acknowledgement of another frame would end the command too early.
    if (!CommChannel_Settle()) ProcessCommResult(CommResult_Garbage);
    ProcessCommResult(SendFrame(nullptr, 0));
}

uint16_t ReadData(byte* dataBuf, uint16_t dataBufLen) {
    uint16_t dataLen = 0;
    do {
        dataLen = 0;
        ProcessCommResult(ReadFrame(dataBuf, dataBufLen, dataLen));
    } while (dataLen == 1 && dataBuf[0] == ResponseCode_Wait);
    return dataLen;
}

bool ReadClearStatus() {
    byte response[commIoBufferSize] = {};
    uint16_t responseLen = 0;
    ReadResponse(response, sizeof response, responseLen);
    if (response[0] != ResponseCode_OK && response[0] != ResponseCode_Wait) ThrowUnexpectedData();
    return response[0] == ResponseCode_OK;
}

bool Server_DisconnectFromServer() {
    bool isWritten = false;
    if (ecrCommChannel == CommChannel_EthernetWithTC) {
        isWritten = CommChannel_WriteDirect(&endOfTransmission, 1);
    } else if (ecrCommChannel == CommChannel_Ethernet) {
        const byte frame[] = {GetProtocolIDBySet(Protocol_ServerControl), serverDisconnect};
        isWritten = CommChannel_Write(frame, sizeof frame);
    } else {
        throw new ApplicationException("DisconnectFromServer command not supported",
                                       ReturnCode_InternalError);
    }
    DisconnectFromEcr();
    return isWritten;
}

void Fiscal_BeginCommand(byte command, const byte* data, uint16_t dataLen) {
    std::vector<byte> request{command};
    request.insert(request.end(), data, data + dataLen);
    ProcessCommResult(SendFrame(request.data(), static_cast<uint16_t>(request.size())));
}

void Fiscal_EndCommand() {
    byte response[commIoBufferSize] = {};
    uint16_t responseLen = 0;
    ReadResponse(response, sizeof response, responseLen);
    while (response[0] == ResponseCode_Wait) {
        responseLen = 1;
        ReadResponse(response, 1, responseLen);
    }
    CheckResponse(response[0], fiscalRefusals);
}

void Fiscal_SendCommand(byte command, const byte* data, uint16_t dataLen) {
    Fiscal_BeginCommand(command, data, dataLen);
    Fiscal_EndCommand();
}

uint16_t Fiscal_ReadStatus(byte* status, uint16_t) {
    return ReadFiscalStatusRecord(fiscalReadStatus, status);
}

uint16_t Fiscal_ReadEftStatus(byte* status, uint16_t) {
    return ReadFiscalStatusRecord(fiscalReadEftStatus, status);
}
