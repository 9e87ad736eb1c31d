#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "Byte.h"
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

/** The pseudo-terminal that the tool opens in place of a serial port. */
class Terminal {
public:
    /** SystemException when there is none to be had. recording may be null. */
    Terminal(int baud, const FaultyLine& faults, Recording* recording);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    /** "pts/3" */
    std::string GetName() const;
    static Time GetTime();

    /** Waits for input, a signal or the deadline; false when the other side has hung up since the last call.
     */
    bool Wait(Time deadline);
    /** Bytes that have arrived by now. */
    std::vector<byte> TakeInput(Time now);
    void Write(const std::vector<byte>& data, Time now);
    /** Hands over what the line has carried by now. */
    void Flush(Time now);
    /** When TakeInput or Flush has something to do. */
    Time GetDeadline() const;

private:
    int m_master;
    bool m_isHungUp = false;
    FaultyLine m_faults;
    PacedBytes m_input;
    PacedBytes m_output;
    Recording* m_recording;
};
