#pragma once

#include "support/WireBytes.h"

#include <string>

namespace test_support {

// Preset files of VST 2 as the tests lay them out by hand: of an effect with the id 'Test', the version 7,
// two parameters and three programs.

namespace vst2Values {
inline const std::string quarter = "3E 80 00 00";
inline const std::string half = "3F 00 00 00";
inline const std::string one = "3F 80 00 00";
} // namespace vst2Values

/// A file of values, or a program of a bank.
inline std::string program(const std::string& name, const std::string& values, char count = 2) {
    std::string padded = name;
    padded.resize(28, '\0');
    return bytesOf("'CcnK' 00 00 00 38 'FxCk' 00 00 00 01 'Test' 00 00 00 07 00 00 00") + count + padded +
           bytesOf(values);
}

inline std::string chunkProgram(const std::string& sizeAndData) {
    return bytesOf("'CcnK' 00 00 00 00 'FPCh' 00 00 00 01 'Test' 00 00 00 07 00 00 00 02") +
           std::string(28, '\0') + bytesOf(sizeAndData);
}

inline std::string bankHead(const std::string& format, char programs, const std::string& version = "02",
                            const std::string& current = "01") {
    return bytesOf("'CcnK' 00 00 00 98") + format + bytesOf("00 00 00 " + version) +
           bytesOf("'Test' 00 00 00 07 00 00 00") + programs + bytesOf("00 00 00 " + current) +
           std::string(124, '\0');
}

inline std::string bankOfThree() {
    using namespace vst2Values;
    return bankHead("FxBk", 3) + program("One", half + quarter) + program("Two", one + half) +
           program("Three", quarter + quarter);
}

inline std::string chunkBank() {
    return bankHead("FBCh", 3) + bytesOf("00 00 00 02 'xy'");
}

/// Each 32-bit field reversed, as some writers left them; texts and reserved bytes as they are.
inline std::string littleEndianBank() {
    return bytesOf("'CcnK' 00 00 00 00 'FxBk' 02 00 00 00 'tseT' 07 00 00 00 01 00 00 00 00 00 00 00") +
           std::string(124, '\0') +
           bytesOf("'KncC' 38 00 00 00 'kCxF' 01 00 00 00 'tseT' 07 00 00 00 02 00 00 00 'Small'") +
           std::string(23, '\0') + bytesOf("00 00 00 3F 00 00 80 3E");
}

/// A text with a line of its window's scale.
inline std::string scaledText() {
    return "#AM=1\nGScale=150\nCutoff=2\n";
}

/// A RIFF file with another chunk before the plug-in's own, whose header and data are given.
inline std::string riffFile(const std::string& pluginChunk) {
    return bytesOf("'RIFF' 2C 00 00 00 'NIKS' 'NISI' 03 00 00 00 'abc' 00" + pluginChunk);
}

inline const std::string riffProgram = "'PCHK' 07 00 00 00 01 00 00 00 'xyz' 00";
inline const std::string riffBank = "'PCHK' 06 00 00 00 00 00 00 00 'xy'";

} // namespace test_support
