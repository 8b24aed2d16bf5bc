#include "base/system.h"
#include "daemon/check.h"
#include "daemon/log.h"
#include "daemon/loop.h"
#include "daemon/options.h"
#include "daemon/process.h"
#include "daemon/setup.h"
#include "daemon/state_files.h"
#include "daemon/status_command.h"
#include "daemon/status_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char VERSION_LINE[] = "tolvd 3.4\n";

int Fail(const char* why)
{
    fprintf(stderr, "tolvd: %s\n", why);
    return 1;
}

bool IsForRootAlone(Task task)
{
    return task == TASK_RUN || task == TASK_CHECK || task == TASK_SETUP_SERIAL ||
           task == TASK_SETUP_SNMP;
}

// The parent is done as soon as the child is on its own.
bool Detach()
{
    pid_t child = fork();
    if (child > 0)
        _exit(0);
    if (child < 0)
        return false;
    setsid();
    SendStreamsToNull();
    return true;
}

int GiveWay()
{
    char status[STATUS_TEXT_SIZE];
    bool isTrial = ReadRunningStatus(status, sizeof(status)) && IsDryRun(status);
    return Fail(isTrial ? "another tolvd is running; it is a dry run: nothing is protected"
                        : "another tolvd is running");
}

// The lock is taken before the parent says that all is well.
int Run(const Options& options)
{
    umask(022);
    int lock = TakeDaemonLock();
    if (lock == LOCK_TAKEN)
        return GiveWay();
    int lockError = errno;
    if (!options.isForeground && !Detach())
        return Fail("no process can be made to run in the background");
    OpenLog(options.isForeground);
    if (lock == LOCK_FAILED) // a full or read-only /run: better two daemons than none
        WriteLog(LOG_ERR, "%s: %s: another daemon would not be noticed", LOCK_PATH,
                 strerror(lockError));
    if (chdir("/") != 0)
        WriteLog(LOG_WARNING, "the working folder cannot be /");
    SpareFromMemoryShortage(true);
    Daemon daemon = {};
    daemon.isDryRun = options.isDryRun;
    return RunDaemon(daemon, OpenSignals());
}

int Dispatch(const Options& options)
{
    switch (options.task) {
    case TASK_RUN:
        return Run(options);
    case TASK_CHECK:
        return CheckUps();
    case TASK_SETUP_SERIAL:
        return SetUpSerial(options.device);
    case TASK_SETUP_SNMP:
        return SetUpAgent(options.address, options.community);
    case TASK_STATUS:
        return ShowStatus(options.isJson);
    case TASK_HELP:
        fputs(USAGE_TEXT, stdout);
        return 0;
    case TASK_VERSION:
        fputs(VERSION_LINE, stdout);
        return 0;
    default:
        fputs(USAGE_TEXT, stderr);
        return 1;
    }
}

} // namespace

int main(int argc, char* argv[])
{
    if (OpenStandardStreams() == 0)
        return 1;
    KeepOpenOnly(-1);
    Options options = ReadOptions(argc, argv);
    if (IsForRootAlone(options.task) && getuid() != 0)
        return Fail("only the super-user can do this");
    return Dispatch(options);
}
