#include "tests/package/wine_spooler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>

namespace wine_spooler {
namespace {

WCHAR environment[] = L"Windows x64";
WCHAR driver_name[] = L"Wine PostScript Driver";

// A queue has to have a driver, even where nothing uses it.
void add_driver() {
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    std::wstring file = std::wstring(system) + L"\\wineps.drv";
    DRIVER_INFO_3W info = {};
    info.cVersion = 3;
    info.pName = driver_name;
    info.pEnvironment = environment;
    info.pDriverPath = info.pDataFile = info.pConfigFile = file.data();
    EXPECT_TRUE(AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE*>(&info)) ||
                GetLastError() == ERROR_PRINTER_DRIVER_ALREADY_INSTALLED)
        << GetLastError();
}

}  // namespace

bool is_wine() {
    SetConsoleOutputCP(CP_UTF8);
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr) return true;
    std::printf("These tests are for Wine only.\n");
    return false;
}

void add_monitor() {
    WCHAR name[] = L"Tessaron TCP/IP Port";
    std::wstring file = thin_monitor::file_name;
    MONITOR_INFO_2W info = {name, environment, file.data()};
    EXPECT_TRUE(AddMonitorW(nullptr, 2, reinterpret_cast<BYTE*>(&info))) << GetLastError();
}

bool delete_monitor() {
    WCHAR name[] = L"Tessaron TCP/IP Port";
    return DeleteMonitorW(nullptr, environment, name) != FALSE;
}

void add_queue(std::wstring queue, std::wstring port) {
    add_driver();
    delete_queue(queue);
    WCHAR processor[] = L"winprint";
    WCHAR type[] = L"RAW";
    PRINTER_INFO_2W info = {};
    info.pPrinterName = queue.data();
    info.pPortName = port.data();
    info.pDriverName = driver_name;
    info.pPrintProcessor = processor;
    info.pDatatype = type;
    const HANDLE printer = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info));
    EXPECT_NE(printer, nullptr) << GetLastError();
    ClosePrinter(printer);
}

void delete_queue(std::wstring queue) {
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ALL_ACCESS};
    HANDLE printer = nullptr;
    if (!OpenPrinterW(queue.data(), &printer, &defaults)) return;
    DeletePrinter(printer);
    ClosePrinter(printer);
}

std::vector<std::wstring> listed_ports() {
    std::vector<BYTE> buffer(1 << 16);  // the texts of the records lie in it too
    DWORD needed = 0;
    DWORD count = 0;
    EXPECT_TRUE(EnumPortsW(nullptr, 2, buffer.data(), static_cast<DWORD>(buffer.size()), &needed, &count))
        << GetLastError();
    std::vector<std::wstring> names;
    const auto* const ports = reinterpret_cast<const PORT_INFO_2W*>(buffer.data());
    for (DWORD i = 0; i < count; ++i) {
        if (ports[i].pMonitorName == nullptr || std::wcscmp(ports[i].pMonitorName, monitor_name) != 0) continue;
        EXPECT_STREQ(ports[i].pDescription, monitor_name);
        EXPECT_EQ(ports[i].fPortType, DWORD{PORT_TYPE_WRITE | PORT_TYPE_READ});
        names.emplace_back(ports[i].pPortName);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace wine_spooler
