// The words of a line of the control channel, and the two ways to end a reply.
#pragma once

#include <string>
#include <vector>

using Words = std::vector<std::string>;

inline const std::string DONE = "ok\n";
std::string Refuse(const std::string& text);

Words SplitWords(const std::string& line);
// What stands behind the first `count` words and one separator, blanks included.
std::string RestOfLine(const std::string& line, size_t count);
// False for what is no number from `least` to `most`.
bool ReadNumber(const std::string& text, double least, double most, double* number);
// False for anything but "on" and "off".
bool ReadSwitch(const std::string& text, bool* on);
