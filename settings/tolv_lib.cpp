#include "settings/tolv_lib.h"

#include "base/system.h"
#include "base/text.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t VALUE_BUFFER_SIZE = 524;   // all bracketed values of wardenlink.cfg
constexpr size_t TEXT_FILE_SIZE = 2048;     // the eleven lines at their longest
constexpr size_t TEXT_READ_LIMIT = 1 << 20; // what lies beyond is no settings file's
constexpr size_t SCRATCH_NAME_SIZE = 64;
#define SCRATCH_FORMAT "%s/.%s.save-%s"

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

bool WriteAll(int fd, const char* bytes, size_t length)
{
    while (length > 0) {
        ssize_t written = write(fd, bytes, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

// Gives the new file the mode and owner of the one it will replace, or those
// that a newly created file would get.
bool TakeOverMode(int fd, const char* path)
{
    struct stat old = {};
    if (stat(path, &old) != 0) {
        if (errno != ENOENT)
            return false;
        mode_t mask = umask(0);
        umask(mask);
        return fchmod(fd, 0666 & ~mask) == 0;
    }
    struct stat fresh = {};
    if (fstat(fd, &fresh) != 0)
        return false;
    bool sameOwner = fresh.st_uid == old.st_uid && fresh.st_gid == old.st_gid;
    if (!sameOwner && fchown(fd, old.st_uid, old.st_gid) != 0)
        return false;
    return fchmod(fd, old.st_mode & 07777) == 0;
}

// A file system that cannot flush a folder says so and is taken at its word.
bool FlushFolder()
{
    int fd = open(SETTINGS_FOLDER, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool isFlushed = fsync(fd) == 0 || errno == EINVAL;
    close(fd);
    return isFlushed;
}

// What a save leaves behind that a power failure cut off. A name so odd is
// nobody's backup, and a minute is long enough for a save that still runs.
void RemoveLeftovers(const char* name)
{
    char pattern[SCRATCH_NAME_SIZE];
    FormatText(pattern, sizeof(pattern), SCRATCH_FORMAT, SETTINGS_FOLDER, name, "??????");
    glob_t found = {};
    if (glob(pattern, 0, nullptr, &found) == 0) {
        for (size_t i = 0; i < found.gl_pathc; i++) {
            struct stat scratch = {};
            if (stat(found.gl_pathv[i], &scratch) == 0 && scratch.st_mtime < time(nullptr) - 60)
                unlink(found.gl_pathv[i]);
        }
    }
    globfree(&found);
}

// Power may fail at any moment: the new content stands whole on the disk before
// it takes the old file's name, so a reader meets one or the other.
bool ReplaceFile(const char* path, const char* bytes, size_t length)
{
    const char* name = strrchr(path, '/') + 1;
    RemoveLeftovers(name);
    char scratch[SCRATCH_NAME_SIZE];
    FormatText(scratch, sizeof(scratch), SCRATCH_FORMAT, SETTINGS_FOLDER, name, "XXXXXX");
    int fd = mkostemp(scratch, O_CLOEXEC);
    if (fd < 0)
        return false;
    bool isWhole = TakeOverMode(fd, path) && WriteAll(fd, bytes, length) && fsync(fd) == 0;
    isWhole = close(fd) == 0 && isWhole;
    if (!isWhole || rename(scratch, path) != 0) {
        unlink(scratch);
        return false;
    }
    return FlushFolder();
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
    if (!ReplaceFile(POWER_INI_PATH, image, sizeof(image)))
        return 0;
    char text[TEXT_FILE_SIZE];
    size_t length = 0;
    for (const ConfigLine& line : CONFIG_LINES)
        length += FormatLine(text + length, sizeof(text) - length, cfg, line);
    return ReplaceFile(TEXT_CFG_PATH, text, length) ? 1 : 0;
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
