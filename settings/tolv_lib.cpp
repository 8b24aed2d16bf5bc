#include "settings/tolv_lib.h"

#include "base/newfile.h"
#include "base/system.h"
#include "base/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t VALUE_BUFFER_SIZE = 524;   // all bracketed values of wardenlink.cfg
constexpr size_t TEXT_FILE_SIZE = 2048;     // the eleven lines at their longest
constexpr size_t TEXT_READ_LIMIT = 1 << 20; // what lies beyond is no settings file's

// How a line of wardenlink.cfg is read and written.
enum LineKind {
    LINE_INT16,
    LINE_INT32,
    LINE_OFF_DELAY,   // minutes with one decimal
    LINE_WHOLE_VOLTS, // written with one decimal, read without
    LINE_TEXT
};

struct ConfigLine {
    const char* label; // what stands before the bracket
    LineKind kind;
    size_t offset; // of the field in PowerConfig
};

// The lines in file order, which is not the record's: the position of a value,
// not its label, decides which field it belongs to.
constexpr ConfigLine CONFIG_LINES[] = {
    {"AC Fail Delay         ( 1 ... 1440 min. )  : ", LINE_INT16,
     offsetof(PowerConfig, acFailDelay)},
    {"Batt Low Delay        ( 1 ... 10 min.   )  : ", LINE_INT16,
     offsetof(PowerConfig, battLowDelay)},
    {"Turn Off UPS Delay    ( 0.2 ... 10 min. )  : ", LINE_OFF_DELAY,
     offsetof(PowerConfig, upsOffDelay)},
    {"Battery Rating        ( 12.0 ... 96.0 v )  : ", LINE_WHOLE_VOLTS,
     offsetof(PowerConfig, batteryRating)},
    {"UPS Comport           ( /dev/xxttyxx    )  : ", LINE_TEXT, offsetof(PowerConfig, comPort)},
    {"Turn Off UPS?         ( 0 - no, 1 - yes )  : ", LINE_INT32,
     offsetof(PowerConfig, turnOffUps)},
    {"Schedule Function     ( 0 - off, 1 - on )  : ", LINE_INT16,
     offsetof(PowerConfig, scheduleOn)},
    {"Countdown Function    ( 0 - off, 1 - on )  : ", LINE_INT16,
     offsetof(PowerConfig, countdownOn)},
    {"Communication Mode    ( 0-Port, 1-SNMP  )  : ", LINE_INT32, offsetof(PowerConfig, commMode)},
    {"SNMP IP Address       ( xxx.xxx.xxx.xxx )  : ", LINE_TEXT, offsetof(PowerConfig, snmpIp)},
    {"SNMP Community Name   ( e.g. public     )  : ", LINE_TEXT,
     offsetof(PowerConfig, snmpCommunity)},
};
static_assert(sizeof(CONFIG_LINES) / sizeof(CONFIG_LINES[0]) == 11);

char* FieldAddress(PowerConfig& cfg, const ConfigLine& line)
{
    return reinterpret_cast<char*>(&cfg) + line.offset;
}

template <typename Number> Number LoadNumber(const PowerConfig& cfg, const ConfigLine& line)
{
    Number number;
    memcpy(&number, reinterpret_cast<const char*>(&cfg) + line.offset, sizeof(number));
    return number;
}

template <typename Number> void StoreNumber(PowerConfig& cfg, const ConfigLine& line, Number number)
{
    memcpy(FieldAddress(cfg, line), &number, sizeof(number));
}

// The fraction of a delay of one minute and more is dropped on purpose (2.5
// reads back as 2.0); below one minute the digit after the point counts.
float ParseOffDelay(const char* token)
{
    int whole = atoi(token);
    if (whole > 0)
        return static_cast<float>(whole);
    if (strlen(token) < 2)
        return 0.0F;
    return static_cast<float>(atoi(token + 2) / 10.0);
}

void ParseValue(PowerConfig& cfg, const ConfigLine& line, const char* token)
{
    switch (line.kind) {
    case LINE_INT16:
        StoreNumber(cfg, line, static_cast<int16_t>(atoi(token)));
        break;
    case LINE_INT32:
        StoreNumber(cfg, line, static_cast<int32_t>(atoi(token)));
        break;
    case LINE_OFF_DELAY:
        StoreNumber(cfg, line, ParseOffDelay(token));
        break;
    case LINE_WHOLE_VOLTS:
        StoreNumber(cfg, line, static_cast<float>(atoi(token)));
        break;
    case LINE_TEXT:
        CopyText(FieldAddress(cfg, line), SETTINGS_TEXT_SIZE, token);
        break;
    }
}

// Prints one line into dst, "label[value]" and a newline; gives its length.
size_t FormatLine(char* dst, size_t size, const PowerConfig& cfg, const ConfigLine& line)
{
    char shown[64];
    switch (line.kind) {
    case LINE_INT16:
        FormatText(shown, sizeof(shown), "%d", LoadNumber<int16_t>(cfg, line));
        break;
    case LINE_INT32:
        FormatText(shown, sizeof(shown), "%d", LoadNumber<int32_t>(cfg, line));
        break;
    case LINE_OFF_DELAY:
    case LINE_WHOLE_VOLTS:
        FormatText(shown, sizeof(shown), "%2.1f",
                   static_cast<double>(LoadNumber<float>(cfg, line)));
        break;
    case LINE_TEXT:
        FormatText(shown, sizeof(shown), "%.*s", SETTINGS_TEXT_SIZE - 1,
                   reinterpret_cast<const char*>(&cfg) + line.offset);
        break;
    }
    FormatText(dst, size, "%s[%s]\n", line.label, shown);
    return strlen(dst);
}

