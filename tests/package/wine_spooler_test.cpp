// The library in Wine's own spooler: added as a monitor it is loaded, loads the ports that the monitor registry holds
// and lists them to every program; deleted it is gone from the list of monitors.
//
//     wine wine_spooler_test.exe Z:\path\tsprintportmon.dll
//
// Wine runs its spooler inside the process that asks it. The registry functions that it hands to monitors fail with 120
// whatever they are asked, so the test lends it working ones first, which go to the key that Wine hands out with them.
// It writes below HKEY_LOCAL_MACHINE and into system32 and therefore refuses to run on anything but Wine.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/peer/tcp_printer.h"
#include "tools/tsport/verbs.h"
#include "winapi/winapi.h"
#include "winportmon/tsmon/tsmon.h"

namespace {

constexpr WCHAR kMonitorName[] = L"Tessaron TCP/IP Port";
constexpr WCHAR kDriver[] = L"tsprintportmon.dll";
constexpr WCHAR kMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Tessaron TCP/IP Port";
constexpr WCHAR kProviderKey[] = L"SOFTWARE\\Wow6432Node\\ts-print-provider";
constexpr WCHAR kInstallPath[] = L"C:\\spoolertest";

struct StoredPort {
    const WCHAR* name;
    const WCHAR* address;
    DWORD number;
};
constexpr StoredPort kPorts[] = {{L"ts_10.1.2.3", L"10.1.2.3", 9100},
                                 {L"B\u00fcro \u6771\u4eac", L"printer.example", 515}};

int passed = 0;
int failed = 0;

bool Check(bool condition, const std::string& what) {
    if (condition) {
        ++passed;
        printf("ok      %s\n", what.c_str());
    } else {
        ++failed;
        printf("FAILED  %s (last error %lu)\n", what.c_str(), GetLastError());
    }
    fflush(stdout);
    return condition;
}

int Finish() {
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}

std::string Utf8(const WCHAR* text) {
    char buffer[1024] = {};
    if (text != nullptr) WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, sizeof buffer - 1, nullptr, nullptr);
    return buffer;
}

// -- The registry functions lent to Wine's spooler -------------------------------------------------------------------

LONG WINAPI CreateKey(HANDLE parent, LPCWSTR name, DWORD options, REGSAM access, PSECURITY_ATTRIBUTES security,
                      PHANDLE key, PDWORD disposition, HANDLE) {
    return RegCreateKeyExW(static_cast<HKEY>(parent), name, 0, nullptr, options, access, security,
                           reinterpret_cast<HKEY*>(key), disposition);
}
LONG WINAPI OpenKey(HANDLE parent, LPCWSTR name, REGSAM access, PHANDLE key, HANDLE) {
    return RegOpenKeyExW(static_cast<HKEY>(parent), name, 0, access, reinterpret_cast<HKEY*>(key));
}
LONG WINAPI CloseKey(HANDLE key, HANDLE) {
    return RegCloseKey(static_cast<HKEY>(key));
}
LONG WINAPI DeleteKey(HANDLE parent, LPCWSTR name, HANDLE) {
    return RegDeleteKeyW(static_cast<HKEY>(parent), name);
}
LONG WINAPI EnumKey(HANDLE key, DWORD index, LPWSTR name, PDWORD size, PFILETIME time, HANDLE) {
    return RegEnumKeyExW(static_cast<HKEY>(key), index, name, size, nullptr, nullptr, nullptr, time);
}
LONG WINAPI SetValue(HANDLE key, LPCWSTR name, DWORD type, const BYTE* data, DWORD size, HANDLE) {
    return RegSetValueExW(static_cast<HKEY>(key), name, 0, type, data, size);
}
LONG WINAPI DeleteValue(HANDLE key, LPCWSTR name, HANDLE) {
    return RegDeleteValueW(static_cast<HKEY>(key), name);
}
LONG WINAPI QueryValue(HANDLE key, LPCWSTR name, PDWORD type, PBYTE data, PDWORD size, HANDLE) {
    return RegQueryValueExW(static_cast<HKEY>(key), name, nullptr, type, data, size);
}

