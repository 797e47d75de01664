// What only the layer's processes have: programs of this machine, what a child finds open, what stays behind.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/child_process.h"
#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"

namespace {

namespace fs = std::filesystem;
using test::Child;
using test::output_of;

class LinuxProcessTest : public testing::Test {
  protected:
    LinuxProcessTest() {
        fs::create_directories(folder_);
        winapi::map_drive(u'C', folder_);
    }
    ~LinuxProcessTest() override {
        fs::remove_all(folder_);
        EXPECT_EQ(winapi::open_handles(), handles_) << winapi::describe_open_handles();
    }

    void add_program(const std::string& name, const std::string& text, bool executable = true) const {
        fs::create_directories((folder_ / name).parent_path());
        std::ofstream(folder_ / name) << text;
        fs::permissions(folder_ / name, executable ? fs::perms::owner_all : fs::perms::owner_read);
    }

    fs::path folder_ = fs::temp_directory_path() / ("process_test_" + std::to_string(getpid()));
    size_t handles_ = winapi::open_handles();
};

TEST_F(LinuxProcessTest, UnquotedNamesAreTriedBlankByBlank) {
    const auto say = [](const std::string& what) { return "#!/bin/sh\nprintf '" + what + " %s' \"$*\"\n"; };
    add_program("in a/b c/helper.exe", say("whole"));
    EXPECT_EQ(output_of(u"C:\\in a\\b c\\helper.exe x y"), "whole x y");
    EXPECT_EQ(output_of(u"C:\\in a\\b c\\helper"), "whole ");
    add_program("in a/b.exe", say("shorter"));
    EXPECT_EQ(output_of(u"C:\\in a\\b c\\helper.exe"), "shorter c\\helper.exe");
}

TEST_F(LinuxProcessTest, ProgramsThatCannotRunAreReported) {
    add_program("plain.exe", "#!/bin/sh\n", false);
    add_program("text.exe", "no program\n");
    EXPECT_EQ(output_of(u"C:\\plain.exe"), "error 5");
    EXPECT_EQ(output_of(u"C:\\text.exe"), "error 193");
    EXPECT_EQ(output_of(u"C:\\none.exe with arguments"), "error 2");
}

TEST_F(LinuxProcessTest, OnlyInheritableHandlesReachTheChild) {
    // Lists what is open behind the standard descriptors and the listing's own.
    add_program("list.exe", "#!/bin/sh\nfor f in /proc/self/fd/*; do readlink $f; done\n");
    WSADATA data{};
    WSAStartup(0x0202, &data);
    const SOCKET own = WSASocketW(AF_INET, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    EXPECT_EQ(output_of(u"C:\\list.exe").find("socket:"), std::string::npos);
    SetHandleInformation(reinterpret_cast<HANDLE>(own), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    EXPECT_NE(output_of(u"C:\\list.exe").find("socket:"), std::string::npos);
    closesocket(own);
    WSACleanup();
}

// A descriptor that is closed while a child starts may be another file by the time the child does: the pipe that
// reports a failed start, say, which must end with the start or the caller waits for as long as the child lives.
TEST_F(LinuxProcessTest, SocketsThatCloseMeanwhileGiveTheChildNoOthers) {
    add_program("list.exe", "#!/bin/sh\nreadlink /proc/self/fd/*\n");
    const auto pipes = [] {
        const std::string open = output_of(u"C:\\list.exe");
        int count = 0;
        for (size_t at = open.find("pipe:"); at != std::string::npos; at = open.find("pipe:", at + 1)) ++count;
        return count;
    };
    const int standard = pipes();
    WSADATA data{};
    WSAStartup(0x0202, &data);
    std::atomic<bool> stop{false};
    std::thread other([&] {
        while (!stop) {
            SOCKET sockets[16];
            for (SOCKET& one : sockets) one = WSASocketW(AF_INET, SOCK_STREAM, 0, nullptr, 0, 0);
            for (const SOCKET one : sockets) closesocket(one);
        }
    });
    for (int i = 0; i < 200; ++i) EXPECT_EQ(pipes(), standard) << i;
    stop = true;
    other.join();
    WSACleanup();
}

TEST_F(LinuxProcessTest, NoZombieStaysWhenTheHandleIsClosedFirst) {
    Child child = test::start_child(test::child_command(u"copy 0"));
    ASSERT_EQ(child.error, 0u);
    const fs::path process = "/proc/" + std::to_string(child.id);
    EXPECT_TRUE(fs::exists(process));
    test::close_child(child);  // its input ends with it
    for (int i = 0; i < 2000 && fs::exists(process); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(fs::exists(process));
}

}  // namespace
