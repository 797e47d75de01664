// What tests need of the platform besides the functions under test; each platform has its own body (linux/, windows/).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/text.h"

namespace test {

// Handles of the process that are open now, sockets and keys included.
size_t open_handles();

// From now on these are the addresses of a name, in the order of the look-up, for this program and the monitor that it
// has loaded; without any the name is looked up again.
void set_host(const host::Text& name, const std::vector<std::string>& addresses);

}  // namespace test
