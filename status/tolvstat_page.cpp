#include "status/tolvstat_page.h"

#include "base/text.h"
#include "screen/frame.h"
#include "screen/layout_check.h"
#include "snmp/snmplib.h"
#include "status/tolvstat_panel.h"

#include <iterator>

namespace {

// An object of the information page and its label.
struct InfoObject {
    char oid[50];
    char label[50];
};

constexpr int SNMP_INFO_OBJECTS = 26;

} // namespace

// clang-format off
constexpr InfoObject SNMPINFO_OID[SNMP_INFO_OBJECTS] = {
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

// Information page: the first 19 objects that answer stand on the left, from row 3 on,
// the others on the right, from row 7 on.
constexpr int INFO_TEXT_SIZE = 50;
constexpr int INFO_LEFT_COUNT = 19;
constexpr Place INFO_LEFT_PLACE = {3, 2};
constexpr Place INFO_RIGHT_PLACE = {7, 42};
constexpr int INFO_VALUE_OFFSET = 20; // from the label's column

// Where the boxes' inner edges stand in the way of the first objects' long texts.
constexpr Place EDGES_PLACE = {3, 38};
constexpr int EDGES_ROWS = 4;
constexpr int EDGES_WIDTH = 13;

constexpr Place InfoPlace(int shown)
{
    return shown < INFO_LEFT_COUNT ? Below(INFO_LEFT_PLACE, shown)
                                   : Below(INFO_RIGHT_PLACE, shown - INFO_LEFT_COUNT);
}

constexpr bool AreObjectsWhole()
{
    for (const InfoObject& info : SNMPINFO_OID) {
        if (info.oid[0] != '.' || std::string_view(info.label).size() != INFO_VALUE_OFFSET)
            return false;
    }
    return true;
}

static_assert(AreObjectsWhole() && sizeof(InfoObject) == 100);
static_assert(IsOnScreen(KEY_PROMPT_PLACE, PAGE_PROMPT));
static_assert(IsOnScreen(InfoPlace(INFO_LEFT_COUNT - 1),
                         INFO_RIGHT_PLACE.col - INFO_LEFT_PLACE.col));
static_assert(InfoPlace(SNMP_INFO_OBJECTS - 1).row < sb_p.row - 1);
static_assert(INFO_RIGHT_PLACE.row == EDGES_PLACE.row + EDGES_ROWS);

// Reads an object and, if it answers, shows it; whether it did.
bool ShowObject(const InfoObject& info, Place place)
{
    ObjectText object;
    if (!ReadObject(info.oid, object))
        return false;
    char text[INFO_TEXT_SIZE];
    CopyField(text, object.text);
    CleanString(text);
    PutText(place, info.label);
    PutText(RightOf(place, INFO_VALUE_OFFSET), text);
    return true;
}

} // namespace

void ScreenTwo()
{
    BasicScreen(2);
    PutTabbedText(KEY_PROMPT_PLACE, PAGE_PROMPT);
    for (int row = 0; row < EDGES_ROWS; row++)
        PutBlanks(Below(EDGES_PLACE, row), EDGES_WIDTH);
    int shown = 0;
    for (const InfoObject& info : SNMPINFO_OID) {
        if (ShowObject(info, InfoPlace(shown)))
            shown++;
    }
    // Drawn last, across the fourth object's row: kept, the page has always looked so.
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
