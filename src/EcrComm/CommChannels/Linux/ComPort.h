#pragma once

#include <termios.h>

#include <string>

#include "Defaults.h"
#include "EcrComm/CommChannels/ICommChannel.h"
#include "EcrComm/CommChannels/Linux/LineSettings.h"

/**
 * The serial port named by the setting "TTY". Device errors are SystemExceptions with fixed texts, the
 * device's disappearance among them; a time-out is none, reads return what arrived. Time-outs count in whole
 * 100 ms up to 25500 ms, where they wrap; less than 100 ms does not wait. After the first byte of a read the
 * next one is waited for as long as "ComStallMaxTime" says, where that is not set "LineQuietTime", and
 * without limit where that is 0; so is a write that the other side holds back. While a port is open no other
 * run can open it.
 */
class ComPort final : public ICommChannel {
public:
    static constexpr const char* readError = "Serial port read error";
    static constexpr const char* writeError = "Serial port write error";

    ComPort() = default;
    ComPort(const ComPort&) = delete;
    ComPort& operator=(const ComPort&) = delete;
    ~ComPort();

    /** A port that is freed without being closed: see ChannelOwner. */
    static ChannelOwner Create();

    /** ApplicationException with status 16 when another run or program has the port for longer than the
     * setting "PortWaitTime". */
    void Open() override;
    /** Gives the last bytes a second to leave, discards what is left then, and restores the device's
     * settings. */
    void Close() override;
    void SetReadTimeout(unsigned int ms) override;
    void GetReadTimeout(unsigned int& ms) override;
    bool Read(byte* data, unsigned int size) override;
    /** False when the port took only a part of the block in time. */
    bool Write(const byte* data, unsigned int size) override;
    bool WriteDirect(const byte* data, unsigned int size) override;
    unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) override;
    /** By the time that the kernel notes at the device's file; a device that has just been plugged in counts
     * as used. */
    bool WasUsedWithin(int seconds) const override;

    /** Checks line settings ("baud=9600 data=8 stop=1 parity=e"; keys left out take their defaults) and keeps
     * them until they are applied. Open begins anew with those of the INI file. */
    void ComPort_Setup(const std::string& settings);
    /** Changes the settings of the open port; input that was not read is discarded. */
    void Apply(const std::string& settings);
    /** The open device, for what this class does not do; -1 when it is closed. */
    int GetHandle() const { return handle; }
    /** Throws a SystemException that names the device; errno tells why. */
    [[noreturn]] void Fail(const char* message) const;
    /** minBytes 0: reads wait for timeoutMs; otherwise as they do behind a first byte. */
    void ComPort_SetSerialPortTimeoutSettings(byte minBytes, unsigned int timeoutMs);
    void ComPort_SetInterByteReadTimeout(unsigned int timeoutMs, byte minBytes);

private:
    unsigned int ReadUnknownSize(byte* data, unsigned int size, unsigned int firstByteTimeoutMs,
                                 unsigned int byteTimeoutMs, bool useEndByte, byte endByte);
    /** False when another run or program has the port. */
    bool OpenAndLock();
    /** A USB adapter holds each byte back for 16 ms otherwise; a device that knows no latency is left alone.
     */
    void LowerLatency();
    void RestoreLatency();
    bool HasDrained() const;
    void CheckHangUp() const;
    bool NextByte(byte& value);
    bool WaitForInput() const;

    int handle = -1;
    std::string m_path;  // "/dev/ttyS0"
    bool m_hasInitialSettings = false;
    bool m_hasLowerLatency = false;  // than it was found with
    termios initialSettings{};       // as found at Open, restored by Close
    termios currentSettings{};
    int byteTimeoutMs = 0;
    int m_stallMaxTimeMs = -1;               // for a line that falls silent inside a block, -1: none
    byte m_input[defaultComInBufSize] = {};  // received and not yet asked for
    size_t m_inputBegin = 0;
    size_t m_inputEnd = 0;
};
