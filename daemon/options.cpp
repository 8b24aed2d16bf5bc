#include "daemon/options.h"

#include <cstring>

const char USAGE_TEXT[] =
    "Usage: tolvd [--foreground] [--dry-run]\n"
    "       tolvd --check\n"
    "       tolvd --setup serial DEVICE\n"
    "       tolvd --setup snmp ADDRESS [COMMUNITY]\n"
    "       tolvd --status [--json]\n"
    "       tolvd --help | --version\n"
    "\n"
    "  (no option)   watch the UPS in the background\n"
    "  --foreground  stay, and log to standard error\n"
    "  --dry-run     never turn the UPS off nor shut the system down: only say so\n"
    "  --check       ask the UPS once and say what the settings mean\n"
    "  --setup       write how the UPS is reached into the settings, then --check\n"
    "  --status      the running daemon's last reading; exit status 0 mains good,\n"
    "                1 not known, 2 power failure, 3 battery low or going down\n";

namespace {

constexpr char FRONT_END_ARGUMENT[] = "            ";

bool Is(const char* word, const char* other)
{
    return strcmp(word, other) == 0;
}

Options TaskAlone(Task task, int argc)
{
    Options options = {};
    options.task = argc == 2 ? task : TASK_USAGE_ERROR;
    return options;
}

Options ReadRun(int argc, const char* const argv[])
{
    Options options = {};
    options.task = TASK_RUN;
    for (int i = 1; i < argc; i++) {
        if (Is(argv[i], "--foreground"))
            options.isForeground = true;
        else if (Is(argv[i], "--dry-run"))
            options.isDryRun = true;
        else if (!Is(argv[i], FRONT_END_ARGUMENT) || argc > 2)
            options.task = TASK_USAGE_ERROR;
    }
    return options;
}

Options ReadSetup(int argc, const char* const argv[])
{
    Options options = {};
    if (argc == 4 && Is(argv[2], "serial")) {
        options.task = TASK_SETUP_SERIAL;
        options.device = argv[3];
    } else if ((argc == 4 || argc == 5) && Is(argv[2], "snmp")) {
        options.task = TASK_SETUP_SNMP;
        options.address = argv[3];
        options.community = argc == 5 ? argv[4] : nullptr;
    }
    return options;
}

Options ReadStatusQuestion(int argc, const char* const argv[])
{
    Options options = {};
    options.isJson = argc == 3 && Is(argv[2], "--json");
    options.task = argc == 2 || options.isJson ? TASK_STATUS : TASK_USAGE_ERROR;
    return options;
}

} // namespace

Options ReadOptions(int argc, const char* const argv[])
{
    if (argc < 2)
        return ReadRun(argc, argv);
    if (Is(argv[1], "--check"))
        return TaskAlone(TASK_CHECK, argc);
    if (Is(argv[1], "--setup"))
        return ReadSetup(argc, argv);
    if (Is(argv[1], "--status"))
        return ReadStatusQuestion(argc, argv);
    if (Is(argv[1], "--help"))
        return TaskAlone(TASK_HELP, argc);
    if (Is(argv[1], "--version"))
        return TaskAlone(TASK_VERSION, argc);
    return ReadRun(argc, argv);
}
