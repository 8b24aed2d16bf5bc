// No target ever meets the machine's own settings, queues, devices and network.
#include "fuzz/support/target.h"
#include "tests/unit/support/enter_world.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    const char* world = getenv("WARDENLINK_WORLD");
    if (world == nullptr)
        EnterWorld(*argc, *argv);
    if (std::string_view(world) != "private") {
        fputs("left out: it needs a private world\n", stderr);
        exit(1);
    }
    return 0;
}
