// What the thin monitor (thin_monitor.cpp) and the program around it agree on. Wine's spooler names neither printer nor
// job to a monitor, and takes no commands for its jobs: the program that prints says the one and is told the other.
#pragma once

#include "winapi/winapi.h"

namespace thin_monitor {

constexpr WCHAR file_name[] = L"thin_monitor.dll";

struct Job {
    const WCHAR* printer;
    DWORD id;
};

// Exported by a program that wants to take part, under these names. Both are called on the thread that the spooler calls
// the monitor on.
// The job that this thread prints; null when there is none.
using AnnouncedJob = const Job*();
constexpr char announced_job[] = "announced_job";
// The library has called SetJobW, and the spooler has answered.
using JobWasSet = void(DWORD id, DWORD level, DWORD command, BOOL answer);
constexpr char job_was_set[] = "job_was_set";

}  // namespace thin_monitor
