#include "tsport/report/messages.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace tsport::report {
namespace {

// A text that ends with a colon is followed by the rest of the message. Of several beginnings the longest counts.
struct Row {
    std::string_view begin;
    Event event;
    const char* text;
};

constexpr Row rows[] = {
    {"TSM: Starting port monitor version: ", Event::monitor_started, "the monitor is started, version:"},
    {"TSM Open Port: ", Event::port_opened, "the spooler opens the port:"},
    {"TSM ClosePort", Event::port_closed, "the spooler closes the port"},
    {"TSM: Unable to find the port: ", Event::port_unknown, "the monitor has no port of that name:"},

    // The start of a document.
    {"TSM Start Doc Port - pFullPrinterName: ", Event::start, "the document starts:"},
    {"TSM: already in startdoc and returning true", Event::started_twice,
     "the port's last document has not ended yet: this start changes nothing"},
    {"TSM Start Doc error in extracting printer fields", Event::name_unusable, "the printer's name is unusable:"},
    {"TSM Start Doc Port open printer failed", Event::printer_not_opened, "the spooler does not open the printer:"},
    {"TSM detected normal printer name: ", Event::history_only, "the printer's name:"},
    {"TSM Detected cluster printername - ", Event::history_only, "the printer's name has a server in front:"},
    {"Tessaron TCP/IP Port has detected that job ", Event::not_approved,
     "the job is not approved: its data will be thrown away"},
    {"TSM Start Doc Port - checking if notapproved file exists for JobId: ", Event::history_only,
     "looks for the marker of a job that is not approved"},
    {"TSM Start Doc Port - notapproved path: ", Event::history_only, "the markers' folder:"},
    {"TSM Start Doc Port - notapproved file checking is disabled", Event::history_only,
     "does not look for a marker, as NotApprovedFileChecking is off"},
    {"TSM Start Doc Port - abandon as JobId: ", Event::abandoned, "the document is refused"},
    {"TSM Write Port - abandon as JobId: ", Event::data_abandoned, "the data is thrown away"},
    {"TSM End Doc Port - abandon as JobId: ", Event::abandoned, "ends as one whose data was thrown away"},
    {"TSM: get addr for ", Event::looking_up, "looks up the printer's address and connects:"},
    {"TSM: Error looking up printer address: ", Event::lookup_failed, "the address cannot be looked up:"},
    {"TSM: Failed to create connection to printer: ", Event::connect_failed, "no connection could be made:"},
    {"TSM: Failed to connect to printer: ", Event::connect_failed, "the printer accepts no connection:"},
    {"TSM: addr = ", Event::address_bytes, "its bytes:"},
    {"TSM: unable to connect to printer by tcp", Event::history_only, "none of its addresses accepts a connection"},
    {"TSM Start Doc Port failed to connect to printer address: ", Event::start_failed,
     "the document does not start, the printer cannot be reached:"},

    // Its data.
    {"TSM Write Port: buf count = ", Event::write, "the spooler hands over bytes:"},
    {"TSM Write Port: given ", Event::given, nullptr},  // or into the work file
    {"TSM forceattr: given ", Event::given_rewritten, "rewritten data goes to the printer:"},
    {"TSM: unable to send data to printer: ", Event::send_failed, "the connection breaks, with error:"},
    {"TSM: timeout on socket for send", Event::send_timed_out, "the printer has accepted no data for 20 seconds"},
    {"TSM: error sending data", Event::send_failed, "the connection cannot be waited for"},
    {"TSM Write Port: send successful but wrote 0 bytes", Event::sent_nothing, "the connection took no bytes"},
    {"TSM forceattr: send successful but wrote 0 bytes", Event::sent_nothing, "the connection took no bytes"},
    {"TSM Write Port: failed to send data to printer, close connection", Event::lost, "the connection is given up"},
    {"TSM forceattr: failed to send data to printer, close connection", Event::lost, "the connection is given up"},
    {"TSM: Write Port: invalid socket but reestablished connection and requested restart", Event::restart_requested,
     "the printer is back: the spooler is asked to send the job again"},
    {"TSM forceattr: Doing force attributes, so signal job to restart.", Event::restart_requested,
     "the spooler is asked to send the job again"},
    {"TSM Write Port: Doing force attributes, so signal job to restart.", Event::restart_requested,
     "the spooler is asked to send the job again"},
    {"TSM Write Port: the spooler refused to restart job ", Event::restart_refused,
     "the spooler does not send the job again:"},
    {"TSM forceattr: the spooler refused to restart job ", Event::restart_refused,
     "the spooler does not send the job again:"},
    {"TSM: Write Port: failed to reconnect", Event::history_only, "the printer is still not reachable"},
    {"TSM Write Port - wrote out hpc serialize file for job ", Event::history_only, "the progress record is written"},

    // Its end.
    {"TSM End Doc Port completed - return ", Event::ended, "the document has ended, with:"},
    {"TSM End Doc Port", Event::end, "the document ends"},
    {"TSM: in End Doc but startdoc flag not set and returning true", Event::no_document, "there is no document to end"},
    {"TSM: waiting for FD_CLOSE on socket", Event::close_awaited,
     "all data has been sent; waits for the printer to close its side"},
    {"TSM: timed out waiting to get the FD_CLOSE event on the socket", Event::close_not_seen,
     "the printer has not closed its side within 30 seconds"},
    {"TSM: failed to shutdown socket with error: ", Event::close_step_failed,
     "the end of the data cannot be sent, error:"},
    {"TSM: unable to event select on FD_CLOSE with error: ", Event::close_step_failed,
     "the close cannot be waited for, error:"},
    {"TSM: Error waiting for socket", Event::history_only, "the connection cannot be waited for"},
    {"TSM: an error occured while waiting for FD_CLOSE event: ", Event::close_broken,
     "the printer has broken the connection off at its end, with error:"},
    {"TSM: closesocket", Event::close_seen, "the connection is closed"},
    {"TSM EndDoc: printer: ", Event::statistics, "in figures:"},

    // The hardware check.
    {"Printer settings file '", Event::history_only, "no record asks for a check of the printer's hardware"},
    {"TSM Start Doc: not hardware check enabled", Event::history_only, "the printer's hardware is not checked"},
    {"TSM End Doc: not hardware check enabled", Event::history_only, "there is no check to be informed of the end"},
    {"TSM: printer settings detected hardware check on", Event::history_only,
     "the printer's hardware is to be checked"},
    {"TSM: printer settings detected hardware check off", Event::history_only,
     "the printer's hardware is not to be checked"},
    {"TSM Start Doc: no hardware check", Event::no_check, "without its helper program there is no check"},
    {"TSM: Could not access the install path for ", Event::helper_not_found, "the helper program does not exist:"},
    {"TSM: Unable to Create Child Process, error:", Event::step_failed, "the helper program does not start:"},
    {"TSM: Created child process ", Event::history_only, "the helper program is started:"},
    {"TSM: write to helper: ", Event::history_only, "tells the helper:"},
    {"TSM: received WAIT from helper", Event::held, "the helper holds the job"},
    {"TSM: extracted wait error string = ", Event::held_for, "because of the device's problem:"},
    {"TSM: setting printer status to: ", Event::history_only, "the queue shows the status:"},
    {"TSM: received OK from helper", Event::answered, "the helper agrees"},
    {"TSM: received ERROR from helper", Event::answered, "the helper answers with an error"},
    {"TSM: received DELETE from helper", Event::dropped, "the helper orders the job dropped"},
    {"TSM: did NOT receive valid response from helper", Event::answered, "no valid answer from the helper:"},
    {"TSM: abandon waiting for response for job because job is deleting/deleted", Event::deleted_while_held,
     "the job was deleted meanwhile"},
    {"TSM: error in ReadFile", Event::helper_gone, "the helper is gone:"},
    {"TSM: unable to write to helper for name ", Event::helper_gone, "the helper is gone:"},
    {"TSM: helper failed 1st time but port connected to printer, try helper one more time", Event::check_again,
     "the printer is reachable, so the check is tried once more"},
    {"TSM Start Doc: Failed ", Event::check_failed, "the hardware check has failed:"},
    {"TSM End Doc: Failed to write enddoc", Event::check_failed, "the helper did not take the end of the document"},
    {"TSM: Failed to write end", Event::check_failed, "the helper did not take the end of the document"},

    // Forced attributes.
    {"TSM: checking if force attr needed for JobId: ", Event::history_only, "looks for a record of forced attributes"},
    {"Unable to find msf (printer_name = ", Event::history_only, "there is none"},
    {"TSM: detected force attributes on ", Event::history_only, "attributes are to be forced:"},
    {"TSM: detected force attributes off ", Event::history_only, "no attributes are to be forced"},
    {"TSM: sending force attr data", Event::rewriting, "the helper is to rewrite the document"},
    {"TSM: successfully sent force attr data", Event::history_only, "the rewritten document has been sent"},
    {"TSM: failed to send force attr data", Event::rewriting_failed, "the rewritten document was not sent"},
    {"TSM: Failed printername command in helper", Event::rewriting_step_failed, nullptr},
    {"TSM: Failed spoolfile command in helper", Event::rewriting_step_failed, nullptr},
    {"TSM: Failed jobid command in helper", Event::rewriting_step_failed, nullptr},
    {"TSM: Failed forceattr command in helper", Event::rewriting_step_failed, nullptr},
    {"TSM: Failed to create ", Event::rewriting_step_failed, nullptr},
    {"TSM: Failed to set Std", Event::rewriting_step_failed, nullptr},
    {"TSM: read from helper failed", Event::rewriting_step_failed, nullptr},
    {"TSM: read from helper pipe returned early", Event::rewriting_step_failed, nullptr},
    {"TSM: Unable to close force attr spool file", Event::rewriting_step_failed, nullptr},
    {"TSM: Unable to allocate buffer to send data to printer", Event::rewriting_step_failed, nullptr},
    {"TSM: Failed to send on forceattr data", Event::rewriting_step_failed, "the helper's output was not sent"},
    {"TSM: cannot find helper and so no force attributes", Event::no_rewriting,
     "without its helper program the document is not rewritten"},
    {"TSM: unable to create force attributes ", Event::step_failed, "no work file can be created:"},
    {"Could not create temporary spool file. ", Event::printed_unchanged, "the document is printed unchanged"},
    {"TSM Write Port: failed to send data to force attr file: ", Event::work_file_full,
     "the data cannot be written to the work file:"},
    {"TSM: unable to write entire buffer. ", Event::step_failed, "the data cannot be written to the work file:"},

    // Identities.
    {"TSM: Unable to RevertToPrinterSelf", Event::identity, nullptr},
    {"TSM: unable to RevertToPrinterSelf", Event::identity, nullptr},
    {"TSM: Unable to ImpersonatePrinterClient", Event::identity, nullptr},
    {"TSM: unable to ImpersonatePrinterClient", Event::identity, nullptr},
    {"TSM End Doc: unable to ", Event::identity, nullptr},
};

// The rows by the first characters of their beginnings, in each list the longest first.
constexpr size_t key_size = 12;
static_assert(std::ranges::all_of(rows, [](const Row& row) { return row.begin.size() >= key_size; }));
std::unordered_map<std::string_view, std::vector<Row>> rows_by_key() {
    std::unordered_map<std::string_view, std::vector<Row>> by_key;
    for (const Row& row : rows) by_key[row.begin.substr(0, key_size)].push_back(row);
    for (auto& [key, list] : by_key) {
        std::sort(list.begin(), list.end(), [](const Row& a, const Row& b) { return a.begin.size() > b.begin.size(); });
    }
    return by_key;
}
const std::unordered_map<std::string_view, std::vector<Row>> known_rows = rows_by_key();

}  // namespace

Message recognise(std::string_view message) {
    const auto found = known_rows.find(message.substr(0, key_size));
    if (found != known_rows.end()) {
        for (const Row& row : found->second) {
            if (message.starts_with(row.begin)) return {row.event, row.text, message.substr(row.begin.size())};
        }
    }
    return {Event::none, nullptr, message};
}

}  // namespace tsport::report
