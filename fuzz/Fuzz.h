#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Support.h"

/** What libFuzzer and Replay.cpp call for each input; every target defines it. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/** The code reports to standard output, thousands of times a second here; the fuzzer uses the other one. */
inline const FILE* const silencedOutput = std::freopen("/dev/null", "w", stdout);

/** Ends the process when a property does not hold; the fuzzer then keeps the input. */
inline void Require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", property);
    std::abort();
}

/** The first bytes of an input, as many as there are, in a buffer of just their size. */
inline Bytes Take(Bytes& input, size_t count) {
    const auto end = input.begin() + static_cast<std::ptrdiff_t>(std::min(count, input.size()));
    Bytes taken(input.begin(), end);
    input.erase(input.begin(), end);
    return taken;
}

inline byte TakeByte(Bytes& input) {
    const Bytes taken = Take(input, 1);
    return taken.empty() ? byte{0} : taken[0];
}

/** Path of a file in memory with this content; each call replaces the one before. */
inline std::string Scratch(const Bytes& content) {
    static const TempFolder folder("/dev/shm");
    WriteText(folder / "input", {content.begin(), content.end()});
    return folder / "input";
}
