#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tests/faults/world.h"
#include "winapi/linux/fault.h"
#include "winapi/spooler_sim/spooler_sim.h"

namespace faults {
namespace {

const Lines kSettings = {"Debug=on", "IsPrintingBasedOnPortMonitor=on", "LogRotateCheckCount=50",
                         "LogRotateSizeKBytes=4"};

// What the sample helper makes of the page.
std::string rewritten() {
    const size_t end_of_line = page().find('\n') + 1;
    return page().substr(0, end_of_line) + "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n" +
           page().substr(end_of_line);
}

void prepare_monitor(World& world) {
    world.reset(kSettings);
    world.load();
}

bool failed(const char* function) {
    return winapi::fault::failed_function() == function;
}
// What the log has to tell of it once, when the log itself can be written.
bool untold(const World& world, const std::string& line) {
    return world.mode == winapi::fault::Mode::once && world.logged(line) != 1;
}

// A document that ended well has brought one of these to the printer, whole; or nothing, if it may be thrown away.
std::string check_document(World& world, const host::Outcome& outcome, const Lines& may_arrive, bool may_be_dropped) {
    const bool ended_well = outcome.result != host::Result::failed && outcome.result != host::Result::not_started;
    const Lines arrived = world.arrived(ended_well && !may_be_dropped);
    const bool must_be_kept = world.mode == winapi::fault::Mode::once && !failed("ImpersonatePrinterClient");
    if (must_be_kept && !outcome.identity_kept) return "the thread acts for somebody else";
    if (!ended_well) return "";
    if (arrived.empty()) return may_be_dropped ? "" : "reported as printed, and nothing has arrived";
    if (std::find(may_arrive.begin(), may_arrive.end(), arrived.back()) != may_arrive.end()) return "";
    return "reported as printed, and " + std::to_string(arrived.back().size()) + " bytes of something else arrived";
}

// -- Start and stop

void prepare_ports(World& world) {
    world.reset(kSettings);
    for (int i = 0; i < 3; ++i) host::store_port(W("more ") + host::to_text(std::to_string(i)), W("127.0.0.1"), 9);
}

// The library stays, and what it knows of earlier starts.
void prepare_start(World& world) {
    prepare_ports(world);
    world.keep_library();
}

// Where nobody has set up the service, and the library is loaded anew each time.
void prepare_bare_start(World& world) {
    prepare_ports(world);
    std::filesystem::remove(world.folder.base + "/print-provider.conf");
}

// Without sockets it does not start; the next start is like the first, with its own settings.
std::string check_start(World& world) {
    const bool loaded = world.load();
    world.monitor.unload();
    const bool has_settings = std::filesystem::exists(world.folder.base + "/print-provider.conf");
    winapi::fault::disarm();
    if (!failed("WSAStartup") || !has_settings) return "";
    if (loaded || untold(world, "TSM: WSAStartup failed with error: ")) return "started without sockets";
    const size_t before = world.logged("TSM init complete");
    const bool again = world.load();
    world.monitor.unload();
    return again && world.logged("TSM init complete") == before + 1 ? "" : "the next start is not like the first";
}

std::string run_start(World& world) {
    const std::string wrong = check_start(world);
    world.release_library();
    return wrong;
}

// A port that is open when it is deleted, and never closed.
std::string run_open_port(World& world) {
    HANDLE port = nullptr;
    if (world.load() && world.monitor.open_port(W("more 0"), port)) {
        host::send_name(world.monitor, W("TSDeletePort"), W("more 0"));
    }
    world.monitor.unload();
    winapi::fault::disarm();
    world.release_library();
    return "";
}

// What was sized may be too small for what is filled in.
std::string run_list(World& world) {
    for (const DWORD level : {1u, 2u}) {
        DWORD needed = 0;
        DWORD count = 0;
        const auto list = [&](BYTE* buffer, DWORD size) {
            SetLastError(0);
            return world.monitor.table()->pfnEnumPorts(world.monitor.monitor(), nullptr, level, buffer, size, &needed,
                                                       &count) ||
                   GetLastError() == ERROR_INSUFFICIENT_BUFFER || GetLastError() == ERROR_NOT_ENOUGH_MEMORY;
        };
        if (!list(nullptr, 0)) return "sizing ends with error " + std::to_string(GetLastError());
        const std::unique_ptr<BYTE[]> buffer(new BYTE[needed]);  // its bounds are the sanitizer's
        if (!list(buffer.get(), needed)) return "filling ends with error " + std::to_string(GetLastError());
    }
    return "";
}

// -- Documents

std::string run_document(World& world) {
    return check_document(world, world.print(page()), {page()}, false);
}

void prepare_document(World& world, const testbed::DocumentPlan& plan, const Lines& settings = kSettings) {
    world.reset(settings);
    world.load();
    testbed::lay_out(world.folder, "Office", kJob, plan);
}

// A marker that could not be looked for does not refuse the job.
std::string run_refused(World& world) {
    return check_document(world, world.print(page()), {page()}, true);
}

void prepare_checked(World& world, const std::string& script) {
    prepare_document(world, {.checked = true, .script = script});
}

std::uint64_t failed_calls(const std::string& function) {
    for (const winapi::fault::Point* const point : winapi::fault::points()) {
        if (point->function() == function) return point->failures();
    }
    return 0;
}

// A restart counts as requested, and the document as ended, also when the spooler refuses it: then anything may arrive.
std::string run_forced(World& world) {
    const std::uint64_t refused = failed_calls("SetJobW");
    const host::Outcome outcome = world.print(page());
    if (failed_calls("SetJobW") == refused) return check_document(world, outcome, {page(), rewritten()}, false);
    world.arrived(false);
    return "";
}

void prepare_lost(World& world) {
    prepare_monitor(world);
    test_printer::Behaviour broken;
    broken.reset_after = 3000;
    broken.receive_buffer = 65536;
    world.printer().behave_once(broken);
}

// Large enough for the reset to be felt, in few pieces, as each is a dozen calls.
std::string run_lost(World& world) {
    static const std::string large = [] {
        std::string data;
        while (data.size() < (8u << 20)) data += page();
        return data;
    }();
    return check_document(world, world.print(large, 1 << 20), {large}, false);
}

void prepare_rotation(World& world) {
    prepare_monitor(world);
    std::ofstream(world.folder.log(), std::ios::app) << std::string(8192, 'x') << "\n";
    std::ofstream(world.folder.log() + ".1") << "older\n";
}

// -- Configuration

const host::PortConfig kOld = host::port_config(W("Old"), W("10.0.0.1"), 1);
const host::PortConfig kChanged = host::port_config(W("Old"), W("10.0.0.2"), 2);

void prepare_old(World& world) {
    world.reset(kSettings);
    host::store_port(W("Old"), kOld.printer_address, kOld.port_number);
    world.load();
}

bool registry_failed() {
    return winapi::fault::failed_function().starts_with("Reg") && !failed("RegCloseKey");
}

// A command that changes the port kOld; what it makes of it, and what it is told of.
struct Change {
    LPCWSTR command;
    std::vector<host::PortConfig> before;
    std::vector<host::PortConfig> after;
    std::vector<host::PortConfig> half;  // what may be stored when the registry fails ...
    bool done_without_registry;          // ... and whether it succeeds all the same
    Lines told;                          // once
};

const Change kAdd = {
    W("TSAddPort"),
    {},
    {kOld},
    {},
    false,
    {"TSM Xcv DoAddPort: failed to add port and so removing port entry", "TSM: AddPortInRegistry failed to "}};
const Change kConfigure = {
    W("TSConfigPort"),
    {kOld},
    {kChanged},
    {host::port_config(W("Old"), kChanged.printer_address, 1)},
    false,
    {"TSM: Xcv DoConfigPort: failed to update registry", "TSM: UpdatePortInRegistry failed to "}};
const Change kDelete = {W("TSDeletePort"), {kOld}, {}, {kOld}, true, {"TSM: DeletePortFromRegistry failed to "}};

// In the list and in the registry, or in neither, as its code tells.
std::string run_change(World& world, const Change& change) {
    const spooler_sim::ClientScope administrator(W("ann"));
    const DWORD code = change.after.empty() ? host::send_name(world.monitor, change.command, W("old"))
                                            : host::send_config(world.monitor, change.command, change.after[0]);
    winapi::fault::disarm();
    const bool done = code == ERROR_SUCCESS;
    const auto& ports = done ? change.after : change.before;
    const auto are = [&world](const Lines& found, std::vector<host::PortConfig> expected) {
        expected.push_back(host::port_config(kPrinterName, W("127.0.0.1"), world.printer().port()));
        return found == to_lines(expected);
    };
    if (failed("ImpersonatePrinterClient") && untold(world, "TSM: Unable to ImpersonatePrinterClient - ")) {
        return "the thread stays the spooler, and the log does not tell";
    }
    if (!are(world.listed(), ports)) return "the listed ports are not those that the command's code tells of";
    if (!are(World::stored(), ports) &&
        !((registry_failed() || world.mode != winapi::fault::Mode::once) && are(World::stored(), change.half))) {
        return "the stored ports are not those that the command's code tells of";
    }
    if (world.mode == winapi::fault::Mode::once) {
        const bool must_fail = failed("GetSystemDirectoryW") || failed("LoadLibraryW") || failed("GetProcAddress");
        if (done && (must_fail || (registry_failed() && !change.done_without_registry))) {
            return "done without the registry or the spooler";
        }
        for (const std::string& line : change.told) {
            if (registry_failed() && untold(world, line)) return "the log does not tell of it once: " + line;
        }
    }
    const DWORD again = host::send_config(world.monitor, W("TSAddPort"), kChanged);
    if (again != (ports.empty() ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_ALREADY_EXISTS}))
        return "added again, or not at all";
    if (ports.empty() && !are(World::stored(), {kChanged})) return "what is added again is not stored";
    host::send_name(world.monitor, W("TSDeletePort"), W("Old"));
    return "";
}

// Whoever closes the port last gives back what the document held, and is himself again.
std::string run_abandoned(World& world) {
    HANDLE port = nullptr;
    spooler_sim::add_job(kPrinterName, kJob, W("doc"), W("ann"));
    const spooler_sim::ClientScope user(W("ann"));
    if (world.monitor.open_port(kPrinterName, port)) {
        DWORD written = 0;
        if (world.monitor.start_document(port, kPrinterName, kJob, W("doc"))) {
            world.monitor.write(port, page().data(), static_cast<DWORD>(page().size()), written);
        }
        host::send_name(world.monitor, W("TSDeletePort"), kPrinterName);
        world.monitor.close_port(port);
    }
    winapi::fault::disarm();
    host::send_name(world.monitor, W("TSDeletePort"), kPrinterName);  // where that failed
    world.arrived();
    const bool untold_return = failed("ImpersonatePrinterClient") && untold(world, "mpersonatePrinterClient");
    const host::PortConfig own = host::port_config(kPrinterName, W("127.0.0.1"), world.printer().port());
    host::send_config(world.monitor, W("TSAddPort"), own);
    return untold_return ? "the thread stays the spooler, and the log does not tell" : "";
}

// A spooler that cannot list its monitor's ports says that it has none: nothing can be asked of the answer.
std::string run_ask(World& world) {
    BYTE library[64];
    host::PortConfig config = {};
    host::read_config(world.monitor, kPrinterName, config);
    host::send_name(world.monitor, W("TSPortExists"), kPrinterName);
    host::Xcv(world.monitor, W(""), SERVER_ACCESS_ADMINISTER).send(W("MonitorUI"), nullptr, 0, library, sizeof library);
    const DWORD code = host::send_config(world.monitor, W("TSPortIsValid"),
                                         host::port_config(kPrinterName, W("127.0.0.1"), world.printer().port()));
    world.arrived();
    return code == ERROR_SUCCESS && (failed("connect") || failed("GetAddrInfoW")) ? "valid without a connection" : "";
}

}  // namespace

