// Jobs whose attributes are forced: spooled into a file, rewritten by the helper, and what it writes forwarded.
#include "tests/support/helper_script.h"

namespace test {
namespace {

using Statuses = std::vector<DWORD>;

class ForcedAttributes : public HelperServer {
  protected:
    // The whole conversation: the name alone, up to and with the command, and how it ended.
    std::string conversation(const std::string& last_command = "forceattr", const std::string& end = "(exit)\n") const {
        const std::string commands[] = {
            "printername=Office\n",
            "spoolfile=" + host::to_utf8(host::windows_path(folder.spool("forceattr"))) + "\\input-Office-7.dat\n",
            "jobid=7\n",
            "forceattr\n",
        };
        std::string text;
        for (const std::string& command : commands) {
            text += command;
            if (command.starts_with(last_command)) break;
        }
        return text + end;
    }
};

const std::string kRequest = "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n";
const std::string kHead = "%!PS-Adobe-3.0\n%%Pages: 1\n%%EndComments\n";
const std::string kBody = "%%Page: 1 1\nshowpage\n%%EOF\n";
const std::string kPage = kHead + kBody;
const std::string kForcedPage = kHead + kRequest + kBody;
constexpr size_t kMiB = 1 << 20;

TEST_F(ForcedAttributes, WhatTheHelperWritesIsWhatThePrinterGets) {
    const std::string large = pattern(3 * kMiB);
    const struct {
        const char* name;
        std::string script;
        std::string job;
        DWORD first_write;
        std::string printed;
        int piece = 65535;  // of the forwarding
    } cases[] = {
        {"PostScript grows", "", kPage, 65536, kForcedPage, 65535},
        {"PostScript without comments", "", "%!\nshowpage", 3, "%!\n" + kRequest + "showpage"},
        {"first write of 4096", "", large, 4096, large},
        {"first write of 1 MiB", "", large, kMiB, large, kMiB},
        {"no data", "", "", 65536, ""},
        {"less than the job", "on forceattr OK then write 10 KiB", large, 65536, pattern(10240), 65536},
        {"more than the job", "on forceattr OK then write 9 MiB", "page", 65536, pattern(9 * kMiB)},
        {"nothing", "on forceattr OK then exit", large, 65536, "", 65536},
    };
    start();
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        answer_by(one.script);
        force_attributes();
        const std::string piece = "TSM: About to read from pipe of size: " + std::to_string(one.piece);
        const int before = logged(piece);
        const host::Outcome outcome = print_job(one.job, one.first_write);
        EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
        EXPECT_TRUE(outcome.identity_kept);
        EXPECT_EQ(outcome.bytes, one.job.size());
        EXPECT_EQ(outcome.job.commands, Statuses{JOB_CONTROL_SENT_TO_PRINTER});
        EXPECT_TRUE(arrived() == Lines{one.printed});
        EXPECT_EQ(heard(), conversation());
        EXPECT_GT(logged(piece), before);
        EXPECT_EQ(work_files(), Lines{});
        const std::string sum = ", bytes_written = " + std::to_string(one.printed.size()) + ", bytes_written_file = 0 ";
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
            EXPECT_EQ(outcome.result, host::Result::failed) << outcome.words;
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
    answer_by("on printername ERROR");
    force_attributes();
    start_monitor();
    EXPECT_EQ(work_files(), Lines{}) << "swept";
}

// ... and counts as restarted, whatever the spooler answers.
TEST_F(ForcedAttributes, ALostPrinterHasTheJobRestarted) {
    start({"ForceAttributesDebug=on"});
    force_attributes();
    peer::Behaviour broken;
    broken.reset_after = 300000;
    office->behave_once(broken);
    answer_by("on forceattr OK then write 9 MiB");
    const host::Outcome outcome = print_job(kPage);
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
    EXPECT_EQ(outcome.restarts, 1u);
    EXPECT_EQ(heard(), conversation("forceattr", "(output closed)\n") + conversation());
    const Lines data = arrived();
    ASSERT_FALSE(data.empty());
    EXPECT_TRUE(data.back() == pattern(9 * kMiB));
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
    expect_clean();
}

TEST_F(ForcedAttributes, WithDebugOnEveryFileIsKept) {
    start({"ForceAttributesDebug=on"});
    force_attributes();
    EXPECT_EQ(print_job(kPage).result, host::Result::printed);
    EXPECT_EQ(arrived(), Lines{kForcedPage});
    const Lines all = {"input-Office-7.dat", "job-Office-7.dat", "msf-Office-7.dat", "output-Office-7.dat"};
    EXPECT_EQ(work_files(), all);
    EXPECT_EQ(logged("", "ERROR"), 0);
    EXPECT_EQ(read_file(work_file("input")), kPage);
    EXPECT_EQ(read_file(work_file("output")), kForcedPage);
    EXPECT_EQ(read_file(work_file("msf")), host::force_attributes_record());
    expect_clean();
    start_monitor();
    EXPECT_EQ(work_files(), all);

    // Without a copy there is no rewriting: a folder has its name.
    fs::remove(work_file("output"));
    fs::create_directory(work_file("output"));
    EXPECT_EQ(print_job(kPage).result, host::Result::printed);
    EXPECT_EQ(arrived(), Lines{kPage});
    EXPECT_EQ(logged("Could not create temporary spool file.", "ERROR"), 1);
    expect_clean();
}

TEST_F(ForcedAttributes, AWorkFileThatCannotBeHadLeavesTheJobUnchanged) {
    start();
    const std::string directory = host::to_utf8(host::windows_path(folder.spool("forceattr")));
    // "\msf-NAME-7.dat" fits a path of 259 bytes, and "\input-NAME-7.dat" does not.
    const size_t longest = 259 - directory.size() - std::string("\\input--7.dat").size();
    const struct {
        std::string name;
        std::string record;  // as its records are named
        bool rewritten;
    } cases[] = {
        {"Which?", "Which_", false},
        {"up\\..\\..\\..\\there", "up_.._.._.._there", false},
        {std::string(longest, 'n'), std::string(longest, 'n'), true},
        {std::string(longest + 1, 'n'), std::string(longest + 1, 'n'), false},
        {std::string(longest + 2, 'n'), std::string(longest + 2, 'n'), false},
    };
    int failures = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        spooler_sim::add_printer(host::to_text(one.name));
        force_attributes(one.record);
        EXPECT_EQ(print_job(kPage, 65536, host::to_text(one.name)).result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{one.rewritten ? kForcedPage : kPage});
        EXPECT_EQ(work_files(), Lines{});
        if (!one.rewritten) ++failures;
        EXPECT_EQ(logged("TSM: unable to create force attributes input file ", "ERROR"), failures);
        EXPECT_EQ(logged("Could not create temporary spool file. Cannot rewrite spool file to perform force attributes "
                         "or watermarking.",
                         "ERROR"),
                  failures);
        expect_clean();
    }
}

TEST_F(ForcedAttributes, ARecordThatIsNotWholeForcesNothing) {
    start();
    const std::string record = host::force_attributes_record();
    const size_t copies = record.find("set_num_copies");
    const std::string cases[] = {
        "",
        record.substr(0, copies) + "#END\r\n",
        std::string(record).replace(record.find("TRUE"), 4, "Y"),
        std::string(record).replace(record.find("DRAFT"), 5, std::string(256, 'D')),
    };
    for (const std::string& one : cases) {
        force_attributes();
        write_file(work_file("msf"), one);
        EXPECT_EQ(print_job(kPage).result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{kPage}) << one;
        EXPECT_EQ(heard(), "");
        expect_clean();
    }
    force_attributes();
    write_file(work_file("msf"),
               std::string(record).replace(record.find("=1"), 2, "=9").substr(0, record.find("#END")));
    EXPECT_EQ(print_job(kPage).result, host::Result::printed);
    EXPECT_EQ(arrived(), Lines{kForcedPage}) << "neither the version nor the terminator counts";
    expect_clean();
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
    EXPECT_TRUE(fs::remove(work_file("input"))) << "nobody has it open";
    install_helper();
    expect_clean();
    fs::create_directory(base / "spool" / "forceattr" / "folder");
    start_monitor();
    EXPECT_EQ(work_files(), Lines{"folder"}) << "swept";
}

}  // namespace
}  // namespace test
