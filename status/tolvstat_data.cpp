#include "status/tolvstat_data.h"

#include "base/system.h"
#include "base/text.h"
#include "settings/schedule.h"

#include <cstring>
#include <ctime>
#include <iterator>
#include <string_view>
#include <unistd.h>

// The daemon's status file and the trace switch; -1 and null while not open.
static int fsdesQ1 = -1;
static FILE* fsdesDBGSTATUS = nullptr;

namespace {

// Bytes read of each reply, its line end included.
constexpr size_t STATUS_REPLY_LENGTH = 48;
constexpr size_t RATING_REPLY_LENGTH = 22;
constexpr size_t MODEL_REPLY_LENGTH = 39;

// The trace switch: so many bytes of it are looked at.
constexpr size_t SWITCH_LENGTH = 20;
constexpr char SWITCH_WORD[] = "debug";
constexpr char WHITE_SPACE[] = " \t\n\v\f\r";

// One token of a reply. A length of 0 takes any, cut to the field.
struct ReplyToken {
    StatusField field;
    size_t length;
    bool blankZeros; // leading zeros become blanks
};

constexpr ReplyToken STATUS_TOKENS[] = {
    {STATUS_FIELD(inputVoltage), 5, false},   {STATUS_FIELD(faultVoltage), 0, false},
    {STATUS_FIELD(outputVoltage), 5, false},  {STATUS_FIELD(loadPercent), 3, true},
    {STATUS_FIELD(inputFrequency), 4, false}, {STATUS_FIELD(batteryVoltage), 4, false},
    {STATUS_FIELD(temperature), 4, false},
};

constexpr ReplyToken RATING_TOKENS[] = {
    {STATUS_FIELD(ratingVoltage), 5, false},
    {STATUS_FIELD(ratingCurrent), 3, true},
    {STATUS_FIELD(batteryRating), 5, false},
    {STATUS_FIELD(lineFrequency), 4, false},
};

// The status bits in the order of the reply.
struct StatusBit {
    StatusField field;
    const char* whenSet;
    const char* whenClear;
};

constexpr StatusBit STATUS_BITS[] = {
    {STATUS_FIELD(acPower), TEXT_AC_FAILS, TEXT_NORMAL},
    {STATUS_FIELD(batteryStatus), TEXT_BATTERY_LOW, TEXT_NORMAL},
    {STATUS_FIELD(boostBuck), TEXT_ON, TEXT_OFF},
    {STATUS_FIELD(upsFunctioning), TEXT_UPS_FAILED, "Normal"},
    {STATUS_FIELD(upsType), TEXT_STANDBY, "On Line"},
    {STATUS_FIELD(selfTest), TEXT_IN_PROGRESS, "Stop       "},
};
constexpr size_t STATUS_BITS_LENGTH = 8; // two more bits are not shown

constexpr StatusField UNKNOWN_AT_START[] = {
    STATUS_FIELD(upsType),        STATUS_FIELD(ratingVoltage),  STATUS_FIELD(ratingCurrent),
    STATUS_FIELD(lineFrequency),  STATUS_FIELD(acPower),        STATUS_FIELD(batteryStatus),
    STATUS_FIELD(upsFunctioning), STATUS_FIELD(boostBuck),      STATUS_FIELD(temperature),
    STATUS_FIELD(selfTest),       STATUS_FIELD(inputVoltage),   STATUS_FIELD(outputVoltage),
    STATUS_FIELD(loadPercent),    STATUS_FIELD(batteryVoltage), STATUS_FIELD(inputFrequency),
    STATUS_FIELD(faultVoltage),
};

// --- what the tables above have to keep ------------------------------------------------

// A token that is kept whole fits its field with its terminator.
template <size_t count> constexpr bool DoTokensFit(const ReplyToken (&table)[count])
{
    for (const ReplyToken& token : table) {
        if (token.length >= token.field.size)
            return false;
    }
    return true;
}

// Both texts of a bit fill their field, or one would not wipe the other.
constexpr bool DoBitTextsFill()
{
    for (const StatusBit& bit : STATUS_BITS) {
        if (std::string_view(bit.whenSet).size() != bit.field.size - 1 ||
            std::string_view(bit.whenClear).size() != bit.field.size - 1)
            return false;
    }
    return true;
}

constexpr bool DoUnknownFieldsFit()
{
    for (const StatusField& field : UNKNOWN_AT_START) {
        if (field.size < sizeof(NOT_KNOWN))
            return false;
    }
    return true;
}

static_assert(DoTokensFit(STATUS_TOKENS) && DoTokensFit(RATING_TOKENS));
static_assert(DoBitTextsFill() && std::size(STATUS_BITS) <= STATUS_BITS_LENGTH);
static_assert(DoUnknownFieldsFit() && sizeof(NO_EVENT) <= sizeof(StatusFields::nextShutdown));
static_assert(sizeof(TEXT_ON) == sizeof(StatusFields::scheduleText) &&
              sizeof(TEXT_DUE) == sizeof(StatusFields::shutdownDue));
static_assert(STATUS_REPLY_LENGTH < REPLY_SIZE && RATING_REPLY_LENGTH < REPLY_SIZE &&
              MODEL_REPLY_LENGTH < REPLY_SIZE);
static_assert(COMM_PORT_LENGTH < sizeof(StatusFields::commPort));
static_assert(sizeof(SWITCH_WORD) - 1 <= SWITCH_LENGTH);

// --- reading the files -----------------------------------------------------------------

// Reads at most length bytes of a file just opened and drops the last character, the line end.
int ReadReply(int fd, size_t length, char* dst)
{
    char reply[REPLY_SIZE];
    reply[ReadBytes(fd, reply, length)] = '\0';
    dst[0] = '\0';
    if (reply[0] == '\0')
        return -1;
    reply[strlen(reply) - 1] = '\0';
    CopyText(dst, REPLY_SIZE, reply);
    return 1;
}

int ReadReplyFile(const char* path, size_t length, char* dst)
{
    dst[0] = '\0';
    int fd = OpenToRead(path);
    if (fd < 0)
        return -1;
    int result = ReadReply(fd, length, dst);
    close(fd);
    return result;
}

// Whether the first word of the trace switch is "debug". A word counts that ends within
// the first bytes of the file, however long the file is; one byte more tells its end.
bool IsTraceOn()
{
    if (fsdesDBGSTATUS == nullptr)
        return false;
    rewind(fsdesDBGSTATUS);
    char text[SWITCH_LENGTH + 2] = "";
    text[fread(text, 1, SWITCH_LENGTH + 1, fsdesDBGSTATUS)] = '\0';
    const char* word = text + strspn(text, WHITE_SPACE);
    const char* end = word + strcspn(word, WHITE_SPACE);
    return std::string_view(word, static_cast<size_t>(end - word)) == SWITCH_WORD &&
           end <= text + SWITCH_LENGTH;
}

// Echoes a status line. Whatever the file holds, nothing of it acts on the terminal.
void TraceStatusLine(const char* line)
{
    char shown[REPLY_SIZE];
    CopyField(shown, line);
    for (char* c = shown; *c != '\0'; c++) {
        if (*c < ' ' || *c > '~')
            *c = '?';
    }
    printf("<STATUS DEBUG> %s\n", shown);
}

// --- taking a reply apart --------------------------------------------------------------

char* WritableText(StatusFields& fields, const StatusField& field)
{
    return reinterpret_cast<char*>(&fields) + field.offset;
}

void SetField(StatusFields& fields, const StatusField& field, const char* text)
{
    CopyText(WritableText(fields, field), field.size, text);
}

void StoreToken(StatusFields& fields, const ReplyToken& wanted, const char* token)
{
    if (wanted.length != 0 && strlen(token) != wanted.length)
        return;
    SetField(fields, wanted.field, token);
    if (wanted.blankZeros)
        RpLeadingZeros(WritableText(fields, wanted.field));
}

void StoreStatusBits(StatusFields& fields, const char* bits)
{
    if (strlen(bits) != STATUS_BITS_LENGTH)
        return;
    for (const StatusBit& bit : STATUS_BITS)
        SetField(fields, bit.field, *bits++ == '1' ? bit.whenSet : bit.whenClear);
}

// Walks the tokens of the table and gives the one that follows them, or null.
template <size_t count>
const char* StoreTokens(StatusFields& fields, const ReplyToken (&table)[count],
                        const char* delimiters, char* line)
{
    char* rest = line;
    for (const ReplyToken& wanted : table) {
        const char* token = strtok_r(rest, delimiters, &rest);
        if (token == nullptr)
            return nullptr;
        StoreToken(fields, wanted, token);
    }
    return strtok_r(rest, delimiters, &rest);
}

// --- rendering the settings ------------------------------------------------------------

void SetSwitchText(char (&dst)[4], int state)
{
    if (state == 0)
        CopyField(dst, TEXT_OFF);
    if (state == 1)
        CopyField(dst, TEXT_ON);
}

// Each width in turn, the narrower one having the last word.
void SetDelayText(char* dst, size_t size, int minutes)
{
    if (minutes <= 9999)
        FormatText(dst, size, "%2d", minutes);
    if (minutes <= 999)
        FormatText(dst, size, " %2d", minutes);
    if (minutes < 61)
        FormatText(dst, size, "%2d.0", minutes);
}

void SetEventText(char (&dst)[11], int day, int hour, int minute)
{
    char dayName[5] = "";
    WeekDay(dayName, day);
    FormatText(dst, sizeof(dst), "%s %02d:%02d", dayName, hour, minute);
}

// Differences of the 32-bit clock hold across January 2038.
int SecondsUntil(int moment)
{
    return static_cast<int>(static_cast<unsigned>(moment) - static_cast<unsigned>(time(nullptr)));
}

} // namespace

