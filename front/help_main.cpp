// wardenlink-help: the help, page by page.
#include "front/program.h"
#include "help/tolvhelp.h"

namespace {

int Run()
{
    tolvan_help();
}

} // namespace

int main(int argc, char* argv[])
{
    return RunProgram({"wardenlink-help", "Shows the help.", false, Run}, argc, argv);
}
