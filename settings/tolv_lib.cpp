#include "settings/tolv_lib.h"

#include "base/newfile.h"
#include "base/system.h"
#include "base/text.h"

#include <cerrno>
#include <cfloat>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

namespace {

constexpr size_t VALUE_BUFFER_SIZE = 524; // all bracketed values of wardenlink.cfg
constexpr size_t READ_BUFFER_SIZE = 4096;
constexpr size_t TEXT_READ_LIMIT = 1 << 20; // in bytes: what lies beyond is no settings file's

// power.ini as a whole.
struct SettingsImage {
    PowerConfig config;
    ScheduleEntry schedule[7];
};
static_assert(sizeof(SettingsImage) == 232);

// How a line of wardenlink.cfg is read and written.
enum LineKind {
    LINE_INT16,
    LINE_INT32,
    LINE_OFF_DELAY,   // minutes with one decimal
    LINE_WHOLE_VOLTS, // written with one decimal, read without
    LINE_TEXT
};

using SettingsText = char[SETTINGS_TEXT_SIZE];

struct ConfigLine {
    const char* label; // what stands before the bracket
    LineKind kind;
    union { // the field, of the type that the kind says
        int16_t PowerConfig::*int16;
        int32_t PowerConfig::*int32;
        float PowerConfig::*decimal;
        SettingsText PowerConfig::*text;
    };
};

// The only makers of lines: a kind follows from its field's type.
constexpr ConfigLine Line(const char* label, int16_t PowerConfig::*field)
{
    return {label, LINE_INT16, {.int16 = field}};
}

constexpr ConfigLine Line(const char* label, int32_t PowerConfig::*field)
{
    return {label, LINE_INT32, {.int32 = field}};
}

constexpr ConfigLine Line(const char* label, SettingsText PowerConfig::*field)
{
    return {label, LINE_TEXT, {.text = field}};
}

constexpr ConfigLine OffDelayLine(const char* label, float PowerConfig::*field)
{
    return {label, LINE_OFF_DELAY, {.decimal = field}};
}

constexpr ConfigLine WholeVoltsLine(const char* label, float PowerConfig::*field)
{
    return {label, LINE_WHOLE_VOLTS, {.decimal = field}};
}

// The lines in file order, which is not the record's: the position of a value,
// not its label, decides which field it belongs to.
constexpr ConfigLine CONFIG_LINES[] = {
    Line("AC Fail Delay         ( 1 ... 1440 min. )  : ", &PowerConfig::acFailDelay),
    Line("Batt Low Delay        ( 1 ... 10 min.   )  : ", &PowerConfig::battLowDelay),
    OffDelayLine("Turn Off UPS Delay    ( 0.2 ... 10 min. )  : ", &PowerConfig::upsOffDelay),
    WholeVoltsLine("Battery Rating        ( 12.0 ... 96.0 v )  : ", &PowerConfig::batteryRating),
    Line("UPS Comport           ( /dev/xxttyxx    )  : ", &PowerConfig::comPort),
    Line("Turn Off UPS?         ( 0 - no, 1 - yes )  : ", &PowerConfig::turnOffUps),
    Line("Schedule Function     ( 0 - off, 1 - on )  : ", &PowerConfig::scheduleOn),
    Line("Countdown Function    ( 0 - off, 1 - on )  : ", &PowerConfig::countdownOn),
    Line("Communication Mode    ( 0-Port, 1-SNMP  )  : ", &PowerConfig::commMode),
    Line("SNMP IP Address       ( xxx.xxx.xxx.xxx )  : ", &PowerConfig::snmpIp),
    Line("SNMP Community Name   ( e.g. public     )  : ", &PowerConfig::snmpCommunity),
};
static_assert(sizeof(CONFIG_LINES) / sizeof(CONFIG_LINES[0]) == 11);

constexpr size_t LABEL_LENGTH = 45;   // of each: the brackets stand below each other
constexpr size_t BRACKETS_LENGTH = 3; // "[" and "]\n"

constexpr size_t LongestValue(LineKind kind)
{
    switch (kind) {
    case LINE_INT16:
        return std::string_view("-32768").size();
    case LINE_INT32:
        return std::string_view("-2147483648").size();
    case LINE_OFF_DELAY:
    case LINE_WHOLE_VOLTS:
        return std::string_view("-").size() + (FLT_MAX_10_EXP + 1) + std::string_view(".0").size();
    case LINE_TEXT:
        break;
    }
    return SETTINGS_TEXT_SIZE - 1;
}

constexpr size_t VALUE_SIZE = LongestValue(LINE_OFF_DELAY) + 1;

constexpr bool LinesAreEven()
{
    for (const ConfigLine& line : CONFIG_LINES) {
        if (std::string_view(line.label).size() != LABEL_LENGTH ||
            LongestValue(line.kind) >= VALUE_SIZE)
            return false;
    }
    return true;
}
static_assert(LinesAreEven());

// The sum of the longest values and of what else each line takes.
constexpr size_t SumOfLines(size_t perLine)
{
    size_t sum = 0;
    for (const ConfigLine& line : CONFIG_LINES)
        sum += LongestValue(line.kind) + perLine;
    return sum;
}

constexpr size_t TEXT_FILE_SIZE = SumOfLines(LABEL_LENGTH + BRACKETS_LENGTH) + 1;
static_assert(SumOfLines(1) <= VALUE_BUFFER_SIZE, "what a save writes is read back whole");

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
        cfg.*line.int16 = static_cast<int16_t>(atoi(token));
        break;
    case LINE_INT32:
        cfg.*line.int32 = atoi(token);
        break;
    case LINE_OFF_DELAY:
        cfg.*line.decimal = ParseOffDelay(token);
        break;
    case LINE_WHOLE_VOLTS:
        cfg.*line.decimal = static_cast<float>(atoi(token));
        break;
    case LINE_TEXT:
        CopyField(cfg.*line.text, token);
        break;
    }
}

