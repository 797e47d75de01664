// What only the layer's processes have: programs of this machine, and what a child finds open.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/child_process.h"
#include "tests/support/scratch.h"
#include "winapi/linux/control.h"

namespace {

namespace fs = std::filesystem;
using test::run_child;

class LinuxProcessTest : public testing::Test {
  protected:
    LinuxProcessTest() { winapi::map_drive(u'P', folder_); }

    void add_program(const std::string& name, const std::string& text) const {
        fs::create_directories((folder_ / name).parent_path());
        std::ofstream(folder_ / name) << text;
        fs::permissions(folder_ / name, fs::perms::owner_all);
    }

    const ScratchDir dir_;
    const fs::path folder_ = winapi::native_path(dir_.path().c_str());
};

TEST_F(LinuxProcessTest, UnquotedNamesAreTriedBlankByBlank) {
    const auto say = [](const std::string& what) { return "#!/bin/sh\nprintf '" + what + " %s' \"$*\"\n"; };
    add_program("in a/b c/helper.exe", say("whole"));
    EXPECT_EQ(run_child(u"P:\\in a\\b c\\helper.exe x y").output, "whole x y");
    add_program("in a/b.exe", say("shorter"));
    EXPECT_EQ(run_child(u"P:\\in a\\b c\\helper.exe").output, "shorter c\\helper.exe");
}

TEST_F(LinuxProcessTest, OnlyInheritableHandlesReachTheChild) {
    add_program("list.exe", "#!/bin/sh\nfor f in /proc/self/fd/*; do readlink $f; done\n");
    WSADATA data{};
    WSAStartup(0x0202, &data);
    const SOCKET own = WSASocketW(AF_INET, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    EXPECT_EQ(run_child(u"P:\\list.exe").output.find("socket:"), std::string::npos);
    SetHandleInformation(reinterpret_cast<HANDLE>(own), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    EXPECT_NE(run_child(u"P:\\list.exe").output.find("socket:"), std::string::npos);
    closesocket(own);
    WSACleanup();
}

}  // namespace
