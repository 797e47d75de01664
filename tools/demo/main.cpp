// Shows the monitor at work: documents go through it to a printer, one that is not approved does not.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "tools/demo/log_lines.h"
#include "tools/demo/progress.h"
#include "tools/host/monitor_host.h"
#include "tools/host/platform.h"
#include "tools/peer/tcp_printer.h"

namespace {

const char usage[] = R"(demo - prints documents through the port monitor and checks what arrives

usage: demo [FILE...] [--printer HOST:PORT]

Without files: a PostScript page and 64 MiB of binary data. Without a printer: one inside this program, on loopback,
whose bytes are compared with the document's. At the end comes a job that is not approved, which the monitor has to
keep from the printer. Exit status 0 only when everything is as it should be.
)";

constexpr std::uint64_t binary_size = 64 << 20;
const host::Text port_name = W("DemoPort");

struct Item {
    std::string name;
    host::Source source;
    host::Text printer;
    bool not_approved = false;
};

struct Options {
    std::vector<std::string> files;
    std::string printer;
    bool help = false;
};

// What one demonstration works with; `printer` is null when a real one is used.
struct Stage {
    std::unique_ptr<peer::TcpPrinter> printer;
    std::string host;
    DWORD port = 0;
    host::MonitorHost monitor;
    host::MonitorHost::Options setup;
    size_t connections = 0;
    bool good = true;

    std::string address() const { return host + ":" + std::to_string(port); }
};

bool parse_options(int count, char** arguments, Options& options, std::string& why) {
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "--help") {
            options.help = true;
        } else if (argument == "--printer" && i + 1 < count) {
            options.printer = arguments[++i];
        } else if (argument.rfind("--", 0) == 0) {
            why = "not understood: " + argument;
            return false;
        } else {
            options.files.push_back(argument);
        }
    }
    return true;
}

bool collect_items(const Options& options, std::vector<Item>& items, std::string& why) {
    std::vector<std::string> files = options.files;
    if (files.empty()) files.emplace_back(DEMO_PAGE);
    files.push_back(files.front());  // again, as the one that is not approved
    for (const std::string& file : files) {
        Item item;
        item.name = std::filesystem::path(file).filename().string();
        item.printer = W("Front desk");
        if (!host::file_source(file, item.source)) {
            why = file + " cannot be read";
            return false;
        }
        items.push_back(item);
    }
    items.back().name += ", not approved";
    items.back().not_approved = true;
    if (!options.files.empty()) return true;
    const Item binary{"64 MiB of binary", host::generated_source(binary_size, 1), W("Γραφείο 2"), false};
    items.insert(items.end() - 1, binary);
    return true;
}

std::string digest_of(const host::Source& source) {
    peer::Sha256 hash;
    std::vector<char> buffer(1 << 16);
    source.rewind();
    for (size_t count = 0; (count = source.read(buffer.data(), buffer.size())) != 0;) {
        hash.update(buffer.data(), count);
    }
    return hash.finish();
}

bool choose_printer(const Options& options, Stage& stage, std::string& why) {
    if (!options.printer.empty()) {
        why = "--printer takes HOST:PORT, not \"" + options.printer + "\"";
        return host::parse_host_port(options.printer, stage.host, stage.port);
    }
    stage.printer = std::make_unique<peer::TcpPrinter>();
    // Kept whole in memory, so that the digest is not computed while the sender waits.
    peer::Behaviour behaviour;
    behaviour.keep_bytes = 2 * binary_size;
    stage.printer->behave(behaviour);
    stage.host = stage.printer->address();
    stage.port = stage.printer->port();
    why = stage.printer->error();
    return why.empty();
}

bool load_monitor(const std::string& install, Stage& stage, std::string& why) {
    // The whole story shall be in one log file.
    const std::vector<std::string> conf = {"Debug=on", "LogRotateSizeKBytes=4000000"};
    stage.setup.library = host::executable_folder() + "/" + host::monitor_file_name();
    if (!host::set_up_base(install, conf, stage.setup.folder, why)) return false;
    // The helper program plays no part here; something in its place keeps its absence out of the log.
    std::ofstream(stage.setup.folder.base + "/ts-print-monitor.exe").flush();
    why = "the port cannot be stored in the registry";
    if (!host::store_port(port_name, host::to_text(stage.host), stage.port)) return false;
    return stage.monitor.load(stage.setup, why);
}

