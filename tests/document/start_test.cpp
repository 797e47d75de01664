// Start and stop of the monitor, its stored ports, and what EnumPorts and OpenPort make of them.
#include "host/monitor_registry.h"
#include "tests/support/print_server.h"
#include "winportmon/contract/names.h"

namespace test {
namespace {

class Start : public PrintServer {
  protected:
    struct Listed {
        BOOL result;
        DWORD error;
        DWORD needed;
        DWORD returned;
        std::vector<char> buffer;
    };
    // Calls EnumPorts with a buffer of `size` bytes.
    Listed enumerate(DWORD level, size_t size) {
        Listed listed{FALSE, 0, 0, 77, std::vector<char>(size, '?')};
        SetLastError(0);
        listed.result = monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, level,
                                                      reinterpret_cast<BYTE*>(listed.buffer.data()),
                                                      static_cast<DWORD>(size), &listed.needed, &listed.returned);
        listed.error = GetLastError();
        return listed;
    }
    static void store_value(const Text& path, LPCWSTR name, DWORD type, const void* data, size_t size) {
        HKEY key = nullptr;
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        EXPECT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)), 0);
        RegCloseKey(key);
    }
};

TEST_F(Start, TheTableHoldsTheDocumentedSlotsAndNoPorts) {
    configure({"Debug=on"});
    load();
    const MONITOR2& table = *monitor.table();
    EXPECT_EQ(table.cbSize, 160u);
    EXPECT_TRUE(table.pfnEnumPorts && table.pfnOpenPort && table.pfnStartDocPort && table.pfnWritePort &&
                table.pfnReadPort && table.pfnEndDocPort && table.pfnClosePort && table.pfnShutdown);
    EXPECT_FALSE(table.pfnOpenPortEx || table.pfnAddPort || table.pfnAddPortEx || table.pfnConfigurePort ||
                 table.pfnDeletePort || table.pfnGetPrinterDataFromPort || table.pfnSetPortTimeOuts ||
                 table.pfnSendRecvBidiDataFromPort);
    const Listed none = enumerate(2, 0);
    EXPECT_TRUE(none.result);
    EXPECT_EQ(none.needed + none.returned, 0u);
    EXPECT_EQ(logged("TSM: ForAllPortRegEntries no ports registry to open: 2", "DEBUG"), 1);
    EXPECT_EQ(logged("TSM init complete"), 1);
}

TEST_F(Start, TheLogSaysWhichSpoolerItIs) {
    configure({"Debug=on"});
    for (const auto& [server, local, words] : {std::tuple{W("PRINTSERVER"), true, "\"PRINTSERVER\" for local"},
                                               {W(""), true, "\"(null)\" for local"},
                                               {W("CLUSTER"), false, "\"CLUSTER\" for clustered"}}) {
        load_options.server_name = server;
        load_options.local = local;
        load();
        EXPECT_EQ(logged(std::string("TSM: Initialize on server ") + words + " spooler", "DEBUG"), 1) << words;
    }
}

