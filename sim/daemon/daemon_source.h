// Where the stand-in daemon takes its UPS from: the simulated agent, or else a model of its own.
#pragma once

#include "sim/model/ups_sim.h"

#include <string>

// What one serial status reply needs to know.
struct UpsReadings {
    double inputVolts = 0.0;
    double faultVolts = 0.0;
    double outputVolts = 0.0;
    double loadPercent = 0.0;
    double inputHertz = 0.0;
    double batteryVolts = 0.0;
    double temperature = 0.0;
    bool mains = true;
    bool batteryLow = false;
    bool testing = false;
    bool shutdownActive = false;
    bool beeping = false;
};

struct UpsSource {
    std::string control; // path of the control socket
    UpsSim own;          // serves while nobody answers there
    bool ownServes = false;
};

// Lets that many seconds pass for the own model.
void AdvanceSource(UpsSource& source, double seconds);
UpsReadings TakeReadings(UpsSource& source);
// Hands over a command of the serial line.
void PassCommand(UpsSource& source, const std::string& letters);
