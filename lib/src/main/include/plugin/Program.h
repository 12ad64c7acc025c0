#pragma once

#include "plugin/CoreNames.h"

/// One of a plug-in's programs, by its index in the plug-in's list.
class Program : public Object {
public:
    explicit Program(const String& name);
    ~Program() override;

    String name;
};
