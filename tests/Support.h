#pragma once

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "EcrComm/CommChannels/FrameVersion.h"
#include "EcrComm/CommChannels/ICommChannel.h"
#include "Exceptions.h"
#include "Files/BmpFile.h"
#include "Format.h"

using Bytes = std::vector<byte>;

/** "02 20 41" as bytes, and back. */
inline Bytes FromHex(const std::string& text) {
    Bytes bytes;
    std::istringstream stream(text);
    for (std::string pair; stream >> pair;) bytes.push_back(static_cast<byte>(std::stoi(pair, nullptr, 16)));
    return bytes;
}
inline std::string ToHex(const Bytes& data) {
    std::string text;
    for (const byte b : data) text += Format(text.empty() ? "%02X" : " %02X", b);
    return text;
}

inline std::string ReadText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
inline void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/** A CSV file of so many records. */
inline std::string ManyRecords(int count, const char* lineEnd) {
    std::string text;
    for (int i = 1; i <= count; i++) text += std::to_string(i) + ",\"Article\"" + lineEnd;
    return text;
}

/** A new folder that goes with the object. */
class TempFolder {
public:
    explicit TempFolder(const std::string& parent = "/tmp") : m_path(parent + "/tavo-test-XXXXXX") {
        if (mkdtemp(m_path.data()) == nullptr) std::abort();
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() { std::filesystem::remove_all(m_path); }
    /** Path of a file in the folder. */
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/** What action throws, taken over; null when it throws nothing. */
inline std::unique_ptr<Exception> Catch(const std::function<void()>& action) {
    try {
        action();
    } catch (Exception* e) {
        return std::unique_ptr<Exception>(e);
    }
    return nullptr;
}
/** Exit status and log message of what action throws, as "13 Unable to open file 'a'"; "" for nothing. */
inline std::string FailureOf(const std::function<void()>& action) {
    const std::unique_ptr<Exception> e = Catch(action);
    return e ? std::to_string(e->GetReturnCode()) + " " + e->GetLogMessage() : "";
}

/** The frame of a version around the payload; empty when it is refused. Version 1 has no sequence number. */
inline Bytes BuildFrame(int version, const Bytes& payload, byte seqNo, size_t room = 2048) {
    Bytes frame(room);
    frame.resize(GetFrameVersion(version).build(payload.data(), static_cast<uint16_t>(payload.size()), seqNo,
                                                frame.data(), static_cast<uint16_t>(room)));
    return frame;
}
/** The payload, taken in a buffer of just the frame's size; empty when the frame is refused. */
inline Bytes ParseFrame(int version, Bytes frame, byte& seqNo) {
    const auto size = static_cast<uint16_t>(frame.size());
    frame.resize(GetFrameVersion(version).parse(frame.data(), size, seqNo, frame.data(), size));
    return frame;
}

/** What a conversion of records makes of bytes, which lie in a buffer of just their size. */
inline Bytes Convert(uint16_t (*function)(const byte*, uint16_t, byte*, uint16_t), const Bytes& from) {
    Bytes to(1024);
    to.resize(function(from.data(), static_cast<uint16_t>(from.size()), to.data(), 1024));
    return to;
}

/** Reads all rows of a bitmap; tells why it is refused, as FailureOf. */
inline std::string ReadRows(const std::string& path, std::vector<Bytes>& rows) {
    BmpFileReader reader;
    char row[1024];
    return FailureOf([&] {
        reader.Open(path);
        while (const int length = reader.Read(static_cast<int>(rows.size()), row, sizeof row))
            rows.emplace_back(row, row + length);
    });
}

/** Leaves the channel to the test. */
inline ChannelOwner Lend(ICommChannel* channel) {
    return {channel, [](ICommChannel*) {}};
}

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

    unsigned int timeoutMs = 0;
    std::deque<byte> input;  // to be read

protected:
    ~TestChannel() = default;
    /** Whether there is input, if need be after a wait for the first or a later byte of a block. */
    virtual bool HasInput(bool) { return !input.empty(); }

private:
    unsigned int Deliver(byte* data, unsigned int size, int endByte) {
        unsigned int count = 0;
        while (count < size && HasInput(count == 0)) {
            data[count++] = input.front();
            input.pop_front();
            if (data[count - 1] == endByte) break;
        }
        return count;
    }
};

/** Keeps what is written; what is to be read was put there or comes from the callback. */
class MemoryChannel final : public TestChannel {
public:
    bool Write(const byte* data, unsigned int size) override {
        const Bytes block(data, data + size);
        m_written += (m_written.empty() ? "" : " / ") + ToHex(block);
        if (onWrite) onWrite(block);
        return true;
    }
    void Reply(const std::string& hex) {
        for (const byte b : FromHex(hex)) input.push_back(b);
    }
    /** The blocks written, in hexadecimal, one after another with " / " between them; forgets them. */
    std::string TakeWritten() { return std::exchange(m_written, ""); }

    std::function<void(const Bytes& block)> onWrite;

private:
    std::string m_written;
};
