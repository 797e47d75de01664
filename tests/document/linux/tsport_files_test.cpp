// How tsport treats files, where the system shows it, and what its script for bash completes.
#include <cstdlib>

#include "tests/support/print_server.h"
#include "tests/support/scratch.h"
#include "tsport/ports/ports_file.h"
#include "tsport/run.h"
#include "winapi/linux/fault.h"

namespace test {
namespace {

class TsportFiles : public testing::Test {
  protected:
    TsportFiles() {
        spooler_sim::reset();
        clear_registry();
        EXPECT_EQ(run({"add", "Office", "h"}).status, tsport::done);
        EXPECT_EQ(run({"add", "Room 12", "h"}).status, tsport::done);
    }
    std::string file(const std::string& name) const { return folder_ + "/" + name; }
    tsport::Answer run(Lines arguments) const {
        arguments.insert(arguments.begin(), {"--store", file("store")});
        return tsport::run(arguments);
    }
    std::string run_shell(const std::string& command) const {
        EXPECT_NE(std::system((command + " >" + file("said") + " 2>&1").c_str()), -1);
        return read_file(file("said"));
    }

    const ScratchDir scratch_;
    const std::string folder_ = scratch_.native();
};

TEST_F(TsportFiles, LinksAndRightsStayAsTheyAre) {
    fs::create_directory(file("elsewhere"));
    fs::rename(file("store"), file("elsewhere/ports"));
    fs::create_symlink("middle", file("store"));
    fs::create_symlink("elsewhere/ports", file("middle"));
    fs::create_symlink("elsewhere/new", file("dangling"));
    fs::permissions(file("elsewhere/ports"), fs::perms(0640));
    EXPECT_EQ(run({"add", "Tower", "h"}).status, tsport::done);
    EXPECT_TRUE(fs::is_symlink(file("store")) && fs::is_symlink(file("middle")));
    EXPECT_EQ(fs::status(file("elsewhere/ports")).permissions(), fs::perms(0640));
    EXPECT_NE(read_file(file("elsewhere/ports")).find("Tower"), std::string::npos);
    EXPECT_EQ(run({"export", file("dangling")}).status, tsport::done);
    EXPECT_EQ(read_file(file("elsewhere/new")), read_file(file("elsewhere/ports")));

    // Of two names one would keep the old contents.
    const std::string before = read_file(file("elsewhere/new"));
    fs::create_hard_link(file("elsewhere/new"), file("second name"));
    for (const std::string& name : {file("second name"), file("dangling")}) {
        EXPECT_NE(run({"export", name, "Tower"}).err.find("several names (hard links)"), std::string::npos);
    }
    EXPECT_EQ(read_file(file("elsewhere/new")), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(file("elsewhere")), {}), 2) << "nothing unfinished is left";
}

TEST_F(TsportFiles, WhatCannotBeWrittenIsSaidAndNothingIsLost) {
    const std::string before = read_file(file("store"));
    fs::permissions(file("store"), fs::perms(0444));
    const tsport::Answer read_only = run({"add", "Lab", "h"});
    EXPECT_EQ(read_only.status, tsport::refused);
    EXPECT_EQ(read_only.err, "tsport: " + file("store") + " cannot be written: Permission denied\n");
    EXPECT_EQ(read_file(file("store")), before);
    for (const auto& [path, reason] : {std::pair{std::string("/dev/full"), "No space left on device"},
                                       {folder_, "Is a directory"},
                                       {file("store/below"), "Not a directory"},
                                       {file(std::string(300, 'n')), "File name too long"}}) {
        const tsport::Answer answer = run({"export", path});
        EXPECT_EQ(answer.status, tsport::bad_usage);
        EXPECT_EQ(answer.err, "tsport: " + path + " cannot be written: " + reason + "\n");
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1) << "nothing unfinished is left";
}

TEST_F(TsportFiles, NothingIsImportedWhereTheSpoolersListCannotBeHad) {
    write_file(file("more"), "Attic h 9100\n");
    const std::string before = read_file(file("store"));
    int lists = 0;
    for (std::uint64_t call = 1; call == 1 || !winapi::fault::failed_function().empty(); ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::once);
        const tsport::Answer answer = run({"import", file("more")});
        winapi::fault::disarm();
        if (winapi::fault::failed_function() != "EnumPortsW") {
            write_file(file("store"), before);
            continue;
        }
        EXPECT_EQ(answer.status, tsport::refused) << answer.out;
        EXPECT_EQ(read_file(file("store")), before);
        ++lists;
    }
    EXPECT_EQ(lists, 2);
}

TEST_F(TsportFiles, OddFilesAreNeitherReadNorWaitedFor) {
    ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", file("zero"));
    for (const std::string& path : {file("pipe"), file("zero"), folder_, std::string("/dev/null")}) {
        const std::string why = path + " cannot be read: it is " + (path == folder_ ? "a folder" : "no ordinary file");
        for (const Lines& words : {Lines{"--store", path, "add", "A", "h"}, Lines{"--store", path, "list"},
                                   Lines{"--store", file("store"), "diff", path},
                                   Lines{"--store", file("store"), "import", path}, Lines{"--servers", path, "list"}}) {
            EXPECT_NE(tsport::run(words).err.find(why), std::string::npos) << testing::PrintToString(words);
        }
    }
    // Nor is what only has the name of a lock.
    write_file(file("mine"), "");
    fs::create_symlink("mine", file("store.lock"));
    EXPECT_NE(run({"add", "A", "h"}).err.find("store.lock is in the way"), std::string::npos);
    fs::remove(file("store.lock"));
    write_file(file("store.lock"), "a list of my own");
    EXPECT_NE(run({"add", "A", "h"}).err.find("store.lock is in the way"), std::string::npos);
    EXPECT_EQ(read_file(file("store.lock")), "a list of my own");
}

