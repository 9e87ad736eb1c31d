// Runs files through a target without a fuzzer: each argument is a file or a folder; without any, the seed
// corpus.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "Fuzz.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(const fs::path& path) {
    if (!fs::is_directory(path)) return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

bool Replay(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    const Bytes content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(content.data(), content.size());
    return true;
}

int ReplayAll(const std::vector<std::string>& arguments) {
    size_t count = 0;
    for (const std::string& argument : arguments)
        for (const fs::path& path : FilesOf(argument)) {
            if (!Replay(path)) {
                std::fprintf(stderr, "%s cannot be read\n", path.c_str());
                return 1;
            }
            count++;
        }
    std::fprintf(stderr, "%zu inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    try {
        std::vector<std::string> arguments(argv + 1, argv + argc);
        if (arguments.empty()) arguments.emplace_back(FUZZ_CORPUS);
        return ReplayAll(arguments);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
