// The replies of the serial protocol: what is read from each field, and what is no reply.
#include "daemon/reading.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

const std::string STATUS = "(230.1 195.2 229.3 045 50.4 13.5 25.6 00000000";
const std::string RATING = "#220.1 004 12.05 50.5";

bool IsStatus(const std::string& text)
{
    Reading reading;
    return ParseStatusReply(text.c_str(), reading);
}

bool IsRating(const std::string& text)
{
    UpsNames names;
    return ParseRatingReply(text.c_str(), names);
}

bool IsModel(const std::string& text)
{
    UpsNames names;
    return ParseModelReply(text.c_str(), names);
}

Reading Parsed(const std::string& text)
{
    Reading reading;
    ClearReading(reading);
    EXPECT_TRUE(ParseStatusReply(text.c_str(), reading)) << text;
    return reading;
}

std::string WithBits(const std::string& bits)
{
    return STATUS.substr(0, STATUS.size() - 8) + bits;
}

std::string WithTemperature(const std::string& field, const std::string& bits = "00000000")
{
    std::string text = WithBits(bits);
    return text.replace(text.size() - 13, 4, field);
}

// --- the status --------------------------------------------------------------------------

TEST(StatusReply, GivesEveryField)
{
    Reading reading = Parsed(STATUS);
    EXPECT_DOUBLE_EQ(reading.inputVoltage, 230.1);
    EXPECT_DOUBLE_EQ(reading.faultVoltage, 195.2);
    EXPECT_DOUBLE_EQ(reading.outputVoltage, 229.3);
    EXPECT_DOUBLE_EQ(reading.load, 45);
    EXPECT_DOUBLE_EQ(reading.inputFrequency, 50.4);
    EXPECT_DOUBLE_EQ(reading.batteryVoltage, 13.5);
    EXPECT_DOUBLE_EQ(reading.temperature, 25.6);
    EXPECT_TRUE(std::isnan(reading.batteryCharge)) << "an agent's alone";
    EXPECT_TRUE(std::isnan(reading.onBattery));
}

TEST(StatusReply, GivesEachBitItsMeaning)
{
    bool Reading::*const flags[] = {&Reading::mainsFailed, &Reading::batteryLow,
                                    &Reading::isBoosting,  &Reading::isFailed,
                                    &Reading::isStandby,   &Reading::isTesting};
    for (size_t bit = 0; bit < 8; bit++) {
        std::string bits(8, '0');
        bits[bit] = '1';
        Reading reading = Parsed(WithBits(bits));
        for (size_t flag = 0; flag < std::size(flags); flag++)
            EXPECT_EQ(reading.*flags[flag], flag == bit) << bits << " flag " << flag;
    }
}

TEST(StatusReply, TakesOtherPlacesOfThePointAndDashes)
{
    Reading reading = Parsed("(23.01 --.-- 22.93 --- 5.04 2.05 -.-- 00000000");
    EXPECT_DOUBLE_EQ(reading.inputVoltage, 23.01);
    EXPECT_TRUE(std::isnan(reading.faultVoltage));
    EXPECT_TRUE(std::isnan(reading.load));
    EXPECT_DOUBLE_EQ(reading.batteryVoltage, 2.05);
    EXPECT_TRUE(std::isnan(reading.temperature));
}

TEST(StatusReply, LeavesTheReadingAloneWhenItIsNone)
{
    Reading reading = Parsed(WithBits("11000000"));
    for (const std::string& text :
         {std::string(), STATUS.substr(1), STATUS + "0", STATUS.substr(0, STATUS.size() - 1)})
        EXPECT_FALSE(ParseStatusReply(text.c_str(), reading)) << text;
    EXPECT_TRUE(reading.mainsFailed && reading.batteryLow);
    EXPECT_DOUBLE_EQ(reading.inputVoltage, 230.1);
}

TEST(StatusReply, RefusesEveryOtherShape)
{
    for (const char* text : {"(", "(NAK", "#230.1 195.2 229.3 045 50.4 13.5 25.6 00000000",
                             "(230.1  195.2 229.3 045 50.4 13.5 25.6 00000000",
                             "( 230.1 195.2 229.3 045 50.4 13.5 25.6 00000000",
                             "(230.1 195.2 229.3 45 50.4 13.5 25.6 00000000",
                             "(230.1 195.2 229.3 045 50.4 13.5 25.6 0000000",
                             "(230.1 195.2 229.3 045 50.4 13.5 25.6 00000002",
                             "(230.1 195.2 229.3 045 50.4 13.5 25.6 0000000-",
                             "(230.1 195.2 229.3 045 50.4 13.5 25.6  00000000",
                             "(230.1 195.2 229.3 045 50.4 13.5 25.6 00000000 ",
                             "(230.1 195.2 229.3 045 50.4 13.5 00000000"})
        EXPECT_FALSE(IsStatus(text)) << text;
}

// A byte that is another one is noticed where it matters; in a number it makes another number,
// or none, unless it is one that no UPS sends.
TEST(StatusReply, NoticesEveryByteThatIsOfAnotherKind)
{
    for (size_t at = 0; at < STATUS.size(); at++) {
        for (int byte = 1; byte < 256; byte++) {
            std::string text = STATUS;
            text[at] = static_cast<char>(byte);
            bool isPrintable = byte >= ' ' && byte <= '~';
            bool isNumber = at > 0 && at < STATUS.size() - 9 && STATUS[at] != ' ';
            bool isBit = at >= STATUS.size() - 8;
            bool fits = text == STATUS || (isNumber && isPrintable) || (isBit && byte == '1');
            EXPECT_EQ(IsStatus(text), fits) << at << " " << byte;
        }
    }
}

