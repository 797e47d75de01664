// Names with addresses of the test's choice: look-ups of this program and the monitor are led here.
#include <map>

#include "host/platform.h"
#include "tests/support/platform.h"
#include "winapi/spooler_sim/windows/imports.h"

namespace test {
namespace {

std::map<host::Text, std::vector<std::string>> hosts;
const auto system_look_up = GetAddrInfoW;  // before any import is replaced

int WSAAPI look_up(PCWSTR node, PCWSTR service, const ADDRINFOW* hints, ADDRINFOW** result) {
    const auto found = hosts.find(node);
    if (found == hosts.end()) return system_look_up(node, service, hints, result);
    // Each record is allocated and freed on its own, so that lists can be joined.
    for (const std::string& address : found->second) {
        if (const int error = system_look_up(host::to_text(address).c_str(), service, hints, result)) return error;
        while (*result != nullptr) result = &(*result)->ai_next;
    }
    return 0;
}

}  // namespace

void set_host(const host::Text& name, const std::vector<std::string>& addresses) {
    hosts[name] = addresses;
    if (addresses.empty()) hosts.erase(name);
    for (const HMODULE module : {GetModuleHandleW(nullptr), GetModuleHandleW(L"tsprintportmon.dll")}) {
        if (module == nullptr) continue;
        spooler_sim::replace_import(module, "GetAddrInfoW", reinterpret_cast<spooler_sim::Function>(look_up));
    }
}

}  // namespace test
