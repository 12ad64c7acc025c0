#pragma once

#include <string>

namespace test_support {

// Golden bytes of an instance's state.

/// Of an instance of which nothing can be told: no buses, parameters, programs or note names.
inline constexpr char emptyState[] = "00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"
                                     "00  00 00 00 00  00 00 00";

/// One of everything, and a name for note 60. The buses' integers are big-endian, all counts little-endian.
inline std::string richState() {
    std::string text = "01 00 00 00"
                       "00 00 00 02 'In' 00 00 00 02 00 00 00 00 00 00 00 01"
                       "02 00 00 00"
                       "00 00 00 04 'Main' 00 00 00 02 00 00 00 00 00 00 00 01"
                       "80 00 00 02 00 E9 00 21 00 00 00 01 00 00 01 02"
                       "02 00 00 00"
                       // The first parameter: name, shortName, display, label, category, value 0.5, id 258,
                       // can be automated, a switch, with an integer range from -1 to 7.
                       "00 00 00 04 'Gain' 00 00 00 02 'Gn' 00 00 00 04 '-6.0' 00 00 00 02 'dB'"
                       "80 00 00 01 20 AC 00 00 00 3F 02 01 00 00 01 01 01 FF FF FF FF 07 00 00 00"
                       // The second says nothing but its value, 1.
                       "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                       "00 00 80 3F 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                       "02 00 00 00 00 00 00 04 'Init' 00 00 00 00"
                       "01";
    for (int note = 0; note < 128; ++note)
        text += note == 60 ? "00 00 00 04 'Kick'" : "00 00 00 00";
    return text + "40 01 00 00 01 00 01";
}

} // namespace test_support
