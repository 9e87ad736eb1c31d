// Transport-control frames of all versions: the codec alone, and PortWithTC over a line that carries
// anything.

#include "AppConfig.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "Fuzz.h"

namespace {

/** Any bytes are parsed; what is built of them is parsed to the same again. */
void CheckCodec(int version, byte seqNo, const Bytes& bytes) {
    byte parsedSeqNo = seqNo;
    ParseFrame(version, bytes, parsedSeqNo);
    const Bytes frame = BuildFrame(version, bytes, seqNo, 1024);
    parsedSeqNo = seqNo;
    Require(frame.empty() || (ParseFrame(version, frame, parsedSeqNo) == bytes && parsedSeqNo == seqNo),
            "what was built is parsed");
}

/** Reads and writes over a line of bursts; only a frame that came whole is acknowledged. */
void CheckLine(int version, Bytes& input) {
    AppConfig::Clear();
    AppConfig::SetParameter("SerialProtocolVersion", std::to_string(version), false);
    AppConfig::SetParameter("SerialProtocolRetryCount", "3", false);
    MemoryChannel line;
    Bytes received;  // since the last block sent
    line.onEmpty = [&] {
        const Bytes burst = Take(input, TakeByte(input));
        line.input.assign(burst.begin(), burst.end());
        received.insert(received.end(), burst.begin(), burst.end());
    };
    line.onWrite = [&](const Bytes& block) {
        const auto end = received.end() - static_cast<std::ptrdiff_t>(line.input.size());
        const Bytes frame(std::find(received.begin(), end, STX), end);
        byte seqNo = 0;
        bool isFrame = false;
        for (int v = 1; v <= 3; v++) isFrame = isFrame || !ParseFrame(v, frame, seqNo).empty();
        Require(block != Bytes{ACK} || isFrame, "only frames are acknowledged");
        received.erase(received.begin(), end);
    };
    PortWithTC port(Lend(&line));
    port.Open();
    while (!input.empty()) {
        const byte operation = TakeByte(input);
        Bytes data = operation % 2 == 0 ? Bytes(size_t{1} + operation / 2) : Take(input, 1 + operation / 2);
        const auto size = static_cast<unsigned int>(data.size());
        if (operation % 2 == 0)
            port.Read(data.data(), size);
        else if (size > 0)
            port.Write(data.data(), size);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes input(data, data + size);
    const byte choice = TakeByte(input);
    const int version = 1 + choice % 3;
    if (choice / 3 % 4 < 2)
        CheckCodec(version, input.empty() ? byte{0} : input[0], input);
    else
        CheckLine(version, input);
    return 0;
}
