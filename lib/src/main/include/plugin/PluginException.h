#pragma once

#include "plugin/CoreNames.h"

/// What a plug-in, or the code of its format, could not do.
class PluginException : public Exception {
public:
    using Exception::Exception;
    PluginException(const PluginException& other) = default;
    ~PluginException() override;
    Exception* clone() const override;
};
