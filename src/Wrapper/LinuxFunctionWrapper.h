#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

/** Bounded C functions under the names that the code calls; none writes past the size that it is given. */

/** Copies min(size - 1, length of src) characters and a NUL; returns dest, or null when size is 0. */
char* strcpy_s(char* dest, size_t size, const char* src);

/** strncpy of min(count, size) characters: padded with NULs, not terminated when src is longer; returns 0. */
int strncpy_s(char* dest, size_t size, const char* src, size_t count);

/** Formats at most size - 1 characters and a NUL; returns the length of the whole text, as vsnprintf does. */
int vsprintf_s(char* dest, size_t size, const char* format, va_list args);

/** Stores the stream of fopen, null on failure (errno tells why); always returns 0. */
int fopen_s(FILE** file, const char* path, const char* mode);
