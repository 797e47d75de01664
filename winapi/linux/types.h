// Windows' basic types, with Windows' sizes: long is 32 bits, WCHAR 16.
#pragma once

#include <cstddef>
#include <cstdint>

#define WINAPI
#define CALLBACK
#define TRUE 1
#define FALSE 0
#define MAX_PATH 260

using BOOL = int;
using UINT = unsigned int;
using BYTE = unsigned char;
using WORD = unsigned short;
using DWORD = unsigned int;
using LONG = int;
using ULONG = unsigned int;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using UINT_PTR = unsigned long long;
using ULONG_PTR = unsigned long long;
using SIZE_T = size_t;
using WCHAR = char16_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using PBYTE = BYTE*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using HANDLE = void*;
using PHANDLE = HANDLE*;
using HGLOBAL = void*;
using ACCESS_MASK = DWORD;
using REGSAM = ACCESS_MASK;
using LSTATUS = LONG;

struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE;
struct HKEY__;
using HKEY = HKEY__*;
using PHKEY = HKEY*;
struct HWND__;
using HWND = HWND__*;
using FARPROC = long long (*)();

// NOLINTNEXTLINE(performance-no-int-to-ptr): the value is Windows' own
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    };
    LONGLONG QuadPart;
};

union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    };
    ULONGLONG QuadPart;
};

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
using PFILETIME = FILETIME*;

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using PSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

#define GENERIC_READ 0x80000000u
#define DELETE 0x00010000u
