// The commands of the control channel, one line in, some lines out.
#pragma once

#include "sim/model/ups_sim.h"
#include "sim/model/ups_words.h"

#include <span>
#include <string>

struct ControlVerb {
    const char* words; // what the line begins with, such as "mains" or "serial silent"
    size_t least;      // words that must follow
    size_t most;
    std::string (*act)(UpsSim& sim, const Words& words, const std::string& line);
};

// Carries out one line; `own` holds a face's commands, which come before those of every face.
// The result is the whole reply, its last line "ok" or "error TEXT".
std::string ControlCommand(UpsSim& sim, std::span<const ControlVerb> own, const std::string& line);
