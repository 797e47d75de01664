#include "tests/soak/soak.h"

#include <algorithm>
#include <utility>

#include "testbed/test_printer/pattern.h"

namespace soak {
namespace {

namespace net = test_printer::net;
using Connections = std::vector<test_printer::Connection>;
using host::Result;

// -- Jobs ------------------------------------------------------------------------------------------------------------

// One job: its bytes, what is prepared for it, and the failures of its printer. All of it comes from one random number
// generator, so that a seed repeats it.
struct Plan {
    testbed::DocumentPlan document;  // what is prepared for it, the helper's script included
    Result result;                   // unless a printer or an administrator is in the way
    std::string data;
    std::string first;  // what the first run sends: the data, or what the helper makes of it; nothing when that fails
    DWORD write_size = 0;
    test_printer::Behaviour behaviour;  // of the printer, on the first connection ...
    bool is_lost_always = false;        // ... or on all of them, none of which gets through
};

struct Choice {
    unsigned of_hundred;
    testbed::DocumentPlan document;
    Result result = Result::printed;
};

constexpr size_t kWritten = 100000;  // bytes of the script with "write"
constexpr std::uint64_t kLost = 14;  // of a hundred documents

const Choice kChoices[] = {
    {56, {}},
    {20, {.progress = true}},
    {10, {.not_approved = true}, Result::refused},
    // The hardware is checked: the helper agrees, holds the job, drops it, fails, or ends early.
    {1, {.checked = true}},
    {1, {.checked = true, .script = "on startdoc WAIT \"Door Open\" for 30 ms then WAIT \"No Paper\" then OK"}},
    {1, {.checked = true, .script = "on wait WAIT then WAIT \"Jammed, Offline\" then OK"}},
    {1, {.checked = true, .script = "on startdoc DELETE"}, Result::dropped},
    {1, {.checked = true, .script = "on startdoc WAIT \"Job Suspended\" then DELETE"}, Result::dropped},
    {1, {.checked = true, .script = "on printeraddress ERROR"}},
    {1, {.checked = true, .script = "on jobid say \"O\" then exit"}},
    {1, {.checked = true, .script = "on enddoc WAIT \"Offline\" then exit"}},
    {1, {.checked = true, .script = "on startdoc close output"}},
    // The helper rewrites the job, or ends while it should.
    {1, {.forced = true, .script = "on forceattr OK then rewrite"}},
    {2, {.forced = true, .script = "on forceattr OK then write 100000 B then exit"}},
    {1, {.forced = true, .script = "on jobid exit"}, Result::failed},
    {1, {.forced = true, .script = "on forceattr exit"}, Result::failed},
};

const Choice& draw(Random& random) {
    std::uint64_t number = below(random, 100);
    const Choice* choice = kChoices;
    for (; number >= choice->of_hundred; ++choice) number -= choice->of_hundred;
    return *choice;
}

void plan_trouble(Random& random, std::uint64_t trouble, Plan& plan) {
    test_printer::Behaviour& behaviour = plan.behaviour;
    const std::uint64_t place = below(random, plan.data.size() + 1);
    if (trouble < kLost) {
        (below(random, 2) == 0 ? behaviour.reset_after : behaviour.close_after) = place;
        // With little room between monitor and printer, what is lost is felt before the end. With less than this, a
        // window that is smaller than this machine's packets makes every one of them wait.
        if (below(random, 2) == 0) behaviour.receive_buffer = 256 << 10;
        plan.is_lost_always = trouble < 2;
    } else if (trouble < 18) {
        behaviour.stall_after = place;
        behaviour.stall_for = std::chrono::milliseconds(1 + below(random, 400));
    } else if (trouble < 19) {
        // Later than the monitor waits for it.
        behaviour.close_delay = std::chrono::milliseconds(1000 + below(random, 500));
    }
}

Plan make_plan(Random& random) {
    static constexpr size_t kLargest[] = {2 << 10, 2 << 10, 2 << 10, 64 << 10, 64 << 10, 1 << 20};
    Plan plan;
    const Choice& choice = draw(random);
    plan.document = choice.document;
    plan.result = choice.result;
    const std::uint64_t trouble = below(random, 100);
    // A small document has been sent before its loss is felt.
    const size_t largest = trouble < kLost ? 1 << 20 : kLargest[below(random, std::size(kLargest))];
    plan.data.resize(1 + below(random, largest));
    std::generate(plan.data.begin(), plan.data.end(), [&random] { return static_cast<char>(random()); });
    if (plan.result != Result::failed) plan.first = plan.data;
    if (plan.document.script.find("write ") != std::string::npos) plan.first = test_printer::pattern(kWritten);
    // Each write logs a dozen lines, for which 63 other threads are waiting too.
    plan.write_size = static_cast<DWORD>(std::max(size_t{512} << below(random, 8), plan.data.size() / 100));
    plan_trouble(random, trouble, plan);
    return plan;
}

// -- The verdict -----------------------------------------------------------------------------------------------------

// The monitor learns of what a printer has not read only from its next send. That a printer has ended the connection
// after the last one is not its fault; that it is anything but the printer's doing would be.
std::string judge_printed(const Plan& plan, const host::Outcome& outcome, const Connections& arrived) {
    // A connection for each run, and one before each restart that finds the printer back; forced attributes, which
    // are sent at the end of the document, ask for theirs at once.
    const size_t restarts = outcome.restarts;
    const size_t connections = plan.document.forced && restarts != 0 ? 2 * restarts : 2 * restarts + 1;
    if (arrived.size() != connections) {
        return std::to_string(arrived.size()) + " connections, not " + std::to_string(connections) + ": " +
               outcome.message;
    }
    if (restarts == 0 && plan.result != Result::printed) return "reported as printed, and should not be";
    const test_printer::Connection& last = arrived.back();
    const bool lost_there = last.end == test_printer::End::reset_here || last.end == test_printer::End::closed_here;
    if (lost_there || last.data == (restarts == 0 ? plan.first : plan.data)) return "";
    return "reported as printed, and " + std::to_string(last.bytes) + " bytes arrived, " +
           test_printer::end_to_text(last.end);
}

// What must not be; empty when all is as it has to be.
std::string judge(const Plan& plan, const host::Outcome& outcome, const Connections& arrived, bool away) {
    if (!outcome.identity_kept) return "a call came back under another identity";
    // Whatever became of it: no other bytes than the document's, in their order, and never the whole of it twice.
    for (size_t i = 0; i < arrived.size(); ++i) {
        const std::string& expected = i == 0 ? plan.first : plan.data;
        if (!expected.starts_with(arrived[i].data)) return "bytes arrived that are not the document's";
        if (arrived[i].end == test_printer::End::reset_by_peer) return "the monitor has reset a connection";
        const bool ended_well = arrived[i].end == test_printer::End::finished && arrived[i].bytes != 0;
        if (i + 1 < arrived.size() && ended_well) return "restarted although the printer has lost nothing";
    }
    if (outcome.result == Result::printed) return judge_printed(plan, outcome, arrived);
    if (outcome.result == Result::refused || outcome.result == Result::dropped) {
        if (outcome.result != plan.result) return "its outcome is " + outcome.message;
        return arrived.empty() ? "" : "refused, and yet connected";
    }
    const bool has_reason = away || plan.is_lost_always || plan.result == Result::failed;
    return has_reason ? "" : "without a reason: " + outcome.message;
}

}  // namespace

// -- A port ----------------------------------------------------------------------------------------------------------

Port::Port(Server& server, unsigned number, std::uint64_t seed)
    : server_(server),
      random_(seed),
      plain_name_("port-" + std::to_string(number)),
      name_(host::to_text(plain_name_)),
      printer_(server.add_printer(name_)) {}

host::PortConfig Port::config(size_t address) const {
    static constexpr LPCWSTR kNames[kAddresses] = {W("127.0.0.1"), W("office.example"), W("printer.example")};
    return host::port_config(name_, kNames[address], printer_.port());
}

// -- One document ----------------------------------------------------------------------------------------------------

void Port::print_one() {
    const Plan plan = make_plan(random_);
    host::Document document = testbed::PrintServer::document(name_, host::memory_source(plan.data), plan.write_size);
    document.job_id = server_.monitor.next_job_id();
    testbed::lay_out(server_.folder, plain_name_, document.job_id, plan.document);
    if (plan.is_lost_always)
        printer_.behave(plan.behaviour);
    else
        printer_.behave_once(plan.behaviour);

    const unsigned before = renewals;
    const host::Outcome outcome = server_.monitor.print_document(document);
    const bool away = before % 2 == 1 || renewals != before;
    printer_.behave(test_printer::Behaviour());

    Connections arrived;
    const std::string wrong = take_arrived(arrived) ? judge(plan, outcome, arrived, away)
                                                    : "the printer did not see the end of its connections";
    if (!wrong.empty()) {
        server_.wrong(plain_name_ + ", job " + std::to_string(outcome.job_id) + " of " +
                      std::to_string(plan.data.size()) + " bytes (" + plan.document.script + "): " + wrong);
    }
    testbed::clear_away(server_.folder, plain_name_, document.job_id, plan.document);
    forget_arrived();
    ++server_.documents;
    server_.restarts += outcome.restarts;
    if (outcome.result == Result::failed || outcome.result == Result::not_started) ++server_.failed;
}

// -- At the printer --------------------------------------------------------------------------------------------------

// All connections that the monitor has made for the document. A printer accepts in order: once one of our own has come
// through, so have those before it.
bool Port::take_arrived(std::vector<test_printer::Connection>& arrived) {
    const std::string own = "the soak's connection behind number " + std::to_string(seen_);
    if (!knock(own)) return false;
    while (printer_.wait_for_end_of(seen_)) {
        test_printer::Connection next = printer_.connection(seen_++);
        if (next.data == own) return true;
        arrived.push_back(std::move(next));
    }
    return false;
}

bool Port::knock(const std::string& data) const {
    const net::Socket socket = net::connect_to(printer_.address(), printer_.port());
    const bool sent = net::send_all(socket, data.data(), data.size());
    net::close_socket(socket);
    return sent;
}

}  // namespace soak
