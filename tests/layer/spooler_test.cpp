// The spooler's functions, as a monitor and its host rely on them.
#include <gtest/gtest.h>

#include <thread>

#include "winapi/spooler_sim/spooler_sim.h"

namespace {

using spooler_sim::Text;

const Text office = W("Office");
constexpr DWORD job_id = 7;

class Spooler : public testing::Test {
  protected:
    Spooler() {
        spooler_sim::reset();
        spooler_sim::add_printer(office);
        spooler_sim::add_job(office, job_id, W("letter"), W("ann"));
    }
    ~Spooler() override {
        EXPECT_EQ(spooler_sim::open_printers(), 0u);
        EXPECT_EQ(spooler_sim::open_tokens(), 0u);
        spooler_sim::reset();
    }

    static HANDLE open(Text name) {
        HANDLE printer = nullptr;
        EXPECT_TRUE(OpenPrinterW(name.data(), &printer, nullptr));
        return printer;
    }
    static spooler_sim::Job job() {
        spooler_sim::Job found;
        EXPECT_TRUE(spooler_sim::get_job(office, job_id, found));
        return found;
    }
};

std::vector<std::uint64_t> room(DWORD size) {
    return std::vector<std::uint64_t>(size / 8 + 1);
}

BYTE* bytes(std::vector<std::uint64_t>& buffer) {
    return reinterpret_cast<BYTE*>(buffer.data());
}

TEST_F(Spooler, OpensAPrinterByItsNameAndThroughItsServer) {
    spooler_sim::add_printer(W("\\\\CLUSTER\\Hall"));
    for (const Text& name : {office, Text(W("OFFICE")), Text(W("\\\\SERVER\\office")), Text(W("\\\\cluster\\hall"))}) {
        EXPECT_TRUE(ClosePrinter(open(name)));
    }
    for (Text name : {Text(W("Attic")), Text(W("\\\\SERVER\\Attic")), Text(W("\\\\Office")), Text(W("\\\\SERVER\\")),
                      Text(W(",XcvMonitor Tessaron TCP/IP Port")), Text()}) {
        HANDLE printer = nullptr;
        EXPECT_FALSE(OpenPrinterW(name.data(), &printer, nullptr));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PRINTER_NAME});
        EXPECT_EQ(printer, nullptr);
    }
}

TEST_F(Spooler, AClosedHandleServesNoMore) {
    const HANDLE printer = open(office);
    EXPECT_EQ(spooler_sim::open_printers(), 1u);
    EXPECT_TRUE(ClosePrinter(printer));
    EXPECT_FALSE(ClosePrinter(printer));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(SetJobW(printer, job_id, 0, nullptr, JOB_CONTROL_RESTART));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_TRUE(job().commands.empty());
}

