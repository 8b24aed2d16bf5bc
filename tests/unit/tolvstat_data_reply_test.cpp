// The UPS's replies taken apart into the texts of the screen.
#include "status/tolvstat_data.h"
#include "tests/unit/support/status_fields.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

const std::string RATING_LINE = "#230.0 005 024.0 60.0";

StatusFields ParsedStatus(const std::string& line)
{
    StatusFields fields = {};
    InitScreenData(fields);
    GetFromQ1(fields, line.c_str());
    return fields;
}

TEST(StatusReply, FillsTheFieldsOfAWholeLine)
{
    StatusFields fields = ParsedStatus(STATUS_LINE);
    ExpectStatusLine(fields);
}

TEST(StatusReply, TurnsEachBitIntoItsText)
{
    struct {
        const char* set;
        const char* clear;
    } const texts[] = {{"AC FAILS", "Normal  "}, {"BAT. LOW", "Normal  "},
                       {"ON ", "OFF"},           {"FAILED", "Normal"},
                       {"Standby", "On Line"},   {"In Progress", "Stop       "}};
    for (size_t bit = 0; bit < 8; bit++) {
        for (char state : {'1', '0', 'x', '2'}) {
            std::string bits = "00000000";
            bits[bit] = state;
            StatusFields fields =
                ParsedStatus("(215.0 195.0 220.0 045 50.0 13.6 25.0 " + bits + "\r");
            const char* const shown[] = {fields.acPower,   fields.batteryStatus,
                                         fields.boostBuck, fields.upsFunctioning,
                                         fields.upsType,   fields.selfTest};
            for (size_t at = 0; at < 6; at++)
                EXPECT_STREQ(shown[at], at == bit && state == '1' ? texts[at].set : texts[at].clear)
                    << bits << ", text " << at;
        }
    }
}

// The texts that a status line fills, in the line's own order, bits last.
std::vector<std::string> ShownValues(const StatusFields& fields)
{
    return {fields.inputVoltage,   fields.faultVoltage,   fields.outputVoltage, fields.loadPercent,
            fields.inputFrequency, fields.batteryVoltage, fields.temperature,   fields.acPower,
            fields.batteryStatus,  fields.upsFunctioning, fields.boostBuck,     fields.upsType,
            fields.selfTest};
}

std::string JoinedStatus(const std::vector<std::string>& tokens)
{
    std::string line = "(";
    for (const std::string& token : tokens)
        line += token + " ";
    return line;
}

const std::vector<std::string> TOKENS = {"215.0", "19.5", "220.0", "145",
                                         "50.0",  "13.6", "25.0",  "00001001"};

TEST(StatusReply, IgnoresAFieldOfAWrongLengthAndGoesOn)
{
    const std::vector<std::string> whole = ShownValues(ParsedStatus(JoinedStatus(TOKENS)));
    for (size_t at = 0; at < TOKENS.size(); at++) {
        if (at == 1)
            continue; // takes any length
        for (bool longer : {false, true}) {
            std::vector<std::string> tokens = TOKENS;
            tokens[at] = longer ? tokens[at] + "1" : tokens[at].substr(1);
            std::vector<std::string> expected = whole;
            std::fill(expected.begin() + static_cast<long>(at),
                      at == 7 ? expected.end() : expected.begin() + static_cast<long>(at) + 1,
                      "N/A");
            EXPECT_EQ(ShownValues(ParsedStatus(JoinedStatus(tokens))), expected)
                << JoinedStatus(tokens);
        }
    }
}

TEST(StatusReply, LeavesMissingFieldsAtTheirPlaceholders)
{
    const std::vector<std::string> whole = ShownValues(ParsedStatus(JoinedStatus(TOKENS)));
    for (size_t count = 0; count < TOKENS.size(); count++) {
        std::vector<std::string> expected = whole;
        std::fill(expected.begin() + static_cast<long>(count), expected.end(), "N/A");
        std::string line =
            JoinedStatus({TOKENS.begin(), TOKENS.begin() + static_cast<long>(count)});
        EXPECT_EQ(ShownValues(ParsedStatus(line)), expected) << line;
    }
}

