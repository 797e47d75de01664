#include "tsport/report/report.h"

namespace tsport::report {
namespace {

// Lines that come with every buffer and add nothing, and those of the log's own rotation.
bool is_noise(const LogLine& line, const Message& message) {
    constexpr std::string_view beginnings[] = {"TSM: Write Port: write data to printer of size ",
                                               "TSM: forceattr: write data to printer of size ",
                                               "TSM Write Port: noting initial buf size of ",
                                               "Duration = ",
                                               "TSM:  TsmWriteToPrinter: ",
                                               "TSM:  AppendFile: ",
                                               "TSM: About to read from pipe of size: ",
                                               "TSM: read from pipe with result - ",
                                               "TSM: read from helper",
                                               "TSM: checking force attr",
                                               "TSM: reading msf file for ",
                                               "TSM: cleanup socket",
                                               "serialize_unpack_",
                                               "Read in terminator: ",
                                               "TSM: test access of helper command path: ",
                                               "TSM: using helper command path: ",
                                               "TSM: Calling CreateChildProcess for path ",
                                               "TSM: path before create call ",
                                               "TSM Start Doc: start",
                                               "TSM Start Doc: sent <",
                                               "Perform log rotation if required.",
                                               "No log rotation as "};
    for (const std::string_view beginning : beginnings) {
        if (line.message.starts_with(beginning)) return true;
    }
    return message.event == Event::statistics && line.message.find(", write[") != std::string_view::npos;
}

}  // namespace

void JobHistory::add(const LogLine& line, const Message& message, const Document& document) {
    if (!document.has_job || document.job != job_) return;
    // Two jobs may have the same number, on two printers; they are distinguished here.
    if (begun_ && line.thread != thread_) write_buffers();
    if (message.event == Event::start || (!begun_ && thread_ == 0)) {
        write_buffers();
        if (begun_) sink_("\n");
        begun_ = true;
    }
    thread_ = line.thread;
    if (is_noise(line, message) || add_buffer(line, message)) return;
    write_buffers();
    if (message.text == nullptr) {
        write(line.time, sanitize(line.message));
        return;
    }
    std::string text = message.text;
    if (message.event == Event::close_awaited && document.lost_connection()) {
        text = "the rest was not sent; waits until the broken connection is closed";
    }
    if (text.ends_with(':')) text += " " + sanitize(message.rest);
    write(line.time, text);
}

bool JobHistory::add_buffer(const LogLine& line, const Message& message) {
    const bool rewritten = message.event == Event::given_rewritten;
    if (message.event == Event::write || rewritten) {
        if (buffers_.count++ == 0) buffers_ = {1, 0, line.time, rewritten ? "" : " taken"};
        if (rewritten) buffers_.where = " of rewritten data sent to the printer";
        std::string_view rest = message.rest;
        if (const auto size = take_number(rest)) buffers_.bytes += static_cast<std::uint32_t>(*size);
    } else if (message.event == Event::data_abandoned) {
        buffers_.where = " taken and thrown away";
    } else if (message.event == Event::given) {
        const bool to_file = message.rest.find(" to force attr file") != std::string_view::npos;
        buffers_.where = to_file ? " kept in the work file" : " sent to the printer";
    } else {
        return false;
    }
    return true;
}

void JobHistory::write_buffers() {
    if (buffers_.count != 0) {
        write(buffers_.first,
              counted(buffers_.count, "buffer") + ", " + counted(buffers_.bytes, "byte") + buffers_.where);
    }
    buffers_ = {};
}

void JobHistory::write(Timestamp time, const std::string& text) {
    std::string in_log = to_text(time);
    in_log[19] = ',';  // as it is found in the log
    sink_(in_log + "  " + text + "\n");
}

}  // namespace tsport::report
