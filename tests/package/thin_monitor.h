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

// Two functions that a program exports when it wants to take part. Both are called on the thread that the spooler calls
// the monitor on.
// "announced_job": the job that this thread prints; null when there is none.
using AnnouncedJob = const Job*();
// "job_was_set": the library has called SetJobW, and this is what the spooler has answered.
using JobWasSet = void(DWORD id, DWORD level, DWORD command, BOOL answer);

}  // namespace thin_monitor
