// What tests need of the platform besides the functions under test; each platform has its own body (linux/, windows/).
#pragma once

#include <cstddef>

namespace test {

// Handles of the process that are open now, sockets and keys included.
size_t open_handles();

}  // namespace test
