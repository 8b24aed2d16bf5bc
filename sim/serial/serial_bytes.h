// Bytes of the serial line as text, for the log and for what a test wants sent.
#pragma once

#include <string>

// Bytes that do not print become \r, \n, \\ or \xHH.
std::string EscapeBytes(const std::string& bytes);
// The reverse; false when a backslash begins none of these.
bool UnescapeBytes(const std::string& text, std::string* bytes);