void SOpenTextFile()
{
    if (fsdesQ1 < 0)
        fsdesQ1 = OpenToRead(STATUS_REPLY_PATH);
    if (fsdesDBGSTATUS != nullptr)
        return;
    fsdesDBGSTATUS = OpenStreamToRead(STATUS_DEBUG_PATH);
    if (fsdesDBGSTATUS != nullptr) // a buffer would hide what is written to it later
        setvbuf(fsdesDBGSTATUS, nullptr, _IONBF, 0);
}

int GetQ1fromTextFile(char* dst)
{
    dst[0] = '\0';
    if (fsdesQ1 < 0)
        return -1;
    // The daemon may have replaced the file: the name is what counts.
    close(fsdesQ1);
    fsdesQ1 = OpenToRead(STATUS_REPLY_PATH);
    if (fsdesQ1 < 0 || ReadReply(fsdesQ1, STATUS_REPLY_LENGTH, dst) == -1)
        return -1;
    if (IsTraceOn())
        TraceStatusLine(dst);
    return 1;
}

int GetRatingfromTextFile(char* dst)
{
    return ReadReplyFile(RATING_REPLY_PATH, RATING_REPLY_LENGTH, dst);
}

int GetModelfromTextFile(char* dst)
{
    return ReadReplyFile(MODEL_REPLY_PATH, MODEL_REPLY_LENGTH, dst);
}

