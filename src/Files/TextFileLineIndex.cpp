#include "Files/TextFileLineIndex.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <optional>
#include <utility>

#include "Exceptions.h"
#include "Formatting/TextDataParser.h"
#include "Logging.h"
#include "System/Interrupt.h"

namespace {

constexpr size_t buildBlockSize = 65536;
constexpr size_t windowSize = 4096;

/** Fills block from the file's offset on, to less than its size only at the end of the file. */
void ReadBlock(const SourceFile& file, off_t offset, std::vector<char>& block, size_t size) {
    const size_t kept = block.size();
    block.resize(size);
    block.resize(kept + file.Read(offset, block.data() + kept, size - kept));
}

}  // namespace

int TextFileLineIndex::Build(const std::string& filename, LineCallback onEmptyLine, LineCallback onBadLine,
                             ProgressCallback onProgress) {
    Clear();
    ioFile.Open(filename);
    m_delimiter = ConfiguredDelimiter();
    if (onProgress != nullptr) onProgress(true);
    LogMsg(LogType_Debug, "Preparing input file data", true);

    std::vector<char> block;
    size_t begin = 0;  // of the next line in the block
    off_t blockOffset = 0;
    bool isLastBlock = false;
    for (int64_t lineNumber = 1;; lineNumber++) {
        size_t length = LineLength(block.data() + begin, block.size() - begin);
        const bool isWhole = length == maxLineLength || (length > 0 && block[begin + length - 1] == '\n');
        if (!isWhole && !isLastBlock) {
            CheckInterrupt();
            block.erase(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(begin));
            blockOffset += static_cast<off_t>(begin);
            begin = 0;
            ReadBlock(ioFile, blockOffset + static_cast<off_t>(block.size()), block, buildBlockSize);
            isLastBlock = block.size() < buildBlockSize;
            if (blockOffset + static_cast<off_t>(block.size()) > INT_MAX) ioFile.ThrowTooLarge();
            length = LineLength(block.data(), block.size());
        }
        if (length == 0) break;
        AddLine(block.data() + begin, length, static_cast<int32_t>(blockOffset + static_cast<off_t>(begin)),
                static_cast<int32_t>(lineNumber), onEmptyLine, onBadLine);
        begin += length;
    }

    LogMsg(LogType_Debug, "Preparing input file data finished", true);
    if (onProgress != nullptr) onProgress(false);
    return GetCount();
}

void TextFileLineIndex::AddLine(const char* line, size_t length, int32_t offset, int lineNumber,
                                LineCallback onEmptyLine, LineCallback onBadLine) {
    const size_t trimmedLength = TrimmedLength(line, length);
    if (trimmedLength == 0) {
        if (onEmptyLine != nullptr) onEmptyLine(lineNumber);
        return;
    }
    const std::optional<int64_t> key = KeyOfLine(line, trimmedLength, m_delimiter);
    if (key)
        fileLineIndex.push_back({*key, offset, lineNumber});
    else if (onBadLine != nullptr)
        onBadLine(lineNumber);
}

int TextFileLineIndex::GetCount() const { return static_cast<int>(fileLineIndex.size()); }

const TextFileLineIndex::FileLine& TextFileLineIndex::At(int position) const {
    if (position < 0 || position >= GetCount()) throw new InternalException(__FILE__, __LINE__);
    return fileLineIndex[static_cast<size_t>(position)];
}

TextFileLineIndex::FileLine& TextFileLineIndex::EntryAt(int position) {
    return const_cast<FileLine&>(At(position));
}

bool TextFileLineIndex::IsSorted() const {
    return std::is_sorted(fileLineIndex.begin(), fileLineIndex.end(),
                          [](const FileLine& a, const FileLine& b) { return a.lineKey < b.lineKey; });
}

// NOLINTNEXTLINE(misc-no-recursion): its depth is bounded, see below
void TextFileLineIndex::SortRange(int first, int last) {
    while (first < last) {
        CheckInterrupt();
        const int64_t pivot = At((first + last) / 2).lineKey;
        int i = first;
        int j = last;
        while (i <= j) {
            while (At(i).lineKey < pivot) i++;
            while (At(j).lineKey > pivot) j--;
            if (i <= j) std::swap(EntryAt(i++), EntryAt(j--));
        }
        // Which part is sorted first changes nothing in the result, also not the order of equal keys.
        // Recursing into the smaller one bounds the depth by the logarithm of the count.
        if (j - first < last - i) {
            SortRange(first, j);
            first = i;
        } else {
            SortRange(i, last);
            last = j;
        }
    }
}

void TextFileLineIndex::RemoveDuplicates(LineCallback onDuplicate) {
    if (fileLineIndex.empty()) return;
    auto kept = fileLineIndex.begin();
    for (auto next = kept + 1; next != fileLineIndex.end(); ++next) {
        if (next->lineKey != kept->lineKey) {
            *++kept = *next;
            continue;
        }
        // The line reported is the second of the pair, which is not always the one dropped; reports name it
        // so.
        onDuplicate(next->lineNumber);
        if (next->lineNumber >= kept->lineNumber) *kept = *next;
    }
    fileLineIndex.erase(kept + 1, fileLineIndex.end());
}

int TextFileLineIndex::ReadLine(int position, char* buffer, int bufferSize) {
    const int32_t offset = At(position).lineOffset;
    const auto maxLength = static_cast<size_t>(bufferSize) - 1;
    size_t begin = static_cast<size_t>(offset) - static_cast<size_t>(m_windowOffset);
    size_t length = offset < m_windowOffset || begin >= m_window.size()
                        ? 0
                        : LineLength(m_window.data() + begin, m_window.size() - begin, maxLength);
    if (length < maxLength && (length == 0 || m_window[begin + length - 1] != '\n')) {
        m_window.clear();
        ReadBlock(ioFile, offset, m_window, windowSize);
        m_windowOffset = offset;
        begin = 0;
        length = LineLength(m_window.data(), m_window.size(), maxLength);
    }
    length = TrimmedLength(m_window.data() + begin, length);
    std::memcpy(buffer, m_window.data() + begin, length);
    return static_cast<int>(length);
}

void TextFileLineIndex::Clear() {
    fileLineIndex.clear();
    m_window.clear();
    ioFile.Close();
}
