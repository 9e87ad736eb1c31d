// FUZZ_TARGET chooses a target for libFuzzer; without it the program runs the seed corpus through all.

#include <cstdio>
#include <set>

#include "Targets.h"

#ifdef FUZZ_TARGET
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    RunTarget(FUZZ_TARGET, Bytes(data, data + size));
    return 0;
}
#else
int main() {
    size_t count = 0;
    std::set<std::string> seeded;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(FUZZ_CORPUS)) {
        if (!entry.is_regular_file()) continue;
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        const std::string content = ReadText(entry.path());
        const std::string target = entry.path().parent_path().filename();
        RunTarget(target, Bytes(content.begin(), content.end()));
        seeded.insert(target);
        count++;
    }
    std::fprintf(stderr, "%zu inputs replayed\n", count);
    return seeded.size() == GetTargetCount() ? 0 : 1;
}
#endif
