#include "daemon/reading.h"

#include "base/text.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

constexpr size_t STATUS_BITS = 8;
constexpr size_t STATUS_NUMBERS = 7;

constexpr char NUMBER_CHARACTERS[] = " +-.0123456789";

// Where the fields of a reply begin, behind its marker; a blank stands before each but the
// first.
constexpr size_t STATUS_FIELDS[] = {1, 7, 13, 19, 23, 28, 33, 38}; // the last one are the bits
constexpr size_t RATING_FIELDS[] = {1, 7, 11, 17};

template <size_t count>
bool HasShape(const char* reply, char marker, size_t length, const size_t (&fields)[count])
{
    if (reply[0] != marker || strlen(reply) != length)
        return false;
    for (size_t i = 1; i < count; i++) {
        if (reply[fields[i] - 1] != ' ')
            return false;
    }
    return true;
}

// The number of a field that ends before the given place. A UPS may pad it, dash it out or
// show it in its own way: what is no number is one that it does not tell.
double ReadNumber(const char* reply, size_t begin, size_t end)
{
    char field[16];
    CopyText(field, end - begin + 1, reply + begin);
    char* rest = field;
    double number = strtod(field, &rest);
    bool isNumber = rest != field && strspn(field, NUMBER_CHARACTERS) == end - begin &&
                    rest[strspn(rest, " ")] == '\0';
    return isNumber ? number : NAN;
}

bool AreStatusBits(const char* bits)
{
    return strlen(bits) == STATUS_BITS && strspn(bits, "01") == STATUS_BITS;
}

} // namespace

void ClearReading(Reading& reading)
{
    reading = {};
    for (double* number :
         {&reading.inputVoltage, &reading.faultVoltage, &reading.outputVoltage,
          &reading.outputSecond, &reading.load, &reading.inputFrequency, &reading.batteryVoltage,
          &reading.batteryCharge, &reading.temperature, &reading.onBattery})
        *number = NAN;
}

void ClearNames(UpsNames& names)
{
    names = {NAN, NAN, NAN, NAN, ""};
}

bool ParseStatusReply(const char* reply, Reading& reading)
{
    // Noise on the line shows in bytes that no UPS sends.
    if (!HasShape(reply, '(', STATUS_REPLY_BYTES - 1, STATUS_FIELDS) || !IsPrintable(reply))
        return false;
    const char* bits = reply + STATUS_FIELDS[STATUS_NUMBERS];
    if (!AreStatusBits(bits))
        return false;
    double* const numbers[STATUS_NUMBERS] = {
        &reading.inputVoltage,   &reading.faultVoltage,   &reading.outputVoltage, &reading.load,
        &reading.inputFrequency, &reading.batteryVoltage, &reading.temperature};
    ClearReading(reading);
    for (size_t i = 0; i < STATUS_NUMBERS; i++)
        *numbers[i] = ReadNumber(reply, STATUS_FIELDS[i], STATUS_FIELDS[i + 1] - 1);
    reading.mainsFailed = bits[0] == '1';
    reading.batteryLow = bits[1] == '1';
    reading.isBoosting = bits[2] == '1';
    reading.isFailed = bits[3] == '1';
    reading.isStandby = bits[4] == '1';
    reading.isTesting = bits[5] == '1';
    return true;
}

bool ParseRatingReply(const char* reply, UpsNames& names)
{
    constexpr size_t LENGTH = RATING_REPLY_BYTES - 1;
    if (!HasShape(reply, '#', LENGTH, RATING_FIELDS) ||
        strspn(reply + 1, NUMBER_CHARACTERS) != LENGTH - 1)
        return false;
    names.ratedVoltage = ReadNumber(reply, RATING_FIELDS[0], RATING_FIELDS[1] - 1);
    names.ratedCurrent = ReadNumber(reply, RATING_FIELDS[1], RATING_FIELDS[2] - 1);
    names.ratedBattery = ReadNumber(reply, RATING_FIELDS[2], RATING_FIELDS[3] - 1);
    names.ratedFrequency = ReadNumber(reply, RATING_FIELDS[3], LENGTH);
    return true;
}

bool ParseModelReply(const char* reply, UpsNames& names)
{
    UpsNames other;
    size_t length = strlen(reply);
    bool isText = *reply == '#' && length > 1 && length < MODEL_REPLY_BYTES && IsPrintable(reply);
    if (!isText || ParseRatingReply(reply, other)) // the rating came late
        return false;
    CopyField(names.model, reply + 1);
    for (size_t end = strlen(names.model); end > 0 && names.model[end - 1] == ' '; end--)
        names.model[end - 1] = '\0';
    return true;
}
