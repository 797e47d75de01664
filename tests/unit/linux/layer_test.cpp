// What takes the layer: a file that is released on the way, the debugger, a fresh process, failing calls, a send that
// finds no room.
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "common/config.h"
#include "common/global.h"
#include "common/log.h"
#include "common/util.h"
#include "host/ports.h"
#include "tests/support/linux/fast_clock.h"
#include "tests/support/listener.h"
#include "tests/unit/log_fixture.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmon/helper_status.h"
#include "winportmon/tsmon/tsmon_ports.h"
#include "winportmon/tsmon/util_connection.h"

namespace {

Strings debugger_output;
HANDLE held = nullptr;
size_t release_after = 0;  // messages

void keep_output(const char* text) {
    debugger_output.emplace_back(text);
    if (held != nullptr && debugger_output.size() == release_after) {
        CloseHandle(held);
        held = nullptr;
    }
}

class Layer : public LogTest {
  protected:
    Layer() {
        debugger_output.clear();
        winapi::set_debugger(keep_output);
    }
    ~Layer() override {
        winapi::set_debugger(nullptr);
        winapi::set_clock_speed(1);
    }
};

TEST_F(Layer, WaitsForAFileToBeReleased) {
    winapi::set_clock_speed(100'000);
    for (const size_t retries : {3u, 59u}) {
        const std::string file = path("held");
        write_bytes(file, "");
        debugger_output.clear();
        release_after = retries == 59 ? 60 : retries;  // the 60th attempt is the last
        held = CreateFileW(std::u16string(file.begin(), file.end()).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        const DWORD started = GetTickCount();
        EXPECT_EQ(os_file_delete_with_retry(file.c_str()), retries == 59 ? 0 : 1);
        EXPECT_TRUE(retries < 59 || GetLastError() == ERROR_SHARING_VIOLATION);
        EXPECT_GE(GetTickCount() - started, 5000 * retries);
        const Strings lines = logged();
        EXPECT_EQ(lines.size(), retries);
        for (size_t i = 0; i < lines.size(); ++i) {
            const std::string start = "ERROR: os_file_delete_with_retry: filename='" + file +
                                      "',num_tries=60,retry_delay_ms=5000,retry=" + std::to_string(i + 1) +
                                      ",num_deletes=";
            EXPECT_TRUE(lines[i].starts_with(start) && lines[i].ends_with("(Error: 32)")) << lines[i];
        }
        if (held != nullptr) CloseHandle(held);
        held = nullptr;
    }
}

TEST_F(Layer, SendsEveryWrittenMessageToTheDebugger) {
    log_debug(LOG_HERE, "off");
    log_dev(LOG_HERE, "off");
    log_info(LOG_HERE, "one");
    log_set_path("");
    log_error(LOG_HERE, "%s", std::string(5000, 'm').c_str());
    EXPECT_EQ(debugger_output, (Strings{"one\n", std::string(5000, 'm') + "\n"}));
    for (const size_t length : {509u, 510u, 511u, 512u, 1021u, 1022u, 1023u, 1024u, 1025u}) {
        const std::string text(length, 'm');
        log_info(LOG_HERE, "%s", text.c_str());
        EXPECT_EQ(debugger_output.back(), text + "\n");
        log_write("INFO ", nullptr, 0, text.c_str());
        EXPECT_EQ(debugger_output.back(), text + "\n");
    }
    winapi::set_computer_name(u"APRINTSRVZ[01");
    char name[1024];
    EXPECT_EQ(os_get_computer_name(name), 1);
    EXPECT_STREQ(name, "aprintsrvz[01");
}

// An entry that goes while its folder is walked is one that has no time.
TEST_F(Layer, WalksPastAnEntryThatIsGone) {
    const std::string folder = path("walk");
    os_mkdir(folder.c_str());
    write_bytes(folder + "\\b", "");
    ASSERT_EQ(symlink("nowhere", (winapi::native_path(host::to_text(folder).c_str()) + "/a").c_str()), 0);
    static int visits = 0;
    const auto count = [](const char*, int64_t) { return ++visits; };
    EXPECT_EQ(os_dir_forall(folder.c_str(), count), 1);
    EXPECT_EQ(visits, 1);
}

TEST_F(Layer, WritesToAStandardStreamAndBackToAFile) {
    log_set_path("STDOUT");
    testing::internal::CaptureStdout();
    log_info(LOG_HERE, "shown");
    EXPECT_NE(testing::internal::GetCapturedStdout().find(" INFO : shown\n"), std::string::npos);
    log_set_path(log_path.c_str());
    log_info(LOG_HERE, "kept");
    EXPECT_EQ(logged(), Strings{"INFO : kept"});
}

// Without memory for their locks, log and configuration work all the same. The first line of the log, which tells that
// nothing else could be done either, ends the want.
TEST_F(Layer, NeedsNoLocks) {
    const std::string folder = base();
    log_free_lock();
    config_free_lock();
    winapi::set_debugger([](const char*) { winapi::fault::disarm(); });
    winapi::fault::arm(1, winapi::fault::Mode::from_then_on);
    testing::internal::CaptureStderr();
    EXPECT_EQ(config_init(folder.c_str()), 0);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(winapi::fault::failed_function(), "InitializeCriticalSectionAndSpinCount");
    EXPECT_EQ(session_context.log_rotate_number, 10) << "the defaults are there";
    EXPECT_EQ(logged(), Strings{"ERROR: Error parsing config file: " + path("print-provider.conf") + "."});
    log_init_lock();
}

TEST_F(Layer, ATextWithoutMemoryIsNone) {
    for (const unsigned call : {1u, 2u}) {
        winapi::fault::arm(call, winapi::fault::Mode::once);
        EXPECT_EQ(counted_from_cstr("text"), nullptr);
        winapi::fault::disarm();
    }
}

// In a process of its own: lines are counted from its start.
TEST(LayerDeathTest, TheFirstLineChecksTheSize) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [] {
        const ScratchDir dir;
        write_bytes(dir.narrow("log"), "live");
        log_set_path(dir.narrow("log").c_str());
        session_context.log_rotate_number = 3;
        session_context.log_rotate_check_count = 200;
        log_info(LOG_HERE, "first");
        log_set_path("");
        return read_bytes(dir.narrow("log.1")) == "live" ? 0 : 1;
    };
    EXPECT_EXIT(exit(run()), testing::ExitedWithCode(0), "");
}

// With each call of a rotation failing in turn.
TEST_F(Layer, LosesNoRotatedFileToAFault) {
    for (const auto mode : {winapi::fault::Mode::once, winapi::fault::Mode::from_then_on}) {
        std::uint64_t calls = 1;
        int listings = 0;
        for (std::uint64_t call = 1; call <= calls; ++call) {
            for (const char* const end : {".tmp", ".3"}) os_file_delete((log_path + end).c_str());
            for (const char* const end : {"", ".1", ".2"}) write_bytes(log_path + end, std::string("live") + end);
            winapi::fault::arm(call, mode);
            const int rotated = log_rotate(3, 3);
            calls = std::max(calls, winapi::fault::disarm());
            log_close();
            std::string all;
            for (const char* const end : {"", ".tmp", ".1", ".2", ".3"}) all += read_bytes(log_path + end) + ";";
            for (const char* const text : {"live", "live.1;", "live.2;"}) {
                EXPECT_NE(all.find(text), std::string::npos) << call << " " << all;
            }
            EXPECT_TRUE(!rotated || all.ends_with(";live.1;live.2;")) << all;
            const std::string failed = winapi::fault::failed_function();
            const bool is_listing = failed.starts_with("Find") || failed == "realloc";
            EXPECT_TRUE(rotated || !is_listing || mode != winapi::fault::Mode::once) << "each file is asked for";
            listings += is_listing ? 1 : 0;
        }
        EXPECT_GT(listings, 3);
    }
}

TEST_F(Layer, AJobThatIsGoneAtTheSecondLookLeavesNoRecord) {
    spooler_sim::add_printer(W("Office"));
    spooler_sim::add_job(W("Office"), 7, W("document"), W("bob"));
    WCHAR name[] = u"Office";
    HANDLE printer = nullptr;
    ASSERT_TRUE(OpenPrinterW(name, &printer, nullptr));
    JOB_INFO_2W* info = nullptr;
    winapi::fault::arm(3, winapi::fault::Mode::once);  // after the size and the room for it
    EXPECT_FALSE(tsmon::GetJobInfo2(printer, 7, &info));
    winapi::fault::disarm();
    EXPECT_EQ(winapi::fault::failed_function(), "GetJobW");
    winapi::fault::arm(2, winapi::fault::Mode::once);
    SetLastError(0);
    EXPECT_FALSE(tsmon::GetJobInfo2(printer, 7, &info));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    winapi::fault::disarm();
    EXPECT_EQ(info, nullptr);
    ClosePrinter(printer);
    spooler_sim::reset();
}

// The monitor's own sockets wait for room in the system; one that does not shows what follows.
TEST_F(Layer, WaitsTwentySecondsForRoomAndSendsOnceMore) {
    WSADATA data{};
    WSAStartup(0x0202, &data);
    test::Listener listener;
    const tsmon::PortConfig config = host::port_config(W("Office"), W("127.0.0.1"), listener.port());
    SOCKET socket = INVALID_SOCKET;
    ASSERT_TRUE(tsmon::ConnectToPrinter(&config, &socket, TRUE));
    const WSAEVENT event = WSACreateEvent();
    EXPECT_EQ(WSAEventSelect(socket, event, FD_CLOSE), 0);  // from here on it does not block
    test::Peer peer = listener.accept();
    const std::string block(1 << 20, 'x');
    DWORD sent = 0;
    size_t filled = 0;
    {
        const test::FastClock clock(1000);
        const DWORD begin = GetTickCount();
        while (tsmon::SendToSocket(socket, block.data(), 1 << 20, &sent)) filled += sent;
        EXPECT_GE(GetTickCount() - begin, 20000u);
    }
    EXPECT_EQ(sent, 0u);
    EXPECT_EQ(logged(), Strings{"ERROR: TSM: timeout on socket for send"});

    std::thread reader([&] { peer.read(filled); });
    EXPECT_TRUE(tsmon::SendToSocket(socket, block.data(), 1 << 20, &sent));
    EXPECT_GT(sent, 0u);
    reader.join();
    EXPECT_EQ(logged(), Strings{});
    peer.close();
    EXPECT_TRUE(tsmon::CleanupSocket(&socket));
    EXPECT_EQ(socket, INVALID_SOCKET);
    WSACloseEvent(event);
    WSACleanup();
}

}  // namespace
