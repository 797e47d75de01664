// A print server for looking at reports: printers on which documents have all their outcomes, side by side, until the
// log has as many lines as asked for.
//
//   busy_server FOLDER LINES [paced]
//
// leaves FOLDER/providers/print/win/print-monitor.log. "paced": printers take their time, so that a picture of it shows
// more than a moment.
#include <atomic>
#include <cstdio>
#include <iterator>
#include <random>

#include "testbed/print_server.h"
#include "testbed/records.h"

namespace {

// Names as users choose them, some of which would break a page that took them for markup.
const char* const names[] = {"Front desk",
                             "\xCE\x95\xCE\xBA\xCF\x84\xCF\x85\xCF\x80\xCF\x89\xCF\x84\xCE\xAE\xCF\x82",
                             "Marketing A3",
                             "Ward 7",
                             "Accounting <b>2nd floor</b> & co",
                             "Labels \"3\" <script>alert(1)</script>"};

// What becomes of a document: what the service has laid out for it, and what printer and spooler do.
struct Kind {
    testbed::DocumentPlan plan;
    bool is_refused = false;
    bool is_lost = false;  // in the middle
    bool has_queue = true;
};
const Kind kinds[] = {
    {.plan = {}},
    {.plan = {.not_approved = true}},
    {.plan = {.checked = true, .script = "on startdoc WAIT \"Door Open\" for 400 ms then WAIT then OK\n"}},
    {.plan = {.checked = true, .script = "on startdoc WAIT \"No Paper\" for 400 ms then WAIT then OK\n"}},
    {.plan = {.checked = true, .script = "on startdoc DELETE\n"}},
    {.plan = {.checked = true, .script = "on jobid ERROR\n"}},
    {.plan = {.forced = true}},
    {.plan = {.forced = true, .script = "on forceattr ERROR\n"}},
    {.plan = {}, .is_refused = true},
    {.plan = {}, .is_lost = true},
    {.plan = {}, .has_queue = false},
};

struct Server : testbed::PrintServer {
    using PrintServer::PrintServer;
    std::uint64_t lines = 0;
    bool paced = false;
    std::atomic<std::uint64_t> written{0};  // lines, as near as it needs to be known
};

// One document, from its preparation to what has to be cleared away.
void print(Server& server, test_printer::TcpPrinter& printer, const std::string& name, const Kind& kind,
           std::mt19937& random) {
    host::Document document = testbed::PrintServer::document(
        host::to_text(name), host::generated_source(random() % (server.paced ? 900'000 : 300'000) + 2000, random()),
        16384);
    if (!kind.has_queue) document.printer = W("Nobody's");
    document.job_id = server.monitor.next_job_id();
    document.not_approved = kind.plan.not_approved;
    testbed::lay_out(server.folder, name, document.job_id, kind.plan);
    if (kind.is_refused) printer.refuse();
    if (kind.is_lost) {
        test_printer::Behaviour broken;
        broken.reset_after = 200'000;
        printer.behave_once(broken);
        document.source = host::generated_source(4 << 20, random());
    }
    const host::Outcome outcome = server.monitor.print_document(document);
    if (kind.is_refused) printer.listen();
    testbed::clear_away(server.folder, name, document.job_id, kind.plan);
    server.written += 60 + 3ull * outcome.writes;
}

void work(Server& server, test_printer::TcpPrinter& printer, size_t number) {
    std::mt19937 random(static_cast<unsigned>(number + 1));
    // Each kind once somewhere, then mostly documents that print.
    for (unsigned i = 0; server.written < server.lines; ++i) {
        const size_t drawn = i < 2 ? number * 2 + i : random() % 60;
        print(server, printer, names[number], kinds[drawn < std::size(kinds) ? drawn : 0], random);
        if (server.paced) std::this_thread::sleep_for(std::chrono::milliseconds(random() % 500));
    }
}

}  // namespace

int main(int count, char** arguments) {
    std::uint64_t lines = 0;
    if (count < 3 || !host::parse_number(arguments[2], 1, 100'000'000, lines)) {
        std::fputs("usage: busy_server FOLDER LINES [paced]\n", stderr);
        return 2;
    }
    Server server(arguments[1]);
    server.lines = lines;
    server.paced = count > 3;
    std::string why;
    bool ready = server.set_up({"Debug=on", "LogRotateNumber=1"}, why) && testbed::install_helper(server.folder);
    std::vector<test_printer::TcpPrinter*> printers;
    for (const char* const name : names) {
        printers.push_back(&server.add_printer(host::to_text(name)));
        test_printer::Behaviour behaviour;
        behaviour.keep_bytes = 0;
        if (server.paced) {
            behaviour.bytes_per_second = 600'000 * printers.size();
            behaviour.receive_buffer = 16384;
            behaviour.close_delay = std::chrono::milliseconds(40 * printers.size());
        }
        printers.back()->behave(behaviour);
    }
    ready = ready && server.try_load(why);
    if (!ready) {
        std::fprintf(stderr, "busy_server: %s\n", why.c_str());
        return 1;
    }
    std::vector<std::thread> threads;
    for (size_t i = 0; i < printers.size(); ++i) threads.emplace_back([&, i] { work(server, *printers[i], i); });
    for (std::thread& thread : threads) thread.join();
    return 0;
}
