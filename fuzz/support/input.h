// An input taken apart from its front; where it is used up everything is zero and empty. And what
// has to hold whatever the input is.
#pragma once

#include "tests/unit/support/files.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

struct Input {
    std::string_view left;
};

inline Input MakeInput(const uint8_t* bytes, size_t size)
{
    return {{reinterpret_cast<const char*>(bytes), size}};
}

inline bool IsUsedUp(const Input& input)
{
    return input.left.empty();
}

inline std::string TakeBytes(Input& input, size_t count)
{
    std::string taken(input.left.substr(0, count));
    input.left.remove_prefix(taken.size());
    return taken;
}

template <typename Number> Number TakeNumber(Input& input)
{
    Number number = {};
    std::string bytes = TakeBytes(input, sizeof(number));
    memcpy(&number, bytes.data(), bytes.size());
    return number;
}

inline int TakeByte(Input& input)
{
    return TakeNumber<uint8_t>(input);
}

// What stands before the next line that is a mere '='; that line goes too.
inline std::string TakePart(Input& input)
{
    constexpr std::string_view PARTING = "\n=\n";
    size_t length = std::min(input.left.find(PARTING), input.left.size());
    std::string part = TakeBytes(input, length);
    input.left.remove_prefix(std::min(PARTING.size(), input.left.size()));
    return part;
}

inline std::string TakeRest(Input& input)
{
    return TakeBytes(input, input.left.size());
}

// Ends the process, and with it the search, when what has to hold does not.
inline void Require(bool holds, const char* what)
{
    if (holds)
        return;
    fprintf(stderr, "this does not hold: %s\n", what);
    abort();
}

// At the end of an input: one that leaves a file open shows after some more of them.
inline void RequireFewDescriptors()
{
    constexpr size_t MOST = 64;
    Require(CountOpenFiles() < MOST, "no file stays open");
}
