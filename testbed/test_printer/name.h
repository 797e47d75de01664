// The name of a socket: a numeric address of either family, with a TCP port. The platform's headers of sockets come
// first.
#pragma once

#include <cstdint>
#include <string>

namespace test_printer::net {

struct Name {
    sockaddr_storage storage{};
    socklen_t size = 0;
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

// False when it is no numeric address.
inline bool set_address(Name& name, const std::string& address, std::uint16_t port) {
    auto& v4 = reinterpret_cast<sockaddr_in&>(name.storage);
    auto& v6 = reinterpret_cast<sockaddr_in6&>(name.storage);
    const bool is_v6 = address.find(':') != std::string::npos;
    name.storage.ss_family = is_v6 ? AF_INET6 : AF_INET;
    name.size = is_v6 ? sizeof v6 : sizeof v4;
    v4.sin_port = htons(port);  // in the same place in both
    void* const bytes = is_v6 ? static_cast<void*>(&v6.sin6_addr) : &v4.sin_addr;
    return inet_pton(name.storage.ss_family, address.c_str(), bytes) == 1;
}

}  // namespace test_printer::net
