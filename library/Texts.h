#pragma once

#include "plugin/CoreNames.h"

#include <string>

namespace client_library {

/// A text of the application's; null is the empty text. Throws `Failure` for bytes that aren't UTF-8, and for
/// a character above U+FFFF, which no host could read. `what` names it.
String readText(const char* text, const char* what);

/// A path of the application's, as absolute. Throws `Failure` for null and for the empty text, too.
String readPath(const char* path, const char* what);

/// A time of the application's in milliseconds as seconds; 0 stands for `otherwise`. Throws `Failure` for a
/// negative one.
double readTime(int32_t milliseconds, double otherwise, const char* what);

/// A number of the application's; 0 stands for `otherwise`. Throws `Failure` beyond 1 to `highest`.
int32_t readNumber(int32_t number, int32_t otherwise, int32_t highest, const char* what);

} // namespace client_library
