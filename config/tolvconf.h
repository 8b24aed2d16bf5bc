// The config command: the full-screen editor of the settings.
#pragma once

// Runs the editor; 0 after a normal quit, negative when it could not run.
int tolvan_config();
