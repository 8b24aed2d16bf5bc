// Help files of any content, paged through. An input begins with the keys that are typed, up to a
// line that is a mere '='; the file of the contents page follows, behind another such line that of
// all others.
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "fuzz/support/terminal.h"
#include "help/tolvhelp.h"

#include <sys/stat.h>

namespace {

constexpr int MOST_PAGES = 8;

Input keys;

bool TypeNextKey(Deed& deed)
{
    Require(pagenum >= 0 && pagenum < MOST_PAGES, "there are eight pages at most");
    Require(currentpage >= 0 && currentpage <= pagenum, "the page shown is one of them");
    Require(currwindow >= 1 && currwindow <= HELP_WINDOWS, "the window shown is there");
    if (IsUsedUp(keys))
        return false;
    deed = {DEED_KEY, static_cast<char>(TakeByte(keys)), 0, 0};
    return true;
}

void WriteFiles(const std::string& contents, const std::string& others)
{
    mkdir("/etc/wardenlink/help", 0755);
    for (const HelpWindow& window : HELP_WINDOW_TABLE)
        WriteFile(window.path, window.parent == 0 ? contents : others);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    Input input = MakeInput(bytes, size);
    std::string typed = TakePart(input);
    keys = {typed};
    std::string contents = TakePart(input);
    WriteFiles(contents, TakeRest(input));
    RunScreen([] { tolvan_help(); }, TypeNextKey);
    RequireFewDescriptors();
    return 0;
}
