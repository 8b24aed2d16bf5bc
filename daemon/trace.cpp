#include "daemon/trace.h"

#include "base/text.h"
#include "daemon/log.h"

#include <cstring>

// Every round passes here, whether anybody reads the trace or not: no second buffer on the way.
void AddTrace(Trace& trace, const char* what, const char* text)
{
    size_t length = strlen(trace.text);
    size_t begin = strlen(what);
    size_t added = begin + strlen(text);
    char* line = trace.text + length;
    if (length + added + 1 >= TRACE_SIZE)
        return;
    CopyText(line, added + 1, what);
    CopyText(line + begin, added + 1 - begin, text);
    MakePrintable(line);
    line[added] = '\n';
    line[added + 1] = '\0';
}

void JoinTrace(Trace& trace, const Trace& other)
{
    size_t length = strlen(trace.text);
    if (length + strlen(other.text) < TRACE_SIZE)
        CopyText(trace.text + length, TRACE_SIZE - length, other.text);
}

void LogTrace(Trace& trace, bool isWanted)
{
    char* rest = trace.text;
    while (const char* line = isWanted ? strtok_r(rest, "\n", &rest) : nullptr)
        WriteLog(LOG_DEBUG, "%s", line);
    trace.text[0] = '\0';
}
