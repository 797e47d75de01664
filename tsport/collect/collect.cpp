#include <algorithm>
#include <filesystem>

#include "common/file_names.h"
#include "host/platform.h"
#include "host/sha256.h"
#include "tsport/answer.h"
#include "tsport/collect/secrets.h"
#include "tsport/doctor/base.h"
#include "tsport/doctor/binary.h"
#include "tsport/doctor/platform.h"
#include "tsport/doctor/server.h"
#include "tsport/file.h"
#include "winportmon/contract/names.h"

namespace tsport {

const char collect_help[] = R"(usage: tsport collect [DIR] [--base DIR] [--store FILE] [--events FILE] ...

Puts what support needs into a new folder DIR (tsport-DATE-TIME when left out): versions and sums of the installed files,
the findings of tsport doctor, ports and queues, the settings, the end of the log, and events of the spooler's crashes. The
key of the application server, values of unknown settings, comments, and documents are left out; README.txt in the folder
says so, and what could not be read. Nothing else is changed. Look through the folder before you give it away: it names
printers, jobs, users and servers.

  --base DIR     of a copy of a server's base directory (InstallPath\providers\print\win), on any machine
  --store FILE   of the ports in FILE
  --events FILE  also these event logs, exported as XML; on a server its own are exported

Exit status: 0 done, 2 usage error, 3 the folder cannot be written.

examples:
  tsport collect
  tsport collect C:\for-support
)";

namespace {

namespace fs = std::filesystem;

// A file of the folder: its contents, and what README.txt says of it.
struct Part {
    std::string name;
    std::string about;
    std::string contents;
};

// The end of a file, from the beginning of a line on. False with the reason.
bool read_end(const std::string& path, std::string& contents, std::string& why) {
    constexpr size_t most = 10 << 20;
    std::error_code error;
    const std::uintmax_t size = fs::file_size(host::path_of(path), error);
    const std::uintmax_t begin = !error && size > most ? size - most : 0;
    if (!read_part(path, begin, most, contents, why)) return false;
    if (begin != 0) contents.erase(0, contents.find('\n') + 1);
    return true;
}

class Folder {
  public:
    explicit Folder(const Command& command) : command_(command) {
        base_ = is_server() ? doctor::find_own_base(why_) : command.base;
    }

    void gather() {
        add_settings();  // first: what it leaves out is left out of the others, too
        add_versions();
        add_answer("doctor.json", "what tsport doctor found", {"doctor", "--json", "--timeout", "2"}, true);
        add_answer("ports.json", "the ports, and the queues that print to them", {"list", "--json"}, false);
        if (!base_.empty()) {
            std::string log;
            const bool read = read_end(base_ + "/" + kLogFileName, log, why_);
            add_if(read, {kLogFileName, "the end of the monitor's log", log});
        }
        add_events();
    }

    // False with the reason; a folder that exists has to be empty.
    bool write(const std::string& folder, std::string& why) {
        std::error_code error;
        const fs::path path = host::path_of(folder);
        fs::create_directories(path, error);
        why = folder + " exists and is not empty; name a new folder";
        if (!error && !fs::is_empty(path, error) && !error) return false;
        why = folder + " cannot be created: " + error.message();
        if (error) return false;
        add({"README.txt", "this list", readme()});
        return std::all_of(parts_.begin(), parts_.end(),
                           [&](const Part& part) { return write_file(folder + "/" + part.name, part.contents, why); });
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const Part& part : parts_) names.push_back(part.name);
        return names;
    }

  private:
    bool is_server() const {
        return command_.base.empty() && command_.store.empty() && doctor::why_no_server() == nullptr;
    }

    void add(Part part) {
        part.contents = secrets_.remove_from(std::move(part.contents));
        parts_.push_back(std::move(part));
    }
    // Or notes why it is missing.
    void add_if(bool read, const Part& part) { read ? add(part) : miss(part.name, why_); }
    void miss(const std::string& name, const std::string& why) { missing_ += "  " + name + ": " + why + "\n"; }

    void add_settings() {
        std::string conf;
        if (base_.empty()) return miss(kSettingsFileName, "no base directory is known; name a copy with --base");
        if (!read_file(base_ + "/" + kSettingsFileName, conf, why_)) return miss(kSettingsFileName, why_);
        add({kSettingsFileName, "the settings, without the key, comments and values of unknown settings",
             secrets_.without(conf)});
    }

