#include "tsport/doctor/platform.h"

#include "host/text.h"
#include "winapi/winapi.h"

#include <aclapi.h>
#include <sddl.h>
#include <winevt.h>

#include <memory>

namespace tsport::doctor {
namespace {

struct CloseService {
    using pointer = SC_HANDLE;
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<SC_HANDLE, CloseService>;

std::string text_of(PSID sid) {
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text)) return std::string();
    std::string utf8 = host::to_utf8(text);
    LocalFree(text);
    return utf8;
}

std::uint32_t spelled_out(ACCESS_MASK mask) {
    GENERIC_MAPPING mapping = {FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
    DWORD all = mask;
    MapGenericMask(&all, &mapping);
    return static_cast<std::uint32_t>(all);
}

void add_entries(PACL list, AccessList& access) {
    ACL_SIZE_INFORMATION size = {};
    if (!GetAclInformation(list, &size, sizeof size, AclSizeInformation)) return;
    for (DWORD i = 0; i < size.AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry)) continue;
        const auto* const header = static_cast<const ACE_HEADER*>(entry);
        const bool allows = header->AceType == ACCESS_ALLOWED_ACE_TYPE;
        if ((!allows && header->AceType != ACCESS_DENIED_ACE_TYPE) || (header->AceFlags & INHERIT_ONLY_ACE) != 0)
            continue;
        // Both kinds are laid out alike.
        auto* const rule = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        access.entries.push_back({allows, spelled_out(rule->Mask), text_of(&rule->SidStart)});
    }
}

}  // namespace

const char* why_no_server() {
    return nullptr;
}

std::string system_directory() {
    WCHAR path[MAX_PATH] = {};
    return GetSystemDirectoryW(path, MAX_PATH) < MAX_PATH ? host::to_utf8(path) : std::string();
}

Service spooler_service() {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) return Service::unknown;
    const ServiceHandle service(OpenServiceW(manager.get(), L"Spooler", SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
    if (!service) return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? Service::missing : Service::unknown;
    SERVICE_STATUS status = {};
    if (!QueryServiceStatus(service.get(), &status)) return Service::unknown;
    if (status.dwCurrentState == SERVICE_RUNNING) return Service::running;
    alignas(QUERY_SERVICE_CONFIGW) BYTE buffer[8192] = {};
    auto* const setup = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
    DWORD needed = 0;
    const bool known = QueryServiceConfigW(service.get(), setup, sizeof buffer, &needed);
    return known && setup->dwStartType == SERVICE_DISABLED ? Service::disabled : Service::stopped;
}

bool export_events(const char* log, const char* query, std::string& xml, std::string& why) {
    constexpr size_t most = 100;
    const EVT_HANDLE events = EvtQuery(nullptr, host::to_text(log).c_str(), host::to_text(query).c_str(),
                                       EvtQueryChannelPath | EvtQueryReverseDirection);
    why = host::error_message(GetLastError());
    if (events == nullptr) return false;
    std::vector<WCHAR> text(64 * 1024);  // Windows stores no longer event
    EVT_HANDLE event = nullptr;
    DWORD count = 0;
    for (size_t i = 0; i < most && EvtNext(events, 1, &event, INFINITE, 0, &count) && count == 1; ++i) {
        DWORD used = 0;
        DWORD properties = 0;
        const auto size = static_cast<DWORD>(text.size() * sizeof(WCHAR));
        if (EvtRender(nullptr, event, EvtRenderEventXml, size, text.data(), &used, &properties)) {
            xml += host::to_utf8(text.data()) + "\n";
        }
        EvtClose(event);
    }
    EvtClose(events);
    return true;
}

bool read_access(const std::string& path, AccessList& access, std::string& why) {
    host::Text name = host::path_of(path).wstring();
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error = GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                              &list, nullptr, &descriptor);
    if (error != ERROR_SUCCESS) {
        why = host::error_message(error);
        return false;
    }
    access = AccessList();
    access.everybody = list == nullptr;
    if (list != nullptr) add_entries(list, access);
    LocalFree(descriptor);
    return true;
}

}  // namespace tsport::doctor
