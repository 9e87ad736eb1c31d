#pragma once

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Byte.h"
#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "Faults.h"
#include "Peer.h"
#include "Recording.h"

/** Bytes on a line of limited speed: each comes out when the line has carried it. */
class PacedBytes {
public:
    /** baud 0 has no limit. */
    explicit PacedBytes(int baud);
    void Push(const std::vector<CarriedByte>& bytes, Time now);
    /** Takes what has been carried by now. */
    std::vector<byte> TakeDue(Time now);
    Time GetDeadline() const;
    void Clear();

private:
    double m_byteTime;
    double m_freeAt = 0;  // when the line is done with the last byte
    std::deque<std::pair<double, byte>> m_bytes;
};

/** Where the tool's line ends: a pseudo-terminal that the tool opens in place of a serial port, or a real
 * port. */
class Terminal {
public:
    struct Settings {
        std::string tty;          // of a real port below /dev/; empty: a pseudo-terminal
        std::string comSettings;  // as the tool's; without them a pseudo-terminal takes any
        int baud = 0;             // pace of the bytes, 0: none
        FaultRates faultRates{};
        unsigned seed = 1;
    };

    /** SystemException when there is no pseudo-terminal to be had; for a real port as ComPort::Open. */
    explicit Terminal(const Settings& settings);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    /** "pts/3", or the name of the real port */
    std::string GetName() const;
    static Time GetTime();

    /** Keeps the traffic from now on; the recording may be null, and has to outlive this. */
    void SetRecording(Recording* recording) { m_recording = recording; }

    /** Waits for input, if that is taken, for some of another descriptor (none: -1), a signal or the
     * deadline; false when the other side has hung up since the last call. SystemException when a real port
     * is gone. */
    bool Wait(Time deadline, int otherHandle, bool isInputTaken);
    /** Bytes that have arrived by now. */
    std::vector<byte> TakeInput(Time now);
    void Write(const std::vector<byte>& data, Time now);
    /** Hands over what the line has carried by now. */
    void Flush(Time now);
    /** When TakeInput or Flush has something to do. */
    Time GetDeadline() const;
    /** True while the other side does not take what is there for it. */
    bool IsFull() const;

private:
    bool IsReal() const { return m_port.GetHandle() != -1; }
    void OpenPseudoTerminal();
    bool IsSetUpOtherwise() const;
    bool ReadInput();

    const std::string m_tty;  // of a real port
    ComPort m_port;           // open for a real port only
    int m_handle = -1;
    std::optional<termios> m_wanted;  // settings that a pseudo-terminal must have
    bool m_isHungUp = false;
    FaultyLine m_faults;
    PacedBytes m_input;
    PacedBytes m_output;
    std::vector<byte> m_untaken;  // carried, and not taken by the other side yet
    Recording* m_recording = nullptr;
};
