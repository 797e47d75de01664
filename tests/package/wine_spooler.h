// Wine's own spooler: the monitor behind the thin one, queues, and the ports that it lists. What fails is a failure of
// the test.
#pragma once

#include <string>
#include <vector>

#include "winapi/winapi.h"

namespace wine_spooler {

constexpr WCHAR monitor_name[] = L"Tessaron TCP/IP Port";

// For the start of a program: its console shows UTF-8. False, after saying so, where this is not Wine.
bool is_wine();

void add_monitor();
// False when there is none.
bool delete_monitor();
// Replaces a queue of that name.
void add_queue(std::wstring queue, std::wstring port);
// Does nothing when there is none.
void delete_queue(std::wstring queue);
// The names of this monitor's ports, sorted. The rest of each record is checked.
std::vector<std::wstring> listed_ports();

}  // namespace wine_spooler

// What the thin monitor (thin_monitor.cpp) and the program around it agree on. Wine's spooler names neither printer nor
// job to a monitor, and takes no commands for its jobs: the program that prints says the one and is told the other.
namespace thin_monitor {

constexpr WCHAR file_name[] = L"thin_monitor.dll";

struct Job {
    const WCHAR* printer;
    DWORD id;
};

// Two functions that a program exports when it wants to take part. Both are called on the thread that the spooler calls
// the monitor on.
// "announced_job": the job that this thread prints; null when there is none.
using AnnouncedJob = const Job*();
// "job_was_set": the library has called SetJobW, and this is what the spooler has answered.
using JobWasSet = void(DWORD id, DWORD level, DWORD command, BOOL answer);

}  // namespace thin_monitor
