#include "fuzz/support/terminal.h"

#include "fuzz/support/input.h"
#include "fuzz/support/waits.h"

#include <csetjmp>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <pty.h>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

// After the standard headers: curses makes macros of common names.
#include <curses.h>

extern "C" [[noreturn]] void __real_exit(int status);
extern "C" [[noreturn]] void __wrap_exit(int status);

namespace {

constexpr winsize USUAL_SIZE = {25, 80, 0, 0};
constexpr int FIRST_FORBIDDEN = 0x7f; // byte on its way to the terminal
constexpr int SWALLOWED[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGCONT, SIGPIPE, SIGXFSZ};

int master = -1;
int slave = -1;
User currentUser = nullptr;
jmp_buf screenEnd;
bool isScreenUp = false;

// Reads what is painted, or the screen would wait for room.
void WatchOutput()
{
    unsigned char bytes[65536];
    for (ssize_t count; (count = read(master, bytes, sizeof(bytes))) > 0;) {
        for (ssize_t i = 0; i < count; i++)
            Require(bytes[i] < FIRST_FORBIDDEN, "only ASCII reaches the terminal");
    }
}

void OpenTerminal()
{
    Require(openpty(&master, &slave, nullptr, nullptr, &USUAL_SIZE) == 0, "a terminal is there");
    fcntl(master, F_SETFD, FD_CLOEXEC);
    dup2(slave, STDIN_FILENO);
    dup2(slave, STDOUT_FILENO);
    setenv("TERM", "linux", 1);
    std::thread(WatchOutput).detach();
}

void Resize(int rows, int cols)
{
    winsize size = {static_cast<unsigned short>(rows), static_cast<unsigned short>(cols), 0, 0};
    ioctl(master, TIOCSWINSZ, &size);
    raise(SIGWINCH);
}

// What a terminal that controls the process makes of these keys. Those that would stop the output
// or the process are not typed.
bool IsTakenByTerminal(char key)
{
    constexpr char INTERRUPT = 0x03;
    constexpr char QUIT = 0x1c;
    constexpr std::string_view STOPS = "\x11\x13\x1a";
    if (key == INTERRUPT || key == QUIT)
        raise(key == QUIT ? SIGQUIT : SIGINT);
    return key == INTERRUPT || key == QUIT || STOPS.find(key) != std::string_view::npos;
}

// A read of the terminal that finds nothing returns at once.
void ShortenReads()
{
    termios mode = {};
    tcgetattr(slave, &mode);
    mode.c_cc[VTIME] = 0;
    tcsetattr(slave, TCSANOW, &mode);
}

[[noreturn]] void LeaveScreen()
{
    isScreenUp = false;
    longjmp(screenEnd, 1);
}

bool ActAsUser(int /*count*/, const fd_set* /*readable*/)
{
    CheckCells();
    Deed deed = {};
    if (!currentUser(deed))
        LeaveScreen();
    if (deed.kind == DEED_KEY && !IsTakenByTerminal(deed.key))
        return write(master, &deed.key, 1) == 1;
    ShortenReads();
    if (deed.kind == DEED_RESIZE)
        Resize(deed.rows, deed.cols);
    return false;
}

void RunUntilEnd(void (*screen)())
{
    isScreenUp = true;
    if (setjmp(screenEnd) == 0)
        screen();
    isScreenUp = false;
}

} // namespace

// A screen that ends the process ends only itself here.
void __wrap_exit(int status)
{
    if (isScreenUp)
        LeaveScreen();
    __real_exit(status);
}

void RunScreen(void (*screen)(), User user)
{
    if (master < 0)
        OpenTerminal();
    struct sigaction kept[std::size(SWALLOWED)];
    for (size_t i = 0; i < std::size(SWALLOWED); i++)
        sigaction(SWALLOWED[i], nullptr, &kept[i]);
    ioctl(master, TIOCSWINSZ, &USUAL_SIZE);
    currentUser = user;
    onKeyWait = ActAsUser;
    RunUntilEnd(screen);
    onKeyWait = nullptr;
    if (stdscr != nullptr) {
        resizeterm(USUAL_SIZE.ws_row, USUAL_SIZE.ws_col);
        erase();
        endwin();
    }
    tcflush(slave, TCIFLUSH);
    for (size_t i = 0; i < std::size(SWALLOWED); i++)
        sigaction(SWALLOWED[i], &kept[i], nullptr);
}

void CheckCells()
{
    refresh();
    int row = getcury(stdscr);
    int col = getcurx(stdscr);
    for (int line = 0; line < LINES; line++) {
        for (int cell = 0; cell < COLS; cell++) {
            auto character = mvinch(line, cell) & A_CHARTEXT;
            Require(character >= ' ' && character <= '~', "every cell is printable");
        }
    }
    move(row, col);
}

bool NobodyThere(Deed& /*deed*/)
{
    return false;
}
