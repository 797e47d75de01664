// What the product relies on in child processes and pipes.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/child_process.h"
#include "tests/support/same_bytes.h"

namespace {

using test::Child;
using test::child_command;

TEST(Process, TalksOverPipes) {
    Child child = test::start_child(child_command(W("copy 0")));
    ASSERT_EQ(child.error, 0u);
    EXPECT_TRUE(test::write_text(child.input, "command"));
    CloseHandle(child.input);
    child.input = nullptr;
    DWORD error = 0;
    EXPECT_EQ(test::read_to_end(child.output, error), "command");
    EXPECT_EQ(error, DWORD{ERROR_BROKEN_PIPE});
    test::close_child(child);
}

TEST(Process, AMissingProgramIsReportedToTheCaller) {
    test::WideString missing = child_command(W(""));
    missing.insert(missing.find(W(' ')), W("_missing"));
    EXPECT_EQ(test::run_child(missing).output, "error 2");
}

// A conversation may rely on the size it asked for: nobody reads while it writes.
TEST(Pipe, TakesAsMuchAsWasAskedForAndEndsWithTheOtherEnd) {
    HANDLE read_end = nullptr;
    HANDLE write_end = nullptr;
    const std::string large(256 * 1024, 'x');
    ASSERT_TRUE(CreatePipe(&read_end, &write_end, nullptr, static_cast<DWORD>(large.size())));
    EXPECT_TRUE(test::write_text(write_end, large));
    CloseHandle(write_end);
    DWORD error = 0;
    EXPECT_TRUE(test::same_bytes(test::read_to_end(read_end, error), large));
    EXPECT_EQ(error, DWORD{ERROR_BROKEN_PIPE});
    CloseHandle(read_end);
    ASSERT_TRUE(CreatePipe(&read_end, &write_end, nullptr, 0));
    CloseHandle(read_end);
    EXPECT_FALSE(test::write_text(write_end, "lost"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_DATA});
    CloseHandle(write_end);
}

}  // namespace
