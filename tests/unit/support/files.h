// Whole files, and what a piece of the program prints, for the unit tests.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <sched.h>
#include <set>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

inline const std::string FOLDER = "/etc/wardenlink";
inline const std::string POWER_INI = FOLDER + "/power.ini";
inline const std::string TEXT_CFG = FOLDER + "/wardenlink.cfg";

// The bytes of a file; a missing one reads as this text, which no test writes.
inline const std::string NO_FILE = "<no such file>";

inline std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return NO_FILE;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// The names in a folder, the two of the folder itself left out.
inline std::set<std::string> ListFolder(const std::string& path = FOLDER)
{
    std::set<std::string> names;
    DIR* folder = opendir(path.c_str());
    for (dirent* entry = readdir(folder); entry != nullptr; entry = readdir(folder))
        names.insert(entry->d_name);
    closedir(folder);
    names.erase(".");
    names.erase("..");
    return names;
}

inline size_t CountOpenFiles()
{
    return ListFolder("/proc/self/fd").size();
}

// A file without a name that takes in one stream while it stands in its place.
struct Redirection {
    FILE* stream;
    int kept;
    int taken;
};

inline Redirection StartRedirection(FILE* stream)
{
    fflush(stream);
    Redirection started = {stream, dup(fileno(stream)), memfd_create("printed", 0)};
    dup2(started.taken, fileno(stream));
    return started;
}

inline std::string EndRedirection(const Redirection& started)
{
    fflush(started.stream);
    dup2(started.kept, fileno(started.stream));
    close(started.kept);
    lseek(started.taken, 0, SEEK_SET);
    std::string text;
    char part[4096];
    for (ssize_t got; (got = read(started.taken, part, sizeof(part))) > 0;)
        text.append(part, static_cast<size_t>(got));
    close(started.taken);
    return text;
}

// What work prints on standard output.
template <class Work> std::string PrintedBy(Work work)
{
    Redirection out = StartRedirection(stdout);
    work();
    return EndRedirection(out);
}

struct Outcome {
    int status; // exit status, or minus the signal's number
    std::string out;
    std::string err;
};

// Runs work in a child and waits for it and for whatever it forks in turn. A
// child that comes back from work ends with its result.
template <class Work> Outcome RunInChild(Work work)
{
    int alive[2];
    if (pipe(alive) != 0)
        abort();
    Redirection out = StartRedirection(stdout);
    Redirection err = StartRedirection(stderr);
    pid_t child = fork();
    if (child == 0) {
        close(alive[0]);
        int result = work();
        fflush(nullptr);
        _exit(result);
    }
    close(alive[1]);
    int state = 0;
    waitpid(child, &state, 0);
    char byte;
    while (read(alive[0], &byte, 1) > 0) {
    }
    close(alive[0]);
    int status = WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state);
    std::string printed = EndRedirection(out);
    return {status, printed, EndRedirection(err)};
}

inline constexpr unsigned ORDINARY_USER = 65534;

// Gives up root for good. Where no other user exists (root of a namespace that
// knows one user only), an empty namespace makes nobody of the process.
inline void BecomeOrdinaryUser(uid_t effective = ORDINARY_USER)
{
    if (setgroups(0, nullptr) == 0 && setresuid(ORDINARY_USER, effective, effective) == 0)
        return;
    if (unshare(CLONE_NEWUSER) != 0)
        abort();
}
