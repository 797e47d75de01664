// What a helper program can answer, read by read, through both exchanges.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "common/global.h"
#include "fuzz/support.h"
#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmon/helper_protocol.h"

namespace {

using tsmon::PortEntry;

constexpr const WCHAR* kPrinter = W("Office");
constexpr DWORD kJob = 7;
constexpr DWORD kJobBits = JOB_STATUS_PAPEROUT | JOB_STATUS_ERROR;
constexpr DWORD kPrinterBits = PRINTER_STATUS_ERROR | PRINTER_STATUS_PAPER_JAM | PRINTER_STATUS_PAPER_OUT |
                               PRINTER_STATUS_OUTPUT_BIN_FULL | PRINTER_STATUS_TONER_LOW | PRINTER_STATUS_NO_TONER |
                               PRINTER_STATUS_DOOR_OPEN;
constexpr DWORD kDeleting = JOB_STATUS_DELETING | JOB_STATUS_DELETED;
constexpr size_t kLineSize = 4096;     // of a command and of an answer, terminator included
constexpr char kEndOfAnswer = '\x1E';  // between two answers in the input
constexpr size_t kMostAnswers = 64;

struct Pipe {
    HANDLE read = nullptr;
    HANDLE write = nullptr;

    Pipe() {
        REQUIRE(CreatePipe(&read, &write, nullptr, 0));
        // One read returns what one write has written.
        const int fd = winapi::find_handle(write)->descriptor();
        REQUIRE(fcntl(fd, F_SETPIPE_SZ, static_cast<int>(2 * kMostAnswers * kLineSize)) > 0);
        REQUIRE(fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_DIRECT) == 0);
    }
    ~Pipe() {
        close(read);
        close(write);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    static void close(HANDLE& end) {
        if (end != nullptr) CloseHandle(end);
        end = nullptr;
    }
};

struct Exchange {
    std::string name;
    std::string value;
    bool has_value;
    std::vector<std::string> answers;  // each no longer than a read, none empty

    const char* value_text() const { return has_value ? value.c_str() : nullptr; }
    bool fits() const { return name.size() + (has_value ? value.size() + 1 : 0) + 2 <= kLineSize; }
};

Exchange take_exchange(fuzz::Input& input) {
    Exchange exchange;
    exchange.name = std::string(input.until('\0'));
    exchange.value = std::string(input.until('\0'));
    exchange.has_value = exchange.value != "-";
    while (!input.empty() && exchange.answers.size() < kMostAnswers) {
        std::string_view answer = input.until(kEndOfAnswer);
        if (!answer.empty()) exchange.answers.emplace_back(answer.substr(0, kLineSize - 1));
    }
    return exchange;
}

void say(const Pipe& from_helper, const Exchange& exchange) {
    for (const std::string& answer : exchange.answers) {
        DWORD written = 0;
        REQUIRE(WriteFile(from_helper.write, answer.data(), static_cast<DWORD>(answer.size()), &written, nullptr));
    }
}

struct Ending {
    bool succeeds = false;
    uint32_t delete_job = 0;
};

// How the full exchange ends when nothing happens meanwhile.
Ending expected_ending(const Exchange& exchange, bool job_is_deleting) {
    int retries = 12;
    if (!exchange.fits()) return {};
    for (const std::string& answer : exchange.answers) {
        if (answer.starts_with("OK")) return {true, 0};
        if (answer.starts_with("DELETE")) return {true, 1};
        if (answer.starts_with("ERROR")) return {};
        if (answer.starts_with("WAIT")) {
            if (job_is_deleting) return {};
        } else if (answer.back() == '\n' || retries-- == 0) {
            return {};
        }
    }
    return {};
}

void check_plain(const Exchange& exchange) {
    Pipe to_helper;
    Pipe from_helper;
    say(from_helper, exchange);
    Pipe::close(from_helper.write);
    const BOOL result =
        tsmon::SendHelperCommand(from_helper.read, to_helper.write, exchange.name.c_str(), exchange.value_text());
    const bool expected = exchange.fits() && !exchange.answers.empty() && exchange.answers[0].starts_with("OK");
    REQUIRE(result == (expected ? TRUE : FALSE));
}

// The job and the printer in the spooler, with the bits that others have set.
struct Status {
    DWORD job;
    DWORD printer;
};

void check_status(const Status& before, const Ending& ending) {
    const bool shown_by_provider = session_context.error_poll_method == 0;
    spooler_sim::Job job;
    for (const DWORD seen : spooler_sim::printer_status_seen(kPrinter)) {
        REQUIRE((seen & ~kPrinterBits) == (before.printer & ~kPrinterBits));
        REQUIRE(!shown_by_provider || seen == before.printer);
    }
    REQUIRE(spooler_sim::get_job(kPrinter, kJob, job));
    for (const DWORD seen : job.status_seen) {
        REQUIRE((seen & ~kJobBits) == (before.job & ~kJobBits));
        REQUIRE(!shown_by_provider || seen == before.job);
    }
    if (!ending.succeeds) return;
    // Nothing of ours is left.
    REQUIRE((job.status & ~before.job) == 0);
    REQUIRE((spooler_sim::printer_status(kPrinter) & ~before.printer) == 0);
}

void check_full(const Exchange& exchange, const Status& before, bool asks_for_deletion, bool helper_is_deaf) {
    spooler_sim::reset();
    spooler_sim::add_printer(kPrinter);
    spooler_sim::add_job(kPrinter, kJob, W("document"), W("user"));
    spooler_sim::set_job_status(kPrinter, kJob, before.job);
    spooler_sim::set_printer_status(kPrinter, before.printer);

    const fuzz::NothingLeftOver nothing;
    Pipe to_helper;
    Pipe from_helper;
    say(from_helper, exchange);
    Pipe::close(from_helper.write);
    if (helper_is_deaf) Pipe::close(to_helper.read);

    PortEntry port = {};
    port.job_id = kJob;
    port.hw_check.std_in_wr = to_helper.write;
    port.hw_check.std_out_rd = from_helper.read;
    fuzz::Text name = kPrinter;
    REQUIRE(OpenPrinterW(name.data(), &port.printer_handle, nullptr));

    uint32_t delete_job = 5;
    const BOOL result = tsmon::SendHelperCommandAndWait(&port, exchange.name.c_str(), exchange.value_text(),
                                                        asks_for_deletion ? &delete_job : nullptr);
    REQUIRE(ClosePrinter(port.printer_handle));

    const Ending ending = helper_is_deaf ? Ending{} : expected_ending(exchange, (before.job & kDeleting) != 0);
    REQUIRE(delete_job == 5 || (asks_for_deletion && delete_job <= 1));
    REQUIRE(result == (ending.succeeds ? TRUE : FALSE));
    REQUIRE(!asks_for_deletion || delete_job == ending.delete_job);
    check_status(before, ending);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    winapi::set_clock_speed(1e6);
    session_context.debug_logging = 1;
    fuzz::Input input(data, size);
    const uint8_t flags = input.byte();
    session_context.dev_logging = flags & 1;
    session_context.error_poll_method = (flags & 2) != 0 ? 0 : 2;
    input.byte();
    const DWORD job_status = input.word();
    const DWORD printer_status = static_cast<DWORD>(input.word()) << 4;
    const Exchange exchange = take_exchange(input);
    check_plain(exchange);
    check_full(exchange, {job_status, printer_status}, (flags & 4) == 0, (flags & 8) != 0);
    return 0;
}
