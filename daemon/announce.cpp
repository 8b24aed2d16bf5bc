#include "daemon/announce.h"

namespace {

constexpr char WALL_PATH[] = "/usr/bin/wall";
constexpr int64_t LONGEST = 10000;

} // namespace

void StartAnnouncers(Announcers& announcers)
{
    for (Child& child : announcers.list)
        child = {-1, 0};
}

void Announce(Announcers& announcers, const char* text, int64_t now)
{
    Child* chosen = &announcers.list[0];
    for (Child& child : announcers.list) {
        if (child.pid < 0 || (chosen->pid >= 0 && child.endBy < chosen->endBy))
            chosen = &child;
        if (chosen->pid < 0)
            break;
    }
    EndChild(*chosen);
    const char* const arguments[] = {WALL_PATH, text, nullptr};
    StartChild(*chosen, arguments, nullptr, now + LONGEST);
}

void WatchAnnouncers(Announcers& announcers, int64_t now)
{
    int status = 0;
    for (Child& child : announcers.list)
        WatchChild(child, now, &status);
}
