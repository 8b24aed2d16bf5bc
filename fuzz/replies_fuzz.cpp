// The reply lines of a UPS: as the daemon reads them from the line and keeps them, and as the
// local screen finds them in the files, whoever wrote those. Status, model and rating, parted by a
// line that is a mere '='.
#include "base/system.h"
#include "daemon/reading.h"
#include "daemon/reply_files.h"
#include "fuzz/support/fields.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "fuzz/support/terminal.h"
#include "screen/frame.h"
#include "status/tolvstat_comport.h"
#include "status/tolvstat_data.h"

#include <cmath>

namespace {

StatusFields shown;

bool IsNumberOrNone(double number)
{
    return std::isfinite(number) || std::isnan(number);
}

// The line as it comes off the wire: it ends before its CR.
std::string LineOf(const std::string& reply)
{
    return reply.substr(0, std::min(reply.find('\r'), reply.find('\0')));
}

void ReadStatus(const std::string& line)
{
    Reading reading;
    ClearReading(reading);
    reading.mainsFailed = true;
    reading.inputVoltage = 1.0;
    if (!ParseStatusReply(line.c_str(), reading)) {
        Require(reading.mainsFailed && reading.inputVoltage == 1.0,
                "what is no status changes nothing");
        return;
    }
    Require(line.size() == STATUS_REPLY_BYTES - 1, "a status has one length");
    Require(reading.mainsFailed == (line[38] == '1') && reading.batteryLow == (line[39] == '1'),
            "the mains and the battery are in the bits");
    for (double number :
         {reading.inputVoltage, reading.faultVoltage, reading.outputVoltage, reading.load,
          reading.inputFrequency, reading.batteryVoltage, reading.temperature})
        Require(IsNumberOrNone(number), "a value is a number or not told");
    std::string reply = line + "\r";
    Require(KeepStatusReply(reply.c_str()) && ReadFile(STATUS_REPLY_PATH) == reply,
            "a status is kept byte for byte");
}

void ReadNames(const std::string& line)
{
    UpsNames names;
    ClearNames(names);
    if (ParseRatingReply(line.c_str(), names))
        Require(!ParseModelReply(line.c_str(), names), "a rating is no model");
    ParseModelReply(line.c_str(), names);
    Require(memchr(names.model, '\0', sizeof(names.model)) != nullptr, "a model is terminated");
    for (double number :
         {names.ratedVoltage, names.ratedCurrent, names.ratedBattery, names.ratedFrequency})
        Require(IsNumberOrNone(number), "a rating is a number or not told");
}

// The trace prints the status line over the screen.
void ShowFiles()
{
    int failCount = 0;
    SOpenTextFile();
    GetData(shown, &failCount);
    RequireWholeFields(shown);
    InitScreen();
    DrawScreen(shown, 1);
    CheckCells();
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    Input input = MakeInput(bytes, size);
    std::string status = TakePart(input);
    std::string model = TakePart(input);
    std::string rating = TakeRest(input);
    WriteFile(STATUS_REPLY_PATH, status);
    WriteFile(MODEL_REPLY_PATH, model);
    WriteFile(RATING_REPLY_PATH, rating);
    WriteFile(STATUS_DEBUG_PATH, "debug");
    shown = {};
    RunScreen(ShowFiles, NobodyThere);
    ReadStatus(LineOf(status));
    ReadNames(LineOf(model));
    ReadNames(LineOf(rating));
    RequireFewDescriptors();
    return 0;
}
