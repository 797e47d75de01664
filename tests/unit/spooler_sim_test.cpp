// The spooler simulation where it does more than the monitor's own tests see: its port list, and printers that programs
// change.
#include <gtest/gtest.h>

#include "winapi/spooler_sim/functions.h"

namespace {

using spooler_sim::Printer;
using spooler_sim::Text;

// A monitor that lists one port, and carries out every command.
MONITOR2 monitor_with_one_port() {
    MONITOR2 table = {};
    table.pfnEnumPorts = [](HANDLE, LPWSTR, DWORD, BYTE* buffer, DWORD size, DWORD* needed, DWORD* count) -> BOOL {
        static WCHAR name[] = W("First");
        *needed = sizeof(PORT_INFO_1W);
        *count = 1;
        if (size < *needed) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        reinterpret_cast<PORT_INFO_1W*>(buffer)->pName = name;
        return TRUE;
    };
    table.pfnXcvOpenPort = [](HANDLE, LPCWSTR, ACCESS_MASK, HANDLE*) -> BOOL { return TRUE; };
    table.pfnXcvDataPort = [](HANDLE, LPCWSTR, BYTE*, DWORD, BYTE*, DWORD, DWORD*) -> DWORD { return 0; };
    table.pfnXcvClosePort = [](HANDLE) -> BOOL { return TRUE; };
    return table;
}

class SimulatedSpooler : public testing::Test {
  protected:
    SimulatedSpooler() {
        spooler_sim::reset();
        spooler_sim::add_monitor(W("Monitor"), &table_, this);
    }
    ~SimulatedSpooler() override { spooler_sim::reset(); }

    static DWORD open(const Text& name, ACCESS_MASK access = SERVER_ACCESS_ADMINISTER) {
        HANDLE handle = nullptr;
        const DWORD error = spooler_sim::open_printer(name.c_str(), &handle, access);
        EXPECT_EQ(spooler_sim::close_printer(handle) == 0, error == 0);
        return error;
    }
    static void send(LPCWSTR command, Text name) {
        HANDLE channel = nullptr;
        DWORD needed = 0;
        DWORD status = 0;
        ASSERT_EQ(spooler_sim::open_printer(W(",XcvMonitor Monitor"), &channel), 0u);
        EXPECT_EQ(
            spooler_sim::xcv_data(channel, command, reinterpret_cast<BYTE*>(name.data()),
                                  static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR)), nullptr, 0, &needed, &status),
            0u);
        spooler_sim::close_printer(channel);
    }
    // Gives a printer another port, through the record that the spooler gives of it.
    static DWORD set_port(const Text& printer, Text port, ACCESS_MASK access = PRINTER_ACCESS_ADMINISTER) {
        HANDLE handle = nullptr;
        DWORD needed = 0;
        EXPECT_EQ(spooler_sim::open_printer(printer.c_str(), &handle, access), 0u);
        EXPECT_EQ(spooler_sim::get_printer(handle, 2, nullptr, 0, &needed), DWORD{ERROR_INSUFFICIENT_BUFFER});
        std::vector<std::uint64_t> buffer(needed / 8 + 1);
        auto* const record = reinterpret_cast<BYTE*>(buffer.data());
        EXPECT_EQ(spooler_sim::get_printer(handle, 2, record, needed, &needed), 0u);
        reinterpret_cast<PRINTER_INFO_2W*>(record)->pPortName = port.data();
        const DWORD error = spooler_sim::set_printer(handle, 2, record, 0);
        spooler_sim::close_printer(handle);
        return error;
    }
    static Text port_of(const Text& printer) {
        Printer found;
        EXPECT_TRUE(spooler_sim::get_printer(printer, found));
        return found.port;
    }

    MONITOR2 table_ = monitor_with_one_port();
};

TEST_F(SimulatedSpooler, AStrictPortListLearnsByTwoCommandsOnly) {
    EXPECT_EQ(open(W(",XcvPort Second")), 0u);
    spooler_sim::set_strict_port_list(true);
    spooler_sim::add_foreign_port(W("LPT1:"));
    spooler_sim::add_printer(W("Office"), W("First"));
    const struct {
        LPCWSTR command;
        Text name;
        bool known;  // "Second", after it
    } steps[] = {{W("TSAddPort"), W("Second"), false},   {W("addport"), W("Second"), false},
                 {W("AddPort"), W("Third"), false},      {W("AddPort"), W("second"), true},
                 {W("TSDeletePort"), W("Second"), true}, {W("DeletePort"), W("Second"), false}};
    for (const auto& step : steps) {
        send(step.command, step.name);
        const DWORD wanted = step.known ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_UNKNOWN_PORT};
        EXPECT_EQ(open(W(",XcvPort Second")), wanted);
        EXPECT_EQ(set_port(W("Office"), W("LPT1:,SECOND")), wanted);
        EXPECT_EQ(port_of(W("Office")), step.known ? W("LPT1:,SECOND") : W("First"));
        EXPECT_EQ(set_port(W("Office"), W("First")), 0u);
    }
    send(W("DeletePort"), W("First"));
    EXPECT_EQ(open(W(",XcvPort First")), DWORD{ERROR_UNKNOWN_PORT});
    spooler_sim::remove_monitor(this);
    spooler_sim::add_monitor(W("Monitor"), &table_, this);
    EXPECT_EQ(open(W(",XcvPort First")), 0u) << "a spooler that starts asks the monitor";
}

TEST_F(SimulatedSpooler, AQueueKeepsAllButThePortThatItIsGiven) {
    Printer office{W("Office"),
                   W("First"),
                   W("share"),
                   W("driver"),
                   W("comment"),
                   W("location"),
                   W("separator"),
                   W("processor"),
                   W("RAW"),
                   W("parameters"),
                   std::string(100, '\1'),
                   0x2008,
                   7,
                   6,
                   60,
                   120,
                   PRINTER_STATUS_PAUSED};
    constexpr unsigned char sizes[] = {72, 0, 28, 0};  // dmSize and dmDriverExtra
    office.devmode.replace(68, sizeof sizes, reinterpret_cast<const char*>(sizes), sizeof sizes);
    spooler_sim::add_printer(office);
    spooler_sim::add_job(W("Office"), 7, W("document"), W("ann"));
    EXPECT_EQ(set_port(W("Office"), W("Second"), PRINTER_ACCESS_USE), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(port_of(W("Office")), W("First"));
    EXPECT_EQ(set_port(W("Office"), W("Second")), 0u);
    office.port = W("Second");
    Printer now;
    ASSERT_TRUE(spooler_sim::get_printer(W("Office"), now));
    EXPECT_EQ(now, office);
    spooler_sim::set_administrator(false);
    EXPECT_EQ(open(W("Office"), PRINTER_ACCESS_ADMINISTER), DWORD{ERROR_ACCESS_DENIED});
}

}  // namespace
