#pragma once

#include "core/Exception.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

namespace test_support {

/// The message of the failure that `action` ends with, which has to be an `Expected` and nothing derived from
/// it.
template <class Expected, class Action>
std::string failureText(const Action& action) {
    try {
        action();
    } catch (const Expected& exception) {
        EXPECT_STREQ(typeid(exception).name(), typeid(Expected).name());
        return exception.getMessage().toStdString();
    } catch (const base::core::Exception& exception) {
        ADD_FAILURE() << "another failure: " << exception.getMessage().toStdString();
        return {};
    }
    ADD_FAILURE() << "no failure";
    return {};
}

/// The words of the `IOException` that `action` ends with.
template <class Action>
std::string lossText(const Action& action) {
    try {
        action();
    } catch (const base::core::IOException& exception) {
        return exception.getMessage().toStdString();
    }
    return "no failure";
}

} // namespace test_support
