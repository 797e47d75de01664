// A TCP printer as a program: takes raw documents, stores what arrives, and misbehaves on request.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>

#include "host/command_line/options.h"
#include "host/platform.h"
#include "host/text.h"
#include "testbed/test_printer/tcp_printer.h"

namespace {

const char usage[] = R"(fakeprinter - a raw TCP printer for the bench

usage: fakeprinter [options]

  --port N           the TCP port (default 9100; 0 lets the system choose)
  --address A        the numeric address to listen on, of IPv4 or IPv6 (default 127.0.0.1)
  --store DIR        keeps each connection's bytes as DIR/connection-N.bin
  --connections N    ends after N connections (default: runs until it is stopped)
  --slow BYTES       reads at most that many bytes a second
  --buffer BYTES     the system's receive buffer; a small one makes --slow block the sender earlier
  --reset-after N    resets each connection after N bytes
  --close-after N    closes each connection after N bytes, early
  --stall-after N    reads nothing more after N bytes
  --first N          applies the above to the first N connections only (default: all)
  --never-close      leaves its side of the connection open
  --close-delay MS   closes its side that much later
  --answer TEXT      sends TEXT back at the end of a document
  --refuse           holds the port and refuses every connection
  --version          the version
  -h, --help, /?     this text

examples:
  fakeprinter --port 9100 --store /tmp/printed
  fakeprinter --port 9100 --reset-after 100000 --first 1
  fakeprinter --port 9100 --slow 500000 --buffer 65536

For every connection it prints how it ended and the number of its bytes.

Exit status: 0 all connections that were asked for have come, 2 wrong command line, 3 the address cannot be used.
)";

struct Options {
    std::uint64_t port = 9100;
    std::string address = "127.0.0.1";
    std::string store;
    std::uint64_t connections = 0;
    std::uint64_t first = 0;
    std::uint64_t buffer = 0;
    std::uint64_t close_delay = 0;
    bool refuse = false;
    test_printer::Behaviour behaviour;
};

command_line::Options options_of(Options& options) {
    using namespace command_line;
    constexpr std::uint64_t most = 1ULL << 40;
    test_printer::Behaviour& behaviour = options.behaviour;
    return {number("--port", 0, 65535, options.port),
            text("--address", "A", options.address),
            text("--store", "DIR", options.store),
            number("--connections", 0, most, options.connections),
            number("--slow", 0, most, behaviour.bytes_per_second),
            number("--buffer", 0, 1 << 30, options.buffer),
            number("--reset-after", 0, most, behaviour.reset_after),
            number("--close-after", 0, most, behaviour.close_after),
            number("--stall-after", 0, most, behaviour.stall_after),
            number("--first", 0, most, options.first),
            flag("--never-close", behaviour.never_close),
            number("--close-delay", 0, most, options.close_delay),
            text("--answer", "TEXT", behaviour.answer),
            flag("--refuse", options.refuse)};
}

// The files of connections that are under way.
struct Store {
    std::string folder;
    std::mutex mutex;
    std::map<size_t, std::ofstream> files;

    void open(size_t connection) {
        if (folder.empty() || files.count(connection) != 0) return;
        const std::string name = "connection-" + std::to_string(connection + 1) + ".bin";
        files[connection].open(host::path_of(folder) / name, std::ios::binary);
    }
    void append(size_t connection, const char* data, size_t size) {
        if (folder.empty()) return;
        const std::lock_guard lock(mutex);
        open(connection);
        files[connection].write(data, static_cast<std::streamsize>(size));
    }
    void end(size_t connection, const test_printer::Connection& record) {
        const std::lock_guard lock(mutex);
        open(connection);
        files.erase(connection);
        const double seconds = std::chrono::duration<double>(record.ended - record.started).count();
        std::printf("connection %zu  %llu bytes  %s  %s\n", connection + 1,
                    static_cast<unsigned long long>(record.bytes), host::seconds_to_text(seconds).c_str(),
                    test_printer::end_to_text(record.end));
        std::fflush(stdout);
    }
};

int run(const Options& options) {
    Store store;
    store.folder = options.store;
    std::error_code error;
    if (!options.store.empty()) std::filesystem::create_directories(host::path_of(options.store), error);
    using test_printer::Connection;
    test_printer::TcpPrinter printer(
        {.address = options.address,
         .port = static_cast<std::uint16_t>(options.port),
         .listening = false,
         .on_data = [&](size_t connection, const char* data, size_t size) { store.append(connection, data, size); },
         .on_end = [&](size_t connection, const Connection& record) { store.end(connection, record); }});
    if (error || !printer.error().empty()) {
        std::fprintf(stderr, "fakeprinter: %s\n", error ? error.message().c_str() : printer.error().c_str());
        return 3;
    }
    printer.behave(options.first == 0 ? options.behaviour : test_printer::Behaviour{.keep_bytes = 0});
    for (std::uint64_t i = 0; i < options.first; ++i) printer.behave_once(options.behaviour);
    if (!options.refuse) printer.listen();
    std::printf("%s %s:%u\n", options.refuse ? "refusing on" : "listening on", printer.address().c_str(),
                printer.port());
    std::fflush(stdout);
    const size_t last = options.connections == 0 ? static_cast<size_t>(-1) : options.connections;
    while (!printer.wait_for_ends(last, std::chrono::hours(1))) {
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    const host::Utf8Console utf8;
    Options options;
    const command_line::Program program = {"fakeprinter", usage, options_of(options)};
    int status = 0;
    const auto operands = command_line::operands_of(program, host::program_arguments(count, arguments), status);
    if (!operands) return status;
    if (!operands->empty()) return command_line::wrong_line(program, "it takes no operands, but " + operands->front());
    options.behaviour.keep_bytes = 0;
    options.behaviour.receive_buffer = static_cast<int>(options.buffer);
    options.behaviour.close_delay = std::chrono::milliseconds(options.close_delay);
    return run(options);
}
