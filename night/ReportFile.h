#pragma once

#include <cstdint>
#include <optional>
#include <string>

/** The bytes of a regular file; nothing where there is none, where it has more bytes, or where a link stands
 * in its place that is not to be followed. FileIoException where it cannot be read. */
std::optional<std::string> ReadRegularFile(const std::string& path, bool areLinksFollowed,
                                           size_t mostBytes = SIZE_MAX);

/** In hexadecimal. */
std::string GetSha256(const std::string& bytes);
