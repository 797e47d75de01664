// tsport collect: what support needs, and no byte of what must stay on the server.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/platform.h"
#include "host/setup.h"
#include "tests/support/files.h"
#include "tsport/run.h"

namespace test {
namespace {

TEST(Collect, LeavesSecretsOut) {
    host::clear_registry();
    const fs::path folder = path_of(host::make_temporary_folder());
    const fs::path base = folder / "win";
    fs::create_directories(base / "spool" / "forceattr");
    // The key as it is set, in a comment, below a mistyped name, without its "=", and one that messages cut.
    const std::string secrets[] = {"Pl4nted\"K\\ey", "F0rmerKey77", "Mistyped=Secret9", "noEquals1234",
                                   std::string(3000, 'L') + "ong"};
    ASSERT_TRUE(write_file(base / "print-provider.conf", "Debug=on\r\nApplicationServerApiKey=" + secrets[0] +
                                                             "\r\n#ApplicationServerApiKey=" + secrets[1] +
                                                             "\r\nAplicationServerApiKey=" + secrets[2] +
                                                             "\r\nApplicationServerApiKey " + secrets[3] +
                                                             "\r\nSecretOfOurs=" + secrets[4] + "\r\nSpoolDir=\r\n"));
    const std::string before = "2026-03-01 10:00:00,000 DEBUG: global.cpp:293 - ";
    ASSERT_TRUE(write_file(base / "print-monitor.log", before + "app_server_api_key: " + secrets[0] + " [12]\n" +
                                                           before + "TSM: read " + secrets[4].substr(0, 900) + "\n"));
    ASSERT_TRUE(write_file(base / "spool" / "forceattr" / "1.in", "content of a document"));
    ASSERT_TRUE(write_file(folder / "ports.txt", "Office 127.0.0.1 1\n"));
    const std::string to = utf8_of(folder / "for support");
    const tsport::Answer answer =
        tsport::run({"collect", to, "--base", utf8_of(base), "--store", utf8_of(folder / "ports.txt"), "--json"});
    EXPECT_EQ(answer.status, tsport::done) << answer.err;
    EXPECT_NE(answer.out.find("\"verb\": \"collect\", \"results\": [{\"folder\": "), std::string::npos) << answer.out;
    EXPECT_NE(answer.out.find("\"files\": [\"print-provider.conf\", "), std::string::npos) << answer.out;

    std::vector<std::string> names;
    for (const fs::directory_entry& file : fs::directory_iterator(path_of(to))) {
        names.push_back(utf8_of(file.path().filename()));
        const std::string text = read_file(file.path());
        for (const std::string& secret : secrets) {
            for (const size_t at : {size_t{0}, secret.size() - 6}) {
                EXPECT_EQ(text.find(secret.substr(at, 8)), std::string::npos) << names.back() << ":\n" << text;
            }
        }
        EXPECT_EQ(text.find("content of"), std::string::npos) << names.back();
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"README.txt", "doctor.json", "ports.json", "print-monitor.log",
                                               "print-provider.conf", "versions.txt"}));
    const std::string conf = read_file(path_of(to) / "print-provider.conf");
    EXPECT_EQ(conf.rfind("Debug=on\nApplicationServerApiKey=(left out)\n", 0), 0u) << conf;
    EXPECT_NE(read_file(path_of(to) / "ports.json").find("\"Office\""), std::string::npos);
    EXPECT_NE(read_file(path_of(to) / "doctor.json").find("conf.unknown-name"), std::string::npos);

    // Nothing is written over what is there.
    EXPECT_EQ(tsport::run({"collect", to, "--base", utf8_of(base)}).status, tsport::refused);
    fs::remove_all(folder);
}

}  // namespace
}  // namespace test
