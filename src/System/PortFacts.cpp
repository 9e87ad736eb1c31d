#include "System/PortFacts.h"

#include <dirent.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "Format.h"
#include "Tools.h"

namespace {

/** The names in a folder, in order, without those that begin with a dot; none when it cannot be read. */
std::vector<std::string> ListFolder(const std::string& path) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    while (const dirent* entry = folder ? readdir(folder.get()) : nullptr)
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    std::sort(names.begin(), names.end());
    return names;
}

std::string ReadFirstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

/** The name of a user or group in a file such as /etc/group, or the number: what a network directory knows is
 * not asked for, as it may take its time. */
std::string NameOf(unsigned id, const char* path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string name;
        std::string password;
        std::string number;
        if (std::getline(fields, name, ':') && std::getline(fields, password, ':') &&
            std::getline(fields, number, ':') && number == std::to_string(id))
            return Printable(name);
    }
    return std::to_string(id);
}

/** Whether there is a UART behind a terminal that is to have one: its "type" is 0 where none was found. */
bool HasHardware(const std::string& sysfsFolder) { return ReadFirstLine(sysfsFolder + "/type") != "0"; }

/** Whether /proc/tty/drivers has the device: "serial /dev/ttyS 4 64-95 serial". */
bool IsTerminal(dev_t device) {
    std::ifstream drivers("/proc/tty/drivers");
    for (std::string line; std::getline(drivers, line);) {
        unsigned majorNumber = 0;
        unsigned first = 0;
        unsigned last = 0;
        const int count = std::sscanf(line.c_str(), "%*s %*s %u %u-%u", &majorNumber, &first, &last);
        if (count >= 2 && majorNumber == major(device) && minor(device) >= first &&
            minor(device) <= (count == 3 ? last : first))
            return true;
    }
    return false;
}

/** Other names of the device, of the links that udev makes. */
std::vector<std::string> NamesOf(dev_t device) {
    std::vector<std::string> names;
    for (const std::string folder : {"serial/by-id/", "serial/by-path/"}) {
        for (const std::string& link : ListFolder("/dev/" + folder)) {
            struct stat status {};
            const std::string name = folder + link;
            if (stat(("/dev/" + name).c_str(), &status) == 0 && status.st_rdev == device)
                names.push_back(name);
        }
    }
    return names;
}

/** Processes that have locked the file; everybody may see these. */
std::vector<long> LockersOf(const struct stat& file) {
    std::vector<long> processes;
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        long process = 0;
        unsigned majorNumber = 0;
        unsigned minorNumber = 0;
        unsigned long long inode = 0;
        if (std::sscanf(line.c_str(), "%*d: FLOCK %*s %*s %ld %x:%x:%llu", &process, &majorNumber,
                        &minorNumber, &inode) != 4)
            continue;
        struct stat locked {};
        locked.st_dev = makedev(majorNumber, minorNumber);
        locked.st_ino = static_cast<ino_t>(inode);
        if (File::IsSame(locked, file)) processes.push_back(process);
    }
    return processes;
}

/** Processes, but this one, that have the device open; only those of this user may be seen. */
std::vector<long> OpenersOf(const struct stat& file) {
    std::vector<long> processes;
    for (const std::string& process : ListFolder("/proc")) {
        if (process.find_first_not_of("0123456789") != std::string::npos) continue;
        const std::string folder = "/proc/" + process + "/fd/";
        for (const std::string& descriptor : ListFolder(folder)) {
            struct stat status {};
            // pseudo-terminals of a container have the numbers of others outside
            if (stat((folder + descriptor).c_str(), &status) != 0 || !File::IsSame(status, file)) continue;
            processes.push_back(std::strtol(process.c_str(), nullptr, 10));
            break;
        }
    }
    return processes;
}

std::vector<PortHolder> HoldersOf(const struct stat& file) {
    std::vector<PortHolder> holders;
    const auto add = [&](const std::vector<long>& processes, bool hasLocked) {
        for (const long process : processes) {
            const bool isKnown = std::any_of(holders.begin(), holders.end(), [&](const PortHolder& holder) {
                return holder.process == process;
            });
            if (isKnown || process == getpid()) continue;
            const std::string name = ReadFirstLine("/proc/" + std::to_string(process) + "/comm");
            holders.push_back({process, Printable(name), hasLocked});
        }
    };
    add(LockersOf(file), true);
    add(OpenersOf(file), false);
    return holders;
}

std::string Describe(const std::vector<PortHolder>& holders) {
    std::string text;
    for (const PortHolder& holder : holders)
        text += (text.empty() ? "held by " : ", ") + (holder.name.empty() ? "a program" : holder.name) +
                Format(", process %ld", holder.process);
    return text;
}

std::string RightsOf(const struct stat& file) {
    return NameOf(file.st_uid, "/etc/passwd") + ":" + NameOf(file.st_gid, "/etc/group") +
           Format(" %03o", file.st_mode & 07777U);
}

/** What lets a user in: the group's rights, if it has them and is no group of the system's own. */
std::string WayToUse(const struct stat& file, mode_t wanted = S_IRGRP | S_IWGRP) {
    if ((file.st_mode & wanted) != wanted || file.st_gid == 0) return "";
    return "sudo usermod -aG " + NameOf(file.st_gid, "/etc/group") + " $USER, then log in again";
}

}  // namespace

PortFacts InspectPort(const std::string& tty) {
    PortFacts port;
    port.path = "/dev/" + tty;
    struct stat file {};
    if (stat(port.path.c_str(), &file) != 0) return port;
    port.exists = true;
    const std::string sysfsFolder = Format("/sys/dev/char/%u:%u", major(file.st_rdev), minor(file.st_rdev));
    port.isTerminal = S_ISCHR(file.st_mode) && IsTerminal(file.st_rdev) && HasHardware(sysfsFolder);
    port.isUsable = access(port.path.c_str(), R_OK | W_OK) == 0;
    port.rights = RightsOf(file);
    if (!port.isUsable) port.wayToUse = WayToUse(file);
    if (!port.isUsable && port.wayToUse.empty())
        port.wayToUse = "no group may read and write it: a udev rule gives it to one";
    if (!S_ISCHR(file.st_mode)) return port;
    port.names = NamesOf(file.st_rdev);
    port.holders = HoldersOf(file);
    return port;
}

std::string DescribeRights(const std::string& path, mode_t wanted) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) return "not there";
    const std::string way = WayToUse(file, wanted);
    return RightsOf(file) + (way.empty() ? "" : "; " + way);
}

std::string DescribeHolders(const PortFacts& port) { return Describe(port.holders); }

std::string DescribeHolders(const std::string& path) {
    struct stat file {};
    return stat(path.c_str(), &file) == 0 ? Describe(HoldersOf(file)) : "";
}

bool IsSerialPort(const std::string& sysfsFolder) {
    return File::Exists(sysfsFolder + "/device") && HasHardware(sysfsFolder);
}

std::vector<std::string> ListSerialPorts() {
    std::vector<std::string> ports;
    const std::string folder = "/sys/class/tty/";
    for (const std::string& name : ListFolder(folder))
        if (IsSerialPort(folder + name)) ports.push_back(name);
    return ports;
}
