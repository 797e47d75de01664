// Ports added, changed, read, checked and deleted through the configuration channel.
#include <chrono>
#include <functional>
#include <future>

#include "host/monitor_registry.h"
#include "tests/support/print_server.h"

namespace test {
namespace {

constexpr DWORD kMost = 0xFFFFFFFF;
constexpr DWORD kNotFound = 2;
constexpr DWORD kInvalidHandle = 6;

class Xcv : public PrintServer {
  protected:
    static constexpr ACCESS_MASK kAdministrator = SERVER_ACCESS_ADMINISTER;

    DWORD send(LPCWSTR command, const PortConfig& config, ACCESS_MASK access = kAdministrator) {
        return send_config(monitor, command, config, access);
    }
    DWORD send(LPCWSTR command, const Text& name, ACCESS_MASK access = kAdministrator) {
        return send_name(monitor, command, name, access);
    }
    DWORD get(const Text& name, PortConfig& config) { return read_config(monitor, name, config); }
    DWORD send_raw(LPCWSTR command, const void* input, DWORD input_size, void* output = nullptr,
                   DWORD output_size = 0) {
        return host::Xcv(monitor, W("Office"), kAdministrator).send(command, input, input_size, output, output_size);
    }
};

TEST_F(Xcv, APortsLife) {
    configure({"Debug=on"});
    test_printer::TcpPrinter first;
    test_printer::TcpPrinter second;
    spooler_sim::add_printer(W("Office"));
    load();
    EXPECT_EQ(send(W("TSPortExists"), Text(W("Office")), 0), 0u);
    ASSERT_EQ(send(W("TSAddPort"), port_config(W("Office"), W("127.0.0.1"), first.port())), 0u);
    ASSERT_EQ(send(W("TSAddPort"), port_config(W("\u0100"), W("127.0.0.1"), first.port())), 0u);
    EXPECT_EQ(send(W("TSDeletePort"), Text(W("\u0100"))), 0u) << "half of a letter is no end";
    EXPECT_EQ(logged("pszDataName = \"TSDeletePort\", cbOutputData = "), 1);
    EXPECT_EQ(send(W("TSPortExists"), Text(W("oFFICE")), 0), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);

    // The record is kept byte for byte, with what is behind its terminators.
    PortConfig changed = port_config(W("Office"), W("127.0.0.1"), second.port());
    changed.printer_address[100] = W('x');
    changed.port_name[60] = W('y');
    ASSERT_EQ(send(W("TSConfigPort"), changed), 0u);
    PortConfig read = {};
    ASSERT_EQ(get(W("OFFICE"), read), 0u);
    EXPECT_EQ(memcmp(&read, &changed, sizeof read), 0);
    expect_agreement();
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
    ASSERT_TRUE(first.wait_for_ends(1) && second.wait_for_ends(1));
    EXPECT_EQ(first.connections(), 1u);
    EXPECT_EQ(second.connection(0).data, "page");

    ASSERT_EQ(send(W("TSDeletePort"), Text(W("office"))), 0u);
    EXPECT_EQ(listed(), Lines());
    EXPECT_EQ(stored(), Lines());
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM Xcv DoPortExists: does NOT exist"), 1);
    EXPECT_EQ(logged("TSM Xcv DoPortExists: exists"), 1);
}

TEST_F(Xcv, FailuresHaveTheirCodesAndLines) {
    configure({"Debug=on"});
    add_printer(W("Office"));
    spooler_sim::add_foreign_port(W("LPT1:"));
    load();
    const Lines before = listed();
    const PortConfig known = port_config(W("Office"), W("printer"));
    const PortConfig unknown = port_config(W("Attic"), W("printer"));
    // The command, the access, the input and its size, the channel's port, the output's size, the code, and the line at
    // error level, empty when there is none.
    using Row =
        std::tuple<const WCHAR*, ACCESS_MASK, const PortConfig*, DWORD, const WCHAR*, DWORD, DWORD, std::string>;
    const Row rows[] = {
        {W("tsaddport"), kAdministrator, &unknown, 392, W(""), 0, 87, ""},
        {W("TSAddPort "), kAdministrator, &unknown, 392, W(""), 0, 87, ""},
        {W("TSAddPort"), ~kAdministrator, &unknown, 391, W(""), 0, 5, ""},
        {W("TSConfigPort"), ~kAdministrator, &known, 392, W(""), 0, 5, ""},
        {W("TSGetConfigInfo"), ~kAdministrator, nullptr, 0, W("Office"), 392, 5, ""},
        {W("TSDeletePort"), ~kAdministrator, &known, 392, W(""), 0, 5, ""},
        {W("TSAddPort"), kAdministrator, &known, 392, W(""), 0, 183, ""},
        {W("TSConfigPort"), kAdministrator, &unknown, 392, W(""), 0, 87, "TSM: Unable to find the port: Attic"},
        {W("TSGetConfigInfo"), kAdministrator, nullptr, 0, W("Attic"), 392, 87, "TSM: Unable to find the port: Attic"},
        {W("TSGetConfigInfo"), kAdministrator, nullptr, 0, W(""), 392, 87, "TSM: Unable to find the port: "},
        {W("TSGetConfigInfo"), kAdministrator, nullptr, 0, W("Office"), 391, 87,
         "TSM: DoGetConfigInfo: Output size (391) does not match expected (392)."},
        {W("TSGetConfigInfo"), kAdministrator, nullptr, 0, W("Office"), 393, 87,
         "TSM: DoGetConfigInfo: Output size (393) does not match expected (392)."},
        {W("TSDeletePort"), kAdministrator, &unknown, 392, W(""), 0, 2,
         "TSM Xcv DoDeletePort: \"printer\" - name not found"},
    };
    for (const auto& [command, access, input, input_size, object, output_size, code, line] : rows) {
        const int lines = logged(line, "ERROR") + (line.empty() ? 0 : 1);
        std::vector<BYTE> output(output_size + 1, '?');
        const host::Xcv xcv(monitor, object, access);
        const std::string what = host::to_utf8(command) + " with " + std::to_string(input_size);
        EXPECT_EQ(xcv.send(command, input, input_size, output.data(), output_size), code) << what;
        EXPECT_EQ(output, std::vector<BYTE>(output.size(), '?')) << what;
        EXPECT_EQ(logged(line, "ERROR"), lines) << what;
    }
    SetLastError(0);
    EXPECT_EQ(send(W("TSAddPort"), port_config(W("lpt1:"), W("printer"))), 183u) << "another monitor's";
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_EQ(send(W("TSPortExists"), Text(W("lpt1:")), 0), 183u);
    EXPECT_EQ(listed(), before);
    expect_agreement();
}

TEST_F(Xcv, MonitorUiNamesItsLibrary) {
    configure({});
    load();
    const host::Xcv xcv(monitor, W("Tessaron TCP/IP Port"), 0);
    for (const DWORD size : {0u, 41u, 42u, 43u}) {
        std::vector<BYTE> output(size);
        DWORD needed = 0;
        EXPECT_EQ(xcv.send(W("MonitorUI"), nullptr, 0, output.data(), size, &needed), size < 42 ? 122u : 0u) << size;
        EXPECT_EQ(needed, 42u);
        EXPECT_TRUE(size < 42 || memcmp(output.data(), W("tsprintportmonui.dll"), 42) == 0);
    }
}

TEST_F(Xcv, ACheckConnectsAndLeavesNothingOpen) {
    start();
    const PortConfig good = port_config(W(""), W("127.0.0.1"), office->port());
    const size_t handles = open_handles();
    EXPECT_EQ(send(W("TSPortIsValid"), good, 0), 0u);
    ASSERT_TRUE(office->wait_for_ends(1));
    EXPECT_EQ(office->connection(0).end, test_printer::End::finished);
    EXPECT_EQ(office->connection(0).bytes, 0u);

    // A longer input is one of a later port UI: its beginning is understood.
    EXPECT_EQ(send_raw(W("TSPortIsValid"), &good, kMost), 0u);
    ASSERT_TRUE(office->wait_for_ends(2));
    office->refuse();
    EXPECT_EQ(send(W("TSPortIsValid"), good, 0), 1u);
    EXPECT_EQ(logged("TSM: unable to connect to printer by tcp", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Xcv DoPortIsValid: success"), 2);
    EXPECT_EQ(logged("TSM Xcv DoPortIsValid: failure"), 1);
    EXPECT_EQ(send(W("TSPortIsValid"), port_config(W(""), W("127.0.0.1"), 65536 + office->port()), 0), 1u);
    EXPECT_TRUE(handles_fall_to(handles)) << open_handles() << " > " << handles;
}

TEST_F(Xcv, NothingIsReadPastTheInput) {
    start();
    const Lines before = listed();
    const std::pair<LPCWSTR, DWORD> commands[] = {{W("TSAddPort"), 87},           {W("TSConfigPort"), 87},
                                                  {W("TSPortIsValid"), 87},       {W("TSGetConfigInfo"), 87},
                                                  {W("TSDeletePort"), kNotFound}, {W("TSPortExists"), 0}};
    for (const auto& [command, code] : commands) {
        for (const DWORD size : {0u, 1u, 2u, 257u, 258u, 259u, 260u, 387u, 391u, 393u, 600u}) {
            std::vector<BYTE> block(size, 'A');  // nothing is behind it, so that a read past its end is seen
            if (command == commands[2].first && size > sizeof(PortConfig)) continue;
            EXPECT_EQ(send_raw(command, block.data(), size, block.data(), size), code)
                << host::to_utf8(command) << " " << size;
        }
        for (const DWORD size : {DWORD{392}, kMost}) {
            EXPECT_EQ(send_raw(command, nullptr, size, nullptr, size), 87u) << host::to_utf8(command) << " " << size;
        }
    }
    // Sizes beyond anything, with the text ended well before them.
    const PortConfig known = port_config(W("Office"), W("printer"));
    for (const auto* const command : {W("TSAddPort"), W("TSConfigPort")})
        EXPECT_EQ(send_raw(command, &known, kMost), 87u);
    const WCHAR attic[] = W("Attic");
    EXPECT_EQ(send_raw(W("TSDeletePort"), attic, kMost), kNotFound);
    EXPECT_EQ(send_raw(W("TSPortExists"), attic, kMost), 0u);
    EXPECT_EQ(send_raw(W("TSDeletePort"), nullptr, 0), kNotFound) << "an empty name";
    EXPECT_EQ(send_raw(W("TSPortExists"), nullptr, 0), 0u);
    EXPECT_NE(send_raw(W("MonitorUI"), nullptr, kMost, nullptr, kMost), 0u);
    EXPECT_EQ(listed(), before);
    expect_agreement();
    const WCHAR full[] = {'O', 'F', 'F', 'I', 'C', 'E'};
    EXPECT_EQ(send_raw(W("TSDeletePort"), full, sizeof full), 0u) << "a name that fills its input";
    expect_agreement();
}

// Names are taken as they are, also those that a start does not find again. A name of any length can be asked for.
TEST_F(Xcv, WhatIsAddedLasts) {
    configure({"Debug=on"});
    load();
    const Text odd[] = {W(""), W("Room\\12"), Text(65, W('u'))};
    for (const Text& name : odd) {
        EXPECT_EQ(send(W("TSAddPort"), port_config(name, W("printer"))), 0u) << host::to_utf8(name);
        EXPECT_EQ(send(W("TSPortExists"), name), 183u) << host::to_utf8(name);
        EXPECT_EQ(send(W("TSAddPort"), port_config(name, W("printer"))), 183u) << host::to_utf8(name);
    }
    EXPECT_EQ(send(W("TSPortExists"), Text(64, W('u'))), 0u) << "not that whose name fills its field";
    for (const Text& name : odd) EXPECT_EQ(send(W("TSDeletePort"), name), 0u) << host::to_utf8(name);
    const Text longer(5000, W('l'));
    EXPECT_EQ(send(W("TSPortExists"), longer), 0u);
    EXPECT_EQ(send(W("TSDeletePort"), longer), kNotFound);
    EXPECT_EQ(logged("TSM Xcv DoDeletePort: \"" + host::to_utf8(longer) + "\" - name not found", "ERROR"), 1);
    EXPECT_EQ(listed(), Lines());

    const std::pair<Text, Text> rows[] = {
        {W("plain"), W("printer")},    {Text(64, W('n')), Text(128, W('a'))},
        {W("no address"), W("")},      {W("full address"), Text(129, W('a'))},
        {W(" \t\"%,#"), W("printer")}, {W("B\u00FCro \u0416 \u65E5\u672C"), W("dr\u00FCcker")}};
    for (const auto& [name, address] : rows) {
        EXPECT_EQ(send(W("TSAddPort"), port_config(name, address)), 0u) << host::to_utf8(name);
        expect_agreement();
    }
    EXPECT_EQ(send(W("TSAddPort"), port_config(W("b\u00DCRO \u0436 \u65E5\u672C"), W("printer"))), 183u);
    restart();
    EXPECT_EQ(listed(), stored()) << "the order is the registry's";
    PortConfig read = {};
    ASSERT_EQ(get(Text(64, W('N')), read), 0u);
    const PortConfig full = port_config(Text(64, W('n')), Text(128, W('a')));
    EXPECT_EQ(memcmp(&read, &full, sizeof read), 0);
}

TEST_F(Xcv, ADocumentOutlivesItsPort) {
    start({});
    const auto print_on = [this](HANDLE port, DWORD id, const std::string& data) {
        spooler_sim::add_job(W("Office"), id, W("doc"), W("ann"));
        EXPECT_TRUE(monitor.start_document(port, W("Office"), id, W("doc")));
        EXPECT_TRUE(write(port, data));
        EXPECT_TRUE(monitor.end_document(port));
    };
    test_printer::TcpPrinter other;
    const PortConfig elsewhere = port_config(W("Office"), W("127.0.0.1"), other.port());
    const HANDLE port = begin_document(7);
    ASSERT_TRUE(write(port, "one "));
    ASSERT_EQ(send(W("TSConfigPort"), elsewhere), 0u);
    ASSERT_TRUE(write(port, "two "));
    ASSERT_EQ(send(W("TSDeletePort"), Text(W("Office"))), 0u);
    test_printer::TcpPrinter third;
    ASSERT_EQ(send(W("TSAddPort"), port_config(W("OFFICE"), W("127.0.0.1"), third.port())), 0u);
    ASSERT_TRUE(write(port, "three"));
    // Meanwhile the new port prints for itself.
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(arrived(), Lines{"one two three"});
    // The old handle leads to the port as it is now.
    print_on(port, 8, "same handle");
    HANDLE another = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), another));
    ASSERT_EQ(send(W("TSDeletePort"), Text(W("Office"))), 0u);
    EXPECT_TRUE(monitor.close_port(another));
    print_on(port, 9, "still open");
    ASSERT_TRUE(third.wait_for_ends(3));
    EXPECT_EQ(third.connection(0).data, "page");
    EXPECT_EQ(third.connection(1).data, "same handle");
    EXPECT_EQ(third.connection(2).data, "still open");
    EXPECT_EQ(other.connections(), 0u);
    EXPECT_EQ(listed(), Lines());
    // Deleted, and never closed: the shut-down frees it.
}

// Handles are known by the library: one that is closed, or whose monitor has ended, is not looked into.
TEST_F(Xcv, AHandleIsClosedOnce) {
    start({});
    const HMODULE kept =
        LoadLibraryW(host::windows_path(host::executable_folder() + "/" + host::monitor_file_name()).c_str());
    ASSERT_NE(kept, nullptr);
    const MONITOR2& table = *monitor.table();
    HANDLE first = nullptr;
    HANDLE second = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), first) && monitor.open_port(W("Office"), second));
    ASSERT_EQ(send(W("TSDeletePort"), Text(W("Office"))), 0u);
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(table.pfnClosePort(first)) << i;
    ASSERT_EQ(send(W("TSAddPort"), port_config(W("Office"), W("127.0.0.1"), office->port())), 0u);
    ASSERT_TRUE(monitor.open_port(W("Office"), first));
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);

    HANDLE channels[4] = {};
    for (HANDLE& channel : channels) {
        const LPCWSTR object = &channel == channels ? nullptr : W("Office");
        ASSERT_TRUE(table.pfnXcvOpenPort(monitor.monitor(), object, kAdministrator, &channel));
    }
    PortConfig read = {};
    const auto ask = [&](HANDLE channel) {
        DWORD needed = 0;
        return table.pfnXcvDataPort(channel, W("TSGetConfigInfo"), nullptr, 0, reinterpret_cast<BYTE*>(&read),
                                    sizeof read, &needed);
    };
    EXPECT_EQ(ask(channels[0]), 87u) << "a channel that is about nothing";
    for (const HANDLE closed : {channels[0], channels[3], channels[1]}) {
        EXPECT_EQ(ask(channels[2]), 0u);
        for (int i = 0; i < 2; ++i) EXPECT_TRUE(table.pfnXcvClosePort(closed)) << i;
        EXPECT_EQ(ask(closed), kInvalidHandle);
    }
    EXPECT_EQ(ask(nullptr), kInvalidHandle);
    EXPECT_EQ(ask(channels[2]), 0u);
    monitor.unload();
    EXPECT_EQ(ask(channels[2]), kInvalidHandle);
    load();  // perhaps where the one before was
    EXPECT_EQ(ask(channels[2]), kInvalidHandle);
    for (const HANDLE port : {first, HANDLE{nullptr}}) EXPECT_TRUE(table.pfnClosePort(port));
    for (const HANDLE channel : {channels[2], HANDLE{nullptr}}) EXPECT_TRUE(table.pfnXcvClosePort(channel));
    FreeLibrary(kept);
}

