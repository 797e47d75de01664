#include "tests/faults/scenarios.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tools/host/text.h"
#include "tools/host/xcv.h"
#include "winapi/linux/fault.h"
#include "winapi/spooler_sim/spooler_sim.h"

namespace faults {
namespace {

const std::vector<std::string> kSettings = {"Debug=on", "IsPrintingBasedOnPortMonitor=on", "LogRotateCheckCount=50",
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

// A document that ended well has brought one of these to the printer, whole; or nothing, if it may be thrown away.
std::string check_document(World& world, const host::Outcome& outcome, const std::vector<std::string>& may_arrive,
                           bool may_be_dropped) {
    const bool ended_well = outcome.result != host::Result::failed && outcome.result != host::Result::not_started;
    const std::vector<std::string> arrived = world.arrived(ended_well && !may_be_dropped);
    if (!ended_well) return "";
    if (arrived.empty()) return may_be_dropped ? "" : "reported as printed, and nothing has arrived";
    for (const std::string& one : may_arrive) {
        if (arrived.back() == one) return "";
    }
    return "reported as printed, and " + std::to_string(arrived.back().size()) + " bytes of something else arrived";
}

// -- Start and stop

void prepare_start(World& world) {
    world.reset(kSettings);
    for (int i = 0; i < 3; ++i) host::store_port(W("more ") + host::to_text(std::to_string(i)), W("127.0.0.1"), 9);
}

// Where nobody has set up the service.
void prepare_bare_start(World& world) {
    prepare_start(world);
    std::filesystem::remove(world.folder().base + "/print-provider.conf");
}

std::string run_start(World& world) {
    world.load();
    world.unload();
    return "";
}

// -- Documents

std::string run_document(World& world) {
    return check_document(world, world.print(page()), {page()}, false);
}

void prepare_progress(World& world) {
    prepare_monitor(world);
    // The record that the service has made for the job.
    std::ofstream(world.folder().spool("hpc") + "/job-Office-7.dat") << "made by the service";
}

void prepare_refused(World& world) {
    prepare_monitor(world);
    world.mark_not_approved();
}

// A marker that could not be looked for does not refuse the job.
std::string run_refused(World& world) {
    return check_document(world, world.print(page()), {page()}, true);
}

void prepare_hwcheck(World& world, const char* script) {
    prepare_monitor(world);
    world.check_hardware();
    world.answer_by(script);
}

void prepare_hwcheck_wait(World& world) {
    prepare_hwcheck(world, "on startdoc WAIT \"Door Open\" then WAIT then OK");
}
void prepare_hwcheck_delete(World& world) {
    prepare_hwcheck(world, "on startdoc DELETE");
}
void prepare_hwcheck_error(World& world) {
    prepare_hwcheck(world, "on printeraddress ERROR");
}

void prepare_forceattr(World& world) {
    prepare_monitor(world);
    world.force_attributes();
}

std::uint64_t failed_calls(const std::string& function) {
    for (const winapi::fault::Point* const point : winapi::fault::points()) {
        if (point->function() == function) return point->failures();
    }
    return 0;
}

// A restart counts as requested, and the document as ended, also when the spooler refuses it: then anything may arrive.
std::string run_forceattr(World& world) {
    const std::uint64_t refused = failed_calls("SetJobW");
    const host::Outcome outcome = world.print(page());
    if (failed_calls("SetJobW") == refused) return check_document(world, outcome, {page(), rewritten()}, false);
    world.arrived(false);
    return "";
}

void prepare_forceattr_debug(World& world) {
    std::vector<std::string> settings = kSettings;
    settings.emplace_back("ForceAttributesDebug=on");
    world.reset(settings);
    world.load();
    world.force_attributes();
}

void prepare_lost(World& world) {
    prepare_monitor(world);
    peer::Behaviour broken;
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
    std::ofstream(world.folder().log(), std::ios::app) << std::string(8192, 'x') << "\n";
    std::ofstream(world.folder().log() + ".1") << "older\n";
}

// -- Configuration

struct Config {
    WCHAR address[129] = {};
    WCHAR name[65] = {};
    DWORD port = 0;
};
static_assert(sizeof(Config) == 392);

Config config_of(const Text& name, DWORD port) {
    Config config;
    const Text address = W("127.0.0.1");
    std::copy(address.begin(), address.end(), config.address);
    std::copy(name.begin(), name.end(), config.name);
    config.port = port;
    return config;
}

DWORD send(World& world, LPCWSTR command, const void* input, DWORD size, const Text& object = W("")) {
    BYTE output[512] = {};
    DWORD needed = 0;
    const host::Xcv xcv(world.monitor(), object, SERVER_ACCESS_ADMINISTER);
    const DWORD output_size = Text(command) == W("TSGetConfigInfo") ? 392 : 512;
    return xcv.send(command, input, size, output, output_size, &needed);
}

bool holds(const std::vector<std::string>& names, const char* name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// What was added is in both places, what was not is at least not in the list.
std::string run_add(World& world) {
    const Config config = config_of(W("New"), 9);
    const DWORD code = send(world, W("TSAddPort"), &config, sizeof config);
    winapi::fault::disarm();
    const bool listed = holds(world.listed_ports(), "New");
    const bool stored = holds(World::stored_ports(), "New");
    send(world, W("TSDeletePort"), config.name, sizeof config.name);
    if (code != ERROR_SUCCESS) return listed ? "refused, and yet listed" : "";
    return listed && stored ? "" : "added, and not in both places";
}

std::string run_config(World& world) {
    const Config config = config_of(kPrinterName, world.printer().port());
    send(world, W("TSConfigPort"), &config, sizeof config);
    return "";
}

std::string run_get(World& world) {
    send(world, W("TSGetConfigInfo"), nullptr, 0, kPrinterName);
    return "";
}

void prepare_delete(World& world) {
    world.reset(kSettings);
    host::store_port(W("Old"), W("127.0.0.1"), 9);
    world.load();
}

// A registry that keeps the port is told by a line; the list forgets it.
std::string run_delete(World& world) {
    const WCHAR name[] = W("Old");
    const DWORD code = send(world, W("TSDeletePort"), name, sizeof name);
    winapi::fault::disarm();
    const bool listed = holds(world.listed_ports(), "Old");
    if (code == ERROR_SUCCESS) return listed ? "deleted, and still listed" : "";
    return listed && holds(World::stored_ports(), "Old") ? "" : "not deleted, and not in both places";
}

// A spooler that cannot list its monitor's ports says that it has none: nothing can be asked of the answer.
std::string run_exists(World& world) {
    const WCHAR name[] = W("Office");
    send(world, W("TSPortExists"), name, sizeof name);
    return "";
}

std::string run_valid(World& world) {
    const Config config = config_of(kPrinterName, world.printer().port());
    send(world, W("TSPortIsValid"), &config, sizeof config);
    world.arrived();
    return "";
}

std::string run_ui(World& world) {
    send(world, W("MonitorUI"), nullptr, 0);
    return "";
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
        {"progress", prepare_progress, run_document},
        {"refused", prepare_refused, run_refused},
        {"hwcheck-wait", prepare_hwcheck_wait, run_document},
        {"hwcheck-delete", prepare_hwcheck_delete, run_refused},
        {"hwcheck-error", prepare_hwcheck_error, run_document},
        {"forceattr", prepare_forceattr, run_forceattr},
        {"forceattr-debug", prepare_forceattr_debug, run_forceattr},
        {"lost-printer", prepare_lost, run_lost},
        {"rotation", prepare_rotation, run_document},
        {"xcv-add", prepare_monitor, run_add},
        {"xcv-config", prepare_monitor, run_config},
        {"xcv-get", prepare_monitor, run_get},
        {"xcv-delete", prepare_delete, run_delete},
        {"xcv-exists", prepare_monitor, run_exists},
        {"xcv-valid", prepare_monitor, run_valid},
        {"xcv-ui", prepare_monitor, run_ui},
    };
    return all;
}

}  // namespace faults
