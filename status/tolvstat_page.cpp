#include "status/tolvstat_page.h"

#include "base/text.h"
#include "screen/frame.h"
#include "snmp/snmplib.h"
#include "status/tolvstat_agent.h"

// clang-format off
const InfoObject SNMPINFO_OID[SNMP_INFO_OBJECTS] = {
    {".1.3.6.1.2.1.1.4.0",             "System Contact    : "},
    {".1.3.6.1.2.1.1.5.0",             "System Name       : "},
    {".1.3.6.1.2.1.1.6.0",             "System Location   : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.1.0", "Firmware rev.     : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.2.0", "Date Made         : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.3.0", "Serial #          : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.4.0", "Agent Rev.        : "},
    {".1.3.6.1.4.1.935.1.1.1.2.1.3.0", "Batt. Replace Date: "},
    {".1.3.6.1.4.1.935.1.1.1.2.2.5.0", "Batt. Replace Flag: "},
    {".1.3.6.1.4.1.935.1.1.1.2.2.7.0", "Batt. Current     : "},
    {".1.3.6.1.4.1.935.1.1.1.3.1.1.0", "Input Phase       : "},
    {".1.3.6.1.4.1.935.1.1.1.4.1.2.0", "Output Phase      : "},
    {".1.3.6.1.4.1.935.1.1.1.5.1.1.0", "Devices Attached  : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.1.0", "Rated Output Volt.: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.2.0", "High Transfer Volt: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.3.0", "Low Transfer Volt.: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.4.0", "Alarm Flag        : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.5.0", "Alarm Timer       : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.6.0", "Min. Ret. Cap.    : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.7.0", "Sensitivity       : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.8.0", "Low Batt. Run Time: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.9.0", "Return Delay      : "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.1.0", "Diagnostics Sched.: "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.4.0", "Last Diagnostics  : "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.7.0", "Calib. Results    : "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.8.0", "Calib. Date       : "},
};
// clang-format on

namespace {

constexpr char PAGE_PROMPT[] = "[r]-Redraw, [q]-Quit\t      ";

// Information page: the first 19 objects that answer stand on the left.
constexpr int INFO_TEXT_SIZE = 50;
constexpr int INFO_LEFT_COUNT = 19;
constexpr Place INFO_LEFT_PLACE = {3, 2};
constexpr Place INFO_RIGHT_PLACE = {7, 42};
constexpr int INFO_VALUE_OFFSET = 20; // from the label's column

} // namespace

void ScreenTwo()
{
    BasicScreen(2);
    PutTabbedText({sb_p.row, PROMPT_COL}, PAGE_PROMPT);
    for (int row = 3; row <= 6; row++) // room for the long texts of the first objects
        PutBlanks({row, 38}, 13);
    int shown = 0;
    for (const InfoObject& info : SNMPINFO_OID) {
        ObjectText object;
        if (!ReadObject(info.oid, object))
            continue;
        char text[INFO_TEXT_SIZE];
        CopyField(text, object.text);
        CleanString(text);
        bool isLeft = shown < INFO_LEFT_COUNT;
        Place top = isLeft ? INFO_LEFT_PLACE : INFO_RIGHT_PLACE;
        int row = top.row + (isLeft ? shown : shown - INFO_LEFT_COUNT);
        PutText({row, top.col}, info.label);
        PutText({row, top.col + INFO_VALUE_OFFSET}, text);
        shown++;
    }
    // Drawn last, across the fourth object's row: the page has always looked so.
    DrawBox(17, 79, 6, 0);
}

void UPSname_model()
{
    ObjectText first;
    ObjectText second;
    ReadObject(OID_IDENT_FIRST, first);
    ReadObject(OID_IDENT_SECOND, second);
    CleanString(first.text);
    CleanString(second.text);
    char text[2 * UPS_TEXT_SIZE];
    FormatText(text, sizeof(text), "%s%s", second.text, first.text);
    PutText(ValuePlace(st_p[0]), text);
}
