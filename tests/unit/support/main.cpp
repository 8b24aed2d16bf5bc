// The main of every unit test program. One that is started outside a world brings itself into
// one, so that no test ever meets the machine's own settings and queues.
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

bool IsListing(int argc, char** argv)
{
    for (int i = 1; i < argc; i++) {
        if (std::string_view(argv[i]) == "--gtest_list_tests")
            return true;
    }
    return false;
}

void EnterWorld(int argc, char** argv)
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

int main(int argc, char** argv)
{
    if (getenv("WARDENLINK_WORLD") == nullptr && !IsListing(argc, argv))
        EnterWorld(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