// Prints one line into dst, "label[value]" and a newline; gives its length.
size_t FormatLine(char* dst, size_t size, const PowerConfig& cfg, const ConfigLine& line)
{
    char value[VALUE_SIZE];
    switch (line.kind) {
    case LINE_INT16:
        FormatText(value, sizeof(value), "%d", cfg.*line.int16);
        break;
    case LINE_INT32:
        FormatText(value, sizeof(value), "%d", cfg.*line.int32);
        break;
    case LINE_OFF_DELAY:
    case LINE_WHOLE_VOLTS:
        FormatText(value, sizeof(value), "%2.1f", static_cast<double>(cfg.*line.decimal));
        break;
    case LINE_TEXT:
        CopyText(value, SETTINGS_TEXT_SIZE, cfg.*line.text);
        break;
    }
    FormatText(dst, size, "%s[%s]\n", line.label, value);
    return strlen(dst);
}

void TerminateTexts(PowerConfig& cfg)
{
    cfg.comPort[SETTINGS_TEXT_SIZE - 1] = '\0';
    cfg.snmpIp[SETTINGS_TEXT_SIZE - 1] = '\0';
    cfg.snmpCommunity[SETTINGS_TEXT_SIZE - 1] = '\0';
}

// Copies the bytes, since the record's padding belongs to the file too.
void FillImage(SettingsImage& image, const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    memcpy(&image.config, &cfg, sizeof(image.config));
    memcpy(image.schedule, sched, sizeof(image.schedule));
}

// A short file leaves the rest of the record and of the schedule as they were.
bool ReadBinary(PowerConfig& cfg, ScheduleEntry sched[7])
{
    int fd = OpenToRead(POWER_INI_PATH);
    if (fd < 0)
        return false;
    SettingsImage image;
    FillImage(image, cfg, sched);
    if (ReadBytes(fd, &image, sizeof(image)) > 0) {
        memcpy(&cfg, &image.config, sizeof(image.config));
        memcpy(sched, image.schedule, sizeof(image.schedule));
    }
    close(fd);
    TerminateTexts(cfg);
    return true;
}

