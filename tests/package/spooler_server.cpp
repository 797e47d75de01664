#include "tests/package/spooler_server.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include "tests/package/thin_monitor.h"
#include "tools/host/platform.h"
#include "tools/host/records.h"

namespace test {
namespace {

constexpr WCHAR library_name[] = L"tsprintportmon.dll";

fs::path test_folder;

std::vector<Place>& places() {
    static std::vector<Place> all = {
        {L"B\u00fcro \u6771\u4eac", L"Anschlu\u00df \u6771\u4eac", OutsidePrinter(test_folder / "first")},
        {L"Second", L"ts_second", OutsidePrinter(test_folder / "second")},
        {L"Third", L"ts_third", OutsidePrinter(test_folder / "third")},
        {L"Fourth", L"ts_fourth", OutsidePrinter(test_folder / "fourth")},
        {L"Losing", L"ts_losing", OutsidePrinter(test_folder / "losing")},
        {L"Refusing", L"ts_refusing", OutsidePrinter(test_folder / "refusing")},
    };
    return all;
}

// Where the finished library and the programs lie.
fs::path bin() {
    return path_of(host::executable_folder()).parent_path() / "bin";
}

bool copy_over(const fs::path& from, const fs::path& to) {
    std::error_code error;
    return fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
}

bool install_in_system_folder() {
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    return copy_over(bin() / library_name, fs::path(system) / library_name) &&
           copy_over(path_of(host::executable_folder()) / thin_monitor::file_name,
                     fs::path(system) / thin_monitor::file_name);
}

}  // namespace

void set_test_folder(const std::string& path) {
    test_folder = path_of(path);
}

Place& SpoolerServer::first() {
    return places()[0];
}
Place& SpoolerServer::second() {
    return places()[1];
}
Place& SpoolerServer::third() {
    return places()[2];
}
Place& SpoolerServer::fourth() {
    return places()[3];
}
Place& SpoolerServer::losing() {
    return places()[4];
}
Place& SpoolerServer::refusing() {
    return places()[5];
}

// A run that was broken off may have left something.
SpoolerServer::SpoolerServer() {
    wine_spooler::delete_monitor();
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, host::monitor_registry_path);
    for (Place& place : places()) place.printer.forget();
}

SpoolerServer::~SpoolerServer() {
    if (HasFailure()) std::printf("The log's errors: %s\n", testing::PrintToString(errors()).c_str());
    for (const Text& queue : queues_) wine_spooler::delete_queue(queue);
    delete_monitor();
}

void SpoolerServer::start(const Lines& settings) {
    std::string why;
    static int installs = 0;  // a helper may still lie in the folder before
    const fs::path install = test_folder / ("install-" + std::to_string(++installs));
    ASSERT_TRUE(host::set_up_base(utf8_of(install), settings, folder, why)) << why;
    ASSERT_TRUE(copy_over(bin() / host::helper_file_name, base() / host::helper_file_name));
    ASSERT_TRUE(install_in_system_folder());
    store_ports();
    add_monitor();
    for (const Place& place : places()) add_queue(place.queue, place.port);
}

std::vector<Place*> SpoolerServer::everywhere() {
    return {&first(), &second(), &third(), &fourth()};
}

std::vector<Text> SpoolerServer::all_ports() {
    std::vector<Text> names;
    for (const Place& place : places()) names.emplace_back(place.port);
    std::sort(names.begin(), names.end());
    return names;
}

void SpoolerServer::store_ports() {
    for (Place& place : places()) {
        ASSERT_NE(place.printer.port(), 0u);
        ASSERT_TRUE(host::store_port(place.port, L"127.0.0.1", place.printer.port()));
    }
}

void SpoolerServer::add_monitor() {
    EXPECT_FALSE(wine_spooler::is_monitor_listed());
    wine_spooler::add_monitor();
    EXPECT_TRUE(wine_spooler::is_monitor_listed());
    EXPECT_NE(GetModuleHandleW(library_name), nullptr);
}

void SpoolerServer::delete_monitor() {
    EXPECT_TRUE(wine_spooler::delete_monitor()) << GetLastError();
    EXPECT_FALSE(wine_spooler::is_monitor_listed());
    EXPECT_EQ(GetModuleHandleW(library_name), nullptr) << "the library is still loaded";
    EXPECT_EQ(GetModuleHandleW(thin_monitor::file_name), nullptr);
}

void SpoolerServer::add_queue(const Text& queue, const Text& port) {
    wine_spooler::add_queue(queue, port);
    queues_.push_back(queue);
}

bool SpoolerServer::is_printed(const Outcome& outcome) {
    EXPECT_NE(outcome.job, 0u);
    EXPECT_TRUE(outcome.told);
    EXPECT_EQ(outcome.commands, (std::vector<printing::Command>{{outcome.job, 0, JOB_CONTROL_SENT_TO_PRINTER, TRUE}}));
    EXPECT_TRUE(outcome.forgotten);
    return outcome.told;
}

