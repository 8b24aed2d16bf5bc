#include "daemon/trace.h"

#include "base/text.h"
#include "daemon/log.h"

#include <cstring>

namespace {

void Append(Trace& trace, const char* lines)
{
    size_t length = strlen(trace.text);
    if (length + strlen(lines) < TRACE_SIZE)
        CopyText(trace.text + length, TRACE_SIZE - length, lines);
}

} // namespace

void AddTrace(Trace& trace, const char* what, const char* text)
{
    char line[TRACE_SIZE];
    FormatText(line, sizeof(line) - 1, "%s%s", what, text);
    MakePrintable(line);
    size_t length = strlen(line);
    CopyText(line + length, sizeof(line) - length, "\n");
    Append(trace, line);
}

void JoinTrace(Trace& trace, const Trace& other)
{
    Append(trace, other.text);
}

void LogTrace(Trace& trace, bool isWanted)
{
    char* rest = trace.text;
    while (const char* line = isWanted ? strtok_r(rest, "\n", &rest) : nullptr)
        WriteLog(LOG_DEBUG, "%s", line);
    trace.text[0] = '\0';
}
