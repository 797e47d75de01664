#include "host/connect.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <vector>

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

// Attempts that are under way; closed with the object.
struct Attempts {
    std::vector<SOCKET> sockets;
    bool accepted = false;
    bool refused = false;

    ~Attempts() {
        for (const SOCKET socket : sockets) closesocket(socket);
    }
    void note(int error) {
        accepted = accepted || error == 0;
        refused = refused || error == WSAECONNREFUSED;
    }
    void start(const ADDRINFOW& address) {
        const SOCKET socket = WSASocketW(address.ai_family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                                         WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
        if (socket == INVALID_SOCKET) return;
        u_long waits_not = 1;
        ioctlsocket(socket, static_cast<long>(FIONBIO), &waits_not);
        if (connect(socket, address.ai_addr, static_cast<int>(address.ai_addrlen)) == 0 ||
            WSAGetLastError() == WSAEWOULDBLOCK) {
            sockets.push_back(socket);
        } else {
            note(WSAGetLastError());
            closesocket(socket);
        }
    }
    // Removes finished attempts; false when the time is over.
    bool wait(std::chrono::milliseconds limit) {
        fd_set done;
        fd_set failed;
        FD_ZERO(&done);
        FD_ZERO(&failed);
        for (size_t i = 0; i < std::min<size_t>(sockets.size(), FD_SETSIZE); ++i) {
            FD_SET(sockets[i], &done);
            FD_SET(sockets[i], &failed);
        }
        timeval time{static_cast<long>(limit.count() / 1000), static_cast<long>(limit.count() % 1000 * 1000)};
        const int ready = select(0, nullptr, &done, &failed, &time);
        if (ready <= 0) return false;
        std::erase_if(sockets, [&](SOCKET socket) {
            if (!FD_ISSET(socket, &done) && !FD_ISSET(socket, &failed)) return false;
            int error = 0;
            int size = sizeof error;
            getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
            note(error);
            closesocket(socket);
            return true;
        });
        return true;
    }
};

std::wstring wide(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring text(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)), 0);
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
    return text;
}

}  // namespace

Verdict try_connection(const std::string& host, std::uint16_t port, std::chrono::milliseconds limit) {
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return Verdict::no_answer;
    ADDRINFOW hints{};
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* addresses = nullptr;
    Verdict verdict = Verdict::unknown_name;
    if (GetAddrInfoW(wide(host).c_str(), std::to_wstring(port).c_str(), &hints, &addresses) == 0) {
        Attempts attempts;
        for (const ADDRINFOW* address = addresses; address != nullptr; address = address->ai_next) {
            attempts.start(*address);
        }
        FreeAddrInfoW(addresses);
        const Clock::time_point end = Clock::now() + limit;
        auto left = limit;
        while (!attempts.accepted && !attempts.sockets.empty() && left.count() >= 0 && attempts.wait(left)) {
            left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        }
        verdict = attempts.accepted ? Verdict::accepted : attempts.refused ? Verdict::refused : Verdict::no_answer;
    }
    WSACleanup();
    return verdict;
}

}  // namespace host
