#include "host/monitor_registry.h"

namespace host {
namespace {

char spooler_anchor;  // its address is the handle

bool known(HANDLE spooler) {
    return spooler == spooler_handle();
}
HKEY key_of(HANDLE key) {
    return static_cast<HKEY>(key);
}

LONG WINAPI create_key(HANDLE key, LPCWSTR subkey, DWORD options, REGSAM access, PSECURITY_ATTRIBUTES security,
                       PHANDLE result, PDWORD disposition, HANDLE spooler) {
    if (!known(spooler)) return ERROR_INVALID_HANDLE;
    return RegCreateKeyExW(key_of(key), subkey, 0, nullptr, options, access, security, reinterpret_cast<PHKEY>(result),
                           disposition);
}

LONG WINAPI open_key(HANDLE key, LPCWSTR subkey, REGSAM access, PHANDLE result, HANDLE spooler) {
    if (!known(spooler)) return ERROR_INVALID_HANDLE;
    return RegOpenKeyExW(key_of(key), subkey, 0, access, reinterpret_cast<PHKEY>(result));
}

LONG WINAPI close_key(HANDLE key, HANDLE spooler) {
    return known(spooler) ? RegCloseKey(key_of(key)) : static_cast<LONG>(ERROR_INVALID_HANDLE);
}

LONG WINAPI delete_key(HANDLE key, LPCWSTR subkey, HANDLE spooler) {
    return known(spooler) ? RegDeleteKeyW(key_of(key), subkey) : static_cast<LONG>(ERROR_INVALID_HANDLE);
}

LONG WINAPI enum_key(HANDLE key, DWORD index, LPWSTR name, PDWORD name_size, PFILETIME last_write, HANDLE spooler) {
    if (!known(spooler)) return ERROR_INVALID_HANDLE;
    return RegEnumKeyExW(key_of(key), index, name, name_size, nullptr, nullptr, nullptr, last_write);
}

LONG WINAPI query_info_key(HANDLE, PDWORD, PDWORD, PDWORD, PDWORD, PDWORD, PDWORD, PFILETIME, HANDLE) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}

LONG WINAPI set_value(HANDLE key, LPCWSTR value, DWORD type, const BYTE* data, DWORD size, HANDLE spooler) {
    if (!known(spooler)) return ERROR_INVALID_HANDLE;
    return RegSetValueExW(key_of(key), value, 0, type, data, size);
}

LONG WINAPI delete_value(HANDLE key, LPCWSTR value, HANDLE spooler) {
    return known(spooler) ? RegDeleteValueW(key_of(key), value) : static_cast<LONG>(ERROR_INVALID_HANDLE);
}

LONG WINAPI enum_value(HANDLE, DWORD, LPWSTR, PDWORD, PDWORD, PBYTE, PDWORD, HANDLE) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}

LONG WINAPI query_value(HANDLE key, LPCWSTR value, PDWORD type, PBYTE data, PDWORD size, HANDLE spooler) {
    if (!known(spooler)) return ERROR_INVALID_HANDLE;
    return RegQueryValueExW(key_of(key), value, nullptr, type, data, size);
}

}  // namespace

HANDLE spooler_handle() {
    return &spooler_anchor;
}

MONITORREG* monitor_registry() {
    static MONITORREG callbacks = {sizeof(MONITORREG), create_key, open_key,     close_key,  delete_key, enum_key,
                                   query_info_key,     set_value,  delete_value, enum_value, query_value};
    return &callbacks;
}

}  // namespace host
