#include "tests/soak/knock.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace soak {

bool knock(std::uint16_t port, const std::string& data) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool connected = socket >= 0 && ::connect(socket, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    const bool sent = connected && ::send(socket, data.data(), data.size(), MSG_NOSIGNAL) > 0;
    if (socket >= 0) ::close(socket);
    return sent;
}

}  // namespace soak
