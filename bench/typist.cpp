// Types keys to a screen on a pseudo-terminal, each when the program waits for one, and measures
// what the passes cost. The library "stage" is preloaded into the program and tells when it waits.
//
// Usage: typist STAGE KEYS PASSES COMMAND...
//   KEYS    typed over and over, then a "q"; PASSES  counted, after some that are not
//
// Prints one line of JSON:
//   first      milliseconds from the start to the first wait for a key
//   cpu        microseconds of the processor for a pass
//   median     microseconds from a key to the next wait for one, the new picture being painted
//   slowest    the same at the 99th percentile
//   bytes      written to the terminal in a pass
//   memory     kilobytes at the most

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int WARM_UP = 30;  // passes
constexpr int LIMIT = 60000; // milliseconds in which anything has to happen
constexpr int SETTLED = 20;  // milliseconds after which no more output is under way
constexpr winsize SIZE = {25, 80, 0, 0};

struct Screen {
    pid_t pid;
    int terminal;
    int told; // a byte for each wait for a key
    long bytes;
};

[[noreturn]] void Fail(const char* what)
{
    fprintf(stderr, "typist: %s\n", what);
    exit(1);
}

int64_t Nanoseconds()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000L + now.tv_nsec;
}

// In the child: becomes the program.
[[noreturn]] void Become(const char* stage, int teller, char* command[])
{
    setenv("LD_PRELOAD", stage, 1);
    setenv("WARDENLINK_BENCH_TELLER", std::to_string(teller).c_str(), 1);
    setenv("TERM", "linux", 1);
    execv(command[0], command);
    _exit(127);
}

Screen Start(const char* stage, char* command[])
{
    int ends[2];
    Screen screen = {};
    if (pipe(ends) != 0)
        Fail("no pipe");
    screen.pid = forkpty(&screen.terminal, nullptr, nullptr, &SIZE);
    if (screen.pid < 0)
        Fail("no terminal");
    if (screen.pid == 0)
        Become(stage, ends[1], command);
    close(ends[1]);
    screen.told = ends[0];
    return screen;
}

// Takes in what is there; false when the terminal was hung up.
bool TakeOutput(Screen& screen)
{
    char output[65536];
    ssize_t count = read(screen.terminal, output, sizeof(output));
    screen.bytes += count > 0 ? count : 0;
    return count > 0;
}

// False when the program has ended.
bool AwaitKeyWait(Screen& screen)
{
    pollfd inputs[] = {{screen.told, POLLIN, 0}, {screen.terminal, POLLIN, 0}};
    while (inputs[0].revents == 0) {
        if (poll(inputs, 2, LIMIT) < 1)
            Fail("the program waits for no key");
        if ((inputs[1].revents & POLLIN) != 0)
            TakeOutput(screen);
    }
    char byte = 0;
    return read(screen.told, &byte, 1) == 1;
}

void TakeRest(Screen& screen)
{
    pollfd terminal = {screen.terminal, POLLIN, 0};
    while (poll(&terminal, 1, SETTLED) > 0 && TakeOutput(screen)) {
    }
}

void Type(const Screen& screen, char key)
{
    if (write(screen.terminal, &key, 1) != 1)
        Fail("the terminal takes no key");
}

double ProcessorMicroseconds(pid_t pid)
{
    char path[64];
    double nanoseconds = 0;
    snprintf(path, sizeof(path), "/proc/%d/schedstat", pid);
    FILE* file = fopen(path, "re");
    if (file == nullptr || fscanf(file, "%lf", &nanoseconds) != 1)
        Fail("the program's processor time is not told");
    fclose(file);
    return nanoseconds / 1000;
}

// The time of each pass, in microseconds.
std::vector<double> TypeKeys(Screen& screen, const std::string& keys, int passes)
{
    std::vector<double> times;
    for (int i = 0; i < passes; i++) {
        int64_t began = Nanoseconds();
        Type(screen, keys[static_cast<size_t>(i) % keys.size()]);
        if (!AwaitKeyWait(screen))
            Fail("the program ended");
        times.push_back(static_cast<double>(Nanoseconds() - began) / 1000);
    }
    TakeRest(screen);
    return times;
}

// Kilobytes at the most.
long End(Screen& screen)
{
    rusage usage = {};
    int status = 0;
    do
        Type(screen, 'q');
    while (AwaitKeyWait(screen)); // the editor asks again when something was changed
    if (wait4(screen.pid, &status, 0, &usage) != screen.pid || !WIFEXITED(status))
        Fail("the program ended badly");
    return usage.ru_maxrss;
}

double Quantile(std::vector<double> numbers, double share)
{
    std::sort(numbers.begin(), numbers.end());
    auto last = static_cast<double>(numbers.size() - 1);
    return numbers[static_cast<size_t>(last * share)];
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 5 || argv[2][0] == '\0' || atoi(argv[3]) < 1)
        Fail("usage: typist STAGE KEYS PASSES COMMAND...");
    int passes = atoi(argv[3]);
    int64_t began = Nanoseconds();
    Screen screen = Start(argv[1], argv + 4);
    if (!AwaitKeyWait(screen))
        Fail("the program ended");
    double first = static_cast<double>(Nanoseconds() - began) / 1e6;
    TypeKeys(screen, argv[2], WARM_UP);
    double spent = ProcessorMicroseconds(screen.pid);
    long written = screen.bytes;
    std::vector<double> times = TypeKeys(screen, argv[2], passes);
    spent = ProcessorMicroseconds(screen.pid) - spent;
    written = screen.bytes - written;
    long memory = End(screen);
    printf("{\"first\": %.3f, \"cpu\": %.2f, \"median\": %.1f, \"slowest\": %.1f, "
           "\"bytes\": %.2f, \"memory\": %ld}\n",
           first, spent / passes, Quantile(times, 0.5), Quantile(times, 0.99),
           static_cast<double>(written) / passes, memory);
    return 0;
}
