#pragma once

#include <cstdint>

#include "Byte.h"
#include "EcrComm/CommChannels/CommChannelType.h"
#include "EcrComm/Protocols.h"
#include "Exceptions.h"

/**
 * The session with the ECR; docs/protocol.md, "Session" and "Fiscal requests". Failures of the link are
 * CommunicationExceptions, refusals of the ECR ApplicationExceptions with the status that they stand for.
 */

/** First byte of an answer of the ECR. */
enum ResponseCode : byte {
    ResponseCode_OK = 0,
    ResponseCode_UnknownCommand = 1,
    ResponseCode_Busy = 2,
    ResponseCode_BadFrame = 3,
    ResponseCode_BadData = 4,
    ResponseCode_Wait = 5,
    ResponseCode_CommandFailed = 6,
    ResponseCode_NotActivated = 7,
    ResponseCode_AuthFailed = 8
};

/** Operation of a standard request. */
enum Action : byte {
    Action_Read = 1,
    Action_Write = 2,
    Action_Clear = 3,
    Action_Init = 4,
    Action_Delete = 5
};

/** First byte of an authorisation request. */
enum AuthType : byte { AuthType_Password = 0 };

/** What the ECR made of one record sent. */
enum SendResult { SendResult_OK = 0, SendResult_BadData = 1, SendResult_CanNotUpdate = 2 };

/** Version that a full standard request carries as its third byte. */
inline constexpr byte standardRequestVersion = 2;

/** Fiscal commands that read the ECR's and the payment terminal's status. */
inline constexpr byte fiscalReadStatus = 100;
inline constexpr byte fiscalReadEftStatus = 32;

/** The channel that the settings choose; ConfigurationException where they contradict each other. */
CommChannelType GetChannelTypeBySettings();

/** Opens the link if it is not open and switches to the protocol. */
void ConnectToEcr(ProtocolID protocol);
bool IsEcrConnected();
/** Whether a link may stay open between commands: all but the plain network channel. */
bool DefaultKeepConnection();
/** Closes the link, logs the statistics and pauses; also without a link. */
void DisconnectFromEcr();
/** The same after a failure; after a communication error the ECR is given its time to recover first. */
void DisconnectFromEcr(const Exception* ex);

/** Sends the setting "Password"; does nothing without one. */
void AuthorizeSession();
/** Requests an Action on section or report data, 0 to 255. */
void SendRequest(byte data, byte action);

/** Sends one record, of 1 to 1021 bytes, without waiting for the ECR's verdict; InternalException for one
 * that no frame holds (FitsFrame). */
void BeginSendData(const byte* data, uint16_t dataLen);
/** Takes the verdict on the oldest record without one; badFieldNumber is 1-based, 0 when the ECR names no
 * field. UnknownCommandException when the ECR has given the transfer up. */
SendResult EndSendData(uint16_t& badFieldNumber);
/** Both. */
SendResult SendData(const byte* data, uint16_t dataLen, uint16_t& badFieldNumber);
/** Sends the empty frame behind the last record; the ECR does not answer it. */
void SendEndOfData();
/** Reads one record, of at most 1021 bytes, and returns its length; 0 is the end of the data, or a record
 * that is longer than dataBufLen. */
uint16_t ReadData(byte* dataBuf, uint16_t dataBufLen);

/** True when the ECR has finished clearing or initialising, false while it asks to wait. One answer a call.
 */
bool ReadClearStatus();

/** Tells a server to let go; ApplicationException on a serial channel. Returns whether the notice was
 * written. */
bool Server_DisconnectFromServer();

/** Hands the ECR one fiscal command, which it may execute from the return of this on. */
void Fiscal_BeginCommand(byte command, const byte* data, uint16_t dataLen);
/** Waits until the ECR has executed it, as long as it asks for. */
void Fiscal_EndCommand();
/** Both. */
void Fiscal_SendCommand(byte command, const byte* data, uint16_t dataLen);
/** Read a status record into a buffer of at least 1023 bytes and return its length. */
uint16_t Fiscal_ReadStatus(byte* status, uint16_t statusLen);
uint16_t Fiscal_ReadEftStatus(byte* status, uint16_t statusLen);
