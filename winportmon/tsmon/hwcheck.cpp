#include "winportmon/tsmon/hwcheck.h"

#include "common/global.h"
#include "common/log.h"
#include "common/serialize_settings.h"
#include "winportmon/tsmon/helper.h"
#include "winportmon/tsmon/helper_protocol.h"
#include "winportmon/tsmon/utf8_text.h"

namespace tsmon {
namespace {

constexpr HelperLines kLines = {
    .create_std_out = LOG_TEXT("TSM Start Doc: Failed to create Stdout CreatePipe"),
    .keep_std_out = LOG_TEXT("TSM Start Doc: Failed to set Stdout SetHandleInformation"),
    .create_std_in = LOG_TEXT("TSM Start Doc: Failed to create Stdin CreatePipe"),
    .keep_std_in = LOG_TEXT("TSM Start Doc: Failed to set Stdin SetHandleInformation"),
    .create_process = LOG_TEXT("TSM Start Doc: Failed to create child process"),
    .close_std_out_rd = LOG_TEXT("TSM Start Doc: StdOutRd CloseHandle failure"),
    .close_std_out_wr = LOG_TEXT("TSM Start Doc: StdOutWr CloseHandle failure"),
    .close_std_in_rd = LOG_TEXT("TSM Start Doc: StdInRd CloseHandle failure"),
    .close_std_in_wr = LOG_TEXT("TSM Start Doc: StdInWr CloseHandle failure"),
    .close_process = LOG_TEXT("TSM Start Doc: process CloseHandle failure"),
    .close_thread = LOG_TEXT("TSM Start Doc: thread CloseHandle failure"),
    .omit_error_text = true,
};

// The handles of a running helper, between the port and the conversation.
void StoreHandles(PortEntry* port, const HelperHandles& handles) {
    port->hw_check.std_in_wr = handles.std_in_wr;
    port->hw_check.std_out_rd = handles.std_out_rd;
    port->hw_check.process = handles.process;
    port->hw_check.thread = handles.thread;
}

// A command of the start of a document; false, with its line, when the helper did not take it.
bool Send(PortEntry* port, const char* name, const char* value, const LogText& failure,
          uint32_t* helper_failed = nullptr, uint32_t* delete_job = nullptr) {
    if (SendHelperCommandAndWait(port, name, value, delete_job)) return true;
    log_error(failure);
    if (helper_failed != nullptr) *helper_failed = 1;
    return false;
}

// True when the helper took all of it, whatever it ordered.
bool TellAboutDocument(PortEntry* port, uint32_t* helper_failed) {
    const char* const printer_name = port->printer_name_utf8;
    const char* const job_id = port->job_id_text;
    const Utf8Text server_name(port->server_name);
    const Utf8Text address(FieldText(port->document_config.printer_address).text);

    if (!Send(port, "printername", printer_name, LOG_TEXT("TSM Start Doc: Failed printername command in helper"))) {
        return false;
    }
    if (port->server_name != nullptr &&
        !Send(port, "servername", server_name.get(), LOG_TEXT("TSM Start Doc: Failed servername command in helper"))) {
        return false;
    }
    if (!Send(port, "printeraddress", address.get(), LOG_TEXT("TSM Start Doc: Failed printeraddress command in helper"),
              helper_failed) ||
        !Send(port, "jobid", job_id, LOG_TEXT("TSM Start Doc: Failed jobid command in helper")) ||
        !Send(port, "wait", nullptr, LOG_TEXT("TSM Start Doc: Failed wait command in helper")) ||
        !Send(port, "startdoc", nullptr, LOG_TEXT("TSM Start Doc: Failed startdoc command in helper"), helper_failed,
              &port->marked_for_deletion)) {
        return false;
    }
    log_debug(LOG_HERE, "TSM Start Doc: sent <%s, %s, %s, %s>", printer_name, address.get(), job_id, "startdoc");
    return true;
}

}  // namespace

uint32_t IsHwCheckEnabled(PortEntry* port) {
    port->hw_check.active = 0;
    const char* const printer_name = port->printer_name_utf8;
    PrinterSettings settings;
    if (printer_name == nullptr ||
        !serialize_settings_readin(session_context.settings_spool_dir_path, printer_name, &settings)) {
        return 0;
    }
    if (settings.hardware_check_mode == HARDWARE_CHECK_SNMP) {
        port->hw_check.active = 1;
        log_debug(LOG_HERE, "TSM: printer settings detected hardware check on");
    } else {
        log_debug(LOG_HERE, "TSM: printer settings detected hardware check off");
    }
    return port->hw_check.active;
}

BOOL HwCheckStartDoc(PortEntry* port, uint32_t* helper_failed) {
    port->marked_for_deletion = 0;
    if (helper_failed != nullptr) *helper_failed = 0;
    if (!IsHwCheckEnabled(port)) {
        log_debug(LOG_HERE, "TSM Start Doc: not hardware check enabled");
        return FALSE;
    }
    if (!CheckHelperCommandPath(port->monitor, FALSE)) {
        log_debug(LOG_HERE, "TSM Start Doc: no hardware check");
        port->hw_check.active = 0;
        return FALSE;
    }
    log_debug(LOG_HERE, "TSM Start Doc: start");
    HelperHandles handles = {};
    if (StartHelper(port->monitor, 0, kLines, &handles)) {
        StoreHandles(port, handles);
        if (TellAboutDocument(port, helper_failed)) {
            if (port->marked_for_deletion == 0) return TRUE;
            log_debug(LOG_HERE, "Start doc was told to delete the job on error");
        }
    }
    port->hw_check.active = 0;
    CloseHelper(&handles, kLines);
    StoreHandles(port, HelperHandles{});
    return FALSE;
}

void HwCheckEndDoc(PortEntry* port) {
    if (port->hw_check.active == 0) {
        log_debug(LOG_HERE, "TSM End Doc: not hardware check enabled");
        return;
    }
    if (port->hw_check.std_in_wr == nullptr) {
        log_debug(LOG_HERE, "TSM End Doc: handle not set so doing nothing");
    } else if (!SendHelperCommandAndWait(port, "enddoc", nullptr, nullptr)) {
        log_error(LOG_HERE, "TSM End Doc: Failed to write enddoc");
    }
    HwCheckCloseHandles(port);
}

void HwCheckEnd(PortEntry* port) {
    if (port->hw_check.active == 0) {
        log_debug(LOG_HERE, "TSM: not hardware check enabled");
        return;
    }
    if (port->hw_check.std_in_wr == nullptr) {
        log_debug(LOG_HERE, "TSM: handle not set so doing nothing");
    } else if (!SendHelperCommandAndWait(port, "end", nullptr, nullptr)) {
        log_error(LOG_HERE, "TSM: Failed to write end");
    }
    HwCheckCloseHandles(port);
}

void HwCheckCloseHandles(PortEntry* port) {
    CloseHelperHandle(&port->hw_check.std_in_wr, LOG_TEXT("TSM: hwcheck StdInWr CloseHandle failure"));
    CloseHelperHandle(&port->hw_check.std_out_rd, LOG_TEXT("TSM: hwcheck StdOutRd CloseHandle failure"));
    CloseHelperHandle(&port->hw_check.process, LOG_TEXT("TSM: hwcheck process CloseHandle failure"));
    CloseHelperHandle(&port->hw_check.thread, LOG_TEXT("TSM: hwcheck thread CloseHandle failure"));
}

}  // namespace tsmon
