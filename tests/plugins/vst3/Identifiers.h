#pragma once

#include "vst3/Vst3Names.h"

// The classes of the test modules, whose identifier texts are these digits one after the other.

inline const FUID firstClass(0x11111111, 0x11111111, 0x11111111, 0x11111111);
inline const FUID secondClass(0x22222222, 0x22222222, 0x22222222, 0x22222222);
inline const FUID controllerClass(0xCCCCCCCC, 0xCCCCCCCC, 0xCCCCCCCC, 0xCCCCCCCC);
