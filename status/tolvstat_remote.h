// The remote status screen: a UPS behind an SNMP agent.
#pragma once

// Runs the remote screen until 'q'; gives the result of endwin, or -1 when the
// settings could be neither read nor written.
int tolvan_status_remote(const char* address, const char* community);
