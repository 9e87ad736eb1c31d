#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

/** A process that has a device open. */
struct PortHolder {
    long process;
    std::string name;  // empty when it cannot be seen
    bool hasLocked;    // so that no run of tavo can open the port
};

/** What can be seen of a device below /dev without opening it, which would move its modem lines. */
struct PortFacts {
    std::string path;     // "/dev/ttyUSB0"
    bool exists = false;  // everything below is empty otherwise
    bool isTerminal = false;
    bool isUsable = false;            // this process may read and write it
    std::string rights;               // "root:dialout 660"
    std::string wayToUse;             // what would let this user use it; empty where he may
    std::vector<std::string> names;   // other names below /dev, "serial/by-id/..." first
    std::vector<PortHolder> holders;  // as far as they can be seen; those that have locked it first
};

/** Of the device of this name below /dev. */
PortFacts InspectPort(const std::string& tty);

/** Of a file or folder: "root:dialout 3775; sudo usermod -aG dialout $USER, then log in again", what would
 * let another user in, if anything: a group that has the rights that are wanted. */
std::string DescribeRights(const std::string& path, mode_t wanted = S_IRGRP | S_IWGRP);

/** "held by tavo, process 4711"; empty for a port that nobody is seen to hold. */
std::string DescribeHolders(const PortFacts& port);
/** The same of any file. */
std::string DescribeHolders(const std::string& path);

/** Whether a terminal of this folder below /sys is a serial port: not a console, and with hardware behind it.
 */
bool IsSerialPort(const std::string& sysfsFolder);

/** The names below /dev of the serial ports of this machine. */
std::vector<std::string> ListSerialPorts();
