#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

/// What a host answers to a request. The type is for the client's dispatch and never goes on the wire: a
/// reply is found by its request.
class PluginHostReply : public Object {
public:
    ~PluginHostReply() override;

    virtual int32_t getType() const = 0;
    virtual void write(OutputStream& stream) const = 0;
};