// The spooler's own table: its size, then ten functions of localspl.dll, in that library's writable data.
MONITORREG* FindRegistryTable() {
    auto* const image = reinterpret_cast<BYTE*>(GetModuleHandleW(L"localspl.dll"));
    if (image == nullptr) return nullptr;
    const auto* const headers =
        reinterpret_cast<IMAGE_NT_HEADERS*>(image + reinterpret_cast<IMAGE_DOS_HEADER*>(image)->e_lfanew);
    const auto in_image = [&](const void* address) {
        return address >= image && address < image + headers->OptionalHeader.SizeOfImage;
    };
    const IMAGE_SECTION_HEADER* const sections = IMAGE_FIRST_SECTION(headers);
    for (WORD i = 0; i < headers->FileHeader.NumberOfSections; ++i) {
        if ((sections[i].Characteristics & IMAGE_SCN_MEM_WRITE) == 0) continue;
        BYTE* const start = image + sections[i].VirtualAddress;
        for (DWORD at = 0; at + sizeof(MONITORREG) <= sections[i].Misc.VirtualSize; at += sizeof(void*)) {
            if (*reinterpret_cast<DWORD*>(start + at) != sizeof(MONITORREG)) continue;
            auto* const functions = reinterpret_cast<void**>(start + at) + 1;
            size_t count = 0;
            while (count < sizeof(MONITORREG) / sizeof(void*) - 1 && in_image(functions[count])) ++count;
            if (count == sizeof(MONITORREG) / sizeof(void*) - 1) return reinterpret_cast<MONITORREG*>(start + at);
        }
    }
    return nullptr;
}

bool LendRegistryFunctions() {
    DWORD needed = 0;
    DWORD returned = 0;
    EnumMonitorsW(nullptr, 1, nullptr, 0, &needed, &returned);  // loads the spooler into this process
    MONITORREG* const table = FindRegistryTable();
    if (table == nullptr) return false;
    table->fpCreateKey = CreateKey;
    table->fpOpenKey = OpenKey;
    table->fpCloseKey = CloseKey;
    table->fpDeleteKey = DeleteKey;
    table->fpEnumKey = EnumKey;
    table->fpSetValue = SetValue;
    table->fpDeleteValue = DeleteValue;
    table->fpQueryValue = QueryValue;
    return true;
}

// -- What stands on a server before the monitor is added -------------------------------------------------------------

bool SetText(const WCHAR* key, const WCHAR* name, const WCHAR* text) {
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_SZ, text,
                           static_cast<DWORD>((wcslen(text) + 1) * sizeof(WCHAR))) == ERROR_SUCCESS;
}

bool StorePorts() {
    for (const StoredPort& port : kPorts) {
        const std::wstring key = std::wstring(kMonitorKey) + L"\\Ports\\" + port.name;
        if (!SetText(key.c_str(), L"HostName", port.address)) return false;
        if (RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"PortNumber", REG_DWORD, &port.number,
                            sizeof port.number) != ERROR_SUCCESS) {
            return false;
        }
    }
    return true;
}

std::wstring BaseDirectory() {
    return std::wstring(kInstallPath) + L"\\providers\\print\\win";
}

bool WriteText(const std::wstring& path, const char* text) {
    FILE* const file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr) return false;
    fputs(text, file);
    return fclose(file) == 0;
}

// The registry value that leads to the base directory, and in there what the monitor looks for when it starts.
bool InstallProvider() {
    std::wstring directory;
    const std::wstring whole = BaseDirectory() + L"\\";
    for (size_t at = whole.find(L'\\', 3); at != std::wstring::npos; at = whole.find(L'\\', at + 1)) {
        CreateDirectoryW(whole.substr(0, at).c_str(), nullptr);
    }
    DeleteFileW((whole + L"print-monitor.log").c_str());
    return WriteText(whole + L"print-provider.conf", "Debug=on\r\n") &&
           WriteText(whole + L"env-version", "EnvVersion=15\r\n") && WriteText(whole + L"ts-print-monitor.exe", "") &&
           SetText(kProviderKey, L"InstallPath", kInstallPath);
}

bool CopyLibrary(const WCHAR* from) {
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    return CopyFileW(from, (std::wstring(system) + L"\\" + kDriver).c_str(), FALSE) != FALSE;
}

// A run that was broken off leaves its key behind, and a monitor cannot be added twice.
void RemoveTraces() {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kMonitorKey);
}

// -- What the spooler answers ----------------------------------------------------------------------------------------

// The records of an enumeration; their texts lie in the same buffer. Empty, with a failed check, when it fails.
template <typename Record, typename Enumerate>
std::vector<BYTE> Ask(const char* name, DWORD* count, Enumerate enumerate) {
    DWORD needed = 0;
    *count = 0;
    enumerate(nullptr, 0, &needed, count);
    std::vector<BYTE> buffer(needed + sizeof(Record));
    Check(enumerate(buffer.data(), static_cast<DWORD>(buffer.size()), &needed, count), std::string(name) + " succeeds");
    return buffer;
}

