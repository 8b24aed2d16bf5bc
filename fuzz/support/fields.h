// What has to hold of the texts that a status screen shows.
#pragma once

#include "fuzz/support/input.h"
#include "status/tolvstat_fields.h"

inline void RequireWholeFields(const StatusFields& fields)
{
    for (const FieldSize& entry : STATUS_RECORD)
        Require(memchr(FieldText(fields, entry.field), '\0', entry.size) != nullptr,
                "fields are terminated");
}
