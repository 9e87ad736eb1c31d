// Modbus RTU over a pseudo-terminal, for comparison:
//   bench_modbus server              prints TTY=pts/N and serves until it is killed
//   bench_modbus client pts/N COUNT  writes 38 registers (76 bytes) COUNT times and waits for each answer

#include <fcntl.h>
#include <modbus/modbus.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int registerCount = 38;
constexpr int baud = 115200;
constexpr int server = 1;
constexpr uint32_t patience = 10;  // s

modbus_t* NewContext(const std::string& device) {
    modbus_t* context = modbus_new_rtu(device.c_str(), baud, 'N', 8, 1);
    modbus_set_slave(context, server);
    modbus_set_response_timeout(context, patience, 0);  // half a second can pass on a machine that is busy
    modbus_set_byte_timeout(context, patience, 0);
    return context;
}

int Serve() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) return EXIT_FAILURE;
    const int other = open(ptsname(master), O_RDWR | O_NOCTTY);  // kept open, so that no hang-up is seen
    termios settings{};
    tcgetattr(other, &settings);
    cfmakeraw(&settings);
    tcsetattr(other, TCSANOW, &settings);
    std::printf("TTY=%s\n", ptsname(master) + std::strlen("/dev/"));
    std::fflush(stdout);
    modbus_t* context = NewContext("/dev/null");
    modbus_set_socket(context, master);
    modbus_mapping_t* registers = modbus_mapping_new(0, 0, registerCount, 0);
    for (uint8_t request[MODBUS_RTU_MAX_ADU_LENGTH];;) {
        const int length = modbus_receive(context, request);
        if (length > 0) modbus_reply(context, request, length, registers);
    }
}

int WriteRegisters(const std::string& tty, int count) {
    modbus_t* context = NewContext("/dev/" + tty);
    if (modbus_connect(context) != 0) return EXIT_FAILURE;
    uint16_t values[registerCount];
    std::memset(values, 'A', sizeof values);
    for (int i = 0; i < count; i++)
        if (modbus_write_registers(context, 0, registerCount, values) != registerCount) {
            std::fprintf(stderr, "bench_modbus: %s\n", modbus_strerror(errno));
            return EXIT_FAILURE;
        }
    modbus_close(context);
    modbus_free(context);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc == 2 && std::strcmp(argv[1], "server") == 0) return Serve();
    if (argc == 4 && std::strcmp(argv[1], "client") == 0) return WriteRegisters(argv[2], atoi(argv[3]));
    return EXIT_FAILURE;
}