bool MonitorIsListed() {
    DWORD count = 0;
    const std::vector<BYTE> buffer =
        Ask<MONITOR_INFO_2W>("EnumMonitorsW", &count, [](BYTE* data, DWORD size, DWORD* needed, DWORD* returned) {
            return EnumMonitorsW(nullptr, 2, data, size, needed, returned) != FALSE;
        });
    const auto* const monitors = reinterpret_cast<const MONITOR_INFO_2W*>(buffer.data());
    for (DWORD i = 0; i < count; ++i) {
        if (wcscmp(monitors[i].pName, kMonitorName) == 0) return _wcsicmp(monitors[i].pDLLName, kDriver) == 0;
    }
    return false;
}

void CheckPortsAreListed() {
    DWORD count = 0;
    const std::vector<BYTE> buffer =
        Ask<PORT_INFO_2W>("EnumPortsW", &count, [](BYTE* data, DWORD size, DWORD* needed, DWORD* returned) {
            return EnumPortsW(nullptr, 2, data, size, needed, returned) != FALSE;
        });
    const auto* const ports = reinterpret_cast<const PORT_INFO_2W*>(buffer.data());
    size_t ours = 0;
    for (DWORD i = 0; i < count; ++i) {
        if (ports[i].pMonitorName != nullptr && wcscmp(ports[i].pMonitorName, kMonitorName) == 0) ++ours;
    }
    Check(ours == std::size(kPorts), "the monitor has as many ports as are stored");
    for (const StoredPort& stored : kPorts) {
        const PORT_INFO_2W* found = nullptr;
        for (DWORD i = 0; i < count && found == nullptr; ++i) {
            if (wcscmp(ports[i].pPortName, stored.name) == 0) found = &ports[i];
        }
        const std::string name = "\"" + Utf8(stored.name) + "\"";
        if (!Check(found != nullptr, name + " is listed")) continue;
        Check(wcscmp(found->pMonitorName, kMonitorName) == 0, name + " names its monitor");
        Check(found->pDescription != nullptr && wcscmp(found->pDescription, kMonitorName) == 0,
              name + " has the description");
        Check(found->fPortType == (PORT_TYPE_WRITE | PORT_TYPE_READ), name + " has the port type");
    }
}

// What a command through the configuration channel comes to. Only commands that leave the registry alone: Wine's
// spooler takes the record with its registry functions away once a monitor has started.
DWORD Send(const std::wstring& object, bool administrator, const WCHAR* command, const void* input, size_t size,
           void* output = nullptr, DWORD output_size = 0) {
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr,
                                  administrator ? DWORD{SERVER_ACCESS_ADMINISTER} : DWORD{SERVER_ACCESS_ENUMERATE}};
    std::wstring name = object;
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

void CheckConfigurationChannel() {
    const std::wstring monitor = L",XcvMonitor Tessaron TCP/IP Port";
    WCHAR answer[MAX_PATH] = {};
    Check(Send(monitor, true, L"MonitorUI", nullptr, 0, answer, sizeof answer) == ERROR_SUCCESS &&
              wcscmp(answer, L"tsprintportmonui.dll") == 0,
          "the port UI is named: \"" + Utf8(answer) + "\"");
    Check(Send(monitor, true, L"TSPaintPort", nullptr, 0) == ERROR_INVALID_PARAMETER, "an unknown command is refused");

    constexpr WCHAR kUpperCase[] = L"TS_10.1.2.3";
    constexpr WCHAR kUnknown[] = L"no such port";
    Check(Send(monitor, false, L"TSPortExists", kUpperCase, sizeof kUpperCase) == ERROR_ALREADY_EXISTS,
          "TSPortExists finds a port, whatever its letter case");
    Check(Send(monitor, false, L"TSPortExists", kUnknown, sizeof kUnknown) == ERROR_SUCCESS,
          "TSPortExists finds no other");

    peer::TcpPrinter printer;
    tsmon::PortConfig config = {};
    wcscpy(config.printer_address, L"127.0.0.1");
    config.port_number = printer.port();
    Check(Send(monitor, false, L"TSPortIsValid", &config, sizeof config) == ERROR_SUCCESS,
          "TSPortIsValid reaches a printer");
    Check(Send(monitor, false, L"TSPortIsValid", &config, sizeof config - 1) == ERROR_INVALID_PARAMETER,
          "TSPortIsValid refuses an input that is too short");
    printer.refuse();
    Check(Send(monitor, false, L"TSPortIsValid", &config, sizeof config) == ERROR_INVALID_FUNCTION,
          "TSPortIsValid says so when it reaches none");

    const std::wstring port = std::wstring(L",XcvPort ") + kPorts[1].name;
    Check(Send(port, true, L"TSGetConfigInfo", nullptr, 0, &config, sizeof config) == ERROR_SUCCESS &&
              wcscmp(config.printer_address, kPorts[1].address) == 0 && config.port_number == kPorts[1].number,
          "TSGetConfigInfo gives a port's configuration");
    for (const WCHAR* const command : {L"TSAddPort", L"TSConfigPort", L"TSGetConfigInfo", L"TSDeletePort"}) {
        Check(Send(port, false, command, &config, sizeof config, &config, sizeof config) == ERROR_ACCESS_DENIED,
              Utf8(command) + " is refused without administrator access");
    }
}

