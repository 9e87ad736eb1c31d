#pragma once

#include <optional>
#include <string>

/** The bytes of a regular file below the folder, links not followed; nothing where there is none. */
std::optional<std::string> ReadReportFile(const std::string& folder, const std::string& file);

/** In hexadecimal. */
std::string GetSha256(const std::string& bytes);
