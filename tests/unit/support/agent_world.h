// The agents that tests of the SNMP side talk to: the simulated UPS as a process of its own
// here, and a bare UDP socket in its place from agent_wire.h.
#pragma once

#include "tests/unit/support/agent_wire.h"
#include "tests/unit/support/files.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

struct SimulatedAgent {
    pid_t pid = -1;
    int control = -1;
};

inline constexpr char CONTROL_PATH[] = "/run/wardenlink-sim.sock";

inline std::string ReadLine(int fd)
{
    std::string line;
    for (char c = 0; read(fd, &c, 1) == 1 && c != '\n';)
        line += c;
    return line;
}

// Sends one command of the control channel; the reply's lines without their indent.
inline Lines Control(const SimulatedAgent& agent, const std::string& command)
{
    std::string line = command + "\n";
    EXPECT_EQ(write(agent.control, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    Lines reply;
    for (line = ReadLine(agent.control); line.rfind("  ", 0) == 0; line = ReadLine(agent.control))
        reply.push_back(line.substr(2));
    EXPECT_EQ(line, "ok") << command;
    return reply;
}

inline void StopAgent(SimulatedAgent& agent)
{
    close(agent.control);
    kill(agent.pid, SIGTERM);
    waitpid(agent.pid, nullptr, 0);
    agent.pid = -1;
}

// Starts it at the agent's address and waits until it answers.
inline SimulatedAgent StartAgent(const char* community = "public")
{
    SimulatedAgent agent;
    int out[2] = {-1, -1};
    EXPECT_EQ(pipe(out), 0);
    const std::string program = BUILD_FOLDER "/sim/ups_agent";
    agent.pid = fork();
    if (agent.pid == 0) {
        dup2(out[1], 1);
        execl(program.c_str(), program.c_str(), "--listen", AgentAddress(), "--community",
              community, "--control", CONTROL_PATH, nullptr);
        _exit(127);
    }
    close(out[1]);
    EXPECT_EQ(ReadLine(out[0]), "ready") << program;
    close(out[0]);
    sockaddr_un place = {AF_UNIX, {}};
    snprintf(place.sun_path, sizeof(place.sun_path), "%s", CONTROL_PATH);
    agent.control = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(agent.control, reinterpret_cast<sockaddr*>(&place), sizeof(place)), 0);
    return agent;
}
