#include "PortList.h"

#include <libudev.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "Exceptions.h"
#include "Format.h"
#include "System/PortFacts.h"

namespace {

struct Port {
    std::string name;  // "ttyUSB0"
    std::string driver;
    std::vector<std::string> usb;    // maker, product, serial number, as far as it has them
    std::vector<std::string> links;  // below /dev
};

struct UdevCloser {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_enumerate* list) const { udev_enumerate_unref(list); }
    void operator()(udev_device* device) const { udev_device_unref(device); }
};

std::string TextOf(const char* text) { return text != nullptr ? text : ""; }

/** The driver of the hardware; between it and the port newer kernels have devices of their own. */
std::string DriverOf(udev_device* device) {
    for (udev_device* parent = udev_device_get_parent(device); parent != nullptr;
         parent = udev_device_get_parent(parent)) {
        std::string driver = TextOf(udev_device_get_driver(parent));
        if (!driver.empty() && driver != "port" && driver != "ctrl") return driver;
    }
    return "";
}

Port ReadPort(udev_device* device) {
    const std::string folder = "/dev/";
    Port port;
    port.name = TextOf(udev_device_get_sysname(device));
    port.driver = DriverOf(device);
    udev_device* const adapter = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    const auto add = [&](const char* label, const char* attribute) {
        const std::string text =
            adapter == nullptr ? "" : TextOf(udev_device_get_sysattr_value(adapter, attribute));
        if (!text.empty()) port.usb.push_back(label + text);
    };
    add("", "manufacturer");
    add("", "product");
    add("serial number ", "serial");
    std::istringstream links(TextOf(udev_device_get_property_value(device, "DEVLINKS")));
    for (std::string path; links >> path;)
        if (path.compare(0, folder.size(), folder) == 0) port.links.push_back(path.substr(folder.size()));
    std::sort(port.links.begin(), port.links.end());  // by-id before by-path
    return port;
}

std::vector<Port> ReadPorts() {
    const std::unique_ptr<udev, UdevCloser> context(udev_new());
    const std::unique_ptr<udev_enumerate, UdevCloser> list(context ? udev_enumerate_new(context.get())
                                                                   : nullptr);
    if (!list || udev_enumerate_add_match_subsystem(list.get(), "tty") < 0 ||
        udev_enumerate_scan_devices(list.get()) < 0)
        throw new SystemException("Unable to list the serial ports");
    std::vector<Port> ports;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(list.get())) {
        const char* const path = udev_list_entry_get_name(entry);
        if (!IsSerialPort(path)) continue;
        const std::unique_ptr<udev_device, UdevCloser> device(
            udev_device_new_from_syspath(context.get(), path));
        if (device) ports.push_back(ReadPort(device.get()));  // else it was pulled out just now
    }
    return ports;
}

/** The name that stays the same: of two adapters without serial numbers udev gives one by-id name to both,
 * and they are told from each other by where they are plugged in. */
std::string SteadyName(const Port& port, const std::vector<Port>& ports) {
    for (const std::string& link : port.links) {
        const auto hasIt = [&](const Port& other) {
            return std::find(other.links.begin(), other.links.end(), link) != other.links.end();
        };
        if (link.compare(0, 7, "serial/") == 0 && std::count_if(ports.begin(), ports.end(), hasIt) == 1)
            return link;
    }
    return port.name;
}

std::string Describe(const Port& port, const std::vector<Port>& ports) {
    const PortFacts facts = InspectPort(port.name);
    const std::string holders = DescribeHolders(facts);
    std::string text = SteadyName(port, ports) + "  " + port.name;
    if (!port.driver.empty()) text += ", " + port.driver;
    for (const std::string& part : port.usb) text += ", " + part;
    text += ", " + (facts.exists ? facts.rights : "no device");
    if (facts.exists && !facts.isUsable) text += ", not for this user";
    if (!holders.empty()) text += ", " + holders;
    return Printable(text);
}

}  // namespace

std::vector<std::string> DescribePorts() {
    const std::vector<Port> ports = ReadPorts();
    std::vector<std::string> lines;
    lines.reserve(ports.size());
    for (const Port& port : ports) lines.push_back(Describe(port, ports));
    std::sort(lines.begin(), lines.end());
    return lines;
}
