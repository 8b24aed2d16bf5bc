#include "sim/model/ups_words.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr const char* SEPARATORS = " \t";

} // namespace

std::string Refuse(const std::string& text)
{
    return "error " + text + "\n";
}

Words SplitWords(const std::string& line)
{
    Words words;
    size_t at = 0;
    while ((at = line.find_first_not_of(SEPARATORS, at)) != std::string::npos) {
        size_t end = std::min(line.find_first_of(SEPARATORS, at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

std::string RestOfLine(const std::string& line, size_t count)
{
    size_t at = 0;
    for (size_t i = 0; i < count; i++) {
        at = std::min(line.find_first_not_of(SEPARATORS, at), line.size());
        at = std::min(line.find_first_of(SEPARATORS, at), line.size());
    }
    return at < line.size() ? line.substr(at + 1) : "";
}

bool ReadNumber(const std::string& text, double least, double most, double* number)
{
    char* end = nullptr;
    *number = strtod(text.c_str(), &end);
    return *end == '\0' && !text.empty() && *number >= least && *number <= most;
}

bool ReadSwitch(const std::string& text, bool* on)
{
    if (text != "on" && text != "off")
        return false;
    *on = text == "on";
    return true;
}