TEST(StatusReply, BelievesTheBitsWhateverTheNumbersLookLike)
{
    for (const char* temperature : {"-5.0", "+5.0", " 5.0", "5.0 ", "5   ", "---.", "--.-", "25.C",
                                    "    ", "N/A ", "1e10", "0x1F", "nan ", "1 25", "2.5."}) {
        Reading reading = Parsed(WithTemperature(temperature, "11000000"));
        EXPECT_TRUE(reading.mainsFailed && reading.batteryLow) << temperature;
        EXPECT_DOUBLE_EQ(reading.batteryVoltage, 13.5) << temperature;
    }
}

TEST(StatusReply, TakesANumberHoweverItIsWrittenAndNothingElse)
{
    for (const char* five : {"5.00", "05.0", " 5.0", "5.0 ", "5   ", "   5", "+5.0"})
        EXPECT_DOUBLE_EQ(Parsed(WithTemperature(five)).temperature, 5.0) << five;
    EXPECT_DOUBLE_EQ(Parsed(WithTemperature("-5.0")).temperature, -5.0);
    for (const char* none :
         {"----", "--.-", "    ", "N/A ", "1e10", "0x1F", "inf ", "1 25", "2.5."})
        EXPECT_TRUE(std::isnan(Parsed(WithTemperature(none)).temperature)) << none;
}

// --- what the UPS is ---------------------------------------------------------------------

TEST(RatingReply, GivesEveryField)
{
    UpsNames names;
    ClearNames(names);
    ASSERT_TRUE(ParseRatingReply(RATING.c_str(), names));
    EXPECT_DOUBLE_EQ(names.ratedVoltage, 220.1);
    EXPECT_DOUBLE_EQ(names.ratedCurrent, 4);
    EXPECT_DOUBLE_EQ(names.ratedBattery, 12.05);
    EXPECT_DOUBLE_EQ(names.ratedFrequency, 50.5);
    EXPECT_STREQ(names.model, "");
}

TEST(RatingReply, RefusesEveryOtherShape)
{
    EXPECT_TRUE(IsRating("#---.- --- --.-- --.-"));
    for (const char* text :
         {"", "#", "220.1 004 12.05 50.5", "#220.1 004 12.05 50.5 ", "#220.1 004 12.05 50.",
          "#220.1 04 12.05 50.5", "#220.1 004 12.05  50.5", "#A company   A model   1.0"})
        EXPECT_FALSE(IsRating(text)) << text;
}

TEST(ModelReply, TakesOneToThirtySevenPrintableCharacters)
{
    UpsNames names;
    ClearNames(names);
    std::string longest =
        "#" + std::string(15, 'a') + " " + std::string(10, 'b') + " " + std::string(10, 'c');
    ASSERT_EQ(longest.size(), MODEL_REPLY_BYTES - 1);
    ASSERT_TRUE(ParseModelReply(longest.c_str(), names));
    EXPECT_EQ(names.model, longest.substr(1));
    ASSERT_TRUE(ParseModelReply("#Short      ", names));
    EXPECT_STREQ(names.model, "Short");
    EXPECT_FALSE(IsModel(longest + "d"));
    for (const char* text : {"", "#", "Short", "(Short", "#Sh\x1bort", "#Sh\xfcort", "#a\tb"})
        EXPECT_FALSE(IsModel(text)) << text;
}

TEST(ModelReply, IsNotTheRatingThatCameLate)
{
    EXPECT_FALSE(IsModel(RATING));
}

TEST(ModelReply, IsToldFromARatingOfTheSameLength)
{
    const std::string model = "#ACME   900  V2.1    "; // blanks where a rating has them
    ASSERT_EQ(model.size(), RATING.size());
    EXPECT_TRUE(IsModel(model));
    EXPECT_FALSE(IsRating(model));
}

// --- anything at all ---------------------------------------------------------------------

TEST(Replies, AreReadFromAnyBytesWithoutHarm)
{
    const std::string alphabet = "(#0123456789.- abc\x1b\xff\n";
    std::mt19937 chance(20261121);
    std::uniform_int_distribution<size_t> letter(0, alphabet.size() - 1);
    std::uniform_int_distribution<size_t> length(0, REPLY_ROOM - 1);
    std::uniform_int_distribution<size_t> place(0, STATUS.size() - 1);
    for (int round = 0; round < 200000; round++) {
        std::string text = round % 2 == 0 ? STATUS : std::string(length(chance), ' ');
        if (round % 2 == 0) {
            text[place(chance)] = alphabet[letter(chance)];
            text.resize(place(chance) + 1);
        } else {
            for (char& c : text)
                c = alphabet[letter(chance)];
        }
        Reading reading;
        UpsNames names;
        ClearNames(names);
        // Exactly as large as the text, so that the sanitizers see every byte beyond it.
        const std::string exact(text);
        EXPECT_TRUE(!ParseStatusReply(exact.c_str(), reading) || exact.size() == STATUS.size());
        EXPECT_TRUE(!ParseRatingReply(exact.c_str(), names) || exact.size() == RATING.size());
        EXPECT_TRUE(!ParseModelReply(exact.c_str(), names) || exact.size() < MODEL_REPLY_BYTES);
    }
}

} // namespace
