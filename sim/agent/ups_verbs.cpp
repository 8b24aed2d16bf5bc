#include "sim/agent/ups_verbs.h"

#include <cmath>

namespace {

// The faults that a command means: those of the object named by the word at `at`, or of all.
UpsFault* FindFault(UpsSim& sim, const Words& words, size_t at)
{
    if (words.size() <= at)
        return &sim.faults.all;
    int object = FindObject(words[at]);
    return object < 0 ? nullptr : &sim.faults.object[object];
}

std::string SwitchFault(UpsSim& sim, const Words& words, bool UpsFault::*member)
{
    UpsFault* fault = FindFault(sim, words, 2);
    bool on = false;
    if (fault == nullptr)
        return Refuse("no such object");
    if (!ReadSwitch(words[1], &on))
        return Refuse("on or off expected");
    fault->*member = on;
    return DONE;
}

std::string DoGet(UpsSim& sim, const Words& words, const std::string&)
{
    int object = FindObject(words[1]);
    if (object < 0)
        return Refuse("no such object");
    return "  " + FormatValue(CurrentValue(sim, object)) + "\n" + DONE;
}

std::string DoSet(UpsSim& sim, const Words& words, const std::string& line)
{
    UpsFault* fault = FindFault(sim, words, 1);
    UpsValue value;
    if (fault == nullptr)
        return Refuse("no such object");
    if (!ParseValue(words[2], RestOfLine(line, 3), &value))
        return Refuse("bad type or value");
    fault->overridden = true;
    fault->value = value;
    return DONE;
}

std::string DoUnset(UpsSim& sim, const Words& words, const std::string&)
{
    UpsFault* fault = FindFault(sim, words, 1);
    if (fault == nullptr)
        return Refuse("no such object");
    fault->overridden = false;
    fault->value = UpsValue();
    return DONE;
}

std::string DoSilent(UpsSim& sim, const Words& words, const std::string&)
{
    return SwitchFault(sim, words, &UpsFault::silent);
}

std::string DoOtherId(UpsSim& sim, const Words& words, const std::string&)
{
    return SwitchFault(sim, words, &UpsFault::otherId);
}

std::string DoMissing(UpsSim& sim, const Words& words, const std::string&)
{
    return SwitchFault(sim, {words[0], words[2], words[1]}, &UpsFault::missing);
}

std::string DoError(UpsSim& sim, const Words& words, const std::string&)
{
    UpsFault* fault = FindFault(sim, words, 1);
    int status = words[2] == "off" ? 0 : ErrorStatus(words[2]);
    if (fault == nullptr)
        return Refuse("no such object");
    if (status < 0)
        return Refuse("no such error status");
    fault->errorStatus = status;
    return DONE;
}

std::string DoDelay(UpsSim& sim, const Words& words, const std::string&)
{
    UpsFault* fault = FindFault(sim, words, 2);
    double milliseconds = 0.0;
    if (fault == nullptr)
        return Refuse("no such object");
    if (!ReadNumber(words[1], 0.0, 600000.0, &milliseconds))
        return Refuse("milliseconds expected");
    fault->delay = static_cast<int>(lround(milliseconds));
    return DONE;
}

} // namespace

const ControlVerb AGENT_VERBS[AGENT_VERB_COUNT] = {
    {"get", 1, 1, DoGet},       {"set", 2, 999, DoSet},       {"unset", 1, 1, DoUnset},
    {"silent", 1, 2, DoSilent}, {"error", 2, 2, DoError},     {"missing", 2, 2, DoMissing},
    {"delay", 1, 2, DoDelay},   {"otherid", 1, 2, DoOtherId},
};
