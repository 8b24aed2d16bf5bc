// Texts of numbers turned into bytes, decimal and hexadecimal.
#include "snmp/snmpset.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct ConversionRow {
    const char* text;
    std::vector<int> bytes;
};

void CheckConversion(int (*convert)(const char*, unsigned char*), const ConversionRow& row)
{
    unsigned char out[64];
    memset(out, 0xee, sizeof(out));
    testing::internal::CaptureStderr();
    EXPECT_EQ(convert(row.text, out), static_cast<int>(row.bytes.size())) << row.text;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << row.text;
    for (size_t i = 0; i < row.bytes.size(); i++)
        EXPECT_EQ(out[i], row.bytes[i]) << row.text;
    EXPECT_EQ(out[row.bytes.size()], 0xee) << row.text;
}

void CheckRefusal(int (*convert)(const char*, unsigned char*), const char* text,
                  const std::string& message)
{
    unsigned char out[64];
    testing::internal::CaptureStderr();
    EXPECT_EQ(convert(text, out), -1) << text;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message) << text;
}

} // namespace

TEST(AsciiToBinary, DecimalNumbersBecomeBytes)
{
    const ConversionRow rows[] = {
        {"10 20 255", {10, 20, 255}},
        {"", {}},
        {"   ", {}},
        {"0", {0}},
        {"007", {7}},
        {"0000000255", {255}},
        {" \t1\n2\v3\f4\r5 ", {1, 2, 3, 4, 5}},
        {"1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16",
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
    };
    for (const ConversionRow& row : rows)
        CheckConversion(ascii_to_binary, row);
}

TEST(AsciiToBinary, NumbersAbove255AreRefused)
{
    CheckRefusal(ascii_to_binary, "300", "subidentifier 300 is too large ( > 255)\n");
    CheckRefusal(ascii_to_binary, "256", "subidentifier 256 is too large ( > 255)\n");
    CheckRefusal(ascii_to_binary, "1 2 1000 3", "subidentifier 1000 is too large ( > 255)\n");
    CheckRefusal(ascii_to_binary, "2147483647", "subidentifier 2147483647 is too large ( > 255)\n");
}

TEST(AsciiToBinary, AnythingButDigitsAndWhiteSpaceIsRefused)
{
    for (const char* text : {"-1", "+1", "1,2", "10.20", "a", "1 x", "0x10", "12a",
                             "1\xa0"
                             "2"})
        CheckRefusal(ascii_to_binary, text, "Input error\n");
}

TEST(HexToBinary, HexadecimalNumbersBecomeBytes)
{
    const ConversionRow rows[] = {
        {"0a ff", {0x0a, 0xff}},
        {" 7f 80 ", {0x7f, 0x80}},
        {"", {}},
        {"\n", {}},
        {"a", {10}},
        {"AB cD Ef", {0xab, 0xcd, 0xef}},
        {"0001", {1}},
        {"10 99", {0x10, 0x99}},
    };
    for (const ConversionRow& row : rows)
        CheckConversion(hex_to_binary, row);
}

TEST(HexToBinary, NumbersAbove255AreRefused)
{
    CheckRefusal(hex_to_binary, "1ff", "subidentifier 511 is too large ( > 255)\n");
    CheckRefusal(hex_to_binary, "100", "subidentifier 256 is too large ( > 255)\n");
    CheckRefusal(hex_to_binary, "01 7f80", "subidentifier 32640 is too large ( > 255)\n");
}

TEST(HexToBinary, AnythingButHexadecimalDigitsAndWhiteSpaceIsRefused)
{
    for (const char* text : {"g", "-1", "+f", "1:2", "0a,0b", "ff h", "0x1"})
        CheckRefusal(hex_to_binary, text, "Input error\n");
}

TEST(BothConverters, NumbersTooLongForAnyIntegerAreRefused)
{
    unsigned char out[64];
    testing::internal::CaptureStderr();
    for (const char* text : {"4294967297", "18446744073709551617", "99999999999999999999999"})
        EXPECT_EQ(ascii_to_binary(text, out), -1) << text;
    for (const char* text : {"100000001", "10000000000000001", "fffffffffffffffffffffff"})
        EXPECT_EQ(hex_to_binary(text, out), -1) << text;
    testing::internal::GetCapturedStderr();
}
