#include "tests/soak/port.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include "tests/soak/knock.h"
#include "tools/host/records.h"

namespace soak {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

bool ended_by_printer(const peer::Connection& connection) {
    return connection.end == peer::End::reset_here || connection.end == peer::End::closed_here;
}

bool is_beginning(const std::string& part, const std::string& whole) {
    return part.size() <= whole.size() && whole.compare(0, part.size(), part) == 0;
}

}  // namespace

Port::Port(Server& server, unsigned number, std::uint64_t seed)
    : server_(server),
      random_(seed),
      plain_name_("port-" + std::to_string(number)),
      name_(host::to_text(plain_name_)),
      printer_(new_printer(random_)) {}

// At a number that the system gives to nobody by itself: one that has stopped listening must get it back.
std::unique_ptr<peer::TcpPrinter> Port::new_printer(Random& random) {
    std::unique_ptr<peer::TcpPrinter> printer;
    for (int attempt = 0; attempt < 20 && (printer == nullptr || !printer->error().empty()); ++attempt) {
        peer::TcpPrinter::Options options;
        options.address = "0.0.0.0";
        options.port = static_cast<std::uint16_t>(10000 + below(random, 20000));
        printer = std::make_unique<peer::TcpPrinter>(options);
    }
    return printer;
}

const host::Text& Port::address(size_t index) {
    static const host::Text addresses[kAddresses] = {W("127.0.0.1"), W("127.0.0.2"), W("printer.example")};
    return addresses[index];
}

// -- One document ----------------------------------------------------------------------------------------------------

void Port::print_one() {
    const Plan plan = make_plan(random_);
    Pace pace;
    const host::Document document = lay_out(plan, pace);
    const unsigned away_before = away_;
    busy_since_ = Clock::now();
    const host::Outcome outcome = server_.monitor.print_document(document);
    busy_since_ = Clock::time_point();
    const bool away = away_before % 2 == 1 || away_ != away_before;

    if (plan.trouble == Trouble::refused) printer_->listen();
    printer_->behave(peer::Behaviour());
    Connections arrived;
    std::string wrong;
    Fate fate = Fate::failed;
    if (take_arrived(arrived)) {
        fate = judge(plan, outcome, arrived, away, wrong);
        if (wrong.empty() && fate == Fate::printed) wrong = judge_record(plan, pace, outcome.job_id);
    } else {
        wrong = "the printer did not see the end of its connections: " + printer_->error();
    }
    if (!wrong.empty()) {
        server_.account.wrong(
            plain_name_ + ", job " + std::to_string(outcome.job_id) + " of " + std::to_string(plan.data.size()) +
            " bytes, " + kKindNames[static_cast<size_t>(plan.kind)] + ", " +
            kTroubleNames[static_cast<size_t>(plan.trouble)] + " (" + plan.course.script + "): " + wrong);
    }
    clear_away(plan, outcome.job_id);
    server_.account.add(plan.kind, fate, outcome.restarts, plan.data.size());
}

host::Document Port::lay_out(const Plan& plan, Pace& pace) {
    host::Document document;
    document.port = name_;
    document.printer = name_;
    document.job_id = server_.monitor.next_job_id();
    document.source = host::memory_source(plan.data);
    document.write_size = plan.write_size;
    document.retry_pause_ms = 5;
    document.progress = [this, &plan, &pace](std::uint64_t bytes) {
        if (bytes <= pace.bytes) pace.writes = 0;  // the job has restarted
        pace.bytes = bytes;
        ++pace.writes;
        if (plan.trouble == Trouble::lost_felt) feel_loss(pace);
    };

    host::lay_out(server_.folder, plain_name_, document.job_id, plan.course);
    if (plan.trouble == Trouble::refused) printer_->refuse();
    if (plan.trouble == Trouble::lost_always)
        printer_->behave(plan.behaviour);
    else
        printer_->behave_once(plan.behaviour);
    return document;
}

