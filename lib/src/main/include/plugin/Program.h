#pragma once

#include "plugin/CoreNames.h"

/// One of the sounds that a plug-in brings, by its place in the plug-in's list.
class Program : public Object {
public:
    explicit Program(const String& name);
    ~Program() override;

    String name;
};