// What the embedded printer got of a document that had to reach it, in words; sets whether that is right.
std::string compare_arrival(Stage& stage, const std::string& digest, bool& right) {
    if (stage.printer == nullptr) {
        right = true;
        return "not visible from here";
    }
    right = stage.printer->wait_for_ends(stage.connections + 1, std::chrono::seconds(5)) &&
            stage.printer->connections() == stage.connections + 1;
    const peer::Connection arrived = stage.printer->connection(stage.connections);
    stage.connections = stage.printer->connections();
    right = right && arrived.end == peer::End::finished && arrived.sha256 == digest;
    return right ? "equal " + digest.substr(0, 12) : "NOT EQUAL, " + host::size_in_words(arrived.bytes);
}

std::string check_refusal(const Stage& stage, bool& right) {
    right = stage.printer == nullptr || stage.printer->connections() == stage.connections;
    if (stage.printer == nullptr) return "not visible from here";
    return right ? "nothing arrived" : "IT WAS REACHED";
}

void print_row(const std::string& job, const std::string& document, const std::string& address,
               const std::string& bytes, const std::string& time, const std::string& rate, const std::string& arrival,
               const std::string& outcome) {
    std::printf("%s %s %s %s %s %s %s %s\n", host::padded(job, 4).c_str(), host::padded(document, 23).c_str(),
                host::padded(address, 17).c_str(), host::padded(bytes, 10).c_str(), host::padded(time, 9).c_str(),
                host::padded(rate, 13).c_str(), host::padded(arrival, 23).c_str(), outcome.c_str());
    std::fflush(stdout);
}

void print_item(Stage& stage, const Item& item) {
    const std::string digest = digest_of(item.source);
    host::Document document;
    document.port = port_name;
    document.printer = item.printer;
    document.name = host::to_text(item.name);
    document.user = W("demo");
    document.not_approved = item.not_approved;
    document.source = item.source;
    host::Outcome outcome;
    {
        demo::Progress progress(item.source.size);
        document.progress = [&](std::uint64_t bytes) { progress.show(bytes); };
        outcome = stage.monitor.print_document(document);
    }
    bool right = false;
    const std::string arrival = item.not_approved ? check_refusal(stage, right) : compare_arrival(stage, digest, right);
    const host::Result expected = item.not_approved ? host::Result::refused : host::Result::printed;
    const bool reported =
        !outcome.job.commands.empty() && outcome.job.commands.back() == static_cast<DWORD>(JOB_CONTROL_SENT_TO_PRINTER);
    if (!right || outcome.result != expected || !reported || !outcome.identity_kept) stage.good = false;
    print_row(std::to_string(outcome.job_id), item.name, stage.address(), host::size_in_words(outcome.bytes),
              host::seconds_in_words(outcome.seconds),
              item.not_approved ? "-" : host::rate_in_words(outcome.bytes, outcome.seconds), arrival, outcome.words);
}

int run(const Options& options, const std::string& install) {
    Stage stage;
    std::vector<Item> items;
    std::string why;
    if (!collect_items(options, items, why) || !choose_printer(options, stage, why) ||
        !load_monitor(install, stage, why)) {
        std::fprintf(stderr, "demo: %s\n", why.c_str());
        return 1;
    }
    std::printf("library  %s\nprinter  %s%s\n\n", stage.setup.library.c_str(), stage.address().c_str(),
                stage.printer != nullptr ? ", inside this program" : "");
    print_row("job", "document", "printer", "bytes", "time", "throughput", "SHA-256 at the printer", "outcome");
    for (const Item& item : items) {
        spooler_sim::add_printer(item.printer);
        print_item(stage, item);
    }
    stage.monitor.unload();
    std::printf("\nfrom print-monitor.log:\n");
    for (const std::string& line : demo::telling_lines(stage.setup.folder.log())) {
        std::printf("  %s\n", line.c_str());
    }
    std::printf("\n%s\n", stage.good ? "Everything is as it should be." : "SOMETHING IS WRONG, see above.");
    return stage.good ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    Options options;
    std::string why;
    if (!parse_options(count, arguments, options, why)) {
        std::fprintf(stderr, "demo: %s\n%s", why.c_str(), usage);
        return 2;
    }
    if (options.help) {
        std::fputs(usage, stdout);
        return 0;
    }
    const std::string install = host::make_temporary_folder();
    const int status = run(options, install);
    std::error_code error;
    if (!install.empty()) std::filesystem::remove_all(install, error);
    return status;
}