void TerminateTexts(PowerConfig& cfg)
{
    cfg.comPort[SETTINGS_TEXT_SIZE - 1] = '\0';
    cfg.snmpIp[SETTINGS_TEXT_SIZE - 1] = '\0';
    cfg.snmpCommunity[SETTINGS_TEXT_SIZE - 1] = '\0';
}

// A short file leaves the rest of the record and of the schedule as they were.
bool ReadBinary(PowerConfig& cfg, ScheduleEntry sched[7])
{
    FILE* file = OpenToRead(POWER_INI_PATH);
    if (file == nullptr)
        return false;
    char image[sizeof(cfg) + 7 * sizeof(sched[0])];
    memcpy(image, &cfg, sizeof(cfg));
    memcpy(image + sizeof(cfg), sched, 7 * sizeof(sched[0]));
    if (fread(image, 1, sizeof(image), file) > 0) {
        memcpy(&cfg, image, sizeof(cfg));
        memcpy(sched, image + sizeof(cfg), 7 * sizeof(sched[0]));
    }
    fclose(file);
    TerminateTexts(cfg);
    return true;
}

// Collects what stands between brackets, the values separated by one space. The
// first bracket's space is overwritten by the first value, the others stay.
void CollectValues(FILE* file, char values[VALUE_BUFFER_SIZE])
{
    bool inside = false;
    bool started = false;
    size_t index = 0;
    for (size_t count = 0; count < TEXT_READ_LIMIT && index < VALUE_BUFFER_SIZE - 1; count++) {
        int c = fgetc(file);
        if (c == EOF)
            break;
        if (c == '[')
            inside = true;
        if (c == ']')
            inside = false;
        if (!inside)
            continue;
        values[index] = c == '[' ? ' ' : static_cast<char>(c);
        if (started)
            index++;
        started = true;
    }
    values[index] = '\0';
}

bool ReadTextFile(PowerConfig& cfg)
{
    FILE* file = OpenToRead(TEXT_CFG_PATH);
    if (file == nullptr)
        return false;
    char values[VALUE_BUFFER_SIZE];
    CollectValues(file, values);
    fclose(file);
    char* rest = values;
    for (const ConfigLine& line : CONFIG_LINES) {
        const char* token = strtok_r(rest, " ", &rest);
        if (token == nullptr)
            break;
        ParseValue(cfg, line, token);
    }
    return true;
}

} // namespace

void InitConfig(PowerConfig& cfg, ScheduleEntry sched[7])
{
    cfg.acFailDelay = 5;
    cfg.battLowDelay = 1;
    cfg.upsOffDelay = 3.0F;
    cfg.batteryRating = 0.0F;
    CopyField(cfg.comPort, "/dev/ttyS1");
    CopyField(cfg.snmpIp, NO_AGENT_ADDRESS);
    CopyField(cfg.snmpCommunity, DEFAULT_COMMUNITY);
    cfg.scheduleOn = 0;
    cfg.countdownOn = 1;
    cfg.commMode = COMM_SNMP;
    cfg.turnOffUps = 1;
    cfg.reserved = 0;
    for (int day = 0; day < 7; day++)
        sched[day] = {-1, -1, -1, -1};
}

int ReadConfig(PowerConfig& cfg, ScheduleEntry sched[7])
{
    return ReadBinary(cfg, sched) && ReadTextFile(cfg) ? 1 : 0;
}

int WriteConfig(const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    char image[sizeof(cfg) + 7 * sizeof(sched[0])];
    memcpy(image, &cfg, sizeof(cfg));
    memcpy(image + sizeof(cfg), sched, 7 * sizeof(sched[0]));
    char text[TEXT_FILE_SIZE];
    size_t length = 0;
    for (const ConfigLine& line : CONFIG_LINES)
        length += FormatLine(text + length, sizeof(text) - length, cfg, line);

    NewFile binaryFile = {POWER_INI_PATH, ""};
    NewFile textFile = {TEXT_CFG_PATH, ""};
    bool isWritten =
        WriteNewFile(binaryFile, image, sizeof(image)) && WriteNewFile(textFile, text, length);
    bool isReplaced = isWritten && TakePlace(binaryFile) && TakePlace(textFile);
    DropNewFile(binaryFile);
    DropNewFile(textFile);
    return FlushFolder(SETTINGS_FOLDER) && isReplaced ? 1 : 0;
}

int LoadOrCreateConfig(PowerConfig& cfg, ScheduleEntry sched[7])
{
    InitConfig(cfg, sched);
    if (ReadConfig(cfg, sched) == 1)
        return 1;
    return WriteConfig(cfg, sched);
}

void PrintSettingsError()
{
    printf("File %s Error!\n", POWER_INI_PATH);
}
