// The TCP functions that a printer needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace test_printer::net {

using Socket = std::intptr_t;
constexpr Socket no_socket = -1;

// A socket bound to the numeric address of either family, which refuses connections until start_listening; port 0 lets
// the system choose. no_socket and the reason when that is not possible. No child process inherits what this
// header opens.
Socket bind_to(const std::string& address, std::uint16_t port, std::string& why);
std::uint16_t bound_port(Socket socket);
// At most so many connections wait to be accepted; 0: one, and further ones get no answer.
bool start_listening(Socket socket, int waiting = 1024);
// A small buffer makes a slow reader block the sender early; a listener passes it on to accepted sockets.
void set_receive_buffer(Socket socket, int bytes);

enum class Wait { ready, timed_out, failed };
// Until something can be accepted or received.
Wait wait_readable(Socket socket, int timeout_ms);
Socket accept_from(Socket listener);  // no_socket immediately when no connection is pending
Socket connect_to(const std::string& address, std::uint16_t port);  // no_socket when it cannot

enum class Received { data, finished, reset };
// Blocks unless the socket is readable; `count` bytes were received with Received::data.
Received receive(Socket socket, void* buffer, size_t size, size_t& count);
bool send_all(Socket socket, const void* data, size_t size);
void finish_sending(Socket socket);
void close_socket(Socket socket);
// The other side sees its connection reset.
void reset_socket(Socket socket);

}  // namespace test_printer::net
