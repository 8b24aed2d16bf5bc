// The three reply files that a status screen of a serial UPS reads.
#pragma once

#include "sim/daemon/daemon_source.h"

// Replaces the status, rating and model files, each whole; a missing folder is passed over.
void WriteReplyFiles(const UpsReadings& readings);
void RemoveReplyFiles();
