#include "sim/daemon/daemon_files.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char* STATUS_FILE = "/etc/wardenlink/wardenlink.q1";
constexpr const char* RATING_FILE = "/etc/wardenlink/wardenlink.rtg";
constexpr const char* MODEL_FILE = "/etc/wardenlink/wardenlink.mdl";

// Company 15, model 10 and firmware version 10 characters wide.
constexpr char MODEL_REPLY[] = "#WardenLink Lab  SIM-1000   1.20      \r";
constexpr char RATING_REPLY[] = "#230.0 004 012.0 50.0\r";
static_assert(sizeof(MODEL_REPLY) == 39 + 1 && sizeof(RATING_REPLY) == 22 + 1);

void Replace(const char* path, const std::string& content)
{
    std::string fresh = std::string(path) + ".new";
    int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    bool written =
        write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size());
    close(fd);
    if (!written || rename(fresh.c_str(), path) != 0)
        unlink(fresh.c_str());
}

// Values that a field of the reply cannot hold stop at its edge: the widths are fixed.
double Fit(double value, double most)
{
    return std::clamp(value, 0.0, most);
}

std::string StatusBits(const UpsReadings& readings)
{
    std::string bits = "00000000";
    bits[0] = readings.mains ? '0' : '1';
    bits[1] = readings.batteryLow ? '1' : '0';
    bits[5] = readings.testing ? '1' : '0';
    bits[6] = readings.shutdownActive ? '1' : '0';
    bits[7] = readings.beeping ? '1' : '0';
    return bits;
}

std::string StatusReply(const UpsReadings& readings)
{
    char line[64];
    snprintf(line, sizeof(line), "(%05.1f %05.1f %05.1f %03.0f %04.1f %04.1f %04.1f %s\r",
             Fit(readings.inputVolts, 999.9), Fit(readings.faultVolts, 999.9),
             Fit(readings.outputVolts, 999.9), Fit(readings.loadPercent, 999.0),
             Fit(readings.inputHertz, 99.9), Fit(readings.batteryVolts, 99.9),
             Fit(readings.temperature, 99.9), StatusBits(readings).c_str());
    return line;
}

} // namespace

void WriteReplyFiles(const UpsReadings& readings)
{
    Replace(STATUS_FILE, StatusReply(readings));
    Replace(RATING_FILE, RATING_REPLY);
    Replace(MODEL_FILE, MODEL_REPLY);
}

void RemoveReplyFiles()
{
    unlink(STATUS_FILE);
    unlink(RATING_FILE);
    unlink(MODEL_FILE);
}
