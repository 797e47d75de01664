// Libraries, their string resources, and the process heap.
#pragma once

#include "winapi/linux/types.h"

#define DLL_PROCESS_DETACH 0u
#define DLL_PROCESS_ATTACH 1u

// A library built here carries winapi/linux/dll_entry.cpp, which calls its DllMain at load and unload and makes its
// string table known. "...\SPOOLSS.DLL" names the spooler simulation, in which EnumPortsW is found.
HMODULE LoadLibraryW(LPCWSTR path);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
BOOL FreeLibrary(HMODULE module);
BOOL DisableThreadLibraryCalls(HMODULE module);
// Copies at most size - 1 characters and a terminator; returns the characters copied, 0 without such a string.
int LoadStringW(HINSTANCE instance, UINT id, LPWSTR buffer, int size);
UINT GetSystemDirectoryW(LPWSTR buffer, UINT size);

#define GMEM_ZEROINIT 0x40u
#define GPTR 0x40u
HGLOBAL GlobalAlloc(UINT flags, SIZE_T size);
HGLOBAL GlobalFree(HGLOBAL memory);
