#include "EcrComm/CommChannels/PortWithTC.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "AppConfig.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/DataLogger.h"
#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "EcrComm/CommChannels/Linux/TCP.h"
#include "EcrComm/IoStatistics.h"
#include "Exceptions.h"
#include "Format.h"
#include "System/Clock.h"

namespace {

constexpr int longestRepeatTime = 20;  // s, for which an ECR goes on sending what nobody acknowledges

ChannelOwner CreateRawChannel(CommChannelType type) {
    if (type == CommChannel_SerialPortWithTC) return ComPort::Create();
    if (type == CommChannel_EthernetWithTC) return TCP::Create();
    throw new InternalException(__FILE__, __LINE__);
}

}  // namespace

PortWithTC::PortWithTC(CommChannelType type) : PortWithTC(CreateRawChannel(type)) {}

PortWithTC::PortWithTC(ChannelOwner rawChannel) : m_pCommunicationChannel(std::move(rawChannel)) {}

ChannelOwner PortWithTC::Create(CommChannelType type) {
    return {new PortWithTC(type), [](ICommChannel* channel) { delete static_cast<PortWithTC*>(channel); }};
}

void PortWithTC::Open() {
    m_pCommunicationChannel->Open();
    m_protocolVersion = AppConfig::Get(settings::serialProtocolVersion);
    m_retryCount = AppConfig::Get(settings::serialProtocolRetryCount);
    m_responseTimeoutMs = AppConfig::Get(settings::serialProtocolResponseMaxTime);
    m_quietTimeMs = AppConfig::Get(settings::lineQuietTime);
    RestartSequence();
    m_lastRcvFrameBytesTotal = m_lastRcvFrameBytesRead = 0;
    // the answers and acknowledgements of an earlier session would pass for those of this one
    const int patienceTime = AppConfig::Get(settings::ecrPatienceTime) / 1000;
    m_hasFault = m_quietTimeMs > 0 &&
                 m_pCommunicationChannel->WasUsedWithin(std::max(longestRepeatTime, patienceTime + 1));
    const bool isQuiet = Settle();
    IoStatistics::UnnumberedFaults = 0;
    if (!isQuiet) throw new CommunicationException("Garbage received");
}

void PortWithTC::Close() {
    TryQuietly([this] { Settle(); });  // a device that is gone, or a signal, is no reason not to close
    m_quietTimeMs = 0;                 // a closed port is not waited for
    m_repeatTimeMs = 0;
    m_pCommunicationChannel->Close();
}

bool PortWithTC::Settle() {
    if (m_quietTimeMs <= 0 || !m_hasFault) return true;
    unsigned int savedTimeoutMs = 0;
    GetReadTimeout(savedTimeoutMs);
    SetReadTimeout(static_cast<unsigned int>(m_quietTimeMs));
    const Deadline deadline(10LL * m_quietTimeMs);
    bool isQuiet = false;
    while (!isQuiet && !deadline.IsOver()) {
        isQuiet = !m_pCommunicationChannel->Read(m_rcvFrameBuf, 1);
        if (!isQuiet && m_rcvFrameBuf[0] == STX) DropFrame();
    }
    SetReadTimeout(savedTimeoutMs);
    m_lastRcvFrameBytesTotal = m_lastRcvFrameBytesRead = 0;
    m_hasFault = false;
    return isQuiet;
}

void PortWithTC::DropFrame() {
    IoStatistics::RepeatedFrames++;
    const unsigned int received =
        m_pCommunicationChannel->ReadUnknownSize(m_rcvFrameBuf + 1, sizeof m_rcvFrameBuf - 1, ETX);
    const bool isGood =
        std::any_of(std::begin(frameVersions), std::end(frameVersions), [&](const FrameVersion& v) {
            byte seqNo = 0;
            byte payload[commIoBufferSize];
            return v.parse(m_rcvFrameBuf, static_cast<uint16_t>(received + 1), seqNo, payload,
                           sizeof payload) > 0;
        });
    const byte answer = isGood ? ACK : NAK;
    m_pCommunicationChannel->Write(&answer, 1);
}

