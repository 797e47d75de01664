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
