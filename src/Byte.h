#pragma once

/** One byte of a record, a frame or a file. */
using byte = unsigned char;