void PortWithTC::SetReadTimeout(unsigned int ms) { m_pCommunicationChannel->SetReadTimeout(ms); }

void PortWithTC::GetReadTimeout(unsigned int& ms) { m_pCommunicationChannel->GetReadTimeout(ms); }

bool PortWithTC::WriteDirect(const byte* data, unsigned int size) {
    return m_pCommunicationChannel->WriteDirect(data, size);
}

unsigned int PortWithTC::ReadUnknownSize(byte* data, unsigned int size, byte endByte) {
    return m_pCommunicationChannel->ReadUnknownSize(data, size, endByte);
}

void PortWithTC::RestartSequence() {
    m_nextSndFrameSeqNo = 0;
    m_nextRcvFrameSeqNo = TcFrameSeqNo::firstRunning;
}

bool PortWithTC::ReadResponse(byte& response) {
    unsigned int savedTimeoutMs = 0;
    GetReadTimeout(savedTimeoutMs);
    SetReadTimeout(static_cast<unsigned int>(m_responseTimeoutMs));
    const bool result = m_pCommunicationChannel->Read(&response, 1);
    SetReadTimeout(savedTimeoutMs);
    return result;
}

void PortWithTC::NoteFault() {
    m_hasFault = true;
    if (!GetFrameVersion(m_protocolVersion).isNumbered) IoStatistics::UnnumberedFaults++;
}

uint16_t PortWithTC::RemoveGarbage(uint16_t bytesInBuffer) {
    byte* end = m_rcvFrameBuf + bytesInBuffer;
    byte* frame = std::find(m_rcvFrameBuf, end, STX);
    const auto garbage = static_cast<uint16_t>(frame - m_rcvFrameBuf);
    if (garbage == 0) return bytesInBuffer;
    DataLogger::LogBlock(m_rcvFrameBuf, garbage, 0, 0, Direction_EcrToPc, " (ignored by STCP)");
    const auto remaining = static_cast<uint16_t>(bytesInBuffer - garbage);
    std::memmove(m_rcvFrameBuf, frame, remaining);
    return remaining;
}

bool PortWithTC::ReadFrame(uint16_t bytesInBuffer) {
    const unsigned int received = m_pCommunicationChannel->ReadUnknownSize(
        m_rcvFrameBuf + bytesInBuffer, static_cast<unsigned int>(sizeof m_rcvFrameBuf - bytesInBuffer), ETX);
    const auto arrived = static_cast<uint16_t>(bytesInBuffer + received);
    const uint16_t size = RemoveGarbage(arrived);
    if (size == 0 || size < arrived) NoteFault();
    if (size == 0) return false;

    byte seqNo = m_nextRcvFrameSeqNo;  // a frame without a number is never taken for a repeated one
    const uint16_t length = GetFrameVersion(m_protocolVersion)
                                .parse(m_rcvFrameBuf, size, seqNo, m_rcvFrameBuf, sizeof m_rcvFrameBuf);
    const byte answer = length > 0 ? ACK : NAK;
    if (answer == NAK || seqNo != m_nextRcvFrameSeqNo) {
        NoteFault();
        IoStatistics::RepeatedFrames++;
    }
    if (!m_pCommunicationChannel->Write(&answer, 1) || answer == NAK) return false;
    // a frame already taken comes again when its acknowledgement was lost: acknowledged once more and dropped
    if (seqNo != m_nextRcvFrameSeqNo) return false;
    m_lastRcvFrameBytesTotal = length;
    m_nextRcvFrameSeqNo = TcFrameSeqNo::Next(seqNo);
    return true;
}

