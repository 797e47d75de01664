#include "tools/tsport/report/input.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

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
        if (host::parse_number(file.substr(dot + 1), 1, UINT32_MAX, number)) return {file.substr(0, dot), number + 1, file};
        if (file.substr(dot) == ".tmp") return {file.substr(0, dot), set_aside, file};
    }
    return {file, live, file};
}

// The parts of the log in a folder.
bool list_folder(const std::string& folder, std::vector<Part>& parts, std::string& why) {
    const size_t before = parts.size();
    std::error_code error;
    for (fs::directory_iterator entry(host::path_of(folder), error), end; !error && entry != end; entry.increment(error)) {
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

// Reads blocks: a file, or the standard input.
class Source {
  public:
    explicit Source(const std::string& file) {
        if (file != "-") stream_.open(host::path_of(file), std::ios::binary);
        standard_ = file == "-";
    }
    bool good() const { return standard_ || stream_.is_open(); }
    // 0 at the end.
    size_t read(char* buffer, size_t size) {
        if (standard_) return std::fread(buffer, 1, size, stdin);
        stream_.read(buffer, static_cast<std::streamsize>(size));
        return static_cast<size_t>(stream_.gcount());
    }
    bool failed() const { return standard_ ? std::ferror(stdin) != 0 : stream_.bad(); }

  private:
    std::ifstream stream_;
    bool standard_ = false;
};

// Editors leave a mark in front of UTF-8.
size_t skip_mark(std::string_view text) {
    return text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
}

}  // namespace

bool LineReader::read(const std::string& file, std::string& why) {
    constexpr size_t block = 256 * 1024;
    Source source(file);
    const std::unique_ptr<char[]> buffer(new char[longest + block]);
    char* const begin = buffer.get();
    bool first = true;
    size_t held = 0;        // bytes of a line whose end has not been read yet
    bool skipping = false;  // the rest of a line that was too long
    for (size_t count = 0; source.good() && (count = source.read(begin + held, block)) != 0;) {
        const char* text = begin;
        if (first) {
            text += skip_mark({begin, count});
            utf16 = utf16 || std::string_view(begin, count).starts_with("\xFF\xFE");
        }
        first = false;
        bytes += count;
        const char* const end = begin + held + count;
        const char* search = std::max<const char*>(begin + held, text);
        for (const char* stop = nullptr;
             (stop = static_cast<const char*>(std::memchr(search, '\n', static_cast<size_t>(end - search)))) != nullptr;
             text = search = stop + 1) {
            if (!skipping) line({text, static_cast<size_t>(stop - text)}, true);
            skipping = false;
        }
        held = static_cast<size_t>(end - text);
        if (held > longest) {
            if (!skipping) line({text, longest}, false);
            skipping = true;
            held = 0;
        }
        if (skipping) held = 0;
        std::memmove(begin, text, held);
    }
    // A line that is being written at this moment, or was cut by the end of the spooler.
    if (held > 0 && !skipping) line({begin, held}, true);
    if (source.good() && !source.failed()) return true;
    why = file + " cannot be read";
    return false;
}

}  // namespace tsport::report
