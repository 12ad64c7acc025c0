#pragma once

#include "plugin/PluginHostAction.h"

#include <functional>
#include <utility>

namespace test_support {

/// An action made of a function.
class FunctionAction : public PluginHostAction {
public:
    explicit FunctionAction(std::function<void()> body) : body(std::move(body)) {}

    void run() override { body(); }

private:
    std::function<void()> body;
};

} // namespace test_support