bool PortWithTC::DeliverPayload(byte* data, unsigned int size) {
    const unsigned int remaining =
        static_cast<unsigned int>(m_lastRcvFrameBytesTotal - m_lastRcvFrameBytesRead);
    const unsigned int count = std::min(remaining, size);
    std::memcpy(data, m_rcvFrameBuf + m_lastRcvFrameBytesRead, count);
    m_lastRcvFrameBytesRead = static_cast<uint16_t>(m_lastRcvFrameBytesRead + count);
    return count == size;
}

bool PortWithTC::Read(byte* data, unsigned int size) {
    if (size == 0 || data == nullptr) throw new InternalException(__FILE__, __LINE__);
    if (m_lastRcvFrameBytesRead != m_lastRcvFrameBytesTotal) return DeliverPayload(data, size);
    m_lastRcvFrameBytesTotal = m_lastRcvFrameBytesRead = 0;
    for (int attempt = 0; attempt < m_retryCount; attempt++)
        if (ReadFrame(0)) return DeliverPayload(data, size);
    return false;
}

PortWithTC::Attempt PortWithTC::SendOnce(const byte* frame, uint16_t frameSize) {
    byte response = 0;
    if (!m_pCommunicationChannel->Write(frame, frameSize) || !ReadResponse(response)) return Attempt::Lost;
    if (response == ACK) return Attempt::Delivered;
    if (response == NAK) return Attempt::Rejected;
    // An answer frame instead of the acknowledgement, which was lost: it proves that the block arrived.
    NoteFault();
    m_rcvFrameBuf[0] = response;
    return ReadFrame(1) ? Attempt::Delivered : Attempt::Lost;
}

PortWithTC::Attempt PortWithTC::WriteInVersion(const byte* data, unsigned int size) {
    byte frame[commIoBufferSize];
    const uint16_t frameSize = size > sizeof frame ? uint16_t{0}
                                                   : GetFrameVersion(m_protocolVersion)
                                                         .build(data, static_cast<uint16_t>(size),
                                                                m_nextSndFrameSeqNo, frame, sizeof frame);
    if (frameSize == 0) throw new InternalException(__FILE__, __LINE__);
    m_nextSndFrameSeqNo = TcFrameSeqNo::Next(m_nextSndFrameSeqNo);

    int rejections = 0;
    // the last repetition must arrive within the time, too: its way takes no longer than an acknowledgement
    // may
    const Deadline lastRepeat(m_repeatTimeMs - m_responseTimeoutMs);
    for (int attempt = 0; attempt < m_retryCount; attempt++) {
        if (attempt > 0 && m_repeatTimeMs > 0 && lastRepeat.IsOver()) return Attempt::Lost;
        const Attempt result = SendOnce(frame, frameSize);
        if (result == Attempt::Delivered) return result;
        NoteFault();
        if (attempt + 1 < m_retryCount) IoStatistics::RepeatedFrames++;
        if (result == Attempt::Rejected) rejections++;
    }
    return rejections >= m_retryCount ? Attempt::Rejected : Attempt::Lost;
}

bool PortWithTC::Write(const byte* data, unsigned int size) {
    if (size == 0 || data == nullptr) throw new InternalException(__FILE__, __LINE__);
    m_lastRcvFrameBytesTotal = m_lastRcvFrameBytesRead = 0;
    for (int tried = 0; tried < maxProtocolVersion; tried++) {
        const int repeatedFrames = IoStatistics::RepeatedFrames;
        const bool hadFault = m_hasFault;
        const Attempt result = WriteInVersion(data, size);
        if (result == Attempt::Delivered && tried > 0)
            AppConfig::SetParameter(settings::serialProtocolVersion.name, Format("%d", m_protocolVersion),
                                    true);
        if (result != Attempt::Rejected) return result == Attempt::Delivered;
        IoStatistics::RepeatedFrames = repeatedFrames;  // the version was wrong, not the line
        m_hasFault = hadFault;
        RestartSequence();
        m_protocolVersion = m_protocolVersion >= maxProtocolVersion ? 1 : m_protocolVersion + 1;
        IoStatistics::UnnumberedFaults = 0;
    }
    return false;
}
