#include "sim/model/ups_control.h"

#include "sim/model/ups_state.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string DoReset(UpsSim& sim, const Words&, const std::string&)
{
    ResetSim(sim);
    return DONE;
}

std::string DoMains(UpsSim& sim, const Words& words, const std::string&)
{
    if (words[1] == "fail")
        FailMains(sim.model);
    else if (words[1] == "restore")
        RestoreMains(sim.model);
    else
        return Refuse("fail or restore expected");
    return DONE;
}

std::string DoBattery(UpsSim& sim, const Words& words, const std::string&)
{
    double percent = 0.0;
    if (words[1] == "low")
        percent = 20.0;
    else if (words[1] == "full")
        percent = 100.0;
    else if (!ReadNumber(words[1], 0.0, 100.0, &percent))
        return Refuse("low, full or a percentage expected");
    SetCharge(sim.model, percent);
    return DONE;
}

std::string SetReading(const std::string& word, double least, double most, double divisor,
                       double* target)
{
    double number = 0.0;
    if (!ReadNumber(word, least, most, &number))
        return Refuse("number out of range");
    *target = number / divisor;
    return DONE;
}

std::string DoLoad(UpsSim& sim, const Words& words, const std::string&)
{
    return SetReading(words[1], 0.0, 999.0, 1.0, &sim.model.load);
}

std::string DoInput(UpsSim& sim, const Words& words, const std::string&)
{
    return SetReading(words[1], 0.0, 9999.0, 10.0, &sim.model.mainsVolts);
}

std::string DoFrequency(UpsSim& sim, const Words& words, const std::string&)
{
    return SetReading(words[1], 0.0, 999.0, 10.0, &sim.model.mainsHertz);
}

std::string DoTemperature(UpsSim& sim, const Words& words, const std::string&)
{
    return SetReading(words[1], 0.0, 99.0, 1.0, &sim.model.temperature);
}

std::string SetSwitch(const std::string& word, bool* target)
{
    return ReadSwitch(word, target) ? DONE : Refuse("on or off expected");
}

std::string DoFailed(UpsSim& sim, const Words& words, const std::string&)
{
    return SetSwitch(words[1], &sim.model.failed);
}

std::string DoStandby(UpsSim& sim, const Words& words, const std::string&)
{
    return SetSwitch(words[1], &sim.model.standby);
}

std::string DoRecover(UpsSim& sim, const Words&, const std::string&)
{
    Recover(sim.model);
    return DONE;
}

std::string DoSpeed(UpsSim& sim, const Words& words, const std::string&)
{
    return SetReading(words[1], 0.0, 1000.0, 1.0, &sim.speed);
}

std::string DoFreeze(UpsSim& sim, const Words& words, const std::string&)
{
    return SetSwitch(words[1], &sim.frozen);
}

std::string DoState(UpsSim& sim, const Words&, const std::string&)
{
    return DescribeState(sim) + DONE;
}

std::string DoTime(UpsSim& sim, const Words&, const std::string&)
{
    return "  " + std::to_string(static_cast<long>(sim.passed)) + "\n" + DONE;
}

std::string DoLog(UpsSim& sim, const Words&, const std::string&)
{
    std::string reply;
    for (const LogLine& line : sim.log)
        reply += "  " + line.text + "\n";
    return reply + DONE;
}

std::string DoLogTimes(UpsSim& sim, const Words&, const std::string&)
{
    std::string reply;
    for (const LogLine& line : sim.log) {
        char when[32];
        snprintf(when, sizeof(when), "%ld.%03ld", line.when / 1000L, line.when % 1000L);
        reply.append("  ").append(when).append(" ").append(line.text).append("\n");
    }
    return reply + DONE;
}

std::string DoLogClear(UpsSim& sim, const Words&, const std::string&)
{
    sim.log.clear();
    return DONE;
}

constexpr ControlVerb VERBS[] = {
    {"reset", 0, 0, DoReset},
    {"mains", 1, 1, DoMains},
    {"battery", 1, 1, DoBattery},
    {"load", 1, 1, DoLoad},
    {"input", 1, 1, DoInput},
    {"frequency", 1, 1, DoFrequency},
    {"temperature", 1, 1, DoTemperature},
    {"failed", 1, 1, DoFailed},
    {"standby", 1, 1, DoStandby},
    {"recover", 0, 0, DoRecover},
    {"speed", 1, 1, DoSpeed},
    {"freeze", 1, 1, DoFreeze},
    {"state", 0, 0, DoState},
    {"time", 0, 0, DoTime},
    {"log times", 0, 0, DoLogTimes},
    {"log clear", 0, 0, DoLogClear},
    {"log", 0, 0, DoLog}, // behind those that begin with it
};

// How many words of the line the verb's own words take; 0 when the line begins otherwise.
size_t Match(const ControlVerb& verb, const Words& words)
{
    Words own = SplitWords(verb.words);
    if (words.size() < own.size() || !std::equal(own.begin(), own.end(), words.begin()))
        return 0;
    return own.size();
}

bool CarryOut(UpsSim& sim, std::span<const ControlVerb> verbs, const std::string& line,
              std::string* reply)
{
    Words words = SplitWords(line);
    for (const ControlVerb& verb : verbs) {
        size_t own = Match(verb, words);
        if (own == 0)
            continue;
        size_t count = words.size() - own;
        bool fits = count >= verb.least && count <= verb.most;
        *reply = fits ? verb.act(sim, words, line) : Refuse("wrong number of words");
        return true;
    }
    return false;
}

} // namespace

std::string ControlCommand(UpsSim& sim, std::span<const ControlVerb> own, const std::string& line)
{
    std::string reply;
    if (!CarryOut(sim, own, line, &reply) && !CarryOut(sim, VERBS, line, &reply))
        return Refuse("unknown command");
    return reply;
}