// What stands in a base directory in place of files: it is named, and neither waited for nor read without an end.
TEST_F(TsportFiles, TheDoctorNamesOddFiles) {
    const std::pair<std::string, const char*> rows[] = {
        {"print-provider.conf", "print-provider.conf cannot be read: it is no ordinary file\n"},
        {"env-version", "env-version cannot be read: it is no ordinary file\n"},
        {"ts-print-monitor.exe", "[X] helper.no-program: ts-print-monitor.exe is not a Windows program\n"},
        {"print-monitor.log", "[!] log.not-writable: print-monitor.log is not a file\n"},
    };
    for (const auto& [name, found] : rows) write_file(file(name), "MZ");
    for (const auto& [name, found] : rows) {
        for (const bool is_pipe : {true, false}) {
            fs::remove(file(name));
            EXPECT_EQ(is_pipe ? mkfifo(file(name).c_str(), 0600) : symlink("/dev/zero", file(name).c_str()), 0);
            const std::string text = tsport::run({"doctor", "--base", folder_}).out;
            EXPECT_NE(text.find(found), std::string::npos) << text;
        }
        fs::remove(file(name));
        write_file(file(name), "MZ");
    }
    EXPECT_EQ(tsport::run({"doctor", "--store", "/dev/zero"}).status, tsport::refused);
}

TEST_F(TsportFiles, ATerminalGetsNoControls) {
    write_file(file("store"), "\"a\\u001b[2Jb\\u202ec\" h 9100\n");
    const std::string command = host::executable_folder() + "/tsport --store " + file("store") + " list ";
    EXPECT_EQ(run_shell(command + "--names"),
              "a\x1B[2Jb\xE2\x80\xAE"
              "c\n");
    EXPECT_EQ(run_shell("script -qec '" + command + "--names' /dev/null"), "a\\u001b[2Jb\\u202ec\r\n");
    EXPECT_EQ(run_shell("script -qec '" + command + "--csv' /dev/null"),
              "name,address,port\r\na\\u001b[2Jb\\u202ec,h,9100\r\n");
}

// What bash would put in place of the last word, for a line typed so far.
TEST_F(TsportFiles, BashCompletesVerbsOptionsAndNames) {
    write_file(file("script"), tsport::run({"completion", "bash"}).out);
    const std::string tool = host::executable_folder() + "/tsport";
    const std::string where = "--store " + file("store");
    // The words into which bash has cut the line, and its replies.
    const std::pair<std::string, const char*> rows[] = {{"ex", "exists export"},
                                                        {"help de", "delete"},
                                                        {"list --na", "--names"},
                                                        {"list --for", ""},
                                                        {"delete --for", "--force"},
                                                        {where + " show Of", "Office"},
                                                        {where + " show ''", "Office Room\\ 12"},
                                                        {where + " delete Office Room\\\\\\ ", "Room\\ 12"},
                                                        {where + " test '\"Room '", "Room 12"},
                                                        {where + " add Of", ""}};
    for (const auto& [words, replies] : rows) {
        write_file(file("line"), "source " + file("script") + "\nCOMP_WORDS=(" + tool + " " + words +
                                     ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\ncompopt() { :; }\n_tsport\n"
                                     "IFS=' '\necho -n \"${COMPREPLY[*]}\"\n");
        EXPECT_EQ(run_shell("bash " + file("line")), replies) << words;
    }
}

// However the word was begun, what is completed is the name and nothing that bash carries out.
TEST_F(TsportFiles, BashReadsNothingInACompletedName) {
    const Lines names = {"b$(touch hit)", "b`touch hit`",    "b\"; touch hit; \"", "b'; touch hit; '",
                         "b!!",           "b\xE2\x80\x99 x", "b&touch hit",        "b\xE2\x80\xAE"};
    std::vector<tsport::Port> ports;
    for (const std::string& name : names) ports.push_back({host::to_text(name), W("h"), 1});
    write_file(file("store"), tsport::format_ports({}, ports));
    write_file(file("line"), tsport::run({"completion", "bash"}).out + "COMP_WORDS=(" + host::executable_folder() +
                                 "/tsport --store store show \"$1b\")\nCOMP_CWORD=4\ncompopt() { :; }\n_tsport\n"
                                 "for i in \"${COMPREPLY[@]}\"; do eval \"printf '%s\\n' $1$i$1\"; done\n");
    for (const auto& [quote, count] : {std::pair{"", 7}, {"'", 6}, {"\"", 3}}) {
        std::istringstream found(
            run_shell("cd " + folder_ + " && bash line '" + (*quote == '\'' ? "'\\''" : quote) + "'"));
        int completed = 0;
        for (std::string name; std::getline(found, name); ++completed) {
            EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << quote << name;
        }
        EXPECT_EQ(completed, count) << quote;
    }
    EXPECT_FALSE(fs::exists(file("hit")));
}

}  // namespace
}  // namespace test
