#include "bench/prescribed.h"

#include <algorithm>
#include <cstring>

#include "bench/pairs.h"
#include "bench/plain.h"
#include "host/platform.h"

namespace bench {
namespace {

constexpr DWORD kCloseWaitMs = 30000;

// A path as Windows takes it, for one call.
class WidePath {
  public:
    explicit WidePath(const std::string& path) {
        require(MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, text_, MAX_PATH) > 0, "a path is too long");
    }
    const WCHAR* get() const { return text_; }

  private:
    WCHAR text_[MAX_PATH];
};

std::string monitor_path(const std::string& native) {
    return host::to_utf8(host::windows_path(native));
}

void look_for(const std::string& path) {
    require(_waccess(WidePath(path).get(), 0) != 0, "a file is there that no document has");
}

void convert(const WCHAR* name) {
    char text[MAX_PATH];
    require(WideCharToMultiByte(CP_UTF8, 0, name, -1, text, sizeof text, nullptr, nullptr) > 0, "a name is no text");
}

WCHAR* copy_name(const host::Text& name) {
    const size_t size = (name.size() + 1) * sizeof(WCHAR);
    auto* const copy = static_cast<WCHAR*>(GlobalAlloc(GPTR, size));
    require(copy != nullptr, "no memory");
    std::memcpy(copy, name.c_str(), size);
    return copy;
}

HANDLE open_printer(const host::Text& name) {
    HANDLE printer = nullptr;
    PRINTER_DEFAULTSW defaults = {};
    defaults.DesiredAccess = PRINTER_ALL_ACCESS;
    const HANDLE token = RevertToPrinterSelf();
    require(OpenPrinterW(const_cast<WCHAR*>(name.c_str()), &printer, &defaults) != FALSE, "OpenPrinterW failed");
    require(ImpersonatePrinterClient(token) != FALSE, "the identity cannot be resumed");
    return printer;
}

SOCKET connect_by_name(const host::Text& address, const host::Text& service) {
    ADDRINFOW hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    ADDRINFOW* found = nullptr;
    require(GetAddrInfoW(address.c_str(), service.c_str(), &hints, &found) == 0, "an address is not known");
    const SOCKET socket = WSASocketW(found->ai_family, found->ai_socktype, found->ai_protocol, nullptr, 0,
                                     WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    require(connect(socket, found->ai_addr, static_cast<int>(found->ai_addrlen)) == 0, "no connection");
    FreeAddrInfoW(found);
    return socket;
}

void close_by_event(SOCKET socket) {
    const WSAEVENT closed = WSACreateEvent();
    require(WSAEventSelect(socket, closed, FD_CLOSE) == 0 && shutdown(socket, SD_SEND) == 0 &&
                WSAWaitForMultipleEvents(1, &closed, FALSE, kCloseWaitMs, FALSE) == WSA_WAIT_EVENT_0,
            "a connection does not end");
    WSACloseEvent(closed);
    closesocket(socket);
}

}  // namespace

Prescribed::Prescribed(const PrintServer& server, std::uint16_t receiver_port, unsigned ports)
    : service_(host::to_text(std::to_string(receiver_port))), log_(monitor_path(server.folder.log())) {
    require(host::use_simulated_spooler(nullptr), "the spooler's functions cannot be redirected");
    InitializeCriticalSectionAndSpinCount(&lock_, 0);
    for (unsigned i = 0; i < ports; ++i) {
        const host::Text name = PrintServer::name_of(i);
        const std::string file = host::to_utf8(name);
        const DWORD job = PrintServer::kFirstJob + i;
        ports_.push_back(
            {name, host::to_text(printer_address(i)), job, monitor_path(server.folder.marker(job)),
             monitor_path(server.folder.spool("settings/" + file + ".dat")),
             monitor_path(server.folder.spool("forceattr/msf-" + file + "-" + std::to_string(job) + ".dat"))});
    }
}

const Prescribed::Port& Prescribed::open_port(const host::Text& name) {
    EnterCriticalSection(&lock_);
    const auto found = std::ranges::find_if(
        ports_, [&name](const Port& port) { return lstrcmpiW(port.name.c_str(), name.c_str()) == 0; });
    LeaveCriticalSection(&lock_);
    require(found != ports_.end(), "an unknown port");
    return *found;
}

void Prescribed::ask_for_log_size() {
    EnterCriticalSection(&lock_);
    const HANDLE file = CreateFileW(WidePath(log_).get(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size;
    require(GetFileSizeEx(file, &size) != FALSE, "the log has no size");
    CloseHandle(file);
    LeaveCriticalSection(&lock_);
}

void Prescribed::print(unsigned number, const std::vector<char>& data, std::uint64_t size, size_t write_size) {
    // OpenPort
    const Port& port = open_port(ports_[number].name);
    // StartDocPort
    GetTickCount();
    EnterCriticalSection(&lock_);
    LeaveCriticalSection(&lock_);
    WCHAR* const name = copy_name(port.name);
    const HANDLE printer = open_printer(port.name);
    look_for(port.marker);
    convert(name);
    look_for(port.settings);
    const SOCKET socket = connect_by_name(port.address, service_);
    convert(name);
    look_for(port.attributes);
    GetTickCount();
    // WritePort
    for (std::uint64_t done = 0; done < size; done += write_size) {
        const auto piece = static_cast<int>(std::min<std::uint64_t>(write_size, size - done));
        GetTickCount();
        require(send(socket, data.data(), piece, 0) == piece, "a send failed");
        GetTickCount();
    }
    // EndDocPort
    GetTickCount();
    ask_for_log_size();
    close_by_event(socket);
    GlobalFree(name);
    require(SetJobW(printer, port.job, 0, nullptr, JOB_CONTROL_SENT_TO_PRINTER) && ClosePrinter(printer),
            "the job cannot be reported");
}

}  // namespace bench
