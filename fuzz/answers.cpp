// What a helper program can answer, read by read, through both exchanges.
#include <fcntl.h>

#include <vector>

#include "common/global.h"
#include "fuzz/support.h"
#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmon/helper_protocol.h"

namespace {

constexpr const WCHAR* kPrinter = W("Office");
constexpr DWORD kJob = 7;
constexpr size_t kLongestAnswer = 4095;  // of one read
constexpr char kEndOfAnswer = '\x1E';    // between two answers in the input
constexpr size_t kMostAnswers = 64;

struct Exchange {
    std::string name;
    std::string value;
    std::vector<std::string> answers;

    const char* value_text() const { return value != "-" ? value.c_str() : nullptr; }
};

Exchange take_exchange(fuzz::Input& input) {
    Exchange exchange;
    exchange.name = std::string(input.until('\0'));
    exchange.value = std::string(input.until('\0'));
    while (!input.empty() && exchange.answers.size() < kMostAnswers) {
        const std::string_view answer = input.until(kEndOfAnswer);
        if (!answer.empty()) exchange.answers.emplace_back(answer.substr(0, kLongestAnswer));
    }
    return exchange;
}

// The two pipes of a helper that has given its answers and is gone.
struct Helper {
    HANDLE command_read = nullptr;
    HANDLE command_write = nullptr;
    HANDLE answer_read = nullptr;

    Helper(const Exchange& exchange, bool is_deaf) {
        HANDLE answer_write = nullptr;
        REQUIRE(CreatePipe(&command_read, &command_write, nullptr, 0));
        REQUIRE(CreatePipe(&answer_read, &answer_write, nullptr, 0));
        // One read returns what one write has written.
        const int fd = winapi::find_handle(answer_write)->descriptor();
        REQUIRE(fcntl(fd, F_SETPIPE_SZ, static_cast<int>(2 * kMostAnswers * kLongestAnswer)) > 0);
        REQUIRE(fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_DIRECT) == 0);
        for (const std::string& answer : exchange.answers) {
            DWORD written = 0;
            REQUIRE(WriteFile(answer_write, answer.data(), static_cast<DWORD>(answer.size()), &written, nullptr));
        }
        CloseHandle(answer_write);
        if (is_deaf) CloseHandle(std::exchange(command_read, nullptr));
    }
    ~Helper() {
        if (command_read != nullptr) CloseHandle(command_read);
        CloseHandle(command_write);
        CloseHandle(answer_read);
    }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;
};

void check_full(const Exchange& exchange, DWORD job_status, DWORD printer_status, bool asks_for_deletion,
                bool is_deaf) {
    spooler_sim::reset();
    spooler_sim::add_printer(kPrinter);
    spooler_sim::add_job(kPrinter, kJob, W("document"), W("user"));
    spooler_sim::set_job_status(kPrinter, kJob, job_status);
    spooler_sim::set_printer_status(kPrinter, printer_status);

    const Helper helper(exchange, is_deaf);
    tsmon::PortEntry port = {};
    port.job_id = kJob;
    port.hw_check.std_in_wr = helper.command_write;
    port.hw_check.std_out_rd = helper.answer_read;
    fuzz::Text name = kPrinter;
    REQUIRE(OpenPrinterW(name.data(), &port.printer_handle, nullptr));
    uint32_t delete_job = 5;
    const BOOL result = tsmon::SendHelperCommandAndWait(&port, exchange.name.c_str(), exchange.value_text(),
                                                        asks_for_deletion ? &delete_job : nullptr);
    REQUIRE(ClosePrinter(port.printer_handle));

    REQUIRE(asks_for_deletion ? delete_job == 0 || (delete_job == 1 && result) : delete_job == 5);
    spooler_sim::Job job;
    REQUIRE(spooler_sim::get_job(kPrinter, kJob, job));
    for (const DWORD status : job.status_seen) REQUIRE(session_context.error_poll_method != 0 || status == job_status);
    if (!result) return;
    // Nothing of ours is left.
    REQUIRE((job.status & ~job_status) == 0);
    REQUIRE((spooler_sim::printer_status(kPrinter) & ~printer_status) == 0);
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
    const fuzz::NothingLeftOver nothing;
    {
        const Helper helper(exchange, false);
        tsmon::SendHelperCommand(helper.answer_read, helper.command_write, exchange.name.c_str(),
                                 exchange.value_text());
    }
    check_full(exchange, job_status, printer_status, (flags & 4) == 0, (flags & 8) != 0);
    return 0;
}