void GetFromQ1(StatusFields& fields, const char* line)
{
    char copy[128];
    CopyField(copy, line);
    const char* bits = StoreTokens(fields, STATUS_TOKENS, "( \r\n", copy);
    if (bits != nullptr)
        StoreStatusBits(fields, bits);
}

void GetFromF(StatusFields& fields, const char* line)
{
    char copy[128];
    CopyField(copy, line);
    StoreTokens(fields, RATING_TOKENS, "# \r\n", copy);
}

void GetFromI(StatusFields& fields, const char* line)
{
    memset(fields.modelText, 0, sizeof(fields.modelText));
    if (line[0] != '\0')
        CopyField(fields.modelText, line + 1);
}

void InitScreenData(StatusFields& fields)
{
    for (const StatusField& field : UNKNOWN_AT_START)
        SetField(fields, field, NOT_KNOWN);
    if (ChkFloat(fields.batteryRating) == 0)
        CopyField(fields.batteryRating, NOT_KNOWN);
    memset(fields.modelText, 0, sizeof(fields.modelText));
}

void GetData(StatusFields& fields, int* failCount)
{
    char line[REPLY_SIZE];
    InitScreenData(fields);
    if (GetQ1fromTextFile(line) == -1) {
        (*failCount)++;
        return;
    }
    GetFromQ1(fields, line);
    *failCount = 0;
    if (GetModelfromTextFile(line) == 1)
        GetFromI(fields, line);
    if (GetRatingfromTextFile(line) == 1)
        GetFromF(fields, line);
}

void GetFromConfig(StatusFields& fields, const PowerConfig& config, const ScheduleEntry schedule[7],
                   int* shutdownDue)
{
    if (config.batteryRating >= 0)
        FormatText(fields.batteryRating, sizeof(fields.batteryRating), "%4.1f",
                   static_cast<double>(config.batteryRating));
    CopyText(fields.commPort, COMM_PORT_LENGTH + 1, config.comPort);
    SetSwitchText(fields.countdownText, config.countdownOn);
    SetSwitchText(fields.scheduleText, config.scheduleOn);
    SetDelayText(fields.acFailDelayText, sizeof(fields.acFailDelayText), config.acFailDelay);
    FormatText(fields.upsOffDelayText, sizeof(fields.upsOffDelayText), "%4.1f",
               static_cast<double>(config.upsOffDelay));
    CopyField(fields.shutdownDue, TEXT_NOT_DUE);
    CopyField(fields.nextShutdown, NO_EVENT);
    CopyField(fields.nextPowerOn, NO_EVENT);

    int shutdownAt = -1;
    int restartAfter = -1;
    int shutdownDay = -1;
    int restartDay = -1;
    CalcSchdlTime(schedule, &shutdownAt, &restartAfter, &shutdownDay, &restartDay,
                  static_cast<double>(config.upsOffDelay));
    if (shutdownDay == -1 || config.scheduleOn != 1)
        return;
    SetEventText(fields.nextShutdown, shutdownDay, schedule[shutdownDay].shutdownHour,
                 schedule[shutdownDay].shutdownMinute);
    if (restartDay != -1 && config.turnOffUps == 1)
        SetEventText(fields.nextPowerOn, restartDay, schedule[restartDay].startHour,
                     schedule[restartDay].startMinute);
    if (SecondsUntil(shutdownAt) < config.acFailDelay * 60) {
        CopyField(fields.shutdownDue, TEXT_DUE);
        *shutdownDue = 1;
    }
}
