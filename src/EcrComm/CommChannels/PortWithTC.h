#pragma once

#include <cstdint>

#include "Defaults.h"
#include "EcrComm/CommChannels/CommChannelType.h"
#include "EcrComm/CommChannels/FrameVersion.h"
#include "EcrComm/CommChannels/ICommChannel.h"

/**
 * Transport control over a raw channel: a block written is one frame that must be acknowledged, a block read
 * arrives as one frame that is checked and acknowledged. Frames are retried, repeated ones dropped, noise
 * ahead of a frame is discarded; when the ECR rejects every attempt, the next protocol version is tried and
 * the one that works holds for the rest of the run. docs/protocol.md, "Exchange of frames".
 * proof/exchange.pml is a model of it: what changes here changes there.
 */
class PortWithTC final : public ICommChannel {
public:
    /** Over the serial port or the network channel; InternalException for a type without transport control.
     */
    explicit PortWithTC(CommChannelType type);
    /** Over a raw channel of the caller's. */
    explicit PortWithTC(ChannelOwner rawChannel);

    static ChannelOwner Create(CommChannelType type);

    /** Opens the raw channel, reads the settings and restarts the sequence numbers. Settles first where an
     * earlier session may have left something on the line; CommunicationException when that does not end. */
    void Open() override;
    /** Settles first. */
    void Close() override;
    void SetReadTimeout(unsigned int ms) override;
    void GetReadTimeout(unsigned int& ms) override;
    /** Delivers from the current frame, and reads the next one only when it is used up. */
    bool Read(byte* data, unsigned int size) override;
    /** Any payload received and not yet read is discarded. */
    bool Write(const byte* data, unsigned int size) override;
    bool WriteDirect(const byte* data, unsigned int size) override;
    unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) override;
    /** Once a frame was lost or repeated: waits until the line has been quiet for "LineQuietTime", at most
     * ten times as long. Acknowledges the frames that it drops, of whatever version, or the ECR would repeat
     * them. */
    bool Settle() override;
    /** Holds until Close. */
    void SetRepeatTime(int ms) override { m_repeatTimeMs = ms; }

private:
    enum class Attempt { Delivered, Rejected, Lost };

    static constexpr int maxProtocolVersion = newestFrameVersion;

    bool ReadResponse(byte& response);
    void NoteFault();
    void DropFrame();
    uint16_t RemoveGarbage(uint16_t bytesInBuffer);
    bool ReadFrame(uint16_t bytesInBuffer);
    bool DeliverPayload(byte* data, unsigned int size);
    Attempt SendOnce(const byte* frame, uint16_t frameSize);
    Attempt WriteInVersion(const byte* data, unsigned int size);
    void RestartSequence();

    int m_protocolVersion = maxProtocolVersion;
    int m_retryCount = 0;
    int m_responseTimeoutMs = 0;
    int m_quietTimeMs = 0;
    int m_repeatTimeMs = 0;
    bool m_hasFault = false;  // since the line was quiet
    byte m_nextSndFrameSeqNo = 0;
    byte m_nextRcvFrameSeqNo = 0;
    byte m_rcvFrameBuf[commIoBufferSize] = {};
    uint16_t m_lastRcvFrameBytesTotal = 0;
    uint16_t m_lastRcvFrameBytesRead = 0;
    ChannelOwner m_pCommunicationChannel;
};
