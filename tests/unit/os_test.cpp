// Files and directories.
#include <algorithm>
#include <ctime>

#include "tests/unit/log_fixture.h"

namespace {

class Os : public LogTest {};

TEST_F(Os, JoinsPaths) {
    // clang-format off
    const std::tuple<const char*, const char*, size_t, const char*, size_t> cases[] = {
        {"C:\\dir", "a.dat", 260, "C:\\dir\\a.dat", 0}, {"C:\\dir\\", "a.dat", 260, "C:\\dir\\a.dat", 0},
        {"", "a.dat", 260, "\\a.dat", 0},               {nullptr, "a.dat", 260, "a.dat", 0},
        {"C:\\dir", nullptr, 260, "C:\\dir\\", 0},      {"C:/dir/", "a", 260, "C:/dir/\\a", 0},
        {"C:\\dir", "a.dat", 13, "C:\\dir\\a.dat", 0},  {"C:\\dir", "a.dat", 12, "C:\\dir\\a.da", 0},
        {"C:\\dir", "a.dat", 8, "C:\\dir\\", 1},        {"C:\\dir", "a.dat", 7, "C:\\dir", 2},
    };
    // clang-format on
    char out[260];
    for (const auto& [directory, name, size, joined, lines] : cases) {
        EXPECT_EQ(os_cat_path(out, size, directory, name), 1);
        EXPECT_STREQ(out, joined);
        EXPECT_EQ(logged().size(), lines) << joined;
    }
    EXPECT_EQ(os_cat_path(nullptr, 10, "d", nullptr), 0);
    EXPECT_EQ(os_cat_path(out, 10, nullptr, nullptr), 0);
    EXPECT_EQ(logged().at(0),
              "ERROR: os_cat_path: invalid params: path=0000000000000000,size=10,dir='d',fname='(null)'");
}

TEST_F(Os, FindsMeasuresRenamesAndDeletes) {
    const std::string file = path("\xC3\xA4.txt");
    const std::string empty = path("empty");
    const std::string missing = path("missing");
    for (const std::string contents : {"12345", ""}) {
        const std::string& name = contents.empty() ? empty : file;
        write_bytes(name, contents);
        int64_t size = -1;
        EXPECT_EQ(os_file_size(name.c_str(), &size), 1);
        EXPECT_EQ(size, static_cast<int64_t>(contents.size()));
    }
    for (const std::string& present : {file, file + "\\", base(), base() + "\\", base() + "/"}) {
        EXPECT_EQ(os_file_exists(present.c_str()), 1) << present;
    }
    EXPECT_EQ(os_file_exists(missing.c_str()), 0);
    EXPECT_EQ(os_rename(file.c_str(), empty.c_str()), 0) << "it is there";
    EXPECT_NE(os_file_delete(empty.c_str()), 0);
    EXPECT_EQ(os_rename(file.c_str(), empty.c_str()), 1);
    EXPECT_EQ(read_bytes(file), "missing");
    EXPECT_EQ(read_bytes(empty), "12345");
    EXPECT_EQ(os_file_delete_with_retry(empty.c_str()), 1);
    EXPECT_EQ(os_file_delete_with_retry(empty.c_str()), 0) << "at once, not after five minutes";
    EXPECT_EQ(os_file_delete_with_retry(base().c_str()), 0) << "so is a folder";
    EXPECT_EQ(logged(), Strings{});

    int64_t size = 0;
    EXPECT_EQ(os_file_size(missing.c_str(), &size), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND}) << "as the failing call left it";
    EXPECT_EQ(size, -1);
    OsNumbers numbers;
    for (size_t length = 256; length < 264; ++length) {
        EXPECT_EQ(os_list_numbers((std::string(length, 'd') + "\\log").c_str(), &numbers), 0);
    }
    EXPECT_EQ(os_fopen("", "r"), nullptr);
    const Strings lines = logged();
    EXPECT_TRUE(lines.at(0).starts_with("ERROR: Unable to open file to determine file size: " + missing + " - "));
    EXPECT_TRUE(lines[0].ends_with(" (Error: 2)")) << lines[0];
    EXPECT_EQ(lines.at(1), "ERROR: message: (!util_is_string_empty(pathname)) assertion failed");
}

Strings visited;
size_t visits_wanted;

int visit(const char* path, int64_t modified) {
    EXPECT_NEAR(static_cast<double>(modified), static_cast<double>(time(nullptr)), 100);
    visited.emplace_back(path);
    return visited.size() < visits_wanted ? 1 : 0;
}

TEST_F(Os, MakesAndWalksDirectories) {
    session_context.debug_logging = 1;
    const std::string folder = path("walk");
    for (const char* const name : {"", "", "\\sub"}) EXPECT_EQ(os_mkdir((folder + name).c_str()), 1);
    for (const char* const name : {"\\sub\\inner", "\\a", "\\\xC3\xA4"}) write_bytes(folder + name, "");
    EXPECT_EQ(os_mkdir((folder + "\\a").c_str()), 0) << "a file, without a line";
    visited.clear();
    visits_wanted = 100;
    EXPECT_EQ(os_dir_forall(folder.c_str(), visit), 1);
    std::sort(visited.begin(), visited.end());
    EXPECT_EQ(visited, (Strings{folder + "\\a", folder + "\\\xC3\xA4"}));
    visited.clear();
    visits_wanted = 1;
    EXPECT_EQ(os_dir_forall(folder.c_str(), visit), 1);
    EXPECT_EQ(visited.size(), 1u);
    EXPECT_EQ(logged(), Strings{});

    EXPECT_EQ(os_dir_forall(std::string(5000, 'd').c_str(), visit), 0);
    logged();
    EXPECT_EQ(os_mkdir(path("none\\new").c_str()), 0);
    EXPECT_EQ(os_dir_forall(path("none").c_str(), visit), 0);
    const Strings lines = logged();
    EXPECT_TRUE(lines.at(0).starts_with("DEBUG: Failed to create directory: \"" + path("none\\new") + "\" - "));
    EXPECT_TRUE(lines[0].ends_with(" (Error: 3)")) << lines[0];
    EXPECT_TRUE(lines.at(1).starts_with("ERROR: Unable to open directory, \"" + path("none") + "\" - "));
}

}  // namespace
