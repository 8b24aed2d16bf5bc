#include "sim/serial/serial_line.h"

#include "sim/model/ups_clock.h"
#include "sim/serial/serial_bytes.h"
#include "sim/serial/serial_reply.h"

#include <algorithm>
#include <unistd.h>

namespace {

constexpr size_t LONGEST_REQUEST = 64;
constexpr size_t MOST_WAITING = 4096; // what is beyond is lost

} // namespace

int WatchLine(const SerialLine& line, fd_set* readers, timeval* wait, int count)
{
    // Without a client the master is always ready, for nothing: then the next pass looks.
    if (!HasClient(line.pty))
        return count;
    if (!line.waiting.empty() && !line.stuck)
        ShortenWait(wait, line.waiting.front().due);
    FD_SET(line.pty.master, readers);
    return std::max(count, line.pty.master + 1);
}

void SendBytes(SerialLine& line, const std::string& bytes)
{
    size_t piece = line.faults.slowBytes ? 1 : bytes.size();
    long due = NowMilliseconds();
    if (!line.waiting.empty())
        due = std::max(due, line.waiting.back().due);
    for (size_t at = 0; at < bytes.size() && line.waiting.size() < MOST_WAITING; at += piece) {
        due += line.faults.slow;
        line.waiting.push_back({due, bytes.substr(at, piece)});
    }
}

namespace {

void Reply(SerialLine& line, const UpsModel& model, LineVerb verb)
{
    const ReplyFault* fault = FindReply(line.faults, verb);
    if (fault == nullptr || fault->unknown)
        return;
    std::string reply = fault->replaced ? fault->bytes : ModelReply(model, verb);
    SendBytes(line, DamageReply(line.faults, reply));
}

void Hear(SerialLine& line, UpsSim& sim)
{
    LineRequest request = ParseRequest(line.heard);
    bool known = request.verb != LineVerb::NONE;
    LogRequest(sim, (known ? "serial " : "serial? ") + EscapeBytes(line.heard));
    if (line.faults.silent)
        return;
    if (line.faults.echo)
        SendBytes(line, line.heard + "\r");
    CarryOut(sim.model, request);
    Reply(line, sim.model, request.verb);
}

void TakeByte(SerialLine& line, UpsSim& sim, char byte)
{
    if (byte != '\r' && line.heard.size() < LONGEST_REQUEST) {
        line.heard += byte;
        return;
    }
    Hear(line, sim);
    line.heard.clear();
    if (byte != '\r')
        line.heard += byte;
}

void NoticeClient(SerialLine& line, UpsSim& sim)
{
    if (line.open)
        return;
    line.open = true;
    LogRequest(sim, "line opened");
}

void ForgetClient(SerialLine& line, UpsSim& sim)
{
    if (!line.heard.empty())
        LogRequest(sim, "serial? " + EscapeBytes(line.heard));
    if (line.open)
        LogRequest(sim, "line closed");
    line.heard.clear();
    line.waiting.clear();
    line.stuck = false;
    line.open = false;
}

void HearAll(SerialLine& line, UpsSim& sim)
{
    char buffer[4096];
    ssize_t got = 0;
    while ((got = read(line.pty.master, buffer, sizeof(buffer))) > 0) {
        NoticeClient(line, sim);
        for (ssize_t i = 0; i < got; i++)
            TakeByte(line, sim, buffer[i]);
    }
}

void SendDue(SerialLine& line)
{
    line.stuck = false;
    while (!line.waiting.empty() && line.waiting.front().due <= NowMilliseconds()) {
        std::string& bytes = line.waiting.front().bytes;
        ssize_t sent = write(line.pty.master, bytes.data(), bytes.size());
        line.stuck = sent <= 0;
        if (line.stuck)
            return;
        bytes.erase(0, static_cast<size_t>(sent));
        if (bytes.empty())
            line.waiting.pop_front();
    }
}

} // namespace

void ServeLine(SerialLine& line, UpsSim& sim)
{
    if (line.pty.master < 0)
        return;
    bool there = HasClient(line.pty);
    if (there)
        NoticeClient(line, sim);
    HearAll(line, sim); // also the last words of a client that has closed the line
    if (there)
        return SendDue(line);
    bool left = line.open;
    ForgetClient(line, sim);
    if (left)
        RenewPty(line.pty);
}

void TakeLineAway(SerialLine& line, UpsSim& sim)
{
    ClosePty(line.pty);
    ForgetClient(line, sim);
}

bool BringLineBack(SerialLine& line)
{
    return line.pty.master >= 0 || OpenPty(line.pty, line.pty.link);
}
