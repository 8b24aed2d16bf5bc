// What brings a program into a private world: see tools/world, whose path is WORLD_SCRIPT.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <vector>

// Starts the program anew with the same words, inside; does not come back.
[[noreturn]] inline void EnterWorld(int argc, char** argv)
{
    char world[] = WORLD_SCRIPT;
    std::vector<char*> words = {world};
    words.insert(words.end(), argv, argv + argc);
    words.push_back(nullptr);
    execv(world, words.data());
    perror(world);
    exit(1);
}
