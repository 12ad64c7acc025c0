#include "plugin/PluginException.h"

PluginException::~PluginException() = default;

Exception* PluginException::clone() const {
    return new PluginException(*this);
}
