// The only header through which common/ and winportmon/ use Windows: the real headers on Windows, the small layer in
// winapi/linux/ elsewhere. Product code includes no other system header and holds no condition on the
// platform; everything that differs between the two builds is behind this file.
//
// WCHAR is a 16-bit unit in both builds; wide literals are written W("...").
#pragma once

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// Each of these builds on those before it.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <winspool.h>
#include <winsplp.h>
// clang-format on

#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <wchar.h>

#define W(text) L##text

#else

#include "winapi/linux/types.h"
// One header per subject; types.h comes first because the others build on it.
#include "winapi/linux/error.h"
#include "winapi/linux/file.h"
#include "winapi/linux/module.h"
#include "winapi/linux/process.h"
#include "winapi/linux/registry.h"
#include "winapi/linux/socket.h"
#include "winapi/linux/spooler.h"
#include "winapi/linux/sync.h"
#include "winapi/linux/text.h"
#include "winapi/linux/time.h"

#define W(text) u##text

#endif

// Checked in both builds: these sizes are wire formats or shared with the spooler.
static_assert(sizeof(WCHAR) == 2, "text at the Windows interfaces is UTF-16");
static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(ULONG) == 4, "Windows' long is 32 bits");
static_assert(sizeof(void*) == 8, "the monitor is a 64-bit library");
static_assert(sizeof(PORT_INFO_1W) == 8 && sizeof(PORT_INFO_2W) == 32, "records of EnumPorts");
