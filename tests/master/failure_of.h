/// What a refused call says.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "output/failure.h"

namespace zulctl {

/// \return the message of the Failure that a call ends with; empty, and a failed test, for another end
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
