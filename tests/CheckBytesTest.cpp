#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <random>

#include "Support.h"

namespace {

constexpr byte seqNo = 32;

/** The payload behind its number; empty when the frame is refused. */
Bytes Parse(int version, const Bytes& frame) {
    byte number = seqNo;
    Bytes payload = ParseFrame(version, frame, number);
    if (!payload.empty()) payload.insert(payload.begin(), number);
    return payload;
}

}  // namespace

/** What an XOR and a sum see, by kind of damage: TAVO_DAMAGED_FRAMES frames of each, 20,000 without it. */
TEST(CheckBytesTest, SeeEveryFlippedBitAndMostOfTheRest) {
    const char* const wanted = std::getenv("TAVO_DAMAGED_FRAMES");
    const long count = wanted != nullptr ? std::atol(wanted) : 20000;
    std::mt19937 random(1);
    const auto below = [&](size_t limit) {
        return std::uniform_int_distribution<size_t>(0, limit - 1)(random);
    };
    const auto flip = [&](Bytes& frame) { frame[below(frame.size())] ^= static_cast<byte>(1U << below(8)); };
    const struct {
        const char* name;
        std::function<void(Bytes&)> apply;
        long tolerated[3];  // undetected ones in a million, by version
    } damages[] = {
        {"one bit flipped", flip, {0, 0, 0}},
        {"two bits flipped", [&](Bytes& frame) { flip(frame), flip(frame); }, {70000, 70000, 70000}},
        {"two bytes in a row replaced",
         [&](Bytes& frame) {
             const size_t at = below(frame.size() - 1);
             for (const size_t i : {at, at + 1}) frame[i] = static_cast<byte>(below(256));
         },
         {2000, 2000, 2000}},
        {"a byte lost",
         [&](Bytes& frame) { frame.erase(frame.begin() + static_cast<std::ptrdiff_t>(below(frame.size()))); },
         {7000, 7000, 200}},
        {"a byte doubled",
         [&](Bytes& frame) {
             const auto at = frame.begin() + static_cast<std::ptrdiff_t>(below(frame.size()));
             frame.insert(at, *at);
         },
         {7000, 7000, 200}}};
    for (const auto& damage : damages)
        for (int version = 1; version <= 3; version++) {
            long unseen = 0;
            for (long i = 0; i < count; i++) {
                Bytes payload(8 + below(80));
                for (byte& value : payload) value = static_cast<byte>(below(256));
                const Bytes frame = BuildFrame(version, payload, seqNo);
                Bytes damaged = frame;
                damage.apply(damaged);
                const Bytes taken = Parse(version, damaged);
                if (!taken.empty() && taken != Parse(version, frame)) unseen++;
            }
            std::printf("version %d, %s: %.0f of a million frames taken for good\n", version, damage.name,
                        static_cast<double>(unseen) * 1e6 / static_cast<double>(count));
            EXPECT_LE(unseen * 1'000'000, damage.tolerated[version - 1] * count)
                << "version " << version << ", " << damage.name;
        }
}
