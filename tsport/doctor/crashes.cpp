#include "tsport/doctor/crashes.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "host/platform.h"
#include "tsport/doctor/binary.h"
#include "tsport/file.h"
#include "tsport/registry.h"
#include "tsport/report/report.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {
namespace {

using report::Timestamp;

std::string file_in(const std::string& path) {
    return path.substr(path.find_last_of("\\/") + 1);
}

bool is_ours(const std::string& module) {
    return lower(file_in(module)) == lower(MONITOR_LIBRARY);
}

// Modules of Windows in which damage that any other one has done becomes visible.
bool tells_nothing(const std::string& module) {
    static constexpr std::string_view names[] = {"ntdll.dll",    "kernelbase.dll", "kernel32.dll", "ucrtbase.dll",
                                                 "msvcrt.dll",   "combase.dll",    "rpcrt4.dll",   "spoolsv.exe",
                                                 "localspl.dll", "win32spl.dll",   "spoolss.dll",  "unknown"};
    const std::string name = lower(file_in(module));
    return name.empty() || std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// "2026-11-24T23:51:39.1234567Z" in this machine's local time.
std::optional<Timestamp> local_time_of(const std::string& utc) {
    if (utc.size() < 19 || utc[10] != 'T') return {};
    const std::optional<Timestamp> time = report::parse_time(utc.substr(0, 19), {});
    if (!time) return {};
    return report::local_time_of(std::chrono::floor<std::chrono::seconds>(*time).time_since_epoch().count());
}

bool is_of(const Event& event, const char* provider, unsigned id) {
    return event.id == id && event.provider == provider;
}

// The service is named in the server's language, but its short name, in UTF-16, is among the event's bytes.
bool ends_spooler(const Event& event) {
    const bool ended = is_of(event, "Service Control Manager", 7031) || is_of(event, "Service Control Manager", 7034);
    return ended && std::any_of(event.data.begin(), event.data.end(), [](const std::string& field) {
               return field == "Print Spooler" || lower(field).starts_with("530070006f006f006c0065007200");
           });
}

// The fields of an "Application Error".
enum Field : size_t { application, module_name = 3, module_version, exception = 6, offset };

// "tsprintportmon.dll 1.0.0 at offset 0x1a2b (in WritePort), exception 0xc0000005".
std::string place_of(const Event& event, const CrashContext& context) {
    std::string place = event.field(module_name) + " " + event.field(module_version) + " at offset 0x" +
                        event.field(offset) + ", exception 0x" + event.field(exception);
    if (!is_ours(event.field(module_name))) return place;
    const bool same = event.field(module_version).starts_with(context.version);
    const std::string digits = event.field(offset);
    std::uint32_t address = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), address, 16);
    const std::string function = same && parsed.ec == std::errc() ? function_at(context.symbols, address) : "";
    if (!function.empty()) return place + ", in the function " + function;
    if (!same) return place + "; the function is not known, the symbols here are of version " + context.version;
    return place + "; the function is not known, no " + MONITOR_LIBRARY + " symbols (.pdb) are beside this program";
}

// Crashes of one kind.
struct Crashes {
    size_t count = 0;
    Timestamp last;
    std::string place;  // of the last one
};

void add_crashes(const std::string& module, const Crashes& crashes, const CrashContext& context, Findings& findings) {
    const bool unknown = tells_nothing(module);
    std::string text = (crashes.count == 1 ? "at " : counted(crashes.count, "time") + ", the last at ") +
                       report::second_text(crashes.last) + ": " + crashes.place;
    if (context.printing_at) text += context.printing_at(crashes.last);
    for (size_t i = 0; unknown && i < context.neighbors.size(); ++i) {
        text += (i == 0 ? "; the spooler also loads " : ", ") + context.neighbors[i];
    }
    findings.add(is_ours(module) ? "events.this-library"
                 : unknown       ? "events.unknown-module"
                                 : "events.other-module",
                 text);
}

// The documents that were under way at a time.
std::string printing_at(const report::Report& log, Timestamp time) {
    constexpr size_t most = 5;
    size_t count = 0;
    std::string text;
    for (const report::Document* const document : log.documents.in_order()) {
        const bool recent = document->start <= time && time - document->start < std::chrono::days(1);
        if (!recent || (!document->is_open() && document->end() < time)) continue;
        const std::string printer(log.texts[document->printer]);
        if (++count > most) continue;
        text += (count == 1 ? "; under way then: " : ", ") +
                (document->has_job ? "job " + std::to_string(document->job) : std::string("a job")) +
                (printer.empty() ? "" : " on " + printer);
    }
    return count <= most ? text : text + " and " + std::to_string(count - most) + " more";
}

