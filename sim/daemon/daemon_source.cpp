#include "sim/daemon/daemon_source.h"

#include "sim/model/ups_command.h"
#include "sim/model/ups_server.h"
#include "sim/model/ups_state.h"

#include <cstdlib>

namespace {

// The text behind a key of the state's lines; empty when the key is not there.
std::string Find(const std::string& state, const char* key)
{
    std::string start = std::string("  ") + key + " ";
    size_t at = state.compare(0, start.size(), start) == 0 ? 0 : state.find("\n" + start);
    if (at == std::string::npos)
        return "";
    at = state.find(start, at) + start.size();
    return state.substr(at, state.find('\n', at) - at);
}

double FindNumber(const std::string& state, const char* key)
{
    return strtod(Find(state, key).c_str(), nullptr);
}

UpsReadings ParseState(const std::string& state)
{
    UpsReadings readings;
    readings.inputVolts = FindNumber(state, "input");
    readings.faultVolts = FindNumber(state, "fault");
    readings.outputVolts = FindNumber(state, "output");
    readings.loadPercent = FindNumber(state, "load");
    readings.inputHertz = FindNumber(state, "input_frequency");
    readings.batteryVolts = FindNumber(state, "battery_voltage");
    readings.temperature = FindNumber(state, "temperature");
    readings.mains = Find(state, "mains") == "on" && Find(state, "failure_simulated") == "off";
    readings.batteryLow = Find(state, "battery_status") == "3";
    readings.testing = Find(state, "test") != "none";
    readings.shutdownActive = Find(state, "pending") != "none" || Find(state, "sleeping") == "on";
    readings.beeping = Find(state, "beeping") == "on";
    return readings;
}

} // namespace

void AdvanceSource(UpsSource& source, double seconds)
{
    if (source.ownServes)
        AdvanceSim(source.own, seconds);
}

UpsReadings TakeReadings(UpsSource& source)
{
    std::string state;
    source.ownServes = !AskControl(source.control, "state", &state);
    return ParseState(source.ownServes ? DescribeState(source.own) : state);
}

void PassCommand(UpsSource& source, const std::string& letters)
{
    std::string reply;
    if (!AskControl(source.control, "command " + letters, &reply))
        SerialCommand(source.own.model, letters.c_str());
}
