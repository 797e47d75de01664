// tsport migrate on a server with queues of every kind: what it plans, what it changes, and that all of it can be
// undone.
#include "tests/support/migration.h"
#include "tests/support/platform.h"
#include "tsport/migrate/queue.h"
#include "tsport/migrate/stored_ports.h"

namespace test {
namespace {

// A queue of the server, or several with one port, and what the plan says of it.
struct Kind {
    Text port;    // # stands for the number of the round
    Text queues;  // what they print to, when it is not the port alone
    Text host;
    Text ip_address;
    DWORD number;
    DWORD protocol;
    DWORD status;
    DWORD attributes;
    bool has_job;
    Text to;  // the new port; empty: left alone
    std::string said;
};
const Kind kinds[] = {
    {W("IP_10.0.#.1"), W(""), W("10.0.#.1"), W(""), 9100, 1, 0, 0, false, W("IP_10.0.#.1 (Tessaron)"), "move"},
    {W("Old #"), W(""), W(""), W("10.0.#.2"), 9101, 1, 0, 0, false, W("Old # (Tessaron)"), "move"},
    {W("Six #"), W(""), W("[2001:db8::#]"), W(""), 9100, 1, 0, 0, false, W("Six # (Tessaron)"), "move"},
    {W("Room #, left"), W(""), W("room#.example"), W("10.1.1.1"), 9100, 1, PRINTER_STATUS_PAUSED,
     PRINTER_ATTRIBUTE_SHARED | PRINTER_ATTRIBUTE_PUBLISHED, false, W("Room #_ left (Tessaron)"), "move"},
    {W("Pool #"), W("Pool #,LPT1:"), W("10.0.#.3"), W(""), 9100, 1, 0, 0, false, W(""), "it prints to several ports"},
    {W("LPR #"), W(""), W("10.0.#.4"), W(""), 515, 2, 0, 0, false, W(""), "it prints by LPR, this monitor only raw"},
    {W("Busy #"), W(""), W("10.0.#.5"), W(""), 9100, 1, 0, 0, true, W(""), "1 job is waiting (--with-jobs moves it)"},
    {W("Odd #"), W(""), W("10.0.#.6"), W(""), 0, 1, 0, 0, false, W(""), "its TCP port, 0, is not 1 to 65535"},
    {W("Slash #"), W(""), W("10.0.#.7/raw"), W(""), 9100, 1, 0, 0, false, W(""), "an address cannot contain slashes"},
    {W("Double #"), W(""), W("10.0.#.8"), W(""), 9100, 1, 0, 0, false, W(""),
     "several monitors have a port of this name"},
    {W("Going #"), W(""), W("10.0.#.9"), W(""), 9100, 1, PRINTER_STATUS_PENDING_DELETION, 0, false, W(""),
     "it is being deleted"},
    {W("Third #"), W(""), W("10.0.#.10"), W(""), 9100, 3, 0, 0, false, W(""), "its protocol, 3, is not known"},
};
constexpr int kRounds = 25;  // 300 queues

Text in_round(Text text, int round) {
    for (size_t at = 0; (at = text.find(W('#'), at)) != Text::npos;)
        text.replace(at, 1, host::to_text(std::to_string(round)));
    return text;
}

class Migrate : public Migration {
  protected:
    void add_kinds(int rounds) {
        for (int round = 0; round < rounds; ++round) {
            for (const Kind& kind : kinds) {
                const auto here = [round](const Text& text) { return in_round(text, round); };
                add_standard_port({here(kind.port), here(kind.host),
                                   kind.ip_address.empty() ? Text() : here(kind.ip_address), kind.number,
                                   kind.protocol});
                add_queue(here(W("Queue of ") + kind.port), here(kind.queues.empty() ? kind.port : kind.queues),
                          kind.status, kind.attributes);
                if (kind.has_job) spooler_sim::add_job(here(W("Queue of ") + kind.port), 1, W("document"), W("ann"));
                if (kind.said.starts_with("several")) spooler_sim::add_foreign_port(here(kind.port));
            }
        }
    }
    // What the answer says of a queue, or of a port without queues, the last cell of its row.
    static std::string said_of(const std::string& answer, const std::string& beginning) {
        for (const std::string& line : split_lines(answer)) {
            if (line.starts_with(beginning + "  ")) return line.substr(line.rfind("  ") + 2);
        }
        return "nothing";
    }
};

TEST_F(Migrate, MovesWhatItPlannedAndPutsItBack) {
    add_standard_port({W("Unused"), W("10.9.9.9"), W("")});
    add_kinds(kRounds);
    load();
    const World before = world();
    const std::string plan = run({}).out;
    EXPECT_EQ(said_of(plan, "-"), "left alone: no queue prints to it");
    EXPECT_NE(plan.find("\n100 to change, 201 left alone; nothing was changed yet: --apply does it\n"),
              std::string::npos);
    for (int round = 0; round < kRounds; ++round) {
        for (const Kind& kind : kinds) {
            const std::string queue = host::to_utf8(in_round(W("Queue of ") + kind.port, round));
            const std::string said = kind.to.empty() ? "left alone: " + kind.said : kind.said;
            EXPECT_TRUE(said_of(plan, queue).starts_with(said)) << queue << ": " << said_of(plan, queue);
        }
    }
    EXPECT_EQ(world(), before) << "a plan changes nothing";
    EXPECT_FALSE(fs::exists(path_of(journal())));

    const tsport::Answer applied = run({"--apply"});
    EXPECT_EQ(applied.status, tsport::done) << applied.err;
    World expected = before;
    Lines ports;
    for (int round = 0; round < kRounds; ++round) {
        for (const Kind& kind : kinds) {
            if (kind.to.empty()) continue;
            spooler_sim::Printer& queue = expected.queues.at(in_round(W("Queue of ") + kind.port, round));
            queue.port = in_round(kind.to, round);
            std::string address = host::to_utf8(in_round(kind.host.empty() ? kind.ip_address : kind.host, round));
            if (address[0] == '[') address = address.substr(1, address.size() - 2);
            ports.push_back(host::to_utf8(queue.port) + "|" + address + "|" + std::to_string(kind.number));
        }
    }
    std::sort(ports.begin(), ports.end());
    const World after = world();
    EXPECT_EQ(after.queues, expected.queues);
    EXPECT_EQ(own_ports(), ports);
    EXPECT_TRUE(std::ranges::includes(after.registry, before.registry)) << "the Standard TCP/IP ports stay";
    const tsport::Answer again = run({"--apply"});
    EXPECT_EQ(again.status, tsport::done);
    EXPECT_NE(again.out.find("\n0 to change, "), std::string::npos) << again.out;
    EXPECT_EQ(world(), after);

    EXPECT_EQ(run({"--undo", journal()}).status, tsport::done);
    EXPECT_EQ(world(), before);
    EXPECT_NE(run({"--undo", journal()}).out.find("0 undone"), std::string::npos);
}

// However a Standard TCP/IP port names it.
TEST_F(Migrate, DocumentsGetToTheSamePrintersByTheNewPorts) {
    test_printer::TcpPrinter printers[4];
    test_printer::TcpPrinter six{{.address = "::1"}};
    const auto number_of = [&](size_t i) { return DWORD{printers[i].port()}; };
    add_standard_port({W("Address"), W("127.0.0.1"), W(""), number_of(0)});
    add_standard_port({W("IP only"), W(""), W("127.0.0.1"), number_of(1)});
    add_standard_port({W("Name"), W("room.example"), W("10.0.0.1"), number_of(2)});
    add_standard_port({W("Comma, too"), W("127.0.0.1"), W(""), number_of(3)});
    std::vector<std::pair<Text, test_printer::TcpPrinter*>> queues = {{W("Address"), &printers[0]},
                                                                      {W("IP only"), &printers[1]},
                                                                      {W("Name"), &printers[2]},
                                                                      {W("Comma, too"), &printers[3]}};
    if (six.error().empty()) {  // this machine has the address
        add_standard_port({W("Brackets"), W("[::1]"), W(""), six.port()});
        queues.emplace_back(W("Brackets"), &six);
    }
    for (const auto& [name, printer] : queues) add_queue(name, name);
    load();
    set_host(W("room.example"), {"127.0.0.9", "127.0.0.1"});  // nobody listens at the first one
    ASSERT_EQ(run({"--apply", "--test", "--name", "{host}:{port} of {name}"}).status, tsport::done);
    for (const auto& [name, printer] : queues) {
        SCOPED_TRACE(host::to_utf8(name));
        spooler_sim::Printer queue;
        ASSERT_TRUE(spooler_sim::get_printer(name, queue));
        EXPECT_TRUE(queue.port.ends_with(name.substr(name.size() - 4)) && queue.port != name);
        host::Document page = document(name, host::memory_source("page for " + host::to_utf8(name)));
        page.port = queue.port;
        EXPECT_EQ(monitor.print_document(page).result, host::Result::printed);
        ASSERT_TRUE(printer->wait_for_ends(2));  // the first one was a test
        EXPECT_EQ(printer->connection(0).data + printer->connection(1).data, "page for " + host::to_utf8(name));
    }
    set_host(W("room.example"), {});
}

TEST_F(Migrate, OptionsChooseWhatIsMoved) {
    test_printer::TcpPrinter closed;
    closed.refuse();
    add_standard_port({W("A"), W("127.0.0.1"), W(""), closed.port()});
    add_standard_port({W("B"), W("10.0.0.2"), W("")});
    add_standard_port({W("Empty"), W("10.0.0.3"), W("")});
    for (const Text name : {W("One"), W("Two")}) add_queue(name, W("A"));
    add_queue(W("Busy"), W("B"));
    spooler_sim::add_job(W("Busy"), 1, W("document"), W("ann"));
    load();
    const World before = world();
    const struct {
        Lines options;
        int status;
        Lines moved;  // queues
        size_t ports;
    } rows[] = {{{}, tsport::done, {"One", "Two"}, 1},
                {{"--with-jobs"}, tsport::done, {"Busy", "One", "Two"}, 2},
                {{"--all"}, tsport::done, {"One", "Two"}, 2},
                {{"--only", "t*"}, tsport::done, {"Two"}, 1},
                {{"--only", "A"}, tsport::done, {"One", "Two"}, 1},
                {{"--only", "C"}, tsport::not_there, {}, 0},
                {{"--test"}, tsport::done, {}, 0},
                {{"--server", "\\\\BACK"}, tsport::bad_usage, {}, 0},
                {{"--store", "store"}, tsport::bad_usage, {}, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.options));
        Lines options = row.options;
        options.push_back("--apply");
        EXPECT_EQ(run(options).status, row.status);
        Lines moved;
        for (const auto& [name, queue] : world().queues) {
            if (queue.port != before.queues.at(name).port) moved.push_back(host::to_utf8(name));
        }
        EXPECT_EQ(moved, row.moved);
        EXPECT_EQ(own_ports().size(), row.ports);
        EXPECT_EQ(run({"--with-jobs", "--undo", journal()}).status, tsport::done);
        EXPECT_EQ(world(), before);
    }
}

// A spooler that keeps a list of its own learns of the new ports when it starts again.
TEST_F(Migrate, QueuesStayWhereTheyAreUntilTheSpoolerKnowsTheirPorts) {
    add_kinds(1);
    load();
    const World before = world();
    spooler_sim::set_strict_port_list(true);
    const tsport::Answer first = run({"--apply"});
    EXPECT_EQ(first.status, tsport::refused);
    EXPECT_NE(first.err.find("restart the spooler when nothing is printing"), std::string::npos) << first.err;
    EXPECT_NE(tsport::migrate::give_port(W("Queue of Old 0"), W("Old 0"), W("Old 0 (Tessaron)"), false), "");
    EXPECT_EQ(world().queues, before.queues);
    EXPECT_EQ(own_ports().size(), 4u);
    monitor.unload();
    load();
    EXPECT_EQ(run({"--apply"}).status, tsport::done);
    EXPECT_EQ(own_ports().size(), 4u) << "the ports that were there are used";
    EXPECT_NE(world().queues, before.queues);
    EXPECT_EQ(run({"--undo", journal()}).status, tsport::done);
    EXPECT_EQ(world(), before);
}

// What was changed in the registry by hand counts from the spooler's next start.
TEST_F(Migrate, APortThatLeadsElsewhereIsGivenToNoQueue) {
    add_standard_port({W("IP_1"), W("10.0.0.1"), W("")});
    add_queue(W("Office"), W("IP_1"));
    host::store_port(W("IP_1 (Tessaron)"), W("10.0.0.9"), 9100);
    load();
    host::store_port(W("IP_1 (Tessaron)"), W("10.0.0.1"), 9100);
    const World before = world();
    const tsport::Answer answer = run({"--apply"});
    EXPECT_EQ(answer.status, tsport::refused);
    EXPECT_EQ(said_of(answer.out, "Office"), "failed: \"IP_1 (Tessaron)\" leads to 10.0.0.9 port 9100");
    EXPECT_EQ(world(), before);
}

// Nothing tells whose it is.
TEST_F(Migrate, APartOfAPortFromBeforeStaysAsItIs) {
    add_standard_port({W("IP_1"), W("10.0.0.1"), W("")});
    add_queue(W("Office"), W("IP_1"));
    restore_value(host::to_utf8(contract::kMonitorKey) + "\\Ports\\IP_1 (Tessaron)|");
    load();
    const World before = world();
    EXPECT_EQ(run({"--apply"}).status, tsport::done);
    EXPECT_EQ(world().queues.at(W("Office")).port, W("IP_1 (Tessaron) 2"));
    EXPECT_EQ(run({"--undo", journal()}).status, tsport::done);
    EXPECT_EQ(world(), before);
}

TEST_F(Migrate, TheWayBackLeadsToThePortsOfTheSamePrinters) {
    add_kinds(1);
    load();
    const World before = world();
    ASSERT_EQ(run({"--apply"}).status, tsport::done);
    fs::remove(path_of(journal()));
    add_queue(W("New"), W("Old 0 (Tessaron)"));
    const tsport::Answer back = run({"--to-standard", "--apply"});
    EXPECT_EQ(back.status, tsport::done) << back.err;
    World now = world();
    EXPECT_EQ(now.queues.at(W("New")).port, W("Old 0"));
    now.queues.erase(W("New"));
    EXPECT_EQ(said_of(back.out, "Queue of Six 0"), "moved");
    EXPECT_EQ(now.queues, before.queues);
}

// Where a printer has no Standard TCP/IP port, it gets one; of a spooler with a list of its own too.
TEST_F(Migrate, TheWayBackAddsThePortsThatAreMissing) {
    const Text long_address = Text(49, W('h'));
    const std::pair<Text, Text> ports[] = {{W("Room"), W("10.7.7.7")},   {W("Wing"), W("10.7.7.7")},
                                           {W("Six"), W("2001:db8::7")}, {W("Long"), long_address},
                                           {W("There"), W("10.0.0.1")},  {W("Unused"), W("10.7.7.8")}};
    for (const auto& [name, address] : ports) {
        ASSERT_TRUE(host::store_port(name, address, name == W("Wing") ? 9101 : 9100));
        if (name != W("Unused")) add_queue(name, name);
    }
    add_standard_port({W("Former"), W("10.0.0.1"), W("")});
    add_standard_port({W("Other"), W("10.0.0.9"), W("")});
    add_queue(W("Second of Room"), W("Room"));
    for (const bool strict : {false, true}) {
        SCOPED_TRACE(strict);
        load();
        spooler_sim::set_strict_port_list(strict);
        const World before = world();
        const tsport::Answer applied = run({"--to-standard", "--apply"});
        EXPECT_EQ(applied.status, tsport::done) << applied.err;
        EXPECT_EQ(said_of(applied.out, "Long"), "left alone: its address is too long for a Standard TCP/IP port");
        const World after = world();
        const std::pair<Text, Text> expected[] = {
            {W("Room"), W("IP_10.7.7.7")},   {W("Second of Room"), W("IP_10.7.7.7")},
            {W("Wing"), W("IP_10.7.7.7 2")}, {W("Six"), W("IP_2001:db8::7")},
            {W("There"), W("Former")},       {W("Long"), W("Long")}};
        for (const auto& [queue, port] : expected) EXPECT_EQ(after.queues.at(queue).port, port);
        std::vector<tsport::migrate::StoredPort> standard;
        EXPECT_EQ(tsport::migrate::read_ports(tsport::migrate::Monitor::standard, standard), 0u);
        Lines stored;
        for (const auto& [port, reason, state] : standard) {
            EXPECT_EQ(reason, "");
            stored.push_back(host::to_utf8(port.name + W("|") + port.address) + "|" + std::to_string(port.number));
        }
        EXPECT_EQ(stored, (Lines{"Former|10.0.0.1|9100", "IP_10.7.7.7|10.7.7.7|9100", "IP_10.7.7.7 2|10.7.7.7|9101",
                                 "IP_2001:db8::7|2001:db8::7|9100", "Other|10.0.0.9|9100"}));
        EXPECT_NE(run({"--to-standard"}).out.find("\n0 to change, "), std::string::npos);
        EXPECT_EQ(run({"--undo", journal()}).status, tsport::done);
        EXPECT_EQ(world(), before);
        monitor.unload();
    }
}

TEST_F(Migrate, WhatChangedSinceStaysWhenTheRestIsUndone) {
    add_kinds(1);
    load();
    ASSERT_EQ(run({"--apply"}).status, tsport::done);
    give(W("Queue of Old 0"), W("LPT1:"));
    spooler_sim::remove_printer(W("Queue of Six 0"));
    add_queue(W("New"), W("IP_10.0.0.1 (Tessaron)"));
    const tsport::Answer undone = run({"--undo", journal()});
    EXPECT_EQ(undone.status, tsport::refused);
    EXPECT_EQ(said_of(undone.out, "Queue of Old 0"), "failed: it prints to \"LPT1:\" now");
    EXPECT_EQ(world().queues.at(W("Queue of Old 0")).port, W("LPT1:"));
    EXPECT_EQ(world().queues.at(W("Queue of IP_10.0.0.1")).port, W("IP_10.0.0.1"));
    EXPECT_EQ(own_ports(), Lines{"IP_10.0.0.1 (Tessaron)|10.0.0.1|9100"}) << "a queue prints to it";
}

// A journal whose last line was broken off; and what is none.
TEST_F(Migrate, AJournalIsReadHoweverItEnds) {
    add_kinds(1);
    load();
    const World before = world();
    ASSERT_EQ(run({"--apply"}).status, tsport::done);
    const std::string whole = read_file(path_of(journal()));
    const size_t last = whole.rfind('\n', whole.size() - 2) + 1;
    const World after = world();
    const Text queue = host::to_text("Queue of IP_10.0.0.1");
    for (size_t size = last; size < whole.size(); size += 7) {
        SCOPED_TRACE(size);
        ASSERT_TRUE(write_file(path_of(journal()), whole.substr(0, size)));
        for (const auto& [name, printer] : after.queues) {
            const bool begun = whole.substr(last).find("\"" + host::to_utf8(name) + "\"") == std::string::npos;
            give(name, begun ? printer.port : before.queues.at(name).port);
        }
        EXPECT_EQ(run({"--undo", journal()}).status, tsport::done);
        EXPECT_EQ(world(), before);
        ASSERT_EQ(run({"--apply"}).status, tsport::done);
        EXPECT_EQ(world(), after);
    }
    ASSERT_TRUE(write_file(path_of(journal()), "something else\n"));
    for (const Lines& options : {Lines{"--undo", journal()}, Lines{"--apply"}}) {
        const tsport::Answer answer = run(options);
        EXPECT_TRUE(answer.status == tsport::bad_usage || answer.out.find("\n0 to change") != std::string::npos);
    }
    EXPECT_EQ(read_file(path_of(journal())), "something else\n");
}

}  // namespace
}  // namespace test
