// Single calls that fail or fall short under a document; only the layer can make them.
#include "winapi/linux/fault.h"

#include <atomic>
#include <set>

#include "tests/support/port_admin.h"
#include "winapi/linux/control.h"

namespace test {
namespace {

class Faults : public PrintServer {};

TEST_F(Faults, APartialSendIsReportedAndTheRestFollows) {
    start({});  // every document makes the same calls: with debug lines, one more in each new second
    const std::string data = pattern(200000);
    // Every call of the document in turn: those that are sends fall short.
    unsigned partial = 0;
    for (std::uint64_t call = 1; call < 400; ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::short_count);
        const host::Outcome outcome = print(W("Office"), data);
        winapi::fault::disarm();
        const Lines data_of_call = arrived();
        const std::string failed = winapi::fault::failed_function();
        if (failed.empty()) break;
        if (failed != "send") continue;
        EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
        EXPECT_EQ(outcome.partial_writes, 1u);
        partial += outcome.partial_writes;
        EXPECT_TRUE(data_of_call == Lines{data}) << "call " << call;
    }
    EXPECT_EQ(partial, 4u);
}

TEST_F(Faults, ASocketsFailureStopsTheStart) {
    configure({});
    add_printer(W("Office"));
    // The library stays, and what it knows of earlier starts.
    const std::string library = host::executable_folder() + "/" + host::monitor_file_name();
    const HMODULE kept = LoadLibraryW(host::windows_path(library).c_str());
    for (std::uint64_t call = 1;; ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::once);
        std::string why;
        const bool loaded = try_load(why);
        winapi::fault::disarm();
        const std::string failed = winapi::fault::failed_function();
        monitor.unload();
        if (failed.empty()) break;
        if (failed == "WSAStartup") {
            EXPECT_FALSE(loaded);
            EXPECT_EQ(logged("TSM: WSAStartup failed with error: ", "ERROR"), 1);
        }
    }
    EXPECT_EQ(winapi::misuses(), 0u);
    const int before = logged("TSM init complete");
    configure({"Debug=on"});
    load();
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
    EXPECT_EQ(logged("TSM init complete"), before + 1) << "with the settings of this start";
    FreeLibrary(kept);
}

TEST_F(Faults, AShutdownFreesThePortsThatAreStillOpen) {
    start({});
    HANDLE port = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), port));
    ASSERT_EQ(send_name(monitor, W("TSDeletePort"), W("Office")), 0u);
    EXPECT_GT(winapi::open_allocations(), 0u);
    monitor.unload();
    EXPECT_EQ(winapi::open_allocations(), 0u);
}

// Until the settings have been read a start tells the debugger everything.
TEST_F(Faults, AStartThatFindsNoSettingsYetIsTold) {
    static std::atomic<int> looked_up;
    looked_up = 0;
    winapi::set_debugger([](const char* text) {
        if (std::string(text).starts_with("TSM: looking up registry path: ")) ++looked_up;
    });
    start({});
    winapi::set_debugger(nullptr);
    EXPECT_EQ(looked_up, 1);
}

TEST_F(Faults, ARefusedRevertIsToldAfterItsAttempt) {
    start({"Debug=dev", "LogRotateCheckCount=0"});
    const std::string failure = "TSM: Unable to RevertToPrinterSelf. Try OpenPrinter without impersonation.";
    for (std::uint64_t call = 1; call < 400 && logged(failure) == 0; ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::once);
        EXPECT_NE(print(W("Office"), "page").result, host::Result::failed);
        winapi::fault::disarm();
    }
    Lines last;
    for (const std::string& line : messages("")) {
        if (line.starts_with(failure)) break;
        last = {line};
    }
    EXPECT_EQ(last, Lines{"TSM: reverting to printer self"});
}

TEST_F(Faults, ARefusedFirstAddressIsFollowedByTheNext) {
    configure({"Debug=on"});
    winapi::set_host(u"printer.example", {"127.0.0.9", "127.0.0.1"});
    ASSERT_TRUE(host::store_port(W("Office"), W("printer.example"), add_printer(W("Office")).port()));
    load();
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
    EXPECT_EQ(logged("TSM: Failed to connect to printer: printer.example", "ERROR"), 1);
    EXPECT_EQ(logged(" 127 0 0 9"), 1);
    winapi::set_host(u"printer.example", {});
}

// Sizes and fills the list with each of the calls below failing in turn; what was sized may then be too small.
TEST_F(Faults, AListOfPortsWithoutMemoryOrTextsStaysInItsBuffer) {
    configure({});
    for (const LPCWSTR name : {W("A"), W("Beta")}) ASSERT_TRUE(host::store_port(name, W("127.0.0.1"), 9100));
    load();
    const auto fail = [](std::uint64_t call, winapi::fault::Mode mode, const auto& list) {
        SetLastError(0);
        winapi::fault::arm(call, mode);
        const BOOL listed = list();
        const DWORD error = GetLastError();
        winapi::fault::disarm();
        const bool documented = error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_INSUFFICIENT_BUFFER;
        EXPECT_TRUE(listed || documented) << error << " after " << winapi::fault::failed_function();
        return !winapi::fault::failed_function().empty();
    };
    std::set<std::string> failed;
    for (const DWORD level : {1u, 2u}) {
        for (const auto mode : {winapi::fault::Mode::once, winapi::fault::Mode::from_then_on}) {
            DWORD needed = 0;
            DWORD count = 0;
            const auto size = [&] {
                return monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, level, nullptr, 0, &needed, &count);
            };
            for (std::uint64_t sizing = 1; fail(sizing, mode, size); ++sizing) {
                failed.insert(winapi::fault::failed_function());
                for (std::uint64_t filling = 1;; ++filling) {
                    std::unique_ptr<BYTE[]> buffer(new BYTE[needed]);  // its bounds are the sanitizer's
                    const DWORD room = needed;
                    const auto fill = [&] {
                        return monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, level, buffer.get(), room,
                                                             &needed, &count);
                    };
                    const bool more = fail(filling, mode, fill);
                    needed = room;
                    if (!more) break;
                }
            }
        }
    }
    EXPECT_EQ(failed, (std::set<std::string>{"GlobalAlloc", "GlobalFree", "LoadStringW"}));
}

}  // namespace
}  // namespace test
