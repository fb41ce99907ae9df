/// The message of a call that fails.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "output/failure.h"

namespace zulctl {

/// \return the message of the Failure that a call throws; empty, with a failed test, if it throws none
template <typename Call>
std::string FailureOf(ExitCode code, Call call) {
    try {
        call();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code, code) << failure.what();
        return failure.what();
    }
    ADD_FAILURE() << "no failure";
    return {};
}

}  // namespace zulctl
