// What the screen's fields must hold: with the status line of an everyday UPS, and with none.
#pragma once

#include "status/tolvstat_data.h"

#include <gtest/gtest.h>
#include <string>

inline constexpr char STATUS_LINE[] = "(215.0 195.0 220.0 045 50.0 13.6 25.0 00001001";

inline void ExpectStatusLine(const StatusFields& fields)
{
    EXPECT_STREQ(fields.inputVoltage, "215.0");
    EXPECT_STREQ(fields.faultVoltage, "195.") << "its field holds four characters";
    EXPECT_STREQ(fields.outputVoltage, "220.0");
    EXPECT_STREQ(fields.loadPercent, " 45");
    EXPECT_STREQ(fields.inputFrequency, "50.0");
    EXPECT_STREQ(fields.batteryVoltage, "13.6");
    EXPECT_STREQ(fields.temperature, "25.0");
    EXPECT_STREQ(fields.acPower, "Normal  ");
    EXPECT_STREQ(fields.batteryStatus, "Normal  ");
    EXPECT_STREQ(fields.boostBuck, "OFF");
    EXPECT_STREQ(fields.upsFunctioning, "Normal");
    EXPECT_STREQ(fields.upsType, "Standby");
    EXPECT_STREQ(fields.selfTest, "Stop       ");
}

inline void ExpectPlaceholders(const StatusFields& fields)
{
    for (const char* text :
         {fields.upsType, fields.ratingVoltage, fields.ratingCurrent, fields.lineFrequency,
          fields.acPower, fields.batteryStatus, fields.upsFunctioning, fields.boostBuck,
          fields.temperature, fields.selfTest, fields.inputVoltage, fields.outputVoltage,
          fields.loadPercent, fields.batteryVoltage, fields.inputFrequency, fields.faultVoltage})
        EXPECT_STREQ(text, "N/A");
    EXPECT_EQ(std::string(fields.modelText, sizeof(fields.modelText)),
              std::string(sizeof(fields.modelText), '\0'));
}
