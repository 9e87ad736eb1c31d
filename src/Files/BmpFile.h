#pragma once

#include <string>
#include <vector>

#include "Byte.h"
#include "Files/RecordFile.h"
#include "Files/SourceFile.h"

/** Reverses the bits of a byte: a file's leftmost pixel is the highest bit, a record's the lowest. */
byte SwapByte(byte b);

/**
 * A 1-bit, uncompressed, bottom-up bitmap as pixel rows, top row first; docs/bitmaps.md.
 * A row has (width + 7) / 8 bytes, leftmost pixel in the lowest bit, 1 is dark.
 */
class BmpFileReader : public FileReader {
public:
    FileType GetType() override;
    /** Reads the whole picture. FileIoException for another format or a file shorter than its headers say. */
    void Open(const std::string& filename) override;
    /** Rows wider than bufferSize pixels are cut to that width. */
    int Read(int recordNumber, char* buffer, int bufferSize) override;
    int GetCount() const override;
    void Close() override;
    void CheckUnchanged() const override;

private:
    int RowSize() const;
    void ConvertRows(const std::vector<byte>& fileRows, int stride, bool isInverted);

    SourceFile ioFile;
    std::vector<byte> bitmapBytes;  // bitmapHeight rows of RowSize() bytes, in record form
    int bitmapHeight = 0;
    int bitmapWidth = 0;  // pixels
};

/** Collects rows of one length and writes them as a bitmap when it is closed; without any row the file stays
 * empty. */
class BmpFileWriter : public FileWriter {
public:
    BmpFileWriter() = default;
    BmpFileWriter(const BmpFileWriter&) = delete;
    BmpFileWriter& operator=(const BmpFileWriter&) = delete;
    /** Completes the file as Close does; a write that fails here is not told. */
    ~BmpFileWriter() override;

    FileType GetType() override;
    void Open(const std::string& filename) override;
    /** SystemException "Unconsequent line length" for a row of another length than the first one's. */
    void Write(const char* data, int length) override;
    void Close() override;

private:
    std::vector<byte> BuildFile() const;

    std::vector<std::vector<byte>> bitmapBody;
};
