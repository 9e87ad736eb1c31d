#include "Support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "EcrComm/CommChannels/Compatibility/TcFrame_v1.h"
#include "EcrComm/CommChannels/Compatibility/TcFrame_v2.h"
#include "EcrComm/CommChannels/TcFrame.h"
#include "Format.h"

Bytes FromHex(const std::string& text) {
    Bytes bytes;
    std::istringstream stream(text);
    for (std::string pair; stream >> pair;) bytes.push_back(static_cast<byte>(std::stoi(pair, nullptr, 16)));
    return bytes;
}

std::string ToHex(const Bytes& data) {
    std::string text;
    for (const byte b : data) text += Format(text.empty() ? "%02X" : " %02X", b);
    return text;
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
}

TempFolder::TempFolder(const std::string& parent) : m_path(parent + "/tavo-test-XXXXXX") {
    mkdtemp(m_path.data());
}

TempFolder::~TempFolder() { std::filesystem::remove_all(m_path); }

std::unique_ptr<Exception> Catch(const std::function<void()>& action) {
    try {
        action();
    } catch (Exception* e) {
        return std::unique_ptr<Exception>(e);
    }
    return nullptr;
}

std::string FailureOf(const std::function<void()>& action) {
    const std::unique_ptr<Exception> e = Catch(action);
    return e ? std::to_string(e->GetReturnCode()) + " " + e->GetLogMessage() : "";
}

Bytes BuildFrame(int version, const Bytes& payload, byte seqNo, size_t room) {
    Bytes frame(room);
    const auto size = static_cast<uint16_t>(payload.size());
    const auto most = static_cast<uint16_t>(room);
    frame.resize(version == 1   ? TcFrame_v1::Build(payload.data(), size, frame.data(), most)
                 : version == 2 ? TcFrame_v2::Build(payload.data(), size, seqNo, frame.data(), most)
                                : TcFrame::Build(payload.data(), size, seqNo, frame.data(), most));
    return frame;
}

Bytes ParseFrame(int version, Bytes frame, byte& seqNo) {
    const auto size = static_cast<uint16_t>(frame.size());
    byte* data = frame.data();
    frame.resize(version == 1   ? TcFrame_v1::Parse(data, size, data, size)
                 : version == 2 ? TcFrame_v2::Parse(data, size, seqNo, data, size)
                                : TcFrame::Parse(data, size, seqNo, data, size));
    return frame;
}

ChannelOwner TestChannel::Lend() {
    return {this, [](ICommChannel*) {}};
}

unsigned int TestChannel::Deliver(byte* data, unsigned int size, int endByte) {
    unsigned int count = 0;
    while (count < size && HasInput(count == 0)) {
        data[count++] = input.front();
        input.pop_front();
        if (data[count - 1] == endByte) break;
    }
    return count;
}

bool MemoryChannel::HasInput(bool isFirst) {
    if (isFirst && input.empty() && onEmpty) onEmpty();
    return !input.empty();
}

bool MemoryChannel::Write(const byte* data, unsigned int size) {
    const Bytes block(data, data + size);
    written += (written.empty() ? "" : " / ") + ToHex(block);
    if (onWrite) onWrite(block);
    return true;
}

void MemoryChannel::Reply(const std::string& hex) {
    const Bytes bytes = FromHex(hex);
    input.insert(input.end(), bytes.begin(), bytes.end());
}

std::string MemoryChannel::TakeWritten() { return std::exchange(written, ""); }
