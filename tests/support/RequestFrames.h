#pragma once

namespace test_support {

// Frames of requests as the tests lay them out by hand.

struct RequestRow {
    const char* frame;
    bool needsReply;
    bool isAsync;
    bool isForInstance;
};

// By type; each frame is for instance 3 and has the requestId 9, where it has any.
inline constexpr RequestRow requestRows[] = {
    {"00 09 00 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", true, true, true},
    {"01 03 00 00 00", false, true, true},
    {"02 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", false, true, true},
    {"03 03 00 00 00", false, true, true},
    {"04 09 00 00 00 03 00 00 00", true, true, true},
    {"05 09 00 00 00 03 00 00 00 00 00 00 00", true, true, true},
    {"06 09 00 00 00 03 00 00 00 00 00 00 00", true, true, true},
    {"07 03 00 00 00 00 00 00 00", false, true, true},
    {"08", false, true, false},
    {"09", false, true, false},
    {"0A", false, true, false},
    {"0B", false, true, false},
    {"0C", false, true, false},
    {"0D", true, false, false},
    {"0E 03 00 00 00 00 00 00 00", false, true, true},
    {"0F 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", false, true, true},
};

// With texts and negative numbers.
inline constexpr char createFrame[] =
    "00 09 00 00 00 03 00 00 00 00 00 00 07 '/p/a.so' 80 00 00 02 00 31 00 E9"
    "00 00 00 05 's.fxp' 01";
inline constexpr char openFrame[] =
    "02 FE FF FF FF 78 56 34 12 DD CC BB 0A 01 80 00 00 04 00 54 20 AC 00 E9 00 21";
inline constexpr char titleFrame[] = "0E 03 00 00 00 00 00 00 05 'Synth'";
inline constexpr char wideTitleFrame[] = "0E 03 00 00 00 80 00 00 01 20 AC";
inline constexpr char positionFrame[] = "0F 03 00 00 00 00 00 00 0A FF FF FF EC 00 00 01 2C 00 00 00 C8";

} // namespace test_support
