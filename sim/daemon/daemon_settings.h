// The daemon's view of the settings files.
#pragma once

// Reads both files again and tells on standard output what it found.
void RereadSettings();
