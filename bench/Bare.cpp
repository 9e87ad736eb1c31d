// The exchange of a Send without anything around it:
//   bench_bare frames FILE          writes the frames of a Send of this CSV file to standard output
//   bench_bare send TTY FRAMES      sends them, each as soon as the one before is answered; prints the bytes
//   moved

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "DataConverter.h"
#include "Defaults.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/TcFrame.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/FrameFormatter.h"

namespace {

byte seqNo = 0;

void PutFrame(const byte* data, uint16_t length) {
    byte message[commIoBufferSize];
    byte frame[commIoBufferSize];
    const uint16_t messageLength = FrameFormatter(GetProtocolIDInSet(Protocol_Standard, 1))
                                       .BuildFrame(message, sizeof message, data, length);
    std::fwrite(frame, 1, TcFrame::Build(message, messageLength, seqNo, frame, sizeof frame), stdout);
    seqNo = TcFrameSeqNo::Next(seqNo);
}

int PutFrames(const char* path) {
    const byte request[] = {3, Action_Write, standardRequestVersion};
    PutFrame(request, sizeof request);
    std::ifstream file(path);
    byte record[commIoBufferSize];
    for (std::string line; std::getline(file, line);)
        PutFrame(record, DataConverter::PcToEcr(reinterpret_cast<const byte*>(line.data()),
                                                static_cast<uint16_t>(line.size()), record, sizeof record));
    PutFrame(nullptr, 0);
    return EXIT_SUCCESS;
}

int Fail(const char* what) {
    std::perror(what);
    return EXIT_FAILURE;
}

int SendFrames(const std::string& tty, const char* path) {
    std::ifstream file(path);
    const std::string frames{std::istreambuf_iterator<char>(file), {}};
    const int port = open(("/dev/" + tty).c_str(), O_RDWR | O_NOCTTY);
    termios settings{};
    if (port < 0 || tcgetattr(port, &settings) != 0) return Fail("open");
    cfmakeraw(&settings);
    if (tcsetattr(port, TCSANOW, &settings) != 0) return Fail("tcsetattr");

    size_t received = 0;
    size_t acknowledgements = 0;
    for (size_t begin = 0; begin < frames.size();) {
        // no other byte of a frame is ETX
        const size_t length = frames.find(ETX, begin) + 1 - begin;
        if (write(port, frames.data() + begin, length) != static_cast<ssize_t>(length)) return Fail("write");
        begin += length;
        const byte last = begin == frames.size() ? ACK : ETX;  // to the last frame there is no answer
        byte answer[64];
        ssize_t count = 0;
        do {
            count = read(port, answer, sizeof answer);
            if (count <= 0) return Fail("read");
            received += static_cast<size_t>(count);
        } while (answer[count - 1] != last);
        if (last == ACK) break;
        if (write(port, &ACK, 1) != 1) return Fail("write");
        acknowledgements++;
    }
    std::printf("%zu\n", frames.size() + acknowledgements + received);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc == 3 && std::strcmp(argv[1], "frames") == 0) return PutFrames(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "send") == 0) return SendFrames(argv[2], argv[3]);
    return EXIT_FAILURE;
}
