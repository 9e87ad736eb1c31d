#include "Support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

Bytes FromHex(const std::string& text) {
    Bytes bytes;
    std::istringstream stream(text);
    for (std::string pair; stream >> pair;) bytes.push_back(static_cast<byte>(std::stoi(pair, nullptr, 16)));
    return bytes;
}

std::string ToHex(const byte* data, size_t size) {
    std::string text;
    char pair[4];
    for (size_t i = 0; i < size; i++) {
        std::snprintf(pair, sizeof pair, i == 0 ? "%02X" : " %02X", data[i]);
        text += pair;
    }
    return text;
}

std::string ToHex(const Bytes& data) { return ToHex(data.data(), data.size()); }

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

std::string MessageOf(const std::function<void()>& action) {
    const std::unique_ptr<Exception> e = Catch(action);
    return e ? e->GetLogMessage() : "";
}

std::string DisplayOf(const std::function<void()>& action) {
    const std::unique_ptr<Exception> e = Catch(action);
    return e ? e->GetDisplayMessage() : "";
}

int StatusOf(const std::function<void()>& action) {
    const std::unique_ptr<Exception> e = Catch(action);
    return e ? e->GetReturnCode() : 0;
}

std::string OutputOf(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

bool MemoryChannel::Read(byte* data, unsigned int size) {
    const size_t count = std::min<size_t>(size, input.size());
    std::copy_n(input.begin(), count, data);
    input.erase(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(count));
    return count == size;
}

bool MemoryChannel::Write(const byte* data, unsigned int size) {
    written.emplace_back(data, data + size);
    if (onWrite) onWrite(Bytes(data, data + size));
    return true;
}

unsigned int MemoryChannel::ReadUnknownSize(byte* data, unsigned int size, byte endByte) {
    unsigned int count = 0;
    while (count < size && !input.empty()) {
        data[count++] = input.front();
        input.pop_front();
        if (data[count - 1] == endByte) break;
    }
    return count;
}

void MemoryChannel::Reply(const std::string& hex) {
    const Bytes bytes = FromHex(hex);
    input.insert(input.end(), bytes.begin(), bytes.end());
}

std::string MemoryChannel::TakeWritten() {
    std::string text;
    for (const Bytes& block : written) text += (text.empty() ? "" : " / ") + ToHex(block);
    written.clear();
    return text;
}

ChannelOwner MemoryChannel::Lend() {
    return {this, [](ICommChannel*) {}};
}
