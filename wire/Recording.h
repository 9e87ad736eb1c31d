#pragma once

#include <deque>
#include <string>
#include <vector>

#include "Files/TargetFile.h"
#include "PasswordMask.h"
#include "Peer.h"

/**
 * A session's traffic as text, one block of bytes a line:
 *
 *     0.012345 < 02 00 0b 10 a3 00 10 a3 01 10 a2 08 1a 03
 *         <- frame v3 #0: request: read section 3
 *     0.012391 > 06
 *     0.020114 hung up
 *
 * The time in seconds since the start, "<" for what the tool sent and ">" for what reached it, as faults left
 * it; indented lines are for the reader, who sees there what the register made of it. "**" stands for the
 * rest of a frame with a password.
 */
class Recording {
public:
    /** The file is for this user alone, as a bad line may show a password. FileIoException when it cannot be
     * created, belongs to another user or, later, cannot be written. */
    Recording(const std::string& path, bool arePasswordsShown);

    void AddReceived(const std::vector<byte>& bytes, Time now) { AddBytes('<', bytes, m_receivedMask, now); }
    void AddSent(const std::vector<byte>& bytes, Time now) { AddBytes('>', bytes, m_sentMask, now); }
    void AddHangUp(Time now);
    void AddMeaning(const std::string& text);

private:
    void AddBytes(char direction, const std::vector<byte>& bytes, PasswordMask& mask, Time now);
    void EndLine();
    void Write(const std::string& text);
    std::string Stamp(Time now);

    TargetFile m_file;
    PasswordMask m_receivedMask;
    PasswordMask m_sentMask;  // a line with an echo has them there, too
    Time m_start = never;
    Time m_lastByteTime = 0;
    char m_direction = '\0';  // of the line begun, none without one
};

/** Answers as a recording says, at the same pace, as long as the tool sends what it sent then. Where the
 * recording hides a password, any one will do. */
class Replay : public Peer {
public:
    /** FileIoException with the line for a file that is no recording. */
    explicit Replay(const std::string& path);

    /** ApplicationException with the line of the recording from which on the tool does something else. */
    void Receive(byte value, Time now) override;
    void Tick(Time now) override;
    Time GetDeadline() const override;
    std::vector<byte> TakeOutput() override;
    void HangUp() override;
    bool IsDone() const override { return m_isDone; }

private:
    enum class Kind { Received, Sent, HangUp };
    struct Entry {
        int line;
        Time time;
        Kind kind;
        std::vector<int> bytes;  // or hiddenBytes
    };
    static constexpr int hiddenBytes = -1;  // any number of any bytes but STX and ETX

    bool ParseLine(const std::string& text, Entry& entry) const;
    bool IsNext(Kind kind) const { return m_next < m_entries.size() && m_entries[m_next].kind == kind; }
    void Advance(Time now);
    /** False where an answer is to be given first. STX and ETX end what is hidden, and are themselves the
     * next byte. */
    bool Take(byte value, Time now);
    void TakeEarly(Time now);
    [[noreturn]] void ThrowDeparture(const std::string& what) const;

    std::string m_path;
    std::vector<Entry> m_entries;
    size_t m_next = 0;
    size_t m_taken = 0;        // bytes of the next entry that have come
    Time m_due = 0;            // when the next entry takes place
    std::deque<byte> m_early;  // came while an answer is still to be given
    std::vector<byte> m_output;
    bool m_isDone = false;
};
