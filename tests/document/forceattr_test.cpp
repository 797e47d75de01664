// Jobs whose attributes are forced: spooled into a file, rewritten by the helper, and what it writes forwarded.
#include "tests/support/helper_script.h"

namespace test {
namespace {

using Statuses = std::vector<DWORD>;

const std::string kRequest = "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n";
const std::string kHead = "%!PS-Adobe-3.0\n%%Pages: 1\n%%EndComments\n";
const std::string kBody = "%%Page: 1 1\nshowpage\n%%EOF\n";
const std::string kPage = kHead + kBody;
const std::string kForcedPage = kHead + kRequest + kBody;

class ForcedAttributes : public HelperServer {
  protected:
    void TearDown() override { expect_clean(); }
    void expect_printed(const std::string& expected, const Text& printer = W("Office")) {
        EXPECT_EQ(print_job(kPage, 65536, printer).result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{expected});
    }
    // The whole conversation: the name alone, up to and with the command, and how it ended.
    std::string conversation(const std::string& last_command = "forceattr", const std::string& end = "(exit)\n") const {
        const std::string file = host::to_utf8(host::windows_path(folder.spool("forceattr") + "/input-Office-7.dat"));
        const std::string all = "\nprintername=Office\nspoolfile=" + file + "\njobid=7\nforceattr\n";
        return all.substr(1, all.find('\n', all.find("\n" + last_command) + 1)) + end;
    }
};

constexpr size_t kMiB = 1 << 20;

TEST_F(ForcedAttributes, WhatTheHelperWritesIsWhatThePrinterGets) {
    const std::string large = pattern(3 * kMiB);
    // The name, the helper's script, the job and its first write, what is printed, the pieces of the forwarding.
    const std::tuple<const char*, std::string, std::string, DWORD, std::string, int> cases[] = {
        {"PostScript grows", "", kPage, 65536, kForcedPage, 65535},
        {"PostScript without comments", "", "%!\nshowpage", 3, "%!\n" + kRequest + "showpage", 65535},
        {"first write of 4096", "", large, 4096, large, 65535},
        {"first write of 1 MiB", "", large, kMiB, large, kMiB},
        {"no data", "", "", 65536, "", 65535},
        {"less than the job", "on forceattr OK then write 10 KiB", large, 65536, pattern(10240), 65536},
        {"more than the job", "on forceattr OK then write 9 MiB", "page", 65536, pattern(9 * kMiB), 65535},
        {"nothing", "on forceattr OK then exit", large, 65536, "", 65536},
    };
    start();
    for (const auto& [name, script, job, first_write, printed, piece] : cases) {
        SCOPED_TRACE(name);
        answer_by(script);
        force_attributes();
        const std::string line = "TSM: About to read from pipe of size: " + std::to_string(piece);
        const int before = logged(line);
        const host::Outcome outcome = print_job(job, first_write);
        EXPECT_EQ(outcome.result, host::Result::printed) << outcome.message;
        EXPECT_TRUE(outcome.identity_kept);
        EXPECT_EQ(outcome.bytes, job.size());
        EXPECT_EQ(outcome.job.commands, Statuses{JOB_CONTROL_SENT_TO_PRINTER});
        EXPECT_TRUE(same_bytes(arrived(), Lines{printed}));
        EXPECT_EQ(heard(), conversation());
        EXPECT_GT(logged(line), before);
        EXPECT_EQ(work_files(), Lines{});
        const std::string sum = ", bytes_written = " + std::to_string(printed.size()) + ", bytes_written_file = 0 ";
        EXPECT_GT(logged(sum), 0);
        expect_clean();
    }
    EXPECT_EQ(logged("", "ERROR"), 0);
}

TEST_F(ForcedAttributes, AHelperThatDoesNotTakeACommandFailsTheDocument) {
    start();
    for (const std::string command : {"printername", "spoolfile", "jobid", "forceattr"}) {
        for (const std::string answer : {"ERROR", "say \"WAIT ERROR=\\\"No Paper\\\"\\n\"", "DELETE", "say \" OK\\n\"",
                                         "say \"O\" then silence", "exit", "close output"}) {
            SCOPED_TRACE(command + " " + answer);
            answer_by("on " + command + " " + answer);
            force_attributes();
            const std::string line = "TSM: Failed " + command + " command in helper";
            const int before = logged(line, "ERROR");
            const host::Outcome outcome = print_job(kPage);
            EXPECT_EQ(outcome.result, host::Result::failed) << outcome.message;
            EXPECT_EQ(outcome.job.commands, Statuses{});
            EXPECT_EQ(arrived(), Lines{""});
            const bool ends_itself = answer == "exit" || (command == "forceattr" && answer != "say \"O\" then silence");
            EXPECT_EQ(heard(), conversation(command, ends_itself ? "(exit)\n" : "(end of input)\n"));
            EXPECT_EQ(logged(line, "ERROR"), before + 1);
            // The job's file is still open when the first command fails. It goes at the next start.
            EXPECT_EQ(work_files(), command == "printername" ? Lines{"input-Office-7.dat"} : Lines{});
            expect_clean();
        }
    }
    EXPECT_EQ(logged("TSM: failed to send force attr data", "ERROR"), 28);
}

TEST_F(ForcedAttributes, WithDebugOnEveryFileIsKeptAndARestartFindsThem) {
    start({"ForceAttributesDebug=on"});
    force_attributes();
    expect_printed(kForcedPage);
    const Lines all = {"input-Office-7.dat", "job-Office-7.dat", "msf-Office-7.dat", "output-Office-7.dat"};
    EXPECT_EQ(work_files(), all);
    EXPECT_EQ(logged("", "ERROR"), 0);
    EXPECT_EQ(logged("TSM: checking force attr ["), 2);
    EXPECT_EQ(logged(", bytes_written_file = " + std::to_string(kForcedPage.size()) + " "), 2);
    EXPECT_EQ(read_file(work_file(all[0])), kPage);
    EXPECT_EQ(read_file(work_file(all[3])), kForcedPage);
    EXPECT_EQ(read_file(work_file(all[2])), testbed::force_attributes_record());
    expect_clean();

    // Without a copy there is no rewriting: a folder has its name.
    fs::remove(work_file(all[3]));
    fs::create_directory(work_file(all[3]));
    expect_printed(kPage);
    EXPECT_EQ(logged("Could not create temporary spool file.", "ERROR"), 1);
    fs::remove(work_file(all[3]));
    expect_clean();

    // A lost printer has the job restarted, and it counts as restarted, whatever the spooler answers.
    test_printer::Behaviour broken;
    broken.reset_after = 300000;
    office->behave_once(broken);
    answer_by("on forceattr OK then write 9 MiB");
    const host::Outcome outcome = print_job(kPage);
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.message;
    EXPECT_EQ(outcome.restarts, 1u);
    EXPECT_EQ(heard(), conversation("forceattr", "(output closed)\n") + conversation());
    EXPECT_TRUE(same_bytes(arrived().back(), pattern(9 * kMiB)));
    EXPECT_EQ(logged("TSM forceattr: failed to send data to printer, close connection", "ERROR"), 1);
    const Statuses commands = {JOB_CONTROL_RESTART, JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_SENT_TO_PRINTER};
    EXPECT_EQ(outcome.job.commands, commands);

    office->behave_once(broken);
    const HANDLE port = begin_document(kJob);
    ASSERT_TRUE(write(port, kPage));
    spooler_sim::remove_job(W("Office"), kJob);
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_TRUE(monitor.close_port(port));
    EXPECT_EQ(logged("TSM forceattr: the spooler refused to restart job 7", "ERROR"), 1);
}

TEST_F(ForcedAttributes, AWorkFileThatCannotBeHadLeavesTheJobUnchanged) {
    start();
    const std::string directory = host::to_utf8(host::windows_path(folder.spool("forceattr")));
    // "\msf-NAME-7.dat" fits a path of 259 bytes, and "\input-NAME-7.dat" does not.
    const size_t longest = 259 - directory.size() - std::string("\\input--7.dat").size();
    const std::pair<std::string, bool> cases[] = {
        {"up\\..\\..\\..\\there", false},
        {std::string(longest, 'n'), true},
        {std::string(longest + 1, 'n'), false},
    };
    int failures = 0;
    for (const auto& [name, rewritten] : cases) {
        SCOPED_TRACE(name);
        spooler_sim::add_printer(host::to_text(name));
        std::string record = name;  // as its records are named
        std::replace(record.begin(), record.end(), '\\', '_');
        force_attributes(record);
        expect_printed(rewritten ? kForcedPage : kPage, host::to_text(name));
        EXPECT_EQ(work_files(), Lines{});
        if (!rewritten) ++failures;
        for (const char* const line : {"TSM: unable to create force attributes input file ",
                                       "Could not create temporary spool file. Cannot rewrite spool file to perform "
                                       "force attributes or watermarking."}) {
            EXPECT_EQ(logged(line, "ERROR"), failures);
        }
        expect_clean();
    }
}

TEST_F(ForcedAttributes, ARecordThatIsNotWholeForcesNothing) {
    start();
    const std::string record = testbed::force_attributes_record();
    const size_t copies = record.find("set_num_copies");
    const std::pair<std::string, bool> cases[] = {
        {"", false},
        {record.substr(0, copies) + "#END\r\n", false},
        {std::string(record).replace(record.find("TRUE"), 4, "Y"), false},
        {std::string(record).replace(record.find("DRAFT"), 5, std::string(256, 'D')), false},
        // Neither the version nor the terminator counts.
        {std::string(record).replace(record.find("=1"), 2, "=9").substr(0, record.find("#END")), true},
    };
    for (const auto& [text, rewritten] : cases) {
        force_attributes();
        write_file(work_file("msf-Office-7.dat"), text);
        SCOPED_TRACE(text);
        expect_printed(rewritten ? kForcedPage : kPage);
        EXPECT_EQ(heard(), rewritten ? conversation() : "");
        expect_clean();
    }
}

TEST_F(ForcedAttributes, AHelperThatIsGoneAtTheEndLosesTheJob) {
    start();
    force_attributes();
    host::Document job = document(W("Office"), host::memory_source(kPage));
    job.job_id = kJob;
    job.progress = [&](std::uint64_t) { remove_helper(); };
    EXPECT_EQ(monitor.print_document(job).result, host::Result::failed);
    EXPECT_EQ(arrived(), Lines{""});
    EXPECT_EQ(logged("TSM: cannot find helper and so no force attributes"), 1);
    const Lines left = {"input-Office-7.dat", "job-Office-7.dat", "msf-Office-7.dat"};
    EXPECT_EQ(work_files(), left);
    EXPECT_TRUE(fs::remove(work_file(left[0]))) << "nobody has it open";
    install_helper();
}

}  // namespace
}  // namespace test
