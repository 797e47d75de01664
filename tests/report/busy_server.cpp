// A print server for looking at reports: printers on which documents take all their courses, side by side, until the
// log has as many lines as asked for.
//
//   busy_server FOLDER LINES [paced]
//
// leaves FOLDER/providers/print/win/print-monitor.log. "paced": printers take their time, so that a picture of it shows
// more than a moment.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <list>
#include <random>
#include <thread>

#include "tools/host/monitor_host.h"
#include "tools/host/platform.h"
#include "tools/host/records.h"
#include "tools/peer/pattern.h"
#include "tools/peer/tcp_printer.h"

namespace {

namespace fs = std::filesystem;

// Names as users choose them, some of which would break a page that took them for markup.
const char* const names[] = {"Front desk",
                             "\xCE\x95\xCE\xBA\xCF\x84\xCF\x85\xCF\x80\xCF\x89\xCF\x84\xCE\xAE\xCF\x82",
                             "Marketing A3",
                             "Ward 7",
                             "Accounting <b>2nd floor</b> & co",
                             "Labels \"3\" <script>alert(1)</script>"};

enum class Course {
    not_approved,
    held,
    dropped,
    not_rewritten,
    check_failed,
    forced,
    lost,
    refused,
    direct,
    unknown_printer,
};
constexpr unsigned courses = 10;

struct Server {
    host::BaseFolder folder;
    host::MonitorHost monitor;
    std::list<peer::TcpPrinter> printers;
    std::uint64_t lines = 0;
    bool paced = false;
    std::atomic<std::uint64_t> written{0};  // lines, as near as it needs to be known
};

fs::path script_of(const Server& server, const std::string& printer) {
    return host::path_of(server.folder.base) / host::path_of(printer + ".script");
}

void answer_by(const Server& server, const std::string& printer, const std::string& script) {
    std::ofstream(script_of(server, printer)) << script;
}

// One document, as its course says, from its preparation to what has to be cleared away.
void print(Server& server, peer::TcpPrinter& printer, const std::string& name, Course course, std::mt19937& random) {
    const std::string record = host::settings_record_path(server.folder, name);
    host::Document document;
    document.port = host::to_text(name);
    document.printer = course == Course::unknown_printer ? W("Nobody's") : document.port;
    document.source = host::generated_source(random() % (server.paced ? 900'000 : 300'000) + 2000, random());
    document.write_size = 16384;
    document.job_id = server.monitor.next_job_id();
    document.not_approved = course == Course::not_approved;
    document.retry_pause_ms = 5;
    const bool checked = course == Course::held || course == Course::dropped || course == Course::check_failed;
    if (checked) host::write_settings_record(server.folder, name);
    if (course == Course::held) {
        const std::string time = std::to_string(server.paced ? 300 + random() % 900 : 5);
        answer_by(server, name,
                  "on startdoc WAIT \"" + std::string(random() % 2 == 0 ? "Door Open" : "No Paper") + "\" for " + time +
                      " ms then WAIT then OK\n");
    } else if (course == Course::dropped) {
        answer_by(server, name, "on startdoc DELETE\n");
    } else if (course == Course::check_failed) {
        answer_by(server, name, "on jobid ERROR\n");
    } else {
        answer_by(server, name, course == Course::not_rewritten ? "on forceattr ERROR\n" : "");
    }
    if (course == Course::forced || course == Course::not_rewritten) {
        host::write_force_attributes_records(server.folder, name, document.job_id);
    }
    if (course == Course::refused) printer.refuse();
    if (course == Course::lost) {
        peer::Behaviour broken;
        broken.reset_after = 200'000;
        printer.behave_once(broken);
        document.source = host::generated_source(4 << 20, random());
    }
    const host::Outcome outcome = server.monitor.print_document(document);
    if (course == Course::refused) printer.listen();
    std::error_code ignored;
    fs::remove(host::path_of(record), ignored);
    server.written += 60 + 3ull * outcome.writes;
}

void work(Server& server, peer::TcpPrinter& printer, size_t number) {
    std::mt19937 random(static_cast<unsigned>(number + 1));
    // Each course once somewhere, then mostly documents that print.
    for (unsigned i = 0; server.written < server.lines; ++i) {
        const auto drawn = static_cast<unsigned>(random() % 60);
        const bool first = i < 2;
        const unsigned course = first             ? static_cast<unsigned>(number * 2 + i) % courses
                                : drawn < courses ? drawn
                                                  : static_cast<unsigned>(Course::direct);
        print(server, printer, names[number], static_cast<Course>(course), random);
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
    Server server;
    server.lines = lines;
    server.paced = count > 3;
    std::string why;
    if (!host::set_up_base(arguments[1], {"Debug=on", "LogRotateNumber=1"}, server.folder, why) ||
        !host::install_helper(server.folder)) {
        std::fprintf(stderr, "busy_server: %s\n", why.c_str());
        return 1;
    }
    for (const char* const name : names) {
        peer::TcpPrinter& printer = server.printers.emplace_back();
        peer::Behaviour behaviour;
        behaviour.keep_bytes = 0;
        if (server.paced) {
            behaviour.bytes_per_second = 600'000 * server.printers.size();
            behaviour.receive_buffer = 16384;
            behaviour.close_delay = std::chrono::milliseconds(40 * server.printers.size());
        }
        printer.behave(behaviour);
        spooler_sim::add_printer(host::to_text(name));
        host::store_port(host::to_text(name), W("127.0.0.1"), printer.port());
    }
    host::MonitorHost::Options options;
    options.library = host::executable_folder() + "/" + host::monitor_file_name();
    options.folder = server.folder;
    if (!server.monitor.load(options, why)) {
        std::fprintf(stderr, "busy_server: %s\n", why.c_str());
        return 1;
    }
    std::list<std::thread> threads;
    size_t number = 0;
    for (peer::TcpPrinter& printer : server.printers) {
        threads.emplace_back([&server, &printer, number] { work(server, printer, number); });
        ++number;
    }
    for (std::thread& thread : threads) thread.join();
    server.monitor.unload();
    return 0;
}
