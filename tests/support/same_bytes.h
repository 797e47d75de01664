// Compares long data: a failure says where they differ, instead of printing megabytes or "false".
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace test {

inline testing::AssertionResult same_bytes(std::string_view actual, std::string_view expected) {
    if (actual == expected) return testing::AssertionSuccess() << expected.size() << " bytes";
    const auto [end, unused] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    const auto offset = static_cast<size_t>(end - actual.begin());
    const auto byte_of = [offset](std::string_view data) {
        char shown[16] = "nothing";
        if (offset < data.size()) snprintf(shown, sizeof shown, "0x%02x", static_cast<unsigned char>(data[offset]));
        return std::string(shown);
    };
    return testing::AssertionFailure() << actual.size() << " bytes instead of " << expected.size()
                                       << "; the first difference at offset " << offset << ": " << byte_of(actual)
                                       << " instead of " << byte_of(expected);
}

// The same for several documents, in their order.
inline testing::AssertionResult same_bytes(const std::vector<std::string>& actual,
                                           const std::vector<std::string>& expected) {
    testing::AssertionResult result = testing::AssertionSuccess();
    if (actual.size() != expected.size()) {
        return testing::AssertionFailure() << actual.size() << " documents instead of " << expected.size();
    }
    for (size_t i = 0; i < actual.size() && result; ++i) result = same_bytes(actual[i], expected[i]);
    return result;
}

}  // namespace test