    void add_versions() {
        std::string text = "tsport " + std::string(command_line::version()) + "\n";
        std::vector<std::string> files;
        if (is_server()) {
            files = {host::executable_folder() + "/tsport.exe", doctor::system_directory() + "\\" MONITOR_LIBRARY};
        }
        if (!base_.empty()) files.push_back(doctor::path_in(base_, host::to_utf8(contract::kHelperFileName)));
        for (const std::string& file : files) {
            std::string bytes;
            if (read_file(file, bytes, why_)) {
                const std::string version = doctor::read_library(bytes).version;
                text += file + ": " + (version.empty() ? "" : "version " + version + ", ") +
                        std::to_string(bytes.size()) + " bytes, SHA-256 " + host::sha256(bytes) + "\n";
            } else {
                text += file + ": " + why_ + "\n";
            }
        }
        add({"versions.txt", "the versions and sums of the installed files", text});
    }

    // What another verb prints.
    void add_answer(const std::string& name, const std::string& about, command_line::Words words, bool takes_base) {
        if (takes_base && !command_.base.empty()) words.insert(words.end(), {"--base", command_.base});
        if (!command_.store.empty()) words.insert(words.end(), {"--store", command_.store});
        const Answer answer = run(words);
        if (answer.status >= bad_usage) return miss(name, answer.out.substr(0, answer.out.find('\n')));
        add({name, about, answer.out});
    }

    void add_events() {
        size_t number = 0;
        for (const std::string& file : command_.events) {
            std::string bytes;
            if (read_file(file, bytes, why_)) {
                add({"events-" + std::to_string(++number) + ".xml", file, bytes});
            } else {
                miss(file, why_);
            }
        }
        if (!is_server()) return;
        static const struct {
            const char* name;
            const char* log;
            const char* query;
        } logs[] = {
            {"events-application.xml", "Application",
             "*[System[Provider[@Name='Application Error'] and EventID=1000]]"},
            {"events-system.xml", "System",
             "*[System[Provider[@Name='Service Control Manager'] and (EventID=7031 or EventID=7034)]]"},
            {"events-print.xml", "Microsoft-Windows-PrintService/Admin", "*[System[EventID=361 or EventID=808]]"},
        };
        for (const auto& log : logs) {
            std::string xml;
            const bool read = doctor::export_events(log.log, log.query, xml, why_);
            add_if(read, {log.name, "crashes and failures to load of the event log " + std::string(log.log), xml});
        }
    }

    std::string readme() const {
        std::string text = "Made by tsport collect " + std::string(command_line::version()) + " at " +
                           report::second_text(report::local_now()) + ", local time.\n\nIn this folder:\n";
        for (const Part& part : parts_) text += "  " + part.name + ": " + part.about + "\n";
        if (!missing_.empty()) text += "\nNot here:\n" + missing_;
        return text +
               "\nLeft out everywhere: the key of the application server, values of unknown settings, comments of the\n"
               "settings, and documents. Names of printers, jobs, users and servers are in these files: look through\n"
               "them before you give them away.\n";
    }

    const Command& command_;
    std::string base_;
    Secrets secrets_;
    std::vector<Part> parts_;
    std::string missing_;
    std::string why_;
};

}  // namespace

command_line::Options collect_options(Command& command) {
    return {command_line::text("--base", "DIR", command.base), command_line::texts("--events", "FILE", command.events)};
}

void collect(const Task& task) {
    Folder folder(task.command);
    folder.gather();
    std::string name = task.command.file;
    if (name.empty()) {
        name = "tsport-" + report::second_text(report::local_now());
        std::replace(name.begin(), name.end(), ' ', '-');
        name.erase(std::remove(name.begin(), name.end(), ':'), name.end());
    }
    std::string why;
    if (!folder.write(name, why)) return task.fail(refused, why, "file");
    const std::vector<std::string> files = folder.names();
    task.say(doctor::counted(files.size(), "file") + " in " + name + "; README.txt there says what they are",
             [files, name](JsonWriter& json) {
                 json.member("folder", name);
                 json.array("files", [&] {
                     for (const std::string& file : files) json.value(file);
                 });
             });
}

}  // namespace tsport
