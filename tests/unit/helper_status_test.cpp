// Problem words to status bits, and the updates of a job and a printer that the spooler refuses.
#include "winportmon/tsmon/helper_status.h"
#include "tests/unit/log_fixture.h"
#include "winapi/spooler_sim/spooler_sim.h"

namespace {

class HelperStatus : public LogTest {};

TEST_F(HelperStatus, BitsOfProblemTexts) {
    const struct {
        const char* text;
        DWORD printer;
        DWORD job;
    } cases[] = {
        {"", 0, 0},
        {"no paper", 0, 0},
        {"No Paper", 0x10, 0x40},
        {"Offline", 0x2, 0x2},
        {"Job Suspended", 0, 0x2},
        {"Jammed, Offline", 0x8, 0x2},
        {"Offline; No Paper", 0x10, 0x40},
        {"tray 2: Low Toner / No Toner / Door Open", 0x460000, 0x2},
        {"Output Full and Output Near Full", 0x800, 0x2},
        {"Low Paper", 0x2, 0x2},
        {"Service Requested", 0x2, 0x2},
        {"Input Tray Missing", 0x2, 0x2},
        {"Output Tray Missing", 0x2, 0x2},
        {"Marker Supply Missing", 0x2, 0x2},
        {"Output Near Full", 0x2, 0x2},
        {"Input Tray Empty", 0x2, 0x2},
        {"Overdue Prevent Maintenance", 0x2, 0x2},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(tsmon::PrinterStatusFromErrorText(row.text), row.printer) << row.text;
        EXPECT_EQ(tsmon::JobStatusFromErrorText(row.text), row.job) << row.text;
    }
}

TEST_F(HelperStatus, UpdatesOfWhatIsNotThere) {
    session_context.error_poll_method = 2;
    spooler_sim::reset();
    spooler_sim::add_printer(W("P"));
    spooler_sim::add_job(W("P"), 5, W("doc"), W("ann"));
    HANDLE printer = nullptr;
    WCHAR name[] = W("P");
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ALL_ACCESS};
    ASSERT_TRUE(OpenPrinterW(name, &printer, &defaults));

    spooler_sim::set_printer_status(W("P"), 0x1 | 0x10);
    EXPECT_TRUE(tsmon::UpdatePrinterStatusBits(printer, 0x10, 0x8));
    EXPECT_EQ(spooler_sim::printer_status(W("P")), 0x9u);
    EXPECT_TRUE(tsmon::UpdateJobStatusBits(printer, 5, 0, 0x40));
    spooler_sim::Job job;
    ASSERT_TRUE(spooler_sim::get_job(W("P"), 5, job));
    EXPECT_EQ(job.status, 0x40u);

    logged();
    EXPECT_FALSE(tsmon::UpdateJobStatusBits(printer, 6, 0, 2));
    EXPECT_TRUE(tsmon::UpdateJobStatusBits(printer, 6, 2, 2)) << "nothing to do";
    EXPECT_TRUE(tsmon::UpdatePrinterStatusBits(nullptr, 2, 2)) << "nothing to do";
    EXPECT_FALSE(tsmon::UpdatePrinterStatusBits(nullptr, 0, 2));
    DWORD status = 4711;
    EXPECT_FALSE(tsmon::GetJobStatus(printer, 6, &status));
    EXPECT_EQ(status, 4711u);
    JOB_INFO_2W* info = reinterpret_cast<JOB_INFO_2W*>(&status);
    EXPECT_FALSE(tsmon::GetJobInfo2(printer, 6, &info));
    EXPECT_EQ(info, nullptr);
    for (const std::string& line : logged()) EXPECT_TRUE(line.starts_with("ERROR: TSM: Error ")) << line;
    EXPECT_TRUE(ClosePrinter(printer));
}

}  // namespace
