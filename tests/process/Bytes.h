#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<uint8_t>;

/// Bytes as a test writes them down: hexadecimal digits, spaces where one likes, and 'text' in single quotes
/// for its ASCII bytes.
Bytes bytes(std::string_view golden);
/// For messages of failing tests.
std::string readable(const Bytes& data);

Bytes operator+(Bytes left, const Bytes& right);

/// Four bytes, lowest first.
Bytes little(int32_t value);
/// Four bytes, highest first.
Bytes big(int32_t value);
/// A text of plain ASCII: its length, highest byte first, and its bytes.
Bytes text(std::string_view ascii);

/// A request to create an instance.
Bytes createFrame(int32_t requestId, int32_t instanceId, std::string_view path,
                  std::string_view identifier = "", std::string_view preset = "");
/// The asynchronous frame of a failure.
Bytes failureFrame(int32_t requestId, std::string_view message);

Bytes destroyFrame(int32_t instanceId);
Bytes updateIoFrame(int32_t requestId, int32_t instanceId);
Bytes setProgramFrame(int32_t instanceId, int32_t program);
