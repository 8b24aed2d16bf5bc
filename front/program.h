// What the programs of one screen have in common: wardenlink-command, wardenlink-local,
// wardenlink-monitor and wardenlink-help.
#pragma once

struct Program {
    const char* name;
    const char* purpose; // one line of its help
    bool needsSuperUser;
    int (*run)(); // may end the process itself; negative when it could not do its work
};

// The whole of such a program: the options --help and --version, the super-user rule, and the
// screen, with the terminal's mode as it was before. The exit status: 0; 1 after wrong
// arguments, the refusal of an ordinary user, or when the screen could not do its work.
int RunProgram(const Program& program, int argc, char* argv[]);
