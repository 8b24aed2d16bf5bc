// Both settings files together, through reading, showing and writing: wardenlink.cfg, a line that
// is a mere '=', and power.ini.
#include "config/tolvconf_layout.h"
#include "fuzz/support/fields.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "fuzz/support/terminal.h"
#include "screen/frame.h"
#include "settings/tolv_lib.h"
#include "status/tolvstat_comport.h"
#include "status/tolvstat_data.h"

#include <cmath>

namespace {

struct Settings {
    PowerConfig cfg;
    ScheduleEntry sched[7];
};

bool IsTerminated(const char (&text)[SETTINGS_TEXT_SIZE])
{
    return memchr(text, '\0', sizeof(text)) != nullptr;
}

// A value that stands in the text file as one word.
bool IsWord(const char* text)
{
    return text[0] != '\0' && strpbrk(text, " []") == nullptr;
}

bool IsWhole(float number, int most)
{
    return number >= 1.0F && number <= static_cast<float>(most) && truncf(number) == number;
}

// What the text file can say of these settings.
bool IsPlain(const PowerConfig& cfg)
{
    return IsWord(cfg.comPort) && IsWord(cfg.snmpIp) && IsWord(cfg.snmpCommunity) &&
           IsWhole(cfg.upsOffDelay, 10) && IsWhole(cfg.batteryRating, 1000000);
}

void CheckSettings(const Settings& settings)
{
    const PowerConfig& cfg = settings.cfg;
    Require(IsTerminated(cfg.comPort) && IsTerminated(cfg.snmpIp) &&
                IsTerminated(cfg.snmpCommunity),
            "texts are terminated");
    StatusFields fields = {};
    int shutdownDue = 0;
    GetFromConfig(fields, cfg, settings.sched, &shutdownDue);
    RequireWholeFields(fields);
    Require(shutdownDue == 0 ||
                (cfg.scheduleOn == 1 && std::string_view(fields.nextShutdown) != NO_EVENT),
            "what is due is scheduled");
}

Settings shown;

// In the editor, in each of its modes and with each alert, and on the local screen.
void PaintSettings()
{
    StatusFields fields = {};
    int shutdownDue = 0;
    InitScreen();
    for (int mode = MODE_ITEMS; mode <= MODE_ADDRESS; mode++) {
        for (int alert : {ALERT_NONE, ALERT_TOGGLE_REBOOT, ALERT_TOO_CLOSE}) {
            DrawString(shown.cfg, shown.sched, cw_p[ITEM_START_TIMES].row, 0, mode, alert);
            CheckCells();
        }
    }
    GetFromConfig(fields, shown.cfg, shown.sched, &shutdownDue);
    DrawScreen(fields, 1);
    CheckCells();
}

// Written and read, the schedule is what it was, and so are settings that the text file can say.
void CheckWriting(const Settings& settings)
{
    Require(WriteConfig(settings.cfg, settings.sched) == 1, "both files can be written");
    Require(ListFolder().size() == 2, "no scratch file stays");
    Settings again = {};
    Require(ReadConfig(again.cfg, again.sched) == 1, "both files can be read");
    CheckSettings(again);
    Require(memcmp(again.sched, settings.sched, sizeof(again.sched)) == 0,
            "the schedule is read as it was written");
    Require(again.cfg.reserved == settings.cfg.reserved, "what is the daemon's stays");
    if (IsPlain(settings.cfg))
        Require(memcmp(&again.cfg, &settings.cfg, offsetof(PowerConfig, comPort)) == 0 &&
                    strcmp(again.cfg.comPort, settings.cfg.comPort) == 0 &&
                    strcmp(again.cfg.snmpIp, settings.cfg.snmpIp) == 0 &&
                    strcmp(again.cfg.snmpCommunity, settings.cfg.snmpCommunity) == 0 &&
                    memcmp(&again.cfg.scheduleOn, &settings.cfg.scheduleOn, 4) == 0 &&
                    again.cfg.commMode == settings.cfg.commMode &&
                    again.cfg.turnOffUps == settings.cfg.turnOffUps,
                "plain settings are read as they were written");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    Input input = MakeInput(bytes, size);
    WriteFile(TEXT_CFG, TakePart(input));
    WriteFile(POWER_INI, TakeRest(input));
    Settings settings;
    InitConfig(settings.cfg, settings.sched);
    Require(ReadConfig(settings.cfg, settings.sched) == 1, "both files can be read");
    CheckSettings(settings);
    shown = settings;
    RunScreen(PaintSettings, NobodyThere);
    CheckWriting(settings);
    RequireFewDescriptors();
    return 0;
}
