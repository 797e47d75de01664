// The administrators' command line, with a library hosted over a ports file.
#include <algorithm>

#include "tests/support/print_server.h"
#include "tools/tsport/verbs.h"

namespace test {
namespace {

class Tsport : public testing::Test {
  protected:
    Tsport() {
        spooler_sim::reset();
        clear_registry();
        folder_ = host::make_temporary_folder();
        store_ = folder_ + "/store.txt";
    }
    ~Tsport() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    tsport::Answer run(Lines arguments) const {
        arguments.insert(arguments.begin(), {"--store", store_});
        return tsport::run(arguments);
    }
    std::string out(const Lines& arguments, int status = tsport::done) const {
        const tsport::Answer answer = run(arguments);
        EXPECT_EQ(answer.status, status) << testing::PrintToString(arguments) << answer.err;
        return answer.out;
    }
    std::string file(const std::string& name) const { return folder_ + "/" + name; }

    std::string folder_;
    std::string store_;
};

TEST_F(Tsport, APortsLife) {
    EXPECT_EQ(out({"list"}), "no ports\n");
    EXPECT_EQ(out({"add", "Office", "192.168.1.20"}), "added \"Office\": 192.168.1.20 port 9100\n");
    EXPECT_EQ(out({"add", "--", "--Room 12", "printer12.example", "9101"}),
              "added \"--Room 12\": printer12.example port 9101\n");
    EXPECT_EQ(out({"exists", "OFFICE"}), "\"OFFICE\" exists\n");
    EXPECT_EQ(out({"show", "office"}), "name     Office\naddress  192.168.1.20\nport     9100\n");
    EXPECT_EQ(out({"set", "office", "10.0.0.1", "515"}),
              "changed \"Office\": 10.0.0.1 port 515 (was 192.168.1.20 port 9100)\n");
    EXPECT_EQ(out({"set", "office", "10.0.0.2"}), "changed \"Office\": 10.0.0.2 port 515 (was 10.0.0.1 port 515)\n");
    EXPECT_EQ(out({"list"}),
              "NAME       ADDRESS            PORT\n"
              "--Room 12  printer12.example  9101\n"
              "Office     10.0.0.2           515\n");
    EXPECT_EQ(out({"delete", "oFFICE"}), "deleted \"oFFICE\"\n");
    for (const char* const verb : {"show", "delete", "test", "exists"}) out({verb, "Office"}, tsport::not_there);
    EXPECT_EQ(run({"set", "Office", "10.0.0.1"}).err, "tsport: there is no port \"Office\"\n");

    const tsport::Answer again = run({"add", "--", "--ROOM 12", "elsewhere"});
    EXPECT_EQ(again.status, tsport::refused);
    EXPECT_NE(again.err.find("error 183, "), std::string::npos) << again.err;
    EXPECT_NE(out({"list"}).find("printer12.example  9101"), std::string::npos);
}

TEST_F(Tsport, WhatNoPortCanHaveIsRefusedBeforeAnythingIsSent) {
    const std::string euro = "\xE2\x82\xAC";
    std::string full;
    for (int i = 0; i < 64; ++i) full += euro;
    out({"add", full, std::string(128, 'h'), "65535"});
    const std::string before = read_file(store_);
    struct {
        Lines arguments;
        const char* why;
    } const rows[] = {
        {{"add", full + euro, "h"}, "the port's name has 65 characters, 64 are the most"},
        {{"add", "A", std::string(129, 'h')}, "the printer's address has 129 characters, 128 are the most"},
        {{"set", full, std::string(129, 'h')}, "the printer's address has 129 characters, 128 are the most"},
        {{"add", "", "h"}, "the port's name is empty"},
        {{"add", "A", ""}, "the printer's address is empty"},
        {{"add", "A\\B", "h"}, "a port's name cannot have a backslash in it"},
        {{"add", "A\xFF", "h"}, "not UTF-8 text"},
        {{"add", "A", "h", "0"}, "the port number is not 1 to 65535: 0"},
        {{"add", "A", "h", "65536"}, "the port number is not 1 to 65535: 65536"},
        {{"add", "A", "h", "9100x"}, "the port number is not 1 to 65535: 9100x"},
        {{"test", "h", "-1"}, "the port number is not 1 to 65535: -1"},
        {{"add", "A"}, "add takes other operands, see tsport add --help"},
        {{"list", "A"}, "list takes other operands"},
        {{"exists", full + "x"}, "the port's name has 65 characters"},
        {{"frobnicate"}, "unknown verb frobnicate"},
        {{}, "no verb given"},
        {{"list", "--frobnicate"}, "unknown option --frobnicate"},
        {{"list", "--dry-run"}, "--dry-run belongs to import"},
        {{"list", "--library"}, "--library takes a path"},
        {{"import", file("none.txt")}, "none.txt cannot be read"},
        {{"diff", folder_}, " cannot be read"},
        {{"export", file("no/such/folder")}, " cannot be written"},
    };
    for (const auto& row : rows) {
        const tsport::Answer answer = run(row.arguments);
        EXPECT_EQ(answer.status, tsport::bad_usage) << row.why;
        EXPECT_NE(answer.err.find(row.why), std::string::npos) << row.why << " / " << answer.err;
        EXPECT_EQ(answer.out, "") << row.why;
    }
    EXPECT_EQ(read_file(store_), before);
    EXPECT_EQ(tsport::run({"--library", "x", "list"}).status, tsport::bad_usage);
    EXPECT_EQ(tsport::run({"--library", file("x"), "--store", store_, "list"}).status, tsport::refused);
}

TEST_F(Tsport, AnswersForScripts) {
    EXPECT_EQ(out({"list", "--json"}), "[]\n");
    EXPECT_EQ(out({"add", "a \"b\"\t", "h", "--json"}),
              "{\"added\": {\"name\": \"a \\\"b\\\"\\u0009\", \"address\": \"h\", \"port\": 9100}}\n");
    EXPECT_EQ(out({"show", "a \"b\"\t", "--json"}),
              "{\"name\": \"a \\\"b\\\"\\u0009\", \"address\": \"h\", \"port\": 9100}\n");
    EXPECT_EQ(out({"exists", "x", "--json"}, tsport::not_there), "{\"name\": \"x\", \"exists\": false}\n");
    EXPECT_EQ(run({"show", "x", "--json"}).err, "{\"error\": \"there is no port \\\"x\\\"\", \"code\": 0}\n");
    EXPECT_NE(run({"add", "a \"b\"\t", "h", "--json"}).err.find("\"code\": 183}"), std::string::npos);
    write_file(file("f"), "a h 1\n");
    EXPECT_EQ(out({"import", file("f"), "--json"}),
              "{\"dry_run\": false, \"added\": [{\"name\": \"a\", \"address\": \"h\", \"port\": 1}], \"changed\": [], "
              "\"left_alone\": 0}\n");
}

// Letters of two places and of none count for what they take on a terminal; nothing steers it.
TEST_F(Tsport, ColumnsStayAligned) {
    for (const char* const name : {"Caf\xC3\xA9", "Cafe\xCC\x81 2", "\xE6\x97\xA5\xE6\x9C\xAC", "x\x1B[2J"}) {
        out({"add", name, "h"});
    }
    EXPECT_EQ(out({"list"}),
              "NAME        ADDRESS  PORT\n"
              "Cafe\xCC\x81 2      h        9100\n"
              "Caf\xC3\xA9        h        9100\n"
              "x\\u001b[2J  h        9100\n"
              "\xE6\x97\xA5\xE6\x9C\xAC        h        9100\n");
}

TEST_F(Tsport, ATestConnects) {
    peer::TcpPrinter printer;
    const std::string number = std::to_string(printer.port());
    out({"add", "Office", "127.0.0.1", number});
    EXPECT_EQ(out({"test", "office"}), "127.0.0.1 port " + number + " takes connections\n");
    EXPECT_EQ(out({"test", "127.0.0.1", number, "--json"}),
              "{\"address\": \"127.0.0.1\", \"port\": " + number + ", \"reachable\": true}\n");
    EXPECT_TRUE(printer.wait_for_ends(2));
    printer.refuse();
    EXPECT_EQ(out({"test", "Office"}, tsport::not_there), "127.0.0.1 port " + number + " cannot be reached\n");
}

TEST_F(Tsport, ExportAndImportGiveBackTheSamePorts) {
    const Lines names = {"plain",
                         "two  blanks ",
                         "\ttab",
                         "#1",
                         "q\"uote\"",
                         "%41",
                         "'single'",
                         "\xC3\xBC\xD0\x96\xE6\x97\xA5",
                         "\xF0\x9F\x96\xA8",
                         "\xC2\x85",
                         std::string(64, 'n'),
                         "line\nbreak\r"};
    for (const std::string& name : names) out({"add", name, name.size() == 64 ? std::string(128, 'a') : "a\\ \"b"});
    out({"set", "plain", "2001:db8::1%eth0", "1"});
    const std::string list = out({"list", "--json"});
    const std::string exported = file("r\xC3\xBCstung.txt");
    EXPECT_EQ(out({"export", exported}), "12 ports written to " + exported + "\n");
    EXPECT_EQ(out({"diff", exported}), "no differences\n");
    for (const std::string& name : names) out({"delete", name});
    EXPECT_EQ(out({"list"}), "no ports\n");

    const std::string dry = out({"import", exported, "--dry-run"});
    EXPECT_NE(dry.find("12 to add, 0 to change, 0 left alone\n"), std::string::npos) << dry;
    EXPECT_EQ(out({"list"}), "no ports\n");
    out({"import", exported});
    EXPECT_EQ(out({"list", "--json"}), list);
    EXPECT_EQ(out({"import", exported}), "0 added, 0 changed, 12 left alone\n");
    EXPECT_EQ(read_file(store_), read_file(path_of(exported)));
}

TEST_F(Tsport, ImportAddsAndChangesAndLeavesTheRestAlone) {
    out({"add", "Same", "h"});
    out({"add", "Other", "h"});
    out({"add", "Elsewhere", "h"});
    write_file(file("f"),
               "\xEF\xBB\xBF# by hand\r\n"
               "\r\n"
               "SAME\th 9100 # as it is\r\n"
               "  \"\\u004eew\"   \"h\"  1\r\n"
               "other h2 2");
    EXPECT_EQ(out({"diff", file("f")}, tsport::not_there),
              "only in file  New        h   1\n"
              "only here     Elsewhere  h   9100\n"
              "differs       Other      h2  2     was h 9100\n");
    EXPECT_EQ(out({"import", file("f")}),
              "added    New    h   1\n"
              "changed  Other  h2  2  was h 9100\n"
              "1 added, 1 changed, 1 left alone\n");
    EXPECT_EQ(out({"import", file("f")}), "0 added, 0 changed, 3 left alone\n");
    EXPECT_EQ(out({"list"}),
              "NAME       ADDRESS  PORT\n"
              "Elsewhere  h        9100\n"
              "New        h        1\n"
              "Other      h2       2\n"
              "Same       h        9100\n");
}

TEST_F(Tsport, NothingIsDoneWhenAnyLineIsWrong) {
    write_file(file("f"),
               "good h 9100\n"
               "no-address\n"
               "no-number h\n"
               "too much h 9100\n"
               "\"open h 9100\n"
               "\"joined\"h 9100\n"
               "qu\"ote h 9100\n"
               "\"\\x\" h 9100\n"
               "\"\\u00g0\" h 9100\n"
               "a h 0\n"
               "b h 65536\n"
               "\"\" h 1\n"
               "c\\d h 1\n"
               "\xFF h 1\n"
               "GOOD h 1\n" +
                   std::string(65, 'n') + " h 1\n" + "e " + std::string(129, 'a') + " 1\n");
    const tsport::Answer answer = run({"import", file("f")});
    EXPECT_EQ(answer.status, tsport::bad_usage);
    for (int line = 2; line <= 17; ++line) {
        EXPECT_NE(answer.err.find("/f:" + std::to_string(line) + ": "), std::string::npos) << line;
    }
    EXPECT_EQ(std::count(answer.err.begin(), answer.err.end(), '\n'), 16);
    EXPECT_EQ(out({"list"}), "no ports\n");
    EXPECT_FALSE(fs::exists(store_));
}

TEST_F(Tsport, AnotherMonitorsNameIsTaken) {
    spooler_sim::add_foreign_port(W("LPT1:"));
    write_file(file("f"), "A h 1\nlpt1: h 1\n");
    EXPECT_EQ(run({"import", file("f")}).err, "tsport: nothing was done: another monitor has a port \"lpt1:\"\n");
    out({"add", "LPT1:", "h"}, tsport::refused);
    out({"exists", "lpt1:"});
    out({"show", "LPT1:"}, tsport::not_there);
    EXPECT_EQ(out({"list"}), "no ports\n");
}

TEST_F(Tsport, AHostedLibraryKeepsAwayFromAPrintServer) {
    ASSERT_TRUE(host::store_install_path(W("C:\\service")));
    EXPECT_EQ(run({"list"}).status, tsport::refused);
    clear_registry();
    write_file(store_, "broken\n");
    EXPECT_EQ(run({"add", "A", "h"}).status, tsport::refused);
    EXPECT_EQ(read_file(store_), "broken\n");
}

TEST_F(Tsport, AReportThatCannotBeMade) {
    EXPECT_EQ(tsport::run({"report", file("none"), "--json"}).err,
              "{\"error\": \"" + file("none") + " is not there\", \"code\": 0}\n");
    EXPECT_EQ(tsport::run({"report"}).status, tsport::bad_usage);
    EXPECT_EQ(tsport::run({"report", folder_}).status, tsport::refused);
    EXPECT_EQ(tsport::run({"report", "--help"}).out.rfind("usage: tsport report", 0), 0u);
}

TEST_F(Tsport, EveryVerbHasItsHelp) {
    const std::string general = out({"--help"});
    for (const char* const verb :
         {"list", "show", "add", "set", "delete", "test", "exists", "export", "import", "diff"}) {
        const std::string help = out({verb, "--help"});
        EXPECT_EQ(help.rfind(std::string("usage: tsport ") + verb, 0), 0u) << verb;
        EXPECT_NE(help.find(std::string("examples:\n  tsport ") + verb), std::string::npos) << verb;
        EXPECT_NE(general.find(std::string("\n  ") + verb + " "), std::string::npos) << verb;
    }
    EXPECT_FALSE(fs::exists(store_));
}

}  // namespace
}  // namespace test
