// Opens the command center, which no command word reaches. Never installed.
#include "issuer/tolvissuer.h"

int main()
{
    tolvan_issuer();
    return 1;
}