TEST_F(Start, EnumPortsLaysRecordsForwardAndTextsBackward) {
    configure({});
    add_printer(W("A"));
    add_printer(W("Beta"));
    load();

    const DWORD needed = enumerate(2, 0).needed;
    EXPECT_EQ(needed, 2 * (32 + 2 * 21 * 2) + (2 + 5) * 2u);
    const Listed shorter = enumerate(2, needed - 1);
    EXPECT_FALSE(shorter.result);
    EXPECT_EQ(shorter.error, static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(shorter.returned, 77u);
    EXPECT_EQ(shorter.buffer, std::vector<char>(needed - 1, '?'));

    for (const DWORD room : {needed, needed + 1, needed + 10}) {
        const Listed listed = enumerate(2, room);
        ASSERT_TRUE(listed.result);
        ASSERT_EQ(listed.returned, 2u);
        const auto* const info = reinterpret_cast<const PORT_INFO_2W*>(listed.buffer.data());
        const char* mark = listed.buffer.data() + room;
        // The texts lie one below the other from the very end of the buffer, wherever that is.
        const auto expect_text = [&mark](const WCHAR* text, const Text& expected) {
            mark -= (expected.size() + 1) * sizeof(WCHAR);
            EXPECT_EQ(reinterpret_cast<const char*>(text), mark);
            EXPECT_EQ(memcmp(mark, expected.c_str(), (expected.size() + 1) * sizeof(WCHAR)), 0);
        };
        const Text names[] = {W("A"), W("Beta")};
        for (int i = 0; i < 2; ++i) {
            expect_text(info[i].pPortName, names[i]);
            expect_text(info[i].pMonitorName, W("Tessaron TCP/IP Port"));
            expect_text(info[i].pDescription, W("Tessaron TCP/IP Port"));
            EXPECT_EQ(info[i].fPortType, 3u);
            EXPECT_EQ(info[i].Reserved, 0u);
        }
    }
    const Listed level3 = enumerate(3, 1000);
    EXPECT_FALSE(level3.result);
    EXPECT_EQ(level3.error, static_cast<DWORD>(ERROR_INVALID_LEVEL));
    EXPECT_EQ(logged("TSM: enum ports error: 124", "ERROR"), 1);
    EXPECT_EQ(logged("enum ports error: 122"), 0);
}

TEST_F(Start, OpenPortIgnoresLetterCase) {
    configure({});
    add_printer(W("Office \u0416"));
    load();
    HANDLE port = nullptr;
    HANDLE same = nullptr;
    EXPECT_TRUE(monitor.open_port(W("oFFICE \u0436"), port) && monitor.open_port(W("Office \u0416"), same));
    EXPECT_EQ(port, same);

    SetLastError(4711);
    EXPECT_FALSE(monitor.open_port(W("Attic"), port));
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_EQ(logged("TSM: Unable to find the port: Attic", "ERROR"), 1);
    EXPECT_FALSE(monitor.table()->pfnOpenPort(monitor.monitor(), nullptr, &port));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(logged("TSM: open port bad param", "ERROR"), 1);
}

TEST_F(Start, AnUnreadablePortIsSkippedWithItsLine) {
    configure({});
    ASSERT_TRUE(host::store_port(W("a good"), W("printer"), 9100) && host::store_port(W("z good"), W("printer"), 9100));
    const WCHAR address[] = W("127.0.0.1");
    const std::vector<WCHAR> long_address(201, W('x'));  // one more than is stored: some systems look for a terminator
    const Text full_name(64, W('f'));
    const DWORD number = 9100;
    // The port's name, its address of so many bytes (0: none), whether it has a number.
    const std::tuple<Text, const WCHAR*, size_t, bool> ports[] = {
        {W("b no number"), address, sizeof address, false},
        {W("c no host"), nullptr, 0, true},
        {W("d long host"), long_address.data(), 400, true},
        {Text(65, W('e')), address, sizeof address, false},
        {full_name, address, sizeof address, true},
        // Without a terminator, right after a longer address: nothing of that one may stick to it.
        {W("g bare"), address, 16, true},
    };
    for (const auto& [port, text, size, has_number] : ports) {
        const Text path = Text(contract::kMonitorKey) + W("\\Ports\\") + port;
        if (size != 0) store_value(path, W("HostName"), REG_SZ, text, size);
        if (has_number) store_value(path, W("PortNumber"), REG_DWORD, &number, sizeof number);
    }
    load();
    EXPECT_EQ(listed(), (Lines{"a good|printer|9100", std::string(64, 'f') + "|127.0.0.1|9100", "g bare|127.0.0.|9100",
                               "z good|printer|9100"}));
    const std::string begin = "TSM: ForAllPortRetEntries failed to ";
    const std::string end = " This port will not be loaded. - ";
    EXPECT_EQ(logged(begin + "get PortNumber value for port: \"b no number\". Data size: 4." + end, "ERROR"), 1);
    EXPECT_EQ(logged(begin + "get PrinterAddress value for port: \"c no host\". Data size: 258." + end, "ERROR"), 1);
    EXPECT_EQ(logged(begin + "get PrinterAddress value for port: \"d long host\". Data size: 400." + end, "ERROR"), 1);
    EXPECT_EQ(logged(begin + "enumerate port index 4." + end, "ERROR"), 1);
    EXPECT_EQ(logged("(Error: 234)"), 2);
}

// ... counted from the last port that could be read.
TEST_F(Start, AnEnumerationThatNeverEndsIsGivenUp) {
    configure({});
    add_printer(W("Office"));
    MONITORREG& registry = *host::monitor_registry();
    static const auto enum_key = registry.fpEnumKey;
    registry.fpEnumKey = [](HANDLE key, DWORD index, LPWSTR name, PDWORD size, PFILETIME time, HANDLE spooler) {
        return index == 10 ? enum_key(key, 0, name, size, time, spooler) : LONG{ERROR_GEN_FAILURE};
    };
    load();
    registry.fpEnumKey = enum_key;
    EXPECT_EQ(listed(), stored());
    EXPECT_EQ(logged("failed to enumerate port index", "ERROR"), 1010);
    EXPECT_EQ(logged("gives up after 1000 failures in a row", "ERROR"), 1);
}

// What stands without an install path prints, and sets nothing up: the next start that finds one, at either place,
// does.
TEST_F(Start, TheFirstInstallPathThatIsFoundCounts) {
    configure({"Debug=on"});
    add_printer(W("Office"));
    ASSERT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, W("SOFTWARE\\Wow6432Node\\ts-print-provider")), ERROR_SUCCESS);
    load();
    EXPECT_EQ(print_job(42, "page", true).result, host::Result::printed) << "no settings, no markers";
    EXPECT_FALSE(fs::exists(path_of(folder.log())));
    const std::string work_file = folder.spool("forceattr") + "/input-Office-9.dat";
    write_file(work_file, "of an earlier run");
    const Text path = host::windows_path(folder.install);
    store_value(W("SOFTWARE\\Wow6432Node\\Tessaron"), W("InstallPath"), REG_SZ, path.c_str(),
                (path.size() + 1) * sizeof(WCHAR));
    host::MonitorHost second;
    std::string why;
    ASSERT_TRUE(load_into(second, why)) << why;
    EXPECT_EQ(logged("TSM init complete"), 1) << "the log is in the base directory";
    EXPECT_FALSE(fs::exists(path_of(work_file)));
    EXPECT_EQ(logged("TSM: using helper command path"), 0);
    EXPECT_EQ(logged("TSM: Could not access the install path for ", "ERROR"), 2);
    EXPECT_EQ(logged("TSM: Could not retrieve the install path for SOFTWARE\\Wow6432Node\\ts-print-provider.", "ERROR"),
              1)
        << "the renewed look-up, of which the first place fails again";
    EXPECT_EQ(print_job(42, "page", true).result, host::Result::refused) << "the first instance has the settings, too";
    second.unload();
    EXPECT_EQ(print_job(43, "page").result, host::Result::printed);
    EXPECT_EQ(logged("TSM End Doc Port completed"), 2) << "the log stays open for the first one";

    fs::remove(folder.base + "/print-provider.conf");
    restart();
    EXPECT_EQ(print_job(44, "without settings").result, host::Result::printed);
    EXPECT_EQ(logged("Error parsing config file: ", "ERROR"), 1);
    EXPECT_EQ(logged("TSM End Doc Port completed"), 2);
}

