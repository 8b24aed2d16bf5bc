// The record of display texts that the status screens show.
#pragma once

#include <cstddef>

inline constexpr char NOT_KNOWN[] = "N/A";
inline constexpr int NOT_KNOWN_WIDTH = sizeof(NOT_KNOWN) - 1;
inline constexpr char NO_EVENT[] = "---  --:--"; // no scheduled shutdown or power-on

// Texts of the record that are compared where they are shown. The trailing blanks of
// all its texts belong to them: a shorter one wipes a longer one on the screen.
inline constexpr char TEXT_NORMAL[] = "Normal  ";
inline constexpr char TEXT_AC_FAILS[] = "AC FAILS";
inline constexpr char TEXT_BATTERY_LOW[] = "BAT. LOW";
inline constexpr char TEXT_UPS_FAILED[] = "FAILED";
inline constexpr char TEXT_ON[] = "ON ";
inline constexpr char TEXT_OFF[] = "OFF";
inline constexpr char TEXT_STANDBY[] = "Standby";
inline constexpr char TEXT_IN_PROGRESS[] = "In Progress";
inline constexpr char TEXT_DUE[] = "YES"; // of shutdownDue
inline constexpr char TEXT_NOT_DUE[] = "NO ";

// The display texts of one UPS status. NOT_KNOWN stands where nothing is known.
struct StatusFields {
    char upsType[8];
    char ratingVoltage[6];
    char ratingCurrent[4];
    char batteryRating[6]; // of the settings until the UPS tells its own
    char lineFrequency[5];
    char commPort[30];
    char acPower[9];
    char batteryStatus[9];
    char upsFunctioning[7];
    char boostBuck[4];
    char temperature[5];
    char selfTest[12];
    char countdownText[4];
    char scheduleText[4];
    char nextShutdown[11];
    char nextPowerOn[11];
    char acFailDelayText[9];
    char upsOffDelayText[5];
    char inputVoltage[6];
    char outputVoltage[6];
    char loadPercent[4];
    char batteryVoltage[5];
    char inputFrequency[5];
    char modelText[38];
    char faultVoltage[5];
    char shutdownDue[4]; // TEXT_DUE when a scheduled shutdown is near
};

// A field of the record, as tables name it.
struct StatusField {
    size_t offset;
    size_t size;
};

#define STATUS_FIELD(name)                                                                         \
    StatusField                                                                                    \
    {                                                                                              \
        offsetof(StatusFields, name), sizeof(StatusFields::name)                                   \
    }

inline const char* FieldText(const StatusFields& fields, const StatusField& field)
{
    return reinterpret_cast<const char*>(&fields) + field.offset;
}

// The agreed order and sizes; nothing stands between the fields.
struct FieldSize {
    StatusField field;
    size_t size;
};

inline constexpr FieldSize STATUS_RECORD[] = {
    {STATUS_FIELD(upsType), 8},         {STATUS_FIELD(ratingVoltage), 6},
    {STATUS_FIELD(ratingCurrent), 4},   {STATUS_FIELD(batteryRating), 6},
    {STATUS_FIELD(lineFrequency), 5},   {STATUS_FIELD(commPort), 30},
    {STATUS_FIELD(acPower), 9},         {STATUS_FIELD(batteryStatus), 9},
    {STATUS_FIELD(upsFunctioning), 7},  {STATUS_FIELD(boostBuck), 4},
    {STATUS_FIELD(temperature), 5},     {STATUS_FIELD(selfTest), 12},
    {STATUS_FIELD(countdownText), 4},   {STATUS_FIELD(scheduleText), 4},
    {STATUS_FIELD(nextShutdown), 11},   {STATUS_FIELD(nextPowerOn), 11},
    {STATUS_FIELD(acFailDelayText), 9}, {STATUS_FIELD(upsOffDelayText), 5},
    {STATUS_FIELD(inputVoltage), 6},    {STATUS_FIELD(outputVoltage), 6},
    {STATUS_FIELD(loadPercent), 4},     {STATUS_FIELD(batteryVoltage), 5},
    {STATUS_FIELD(inputFrequency), 5},  {STATUS_FIELD(modelText), 38},
    {STATUS_FIELD(faultVoltage), 5},    {STATUS_FIELD(shutdownDue), 4},
};

constexpr bool IsRecordInOrder()
{
    size_t offset = 0;
    for (const FieldSize& entry : STATUS_RECORD) {
        if (entry.field.offset != offset || entry.field.size != entry.size)
            return false;
        offset += entry.size;
    }
    return offset == sizeof(StatusFields);
}

static_assert(IsRecordInOrder());
