#include "sim/model/ups_objects.h"

#include <cmath>
#include <cstring>

#define UPS ".1.3.6.1.4.1.935.1.1.1."

namespace {

long Tenths(double value)
{
    return lround(value * 10.0);
}

long InputTenths(const UpsModel& model)
{
    return Tenths(InputVolts(model));
}

long OutputTenths(const UpsModel& model)
{
    return Tenths(OutputVolts(model));
}

long InputHertzTenths(const UpsModel& model)
{
    return Tenths(InputHertz(model));
}

long OutputHertzTenths(const UpsModel& model)
{
    return Tenths(OutputHertz(model));
}

long OutputState(const UpsModel& model)
{
    return OutputStatus(model);
}

long BatteryState(const UpsModel& model)
{
    return BatteryStatus(model);
}

long SecondsOnBattery(const UpsModel& model)
{
    return static_cast<long>(model.timeOnBattery);
}

long Load(const UpsModel& model)
{
    return LoadPercent(model);
}

long Charge(const UpsModel& model)
{
    return ChargePercent(model);
}

long BatteryTenthsOfAmpere(const UpsModel& model)
{
    return IsOnBattery(model) ? LoadPercent(model) * 8 : 0; // about 80 A at full load
}

template <long number> long Always(const UpsModel&)
{
    return number;
}

constexpr UpsObject Reading(const char* name, const char* oid, long (*read)(const UpsModel&))
{
    return {name, oid, nullptr, read, UpsCommand::COUNT};
}

constexpr UpsObject Text(const char* name, const char* oid, const char* text)
{
    return {name, oid, text, nullptr, UpsCommand::COUNT};
}

constexpr UpsObject Command(const char* name, const char* oid, UpsCommand command)
{
    return {name, oid, nullptr, nullptr, command};
}

} // namespace

const UpsObject UPS_OBJECTS[UPS_OBJECT_COUNT] = {
    Reading("input_voltage", UPS "3.2.1.0", InputTenths),
    Reading("output_status", UPS "4.1.1.0", OutputState),
    Reading("battery_status", UPS "2.1.1.0", BatteryState),
    Reading("time_on_battery", UPS "2.1.2.0", SecondsOnBattery),
    Reading("output_voltage", UPS "4.2.1.0", OutputTenths),
    Reading("output_frequency", UPS "4.2.2.0", OutputHertzTenths),
    Reading("load", UPS "4.2.3.0", Load),
    Reading("capacity", UPS "2.2.1.0", Charge),
    Reading("input_frequency", UPS "3.2.4.0", InputHertzTenths),
    Text("ident_1", UPS "1.1.1.0", "SIM-1000"),
    Text("ident_2", UPS "1.1.2.0", "Simulated UPS"),
    Text("sys_contact", ".1.3.6.1.2.1.1.4.0", "operator@example.net"),
    Text("sys_name", ".1.3.6.1.2.1.1.5.0", "ups-1"),
    Text("sys_location", ".1.3.6.1.2.1.1.6.0", "Server room"),
    Text("firmware", UPS "1.2.1.0", "1.20"),
    Text("date_made", UPS "1.2.2.0", "2024-03-11"),
    Text("serial_number", UPS "1.2.3.0", "SIM0000042"),
    Text("agent_revision", UPS "1.2.4.0", "2.5"),
    Text("battery_replace_date", UPS "2.1.3.0", "2024-03-11"),
    Reading("battery_replace_flag", UPS "2.2.5.0", Always<1>),
    Reading("battery_current", UPS "2.2.7.0", BatteryTenthsOfAmpere),
    Reading("input_phase", UPS "3.1.1.0", Always<1>),
    Reading("output_phase", UPS "4.1.2.0", Always<1>),
    Reading("devices_attached", UPS "5.1.1.0", Always<2>),
    Reading("rated_output_voltage", UPS "5.2.1.0", Always<2300>),
    Reading("high_transfer_voltage", UPS "5.2.2.0", Always<2640>),
    Reading("low_transfer_voltage", UPS "5.2.3.0", Always<1960>),
    Reading("alarm_flag", UPS "5.2.4.0", Always<2>),
    Reading("alarm_timer", UPS "5.2.5.0", Always<30>),
    Reading("min_return_capacity", UPS "5.2.6.0", Always<15>),
    Reading("sensitivity", UPS "5.2.7.0", Always<2>),
    Reading("low_battery_run_time", UPS "5.2.8.0", Always<120>),
    Reading("return_delay", UPS "5.2.9.0", Always<20>),
    Reading("diagnostics_schedule", UPS "7.2.1.0", Always<1>),
    Text("last_diagnostics", UPS "7.2.4.0", "2026-10-01"),
    Reading("calibration_results", UPS "7.2.7.0", Always<1>),
    Text("calibration_date", UPS "7.2.8.0", "2026-09-14"),
    Command("off_delay", UPS "5.2.10.0", UpsCommand::OFF_DELAY),
    Command("sleep_minutes", UPS "5.2.11.0", UpsCommand::SLEEP_MINUTES),
    Command("conserve_battery", UPS "6.1.1.0", UpsCommand::CONSERVE),
    Command("turn_off", UPS "6.2.1.0", UpsCommand::OFF),
    Command("reboot", UPS "6.2.2.0", UpsCommand::REBOOT),
    Command("sleep", UPS "6.2.3.0", UpsCommand::SLEEP),
    Command("simulate_failure", UPS "6.2.4.0", UpsCommand::SIMULATE_FAILURE),
    Command("flash_beep", UPS "6.2.5.0", UpsCommand::FLASH),
    Command("cancel", UPS "6.2.6.0", UpsCommand::CANCEL),
    Command("self_test", UPS "7.2.2.0", UpsCommand::SELF_TEST),
    Command("indicator_test", UPS "7.2.5.0", UpsCommand::LAMP_TEST),
    Command("calibrate", UPS "7.2.6.0", UpsCommand::CALIBRATE),
};

int FindObject(const std::string& nameOrOid)
{
    std::string dotted(".");
    dotted += nameOrOid;
    for (int i = 0; i < UPS_OBJECT_COUNT; i++) {
        if (nameOrOid == UPS_OBJECTS[i].name || nameOrOid == UPS_OBJECTS[i].oid ||
            dotted == UPS_OBJECTS[i].oid)
            return i;
    }
    return -1;
}

UpsValue ModelValue(const UpsModel& model, int object)
{
    const UpsObject& entry = UPS_OBJECTS[object];
    if (entry.text != nullptr)
        return {ValueType::TEXT, 0, entry.text};
    if (entry.read != nullptr)
        return {ValueType::INTEGER, entry.read(model), ""};
    return {ValueType::INTEGER, model.written[static_cast<int>(entry.command)], ""};
}
