#pragma once

#include "plugin/CoreNames.h"

/// A failure of a plug-in, or of the code of its format.
class PluginException : public Exception {
public:
    using Exception::Exception;
    PluginException(const PluginException& other) = default;
    ~PluginException() override;
    Exception* clone() const override;
};