// The command line, as an administrator uses it on the server.
void CheckTsport() {
    peer::TcpPrinter printer;
    const std::string port = std::to_string(printer.port());
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string out;
    } rows[] = {
        {{"list"},
         tsport::done,
         "NAME         ADDRESS          PORT\n"
         "B\u00FCro \u6771\u4EAC    printer.example  515\n"
         "ts_10.1.2.3  10.1.2.3         9100\n"},
        {{"show", "TS_10.1.2.3"}, tsport::done, "name     ts_10.1.2.3\naddress  10.1.2.3\nport     9100\n"},
        {{"exists", "nobody"}, tsport::not_there, "\"nobody\" does not exist\n"},
        {{"test", "127.0.0.1", port}, tsport::done, "127.0.0.1 port " + port + " takes connections\n"},
    };
    for (const auto& row : rows) {
        const tsport::Answer answer = tsport::run(row.arguments);
        if (!Check(answer.status == row.status && answer.out == row.out, "tsport " + row.arguments.front())) {
            printf("%s%s", answer.out.c_str(), answer.err.c_str());
        }
    }
}

std::string ReadLog() {
    std::string text;
    FILE* const log = _wfopen((BaseDirectory() + L"\\print-monitor.log").c_str(), L"rb");
    if (log == nullptr) return text;
    char buffer[4096];
    for (size_t size; (size = fread(buffer, 1, sizeof buffer, log)) > 0;) text.append(buffer, size);
    fclose(log);
    return text;
}

void TestMonitor(const WCHAR* library) {
    RemoveTraces();
    if (!Check(LendRegistryFunctions(), "Wine's spooler has a table of registry functions")) return;
    if (!Check(CopyLibrary(library), "the library is copied to system32")) return;
    if (!Check(StorePorts() && InstallProvider(), "the registry and the base directory are set up")) return;
    Check(!MonitorIsListed(), "the monitor is not listed yet");

    WCHAR name[] = L"Tessaron TCP/IP Port";
    WCHAR driver[] = L"tsprintportmon.dll";
    WCHAR environment[] = L"Windows x64";
    MONITOR_INFO_2W info = {name, environment, driver};
    if (!Check(AddMonitorW(nullptr, 2, reinterpret_cast<BYTE*>(&info)) != FALSE, "AddMonitorW succeeds")) return;
    Check(MonitorIsListed(), "the monitor is listed");
    CheckPortsAreListed();
    std::string log = ReadLog();
    Check(log.find("TSM init complete") != std::string::npos, "the log says that the monitor has started");
    if (!Check(log.find(" ERROR: ") == std::string::npos, "the log holds no error")) printf("%s", log.c_str());
    CheckConfigurationChannel();
    CheckTsport();

    Check(DeleteMonitorW(nullptr, environment, name) != FALSE, "DeleteMonitorW succeeds");
    Check(!MonitorIsListed(), "the monitor is not listed any more");
    Check(GetModuleHandleW(kDriver) == nullptr, "the library is unloaded");
    log = ReadLog();
    Check(log.find("TSM Shutdown") != std::string::npos, "the log says that the monitor was shut down");
}

}  // namespace

int wmain(int count, WCHAR** arguments) {
    SetConsoleOutputCP(CP_UTF8);
    if (count != 2) {
        printf("usage: wine_spooler_test TSPRINTPORTMON.DLL\n");
        return 2;
    }
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) {
        printf("This test is for Wine only.\n");
        return 2;
    }
    TestMonitor(arguments[1]);
    return Finish();
}
