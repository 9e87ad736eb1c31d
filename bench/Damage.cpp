// What an XOR and a sum see: damages COUNT frames of each version in each way and prints, as a table, how
// many of a million were taken for good with other content.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <vector>

#include "EcrComm/CommChannels/FrameVersion.h"

namespace {

using Bytes = std::vector<byte>;

constexpr byte sentNumber = 32;

Bytes Build(const FrameVersion& version, const Bytes& payload) {
    Bytes frame(2048);
    frame.resize(
        version.build(payload.data(), static_cast<uint16_t>(payload.size()), sentNumber, frame.data(), 2048));
    return frame;
}

/** The payload behind its number; empty when the frame is refused. */
Bytes Parse(const FrameVersion& version, const Bytes& frame) {
    byte number = sentNumber;
    const auto size = static_cast<uint16_t>(frame.size());
    Bytes payload(frame.size());
    payload.resize(version.parse(frame.data(), size, number, payload.data(), size));
    if (!payload.empty()) payload.insert(payload.begin(), number);
    return payload;
}

std::mt19937 random(1);

size_t Below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(random); }

void Flip(Bytes& frame) { frame[Below(frame.size())] ^= static_cast<byte>(1U << Below(8)); }

const struct {
    const char* name;
    std::function<void(Bytes&)> apply;
} damages[] = {
    {"one bit flipped", Flip},
    {"two bits flipped, anywhere", [](Bytes& frame) { Flip(frame), Flip(frame); }},
    {"two bytes in a row replaced",
     [](Bytes& frame) {
         const size_t at = Below(frame.size() - 1);
         for (const size_t i : {at, at + 1}) frame[i] = static_cast<byte>(Below(256));
     }},
    {"a byte lost",
     [](Bytes& frame) { frame.erase(frame.begin() + static_cast<std::ptrdiff_t>(Below(frame.size()))); }},
    {"a byte doubled", [](Bytes& frame) {
         const auto at = frame.begin() + static_cast<std::ptrdiff_t>(Below(frame.size()));
         frame.insert(at, *at);
     }}};

/** Of a million. */
double CountUnseen(const FrameVersion& version, const std::function<void(Bytes&)>& damage, long count) {
    long unseen = 0;
    for (long i = 0; i < count; i++) {
        Bytes payload(8 + Below(80));
        for (byte& value : payload) value = static_cast<byte>(Below(256));
        const Bytes frame = Build(version, payload);
        Bytes damaged = frame;
        damage(damaged);
        const Bytes taken = Parse(version, damaged);
        if (!taken.empty() && taken != Parse(version, frame)) unseen++;
    }
    return static_cast<double>(unseen) * 1e6 / static_cast<double>(count);
}

}  // namespace

int main(int argc, char* argv[]) {
    const long count = argc > 1 ? std::atol(argv[1]) : 1'000'000;
    for (const auto& damage : damages) {
        std::printf("| %s |", damage.name);
        for (const FrameVersion& version : frameVersions)
            std::printf(" %.0f |", CountUnseen(version, damage.apply, count));
        std::puts("");
    }
}
