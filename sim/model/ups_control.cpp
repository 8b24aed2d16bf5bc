#include "sim/model/ups_control.h"

#include "sim/model/ups_command.h"
#include "sim/model/ups_state.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

using Words = std::vector<std::string>;

const std::string DONE = "ok\n";

struct Verb {
    const char* word;
    size_t least; // words that must follow
    size_t most;
    std::string (*act)(UpsSim& sim, const Words& words, const std::string& line);
};

std::string Refuse(const std::string& text)
{
    return "error " + text + "\n";
}

Words SplitWords(const std::string& line)
{
    Words words;
    size_t at = 0;
    while ((at = line.find_first_not_of(" \t", at)) != std::string::npos) {
        size_t end = std::min(line.find_first_of(" \t", at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

// What stands behind the first `count` words and one separator, blanks included.
std::string RestOfLine(const std::string& line, int count)
{
    size_t at = 0;
    for (int i = 0; i < count; i++) {
        at = std::min(line.find_first_not_of(" \t", at), line.size());
        at = std::min(line.find_first_of(" \t", at), line.size());
    }
    return at < line.size() ? line.substr(at + 1) : "";
}

bool ReadNumber(const std::string& text, double least, double most, double* number)
{
    char* end = nullptr;
    *number = strtod(text.c_str(), &end);
    return *end == '\0' && !text.empty() && *number >= least && *number <= most;
}

bool ReadSwitch(const std::string& text, bool* on)
{
    *on = text == "on";
    return text == "on" || text == "off";
}

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

std::string DoReset(UpsSim& sim, const Words&, const std::string&)
{
    ResetSim(sim);
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
    return ReadSwitch(words[1], &sim.frozen) ? DONE : Refuse("on or off expected");
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

std::string DoState(UpsSim& sim, const Words&, const std::string&)
{
    return DescribeState(sim) + DONE;
}

std::string DoCommand(UpsSim& sim, const Words& words, const std::string&)
{
    return SerialCommand(sim.model, words[1].c_str()) ? DONE : Refuse("no such command");
}

std::string DoLog(UpsSim& sim, const Words& words, const std::string&)
{
    std::string reply;
    if (words.size() == 1) {
        for (const std::string& line : sim.log)
            reply += "  " + line + "\n";
    } else if (words[1] == "clear") {
        sim.log.clear();
    } else {
        return Refuse("clear or nothing expected");
    }
    return reply + DONE;
}

constexpr Verb VERBS[] = {
    {"reset", 0, 0, DoReset},
    {"get", 1, 1, DoGet},
    {"set", 2, 999, DoSet},
    {"unset", 1, 1, DoUnset},
    {"mains", 1, 1, DoMains},
    {"battery", 1, 1, DoBattery},
    {"load", 1, 1, DoLoad},
    {"input", 1, 1, DoInput},
    {"frequency", 1, 1, DoFrequency},
    {"temperature", 1, 1, DoTemperature},
    {"recover", 0, 0, DoRecover},
    {"speed", 1, 1, DoSpeed},
    {"freeze", 1, 1, DoFreeze},
    {"silent", 1, 2, DoSilent},
    {"error", 2, 2, DoError},
    {"missing", 2, 2, DoMissing},
    {"delay", 1, 2, DoDelay},
    {"otherid", 1, 2, DoOtherId},
    {"state", 0, 0, DoState},
    {"command", 1, 1, DoCommand},
    {"log", 0, 1, DoLog},
};

} // namespace

std::string ControlCommand(UpsSim& sim, const std::string& line)
{
    Words words = SplitWords(line);
    if (words.empty())
        return Refuse("empty line");
    for (const Verb& verb : VERBS) {
        if (words[0] != verb.word)
            continue;
        size_t count = words.size() - 1;
        if (count < verb.least || count > verb.most)
            return Refuse("wrong number of words");
        return verb.act(sim, words, line);
    }
    return Refuse("unknown command");
}
