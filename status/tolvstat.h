// The status command and the opening screen, on top of the two live screens.
#pragma once

// What the opening screen's keys do: choose, or edit one of the two fields.
inline constexpr int ENTRY_CHOOSE = 1;
inline constexpr int ENTRY_ADDRESS = 2;
inline constexpr int ENTRY_COMMUNITY = 3;

// Bytes of the caller's address and community buffers.
inline constexpr int ENTRY_TEXT_SIZE = 30;

// Three lines each, for PlaceCOMMENTS.
extern const char HLP_LOCAL[3][70];
extern const char HLP_REMOTE[3][70];
extern const char HLP_IPADD[3][70];
extern const char HLP_CMNTY[3][70];

// The status command: settings, screen, and on to the remote status screen. The
// result of Opening_Text, or -1 when the settings could be neither read nor written.
int tolvan_status();

// One key of the opening screen: 1 = stay on it, 0 = leave. mode (ENTRY_), col
// and row (of the cursor) are the caller's, address and community its buffers.
int Opening_Text(int key, int* mode, int* col, int* row, char* address, char* community);

// Writes the two values and the help text of the cursor's row, then puts the
// cursor at (row, col).
void PlaceTXT(const char* address, const char* community, int row, int col);

// Writes one help text at the foot of the opening screen.
void PlaceCOMMENTS(const char text[3][70]);

// One key of line editing; the first one typed replaces the whole old text.
void EditIPADDRESS(int key, int* mode, int* col, int* row, char* address);
void EditCOMMUNITYNAME(int key, int* mode, int* col, int* row, char* community);