// The libraries of the spooler's other port monitors; none where there is no spooler.
std::vector<std::string> other_monitors() {
    std::vector<std::string> libraries;
    const Text monitors = host::to_text(MONITORS_KEY);
    for (const Text& name : RegistryKey(HKEY_LOCAL_MACHINE, monitors).subkeys()) {
        Text library;
        if (!RegistryKey(HKEY_LOCAL_MACHINE, monitors + W("\\") + name).read_text(contract::kDriverValue, library))
            continue;
        if (!is_ours(host::to_utf8(library))) libraries.push_back(host::to_utf8(library));
    }
    return libraries;
}

}  // namespace

void check_events(const std::vector<Event>& events, const CrashContext& context, Findings& findings) {
    constexpr auto soon = std::chrono::minutes(2);  // Windows writes of the service soon after it writes of the module
    std::map<std::string, Crashes> by_module;
    std::vector<Timestamp> module_times;
    std::vector<Timestamp> ends;
    std::map<std::string, std::string> ports_failed;  // by printer
    const auto add = [](Crashes& crashes, Timestamp time, const std::string& place) {
        ++crashes.count;
        if (crashes.count > 1 && time < crashes.last) return;
        crashes.last = time;
        crashes.place = place;
    };
    for (const Event& event : events) {
        const std::optional<Timestamp> time = local_time_of(event.time);
        if (!time) continue;
        if (is_of(event, "Application Error", 1000) && lower(event.field(application)) == "spoolsv.exe") {
            add(by_module[lower(event.field(module_name))], *time, place_of(event, context));
            module_times.push_back(*time);
        } else if (ends_spooler(event)) {
            ends.push_back(*time);
        } else if (is_of(event, "Microsoft-Windows-PrintService", 808)) {
            for (const std::string& field : event.data) {
                if (is_ours(field)) {
                    findings.add("events.not-loaded", report::second_text(*time) + ": " + field);
                }
            }
        } else if (is_of(event, "Microsoft-Windows-PrintService", 361)) {
            ports_failed[event.field(0)] = report::second_text(*time);
        }
    }
    for (const auto& [module, crashes] : by_module) add_crashes(module, crashes, context, findings);
    Crashes unexplained;
    for (const Timestamp end : ends) {
        const bool explained = std::any_of(module_times.begin(), module_times.end(),
                                           [&](Timestamp time) { return end >= time - soon && end <= time + soon; });
        if (!explained) add(unexplained, end, "the service ended without an event that names a module");
    }
    if (unexplained.count != 0) add_crashes("", unexplained, context, findings);
    for (const auto& [printer, time] : ports_failed) {
        findings.add("events.port-not-opened",
                     time + ": the printer \"" + printer + "\" failed to initialize its ports");
    }
    findings.saw("events", counted(events.size(), "event") + ", the spooler ended " +
                               counted(std::max(module_times.size(), ends.size()), "time"));
}

bool check_event_files(const command_line::Words& files, const std::string& base, Findings& findings,
                       std::string& why) {
    std::vector<Event> events;
    std::string bytes;
    for (const std::string& file : files) {
        if (!read_file(file, bytes, why)) return false;
        if (!read_events(bytes, events, why)) {
            why = file + ": " + why;
            return false;
        }
    }
    CrashContext context{PROGRAM_VERSION, "", other_monitors(), {}};
    std::string ignored;
    const std::string library = MONITOR_LIBRARY;
    for (const char* const folder : {"/", "/../"}) {  // the package has the library above this program
        const std::string path = host::executable_folder() + folder + library.substr(0, library.rfind('.')) + ".pdb";
        if (context.symbols.empty()) read_file(path, context.symbols, ignored);
    }
    const auto log = std::make_unique<report::Report>();
    report::Options options;
    options.logs = {base};
    if (!base.empty() && report::read_logs(options, {}, *log, ignored)) {
        context.printing_at = [&log](Timestamp time) { return printing_at(*log, time); };
    }
    check_events(events, context, findings);
    return true;
}

}  // namespace tsport::doctor
