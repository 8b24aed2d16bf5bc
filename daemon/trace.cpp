#include "daemon/trace.h"

#include "base/text.h"
#include "daemon/log.h"

#include <cstring>

// Every round passes here, whether anybody reads the trace or not: no copy is made on the way.
void AddTrace(Trace& trace, const char* what, const char* text)
{
    size_t length = strlen(trace.text);
    size_t added = strlen(what) + strlen(text);
    char* line = trace.text + length;
    if (length + added + 1 >= TRACE_SIZE)
        return;
    FormatText(line, added + 1, "%s%s", what, text);
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
