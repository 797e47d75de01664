// Text conversion and comparison.
#pragma once

#include "winapi/linux/types.h"

#define CP_UTF8 65001u

// Code page CP_UTF8 only, flags 0. As on Windows, malformed input is not an error: each bad sequence, and each
// unpaired surrogate, becomes U+FFFD. A size of -1 takes the text with its terminator; an output size of 0 asks for
// the size needed.
int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR text, int size, LPWSTR out, int out_size);
int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int size, LPSTR out, int out_size,
                        LPCSTR default_char, BOOL* used_default);

int lstrlenW(LPCWSTR text);
int lstrcmpiW(LPCWSTR left, LPCWSTR right);  // ignores letter case, beyond ASCII too
int _stricmp(const char* left, const char* right);
