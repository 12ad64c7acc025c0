#pragma once

#include "plugin/CoreNames.h"

// What a VST 3 path means, for hosts and for clients.

/// Bits of the pointers of a host, and of the libraries that it can load.
enum class HostWidth { bits32 = 32, bits64 = 64 };

inline constexpr HostWidth ownWidth = sizeof(void*) == 8 ? HostWidth::bits64 : HostWidth::bits32;
inline constexpr HostWidth otherWidth = sizeof(void*) == 8 ? HostWidth::bits32 : HostWidth::bits64;

/// Oddity format-by-path-end: by the end of the path, without a dot and case-sensitively; the content isn't
/// read.
bool isVst3Path(const String& path);

/// The file that a host of `width` opens for a VST 3 path: the path itself if it names a regular file, or if
/// its last part is too short for a bundle's name; otherwise the library of the bundle, which need not exist.
/// With `ownFolders`, as by the extension `bundle`, the first of these that is a regular file:
///
///     32-bit host    Contents/i386-linux, Contents/i686-linux
///     64-bit host    Contents/x86_64-linux
///
/// Without one, and without `ownFolders`, the library in `Contents/x86_64-linux`.
String vst3Library(const String& path, HostWidth width, bool ownFolders);
