// What systemd is told, where it started the daemon; elsewhere nothing.
#pragma once

void TellReady();
void TellAlive();
void TellStopping();
