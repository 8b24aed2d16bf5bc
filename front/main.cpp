#include "base/system.h"
#include "front/tolvan.h"

#include <cstdio>
#include <sys/ioctl.h>

int main(int argc, char* argv[])
{
    if (OpenStandardStreams() == 0)
        return 1;
    if (argc < 2)
        ArgError(argc > 0 ? argv[0] : "wardenlink", ARGUMENT_MISSING);
    if (argc > 2)
        ArgError(argv[0], ARGUMENTS_TOO_MANY);
    if (OpenToAnyUser(argv[1]) == 0 && ChkUserID() == 0)
        return 1;

    termio saved = {};
    bool isSaved = ioctl(fileno(stdin), TCGETA, &saved) >= 0;
    int result = DispatchCommand(argv[0], argv[1]);
    if (isSaved)
        ioctl(fileno(stdin), TCSETA, &saved);
    return result < 0 ? 1 : 0;
}
