#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

/// A host's reply to a request. The type is for the client's dispatch and isn't sent: a reply is identified
/// by its request.
class PluginHostReply : public Object {
public:
    ~PluginHostReply() override;

    virtual int32_t getType() const = 0;
    virtual void write(OutputStream& stream) const = 0;
};
