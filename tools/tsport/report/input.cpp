#include "tools/tsport/report/input.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <thread>

#include "tools/host/text.h"

namespace tsport::report {
namespace {

namespace fs = std::filesystem;

constexpr const char* log_name = "print-monitor.log";
constexpr std::uint64_t live = 0;
constexpr std::uint64_t set_aside = 1;  // ".tmp": a rotation was interrupted

// A file as a part of a log: "DIR/print-monitor.log.7" is number 7 of "DIR/print-monitor.log". The higher the age, the
// older the file.
struct Part {
    std::string log;
    std::uint64_t age;
    std::string file;
};

Part part_of(const std::string& file) {
    const size_t dot = file.rfind('.');
    std::uint64_t number = 0;
    if (dot != std::string::npos && file.find_first_of("/\\", dot) == std::string::npos) {
        if (host::parse_number(file.substr(dot + 1), 1, UINT32_MAX, number))
            return {file.substr(0, dot), number + 1, file};
        if (file.substr(dot) == ".tmp") return {file.substr(0, dot), set_aside, file};
    }
    return {file, live, file};
}

// The parts of the log in a folder.
bool list_folder(const std::string& folder, std::vector<Part>& parts, std::string& why) {
    const size_t before = parts.size();
    std::error_code error;
    for (fs::directory_iterator entry(host::path_of(folder), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = host::utf8_of(entry->path().filename());
        const Part part = part_of(host::utf8_of(entry->path()));
        if (name.starts_with(log_name) && host::utf8_of(host::path_of(part.log).filename()) == log_name) {
            parts.push_back(part);
        }
    }
    if (error) why = folder + " cannot be read: " + error.message();
    if (!error && parts.size() == before) why = "there is no " + std::string(log_name) + " in " + folder;
    return !error && parts.size() != before;
}

}  // namespace

bool find_logs(const std::vector<std::string>& arguments, std::vector<std::string>& files, std::string& why) {
    std::vector<Part> parts;
    for (const std::string& argument : arguments) {
        std::error_code error;
        if (argument == "-") {
            parts.push_back({argument, live, argument});
        } else if (fs::is_directory(host::path_of(argument), error)) {
            if (!list_folder(argument, parts, why)) return false;
        } else if (fs::exists(host::path_of(argument), error)) {
            parts.push_back(part_of(argument));
        } else {
            why = argument + " is not there";
            return false;
        }
    }
    // Logs stay in the order of their first parts.
    std::vector<std::string> logs;
    for (const Part& part : parts) {
        if (std::find(logs.begin(), logs.end(), part.log) == logs.end()) logs.push_back(part.log);
    }
    const auto place = [&](const Part& part) { return std::find(logs.begin(), logs.end(), part.log) - logs.begin(); };
    std::stable_sort(parts.begin(), parts.end(), [&](const Part& a, const Part& b) {
        return place(a) != place(b) ? place(a) < place(b) : a.age > b.age;
    });
    for (const Part& part : parts) files.push_back(part.file);
    files.erase(std::unique(files.begin(), files.end()), files.end());
    return true;
}

namespace {

// A file, or the standard input, in blocks. The next one is read, and its lines are found, by a thread of its own while
// the last one is looked at: that takes about as long as to understand them.
class Blocks {
  public:
    static constexpr size_t block = 512 * 1024;

    explicit Blocks(const std::string& file) : standard_(file == "-") {
        if (!standard_) stream_.open(host::path_of(file), std::ios::binary);
        for (Buffer& buffer : buffers_) buffer.bytes.reset(new char[LineReader::longest + block]);
        if (good()) thread_ = std::thread([this] { read_ahead(); });
    }
    ~Blocks() {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        changed_.notify_all();
        if (thread_.joinable()) thread_.join();
    }
    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;

    bool good() const { return standard_ || stream_.is_open(); }
    // Once the end has been reached.
    bool failed() const { return standard_ ? std::ferror(stdin) != 0 : stream_.bad(); }
    struct Block {
        char* bytes;                             // with room for a longest line in front
        size_t size;                             // 0 at the end
        const std::vector<std::uint32_t>& ends;  // where its line feeds are
    };
    // The next block; releases the previous one.
    Block next() {
        std::unique_lock lock(mutex_);
        if (taken_ > 0) buffers_[(taken_ - 1) % 2].full = false;
        changed_.notify_all();
        Buffer& buffer = buffers_[taken_ % 2];
        changed_.wait(lock, [&] { return buffer.full; });
        ++taken_;
        return {buffer.bytes.get() + LineReader::longest, buffer.size, buffer.ends};
    }

  private:
    struct Buffer {
        std::unique_ptr<char[]> bytes;
        size_t size = 0;
        std::vector<std::uint32_t> ends;
        bool full = false;
    };

    size_t read_into(char* bytes) {
        if (standard_) return std::fread(bytes, 1, block, stdin);
        stream_.read(bytes, static_cast<std::streamsize>(block));
        return static_cast<size_t>(stream_.gcount());
    }
    static void find_ends(const char* bytes, size_t size, std::vector<std::uint32_t>& ends) {
        ends.clear();
        const char* const end = bytes + size;
        const char* search = bytes;
        while (search != end) {
            const void* const found = std::memchr(search, '\n', static_cast<size_t>(end - search));
            if (found == nullptr) return;
            search = static_cast<const char*>(found) + 1;
            ends.push_back(static_cast<std::uint32_t>(search - 1 - bytes));
        }
    }
    void read_ahead() {
        for (size_t number = 0;; ++number) {
            Buffer& buffer = buffers_[number % 2];
            {
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [&] { return !buffer.full || stopping_; });
                if (stopping_) return;
            }
            char* const bytes = buffer.bytes.get() + LineReader::longest;
            const size_t size = read_into(bytes);
            find_ends(bytes, size, buffer.ends);
            {
                const std::lock_guard lock(mutex_);
                buffer.size = size;
                buffer.full = true;
            }
            changed_.notify_all();
            if (size == 0) return;
        }
    }

    const bool standard_;
    std::ifstream stream_;
    std::array<Buffer, 2> buffers_;
    size_t taken_ = 0;
    bool stopping_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread thread_;
};

// Editors leave a mark in front of UTF-8.
size_t mark_in(std::string_view text) {
    return text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
}

}  // namespace

bool LineReader::read(const std::string& file, std::string& why) {
    Blocks blocks(file);
    std::string held;  // of a line whose end has not been read yet
    bool first = true;
    bool skipping = false;  // the rest of a line that was too long
    while (blocks.good()) {
        const Blocks::Block next = blocks.next();
        if (next.size == 0) break;
        char* const begin = next.bytes;
        const char* const end = begin + next.size;
        bytes += next.size;
        const char* text = begin;
        if (first) {
            const std::string_view all(begin, next.size);
            utf16 = utf16 || all.starts_with("\xFF\xFE");
            text += mark_in(all);
            first = false;
        } else {
            text -= held.size();
            held.copy(begin - held.size(), held.size());
        }
        for (const std::uint32_t place : next.ends) {
            const char* const stop = begin + place;
            if (!skipping) line({text, static_cast<size_t>(stop - text)}, true);
            skipping = false;
            text = stop + 1;
        }
        held.assign(text, static_cast<size_t>(end - text));
        if (held.size() <= longest && !skipping) continue;
        if (!skipping) line({held.data(), longest}, false);
        skipping = true;
        held.clear();
    }
    // A line that is being written at this moment, or was cut by the end of the spooler.
    if (!held.empty()) line(held, true);
    why = file + " cannot be read";
    return blocks.good() && !blocks.failed();
}

}  // namespace tsport::report
