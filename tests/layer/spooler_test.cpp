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

    EXPECT_FALSE(GetJobW(printer, job_id + 1, 2, bytes(buffer), needed, &needed));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
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

}  // namespace
