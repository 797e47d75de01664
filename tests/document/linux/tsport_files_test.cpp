// How tsport treats files, where the system shows it, and what its script for bash completes.
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>

#include "tests/support/print_server.h"
#include "tsport/run.h"

namespace test {
namespace {

class TsportFiles : public testing::Test {
  protected:
    TsportFiles() : folder_(host::make_temporary_folder()) {
        spooler_sim::reset();
        clear_registry();
        EXPECT_EQ(run({"add", "Office", "h"}).status, tsport::done);
        EXPECT_EQ(run({"add", "Room 12", "h"}).status, tsport::done);
    }
    ~TsportFiles() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }
    std::string file(const std::string& name) const { return folder_ + "/" + name; }
    tsport::Answer run(Lines arguments) const {
        arguments.insert(arguments.begin(), {"--store", file("store")});
        return tsport::run(arguments);
    }
    static unsigned mode_of(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    const std::string folder_;
};

TEST_F(TsportFiles, LinksAndRightsStayAsTheyAre) {
    fs::create_directory(file("elsewhere"));
    fs::rename(file("store"), file("elsewhere/ports"));
    fs::create_symlink("middle", file("store"));
    fs::create_symlink("elsewhere/ports", file("middle"));
    fs::create_symlink("elsewhere/new", file("dangling"));
    ASSERT_EQ(chmod(file("elsewhere/ports").c_str(), 0640), 0);
    EXPECT_EQ(run({"add", "Tower", "h"}).status, tsport::done);
    EXPECT_TRUE(fs::is_symlink(file("store")) && fs::is_symlink(file("middle")));
    EXPECT_EQ(mode_of(file("elsewhere/ports")), 0640u);
    EXPECT_NE(read_file(file("elsewhere/ports")).find("Tower"), std::string::npos);
    EXPECT_EQ(run({"export", file("dangling")}).status, tsport::done);
    EXPECT_EQ(read_file(file("elsewhere/new")), read_file(file("elsewhere/ports")));

    // Both names of a file, the shorter contents included.
    fs::create_hard_link(file("elsewhere/new"), file("second name"));
    EXPECT_EQ(run({"export", file("second name"), "Tower"}).status, tsport::done);
    EXPECT_EQ(fs::hard_link_count(file("second name")), 2u);
    EXPECT_EQ(read_file(file("elsewhere/new")), "# name   address  port\n\"Tower\"  h        9100\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(file("elsewhere")), {}), 2) << "nothing unfinished is left";
}

TEST_F(TsportFiles, WhatCannotBeWrittenIsSaidAndNothingIsLost) {
    const std::string before = read_file(file("store"));
    ASSERT_EQ(chmod(file("store").c_str(), 0444), 0);
    const tsport::Answer read_only = run({"add", "Lab", "h"});
    EXPECT_EQ(read_only.status, tsport::refused);
    EXPECT_EQ(read_only.err, "tsport: " + file("store") + " cannot be written: Permission denied\n");
    EXPECT_EQ(read_file(file("store")), before);
    const struct {
        std::string path;
        const char* reason;
    } rows[] = {{"/dev/full", "No space left on device"},
                {folder_, "Is a directory"},
                {file("store/below"), "Not a directory"},
                {file(std::string(300, 'n')), "File name too long"}};
    for (const auto& row : rows) {
        const tsport::Answer answer = run({"export", row.path});
        EXPECT_EQ(answer.status, tsport::bad_usage);
        EXPECT_EQ(answer.err, "tsport: " + row.path + " cannot be written: " + row.reason + "\n");
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1) << "nothing unfinished is left";
}

// What bash would put in place of the last word, for a line typed so far.
TEST_F(TsportFiles, BashCompletesVerbsOptionsAndNames) {
    write_file(file("script"), tsport::run({"completion", "bash"}).out);
    const std::string tool = host::executable_folder() + "/tsport";
    const std::string where = "--store " + file("store");
    const struct {
        std::string words;  // one for each that bash has cut the line into
        std::string replies;
    } rows[] = {{"ex", "exists export"},
                {"help de", "delete"},
                {"list --na", "--names"},
                {"list --for", ""},
                {"delete --for", "--force"},
                {where + " show Of", "Office"},
                {where + " show ''", "Office Room\\ 12"},
                {where + " delete Office Room\\\\\\ ", "Room\\ 12"},
                {where + " test '\"Room '", "Room 12"},
                {where + " add Of", ""}};
    for (const auto& row : rows) {
        write_file(file("line"), "source " + file("script") + "\nCOMP_WORDS=(" + tool + " " + row.words +
                                     ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\ncompopt() { :; }\n_tsport\n"
                                     "IFS=' '\necho -n \"${COMPREPLY[*]}\"\n");
        const std::unique_ptr<FILE, int (*)(FILE*)> shell(popen(("bash " + file("line") + " 2>&1").c_str(), "r"),
                                                          pclose);
        std::array<char, 1000> text{};
        EXPECT_EQ(std::string(text.data(), fread(text.data(), 1, text.size(), shell.get())), row.replies) << row.words;
    }
}

}  // namespace
}  // namespace test
