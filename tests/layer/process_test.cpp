// What the product relies on in child processes and pipes.
#include "winapi/winapi.h"
// The front door comes first, as in the product.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/child_process.h"

namespace {

using test::Child;
using test::child_command;

constexpr DWORD long_enough = 20000;  // for what comes at once unless it is broken

DWORD exit_code(const Child& child) {
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeProcess(child.process, &code));
    return code;
}

TEST(Process, TalksOverPipesAndReportsItsExitCode) {
    Child child = test::start_child(child_command(W("copy 7")));
    ASSERT_EQ(0u, child.error);
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(child.process, 0));
    EXPECT_EQ(DWORD{STILL_ACTIVE}, exit_code(child));
    EXPECT_TRUE(test::write_text(child.input, "command"));
    CloseHandle(child.input);
    child.input = nullptr;
    DWORD error = 0;
    EXPECT_EQ("command", test::read_to_end(child.output, error));
    EXPECT_EQ(DWORD{ERROR_BROKEN_PIPE}, error);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(child.process, long_enough));
    EXPECT_EQ(7u, exit_code(child));
    test::close_child(child);
}

TEST(Process, ChildrenDoNotKeepEachOthersPipesOpen) {
    Child first = test::start_child(child_command(W("copy 1")));
    Child second = test::start_child(child_command(W("copy 2")));
    for (Child* child : {&first, &second}) {
        ASSERT_EQ(0u, child->error);
        CloseHandle(child->input);
        child->input = nullptr;
        // It sees the end of its input only when nobody else holds the other end.
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(child->process, long_enough));
    }
    test::close_child(first);
    test::close_child(second);
}

TEST(Process, AMissingProgramIsReportedToTheCaller) {
    test::WideString missing = child_command(W(""));
    missing.insert(missing.find(W('"'), 1), W("_missing"));
    EXPECT_EQ("error 2", test::output_of(missing));
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
    EXPECT_TRUE(test::read_to_end(read_end, error) == large);
    EXPECT_EQ(DWORD{ERROR_BROKEN_PIPE}, error);
    CloseHandle(read_end);
    ASSERT_TRUE(CreatePipe(&read_end, &write_end, nullptr, 0));
    CloseHandle(read_end);
    EXPECT_FALSE(test::write_text(write_end, "lost"));
    EXPECT_EQ(DWORD{ERROR_NO_DATA}, GetLastError());
    CloseHandle(write_end);
}

}  // namespace
