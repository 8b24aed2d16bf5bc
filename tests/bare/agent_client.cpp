// The least that asking an agent costs: the objects of one round, one request each, every two
// seconds, with nothing but the SNMP library.
//
// Usage: bare_agent_client ADDRESS OBJECT...

#include "tests/bare/bare_agent.h"

#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned PERIOD = 2;

} // namespace

int main(int argc, char* argv[])
{
    netsnmp_session* session = argc > 2 ? OpenBareSession(argv[1]) : nullptr;
    if (session == nullptr)
        return 1;
    std::vector<BareObject> objects(static_cast<size_t>(argc) - 2);
    for (size_t i = 0; i < objects.size(); i++) {
        if (!ParseBareObject(objects[i], argv[i + 2]))
            return 1;
    }
    while (true) {
        for (const BareObject& object : objects) {
            char text[100];
            if (!AskBareObject(session, object, text, sizeof(text)))
                return 1;
        }
        sleep(PERIOD);
    }
}
