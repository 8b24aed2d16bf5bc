// The keys of the item selection, called with loose values: what each of them changes, and
// that it changes nothing else.
#include "base/text.h"
#include "config/tolvconf.h"
#include "tests/unit/support/curses_screen.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/held.h"
#include "tests/unit/support/raw_queue.h"
#include "tests/unit/support/settings_image.h"

#include <ostream>
#include <string>
#include <tuple>

namespace {

// What a key may change.
struct State {
    Held held = Defaults();
    int row = 9;
    int col = 17;
    int16_t mode = 1;
    char device[SETTINGS_TEXT_SIZE] = "d";
    char community[SETTINGS_TEXT_SIZE] = "c";
    char address[SETTINGS_TEXT_SIZE] = "a";
    int modified = 0;
    int justSaved = 1;
    int savePasses = 3;
};

std::string ImageOf(const State& state)
{
    return ImageOf(state.held.config, state.held.schedule);
}

bool operator==(const State& one, const State& other)
{
    auto Values = [](const State& state) {
        return std::make_tuple(ImageOf(state), state.row, state.col, state.mode,
                               std::string(state.device), std::string(state.community),
                               std::string(state.address), state.modified, state.justSaved,
                               state.savePasses);
    };
    return Values(one) == Values(other);
}

std::ostream& operator<<(std::ostream& out, const State& state)
{
    return out << "row " << state.row << " col " << state.col << " mode " << state.mode << " saved "
               << state.device << " " << state.community << " " << state.address << " modified "
               << state.modified << " justSaved " << state.justSaved << " savePasses "
               << state.savePasses << " communication " << state.held.config.commMode;
}

int Press(State& state, int key)
{
    return ScreenFunc1(state.held.config, state.held.schedule, key, &state.row, &state.col,
                       &state.mode, state.device, state.community, state.address, &state.modified,
                       &state.justSaved, &state.savePasses);
}

struct ItemSelection : CursesScreen {};

void MoveTo(State& state, int row, int col)
{
    state.row = row;
    state.col = col;
}

int TurnedOver(int state)
{
    return state == 0 ? 1 : state == 1 ? 0 : state;
}

void ExpectSwitch(State& state, int row, int col)
{
    MoveTo(state, row, col);
    state.modified = 1;
}

// What a key other than [s] and [q] is to do on a row without a number.
State Expected(State state, int key)
{
    PowerConfig& config = state.held.config;
    switch (key) {
    case '+':
    case '-':
    case 'i':
    case 'm':
        state.modified = 1;
        break;
    case 'd':
        MoveTo(state, 3, 63);
        break;
    case 'b':
        MoveTo(state, 4, 63);
        break;
    case 'u':
        MoveTo(state, 5, 63);
        break;
    case 'v':
        MoveTo(state, 6, 63);
        break;
    case 'a':
        ExpectSwitch(state, 11, 49);
        config.turnOffUps = TurnedOver(config.turnOffUps);
        break;
    case 'n':
        ExpectSwitch(state, 9, 42);
        config.countdownOn = static_cast<int16_t>(TurnedOver(config.countdownOn));
        break;
    case 'l':
        ExpectSwitch(state, 10, 42);
        config.scheduleOn = static_cast<int16_t>(TurnedOver(config.scheduleOn));
        break;
    case 't':
        state.row = 15;
        if (config.scheduleOn == 1) {
            MoveTo(state, config.turnOffUps != 0 ? 15 : 16, 20);
            state.mode = 3;
        }
        break;
    default:
        break;
    }
    return state;
}

State ExpectedEntry(State state, int key)
{
    const PowerConfig& config = state.held.config;
    if (key == 'c' && config.commMode != 1) {
        MoveTo(state, 7, 33 + static_cast<int>(strlen(config.comPort)));
        CopyField(state.device, config.comPort);
        state.mode = 2;
    }
    if (key == 'o' && config.commMode != 0) {
        MoveTo(state, 7, 33);
        CopyField(state.community, config.snmpCommunity);
        state.mode = 4;
    }
    if (key == 'p' && config.commMode != 0) {
        MoveTo(state, 8, 33);
        CopyField(state.address, config.snmpIp);
        state.mode = 5;
    }
    return state;
}

void ExpectEveryKey(const State& before)
{
    for (int key = -128; key < 256; key++) {
        if (key == 's' || key == 'q')
            continue;
        State after = before;
        EXPECT_EQ(Press(after, key), 1);
        EXPECT_EQ(after, ExpectedEntry(Expected(before, key), key))
            << "key " << key << " on " << before;
    }
}

} // namespace

TEST_F(ItemSelection, TakesEveryKey)
{
    for (int commMode : {0, 1, 2, -1}) {
        for (int state : {0, 1, 2}) {
            State before;
            before.held.config.commMode = commMode;
            before.held.config.turnOffUps = state;
            before.held.config.countdownOn = static_cast<int16_t>(state);
            before.held.config.scheduleOn = static_cast<int16_t>(state != 0);
            before.modified = state % 2;
            CopyField(before.held.config.comPort, "/dev/ttyUSB3");
            ExpectEveryKey(before);
            before.held.config.scheduleOn = 2;
            ExpectEveryKey(before);
        }
    }
}

