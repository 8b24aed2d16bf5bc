// No target ever meets the machine's own settings, queues, devices and network.
#include "fuzz/support/target.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

[[noreturn]] void EnterWorld(int argc, char** argv)
{
    char world[] = WORLD_SCRIPT;
    std::vector<char*> words = {world};
    words.insert(words.end(), argv, argv + argc);
    words.push_back(nullptr);
    execv(world, words.data());
    perror(world);
    exit(1);
}

} // namespace

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
