// Runs the seed corpus through a target without a fuzzer.

#include <filesystem>

#include "Fuzz.h"

int main() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(FUZZ_CORPUS)) {
        const std::string content = ReadText(entry.path());
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        const Bytes input(content.begin(), content.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
        count++;
    }
    return count > 0 ? 0 : 1;
}
