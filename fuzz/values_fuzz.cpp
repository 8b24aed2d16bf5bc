// Values of every type that an agent can answer with, into everything that shows them. An input is
// a list of values, each its tag, two bytes of length and so many bytes; the requests take them in
// turn, over and over.
#include "daemon/snmp_source.h"
#include "fuzz/support/agent.h"
#include "fuzz/support/fields.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "fuzz/support/terminal.h"
#include "issuer/tolvissuer.h"
#include "screen/frame.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "status/tolvstat_agent.h"
#include "status/tolvstat_page.h"

#include <cmath>

namespace {

std::vector<std::string> values;
size_t nextValue;

std::vector<std::string> AnswerNextValue(const WireMessage& request)
{
    WireMessage answer = request;
    answer.pdu = PDU_RESPONSE;
    for (WireVariable& variable : answer.variables)
        variable.value = values[nextValue++ % values.size()];
    return {EncodeMessage(answer)};
}

void TakeValues(Input input)
{
    values.clear();
    nextValue = 0;
    do {
        int tag = TakeByte(input);
        values.push_back(Element(tag, TakeBytes(input, TakeNumber<uint16_t>(input))));
    } while (!IsUsedUp(input));
}

void CheckStatusLine()
{
    char status[UPS_STATUS_SIZE];
    if (S_GetStatus(status) != AGENT_ANSWERED)
        return;
    for (char mark : {status[38], status[39]})
        Require(mark == '0' || mark == '1', "a mark is 0 or 1");
}

void ShowEverything()
{
    StatusFields fields = {};
    InitScreen();
    ShowPanels(fields);
    RequireWholeFields(fields);
    CheckCells();
    ScreenTwo();
    UPSname_model();
    CheckCells();
    ChkCondition();
    CheckCells();
    CheckStatusLine();
}

bool IsNumberOrNone(double number)
{
    return std::isfinite(number) || std::isnan(number);
}

// The same values, as the daemon takes them.
void CheckReading()
{
    Reading reading;
    UpsNames names;
    bool isHeard = AskAgentOnce(AGENT_ADDRESS, "public", reading, names);
    Require(isHeard || (!reading.mainsFailed && std::isnan(reading.inputVoltage)),
            "an agent that tells too little tells nothing");
    for (double number :
         {reading.inputVoltage, reading.outputVoltage, reading.outputSecond, reading.load,
          reading.inputFrequency, reading.batteryCharge, reading.onBattery})
        Require(IsNumberOrNone(number), "a value is a number or not told");
    Require(memchr(names.model, '\0', sizeof(names.model)) != nullptr, "a model is terminated");
    for (const char* c = names.model; *c != '\0'; c++)
        Require(*c >= ' ' && *c <= '~', "a model can be shown");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    TakeValues(MakeInput(bytes, size));
    AnswerAsAgent(AnswerNextValue);
    upsconf_load(AGENT_ADDRESS, "public");
    UPS_init();
    RunScreen(ShowEverything, NobodyThere);
    UPS_close();
    CheckReading();
    RequireFewDescriptors();
    return 0;
}
