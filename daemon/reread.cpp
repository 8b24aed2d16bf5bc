#include "daemon/reread.h"

#include "base/system.h"

#include <unistd.h>

namespace {

constexpr int64_t PERIOD = 60000; // milliseconds

void StartTrial(Child& trial)
{
    trial = {fork(), INT64_MAX}; // one that hangs is left alone: a second one would hang, too
    if (trial.pid != 0)
        return;
    PrepareChild(-1);
    _exit(IsSettingsFileReadable(POWER_INI_PATH) && IsSettingsFileReadable(TEXT_CFG_PATH) ? 0 : 1);
}

} // namespace

SettingsRead ReadOrTryAgain(Reread& reread, PowerConfig& cfg, ScheduleEntry sched[7])
{
    SettingsRead read = ReadSettings(cfg, sched);
    bool wasRefused = reread.at != NEVER;
    EndChild(reread.trial);
    reread = NO_REREAD;
    if (read == SETTINGS_REFUSED || (wasRefused && read == SETTINGS_PART))
        reread.at = BootMilliseconds() + PERIOD; // counted from the end of what may have taken long
    return read;
}

bool IsRereadDue(Reread& reread, int64_t now, bool partWillDo)
{
    int status = -1;
    if (reread.at == NEVER)
        return false;
    if (reread.trial.pid < 0) {
        if (now >= reread.at)
            StartTrial(reread.trial);
        return false;
    }
    if (WatchChild(reread.trial, now, &status))
        return false;
    reread.at = now + PERIOD;
    return status == 0 || partWillDo;
}