// What stands between brackets, the values separated by one space. The first
// bracket's space is overwritten by the first value, the others stay.
struct Collected {
    char values[VALUE_BUFFER_SIZE];
    size_t length;
    bool isInside;
    bool isStarted;
};

void CollectValues(Collected& collected, const char* text, size_t size)
{
    for (const char* c = text; c < text + size && collected.length < VALUE_BUFFER_SIZE - 1; c++) {
        if (*c == '[')
            collected.isInside = true;
        if (*c == ']')
            collected.isInside = false;
        if (!collected.isInside)
            continue;
        collected.values[collected.length] = *c == '[' ? ' ' : *c;
        if (collected.isStarted)
            collected.length++;
        collected.isStarted = true;
    }
    collected.values[collected.length] = '\0';
}

bool ReadTextFile(PowerConfig& cfg)
{
    int fd = OpenToRead(TEXT_CFG_PATH);
    if (fd < 0)
        return false;
    char text[READ_BUFFER_SIZE];
    Collected collected = {};
    size_t count = sizeof(text);
    for (size_t all = 0; count == sizeof(text) && all < TEXT_READ_LIMIT; all += count) {
        count = ReadBytes(fd, text, sizeof(text));
        CollectValues(collected, text, count);
    }
    close(fd);
    char* rest = collected.values;
    for (const ConfigLine& line : CONFIG_LINES) {
        const char* token = strtok_r(rest, " ", &rest);
        if (token == nullptr)
            break;
        ParseValue(cfg, line, token);
    }
    return true;
}

bool AreReadable()
{
    return IsSettingsFileReadable(POWER_INI_PATH) && IsSettingsFileReadable(TEXT_CFG_PATH);
}

bool IsMissing(const char* path)
{
    return access(path, F_OK) != 0 && errno == ENOENT;
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

bool IsSettingsFileReadable(const char* path)
{
    int fd = OpenToRead(path);
    if (fd < 0)
        return errno == ENOENT;
    char bytes[READ_BUFFER_SIZE];
    ssize_t count = 1;
    for (size_t all = 0; count > 0 && all < TEXT_READ_LIMIT; all += static_cast<size_t>(count))
        count = read(fd, bytes, sizeof(bytes));
    close(fd);
    return count >= 0;
}

// A disk may fail just before or just after ReadConfig has looked.
SettingsRead ReadSettings(PowerConfig& cfg, ScheduleEntry sched[7])
{
    bool isReadable = AreReadable();
    bool isWhole = ReadConfig(cfg, sched) == 1;
    if (isReadable && AreReadable()) {
        if (isWhole)
            return SETTINGS_WHOLE;
        if (IsMissing(POWER_INI_PATH) || IsMissing(TEXT_CFG_PATH))
            return SETTINGS_PART;
    }
    ReadTextFile(cfg); // which ReadConfig leaves alone where power.ini cannot be opened
    return SETTINGS_REFUSED;
}

int WriteConfig(const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    SettingsImage image;
    FillImage(image, cfg, sched);
    char text[TEXT_FILE_SIZE];
    size_t length = 0;
    for (const ConfigLine& line : CONFIG_LINES)
        length += FormatLine(text + length, sizeof(text) - length, cfg, line);

    RemoveLeftovers(SETTINGS_FOLDER, {POWER_INI_PATH, TEXT_CFG_PATH});
    NewFile binaryFile = {POWER_INI_PATH, ""};
    NewFile textFile = {TEXT_CFG_PATH, ""};
    bool isWritten =
        WriteNewFile(binaryFile, &image, sizeof(image)) && WriteNewFile(textFile, text, length);
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
