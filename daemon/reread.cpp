#include "daemon/reread.h"

#include "base/system.h"

#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int64_t PERIOD = 60000;        // milliseconds
constexpr int64_t LONGEST = 10 * PERIOD; // of a trial: a good file may stand there since
constexpr const char* FILES[] = {POWER_INI_PATH, TEXT_CFG_PATH};

// Its exit status says how many files are refused.
void StartTrial(Child& trial, int64_t now)
{
    trial = {fork(), now + LONGEST};
    if (trial.pid > 0)
        setpgid(trial.pid, trial.pid);
    if (trial.pid != 0)
        return;
    setpgid(0, 0);
    PrepareChild(-1);
    int refused = 0;
    for (const char* path : FILES)
        refused += IsSettingsFileReadable(path) ? 0 : 1;
    _exit(refused);
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
            StartTrial(reread.trial, now);
        return false;
    }
    if (WatchChild(reread.trial, now, &status))
        return false;
    reread.at = now + PERIOD;
    bool isPart = WIFEXITED(status) && WEXITSTATUS(status) < static_cast<int>(std::size(FILES));
    return status == 0 || (partWillDo && isPart);
}
