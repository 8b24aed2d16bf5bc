// The control channel's socket: several clients at once, none of which can hold up the others.
#pragma once

#include "sim/model/ups_control.h"

#include <span>
#include <string>
#include <sys/select.h>
#include <vector>

struct ControlClient {
    int fd = -1;
    std::string in;
    std::string out;
    bool ended = false; // it sends no more; closed when `out` is delivered
};

struct ControlServer {
    int listener = -1;
    std::string path;
    std::vector<ControlClient> clients;
    std::span<const ControlVerb> verbs; // commands besides those of every face
};

// Creates the socket; false when that fails or when somebody answers there already.
bool OpenControl(ControlServer& server, const std::string& path);
// Adds what to wait for; the result is the highest descriptor plus one, or `count` if higher.
int AddControlFds(const ControlServer& server, fd_set* readers, fd_set* writers, int count);
// Serves what is ready.
void ServeControl(ControlServer& server, const fd_set& readers, const fd_set& writers, UpsSim& sim);
// Closes everything and removes the socket.
void CloseControl(ControlServer& server);
