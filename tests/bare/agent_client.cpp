// The least that asking an agent costs: the objects of one round, one request each, every two
// seconds, with nothing but the SNMP library. With --tell another process is told of each round,
// twice, as the daemon is by the one that asks for it.
//
// Usage: bare_agent_client ADDRESS [--tell] OBJECT...

#include "tests/bare/bare_agent.h"

#include <cstring>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned PERIOD = 2;
constexpr size_t REPORT_SIZE = 1400; // bytes, about what the daemon is told at a time
constexpr int REPORTS = 2;           // of a round

char report[REPORT_SIZE];

// The end to tell by; a child takes what is told, until this process is gone.
int StartListener()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return -1;
    if (fork() == 0) {
        close(ends[0]);
        while (recv(ends[1], report, sizeof(report), 0) > 0)
            continue;
        _exit(0);
    }
    close(ends[1]);
    return ends[0];
}

bool AskAll(netsnmp_session* session, const std::vector<BareObject>& objects)
{
    for (const BareObject& object : objects) {
        char text[100];
        if (!AskBareObject(session, object, text, sizeof(text)))
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    bool mustTell = argc > 2 && strcmp(argv[2], "--tell") == 0;
    int first = mustTell ? 3 : 2;
    int listener = mustTell ? StartListener() : -1;
    netsnmp_session* session = argc > first ? OpenBareSession(argv[1]) : nullptr;
    if (session == nullptr)
        return 1;
    std::vector<BareObject> objects(static_cast<size_t>(argc - first));
    for (size_t i = 0; i < objects.size(); i++) {
        if (!ParseBareObject(objects[i], argv[static_cast<size_t>(first) + i]))
            return 1;
    }
    while (AskAll(session, objects)) {
        for (int i = 0; mustTell && i < REPORTS; i++) {
            if (send(listener, report, sizeof(report), MSG_NOSIGNAL) < 0)
                return 1;
        }
        sleep(PERIOD);
    }
    return 1;
}
