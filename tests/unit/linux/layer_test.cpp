// What takes the layer: a file that is released on the way, the debugger, failing calls, a send that finds no room.
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "common/global.h"
#include "common/log.h"
#include "common/util.h"
#include "host/ports.h"
#include "testbed/test_printer/net.h"
#include "tests/support/linux/fast_clock.h"
#include "tests/unit/log_fixture.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmon/helper_status.h"
#include "winportmon/tsmon/util_connection.h"

namespace {

Strings debugger_output;
HANDLE held = nullptr;
size_t release_after = 0;  // messages

void keep_output(const char* text) {
    debugger_output.emplace_back(text);
    if (held != nullptr && debugger_output.size() == release_after) CloseHandle(std::exchange(held, nullptr));
}

class Layer : public LogTest {
  protected:
    Layer() {
        debugger_output.clear();
        winapi::set_debugger(keep_output);
    }
    ~Layer() override { winapi::set_debugger(nullptr); }
};

TEST_F(Layer, WaitsForAFileToBeReleased) {
    const test::FastClock clock(100'000);
    const std::string file = path("held");
    // Released after 3 attempts; never, and the 60th attempt is the last.
    for (const size_t retries : {3u, 59u}) {
        const bool is_released = retries == 3;
        write_bytes(file, "");
        debugger_output.clear();
        release_after = is_released ? retries : SIZE_MAX;
        held = CreateFileW(host::to_text(file).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
        const DWORD started = GetTickCount();
        EXPECT_EQ(os_file_delete_with_retry(file.c_str()), is_released ? 1 : 0);
        EXPECT_TRUE(is_released || GetLastError() == ERROR_SHARING_VIOLATION);
        EXPECT_GE(GetTickCount() - started, 5000 * retries);
        const Strings lines = logged();
        ASSERT_EQ(lines.size(), retries);
        const std::string last = "ERROR: os_file_delete_with_retry: filename='" + file +
                                 "',num_tries=60,retry_delay_ms=5000,retry=" + std::to_string(retries) +
                                 ",num_deletes=";
        EXPECT_TRUE(lines.back().starts_with(last) && lines.back().ends_with("(Error: 32)")) << lines.back();
        if (held != nullptr) CloseHandle(std::exchange(held, nullptr));
    }
}

TEST_F(Layer, SendsEveryWrittenMessageToTheDebugger) {
    log_debug(LOG_HERE, "off");
    log_set_path("");
    for (const size_t length : {1u, 509u, 510u, 511u, 512u, 1021u, 1022u, 1023u, 1024u, 1025u, 5000u}) {
        const std::string text(length, 'm');
        log_info(LOG_HERE, "%s", text.c_str());
        log_write("INFO ", nullptr, 0, text.c_str());
        EXPECT_EQ(debugger_output, (Strings{text + "\n", text + "\n"}));
        debugger_output.clear();
    }
    char name[1024];
    EXPECT_EQ(os_get_computer_name(name), 1);
    EXPECT_STREQ(name, "az-print");
}

TEST_F(Layer, TellsTheLocalTime) {
    char text[64];
    setenv("TZ", "XXX-5:30", 1);
    tzset();
    os_get_second_string(text, sizeof text, 1615298822 - (5 * 60 + 30) * 60);
    EXPECT_STREQ(text, "2021-03-09 14:07:02");
    unsetenv("TZ");
    tzset();
}

// An entry that goes while its folder is walked is one that has no time.
TEST_F(Layer, WalksPastAnEntryThatIsGone) {
    const std::string folder = path("walk");
    os_mkdir(folder.c_str());
    write_bytes(folder + "\\b", "");
    ASSERT_EQ(symlink("nowhere", (winapi::native_path(host::to_text(folder).c_str()) + "/a").c_str()), 0);
    static int visits;
    visits = 0;
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
    for (const auto call : {2u, 3u}) {  // the room for it, the record
        winapi::fault::arm(call, winapi::fault::Mode::once);
        EXPECT_FALSE(tsmon::GetJobInfo2(printer, 7, &info));
        winapi::fault::disarm();
        EXPECT_TRUE(call == 3 || GetLastError() == ERROR_NOT_ENOUGH_MEMORY);
    }
    EXPECT_EQ(winapi::fault::failed_function(), "GetJobW");
    EXPECT_TRUE(tsmon::SetJobStatus(printer, 7, JOB_STATUS_ERROR));
    EXPECT_FALSE(tsmon::SetJobStatus(printer, 8, JOB_STATUS_ERROR));
    ClosePrinter(printer);
    spooler_sim::reset();
}

// The monitor's own sockets wait for room in the system; one that does not shows what follows.
TEST_F(Layer, WaitsTwentySecondsForRoomAndSendsOnceMore) {
    WSADATA data{};
    WSAStartup(0x0202, &data);
    namespace net = test_printer::net;
    std::string why;
    const net::Socket listener = net::bind_to("127.0.0.1", 0, why);
    ASSERT_TRUE(net::start_listening(listener)) << why;
    const tsmon::PortConfig config = host::port_config(W("Office"), W("127.0.0.1"), net::bound_port(listener));
    SOCKET socket = INVALID_SOCKET;
    ASSERT_TRUE(tsmon::ConnectToPrinter(&config, &socket, TRUE));
    const WSAEVENT event = WSACreateEvent();
    EXPECT_EQ(WSAEventSelect(socket, event, FD_CLOSE), 0);  // from here on it does not block
    const std::string block(1 << 20, 'x');
    DWORD sent = 0;
    {
        const test::FastClock clock(1000);
        const DWORD begin = GetTickCount();
        session_context.debug_logging = 1;
        while (tsmon::SendToSocket(socket, block.data(), 1 << 20, &sent)) {
        }
        session_context.debug_logging = 0;
        EXPECT_GE(GetTickCount() - begin, 20000u);
    }
    EXPECT_EQ(sent, 0u);
    EXPECT_EQ(logged(), (Strings{"DEBUG: TSM: wait for io or timeout 20000", "DEBUG: TSM: wait returned 1",
                                 "ERROR: TSM: timeout on socket for send"}));

    std::thread reader([peer = net::accept_from(listener)] {
        std::string room(1 << 20, '\0');
        size_t count = 0;
        while (net::receive(peer, room.data(), room.size(), count) == net::Received::data) {
        }
        net::close_socket(peer);
    });
    EXPECT_TRUE(tsmon::SendToSocket(socket, block.data(), 1 << 20, &sent));
    EXPECT_GT(sent, 0u);
    EXPECT_EQ(logged(), Strings{});
    EXPECT_TRUE(tsmon::CleanupSocket(&socket));
    EXPECT_EQ(socket, INVALID_SOCKET);
    reader.join();
    net::close_socket(listener);
    WSACloseEvent(event);
    WSACleanup();
}

}  // namespace
