// The messages of the monitor that a report understands.
#pragma once

#include <cstdint>
#include <string_view>

namespace tsport::report {

enum class Event : std::uint8_t {
    none,          // any other message
    history_only,  // of interest in the history of a job alone

    // Starts and ports.
    monitor_started,
    port_opened,
    port_closed,
    port_unknown,
    start,
    started_twice,
    name_unusable,
    printer_not_opened,
    not_approved,
    abandoned,
    data_abandoned,

    // The connection.
    looking_up,
    lookup_failed,
    connect_failed,
    address_bytes,
    start_failed,
    close_awaited,
    close_not_seen,
    close_broken,
    close_step_failed,
    close_seen,

    // Data.
    write,
    given,
    given_rewritten,
    send_failed,
    send_timed_out,
    sent_nothing,
    lost,
    restart_requested,
    restart_refused,

    // The end.
    end,
    no_document,
    ended,
    statistics,

    // The hardware check, and the helper program.
    held,
    held_for,
    answered,
    dropped,
    deleted_while_held,
    check_failed,
    check_again,
    helper_gone,
    helper_not_found,
    no_check,
    identity,

    // Forced attributes.
    step_failed,  // the line that names the failure comes later
    work_file_full,
    rewriting,
    rewriting_step_failed,
    no_rewriting,
    rewriting_failed,
    printed_unchanged,
};

struct Message {
    Event event = Event::none;
    const char* text = nullptr;  // for the history of a job; null: the message itself
    std::string_view rest;       // what stands behind its fixed beginning
};

// By the fixed beginning of the message.
Message recognise(std::string_view message);

}  // namespace tsport::report
