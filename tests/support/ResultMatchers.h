#pragma once

#include <gtest/gtest.h>

#include "base/Error.h"

namespace parvel::test_support {

// EXPECT_TRUE(succeeds(result)) prints the error of a failed Result.
template <typename T>
::testing::AssertionResult succeeds(const Result<T>& result) {
    if (result) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "failed with " << result.error().domain << " " << result.error().code << " ("
           << result.error().description << ")";
}

template <typename T>
::testing::AssertionResult failsWith(const Result<T>& result, int errnoValue) {
    if (result) {
        return ::testing::AssertionFailure() << "succeeded, expected errno " << errnoValue;
    }
    if (result.error().domain != kPosixErrorDomain || result.error().code != errnoValue) {
        return ::testing::AssertionFailure()
               << "failed with " << result.error().domain << " " << result.error().code << " ("
               << result.error().description << "), expected errno " << errnoValue;
    }
    return ::testing::AssertionSuccess();
}

}  // namespace parvel::test_support