const std::string& page() {
    static const std::string text = [] {
        std::string made = "%!PS-Adobe-3.0\n";
        for (int i = 0; made.size() < 30000; ++i) made += std::to_string(i) + " 72 moveto (a line) show\n";
        return made + "showpage\n";
    }();
    return text;
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all = {
        {"start", prepare_start, run_start},
        {"bare-start", prepare_bare_start, run_start},
        {"document", prepare_monitor, run_document},
        {"open-port", prepare_start, run_open_port},
        {"list", prepare_old, run_list, true},
        {"progress", [](World& world) { prepare_document(world, {.progress = true}); }, run_document},
        {"refused", [](World& world) { prepare_document(world, {.not_approved = true}); }, run_refused},
        {"hwcheck-wait",
         [](World& world) { prepare_checked(world, "on startdoc WAIT \"Door Open\" then WAIT then OK"); },
         run_document},
        {"hwcheck-delete", [](World& world) { prepare_checked(world, "on startdoc DELETE"); }, run_refused},
        {"hwcheck-error", [](World& world) { prepare_checked(world, "on printeraddress ERROR"); }, run_document},
        {"forceattr", [](World& world) { prepare_document(world, {.forced = true}); }, run_forced},
        {"forceattr-debug",
         [](World& world) {
             prepare_document(world, {.forced = true},
                              {"Debug=on", "IsPrintingBasedOnPortMonitor=on", "ForceAttributesDebug=on"});
         },
         run_forced},
        {"abandoned", [](World& world) { prepare_document(world, {.forced = true}); }, run_abandoned},
        {"lost-printer", prepare_lost, run_lost},
        {"rotation", prepare_rotation, run_document},
        {"xcv-add", prepare_monitor, [](World& world) { return run_change(world, kAdd); }, true},
        {"xcv-config", prepare_old, [](World& world) { return run_change(world, kConfigure); }, true},
        {"xcv-delete", prepare_old, [](World& world) { return run_change(world, kDelete); }, true},
        {"xcv-ask", prepare_monitor, run_ask},
    };
    return all;
}

}  // namespace faults
