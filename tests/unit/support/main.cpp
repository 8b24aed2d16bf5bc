// The main of every unit test program. One that is started outside a world brings itself into
// one, so that no test ever meets the machine's own settings and queues.
#include "tests/unit/support/enter_world.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string_view>

namespace {

bool IsListing(int argc, char** argv)
{
    for (int i = 1; i < argc; i++) {
        if (std::string_view(argv[i]) == "--gtest_list_tests")
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    if (getenv("WARDENLINK_WORLD") == nullptr && !IsListing(argc, argv))
        EnterWorld(argc, argv);
    setenv("TZ", "UTC0", 1); // every day has 24 hours, but where a test says otherwise
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