TEST_F(Start, LeftOverWorkFilesAreSwept) {
    configure({"Debug=on"});
    const std::string directory = folder.spool("forceattr");
    const auto fill = [&] {
        for (const char* name : {"input-P-1.dat", "msf-P-1.dat", "anything"}) write_file(directory + "/" + name, "x");
        fs::create_directories(directory + "/kept/below");
    };
    const auto count = [&] { return std::distance(fs::directory_iterator(directory), fs::directory_iterator()); };
    fill();
    load();
    EXPECT_EQ(count(), 1) << "only the sub-directory is left";
    EXPECT_EQ(logged("Deleting persisted forceattr file: "), 3);

    fill();
    configure({"ForceAttributesDebug=on"});
    restart();
    EXPECT_EQ(count(), 4);
}

// The spooler of a cluster starts the monitor again while it runs.
TEST_F(Start, AnotherInstanceLeavesWhatTheFirstHasSetUp) {
    start({"Debug=off"});
    EXPECT_TRUE(fs::exists(path_of(folder.log()))) << "a later line may come from a user who may not create it";
    const std::string work_file = folder.spool("forceattr") + "/input-Office-9.dat";
    write_file(work_file, "of a document under way");
    configure({"Debug=on"});
    const size_t handles = open_handles();
    {
        host::MonitorHost second;
        std::string why;
        ASSERT_TRUE(load_into(second, why)) << why;
        EXPECT_EQ(second.print_document(document(W("Office"), host::memory_source("second"))).result,
                  host::Result::printed);
    }
    EXPECT_TRUE(wait_until([handles] { return open_handles() == handles; })) << "the log is still open";
    EXPECT_TRUE(fs::exists(path_of(work_file)));
    EXPECT_EQ(print(W("Office"), "first").result, host::Result::printed);
    EXPECT_EQ(arrived(), (Lines{"second", "first"}));
    EXPECT_EQ(logged("TSM init complete") + logged("TSM End Doc Port"), 0) << "with the settings of the first start";
    restart();
    EXPECT_FALSE(fs::exists(path_of(work_file))) << "a start with nothing left running sets up anew";
    EXPECT_EQ(logged("TSM init complete"), 1);
}

}  // namespace
}  // namespace test
