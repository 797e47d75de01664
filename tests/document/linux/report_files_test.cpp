// Logs that are no files: nothing waits for them, or reads them without an end.
#include <sys/stat.h>

#include "tests/support/print_server.h"
#include "tsport/run.h"

namespace test {
namespace {

class ReportFiles : public PrintServer {
  protected:
    tsport::Answer report(const std::string& log) {
        text.clear();
        return tsport::run({"report", log}, {std::cin, nullptr, [this](std::string_view piece) { text += piece; }});
    }
    std::string text;
};

TEST_F(ReportFiles, AreRefusedByNameAndLeftOutOfAFolder) {
    start();
    PrintServer::print_job(42, "page");
    const std::string log = folder.log();
    ASSERT_EQ(mkfifo((log + ".1").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", log + ".2");
    fs::create_directory(log + ".3");
    fs::create_symlink("nowhere", log + ".4");
    write_file(path_of(log + ".5"), "of another program\n");
    write_file(path_of(log + ".6"), "\xFF\xFEx");
    const struct {
        std::string path;
        const char* reason;
    } rows[] = {
        {log + ".1", "is no ordinary file"}, {log + ".2", "is no ordinary file"},
        {log + ".4", "does not exist"},      {log + ".5", "is no log of the monitor: it has 1 line, and none is"},
        {log + ".6", "is UTF-16"},           {"/dev/null", "is no ordinary file"},
    };
    for (const auto& row : rows) {
        const tsport::Answer answer = report(row.path);
        EXPECT_EQ(answer.status, tsport::refused) << row.path;
        EXPECT_NE(answer.err.find(row.path + " " + row.reason), std::string::npos) << answer.err;
    }
    EXPECT_EQ(report(folder.base).status, tsport::done);
    EXPECT_NE(text.find("\n1 document, "), std::string::npos) << text;
    for (const auto& row : rows) {
        const bool named = text.find("Left out: " + row.path + " " + row.reason) != std::string::npos;
        EXPECT_EQ(named, row.path != "/dev/null") << text;
    }
    EXPECT_NE(text.find("Left out: " + log + ".3 is a folder, not a log."), std::string::npos) << text;
    const tsport::Answer answer = report(log + ".3");
    EXPECT_NE(answer.err.find("there is no print-monitor.log in "), std::string::npos) << answer.err;
}

}  // namespace
}  // namespace test