TEST_F(ItemSelection, ChangesTheNumberThatWasChosen)
{
    State state;
    for (int letter : {'d', 'b', 'u', 'v'}) {
        Press(state, letter);
        EXPECT_EQ(state.modified, letter == 'd' ? 0 : 1) << "choosing alone is no change";
        Press(state, '+');
        EXPECT_EQ(state.modified, 1);
    }
    EXPECT_EQ(state.held.config.acFailDelay, 6);
    EXPECT_EQ(state.held.config.battLowDelay, 2);
    EXPECT_EQ(state.held.config.upsOffDelay, 4.0F);
    EXPECT_EQ(state.held.config.batteryRating, 12.0F);
}

TEST_F(ItemSelection, RepaintsAllWithR)
{
    State state;
    mvaddstr(4, 10, "something else");
    Press(state, 'r');
    EXPECT_EQ(CellText(4, 10, 14), Blanks(14));
}

TEST_F(ItemSelection, OpensItsQueuesAtEveryKey)
{
    State state;
    EXPECT_FALSE(RawExists('3') || RawExists('4'));
    Press(state, -1);
    EXPECT_TRUE(RawExists('3') && RawExists('4'));
}

// --- the end -----------------------------------------------------------------------------

TEST_F(ItemSelection, EndsTheScreenLibraryWhenItQuits)
{
    State state;
    EXPECT_EQ(Press(state, 'q'), 0);
    EXPECT_TRUE(isendwin());
    State wanted;
    wanted.row = 19;
    EXPECT_EQ(state, wanted);
}

TEST_F(ItemSelection, AsksFirstAfterAChange)
{
    State state;
    state.modified = 1;
    EXPECT_EQ(Press(state, 'q'), 1);
    EXPECT_FALSE(isendwin());
    State wanted;
    wanted.row = 19;
    EXPECT_EQ(state, wanted);
    EXPECT_EQ(Press(state, 'q'), 0);
    EXPECT_TRUE(isendwin());
}

// --- the save ----------------------------------------------------------------------------

TEST_F(ItemSelection, SavesAndBeginsToCountThePassesAnew)
{
    for (int justSaved : {0, 1}) {
        State state;
        state.justSaved = justSaved;
        state.savePasses = 4;
        state.modified = 1;
        state.held.config.acFailDelay = 77;
        State wanted = state;
        wanted.row = 18;
        wanted.justSaved = 1;
        wanted.savePasses = 0;
        wanted.modified = 0;
        EXPECT_EQ(Press(state, 's'), 1);
        EXPECT_EQ(state, wanted);
        EXPECT_EQ(ReadFile(POWER_INI), ImageOf(wanted));
        for (char queue : {'3', '4'})
            EXPECT_EQ(TakeAll(RawQueue(queue)), (Messages{{5, "010"}})) << queue;
    }
}

TEST_F(ItemSelection, MendsTheAgentTextsThatItSaves)
{
    struct {
        const char *ip, *ipKept, *community, *communityKept;
    } const cases[] = {
        {"", "127.0.0.1", "", ""},
        {"/1", "127.0.0.1", "12345678", "12345678"},
        {":1", "127.0.0.1", "123456789", "12345678"},
        {"\xB2", "127.0.0.1", "p", "p"},
        {"0", "0", "public", "public"},
        {"9.9.9.9.9.9.9.9", "9.9.9.9.9.9.9.9", "c", "c"},
        {"9.9.9.9.9.9.9.9.", "9.9.9.9.9.9.9.9", "c", "c"},
        {"12345678901234567890123456789", "123456789012345", "12345678901234567890123456789",
         "12345678"},
    };
    const char device[] = "/dev/serial/by-id/usb-ups-001";
    static_assert(sizeof(device) == SETTINGS_TEXT_SIZE);
    for (const auto& test : cases) {
        State state;
        CopyField(state.held.config.snmpIp, test.ip);
        CopyField(state.held.config.snmpCommunity, test.community);
        CopyField(state.held.config.comPort, device);
        Press(state, 's');
        EXPECT_STREQ(state.held.config.snmpIp, test.ipKept);
        EXPECT_STREQ(state.held.config.snmpCommunity, test.communityKept);
        EXPECT_STREQ(state.held.config.comPort, device);
        EXPECT_EQ(ReadFile(POWER_INI), ImageOf(state));
    }
}

// The message of the screen does not depend on the files: nor does what [q] asks then.
TEST_F(ItemSelection, TakesASaveThatFailedForDone)
{
    ASSERT_EQ(mkdir(POWER_INI.c_str(), 0755), 0);
    State state;
    state.modified = 1;
    State wanted;
    wanted.row = 18;
    wanted.savePasses = 0;
    EXPECT_EQ(Press(state, 's'), 1);
    EXPECT_EQ(state, wanted);
    EXPECT_EQ(ReadFile(TEXT_CFG), NO_FILE);
    for (char queue : {'3', '4'})
        EXPECT_EQ(TakeAll(RawQueue(queue)), (Messages{{5, "010"}})) << queue;
}
