// What is counted of a document, and what its dearer calls take alone.
#include <filesystem>
#include <fstream>

#include "bench/plan.h"
#include "bench/print_server.h"
#include "bench/windows/imports.h"
#include "host/platform.h"

namespace bench {
namespace {

void add_calls(Bench& bench, const std::string& name, unsigned times, const std::function<void()>& work) {
    const Calls before = counted_calls();
    for (unsigned i = 0; i < times; ++i) work();
    Calls calls = counted_calls();
    Row row = figure_row(name, "calls", 0);
    for (auto& [function, count] : calls) {
        count = (count - before.at(function)) / times;
        row.ours += count;
    }
    row.note = calls_to_text(calls);
    bench.report.add(row);
}

}  // namespace

void memory_of_ports(Bench& bench) {
    bench.report.add(figure_row("memory per further port and document, 64 to 1,000 ports", "KiB",
                                memory_of_a_port(bench.receiver.port()), 32));
}

void windows_calls(Bench& bench) {
    constexpr unsigned kTimes = 100;
    const std::vector<char> data = buffer_of(kUsualWrite);
    const spooler_sim::ClientScope client(W("client"));
    for (const bool debug : {false, true}) {
        PrintServer server(bench.receiver.port(), 1);
        server.start(debug ? std::vector<std::string>{"Debug=on"} : std::vector<std::string>{});
        const std::string setting = debug ? ", Debug=on" : ", logging off";
        server.print(0, data, kSmallDocument, kUsualWrite);
        count_calls();
        add_calls(bench, "Windows calls of a 100 KiB document" + setting, kTimes,
                  [&] { server.print(0, data, kSmallDocument, kUsualWrite); });
        const HANDLE handle = server.begin(0);
        // The first ones of a document are noted one by one.
        for (unsigned i = 0; i < 20; ++i) server.write(handle, data.data(), data.size());
        add_calls(bench, "Windows calls of a WritePort" + setting, kTimes,
                  [&] { server.write(handle, data.data(), data.size()); });
        server.end(handle);
    }
}

// -- Alone -----------------------------------------------------------------------------------------------------------

namespace {

constexpr unsigned kDocuments = 500;

void look_up(std::uint16_t port) {
    ADDRINFOW hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    ADDRINFOW* found = nullptr;
    const int error = GetAddrInfoW(host::to_text(printer_address(0)).c_str(),
                                   host::to_text(std::to_string(port)).c_str(), &hints, &found);
    require(error == 0, "an address is not known");
    FreeAddrInfoW(found);
}

void look_for_size(const host::Text& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size;
    require(file != INVALID_HANDLE_VALUE && GetFileSizeEx(file, &size), "a file has no size");
    CloseHandle(file);
}

// As the monitor ends a connection.
void end_by_event(Socket connection) {
    const auto socket = static_cast<SOCKET>(connection);
    const WSAEVENT closed = WSACreateEvent();
    WSANETWORKEVENTS happened = {};
    require(WSAEventSelect(socket, closed, FD_CLOSE) == 0 && shutdown(socket, SD_SEND) == 0 &&
                WSAWaitForMultipleEvents(1, &closed, FALSE, 30000, FALSE) == WSA_WAIT_EVENT_0 &&
                WSAEnumNetworkEvents(socket, closed, &happened) == 0,
            "a connection does not end");
    WSACloseEvent(closed);
    closesocket(socket);
}

}  // namespace

// Against nothing: the median of some turns.
void pieces_of_a_document(Bench& bench) {
    const int turns = bench.quick ? 3 : 11;
    const std::vector<char> data = buffer_of(kUsualWrite);
    const std::string folder = host::make_temporary_folder();
    const host::Text file = host::windows_path(folder + "/file");
    const host::Text missing = host::windows_path(folder + "/missing");
    std::ofstream(host::path_of(folder + "/file")) << "text";
    const std::uint16_t port = bench.receiver.port();
    const auto each = [&](const std::function<void()>& work) {
        std::vector<double> times;
        for (int i = 0; i < turns; ++i) {
            times.push_back(seconds_of([&] {
                for (unsigned n = 0; n < kDocuments; ++n) work();
            }));
        }
        return median(times) * 1e6 / kDocuments;
    };
    const auto add = [&](const std::string& name, double microseconds) {
        bench.report.add(figure_row("alone: " + name, "µs", microseconds));
    };
    add("look-up of a numeric address", each([&] { look_up(port); }));
    add("look for a file that is not there, three times", each([&] {
            for (int i = 0; i < 3; ++i) _waccess(missing.c_str(), 0);
        }));
    add("size of a file: open, ask, close", each([&] { look_for_size(file); }));
    add("a line to the debugger, which is not there", each([] { OutputDebugStringA("TSM line\n"); }));
    const auto send = [&](void (*end)(Socket)) {
        const Socket connection = connect_to(0, port);
        send_all(connection, data.data(), data.size());
        send_all(connection, data.data(), kSmallDocument - data.size());
        end(connection);
    };
    const double by_event = each([&] { send(end_by_event); });
    add("the close waited for by an event, more than by recv", by_event - each([&] { send(end_connection); }));
    std::error_code ignored;
    std::filesystem::remove_all(host::path_of(folder), ignored);
}

}  // namespace bench
