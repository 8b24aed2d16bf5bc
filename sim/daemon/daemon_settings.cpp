#include "sim/daemon/daemon_settings.h"

#include "settings/tolv_lib.h"

#include <cstdio>

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
           read != 0 ? "" : " (not all files readable)");
    fflush(stdout);
}
