// The monitor in this machine's print spooler.
#include "tools/tsport/channel.h"

namespace tsport {
namespace {

constexpr WCHAR monitor_name[] = W("Tessaron TCP/IP Port");
constexpr ACCESS_MASK enumerate_access = 2;  // SERVER_ACCESS_ENUMERATE

// The system's own winspool.drv, whatever library of that name lies beside this program.
class Winspool {
  public:
    using OpenPrinter = BOOL(WINAPI*)(LPWSTR, LPHANDLE, LPPRINTER_DEFAULTSW);
    using ClosePrinter = BOOL(WINAPI*)(HANDLE);
    using XcvData = BOOL(WINAPI*)(HANDLE, LPCWSTR, BYTE*, DWORD, BYTE*, DWORD, DWORD*, DWORD*);
    using EnumPorts = BOOL(WINAPI*)(LPWSTR, DWORD, BYTE*, DWORD, DWORD*, DWORD*);

    bool load() {
        WCHAR folder[MAX_PATH] = {};
        if (GetSystemDirectoryW(folder, MAX_PATH) == 0) return false;
        library_ = LoadLibraryW((Text(folder) + W("\\winspool.drv")).c_str());
        return library_ != nullptr && find("OpenPrinterW", open_printer) && find("ClosePrinter", close_printer) &&
               find("XcvDataW", xcv_data) && find("EnumPortsW", enum_ports);
    }

    OpenPrinter open_printer = nullptr;
    ClosePrinter close_printer = nullptr;
    XcvData xcv_data = nullptr;
    EnumPorts enum_ports = nullptr;

  private:
    template <typename Function>
    bool find(const char* name, Function& function) {
        function = reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library_, name)));
        return function != nullptr;
    }

    HMODULE library_ = nullptr;  // for the life of the process
};

class Installed : public Channel {
  public:
    bool load(std::string& why) {
        if (winspool_.load()) return true;
        why = "the print spooler's functions cannot be loaded (" + host::error_in_words(GetLastError()) + ")";
        return false;
    }

    DWORD list(std::vector<Text>& names) override {
        std::vector<std::uint64_t> buffer;  // aligned for the records
        DWORD needed = 0;
        DWORD count = 0;
        while (!winspool_.enum_ports(nullptr, 2, reinterpret_cast<BYTE*>(buffer.data()),
                                     static_cast<DWORD>(buffer.size() * sizeof buffer[0]), &needed, &count)) {
            const DWORD error = GetLastError();
            if (error != ERROR_INSUFFICIENT_BUFFER) return error;
            buffer.resize(needed / sizeof buffer[0] + 1);
        }
        const auto* const ports = reinterpret_cast<const PORT_INFO_2W*>(buffer.data());
        for (DWORD i = 0; i < count; ++i) {
            const bool ours = ports[i].pMonitorName != nullptr && lstrcmpiW(ports[i].pMonitorName, monitor_name) == 0;
            if (ours) names.emplace_back(ports[i].pPortName);
        }
        return ERROR_SUCCESS;
    }

    DWORD send(const Message& message) override {
        Text object = message.port.empty() ? W(",XcvMonitor ") + Text(monitor_name) : W(",XcvPort ") + message.port;
        PRINTER_DEFAULTSW defaults = {};
        defaults.DesiredAccess = message.administrator ? SERVER_ACCESS_ADMINISTER : enumerate_access;
        HANDLE handle = nullptr;
        if (!winspool_.open_printer(object.data(), &handle, &defaults)) return GetLastError();
        DWORD needed = 0;
        DWORD status = ERROR_SUCCESS;
        const BOOL passed_on = winspool_.xcv_data(
            handle, message.command, static_cast<BYTE*>(const_cast<void*>(message.input)), message.input_size,
            static_cast<BYTE*>(message.output), message.output_size, &needed, &status);
        const DWORD code = passed_on ? status : GetLastError();
        winspool_.close_printer(handle);
        return code;
    }

  private:
    Winspool winspool_;
};

}  // namespace

std::unique_ptr<Channel> open_installed(std::string& why) {
    auto channel = std::make_unique<Installed>();
    if (!channel->load(why)) return nullptr;
    return channel;
}

}  // namespace tsport
