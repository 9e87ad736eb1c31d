// tavo-tables TEMPLATE OUTPUT: fills a template's placeholders in; a part of the build, not installed.

#include <fstream>
#include <iostream>
#include <sstream>

#include "Tables.h"

int main(int argc, char* argv[]) {
    if (argc != 3) return 2;
    std::ifstream input(argv[1]);
    std::ostringstream text;
    text << input.rdbuf();
    std::ofstream output(argv[2]);
    output << FillTemplate(text.str()) << std::flush;
    if (input && output) return 0;
    std::cerr << "Unable to make " << argv[2] << " from " << argv[1] << "\n";
    return 1;
}