TEST(StatusReply, BlanksTheLeadingZerosOfTheLoad)
{
    struct {
        const char* sent;
        const char* shown;
    } const cases[] = {{"000", "  0"}, {"005", "  5"}, {"045", " 45"}, {"100", "100"}};
    for (const auto& test : cases) {
        std::vector<std::string> tokens = TOKENS;
        tokens[3] = test.sent;
        EXPECT_STREQ(ParsedStatus(JoinedStatus(tokens)).loadPercent, test.shown);
    }
}

TEST(StatusReply, SurvivesLinesOfAnyLength)
{
    for (size_t length : {1U, 49U, 127U, 128U, 129U, 100000U}) {
        for (char byte : {'1', '(', ' ', '\r', '\xFF'}) {
            StatusFields fields = ParsedStatus(std::string(length, byte));
            EXPECT_STREQ(fields.temperature, "N/A");
            EXPECT_LT(strnlen(fields.faultVoltage, 5), 5U);
        }
    }
}

TEST(RatingReply, FillsItsFourFields)
{
    StatusFields fields = {};
    InitScreenData(fields);
    GetFromF(fields, (RATING_LINE + "\r").c_str());
    EXPECT_STREQ(fields.ratingVoltage, "230.0");
    EXPECT_STREQ(fields.ratingCurrent, "  5");
    EXPECT_STREQ(fields.batteryRating, "024.0");
    EXPECT_STREQ(fields.lineFrequency, "60.0");
}

TEST(RatingReply, IgnoresFieldsOfAWrongLength)
{
    struct {
        const char* line;
        const char* voltage;
        const char* current;
        const char* battery;
        const char* frequency;
    } const cases[] = {
        {"#230.00 005 024.0 60.0", "N/A", "  5", "024.0", "60.0"},
        {"#230.0 05 024.0 60.0", "230.0", "N/A", "024.0", "60.0"},
        {"#230.0 005 24.0 60.0", "230.0", "  5", "N/A", "60.0"},
        {"#230.0 005 024.0 060.0", "230.0", "  5", "024.0", "N/A"},
        {"#230.0 005", "230.0", "  5", "N/A", "N/A"},
        {"#", "N/A", "N/A", "N/A", "N/A"},
        {"", "N/A", "N/A", "N/A", "N/A"},
    };
    for (const auto& test : cases) {
        StatusFields fields = {};
        InitScreenData(fields);
        GetFromF(fields, test.line);
        EXPECT_STREQ(fields.ratingVoltage, test.voltage) << test.line;
        EXPECT_STREQ(fields.ratingCurrent, test.current) << test.line;
        EXPECT_STREQ(fields.batteryRating, test.battery) << test.line;
        EXPECT_STREQ(fields.lineFrequency, test.frequency) << test.line;
    }
}

TEST(ModelReply, IsShownWithoutItsMarkAndCutTo37Characters)
{
    const std::string digits = "0123456789012345678901234567890123456789";
    for (const std::string& text :
         {std::string("ACME  V1"), digits.substr(0, 37), digits.substr(0, 38), digits,
          std::string(), std::string(1000, 'm')}) {
        StatusFields fields;
        memset(&fields, 'x', sizeof(fields));
        GetFromI(fields, ("#" + text).c_str());
        std::string expected = text.substr(0, 37);
        expected.resize(38);
        EXPECT_EQ(std::string(fields.modelText, 38), expected) << text;
        EXPECT_EQ(fields.faultVoltage[0], 'x') << "the next field is not reached";
    }
    StatusFields fields;
    memset(&fields, 'x', sizeof(fields));
    GetFromI(fields, "");
    EXPECT_EQ(std::string(fields.modelText, 38), std::string(38, '\0'));
}

} // namespace
