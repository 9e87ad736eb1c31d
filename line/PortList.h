#pragma once

#include <string>
#include <vector>

/**
 * The serial ports of this machine, one line each: the name to write behind "TTY =", then the kernel's name,
 * driver, maker, product and serial number of a USB adapter, rights and holder. No port is opened.
 */
std::vector<std::string> DescribePorts();
