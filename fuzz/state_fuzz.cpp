// What a daemon leaves in /run/wardenlink for those that follow and for everybody who asks: the
// kept outage, the mark of a shutdown and the status, parted by a line that is a mere '='. The
// words BOOT, NOW and PID stand for what they are on this machine, just now.
#include "daemon/deed_mark.h"
#include "daemon/process.h"
#include "daemon/state_files.h"
#include "daemon/status_command.h"
#include "daemon/status_file.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void Replace(std::string& text, std::string_view word, const std::string& meaning)
{
    for (size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += meaning.size())
        text.replace(at, word.size(), meaning);
}

std::string WithMeaning(std::string text)
{
    BootId boot;
    ReadBootId(boot);
    Replace(text, "BOOT", boot);
    Replace(text, "NOW", std::to_string(BootMilliseconds()));
    Replace(text, "PID", std::to_string(getpid()));
    return text;
}

bool IsOfThisBoot(const char* path, std::string_view begin)
{
    BootId boot;
    ReadBootId(boot);
    std::string text = ReadFile(path);
    return text.compare(0, begin.size(), begin) == 0 && text.find(boot) != std::string::npos;
}

void CheckOutage()
{
    PolicyKept kept = ReadKeptOutage();
    if (kept.outageSince != NEVER || kept.lowSince != NEVER || kept.lookedAt != NEVER)
        Require(IsOfThisBoot(OUTAGE_PATH, ""), "an outage is of this boot");
    PolicyState state;
    PolicyActions actions;
    PowerConfig cfg;
    ScheduleEntry schedule[7];
    InitConfig(cfg, schedule);
    int64_t now = BootMilliseconds();
    StartPolicy(state, cfg, schedule, kept, now, actions);
    Require(state.kept.outageSince == NEVER ||
                (state.kept.outageSince >= 0 && state.kept.outageSince <= now),
            "an outage has begun before now");
    Require(state.order.cause == CAUSE_NONE && state.isDoubted == (state.kept.outageSince != NEVER),
            "nobody goes down before the UPS was looked at");
}

void CheckMark()
{
    int64_t at = 0;
    pid_t deed = FindLastDeed();
    Require(deed == -1 || (deed > 1 && kill(deed, 0) == 0), "a shutdown at work is a process");
    if (FindDeedDone(&at))
        Require(IsOfThisBoot(LAST_DEED_PATH, "done"), "a shutdown that is done is of this boot");
}

void CheckStatus()
{
    char text[STATUS_TEXT_SIZE];
    char value[STATUS_VALUE_SIZE];
    for (const char* name : {"ups", "mains", "pid", "pending", "boot_milliseconds"}) {
        FindStatusMember(ReadFile(STATUS_PATH).c_str(), name, value);
        for (const char* c = value; *c != '\0'; c++)
            Require(*c >= ' ' && *c <= '~', "a value can be shown");
    }
    if (ReadRunningStatus(text, sizeof(text)))
        PrintStatusLines(text);
    for (bool isJson : {false, true})
        ShowStatus(isJson);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    Input input = MakeInput(bytes, size);
    mkdir(STATE_FOLDER, 0755);
    WriteFile(OUTAGE_PATH, WithMeaning(TakePart(input)));
    WriteFile(LAST_DEED_PATH, WithMeaning(TakePart(input)));
    WriteFile(STATUS_PATH, WithMeaning(TakeRest(input)));
    CheckOutage();
    CheckMark();
    CheckStatus();
    RequireFewDescriptors();
    return 0;
}
