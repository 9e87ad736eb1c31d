#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Byte.h"
#include "EcrComm/CommChannels/ICommChannel.h"
#include "Exceptions.h"

using Bytes = std::vector<byte>;

/** "02 20 41" as bytes, and back. */
Bytes FromHex(const std::string& text);
std::string ToHex(const Bytes& data);

std::string ReadText(const std::string& path);
void WriteText(const std::string& path, const std::string& text);

/** A new folder that goes with the object. */
class TempFolder {
public:
    explicit TempFolder(const std::string& parent = "/tmp");
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder();
    /** Path of a file in the folder. */
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

/** What action throws, taken over; null when it throws nothing. */
std::unique_ptr<Exception> Catch(const std::function<void()>& action);
/** Exit status and log message of what action throws, as "13 Unable to open file 'a'"; "" for nothing. */
std::string FailureOf(const std::function<void()>& action);

/** The frame of a version around the payload; empty when it is refused. Version 1 has no sequence number. */
Bytes BuildFrame(int version, const Bytes& payload, byte seqNo, size_t room = 2048);
/** The payload, taken in a buffer of just the frame's size; empty when the frame is refused. */
Bytes ParseFrame(int version, Bytes frame, byte& seqNo);

/** A raw channel without a device. */
class TestChannel : public ICommChannel {
public:
    void Open() override {}
    void Close() override {}
    void SetReadTimeout(unsigned int ms) override { timeoutMs = ms; }
    void GetReadTimeout(unsigned int& ms) override { ms = timeoutMs; }
    bool Read(byte* data, unsigned int size) override { return Deliver(data, size, -1) == size; }
    bool WriteDirect(const byte* data, unsigned int size) override { return Write(data, size); }
    unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) override {
        return Deliver(data, size, endByte);
    }
    /** An owner that leaves the object to the test. */
    ChannelOwner Lend();

    unsigned int timeoutMs = 0;
    std::deque<byte> input;  // to be read

protected:
    ~TestChannel() = default;
    /** Whether there is input, if need be after a wait for the first or a later byte of a block. */
    virtual bool HasInput(bool isFirst) = 0;

private:
    unsigned int Deliver(byte* data, unsigned int size, int endByte);
};

/** Keeps what is written; what is to be read was put there or comes from the two callbacks. */
class MemoryChannel final : public TestChannel {
public:
    bool Write(const byte* data, unsigned int size) override;
    void Reply(const std::string& hex);
    /** The blocks written, in hexadecimal, one after another with " / " between them; forgets them. */
    std::string TakeWritten();

    std::string written;
    std::function<void(const Bytes& block)> onWrite;
    std::function<void()> onEmpty;  // before a read that finds no input

private:
    bool HasInput(bool isFirst) override;
};