// The connection is over before the second write and the third one. When the printer has closed it, the second may
// still be taken, and brings the news.
void Port::feel_loss(Pace& pace) {
    if (pace.felt == 2) return;
    ++pace.felt;
    printer_->wait_for_end_of(seen_);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

// What the service removes once it is done with a job. Work files are none of it, but for one: a helper that fails at
// its first command finds the job's file still open, so that the monitor cannot delete it before its next start.
void Port::clear_away(const Plan& plan, DWORD job_id) {
    host::clear_away(server_.folder, plain_name_, job_id, plan.course);
    const std::string input = "/input-" + plain_name_ + "-" + std::to_string(job_id) + ".dat";
    std::error_code ignored;
    const bool first_command = plan.helper_fails && plan.course.script.starts_with("on printername");
    if (first_command) fs::remove(server_.folder.spool("forceattr") + input, ignored);
    forget_arrived();
}

// -- At the printer --------------------------------------------------------------------------------------------------

// All connections that the monitor has made for the document. A printer accepts in order: once one of our own has come
// through, so have those before it.
bool Port::take_arrived(Connections& arrived) {
    const std::string own = "the soak's connection behind number " + std::to_string(seen_);
    if (!knock(printer_->port(), own)) return false;
    for (;;) {
        if (!printer_->wait_for_end_of(seen_, std::chrono::seconds(60))) return false;
        peer::Connection next = printer_->connection(seen_++);
        if (next.data == own) return true;
        arrived.push_back(std::move(next));
    }
}

// -- The verdict -----------------------------------------------------------------------------------------------------

Fate Port::judge(const Plan& plan, const host::Outcome& outcome, const Connections& arrived, bool away,
                 std::string& wrong) const {
    using host::Result;
    if (!outcome.identity_kept) wrong = "a call came back under another identity";
    // Whatever became of it: no other bytes than the document's, in their order, and never the whole of it twice.
    for (size_t i = 0; i < arrived.size(); ++i) {
        const std::string& expected = plan.is_forced() && i == 0 ? plan.rewritten : plan.data;
        if (!is_beginning(arrived[i].data, expected)) wrong = "bytes arrived that are not the document's";
        if (arrived[i].end == peer::End::reset_by_peer) wrong = "the monitor has reset a connection";
        const bool ended_well = arrived[i].end == peer::End::finished && arrived[i].bytes != 0;
        if (i + 1 < arrived.size() && ended_well) wrong = "restarted although the printer has lost nothing";
    }
    if (outcome.result == Result::printed) return judge_printed(plan, outcome, arrived, wrong);
    if (outcome.result == Result::refused || outcome.result == Result::dropped) {
        const Kind expected = outcome.result == Result::refused ? Kind::not_approved : Kind::check_delete;
        if (plan.kind != expected) wrong = "its outcome is " + outcome.words;
        if (!arrived.empty()) wrong = "refused, and yet connected";
        return Fate::refused;
    }
    if (away) return Fate::no_port;
    const bool has_reason =
        plan.trouble == Trouble::refused || plan.trouble == Trouble::lost_always || plan.helper_fails;
    if (!has_reason) wrong = "without a reason: " + outcome.words;
    return Fate::failed;
}

// The monitor learns of what a printer has not read only from its next send. That a printer has ended the connection
// after the last one is not its fault; that it is anything but the printer's doing would be.
Fate Port::judge_printed(const Plan& plan, const host::Outcome& outcome, const Connections& arrived,
                         std::string& wrong) const {
    // A connection for each course, and one before each restart that finds the printer back; forced attributes, which
    // are sent at the end of the document, ask for theirs at once.
    const size_t restarts = outcome.restarts;
    const size_t connections = plan.is_forced() && restarts != 0 ? 2 * restarts : 2 * restarts + 1;
    if (arrived.size() != connections) {
        wrong =
            std::to_string(arrived.size()) + " connections, not " + std::to_string(connections) + ": " + outcome.words;
    }
    if (arrived.empty()) return Fate::printed;
    const std::string& expected = plan.is_forced() && restarts == 0 ? plan.rewritten : plan.data;
    if (plan.helper_fails && restarts == 0) wrong = "reported as printed, and was not rewritten";
    if (arrived.back().data == expected) return Fate::printed;
    if (!ended_by_printer(arrived.back())) {
        wrong = "reported as printed, and " + std::to_string(arrived.back().bytes) + " bytes arrived, " +
                peer::end_in_words(arrived.back().end);
    }
    if (plan.trouble == Trouble::lost_felt) wrong = "every write was taken, and the printer had ended the connection";
    return Fate::lost;
}

// The progress record counts the sends of the course that printed.
std::string Port::judge_record(const Plan& plan, const Pace& pace, DWORD job_id) const {
    if (!plan.course.progress) return "";
    std::ifstream file(host::progress_record_path(server_.folder, plain_name_, job_id));
    std::stringstream found;
    found << file.rdbuf();
    const std::string expected = "write_port=" + std::to_string(pace.writes) + "\r\n";
    return found.str().find(expected) != std::string::npos ? "" : "not " + expected + " in " + found.str();
}

}  // namespace soak
