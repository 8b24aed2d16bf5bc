// Message queues by plain system calls, and a stand-in for the daemon's presence.
#pragma once

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <ostream>
#include <string>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

struct Message {
    long type;
    std::string text;
    bool operator==(const Message&) const = default;
};

using Messages = std::vector<Message>;

inline std::ostream& operator<<(std::ostream& out, const Message& message)
{
    return out << message.type << " '" << message.text << "'";
}

// What the kernel takes and gives.
struct RawRecord {
    long type;
    char text[8192];
};

inline int RawQueue(char id)
{
    return msgget(ftok("/etc/wardenlink", id), IPC_CREAT | 0666);
}

inline bool RawExists(char id)
{
    return msgget(ftok("/etc/wardenlink", id), 0) >= 0;
}

inline bool RawSend(int queue, long type, const std::string& text, int flags = IPC_NOWAIT)
{
    RawRecord record;
    record.type = type;
    memcpy(record.text, text.data(), text.size());
    return msgsnd(queue, &record, text.size(), flags) == 0;
}

// Every waiting message, the oldest first, each at its full length.
inline Messages TakeAll(int queue)
{
    Messages taken;
    RawRecord record;
    for (ssize_t size; (size = msgrcv(queue, &record, sizeof(record.text), 0, IPC_NOWAIT)) >= 0;)
        taken.push_back({record.type, std::string(record.text, static_cast<size_t>(size))});
    return taken;
}

// Sends until not one byte more fits; gives the number of messages.
inline size_t FillUp(int queue, long type)
{
    size_t count = 0;
    for (size_t length : {8000U, 100U, 1U}) {
        while (RawSend(queue, type, std::string(length, 'F')))
            count++;
    }
    return count;
}

inline double Seconds()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// A process that shows itself on queue '2' as the daemon does, the first time
// after so many seconds, then every half second for a while.
inline pid_t StartBeating(unsigned first)
{
    pid_t beater = fork();
    if (beater != 0)
        return beater;
    sleep(first);
    for (int beat = 0; beat < 60; beat++) {
        RawSend(RawQueue('2'), 4, "alive");
        usleep(500000);
    }
    _exit(0);
}

inline void StopBeating(pid_t beater)
{
    kill(beater, SIGKILL);
    waitpid(beater, nullptr, 0);
}
