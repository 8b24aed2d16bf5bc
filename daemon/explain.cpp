#include "daemon/explain.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/policy_schedule.h"
#include "daemon/policy_settings.h"
#include "daemon/tell.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace {

constexpr size_t ANSWER_SIZE = 2048; // longer than any trouble with its remedy

void PrintWay(const PowerConfig& cfg, UpsPath path)
{
    if (path == PATH_SERIAL)
        PrintAnswer("The UPS is on the serial line %s.", cfg.comPort);
    else if (path == PATH_AGENT)
        PrintAnswer("The UPS is behind the SNMP agent %s.", cfg.snmpIp);
    else
        printf("The settings name no UPS: nothing is protected. See --setup.\n");
}

void PrintDelays(const PolicySettings& settings)
{
    char text[64];
    FormatDuration(text, sizeof(text), static_cast<int>(settings.acFailDelay / 1000));
    printf("After a power failure of %s the system is shut down,\n", text);
    FormatDuration(text, sizeof(text), static_cast<int>(settings.battLowDelay / 1000));
    printf("or %s after the battery was first low in it, whichever is sooner.\n", text);
    if (settings.turnsUpsOff)
        printf("The UPS is told to turn off %.1f minutes later, and to come back.\n",
               static_cast<double>(settings.offDelay));
    else
        printf("The UPS stays on.\n");
    printf("Users %s told of a coming shutdown.\n", settings.tellsUsers ? "are" : "are not");
}

void PrintReturn(const PolicySettings& settings, const ScheduledShutdown& next)
{
    if (!next.hasStart) {
        printf("The UPS does not come back after that: no start follows.\n");
        return;
    }
    char when[WHEN_SIZE] = "";
    int minutes = CutToRange(static_cast<int>(settings.offDelay), 1, 9999) +
                  CutToRange(next.restartMinutes, 1, 9999);
    FormatWhen(when, next.at + time_t{60} * minutes);
    printf("The UPS comes back at %s.\n", when);
}

void PrintSchedule(const PolicySettings& settings)
{
    if (!settings.isScheduleOn) {
        printf("The weekly schedule is off.\n");
        return;
    }
    ScheduledShutdown next = NextScheduled(time(nullptr), settings.schedule, settings.offDelay);
    if (next.at == -1) {
        printf("The weekly schedule is on and holds no shutdown.\n");
        return;
    }
    char when[WHEN_SIZE];
    FormatWhen(when, next.at);
    printf("The weekly schedule shuts the system down next at %s.\n", when);
    if (settings.turnsUpsOff)
        PrintReturn(settings, next);
}

} // namespace

void PrintAnswer(const char* format, ...)
{
    char line[ANSWER_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    MakePrintable(line);
    puts(line);
}

void FormatWhen(char (&text)[WHEN_SIZE], time_t at)
{
    tm local = LocalTime(at);
    text[0] = '\0';
    strftime(text, sizeof(text), "%Y-%m-%d %H:%M", &local);
}

void PrintSettings(const PowerConfig& cfg, const ScheduleEntry sched[7], UpsPath path)
{
    PolicySettings settings;
    MakePolicySettings(cfg, sched, settings);
    PrintWay(cfg, path);
    PrintDelays(settings);
    PrintSchedule(settings);
}
