#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Byte.h"
#include "EcrComm/CommChannels/ICommChannel.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "Exceptions.h"

/** What libFuzzer and Replay.cpp call for each input; every target defines it. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

using Bytes = std::vector<byte>;

/** Ends the process when a property does not hold; the fuzzer then keeps the input. */
inline void Require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", property);
    std::abort();
}

inline bool SilenceStandardOutput() {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const bool isSilent = dup2(null, STDOUT_FILENO) >= 0;
    close(null);
    return isSilent;
}

/** The code reports to standard output, thousands of times a second here; the fuzzer itself uses the other
 * one. */
inline const bool isStandardOutputSilent = SilenceStandardOutput();

/** What action throws, taken over; null when it throws nothing. Anything but an Exception ends the process.
 */
inline std::unique_ptr<Exception> Catch(const std::function<void()>& action) {
    try {
        action();
    } catch (Exception* e) {
        return std::unique_ptr<Exception>(e);
    }
    return nullptr;
}

/** An input taken apart from its front; behind its end are zeros, or nothing. */
class Input {
public:
    Input(const uint8_t* data, size_t size) : m_bytes(data, data + size) {}

    bool IsEmpty() const { return m_position == m_bytes.size(); }
    byte TakeByte() { return IsEmpty() ? byte{0} : m_bytes[m_position++]; }
    /** In a buffer of just that size, so that the sanitizer sees a read behind its end. */
    Bytes Take(size_t count) {
        const size_t taken = std::min(count, m_bytes.size() - m_position);
        const byte* begin = m_bytes.data() + m_position;
        m_position += taken;
        return {begin, begin + taken};
    }
    Bytes TakeRest() { return Take(m_bytes.size()); }

private:
    Bytes m_bytes;
    size_t m_position = 0;
};

/** A file in memory that goes with the object. */
class ScratchFile {
public:
    explicit ScratchFile(const Bytes& content) : m_path("/dev/shm/tavo-fuzz-" + std::to_string(getpid())) {
        FILE* file = std::fopen(m_path.c_str(), "wb");
        Require(file != nullptr, "a file can be opened in /dev/shm");
        size_t written = 0;
        if (!content.empty()) written = std::fwrite(content.data(), 1, content.size(), file);
        Require(std::fclose(file) == 0 && written == content.size(), "/dev/shm has room");
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() { unlink(m_path.c_str()); }

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

/** A line in memory: bursts of bytes with silence between them, in which every wait ends at once. */
class BurstLine final : public ICommChannel {
public:
    /** Gives the next burst; nothing when the line stays silent. */
    std::function<Bytes()> nextBurst;
    std::function<void(const Bytes& block)> onWrite;

    void Open() override {}
    void Close() override {}
    void SetReadTimeout(unsigned int ms) override { m_timeoutMs = ms; }
    void GetReadTimeout(unsigned int& ms) override { ms = m_timeoutMs; }
    bool Read(byte* data, unsigned int size) override { return Deliver(data, size, -1) == size; }
    bool Write(const byte* data, unsigned int size) override {
        onWrite(Bytes(data, data + size));
        delivered.clear();
        return true;
    }
    bool WriteDirect(const byte* data, unsigned int size) override { return Write(data, size); }
    unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) override {
        return Deliver(data, size, endByte);
    }

    /** Lets the current burst go on with one more byte. */
    void Append(byte value) { m_burst.push_back(value); }
    /** An owner that leaves the object to the target. */
    ChannelOwner Lend() {
        return {this, [](ICommChannel*) {}};
    }

    Bytes delivered;  // since the last write

private:
    unsigned int Deliver(byte* data, unsigned int size, int endByte) {
        if (m_burst.empty()) m_burst = nextBurst();
        auto end = m_burst.begin() + std::min(std::ptrdiff_t{size}, std::ptrdiff_t(m_burst.size()));
        const auto last = std::find(m_burst.begin(), end, endByte);
        if (last != end) end = last + 1;
        const auto count = static_cast<unsigned int>(end - m_burst.begin());
        std::copy(m_burst.begin(), end, data);
        delivered.insert(delivered.end(), m_burst.begin(), end);
        m_burst.erase(m_burst.begin(), end);
        return count;
    }

    Bytes m_burst;
    unsigned int m_timeoutMs = 0;
};
