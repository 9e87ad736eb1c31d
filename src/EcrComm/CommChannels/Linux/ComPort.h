#pragma once

#include <termios.h>

#include <string>

#include "Defaults.h"
#include "EcrComm/CommChannels/ICommChannel.h"

/**
 * The serial port named by the setting "TTY". Device errors are SystemExceptions with fixed texts; a time-out
 * is none, reads return what arrived. Time-outs count in whole 100 ms up to 25500 ms, where they wrap; less
 * than 100 ms does not wait. After the first byte of a read the wait for the next one has no limit.
 */
class ComPort final : public ICommChannel {
public:
    ComPort() = default;
    ComPort(const ComPort&) = delete;
    ComPort& operator=(const ComPort&) = delete;
    ~ComPort();

    /** A port that is freed without being closed: see ChannelOwner. */
    static ChannelOwner Create();

    void Open() override;
    void Close() override;
    void SetReadTimeout(unsigned int ms) override;
    void GetReadTimeout(unsigned int& ms) override;
    bool Read(byte* data, unsigned int size) override;
    /** One write call; a block that the device takes only in part is not continued. */
    bool Write(const byte* data, unsigned int size) override;
    bool WriteDirect(const byte* data, unsigned int size) override;
    unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) override;

    /** Line settings ("baud=9600 data=8 stop=1 parity=e") for the next Open; keys left out take their
     * defaults. */
    void ComPort_Setup(const std::string& settings);
    /** minBytes 0: reads wait for timeoutMs; otherwise they wait without limit. */
    void ComPort_SetSerialPortTimeoutSettings(byte minBytes, unsigned int timeoutMs);
    void ComPort_SetInterByteReadTimeout(unsigned int timeoutMs, byte minBytes);

private:
    unsigned int ReadUnknownSize(byte* data, unsigned int size, unsigned int firstByteTimeoutMs,
                                 unsigned int byteTimeoutMs, bool useEndByte, byte endByte);
    bool NextByte(byte& value);
    bool WaitForInput() const;

    int handle = -1;
    termios initialSettings{};  // as found at Open, restored by Close
    termios currentSettings{};
    int byteTimeoutMs = 0;
    byte m_input[defaultComInBufSize] = {};  // received and not yet asked for
    size_t m_inputBegin = 0;
    size_t m_inputEnd = 0;
};