TEST_F(Spooler, GetJobTellsTheSizeAndThenTheJob) {
    const HANDLE printer = open(W("\\\\SERVER\\Office"));
    DWORD needed = 0;
    EXPECT_FALSE(GetJobW(printer, job_id, 2, nullptr, 0, &needed));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_GT(needed, sizeof(JOB_INFO_2W));
    auto buffer = room(needed);
    EXPECT_FALSE(GetJobW(printer, job_id, 2, bytes(buffer), needed - 1, &needed));
    ASSERT_TRUE(GetJobW(printer, job_id, 2, bytes(buffer), needed, &needed));
    const auto* info = reinterpret_cast<const JOB_INFO_2W*>(buffer.data());
    EXPECT_EQ(info->JobId, job_id);
    EXPECT_EQ(Text(info->pPrinterName), office);
    EXPECT_EQ(Text(info->pDocument), W("letter"));
    EXPECT_EQ(Text(info->pUserName), W("ann"));

    const struct {
        HANDLE printer;
        DWORD id;
        DWORD level;
        DWORD error;
    } refused[] = {{printer, 8, 2, ERROR_INVALID_PARAMETER},
                   {printer, job_id, 3, ERROR_INVALID_LEVEL},
                   {nullptr, job_id, 2, ERROR_INVALID_HANDLE}};
    for (const auto& row : refused) {
        EXPECT_FALSE(GetJobW(row.printer, row.id, row.level, bytes(buffer), needed, &needed));
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_TRUE(ClosePrinter(printer));
}

TEST_F(Spooler, CommandsAndStatusShowInTheJob) {
    const HANDLE printer = open(office);
    spooler_sim::set_job_status(office, job_id, JOB_STATUS_PRINTING);
    DWORD needed = 0;
    GetJobW(printer, job_id, 2, nullptr, 0, &needed);
    auto buffer = room(needed);
    ASSERT_TRUE(GetJobW(printer, job_id, 2, bytes(buffer), needed, &needed));
    reinterpret_cast<JOB_INFO_2W*>(buffer.data())->Status |= JOB_STATUS_PAPEROUT;
    EXPECT_TRUE(SetJobW(printer, job_id, 2, bytes(buffer), 0));
    EXPECT_EQ(job().status, DWORD{JOB_STATUS_PRINTING | JOB_STATUS_PAPEROUT});

    EXPECT_TRUE(SetJobW(printer, job_id, 0, nullptr, JOB_CONTROL_RESTART));
    EXPECT_TRUE(job().status & JOB_STATUS_RESTART);
    EXPECT_TRUE(spooler_sim::take_restart(office, job_id));
    EXPECT_FALSE(spooler_sim::take_restart(office, job_id));
    EXPECT_FALSE(job().status & JOB_STATUS_RESTART);
    EXPECT_TRUE(SetJobW(printer, job_id, 0, nullptr, JOB_CONTROL_SENT_TO_PRINTER));
    EXPECT_EQ(job().commands, (std::vector<DWORD>{JOB_CONTROL_RESTART, JOB_CONTROL_SENT_TO_PRINTER}));
    EXPECT_EQ(job().status, DWORD{JOB_STATUS_PRINTED | JOB_STATUS_PAPEROUT});

    EXPECT_FALSE(SetJobW(printer, job_id, 0, nullptr, 99));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(SetJobW(printer, job_id, 1, bytes(buffer), 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_LEVEL});
    EXPECT_TRUE(ClosePrinter(printer));
}

TEST_F(Spooler, PrinterStatusIsReadAndWritten) {
    const HANDLE printer = open(office);
    PRINTER_INFO_6 status = {PRINTER_STATUS_DOOR_OPEN};
    EXPECT_TRUE(SetPrinterW(printer, 6, reinterpret_cast<BYTE*>(&status), 0));
    DWORD needed = 0;
    EXPECT_FALSE(GetPrinterW(printer, 2, nullptr, 0, &needed));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    auto buffer = room(needed);
    ASSERT_TRUE(GetPrinterW(printer, 2, bytes(buffer), needed, &needed));
    EXPECT_EQ(reinterpret_cast<const PRINTER_INFO_2W*>(buffer.data())->Status, DWORD{PRINTER_STATUS_DOOR_OPEN});
    status.dwStatus = 0;
    EXPECT_TRUE(SetPrinterW(printer, 6, reinterpret_cast<BYTE*>(&status), 0));
    EXPECT_EQ(spooler_sim::printer_status_seen(office), (std::vector<DWORD>{PRINTER_STATUS_DOOR_OPEN, 0}));
    EXPECT_TRUE(ClosePrinter(printer));
}

TEST_F(Spooler, AThreadGivesUpItsClientAndTakesItBack) {
    EXPECT_EQ(RevertToPrinterSelf(), nullptr);  // it acts for nobody
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_TOKEN});
    const spooler_sim::ClientScope client(W("ann"));
    const HANDLE token = RevertToPrinterSelf();
    ASSERT_NE(token, nullptr);
    EXPECT_EQ(spooler_sim::open_tokens(), 1u);
    EXPECT_EQ(spooler_sim::current_client(), Text());
    EXPECT_EQ(RevertToPrinterSelf(), nullptr);
    EXPECT_TRUE(ImpersonatePrinterClient(token));
    EXPECT_EQ(spooler_sim::current_client(), W("ann"));
    EXPECT_FALSE(ImpersonatePrinterClient(token));  // used up
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    std::thread([] { EXPECT_EQ(spooler_sim::current_client(), Text()); }).join();
}

BOOL WINAPI two_ports(HANDLE, LPWSTR, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned) {
    EXPECT_EQ(level, 2u);
    *needed = 2 * sizeof(PORT_INFO_2W);
    if (size < *needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    auto* const ports = reinterpret_cast<PORT_INFO_2W*>(buffer);
    static WCHAR names[2][3] = {W("P1"), W("P2")};
    for (size_t i = 0; i < 2; ++i) ports[i] = {names[i], names[i], names[i], PORT_TYPE_WRITE, 0};
    *returned = 2;
    return TRUE;
}

TEST_F(Spooler, ListsThePortsOfMonitorsAndOfOthers) {
    DWORD needed = 1;
    DWORD count = 1;
    EXPECT_TRUE(EnumPortsW(nullptr, 1, nullptr, 0, &needed, &count));
    EXPECT_EQ(needed + count, 0u);

    MONITOR2 table{};
    table.pfnEnumPorts = two_ports;
    spooler_sim::add_monitor(&table, &table);
    spooler_sim::add_foreign_port(W("LPT1:"));
    EXPECT_FALSE(EnumPortsW(nullptr, 1, nullptr, 0, &needed, &count));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    auto buffer = room(needed);
    ASSERT_TRUE(EnumPortsW(nullptr, 1, bytes(buffer), needed, &needed, &count));
    ASSERT_EQ(count, 3u);
    const auto* ports = reinterpret_cast<const PORT_INFO_1W*>(buffer.data());
    EXPECT_EQ(Text(ports[0].pName), W("P1"));
    EXPECT_EQ(Text(ports[2].pName), W("LPT1:"));
    EXPECT_FALSE(EnumPortsW(nullptr, 3, bytes(buffer), needed, &needed, &count));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_LEVEL});
    spooler_sim::remove_monitor(&table);
}

}  // namespace
