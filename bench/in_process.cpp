// Pairs of calls in one process: what wardenlink does, and the bare system or library calls.
//
// In a world of tools/world with an agent; its address is in WARDENLINK_AGENT.

#include "base/system.h"
#include "ipc/tolvipc.h"
#include "settings/tolv_lib.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "tests/bare/bare_agent.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <sys/msg.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using benchmark::State;

// --- queues ------------------------------------------------------------------------------

void MessagesByProduct(State& state)
{
    int queue = CreateMsgQ(SCREEN_CONTROL_QUEUE);
    ClearMsgQ(queue);
    for (auto _ : state) {
        if (SendToMsgQ(queue, CONTROL_MESSAGE, CONTROL_RELOAD) != 1 ||
            ReadCtrlMsg(queue) != CTRL_RELOAD)
            state.SkipWithError("no message");
    }
}
BENCHMARK(MessagesByProduct);

void MessagesBare(State& state)
{
    int queue = CreateMsgQ(SCREEN_CONTROL_QUEUE);
    ClearMsgQ(queue);
    QueueMessage message = {CONTROL_MESSAGE, "010"};
    msqid_ds waiting = {};
    for (auto _ : state) {
        msgctl(queue, IPC_STAT, &waiting);
        if (msgsnd(queue, &message, 3, IPC_NOWAIT) != 0 ||
            msgrcv(queue, &message, sizeof(message.text), CONTROL_MESSAGE, IPC_NOWAIT) != 3)
            state.SkipWithError("no message");
    }
}
BENCHMARK(MessagesBare);

// --- the settings ------------------------------------------------------------------------

constexpr size_t BINARY_LENGTH = 232;

void ReadConfigByProduct(State& state)
{
    PowerConfig config;
    ScheduleEntry schedule[7];
    InitConfig(config, schedule);
    WriteConfig(config, schedule);
    for (auto _ : state) {
        if (ReadConfig(config, schedule) != 1)
            state.SkipWithError("no settings");
    }
}
BENCHMARK(ReadConfigByProduct);

ssize_t ReadWhole(const char* path, char* bytes, size_t size)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    ssize_t count = read(fd, bytes, size);
    close(fd);
    return count;
}

void ReadConfigBare(State& state)
{
    PowerConfig config;
    ScheduleEntry schedule[7];
    char bytes[4096];
    InitConfig(config, schedule);
    WriteConfig(config, schedule);
    for (auto _ : state) {
        if (ReadWhole(POWER_INI_PATH, bytes, sizeof(bytes)) != BINARY_LENGTH ||
            ReadWhole(TEXT_CFG_PATH, bytes, sizeof(bytes)) < 1)
            state.SkipWithError("no settings");
    }
}
BENCHMARK(ReadConfigBare);

void WriteConfigByProduct(State& state)
{
    PowerConfig config;
    ScheduleEntry schedule[7];
    InitConfig(config, schedule);
    for (auto _ : state) {
        if (WriteConfig(config, schedule) != 1)
            state.SkipWithError("not written");
    }
}
BENCHMARK(WriteConfigByProduct);

// The new file beside the old one, with its owner and mode, and safe on the disk.
bool WriteBeside(const char* path, const char* scratch, const char* bytes, size_t length)
{
    struct stat old = {};
    struct stat fresh = {};
    int fd = open(scratch, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    bool isWritten = stat(path, &old) == 0 && fstat(fd, &fresh) == 0 &&
                     fchmod(fd, old.st_mode & 07777) == 0 &&
                     write(fd, bytes, length) == static_cast<ssize_t>(length) && fsync(fd) == 0;
    close(fd);
    return isWritten;
}

void WriteConfigBare(State& state)
{
    constexpr char BINARY_SCRATCH[] = "/etc/wardenlink/.power.ini.bare";
    constexpr char TEXT_SCRATCH[] = "/etc/wardenlink/.wardenlink.cfg.bare";
    PowerConfig config;
    ScheduleEntry schedule[7];
    char text[4096];
    InitConfig(config, schedule);
    WriteConfig(config, schedule);
    auto length = static_cast<size_t>(ReadWhole(TEXT_CFG_PATH, text, sizeof(text)));
    for (auto _ : state) {
        bool isWritten = WriteBeside(POWER_INI_PATH, BINARY_SCRATCH, text, BINARY_LENGTH) &&
                         WriteBeside(TEXT_CFG_PATH, TEXT_SCRATCH, text, length) &&
                         rename(BINARY_SCRATCH, POWER_INI_PATH) == 0 &&
                         rename(TEXT_SCRATCH, TEXT_CFG_PATH) == 0;
        DIR* folder = opendir("/etc/wardenlink"); // what saves before have left is looked for
        if (folder == nullptr || !isWritten)
            return state.SkipWithError("not written");
        while (readdir(folder) != nullptr) {
        }
        if (fsync(dirfd(folder)) != 0)
            state.SkipWithError("not flushed");
        closedir(folder);
    }
}
BENCHMARK(WriteConfigBare);

// --- objects of an agent -----------------------------------------------------------------

constexpr const char* OBJECTS[] = {OID_INPUT_VOLTAGE,    OID_OUTPUT_STATUS,  OID_BATTERY_STATUS,
                                   OID_OUTPUT_VOLTAGE,   OID_OUTPUT_SECOND,  OID_OUTPUT_LOAD,
                                   OID_BATTERY_CAPACITY, OID_INPUT_FREQUENCY};
constexpr int MOST_OBJECTS = 32;

void ObjectsByProduct(State& state)
{
    upsconf_load(getenv("WARDENLINK_AGENT"), "public");
    if (UPS_init() != AGENT_ANSWERED)
        state.SkipWithError("no agent");
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); i++) {
            ObjectText object;
            if (!ReadObject(OBJECTS[static_cast<size_t>(i) % std::size(OBJECTS)], object))
                state.SkipWithError("no answer");
        }
    }
    UPS_close();
}
BENCHMARK(ObjectsByProduct)->RangeMultiplier(2)->Range(1, MOST_OBJECTS);

void ObjectsBare(State& state)
{
    netsnmp_session* session = OpenBareSession(getenv("WARDENLINK_AGENT"));
    BareObject objects[std::size(OBJECTS)];
    for (size_t i = 0; i < std::size(OBJECTS); i++)
        ParseBareObject(objects[i], OBJECTS[i]);
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); i++) {
            char text[100];
            if (!AskBareObject(session, objects[static_cast<size_t>(i) % std::size(OBJECTS)], text,
                               sizeof(text)))
                state.SkipWithError("no answer");
        }
    }
    snmp_close(session);
}
BENCHMARK(ObjectsBare)->RangeMultiplier(2)->Range(1, MOST_OBJECTS);

} // namespace

BENCHMARK_MAIN();
