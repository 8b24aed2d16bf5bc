// The last replies of a UPS on a serial port, for the local status screen: three files under
// /etc/wardenlink, each replaced whole, byte for byte as received.
#pragma once

// Replaces a file of these by a reply, CR included; null, or the same reply as last, leaves it
// as it is. False when it could not be written: the old one is removed then, so that nobody reads
// it as new.
bool KeepStatusReply(const char* reply);
bool KeepRatingReply(const char* reply);
bool KeepModelReply(const char* reply);

// Removes all three: no screen is to show what is not so any more.
void RemoveReplyFiles();
