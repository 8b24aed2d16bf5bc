#include "sim/model/ups_server.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr size_t LONGEST_LINE = 4096;
constexpr size_t MOST_CLIENTS = 64;

bool SetAddress(sockaddr_un* address, const std::string& path)
{
    *address = sockaddr_un();
    address->sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address->sun_path))
        return false;
    memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

bool IsInUse(const sockaddr_un& address)
{
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    timeval limit = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    bool isTaken = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    return isTaken;
}

// Only a socket may be cleared away: a mistyped path must not cost somebody a file.
void RemoveStale(const std::string& path)
{
    struct stat status;
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode))
        unlink(path.c_str());
}

} // namespace

bool OpenControl(ControlServer& server, const std::string& path)
{
    sockaddr_un address;
    if (!SetAddress(&address, path) || IsInUse(address))
        return false;
    RemoveStale(path);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return false;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd, 16) != 0) {
        close(fd);
        return false;
    }
    server.listener = fd;
    server.path = path;
    return true;
}

namespace {

int Watch(int fd, fd_set* set, int count)
{
    FD_SET(fd, set);
    return std::max(count, fd + 1);
}

} // namespace

int AddControlFds(const ControlServer& server, fd_set* readers, fd_set* writers, int count)
{
    if (server.clients.size() < MOST_CLIENTS)
        count = Watch(server.listener, readers, count);
    for (const ControlClient& client : server.clients) {
        // A client that does not take its replies is not read from either.
        count = Watch(client.fd, client.out.empty() ? readers : writers, count);
    }
    return count;
}

namespace {

void Accept(ControlServer& server)
{
    int fd = accept4(server.listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0)
        return;
    if (fd >= FD_SETSIZE) {
        close(fd);
        return;
    }
    server.clients.emplace_back();
    server.clients.back().fd = fd;
}

void ReadClient(ControlClient& client)
{
    char buffer[4096];
    ssize_t got = read(client.fd, buffer, sizeof(buffer));
    if (got > 0)
        client.in.append(buffer, static_cast<size_t>(got));
    else if (got == 0 || (errno != EAGAIN && errno != EINTR))
        client.ended = true;
}

void ObeyClient(ControlClient& client, std::span<const ControlVerb> verbs, UpsSim& sim)
{
    size_t end = 0;
    while ((end = client.in.find('\n')) != std::string::npos) {
        std::string line = client.in.substr(0, end);
        client.in.erase(0, end + 1);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        client.out += ControlCommand(sim, verbs, line);
    }
    if (client.in.size() > LONGEST_LINE) {
        client.out += "error line too long\n";
        client.in.clear();
        client.ended = true;
    }
}

void WriteClient(ControlClient& client)
{
    ssize_t sent = send(client.fd, client.out.data(), client.out.size(), MSG_NOSIGNAL);
    if (sent > 0) {
        client.out.erase(0, static_cast<size_t>(sent));
    } else if (sent < 0 && errno != EAGAIN && errno != EINTR) {
        client.out.clear();
        client.ended = true;
    }
}

void ServeClient(ControlClient& client, const fd_set& readers, const fd_set& writers,
                 std::span<const ControlVerb> verbs, UpsSim& sim)
{
    if (FD_ISSET(client.fd, &readers)) {
        ReadClient(client);
        ObeyClient(client, verbs, sim);
    }
    if (!client.out.empty() || FD_ISSET(client.fd, &writers))
        WriteClient(client);
}

} // namespace

void ServeControl(ControlServer& server, const fd_set& readers, const fd_set& writers, UpsSim& sim)
{
    for (ControlClient& client : server.clients)
        ServeClient(client, readers, writers, server.verbs, sim);
    std::erase_if(server.clients, [](const ControlClient& client) {
        bool done = client.ended && client.out.empty();
        if (done)
            close(client.fd);
        return done;
    });
    if (FD_ISSET(server.listener, &readers))
        Accept(server);
}

void CloseControl(ControlServer& server)
{
    for (ControlClient& client : server.clients)
        close(client.fd);
    server.clients.clear();
    if (server.listener < 0)
        return;
    close(server.listener);
    unlink(server.path.c_str());
    server.listener = -1;
}
