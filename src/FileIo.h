#pragma once

#include <memory>
#include <string>

#include "Files/RecordFile.h"

/** A kind of data files: all that depends on it. docs/files.md. */
struct FileKind {
    FileType type;
    const char* setting;    // the value of "FileType" that names it
    const char* extension;  // of names that mean it; empty for the kind of all other names
    std::unique_ptr<FileReader> (*createReader)();
    std::unique_ptr<FileWriter> (*createWriter)();
    bool isText;     // its records are converted field by field; otherwise each is one binary field
    bool hasLines;   // its reader is a CsvFileReader
    bool isPicture;  // its records are rows of pixels
};

/** InternalException for a value that is no kind. */
const FileKind& KindOf(FileType fileType);

/**
 * Kind of the file for a transfer of section or report dataType: the setting "FileType", else by the section
 * (195 and 202 are raw), else by the name's extension. ConfigurationException for a setting that names no
 * kind.
 */
FileType DetectFileType(const std::string& filename, int dataType);

/** A new object, not yet opened. */
std::unique_ptr<FileReader> CreateFileReader(FileType fileType);
std::unique_ptr<FileWriter> CreateFileWriter(FileType fileType);
