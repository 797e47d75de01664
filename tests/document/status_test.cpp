// The status that a job and its printer show while a helper holds the job: only our own bits come and go.
#include "tests/support/helper_script.h"

namespace test {
namespace {

using Statuses = std::vector<DWORD>;

constexpr DWORD kPrinting = JOB_STATUS_PRINTING;

class Status : public HelperServer {};

TEST_F(Status, WhatOthersSetMeanwhileSurvives) {
    start();
    check_hardware();
    answer_by(
        "on startdoc WAIT \"Door Open\" until other then WAIT \"No Paper\" then WAIT \"No Paper, Low Toner\" then OK");
    auto printing = print_job_meanwhile("page");
    ASSERT_TRUE(wait_until([] { return spooler_sim::printer_status(W("Office")) == PRINTER_STATUS_DOOR_OPEN; }));
    spooler_sim::set_printer_status(W("Office"), PRINTER_STATUS_DOOR_OPEN | PRINTER_STATUS_PAUSED);
    spooler_sim::set_job_status(W("Office"), kJob, kPrinting | JOB_STATUS_ERROR | JOB_STATUS_PAUSED);
    release("other");
    const host::Outcome outcome = printing.get();
    EXPECT_EQ(outcome.result, host::Result::printed);
    constexpr DWORD kOther = JOB_STATUS_PAUSED;
    const Statuses job = {kPrinting,
                          kPrinting | JOB_STATUS_ERROR,
                          kPrinting | JOB_STATUS_ERROR | kOther,
                          kPrinting | JOB_STATUS_PAPEROUT | kOther,
                          kPrinting | kOther,
                          JOB_STATUS_PRINTED | kOther};
    EXPECT_EQ(outcome.job.status_seen, job) << "a problem that stays is not written again";
    constexpr DWORD kPaused = PRINTER_STATUS_PAUSED;
    const Statuses printer = {PRINTER_STATUS_DOOR_OPEN, PRINTER_STATUS_DOOR_OPEN | kPaused,
                              PRINTER_STATUS_PAPER_OUT | kPaused,
                              PRINTER_STATUS_PAPER_OUT | PRINTER_STATUS_TONER_LOW | kPaused, kPaused};
    EXPECT_EQ(spooler_sim::printer_status_seen(W("Office")), printer);
    EXPECT_EQ(logged("TSM: setting printer status to: "), 4);
    expect_clean();
}

TEST_F(Status, NothingIsTouchedWhereTheProviderShowsTheProblem) {
    for (const char* const method : {"snmp", "both"}) {
        const bool touches = method == std::string("both");
        start({std::string("ErrorPollMethod=") + method});
        check_hardware();
        answer_by("on startdoc WAIT \"Offline\" then OK\non enddoc WAIT \"Jammed\" then DELETE");
        const host::Outcome outcome = print_job("page");
        EXPECT_EQ(outcome.result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{"page"});
        EXPECT_EQ(outcome.job.status_seen.size(), touches ? 6u : 2u);
        EXPECT_EQ(spooler_sim::printer_status_seen(W("Office")).size(), touches ? 4u : 0u);
        EXPECT_EQ(logged("Don't update windows error state as print provider is doing it") > 0, !touches);
        expect_clean();
        monitor.unload();
        spooler_sim::reset();
        fs::remove(path_of(folder.base) / "print-provider.conf");
        fs::remove(path_of(folder.log()));
    }
}

// The spooler refuses: what was shown stays on record until it can be taken back, and the job goes on.
TEST_F(Status, AJobThatIsGoneIsReportedAndDoesNotHoldTheDocument) {
    start();
    check_hardware();
    answer_by("on startdoc WAIT \"Door Open\" until gone then WAIT \"Jammed\" then OK");
    auto printing = print_job_meanwhile("page");
    ASSERT_TRUE(wait_until([] { return spooler_sim::printer_status(W("Office")) == PRINTER_STATUS_DOOR_OPEN; }));
    spooler_sim::remove_job(W("Office"), kJob);
    release("gone");
    EXPECT_EQ(printing.get().result, host::Result::printed);
    EXPECT_EQ(arrived(), Lines{"page"});
    // Once more when the job goes between the first status and the look at it.
    EXPECT_GE(logged("TSM: unable to get job status for job 7", "ERROR"), 1);
    EXPECT_GE(logged("TSM: Unable to get print job info. JobId: 7"), 2);
    EXPECT_EQ(spooler_sim::printer_status(W("Office")), 0u);
    expect_clean();
}

}  // namespace
}  // namespace test
