// Writes a CSV file of articles to standard output: bench_lines COUNT shuffled|sorted.

#include "Lines.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char* argv[]) {
    if (argc != 3) return EXIT_FAILURE;
    for (const int key : MakeKeys(std::atoi(argv[1]), argv[2] == std::string("shuffled")))
        std::puts(MakeLine(key).c_str());
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
