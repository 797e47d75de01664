// The spooler simulation where it does more than the monitor's own tests see: printers that programs change.
#include <gtest/gtest.h>

#include "winapi/spooler_sim/functions.h"

namespace {

using spooler_sim::Printer;
using spooler_sim::Text;

// Gives "Office" another port, through the record that the spooler gives of it.
DWORD set_port(Text port, ACCESS_MASK access = PRINTER_ACCESS_ADMINISTER) {
    HANDLE handle = nullptr;
    DWORD needed = 0;
    EXPECT_EQ(spooler_sim::open_printer(W("Office"), &handle, access), 0u);
    EXPECT_EQ(spooler_sim::get_printer(handle, 2, nullptr, 0, &needed), DWORD{ERROR_INSUFFICIENT_BUFFER});
    std::vector<std::uint64_t> buffer(needed / 8 + 1);
    auto* const record = reinterpret_cast<BYTE*>(buffer.data());
    EXPECT_EQ(spooler_sim::get_printer(handle, 2, record, needed, &needed), 0u);
    reinterpret_cast<PRINTER_INFO_2W*>(record)->pPortName = port.data();
    const DWORD error = spooler_sim::set_printer(handle, 2, record, 0);
    spooler_sim::close_printer(handle);
    return error;
}

TEST(SimulatedSpooler, AQueueKeepsAllButThePortThatItIsGiven) {
    spooler_sim::reset();
    Printer office;
    office.name = W("Office");
    office.port = W("First");
    office.share = W("share");
    office.driver = W("driver");
    office.comment = W("comment");
    office.location = W("location");
    office.separator = W("separator");
    office.processor = W("processor");
    office.data_type = W("RAW");
    office.parameters = W("parameters");
    office.devmode = std::string(68, '\1') + std::string("\x48\0\x1C\0", 4) + std::string(28, '\1');  // 72 and 28 bytes
    office.attributes = 0x2008;
    office.priority = 7;
    office.default_priority = 6;
    office.start_time = 60;
    office.until_time = 120;
    office.status = PRINTER_STATUS_PAUSED;
    spooler_sim::add_printer(office);
    spooler_sim::add_job(W("Office"), 7, W("document"), W("ann"));
    spooler_sim::set_strict_port_list(true);
    for (const LPCWSTR port : {W("Second"), W("LPT1:")}) spooler_sim::add_foreign_port(port);
    const struct {
        Text port;
        ACCESS_MASK access;
        DWORD error;
    } steps[] = {{W("Second"), PRINTER_ACCESS_USE, ERROR_ACCESS_DENIED},
                 {W("LPT1:,SECOND"), PRINTER_ACCESS_ADMINISTER, 0},
                 {W("LPT1:,Third"), PRINTER_ACCESS_ADMINISTER, ERROR_UNKNOWN_PORT},
                 {W("second"), PRINTER_ACCESS_ADMINISTER, 0}};
    for (const auto& step : steps) {
        EXPECT_EQ(set_port(step.port, step.access), step.error);
        if (step.error == 0) office.port = step.port;
        Printer now;
        EXPECT_TRUE(spooler_sim::get_printer(W("Office"), now));
        EXPECT_EQ(now, office);
    }
    spooler_sim::reset();
}

}  // namespace
