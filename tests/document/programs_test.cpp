// The programs as their users start them: help, version, wrong lines, and what spoolhost tells of jobs.
#include <ctime>

#include "host/command_line/options.h"
#include "host/progress.h"
#include "testbed/records.h"
#include "tests/support/child_process.h"
#include "tests/support/print_server.h"

namespace test {
namespace {

Ended run_program(const std::string& name, const std::string& arguments) {
    return run_child(host::windows_path(host::executable_folder() + "/" + name) + W(" ") + host::to_text(arguments));
}

TEST(Programs, AnswerForHelpAndVersionAndRefuseWrongLines) {
    for (const std::string name : {"tsport", "spoolhost", "fakeprinter", "demo", "ts-print-monitor"}) {
        SCOPED_TRACE(name);
        const std::string file = name == "ts-print-monitor" ? testbed::helper_file_name : name;
        const Ended help = run_program(file, "--help");
        EXPECT_EQ(help.status, 0u);
        EXPECT_EQ(help.output.rfind(name + " - ", 0), 0u) << help.output;
        for (const char* const word : {"-h", "/?", "help"}) EXPECT_EQ(run_program(file, word).output, help.output);
        EXPECT_EQ(run_program(file, "--version").output, name + " " + command_line::version() + "\n");
        const Ended wrong = run_program(file, "--verison");
        EXPECT_EQ(wrong.status, 2u);
        EXPECT_EQ(wrong.output,
                  name + ": unknown option --verison; did you mean --version?\nTry " + name + " --help.\n");
    }
}

class Spoolhost : public PrintServer {
  protected:
    Ended spoolhost(const std::string& options) {
        const std::string file = utf8_of(fs::path(folder.base) / "page.prn");
        write_file(path_of(file), pattern(5000));
        return run_program("spoolhost", options + " " + file);
    }
    std::string printer_option() const { return "--printer 127.0.0.1:" + std::to_string(office->port()); }
};

TEST_F(Spoolhost, TellsWhatBecameOfEachJob) {
    configure({});
    add_printer(W("Office"));
    ASSERT_TRUE(testbed::install_helper(folder) && testbed::write_settings_record(folder, "Printer 1") &&
                testbed::set_helper_script(folder, "on startdoc DELETE"));
    const struct {
        std::string options;
        DWORD status;
        const char* words;
    } rows[] = {
        {printer_option() + " --jobs 2", 0, "2 of 2 jobs were printed"},
        {printer_option() + " --not-approved", 0, "refused: not approved\n1 of 1 jobs were refused"},
        // The spooler is told that such a job was printed.
        {printer_option() + " --base " + folder.install, 1, "order of the helper program\n0 of 1 jobs were printed"},
        {printer_option() + "0 no-such-file", 2, "--printer takes HOST:PORT"},
        {printer_option() + " no-such-file", 2, "no-such-file cannot be read"},
        {"", 2, "no --printer given"},
        {printer_option() + " --ports 0", 2, "--ports takes a number from 1 to 1024"},
        {printer_option() + " --library no-such-library", 3, "cannot be loaded"},
    };
    for (const auto& row : rows) {
        const Ended ended = spoolhost(row.options);
        EXPECT_EQ(ended.status, row.status) << row.options << ended.output;
        EXPECT_NE(ended.output.find(row.words), std::string::npos) << row.words << " / " << ended.output;
    }
    const Ended failed = spoolhost("--printer 127.0.0.1:1");
    EXPECT_EQ(failed.status, 1u);
    const std::string kept =
        "not started: the monitor could not begin the document, its log says why\n"
        "0 of 1 jobs were printed\nthe log is kept: ";
    const size_t at = failed.output.find(kept);
    ASSERT_NE(at, std::string::npos) << failed.output;
    std::string path = failed.output.substr(at + kept.size());
    path.resize(path.find('\n'));
    EXPECT_NE(read_file(path_of(path)).find("failed to connect to printer"), std::string::npos) << path;
    path.resize(path.size() - utf8_of(path_of(folder.log()).lexically_relative(path_of(folder.install))).size());
    fs::remove_all(path_of(path));
}

TEST(Progress, SaysSinceWhenWorkStandsStill) {
    const auto now = std::chrono::system_clock::from_time_t(1000000);
    const std::time_t since = 1000000 - 62;
    char clock[16];
    std::strftime(clock, sizeof clock, "%H:%M:%S", std::localtime(&since));
    EXPECT_EQ(host::standstill_to_text("nothing", std::chrono::milliseconds(61900), now),
              std::string("nothing for 61 s, since ") + clock);
}

}  // namespace
}  // namespace test
