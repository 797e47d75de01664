// What a host of the layer (a tool or a test) can set up and inspect. Never included by the product.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "winapi/linux/types.h"

namespace winapi {

// Makes "X:" name a folder of this machine. "Z:" is "/" from the start; "C:" is nothing until it is mapped.
void map_drive(WCHAR letter, const std::string& folder);
// The path of this machine that a Windows path names; empty when it names none.
std::string native_path(LPCWSTR path);
// A Windows path (below "Z:") for a path of this machine.
std::u16string windows_path(const std::string& native);

// Makes Sleep, GetTickCount and every time-out run this many times as fast as time does. 1 is the start value.
void set_clock_speed(double factor);

// The numeric addresses a host name resolves to, in their order; none removes the name again.
void set_host(const std::u16string& name, const std::vector<std::string>& addresses);
// Whether a name that is not set is asked of this machine's resolver (yes from the start); numeric addresses and
// "localhost" are always known.
void allow_dns(bool allowed);
// Receives what OutputDebugStringA is given, on the calling thread; null to drop it again.
void set_debugger(void (*sink)(const char* text));

// Keys that are open count as deleted from then on.
void clear_registry();

// Handles, sockets, find handles and keys that are open now, and one line per handle for a report.
size_t open_handles();
std::string describe_open_handles();
// Memory of GlobalAlloc that is not freed.
size_t open_allocations();
// Uses of a handle that was not open (a double close, say), of a lock that was not held or still was.
std::uint64_t misuses();

// How often a critical section was entered by a thread that did not hold it, how often that one had to wait, and how
// long in all.
struct LockUse {
    std::uint64_t entered;
    std::uint64_t waited;
    std::uint64_t nanoseconds;
};
// Of all that are initialised, in that order. The caller holds none of them.
std::vector<LockUse> lock_uses();

}  // namespace winapi
