#pragma once

#include <string>
#include <vector>

#include "FileIo.h"
#include "Finding.h"

/** Warnings about a file that, by its first bytes, is no file of this kind, or not as it is meant: empty, an
 * archive, a document, a picture with colours or too wide. None for a file that cannot be read. */
std::vector<Finding> DiagnoseContent(const std::string& filename, const FileKind& kind);
