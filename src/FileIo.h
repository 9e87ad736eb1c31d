#pragma once

#include <memory>
#include <string>

#include "RecordFile.h"

/**
 * Kind of the file for a transfer of section or report dataType: the setting "FileType", else by the section
 * (195 and 202 are raw), else by the name's extension (BMP, BIN; anything else is CSV).
 * ConfigurationException for a setting that names no kind.
 */
FileType DetectFileType(const std::string& filename, int dataType);

/** A new object, not yet opened. */
std::unique_ptr<FileReader> CreateFileReader(FileType fileType);
std::unique_ptr<FileWriter> CreateFileWriter(FileType fileType);
