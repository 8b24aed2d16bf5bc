// What a UPS told in one round, and the replies of the serial protocol that it is read from.
#pragma once

#include <cstddef>

// How the UPS is reached.
enum UpsPath {
    PATH_NONE, // there is no UPS to ask
    PATH_SERIAL,
    PATH_AGENT
};

// Numbers are NAN and texts empty where the UPS does not tell.
struct Reading {
    bool mainsFailed;
    bool batteryLow;
    bool isFailed;   // the UPS reports a fault of its own; serial only
    bool isTesting;  // a self-test runs; serial only
    bool isBoosting; // boost or buck; serial only
    bool isStandby;  // of the off-line type; serial only
    double inputVoltage;
    double faultVoltage; // input voltage of the last failure
    double outputVoltage;
    double outputSecond;   // 0 = no output, whatever voltage is told; agent only
    double load;           // percent
    double inputFrequency; // hertz
    double batteryVoltage;
    double batteryCharge; // percent; agent only
    double temperature;   // degrees Celsius
    double onBattery;     // seconds; agent only
};

// What a UPS says of itself.
struct UpsNames {
    double ratedVoltage;
    double ratedCurrent; // amperes
    double ratedBattery; // volts
    double ratedFrequency;
    char model[80];
};

// Bytes of the longest reply, its CR included, and room for what is none.
inline constexpr size_t STATUS_REPLY_BYTES = 47; // "(MMM.M NNN.N PPP.P QQQ RR.R SS.S TT.T 00000000"
inline constexpr size_t RATING_REPLY_BYTES = 22; // "#MMM.M QQQ SS.SS RR.R"
inline constexpr size_t MODEL_REPLY_BYTES = 39;  // "#" and 37 characters at the most
inline constexpr size_t REPLY_ROOM = 128;

// A reading and names with nothing told.
void ClearReading(Reading& reading);
void ClearNames(UpsNames& names);

// Read a reply, given without its CR. False when it is of another shape; nothing is
// changed then. Of a status and a rating the marker, the length, the blanks between the fields
// and the bits are taken strictly; a field that is no number is one that the UPS does not tell.
bool ParseStatusReply(const char* reply, Reading& reading);
bool ParseRatingReply(const char* reply, UpsNames& names);
bool ParseModelReply(const char* reply, UpsNames& names);