void SpoolerServer::expect_prints(Place& place, const std::string& data) {
    ASSERT_TRUE(is_printed(printing::print(place.queue, data)));
    EXPECT_TRUE((place.printer.next() == Arrival{data, "finished"}));
}

DWORD SpoolerServer::send(const Text& object, ACCESS_MASK access, LPCWSTR command, const void* input, size_t size,
                          void* output, DWORD output_size) {
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, access};
    Text name = object;
    HANDLE channel = nullptr;
    if (!OpenPrinterW(name.data(), &channel, &defaults)) return GetLastError();
    DWORD needed = 0;
    DWORD status = ERROR_SUCCESS;
    const BOOL passed_on =
        XcvDataW(channel, command, static_cast<BYTE*>(const_cast<void*>(input)), static_cast<DWORD>(size),
                 static_cast<BYTE*>(output), output_size, &needed, &status);
    const DWORD code = passed_on ? status : GetLastError();
    ClosePrinter(channel);
    return code;
}

DWORD SpoolerServer::send(LPCWSTR command, const tsmon::PortConfig& input) {
    return send(object_of_monitor, SERVER_ACCESS_ADMINISTER, command, &input, sizeof input);
}

DWORD SpoolerServer::send(LPCWSTR command, const Text& port) {
    return send(object_of_monitor, SERVER_ACCESS_ADMINISTER, command, port.c_str(), (port.size() + 1) * sizeof(WCHAR));
}

SpoolerServer::Program::Program(const Text& command) : child_(start_child(command)) {
    EXPECT_EQ(child_.error, 0u);
}

SpoolerServer::Program::~Program() {
    close_child(child_);
}

std::string SpoolerServer::Program::output() {
    DWORD error = 0;
    return read_to_end(child_.output, error);
}

DWORD SpoolerServer::Program::status() {
    DWORD status = ~0u;
    WaitForSingleObject(child_.process, INFINITE);
    GetExitCodeProcess(child_.process, &status);
    return status;
}

Text SpoolerServer::own_program() {
    WCHAR program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return Text(L"\"") + program + L"\"";
}

std::string SpoolerServer::tsport(const Text& arguments) {
    Program program(L"\"" + (bin() / "tsport.exe").wstring() + L"\" " + arguments);
    std::string output = program.output();
    std::erase(output, '\r');
    return std::to_string(program.status()) + " " + output;
}

namespace {

// Of "TIME LEVEL: FILE:LINE - MESSAGE [THREAD]" the message; empty for another kind of line.
std::string message_of(const std::string& line) {
    const size_t start = line.find(" - ");
    const size_t end = line.rfind(" [");
    return start == std::string::npos || end == std::string::npos || end < start
               ? std::string()
               : line.substr(start + 3, end - start - 3);
}

template <typename Wanted>
Lines messages_of(const std::string& log, Wanted wanted) {
    std::istringstream text(log);
    Lines found;
    for (std::string line; std::getline(text, line);) {
        const std::string message = message_of(line);
        if (wanted(line, message)) found.push_back(message);
    }
    return found;
}

}  // namespace

Lines SpoolerServer::messages(const Lines& beginnings) const {
    return messages_of(log(), [&](const std::string&, const std::string& message) {
        return std::any_of(beginnings.begin(), beginnings.end(),
                           [&](const std::string& beginning) { return message.starts_with(beginning); });
    });
}

Lines SpoolerServer::errors() const {
    return messages_of(
        log(), [](const std::string& line, const std::string&) { return line.find(" ERROR: ") != std::string::npos; });
}

int SpoolerServer::logged(const std::string& text) const {
    const std::string all = log();
    int count = 0;
    for (size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1)) ++count;
    return count;
}

Lines SpoolerServer::files_in(const std::string& name) const {
    Lines names;
    for (const auto& entry : fs::directory_iterator(path_of(folder.spool(name)))) {
        names.push_back(utf8_of(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string SpoolerServer::heard(int run) const {
    std::string transcript;
    wait_until([&] {
        transcript = read_file(base() / "ts-print-monitor.runs" / std::to_string(run) / "transcript");
        const size_t last = transcript.size() < 2 ? 0 : transcript.rfind('\n', transcript.size() - 2) + 1;
        return transcript.ends_with(")\n") && transcript[last] == '(';
    });
    return transcript;
}

void SpoolerServer::check_hardware(const Place& place) {
    ASSERT_TRUE(host::write_settings_record(folder, host::to_utf8(place.queue)));
}

void SpoolerServer::force_attributes(const Place& place, DWORD job) {
    ASSERT_TRUE(host::write_force_attributes_records(folder, host::to_utf8(place.queue), job));
}

}  // namespace test
