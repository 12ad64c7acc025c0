#pragma once

#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

#include <pluginterfaces/vst/vsttypes.h>

/// A class's 16 bytes as 32 upper-case hexadecimal digits, in the order of memory: the client's identifier
/// for a plug-in of a module.
String classIdText(const FUID& classId);

/// The inverse. A text that isn't 32 characters long is no class id and gives 16 zero bytes; digits of either
/// case are accepted, and a pair that isn't hexadecimal is a zero byte.
FUID parseClassId(const String& text);

/// A plug-in's UTF-16 text, terminated or not. Unpaired surrogates become U+FFFD. With the extension `text`
/// the result is a `sendableText`.
String pluginText(const Vst::String128& text);

/// Copies a plug-in's UTF-16 text as UTF-8 into a zeroed buffer of `size` bytes, as `strncpy` does: a text
/// that fills the buffer is cut and has no terminator. With the extension `text` it is cut between
/// characters.
void copyPluginText(const Vst::String128& text, char* buffer, int32_t size);
