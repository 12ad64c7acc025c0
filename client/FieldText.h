#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Writes fields of a file: each is its length in decimal, a colon, its bytes and a comma.
class FieldWriter {
public:
    void write(std::string_view text);
    void write(int64_t number);

    const std::string& getText() const { return text; }

private:
    std::string text;
};

/// Reads what `FieldWriter` has written, from any bytes: after the first field that is damaged all others are
/// empty.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : rest(text) {}

    std::string readText();
    /// 0 if the field is no number.
    int64_t readNumber();

    bool isDamaged() const { return damaged; }
    /// Whether all fields have been read, and none was damaged.
    bool isAtEnd() const { return rest.empty() && !damaged; }

private:
    std::string_view rest;
    bool damaged = false;
};
