#include "sim/serial/serial_verbs.h"

#include "sim/serial/serial_bytes.h"

#include <cmath>

namespace {

SerialLine* commanded;

std::string SwitchFault(const std::string& word, bool* fault)
{
    return ReadSwitch(word, fault) ? DONE : Refuse("on or off expected");
}

// Bytes given behind the first `count` words.
bool ReadBytes(const std::string& line, size_t count, std::string* bytes)
{
    return UnescapeBytes(RestOfLine(line, count), bytes);
}

std::string DoReset(UpsSim& sim, const Words&, const std::string&)
{
    commanded->faults = SerialFaults();
    commanded->waiting.clear();
    ResetSim(sim);
    return BringLineBack(*commanded) ? DONE : Refuse("the line cannot be made");
}

std::string DoSilent(UpsSim&, const Words& words, const std::string&)
{
    return SwitchFault(words[2], &commanded->faults.silent);
}

std::string DoHalf(UpsSim&, const Words& words, const std::string&)
{
    return SwitchFault(words[2], &commanded->faults.half);
}

std::string DoEcho(UpsSim&, const Words& words, const std::string&)
{
    return SwitchFault(words[2], &commanded->faults.echo);
}

std::string DoGarble(UpsSim&, const Words& words, const std::string&)
{
    bool all = false;
    double count = 0.0;
    if (ReadSwitch(words[2], &all))
        commanded->faults.garbled = all ? GARBLE_ALL : 0;
    else if (ReadNumber(words[2], 1.0, 1e6, &count))
        commanded->faults.garbled = lround(count);
    else
        return Refuse("on, off or a number expected");
    return DONE;
}

std::string DoSlow(UpsSim&, const Words& words, const std::string&)
{
    double milliseconds = 0.0;
    bool bytes = words.size() > 3;
    if (!ReadNumber(words[2], 0.0, 600000.0, &milliseconds) || (bytes && words[3] != "byte"))
        return Refuse("milliseconds expected, and perhaps byte");
    commanded->faults.slow = static_cast<int>(lround(milliseconds));
    commanded->faults.slowBytes = bytes;
    return DONE;
}

std::string DoKnows(UpsSim&, const Words& words, const std::string&)
{
    ReplyFault* reply = FindReply(commanded->faults, words[2]);
    bool knows = true;
    if (reply == nullptr || !ReadSwitch(words[3], &knows))
        return Refuse("Q1, F or I expected, then on or off");
    reply->unknown = !knows;
    return DONE;
}

std::string DoReply(UpsSim&, const Words& words, const std::string& line)
{
    ReplyFault* reply = FindReply(commanded->faults, words[2]);
    std::string bytes;
    if (reply == nullptr)
        return Refuse("Q1, F or I expected");
    if (!ReadBytes(line, 3, &bytes))
        return Refuse("bad escape");
    reply->replaced = words.size() > 3;
    reply->bytes = bytes;
    return DONE;
}

std::string DoSend(UpsSim&, const Words&, const std::string& line)
{
    std::string bytes;
    if (!ReadBytes(line, 2, &bytes))
        return Refuse("bad escape");
    SendBytes(*commanded, bytes);
    return DONE;
}

std::string DoVanish(UpsSim& sim, const Words&, const std::string&)
{
    TakeLineAway(*commanded, sim);
    return DONE;
}

std::string DoReturn(UpsSim&, const Words&, const std::string&)
{
    return BringLineBack(*commanded) ? DONE : Refuse("the line cannot be made");
}

std::string DoLine(UpsSim&, const Words&, const std::string&)
{
    return DescribeLine(commanded->pty) + DONE;
}

constexpr ControlVerb VERBS[] = {
    {"reset", 0, 0, DoReset},          {"serial silent", 1, 1, DoSilent},
    {"serial garble", 1, 1, DoGarble}, {"serial half", 1, 1, DoHalf},
    {"serial slow", 1, 2, DoSlow},     {"serial echo", 1, 1, DoEcho},
    {"serial knows", 2, 2, DoKnows},   {"serial reply", 1, 999, DoReply},
    {"serial send", 1, 999, DoSend},   {"serial vanish", 0, 0, DoVanish},
    {"serial return", 0, 0, DoReturn}, {"line", 0, 0, DoLine},
};

} // namespace

std::span<const ControlVerb> SerialVerbs(SerialLine& line)
{
    commanded = &line;
    return VERBS;
}
