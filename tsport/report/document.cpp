#include "tsport/report/document.h"

#include <bit>

namespace tsport::report {
namespace {

constexpr Info outcome_infos[] = {
    {"printed", "printed"}, {"late", "printed late"},           {"refused", "refused"},
    {"dropped", "dropped"}, {"not-started", "failed to start"}, {"restarted", "lost and restarted"},
    {"lost", "lost"},       {"under-way", "under way"},         {"unknown", "end unknown"},
};
static_assert(std::size(outcome_infos) == outcome_count);

constexpr Info cause_infos[] = {
    {"port.unknown", "the monitor has no port of that name",
     "compare the queue's port with `tsport list`; add the port, or give the queue another one"},
    {"spooler.bad-name", "the printer's name could not be parsed",
     "the spooler gave no name or was out of memory: restart the spooler"},
    {"spooler.no-printer", "the spooler refused to open the printer",
     "the queue was renamed or deleted while its jobs waited, or the spooler's account may not open it"},
    {"job.not-approved", "the job was not approved and was resumed past the Print Provider",
     "release jobs in the Print Provider, not in the queue; ask who resumed it there"},
    {"helper.dropped", "the helper ordered the job dropped",
     "look in the Print Provider for the reason it dropped the job"},
    {"printer.unknown-address", "the printer's address could not be looked up",
     "check the spelling with `tsport list`, then the name server; a numeric address needs none"},
    {"printer.refused", "the printer refused the connection",
     "check the port number, that raw printing is on at the device, and that no other server holds its only "
     "connection"},
    {"printer.timed-out", "the printer did not answer",
     "the device is off, has another address, or a firewall drops the packets: try `tsport test`"},
    {"printer.unreachable", "the printer could not be reached",
     "try `tsport test`; with Debug=on the log says why each address failed"},
    {"printer.reset", "the printer closed the connection in the middle of the document",
     "the device was switched off or gave the job up: look at its own log; a job it cannot read does this each time"},
    {"printer.lost", "the connection broke in the middle of the document",
     "look for a network fault between server and device at that time"},
    {"printer.stalled", "the printer takes no data for 20 seconds and more",
     "look at the device: paper, cover, a full memory; a restart of the device ends the wait"},
    {"printer.took-nothing", "the printer's connection took no bytes",
     "restart the device; if it happens again, check the network between server and device"},
    {"spooler.no-restart", "the spooler refused to send the job again", "print the document again"},
    {"printer.broke-off", "the printer broke the connection off at the end: its last data may be lost",
     "look at the page's end and at the device's own log"},
    {"forced.no-helper", "the helper program for forced attributes is missing",
     "repair the Print Provider's installation: ts-print-monitor.exe belongs in the base directory"},
    {"forced.file-full", "the job could not be kept in its work file",
     "free space on the drive of ForceAttributesSpoolDir"},
    {"forced.failed", "the rewritten data could not be obtained or sent",
     "look at the Print Provider's own log for what its helper did; print the document again"},
    {"forced.unchanged", "printed without its forced attributes, as its work file could not be created",
     "check ForceAttributesSpoolDir: that it exists, is writable, and that the printer's name can be a file name"},
    {"printer.no-close", "the printer did not close its side within 30 seconds",
     "the document was printed; the wait ends with newer firmware, or when the device stops sending answers back"},
    {"job.deleted-while-held", "the job was deleted while the helper held it", "nothing: somebody deleted it"},
    {"helper.failed", "the hardware check failed, and the document went on without it",
     "look at the Print Provider's own log for what its helper did"},
    {"helper.missing", "the helper program for the hardware check is missing",
     "repair the Print Provider's installation: ts-print-monitor.exe belongs in the base directory"},
    {"device.held", "held by a problem of the device", "check the device"},
    {"printer.slow", "the printer takes its data slowly",
     "look at the device (warming up, paper, toner, a full memory) and at the network between: `tsport test` times the "
     "connection"},
    {"spooler.identity", "the thread could not change its identity",
     "check that the spooler runs as Local System; documents went on as the user who printed"},
    {"port.busy", "another document was started on the port before this one had ended",
     "two queues or spoolers use the port at once: give each its own"},
    {"spooler.restarted", "the monitor was started again in the middle of the document",
     "the spooler ended: look for it in the system's event log"},
};
static_assert(std::size(cause_infos) == cause_count);

}  // namespace

const Info& info_of(Outcome outcome) {
    return outcome_infos[static_cast<size_t>(outcome)];
}

const Info& info_of(Cause cause) {
    return cause_infos[static_cast<size_t>(cause)];
}

std::optional<Cause> Document::cause() const {
    if (causes == 0) return {};
    return static_cast<Cause>(std::countr_zero(causes));
}

void Document::add(Cause which, TextId text) {
    const auto first = cause();
    if (!first || which < *first || (which == *first && detail == 0)) detail = text;
    causes |= 1u << static_cast<unsigned>(which);
}

void Document::remove(Cause which) {
    if (which == cause()) detail = 0;
    causes &= ~(1u << static_cast<unsigned>(which));
}

std::string cause_text(const Document& document, const Texts& texts) {
    const auto cause = document.cause();
    const TextId more = cause == Cause::held ? document.held_for : document.detail;
    if (!cause) return document.outcome == Outcome::under_way ? texts[more] : "";
    std::string text = info_of(*cause).text + (more == 0 ? "" : ": " + texts[more]);
    if (document.detailed) return text;
    if (document.lost_connection()) text += "; whether it was sent again and printed is not in the log";
    if (document.outcome == Outcome::not_started) text += "; whether it was tried again is not in the log";
    return text;
}

}  // namespace tsport::report
