#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

/// A plug-in's 8-bit text of at most `size` bytes, terminated or not. Oddity utf8-texts-only: throws
/// `IOException` for any other encoding, which isn't guessed. With the extension `text` it never throws that:
/// what isn't UTF-8 is read as Latin-1, and the result is a `sendableText`.
String pluginText(const char* buffer, int32_t size);
/// The same of a terminated text; null gives the empty one.
String pluginText(const char* text);

/// The text with U+FFFD in place of each character that `OutputStream::writeString` and its reader don't
/// carry: one above U+FFFF, also as two surrogates, and a surrogate that stands alone.
String sendableText(const String& text);
