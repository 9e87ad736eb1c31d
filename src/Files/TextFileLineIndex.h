#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Files/SourceFile.h"

/**
 * Where the records of a text file stand: 16 bytes a line, while the lines themselves stay on disk.
 * A line is what fgets reads into 1024 bytes: one of more than 1023 characters counts as two or more.
 */
class TextFileLineIndex {
public:
    struct FileLine {
        int64_t lineKey;     // number in the first field, 0 without one
        int32_t lineOffset;  // of the first character, in bytes from the start of the file
        int32_t lineNumber;  // from 1
    };
    using LineCallback = void (*)(int lineNumber);
    using ProgressCallback = void (*)(bool begins);

    /**
     * Reads the whole file and indexes its lines in file order; empty and malformed ones go to the callbacks,
     * which may be null, as may the one that is told when the opened file begins to be read and when it is
     * done. Returns the number of entries. FileIoException when the file cannot be opened or
     * read.
     */
    int Build(const std::string& filename, LineCallback onEmptyLine, LineCallback onBadLine,
              ProgressCallback onProgress = nullptr);

    int GetCount() const;
    /** InternalException for a position outside the index. */
    const FileLine& At(int position) const;

    bool IsSorted() const;
    /** Sorts the entries first..last (inclusive) by key. Not stable; the order of equal keys is part of the
     * contract. */
    void SortRange(int first, int last);
    /** Of neighbours with one key keeps the line that stands last in the file; calls back for each pair
     * compared. */
    void RemoveDuplicates(LineCallback onDuplicate);

    /** Copies the entry's line, at most bufferSize - 1 characters, trimmed at its end; returns the length. */
    int ReadLine(int position, char* buffer, int bufferSize);

    const SourceFile& GetSource() const { return ioFile; }

    void Clear();

private:
    FileLine& EntryAt(int position);
    void AddLine(const char* line, size_t length, int32_t offset, int lineNumber, LineCallback onEmptyLine,
                 LineCallback onBadLine);

    std::vector<FileLine> fileLineIndex;
    SourceFile ioFile;
    char m_delimiter = '\0';
    std::vector<char> m_window;  // part of the file that was read last
    int32_t m_windowOffset = 0;
};
