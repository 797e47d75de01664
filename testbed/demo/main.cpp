// Shows the monitor at work: every outcome of a document, with what reaches the printer and what the spooler
// shows.
#include <cstdio>
#include <vector>

#include "host/command_line/options.h"
#include "host/platform.h"
#include "testbed/demo/courses.h"

namespace {

const char usage[] = R"(demo - prints documents through the port monitor and checks what arrives

usage: demo [FILE...] [--printer HOST:PORT]

Without files all outcomes of a document are shown, one after the other: printed directly, not approved, held because
of an open door, dropped by the helper program, with forced attributes, and with a printer that is lost in the middle.
With files each of them is printed directly, and then the first one as a job that is not approved, which the monitor
has to keep from the printer. Without a printer one inside this program, on loopback, takes them, and its bytes are
compared with the document's; a real one cannot be lost at will, and what it got is for you to see.

  --printer HOST:PORT  a real printer
  --version            the version
  -h, --help, /?       this text

Exit status: 0 everything is as it should be, 1 something is not, 2 wrong command line or file, 3 the monitor cannot be
started.
)";

constexpr std::uint64_t binary_size = 64 << 20;

bool open_file(const std::string& path, demo::File& file, std::string& why) {
    file.name = host::utf8_of(host::path_of(path).filename());
    why = path + " cannot be read";
    return host::file_source(path, file.source);
}

bool show_files(demo::Stage& stage, const std::vector<demo::File>& files) {
    bool good = true;
    for (const demo::File& file : files) good = show(stage, demo::direct, file) && good;
    return show(stage, demo::not_approved, files.front()) && good;
}

bool show_all_courses(demo::Stage& stage, const demo::File& page) {
    bool good = show(stage, demo::direct, page);
    const bool inside = stage.printer() != nullptr;
    if (inside) good = show(stage, demo::direct, {"64 MiB of binary", host::generated_source(binary_size, 1)}) && good;
    for (const demo::Course* const course : {&demo::not_approved, &demo::held, &demo::dropped, &demo::forced}) {
        good = show(stage, *course, page) && good;
    }
    return inside ? show_lost_printer(stage) && good : good;
}

struct Options {
    command_line::Words files;
    std::string host;  // of a real printer
    DWORD port = 0;
};

int run(const Options& options) {
    std::vector<demo::File> files(options.files.empty() ? 1 : options.files.size());
    demo::Stage stage;
    std::string why;
    bool readable = true;
    for (size_t i = 0; readable && i < files.size(); ++i) {
        readable = open_file(options.files.empty() ? DEMO_PAGE : options.files[i], files[i], why);
    }
    if (!readable || !stage.open(options.host, options.port, why)) {
        std::fprintf(stderr, "demo: %s\n", why.c_str());
        return readable ? 3 : 2;
    }
    std::printf("library  %s\nprinter  \"%s\" at %s%s\n", stage.load_options.library.c_str(), demo::printer_name,
                stage.address().c_str(), stage.printer() != nullptr ? ", inside this program" : "");
    const bool good = options.files.empty() ? show_all_courses(stage, files.front()) : show_files(stage, files);
    std::printf("\n%s\n", good ? "Everything is as it should be." : "SOMETHING IS WRONG, see above.");
    return good ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    const host::Utf8Console utf8;
    Options options;
    std::string printer;
    const command_line::Program program = {"demo", usage, {command_line::text("--printer", "HOST:PORT", printer)}};
    int status = 0;
    const auto files = command_line::operands_of(program, host::program_arguments(count, arguments), status);
    if (!files) return status;
    options.files = *files;
    if (!printer.empty() && !host::parse_host_port(printer, options.host, options.port)) {
        return command_line::wrong_line(program, "--printer takes HOST:PORT, not \"" + printer + "\"");
    }
    return run(options);
}
