// Transport-control frames of all versions: the codec alone, and PortWithTC over a line that may break
// anywhere.

#include <deque>

#include "AppConfig.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "FrameVersions.h"

namespace {

constexpr size_t lineBufferSize = 1024;  // the frames that the product builds and takes
constexpr size_t longestOverhead = 7;    // STX, sequence number, two escaped check bytes, ETX

void CheckParse(int version, const Bytes& frame) {
    byte seqNo = 0;
    const Bytes payload = ParseFrame(version, frame, seqNo);
    if (payload.empty()) return;
    Bytes buffer(payload.size());
    Require(ParseInto(version, frame, seqNo, buffer.data(), buffer.size() - 1) == 0,
            "a payload needs all its room");
    Require(
        ParseInto(version, frame, seqNo, buffer.data(), buffer.size()) == buffer.size() && buffer == payload,
        "a payload is the same in place and in a buffer that it fills");
    const Bytes rebuilt = BuildFrame(version, payload, seqNo, 2 * payload.size() + longestOverhead);
    byte rebuiltSeqNo = 0;
    Require(ParseFrame(version, rebuilt, rebuiltSeqNo) == payload, "a payload that was taken can be sent");
    Require(version == 1 || rebuiltSeqNo == seqNo, "a sequence number that was taken can be sent");
}

void CheckBuild(int version, const Bytes& payload, byte seqNo) {
    const Bytes frame = BuildFrame(version, payload, seqNo, lineBufferSize);
    if (version != 1 && !TcFrameSeqNo::IsValid(seqNo)) {
        Require(frame.empty(), "no frame has an invalid sequence number");
        return;
    }
    if (frame.empty()) {
        Require(2 * payload.size() + longestOverhead > lineBufferSize, "a short payload is never refused");
        return;
    }
    byte parsedSeqNo = seqNo;
    Require(ParseFrame(version, frame, parsedSeqNo) == payload && parsedSeqNo == seqNo,
            "what was built is parsed");
    Require(std::find(frame.begin(), frame.end(), ETX) == frame.end() - 1, "ETX ends a frame only");
    Require(std::count(frame.begin(), frame.end(), STX) == 1, "STX begins a frame only");
    Require(BuildFrame(version, payload, seqNo, frame.size()) == frame, "a frame may fill its buffer");
    Require(BuildFrame(version, payload, seqNo, frame.size() - 1).empty(), "a frame needs all its room");
}

/** A port in the given version that makes few attempts, over the line. */
void Open(PortWithTC& port, int version) {
    AppConfig::Clear();
    AppConfig::SetParameter("SerialProtocolVersion", std::to_string(version), false);
    AppConfig::SetParameter("SerialProtocolRetryCount", "3", false);
    port.Open();
}

/** Puts a frame on the line; options: 1 broken off at first, 2 repeated, 4 noise ahead of it. */
void QueueFrame(std::deque<Bytes>& bursts, int version, Bytes frame, byte options) {
    if ((options & 1) != 0) bursts.emplace_back(frame.begin(), frame.end() - 1);
    if ((options & 4) != 0) frame.insert(frame.begin(), {NAK, 'x', ACK});
    bursts.push_back(frame);
    // frames without a number cannot be told from repeated ones
    if ((options & 2) != 0 && version != 1) bursts.push_back(frame);
}

/** Reads a payload in two parts. */
void CheckRead(PortWithTC& port, const Bytes& payload, size_t firstPart) {
    Bytes received(payload.size());
    const size_t first = std::min(payload.size(), firstPart);
    Require(port.Read(received.data(), static_cast<unsigned int>(first)), "a payload is delivered");
    if (first < payload.size())
        Require(port.Read(received.data() + first, static_cast<unsigned int>(payload.size() - first)),
                "the rest of a payload is delivered");
    Require(received == payload, "a payload is delivered as it was sent");
}

/** Payloads in frames with noise, breaks and repetitions between them arrive whole, in order and once. */
void CheckDelivery(int version, Input& input) {
    BurstLine line;
    std::deque<Bytes> bursts;
    line.nextBurst = [&] {
        if (bursts.empty()) return Bytes();
        Bytes burst = std::move(bursts.front());
        bursts.pop_front();
        return burst;
    };
    line.onWrite = [](const Bytes& block) { Require(block.size() == 1, "a reader sends answers only"); };
    PortWithTC port(line.Lend());
    Open(port, version);
    for (byte seqNo = 32; !input.IsEmpty(); seqNo = TcFrameSeqNo::Next(seqNo)) {
        const byte options = input.TakeByte();
        const size_t size = size_t{1} + input.TakeByte();
        if (input.IsEmpty()) return;
        const Bytes payload = input.Take(size);
        QueueFrame(bursts, version, BuildFrame(version, payload, seqNo, lineBufferSize), options);
        CheckRead(port, payload, size_t{1} + (options >> 3));
    }
}

/** A block written after some bytes were delivered: the payload in a frame, or the answer to a frame. */
void CheckBlock(const Bytes& block, const Bytes& payload, const Bytes& delivered) {
    byte seqNo = 0;
    if (block.size() > 1) {
        Require(ParseFrame(1, block, seqNo) == payload || ParseFrame(2, block, seqNo) == payload ||
                    ParseFrame(3, block, seqNo) == payload,
                "the payload is sent in a frame");
        return;
    }
    Require(block[0] == ACK || block[0] == NAK, "a single byte is an answer");
    const auto start = std::find(delivered.begin(), delivered.end(), STX);
    Require(block[0] == NAK || IsFrame(Bytes(start, delivered.end())), "only frames are acknowledged");
}

/** Reads and writes over a line that holds anything. */
void CheckNoise(int version, Input& input) {
    BurstLine line;
    Bytes payload;
    line.nextBurst = [&] { return input.Take(input.TakeByte()); };
    line.onWrite = [&](const Bytes& block) { CheckBlock(block, payload, line.delivered); };
    PortWithTC port(line.Lend());
    Open(port, version);
    while (!input.IsEmpty()) {
        const byte operation = input.TakeByte();
        const size_t size = size_t{1} + (operation >> 1);
        if ((operation & 1) == 0) {
            Bytes data(size);
            port.Read(data.data(), static_cast<unsigned int>(size));
        } else if (payload = input.Take(size); !payload.empty()) {
            port.Write(payload.data(), static_cast<unsigned int>(payload.size()));
        }
    }
    const int versionNow = AppConfig::GetParameter("SerialProtocolVersion", 0);
    Require(versionNow >= 1 && versionNow <= 3, "the version that works is one of the three");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const byte choice = input.TakeByte();
    const int version = 1 + choice % 3;
    switch (choice / 3 % 4) {
        case 0: CheckParse(version, input.TakeRest()); break;
        case 1: {
            const byte seqNo = input.TakeByte();
            const Bytes payload = input.TakeRest();
            if (!payload.empty()) CheckBuild(version, payload, seqNo);
            break;
        }
        case 2: CheckDelivery(version, input); break;
        default: CheckNoise(version, input);
    }
    return 0;
}
