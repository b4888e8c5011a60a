#pragma once

#include <gtest/gtest.h>

#include <string>

namespace tests {

/// The text of the exception of this type that the action throws; a failing test when it throws none.
template <typename Exception, typename Action>
std::string messageOf(Action action) {
    try {
        action();
    } catch (const Exception& error) {
        return error.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

} // namespace tests
