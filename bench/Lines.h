#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Format.h"

/** The numbers 1..count ascending; or shuffled, with each hundredth of them a repetition of another one. */
inline std::vector<int> MakeKeys(int count, bool isShuffled) {
    std::mt19937 random(1);  // the same keys in every run
    std::vector<int> keys(static_cast<size_t>(count));
    for (int i = 0; i < count; i++) keys[static_cast<size_t>(i)] = isShuffled && i % 100 == 99 ? i : i + 1;
    for (size_t i = keys.size(); isShuffled && i > 1; i--) std::swap(keys[i - 1], keys[random() % i]);
    return keys;
}

/** An article of about 75 characters: number, name, price, unit, barcode, flags. */
inline std::string MakeLine(int key) {
    const uint32_t spread = static_cast<uint32_t>(key) * 2654435761U;
    return Format("%d,\"Article %08u, in a box of %02u\",%u.%02u,%u,47400%08u,0x%08x", key,
                  spread % 100000000, spread % 97, spread % 900 + 1, spread % 89 + 11, spread % 8 + 1,
                  spread % 99999989, spread);
}
