#include "sim/model/ups_request.h"

namespace {

struct PlainRequest {
    const char* text;
    LineVerb verb;
};

constexpr PlainRequest PLAIN_REQUESTS[] = {
    {"Q1", LineVerb::STATUS},
    {"F", LineVerb::RATING},
    {"I", LineVerb::NAME},
    {"T", LineVerb::SELF_TEST},
    {"TL", LineVerb::TEST_UNTIL_LOW},
    {"CT", LineVerb::CANCEL_TEST},
    {"C", LineVerb::CANCEL_SHUTDOWN},
};

// Reads all of the text as a number; false when there is anything but digits.
bool ReadDigits(const std::string& text, int* number)
{
    *number = 0;
    for (char digit : text) {
        if (digit < '0' || digit > '9')
            return false;
        *number = *number * 10 + (digit - '0');
    }
    return true;
}

// ".2" to ".9" are tenths of a minute, "01" to "99" minutes.
bool ReadDelay(const std::string& text, double* seconds)
{
    int number = 0;
    bool tenths = text[0] == '.';
    if (!ReadDigits(tenths ? text.substr(1) : text, &number) || number < (tenths ? 2 : 1))
        return false;
    *seconds = number * (tenths ? 6.0 : 60.0);
    return true;
}

LineRequest ParseTimedTest(const std::string& digits)
{
    int minutes = 0;
    if (!ReadDigits(digits, &minutes))
        return {};
    return {LineVerb::TIMED_TEST, 60.0 * minutes, 0};
}

LineRequest ParseShutdown(const std::string& delay, const std::string& restart)
{
    LineRequest request;
    if (!ReadDelay(delay, &request.seconds))
        return {};
    if (!restart.empty() &&
        (restart[0] != 'R' || !ReadDigits(restart.substr(1), &request.sleepMinutes)))
        return {};
    request.verb = LineVerb::SHUTDOWN;
    return request;
}

} // namespace

LineRequest ParseRequest(const std::string& text)
{
    static constexpr size_t TWO_PLACES = 3;       // Tnn, Snn
    static constexpr size_t WITH_RESTART = 3 + 5; // SnnRmmmm
    for (const PlainRequest& plain : PLAIN_REQUESTS) {
        if (text == plain.text)
            return {plain.verb, 0.0, 0};
    }
    if (text.size() == TWO_PLACES && text[0] == 'T')
        return ParseTimedTest(text.substr(1));
    if ((text.size() == TWO_PLACES || text.size() == WITH_RESTART) && text[0] == 'S')
        return ParseShutdown(text.substr(1, 2), text.substr(TWO_PLACES));
    return {};
}

void CarryOut(UpsModel& model, const LineRequest& request)
{
    double sleep = 60.0 * request.sleepMinutes;
    switch (request.verb) {
    case LineVerb::SELF_TEST:
        return StartTest(model, UpsTest::SELF_TEST, SELF_TEST_SECONDS);
    case LineVerb::TEST_UNTIL_LOW:
        return StartTest(model, UpsTest::UNTIL_LOW, 0.0);
    case LineVerb::TIMED_TEST:
        return StartTest(model, UpsTest::TIMED, request.seconds);
    case LineVerb::SHUTDOWN:
        return Schedule(model, sleep > 0.0 ? PendingAction::SLEEP : PendingAction::OFF,
                        request.seconds, sleep);
    case LineVerb::CANCEL_SHUTDOWN:
        return CancelShutdown(model);
    case LineVerb::CANCEL_TEST:
        return EndTest(model);
    default:
        return;
    }
}
