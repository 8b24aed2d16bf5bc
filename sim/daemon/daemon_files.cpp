#include "sim/daemon/daemon_files.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

static constexpr const char* kStatusFile = "/etc/wardenlink/wardenlink.q1";
static constexpr const char* kRatingFile = "/etc/wardenlink/wardenlink.rtg";
static constexpr const char* kModelFile = "/etc/wardenlink/wardenlink.mdl";

// Company 15, model 10 and firmware version 10 characters wide.
static constexpr char kModelReply[] = "#WardenLink Lab  SIM-1000   1.20      \r";
static constexpr char kRatingReply[] = "#230.0 004 012.0 50.0\r";
static_assert(sizeof kModelReply == 39 + 1 && sizeof kRatingReply == 22 + 1);

static void Replace(const char* path, const std::string& content)
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
static double Fit(double value, double most)
{
    return std::clamp(value, 0.0, most);
}

static std::string StatusBits(const UpsReadings& readings)
{
    std::string bits = "00000000";
    bits[0] = readings.mains ? '0' : '1';
    bits[1] = readings.batteryLow ? '1' : '0';
    bits[5] = readings.testing ? '1' : '0';
    bits[6] = readings.shutdownActive ? '1' : '0';
    bits[7] = readings.beeping ? '1' : '0';
    return bits;
}

static std::string StatusReply(const UpsReadings& readings)
{
    char line[64];
    snprintf(line, sizeof line, "(%05.1f %05.1f %05.1f %03.0f %04.1f %04.1f %04.1f %s\r",
             Fit(readings.inputVolts, 999.9), Fit(readings.faultVolts, 999.9),
             Fit(readings.outputVolts, 999.9), Fit(readings.loadPercent, 999.0),
             Fit(readings.inputHertz, 99.9), Fit(readings.batteryVolts, 99.9),
             Fit(readings.temperature, 99.9), StatusBits(readings).c_str());
    return line;
}

void WriteReplyFiles(const UpsReadings& readings)
{
    Replace(kStatusFile, StatusReply(readings));
    Replace(kRatingFile, kRatingReply);
    Replace(kModelFile, kModelReply);
}

void RemoveReplyFiles()
{
    unlink(kStatusFile);
    unlink(kRatingFile);
    unlink(kModelFile);
}
