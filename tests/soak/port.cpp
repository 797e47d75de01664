#include "tests/soak/soak.h"

#include <utility>

namespace soak {

namespace net = test_printer::net;

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
    if (outcome.result == host::Result::failed || outcome.result == host::Result::not_started) ++server_.failed;
}

// -- At the printer --------------------------------------------------------------------------------------------------

// All connections that the monitor has made for the document. A printer accepts in order: once one of our own has come
// through, so have those before it.
bool Port::take_arrived(Connections& arrived) {
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

// -- The verdict -----------------------------------------------------------------------------------------------------

std::string Port::judge(const Plan& plan, const host::Outcome& outcome, const Connections& arrived, bool away) const {
    using host::Result;
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

// The monitor learns of what a printer has not read only from its next send. That a printer has ended the connection
// after the last one is not its fault; that it is anything but the printer's doing would be.
std::string Port::judge_printed(const Plan& plan, const host::Outcome& outcome, const Connections& arrived) const {
    // A connection for each run, and one before each restart that finds the printer back; forced attributes, which
    // are sent at the end of the document, ask for theirs at once.
    const size_t restarts = outcome.restarts;
    const size_t connections = plan.document.forced && restarts != 0 ? 2 * restarts : 2 * restarts + 1;
    if (arrived.size() != connections) {
        return std::to_string(arrived.size()) + " connections, not " + std::to_string(connections) + ": " +
               outcome.message;
    }
    if (restarts == 0 && plan.result != host::Result::printed) return "reported as printed, and should not be";
    const test_printer::Connection& last = arrived.back();
    const bool lost_there = last.end == test_printer::End::reset_here || last.end == test_printer::End::closed_here;
    if (lost_there || last.data == (restarts == 0 ? plan.first : plan.data)) return "";
    return "reported as printed, and " + std::to_string(last.bytes) + " bytes arrived, " +
           test_printer::end_to_text(last.end);
}

}  // namespace soak
