#include "daemon/reply_files.h"

#include "base/system.h"
#include "daemon/reading.h"
#include "daemon/whole_file.h"

#include <cstring>
#include <initializer_list>
#include <unistd.h>

namespace {

// Writing may wait for a disk, reading back what was just written does not.
bool IsKept(const char* path, const char* reply)
{
    char kept[REPLY_ROOM];
    long length = ReadSmallFile(path, kept, sizeof(kept));
    return length == static_cast<long>(strlen(reply)) && strcmp(kept, reply) == 0;
}

bool KeepReply(const char* path, const char* reply)
{
    if (reply == nullptr || IsKept(path, reply) ||
        ReplaceWholeFile(path, reply, strlen(reply), 0644))
        return true;
    unlink(path);
    return false;
}

} // namespace

bool KeepStatusReply(const char* reply)
{
    return KeepReply(STATUS_REPLY_PATH, reply);
}

bool KeepRatingReply(const char* reply)
{
    return KeepReply(RATING_REPLY_PATH, reply);
}

bool KeepModelReply(const char* reply)
{
    return KeepReply(MODEL_REPLY_PATH, reply);
}

void RemoveReplyFiles()
{
    for (const char* path : {STATUS_REPLY_PATH, RATING_REPLY_PATH, MODEL_REPLY_PATH})
        unlink(path);
}
