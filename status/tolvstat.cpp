#include "status/tolvstat.h"

#include "base/text.h"
#include "ipc/tolvipc.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "screen/layout_check.h"
#include "settings/tolv_lib.h"
#include "status/tolvstat_local.h"
#include "status/tolvstat_remote.h"

#include <cctype>
#include <cstdio>
#include <curses.h>
#include <fcntl.h>
#include <unistd.h>

// The UPS selected on the opening screen.
static constexpr int CHOICE_LOCAL = 1;
static constexpr int CHOICE_REMOTE = 2;
static int choice = CHOICE_REMOTE;

// A terminal device that stays open for the life of the process; nothing writes
// to it.
static FILE* fptr_tty = nullptr;

// Characters typed so far into the address and into the community.
static int inum = 0;
static int cnum = 0;

// clang-format off
constexpr char HLP_LOCAL[3][70] = {
    "  \t<< Monitor a UPS which provides your computer's power >> \t",
    "  \t<< UPS may be connected to the NETWORK or to the SERIAL PORT >> ",
    "\tPress [enter]-Proceed, [r]-monitor Remote UPS, [q]-Quit\t\t",
};
constexpr char HLP_REMOTE[3][70] = {
    "\t<< Monitor a UPS situated far your computer. >>\t\t\t",
    "\tPress  [i] to enter the IP Address, [c] for the Community Name, ",
    "\tthen press [enter] to Proceed or [q] to Quit.\t\t\t",
};
constexpr char HLP_IPADD[3][70] = {
    "\t<<  The IP Address of the SNMP Agent connected to the UPS. >>\t",
    "\tEnter the IP Address of the SNMP Agent.\t\t\t\t",
    "\tPress [BKSP] to delete a character, press [enter] when through.\t",
};
constexpr char HLP_CMNTY[3][70] = {
    "\t<<  The Community Name of the SNMP Agent connected to the UPS.>>",
    "\tEnter the Community Name of the SNMP Agent.\t\t\t",
    "\tPress [BKSP] to delete a character, press [enter] when through.\t",
};
// clang-format on

namespace {

constexpr char TERMINAL_DEVICE[] = "/dev/ttyv0";

constexpr char LOCAL_LINE[] = "<<< [l]  M O N I T O R   L O C A L     U  P  S   >>>";
constexpr char REMOTE_LINE[] = "<<< [r]  M O N I T O R   R E M O T E   U  P  S   >>>";
constexpr char ADDRESS_PROMPT[] = "[i] IP Address     : ";
constexpr char COMMUNITY_PROMPT[] = "[c] Community Name : ";

} // namespace

// The choices, the prompts of the two fields, and the help text.
constexpr Place LPos = {6, 12};
constexpr Place RPos = {9, 12};
constexpr Place IPos = {15, 10};
constexpr Place CPos = {16, 10};
constexpr Place HPos = {19, 2};

