#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <vector>

class Vst3Buses;

// Properties of a class from its subcategories, as in "Fx|Delay|Stereo".

/// All but the first one; the text itself if there is no other.
String categoryOf(const String& subcategories);
/// The `DeviceType`s: by the first one, else by the main buses. Oddity subcategory-printed: also writes the
/// first one to stdout, without a line end.
std::vector<int32_t> deviceTypesOf(const String& subcategories, const Vst3Buses& buses);
