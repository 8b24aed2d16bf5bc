#include "sim/serial/serial_bytes.h"

#include <cstdio>

namespace {

struct Escape {
    char letter;
    char byte;
};

constexpr Escape ESCAPES[] = {{'r', '\r'}, {'n', '\n'}, {'\\', '\\'}};

std::string EscapeByte(char byte)
{
    for (const Escape& escape : ESCAPES) {
        if (byte == escape.byte)
            return {'\\', escape.letter};
    }
    if (byte >= ' ' && byte <= '~')
        return {byte};
    char text[8];
    snprintf(text, sizeof(text), "\\x%02x", static_cast<unsigned>(byte) & 0xffU);
    return text;
}

// Takes the escape behind the backslash at `at`, and leaves `at` on its last character.
bool TakeEscape(const std::string& text, size_t* at, std::string* bytes)
{
    std::string rest = text.substr(*at + 1, 3);
    unsigned number = 0;
    int taken = 0;
    if (sscanf(rest.c_str(), "x%2x%n", &number, &taken) == 1 && taken == 3) {
        *bytes += static_cast<char>(number);
        *at += 3;
        return true;
    }
    for (const Escape& escape : ESCAPES) {
        if (!rest.empty() && rest[0] == escape.letter) {
            *bytes += escape.byte;
            *at += 1;
            return true;
        }
    }
    return false;
}

} // namespace

std::string EscapeBytes(const std::string& bytes)
{
    std::string text;
    for (char byte : bytes)
        text += EscapeByte(byte);
    return text;
}

bool UnescapeBytes(const std::string& text, std::string* bytes)
{
    bytes->clear();
    for (size_t at = 0; at < text.size(); at++) {
        if (text[at] != '\\')
            *bytes += text[at];
        else if (!TakeEscape(text, &at, bytes))
            return false;
    }
    return true;
}
