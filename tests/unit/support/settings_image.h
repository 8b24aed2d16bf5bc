// The settings files laid out independently of the product: 232 bytes by offset,
// eleven lines by their labels.
#pragma once

#include "settings/tolv_lib.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

// Little-endian, as the file has it, whatever machine this runs on.
inline void PutNumber(std::string& image, size_t offset, int64_t number, size_t width)
{
    for (size_t at = 0; at < width; at++)
        image[offset + at] = static_cast<char>(number >> (8 * at) & 0xFF);
}

inline void PutText(std::string& image, size_t offset, const std::string& text)
{
    image.replace(offset, 30, text + std::string(30 - text.size(), '\0'));
}

// A file in which every field differs from its default and from its neighbours.
inline std::string SampleImage()
{
    std::string image(232, '\0');
    PutNumber(image, 0, 258, 2);        // minutes until shutdown
    PutNumber(image, 2, 7, 2);          // minutes after battery low
    PutNumber(image, 4, 0x40200000, 4); // 2.5 minutes until turn-off
    PutNumber(image, 8, 0x41480000, 4); // 12.5 volts
    PutText(image, 12, "/dev/ttyS7");
    PutText(image, 42, "192.0.2.77");
    PutText(image, 72, "engine-room");
    PutNumber(image, 102, 1, 2);          // schedule on
    PutNumber(image, 104, 0, 2);          // countdown off
    PutNumber(image, 106, 0x7E7D, 2);     // padding
    PutNumber(image, 108, 0, 4);          // serial port
    PutNumber(image, 112, 0, 4);          // leave the UPS on
    PutNumber(image, 116, 0x01020304, 4); // reserved
    for (int day = 0; day < 7; day++) {
        size_t at = 120 + 16 * static_cast<size_t>(day);
        PutNumber(image, at, day + 1, 4);
        PutNumber(image, at + 4, day + 11, 4);
        PutNumber(image, at + 8, day == 3 ? -1 : day + 14, 4);
        PutNumber(image, at + 12, day + 31, 4);
    }
    return image;
}

// What stands in a record before it is read: nothing of it is in SampleImage.
inline std::string MarkedImage()
{
    std::string image(232, '\x5A');
    for (size_t end : {41, 71, 101})
        image[end] = '\0';
    return image;
}

inline void LoadImage(PowerConfig& cfg, ScheduleEntry sched[7], const std::string& image)
{
    memcpy(&cfg, image.data(), 120);
    memcpy(sched, image.data() + 120, 112);
}

inline std::string ImageOf(const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    return std::string(reinterpret_cast<const char*>(&cfg), 120) +
           std::string(reinterpret_cast<const char*>(sched), 112);
}

// The values of SampleImage as the text file shows them, in its own order.
inline std::vector<std::string> SampleValues()
{
    return {"258", "7", "2.5", "12.5",       "/dev/ttyS7", "0",
            "1",   "0", "0",   "192.0.2.77", "engine-room"};
}

// The first lines of a text file, one for each value.
inline std::string TextOf(const std::vector<std::string>& values)
{
    static const char* const labels[] = {
        "AC Fail Delay         ( 1 ... 1440 min. )  : ",
        "Batt Low Delay        ( 1 ... 10 min.   )  : ",
        "Turn Off UPS Delay    ( 0.2 ... 10 min. )  : ",
        "Battery Rating        ( 12.0 ... 96.0 v )  : ",
        "UPS Comport           ( /dev/xxttyxx    )  : ",
        "Turn Off UPS?         ( 0 - no, 1 - yes )  : ",
        "Schedule Function     ( 0 - off, 1 - on )  : ",
        "Countdown Function    ( 0 - off, 1 - on )  : ",
        "Communication Mode    ( 0-Port, 1-SNMP  )  : ",
        "SNMP IP Address       ( xxx.xxx.xxx.xxx )  : ",
        "SNMP Community Name   ( e.g. public     )  : ",
    };
    std::string text;
    for (size_t line = 0; line < values.size(); line++)
        text += labels[line] + ("[" + values[line]) + "]\n";
    return text;
}
