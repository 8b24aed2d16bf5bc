#include "sim/daemon/daemon_settings.h"

#include <cstdio>

#ifdef WARDENLINK_SETTINGS

#include "settings/tolv_lib.h"

void RereadSettings()
{
    PowerConfig config = {};
    ScheduleEntry schedule[7] = {};
    InitConfig(config, schedule);
    int read = ReadConfig(config, schedule);
    printf("settings re-read: comm mode %d, AC fail delay %d, battery low delay %d, "
           "turn-off delay %.1f, device %.29s, agent %.29s%s\n",
           config.commMode, config.acFailDelay, config.battLowDelay,
           static_cast<double>(config.upsOffDelay), config.comPort, config.snmpIp,
           read ? "" : " (not all files readable)");
    fflush(stdout);
}

#else

void RereadSettings()
{
    printf("settings re-read: not possible in this build\n");
    fflush(stdout);
}

#endif
