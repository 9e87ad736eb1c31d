// The index of a CSV file, and the reader above it, held against the file's lines taken one by one.

#include <map>

#include "AppConfig.h"
#include "CsvFile.h"
#include "Defaults.h"
#include "FileErrors.h"
#include "Fuzz.h"
#include "TextFileLineIndex.h"

namespace {

constexpr size_t indexBlockSize = 65536;  // the index reads the file in blocks of this size
constexpr size_t longestLine = fileIoBufferSize - 1;

using Lines = std::vector<std::string>;

/** The lines, at most 1023 characters each, without blanks and line ends behind them. */
Lines LinesOf(const Bytes& content) {
    Lines lines;
    for (size_t start = 0; start < content.size();) {
        const auto first = content.begin() + static_cast<std::ptrdiff_t>(start);
        const auto most = first + static_cast<std::ptrdiff_t>(std::min(longestLine, content.size() - start));
        const auto newline = std::find(first, most, '\n');
        const std::string line(first, newline == most ? most : newline + 1);
        start += line.size();
        lines.push_back(line.substr(0, line.find_last_not_of(" \t\r\n") + 1));
    }
    return lines;
}

std::string LineOf(TextFileLineIndex& index, int position) {
    char buffer[fileIoBufferSize];
    const int length = index.ReadLine(position, buffer, sizeof buffer);
    Require(length > 0 && length < fileIoBufferSize, "an indexed line is not empty");
    return {buffer, static_cast<size_t>(length)};
}

/** Reads every line, backwards when asked: the index keeps a window of the file. */
void CheckLines(TextFileLineIndex& index, const Lines& lines, bool isBackwards) {
    for (int i = 0; i < index.GetCount(); i++) {
        const int position = isBackwards ? index.GetCount() - 1 - i : i;
        const int lineNumber = index.At(position).lineNumber;
        Require(lineNumber >= 1 && static_cast<size_t>(lineNumber) <= lines.size(),
                "a line number is within the file");
        Require(LineOf(index, position) == lines[static_cast<size_t>(lineNumber) - 1],
                "an entry is the line that it names");
    }
}

/** Sorting leaves each key once, in ascending order, with the last line of the file that has it. */
void CheckSorting(TextFileLineIndex& index) {
    std::map<int64_t, int> lastLines;
    for (int i = 0; i < index.GetCount(); i++) lastLines[index.At(i).lineKey] = index.At(i).lineNumber;
    index.SortRange(0, index.GetCount() - 1);
    Require(index.IsSorted(), "a sorted index is sorted");
    index.RemoveDuplicates([](int) {});
    Require(static_cast<size_t>(index.GetCount()) == lastLines.size(), "each key is kept, and kept once");
    int position = 0;
    for (const auto& [key, lineNumber] : lastLines) {
        const TextFileLineIndex::FileLine& entry = index.At(position++);
        Require(entry.lineKey == key, "the keys are in ascending order");
        Require(entry.lineNumber == lineNumber, "the last line with a key is kept");
    }
}

bool HasLineWithoutKey(const TextFileLineIndex& index) {
    for (int i = 1; i < index.GetCount(); i++)
        if (index.At(i).lineKey == 0) return true;
    return false;
}

/** The reader gives the lines of the index, and nothing past them. */
void CheckReader(const std::string& path, TextFileLineIndex& index) {
    FileErrors::Reset();
    CsvFileReaderImpl reader;
    reader.Open(path);
    char buffer[fileIoBufferSize];
    for (int i = 0; i < index.GetCount(); i++) {
        const int length = reader.Read(i, buffer, sizeof buffer);
        Require(reader.GetLineNumber(i) == index.At(i).lineNumber, "the reader names the line");
        Require(std::string(buffer, static_cast<size_t>(length)) == LineOf(index, i),
                "the reader gives the line");
    }
    Require(reader.Read(index.GetCount(), buffer, sizeof buffer) == 0, "there is nothing past the end");
    Require(reader.GetLineNumber(index.GetCount()) == -1, "there is no line past the end");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const byte options = input.TakeByte();
    const bool isSorting = (options & 1) == 0;
    AppConfig::Clear();
    AppConfig::SetParameter("SortInputFileLines", isSorting ? "1" : "0", false);
    if ((options & 2) != 0) AppConfig::SetParameter("Delimiter", ";", false);
    Bytes content = input.TakeRest();
    // blanks ahead, which are empty lines, move the first block's end into the input
    if ((options & 4) != 0) {
        content.insert(content.begin(), '\n');
        content.insert(content.begin(), indexBlockSize - content.size() / 2, ' ');
    }

    const ScratchFile file(content);
    TextFileLineIndex index;
    index.Build(file.Path(), nullptr, nullptr);
    const Lines lines = LinesOf(content);
    CheckLines(index, lines, false);
    if (isSorting && index.GetCount() >= 2 && !HasLineWithoutKey(index)) CheckSorting(index);
    CheckLines(index, lines, true);
    CheckReader(file.Path(), index);
    return 0;
}
