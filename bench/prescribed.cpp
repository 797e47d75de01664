#include "bench/prescribed.h"

#include <algorithm>
#include <cstring>

#include "bench/pairs.h"
#include "bench/plain.h"
#include "host/platform.h"

namespace bench {
namespace {

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

}  // namespace

Prescribed::Prescribed(const PrintServer& server, std::uint16_t receiver_port, unsigned ports)
    : service_(host::to_text(std::to_string(receiver_port))), log_(monitor_path(server.folder.log())) {
    require(host::use_simulated_spooler(nullptr), "the spooler's functions cannot be redirected");
    InitializeCriticalSectionAndSpinCount(&lock_, 0);
    InitializeCriticalSectionAndSpinCount(&log_lock_, 0);
    for (unsigned i = 0; i < ports; ++i) {
        const unsigned number = i % kPrinters;
        const host::Text printer = PrintServer::name_of(number);
        const std::string file = host::to_utf8(printer);
        const DWORD job = PrintServer::kFirstJob + number;
        ports_.push_back(
            {PrintServer::name_of(i), printer, host::to_text(printer_address(i)), job,
             monitor_path(server.folder.marker(job)), monitor_path(server.folder.spool("settings/" + file + ".dat")),
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
    EnterCriticalSection(&log_lock_);
    const HANDLE file = CreateFileW(WidePath(log_).get(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size;
    require(GetFileSizeEx(file, &size) != FALSE, "the log has no size");
    CloseHandle(file);
    LeaveCriticalSection(&log_lock_);
}

Prescribed::~Prescribed() {
    DeleteCriticalSection(&lock_);
    DeleteCriticalSection(&log_lock_);
}

void Prescribed::print(unsigned number, const std::vector<char>& data, std::uint64_t size, size_t write_size) {
    // OpenPort
    const Port& port = open_port(ports_[number].name);
    // StartDocPort
    GetTickCount();
    EnterCriticalSection(&lock_);
    LeaveCriticalSection(&lock_);
    WCHAR* const name = copy_name(port.printer);
    const HANDLE printer = open_printer(port.printer);
    look_for(port.marker);
    convert(name);
    look_for(port.settings);
    const SOCKET socket = connect_to(port.address, service_);
    convert(name);
    look_for(port.attributes);
    GetTickCount();
    // WritePort
    for (std::uint64_t done = 0; done < size; done += write_size) {
        GetTickCount();
        send_all(socket, data.data(), static_cast<size_t>(std::min<std::uint64_t>(write_size, size - done)));
        GetTickCount();
    }
    // EndDocPort
    GetTickCount();
    ask_for_log_size();
    end_connection(socket);
    GlobalFree(name);
    require(SetJobW(printer, port.job, 0, nullptr, JOB_CONTROL_SENT_TO_PRINTER) && ClosePrinter(printer),
            "the job cannot be reported");
}

}  // namespace bench
