#include "front/program.h"

#include "base/system.h"
#include "base/version.h"
#include "screen/terminal_check.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <termio.h>

namespace {

termio savedMode;

void RestoreMode()
{
    ioctl(fileno(stdin), TCSETA, &savedMode);
}

// Some screens end the process themselves: the mode goes back in any case.
void KeepMode()
{
    if (ioctl(fileno(stdin), TCGETA, &savedMode) >= 0)
        atexit(RestoreMode);
}

int ShowUsage(const Program& program, FILE* stream, int status)
{
    fprintf(stream, "Usage: %s [--help | --version]\n%s\n", program.name, program.purpose);
    return status;
}

// The exit status of an option, or -1 when there is none and the screen is wanted.
int ObeyOptions(const Program& program, int argc, char* argv[])
{
    if (argc < 2)
        return -1;
    if (argc > 2)
        return ShowUsage(program, stderr, 1);
    if (strcmp(argv[1], "--help") == 0)
        return ShowUsage(program, stdout, 0);
    if (strcmp(argv[1], "--version") != 0)
        return ShowUsage(program, stderr, 1);
    printf("%s %s\n", program.name, PACKAGE_VERSION);
    return 0;
}

} // namespace

int RunProgram(const Program& program, int argc, char* argv[])
{
    if (OpenStandardStreams() == 0)
        return 1;
    int status = ObeyOptions(program, argc, argv);
    if (status >= 0)
        return status;
    if (program.needsSuperUser && ChkUserID() == 0)
        return 1;
    if (CheckTerminal() == 0)
        return 1;
    KeepMode();
    return program.run() < 0 ? 1 : 0;
}