// A registry in the place of the host's, until the test is over: `asked` stands in for the call that stores a value or
// deletes one.
class ScriptedRegistry : public Xcv {
  protected:
    using Asked = std::function<LONG(const Text& value)>;
    ~ScriptedRegistry() override { calls_ = before_; }
    void answer_by(Asked asked) {
        asked_ = std::move(asked);
        calls_.fpSetValue = [](HANDLE, LPCWSTR name, DWORD, const BYTE*, DWORD, HANDLE) { return asked_(name); };
        calls_.fpDeleteValue = [](HANDLE, LPCWSTR name, HANDLE) { return asked_(name); };
    }

  private:
    inline static Asked asked_;
    MONITORREG& calls_ = *host::monitor_registry();
    const MONITORREG before_ = calls_;
};

// Storing a port can take long. Documents and lists of ports do not wait for it; while one is deleted, those that are
// open can be closed.
TEST_F(ScriptedRegistry, PrintingDoesNotWaitForIt) {
    configure({});
    add_printer(W("Office"));
    add_printer(W("Other"));
    load();
    HANDLE open = nullptr;
    std::future<bool> meanwhile;
    std::function<bool()> work;
    answer_by([&](const Text&) -> LONG {
        if (!meanwhile.valid()) meanwhile = std::async(std::launch::async, work);
        return meanwhile.wait_for(std::chrono::seconds(20)) == std::future_status::ready ? ERROR_DISK_FULL : 1;
    });
    const auto close = [&] { return monitor.close_port(open); };
    const auto print_and_list = [&] {
        return close() && print(W("Other"), "page").result == host::Result::printed && listed().size() >= 2;
    };
    const std::tuple<LPCWSTR, Text, DWORD, std::function<bool()>> rows[] = {
        {W("TSConfigPort"), W("Office"), 87, print_and_list},
        {W("TSAddPort"), W("Attic"), ERROR_DISK_FULL, print_and_list},
        {W("TSDeletePort"), W("Office"), 0, close},
    };
    for (const auto& [command, name, code, done_meanwhile] : rows) {
        meanwhile = {};
        work = done_meanwhile;
        ASSERT_TRUE(monitor.open_port(W("Office"), open));
        const PortConfig input = port_config(name, W("printer"));
        EXPECT_EQ(command == Text(W("TSDeletePort")) ? send(command, name) : send(command, input), code);
        EXPECT_TRUE(meanwhile.get()) << host::to_utf8(command);
    }
    EXPECT_EQ(logged("(Error: 112)", "ERROR"), 1);
    EXPECT_EQ(logged("failed to create ports/port-name/PrinterAddress key: \"printer\": 112", "ERROR"), 1);
    EXPECT_EQ(logged("PortNumber"), 0) << "each stops where it failed";
}

}  // namespace
}  // namespace test