namespace {

constexpr Place REMOTE_CURSOR = {RPos.row, LPos.col};
constexpr int VALUE_OFFSET = 21; // of a prompt's value from its prompt
constexpr int VALUE_WIDTH = 20;
constexpr int PROMPT_WIDTH = 52; // of a hidden prompt with its value
constexpr int TYPED_LIMIT = 19;

// The help text for the cursor's row.
struct RowHelp {
    int row;
    const char (*text)[70];
};
constexpr RowHelp ROW_HELP[] = {
    {LPos.row, HLP_LOCAL},
    {RPos.row, HLP_REMOTE},
    {IPos.row, HLP_IPADD},
    {CPos.row, HLP_CMNTY},
};

static_assert(IsOnScreen(LPos, LOCAL_LINE) && IsOnScreen(RPos, REMOTE_LINE));
static_assert(IsOnScreen(IPos, PROMPT_WIDTH) && IsOnScreen(CPos, PROMPT_WIDTH));
static_assert(sizeof(ADDRESS_PROMPT) - 1 == VALUE_OFFSET &&
              sizeof(COMMUNITY_PROMPT) - 1 == VALUE_OFFSET &&
              VALUE_OFFSET + VALUE_WIDTH <= PROMPT_WIDTH);
static_assert(TYPED_LIMIT < VALUE_WIDTH && TYPED_LIMIT < ENTRY_TEXT_SIZE &&
              ENTRY_TEXT_SIZE >= SETTINGS_TEXT_SIZE);
static_assert(AreOnScreen(HPos, HLP_LOCAL) && AreOnScreen(HPos, HLP_REMOTE) &&
              AreOnScreen(HPos, HLP_IPADD) && AreOnScreen(HPos, HLP_CMNTY));

// Opened without creating it, and without waiting for a carrier.
void OpenTerminalDevice()
{
    int fd = open(TERMINAL_DEVICE, O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0)
        fptr_tty = fdopen(fd, "w");
}

void MoveCursorTo(int* row, int* col, Place place)
{
    *row = place.row;
    *col = place.col;
}

void ChooseLocal(int* row, int* col)
{
    attrset(A_STANDOUT);
    PutText(LPos, LOCAL_LINE);
    attrset(A_NORMAL);
    PutText(RPos, REMOTE_LINE);
    PutBlanks(IPos, PROMPT_WIDTH);
    PutBlanks(CPos, PROMPT_WIDTH);
    choice = CHOICE_LOCAL;
    MoveCursorTo(row, col, LPos);
    TolvdPresent(); // the answer is not used, but a presence message is taken: kept
}

// The remote line appears in whatever rendition is current; kept.
void ChooseRemote(int* row, int* col)
{
    PutText(RPos, REMOTE_LINE);
    attrset(A_NORMAL);
    PutText(LPos, LOCAL_LINE);
    PutText(IPos, ADDRESS_PROMPT);
    PutText(CPos, COMMUNITY_PROMPT);
    choice = CHOICE_REMOTE;
    MoveCursorTo(row, col, REMOTE_CURSOR);
}

void EnterField(int entryMode, Place prompt, int* mode, int* row, int* col)
{
    if (choice == CHOICE_LOCAL)
        return;
    *mode = entryMode;
    MoveCursorTo(row, col, RightOf(prompt, VALUE_OFFSET));
}

int Proceed(const char* address, const char* community)
{
    if (choice == CHOICE_LOCAL)
        tolvan_status_local(TolvdPresent());
    else if (choice == CHOICE_REMOTE)
        tolvan_status_remote(address, community);
    else
        return 1;
    endwin();
    return 0;
}

void LeaveField(int* mode, int* row, int* col, int* typed)
{
    *mode = ENTRY_CHOOSE;
    MoveCursorTo(row, col, REMOTE_CURSOR);
    *typed = 0;
}

// Every key but Enter. Typing starts over at the first character each time.
void EditText(int key, int* col, char* text, int* typed)
{
    if (key == KEY_BACKSPACE_OR_DELETE) {
        if (*typed == 0)
            return;
        (*typed)--;
        (*col)--;
        text[*typed] = '\0';
    } else if (key > ' ' && key < 127 && *typed < TYPED_LIMIT) {
        text[*typed] = static_cast<char>(key);
        (*typed)++;
        (*col)++;
        text[*typed] = '\0';
    }
}

void PutPromptValue(Place prompt, const char* value)
{
    PutText(RightOf(prompt, VALUE_OFFSET), value);
}

} // namespace

int tolvan_status()
{
    uname(&systemRecord);
    InitScreen();
    OpenTerminalDevice();
    PowerConfig config = {};
    ScheduleEntry schedule[7];
    if (LoadOrCreateConfig(config, schedule) == 0) {
        PrintSettingsError();
        return -1;
    }
    char address[ENTRY_TEXT_SIZE];
    char community[ENTRY_TEXT_SIZE];
    CopyField(address, config.snmpIp);
    CopyField(community, config.snmpCommunity);
    int mode = ENTRY_CHOOSE;
    int row = 0;
    int col = 0;
    return Opening_Text(KEY_ENTER_LINEFEED, &mode, &col, &row, address, community);
}

int Opening_Text(int key, int* mode, int* col, int* row, char* address, char* community)
{
    switch (key) {
    case 'l':
        ChooseLocal(row, col);
        return 1;
    case 'q':
        endwin();
        return 0;
    case 'c':
        EnterField(ENTRY_COMMUNITY, CPos, mode, row, col);
        return 1;
    case 'i':
        EnterField(ENTRY_ADDRESS, IPos, mode, row, col);
        return 1;
    case 'e':
        clear();
        return 1;
    case KEY_ENTER_LINEFEED:
        return Proceed(address, community);
    default:
        ChooseRemote(row, col);
        return 1;
    }
}

void PlaceTXT(const char* address, const char* community, int row, int col)
{
    PutBlanks(RightOf(IPos, VALUE_OFFSET), VALUE_WIDTH);
    PutBlanks(RightOf(CPos, VALUE_OFFSET), VALUE_WIDTH);
    if (row != LPos.row) {
        PutPromptValue(IPos, address);
        PutPromptValue(CPos, community);
    }
    for (const RowHelp& help : ROW_HELP) {
        if (help.row == row)
            PlaceCOMMENTS(help.text);
    }
    move(row, col);
}

void PlaceCOMMENTS(const char text[3][70])
{
    for (int line = 0; line < 3; line++)
        PutTabbedText(Below(HPos, line), text[line]);
}

void EditIPADDRESS(int key, int* mode, int* col, int* row, char* address)
{
    if (key != KEY_ENTER_LINEFEED) {
        EditText(key, col, address, &inum);
        return;
    }
    LeaveField(mode, row, col, &inum);
    if (isdigit(static_cast<unsigned char>(address[0])) == 0)
        CopyText(address, ENTRY_TEXT_SIZE, NO_AGENT_ADDRESS);
}

void EditCOMMUNITYNAME(int key, int* mode, int* col, int* row, char* community)
{
    if (key != KEY_ENTER_LINEFEED)
        EditText(key, col, community, &cnum);
    else
        LeaveField(mode, row, col, &cnum);
}
