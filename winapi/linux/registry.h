// The registry: a tree in memory below HKEY_LOCAL_MACHINE. Key and
// value names compare without letter case; subkeys are enumerated in the order of their names.
#pragma once

#include "winapi/linux/types.h"

// NOLINTNEXTLINE(performance-no-int-to-ptr): the value is Windows' own
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<int>(0x80000002))))

#define REG_SZ 1u
#define REG_DWORD 4u
#define REG_OPTION_NON_VOLATILE 0u
#define REG_CREATED_NEW_KEY 1u
#define REG_OPENED_EXISTING_KEY 2u
#define KEY_QUERY_VALUE 0x1u
#define KEY_SET_VALUE 0x2u
#define KEY_ENUMERATE_SUB_KEYS 0x8u
#define KEY_READ 0x20019u
#define KEY_ALL_ACCESS 0xF003Fu

// All return ERROR_SUCCESS or the reason, and leave the last error alone.
LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subkey, DWORD options, REGSAM access, HKEY* result);
LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR key_class, DWORD options, REGSAM access,
                        const SECURITY_ATTRIBUTES* security, HKEY* result, DWORD* disposition);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR value, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
LSTATUS RegSetValueExW(HKEY key, LPCWSTR value, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LSTATUS RegDeleteValueW(HKEY key, LPCWSTR value);
LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR subkey);  // a key with subkeys is refused (5)
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* name_size, DWORD* reserved, LPWSTR key_class,
                      DWORD* class_size, FILETIME* last_write);
