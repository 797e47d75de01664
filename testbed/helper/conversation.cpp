#include "testbed/helper/conversation.h"

#include <cstdio>
#include <iostream>
#include <thread>
#include <vector>

#include "testbed/helper/platform.h"
#include "testbed/test_printer/pattern.h"

namespace helper {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr size_t kBlockSize = 65536;
constexpr char kRequest[] = "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n";

// Where a PostScript job's page begins: at its first page comment, or else behind its first line.
size_t page_begin(const std::string& head) {
    const size_t page = head.find("\n%%Page:");
    const size_t line_end = page != std::string::npos ? page : head.find('\n');
    return line_end != std::string::npos ? line_end + 1 : head.size();
}

}  // namespace

// -- The run ---------------------------------------------------------------------------------------------------------

// Helpers of several ports start at once, so the folder's creation decides who gets the number.
Conversation::Conversation(const fs::path& folder) : folder_(folder) {
    const fs::path runs = folder / "ts-print-monitor.runs";
    std::error_code error;
    fs::create_directory(runs, error);
    do {
        ++number_;
    } while (!error && !fs::create_directory(runs / std::to_string(number_), error));
    if (!error) transcript_.open(runs / std::to_string(number_) / "transcript", std::ios::binary);
}

int Conversation::run() {
    if (!read_script("ts-print-monitor")) return 2;
    for (std::string line; !ended_ && read_line(line);) obey(line);
    return 0;
}

bool Conversation::read_script(const std::string& name) {
    std::ifstream file(folder_ / path_from_monitor(name + ".script"));
    std::string why;
    if (!file) return true;
    script_ = Script();
    if (script_.read(file, number_, why)) return true;
    end(why);
    return false;
}

bool Conversation::read_line(std::string& line) {
    if (std::getline(std::cin, line)) {
        note(line);
        return true;
    }
    end("end of input");
    return false;
}

void Conversation::note(const std::string& line) {
    transcript_ << line << '\n' << std::flush;
}

void Conversation::end(const std::string& how) {
    if (!ended_) note("(" + how + ")");
    ended_ = true;
    stopped_ = true;
}

void Conversation::obey(const std::string& line) {
    const size_t equals = line.find('=');
    command_ = line.substr(0, equals);
    if (command_ == "printername" && equals != std::string::npos && !read_script(line.substr(equals + 1))) return;
    if (command_ == "spoolfile" && equals != std::string::npos) spool_file_ = line.substr(equals + 1);
    stopped_ = false;
    for (const Step& step : script_.steps_for(command_)) {
        if (!stopped_) take(step);
    }
    if (command_ == "forceattr") end("exit");
}

// -- Steps -----------------------------------------------------------------------------------------------------------

void Conversation::take(const Step& step) {
    switch (step.kind) {
        case Step::Kind::answer:
            write_text(step.text + "\n");
            // The monitor takes an answer from one read: job data that has come by then would be a part of it.
            if (command_ == "forceattr") wait_until_output_is_read();
            break;
        case Step::Kind::wait:
            return wait(step);
        case Step::Kind::silence:
            return pause(step);
        case Step::Kind::taken:
            return wait_until_output_is_read();
        case Step::Kind::say:
            return write_text(step.text);
        case Step::Kind::write:
            return write_pattern(step.bytes);
        case Step::Kind::rewrite:
            return rewrite();
        case Step::Kind::close_output:
            std::fclose(stdout);
            std::fclose(stderr);  // leads to the same pipe
            break;
        case Step::Kind::exit:
            return end("exit");
    }
}

void Conversation::wait(const Step& step) {
    write_text(step.text.empty() ? "WAIT\n" : "WAIT ERROR=\"" + step.text + "\"\n");
    std::string reply;
    if (stopped_ || !read_line(reply)) return;
    if (reply != "OK") {
        stopped_ = true;
    } else if (step.time.count() != 0 || !step.until.empty()) {
        pause(step);
    }
}

void Conversation::pause(const Step& step) {
    std::error_code error;
    std::string line;
    if (step.time.count() != 0) {
        std::this_thread::sleep_for(step.time);
    } else if (!step.until.empty()) {
        while (!fs::exists(folder_ / step.until, error)) std::this_thread::sleep_for(milliseconds(5));
    } else {
        while (read_line(line)) {
        }
    }
}

void Conversation::write(const char* data, size_t size) {
    if (std::fwrite(data, 1, size, stdout) != size || std::fflush(stdout) != 0) end("output closed");
}

void Conversation::write_pattern(std::uint64_t size) {
    std::vector<char> block(kBlockSize);
    test_printer::Pattern pattern;
    while (size != 0 && !stopped_) {
        const size_t count = size < block.size() ? static_cast<size_t>(size) : block.size();
        pattern.fill(block.data(), count);
        write(block.data(), count);
        size -= count;
    }
}

void Conversation::rewrite() {
    std::ifstream job(path_from_monitor(spool_file_), std::ios::binary);
    std::string block(kBlockSize, '\0');
    for (bool first = true; job && !stopped_; first = false) {
        job.read(block.data(), static_cast<std::streamsize>(block.size()));
        const auto count = static_cast<size_t>(job.gcount());
        if (first && block.starts_with("%!")) {
            const std::string head = block.substr(0, count);
            const size_t page = page_begin(head);
            write_text(head.substr(0, page) + kRequest + head.substr(page));
        } else {
            write(block.data(), count);
        }
    }
}

}  // namespace helper
