#include "tools/tsport/report/life.h"

#include "tools/tsport/report/writer.h"

namespace tsport::report {
namespace {

// Lines that come with every buffer and say nothing of their own, or only that the log itself was looked after.
bool says_nothing(const Line& line, const Message& message) {
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

void Collector::Life::take(const Line& line, const Message& message, const Document& document) {
    if (!document.has_job || document.job != job_) return;
    // Two jobs may have the same number, on two printers; they are distinguished here.
    if (begun_ && line.thread != thread_) tell_data();
    if (message.event == Event::start || (!begun_ && thread_ == 0)) {
        tell_data();
        if (begun_) sink_("\n");
        begun_ = true;
    }
    thread_ = line.thread;
    if (says_nothing(line, message) || add_data(line, message)) return;
    tell_data();
    if (message.words == nullptr) {
        tell(line.stamp, showable(line.message));
        return;
    }
    std::string words = message.words;
    if (words.ends_with(':')) words += " " + showable(message.rest);
    tell(line.stamp, words);
}

bool Collector::Life::add_data(const Line& line, const Message& message) {
    const bool thrown_away = message.event == Event::data_abandoned;
    if (message.event == Event::write) {
        if (data_.buffers++ == 0) {
            data_ = Data{1, 0, std::string(line.stamp), " taken"};
        }
        if (std::string_view rest = message.rest; const auto size = take_number(rest)) {
            data_.bytes += static_cast<std::uint32_t>(*size);
        }
        return true;
    }
    if (thrown_away) {
        data_.where = " taken and thrown away";
        return true;
    }
    if (message.event != Event::given && message.event != Event::given_rewritten) return false;
    if (message.event == Event::given_rewritten) {
        data_.where = " of rewritten data sent to the printer";
        std::string_view rest = message.rest;
        if (data_.buffers++ == 0) data_.from = std::string(line.stamp);
        if (const auto size = take_number(rest)) data_.bytes += static_cast<std::uint32_t>(*size);
    } else {
        data_.where = message.rest.find(" to force attr file") != std::string_view::npos ? " kept in the work file"
                                                                                         : " sent to the printer";
    }
    return true;
}

void Collector::Life::tell_data() {
    if (data_.buffers == 0) return;
    const std::string words = counted(data_.buffers, "buffer") + ", " + counted(data_.bytes, "byte") + data_.where;
    const std::string from = data_.from;
    data_ = Data();
    tell(from, words);
}

void Collector::Life::tell(std::string_view stamp, const std::string& words) {
    sink_(std::string(stamp) + "  " + words + "\n");
}

}  // namespace tsport::report
